#pragma once

#include <algorithm>

#include "SampleLanes.h"
#include "kelaccelerate/WideVectors.h"

#if defined(KELACCELERATE_WIDE) || defined(__SSE2__)
#include <immintrin.h>
#endif

/// Each kind of written sample is made from a vector of floats, as words that hold the file's
/// bits in their lower bytes.
namespace kelaudiofile::convert {

/// Never passes through a float register, which may change the bits of a signalling NaN.
struct ToFloatBits {
    static constexpr std::size_t kBytes = 4;
    using Source = Lanes<std::uint32_t>;
    static Lanes<std::uint32_t> Convert(Source in) { return in; }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256i ConvertEight(__m256 in) { return _mm256_castps_si256(in); }
#endif
};

template <int kFullScale>
struct ToScaledFloat {
    static constexpr std::size_t kBytes = 4;
    using Source = Lanes<float>;
    static auto Convert(Source in) { return As<Lanes<std::uint32_t>>(in * float{kFullScale}); }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256i ConvertEight(__m256 in) {
        return _mm256_castps_si256(_mm256_mul_ps(in, _mm256_set1_ps(kFullScale)));
    }
#endif
};

struct ToDouble {
    using Source = FloatPair;
    static auto Convert(Source in) { return As<Lanes<std::uint64_t>>(Converted<Lanes<double>>(in)); }
};

/// Returns the larger of each pair of lanes, or the second if one is NaN.
inline Lanes<float> Max(Lanes<float> a, Lanes<float> b) {
#if defined(__SSE2__) && !defined(KELAUDIOFILE_PLAIN_VECTORS)
    return _mm_max_ps(a, b);
#else
    return Chosen(a > b, a, b);
#endif
}

inline Lanes<float> Min(Lanes<float> a, Lanes<float> b) {
#if defined(__SSE2__) && !defined(KELAUDIOFILE_PLAIN_VECTORS)
    return _mm_min_ps(a, b);
#else
    return Chosen(a < b, a, b);
#endif
}

/// Clips to -1.0 and to the largest float below 1.0 before converting: a host may trap floating-point
/// exceptions, and this way neither the product overflows nor the conversion fails. The product is exact.
/// From 1.0 on, the bits that the largest float below it lacks are added.
struct ToInteger32 {
    static constexpr std::size_t kBytes = 4;
    static constexpr float kHighest = 0x1.fffffep-1f;
    static constexpr std::int32_t kMissingBits = 0x7FFFFFFF - 0x7FFFFF80;
    using Source = Lanes<float>;
    static auto Convert(Source in) {
        const Lanes<float> highest = Lanes<float>{} + kHighest;
        const Lanes<float> atLeastLowest = Max(in, Lanes<float>{} - 1.0f); // and no NaN
        const auto integers = Converted<Lanes<std::int32_t>>(Min(atLeastLowest, highest) * 0x1p31f);
        return As<Lanes<std::uint32_t>>(integers | ((atLeastLowest > highest) & kMissingBits));
    }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256i ConvertEight(__m256 in) {
        const __m256 highest = _mm256_set1_ps(kHighest);
        const __m256 atLeastLowest = _mm256_max_ps(in, _mm256_set1_ps(-1.0f)); // and no NaN
        const __m256 product = _mm256_mul_ps(_mm256_min_ps(atLeastLowest, highest), _mm256_set1_ps(0x1p31f));
        const __m256i isFull = _mm256_castps_si256(_mm256_cmp_ps(atLeastLowest, highest, _CMP_GT_OQ));
        return _mm256_or_si256(_mm256_cvttps_epi32(product),
                               _mm256_and_si256(isFull, _mm256_set1_epi32(kMissingBits)));
    }
#endif
};

/// Integers of up to 24 bits: NaN becomes 0; other values are clipped and then rounded to nearest, ties to
/// even. After the exact product the upper limit is an integer, so rounding first would give the same result.
template <std::size_t kWidth>
struct ToRoundedInteger {
    static constexpr std::size_t kBytes = kWidth;
    static constexpr float kFullScale = 1 << (8 * kBytes - 1), kHighest = (kFullScale - 1) / kFullScale;
    using Source = Lanes<float>;
    static auto Convert(Source in) {
        using Bits = Lanes<std::uint32_t>;
        const auto number = As<Source>(As<Bits>(in == in) & As<Bits>(in));
        const Source atLeastLowest = Max(number, Source{} - 1.0f);
        const Source product = Min(atLeastLowest, Source{} + kHighest) * kFullScale;
        // Floats from 2^23 on are integers, so adding 2^23 with the sign of the product rounds.
        const auto rounder =
            As<Source>((As<Bits>(product) & 0x80000000) | std::bit_cast<std::uint32_t>(0x1p23f));
        return As<Bits>(Converted<Lanes<std::int32_t>>(product + rounder - rounder));
    }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256i ConvertEight(__m256 in) {
        const __m256 number = _mm256_and_ps(in, _mm256_cmp_ps(in, in, _CMP_ORD_Q));
        const __m256 atLeastLowest = _mm256_max_ps(number, _mm256_set1_ps(-1.0f));
        const __m256 clipped = _mm256_min_ps(atLeastLowest, _mm256_set1_ps(kHighest));
        return _mm256_cvtps_epi32(_mm256_mul_ps(clipped, _mm256_set1_ps(kFullScale)));
    }
#endif
};

struct ToInteger64 {
    using Source = FloatPair;
    static auto Convert(Source in) { return Lanes<std::uint64_t>{Convert(in[0]), Convert(in[1])}; }
    static std::uint64_t Convert(float in) {
        constexpr double kLowest = -0x1p63, kHighest = 0x1p63 - 1024;
        const double atLeastLowest = std::max(kLowest, in * 0x1p63); // and no NaN
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(std::min(atLeastLowest, kHighest)));
    }
};

} // namespace kelaudiofile::convert
