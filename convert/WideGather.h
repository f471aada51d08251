#pragma once

#include <cstddef>

#include "SampleKinds.h"

namespace kelaudiofile::convert {

/// Converts samples of up to four bytes to floats where the processor has vectors of 32 bytes, if one holds
/// two samples of the channel and none of them lies across its middle.
/// @param inCount  samples, at least WorthWideVectors; no byte behind the last one is read.
/// @param inChannels  the distance from one sample to the next, in samples.
/// @return how many it converted, from the first on: none, or all but the last 23 or fewer.
template <typename Sample>
std::size_t GatherWide(const Byte* in, Byte* out, std::size_t inCount, std::size_t inChannels);

} // namespace kelaudiofile::convert
