#pragma once

#include <cstddef>

#include "SampleKinds.h"

namespace kelaudiofile::convert {

/// Converts samples of up to four bytes to floats with 32-byte vectors, if the processor has them, a vector
/// holds two samples of the channel, and no sample straddles its middle.
/// @param inCount  samples, at least WorthWideVectors; no byte past the last one is read.
/// @param inChannels  the distance from one sample to the next, in samples.
/// @return how many it converted, from the first on: none, or all but at most the last 23.
template <typename Sample>
std::size_t GatherWide(const Byte* in, Byte* out, std::size_t inCount, std::size_t inChannels);

} // namespace kelaudiofile::convert
