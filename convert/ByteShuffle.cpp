#include "ByteShuffle.h"

#include "kelaccelerate/ByteShuffles.h"

#if defined(__x86_64__)

#include <array>
#include <immintrin.h>

namespace kelaudiofile::convert {

namespace {

constexpr int kHalf = 16; ///< bytes of a vector within which they can be moved

/// For each byte of half a vector, the byte that is to come there, or -1 for a zero.
using Places = std::array<signed char, kHalf>;

/// @return where four samples come from that are to lie in the upper bytes of lanes, the first of them at
/// inFirst. Bytes that are not in this half are left out: they come from another one.
constexpr Places PlacesOf(int inBytes, int inStep, int inFirst) {
    Places places{};
    for (int lane = 0; lane < 4; ++lane)
        for (int b = 0; b < 4; ++b) {
            const int place = inFirst + lane * inStep + b - (4 - inBytes);
            const bool isHere = b >= 4 - inBytes && place >= 0 && place < kHalf;
            places[static_cast<std::size_t>(4 * lane + b)] = static_cast<signed char>(isHere ? place : -1);
        }
    return places;
}

template <int kBytes>
constexpr int kLastStep = kHalf - kBytes;

/// What makes four samples of a half that starts with the first one, and of one that starts with the third,
/// by the bytes from one sample to the next.
struct Moves {
    Places fromFirst, fromThird;
};

template <int kBytes>
constexpr auto kMoves = [] {
    std::array<Moves, kLastStep<kBytes> + 1> moves{};
    for (int step = 0; step <= kLastStep<kBytes>; ++step)
        moves[static_cast<std::size_t>(step)] = {PlacesOf(kBytes, step, 0),
                                                 PlacesOf(kBytes, step, -2 * step)};
    return moves;
}();

KELACCELERATE_BYTE_SHUFFLES __m128i LoadHalf(const void* in) {
    return _mm_loadu_si128(static_cast<const __m128i*>(in));
}

KELACCELERATE_BYTE_SHUFFLES __m256i LoadVector(const void* in) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(in));
}

KELACCELERATE_BYTE_SHUFFLES __m256i LoadHalves(const Byte* inLower, const Byte* inUpper) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(inLower)), LoadHalf(inUpper), 1);
}

KELACCELERATE_BYTE_SHUFFLES __m256i InBothHalves(const Places& inPlaces) {
    return _mm256_broadcastsi128_si256(LoadHalf(inPlaces.data()));
}

/// @param inUpper  samples in the upper bytes of each lane.
KELACCELERATE_BYTE_SHUFFLES void StoreFloats(Byte* out, __m256i inUpper) {
    const __m256 floats = _mm256_mul_ps(_mm256_cvtepi32_ps(inUpper), _mm256_set1_ps(0x1p-31f));
    _mm256_storeu_ps(reinterpret_cast<float*>(out), floats);
}

// Eight samples a turn, as long as no load reaches behind the last one.

/// Four samples within half a vector.
KELACCELERATE_BYTE_SHUFFLES std::size_t GatherFours(const Byte* in, Byte* out, std::size_t inByteCount,
                                                    std::size_t inStep, const Moves& inMoves) {
    const __m256i places = InBothHalves(inMoves.fromFirst);
    std::size_t i = 0;
    for (; (i + 4) * inStep + kHalf <= inByteCount; i += 8) {
        const Byte* const samples = in + i * inStep;
        StoreFloats(out + i * sizeof(float),
                    _mm256_shuffle_epi8(LoadHalves(samples, samples + 4 * inStep), places));
    }
    return i;
}

/// Two samples within half a vector.
KELACCELERATE_BYTE_SHUFFLES std::size_t GatherPairs(const Byte* in, Byte* out, std::size_t inByteCount,
                                                    std::size_t inStep, const Moves& inMoves) {
    const __m256i fromFirst = InBothHalves(inMoves.fromFirst), fromThird = InBothHalves(inMoves.fromThird);
    std::size_t i = 0;
    for (; (i + 6) * inStep + kHalf <= inByteCount; i += 8) {
        const Byte* const samples = in + i * inStep;
        const __m256i first = LoadHalves(samples, samples + 4 * inStep);
        const __m256i second = LoadHalves(samples + 2 * inStep, samples + 6 * inStep);
        StoreFloats(out + i * sizeof(float), _mm256_or_si256(_mm256_shuffle_epi8(first, fromFirst),
                                                             _mm256_shuffle_epi8(second, fromThird)));
    }
    return i;
}

/// Six bytes from one to the next, as in 24-bit stereo: eight samples lie within three halves, which takes
/// two loads where pairs take four.
template <int kBytes>
KELACCELERATE_BYTE_SHUFFLES std::size_t GatherSixes(const Byte* in, Byte* out, std::size_t inByteCount) {
    constexpr int kFifth = 4 * 6;
    static constexpr Places kFirst[] = {PlacesOf(kBytes, 6, 0), PlacesOf(kBytes, 6, kFifth - kHalf)},
                            kSecond[] = {PlacesOf(kBytes, 6, -kHalf),
                                         PlacesOf(kBytes, 6, kFifth - 2 * kHalf)};
    const __m256i fromFirst = LoadVector(kFirst), fromSecond = LoadVector(kSecond);
    std::size_t i = 0;
    for (; i * 6 + 3 * kHalf <= inByteCount; i += 8) {
        const __m256i first = LoadVector(in + i * 6), second = LoadVector(in + i * 6 + kHalf);
        StoreFloats(out + i * sizeof(float), _mm256_or_si256(_mm256_shuffle_epi8(first, fromFirst),
                                                             _mm256_shuffle_epi8(second, fromSecond)));
    }
    return i;
}

} // namespace

template <int kBytes>
std::size_t GatherByShuffling(const Byte* in, Byte* out, std::size_t inCount, std::size_t inStep) {
    constexpr std::size_t kWorthTheStart = 64;
    if (inCount < kWorthTheStart || inStep > kLastStep<kBytes> || !kelaccelerate::HasByteShuffles())
        return 0;
    const std::size_t byteCount = (inCount - 1) * inStep + kBytes;
    const Moves& moves = kMoves<kBytes>[inStep];
    if (inStep == 6)
        return GatherSixes<kBytes>(in, out, byteCount);
    return 3 * inStep <= kLastStep<kBytes> ? GatherFours(in, out, byteCount, inStep, moves)
                                           : GatherPairs(in, out, byteCount, inStep, moves);
}

} // namespace kelaudiofile::convert

#else

namespace kelaudiofile::convert {

template <int kBytes>
std::size_t GatherByShuffling(const Byte*, Byte*, std::size_t, std::size_t) {
    return 0;
}

} // namespace kelaudiofile::convert

#endif

namespace kelaudiofile::convert {

template std::size_t GatherByShuffling<1>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherByShuffling<2>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherByShuffling<3>(const Byte*, Byte*, std::size_t, std::size_t);

} // namespace kelaudiofile::convert
