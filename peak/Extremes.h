#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bytes/Lanes.h"
#include "kelaudiofile/PeakDataSegment.h"

namespace kelaudiofile::detail {

// Smaller and Larger keep the first value unless the second is less or greater. So a NaN in a datum is
// skipped, a NaN in the extremes stays, and of 0.0 and -0.0 the first one counts. They also accept vectors.
template <typename Value>
Value Smaller(Value a, Value b) {
    return bytes::Chosen(b < a, b, a);
}
template <typename Value>
Value Larger(Value a, Value b) {
    return bytes::Chosen(b > a, b, a);
}

/// Prefetches memory that is needed soon, a page ahead of a datum. The contents don't matter, nor whether
/// there is memory at all.
inline void Prefetch(const PeakDatum* inDatum) {
    constexpr std::uintptr_t kAhead = 4096;
    // May be past the end of the datums, where pointer arithmetic is undefined.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    bytes::Prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(inDatum) + kAhead));
}

/// Returns the extremes after one more datum.
inline PeakDatum TakeIn(const PeakDatum& inDatum, PeakDatum inExtremes) {
    return {Smaller(inExtremes.min, inDatum.min), Larger(inExtremes.max, inDatum.max)};
}

/// The extremes of many datums, in vectors of two datums in memory order. Every lane keeps both extremes:
/// only the even lanes of `low` and the odd lanes of `high` are needed, but keeping the others costs less
/// than separating the datums.
class LaneExtremes {
public:
    static constexpr std::ptrdiff_t kDatumsPerStep = 4;

    /// All lanes start with the extremes so far, so a NaN there stays in each of them.
    explicit LaneExtremes(const PeakDatum& inExtremes) {
        const Lanes min = {inExtremes.min, inExtremes.min, inExtremes.min, inExtremes.min};
        const Lanes max = {inExtremes.max, inExtremes.max, inExtremes.max, inExtremes.max};
        for (int i = 0; i < 2; ++i) {
            low[i] = min;
            high[i] = max;
        }
    }

    void TakeStep(const PeakDatum* inDatums) {
        Prefetch(inDatums);
        for (std::ptrdiff_t i = 0; i < 2; ++i) {
            Lanes values; // one at a time: g++ would pass an array of them through memory
            std::memcpy(&values, inDatums + 2 * i, sizeof values);
            low[i] = Smaller(low[i], values);
            high[i] = Larger(high[i], values);
        }
    }

    PeakDatum Result() const {
        const Lanes lowest = Smaller(low[0], low[1]), highest = Larger(high[0], high[1]);
        return TakeIn({lowest[2], highest[3]}, {lowest[0], highest[1]});
    }

private:
    using Lanes = bytes::VectorOf<float, 16>::Type;
    static_assert(kDatumsPerStep * sizeof(PeakDatum) == 2 * sizeof(Lanes));

    Lanes low[2], high[2];
};

/// Detects zeros of either sign by comparing bits, which takes fewer steps than the rules for NaN.
inline bool IsZero(float inValue) {
    std::uint32_t bits;
    std::memcpy(&bits, &inValue, sizeof bits);
    return bits << 1 == 0;
}

/// Lane order loses which of 0.0 and -0.0 came first. If an extreme became zero only now, the datums' first
/// zero is the right one.
inline PeakDatum RestoreFirstZeros(const PeakDatum* inFirst, const PeakDatum& inBefore,
                                   PeakDatum inExtremes) {
    if (IsZero(inExtremes.min) && !IsZero(inBefore.min)) {
        const PeakDatum* zero = inFirst;
        while (zero->min != 0.0f)
            ++zero;
        inExtremes.min = zero->min;
    }
    if (IsZero(inExtremes.max) && !IsZero(inBefore.max)) {
        const PeakDatum* zero = inFirst;
        while (zero->max != 0.0f)
            ++zero;
        inExtremes.max = zero->max;
    }
    return inExtremes;
}

/// Returns the extremes after the datums from inFirst up to inLast, bit for bit as if they were included one
/// by one (in the default mode of the floating-point unit, which keeps denormals).
inline PeakDatum TakeIn(const PeakDatum* inFirst, const PeakDatum* inLast, PeakDatum inExtremes) {
    if (inLast - inFirst < LaneExtremes::kDatumsPerStep) {
        for (; inFirst != inLast; ++inFirst)
            inExtremes = TakeIn(*inFirst, inExtremes);
        return inExtremes;
    }
    LaneExtremes lanes(inExtremes);
    for (const PeakDatum* next = inFirst; inLast - next > LaneExtremes::kDatumsPerStep;
         next += LaneExtremes::kDatumsPerStep)
        lanes.TakeStep(next);
    lanes.TakeStep(inLast - LaneExtremes::kDatumsPerStep); // some for the second time, which changes nothing
    return RestoreFirstZeros(inFirst, inExtremes, lanes.Result());
}

} // namespace kelaudiofile::detail
