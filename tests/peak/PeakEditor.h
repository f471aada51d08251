#pragma once

#include <algorithm>
#include <sstream>

#include "PlainPeaks.h"

namespace testing_support {

using kelaudiofile::PeakData;
using kelaudiofile::PeakDatum;
using kelaudiofile::PeakDatumVector;

/// A container and its model through the same random edits.
/// @tparam Choose  a function object: `choose(n)` gives a number below n.
template <typename Choose>
class PeakEditor {
public:
    explicit PeakEditor(Choose& ioChoose) : mChoose(ioChoose) {}

    /// One edit on both. @return its description.
    std::string Step() {
        if (mPlain.blocks.size() > 60)
            return Shrink();
        std::ostringstream text;
        const std::int64_t offset = Offset();
        const auto [first, last] = Range();
        switch (mChoose(14)) {
        case 0:
        case 1:
            text << "append";
            Append(*mData, mPlain, mPlain.End() + (mChoose(4) == 0 ? mChoose(20) : 0));
            break;
        case 2:
        case 3:
            text << "split " << offset;
            mData->Split(offset);
            mPlain.Split(offset);
            break;
        case 4:
        case 5:
        case 6: {
            text << "insert at " << offset;
            const auto [data, plain] = Source(offset);
            mData->Insert(data);
            mPlain.Insert(plain);
            break;
        }
        case 7:
        case 8:
        case 9: {
            text << "overwrite from " << offset;
            const auto [data, plain] = Source(offset);
            mData->Overwrite(data);
            mPlain.Overwrite(plain);
            break;
        }
        case 10:
            text << "ripple delete " << first << " to " << last;
            Ripple(first, last);
            break;
        case 11:
            text << "zero " << first << " to " << last;
            mData->Zero(mData->begin() + Signed(first), mData->begin() + Signed(last));
            mPlain.Zero(first, last);
            break;
        case 12:
            text << "become the range " << first << " to " << last;
            mData = std::as_const(*mData).GetRange(Const(first), Const(last));
            mPlain = mPlain.Range(first, last);
            break;
        default:
            text << "start at " << offset << ", or reload";
            if (mChoose(2) == 0) {
                mData->SetStartOffset(offset);
                mPlain.SetStart(offset);
            } else {
                Reload();
            }
        }
        return text.str();
    }

    std::string Compare() { return Difference(*mData, mPlain); }

    /// Everything that doesn't change the container. Slower than an edit.
    std::string CompareQueries() {
        const auto end = mData->end();
        for (std::int64_t offset = mPlain.start - 2; offset <= mPlain.End() + 2; ++offset)
            if (mData->Find(offset) != mData->begin() + Signed(mPlain.Find(offset)))
                return "find " + std::to_string(offset);
        auto back = end;
        for (std::size_t i = mPlain.blocks.size(); i-- > 0;)
            if (--back != mData->begin() + Signed(i) || back != end - Signed(mPlain.blocks.size() - i))
                return "walk back to " + std::to_string(i);
        const auto [first, last] = Range();
        if (mData->begin() + Signed(last) - Signed(last - std::min(first, last)) !=
            mData->begin() + Signed(std::min(first, last)))
            return "move from " + std::to_string(last) + " to " + std::to_string(first);
        PeakData copy(*mData), moved(std::move(copy)), assigned;
        assigned = moved;
        moved = std::move(assigned);
        return Difference(moved, mPlain);
    }

    std::string CompareResampling() {
        const double start = static_cast<double>(Offset()) + mChoose(4) * 0.25;
        const double step = (1 + mChoose(200)) * 0.125;
        const bool loop = mPlain.Duration() > 0 && !mPlain.blocks.empty() && mChoose(2) == 0;
        const std::string difference = ResamplingDifference(mData, mPlain, start, step, mChoose(80), loop);
        if (difference.empty())
            return {};
        std::ostringstream text;
        text << "resampled from " << start << " by " << step << (loop ? " in a loop: " : ": ") << difference;
        return text.str();
    }

private:
    static std::int64_t Signed(std::size_t inIndex) { return static_cast<std::int64_t>(inIndex); }
    PeakData::const_iterator Const(std::size_t inIndex) const {
        return std::as_const(*mData).begin() + Signed(inIndex);
    }

    /// In the timeline most of the time, on a border of blocks often.
    std::int64_t Offset() {
        if (!mPlain.blocks.empty() && mChoose(3) == 0)
            return mPlain.blocks[mChoose(static_cast<std::uint32_t>(mPlain.blocks.size()))].start;
        const auto span = static_cast<std::uint32_t>(std::abs(mPlain.Duration()) + 7);
        return mPlain.start - 3 + mChoose(span);
    }
    /// Any two blocks, or the end; on borders of segments often, and also the wrong way round.
    std::pair<std::size_t, std::size_t> Range() {
        const auto pick = [&] {
            std::size_t index = mChoose(static_cast<std::uint32_t>(mPlain.blocks.size()) + 1);
            if (mChoose(3) != 0)
                while (!mPlain.IsBorder(index))
                    ++index;
            return index;
        };
        const std::size_t first = pick(), last = pick();
        return mChoose(4) == 0 ? std::pair(first, last)
                               : std::pair(std::min(first, last), std::max(first, last));
    }
    void Append(PeakData& ioData, PlainPeaks& ioPlain, std::int64_t inStart) {
        const std::int64_t size = 1 + mChoose(mChoose(2) == 0 ? 2 : 9);
        std::vector<PeakDatum> datums(1 + mChoose(7));
        for (PeakDatum& datum : datums)
            datum = PeakDatum(static_cast<float>(mChoose(9)) - 6.0f, static_cast<float>(mChoose(9)) - 2.0f);
        ioPlain.Append(inStart, size, datums);
        ioData.Append(inStart, size, PeakDatumVector(datums.begin(), datums.end()));
    }
    /// Another timeline, now and then the timeline itself.
    std::pair<std::shared_ptr<PeakData>, PlainPeaks> Source(std::int64_t inStart) {
        if (mChoose(16) == 0)
            return {mData, mPlain};
        std::pair source(std::make_shared<PeakData>(inStart), PlainPeaks{inStart, {}});
        for (std::uint32_t count = mChoose(4); count > 0; --count)
            Append(*source.first, source.second, source.second.End() + (mChoose(6) == 0 ? 3 : 0));
        return source;
    }
    void Ripple(std::size_t inFirst, std::size_t inLast) {
        const bool right = mChoose(2) == 0;
        mData->RippleDelete(Const(inFirst), Const(inLast),
                            right ? PeakData::RippleRight : PeakData::RippleLeft);
        mPlain.RippleDelete(inFirst, inLast, right);
    }
    void Reload() {
        MemoryFileInput stream(mPlain.Image());
        mData->LoadFromStream(stream);
        mPlain.Reload();
        if (mPlain.Duration() <= 0) { // the model knows no timelines that end before their start
            mData->SetStartOffset(0);
            mPlain.SetStart(0);
        }
    }
    std::string Shrink() {
        const std::size_t first = mChoose(20), last = first + 30;
        const std::int64_t from = mPlain.blocks[first].start, to = mPlain.blocks[last].start;
        for (const std::int64_t border : {from, to}) {
            mData->Split(border);
            mPlain.Split(border);
        }
        mData->RippleDelete(std::as_const(*mData).Find(from), std::as_const(*mData).Find(to),
                            PeakData::RippleRight);
        mPlain.RippleDelete(mPlain.Find(from), mPlain.Find(to), true);
        return "shrink";
    }

    Choose& mChoose;
    std::shared_ptr<PeakData> mData = std::make_shared<PeakData>();
    PlainPeaks mPlain;
};

} // namespace testing_support
