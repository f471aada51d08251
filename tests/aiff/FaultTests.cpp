#include <gtest/gtest.h>

#include <algorithm>

#include "AiffImage.h"
#include "support/SmallDisk.h"
#include "support/Sweep.h"

namespace aiff_tests {
namespace {

using faults::System;
using kelcore::filesupport::file_exception;

std::unique_ptr<AiffFile> Create(const kelcore::UTF8String& inPath, Error& outError, int inBits = 8) {
    return std::unique_ptr<AiffFile>(AiffFile::OpenForWrite(
        inPath, 44100, 1, inBits, AiffFile::kBigEndianIntegerSamples, ChannelLayout(), outError));
}

// Every system call of an open, in their order, and what its failure gives. Chunks lie so far apart that each
// needs a read of its own.
TEST(AiffFaults, EverySystemCallOfReading) {
    // clang-format off
    const struct { const char* call; std::int32_t code; } kOutcomes[] = {
        {"does it exist", 1}, {"its size", kUntouched}, {"open", kUntouched}, {"FORM", 2}, {"its size again", 3},
        {"header of COMM", 3}, {"header of CHAN", 3}, {"header of SSND", 3}, {"COMM", 4}, {"SSND", 5},
        {"CHAN, passed over", 0}, {"samples", 0}, {"metadata", 0}, {"none", 0},
    };
    // clang-format on
    const TemporaryFolder folder;
    const Bytes filler(20000, 'x');
    const Bytes chan = Chunk("CHAN", Big32(0x10000) + Big32(7)), anno = Chunk("ANNO", filler);
    const Bytes comm = Chunk("COMM", Comm{.channels = 3, .frames = 2000}.Data());
    WriteFile(folder.Path("a.aif"), Form("AIFF", anno + comm + anno + chan + anno + Ssnd(Counting(12000))));
    const auto path = folder.PathText("a.aif");
    Bytes samples(12000), metadatum(20008);
    for (const auto mode : {System::Mode::kFailOnce, System::Mode::kFailForGood}) {
        for (std::size_t call = 0; call < std::size(kOutcomes); ++call) {
            SCOPED_TRACE(kOutcomes[call].call);
            const auto fails = [&](std::size_t inCall) {
                return call == inCall || (mode == System::Mode::kFailForGood && call < inCall);
            };
            const faults::Scope scope;
            auto& system = faults::SystemCalls() = {.failAt = call, .mode = mode};
            Error error{kUntouched, {}, {}, kUntouched};
            auto file = AiffFile::OpenForRead(path, false, error);
            EXPECT_EQ(error.code, kOutcomes[call].code);
            ASSERT_EQ(file != nullptr, kOutcomes[call].code == 0);
            if (file) {
                EXPECT_EQ(file->GetAudioChannelLayout()[0].Value(), fails(10) ? 0u : 100u);
                EXPECT_EQ(file->ReadSampleBytes(0, 12000, samples.data()), !fails(11));
                EXPECT_EQ(file->ReadMetadataChunk(1, 0, 20008, metadatum.data()), !fails(12));
                EXPECT_EQ(system.fired != 0, fails(12) || call < 12) << "these are all calls there are";
                system.failAt = faults::kNever;
                EXPECT_TRUE(file->ReadSampleBytes(0, 12000, samples.data())) << "usable after a failed read";
                EXPECT_EQ(samples, Counting(12000));
            }
            file.reset();
            EXPECT_EQ(system.OpenDescriptors(), 0);
        }
    }
}

TEST(AiffFaults, EveryAllocation) {
    const TemporaryFolder folder;
    const auto path = folder.PathText("a.aif");
    const Bytes bytes(40000);
    faults::SweepAllocations([&, layout = ChannelLayout(100, 100)] {
        bool worked = false;
        try {
            Error error;
            const std::unique_ptr<AiffFile> file(
                AiffFile::OpenForWrite(path, 44100, 100, 32, AiffFile::kFloatSamples, layout, error));
            EXPECT_EQ(error.code, file ? 0 : 10);
            const std::uint64_t before = faults::Heap().allocations;
            worked = file && file->StartMetadatumWrite(1) && file->MetadatumWrite(bytes.data(), 40000) &&
                     file->FinishMetadatumWrite() && file->WriteSampleBytes(0, 40000, bytes.data(), error) &&
                     file->WriteSampleBytes(40000, 3, bytes.data(), error) && file->FinishWrite(false, error);
            EXPECT_EQ(faults::Heap().allocations, before) << "nothing after the open allocates";
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(worked, !faults::Fired());
    });
    std::vector<std::int32_t> codes;
    codes.reserve(100);
    faults::SweepAllocations([&] {
        Error error{kUntouched, {}, {}, kUntouched};
        const auto file = AiffFile::OpenForRead(path, false, error);
        codes.push_back(error.code);
        EXPECT_EQ(file != nullptr, !faults::Fired());
    });
    // Before the walk; the stream's first window; the list of chunks; what comes after, or nothing failed.
    codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
    EXPECT_EQ(codes, (std::vector<std::int32_t>{kUntouched, 2, 3, 0}));
}

/// A recording that makes each call again, a few times, if it fails. @return whether all worked in the end.
bool Record(const kelcore::UTF8String& inPath, Error& outError) {
    std::unique_ptr<AiffFile> file;
    const Bytes bytes = Counting(50000);
    std::int64_t offset = 0;
    const auto tries = [](const auto& step) { return step() || step() || step(); };
    const auto metadatum = [&](std::int32_t count) {
        return tries([&] { return file->MetadatumWrite(bytes.data(), count); });
    };
    const auto samples = [&](std::int32_t count) {
        const bool written =
            tries([&] { return file->WriteSampleBytes(offset, count, bytes.data(), outError); });
        offset += count;
        return written;
    };
    const auto finish = [&] {
        try {
            return file->FinishWrite(false, outError);
        } catch (const file_exception&) {
            return false;
        }
    };
    return tries([&] { return (file = Create(inPath, outError, 16)) != nullptr; }) &&
           tries([&] { return file->StartMetadatumWrite(0x454D414E); }) && metadatum(30001) &&
           metadatum(33333) && metadatum(7) && tries([&] { return file->FinishMetadatumWrite(); }) &&
           samples(0) && samples(20001) && samples(50000) && samples(2) && tries(finish);
}

// Wherever the process stops there is no file yet, an empty one, or one with all samples or none; and until
// all else is in place, the FORM size is 0, which has a reader go to the end of the file.
TEST(AiffFaults, EverySystemCallOfWriting) {
    const TemporaryFolder folder;
    const auto path = folder.PathText("a.aif");
    constexpr std::uint32_t kFrames = (20001 + 50000 + 2) / 2;
    const Bytes whole =
        Aiff({.channels = 1, .frames = kFrames},
             Chunk("CHAN", Bytes(16)) + Chunk("NAME", Counting(30001) + Counting(33333) + Counting(7)) +
                 Ssnd(Counting(20001) + Counting(50000) + Counting(2)));
    for (const auto mode : {System::Mode::kFailOnce, System::Mode::kFailForGood, System::Mode::kStop})
        faults::SweepCalls({.mode = mode, .largestTransfer = 9999}, [&] {
            std::filesystem::remove(folder.Path("a.aif"));
            Error error;
            const bool worked = Record(path, error);
            EXPECT_TRUE(error.code == 0 || (!worked && (error.code == 10 || error.code == 11))) << error.code;
            EXPECT_TRUE(worked || mode != System::Mode::kFailOnce);
            const Bytes left = ReadFile(folder.Path("a.aif"));
            const bool isComplete = left == whole;
            EXPECT_TRUE(isComplete || !worked || mode == System::Mode::kStop) << "what failed was made good";
            EXPECT_TRUE(isComplete || left.size() < 8 || Bytes(&left[4], &left[8]) == Big32(0));
            faults::Disarm();
            const auto file = AiffFile::OpenForRead(path, false, error);
            EXPECT_TRUE(file || error.code == 1 || error.code == 2) << error.code;
            EXPECT_TRUE(!file || file->GetSampleCount() == 0 || file->GetSampleCount() == kFrames);
        });
}

// Calls of FinishWrite: samples with their pad byte, the size of "SSND", that of "COMM", that of the FORM.
TEST(AiffFaults, AFailedFinishCountsTheSamplesThatArrived) {
    const TemporaryFolder folder;
    const Bytes samples = Counting(40'000);
    for (const std::int32_t count : {5, 0})
        for (std::uint64_t call = 0; call < (count == 0 ? 2 : 4); ++call) {
            SCOPED_TRACE(testing::Message() << count << " samples, call " << call);
            const faults::Scope scope;
            Error error;
            const auto file = Create(folder.PathText("a.aif"), error);
            const Bytes empty = ReadFile(folder.Path("a.aif"));
            EXPECT_TRUE(count == 0 || file->WriteSampleBytes(0, count, samples.data(), error));
            faults::SystemCalls() = {.failAt = call};
            EXPECT_THROW(file->FinishWrite(false, error), file_exception);
            const Bytes left = ReadFile(folder.Path("a.aif"));
            EXPECT_TRUE(file->FinishWrite(false, error));
            EXPECT_EQ(left, count == 0 || call == 0 ? empty : ReadFile(folder.Path("a.aif")));
        }
    const faults::Scope scope;
    Error error;
    const auto file = Create(folder.PathText("a.aif"), error);
    const auto length = std::filesystem::file_size(folder.Path("a.aif"));
    EXPECT_TRUE(file->StartMetadatumWrite(1));
    faults::SystemCalls() = {.failAt = 2, .largestTransfer = 100};
    EXPECT_FALSE(file->MetadatumWrite(samples.data(), 40'000));
    EXPECT_EQ(std::filesystem::file_size(folder.Path("a.aif")), length + 108);
    EXPECT_TRUE(file->FinishMetadatumWrite());
    EXPECT_EQ(std::filesystem::file_size(folder.Path("a.aif")), length + 8) << "without the refused block";
}

// Whole frames that reached a full disk can be read, and no part of a block that was refused stays. Once
// there is room again, all that was taken is written. Any call may fail besides.
TEST(AiffFaults, ADiskThatFillsUp) {
    const TemporaryFolder folder;
    const auto run = [&](std::int32_t bits, std::int32_t block, std::int64_t room, bool staysFull) {
        auto& system = faults::SystemCalls();
        const std::uint64_t failAt = std::exchange(system.failAt, faults::kNever);
        Error error;
        auto file = Create(folder.PathText("a.aif"), error, bits);
        const auto samplesAt = std::filesystem::file_size(folder.Path("a.aif")) + 16;
        system.calls = 0;
        system.failAt = failAt;

        const Bytes bytes = Counting(static_cast<std::size_t>(block));
        std::int64_t taken = 0;
        const auto finish = [&] {
            try {
                return file->FinishWrite(false, error);
            } catch (const file_exception&) {
                return false;
            }
        };
        const auto expect = [&](bool finished) {
            const bool fired = faults::Fired();
            const faults::System calls = std::exchange(system, {});
            const std::int64_t frames = (finished ? taken : std::min(taken, room)) / (bits / 8);
            auto read = AiffFile::OpenForRead(folder.PathText("a.aif"), false, error);
            const std::int64_t count = read ? read->GetSampleCount() : -1, byteCount = count * (bits / 8);
            EXPECT_TRUE(count == frames || (fired && !finished && count >= 0)) << count << " of " << frames;
            unsigned char last = 0;
            EXPECT_TRUE(count <= 0 || (read->ReadSampleBytes(byteCount - 1, 1, &last) &&
                                       last == bytes[static_cast<std::size_t>((byteCount - 1) % block)]));
            read.reset();
            const auto counted = static_cast<std::uint64_t>(finished ? taken : frames * (bits / 8));
            const bool counts = finished || counted != 0;
            const std::uint64_t ssnd = counts ? counted + 8 : 0,
                                form = counts ? samplesAt + counted + counted % 2 - 8 : 0;
            EXPECT_TRUE((fired && !finished) ||
                        (ReadFilePart(folder.Path("a.aif"), samplesAt - 12, 4) == Big32(ssnd) &&
                         ReadFilePart(folder.Path("a.aif"), 4, 4) == Big32(form)));
            EXPECT_TRUE(!finished || std::filesystem::file_size(folder.Path("a.aif")) ==
                                         samplesAt + static_cast<std::uint64_t>(taken + taken % 2));
            system = calls;
        };
        bool finished = false;
        {
            const FileSizeLimit limit(samplesAt + static_cast<std::uint64_t>(room));
            while (file->WriteSampleBytes(taken, block, bytes.data(), error))
                taken += block;
            expect(finished = finish());
            if (staysFull)
                file.reset();
        }
        expect(finished = staysFull ? finished : finish() || finish());
        EXPECT_TRUE(finished || staysFull);
    };
    for (const auto& [bits, block] : {std::pair{8, 3001}, {24, 3000}, {24, 40'002}})
        for (const std::int64_t room : {0, 7, 32'745, 90'001})
            for (const bool staysFull : {true, false}) {
                SCOPED_TRACE(testing::Message() << bits << " bits, room for " << room << " " << staysFull);
                faults::SweepCalls({},
                                   [&, block = block, bits = bits] { run(bits, block, room, staysFull); });
            }
}

} // namespace
} // namespace aiff_tests
