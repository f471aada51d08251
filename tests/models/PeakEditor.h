#pragma once

#include "models/PlainPeaks.h"

namespace testing_support {

/// Applies the same random edits to a container and its model.
/// @tparam Choose  a function object: `choose(n)` returns a number below n.
template <typename Choose>
class PeakEditor {
public:
    explicit PeakEditor(Choose& ioChoose) : mChoose(ioChoose) {}

    /// Edits both, between two offsets. @return a description of the first difference, if any.
    std::string Step() {
        // clang-format off
        enum : std::uint32_t { kRipple, kInsert, kOverwrite, kAppend, kZero, kRange, kStart, kEdits };
        // clang-format on
        const std::uint32_t edit = mPlain.Length() > 3000 ? std::uint32_t{kRange} : mChoose(kEdits);
        const std::int64_t a = Offset(0), b = Offset(0), first = std::min(a, b), last = std::max(a, b);
        if (edit == kRipple || mChoose(2) == 0) {
            mData->Split(first);
            mData->Split(last);
            if (Start(mData->Find(first)) != first || Start(mData->Find(last)) != last)
                return "split";
        }
        const auto from = mData->Find(first), to = mData->Find(last);
        const auto plainFrom = mPlain.At(Start(from)), plainTo = mPlain.At(Start(to));
        switch (edit) {
        case kRipple: {
            const bool right = mChoose(2) == 0;
            mData->RippleDelete(from, to, right ? PeakData::RippleRight : PeakData::RippleLeft);
            mPlain.datums.erase(plainFrom, plainTo);
            mPlain.start += right ? last - first : 0;
            break;
        }
        case kInsert: {
            const auto [data, plain] = Source();
            mData->Insert(data);
            const bool inside = plain.start >= mPlain.start && plain.start <= mPlain.End();
            mPlain.datums.insert(inside ? mPlain.At(plain.start) : mPlain.datums.end(), plain.datums.begin(),
                                 plain.datums.end());
            break;
        }
        case kOverwrite: {
            const auto [data, plain] = Source();
            mData->Overwrite(data);
            if (!plain.datums.empty() && plain.start >= mPlain.start && plain.End() <= mPlain.End())
                std::copy(plain.datums.begin(), plain.datums.end(), mPlain.At(plain.start));
            break;
        }
        case kAppend:
            Append(*mData, mPlain);
            break;
        case kZero:
            mData->Zero(from, to);
            std::fill(plainFrom, plainTo, PeakDatum());
            break;
        case kRange:
            mPlain = {Start(from), {plainFrom, plainTo}};
            mData = std::as_const(*mData).GetRange(from, to);
            break;
        default:
            const std::int64_t kStarts[] = {0, 1000, -1000, std::int64_t{1} << 52};
            mData->SetStartOffset(mPlain.start = kStarts[mChoose(4)]);
        }
        const PeakDataSegmentVector segments = SegmentsOf(*mData);
        for (std::size_t i = 1; i < segments.size() && edit <= kAppend; ++i)
            if (segments[i].GetBlockSize() == segments[i - 1].GetBlockSize())
                return "not consolidated";
        const std::string difference = Difference(*mData, mPlain);
        return difference.empty() ? Query() : difference;
    }

private:
    /// Compares queries at random places. @return what is wrong.
    std::string Query() {
        const std::int64_t offset = Offset(3), size = static_cast<std::int64_t>(mData->size());
        const auto found = mData->Find(offset), begin = mData->begin(), end = mData->end();
        if (offset < mPlain.start || offset >= mPlain.End()
                ? found != end
                : found.GetStartOffset() > offset || found.GetEndOffset() <= offset)
            return "find";
        const std::int64_t from = Number(size + 1), to = Number(size + 1);
        if (begin + from + (to - from) != begin + to || end - (size - to) != begin + to)
            return "move";
        std::int64_t borders = mPlain.End();
        for (auto back = end; back != begin; borders = back.GetStartOffset())
            if ((--back).GetEndOffset() != borders)
                return "step back";
        const double start = static_cast<double>(Offset(3)) + mChoose(4) * 0.25;
        const double step = mChoose(4) == 0 ? mChoose(3000) + 0.5 : (1 + mChoose(200)) * 0.125;
        return ResamplingDifference(mData, mPlain, start, step, mChoose(40), size != 0 && mChoose(2) == 0);
    }

    std::int64_t Number(std::int64_t inLimit) { return mChoose(static_cast<std::uint32_t>(inLimit)); }
    /// Returns an offset inside the timeline or not too far outside.
    std::int64_t Offset(std::int64_t inOutside) {
        return mPlain.start - inOutside + Number(mPlain.Length() + 2 * inOutside + 1);
    }
    std::int64_t Start(const PeakData::const_iterator& inPlace) {
        return inPlace == mData->end() ? mPlain.End() : inPlace.GetStartOffset();
    }
    /// Makes a few blocks, or enough for vectors. With several NaN and zeros, the order decides
    /// which one a point shows.
    void Append(PeakData& ioData, PlainPeaks& ioPlain) {
        const float kValues[] = {0.0f, -0.0f, 0.5f, 1.0f, -1.0f, -2.0f, NAN, -NAN, HUGE_VALF, -HUGE_VALF};
        const std::uint32_t firstKind = mChoose(10), kinds = 1 + mChoose(10), size = 1 + mChoose(9);
        const auto value = [&] { return kValues[(firstKind + mChoose(kinds)) % 10]; };
        const std::int64_t start = ioPlain.End();
        PeakDatumVector datums(1 + mChoose(mChoose(8) == 0 ? 300 : 7));
        for (PeakDatum& datum : datums) {
            datum = {value(), value()};
            ioPlain.datums.insert(ioPlain.datums.end(), size, datum);
        }
        ioData.Append(start, size, std::move(datums));
    }
    /// Returns another timeline, or sometimes the timeline itself.
    std::pair<std::shared_ptr<PeakData>, PlainPeaks> Source() {
        if (mChoose(16) == 0)
            return {mData, mPlain};
        PlainPeaks plain{Offset(3), {}};
        const auto data = std::make_shared<PeakData>(plain.start);
        for (std::uint32_t count = mChoose(4); count > 0; --count)
            Append(*data, plain);
        return {data, plain};
    }

    Choose& mChoose;
    std::shared_ptr<PeakData> mData = std::make_shared<PeakData>();
    PlainPeaks mPlain;
};

} // namespace testing_support
