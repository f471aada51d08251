#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "WriteSupport.h"
#include "support/Random.h"

// Records in a process of its own and kills that at a random moment, as often as told. What the process has
// said to be safe, by a FinishBlock that returned true, must be read back from the file left behind.

using namespace wave_tests;
using testing_support::Random;

namespace {

struct Round {
    std::uint64_t seed;
    bool rf64;
    std::uint64_t start; ///< sample bytes before it are a hole
};

/// One in two rounds begins just below 4 GiB, where plain RIFF goes on in another chunk and RF64 begins.
Round MakeRound(std::uint64_t inNumber) {
    Random random(inNumber);
    const bool rf64 = random.Below(2) == 0;
    return {inNumber, rf64, random.Below(2) == 0 ? 0 : kLimit - random.Below(300'000)};
}

/// @return only if something fails that should not.
int Record(const kelcore::UTF8String& inPath, const Round& inRound, int inReportTo) {
    Random random(inRound.seed ^ 0x5555);
    const Handle file = Create(inPath, {.channels = 1,
                                        .bytesPerSample = 1,
                                        .bits = 8,
                                        .layout = {102},
                                        .rf64 = inRound.rf64,
                                        .anyOrder = true});
    std::uint64_t next = inRound.start;
    if (!file || (next != 0 && WriteSamples(*file, next - 1, 1) != 0))
        return 1;
    for (int checkpoint = 1;; ++checkpoint) {
        for (std::uint32_t blocks = random.Below(6); blocks > 0; --blocks) {
            const std::size_t count = random.Below(8) == 0 ? random.Below(100'000) : random.Below(5'000);
            if (WriteSamples(*file, next, count) != 0)
                return 2;
            next += count;
        }
        if (!file->FinishBlock())
            return 3;
        if (::write(inReportTo, &next, sizeof next) != sizeof next)
            return 4;
        const bool breaks = !inRound.rf64 && checkpoint % 20 == 0; // RF64 has one data chunk
        if (breaks && !(file->FinishSamples() && WriteMetadatum(*file, FourCC("LIST"), {1, 2, 3})))
            return 5;
    }
}

/// @return how many of the sample bytes that were said to be safe cannot be read back.
std::uint64_t CountLost(const kelcore::UTF8String& inPath, const Round& inRound, std::uint64_t inSafe) {
    if (inSafe == 0)
        return 0;
    const Handle file = OpenForRead(inPath);
    constexpr std::uint64_t kPiece = 1 << 20;
    std::uint64_t lost = 0;
    for (std::uint64_t offset = inRound.start; offset < inSafe; offset += kPiece) {
        const auto count = static_cast<std::size_t>(std::min(kPiece, inSafe - offset));
        if (!file || Read(*file, offset, count) != SampleBytes(offset, count))
            lost += count;
    }
    return lost;
}

struct Tally {
    int rounds = 0, large = 0;
    std::uint64_t checkpoints = 0, safeBytes = 0, lostBytes = 0;
};

bool RunRound(const Round& inRound, Tally& ioTally) {
    const testing_support::TemporaryFolder folder;
    const auto path = folder.PathText("recording.wav");
    int report[2];
    if (::pipe(report) != 0)
        return false;
    const pid_t child = ::fork();
    if (child < 0)
        return false;
    if (child == 0)
        ::_exit(Record(path, inRound, report[1]));
    ::close(report[1]);

    // Reports are taken until the moment comes, or the pipe would fill up and stop the child.
    std::uint64_t safe = 0, got = 0;
    const auto moment = std::chrono::steady_clock::now() +
                        std::chrono::microseconds(500 + Random(inRound.seed).Next64() % 30'000);
    std::thread killer([=] {
        std::this_thread::sleep_until(moment);
        ::kill(child, SIGKILL);
    });
    while (::read(report[0], &got, sizeof got) == sizeof got) {
        safe = got;
        ++ioTally.checkpoints;
    }
    killer.join();
    ::close(report[0]);
    int status = 0;
    if (::waitpid(child, &status, 0) != child || !WIFSIGNALED(status)) {
        std::fprintf(stderr, "round %llu: the recording failed by itself, status %d\n",
                     static_cast<unsigned long long>(inRound.seed), status);
        return false;
    }
    const std::uint64_t lost = CountLost(path, inRound, safe);
    if (lost != 0)
        std::fprintf(stderr, "round %llu: %llu bytes lost\n", static_cast<unsigned long long>(inRound.seed),
                     static_cast<unsigned long long>(lost));
    ++ioTally.rounds;
    ioTally.large += safe > kLimit;
    ioTally.safeBytes += safe == 0 ? 0 : safe - inRound.start;
    ioTally.lostBytes += lost;
    return true;
}

} // namespace

int main(int inCount, char** inArguments) {
    const int rounds = inCount > 1 ? std::atoi(inArguments[1]) : 500;
    for (const bool rf64 : {false, true}) {
        Tally tally;
        for (std::uint64_t number = 0; tally.rounds < rounds; ++number)
            if (const Round round = MakeRound(number); round.rf64 == rf64 && !RunRound(round, tally))
                return 1;
        std::printf(
            "%s: killed %d times, %d of them past 4 GiB; %llu checkpoints, %llu bytes safe, %llu lost\n",
            rf64 ? "RF64" : "RIFF", tally.rounds, tally.large,
            static_cast<unsigned long long>(tally.checkpoints),
            static_cast<unsigned long long>(tally.safeBytes),
            static_cast<unsigned long long>(tally.lostBytes));
        if (tally.lostBytes != 0)
            return 1;
    }
}
