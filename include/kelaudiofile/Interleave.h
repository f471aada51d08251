#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// Writes a contiguous run of samples into one channel's place in an interleaved buffer, and leaves the bytes
/// between its samples as they are. A buffer of n channels takes n calls, each with the destination moved on
/// by one sample's width.
/// @param source  the samples without a gap between them. Needs no alignment. It is read up to the last byte
///                of the last sample, and no further.
/// @param destination  the place of the first written sample: the buffer's start plus channel index times
///                     bytes per written sample. Needs no alignment. It is written up to the last byte of the
///                     last sample that the step reaches, and no further. It may be the source itself if
///                     numChannels is 1 and samples keep their width; otherwise the two must not overlap.
/// @param count  how much to convert; not negative. 0 touches neither buffer. It counts samples for the
///               `Interleave` routines and ConvertBetweenSigned8BitAudioAndUnsigned, but bytes for the
///               `Swizzle` routines.
/// @param numChannels  the distance between two written samples, in samples of the written width; at least 1.
///                     1 fills the destination without a gap.
///
/// Nothing is checked and nothing can fail. The only floating-point exceptions raised are those of the
/// samples' own values, such as FE_INEXACT for a float that is cut. The routines hold no state: any thread
/// may run them at any time on buffers that no other thread uses meanwhile. With many channels, convert few
/// frames per call; DeInterleave.h says how many.
using ConversionFunction = void (*)(const void* source, void* destination, std::int32_t count,
                                    std::int32_t numChannels);

/// @name Samples of the file's own form into their places
/// The source holds samples of the file's width in the file's byte order, so nothing is converted.
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
/// The source is a plane of floats of the machine with full scale plus or minus 1.0; it need not be aligned.
/// What is written is little-endian on every machine. The suffix of a float routine is the magnitude that
/// full scale has in the file.
/// @{

/// IEEE 754 singles, copied bit by bit, NaN of every kind included.
KELAUDIOFILE_EXPORT void Interleave32BitFloat_1(const void* source, void* destination, std::int32_t count,
                                                std::int32_t numChannels);
/// IEEE 754 singles on the scale of 16-bit integers: multiplied by 2^15, not clipped.
KELAUDIOFILE_EXPORT void Interleave32BitFloat_32768(const void* source, void* destination, std::int32_t count,
                                                    std::int32_t numChannels);
/// IEEE 754 singles on the scale of 24-bit integers: multiplied by 2^23, not clipped.
KELAUDIOFILE_EXPORT void Interleave32BitFloat_8388608(const void* source, void* destination,
                                                      std::int32_t count, std::int32_t numChannels);
/// IEEE 754 doubles, each of exactly its float's value.
KELAUDIOFILE_EXPORT void Interleave64BitFloat(const void* source, void* destination, std::int32_t count,
                                              std::int32_t numChannels);
/// Signed 32-bit integers: multiplied by 2^31, clipped to -2^31 and 2^31 - 1, and cut towards zero, not
/// rounded. 1.0 becomes 0x7FFFFFFF, and NaN the most negative integer. DeInterleave32Bit gives every float
/// back that has been neither clipped nor cut, -0.0 as 0.0.
KELAUDIOFILE_EXPORT void Interleave32BitInteger(const void* source, void* destination, std::int32_t count,
                                                std::int32_t numChannels);
/// Signed 64-bit integers: multiplied by 2^63, clipped to -2^63 and 2^63 - 1024, the largest double below
/// 2^63, and cut towards zero, not rounded. 1.0 becomes 0x7FFFFFFFFFFFFC00, and NaN the most negative
/// integer.
KELAUDIOFILE_EXPORT void Interleave64BitInteger(const void* source, void* destination, std::int32_t count,
                                                std::int32_t numChannels);
/// @}

/// Flips the top bit of each byte, which takes signed 8-bit samples to unsigned ones and back. With one
/// channel it converts a run of bytes in order.
KELAUDIOFILE_EXPORT void ConvertBetweenSigned8BitAudioAndUnsigned(const void* source, void* destination,
                                                                  std::int32_t count,
                                                                  std::int32_t numChannels);

/// @name Byte order
/// Reverse the bytes of each sample, integers and floats alike, which takes samples between little-endian and
/// big-endian order, either way. Here `count` is a number of bytes; those beyond the last whole sample are
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

} // namespace kelaudiofile
