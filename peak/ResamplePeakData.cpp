#include "kelaudiofile/ResamplePeakData.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "Extremes.h"
#include "Pieces.h"

namespace kelaudiofile {

namespace detail {

namespace {

constexpr std::int64_t kLastOffset = std::numeric_limits<std::int64_t>::max();

// Whether the ends of a segment's blocks rise one by one without wrapping, also once laps have been added.
// With a margin, so that rounding doesn't matter.
bool IsEvenlySpaced(std::int64_t inStartOffset, std::uint64_t inCount, std::int64_t inBlockSize) {
    constexpr double kFarOffset = 0x1p62;
    return inBlockSize > 0 && std::fabs(static_cast<double>(inStartOffset)) < kFarOffset &&
           static_cast<double>(inCount) * static_cast<double>(inBlockSize) < kFarOffset;
}

// The highest end of a segment's blocks.
std::int64_t LatestEnd(const PeakDataSegment& inSegment) {
    if (IsEvenlySpaced(inSegment.GetStartOffset(), inSegment.size(), inSegment.GetBlockSize()))
        return inSegment.GetEndOffset();
    std::int64_t latest = std::numeric_limits<std::int64_t>::min();
    for (std::uint64_t k = 1; k <= inSegment.size(); ++k)
        latest = std::max(latest, BlockOffset(inSegment.GetStartOffset(), k, inSegment.GetBlockSize()));
    return latest;
}

} // namespace

/// Where points lie, each worked out from its number.
struct PointGrid {
    double start;
    double step;

    double StartOf(std::uint64_t inPoint) const {
        return static_cast<double>(static_cast<std::int64_t>(inPoint)) * step + start;
    }
    double EndOf(std::uint64_t inPoint) const { return StartOf(inPoint + 1); }
};

/// A block of a segment and where it ends.
struct BlockPlace {
    std::ptrdiff_t index;
    double end;
};

/// The blocks of one segment, as far as points need them.
struct SegmentBlocks {
    const PeakDatum* datums = nullptr;
    std::ptrdiff_t count = 0;
    std::int64_t startOffset = 0; ///< raised by the laps behind
    std::int64_t blockSize = 0;
    double blocksPerUnit = 0.0; ///< 0 where going block by block is as fast as leaping

    SegmentBlocks() = default;
    SegmentBlocks(const PeakDataSegment& inSegment, std::int64_t inLapOffset, double inStep)
        : datums(&*inSegment.begin()), count(inSegment.end() - inSegment.begin()),
          startOffset(BlockOffset(inSegment.GetStartOffset(), 1, inLapOffset)),
          blockSize(inSegment.GetBlockSize()) {
        constexpr std::ptrdiff_t kDatumsWorthLeaps = 16;
        constexpr double kBlocksWorthALeap = 6.0;
        if (count >= kDatumsWorthLeaps && inStep >= kBlocksWorthALeap * static_cast<double>(blockSize) &&
            IsEvenlySpaced(startOffset, inSegment.size(), blockSize))
            blocksPerUnit = 1.0 / static_cast<double>(blockSize);
    }

    bool Leaps() const { return blocksPerUnit != 0.0; }
    double EndOf(std::ptrdiff_t inIndex) const {
        return static_cast<double>(
            BlockOffset(startOffset, static_cast<std::uint64_t>(inIndex) + 1, blockSize));
    }
    bool IsLast(const BlockPlace& inPlace) const { return inPlace.index + 1 == count; }
    BlockPlace After(const BlockPlace& inPlace) const {
        return {inPlace.index + 1, EndOf(inPlace.index + 1)};
    }
};

// Both searches go on from a block to the first that doesn't end before a position, and take in the datums on
// the way, its own included. They give false where all further blocks of the segment end before; the place
// and the extremes are then those of the last. They are inlined so that all that points change stays in
// registers.
struct BlockByBlock {
    [[gnu::always_inline]] static bool GoTo(double inPosition, const SegmentBlocks& inBlocks,
                                            BlockPlace& ioPlace, PeakDatum& ioExtremes) {
        while (inPosition > ioPlace.end) {
            if (inBlocks.IsLast(ioPlace))
                return false;
            ioPlace = inBlocks.After(ioPlace);
            ioExtremes = TakeIn(inBlocks.datums[ioPlace.index], ioExtremes);
        }
        return true;
    }
};

struct ByLeaps {
    [[gnu::always_inline]] static bool GoTo(double inPosition, const SegmentBlocks& inBlocks,
                                            BlockPlace& ioPlace, PeakDatum& ioExtremes) {
        const std::ptrdiff_t first = ioPlace.index, last = inBlocks.count - 1;
        // The estimate is right or off by one, but for offsets that doubles round; the comparisons decide.
        constexpr double kRoundDown = 0x1p-20;
        const double estimate =
            (inPosition - static_cast<double>(inBlocks.startOffset)) * inBlocks.blocksPerUnit - kRoundDown;
        std::ptrdiff_t index = first;
        if (!(estimate < static_cast<double>(last)))
            index = last;
        else if (estimate > static_cast<double>(first))
            index = static_cast<std::ptrdiff_t>(estimate);
        std::int64_t start =
            BlockOffset(inBlocks.startOffset, static_cast<std::uint64_t>(index), inBlocks.blockSize);
        for (; index > first && !(inPosition > static_cast<double>(start)); --index)
            start -= inBlocks.blockSize;
        for (; index < last && inPosition > static_cast<double>(start + inBlocks.blockSize); ++index)
            start += inBlocks.blockSize;

        ioPlace = {index, static_cast<double>(start + inBlocks.blockSize)};
        ioExtremes = TakeIn(inBlocks.datums + first + 1, inBlocks.datums + index + 1, ioExtremes);
        return !(inPosition > ioPlace.end);
    }
};

/// Goes over the datums of a timeline point by point, lap by lap if it is looped.
class PeakDataWalk {
public:
    PeakDataWalk(const PeakData& inData, const PointGrid& inGrid, bool inLoop)
        : mFirst(inData.segments.data()), mLast(mFirst + inData.segments.size()), mGrid(inGrid),
          mLoop(inLoop), mDuration(inData.GetDuration()) {
        while (mFirst != mLast && mFirst->size() == 0)
            ++mFirst;
        if (mLoop)
            FindLastLap();
    }

    /// Writes points from one on until the buffer is full or the data ends. @return the end of what was
    /// written.
    float* TakePoints(const PeakData& inData, std::uint64_t inPoint, float* outPeaks, float* inPeaksEnd) {
        mPoint = inPoint;
        mPosition = Find(inData, mGrid.StartOf(inPoint));
        while (outPeaks != inPeaksEnd && !IsAtEnd(mPosition)) {
            outPeaks = mPosition.blocks.Leaps() ? TakePointsInside<ByLeaps>(outPeaks, inPeaksEnd)
                                                : TakePointsInside<BlockByBlock>(outPeaks, inPeaksEnd);
            if (outPeaks != inPeaksEnd && !IsAtEnd(mPosition))
                outPeaks = TakePointAcross(outPeaks);
        }
        return outPeaks;
    }

private:
    /// A block of the timeline. At the end the segment alone has a meaning.
    struct Position {
        const PeakDataSegment* segment;
        SegmentBlocks blocks;
        BlockPlace place;
    };

    bool IsAtEnd(const Position& inPosition) const { return inPosition.segment == mLast; }

    Position At(const PeakDataSegment* inSegment, std::ptrdiff_t inIndex) const {
        Position position{inSegment, {}, {}};
        if (inSegment != mLast) {
            position.blocks = SegmentBlocks(*inSegment, mLapOffset, mGrid.step);
            position.place = {inIndex, position.blocks.EndOf(inIndex)};
        }
        return position;
    }

    /// The block that a position falls inside, the first block for positions below 0.
    Position Find(const PeakData& inData, double inPosition) const {
        if (inPosition < 0.0)
            return At(mFirst, 0);
        if (!(inPosition < 0x1p63)) // past all offsets, or not a number
            return At(mLast, 0);
        const auto found = inData.Find(static_cast<std::int64_t>(inPosition));
        if (found == inData.end())
            return At(mLast, 0);
        if (found.segment->size() == 0)
            return At(mFirst, 0);
        return At(&*found.segment, found.datum - found.segment->begin());
    }

    static float* Write(const PeakDatum& inExtremes, float* outPeaks) {
        outPeaks[0] = inExtremes.max;
        outPeaks[1] = inExtremes.min;
        return outPeaks + 2;
    }

    /// Points that end inside the current segment, up to the first that doesn't.
    template <typename Search>
    float* TakePointsInside(float* outPeaks, float* const inPeaksEnd) {
        const SegmentBlocks blocks = mPosition.blocks;
        const PointGrid grid = mGrid;
        std::uint64_t point = mPoint;
        BlockPlace place = mPosition.place;
        while (outPeaks != inPeaksEnd) {
            const double end = grid.EndOf(point);
            BlockPlace next = place;
            PeakDatum extremes = blocks.datums[place.index];
            if (!Search::GoTo(end, blocks, next, extremes))
                break;
            outPeaks = Write(extremes, outPeaks);
            place = next;
            ++point;
            if (place.end == end) { // what ends with a point is no part of the next
                if (blocks.IsLast(place)) {
                    mPoint = point;
                    EnterNextSegment(mPosition);
                    return outPeaks;
                }
                place = blocks.After(place);
            }
        }
        mPoint = point;
        mPosition.place = place;
        return outPeaks;
    }

    /// A point that goes on beyond the current segment.
    float* TakePointAcross(float* outPeaks) {
        const double end = mGrid.EndOf(mPoint++);
        Position position = mPosition;
        PeakDatum extremes = position.blocks.datums[position.place.index];
        bool hasTakenLap = false, goesOn = true;
        while (!GoTo(end, position, extremes) && (goesOn = EnterNextSegment(position))) {
            if (position.segment == mFirst) {
                if (hasTakenLap)
                    position = SkipLaps(end);
                hasTakenLap = true;
            }
            extremes = TakeIn(position.blocks.datums[0], extremes);
        }
        if (goesOn && position.place.end == end) {
            if (position.blocks.IsLast(position.place))
                EnterNextSegment(position);
            else
                position.place = position.blocks.After(position.place);
        }
        mPosition = position;
        return Write(extremes, outPeaks);
    }

    [[gnu::always_inline]] static bool GoTo(double inEnd, Position& ioPosition, PeakDatum& ioExtremes) {
        return ioPosition.blocks.Leaps()
                   ? ByLeaps::GoTo(inEnd, ioPosition.blocks, ioPosition.place, ioExtremes)
                   : BlockByBlock::GoTo(inEnd, ioPosition.blocks, ioPosition.place, ioExtremes);
    }

    /// Goes on to the first block of the next segment, which in a loop may be the first one a lap later.
    /// @return false at the end, and where no further lap has offsets.
    [[gnu::always_inline]] bool EnterNextSegment(Position& ioPosition) {
        const PeakDataSegment* segment = ioPosition.segment;
        do
            ++segment;
        while (segment != mLast && segment->size() == 0);
        const bool startsLap = segment == mLast && mLoop;
        const bool hasOffsets = !startsLap || mDuration <= mLastLapOffset - mLapOffset;
        if (startsLap) {
            segment = mFirst;
            mLapOffset += hasOffsets ? mDuration : 0;
        }
        ioPosition = At(segment, 0);
        return hasOffsets && !IsAtEnd(ioPosition);
    }

    /// How far laps can add up before an end leaves 64 bits.
    void FindLastLap() {
        mLatestEnd = std::numeric_limits<std::int64_t>::min();
        for (const PeakDataSegment* segment = mFirst; segment != mLast; ++segment)
            if (segment->size() != 0)
                mLatestEnd = std::max(mLatestEnd, LatestEnd(*segment));
        mLastLapOffset = kLastOffset - std::max<std::int64_t>(mLatestEnd, 0);
    }

    /// A point that has taken in a whole lap can't change any more. Goes over the laps that end before it
    /// does.
    /// @return the start of the lap that follows.
    Position SkipLaps(double inEnd) {
        std::int64_t skipped = 0, limit = (mLastLapOffset - mLapOffset) / mDuration;
        while (skipped < limit) { // laps below `skipped` end before; lap `limit` doesn't, or is the last
            const std::int64_t lap = skipped + (limit - skipped) / 2;
            if (inEnd > static_cast<double>(mLatestEnd + mLapOffset + lap * mDuration))
                skipped = lap + 1;
            else
                limit = lap;
        }
        mLapOffset += skipped * mDuration;
        return At(mFirst, 0);
    }

    const PeakDataSegment* mFirst;      // the first that has datums
    const PeakDataSegment* const mLast; // behind the last
    const PointGrid mGrid;
    const bool mLoop;
    const std::int64_t mDuration;
    std::int64_t mLapOffset = 0; // the length of all laps behind
    std::int64_t mLastLapOffset = 0;
    std::int64_t mLatestEnd = 0; // of all blocks, in the first lap

    Position mPosition{};
    std::uint64_t mPoint = 0;
};

} // namespace detail

namespace {

bool Holds(const PeakData& inData, double inPosition) {
    return inPosition >= static_cast<double>(inData.GetStartOffset()) &&
           inPosition < static_cast<double>(inData.GetEndOffset());
}

double Fold(double inPosition, double inLength) {
    return std::fmod(std::fmod(inPosition, inLength) + inLength, inLength);
}

// Whole steps from a start at or below -inStep up to offset 0, as many as there are points at most.
std::uint64_t PointsBeforeZero(double inStart, double inStep, std::uint64_t inPointCount) {
    const double steps = std::floor(std::fabs(inStart) / inStep);
    return steps < 0x1p64 ? std::min(static_cast<std::uint64_t>(steps), inPointCount) : inPointCount;
}

bool HasPoints(const PeakData* inData, double inStartOffset, double inStep, bool inLoop) {
    return inData != nullptr && inStep > 0.0 && !std::isnan(inStartOffset) &&
           !(inLoop && inData->GetDuration() <= 0);
}

} // namespace

void ResamplePeakData(const std::shared_ptr<PeakData>& inPeakData, double inStartOffset, double inStep,
                      std::uint64_t inPointCount, float* outPeaks, bool inLoop) {
    float* const outEnd = outPeaks + 2 * inPointCount;
    if (!HasPoints(inPeakData.get(), inStartOffset, inStep, inLoop)) {
        std::fill(outPeaks, outEnd, 0.0f);
        return;
    }
    double start = inStartOffset;
    std::uint64_t point = 0;
    if (inLoop && !Holds(*inPeakData, start))
        start = Fold(start, static_cast<double>(inPeakData->GetDuration()));
    else if (start <= -inStep)
        point = PointsBeforeZero(start, inStep, inPointCount);
    outPeaks = std::fill_n(outPeaks, 2 * point, 0.0f);
    if (point == inPointCount)
        return;

    const detail::PointGrid grid{start, inStep};
    outPeaks =
        detail::PeakDataWalk(*inPeakData, grid, inLoop).TakePoints(*inPeakData, point, outPeaks, outEnd);
    std::fill(outPeaks, outEnd, 0.0f);
}

} // namespace kelaudiofile
