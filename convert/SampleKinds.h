#pragma once

#include <cfloat>

#include "SampleLanes.h"
#include "kelaccelerate/WideVectors.h"

#if defined(KELACCELERATE_WIDE)
#include <immintrin.h>
#endif

/// Each kind of sample has a width, a word that holds it in its upper bits, and a conversion from such words.
namespace kelaudiofile::convert {

#if defined(KELACCELERATE_WIDE)
KELACCELERATE_WIDE inline __m256 Scale(__m256 in, float inFactor) {
    return _mm256_mul_ps(in, _mm256_set1_ps(inFactor));
}
#endif

/// One scale serves every width up to 32 bits. The conversion rounds only 32-bit samples.
template <std::size_t kWidth>
struct Integer {
    static constexpr std::size_t kBytes = kWidth;
    using Word = std::uint32_t;
    static Lanes<float> Convert(Lanes<Word> inUpper) {
        return Converted<Lanes<float>>(As<Lanes<std::int32_t>>(inUpper)) * 0x1p-31f;
    }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256 ConvertEight(__m256i inUpper) {
        return Scale(_mm256_cvtepi32_ps(inUpper), 0x1p-31f);
    }
#endif
};

static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 1, "registers wider than a double would round once");

/// Rounded twice, to double and then to float.
struct Integer64 {
    static constexpr std::size_t kBytes = 8;
    using Word = std::uint64_t;
    static FloatPair Convert(Lanes<Word> inUpper) {
        return Converted<FloatPair>(Converted<Lanes<double>>(As<Lanes<std::int64_t>>(inUpper)) * 0x1p-63);
    }
};

/// Never passes through a float register, which may change the bits of a signalling NaN.
struct FloatBits {
    static constexpr std::size_t kBytes = 4;
    using Word = std::uint32_t;
    static Lanes<Word> Convert(Lanes<Word> inBits) { return inBits; }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256 ConvertEight(__m256i inBits) { return _mm256_castsi256_ps(inBits); }
#endif
};

template <int kFullScale>
struct ScaledFloat {
    static constexpr std::size_t kBytes = 4;
    using Word = std::uint32_t;
    static Lanes<float> Convert(Lanes<Word> inBits) { return As<Lanes<float>>(inBits) * (1.0f / kFullScale); }
#if defined(KELACCELERATE_WIDE)
    KELACCELERATE_WIDE static __m256 ConvertEight(__m256i inBits) {
        return Scale(_mm256_castsi256_ps(inBits), 1.0f / kFullScale);
    }
#endif
};

struct Double {
    static constexpr std::size_t kBytes = 8;
    using Word = std::uint64_t;
    static auto Convert(Lanes<Word> inBits) { return Converted<FloatPair>(As<Lanes<double>>(inBits)); }
};

} // namespace kelaudiofile::convert
