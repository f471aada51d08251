#pragma once

#include <cstddef>
#include <cstdint>

#include "kelaudiofile/PeakDataSegment.h"

namespace kelaudiofile::detail {

/// Blocks of one segment, by reference. Edits cut and arrange runs, and only when all neighbours are known do
/// datums move, each at most once.
struct BlockRun {
    std::int64_t startOffset;
    std::int64_t blockSize;
    const PeakDatum* datums;
    std::size_t datumCount;
    PeakDataSegment* whole = nullptr; ///< set where the run is all of a segment that the edit may take over

    /// All of a segment, to be copied.
    static BlockRun Of(const PeakDataSegment& inSegment);
    /// All of a segment, which may be taken over.
    static BlockRun Taking(PeakDataSegment& inSegment);

    std::int64_t GetStartOffset() const noexcept { return startOffset; }
    void SetStartOffset(std::int64_t inOffset) noexcept { startOffset = inOffset; }
    std::int64_t GetEndOffset() const noexcept { return BlockOffset(startOffset, datumCount, blockSize); }
    std::int64_t GetBlockSize() const noexcept { return blockSize; }

    /// The pieces as of PeakDataSegment::Split.
    BlockRunVector Split(std::int64_t inOffset) const;

    /// Adds copies of the datums to a segment that the run continues. @return whether it does.
    /// The run must not refer to that segment.
    bool AppendTo(PeakDataSegment& ioSegment) const;

    /// The runs as one segment with the first run's start and block size. It takes the first run's storage if
    /// it may, and room for all is made at once.
    static PeakDataSegment Join(const BlockRun* inFirst, const BlockRun* inLast);
};

/// All of each segment, to be copied.
BlockRunVector RunsOf(const PeakDataSegmentVector& inSegments);
/// All of each segment, which may be taken over.
BlockRunVector TakingRuns(PeakDataSegmentVector& inSegments);

/// Makes segments of the runs, as few as possible: each row of runs that continue one another becomes one.
PeakDataSegmentVector Consolidated(const BlockRunVector& inRuns);

} // namespace kelaudiofile::detail
