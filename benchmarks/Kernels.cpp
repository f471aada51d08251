// Compares the sample routines, in cache, with a copy of as many bytes as they write and with their plain
// loops. The three run in alternation, and the medians of each round's ratios are reported, so that other
// work on the machine affects all three alike.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "Compare.h"
#include "models/SampleModels.h"

using namespace sample_models;

namespace {

constexpr std::int32_t kRounds = 200;
constexpr std::int32_t kFramesPerRound = 1 << 16;

/// Memory in whole cache lines. The offset of large blocks within their pages affects more than most kernels
/// do, so each side gets its own offset.
class Buffer {
public:
    Buffer(std::size_t inByteCount, std::size_t inFirstLine)
        : mLines(inFirstLine + inByteCount / sizeof(Line) + 1), mBegin(mLines[inFirstLine].bytes) {}

    unsigned char* begin() { return mBegin; }

private:
    struct alignas(64) Line {
        unsigned char bytes[64];
    };
    std::vector<Line> mLines;
    unsigned char* mBegin;
};

/// Floats within full scale, whose bytes serve as samples of every other kind too: music neither clips nor
/// contains denormals.
void FillWithSamples(unsigned char* outBytes, std::size_t inByteCount) {
    std::uint32_t state = 1;
    for (std::size_t i = 0; i + sizeof(float) <= inByteCount; i += sizeof(float)) {
        state = state * 1664525 + 1013904223;
        const float sample = static_cast<float>(static_cast<std::int32_t>(state)) * 0x1p-31f;
        std::memcpy(outBytes + i, &sample, sizeof sample);
    }
}

template <typename Work>
double SecondsFor(std::int32_t inRepetitions, Work inWork) {
    const double start = compare::ThreadSeconds();
    for (std::int32_t i = 0; i < inRepetitions; ++i) {
        inWork();
        benchmark::ClobberMemory();
    }
    return compare::ThreadSeconds() - start;
}

double Median(std::vector<double>& ioValues) {
    const auto middle = ioValues.begin() + static_cast<std::ptrdiff_t>(ioValues.size() / 2);
    std::nth_element(ioValues.begin(), middle, ioValues.end());
    return *middle;
}

void RunKernel(benchmark::State& state, const Routine& routine, std::int32_t frames, std::int32_t channels) {
    const Call call{routine, frames, channels};
    const std::size_t writtenByteCount = static_cast<std::size_t>(frames) * routine.writtenBytes;
    const std::size_t readByteCount = std::max(call.sourceReach, writtenByteCount);
    Buffer source(readByteCount, 0), destination(call.writtenReach, 17), expected(call.writtenReach, 0);
    FillWithSamples(source.begin(), readByteCount);

    call.RunModel(source.begin(), expected.begin());
    call.Run(source.begin(), destination.begin());
    if (!std::equal(expected.begin(), expected.begin() + call.writtenReach, destination.begin())) {
        state.SkipWithError("differs from the plain loop");
        return;
    }

    const std::int32_t repetitions = kFramesPerRound / frames;
    const Convert convert = routine.convert; // short runs would measure these look-ups
    const PlainLoop plain = routine.model;
    const std::size_t sourceStep = call.sourceStep, writtenStep = call.writtenStep;
    unsigned char *const in = source.begin(), *const out = destination.begin();
    std::vector<double> ofCopy, ofPlain;
    for (auto _ : state) {
        const double routineSeconds = SecondsFor(repetitions, [=] { convert(in, out, frames, channels); });
        const double copySeconds = SecondsFor(repetitions, [=] { std::memcpy(out, in, writtenByteCount); });
        const double plainSeconds =
            SecondsFor(repetitions, [=] { plain(in, sourceStep, out, writtenStep, frames); });
        state.SetIterationTime(routineSeconds);
        ofCopy.push_back(copySeconds / routineSeconds);
        ofPlain.push_back(plainSeconds / routineSeconds);
    }
    state.SetBytesProcessed(state.iterations() * repetitions * static_cast<std::int64_t>(writtenByteCount));
    state.counters["of_copy"] = Median(ofCopy);
    state.counters["of_plain"] = Median(ofPlain);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    for (const Routine& routine : kRoutines)
        for (const std::int32_t channels : {1, 2, 6})
            for (const std::int32_t frames : {16384, 64}) {
                const std::string name = std::string(routine.name) + "/channels:" + std::to_string(channels) +
                                         "/frames:" + std::to_string(frames);
                benchmark::RegisterBenchmark(name.c_str(), RunKernel, routine, frames, channels)
                    ->UseManualTime()
                    ->Iterations(kRounds)
                    ->Unit(benchmark::kMicrosecond);
            }
    benchmark::RunSpecifiedBenchmarks();
}
