#include "kelaudiofile/ResamplePeakData.h"

#include <algorithm>
#include <cmath>

#include "PeakDataWalk.h"

namespace kelaudiofile {

namespace {

using detail::BlockPlace;
using detail::Cursor;
using detail::Reach;
using detail::SegmentBlocks;
using detail::Stretch;

/// The positions of points, each computed from its number.
struct PointGrid {
    double start;
    double step;

    double StartOf(std::uint64_t inPoint) const {
        return static_cast<double>(static_cast<std::int64_t>(inPoint)) * step + start;
    }
    double EndOf(std::uint64_t inPoint) const { return StartOf(inPoint + 1); }
};

/// Computes the points of a grid one after the other.
class Drawing {
public:
    Drawing(const PeakData& inData, const PointGrid& inGrid, bool inLoop)
        : mWalk(inData, inGrid.step, inLoop), mGrid(inGrid) {}

    /// Writes points from a given one on until the buffer is full or the data ends. @return the
    /// end of what was written.
    float* Write(std::uint64_t inPoint, float* outPeaks, const float* inPeaksEnd) {
        mPoint = inPoint;
        mOut = outPeaks;
        mOutEnd = inPeaksEnd;
        Cursor cursor = mWalk.Find(mGrid.StartOf(inPoint));
        while (!IsDone(cursor)) {
            if (!mWalk.PointsHoldLaps())
                cursor = WriteInside(cursor);
            if (!IsDone(cursor))
                cursor = WriteAcross(cursor);
        }
        return mOut;
    }

private:
    bool IsDone(const Cursor& inCursor) const { return mOut == mOutEnd || mWalk.IsAtEnd(inCursor); }

    static float* Put(const PeakDatum& inExtremes, float* outPeaks) {
        outPeaks[0] = inExtremes.max;
        outPeaks[1] = inExtremes.min;
        return outPeaks + 2;
    }

    /// Writes the points that end inside a cursor's segment, up to the first that doesn't.
    Cursor WriteInside(const Cursor& inCursor) {
        const SegmentBlocks blocks = mWalk.BlocksAt(inCursor);
        return blocks.Leaps() ? WriteInside<detail::ByLeaps>(inCursor, blocks)
                              : WriteInside<detail::BlockByBlock>(inCursor, blocks);
    }

    template <typename Way>
    Cursor WriteInside(const Cursor& inCursor, const SegmentBlocks& inBlocks) {
        const SegmentBlocks blocks = inBlocks; // a copy, so that the compiler sees that it stays constant
        const PointGrid grid = mGrid;
        const float* const outEnd = mOutEnd;
        float* out = mOut;
        std::uint64_t point = mPoint;
        BlockPlace place = blocks.At(inCursor.block);
        while (out != outEnd) {
            const double end = grid.EndOf(point);
            const Reach reach = Way::UpTo(end, blocks, place);
            if (!reach.isInside)
                break;
            out = Put(reach.extremes, out);
            ++point;
            place = reach.last;
            if (place.end != end)
                continue;
            if (blocks.IsLast(place)) {
                ++place.index;
                break;
            }
            place = blocks.At(place.index + 1); // a block that ends with a point is not part of the next
        }
        mOut = out;
        mPoint = point;
        return place.index == blocks.count ? mWalk.AfterSegment(inCursor)
                                           : Cursor{inCursor.segment, place.index, inCursor.lapOffset};
    }

    /// Writes a point that extends past a cursor's segment.
    Cursor WriteAcross(const Cursor& inCursor) {
        const Stretch stretch = mWalk.UpTo(mGrid.EndOf(mPoint++), inCursor);
        mOut = Put(mWalk.ExtremesOf(stretch), mOut);
        return stretch.next;
    }

    detail::PeakDataWalk mWalk;
    const PointGrid mGrid;
    std::uint64_t mPoint = 0;
    float* mOut = nullptr;
    const float* mOutEnd = nullptr;
};

bool Holds(const PeakData& inData, double inPosition) {
    return inPosition >= static_cast<double>(inData.GetStartOffset()) &&
           inPosition < static_cast<double>(inData.GetEndOffset());
}

double Fold(double inPosition, double inLength) {
    return std::fmod(std::fmod(inPosition, inLength) + inLength, inLength);
}

// Returns the whole steps from a start at or below -inStep up to offset 0, limited to the number of points.
std::uint64_t PointsBeforeZero(double inStart, double inStep, std::uint64_t inPointCount) {
    const double steps = std::floor(std::fabs(inStart) / inStep);
    return steps < 0x1p64 ? std::min(static_cast<std::uint64_t>(steps), inPointCount) : inPointCount;
}

bool HasPoints(const PeakData* inData, double inStep, bool inLoop) {
    return inData != nullptr && inStep > 0.0 && !(inLoop && inData->GetDuration() <= 0);
}

} // namespace

void ResamplePeakData(const std::shared_ptr<PeakData>& inPeakData, double inStartOffset, double inStep,
                      std::uint64_t inPointCount, float* outPeaks, bool inLoop) {
    float* const outEnd = outPeaks + 2 * inPointCount;
    if (!HasPoints(inPeakData.get(), inStep, inLoop)) {
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

    outPeaks = Drawing(*inPeakData, {start, inStep}, inLoop).Write(point, outPeaks, outEnd);
    std::fill(outPeaks, outEnd, 0.0f);
}

} // namespace kelaudiofile
