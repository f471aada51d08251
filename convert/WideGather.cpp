#include "WideGather.h"

#include "kelaccelerate/WideVectors.h"

#if defined(KELACCELERATE_WIDE)

#include <array>
#include <immintrin.h>
#include <iterator>
#include <utility>

namespace kelaudiofile::convert {

// All products are of sizes within a few vectors.
// NOLINTBEGIN(bugprone-implicit-widening-of-multiplication-result, bugprone-misplaced-widening-cast)
namespace {

constexpr std::size_t kHalf = 16; ///< bytes of a vector within which a shuffle can move them

/// Where the upper half of a vector is loaded from.
enum Upper { kFromSamePlace, kFromNextBytes, kFromFourSamplesOn };

/// How eight samples of a channel become eight lanes. One to four vectors are loaded; a shuffle of each
/// brings the samples that it holds into the upper bytes of their lanes, and zeros elsewhere; together they
/// give all eight. As a shuffle moves bytes within halves only, samples 0 to 3 come from lower halves and 4
/// to 7 from upper ones, or even and odd samples do, and are brought into order at the end. The left channel
/// of 24-bit stereo takes two vectors (`-` is a zero, `|` separates their halves):
///
///     bytes 0 to 31     aaa...bbb...ccc. | ..ddd...eee...ff
///     shuffled          -aaa-bbb-ccc---- | -eee-ff---------
///     bytes 16 to 47    ..ddd...eee...ff | f...ggg...hhh...
///     shuffled          -------------ddd | -------f-ggg-hhh
struct Plan {
    std::size_t vectors;
    std::size_t samplesApart, bytesApart; ///< from one vector's start to the next
    Upper upper;
    bool isInTurn; ///< even samples in the lower halves, odd ones in the upper
};

/// What most need the fewest steps comes first.
constexpr Plan kPlans[] = {
    {1, 0, 0, kFromSamePlace, false},     // mono of 8 and 16 bits
    {1, 0, 0, kFromNextBytes, false},     // stereo of 16 bits
    {1, 0, 0, kFromFourSamplesOn, false}, // mono of 24 bits
    {2, 0, kHalf, kFromNextBytes, false}, // stereo of 24 bits
    {2, 2, 0, kFromFourSamplesOn, false}, // a few channels
    {4, 2, 0, kFromNextBytes, true},      // many channels
};

/// @return where a vector or its upper half begins, counted from the first sample.
constexpr std::size_t PlaceOf(const Plan& inPlan, std::size_t inVector, bool inIsUpper, std::size_t inStep) {
    const std::size_t lower = inVector * (inPlan.samplesApart * inStep + inPlan.bytesApart);
    if (!inIsUpper || inPlan.upper == kFromSamePlace)
        return lower;
    return lower + (inPlan.upper == kFromNextBytes ? kHalf : 4 * inStep);
}

/// For each byte of a vector, the byte of the same half that is to come there, or -1 for a zero.
struct alignas(2 * kHalf) Places {
    signed char bytes[2 * kHalf];
};

/// The places of a plan's vectors.
struct Moves {
    Places vectors[4];
    bool areAll; ///< every byte of the eight samples lies in a vector, in the half that it must be in
};

constexpr Moves MovesFor(const Plan& inPlan, std::size_t inBytes, std::size_t inStep) {
    Moves moves{};
    std::size_t found = 0;
    bool isFound[2 * kHalf] = {};
    for (std::size_t v = 0; v < inPlan.vectors; ++v)
        for (std::size_t to = 0; to < 2 * kHalf; ++to) {
            const bool isUpper = to >= kHalf;
            const std::size_t lane = to % kHalf / 4, byteOfLane = to % 4;
            const std::size_t sample = inPlan.isInTurn ? 2 * lane + isUpper : lane + 4 * isUpper;
            const std::size_t start = PlaceOf(inPlan, v, isUpper, inStep);
            const std::size_t from = sample * inStep + byteOfLane - (4 - inBytes);
            const bool isHere =
                byteOfLane >= 4 - inBytes && from >= start && from < start + kHalf && !isFound[to];
            moves.vectors[v].bytes[to] =
                isHere ? static_cast<signed char>(from - start) : static_cast<signed char>(-1);
            isFound[to] |= isHere;
            found += isHere;
        }
    moves.areAll = found == 8 * inBytes;
    return moves;
}

constexpr std::size_t kNoPlan = std::size(kPlans);

/// @return the first plan that serves samples so far apart.
constexpr std::size_t PlanFor(std::size_t inBytes, std::size_t inStep) {
    std::size_t plan = 0;
    while (plan != kNoPlan && !MovesFor(kPlans[plan], inBytes, inStep).areAll)
        ++plan;
    return plan;
}

KELACCELERATE_WIDE __m128i LoadHalf(const void* in) {
    return _mm_loadu_si128(static_cast<const __m128i*>(in));
}

KELACCELERATE_WIDE __m256i LoadVector(const void* in) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(in));
}

template <Upper kUpper>
KELACCELERATE_WIDE __m256i LoadHalves(const Byte* in, std::size_t inStep) {
    if constexpr (kUpper == kFromSamePlace)
        return _mm256_broadcastsi128_si256(LoadHalf(in));
    else if constexpr (kUpper == kFromNextBytes)
        return LoadVector(in);
    else
        return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(in)), LoadHalf(in + 4 * inStep), 1);
}

/// Loads eight samples of a channel into the upper bytes of lanes.
template <std::size_t kPlan>
struct ByPlan {
    static constexpr Plan kSteps = kPlans[kPlan];

    KELACCELERATE_WIDE static __m256i LoadEight(const Byte* in, std::size_t inStep,
                                                const __m256i (&inPlaces)[4]) {
        __m256i eight = _mm256_shuffle_epi8(LoadHalves<kSteps.upper>(in, inStep), inPlaces[0]);
        for (std::size_t v = 1; v < kSteps.vectors; ++v) {
            const __m256i next = LoadHalves<kSteps.upper>(in + PlaceOf(kSteps, v, false, inStep), inStep);
            eight = _mm256_or_si256(eight, _mm256_shuffle_epi8(next, inPlaces[v]));
        }
        if constexpr (kSteps.isInTurn)
            eight = _mm256_permutevar8x32_epi32(eight, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
        return eight;
    }
    /// Returns how many bytes LoadEight touches from the first sample on.
    static constexpr std::size_t Reach(std::size_t inStep) {
        return PlaceOf(kSteps, kSteps.vectors - 1, true, inStep) + kHalf;
    }
};

/// The same for mono of 32 bits, whose samples are lanes as they lie.
struct AllLanes {
    KELACCELERATE_WIDE static __m256i LoadEight(const Byte* in, std::size_t, const __m256i (&)[4]) {
        return LoadVector(in);
    }
    static constexpr std::size_t Reach(std::size_t) { return 2 * kHalf; }
};

/// The same for stereo of 32 bits.
struct EveryOtherLane {
    KELACCELERATE_WIDE static __m256i LoadEight(const Byte* in, std::size_t, const __m256i (&)[4]) {
        const __m256 first = _mm256_castsi256_ps(LoadVector(in)),
                     second = _mm256_castsi256_ps(LoadVector(in + 2 * kHalf));
        const __m256i pairs = _mm256_castps_si256(_mm256_shuffle_ps(first, second, 0b10'00'10'00));
        return _mm256_permute4x64_epi64(pairs, 0b11'01'10'00);
    }
    static constexpr std::size_t Reach(std::size_t) { return 4 * kHalf; }
};

/// Returns the number of floats before the next aligned vector, fewer than eight. Unaligned floats never
/// reach one.
std::size_t FloatsToAlignment(const Byte* out) {
    return -reinterpret_cast<std::uintptr_t>(out) % (2 * kHalf) / sizeof(float);
}

template <typename Sample>
KELACCELERATE_WIDE void StoreEight(Byte* out, __m256i inUpper) {
    _mm256_storeu_ps(reinterpret_cast<float*>(out), Sample::ConvertEight(inUpper));
}

/// Converts twice eight samples per iteration, as long as no load reaches past the last one. The first load
/// never does in a run that is long enough for wide vectors.
template <typename Sample, typename Lanes>
KELACCELERATE_WIDE std::size_t GatherSixteens(const Byte* in, Byte* out, std::size_t inByteCount,
                                              std::size_t inStep, const Moves& inMoves) {
    __m256i places[4];
    for (std::size_t v = 0; v < 4; ++v)
        places[v] = LoadVector(inMoves.vectors[v].bytes);
    const std::size_t reach = 8 * inStep + Lanes::Reach(inStep);
    // Stores across cache lines cost up to a fifth. So the loop starts at an aligned vector of floats; those
    // before it are stored with the first eight, unless that would overwrite samples that are still to be
    // read.
    const std::size_t before = in == out ? 0 : FloatsToAlignment(out);
    if (before != 0) {
        StoreEight<Sample>(out, Lanes::LoadEight(in, inStep, places));
        in += before * inStep;
        out += before * sizeof(float);
        inByteCount -= before * inStep;
    }
    std::size_t i = 0;
    for (; i * inStep + reach <= inByteCount; i += 16) {
        const Byte* const samples = in + i * inStep;
        Byte* const floats = out + i * sizeof(float);
        StoreEight<Sample>(floats, Lanes::LoadEight(samples, inStep, places));
        StoreEight<Sample>(floats + 8 * sizeof(float),
                           Lanes::LoadEight(samples + 8 * inStep, inStep, places));
    }
    return before + i;
}

/// How samples with this many channels are gathered; null if they are too far apart, or if one straddles both
/// halves of a vector, as with five channels of 24 bits.
struct Gathering {
    std::size_t (*gather)(const Byte*, Byte*, std::size_t, std::size_t, const Moves&);
    Moves moves;
};

template <typename Sample, typename Lanes>
constexpr Gathering GatheringBy(std::size_t inStep, const Moves& inMoves) {
    const std::size_t leastBytes = (WorthWideVectors(Sample::kBytes) - 1) * inStep + Sample::kBytes;
    return 8 * inStep + Lanes::Reach(inStep) <= leastBytes ? Gathering{GatherSixteens<Sample, Lanes>, inMoves}
                                                           : Gathering{};
}

template <typename Sample, std::size_t kChannels>
constexpr Gathering GatheringFor() {
    constexpr std::size_t kBytes = Sample::kBytes, kStep = kChannels * kBytes;
    constexpr std::size_t kPlan = PlanFor(kBytes, kStep);
    if constexpr (kBytes == 4 && kChannels == 1)
        return GatheringBy<Sample, AllLanes>(kStep, {});
    else if constexpr (kBytes == 4 && kChannels == 2)
        return GatheringBy<Sample, EveryOtherLane>(kStep, {});
    else if constexpr (kChannels != 0 && kPlan != kNoPlan)
        return GatheringBy<Sample, ByPlan<kPlan>>(kStep, MovesFor(kPlans[kPlan], kBytes, kStep));
    else
        return {};
}

template <typename Sample, std::size_t... kChannels>
constexpr std::array<Gathering, sizeof...(kChannels)> GatheringsFor(std::index_sequence<kChannels...>) {
    return {GatheringFor<Sample, kChannels>()...};
}

/// Indexed by the number of channels, up to the distance at which a vector no longer holds two samples.
template <typename Sample>
constexpr auto kGatherings = GatheringsFor<Sample>(std::make_index_sequence<2 * kHalf / Sample::kBytes>());

} // namespace

template <typename Sample>
std::size_t GatherWide(const Byte* in, Byte* out, std::size_t inCount, std::size_t inChannels) {
    if (inChannels >= kGatherings<Sample>.size() || !kelaccelerate::HasWideVectors())
        return 0;
    const auto& [gather, moves] = kGatherings<Sample>[inChannels];
    const std::size_t step = inChannels * Sample::kBytes;
    return gather ? gather(in, out, (inCount - 1) * step + Sample::kBytes, step, moves) : 0;
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
