#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "bytes/ByteOrder.h"
#include "bytes/Lanes.h"

/// Samples are converted 16 bytes at a time, in vectors that both compilers support on every processor. Their
/// elements are called lanes. A single sample is converted in the same way, in the first lane. Long runs may
/// use wider vectors: see WideGather.h and Interleave.cpp.
namespace kelaudiofile::convert {

using bytes::Byte;

using bytes::As;
using bytes::Chosen;
using bytes::Converted;
using bytes::Shuffled;

template <typename T>
using Lanes = typename bytes::VectorOf<T, 16>::Type;

using FloatPair = bytes::VectorOf<float, 8>::Type;

template <typename T>
inline constexpr std::size_t kLaneCount = 16 / sizeof(T);

template <typename T>
inline T Load(const Byte* in) {
    T value;
    std::memcpy(&value, in, sizeof value);
    return value;
}

inline constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

/// Converts a number from native byte order to the files', or back.
template <typename Unsigned>
constexpr Unsigned LittleEndian(Unsigned inValue) {
    if constexpr (kIsLittleEndian)
        return inValue;
    Unsigned reversed = 0;
    for (std::size_t b = 0; b < sizeof inValue; ++b)
        reversed = static_cast<Unsigned>(reversed << 8 | (inValue >> (8 * b) & 0xFF));
    return reversed;
}

/// Loads a number from little-endian bytes. Combining shifted bytes, as elsewhere, would work, but inside a
/// loop not every compiler turns that into one load.
template <typename Unsigned>
inline Unsigned LoadLittle(const Byte* in) {
    return LittleEndian(Load<Unsigned>(in));
}

template <typename Unsigned>
inline void StoreLittle(Byte* out, Unsigned inValue) {
    inValue = LittleEndian(inValue);
    std::memcpy(out, &inValue, sizeof inValue);
}

/// Returns how many of this many samples fill whole groups; the others are converted one by one.
constexpr std::size_t InWholeGroups(std::size_t inCount, std::size_t inGroupSize) {
    return inCount - inCount % inGroupSize;
}

template <std::size_t kBytes>
using Unsigned =
    std::conditional_t<kBytes == 1, std::uint8_t,
                       std::conditional_t<kBytes == 2, std::uint16_t,
                                          std::conditional_t<kBytes == 4, std::uint32_t, std::uint64_t>>>;

/// Reads a sample of any width as a number.
template <std::size_t kBytes>
inline auto LoadSample(const Byte* in) {
    if constexpr (kBytes == 3)
        return LoadLittle<std::uint16_t>(in) | std::uint32_t{in[2]} << 16;
    else
        return LoadLittle<Unsigned<kBytes>>(in);
}

template <std::size_t kBytes>
inline void StoreSample(Byte* out, std::uint32_t inSample) {
    if constexpr (kBytes == 3) {
        StoreLittle(out, static_cast<std::uint16_t>(inSample));
        out[2] = static_cast<Byte>(inSample >> 16);
    } else
        StoreLittle(out, static_cast<Unsigned<kBytes>>(inSample));
}

/// Returns the number of samples of this width from which the start-up cost of wider vectors is worthwhile.
constexpr std::size_t WorthWideVectors(std::size_t inBytes) {
    return inBytes < 4 ? 64 : 128;
}

} // namespace kelaudiofile::convert
