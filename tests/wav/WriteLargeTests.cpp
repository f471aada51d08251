#include "WaveTest.h"

using namespace wave_tests;

// All files here are sparse: zeros at a certain address make holes, and with the stream flag
// a block can go anywhere.

namespace {

class LargeWaveFiles : public WaveTest {
protected:
    /// Extends the samples up to an offset.
    void Reach(std::uint64_t inOffset) { ASSERT_EQ(WriteSamples(*mFile, inOffset - 1, 1), 0); }

    void ExpectRiff(std::uint64_t inRiffSize) const {
        EXPECT_EQ(Part(0, 48), Image().Header("RIFF", inRiffSize).Text("WAVE").Add(Reserved()));
    }
    void ExpectRf64(std::uint64_t inRiffSize, std::uint64_t inDataBytes, std::uint64_t inFrames) const {
        const Bytes ds64 = Image().U64(inRiffSize).U64(inDataBytes).U64(inFrames).U32(0);
        EXPECT_EQ(Part(0, 48), Image().Header("RF64", 0xFFFFFFFF).Text("WAVE").Chunk("ds64", ds64));
    }
};

} // namespace

TEST_F(LargeWaveFiles, BecomeRf64ExactlyAtTheLimits) {
    const struct {
        std::uint64_t dataBytes;
        std::int32_t bytesAfter; ///< raw, to fill the file
        std::uint64_t fileBytes;
    } kCases[] = {{kLimit - 74, 1, kLimit + 7}, {kLimit - 74, 2, kLimit + 8},
                  {kLimit - 73, 0, kLimit + 8}, {kLimit - 1, 0, kLimit + 80},
                  {kLimit, 0, kLimit + 80},     {9 * kGiB + 5, 0, 9 * kGiB + 86}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.fileBytes);
        mFile = Create({.rf64 = true, .anyOrder = true});
        Reach(row.dataBytes);
        EXPECT_TRUE(mFile->FinishSamples() && mFile->MetadatumWrite(Bytes(2).data(), row.bytesAfter) &&
                    mFile->FinishWrite());
        EXPECT_EQ(std::filesystem::file_size(mPath), row.fileBytes);
        if (row.fileBytes - 8 < kLimit)
            ExpectRiff(row.fileBytes - 8);
        else
            ExpectRf64(row.fileBytes - 8, row.dataBytes, row.dataBytes / 4);
        EXPECT_EQ(Part(72, 8), Image().Header("data", std::min<std::uint64_t>(row.dataBytes, 0xFFFFFFFF)));
        mFile = Open();
        ASSERT_TRUE(mFile);
        EXPECT_EQ(mFile->GetSampleCount(), static_cast<std::int64_t>(row.dataBytes / 4));
        EXPECT_EQ(Read(*mFile, row.dataBytes - 1, 1), SampleBytes(row.dataBytes - 1, 1));
        EXPECT_EQ(Read(*mFile, row.dataBytes, 1), Bytes());
    }
}

TEST_F(LargeWaveFiles, Rf64HoldsTheValuesOfTheLastCheckpoint) {
    for (const bool finishes : {true, false}) {
        mFile = Create({.rf64 = true, .anyOrder = true});
        Reach(4'000'000'000);
        EXPECT_TRUE(mFile->FinishBlock());
        ExpectRiff(4'000'000'072);
        Reach(5'000'000'001);
        EXPECT_TRUE(mFile->FinishBlock());
        ExpectRf64(5'000'000'074, 5'000'000'001, 1'250'000'000);
        Reach(6'000'000'000);
        EXPECT_TRUE(mFile->FinishSamples());
        ExpectRf64(5'000'000'074, 5'000'000'001, 1'250'000'000); // not a checkpoint
        EXPECT_TRUE(WriteMetadatum(*mFile, FourCC("LIST"), {1, 2, 3}));
        EXPECT_EQ(finishes && mFile->FinishWrite(), finishes);
        mFile.reset();
        ExpectRf64(6'000'000'084, 6'000'000'000, finishes ? 1'500'000'000 : 0);
        mFile = Open();
        ASSERT_TRUE(mFile);
        EXPECT_EQ(ReadMetadata(*mFile).at(0).whole, Image().Header("LIST", 3).Add({1, 2, 3}));
        EXPECT_EQ(mFile->GetSampleCount(), 1'500'000'000);
    }
}

TEST_F(LargeWaveFiles, PlainRiffGoesOnInANewDataChunkExactlyAtTheLimit) {
    constexpr std::int32_t kHalf = 2'147'483'640;
    constexpr std::uint64_t kReached = 2 * std::uint64_t{kHalf}; // 16 below the limit
    faults::SystemCalls().sparse = true;
    const unsigned char half[1] = {}; // is not read
    for (const std::size_t block : {std::size_t{15}, std::size_t{16}}) {
        SCOPED_TRACE(block);
        mFile = Create();
        const Bytes first = SampleBytes(kReached, block), next = SampleBytes(kReached + block, 3);
        EXPECT_TRUE(mFile->WriteSampleBytes(0, kHalf, half, mError) &&
                    mFile->WriteSampleBytes(kHalf, kHalf, half, mError));
        EXPECT_TRUE(Write(*mFile, kReached, first) == 0 && Write(*mFile, kReached + block, next) == 0);
        EXPECT_TRUE(mFile->FinishSamples() && mFile->FinishWrite());

        const bool goesOn = block == 15;
        EXPECT_EQ(Part(0, 12), Image().Header("RIFF", 0xFFFFFFFF).Text("WAVE"));
        EXPECT_EQ(Part(36, 8), Image().Header("data", goesOn ? 0xFFFFFFFF : kReached));
        EXPECT_EQ(Part(44 + kReached, 100), goesOn ? Image().Add(first).Fill(1).Chunk("data", next)
                                                   : Image().Chunk("data", Image().Add(first).Add(next)));
        mFile = Open();
        ASSERT_TRUE(mFile);
        EXPECT_EQ(mFile->GetSampleCount(), static_cast<std::int64_t>((kReached + block + 3) / 4));
        EXPECT_EQ(Read(*mFile, kReached - 1, block + 4), Image().Fill(1).Add(first).Add(next));
    }
}
