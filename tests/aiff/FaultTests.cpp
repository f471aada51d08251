#include <gtest/gtest.h>

#include <algorithm>

#include "AiffImage.h"
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

} // namespace
} // namespace aiff_tests
