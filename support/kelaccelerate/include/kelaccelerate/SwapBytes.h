#pragma once

#include <cstdint>

#include "kelcore/utility.h"

namespace kelaccelerate::utility {

/// Reverses the bytes of each element of a contiguous run.
/// @param inCount  elements, not bytes.
/// @param inElements, outElements  need no alignment. Equal addresses swap in place; otherwise
///        the two must not overlap.
void SwapBytes(std::uint64_t inCount, const std::uint16_t* inElements, std::uint16_t* outElements);
void SwapBytes(std::uint64_t inCount, const kelcore::utility::int24_t* inElements,
               kelcore::utility::int24_t* outElements);
void SwapBytes(std::uint64_t inCount, const std::uint32_t* inElements, std::uint32_t* outElements);

} // namespace kelaccelerate::utility
