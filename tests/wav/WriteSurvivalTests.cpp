#include <utility>

#include <gtest/gtest.h>

#include "WriteSupport.h"
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

// A checkpoint fails at its data, its size, its pad byte or the header; the next one counts what is a sample.
TEST(ARecordingSurvives, ACheckpointThatFailedWithItsPadByte) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    for (std::uint64_t call = 0; call < 4; ++call) {
        SCOPED_TRACE(call);
        const Handle file = Create(folder.PathText("file"), {});
        EXPECT_EQ(Write(*file, 0, {1, 2, 3}), 0);
        faults::SystemCalls() = {.failAt = call, .outputOnly = true};
        EXPECT_FALSE(file->FinishBlock());
        EXPECT_TRUE(file->FinishBlock());
        EXPECT_TRUE(file->FinishWrite());
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
