#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// @addtogroup samples
/// @{

/// Extracts one channel of interleaved sample bytes into a plane of floats.
/// @param source  the channel's first sample: the start of the buffer plus channel index times bytes per
///        sample. Needs no alignment. No byte past the last sample of the channel is read.
/// @param destination  receives sampleCount consecutive floats. Needs no alignment. May equal the source if
///        numChannels is 1 and a sample has 4 bytes; otherwise the two must not overlap.
/// @param sampleCount  frames, which is the number of floats written; not negative. If it is 0, neither
///        buffer is touched.
/// @param numChannels  the distance from one sample of the channel to the next, in samples; at least 1.
///
/// Arguments are not checked, and the call cannot fail. The only floating-point exceptions raised are those
/// of the samples' own values, such as FE_OVERFLOW for a double outside the range of floats. The routines are
/// stateless: any thread may run them at any time on buffers that no other thread is using.
///
/// Each call handles one channel. A buffer of n channels takes n calls, each with the source advanced by the
/// width of one sample; the plane may be a different one each time or the same.
///
/// How many frames to convert per call: any number, for one or two channels. With more channels, each call
/// strides through the whole buffer, so the buffer should fit the L1 data cache: keep frames times channels
/// times bytes per sample at or below 16 KiB, but use at least 64 frames. For 16-bit samples that means 1024
/// frames of 8 channels, or 128 frames of 64, which takes about a third of the time of large buffers.
using DeinterleaveFunction = void (*)(const void* source, float* destination, std::int64_t sampleCount,
                                      std::int32_t numChannels);

/// @name Sample bytes to float planes
/// Sources are little-endian, and 8-bit samples are signed; the routines in Interleave.h convert other
/// bytes to this form. Integers are multiplied by 2^-(bits - 1), which maps full scale to plus or
/// minus 1.0, and rounded to nearest, ties to even. No routine clips: floats keep their magnitude,
/// infinities and NaN included.
/// @{

/// Signed bytes. Exact; full scale ends at 127/128.
KELAUDIOFILE_EXPORT void DeInterleave8Bit(const void* source, float* destination, std::int64_t sampleCount,
                                          std::int32_t numChannels);
/// 2-byte integers. Exact.
KELAUDIOFILE_EXPORT void DeInterleave16Bit(const void* source, float* destination, std::int64_t sampleCount,
                                           std::int32_t numChannels);
/// 3-byte integers. Exact.
KELAUDIOFILE_EXPORT void DeInterleave24Bit(const void* source, float* destination, std::int64_t sampleCount,
                                           std::int32_t numChannels);
/// 4-byte integers, rounded to 24 bits, so that the largest one becomes exactly 1.0.
KELAUDIOFILE_EXPORT void DeInterleave32Bit(const void* source, float* destination, std::int64_t sampleCount,
                                           std::int32_t numChannels);
/// 8-byte integers, converted through double: rounded to 53 bits first, then to 24.
KELAUDIOFILE_EXPORT void DeInterleave64Bit(const void* source, float* destination, std::int64_t sampleCount,
                                           std::int32_t numChannels);
/// IEEE 754 singles, copied bit for bit.
KELAUDIOFILE_EXPORT void DeInterleave32BitFloat_1(const void* source, float* destination,
                                                  std::int64_t sampleCount, std::int32_t numChannels);
/// IEEE 754 singles at the scale of 16-bit integers: multiplied by 2^-15.
KELAUDIOFILE_EXPORT void DeInterleave32BitFloat_32768(const void* source, float* destination,
                                                      std::int64_t sampleCount, std::int32_t numChannels);
/// IEEE 754 singles at the scale of 24-bit integers: multiplied by 2^-23.
KELAUDIOFILE_EXPORT void DeInterleave32BitFloat_8388608(const void* source, float* destination,
                                                        std::int64_t sampleCount, std::int32_t numChannels);
/// IEEE 754 doubles, narrowed to floats.
KELAUDIOFILE_EXPORT void DeInterleave64BitFloat(const void* source, float* destination,
                                                std::int64_t sampleCount, std::int32_t numChannels);
/// @}

/// @}

} // namespace kelaudiofile
