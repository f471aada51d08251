#include <algorithm>
#include <optional>

#include "AiffTest.h"

namespace aiff_tests {
namespace {

using faults::System;

class AiffFaults : public AiffTest {
protected:
    /// Opens the file and reads all of it. @return the error code of the open, or what could be read: L for
    /// the layout, S for the samples, M for the metadata.
    std::string Read(std::int64_t inSamples, std::int64_t inMetadata) {
        if (const std::int32_t code = Open(); !mFile)
            return std::to_string(code);
        Bytes samples(static_cast<std::size_t>(inSamples)), metadata(static_cast<std::size_t>(inMetadata));
        std::string text = mFile->GetAudioChannelLayout()[0].Value() == 100 ? "L" : "";
        text += mFile->ReadSampleBytes(0, inSamples, samples.data()) ? "S" : "";
        text += mFile->ReadMetadataChunk(1, 0, inMetadata, metadata.data()) ? "M" : "";
        faults::Disarm();
        EXPECT_TRUE(mFile->ReadSampleBytes(0, inSamples, samples.data())) << "usable after a failed read";
        EXPECT_EQ(samples, Counting(samples.size()));
        mFile.reset();
        return text;
    }
    void FillDisk(int inBits, const Bytes& inBlock, std::int64_t inRoom, bool inStaysFull);
};

// Chunks are so far apart that each needs a read of its own. The calls: does the file exist, its size, open,
// FORM, its size again, the headers of COMM and what follows it, of CHAN and what follows it, and of SSND;
// COMM, SSND, CHAN, samples, metadata; finally, none fails.
TEST_F(AiffFaults, EverySystemCallOfReading) {
    const Bytes comm = Chunk("COMM", Comm{.channels = 3, .frames = 2000}.Data()),
                anno = Chunk("ANNO", Bytes(20000));
    const Bytes chan = Chunk("CHAN", Big32(0x10000) + Big32(7));
    WriteFile(mPath, Form("AIFF", anno + comm + anno + chan + anno + Ssnd(Counting(12000))));
    std::string once(100, ' '), forGood = once; // what can be read if a call fails
    once.clear();
    forGood.clear();
    faults::SweepCalls({.mode = System::Mode::kFailOnce}, [&] { once += Read(12000, 20008) + " "; });
    faults::SweepCalls({.mode = System::Mode::kFailForGood}, [&] { forGood += Read(12000, 20008) + " "; });
    EXPECT_EQ(once, "1 -77 -77 2 3 3 3 3 3 3 4 5 SM LM LS LSM ");
    EXPECT_EQ(forGood, "1 -77 -77 2 3 3 3 3 3 3 4 5  L LS LSM ");
}

TEST_F(AiffFaults, EveryAllocationOfWriting) {
    faults::SweepAllocations([&, format = Format{.bits = 32, .type = 3, .layout = ChannelLayout(100, 100)}] {
        bool worked = false;
        try {
            const std::int32_t code = Create(format);
            EXPECT_EQ(code, mFile ? 0 : 10);
            worked = mFile && Play("[M]Ss.") == "yyyyyy";
        } catch (const std::bad_alloc&) {
        }
        mFile.reset();
        EXPECT_EQ(worked, !faults::Fired());
    });
}

// Wherever the process stops, there is no file yet, an empty one, or one with either all samples or none; and
// until everything else is in place, the FORM size is 0, which makes readers read to the end of the file.
TEST_F(AiffFaults, EverySystemCallOfWriting) {
    constexpr std::uint32_t kFrames = (3 + 50'000 + 3) / 2;
    const Bytes name = Counting(33'333) + Counting(33'333) + Counting(3);
    const Bytes samples = Counting(3) + Counting(50'000) + Counting(3);
    const Bytes whole =
        Aiff({.channels = 1, .frames = kFrames}, Chan({}) + Chunk("NAME", name) + Ssnd(samples));
    for (const auto mode : {System::Mode::kFailOnce, System::Mode::kFailForGood, System::Mode::kStop})
        faults::SweepCalls({.mode = mode, .largestTransfer = 9999}, [&] {
            std::filesystem::remove(mPath);
            const bool created = Create() == 0 || Create() == 0;
            const std::string results = created ? Play("[MM3]sSs.", 3) : "";
            mFile.reset();
            const bool worked = results == "yyyyyyyyy", complete = Left() == whole;
            EXPECT_TRUE(worked || mode != System::Mode::kFailOnce) << results;
            EXPECT_TRUE(complete || !worked || mode == System::Mode::kStop) << "what failed was made good";
            EXPECT_TRUE(complete || Left().size() < 8 || ReadFilePart(mPath, 4, 4) == Big32(0));
            faults::Disarm();
            const std::int32_t code = Open();
            EXPECT_TRUE(mFile || code == 1 || code == 2) << code;
            EXPECT_TRUE(!mFile || mFile->GetSampleCount() == 0 || mFile->GetSampleCount() == kFrames);
            mFile.reset();
        });
}

// The calls of FinishWrite: samples with their pad byte, the size of "SSND", that of
// "COMM", that of the FORM.
TEST_F(AiffFaults, AFailedFinishCountsTheSamplesThatArrived) {
    for (const std::string_view calls : {"", "s"})
        for (std::uint64_t call = 0; call < (calls.empty() ? 2 : 4); ++call) {
            SCOPED_TRACE(testing::Message() << calls << ", call " << call);
            EXPECT_EQ(Create({.bits = 8}), 0);
            const Bytes empty = Left();
            Play(calls);
            faults::SystemCalls() = {.failAt = call};
            EXPECT_EQ(Play("."), "n");
            const Bytes left = Left();
            EXPECT_EQ(Play("."), "y");
            EXPECT_EQ(left, calls.empty() || call == 0 ? empty : Left());
        }
}

/// Writes blocks until the disk is full, and finishes the file; unless the disk stays full, finishes it once
/// more with room.
void AiffFaults::FillDisk(int inBits, const Bytes& inBlock, std::int64_t inRoom, bool inStaysFull) {
    if (Create({.bits = inBits}) != 0)
        return;
    std::optional<faults::FullDisk> limit(Left().size() + 16 + static_cast<std::uint64_t>(inRoom));
    while (Write(inBlock) == 0) {
    }
    bool finished = Finish();
    if (!inStaysFull) {
        limit.reset();
        finished = finished || Finish() || Finish();
        EXPECT_TRUE(finished);
    }
    mFile.reset();
    limit.reset();

    if (faults::Fired() && !finished) {
        EXPECT_EQ(Open(), 0) << "with a failure on top, it opens";
        return mFile.reset();
    }
    const std::int64_t frameBytes = inBits / 8,
                       frames = (finished ? mTaken : std::min(mTaken, inRoom)) / frameBytes;
    Bytes samples;
    while (std::ssize(samples) < mTaken)
        samples.insert(samples.end(), inBlock.begin(), inBlock.end());
    samples.resize(static_cast<std::size_t>(finished ? mTaken : frames * frameBytes));
    const Comm comm{1, static_cast<std::uint32_t>(frames), inBits};
    const Bytes left = Left(), whole = finished || frames != 0 ? Aiff(comm, Chan({}) + Ssnd(samples))
                                                               : Unfinished(Aiff(comm, Chan({})));
    // What comes after the last frame of an unfinished file, a pad byte or not, is never read.
    EXPECT_TRUE(finished ? left == whole
                         : std::equal(whole.begin(), whole.end() - std::ssize(samples) % 2, left.begin()));
}

// Whole frames that reached a full disk can be read, and nothing of a rejected block stays. Once there is
// space again, everything that was accepted is written. Any call may fail in addition.
TEST_F(AiffFaults, ADiskThatFillsUp) {
    for (const auto& [bits, block] : {std::pair{8, 3001u}, {24, 3000u}, {24, 40'002u}})
        for (const std::int64_t room : {0, 7, 32'745, 90'001})
            for (const bool staysFull : {true, false}) {
                SCOPED_TRACE(testing::Message() << bits << " bits, " << room << " " << staysFull);
                faults::SweepCalls({}, [&, bits = bits, bytes = Counting(block)] {
                    FillDisk(bits, bytes, room, staysFull);
                });
            }
}

} // namespace
} // namespace aiff_tests
