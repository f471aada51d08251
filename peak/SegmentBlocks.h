#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "Extremes.h"
#include "kelaudiofile/PeakDataSegment.h"

/// The blocks of one segment, as points traverse them.
namespace kelaudiofile::detail {

/// A block of a timeline that may be looped.
struct Cursor {
    const PeakDataSegment* segment; ///< the only valid field at the end of the timeline
    std::ptrdiff_t block;
    std::int64_t lapOffset; ///< the length of all laps before this one
};

/// Returns whether the ends of a segment's blocks increase without wrapping, even after laps have been added.
/// Includes a margin, so that rounding doesn't matter.
inline bool IsEvenlySpaced(std::int64_t inStartOffset, std::uint64_t inCount, std::int64_t inBlockSize) {
    constexpr double kFarOffset = 0x1p62;
    return inBlockSize > 0 && std::fabs(static_cast<double>(inStartOffset)) < kFarOffset &&
           static_cast<double>(inCount) * static_cast<double>(inBlockSize) < kFarOffset;
}

/// A block of a segment and its end.
struct BlockPlace {
    std::ptrdiff_t index;
    double end;
};

/// The blocks of a cursor's segment.
struct SegmentBlocks {
    const PeakDatum* datums;
    std::ptrdiff_t count;
    std::int64_t startOffset; ///< including the earlier laps
    std::int64_t blockSize;
    double blocksPerUnit = 0.0; ///< 0 if going block by block is as fast as leaping

    /// @param inStep  the distance between points, which decides whether leaps are worthwhile.
    SegmentBlocks(const Cursor& inCursor, double inStep)
        : datums(&*inCursor.segment->begin()), count(inCursor.segment->end() - inCursor.segment->begin()),
          startOffset(BlockOffset(inCursor.segment->GetStartOffset(), 1, inCursor.lapOffset)),
          blockSize(inCursor.segment->GetBlockSize()) {
        constexpr std::ptrdiff_t kDatumsWorthLeaps = 16;
        constexpr double kBlocksWorthALeap = 6.0;
        if (count >= kDatumsWorthLeaps && inStep >= kBlocksWorthALeap * static_cast<double>(blockSize) &&
            IsEvenlySpaced(startOffset, inCursor.segment->size(), blockSize))
            blocksPerUnit = 1.0 / static_cast<double>(blockSize);
    }

    bool Leaps() const { return blocksPerUnit != 0.0; }
    bool IsLast(const BlockPlace& inPlace) const { return inPlace.index + 1 == count; }
    BlockPlace At(std::ptrdiff_t inIndex) const {
        const std::int64_t end = BlockOffset(startOffset, static_cast<std::uint64_t>(inIndex) + 1, blockSize);
        return {inIndex, static_cast<double>(end)};
    }

    /// Returns the first block from inFirst on that doesn't end before a position; the last one if all do.
    /// Only for blocks worth leaping.
    BlockPlace LeapTo(double inPosition, std::ptrdiff_t inFirst) const {
        const std::ptrdiff_t last = count - 1;
        // The estimate is right or off by one, except for offsets that doubles round; the comparisons decide.
        constexpr double kRoundDown = 0x1p-20;
        const double estimate = (inPosition - static_cast<double>(startOffset)) * blocksPerUnit - kRoundDown;
        std::ptrdiff_t index = inFirst;
        if (!(estimate < static_cast<double>(last)))
            index = last;
        else if (estimate > static_cast<double>(inFirst))
            index = static_cast<std::ptrdiff_t>(estimate);
        std::int64_t start = BlockOffset(startOffset, static_cast<std::uint64_t>(index), blockSize);
        for (; index > inFirst && !(inPosition > static_cast<double>(start)); --index)
            start -= blockSize;
        for (; index < last && inPosition > static_cast<double>(start + blockSize); ++index)
            start += blockSize;
        return {index, static_cast<double>(start + blockSize)};
    }

    /// As above, for any blocks.
    BlockPlace GoTo(double inPosition, std::ptrdiff_t inFirst) const {
        if (Leaps())
            return LeapTo(inPosition, inFirst);
        BlockPlace place = At(inFirst);
        while (inPosition > place.end && !IsLast(place))
            place = At(place.index + 1);
        return place;
    }
};

/// How far a point reaches into a segment, and the extremes of the blocks up to there.
struct Reach {
    bool isInside = false; ///< false if all blocks end before the point; the rest is then invalid
    BlockPlace last{};     ///< the first block that doesn't end before the point
    PeakDatum extremes;
};

// Two ways to go from a block as far as a point reaches. They are inlined so that everything that points
// change stays in registers.
struct BlockByBlock {
    [[gnu::always_inline]] static Reach UpTo(double inPosition, const SegmentBlocks& inBlocks,
                                             const BlockPlace& inFirst) {
        BlockPlace place = inFirst;
        PeakDatum extremes = inBlocks.datums[place.index];
        while (inPosition > place.end) {
            if (inBlocks.IsLast(place))
                return {};
            place = inBlocks.At(place.index + 1);
            extremes = TakeIn(inBlocks.datums[place.index], extremes);
        }
        return {true, place, extremes};
    }
};

struct ByLeaps {
    [[gnu::always_inline]] static Reach UpTo(double inPosition, const SegmentBlocks& inBlocks,
                                             const BlockPlace& inFirst) {
        const BlockPlace last = inBlocks.LeapTo(inPosition, inFirst.index);
        if (inPosition > last.end)
            return {};
        const PeakDatum* const first = inBlocks.datums + inFirst.index;
        return {true, last, TakeIn(first + 1, inBlocks.datums + last.index + 1, *first)};
    }
};

/// Passes the datums from one block up to, but not including, another one of the same lap: one run per
/// segment, until `inUse` returns false.
template <typename Use>
void ForEachRun(const Cursor& inFirst, const Cursor& inEnd, Use inUse) {
    for (const PeakDataSegment* segment = inFirst.segment; segment <= inEnd.segment; ++segment) {
        const std::ptrdiff_t first = segment == inFirst.segment ? inFirst.block : 0;
        if (segment == inEnd.segment ? inEnd.block <= first : segment->size() == 0)
            continue;
        const PeakDatum* const datums = &*segment->begin();
        const auto last = segment == inEnd.segment ? inEnd.block : segment->end() - segment->begin();
        if (!inUse(datums + first, datums + last))
            return;
    }
}

} // namespace kelaudiofile::detail
