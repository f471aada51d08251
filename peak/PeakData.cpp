#include "kelaudiofile/PeakData.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "BlockRun.h"
#include "Pieces.h"

namespace kelaudiofile {

template class PeakData::PeakDataIterator<const PeakDatum, PeakDataSegmentVector::const_iterator,
                                          PeakDatumVector::const_iterator>;
template class PeakData::PeakDataIterator<PeakDatum, PeakDataSegmentVector::iterator,
                                          PeakDatumVector::iterator>;

PeakDatum& detail::SilentDatum() noexcept {
    thread_local PeakDatum datum;
    return datum;
}

namespace {

// Returns whether a segment has blocks, each ending after the previous one.
bool Rises(const PeakDataSegment& inSegment) {
    if (inSegment.size() == 0 || inSegment.GetBlockSize() <= 0)
        return false;
    const std::uint64_t room =
        detail::Distance(inSegment.GetStartOffset(), std::numeric_limits<std::int64_t>::max());
    return inSegment.size() <= room / static_cast<std::uint64_t>(inSegment.GetBlockSize());
}

bool Overlap(const PeakDataSegment& inBefore, const PeakDataSegment& inSegment) {
    return inSegment.GetStartOffset() < inBefore.GetEndOffset();
}

// Returns whether the last segment is in order with the previous one.
bool EndsInOrder(const PeakDataSegmentVector& inSegments) {
    const auto last = inSegments.end() - 1;
    return Rises(*last) && (last == inSegments.begin() || !Overlap(last[-1], *last));
}

// Returns the last segment of an ordered timeline that doesn't start after the offset;
// the first one if all do.
PeakDataSegmentVector::const_iterator SegmentOf(const PeakDataSegmentVector& inSegments,
                                                std::int64_t inOffset) {
    const auto after = std::upper_bound(inSegments.begin() + 1, inSegments.end(), inOffset,
                                        [](std::int64_t offset, const PeakDataSegment& segment) {
                                            return offset < segment.GetStartOffset();
                                        });
    return after - 1;
}

// Returns the last block of a segment that doesn't start after the offset; the first one if all do.
PeakDatumVector::const_iterator BlockOf(const PeakDataSegment& inSegment, std::int64_t inOffset) {
    if (inOffset < inSegment.GetStartOffset())
        return inSegment.begin();
    const std::uint64_t block = detail::Distance(inSegment.GetStartOffset(), inOffset) /
                                static_cast<std::uint64_t>(inSegment.GetBlockSize());
    return inSegment.begin() + static_cast<std::ptrdiff_t>(std::min(block, inSegment.size() - 1));
}

// Returns the last datum that doesn't start after the offset, of inCount datums from inFirst on.
PeakData::const_iterator Bisect(PeakData::const_iterator inFirst, std::uint64_t inCount,
                                std::int64_t inOffset) {
    while (inCount > 1) {
        const std::uint64_t half = inCount / 2;
        const PeakData::const_iterator middle = inFirst + static_cast<std::int64_t>(half);
        if (middle.GetStartOffset() <= inOffset) {
            inFirst = middle;
            inCount -= half;
        } else {
            inCount = half;
        }
    }
    return inFirst;
}

} // namespace

PeakData::PeakData() noexcept = default;

PeakData::PeakData(std::int64_t inStartOffset) noexcept : startOffset(inStartOffset) {}

PeakData::PeakData(const PeakData& inOther) = default;

PeakData::PeakData(PeakData&& inOther) noexcept = default;

PeakData& PeakData::operator=(const PeakData& inOther) = default;

PeakData& PeakData::operator=(PeakData&& inOther) noexcept {
    if (this != &inOther) {
        startOffset = inOther.startOffset;
        segments = std::move(inOther.segments);
        inOther.segments.clear(); // a vector moved from may hold anything
        reservedDatum = inOther.reservedDatum;
        isConsolidated = inOther.isConsolidated;
        isOrdered = inOther.isOrdered;
    }
    return *this;
}

PeakData::~PeakData() = default;

std::int64_t PeakData::GetEndOffset() const noexcept {
    return segments.empty() ? startOffset : segments.back().GetEndOffset();
}

std::int64_t PeakData::GetDuration() const noexcept {
    return static_cast<std::int64_t>(detail::Distance(startOffset, GetEndOffset()));
}

bool PeakData::HasEmptySegments() const noexcept {
    return std::any_of(segments.begin(), segments.end(),
                       [](const PeakDataSegment& segment) { return segment.size() == 0; });
}

std::uint64_t PeakData::size() const noexcept {
    std::uint64_t count = 0;
    for (const PeakDataSegment& segment : segments)
        count += segment.size();
    return count;
}

PeakData::iterator PeakData::begin() noexcept {
    return segments.empty() ? end() : iterator(segments.end(), segments.begin(), segments.front().begin());
}

PeakData::const_iterator PeakData::begin() const noexcept {
    return segments.empty() ? end()
                            : const_iterator(segments.end(), segments.begin(), segments.front().begin());
}

PeakData::iterator PeakData::end() noexcept {
    return iterator(segments.end());
}

PeakData::const_iterator PeakData::end() const noexcept {
    return const_iterator(segments.end());
}

PeakData::iterator PeakData::Find(std::int64_t inOffset) {
    const const_iterator found = std::as_const(*this).Find(inOffset);
    if (found.segment == segments.end())
        return end();
    const auto segment = segments.begin() + (found.segment - segments.begin());
    return iterator(segments.end(), segment, segment->begin() + (found.datum - found.segment->begin()));
}

PeakData::const_iterator PeakData::Find(std::int64_t inOffset) const {
    if (!Covers(inOffset) || inOffset == GetEndOffset())
        return end();
    if (!isOrdered)
        return Bisect(begin(), size(), inOffset);
    const auto segment = SegmentOf(segments, inOffset);
    return const_iterator(segments.end(), segment, BlockOf(*segment, inOffset));
}

void PeakData::SetStartOffset(std::int64_t inOffset) noexcept {
    startOffset = inOffset;
    FixStartOffsets();
}

void PeakData::Clear() noexcept {
    segments.clear();
}

void PeakData::Append(std::int64_t inStartOffset, std::int64_t inBlockSize, PeakDatumVector&& inData) {
    const detail::BlockRun run{inStartOffset, inBlockSize, inData.data(), inData.size()};
    if (segments.empty() || !run.AppendTo(segments.back()))
        segments.emplace_back(inStartOffset, inBlockSize, std::move(inData));
    if (isConsolidated)
        isOrdered = isOrdered && EndsInOrder(segments);
    else
        Consolidate();
}

void PeakData::Consolidate() {
    Examine();
    if (!isConsolidated)
        Assemble(detail::TakingRuns(segments));
}

void PeakData::Assemble(const detail::BlockRunVector& inRuns) {
    isConsolidated = isOrdered = false; // where memory runs out, nothing is known
    segments = detail::Consolidated(inRuns);
    Examine();
}

void PeakData::FixStartOffsets() noexcept {
    detail::Chain(segments, startOffset);
    Examine();
}

void PeakData::Examine() noexcept {
    isConsolidated =
        std::adjacent_find(segments.begin(), segments.end(),
                           detail::Continues<PeakDataSegment, PeakDataSegment>) == segments.end();
    isOrdered = std::all_of(segments.begin(), segments.end(), Rises) &&
                std::adjacent_find(segments.begin(), segments.end(), Overlap) == segments.end();
}

bool PeakData::Covers(std::int64_t inOffset) const noexcept {
    return !segments.empty() && inOffset >= startOffset && inOffset <= GetEndOffset();
}

} // namespace kelaudiofile
