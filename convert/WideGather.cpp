#include "WideGather.h"

#include "kelaccelerate/WideVectors.h"

#if defined(__x86_64__)

#include <array>
#include <immintrin.h>
#include <utility>

namespace kelaudiofile::convert {

// All products are of sizes within a few vectors.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result, bugprone-misplaced-widening-cast)
namespace {

constexpr int kQuarter = 8;
constexpr int kHalf = 16; ///< the bytes of a vector within which a shuffle can move

/// How eight samples are laid out, which determines how they are loaded.
enum Way {
    kNeighbours,         ///< they fill one vector: 32-bit mono
    kEveryOther,         ///< in two vectors, alternating with other samples: 32-bit stereo
    kEightInAHalf,       ///< at most two bytes apart, as in 16-bit mono
    kFourInEachHalf,     ///< four bytes apart, as in 16-bit stereo
    kEightInThreeHalves, ///< six bytes apart, as in 24-bit stereo
    kFourInAHalf,
    kTwoInAHalf,
    kOneInEachHalf,      ///< the second one is in the first quarter of its half
    kOneInEachHalfLater, ///< the second one is in the second quarter
    kTooFarApart,        ///< or one straddles both halves: five channels of 24 bits
};

constexpr Way WayOf(int inBytes, int inStep) {
    const auto isWithin = [=](int inSampleCount, int inReach) {
        return (inSampleCount - 1) * inStep + inBytes <= inReach;
    };
    if (inBytes == 4 && inStep <= 8)
        return inStep == 4 ? kNeighbours : kEveryOther;
    if (isWithin(8, kHalf))
        return kEightInAHalf;
    if (4 * inStep == kHalf)
        return kFourInEachHalf;
    if (isWithin(4, kHalf))
        return kFourInAHalf;
    if (inStep == 6)
        return kEightInThreeHalves;
    if (isWithin(2, kHalf))
        return kTwoInAHalf;
    if (inStep < kHalf || !isWithin(2, 2 * kHalf))
        return kTooFarApart;
    return isWithin(2, kHalf + kQuarter) ? kOneInEachHalf : kOneInEachHalfLater;
}

/// The source of each byte of half a vector, or -1 for a zero.
using Places = std::array<signed char, kHalf>;

/// Returns the sources of four samples for the upper bytes of lanes, the first sample being at inFirst. Bytes
/// outside this half become 0; they come from another half.
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

/// The shuffles of one or two loads for each half, determined by the first sample in the half.
struct alignas(2 * kHalf) Moves {
    Places first[2], second[2];
};

constexpr Moves MovesOf(int inBytes, int inStep) {
    const auto from = [=](int inFirst) { return PlacesOf(inBytes, inStep, inFirst); };
    const int fifth = 4 * inStep;
    switch (WayOf(inBytes, inStep)) {
    case kEightInAHalf:
        return {{from(0), from(fifth)}, {}};
    case kEightInThreeHalves:
        return {{from(0), from(fifth - kHalf)}, {from(-kHalf), from(fifth - 2 * kHalf)}};
    case kOneInEachHalf:
    case kOneInEachHalfLater: {
        const auto fromQuarters = [=](int inFirst) { return PlacesOf(inBytes, kQuarter, inFirst); };
        const int inUpperHalf = inStep % kQuarter;
        return {{fromQuarters(0), fromQuarters(inUpperHalf)},
                {fromQuarters(-kHalf), fromQuarters(inUpperHalf - kHalf)}};
    }
    default: // the first four, and the last two of four, which may overlap them
        return {{from(0), from(0)}, {from(-2 * inStep), from(-2 * inStep)}};
    }
}

KELACCELERATE_WIDE __m128i LoadHalf(const void* in) {
    return _mm_loadu_si128(static_cast<const __m128i*>(in));
}

KELACCELERATE_WIDE __m256i LoadVector(const void* in) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(in));
}

KELACCELERATE_WIDE __m256i LoadHalves(const Byte* inLower, const Byte* inUpper) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(inLower)), LoadHalf(inUpper), 1);
}

/// Combines the quarters of two vectors that contain samples: the first quarter of each lower half, and one
/// quarter of each upper half.
template <Way kWay>
KELACCELERATE_WIDE __m256i LoadQuarters(const Byte* inFirst, const Byte* inSecond) {
    constexpr int kOfHalves = kWay == kOneInEachHalf ? 0b00'00 : 0b11'00;
    return _mm256_castpd_si256(_mm256_shuffle_pd(_mm256_castsi256_pd(LoadVector(inFirst)),
                                                 _mm256_castsi256_pd(LoadVector(inSecond)), kOfHalves));
}

/// Returns how many bytes LoadEight touches from the first sample on.
constexpr std::size_t ReachOf(Way inWay, std::size_t inStep) {
    switch (inWay) {
    case kEightInAHalf:
        return kHalf;
    case kEveryOther:
        return 4 * kHalf;
    case kEightInThreeHalves:
        return 3 * kHalf;
    case kFourInAHalf:
        return 4 * inStep + kHalf;
    case kTwoInAHalf:
        return 6 * inStep + kHalf;
    case kOneInEachHalf:
    case kOneInEachHalfLater:
        return 6 * inStep + 2 * kHalf;
    default:
        return 2 * kHalf;
    }
}

/// Loads eight samples of a channel into the upper bytes of lanes.
template <Way kWay>
KELACCELERATE_WIDE __m256i LoadEight(const Byte* in, std::size_t inStep, __m256i inFirst, __m256i inSecond) {
    if constexpr (kWay == kNeighbours)
        return LoadVector(in);
    else if constexpr (kWay == kEveryOther) {
        const __m256 first = _mm256_castsi256_ps(LoadVector(in)),
                     second = _mm256_castsi256_ps(LoadVector(in + 2 * kHalf));
        const __m256i pairs = _mm256_castps_si256(_mm256_shuffle_ps(first, second, 0b10'00'10'00));
        return _mm256_permute4x64_epi64(pairs, 0b11'01'10'00);
    } else if constexpr (kWay == kEightInAHalf)
        return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(LoadHalf(in)), inFirst);
    else if constexpr (kWay == kFourInEachHalf)
        return _mm256_shuffle_epi8(LoadVector(in), inFirst);
    else if constexpr (kWay == kEightInThreeHalves)
        return _mm256_or_si256(_mm256_shuffle_epi8(LoadVector(in), inFirst),
                               _mm256_shuffle_epi8(LoadVector(in + kHalf), inSecond));
    else if constexpr (kWay == kFourInAHalf)
        return _mm256_shuffle_epi8(LoadHalves(in, in + 4 * inStep), inFirst);
    else if constexpr (kWay == kTwoInAHalf)
        return _mm256_or_si256(_mm256_shuffle_epi8(LoadHalves(in, in + 4 * inStep), inFirst),
                               _mm256_shuffle_epi8(LoadHalves(in + 2 * inStep, in + 6 * inStep), inSecond));
    else {
        static_assert(kWay == kOneInEachHalf || kWay == kOneInEachHalfLater);
        const __m256i firstFour = _mm256_shuffle_epi8(LoadQuarters<kWay>(in, in + 2 * inStep), inFirst),
                      lastFour =
                          _mm256_shuffle_epi8(LoadQuarters<kWay>(in + 4 * inStep, in + 6 * inStep), inSecond);
        return _mm256_permutevar8x32_epi32(_mm256_or_si256(firstFour, lastFour),
                                           _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
}

/// Returns the number of floats before the next aligned vector, fewer than eight.
/// Unaligned floats never reach one.
std::size_t FloatsToAlignment(const Byte* out) {
    return -reinterpret_cast<std::uintptr_t>(out) % (2 * kHalf) / sizeof(float);
}

template <typename Sample>
KELACCELERATE_WIDE void StoreEight(Byte* out, __m256i inUpper) {
    _mm256_storeu_ps(reinterpret_cast<float*>(out), Sample::ConvertEight(inUpper));
}

/// Converts twice eight samples per iteration, as long as no load reaches past the last one. The first load
/// never does in a run that is long enough for wide vectors.
template <typename Sample, Way kWay>
KELACCELERATE_WIDE std::size_t GatherSixteens(const Byte* in, Byte* out, std::size_t inByteCount,
                                              std::size_t inStep, const Moves& inMoves) {
    const __m256i first = LoadVector(&inMoves.first), second = LoadVector(&inMoves.second);
    const std::size_t reach = 8 * inStep + ReachOf(kWay, inStep);
    // Stores across cache lines cost up to a fifth. So the loop starts at an aligned vector of
    // floats; those before it are stored with the first eight, unless that would overwrite samples
    // that are still to be read.
    const std::size_t before = in == out ? 0 : FloatsToAlignment(out);
    if (before != 0) {
        StoreEight<Sample>(out, LoadEight<kWay>(in, inStep, first, second));
        in += before * inStep;
        out += before * sizeof(float);
        inByteCount -= before * inStep;
    }
    std::size_t i = 0;
    for (; i * inStep + reach <= inByteCount; i += 16) {
        const Byte* const samples = in + i * inStep;
        Byte* const floats = out + i * sizeof(float);
        StoreEight<Sample>(floats, LoadEight<kWay>(samples, inStep, first, second));
        StoreEight<Sample>(floats + 8 * sizeof(float),
                           LoadEight<kWay>(samples + 8 * inStep, inStep, first, second));
    }
    return before + i;
}

/// How samples with this many channels are gathered; null if they are too far apart.
struct Plan {
    std::size_t (*gather)(const Byte*, Byte*, std::size_t, std::size_t, const Moves&);
    Moves moves;
};

template <typename Sample, int kChannels>
constexpr Plan PlanFor() {
    constexpr int kBytes = Sample::kBytes, kStep = kChannels * kBytes;
    constexpr Way kWay = WayOf(kBytes, kStep);
    if constexpr (kChannels == 0 || kWay == kTooFarApart)
        return {};
    else {
        constexpr std::size_t kLeastBytes = (WorthWideVectors(kBytes) - 1) * kStep + kBytes;
        static_assert(8 * kStep + ReachOf(kWay, kStep) <= kLeastBytes);
        return {GatherSixteens<Sample, kWay>, MovesOf(kBytes, kStep)};
    }
}

template <typename Sample, int... kChannels>
constexpr std::array<Plan, sizeof...(kChannels)> PlansFor(std::integer_sequence<int, kChannels...>) {
    return {PlanFor<Sample, kChannels>()...};
}

/// Indexed by the number of channels, up to the distance at which a vector no longer holds two samples.
template <typename Sample>
constexpr auto kPlans = PlansFor<Sample>(std::make_integer_sequence<int, 2 * kHalf / Sample::kBytes>());

} // namespace

template <typename Sample>
std::size_t GatherWide(const Byte* in, Byte* out, std::size_t inCount, std::size_t inChannels) {
    if (inChannels >= kPlans<Sample>.size() || !kelaccelerate::HasWideVectors())
        return 0;
    const Plan& plan = kPlans<Sample>[inChannels];
    const std::size_t step = inChannels * Sample::kBytes;
    return plan.gather ? plan.gather(in, out, (inCount - 1) * step + Sample::kBytes, step, plan.moves) : 0;
}

} // namespace kelaudiofile::convert

#else

namespace kelaudiofile::convert {

template <typename Sample>
std::size_t GatherWide(const Byte*, Byte*, std::size_t, std::size_t) {
    return 0;
}

} // namespace kelaudiofile::convert

#endif

namespace kelaudiofile::convert {

template std::size_t GatherWide<Integer<1>>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherWide<Integer<2>>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherWide<Integer<3>>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherWide<Integer<4>>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherWide<FloatBits>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherWide<ScaledFloat<32768>>(const Byte*, Byte*, std::size_t, std::size_t);
template std::size_t GatherWide<ScaledFloat<8388608>>(const Byte*, Byte*, std::size_t, std::size_t);

// NOLINTEND(bugprone-implicit-widening-of-multiplication-result, bugprone-misplaced-widening-cast)
} // namespace kelaudiofile::convert
