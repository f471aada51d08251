#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "bytes/ByteOrder.h"

/// Samples are converted 16 bytes at a time, in vectors that both compilers know without naming a processor.
/// Their elements are called lanes. A single sample goes the same way, in the first lane. Long runs may take
/// wider vectors: see WideGather.h and Interleave.cpp.
namespace kelaudiofile::convert {

using bytes::Byte;

template <typename T, std::size_t kByteCount = 16>
struct VectorOf {
    typedef T Type __attribute__((vector_size(kByteCount)));
};

template <typename T>
using Lanes = typename VectorOf<T>::Type;

using FloatPair = VectorOf<float, 8>::Type;

template <typename T>
inline constexpr std::size_t kLaneCount = 16 / sizeof(T);

template <typename T>
inline T Load(const Byte* in) {
    T value;
    std::memcpy(&value, in, sizeof value);
    return value;
}

/// A number in little-endian bytes. Shifted bytes, as elsewhere, would do, but inside a loop not every
/// compiler joins them to one load.
template <typename Unsigned>
inline Unsigned LoadLittle(const Byte* in) {
    if constexpr (std::endian::native == std::endian::little)
        return Load<Unsigned>(in);
    Unsigned value = 0;
    for (std::size_t b = sizeof value; b-- > 0;)
        value = static_cast<Unsigned>(value << 8 | in[b]);
    return value;
}

template <typename Unsigned>
inline void StoreLittle(Byte* out, Unsigned inValue) {
    if constexpr (std::endian::native == std::endian::little)
        std::memcpy(out, &inValue, sizeof inValue);
    else
        for (std::size_t b = 0; b < sizeof inValue; ++b)
            out[b] = static_cast<Byte>(inValue >> (8 * b));
}

template <std::size_t kBytes>
using Unsigned =
    std::conditional_t<kBytes == 1, std::uint8_t,
                       std::conditional_t<kBytes == 2, std::uint16_t,
                                          std::conditional_t<kBytes == 4, std::uint32_t, std::uint64_t>>>;

/// @return how many samples of so many bytes a run must have for the wider vectors of some processors to be
/// worth the start.
constexpr std::size_t WorthWideVectors(std::size_t inBytes) {
    return inBytes < 4 ? 64 : 128;
}

} // namespace kelaudiofile::convert
