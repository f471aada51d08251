#include "ByteShuffle.h"

#if defined(__x86_64__)

#include <atomic>
#include <cpuid.h>
#include <immintrin.h>

#define KELAUDIOFILE_AVX2 __attribute__((target("avx2")))

namespace kelaudiofile::convert {

namespace {

bool AskForAvx2() {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx) || !(ecx & bit_OSXSAVE))
        return false;
    unsigned savedBySystem, ignored;
    __asm__("xgetbv" : "=a"(savedBySystem), "=d"(ignored) : "c"(0));
    const bool savesVectors = (savedBySystem & 6) == 6;
    return savesVectors && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) && (ebx & bit_AVX2);
}

/// Under virtualisation the question takes longer than a block of samples, so it is put once, and not before
/// it matters. Threads that put it at the same time get the same answer.
bool HasAvx2() {
    enum : int { kUnknown, kNo, kYes };
    static std::atomic<int> answer = kUnknown;
    int known = answer.load(std::memory_order_relaxed);
    if (known == kUnknown) {
        known = AskForAvx2() ? kYes : kNo;
        answer.store(known, std::memory_order_relaxed);
    }
    return known == kYes;
}

KELAUDIOFILE_AVX2 __m256i Load32(const Byte* in) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
}

/// @param inUpper  samples in the upper three bytes of each lane.
KELAUDIOFILE_AVX2 void StoreFloats(Byte* out, __m256i inUpper) {
    const __m256 floats = _mm256_mul_ps(_mm256_cvtepi32_ps(inUpper), _mm256_set1_ps(0x1p-31f));
    _mm256_storeu_ps(reinterpret_cast<float*>(out), floats);
}

// Eight samples a turn. Bytes move within each half of a vector alone, and -1 stands for a zero.

KELAUDIOFILE_AVX2 std::size_t GatherMono(const Byte* in, Byte* out, std::size_t inCount) {
    const __m256i fourInEachHalf = _mm256_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6);
    const __m256i places = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11,  //
                                            -1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11); //
    constexpr std::size_t kSamplesRead = 11; // 32 of their 33 bytes
    std::size_t i = 0;
    for (; i + kSamplesRead <= inCount; i += 8) {
        const __m256i samples = _mm256_permutevar8x32_epi32(Load32(in + 3 * i), fourInEachHalf);
        StoreFloats(out + 4 * i, _mm256_shuffle_epi8(samples, places));
    }
    return i;
}

KELAUDIOFILE_AVX2 std::size_t GatherStereo(const Byte* in, Byte* out, std::size_t inCount) {
    // The samples start at bytes 0, 6, ... 42. The sixth has a byte in the second load.
    const __m256i placesFrom0 =
        _mm256_setr_epi8(-1, 0, 1, 2, -1, 6, 7, 8, -1, 12, 13, 14, -1, -1, -1, -1,      //
                         -1, 8, 9, 10, -1, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1); //
    const __m256i placesFrom16 =
        _mm256_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 2, 3, 4, //
                         -1, -1, -1, -1, -1, -1, -1, 0, -1, 4, 5, 6, -1, 10, 11, 12); //
    constexpr std::size_t kSamplesRead = 9; // 48 of the 51 bytes up to the ninth's last
    std::size_t i = 0;
    for (; i + kSamplesRead <= inCount; i += 8) {
        const __m256i first = _mm256_shuffle_epi8(Load32(in + 6 * i), placesFrom0);
        const __m256i second = _mm256_shuffle_epi8(Load32(in + 6 * i + 16), placesFrom16);
        StoreFloats(out + 4 * i, _mm256_or_si256(first, second));
    }
    return i;
}

} // namespace

std::size_t GatherByShuffling24(const Byte* in, Byte* out, std::size_t inCount, std::size_t inStride) {
    if (!HasAvx2())
        return 0;
    return inStride == 1 ? GatherMono(in, out, inCount) : GatherStereo(in, out, inCount);
}

} // namespace kelaudiofile::convert

#else

namespace kelaudiofile::convert {

std::size_t GatherByShuffling24(const Byte*, Byte*, std::size_t, std::size_t) {
    return 0;
}

} // namespace kelaudiofile::convert

#endif
