#pragma once

#include "SegmentBlocks.h"

namespace kelaudiofile::detail {

/// The extremes of a point that includes all blocks of a timeline. They are the same from whichever block it
/// starts, with two exceptions: a NaN that comes first stays, and of 0.0 and -0.0 the first one counts.
class LapExtremes {
public:
    /// Visits all datums once, and once more if an extreme is zero.
    LapExtremes(const Cursor& inLapStart, const Cursor& inLapEnd);

    /// Returns the extremes of a point that starts at a block. Searches for a zero only if the timeline has
    /// zeros of both signs.
    PeakDatum From(const Cursor& inFirst) const;

private:
    using Field = float PeakDatum::*;

    const float* FindZero(const Cursor& inFirst, Field inField) const;
    bool HasBothZeros(Field inField) const;
    float From(const Cursor& inFirst, Field inField, bool inHasBothZeros) const;

    const Cursor mStart, mEnd;
    PeakDatum mExtremes; // from the start of the lap
    bool mLowestHasBothZeros, mHighestHasBothZeros;
};

} // namespace kelaudiofile::detail
