#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kelaudiofile::convert {

/// The distance if the compiler knows it, else 0.
template <typename Stride>
inline constexpr std::size_t kConstantOr0 = 0;
template <std::size_t kStride>
inline constexpr std::size_t kConstantOr0<std::integral_constant<std::size_t, kStride>> = kStride;

/// Calls inRun with the distance between two samples of a channel, counted in samples: as a compile-time
/// constant for mono and stereo, which have special loads and stores, and as a number otherwise.
template <typename Run>
inline void WithStride(std::int32_t numChannels, Run inRun) {
    if (numChannels == 1)
        inRun(std::integral_constant<std::size_t, 1>());
    else if (numChannels == 2)
        inRun(std::integral_constant<std::size_t, 2>());
    else
        inRun(static_cast<std::size_t>(numChannels));
}

} // namespace kelaudiofile::convert
