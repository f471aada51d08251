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
    AiffImage image =
        AiffImage().Chunk("ANNO", filler).Comm({.channels = 3, .frames = 2000}).Chunk("ANNO", filler);
    image.Chunk("CHAN", Big32(0x10000) + Big32(7)).Chunk("ANNO", filler).Ssnd(Counting(12000));
    WriteFile(folder.Path("a.aif"), image);
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

constexpr std::int64_t kRecordedFrames = (20001 + 20000 + 50000 + 2) / 2;

/// A recording that calls again, a few times, whatever fails. @return whether all worked in the end.
bool Record(const kelcore::UTF8String& inPath, Error& outError) {
    std::unique_ptr<AiffFile> file;
    const Bytes bytes = Counting(50000);
    std::int64_t offset = 0;
    const auto tries = [](const auto& step) { return step() || step() || step(); };
    const auto metadatum = [&](std::int32_t count) {
        return tries([&] { return file->MetadatumWrite(bytes.data(), count); });
    };
    const auto write = [&](std::int32_t count) {
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
           tries([&] { return file->StartMetadatumWrite(1); }) && metadatum(30001) && metadatum(33333) &&
           metadatum(7) && tries([&] { return file->FinishMetadatumWrite(); }) && write(0) && write(20001) &&
           write(20000) && write(50000) && write(2) && tries(finish);
}

TEST(AiffFaults, EverySystemCallOfWriting) {
    const TemporaryFolder folder;
    const auto path = folder.PathText("a.aif");
    Error error;
    ASSERT_TRUE(Record(path, error));
    const Bytes reference = ReadFile(folder.Path("a.aif"));
    for (const auto mode : {System::Mode::kFailOnce, System::Mode::kFailForGood, System::Mode::kStop})
        faults::SweepCalls({.mode = mode, .largestTransfer = 9999}, [&] {
            std::filesystem::remove(folder.Path("a.aif"));
            Error failure;
            const bool worked = Record(path, failure);
            const std::int32_t code = failure.code;
            EXPECT_TRUE(code == 0 || (!worked && (code == 10 || code == 11))) << code;
            EXPECT_TRUE(worked || mode != System::Mode::kFailOnce);
            if (worked && mode != System::Mode::kStop) {
                EXPECT_TRUE(ReadFile(folder.Path("a.aif")) == reference) << "what failed was made good";
            }
            // Wherever the process stopped: no file yet, an empty one, or one with all samples or none.
            faults::Disarm();
            const auto left = AiffFile::OpenForRead(path, false, error);
            EXPECT_TRUE(left || error.code == 1 || error.code == 2) << error.code;
            EXPECT_TRUE(!left || left->GetSampleCount() == 0 || left->GetSampleCount() == kRecordedFrames);
        });
}

// A failed FinishWrite leaves a patch waiting and the stream in a header. Whatever comes next goes on at the
// end, and pays the header that it could not write at first.
TEST(AiffFaults, GoingOnAfterAFailedFinish) {
    const TemporaryFolder folder;
    const auto write = [&](const char* inWhat, bool inFaulty) {
        const bool isMetadatum = *inWhat != 'S';
        const faults::Scope scope;
        auto& system = faults::SystemCalls();
        system.mode = System::Mode::kFailForGood;
        Error error;
        const auto file = Create(folder.PathText("a.aif"), error);
        const Bytes bytes = Counting(5);
        if (inFaulty) {
            system.failAt = system.calls;
            EXPECT_THROW(file->FinishWrite(false, error), file_exception);
            EXPECT_TRUE(isMetadatum || !file->WriteSampleBytes(0, 5, bytes.data(), error));
            EXPECT_EQ(error.code, isMetadatum ? 0 : 11);
            EXPECT_FALSE(file->StartMetadatumWrite(1)) << "the first one fails, or samples have begun";
            EXPECT_FALSE(file->MetadatumWrite(bytes.data(), 5) || file->FinishMetadatumWrite());
            EXPECT_THROW(file->FinishWrite(false, error), file_exception);
            system.failAt = faults::kNever;
        }
        if (isMetadatum) {
            EXPECT_EQ(file->StartMetadatumWrite(1), !inFaulty);
            EXPECT_TRUE(*inWhat == 'E' || file->MetadatumWrite(bytes.data(), 5));
            EXPECT_TRUE(file->FinishMetadatumWrite());
        } else {
            EXPECT_TRUE(file->WriteSampleBytes(0, 5, bytes.data(), error));
        }
        EXPECT_TRUE(file->FinishWrite(false, error));
        return ReadFile(folder.Path("a.aif"));
    };
    for (const char* what : {"Samples", "Metadatum", "Empty metadatum"})
        EXPECT_EQ(write(what, true), write(what, false)) << what;
}

// Whoever abandons a file has a reason, such as a full disk.
TEST(AiffFaults, AbandoningSucceedsOnAFullDisk) {
    const TemporaryFolder folder;
    const faults::Scope scope;
    Error error;
    const auto file = Create(folder.PathText("a.aif"), error);
    const Bytes bytes = Counting(5);
    EXPECT_TRUE(file->WriteSampleBytes(0, 5, bytes.data(), error));
    auto& system = faults::SystemCalls() = {
        .failAt = 0, .mode = System::Mode::kFailForGood, .error = ENOSPC, .outputOnly = true};
    EXPECT_THROW(file->FinishWrite(false, error), file_exception);
    EXPECT_TRUE(file->FinishWrite(true, error));
    EXPECT_EQ(system.closes, 1u);
    EXPECT_TRUE(file->FinishWrite(false, error)) << "finished already";
}

TEST(AiffFaults, CostOfReads) {
    OpenedImage opened(AiffImage().Comm({}).Ssnd(Bytes(1 << 20)));
    Bytes block(4096);
    const faults::Scope scope;
    for (std::int64_t i = 256; i-- > 0;)
        EXPECT_TRUE(opened.file->ReadSampleBytes(i * 4096, 4096, block.data()));
    EXPECT_EQ(faults::Heap().allocations, 0u);
    EXPECT_EQ(faults::SystemCalls().calls, 256u) << "one positioned read each";
    for (std::int64_t i = 0; i < 1 << 20; ++i)
        ASSERT_TRUE(opened.file->ReadSampleBytes(i, 1, block.data()));
    EXPECT_LE(faults::Heap().allocations, 4u) << "for small reads the window grows a few times";
}

} // namespace
} // namespace aiff_tests
