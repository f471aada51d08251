#include <algorithm>
#include <utility>

#include "WaveTest.h"
#include "support/Sweep.h"

using namespace wave_tests;
using Mode = faults::System::Mode;

namespace {

/// Records in odd blocks with many checkpoints, past the places where plain RIFF begins another `data` chunk
/// and where the file becomes RF64. Two jumps make the file long and leave holes.
class ARecordingSurvives : public WaveTest {
protected:
    struct Recording {
        std::uint64_t checkpoint = 0; ///< bytes before the last FinishBlock that returned true
        std::uint64_t next = 0;
        bool finished = false;
        int failures = 0; ///< calls that reported a failure, the open and blocks included
        std::vector<std::pair<std::uint64_t, Bytes>> blocks{};
    };

    /// Records once for each call that can fail, over an existing file, and checks each recording.
    template <typename Check>
    void ForEveryCall(const faults::System& inFaults, Check inCheck) {
        for (const bool rf64 : {false, true}) {
            SCOPED_TRACE(rf64 ? "RF64" : "RIFF");
            const std::uint64_t calls = faults::SweepCalls(inFaults, [&] {
                Put(Bytes(10'000, 'x'));
                Record(rf64);
                mFile.reset();
                faults::Disarm();
                inCheck();
                EXPECT_TRUE(!faults::Fired() || !inFaults.outputOnly || inFaults.mode == Mode::kStop ||
                            mRun.failures != 0)
                    << "a failure that no call reported";
                mRun = {};
                mFile.reset();
            });
            EXPECT_GT(calls, 50u);
        }
    }

    const char* OutcomeOfOpen(const Format& inFormat) {
        try {
            mFile = Create(inFormat);
            EXPECT_EQ(mError.code, mFile ? Error::kNoError : Error::kOpenForWriteFailed);
            return mFile ? "opened" : "refused, ";
        } catch (const kelcore::filesupport::file_exception&) {
            EXPECT_EQ(faults::SystemCalls().removals, 0u) << "only the deletion of the old file lets one out";
            return "thrown, ";
        }
    }

    /// The remaining file must hold at least these bytes, and nothing else among them.
    void ExpectSamples(std::uint64_t inCount) {
        mFile = Open();
        ASSERT_TRUE(mFile);
        EXPECT_GE(mFile->GetSampleCount(), static_cast<std::int64_t>(inCount));
        for (const auto& [offset, bytes] : mRun.blocks)
            if (offset + bytes.size() <= inCount) {
                ASSERT_EQ(Read(*mFile, offset, bytes.size()), bytes) << offset;
            }
    }
    /// Expects all of it, and nothing else.
    void ExpectWhole() {
        ExpectSamples(mRun.next);
        EXPECT_EQ(mFile->GetSampleCount(), static_cast<std::int64_t>(mRun.next));
        const auto metadata = ReadMetadata(*mFile);
        ASSERT_FALSE(metadata.empty());
        EXPECT_EQ(metadata.back().whole, Image().Header("LIST", 1).Add({1}));
    }

    Recording mRun;

private:
    void Record(bool inRf64) {
        OutcomeOfOpen({48000, 1, 1, 8, WaveFile::kIntegerSamples, {102}, inRf64, true}); // samples of a byte
        if (!Went(mFile != nullptr))
            return;
        Went(WriteMetadatum(*mFile, FourCC("bext"), {1, 2, 3}));
        for (const std::size_t count : {100u, 33u, 7u, 40'000u, 5u})
            BlockAndCheckpoint(count);
        if (!inRf64) { // continues in another data chunk
            Went(mFile->FinishSamples());
            Went(WriteMetadatum(*mFile, FourCC("LIST"), {1}));
            BlockAndCheckpoint(9);
        }
        JumpTo(2 * kGiB + 5);
        BlockAndCheckpoint(11);
        JumpTo(kLimit - 170);
        for (int i = 0; i < 5; ++i) {
            Block(SampleBytes(mRun.next, 37));
            BlockAndCheckpoint(37);
        }
        Block(SampleBytes(mRun.next, 40'000));
        BlockAndCheckpoint(12);
        Went(mFile->FinishSamples());
        Went(WriteMetadatum(*mFile, FourCC("LIST"), {1}));
        mRun.finished = Went(mFile->FinishWrite());
    }

    bool Went(bool inWell) {
        mRun.failures += !inWell;
        return inWell;
    }
    /// A rejected block is written again.
    void Block(const Bytes& inBytes) {
        const int code = Write(*mFile, mRun.next, inBytes);
        if (!Went(code == 0)) {
            EXPECT_EQ(code, Error::kWriteFailed);
            EXPECT_EQ(Write(*mFile, mRun.next, inBytes),
                      faults::SystemCalls().mode == Mode::kFailOnce ? 0 : code);
        }
        mRun.blocks.emplace_back(mRun.next, inBytes);
        mRun.next += inBytes.size();
    }
    void BlockAndCheckpoint(std::size_t inCount) {
        Block(SampleBytes(mRun.next, inCount));
        const bool finished = Went(mFile->FinishBlock()) || mFile->FinishBlock();
        const bool isDead = faults::SystemCalls().mode == Mode::kStop && faults::Fired();
        if (finished && !isDead)
            mRun.checkpoint = mRun.next;
    }
    /// The hole begins like a chunk that fills it; otherwise a reader of an unfinished
    /// file would walk through it.
    void JumpTo(std::uint64_t inOffset) {
        Block(Image().Header("skip", 0xFFFFFFFF));
        mRun.next = inOffset - 1;
        Block(SampleBytes(mRun.next, 1));
    }
};

} // namespace

// A process killed before any output call, in the middle of blocks as well.
TEST_F(ARecordingSurvives, BeingKilledAtAnyOutputCall) {
    for (const std::size_t largestTransfer : {1u << 30, 10'001u}) {
        std::uint64_t last = 0;
        ForEveryCall({.mode = Mode::kStop, .outputOnly = true, .largestTransfer = largestTransfer}, [&] {
            EXPECT_TRUE(mRun.checkpoint >= last || mRun.checkpoint == 0); // the next sweep
            last = mRun.checkpoint;
            if (last != 0)
                ExpectSamples(last);
        });
        EXPECT_GT(last, kLimit);
    }
}

// One call fails: the block or checkpoint succeeds when it is repeated, and the file is correct.
TEST_F(ARecordingSurvives, AnErrorOfAnyCall) {
    for (const bool outputOnly : {false, true})
        ForEveryCall({.error = ENOSPC, .outputOnly = outputOnly}, [&] {
            EXPECT_EQ(mRun.checkpoint, mRun.next);
            if (mRun.checkpoint != 0) // the open did not fail
                ExpectWhole();
        });
}

// From some call on the disk is full, or read-only: everything acknowledged before is still in the file.
TEST_F(ARecordingSurvives, ADiskThatTakesNothingMore) {
    for (const int error : {ENOSPC, EROFS})
        ForEveryCall({.mode = Mode::kFailForGood, .error = error, .outputOnly = true}, [&] {
            if (mRun.checkpoint != 0)
                ExpectSamples(mRun.checkpoint);
            EXPECT_TRUE(!mRun.finished || mRun.checkpoint == mRun.next);
        });
}

// With the stream flag, the last block may be far past the end of the file, or before what was counted.
TEST_F(ARecordingSurvives, FailedCheckpointsAfterJumps) {
    mFile = Create({.anyOrder = true});
    const auto finishes = [&](std::uint64_t offset, std::size_t count, const faults::System& faults = {}) {
        EXPECT_EQ(WriteSamples(*mFile, offset, count), 0);
        faults::SystemCalls() = faults;
        const bool finished = mFile->FinishBlock();
        faults::SystemCalls() = {};
        return finished;
    };
    const auto says = [&](std::uint64_t position, std::uint64_t size) {
        return Part(position, 8) == Image().Header("data", size);
    };
    EXPECT_TRUE(!finishes(0, 8, {.failAt = 0}) && Part(36, 8).empty()) << "not even a header";
    EXPECT_TRUE(finishes(0, 1000) && says(36, 1000));
    EXPECT_TRUE(!finishes(5000, 8, {.failAt = 0}) && says(36, 1000)) << "the file does not reach there";
    EXPECT_TRUE(finishes(5000, 8) && says(36, 5008));
    EXPECT_TRUE(!finishes(100, 8, {.failAt = 0}) && says(36, 5008)) << "never less than before";
    EXPECT_TRUE(finishes(100, 8) && mFile->FinishSamples() && says(36, 108));
    const faults::System half{.failAt = 2, .largestTransfer = 51};
    EXPECT_TRUE(!finishes(108, 300, half) && says(152, 92)) << "whole frames of 102 bytes with a header";
    EXPECT_EQ(WriteSamples(*mFile, 408, 40'000), 0);
    EXPECT_EQ(WriteSamples(*mFile, 40'408, 8), 0);
    faults::SystemCalls() = {.failAt = 0};
    EXPECT_FALSE(mFile->FinishWrite());
    EXPECT_EQ(std::filesystem::file_size(mPath), 40'468) << "uncounted, but there";
}

// A checkpoint fails at its data, its size, its pad byte or the header, or the end of samples at the first
// two. Whatever comes next, even the destructor, counts exactly the samples.
TEST_F(ARecordingSurvives, ACheckpointThatFailedWithItsPadByte) {
    for (std::uint64_t call = 0; call < 7; ++call) {
        SCOPED_TRACE(call);
        mFile = Create();
        EXPECT_EQ(Write(*mFile, 0, {1, 2, 3}), 0);
        faults::SystemCalls() = {.failAt = call == 6 ? 0 : call % 4, .outputOnly = true};
        EXPECT_FALSE(call < 4 ? mFile->FinishBlock() : mFile->FinishSamples());
        EXPECT_TRUE(call >= 4 || (mFile->FinishBlock() && mFile->FinishWrite()));
        faults::SystemCalls() = {.failAt = 0};
        EXPECT_TRUE(call != 6 || !mFile->FinishWrite()) << "a size that is still owed";
        faults::SystemCalls() = {};
        mFile.reset();
        EXPECT_EQ(File(), Image().Chunk("fmt ", FormatImage()).Chunk("data", {1, 2, 3}).In("RIFF", "WAVE"));
    }
}

TEST_F(ARecordingSurvives, AnEndOfSamplesThatFailed) {
    using Call = bool (*)(WaveFile&);
    for (const Call next : {Call([](WaveFile& file) { return file.FinishBlock(); }),
                            Call([](WaveFile& file) { return file.FinishSamples(); }),
                            Call([](WaveFile& file) { return file.StartMetadatumWrite(FourCC("LIST")); }),
                            Call([](WaveFile& file) { return file.MetadatumWrite(nullptr, 0); }),
                            Call([](WaveFile& file) { return file.FinishMetadatumWrite(); })}) {
        mFile = Create();
        EXPECT_EQ(Write(*mFile, 0, {1, 2, 3}), 0);
        faults::SystemCalls() = {.failAt = 0};
        EXPECT_FALSE(mFile->FinishSamples());
        EXPECT_TRUE(Part(36, 11).empty() && next(*mFile));
        EXPECT_EQ(Part(36, 11), Image().Unpadded("data", {1, 2, 3})) << "at once, whatever comes next";
    }
}

// Whichever call of the open fails, even the one that checks for an old file, nothing of
// that file is in the new one.
TEST_F(ARecordingSurvives, OpensOverAnOldFileWithAnErrorOfAnyCall) {
    std::string outcomes;
    for (std::uint64_t call = 0; outcomes.find("opened") == std::string::npos; ++call) {
        Put(Bytes(300, 'o'));
        faults::SystemCalls() = {.failAt = call};
        outcomes += OutcomeOfOpen({});
        EXPECT_TRUE(!mFile || faults::SystemCalls().opens == 1) << "no second open may find another file";
        EXPECT_TRUE(mFile || call >= 2 || File() == Bytes(300, 'o'));
    }
    EXPECT_EQ(outcomes, "refused, thrown, refused, refused, refused, opened");
    faults::SystemCalls() = {};
    EXPECT_TRUE(mFile->FinishWrite());
    EXPECT_EQ(File(), Image().Chunk("fmt ", FormatImage()).In("RIFF", "WAVE"));
}

TEST_F(ARecordingSurvives, OpensThatRunOutOfMemory) {
    const auto open = [&] {
        try {
            const Handle file = Create({.channels = 4, .layout = {134, 135, 136, 137}, .rf64 = true});
            faults::Disarm();
            EXPECT_EQ(file == nullptr, mError.code == Error::kOpenForWriteFailed);
            EXPECT_TRUE(File().empty() || Part(0, 4) == Image().Text("RIFF"));
        } catch (const std::bad_alloc&) {
        }
    };
    EXPECT_GT(faults::SweepAllocations(open), 5u);
}
