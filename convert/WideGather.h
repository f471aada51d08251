#pragma once

#include <cstddef>

#include "SampleKinds.h"

namespace kelaudiofile::convert {

/// Converts samples of up to four bytes to floats where the processor has vectors of 32 bytes, if at least
/// two samples of the channel lie within one.
/// @param inCount  samples, at least one; no byte behind the last one is read.
/// @param inStep  bytes from one sample to the next.
/// @return how many it converted, from the first on: none, or all but the last few.
template <typename Sample>
std::size_t GatherWide(const Byte* in, Byte* out, std::size_t inCount, std::size_t inStep);

} // namespace kelaudiofile::convert
