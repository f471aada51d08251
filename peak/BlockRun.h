#pragma once

#include <cstddef>
#include <cstdint>

#include "kelaudiofile/PeakDataSegment.h"

namespace kelaudiofile::detail {

/// A run of blocks of one segment, by reference. Edits split and arrange runs; only when all neighbours are
/// known do datums move, each at most once.
struct BlockRun {
    std::int64_t startOffset;
    std::int64_t blockSize;
    const PeakDatum* datums;
    std::size_t datumCount;
    PeakDataSegment* whole = nullptr; ///< set if the run is a whole segment whose storage the edit may reuse

    /// A whole segment, to be copied.
    static BlockRun Of(const PeakDataSegment& inSegment);
    /// A whole segment, whose storage may be reused.
    static BlockRun Taking(PeakDataSegment& inSegment);

    std::int64_t GetStartOffset() const noexcept { return startOffset; }
    void SetStartOffset(std::int64_t inOffset) noexcept { startOffset = inOffset; }
    std::int64_t GetEndOffset() const noexcept { return BlockOffset(startOffset, datumCount, blockSize); }
    std::int64_t GetBlockSize() const noexcept { return blockSize; }

    /// Returns the same pieces as PeakDataSegment::Split.
    BlockRunVector Split(std::int64_t inOffset) const;

    /// Appends copies of the datums to a segment that the run continues. @return whether it does. The run
    /// must not refer to that segment.
    bool AppendTo(PeakDataSegment& ioSegment) const;

    /// Combines the runs into one segment with the start and block size of the first. Reuses the first run's
    /// storage if allowed, and reserves room for everything at once.
    static PeakDataSegment Join(const BlockRun* inFirst, const BlockRun* inLast);
};

/// Whole segments, to be copied.
BlockRunVector RunsOf(const PeakDataSegmentVector& inSegments);
/// Whole segments, whose storage may be reused.
BlockRunVector TakingRuns(PeakDataSegmentVector& inSegments);

/// Makes as few segments as possible from the runs: consecutive runs that continue one
/// another become one segment.
PeakDataSegmentVector Consolidated(const BlockRunVector& inRuns);

} // namespace kelaudiofile::detail
