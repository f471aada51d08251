#include <algorithm>

#include "AiffTest.h"
#include "support/SmallDisk.h"

namespace aiff_tests {
namespace {

using faults::System;

class AiffFaults : public AiffTest {
protected:
    /// Opens the file and reads all of it. @return the code of the open, or what could be read.
    std::string Read(std::int64_t inSamples, std::int64_t inMetadata) {
        if (const std::int32_t code = Open(); !mFile)
            return std::to_string(code);
        Bytes samples(static_cast<std::size_t>(inSamples)), metadata(static_cast<std::size_t>(inMetadata));
        std::string text = mFile->GetAudioChannelLayout()[0].Value() == 100 ? "layout " : "";
        text += mFile->ReadSampleBytes(0, inSamples, samples.data()) ? "samples " : "";
        text += mFile->ReadMetadataChunk(1, 0, inMetadata, metadata.data()) ? "metadata " : "";
        faults::Disarm();
        EXPECT_TRUE(mFile->ReadSampleBytes(0, inSamples, samples.data())) << "usable after a failed read";
        EXPECT_EQ(samples, Counting(samples.size()));
        mFile.reset();
        return text;
    }
    /// Blocks until the disk is full, a finish there and, unless it stays full, another one with more room.
    void FillDisk(int inBits, const Bytes& inBlock, std::int64_t inRoom, bool inStaysFull);
    void ExpectLeft(int inBits, const Bytes& inBlock, std::int64_t inBytes, bool inFinished);
};

// Chunks lie so far apart that each needs a read of its own.
TEST_F(AiffFaults, EverySystemCallOfReading) {
    const struct {
        const char* call;
        std::string once, forGood; ///< what can be read if it fails
    } kCalls[] = {{"does it exist", "1", "1"},
                  {"its size", std::to_string(kUntouched), std::to_string(kUntouched)},
                  {"open", std::to_string(kUntouched), std::to_string(kUntouched)},
                  {"FORM", "2", "2"},
                  {"its size again", "3", "3"},
                  {"header of COMM", "3", "3"},
                  {"header of CHAN", "3", "3"},
                  {"header of SSND", "3", "3"},
                  {"COMM", "4", "4"},
                  {"SSND", "5", "5"},
                  {"CHAN", "samples metadata ", ""},
                  {"samples", "layout metadata ", "layout "},
                  {"metadata", "layout samples ", "layout samples "}};
    const Bytes comm = Chunk("COMM", Comm{.channels = 3, .frames = 2000}.Data()),
                anno = Chunk("ANNO", Bytes(20000));
    const Bytes chan = Chunk("CHAN", Big32(0x10000) + Big32(7));
    WriteFile(mPath, Form("AIFF", anno + comm + anno + chan + anno + Ssnd(Counting(12000))));
    for (const auto mode : {System::Mode::kFailOnce, System::Mode::kFailForGood}) {
        const std::uint64_t calls = faults::SweepCalls({.mode = mode}, [&, row = kCalls]() mutable {
            const std::string outcome = Read(12000, 20008);
            if (row == std::end(kCalls)) {
                EXPECT_EQ(outcome, "layout samples metadata ");
                return;
            }
            EXPECT_EQ(outcome, mode == System::Mode::kFailOnce ? row->once : row->forGood) << row->call;
            ++row;
        });
        EXPECT_EQ(calls, std::size(kCalls));
    }
}

TEST_F(AiffFaults, EveryAllocation) {
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
    std::vector<std::int32_t> codes;
    codes.reserve(100);
    faults::SweepAllocations([&] {
        codes.push_back(Open());
        EXPECT_EQ(mFile != nullptr, !faults::Fired());
        mFile.reset();
        mError = {};
    });
    // Before the walk; the stream's first window; the list of chunks; what comes after, or nothing failed.
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
    EXPECT_EQ(codes, (std::vector<std::int32_t>{kUntouched, 2, 3, 0}));
}

// Wherever the process stops there is no file yet, an empty one, or one with all samples or none; and until
// all else is in place, the FORM size is 0, which has a reader go to the end of the file.
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

// Calls of the finish: samples with their pad byte, the size of "SSND", that of "COMM", that of the FORM.
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

TEST_F(AiffFaults, NothingOfARefusedBlockStays) {
    EXPECT_EQ(Create(), 0);
    const std::size_t length = Left().size();
    Play("[");
    faults::SystemCalls() = {.failAt = 2, .largestTransfer = 100};
    EXPECT_EQ(Play("M"), "n");
    EXPECT_EQ(Left().size(), length + 108);
    EXPECT_EQ(Play("]."), "yy");
    EXPECT_EQ(Left(), Aiff({.channels = 1, .frames = 0}, Chan({}) + Chunk("NAME", {})));
}

void AiffFaults::FillDisk(int inBits, const Bytes& inBlock, std::int64_t inRoom, bool inStaysFull) {
    if (Create({.bits = inBits}) != 0)
        return;
    bool finished = false;
    {
        const FileSizeLimit limit(Left().size() + 16 + static_cast<std::uint64_t>(inRoom));
        while (Write(inBlock) == 0) {
        }
        finished = Finish();
        ExpectLeft(inBits, inBlock, inRoom, finished);
        if (inStaysFull)
            mFile.reset();
    }
    if (!inStaysFull) {
        EXPECT_TRUE(finished = Finish() || Finish());
    }
    mFile.reset();
    ExpectLeft(inBits, inBlock, inRoom, finished);
}

/// @param inRoom  bytes of samples that fit on the disk; a finished file has all of them.
void AiffFaults::ExpectLeft(int inBits, const Bytes& inBlock, std::int64_t inRoom, bool inFinished) {
    if (faults::Fired() && !inFinished) {
        Error error;
        EXPECT_TRUE(AiffFile::OpenForRead(mPathText, false, error))
            << "with one more failure on top, a file that opens";
        return;
    }
    Bytes samples;
    while (static_cast<std::int64_t>(samples.size()) < mTaken)
        samples = samples + inBlock;
    const std::int64_t frames = std::min(mTaken, inFinished ? mTaken : inRoom) / (inBits / 8);
    if (!inFinished)
        samples.resize(static_cast<std::size_t>(frames * (inBits / 8)));
    const Comm comm{.channels = 1, .frames = static_cast<std::uint32_t>(frames), .bits = inBits};
    const Bytes empty = Unfinished(Aiff(comm, Chan({}))), whole = Aiff(comm, Chan({}) + Ssnd(samples));
    BigImage left = BigImage().Add(Left()),
             expected = BigImage().Add(frames == 0 && !inFinished ? empty : whole);
    if (!inFinished) { // what comes after the last frame, a pad byte or not, is never read
        expected.Cut(expected.Size() - samples.size() % 2);
        left.Cut(expected.Size());
    }
    EXPECT_TRUE(left == expected) << frames;
}

// Whole frames that reached a full disk can be read, and no part of a block that was refused stays. Once
// there is room again, all that was taken is written. Any call may fail besides.
TEST_F(AiffFaults, ADiskThatFillsUp) {
    for (const auto& [bits, block] : {std::pair{8, 3001u}, {24, 3000u}, {24, 40'002u}})
        for (const std::int64_t room : {0, 7, 32'745, 90'001})
            for (const bool staysFull : {true, false}) {
                SCOPED_TRACE(testing::Message() << bits << " bits, room for " << room << " " << staysFull);
                faults::SweepCalls({}, [&, bits = bits, bytes = Counting(block)] {
                    FillDisk(bits, bytes, room, staysFull);
                });
            }
}

} // namespace
} // namespace aiff_tests
