#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// How the bits of a sample are to be taken.
enum class SampleCoding : std::int32_t {
    kInteger,       ///< two's complement of 1, 2, 3, 4 or 8 bytes; see SampleFormat::isUnsigned
    kFloat_1,       ///< IEEE 754 floats of 4 or 8 bytes, full scale plus or minus 1.0
    kFloat_32768,   ///< IEEE 754 floats of 4 bytes, full scale plus or minus 32768.0
    kFloat_8388608, ///< IEEE 754 floats of 4 bytes, full scale plus or minus 8388608.0
};

/// The order in which the bytes of a sample follow each other in the file.
enum class ByteOrder : std::int32_t {
    kLittleEndian, ///< as in wave files, and AIFF-C files of the code `sowt`
    kBigEndian,    ///< as in all other AIFF files
};

/// How one sample lies in a file; by default a format that is not supported.
struct SampleFormat {
    SampleCoding coding = SampleCoding::kInteger;   ///< how its bits are to be taken
    std::int32_t bytesPerSample = 0;                ///< of one channel
    ByteOrder byteOrder = ByteOrder::kLittleEndian; ///< without effect on samples of 1 byte
    bool isUnsigned = false; ///< for integers of 1 byte only: 0x80 is silence, as in wave files
};

/// @return whether DecodeFrames and EncodeFrames convert samples of this format.
KELAUDIOFILE_EXPORT bool IsSupported(const SampleFormat& inFormat);

/// Converts a block of frames to one plane of floats per channel, bit for bit as the DeInterleave routines
/// do after Swizzle or ConvertBetweenSigned8BitAudioAndUnsigned has brought the bytes to their form. Faster
/// than a call for each channel: up to three times from four channels on, more for big-endian samples.
/// @param inFormat  one that IsSupported accepts; with any other nothing happens.
/// @param source  frames * channels * bytesPerSample bytes, none of which anybody may write during the call.
///        No other byte is read. Needs no alignment.
/// @param planes  a pointer for each channel, to room for as many floats as there are frames, or null for a
///        channel that is not wanted. Planes need no alignment, though they gain from a common one of 32
///        bytes, and must overlap neither the source nor each other.
/// @param frames  not negative. Any number: large blocks are passed through in parts that fit the
///        processor's nearest cache. From 64 on, a call costs little of its own.
/// @param channels  the number of samples in a frame; at least 1.
///
/// Nothing is checked but the format, and nothing can fail. The routine allocates nothing and holds no
/// state: any thread may run it at any time.
KELAUDIOFILE_EXPORT void DecodeFrames(const SampleFormat& inFormat, const void* source, float* const* planes,
                                      std::int64_t frames, std::int32_t channels);

/// Converts one plane of floats per channel to a block of frames as they are to lie in a file.
///
/// Samples of 4 and 8 bytes are made bit for bit as the Interleave routines make them. Integers of 1, 2 and 3
/// bytes are the float times 2^(bits - 1), rounded to nearest, ties to even, and clipped to the range of the
/// integer; NaN becomes 0. That is the scale of DecodeFrames and of every DeInterleave routine, so decoding
/// and encoding gives back every sample of a file, and the one float of the nominal range that clips is 1.0.
/// Of other programs, FFmpeg and SoX use this scale as well; libsndfile multiplies by 2^(bits - 1) - 1, which
/// reaches full scale at 1.0 but changes the samples of a file that passes through floats scaled by 2^(bits -
/// 1). No dither is added.
/// @param inFormat  one that IsSupported accepts; with any other nothing happens.
/// @param planes  a pointer for each channel, to as many floats as there are frames, or null for a channel of
///        silence. Planes need no alignment, and may be the same.
/// @param destination  room for frames * channels * bytesPerSample bytes, all of which are written, some more
///        than once, and no other. Needs no alignment. Must not overlap the planes.
/// @param frames, channels  as for DecodeFrames.
///
/// Nothing is checked but the format, and nothing can fail. The routine allocates nothing and holds no
/// state: any thread may run it at any time.
KELAUDIOFILE_EXPORT void EncodeFrames(const SampleFormat& inFormat, const float* const* planes,
                                      void* destination, std::int64_t frames, std::int32_t channels);

} // namespace kelaudiofile
