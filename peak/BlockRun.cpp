#include "BlockRun.h"

#include <algorithm>
#include <utility>

#include "Pieces.h"

namespace kelaudiofile::detail {

namespace {

// Reserves storage for a count at once, but at least what growing on demand would give, so that a host that
// extends a timeline edit by edit doesn't copy all of it each time.
void MakeRoom(PeakDatumVector& ioDatums, std::size_t inCount) {
    if (inCount > ioDatums.capacity())
        ioDatums.reserve(std::max(inCount, 2 * ioDatums.size()));
}

} // namespace

BlockRun BlockRun::Of(const PeakDataSegment& inSegment) {
    return {inSegment.startOffset, inSegment.blockSize, inSegment.data.data(), inSegment.data.size()};
}

BlockRun BlockRun::Taking(PeakDataSegment& inSegment) {
    BlockRun run = Of(inSegment);
    run.whole = &inSegment;
    return run;
}

BlockRunVector BlockRun::Split(std::int64_t inOffset) const {
    BlockRunVector pieces;
    // If offsets wrap, an end can be after a start although the blocks have no length: there
    // is no block to split then.
    if (inOffset <= startOffset || inOffset >= GetEndOffset() || blockSize <= 0)
        return pieces;
    pieces.reserve(4);
    const std::uint64_t distance = Distance(startOffset, inOffset);
    const std::uint64_t blockLength = static_cast<std::uint64_t>(blockSize);
    const auto cutBlock = static_cast<std::uint32_t>(distance / blockLength);
    const bool cutsBlock = distance % blockLength != 0;

    if (cutBlock != 0)
        pieces.push_back({startOffset, blockSize, datums, cutBlock});
    if (cutsBlock) {
        const std::int64_t cutStart = BlockOffset(startOffset, cutBlock, blockSize);
        const std::uint64_t leftLength = Distance(cutStart, inOffset);
        pieces.push_back({cutStart, static_cast<std::int64_t>(leftLength), datums + cutBlock, 1});
        pieces.push_back(
            {inOffset, static_cast<std::int64_t>(blockLength - leftLength), datums + cutBlock, 1});
    }
    const std::uint32_t next = cutsBlock ? cutBlock + 1 : cutBlock;
    if (next < datumCount)
        pieces.push_back(
            {BlockOffset(startOffset, next, blockSize), blockSize, datums + next, datumCount - next});
    return pieces;
}

bool BlockRun::AppendTo(PeakDataSegment& ioSegment) const {
    if (!Continues(ioSegment, *this))
        return false;
    ioSegment.data.insert(ioSegment.data.end(), datums, datums + datumCount);
    return true;
}

PeakDataSegment BlockRun::Join(const BlockRun* inFirst, const BlockRun* inLast) {
    std::size_t total = 0;
    for (const BlockRun* run = inFirst; run != inLast; ++run)
        total += run->datumCount;

    PeakDataSegment segment;
    const BlockRun* next = inFirst;
    if (inFirst->whole != nullptr)
        segment = std::move(*next++->whole);
    segment.startOffset = inFirst->startOffset;
    segment.blockSize = inFirst->blockSize;
    MakeRoom(segment.data, total);
    for (; next != inLast; ++next)
        segment.data.insert(segment.data.end(), next->datums, next->datums + next->datumCount);
    return segment;
}

BlockRunVector RunsOf(const PeakDataSegmentVector& inSegments) {
    BlockRunVector runs(inSegments.size());
    std::transform(inSegments.begin(), inSegments.end(), runs.begin(), BlockRun::Of);
    return runs;
}

BlockRunVector TakingRuns(PeakDataSegmentVector& inSegments) {
    BlockRunVector runs(inSegments.size());
    std::transform(inSegments.begin(), inSegments.end(), runs.begin(), BlockRun::Taking);
    return runs;
}

PeakDataSegmentVector Consolidated(const BlockRunVector& inRuns) {
    PeakDataSegmentVector segments;
    segments.reserve(inRuns.size());
    const BlockRun* const last = inRuns.data() + inRuns.size();
    for (const BlockRun* first = inRuns.data(); first != last;) {
        const BlockRun* rowEnd = first + 1;
        while (rowEnd != last && Continues(rowEnd[-1], *rowEnd))
            ++rowEnd;
        segments.push_back(BlockRun::Join(first, rowEnd));
        first = rowEnd;
    }
    return segments;
}

} // namespace kelaudiofile::detail
