// Compares resampling of ten million blocks, at steps from half a block to a million blocks, with a walk from
// datum to datum by the container's iterators, and with merely reading the datums and writing the points. The
// three run in alternation, and the medians of each round's ratios are reported.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Compare.h"
#include "kelaudiofile/ResamplePeakData.h"

using namespace kelaudiofile;

namespace {

constexpr std::int32_t kRounds = 15;
constexpr std::size_t kDatumCount = 10'000'000;
constexpr std::int64_t kBlockSize = 256;

PeakDatumVector MakeDatums() {
    PeakDatumVector datums(kDatumCount);
    std::uint32_t state = 1;
    const auto next = [&] {
        return static_cast<float>((state = state * 1664525 + 1013904223) >> 8) * 0x1p-24f;
    };
    for (PeakDatum& datum : datums)
        datum = PeakDatum(-next(), next());
    return datums;
}

/// @param inBlocksPerSegment  the timeline is split into segments of this many blocks, every other one with a
///        different block size.
std::shared_ptr<PeakData> MakeTimeline(const PeakDatumVector& inDatums, std::size_t inBlocksPerSegment) {
    auto data = std::make_shared<PeakData>();
    for (std::size_t first = 0; first < inDatums.size(); first += inBlocksPerSegment) {
        const std::size_t count = std::min(inBlocksPerSegment, inDatums.size() - first);
        const auto begin = inDatums.begin() + static_cast<std::ptrdiff_t>(first);
        data->Append(data->GetEndOffset(),
                     kBlockSize + static_cast<std::int64_t>(first / inBlocksPerSegment % 2),
                     PeakDatumVector(begin, begin + static_cast<std::ptrdiff_t>(count)));
    }
    return data;
}

void WalkDatums(const PeakData& inData, double inStep, std::size_t inPointCount, float* outPeaks) {
    auto it = inData.begin();
    const auto end = inData.end();
    for (std::size_t i = 0; i < inPointCount; ++i) {
        float low = 0, high = 0;
        if (it != end) {
            low = (*it).min;
            high = (*it).max;
            const double bound = static_cast<double>(static_cast<std::int64_t>(i) + 1) * inStep;
            while (it != end && bound > static_cast<double>(it.GetEndOffset())) {
                ++it;
                if (it != end) {
                    low = (*it).min < low ? (*it).min : low;
                    high = (*it).max > high ? (*it).max : high;
                }
            }
            if (it != end && bound == static_cast<double>(it.GetEndOffset()))
                ++it;
        }
        outPeaks[2 * i] = high;
        outPeaks[2 * i + 1] = low;
    }
}

void ReadAndWrite(const PeakDatumVector& inDatums, std::vector<float>& outPeaks) {
    constexpr std::size_t kAhead = 4096 / sizeof(PeakDatum);
    std::uint64_t words[8] = {};
    for (std::size_t i = 0; i + 8 <= inDatums.size(); i += 8) {
        std::uint64_t read[8];
        if (i + kAhead < inDatums.size())
            __builtin_prefetch(inDatums.data() + i + kAhead);
        std::memcpy(read, inDatums.data() + i, sizeof read);
        for (int k = 0; k < 8; ++k)
            words[k] ^= read[k];
    }
    benchmark::DoNotOptimize(words);
    std::fill(outPeaks.begin(), outPeaks.end(), 1.0f);
}

template <typename Work>
double SecondsFor(Work inWork) {
    const double start = compare::ThreadSeconds();
    inWork();
    benchmark::ClobberMemory();
    return compare::ThreadSeconds() - start;
}

double Median(std::vector<double>& ioValues) {
    const auto middle = ioValues.begin() + static_cast<std::ptrdiff_t>(ioValues.size() / 2);
    std::nth_element(ioValues.begin(), middle, ioValues.end());
    return *middle;
}

void Resample(benchmark::State& state, double stepInBlocks, std::size_t blocksPerSegment) {
    static const PeakDatumVector datums = MakeDatums();
    const auto data = MakeTimeline(datums, blocksPerSegment);
    const double step = stepInBlocks * static_cast<double>(kBlockSize);
    const auto pointCount = static_cast<std::size_t>(static_cast<double>(kDatumCount) / stepInBlocks);
    std::vector<float> points(2 * pointCount), expected(2 * pointCount), written(2 * pointCount);

    const auto resample = [&] { ResamplePeakData(data, 0.0, step, pointCount, points.data(), false); };
    resample();
    WalkDatums(*data, step, pointCount, expected.data());
    if (points != expected) {
        state.SkipWithError("differs from the datum walk");
        return;
    }
    std::vector<double> ofMemory, ofWalk;
    for (auto _ : state) {
        const double seconds = SecondsFor(resample);
        ofMemory.push_back(SecondsFor([&] { ReadAndWrite(datums, written); }) / seconds);
        ofWalk.push_back(SecondsFor([&] { WalkDatums(*data, step, pointCount, expected.data()); }) / seconds);
        state.SetIterationTime(seconds);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kDatumCount * sizeof(PeakDatum)));
    state.counters["of_memory"] = Median(ofMemory);
    state.counters["of_walk"] = Median(ofWalk);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const std::size_t blocksPerSegment : {kDatumCount, std::size_t{1000}})
        for (const double step : {0.5, 1.0, 10.0, 1000.0, 1e6}) {
            const std::string name =
                "ResamplePeakData/blocks_per_segment:" + std::to_string(blocksPerSegment) +
                "/blocks_per_point:" + (step < 1.0 ? "0.5" : std::to_string(static_cast<int>(step)));
            benchmark::RegisterBenchmark(name.c_str(), Resample, step, blocksPerSegment)
                ->UseManualTime()
                ->Iterations(kRounds)
                ->Unit(benchmark::kMillisecond);
        }
    benchmark::RunSpecifiedBenchmarks();
}
