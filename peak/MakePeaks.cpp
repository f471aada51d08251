#include "kelaudiofile/MakePeaks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Extremes.h"

namespace kelaudiofile {

namespace {

using detail::Larger;
using detail::Smaller;
using Lanes = bytes::VectorOf<float, 16>::Type;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
/// Each minimum depends on the previous one, and so do maxima, so several vectors of them are
/// computed in alternation.
constexpr std::int64_t kVectors = 4, kLanes = 4, kSamplesPerStep = kVectors * kLanes;

/// The extremes of no samples.
constexpr PeakDatum kNothing(kInfinity, -kInfinity);

PeakDatum TakeIn(PeakDatum inExtremes, float inSample) {
    return {Smaller(inExtremes.min, inSample), Larger(inExtremes.max, inSample)};
}

/// Returns the extremes of whole steps.
PeakDatum ExtremesOfSteps(const float* inFirst, const float* inLast) {
    Lanes low[kVectors], high[kVectors];
    for (std::int64_t v = 0; v < kVectors; ++v) {
        low[v] = Lanes{} + kInfinity;
        high[v] = Lanes{} - kInfinity;
    }
    for (; inFirst != inLast; inFirst += kSamplesPerStep)
        for (std::int64_t v = 0; v < kVectors; ++v) {
            Lanes samples;
            std::memcpy(&samples, inFirst + v * kLanes, sizeof samples);
            low[v] = Smaller(low[v], samples);
            high[v] = Larger(high[v], samples);
        }
    PeakDatum extremes = kNothing;
    for (std::int64_t i = 0; i < kSamplesPerStep; ++i) {
        const auto lane = static_cast<std::size_t>(i % kLanes);
        extremes = {Smaller(extremes.min, low[i / kLanes][lane]),
                    Larger(extremes.max, high[i / kLanes][lane])};
    }
    return extremes;
}

PeakDatum ExtremesOf(const float* inFirst, std::int64_t inCount) {
    const float* const rest = inFirst + (inCount - inCount % kSamplesPerStep);
    PeakDatum extremes = ExtremesOfSteps(inFirst, rest);
    for (const float* sample = rest; sample != inFirst + inCount; ++sample)
        extremes = TakeIn(extremes, *sample);
    return extremes.min <= extremes.max ? extremes : PeakDatum();
}

} // namespace

PeakDataSegment MakePeaks(const float* samples, std::int64_t count, std::int64_t blockSize) {
    PeakDatumVector datums;
    if (count > 0 && blockSize > 0) {
        datums.reserve(static_cast<std::size_t>((count - 1) / blockSize + 1));
        for (std::int64_t done = 0; done < count; done += std::min(blockSize, count - done))
            datums.push_back(ExtremesOf(samples + done, std::min(blockSize, count - done)));
    }
    return PeakDataSegment(0, blockSize, std::move(datums));
}

} // namespace kelaudiofile
