#include "LapExtremes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kelaudiofile::detail {

LapExtremes::LapExtremes(const Cursor& inLapStart, const Cursor& inLapEnd)
    : mStart(inLapStart), mEnd(inLapEnd),
      mExtremes(std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()) {
    ForEachRun(mStart, mEnd, [this](const PeakDatum* first, const PeakDatum* last) {
        mExtremes = TakeIn(first, last, mExtremes);
        return true;
    });
    mLowestHasBothZeros = HasBothZeros(&PeakDatum::min);
    mHighestHasBothZeros = HasBothZeros(&PeakDatum::max);
}

PeakDatum LapExtremes::From(const Cursor& inFirst) const {
    return {From(inFirst, &PeakDatum::min, mLowestHasBothZeros),
            From(inFirst, &PeakDatum::max, mHighestHasBothZeros)};
}

float LapExtremes::From(const Cursor& inFirst, Field inField, bool inHasBothZeros) const {
    const float first = inFirst.segment->begin()[inFirst.block].*inField;
    if (std::isnan(first))
        return first;
    if (!inHasBothZeros)
        return mExtremes.*inField;
    const float* const zero = FindZero(inFirst, inField);
    return zero != nullptr ? *zero : mExtremes.*inField;
}

// Returns the first zero from a block up to the end of the lap; null if there is none.
const float* LapExtremes::FindZero(const Cursor& inFirst, Field inField) const {
    const float* zero = nullptr;
    ForEachRun(inFirst, mEnd, [&](const PeakDatum* first, const PeakDatum* last) {
        const PeakDatum* const found =
            std::find_if(first, last, [=](const PeakDatum& datum) { return datum.*inField == 0.0f; });
        if (found != last)
            zero = &(found->*inField);
        return found == last;
    });
    return zero;
}

// Whether an extreme is zero and the timeline has zeros of both signs.
bool LapExtremes::HasBothZeros(Field inField) const {
    if (mExtremes.*inField != 0.0f)
        return false;
    const bool isNegative = std::signbit(mExtremes.*inField);
    bool hasOther = false;
    ForEachRun(mStart, mEnd, [&](const PeakDatum* first, const PeakDatum* last) {
        hasOther = std::any_of(first, last, [=](const PeakDatum& datum) {
            return datum.*inField == 0.0f && std::signbit(datum.*inField) != isNegative;
        });
        return !hasOther;
    });
    return hasOther;
}

} // namespace kelaudiofile::detail
