#pragma once

#include <cstdint>
#include <optional>

#include "LapExtremes.h"
#include "SegmentBlocks.h"
#include "kelaudiofile/PeakData.h"

namespace kelaudiofile::detail {

/// The blocks that one point includes, and where the next point starts.
struct Stretch {
    Cursor first;
    Cursor end; ///< after the last block, in that block's lap
    Cursor next;
};

/// A timeline as points traverse it: block after block, and lap after lap if it is looped. Segments without
/// datums are skipped.
class PeakDataWalk {
public:
    /// @param inStep  the distance between points.
    PeakDataWalk(const PeakData& inData, double inStep, bool inLoop);

    bool IsAtEnd(const Cursor& inCursor) const { return inCursor.segment == mLast; }
    SegmentBlocks BlocksAt(const Cursor& inCursor) const { return SegmentBlocks(inCursor, mStep); }

    /// Returns the block that contains a position; the first block for positions below 0.
    Cursor Find(double inPosition) const;
    /// Returns the first block after a cursor's segment; in a loop, the next lap follows the last segment.
    /// The last lap whose offsets fit 64 bits repeats.
    Cursor AfterSegment(const Cursor& inCursor) const {
        const PeakDataSegment* segment = inCursor.segment + 1;
        while (segment != mLast && segment->size() == 0)
            ++segment;
        if (segment != mLast || !mLoop)
            return {segment, 0, inCursor.lapOffset};
        return {mFirst, 0, inCursor.lapOffset + (HasLapAfter(inCursor.lapOffset) ? mDuration : 0)};
    }
    /// Returns whether every point includes the whole timeline.
    bool PointsHoldLaps() const { return mLoop && mStep >= static_cast<double>(mDuration); }
    /// Returns what a point includes that starts in a block and ends at a position.
    Stretch UpTo(double inPosition, const Cursor& inFirst) const;
    /// Returns the extremes of what a point includes.
    PeakDatum ExtremesOf(const Stretch& inStretch);

private:
    Cursor LapStart() const { return {mFirst, 0, 0}; }
    Cursor LapEnd() const { return {mLast, 0, 0}; }
    bool HasLapAfter(std::int64_t inLapOffset) const { return mDuration <= mLastLapOffset - inLapOffset; }
    bool EndsLap(const Cursor& inEnd) const;
    bool HoldsLap(const Stretch& inStretch) const;
    std::int64_t LapsBefore(double inPosition, std::int64_t inLapOffset) const;
    Cursor Skip(double inPosition, const Cursor& inCursor) const;

    const PeakData& mData;
    const PeakDataSegment* mFirst;      // the first that has datums
    const PeakDataSegment* const mLast; // after the last
    const double mStep;
    const bool mLoop;
    const std::int64_t mDuration;
    std::int64_t mLatestEnd;         // of all blocks, in the first lap
    std::int64_t mLastLapOffset;     // later laps would end past 64 bits
    std::optional<LapExtremes> mLap; // once a point has held one
};

} // namespace kelaudiofile::detail
