#include <limits>

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
    const Bytes theirs = SampleBytes(0, 50), ours = FormatImage{0xFFFE, 0, 0, 0, 0, ExtensibleTail(0, 0, 1)};
    for (const auto& [data, size] : {std::pair{theirs.data(), 50},
                                     {theirs.data(), 5},
                                     {theirs.data(), 0},
                                     {theirs.data(), -3},
                                     {nullptr, 5}}) {
        mError = {Error::kWriteFailed, 77};
        mFile.reset(WaveFile::OpenForCompessedWrite(mPathText, data, size, 3, mError, false));
        ASSERT_TRUE(mFile);
        EXPECT_TRUE(mError.code == Error::kWriteFailed && mError.formatTag == 77) << "left alone";
        EXPECT_TRUE(Write(*mFile, 0, {1, 2, 3}) == 0 && mFile->FinishSamples() && mFile->FinishWrite());
        EXPECT_TRUE(mFile->GetSampleType() == WaveFile::kNoSampleType && mFile->GetSampleCount() == 0);
        const Bytes chunk =
            data != nullptr && size > 0 ? SampleBytes(0, static_cast<std::size_t>(size)) : ours;
        EXPECT_EQ(File(), Image().Chunk("fmt ", chunk).Chunk("data", {1, 2, 3}).In("RIFF", "WAVE")) << size;
    }
}

// What each sample type is known by when it is read again.
TEST_F(WaveFileWriting, SampleTypesReadBack) {
    const ChannelLayout stereo = kelmediatypes::CreateStereoChannelLayout(), ambisonic = {134, 135, 136, 137};
    using Kind = kelaudiofile::AudioCharacteristics;
    const auto format = [](int type, int bytes, int bits, const ChannelLayout& layout, int channels = 2) {
        return Format{48000, channels, bytes, bits, type, layout};
    };
    // clang-format off
    const struct { const char* name; Format format; int type, bits, category; } kCases[] = {
        {"integers", {}, 1, 16, Kind::kWaveFormatPCM},
        {"3, stereo", format(3, 4, 32, stereo), 3, 32, Kind::kWaveFormatPCM},
        {"3, extensible", format(3, 4, 32, {}), 1, 32, Kind::kWaveFormatPCM},
        {"4, stereo", format(4, 3, 16, stereo), 4, 32, Kind::kWaveFormatPCM},
        {"4, extensible", format(4, 2, 16, {}), 4, 32, Kind::kWaveFormatPCM},
        {"1, Ambisonic", format(1, 2, 16, ambisonic, 4), 1, 16, Kind::kWaveFormatAmbisonicPCM},
        {"2, Ambisonic", format(2, 4, 32, ambisonic, 4), 2, 32, Kind::kWaveFormatAmbisonicFloat},
        {"3 is never Ambisonic", format(3, 4, 32, ambisonic, 4), 3, 32, Kind::kWaveFormatPCM},
        {"doubles", format(2, 8, 64, stereo), 2, 64, Kind::kWaveFormatFloat},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        Handle file = Create(row.format);
        ASSERT_TRUE(file);
        const auto expect = [&](int type, int bits) {
            EXPECT_TRUE(file->GetSampleType() == type && file->GetSampleBitDepth() == bits);
            EXPECT_EQ(file->GetRiffAudioCharacteristics().formatCategory, row.category);
        };
        const bool isPacked = row.format.sampleType == 4; // while it is written: as the open stored it
        expect(row.format.sampleType, isPacked ? 24 : row.format.bits);
        EXPECT_EQ(file->GetBytesPerSample(), isPacked ? 4 : row.format.bytesPerSample);
        EXPECT_EQ(file->GetRiffAudioCharacteristics().validBitsPerSample, file->GetSampleBitDepth());
        EXPECT_EQ(file->GetChannelLayout(), row.format.channels == 2 ? stereo : ChannelLayout());
        EXPECT_EQ(WriteSamples(*file, 0, 96), 0);
        EXPECT_TRUE(file->FinishSamples() && file->FinishWrite());
        file = Open();
        expect(row.type, row.bits);
        EXPECT_EQ(Read(*file, 0, 96), SampleBytes(0, 96));
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
    Handle file;
    const auto refuses = [&](std::int64_t offset, std::int32_t count, const unsigned char* buffer = kByte) {
        return !file->WriteSampleBytes(offset, count, buffer, mError) && mError.code == Error::kWriteRefused;
    };
    const auto refusesChunks = [&] {
        return !file->StartMetadatumWrite(FourCC("LIST")) && !file->MetadatumWrite(kByte, 1);
    };
    const auto refusesAll = [&] {
        return refuses(4, 2) && refusesChunks() && !file->FinishMetadatumWrite() && !file->FinishBlock() &&
               !file->FinishSamples() && !file->FinishWrite();
    };
    for (const bool rf64 : {false, true}) {
        SCOPED_TRACE(rf64);
        file = Create({.rf64 = rf64, .anyOrder = true});
        EXPECT_TRUE(file->StartMetadatumWrite(FourCC("bext")) && !file->StartMetadatumWrite(FourCC("LIST")) &&
                    refuses(0, 2))
            << "a chunk inside another";
        EXPECT_TRUE(file->FinishMetadatumWrite() && file->FinishMetadatumWrite())
            << "the second has nothing to do";
        EXPECT_TRUE(refuses(-1, 2) && refuses(2, -1) && refuses(2, 1, nullptr));
        EXPECT_TRUE(refuses(std::numeric_limits<std::int64_t>::max(), 1));
        EXPECT_EQ(Write(*file, 0, {1, 2}), 0);
        EXPECT_TRUE(refusesChunks()) << "metadata in samples";
        EXPECT_TRUE(file->FinishSamples() && !file->MetadatumWrite(kByte, -1) &&
                    !file->MetadatumWrite(nullptr, 1));
        EXPECT_TRUE(refuses(1, 1)) << "below what is closed";
        Image chunks = Image()
                           .Add(rf64 ? Reserved() : Bytes())
                           .Chunk("fmt ", FormatImage())
                           .Chunk("bext", {})
                           .Chunk("data", {1, 2});
        if (rf64) {
            EXPECT_TRUE(refuses(2, 1)) << "RF64 has one data size";
        } else {
            EXPECT_EQ(Write(*file, std::numeric_limits<std::int64_t>::max() - 1, {3}), 0);
            EXPECT_TRUE(refuses(1, 1)) << "below the open chunk";
            EXPECT_TRUE(file->FinishSamples());
            chunks.Chunk("data", {3});
        }
        EXPECT_TRUE(file->FinishWrite() && refusesAll());
        EXPECT_EQ(File(), chunks.In("RIFF", "WAVE"));
    }
    file = Open();
    EXPECT_TRUE(file && refusesAll());
}

TEST_F(WaveFileWriting, RandomCallsGiveTheFileAndTheResultsOfTheModel) {
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        testing_support::Random random(seed);
        auto choose = [&random](std::uint32_t inLimit) { return inLimit == 0 ? 0 : random.Below(inLimit); };
        ASSERT_EQ(models::WriteScript(mFolder, choose).Run(), "") << "seed " << seed;
    }
}

// The chunk writer by itself.

class ChunkWriting : public WaveFileWriting {
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
    Chunk(FourCC("data"), {1, 2, 3, 4, 5}, 20); // fourteen bytes on
    mWriter.EndBlock(0);
    EXPECT_EQ(Part(4, 4), Image().U32(25)) << "the pad byte waits";
    Chunk(FourCC("cut "), {1, 2, 3, 4, 5}, 34, 44);
    EXPECT_EQ(mWriter.GetByteStream()->CurPos(), 44u) << "the stream stands at the end that was given";
    mWriter.StartChunk(FourCC("last"));
    mWriter.EndFile(0);
    const Image chunks =
        Image().Chunk("none", {}).Chunk("data", {1, 2, 3, 4, 5}).Chunk("cut ", {1, 2}).Header("last", 0);
    EXPECT_EQ(File(), chunks.In("RIFF", "TEST"));
}

TEST_F(ChunkWriting, AResetWriterIsAsNew) {
    Put(Bytes(60, 'x'));
    mWriter.Initialize(mFolder.File("file"), FourCC("WAVE"), true, false);
    mWriter.StartChunk(FourCC("LIST"));
    mWriter.Reset(); // delivers, and repairs no header
    const Image written = Image().Header("RIFF", 0).Text("WAVE").Add(Reserved()).Header("LIST", 0);
    EXPECT_EQ(File(), Image(written).Fill(4, 'x')) << "not emptied";
    mWriter.Initialize(mFolder.File("again"), FourCC("WAVE"), false, false); // nothing reserved this time
    mWriter.StartChunk(FourCC("data"));
    mWriter.EndChunk(12, 20 + kLimit); // a size for RF64, without the bytes
    mWriter.EndFile(0);
    EXPECT_EQ(testing_support::ReadFile(mFolder.Path("again")),
              Image().Header("data", 0xFFFFFFFF).In("RIFF", "WAVE"));
    mWriter.Initialize(mFolder.File("large"), FourCC("WAVE"), true, false);
    mWriter.StartChunk(FourCC("data"));
    mWriter.EndChunk(48, 56 + kLimit);
    mWriter.EndFile(0);
    EXPECT_EQ(testing_support::ReadFilePart(mFolder.Path("large"), 0, 4), Image().Text("RF64"));
}

TEST_F(ChunkWriting, ReportsWhatWasNotDeliveredAtTheEnd) {
    mWriter.Initialize(mFolder.File("file"), FourCC("WAVE"), false, false);
    mWriter.SetFrameBytes(1000);
    mWriter.Flush();
    mWriter.GetByteStream()->WriteBlock("lost", 4);
    faults::SystemCalls() = {.failAt = 0};
    EXPECT_THROW(mWriter.EndFile(0), kelcore::filesupport::file_exception);
    EXPECT_FALSE(mWriter.IsInitialized());
    EXPECT_EQ(faults::SystemCalls().closes, 1u);
    EXPECT_EQ(File(), Image().Text("lost").In("RIFF", "WAVE")) << "the second attempt went well";
}
