#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// Gathers one channel of interleaved sample bytes into a plane of floats.
/// @param source  the channel's first sample: the buffer's start plus channel index times bytes per sample.
/// It needs no alignment, and is read up to the last byte of the last sample that the step reaches, and no
/// further.
/// @param destination  receives sampleCount consecutive floats. Needs no alignment. It may be the source
/// itself if numChannels is 1 and a sample has 4 bytes; otherwise the two must not overlap.
/// @param sampleCount  frames, which is the number of floats written; not negative. 0 touches neither buffer.
/// @param numChannels  the distance from one sample of the channel to its next, in samples; at least 1.
///
/// Nothing is checked and nothing can fail. The only floating-point exceptions raised are those of the
/// samples' own values, such as FE_OVERFLOW for a double beyond floats. The routines hold no state: any
/// thread may run them at any time on buffers that no other thread uses meanwhile.
///
/// One call handles one channel: a buffer of n channels takes n calls, each with the source moved on by one
/// sample's width, and a plane of its own or one used again. How many frames a buffer should hold: with one
/// or two channels, as many as is convenient. With more, each call passes through the whole buffer for its
/// part of it, so the buffer should stay in the processor's nearest cache: frames times channels times bytes
/// per sample of at most 16 KiB, but not below 64 frames. With 16-bit samples that is 1024 frames of 8
/// channels, or 128 of 64, which takes about a third of the time of large buffers there.
using DeinterleaveFunction = void (*)(const void* source, float* destination, std::int64_t sampleCount,
                                      std::int32_t numChannels);

/// @name Sample bytes to float planes
/// Sources are little-endian, and 8-bit samples are signed; see Interleave.h for what brings other bytes to
/// this form. Integers come out with full scale plus or minus 1.0, multiplied by 2 to the power of -(bits -
/// 1) and rounded to nearest, ties to even. No routine clips: floats keep whatever magnitude they have,
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
/// 8-byte integers. Goes through double: rounded to 53 bits first, then to 24.
KELAUDIOFILE_EXPORT void DeInterleave64Bit(const void* source, float* destination, std::int64_t sampleCount,
                                           std::int32_t numChannels);
/// IEEE 754 singles, copied bit by bit.
KELAUDIOFILE_EXPORT void DeInterleave32BitFloat_1(const void* source, float* destination,
                                                  std::int64_t sampleCount, std::int32_t numChannels);
/// IEEE 754 singles on the scale of 16-bit integers: multiplied by 2^-15.
KELAUDIOFILE_EXPORT void DeInterleave32BitFloat_32768(const void* source, float* destination,
                                                      std::int64_t sampleCount, std::int32_t numChannels);
/// IEEE 754 singles on the scale of 24-bit integers: multiplied by 2^-23.
KELAUDIOFILE_EXPORT void DeInterleave32BitFloat_8388608(const void* source, float* destination,
                                                        std::int64_t sampleCount, std::int32_t numChannels);
/// IEEE 754 doubles, narrowed.
KELAUDIOFILE_EXPORT void DeInterleave64BitFloat(const void* source, float* destination,
                                                std::int64_t sampleCount, std::int32_t numChannels);
/// @}

} // namespace kelaudiofile
