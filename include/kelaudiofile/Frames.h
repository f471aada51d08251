#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// @addtogroup samples
/// @{

/// How the bits of a sample are interpreted.
enum class SampleCoding : std::int32_t {
    kInteger,       ///< two's complement of 1, 2, 3, 4 or 8 bytes; see SampleFormat::isUnsigned
    kFloat_1,       ///< IEEE 754 floats of 4 or 8 bytes, full scale plus or minus 1.0
    kFloat_32768,   ///< IEEE 754 floats of 4 bytes, full scale plus or minus 32768.0
    kFloat_8388608, ///< IEEE 754 floats of 4 bytes, full scale plus or minus 8388608.0
};

/// The order in which the bytes of a sample appear in the file.
enum class ByteOrder : std::int32_t {
    kLittleEndian, ///< as in wave files, and AIFF-C files of the code `sowt`
    kBigEndian,    ///< as in all other AIFF files
};

/// How a sample is stored in a file. The default is a format that is not supported.
struct SampleFormat {
    SampleCoding coding = SampleCoding::kInteger;   ///< how its bits are interpreted
    std::int32_t bytesPerSample = 0;                ///< of one channel's sample
    ByteOrder byteOrder = ByteOrder::kLittleEndian; ///< has no effect on samples of 1 byte
    bool isUnsigned = false; ///< for 1-byte integers only: 0x80 is silence, as in wave files
};

/// Reports whether DecodeFrames and EncodeFrames convert samples of this format.
KELAUDIOFILE_EXPORT bool IsSupported(const SampleFormat& inFormat);

/// Converts a block of frames to one plane of floats per channel.
///
/// The result is bit for bit that of Swizzle or ConvertBetweenSigned8BitAudioAndUnsigned followed by the
/// DeInterleave routine of the format. One call is faster than a call per channel: up to three times with
/// four or more channels, and more for big-endian samples.
/// @param inFormat  one that IsSupported accepts; any other makes the call do nothing.
/// @param source  frames * channels * bytesPerSample bytes. No other byte is read, and no thread may write
///        them during the call. Needs no alignment.
/// @param planes  one pointer per channel, each to room for `frames` floats, or null for a channel that is
///        not wanted. Planes need no alignment, though a common alignment of 32 bytes is faster. They must
///        overlap neither the source nor each other.
/// @param frames  not negative. Any number is fine: large blocks are processed in parts that fit the L1 data
///        cache, and from 64 frames on the overhead per call is small.
/// @param channels  the number of samples in a frame; at least 1.
///
/// Only the format is checked, and the call cannot fail. It allocates nothing and holds no state: any thread
/// may run it at any time.
KELAUDIOFILE_EXPORT void DecodeFrames(const SampleFormat& inFormat, const void* source, float* const* planes,
                                      std::int64_t frames, std::int32_t channels);

/// Converts one plane of floats per channel to a block of frames in the file's format.
///
/// Samples of 4 and 8 bytes are bit for bit those of the Interleave routines. Integers of 1, 2 and 3 bytes
/// are the float times 2^(bits - 1), rounded to nearest, ties to even, and clipped to the range of the
/// integer; NaN becomes 0. DecodeFrames and every DeInterleave routine use the same scale, so decoding and
/// then encoding returns every sample of a file unchanged, and within the nominal range only 1.0 clips.
/// FFmpeg and SoX use this scale as well; libsndfile multiplies by 2^(bits - 1) - 1, which maps 1.0 to full
/// scale but changes samples that were decoded with 2^(bits - 1). No dither is added.
/// @param inFormat  one that IsSupported accepts; any other makes the call do nothing.
/// @param planes  one pointer per channel, each to `frames` floats, or null for a silent channel. Planes need
///        no alignment, and several channels may share one.
/// @param destination  room for frames * channels * bytesPerSample bytes. All of them are written, some more
///        than once, and no others. Needs no alignment. Must not overlap the planes.
/// @param frames, channels  as for DecodeFrames.
///
/// Only the format is checked, and the call cannot fail. It allocates nothing and holds no state: any thread
/// may run it at any time.
KELAUDIOFILE_EXPORT void EncodeFrames(const SampleFormat& inFormat, const float* const* planes,
                                      void* destination, std::int64_t frames, std::int32_t channels);

/// @}

} // namespace kelaudiofile
