#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "kelaudiofile/PeakData.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "support/MemoryStream.h"

namespace testing_support {

using kelaudiofile::PeakData;
using kelaudiofile::PeakDataSegment;
using kelaudiofile::PeakDataSegmentVector;
using kelaudiofile::PeakDatum;
using kelaudiofile::PeakDatumVector;

/// A model of PeakData: a timeline without gaps as a flat list with one datum per offset.
struct PlainPeaks {
    std::int64_t start = 0;
    std::vector<PeakDatum> datums;

    std::int64_t Length() const { return static_cast<std::int64_t>(datums.size()); }
    std::int64_t End() const { return start + Length(); }
    std::vector<PeakDatum>::iterator At(std::int64_t inOffset) { return datums.begin() + (inOffset - start); }

    /// Goes offset by offset and lap by lap.
    std::vector<float> Resample(double p, double inStep, std::uint64_t inCount, bool inLoop) const {
        std::vector<float> points(2 * inCount);
        const auto length = static_cast<double>(Length());
        std::uint64_t i = 0;
        if (inLoop && !(p >= static_cast<double>(start) && p < static_cast<double>(End())))
            p = std::fmod(std::fmod(p, length) + length, length);
        else if (p <= -inStep)
            i = static_cast<std::uint64_t>(std::min(std::floor(-p / inStep), static_cast<double>(inCount)));
        const double q = static_cast<double>(i) * inStep + p;
        std::int64_t at = q < 0 ? start : static_cast<std::int64_t>(q);
        if (at < start || at >= End())
            return points;
        const auto goesOn = [&] { return inLoop || at < End(); };
        for (; i < inCount && goesOn(); ++i) {
            auto [low, high] = datums[static_cast<std::size_t>((at - start) % Length())];
            const double bound = static_cast<double>(i + 1) * inStep + p;
            while (goesOn() && bound > static_cast<double>(at + 1))
                if (++at; goesOn()) {
                    const auto [min, max] = datums[static_cast<std::size_t>((at - start) % Length())];
                    low = min < low ? min : low;
                    high = max > high ? max : high;
                }
            if (goesOn() && bound == static_cast<double>(at + 1))
                ++at;
            points[2 * i] = high;
            points[2 * i + 1] = low;
        }
        return points;
    }
};

/// Returns the segments of a container, which only its stream exposes; their offsets are those of a walk.
inline PeakDataSegmentVector SegmentsOf(const PeakData& inData) {
    MemoryFileOutput written;
    inData.WriteToStream(written);
    MemoryFileInput stream(written.bytes);
    std::uint32_t count = 0;
    stream.ReadBlock(&count, sizeof count);
    PeakDataSegmentVector segments(count);
    auto it = inData.begin();
    for (PeakDataSegment& segment : segments) {
        segment.LoadFromStream(stream);
        segment.SetStartOffset(it.GetStartOffset());
        for (std::size_t steps = std::max<std::size_t>(segment.size(), 1); steps > 0; --steps)
            ++it;
    }
    return segments;
}

/// Describes where a container and its model differ; empty if they don't.
inline std::string Difference(const PeakData& inData, const PlainPeaks& inPlain) {
    std::int64_t offset = inPlain.start;
    std::uint64_t count = 0;
    for (auto it = inData.begin(); it != inData.end(); ++it, ++count) {
        if (it.GetStartOffset() != offset || it.GetEndOffset() <= offset || it.GetEndOffset() > inPlain.End())
            return "block at " + std::to_string(offset);
        for (; offset < it.GetEndOffset(); ++offset)
            if (std::memcmp(&*it, &inPlain.datums[static_cast<std::size_t>(offset - inPlain.start)],
                            sizeof(PeakDatum)) != 0)
                return "datum at " + std::to_string(offset);
    }
    return inData.GetStartOffset() == inPlain.start && inData.GetEndOffset() == inPlain.End() &&
                   inData.GetDuration() == inPlain.Length() && inData.size() == count &&
                   offset == inPlain.End() && inData.empty() == inPlain.datums.empty() &&
                   !inData.HasEmptySegments()
               ? ""
               : "ends or size";
}

/// Describes where resampled points differ from the model's; empty if they don't.
inline std::string ResamplingDifference(const std::shared_ptr<PeakData>& inData, const PlainPeaks& inPlain,
                                        double inStart, double inStep, std::uint64_t inCount, bool inLoop) {
    std::vector<float> expected = inPlain.Resample(inStart, inStep, inCount, inLoop), got(2 * inCount, 7.0f);
    expected.push_back(7.0f); // after the last point
    got.push_back(7.0f);
    kelaudiofile::ResamplePeakData(inData, inStart, inStep, inCount, got.data(), inLoop);
    if (std::memcmp(got.data(), expected.data(), got.size() * sizeof(float)) == 0)
        return "";
    return "resampled from " + std::to_string(inStart) + " by " + std::to_string(inStep) +
           (inLoop ? " in a loop" : "");
}

} // namespace testing_support
