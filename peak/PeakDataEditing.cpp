#include <algorithm>
#include <limits>

#include "BlockRun.h"
#include "Pieces.h"
#include "kelaudiofile/PeakData.h"

namespace kelaudiofile {

namespace {

constexpr std::size_t kNoBorder = std::numeric_limits<std::size_t>::max();

} // namespace

void PeakData::Split(std::int64_t inOffset) {
    if (!Covers(inOffset))
        return;
    const bool wasOrdered = isOrdered;  // cuts keep it so
    isConsolidated = isOrdered = false; // where memory runs out, nothing is known
    detail::SplitAt(segments, inOffset);
    isOrdered = wasOrdered;
}

void PeakData::Insert(const std::shared_ptr<PeakData>& inData) {
    if (inData == nullptr)
        return;
    if (inData.get() == this)
        return Insert(std::make_shared<PeakData>(*this));

    const std::int64_t place = inData->GetStartOffset();
    const detail::BlockRunVector source = detail::RunsOf(inData->segments);
    detail::BlockRunVector runs = detail::TakingRuns(segments);
    if (Covers(place))
        detail::SplitAt(runs, place);
    runs.insert(detail::StartingAt(runs, place), source.begin(), source.end());
    detail::Chain(runs, startOffset);
    Assemble(runs);
}

bool PeakData::CanHold(const PeakData& inSource) const noexcept {
    return inSource.size() != 0 && inSource.GetStartOffset() >= startOffset &&
           inSource.GetEndOffset() <= GetEndOffset();
}

void PeakData::Overwrite(const std::shared_ptr<PeakData>& inData) {
    if (inData == nullptr || !CanHold(*inData))
        return Consolidate();
    if (inData.get() == this)
        return Overwrite(std::make_shared<PeakData>(*this));

    const std::int64_t stretchStart = inData->GetStartOffset(), stretchEnd = inData->GetEndOffset();
    const detail::BlockRunVector source = detail::RunsOf(inData->segments);
    detail::BlockRunVector runs = detail::TakingRuns(segments);
    for (const std::int64_t border : {stretchStart, stretchEnd})
        if (Covers(border))
            detail::SplitAt(runs, border);

    auto first = runs.end(), last = runs.end();
    for (auto run = runs.begin(); run != runs.end(); ++run) {
        if (run->GetStartOffset() == stretchStart)
            first = run;
        if (run->GetStartOffset() == stretchEnd) {
            last = run;
            break;
        }
    }
    if (first != runs.end())
        runs.insert(runs.erase(first, last), source.begin(), source.end());
    Assemble(runs);
}

std::size_t PeakData::SegmentAt(const const_iterator& inBorder) const noexcept {
    if (inBorder.segment == segments.end())
        return segments.size();
    for (std::size_t i = 0; i < segments.size(); ++i)
        if (inBorder == const_iterator(segments.end(), segments.begin() + static_cast<std::ptrdiff_t>(i),
                                       segments[i].begin()))
            return i;
    return kNoBorder;
}

void PeakData::RippleDelete(const_iterator inFirst, const_iterator inLast, RippleDirection inDirection) {
    const std::size_t first = SegmentAt(inFirst), last = SegmentAt(inLast);
    if (first < last && last != kNoBorder) {
        const auto firstRemoved = segments.begin() + static_cast<std::ptrdiff_t>(first);
        const auto firstKept = segments.begin() + static_cast<std::ptrdiff_t>(last);
        if (inDirection == RippleRight) {
            const std::int64_t holeEnd =
                firstKept == segments.end() ? GetEndOffset() : firstKept->GetStartOffset();
            startOffset = detail::BlockOffset(startOffset,
                                              detail::Distance(firstRemoved->GetStartOffset(), holeEnd), 1);
        }
        segments.erase(firstRemoved, firstKept);
    }
    FixStartOffsets();
    Consolidate();
}

void PeakData::Zero(iterator inFirst, iterator inLast) {
    for (; inFirst.segment < inLast.segment; inFirst.EnterNextSegment())
        std::fill(inFirst.datum, inFirst.segment->end(), PeakDatum());
    if (inFirst.segment == inLast.segment && inFirst.segment != inFirst.segmentsEnd &&
        inFirst.datum < inLast.datum)
        std::fill(inFirst.datum, inLast.datum, PeakDatum());
}

std::shared_ptr<PeakData> PeakData::GetRange(const_iterator inFirst, const_iterator inLast) const {
    if (inFirst == end())
        return std::make_shared<PeakData>(GetEndOffset());

    auto range = std::make_shared<PeakData>(inFirst.GetStartOffset());
    for (auto segment = inFirst.segment; segment != segments.end() && segment <= inLast.segment; ++segment) {
        const auto from = segment == inFirst.segment ? inFirst.datum : segment->begin();
        const auto to = segment == inLast.segment ? inLast.datum : segment->end();
        if (segment != inLast.segment || from < to)
            range->segments.push_back(segment->GetRange(from, to));
    }
    range->FixStartOffsets();
    return range;
}

} // namespace kelaudiofile
