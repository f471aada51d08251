#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// @addtogroup samples
/// @{

/// Writes a contiguous run of samples into one channel of an interleaved buffer, leaving the other
/// channels untouched. A buffer of n channels takes n calls, each with the destination advanced by
/// the width of one sample.
/// @param source  the samples, contiguous. Needs no alignment. No byte past the last sample is read.
/// @param destination  the place of the first sample to write: the start of the buffer plus channel index
///        times bytes per written sample. Needs no alignment. No byte past the last written sample is
///        touched. May equal the source if numChannels is 1 and samples keep their width; otherwise the two
///        must not overlap.
/// @param count  how much to convert; not negative. It counts samples for the `Interleave` routines and
///        ConvertBetweenSigned8BitAudioAndUnsigned, but bytes for the `Swizzle` routines. If it is 0, neither
///        buffer is touched.
/// @param numChannels  the distance between two written samples, in samples of the written width; at least 1.
///        With 1, the destination is contiguous.
///
/// Arguments are not checked, and the call cannot fail. The only floating-point exceptions raised are those
/// of the samples' own values, such as FE_INEXACT for a float that is truncated. The routines are stateless:
/// any thread may run them at any time on buffers that no other thread is using. With many channels, convert
/// few frames per call; DeInterleave.h explains how many.
using ConversionFunction = void (*)(const void* source, void* destination, std::int32_t count,
                                    std::int32_t numChannels);

/// @name Interleaving without conversion
/// The source already holds samples of the file's width in the file's byte order.
/// @{

/// 1 byte per sample.
KELAUDIOFILE_EXPORT void Interleave8Bits(const void* source, void* destination, std::int32_t count,
                                         std::int32_t numChannels);
/// 2 bytes per sample.
KELAUDIOFILE_EXPORT void Interleave16Bits(const void* source, void* destination, std::int32_t count,
                                          std::int32_t numChannels);
/// 3 bytes per sample.
KELAUDIOFILE_EXPORT void Interleave24Bits(const void* source, void* destination, std::int32_t count,
                                          std::int32_t numChannels);
/// @}

/// @name Float planes to sample bytes
/// The source is a plane of native floats with full scale plus or minus 1.0; it needs no
/// alignment. The output is little-endian on every machine. The suffix of a float routine is the
/// magnitude of full scale in the file.
/// @{

/// IEEE 754 singles, copied bit for bit, including NaN of every kind.
KELAUDIOFILE_EXPORT void Interleave32BitFloat_1(const void* source, void* destination, std::int32_t count,
                                                std::int32_t numChannels);
/// IEEE 754 singles at the scale of 16-bit integers: multiplied by 2^15, not clipped.
KELAUDIOFILE_EXPORT void Interleave32BitFloat_32768(const void* source, void* destination, std::int32_t count,
                                                    std::int32_t numChannels);
/// IEEE 754 singles at the scale of 24-bit integers: multiplied by 2^23, not clipped.
KELAUDIOFILE_EXPORT void Interleave32BitFloat_8388608(const void* source, void* destination,
                                                      std::int32_t count, std::int32_t numChannels);
/// IEEE 754 doubles, each exactly equal to its float.
KELAUDIOFILE_EXPORT void Interleave64BitFloat(const void* source, void* destination, std::int32_t count,
                                              std::int32_t numChannels);
/// Signed 32-bit integers: multiplied by 2^31, clipped to -2^31 and 2^31 - 1, and truncated towards zero, not
/// rounded. 1.0 becomes 0x7FFFFFFF, and NaN becomes the most negative integer. DeInterleave32Bit restores
/// every float that was neither clipped nor truncated; -0.0 comes back as 0.0.
KELAUDIOFILE_EXPORT void Interleave32BitInteger(const void* source, void* destination, std::int32_t count,
                                                std::int32_t numChannels);
/// Signed 64-bit integers: multiplied by 2^63, clipped to -2^63 and 2^63 - 1024 (the largest double below
/// 2^63), and truncated towards zero, not rounded. 1.0 becomes 0x7FFFFFFFFFFFFC00, and NaN becomes the most
/// negative integer.
KELAUDIOFILE_EXPORT void Interleave64BitInteger(const void* source, void* destination, std::int32_t count,
                                                std::int32_t numChannels);
/// @}

/// Flips the top bit of each byte, which converts signed 8-bit samples to unsigned ones and back. With one
/// channel it converts a contiguous run of bytes.
KELAUDIOFILE_EXPORT void ConvertBetweenSigned8BitAudioAndUnsigned(const void* source, void* destination,
                                                                  std::int32_t count,
                                                                  std::int32_t numChannels);

/// @name Byte order
/// Reverse the bytes of each sample, integers and floats alike, converting between little-endian and
/// big-endian in either direction. `count` is a number of bytes; a partial sample at the end is
/// neither read nor written.
/// @{

/// 2 bytes per sample.
KELAUDIOFILE_EXPORT void Swizzle16Bit(const void* source, void* destination, std::int32_t count,
                                      std::int32_t numChannels);
/// 3 bytes per sample.
KELAUDIOFILE_EXPORT void Swizzle24Bit(const void* source, void* destination, std::int32_t count,
                                      std::int32_t numChannels);
/// 4 bytes per sample.
KELAUDIOFILE_EXPORT void Swizzle32Bit(const void* source, void* destination, std::int32_t count,
                                      std::int32_t numChannels);
/// @}

/// @}

} // namespace kelaudiofile
