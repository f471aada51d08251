#include <limits>
#include <tuple>

#include "WaveTest.h"
#include "kelaudiofile/RiffChunkWriter.h"
#include "models/WriteModel.h"
#include "support/Random.h"

using namespace wave_tests;
using kelaudiofile::RiffChunkWriter;

namespace {

constexpr unsigned char kByte[2] = {9, 9};

class WaveFileWriting : public WaveTest {};

} // namespace

TEST_F(WaveFileWriting, FormatChunksOfTheCaller) {
    const Bytes theirs = Filling(50), ours = FormatImage{0xFFFE, 0, 0, 0, 0, ExtensibleTail(0, 0, 1)};
    for (const auto& [data, size, chunk] : {std::tuple{theirs.data(), 50, theirs},
                                            {theirs.data(), 5, Filling(5)},
                                            {theirs.data(), 0, ours},
                                            {nullptr, 5, ours}}) {
        mError = {Error::kWriteFailed, 77};
        mFile.reset(WaveFile::OpenForCompessedWrite(mPathText, data, size, 3, mError, false));
        ASSERT_TRUE(mFile);
        EXPECT_TRUE(mError.code == Error::kWriteFailed && mError.formatTag == 77) << "left alone";
        EXPECT_TRUE(Write(*mFile, 0, {1, 2, 3}) == 0 && mFile->FinishSamples() && mFile->FinishWrite());
        EXPECT_TRUE(mFile->GetSampleType() == WaveFile::kNoSampleType && mFile->GetSampleCount() == 0);
        EXPECT_EQ(File(), Image().Chunk("fmt ", chunk).Chunk("data", {1, 2, 3}).In("RIFF", "WAVE")) << size;
    }
}

TEST_F(WaveFileWriting, QueriesOfAFileThatIsWritten) {
    const Handle file = Create({.channels = 3, .layout = {100, 101, 102}});
    ASSERT_TRUE(file);
    EXPECT_EQ(WriteSamples(*file, 0, 29), 0);
    EXPECT_EQ(file->GetSampleCount(), 4) << "whole frames written so far";
    const auto record = file->GetRiffAudioCharacteristics();
    EXPECT_TRUE(file->GetChannelLayout().empty() && record.channelLayout == ChannelLayout({100, 101, 102}));
    EXPECT_TRUE(file->GetSampleRate() == 48000 && file->GetNumChannels() == 3 && record.containerKind == 1);
    EXPECT_TRUE(file->IsRf64Format() && !file->IsRecoveredTruncatedFile());
    unsigned char byte = 0;
    EXPECT_TRUE(ReadMetadata(*file).empty() && !file->ReadMetadataChunk(0, 0, 1, &byte));
    EXPECT_TRUE(file->ReadSampleBytes(0, 0, &byte) && !file->ReadSampleBytes(0, 1, &byte));
    EXPECT_TRUE(file->Suspend());
    EXPECT_EQ(WriteSamples(*file, 29, 7), 0) << "suspending stops nothing";
}

TEST_F(WaveFileWriting, OpensThatFail) {
    Put({1, 2, 3});
    for (const int type : {0, 5, -1})
        EXPECT_TRUE(!Create({.sampleType = type}) && mError.code == Error::kBadFormat);
    EXPECT_EQ(File(), Bytes({1, 2, 3})) << "the disk is not touched";
    EXPECT_FALSE(wave_tests::Create(mFolder.PathText("no/such/folder"), {}, mError));
    EXPECT_EQ(mError.code, Error::kOpenForWriteFailed);
    mError = {};
    EXPECT_FALSE(Handle(WaveFile::OpenForCompessedWrite(mFolder.PathText(""), nullptr, 0, 0, mError, false)));
    EXPECT_EQ(mError.code, Error::kOpenForWriteFailed);
}

TEST_F(WaveFileWriting, RefusedCallsChangeNothing) {
    constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
    const auto refuses = [&](std::int64_t offset, std::int32_t count, const unsigned char* buffer = kByte) {
        return !mFile->WriteSampleBytes(offset, count, buffer, mError) && mError.code == Error::kWriteRefused;
    };
    const auto refusesChunks = [&] {
        return !mFile->StartMetadatumWrite(FourCC("LIST")) && !mFile->MetadatumWrite(kByte, 1);
    };
    const auto refusesAll = [&] {
        return refuses(0, 2) && refusesChunks() && !mFile->FinishMetadatumWrite() && !mFile->FinishBlock() &&
               !mFile->FinishSamples() && !mFile->FinishWrite();
    };
    for (const bool rf64 : {false, true}) {
        SCOPED_TRACE(rf64);
        mFile = Create({.rf64 = rf64, .anyOrder = true});
        EXPECT_TRUE(mFile->StartMetadatumWrite(FourCC("bext")));
        EXPECT_TRUE(!mFile->StartMetadatumWrite(FourCC("LIST")) && refuses(0, 2)) << "a chunk inside another";
        EXPECT_TRUE(mFile->FinishMetadatumWrite() && mFile->FinishMetadatumWrite()) << "twice does no harm";
        EXPECT_TRUE(refuses(-1, 2) && refuses(2, -1) && refuses(2, 1, nullptr) && refuses(kHighest, 1));
        EXPECT_TRUE(Write(*mFile, 0, {1, 2}) == 0 && Write(*mFile, 2, {}) == 0) << "an empty block is one";
        EXPECT_TRUE(refusesChunks()) << "metadata in samples";
        EXPECT_TRUE(mFile->FinishSamples());
        EXPECT_TRUE(!mFile->MetadatumWrite(kByte, -1) && !mFile->MetadatumWrite(nullptr, 1));
        EXPECT_TRUE(refuses(1, 1)) << "below what is closed";
        if (rf64) {
            EXPECT_TRUE(refuses(2, 1)) << "RF64 has one data size";
        } else {
            EXPECT_EQ(Write(*mFile, kHighest - 1, {3}), 0);
            EXPECT_TRUE(refuses(1, 1) && mFile->FinishSamples()) << "below the open chunk";
        }
        EXPECT_TRUE(mFile->FinishWrite() && refusesAll());
        const Image end = rf64 ? Image() : Image().Chunk("data", {3});
        EXPECT_EQ(File(), Image()
                              .Add(rf64 ? Reserved() : Bytes())
                              .Chunk("fmt ", FormatImage())
                              .Chunk("bext", {})
                              .Chunk("data", {1, 2})
                              .Add(end)
                              .In("RIFF", "WAVE"));
    }
    mFile = Open();
    EXPECT_TRUE(mFile && refusesAll());
}

TEST_F(WaveFileWriting, RandomCallsGiveTheFileAndTheResultsOfTheModel) {
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        testing_support::Random random(seed);
        auto choose = [&random](std::uint32_t inLimit) { return inLimit == 0 ? 0 : random.Below(inLimit); };
        ASSERT_EQ(models::WriteScript(mFolder, choose).Run(), "") << "seed " << seed;
    }
}

// The chunk writer on its own.

class ChunkWriting : public WaveTest {
protected:
    void Chunk(std::uint32_t inId, const Bytes& inData, std::uint64_t inStart, std::uint64_t inEnd = 0) {
        EXPECT_EQ(mWriter.StartChunk(inId), inStart);
        mWriter.GetByteStream()->WriteBlock(inData.data(), static_cast<unsigned>(inData.size()));
        mWriter.EndChunk(inStart, inEnd);
    }

    RiffChunkWriter mWriter;
};

TEST_F(ChunkWriting, ChunksAndCheckpoints) {
    EXPECT_TRUE(!mWriter.IsInitialized() && mWriter.GetByteStream() == nullptr);
    mWriter.Flush();
    mWriter.EndBlock(1);
    mWriter.EndFile(1);
    EXPECT_FALSE(mFolder.File("file").Exists()) << "a closed writer does no file work";
    mWriter.Initialize(mFolder.File("file"), FourCC("TEST"), false, true);
    Chunk(FourCC("none"), {}, 12);
    Chunk(FourCC("data"), {1, 2, 3, 4, 5}, 20); // fourteen bytes further
    mWriter.EndBlock(0);
    EXPECT_EQ(Part(4, 4), Image().U32(25)) << "the pad byte is still buffered";
    Chunk(FourCC("cut "), {1, 2, 3, 4, 5}, 34, 44);
    EXPECT_EQ(mWriter.GetByteStream()->CurPos(), 44u) << "the stream is at the given end";
    mWriter.StartChunk(FourCC("last"));
    mWriter.EndFile(0);
    const Image chunks =
        Image().Chunk("none", {}).Chunk("data", {1, 2, 3, 4, 5}).Chunk("cut ", {1, 2}).Header("last", 0);
    EXPECT_EQ(File(), chunks.In("RIFF", "TEST"));
}

TEST_F(ChunkWriting, AnOpenWriterIsAsNewAfterInitialize) {
    mWriter.Initialize(mFolder.File("first"), FourCC("TEST"), true, false);
    mWriter.SetFrameBytes(2);
    mWriter.StartChunk(FourCC("LIST"));
    mWriter.Initialize(mFolder.File("file"), FourCC("TEST"), false, false); // delivers, and repairs no header
    EXPECT_EQ(testing_support::ReadFile(mFolder.Path("first")),
              Image().Header("RIFF", 0).Text("TEST").Add(Reserved()).Header("LIST", 0));
    faults::SystemCalls() = {.failAt = 1, .outputOnly = true};
    EXPECT_THROW(Chunk(FourCC("data"), {1, 2, 3}, 12), kelcore::filesupport::file_exception);
    EXPECT_EQ(Part(16, 4), Image().U32(3)) << "no part of a frame of one byte";
    mWriter.EndChunk(12, 20 + kLimit); // a size for RF64, without the bytes
    mWriter.EndFile(0);
    EXPECT_EQ(File(), Image().Header("data", 0xFFFFFFFF).Add({1, 2, 3}).In("RIFF", "TEST"));
}

TEST_F(ChunkWriting, ReportsWhatWasNotDeliveredAtTheEnd) {
    for (const Bytes& chunk : {Bytes(), Bytes(Image().Header("open", 0))}) {
        std::filesystem::remove(mPath);
        mWriter.Initialize(mFolder.File("file"), FourCC("TEST"), false, false);
        mWriter.SetFrameBytes(1000);
        if (!chunk.empty())
            mWriter.StartChunk(FourCC("open"));
        mWriter.Flush();
        mWriter.GetByteStream()->WriteBlock("lost", 4);
        faults::SystemCalls() = {.failAt = 0};
        EXPECT_THROW(mWriter.EndFile(0), kelcore::filesupport::file_exception);
        EXPECT_FALSE(mWriter.IsInitialized());
        EXPECT_EQ(faults::SystemCalls().closes, 1u);
        EXPECT_EQ(File(), Image().Add(chunk).Text("lost").In("RIFF", "TEST"))
            << "the second attempt went well";
    }
}
