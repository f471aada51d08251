#include <gtest/gtest.h>

#include "WriteSupport.h"
#include "kelaudiofile/RiffChunkWriter.h"
#include "support/Faults.h"

using namespace wave_tests;
using namespace testing_support;

// All files here are sparse: zeros of a certain place make holes, and with the stream flag a block goes
// anywhere.

namespace {

constexpr std::uint64_t kSamplesAt = 80, kPlainSamplesAt = 44; ///< with room for RF64, and without

/// Makes the samples reach up to an offset.
void Reach(WaveFile& ioFile, std::uint64_t inOffset) {
    ASSERT_EQ(WriteSamples(ioFile, inOffset - 1, 1), 0);
}

Bytes Header(const char* inMagic, std::uint32_t inSize) {
    return Image().Text(inMagic).U32(inSize).Text("WAVE");
}

Bytes Ds64(std::uint64_t inRiffSize, std::uint64_t inDataSize, std::uint64_t inFrames) {
    return Image().Text("ds64").U32(28).U64(inRiffSize).U64(inDataSize).U64(inFrames).U32(0);
}

} // namespace

TEST(LargeWaveFiles, BecomeRf64ExactlyAtTheLimits) {
    const struct {
        std::uint64_t dataBytes;
        unsigned bytesBehind; ///< as they are, to fill the file up
        std::uint64_t fileBytes;
    } kCases[] = {{kLimit - 74, 1, kLimit + 7}, {kLimit - 74, 2, kLimit + 8},
                  {kLimit - 73, 0, kLimit + 8}, {kLimit - 1, 0, kLimit + 80},
                  {kLimit, 0, kLimit + 80},     {9 * kGiB + 5, 0, 9 * kGiB + 86}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.fileBytes);
        const TemporaryFolder folder;
        const auto path = folder.Path("file");
        Handle file = Create(folder.PathText("file"), {.rf64 = true, .anyOrder = true});
        Reach(*file, row.dataBytes);
        EXPECT_TRUE(file->FinishSamples());
        EXPECT_TRUE(file->MetadatumWrite(Bytes(2).data(), static_cast<std::int32_t>(row.bytesBehind)));
        EXPECT_TRUE(file->FinishWrite());

        const std::uint64_t riffSize = row.fileBytes - 8;
        const bool isRf64 = riffSize >= kLimit;
        EXPECT_EQ(std::filesystem::file_size(path), row.fileBytes);
        EXPECT_EQ(
            ReadFilePart(path, 0, 12),
            Header(isRf64 ? "RF64" : "RIFF", isRf64 ? 0xFFFFFFFF : static_cast<std::uint32_t>(riffSize)));
        EXPECT_EQ(ReadFilePart(path, 12, 36),
                  isRf64 ? Ds64(riffSize, row.dataBytes, row.dataBytes / 4) : Reserved());
        EXPECT_EQ(ReadFilePart(path, 72, 8),
                  Image().Text("data").U32(std::min<std::uint64_t>(row.dataBytes, 0xFFFFFFFF)));
        file = OpenForRead(folder.PathText("file"));
        ASSERT_TRUE(file);
        EXPECT_EQ(file->GetSampleCount(), static_cast<std::int64_t>(row.dataBytes / 4));
        EXPECT_EQ(Read(*file, row.dataBytes - 1, 1), SampleBytes(row.dataBytes - 1, 1));
        EXPECT_EQ(Read(*file, row.dataBytes, 1), Bytes());
    }
}

TEST(LargeWaveFiles, Rf64HoldsTheValuesOfTheLastCheckpoint) {
    const TemporaryFolder folder;
    const auto path = folder.Path("file");
    const auto headers = [&] { return ReadFilePart(path, 0, 48); };
    const auto rf64 = [](std::uint64_t dataBytes, std::uint64_t fileBytes, std::uint64_t frames) {
        return Image().Add(Header("RF64", 0xFFFFFFFF)).Add(Ds64(fileBytes - 8, dataBytes, frames));
    };
    for (const bool finishes : {true, false}) {
        Handle file = Create(folder.PathText("file"), {.rf64 = true, .anyOrder = true});
        Reach(*file, 4'000'000'000);
        EXPECT_TRUE(file->FinishBlock());
        EXPECT_EQ(headers(), Image().Add(Header("RIFF", 4'000'000'072)).Add(Reserved()));
        Reach(*file, 5'000'000'001);
        EXPECT_TRUE(file->FinishBlock());
        EXPECT_EQ(headers(), rf64(5'000'000'001, 5'000'000'082, 1'250'000'000));
        Reach(*file, 6'000'000'000);
        EXPECT_TRUE(file->FinishSamples());
        EXPECT_EQ(headers(), rf64(5'000'000'001, 5'000'000'082, 1'250'000'000)) << "not a checkpoint";
        EXPECT_TRUE(WriteMetadatum(*file, FourCC("LIST"), {1, 2, 3}));
        EXPECT_EQ(finishes && file->FinishWrite(), finishes);
        file.reset();
        EXPECT_EQ(headers(), rf64(6'000'000'000, 6'000'000'092, finishes ? 1'500'000'000 : 0));
        file = OpenForRead(folder.PathText("file"));
        ASSERT_TRUE(file);
        const auto metadata = ReadMetadata(*file);
        ASSERT_EQ(metadata.size(), 1u);
        EXPECT_EQ(metadata[0].whole, Image().Text("LIST").U32(3).Add({1, 2, 3}));
        EXPECT_EQ(file->GetSampleCount(), 1'500'000'000);
    }
}

// A `data` size can pass the limit by itself when the end is given by hand.
TEST(LargeWaveFiles, DataSizeAloneMakesRf64) {
    for (const std::uint64_t size : {kLimit - 2, kLimit}) {
        SCOPED_TRACE(size);
        const TemporaryFolder folder;
        const bool isRf64 = size == kLimit;
        kelaudiofile::RiffChunkWriter writer;
        writer.Initialize(folder.File("file"), FourCC("WAVE"), true, false);
        EXPECT_EQ(writer.StartChunk(FourCC("data")), 48u);
        writer.EndChunk(48, 56 + size);
        EXPECT_EQ(writer.GetByteStream()->CurPos(), 56 + size);
        writer.GetByteStream()->CurPos(56);
        writer.StartChunk(FourCC("LIST")); // does not change what is known of the data
        writer.EndChunk(56, 0);
        writer.EndFile(7);
        const Image headers =
            Image().Add(Header(isRf64 ? "RF64" : "RIFF", 56)).Add(isRf64 ? Ds64(56, kLimit, 7) : Reserved());
        EXPECT_EQ(ReadFile(folder.Path("file")),
                  Image(headers).Text("data").U32(isRf64 ? 0xFFFFFFFF : size).Chunk("LIST", {}));
    }
}

TEST(LargeWaveFiles, PlainRiffGoesOnInANewDataChunkExactlyAtTheLimit) {
    constexpr std::int32_t kHalf = 2'147'483'640;
    constexpr std::uint64_t kReached = 4'294'967'280;
    const faults::ZeroBytes zeros(kHalf);
    const Bytes format = ShortFormat(1, 2, 44100, 2, 16);
    for (const int kind : {0, 1, 2})
        for (const std::size_t block : {std::size_t{15}, std::size_t{16}}) {
            SCOPED_TRACE(testing::Message() << "kind " << kind << ", block " << block);
            const TemporaryFolder folder;
            const auto path = folder.Path("file");
            Error error;
            Handle file = kind == 0 ? Handle(WaveFile::OpenForCompessedWrite(
                                          folder.PathText("file"), format.data(), 16, 0, error, false))
                                    : Create(folder.PathText("file"), {.rf64 = kind == 2});
            for (const std::int64_t offset : {0, kHalf})
                EXPECT_TRUE(file->WriteSampleBytes(offset, kHalf,
                                                   static_cast<const unsigned char*>(zeros.Data()), error));
            EXPECT_EQ(WriteSamples(*file, kReached, block), 0);
            EXPECT_EQ(WriteSamples(*file, kReached + block, 3), 0);
            EXPECT_TRUE(file->FinishSamples() && file->FinishWrite());

            const std::uint64_t samplesAt = kind == 2 ? kSamplesAt : kPlainSamplesAt,
                                end = kReached + block + 3;
            const Bytes first = SampleBytes(kReached, block), next = SampleBytes(kReached + block, 3);
            const Image oneRun = Image().Add(first).Add(next).Add(Bytes(end % 2));
            const Image splitBefore = Image().Chunk("data", Image().Add(first).Add(next));
            const Image splitBetween = Image().Add(first).Add({0}).Chunk("data", next);
            EXPECT_EQ(ReadFilePart(path, samplesAt + kReached, 100), kind == 2     ? oneRun
                                                                     : block == 16 ? splitBefore
                                                                                   : splitBetween);
            EXPECT_EQ(ReadFilePart(path, samplesAt - 8, 8),
                      Image().Text("data").U32(kind != 2 && block == 16 ? kReached : 0xFFFFFFFF));
            EXPECT_EQ(ReadFilePart(path, 0, 12), Header(kind == 2 ? "RF64" : "RIFF", 0xFFFFFFFF));
            file = OpenForRead(folder.PathText("file"));
            ASSERT_TRUE(file);
            EXPECT_EQ(file->IsRf64Format(), kind == 2);
            EXPECT_EQ(file->GetSampleCount(), static_cast<std::int64_t>(end / 4));
            EXPECT_EQ(Read(*file, kReached - 1, block + 4), Image().Add({0}).Add(first).Add(next));
        }
}
