#include "kelaudiofile/PeakData.h"

#include <algorithm>
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

// The last datum that doesn't start above the offset, of inCount datums from inFirst on.
template <typename Iterator>
Iterator Bisect(Iterator inFirst, std::uint64_t inCount, std::int64_t inOffset) {
    while (inCount > 1) {
        const std::uint64_t half = inCount / 2;
        const Iterator middle = inFirst + static_cast<std::int64_t>(half);
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
    return Covers(inOffset) && inOffset != GetEndOffset() ? Bisect(begin(), size(), inOffset) : end();
}

PeakData::const_iterator PeakData::Find(std::int64_t inOffset) const {
    return Covers(inOffset) && inOffset != GetEndOffset() ? Bisect(begin(), size(), inOffset) : end();
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
    Consolidate();
}

void PeakData::Consolidate() {
    if (std::adjacent_find(segments.begin(), segments.end(),
                           detail::Continues<PeakDataSegment, PeakDataSegment>) == segments.end())
        return;
    segments = detail::Consolidated(detail::TakingRuns(segments));
}

void PeakData::FixStartOffsets() noexcept {
    detail::Chain(segments, startOffset);
}

bool PeakData::Covers(std::int64_t inOffset) const noexcept {
    return !segments.empty() && inOffset >= startOffset && inOffset <= GetEndOffset();
}

} // namespace kelaudiofile
