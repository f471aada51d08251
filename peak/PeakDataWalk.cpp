#include "PeakDataWalk.h"

#include <algorithm>
#include <limits>

namespace kelaudiofile::detail {

namespace {

constexpr std::int64_t kFirstOffset = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLastOffset = std::numeric_limits<std::int64_t>::max();

// Returns the highest end of a segment's blocks.
std::int64_t LatestEnd(const PeakDataSegment& inSegment) {
    if (inSegment.size() != 0 &&
        IsEvenlySpaced(inSegment.GetStartOffset(), inSegment.size(), inSegment.GetBlockSize()))
        return inSegment.GetEndOffset();
    std::int64_t latest = kFirstOffset;
    for (std::uint64_t k = 1; k <= inSegment.size(); ++k)
        latest = std::max(latest, BlockOffset(inSegment.GetStartOffset(), k, inSegment.GetBlockSize()));
    return latest;
}

// Whether one block is at or after another block of the timeline, regardless of laps.
bool IsNotBefore(const Cursor& inCursor, const Cursor& inOther) {
    return inCursor.segment != inOther.segment ? inCursor.segment > inOther.segment
                                               : inCursor.block >= inOther.block;
}

} // namespace

PeakDataWalk::PeakDataWalk(const PeakData& inData, double inStep, bool inLoop)
    : mData(inData), mFirst(inData.segments.data()), mLast(mFirst + inData.segments.size()), mStep(inStep),
      mLoop(inLoop), mDuration(inData.GetDuration()), mLatestEnd(kFirstOffset) {
    while (mFirst != mLast && mFirst->size() == 0)
        ++mFirst;
    for (const PeakDataSegment* segment = mFirst; mLoop && segment != mLast; ++segment)
        mLatestEnd = std::max(mLatestEnd, LatestEnd(*segment));
    mLastLapOffset = kLastOffset - std::max<std::int64_t>(mLatestEnd, 0);
}

Cursor PeakDataWalk::Find(double inPosition) const {
    if (inPosition < 0.0)
        return LapStart();
    if (!(inPosition < 0x1p63)) // past all offsets, or NaN
        return LapEnd();
    const auto found = mData.Find(static_cast<std::int64_t>(inPosition));
    if (found == mData.end())
        return LapEnd();
    if (found.segment->size() == 0)
        return LapStart();
    return {&*found.segment, found.datum - found.segment->begin(), 0};
}

Stretch PeakDataWalk::UpTo(double inPosition, const Cursor& inFirst) const {
    Cursor at = Skip(inPosition, inFirst);
    while (!IsAtEnd(at)) {
        const SegmentBlocks blocks = BlocksAt(at);
        const BlockPlace last = blocks.GoTo(inPosition, at.block);
        const Cursor end{at.segment, last.index + 1, at.lapOffset};
        if (inPosition < last.end)
            return {inFirst, end, {at.segment, last.index, at.lapOffset}};
        if (inPosition == last.end) // a block that ends with a point is not part of the next
            return {inFirst, end, blocks.IsLast(last) ? AfterSegment(at) : end};
        at = AfterSegment(at);
        if (at.segment == mFirst && at.lapOffset == end.lapOffset) // no further lap has offsets
            return {inFirst, {mLast, 0, end.lapOffset}, at};
        if (at.segment == mFirst)
            at = Skip(inPosition, at);
    }
    return {inFirst, LapEnd(), at};
}

PeakDatum PeakDataWalk::ExtremesOf(const Stretch& inStretch) {
    if (HoldsLap(inStretch)) {
        if (!mLap)
            mLap.emplace(LapStart(), LapEnd());
        return mLap->From(inStretch.first);
    }
    PeakDatum extremes = inStretch.first.segment->begin()[inStretch.first.block];
    const auto takeIn = [&](const PeakDatum* first, const PeakDatum* last) {
        extremes = TakeIn(first, last, extremes);
        return true;
    };
    const Cursor second{inStretch.first.segment, inStretch.first.block + 1, 0};
    if (inStretch.first.lapOffset == inStretch.end.lapOffset) {
        ForEachRun(second, inStretch.end, takeIn);
    } else {
        ForEachRun(second, LapEnd(), takeIn);
        ForEachRun(LapStart(), inStretch.end, takeIn);
    }
    return extremes;
}

// Whether no block of the same lap is at or after the end of a stretch.
bool PeakDataWalk::EndsLap(const Cursor& inEnd) const {
    return IsAtEnd(inEnd) || (inEnd.block == inEnd.segment->end() - inEnd.segment->begin() &&
                              AfterSegment(inEnd).segment == mFirst);
}

// Whether every block of a looped timeline is in a stretch.
bool PeakDataWalk::HoldsLap(const Stretch& inStretch) const {
    const std::int64_t laps = inStretch.end.lapOffset - inStretch.first.lapOffset;
    if (laps == 0)
        return mLoop && IsNotBefore(LapStart(), inStretch.first) && EndsLap(inStretch.end);
    return laps > mDuration || IsNotBefore(inStretch.end, inStretch.first);
}

// Returns how many laps from a given one on end before a position, not counting the
// last one that offsets allow.
std::int64_t PeakDataWalk::LapsBefore(double inPosition, std::int64_t inLapOffset) const {
    const auto endsBefore = [=, this](std::int64_t lap) {
        return inPosition > static_cast<double>(mLatestEnd + inLapOffset + lap * mDuration);
    };
    if (!mLoop || !endsBefore(0))
        return 0;
    std::int64_t before = 0, limit = (mLastLapOffset - inLapOffset) / mDuration;
    while (before < limit) {
        const std::int64_t lap = before + (limit - before) / 2;
        if (endsBefore(lap))
            before = lap + 1;
        else
            limit = lap;
    }
    return before;
}

// Skips the laps that end before a position, and in an ordered timeline also such segments. Stops at the last
// lap and at the last segment.
Cursor PeakDataWalk::Skip(double inPosition, const Cursor& inCursor) const {
    const std::int64_t laps = LapsBefore(inPosition, inCursor.lapOffset);
    const Cursor start = laps == 0 ? inCursor : Cursor{mFirst, 0, inCursor.lapOffset + laps * mDuration};
    if (!mData.isOrdered)
        return start;
    const auto endsBefore = [&](const PeakDataSegment& segment) {
        return inPosition > static_cast<double>(segment.GetEndOffset() + start.lapOffset);
    };
    // After the start of a lap, a point includes everything that is skipped here, so going
    // one by one is fast enough.
    const PeakDataSegment* const last = mLast - 1;
    const PeakDataSegment* const segment = start.segment == mFirst
                                               ? std::partition_point(mFirst, last, endsBefore)
                                               : std::find_if_not(start.segment, last, endsBefore);
    return segment == start.segment ? start : Cursor{segment, 0, start.lapOffset};
}

} // namespace kelaudiofile::detail
