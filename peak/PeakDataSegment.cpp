#include "kelaudiofile/PeakDataSegment.h"

#include <utility>

#include "BlockRun.h"

namespace kelaudiofile {

PeakDataSegment::PeakDataSegment() noexcept = default;

PeakDataSegment::PeakDataSegment(std::int64_t inStartOffset, std::int64_t inBlockSize,
                                 PeakDatumVector&& inData)
    : startOffset(inStartOffset), blockSize(inBlockSize), data(std::as_const(inData)) {}

PeakDataSegment::PeakDataSegment(const PeakDataSegment& inOther) = default;

PeakDataSegment::PeakDataSegment(PeakDataSegment&& inOther) noexcept = default;

PeakDataSegment& PeakDataSegment::operator=(const PeakDataSegment& inOther) = default;

PeakDataSegment& PeakDataSegment::operator=(PeakDataSegment&& inOther) noexcept {
    if (this != &inOther) {
        startOffset = inOther.startOffset;
        blockSize = inOther.blockSize;
        data = std::move(inOther.data);
        inOther.data.clear(); // a vector moved from may hold anything
    }
    return *this;
}

PeakDataSegment::~PeakDataSegment() = default;

bool PeakDataSegment::Append(const PeakDataSegment& inOther) {
    if (&inOther == this) // a segment without length can continue itself
        return Append(PeakDataSegment(inOther));
    return detail::BlockRun::Of(inOther).AppendTo(*this);
}

bool PeakDataSegment::Append(const PeakDataSegment&& inOther) {
    return Append(inOther); // as an lvalue: the overload above
}

PeakDataSegment PeakDataSegment::GetRange(PeakDatumVector::const_iterator inFirst,
                                          PeakDatumVector::const_iterator inLast) const {
    PeakDataSegment range;
    range.startOffset =
        detail::BlockOffset(startOffset, static_cast<std::uint64_t>(inFirst - data.begin()), blockSize);
    range.blockSize = blockSize;
    range.data.assign(inFirst, inLast);
    return range;
}

PeakDataSegmentVector PeakDataSegment::Split(std::int64_t inOffset) const {
    const detail::BlockRunVector runs = detail::BlockRun::Of(*this).Split(inOffset);
    PeakDataSegmentVector pieces;
    pieces.reserve(runs.size());
    for (const detail::BlockRun& run : runs)
        pieces.push_back(detail::BlockRun::Join(&run, &run + 1));
    return pieces;
}

} // namespace kelaudiofile
