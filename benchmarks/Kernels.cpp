// The sample routines in cache, each beside a copy of as many bytes as it writes and beside its plain loop.
// The three take turns, round by round, and the medians of the rounds' ratios count: what else the machine
// does in the meantime then meets all of them alike.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "KernelsPlain.h"
#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Interleave.h"

using namespace kelaudiofile;

namespace {

constexpr std::int32_t kRounds = 200;
constexpr std::int32_t kFramesPerRound = 1 << 16;

template <DeinterleaveFunction kRoutine>
void Gather(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    kRoutine(source, static_cast<float*>(destination), sampleCount, channels);
}

template <ConversionFunction kRoutine, std::int32_t kSampleBytes>
void Swizzle(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    kRoutine(source, destination, sampleCount * kSampleBytes, channels);
}

KernelRun RoutineNamed(const std::string& inName) {
    static const std::map<std::string, KernelRun> kRoutines = {
        {"DeInterleave8Bit", Gather<DeInterleave8Bit>},
        {"DeInterleave16Bit", Gather<DeInterleave16Bit>},
        {"DeInterleave24Bit", Gather<DeInterleave24Bit>},
        {"DeInterleave32Bit", Gather<DeInterleave32Bit>},
        {"DeInterleave64Bit", Gather<DeInterleave64Bit>},
        {"DeInterleave32BitFloat_1", Gather<DeInterleave32BitFloat_1>},
        {"DeInterleave32BitFloat_32768", Gather<DeInterleave32BitFloat_32768>},
        {"DeInterleave32BitFloat_8388608", Gather<DeInterleave32BitFloat_8388608>},
        {"DeInterleave64BitFloat", Gather<DeInterleave64BitFloat>},
        {"Interleave8Bits", Interleave8Bits},
        {"Interleave16Bits", Interleave16Bits},
        {"Interleave24Bits", Interleave24Bits},
        {"Interleave32BitFloat_1", Interleave32BitFloat_1},
        {"Interleave32BitFloat_32768", Interleave32BitFloat_32768},
        {"Interleave32BitFloat_8388608", Interleave32BitFloat_8388608},
        {"Interleave64BitFloat", Interleave64BitFloat},
        {"Interleave32BitInteger", Interleave32BitInteger},
        {"Interleave64BitInteger", Interleave64BitInteger},
        {"ConvertBetweenSigned8BitAudioAndUnsigned", ConvertBetweenSigned8BitAudioAndUnsigned},
        {"Swizzle16Bit", Swizzle<Swizzle16Bit, 2>},
        {"Swizzle24Bit", Swizzle<Swizzle24Bit, 3>},
        {"Swizzle32Bit", Swizzle<Swizzle32Bit, 4>},
    };
    return kRoutines.at(inName);
}

/// Memory in whole cache lines. Where large blocks start in their pages decides over more than most kernels
/// do, so each side is given its own start.
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
/// holds denormals.
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
    const auto start = std::chrono::steady_clock::now();
    for (std::int32_t i = 0; i < inRepetitions; ++i) {
        inWork();
        benchmark::ClobberMemory();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double>& ioValues) {
    const auto middle = ioValues.begin() + static_cast<std::ptrdiff_t>(ioValues.size() / 2);
    std::nth_element(ioValues.begin(), middle, ioValues.end());
    return *middle;
}

void RunKernel(benchmark::State& state, const PlainKernel& plain, std::int32_t frames,
               std::int32_t channels) {
    const KernelRun routine = RoutineNamed(plain.name);
    const auto frameCount = static_cast<std::size_t>(frames),
               channelCount = static_cast<std::size_t>(channels);
    const std::size_t writtenByteCount = frameCount * plain.writtenBytes;
    const std::size_t readByteCount =
        std::max(frameCount * plain.sourceBytes * (plain.gathers ? channelCount : 1), writtenByteCount);
    const std::size_t reachedByteCount = writtenByteCount * (plain.gathers ? 1 : channelCount);
    Buffer source(readByteCount, 0), destination(reachedByteCount, 17), expected(reachedByteCount, 0);
    FillWithSamples(source.begin(), readByteCount);

    plain.run(source.begin(), expected.begin(), frames, channels);
    routine(source.begin(), destination.begin(), frames, channels);
    if (!std::equal(expected.begin(), expected.begin() + reachedByteCount, destination.begin())) {
        state.SkipWithError("differs from the plain loop");
        return;
    }

    const std::int32_t repetitions = kFramesPerRound / frames;
    std::vector<double> ofCopy, ofPlain;
    for (auto _ : state) {
        const double routineSeconds =
            SecondsFor(repetitions, [&] { routine(source.begin(), destination.begin(), frames, channels); });
        const double copySeconds = SecondsFor(
            repetitions, [&] { std::memcpy(destination.begin(), source.begin(), writtenByteCount); });
        const double plainSeconds = SecondsFor(
            repetitions, [&] { plain.run(source.begin(), destination.begin(), frames, channels); });
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
    for (const PlainKernel& plain : PlainKernels())
        for (const std::int32_t channels : {1, 2, 6})
            for (const std::int32_t frames : {16384, 64}) {
                const std::string name = std::string(plain.name) + "/channels:" + std::to_string(channels) +
                                         "/frames:" + std::to_string(frames);
                benchmark::RegisterBenchmark(name.c_str(), RunKernel, plain, frames, channels)
                    ->UseManualTime()
                    ->Iterations(kRounds)
                    ->Unit(benchmark::kMicrosecond);
            }
    benchmark::RunSpecifiedBenchmarks();
}
