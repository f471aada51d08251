#pragma once

#include "SegmentBlocks.h"

namespace kelaudiofile::detail {

/// The extremes of a point that takes in all blocks of a timeline. From whichever block it starts they are
/// the same, but for two things: a NaN that comes first stays, and of 0.0 and -0.0 the first to come counts.
class LapExtremes {
public:
    /// Goes over all datums once, and once more where an extreme is zero.
    LapExtremes(const Cursor& inLapStart, const Cursor& inLapEnd);

    /// Of a point that starts at a block. Looks for a zero only where the timeline has zeros of both signs.
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
