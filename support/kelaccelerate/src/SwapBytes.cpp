#include "kelaccelerate/SwapBytes.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "kelaccelerate/WideVectors.h"

#if defined(KELACCELERATE_WIDE)
#include <immintrin.h>
#endif

namespace kelaccelerate::utility {

namespace {

[[maybe_unused]] constexpr std::size_t kVectorBytes = 16;

#if (defined(__GNUC__) || defined(__clang__)) && !defined(KELAUDIOFILE_PLAIN_VECTORS)
#define KELACCELERATE_VECTORS // as g++ and clang++ know them, without naming a processor
typedef std::uint8_t Bytes __attribute__((vector_size(16)));
typedef std::uint16_t HalfWords __attribute__((vector_size(16)));

#endif

struct Swap16 {
    static constexpr std::size_t kWidth = 2, kBytesAtOnce = 16;
#if defined(KELACCELERATE_VECTORS)
    static Bytes Swap(Bytes in) {
        const auto samples = reinterpret_cast<HalfWords>(in);
        return reinterpret_cast<Bytes>(samples << 8 | samples >> 8);
    }
#endif
};

/// Swaps five samples; the vector also holds one byte of the next, which stays. The middle byte of each
/// sample stays too; the outer ones move by two bytes.
struct Swap24 {
    static constexpr std::size_t kWidth = 3, kBytesAtOnce = 15;
#if defined(KELACCELERATE_VECTORS)
    static Bytes Swap(Bytes in) {
        const Bytes zero = {};
        const Bytes first = {255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0};
        const Bytes same = {0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 255};
        const Bytes last = {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0};
        const Bytes fromAbove =
            __builtin_shufflevector(in, zero, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17);
        const Bytes fromBelow =
            __builtin_shufflevector(zero, in, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29);
        return (fromAbove & first) | (in & same) | (fromBelow & last);
    }
#endif
};

/// Swaps the bytes of each half, and then the halves.
struct Swap32 {
    static constexpr std::size_t kWidth = 4, kBytesAtOnce = 16;
#if defined(KELACCELERATE_VECTORS)
    static Bytes Swap(Bytes in) {
        const auto halves = reinterpret_cast<HalfWords>(Swap16::Swap(in));
        return reinterpret_cast<Bytes>(__builtin_shufflevector(halves, halves, 1, 0, 3, 2, 5, 4, 7, 6));
    }
#endif
};

#if defined(KELACCELERATE_WIDE)

/// Returns the source of each byte of a vector. A byte after the last whole sample stays.
template <typename Element>
constexpr std::array<signed char, 16> Places() {
    std::array<signed char, 16> places{};
    for (std::size_t b = 0; b < places.size(); ++b)
        places[b] = static_cast<signed char>(
            b < Element::kBytesAtOnce ? b + Element::kWidth - 1 - 2 * (b % Element::kWidth) : b);
    return places;
}

KELACCELERATE_WIDE void ShuffleVector(const unsigned char* in, unsigned char* out, __m128i inPlaces) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(bytes, inPlaces));
}

/// Swaps all but the last few bytes. @return how many bytes it swapped.
template <typename Element>
KELACCELERATE_WIDE std::size_t SwapByShuffling(const unsigned char* in, unsigned char* out,
                                               std::size_t inByteCount) {
    constexpr std::size_t kAtOnce = Element::kBytesAtOnce;
    static constexpr auto kPlaces = Places<Element>();
    const __m128i places = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kPlaces.data()));
    std::size_t at = 0;
    for (; at + kAtOnce + kVectorBytes <= inByteCount; at += 2 * kAtOnce) {
        ShuffleVector(in + at, out + at, places);
        ShuffleVector(in + at + kAtOnce, out + at + kAtOnce, places);
    }
    return at;
}

#endif

#if defined(KELACCELERATE_VECTORS)

template <typename Element>
void SwapVector(const unsigned char* in, unsigned char* out) {
    Bytes bytes;
    std::memcpy(&bytes, in, sizeof bytes);
    bytes = Element::Swap(bytes);
    std::memcpy(out, &bytes, sizeof bytes);
}

#endif

/// Each store may spill unchanged bytes past its samples; the next store overwrites the spill, and the last
/// samples are swapped singly.
template <typename Element>
void SwapElements(std::uint64_t inCount, const void* inElements, void* outElements) {
    [[maybe_unused]] constexpr std::size_t kAtOnce = Element::kBytesAtOnce;
    constexpr std::size_t kWidth = Element::kWidth;
    const auto* in = static_cast<const unsigned char*>(inElements);
    auto* out = static_cast<unsigned char*>(outElements);
    const std::size_t byteCount = static_cast<std::size_t>(inCount) * kWidth;
    std::size_t at = 0;
#if defined(KELACCELERATE_WIDE)
    if (HasWideVectors())
        at = SwapByShuffling<Element>(in, out, byteCount);
#endif
#if defined(KELACCELERATE_VECTORS)
    for (; at + kAtOnce + kVectorBytes <= byteCount; at += 2 * kAtOnce) {
        SwapVector<Element>(in + at, out + at);
        SwapVector<Element>(in + at + kAtOnce, out + at + kAtOnce);
    }
#endif
    for (; at < byteCount; at += kWidth) {
        unsigned char sample[kWidth];
        std::memcpy(sample, in + at, kWidth);
        for (std::size_t b = 0; b < kWidth; ++b)
            out[at + b] = sample[kWidth - 1 - b];
    }
}

} // namespace

void SwapBytes(std::uint64_t inCount, const std::uint16_t* inElements, std::uint16_t* outElements) {
    SwapElements<Swap16>(inCount, inElements, outElements);
}

void SwapBytes(std::uint64_t inCount, const kelcore::utility::int24_t* inElements,
               kelcore::utility::int24_t* outElements) {
    SwapElements<Swap24>(inCount, inElements, outElements);
}

void SwapBytes(std::uint64_t inCount, const std::uint32_t* inElements, std::uint32_t* outElements) {
    SwapElements<Swap32>(inCount, inElements, outElements);
}

} // namespace kelaccelerate::utility
