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

inline constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

/// Takes a number from the machine's byte order to the files', or back.
template <typename Unsigned>
constexpr Unsigned LittleEndian(Unsigned inValue) {
    if constexpr (kIsLittleEndian)
        return inValue;
    Unsigned reversed = 0;
    for (std::size_t b = 0; b < sizeof inValue; ++b)
        reversed = static_cast<Unsigned>(reversed << 8 | (inValue >> (8 * b) & 0xFF));
    return reversed;
}

/// A number in little-endian bytes. Shifted bytes, as elsewhere, would do, but inside a loop not every
/// compiler joins them to one load.
template <typename Unsigned>
inline Unsigned LoadLittle(const Byte* in) {
    return LittleEndian(Load<Unsigned>(in));
}

template <typename Unsigned>
inline void StoreLittle(Byte* out, Unsigned inValue) {
    inValue = LittleEndian(inValue);
    std::memcpy(out, &inValue, sizeof inValue);
}

/// @return how many of so many samples fill groups; the others go one by one.
constexpr std::size_t InWholeGroups(std::size_t inCount, std::size_t inGroupSize) {
    return inCount - inCount % inGroupSize;
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
