#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>

#include "RiffImage.h"
#include "kelaudiofile/WaveFile.h"
#include "kelcore/logging.h"
#include "support/Faults.h"

using namespace kelaudiofile;
using namespace testing_support;
using riff::kDataId;

namespace {

using Error = WaveFile::ExtendedErrorInfo;
using faults::Heap;
using faults::SystemCalls;

class WaveReadLimits : public testing::Test {
protected:
    WaveReadLimits() {
        kelcore::logging::SetSink([](std::string_view) {});
    }
    ~WaveReadLimits() override { kelcore::logging::SetSink({}); }

    void Write(const RiffImage& inImage) {
        WriteFile(mFolder.Path("file"), inImage.Bytes());
        faults::Scope::Reset();
    }
    std::unique_ptr<WaveFile> Open() {
        return std::unique_ptr<WaveFile>(WaveFile::OpenForRead(mPath, mError, false));
    }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
    const kelcore::UTF8String mPath = mFolder.PathText("file");
    Error mError;
};

/// Two data chunks and some metadata, with `ds64` and a channel mask.
RiffImage SmallImage() {
    return RiffImage(riff::kRf64Id)
        .Ds64({.dataSize = 400, .rows = {{kBextId, 3}, {kListId, 4}}})
        .Format({.tag = 0xFFFE, .tail = ExtensibleTail(16, 3, 1)})
        .Chunk(kDataId, 400)
        .Chunk(kListId, 4)
        .Chunk(kDataId, 400);
}

} // namespace

TEST_F(WaveReadLimits, AFileCutAnywhereOpensOrSaysWhy) {
    const RiffImage whole =
        RiffImage(riff::kRf64Id).Ds64({.dataSize = 30}).Chunk(kListId, 3).Byte(0).Format().Chunk(kDataId, 30);
    constexpr std::size_t kDs64End = 48, kFormat = 60, kData = 84; // FormatImage begins with its tag
    for (std::size_t size = 0; size <= whole.Size(); ++size) {
        SCOPED_TRACE(size);
        Write(RiffImage(whole).Cut(size));
        const auto file = Open();
        EXPECT_EQ(mError.code, size < kDs64End           ? Error::kChunkScanFailed
                               : size <= kFormat + 8     ? Error::kNoFormatChunk
                               : size == kFormat + 8 + 1 ? Error::kUnknownFormat // half a tag is none
                                                         : Error::kNoError);
        if (!file)
            continue;
        Bytes samples(size > kData + 8 ? size - kData - 8 : 0);
        EXPECT_EQ(file->GetSampleCount() == 0, samples.size() < 4 || size < kFormat + 22);
        Bytes buffer(samples.size() + 1);
        EXPECT_TRUE(file->ReadSampleBytes(0, static_cast<std::int64_t>(samples.size()), buffer.data()));
        EXPECT_FALSE(file->ReadSampleBytes(0, static_cast<std::int64_t>(buffer.size()), buffer.data()));
        buffer.pop_back();
        EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), Filling(30).begin()));
    }
}

TEST_F(WaveReadLimits, SystemCallsOfAnOpen) {
    Write(SmallImage());
    auto file = Open();
    EXPECT_NE(file, nullptr);
    EXPECT_LE(SystemCalls().calls, 7u);
    RiffImage many = RiffImage().Format();
    for (int i = 0; i < 10'000; ++i)
        many.Chunk(i % 2 == 0 ? kDataId : kListId, 92);
    Write(many);
    file = Open();
    EXPECT_NE(file, nullptr);
    EXPECT_LE(SystemCalls().calls, 140u);
}

TEST_F(WaveReadLimits, MemoryOfAnOpenGoesWithTheFile) {
    const auto expectBound = [&](const char* name, const RiffImage& image) {
        SCOPED_TRACE(testing::Message() << name << ", " << image.Size() << " bytes");
        Write(image);
        const auto file = Open();
        ASSERT_NE(file, nullptr);
        EXPECT_LE(Heap().peakBytes, static_cast<std::int64_t>(24 * image.Size() + (1 << 20)));
    };
    expectBound(
        "many channels",
        RiffImage().Format({.tag = 0xFFFE, .channels = 0x7FFF, .tail = ExtensibleTail(16, 0x3FFFF, 1)}));
    expectBound("large extension", RiffImage().Format({.tail = [] {
        Bytes tail(65520, 1);
        tail[0] = 0xEE, tail[1] = 0xFF; // 65,518
        return tail;
    }()}));
    expectBound("large table", RiffImage().Ds64({.rows{5459, {kListId, 1}}}).Format());
    for (const int chunks : {1'000, 65'536, 65'537, 100'000, 300'000}) // lists double where they grow
        for (const bool data : {false, true})
            for (const bool metadata : {false, true}) {
                RiffImage image = RiffImage().Format();
                for (int i = 0; i < chunks; ++i)
                    image.Chunk(data && (!metadata || i % 2 == 0) ? kDataId
                                : metadata                        ? kListId
                                                                  : riff::kJunkId,
                                1);
                expectBound(data ? metadata ? "both" : "data" : metadata ? "metadata" : "neither", image);
            }
}

// Both in one piece and byte by byte: calls by the kilobyte, whatever the number of chunks.
TEST_F(WaveReadLimits, AMillionChunksReadThrough) {
    constexpr int kChunks = 1'000'000;
    RiffImage image = RiffImage().Format();
    for (int i = 0; i < kChunks; ++i)
        image.Header(kDataId, 1).Byte(static_cast<unsigned char>(1 + i % 251));
    Write(image);
    const auto file = Open();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetSampleCount(), kChunks / 4);
    Bytes all(kChunks), single(kChunks);
    faults::Scope::Reset();
    EXPECT_TRUE(file->ReadSampleBytes(0, kChunks, all.data()));
    EXPECT_LE(SystemCalls().calls, image.Size() / 65536 + 20);
    for (int i = 0; i < kChunks; ++i)
        ASSERT_TRUE(file->ReadSampleBytes(i, 1, &single[static_cast<std::size_t>(i)]));
    EXPECT_LE(SystemCalls().calls, 2 * (image.Size() / 65536 + 20));
    EXPECT_EQ(all, single);
    for (std::size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(all[i], 1 + i % 251);
}

namespace {

/// How one road through a file ended.
struct Outcome {
    std::int32_t code = 0;
    bool badAlloc = false, fileException = false, samples = false, metadata = false;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};
constexpr Outcome kAllWell = {.samples = true, .metadata = true};

} // namespace

class WaveReadFaults : public WaveReadLimits {
protected:
    /// Opens, asks, reads, suspends, reads. Whatever failed, afterwards nothing is left open or in memory,
    /// and a file that opened is as good as new.
    Outcome Run() {
        const std::int64_t before = Heap().liveBytes;
        Outcome outcome;
        std::unique_ptr<WaveFile> file;
        try {
            file = Open();
            outcome.code = mError.code;
            if (file)
                Read(*file, outcome);
        } catch (const std::bad_alloc&) {
            outcome.badAlloc = true;
        } catch (const kelcore::filesupport::file_exception&) {
            outcome.fileException = true;
        }
        SystemCalls().failAt = Heap().failAt = faults::kNever;
        if (file) {
            Outcome again;
            Read(*file, again);
            EXPECT_EQ(again, kAllWell) << "usable afterwards";
        }
        file.reset();
        EXPECT_EQ(SystemCalls().OpenDescriptors(), 0);
        EXPECT_EQ(Heap().liveBytes, before);
        return outcome;
    }

    void Read(WaveFile& ioFile, Outcome& out) {
        std::uint32_t id;
        double position;
        std::int64_t size;
        EXPECT_EQ(ioFile.GetSampleCount(), 200);
        EXPECT_TRUE(ioFile.GetMetadataInfo(0, id, size, position));
        EXPECT_EQ(ioFile.GetChannelLayout().size(), 2u);
        EXPECT_EQ(ioFile.GetRiffAudioCharacteristics().numChannels, 2);
        out.samples = ioFile.ReadSampleBytes(0, 800, mSamples);
        EXPECT_TRUE(ioFile.Suspend());
        out.metadata = ioFile.ReadMetadataChunk(0, 0, size, mMetadata);
        if (out.samples) {
            EXPECT_TRUE(std::equal(mSamples + 400, mSamples + 800, Filling(400).begin()));
        }
        if (out.metadata) {
            EXPECT_TRUE(std::equal(mMetadata + 8, mMetadata + 12, Filling(4).begin()));
        }
    }

    unsigned char mSamples[800], mMetadata[12];
};

TEST_F(WaveReadFaults, EverySystemCallFails) {
    const Outcome notFound = {.code = Error::kFileNotFound}, scan = {.code = Error::kChunkScanFailed},
                  format = {.code = Error::kBadFormat}, thrown = {.fileException = true};
    const Outcome noSamples = {.metadata = true}, noMetadata = {.samples = true}, neither = {};
    // What fails once: size (Exists) | open | read, size of the scan | read of the format | size of the file
    // | read of samples, close of Suspend | open, read of metadata.
    const Outcome once[] = {notFound, scan,      scan,     scan,       format,
                            thrown,   noSamples, kAllWell, noMetadata, noMetadata};
    const Outcome forGood[] = {notFound, scan,    scan,       scan,       format,
                               thrown,   neither, noMetadata, noMetadata, noMetadata};
    for (const auto mode : {faults::System::Mode::kFailOnce, faults::System::Mode::kFailForGood}) {
        std::size_t n = 0;
        for (;; ++n) {
            SCOPED_TRACE(n);
            Write(SmallImage());
            SystemCalls().mode = mode;
            SystemCalls().failAt = n;
            const Outcome outcome = Run();
            if (SystemCalls().fired == 0) {
                EXPECT_EQ(outcome, kAllWell);
                break;
            }
            ASSERT_LT(n, std::size(once));
            EXPECT_EQ(outcome, mode == faults::System::Mode::kFailOnce ? once[n] : forGood[n]);
        }
        EXPECT_EQ(n, std::size(once));
    }
}

TEST_F(WaveReadFaults, EveryAllocationFails) {
    int nullWithCode = 0, thrown = 0;
    for (std::uint64_t n = 0;; ++n) {
        SCOPED_TRACE(n);
        Write(SmallImage());
        Heap().failAt = n;
        const Outcome outcome = Run();
        if (Heap().fired == 0) {
            EXPECT_EQ(outcome, kAllWell);
            break;
        }
        EXPECT_FALSE(outcome.fileException);
        nullWithCode += outcome.code == Error::kChunkScanFailed || outcome.code == Error::kBadFormat;
        thrown += outcome.badAlloc;
        // The one allocation that is not missed: scratch memory of a sort. And a stream that cannot be made
        // again is a failed read.
        EXPECT_TRUE(outcome.code != 0 || outcome.badAlloc || outcome == kAllWell ||
                    outcome == Outcome{.samples = true});
    }
    EXPECT_GE(nullWithCode, 8);
    EXPECT_GE(thrown, 6);
}
