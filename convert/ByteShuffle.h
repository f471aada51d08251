#pragma once

#include <cstddef>

#include "SampleLanes.h"

namespace kelaudiofile::convert {

/// Converts samples of one, two or three bytes to floats where the processor has byte shuffles, if two
/// samples of the channel lie within 16 bytes: that is one to fifteen channels of 8 bits, one to seven of 16,
/// one to four of 24.
/// @tparam kBytes  of a sample: 1, 2 or 3.
/// @param inCount  samples; no byte behind the last one is read.
/// @param inStep  bytes from one sample to the next.
/// @return how many it converted, from the first on: none, or all but the last few.
template <int kBytes>
std::size_t GatherByShuffling(const Byte* in, Byte* out, std::size_t inCount, std::size_t inStep);

} // namespace kelaudiofile::convert
