#include <utility>

#include <gtest/gtest.h>

#include "WriteSupport.h"
#include "support/SmallDisk.h"
#include "support/Sweep.h"

using namespace wave_tests;
using namespace testing_support;
using Mode = faults::System::Mode;

namespace {

/// A recording in odd blocks with many checkpoints, past the places where plain RIFF begins another `data`
/// chunk and where RF64 begins. Two jumps make it long and leave holes.
class Recording {
public:
    Recording(const TemporaryFolder& inFolder, bool inRf64) : mFolder(inFolder), mRf64(inRf64) {}

    /// Fails n-th calls as the faults say; whatever fails once is tried again.
    void Run() {
        try {
            Error error;
            mFile = Create(mFolder.PathText("file"), kFormat(mRf64), error);
            failures += !mFile;
            EXPECT_EQ(error.code, mFile ? Error::kNoError : Error::kOpenForWriteFailed);
            if (!mFile)
                return;
        } catch (const kelcore::filesupport::file_exception&) {
            EXPECT_EQ(faults::SystemCalls().removals, 0u) << "only the deletion of the old file lets one out";
            ++failures;
            return;
        }
        failures += !WriteMetadatum(*mFile, FourCC("bext"), {1, 2, 3});
        for (const unsigned count : {100u, 33u, 7u, 40'000u, 5u})
            BlockAndCheckpoint(count);
        if (!mRf64) { // goes on in another data chunk
            failures += !mFile->FinishSamples();
            failures += !WriteMetadatum(*mFile, FourCC("LIST"), {1});
            BlockAndCheckpoint(9);
        }
        JumpTo(2 * kGiB + 5);
        BlockAndCheckpoint(11);
        JumpTo(kLimit - 170);
        for (int i = 0; i < 5; ++i) {
            Block(37);
            BlockAndCheckpoint(37);
        }
        Block(40'000);
        BlockAndCheckpoint(12);
        failures += !mFile->FinishSamples();
        failures += !WriteMetadatum(*mFile, FourCC("LIST"), {1});
        finished = mFile->FinishWrite();
        failures += !finished;
        mFile.reset();
    }

    /// The file left behind must hold at least this many bytes, and nothing else in them.
    void ExpectSamples(std::uint64_t inCount) const {
        const Handle file = OpenForRead(mFolder.PathText("file"));
        ASSERT_TRUE(file);
        EXPECT_GE(file->GetSampleCount(), static_cast<std::int64_t>(inCount));
        for (const auto& [offset, bytes] : mBlocks)
            if (offset + bytes.size() <= inCount) {
                ASSERT_EQ(Read(*file, offset, bytes.size()), bytes) << offset;
            }
    }

    /// All of it, and nothing else.
    void ExpectWhole() const {
        ExpectSamples(next);
        const Handle file = OpenForRead(mFolder.PathText("file"));
        ASSERT_TRUE(file);
        EXPECT_EQ(file->GetSampleCount(), static_cast<std::int64_t>(next));
        const auto metadata = ReadMetadata(*file);
        ASSERT_EQ(metadata.size(), mRf64 ? 2u : 3u);
        EXPECT_EQ(metadata.back().whole, Image().Text("LIST").U32(1).Add({1}));
    }

    std::uint64_t checkpoint = 0; ///< bytes before the last FinishBlock that returned true
    std::uint64_t next = 0;
    bool finished = false;
    int refused = 0;  ///< blocks that were not taken at first
    int failures = 0; ///< calls that said so, the open and blocks included

private:
    static Format kFormat(bool inRf64) {
        return {
            .channels = 1, .bytesPerSample = 1, .bits = 8, .layout = {102}, .rf64 = inRf64, .anyOrder = true};
    }
    static bool IsDead() {
        return faults::SystemCalls().mode == Mode::kStop && faults::SystemCalls().fired != 0;
    }
    static bool TriesAgain() { return faults::SystemCalls().mode == Mode::kFailOnce; }

    void Block(std::size_t inCount) { Block(SampleBytes(next, inCount)); }
    void Block(const Bytes& inBytes) {
        const int code = Write(*mFile, next, inBytes);
        if (code != 0) {
            ++failures;
            ++refused;
            EXPECT_EQ(code, Error::kWriteFailed);
            EXPECT_EQ(Write(*mFile, next, inBytes), TriesAgain() ? 0 : Error::kWriteFailed);
        }
        mBlocks.push_back({next, inBytes});
        next += inBytes.size();
    }
    void BlockAndCheckpoint(std::size_t inCount) {
        Block(inCount);
        const bool finishes = mFile->FinishBlock();
        failures += !finishes;
        if ((finishes || mFile->FinishBlock()) && !IsDead())
            checkpoint = next;
    }
    /// The hole begins like a chunk that takes it all, or a reader of an unfinished file would walk through
    /// it.
    void JumpTo(std::uint64_t inOffset) {
        Block(Image().Text("skip").U32(0xFFFFFFFF));
        next = inOffset - 1;
        Block(1);
    }

    const TemporaryFolder& mFolder;
    bool mRf64;
    Handle mFile;
    std::vector<std::pair<std::uint64_t, Bytes>> mBlocks;
};

/// Runs a recording once for each call that can go wrong, over a file that exists, and gives each to a check.
template <typename Check>
void ForEveryCall(const faults::System& inFaults, Check inCheck) {
    for (const bool rf64 : {false, true}) {
        SCOPED_TRACE(rf64 ? "RF64" : "RIFF");
        const TemporaryFolder folder;
        const std::uint64_t calls = faults::SweepCalls(inFaults, [&] {
            WriteFile(folder.Path("file"), Bytes(10'000, 'x'));
            Recording recording(folder, rf64);
            recording.Run();
            EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
            faults::Disarm();
            inCheck(recording);
            EXPECT_TRUE(!faults::Fired() || !inFaults.outputOnly || inFaults.mode == Mode::kStop ||
                        recording.failures != 0)
                << "a failure that no call told of";
        });
        EXPECT_GT(calls, 50u);
    }
}

} // namespace

// A process killed in front of any output call, in the middle of blocks as well.
TEST(ARecordingSurvives, BeingKilledAtAnyOutputCall) {
    for (const std::size_t largestTransfer : {std::size_t{1} << 30, std::size_t{10'001}}) {
        std::uint64_t last = 0;
        ForEveryCall({.mode = Mode::kStop, .outputOnly = true, .largestTransfer = largestTransfer},
                     [&](const Recording& recording) {
                         EXPECT_TRUE(recording.checkpoint >= last ||
                                     recording.checkpoint == 0); // the next sweep
                         last = recording.checkpoint;
                         if (recording.checkpoint != 0)
                             recording.ExpectSamples(recording.checkpoint);
                     });
        EXPECT_GT(last, kLimit);
    }
}

// One call fails: the block or checkpoint is taken when it is offered again, and the file comes out right.
TEST(ARecordingSurvives, AnErrorOfAnyCall) {
    for (const bool outputOnly : {false, true}) {
        int refused = 0, unfinished = 0;
        ForEveryCall({.error = ENOSPC, .outputOnly = outputOnly}, [&](const Recording& recording) {
            refused += recording.refused;
            unfinished += !recording.finished;
            EXPECT_EQ(recording.checkpoint, recording.next);
            if (recording.checkpoint != 0) // the open did not fail
                recording.ExpectWhole();
        });
        EXPECT_GT(refused, 4);
        EXPECT_GT(unfinished, 10);
    }
}

// From some call on the disk is full, or read-only: what was acknowledged before is still there.
TEST(ARecordingSurvives, ADiskThatTakesNothingMore) {
    for (const int error : {ENOSPC, EROFS})
        ForEveryCall({.mode = Mode::kFailForGood, .error = error, .outputOnly = true},
                     [](const Recording& recording) {
                         if (recording.checkpoint != 0)
                             recording.ExpectSamples(recording.checkpoint);
                         EXPECT_TRUE(!recording.finished || recording.checkpoint == recording.next);
                     });
}

// Whole frames that reached a full disk can be read, whether it stays full or not, and no part of a block
// that was refused stays. Once there is room again, all that was taken is written. Any call may fail besides.
TEST(ARecordingSurvives, ADiskThatFillsUp) {
    struct Row {
        const char* name;
        std::int32_t channels; ///< of one byte
        std::uint64_t start;   ///< samples before it are a hole
        std::size_t block;
    };
    constexpr Row kRows[] = {{"a checkpoint with a pad byte", 1, 0, 3001},
                             {"frames that no buffer ends with", 13, 0, 3000},
                             {"blocks that bypass the buffer", 5, 0, 40'000},
                             {"RF64", 13, 5 * kGiB, 3000}};
    const TemporaryFolder folder;
    const auto run = [&](const Row& row, std::uint64_t room, bool staysFull) {
        auto& system = faults::SystemCalls();
        const std::uint64_t failAt = std::exchange(system.failAt, faults::kNever);
        const Handle file = Create(folder.PathText("file"), {.channels = row.channels,
                                                             .bytesPerSample = 1,
                                                             .bits = 8,
                                                             .layout = {},
                                                             .rf64 = true,
                                                             .anyOrder = row.start != 0});
        const std::uint64_t checkpoint = row.start + row.block;
        EXPECT_EQ(WriteSamples(*file, row.start, row.block), 0);
        EXPECT_TRUE(file->FinishBlock());
        const std::uint64_t length = std::filesystem::file_size(folder.Path("file")), pad = checkpoint % 2;
        system.calls = 0;
        system.failAt = failAt;

        std::uint64_t taken = checkpoint;
        bool finished = false;
        const auto expect = [&] {
            const bool fired = faults::Fired();
            const faults::System calls = std::exchange(system, {});
            const std::uint64_t frameBytes = static_cast<std::uint64_t>(row.channels);
            const std::uint64_t frames =
                std::min(taken, finished ? taken : checkpoint + pad + room) / frameBytes;
            Handle read = OpenForRead(folder.PathText("file"));
            const auto count = static_cast<std::uint64_t>(read->GetSampleCount());
            EXPECT_TRUE(count == frames || (fired && count * frameBytes + frameBytes > checkpoint));
            const std::uint64_t last = count * frameBytes - (row.block - frameBytes);
            EXPECT_EQ(Read(*read, last, row.block - frameBytes), SampleBytes(last, row.block - frameBytes));
            const Bytes ds64 = ReadFilePart(folder.Path("file"), 36, 8);
            const bool whole = ReadMetadata(*read).empty() && (row.start == 0 || ds64 == Image().U64(count));
            read.reset();
            system = calls;
            const std::uint64_t samplesAt = length - checkpoint - pad;
            return whole ? samplesAt + (finished ? taken + taken % 2 : count * frameBytes) : 0;
        };
        {
            const FileSizeLimit limit(length + room);
            for (; WriteSamples(*file, taken, row.block) == 0; taken += row.block)
                EXPECT_LT(taken, checkpoint + room + 40'000) << "more than the buffer holds is taken";
            finished = staysFull ? file->FinishSamples() : file->FinishBlock();
            expect();
            if (staysFull)
                file->FinishWrite();
        }
        if (!staysFull)
            finished = file->FinishSamples() || file->FinishSamples();
        EXPECT_TRUE(finished || staysFull);
        const bool whole = staysFull ? !faults::Fired() : file->FinishWrite();
        const std::uint64_t end = expect();
        EXPECT_TRUE(!whole || std::filesystem::file_size(folder.Path("file")) == end);
    };
    for (const auto& row : kRows)
        for (const std::uint64_t room : {0, 6, 32'745, 90'001})
            for (const bool staysFull : {true, false}) {
                SCOPED_TRACE(testing::Message() << row.name << ", room for " << room << " " << staysFull);
                faults::SweepCalls({}, [&] { run(row, room, staysFull); });
            }
}

// With the stream flag, the last block may lie far past the end of the file, or before what was counted.
TEST(ARecordingSurvives, FailedCheckpointsAfterJumps) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    const Handle file = Create(folder.PathText("file"), {.anyOrder = true});
    const auto finishes = [&](std::uint64_t offset, std::size_t count, const faults::System& faults) {
        EXPECT_EQ(WriteSamples(*file, offset, count), 0);
        faults::SystemCalls() = faults;
        const bool finished = file->FinishBlock();
        faults::SystemCalls() = {};
        return finished;
    };
    const auto says = [&](std::uint64_t position, std::uint64_t size) {
        return ReadFilePart(folder.Path("file"), position, 8) == Image().Text("data").U32(size);
    };
    EXPECT_TRUE(finishes(0, 1000, {}) && says(36, 1000));
    EXPECT_TRUE(!finishes(5000, 8, {.failAt = 0}) && says(36, 1000)) << "the file does not reach there";
    EXPECT_TRUE(finishes(5000, 8, {}) && says(36, 5008));
    EXPECT_TRUE(!finishes(100, 8, {.failAt = 0}) && says(36, 5008)) << "never less than before";
    EXPECT_TRUE(finishes(100, 8, {}) && file->FinishSamples() && says(36, 108));
    const faults::System half{.failAt = 2, .largestTransfer = 51};
    EXPECT_TRUE(!finishes(108, 300, half) && says(152, 92)) << "whole frames of 102 bytes with a header";
    EXPECT_EQ(WriteSamples(*file, 408, 40'000), 0);
    EXPECT_EQ(WriteSamples(*file, 40'408, 8), 0);
    faults::SystemCalls() = {.failAt = 0};
    EXPECT_FALSE(file->FinishWrite());
    EXPECT_EQ(std::filesystem::file_size(folder.Path("file")), 40'468) << "uncounted, but there";
}

// A checkpoint fails at its data, its size, its pad byte or the header, or the end of samples at the first
// two; what is done next, even by the destructor, counts what is a sample.
TEST(ARecordingSurvives, ACheckpointThatFailedWithItsPadByte) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    for (std::uint64_t call = 0; call < 6; ++call) {
        SCOPED_TRACE(call);
        Handle file = Create(folder.PathText("file"), {});
        EXPECT_EQ(Write(*file, 0, {1, 2, 3}), 0);
        faults::SystemCalls() = {.failAt = call % 4, .outputOnly = true};
        EXPECT_FALSE(call < 4 ? file->FinishBlock() : file->FinishSamples());
        EXPECT_TRUE(call >= 4 || (file->FinishBlock() && file->FinishWrite()));
        file.reset();
        EXPECT_EQ(ReadFile(folder.Path("file")), Image()
                                                     .Chunk("fmt ", ShortFormat(1, 2, 44100, 2, 16))
                                                     .Chunk("data", {1, 2, 3})
                                                     .In("RIFF", "WAVE"));
    }
}

// Whichever call of the open fails, also the one that asks for an old file: nothing of that is in the new
// one.
TEST(ARecordingSurvives, OpensOverAnOldFileWithAnErrorOfAnyCall) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    const Bytes old(300, 'o');
    int opened = 0, refused = 0, thrown = 0;
    for (std::uint64_t call = 0;; ++call) {
        SCOPED_TRACE(call);
        WriteFile(folder.Path("file"), old);
        faults::SystemCalls() = {.failAt = call};
        Error error;
        Handle file;
        try {
            file = Create(folder.PathText("file"), {}, error);
            refused += file == nullptr;
            EXPECT_EQ(file ? Error::kNoError : Error::kOpenForWriteFailed, error.code);
        } catch (const kelcore::filesupport::file_exception&) {
            ++thrown;
        }
        EXPECT_TRUE(!file || faults::SystemCalls().opens == 1) << "no second open may find another file";
        const bool fired = std::exchange(faults::SystemCalls(), {}).fired != 0;
        if (file) {
            ++opened;
            EXPECT_TRUE(file->FinishWrite());
            EXPECT_EQ(ReadFile(folder.Path("file")),
                      Image().Chunk("fmt ", ShortFormat(1, 2, 44100, 2, 16)).In("RIFF", "WAVE"));
        } else if (call < 2) {
            EXPECT_EQ(ReadFile(folder.Path("file")), old);
        }
        if (!fired)
            break;
    }
    EXPECT_EQ(opened, 1) << "the last one, without a fault";
    EXPECT_EQ(refused, 4);
    EXPECT_EQ(thrown, 1);
}

TEST(ARecordingSurvives, OpensThatRunOutOfMemory) {
    const TemporaryFolder folder;
    const auto path = folder.PathText("file");
    const ChannelLayout layout = {134, 135, 136, 137};
    const Format format{.channels = 4, .layout = layout, .rf64 = true};
    int failures = 0;
    faults::SweepAllocations([&] {
        Error error;
        Handle file;
        try {
            file = Create(path, format, error);
        } catch (const std::bad_alloc&) {
            error.code = Error::kOpenForWriteFailed;
        }
        EXPECT_EQ(file == nullptr, error.code == Error::kOpenForWriteFailed);
        failures += file == nullptr;
    });
    EXPECT_GT(failures, 5);
}
