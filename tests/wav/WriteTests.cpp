#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "WriteModel.h"
#include "WriteSupport.h"
#include "kelaudiofile/RiffChunkWriter.h"
#include "kelcore/config.h"
#include "support/Faults.h"
#include "support/Random.h"

using namespace wave_tests;
using namespace testing_support;
using kelaudiofile::RiffChunkWriter;
using kelcore::filesupport::file_exception;

namespace {

const Bytes kStereo16 = ShortFormat(1, 2, 44100, 2, 16);

/// FinishSamples and FinishWrite, both of which must succeed.
void Finish(WaveFile& ioFile) {
    EXPECT_TRUE(ioFile.FinishSamples());
    EXPECT_TRUE(ioFile.FinishWrite());
}

void WriteSevenBytes(WaveFile& ioFile) {
    EXPECT_EQ(Write(ioFile, 0, {1, 2, 3}), 0);
    EXPECT_EQ(Write(ioFile, 3, {4, 5, 6, 7}), 0);
    Finish(ioFile);
}

} // namespace

// A few whole files in full; the model of the random calls below, which makes many more, rests on them.
TEST(WaveFileWriting, WholeFiles) {
    const Bytes four = {1, 2, 3, 4};
    const struct {
        const char* name;
        Format format;
        std::function<void(WaveFile&)> calls;
        Bytes chunks; ///< what stands behind "WAVE"
    } kCases[] = {
        {"with room for RF64",
         {.rf64 = true},
         WriteSevenBytes,
         Image().Add(Reserved()).Chunk("fmt ", kStereo16).Chunk("data", {1, 2, 3, 4, 5, 6, 7})},
        {"metadata on both sides, odd and empty",
         {},
         [&](WaveFile& file) {
             EXPECT_TRUE(WriteMetadatum(file, FourCC("bext"), {9, 8, 7}));
             EXPECT_EQ(Write(file, 0, four), 0);
             EXPECT_TRUE(file.FinishSamples());
             EXPECT_TRUE(WriteMetadatum(file, FourCC("LIST"), {}));
             EXPECT_TRUE(file.StartMetadatumWrite(FourCC("note")));
             EXPECT_TRUE(file.MetadatumWrite(four.data(), 4));
             EXPECT_TRUE(file.MetadatumWrite(four.data(), 1));
             EXPECT_TRUE(file.FinishMetadatumWrite());
             EXPECT_TRUE(file.FinishWrite());
         },
         Image()
             .Chunk("fmt ", kStereo16)
             .Chunk("bext", {9, 8, 7})
             .Chunk("data", four)
             .Chunk("LIST", {})
             .Chunk("note", {1, 2, 3, 4, 1})},
        {"a pad byte of a checkpoint is no sample",
         {},
         [](WaveFile& file) {
             EXPECT_EQ(Write(file, 0, {1, 2, 3}), 0);
             EXPECT_TRUE(file.FinishBlock());
             EXPECT_TRUE(file.FinishBlock());
             EXPECT_EQ(Write(file, 3, {4, 5}), 0);
             EXPECT_TRUE(file.FinishBlock());
             EXPECT_EQ(Write(file, 5, {6, 7}), 0); // takes the place of the pad byte; nothing counts it
             EXPECT_TRUE(file.FinishWrite());
         },
         Image().Chunk("fmt ", kStereo16).Text("data").U32(5).Add({1, 2, 3, 4, 5, 6, 7})},
        {"deleted without FinishWrite",
         {.rf64 = true},
         [&](WaveFile& file) { EXPECT_EQ(Write(file, 0, four), 0); },
         Image().Add(Reserved()).Chunk("fmt ", kStereo16).Text("data").U32(0).Add(four)},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        WriteFile(folder.Path("file"), Bytes(500, 0xEE)); // which must leave no trace
        Error error{Error::kWriteFailed, 77};
        Handle file = Create(folder.PathText("file"), row.format, error);
        ASSERT_TRUE(file);
        EXPECT_EQ(error.code, 0);
        EXPECT_EQ(error.formatTag, 77u) << "the tag is not the open's to set";
        row.calls(*file);
        EXPECT_TRUE(file->Suspend());
        file.reset();
        EXPECT_EQ(ReadFile(folder.Path("file")), Image().Add(row.chunks).InRiff());
    }
}

TEST(WaveFileWriting, FormatChunksOfTheCaller) {
    const TemporaryFolder folder;
    const Bytes fifty = SampleBytes(0, 50);
    const struct {
        const unsigned char* block;
        std::int32_t size;
        Bytes chunk;
    } kCases[] = {{fifty.data(), 50, fifty},
                  {fifty.data(), 5, Bytes(fifty.begin(), fifty.begin() + 5)},
                  {nullptr, 50,
                   Image().U16(0xFFFE).Add(Bytes(14)).U16(22).Add(Bytes(6)).Add(
                       {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71})}};
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.size);
        Error error{Error::kWriteFailed, 77};
        Handle file(
            WaveFile::OpenForCompessedWrite(folder.PathText("file"), row.block, row.size, 3, error, false));
        ASSERT_TRUE(file);
        EXPECT_EQ(error.code, Error::kWriteFailed) << "left alone";
        EXPECT_EQ(error.formatTag, 77u);
        EXPECT_EQ(file->GetSampleType(), WaveFile::kNoSampleType);
        WriteSevenBytes(*file);
        EXPECT_EQ(file->GetSampleCount(), 0);
        EXPECT_EQ(ReadFile(folder.Path("file")),
                  Image().Chunk("fmt ", row.chunk).Chunk("data", {1, 2, 3, 4, 5, 6, 7}).InRiff());
        file.reset(WaveFile::OpenForCompessedWrite(folder.PathText("file"), fifty.data(), row.block ? 0 : -3,
                                                   0, error, false));
        file.reset();
        EXPECT_EQ(ReadFilePart(folder.Path("file"), 16, 6), Bytes(Image().U32(40).U16(0xFFFE)));
    }
}

// What each sample type is known by when it is read again.
TEST(WaveFileWriting, SampleTypesReadBack) {
    const ChannelLayout stereo = kelmediatypes::CreateStereoChannelLayout(), ambisonic = {134, 135, 136, 137};
    using Kind = kelaudiofile::AudioCharacteristics;
    const struct {
        const char* name;
        Format format;
        int type, bits, category;
    } kCases[] = {
        {"integers", {}, 1, 16, Kind::kWaveFormatPCM},
        {"3, stereo", {.bytesPerSample = 4, .bits = 32, .sampleType = 3}, 3, 32, Kind::kWaveFormatPCM},
        {"3, extensible",
         {.bytesPerSample = 4, .bits = 32, .sampleType = 3, .layout = {}},
         1,
         32,
         Kind::kWaveFormatPCM},
        {"4, stereo", {.bytesPerSample = 3, .bits = 16, .sampleType = 4}, 4, 32, Kind::kWaveFormatPCM},
        {"4, extensible", {.sampleType = 4, .layout = {}}, 4, 32, Kind::kWaveFormatPCM},
        {"1, Ambisonic", {.channels = 4, .layout = ambisonic}, 1, 16, Kind::kWaveFormatAmbisonicPCM},
        {"2, Ambisonic",
         {.channels = 4, .bytesPerSample = 4, .bits = 32, .sampleType = 2, .layout = ambisonic},
         2,
         32,
         Kind::kWaveFormatAmbisonicFloat},
        {"3 is never Ambisonic",
         {.channels = 4, .bytesPerSample = 4, .bits = 32, .sampleType = 3, .layout = ambisonic},
         3,
         32,
         Kind::kWaveFormatPCM},
        {"doubles", {.bytesPerSample = 8, .bits = 64, .sampleType = 2}, 2, 64, Kind::kWaveFormatFloat},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        Handle file = Create(folder.PathText("file"), row.format);
        ASSERT_TRUE(file);
        // Under writing: as the open stored it.
        EXPECT_EQ(file->GetSampleType(), row.format.sampleType);
        EXPECT_EQ(file->GetSampleBitDepth(), row.format.sampleType == 4 ? 24 : row.format.bits);
        EXPECT_EQ(file->GetBytesPerSample(), row.format.sampleType == 4 ? 4 : row.format.bytesPerSample);
        EXPECT_EQ(file->GetRiffAudioCharacteristics().formatCategory, row.category);
        EXPECT_EQ(file->GetRiffAudioCharacteristics().validBitsPerSample, file->GetSampleBitDepth());
        EXPECT_EQ(file->GetChannelLayout(), row.format.channels == 2 ? stereo : ChannelLayout());
        EXPECT_EQ(WriteSamples(*file, 0, 96), 0);
        Finish(*file);
        file = OpenForRead(folder.PathText("file"));
        ASSERT_TRUE(file);
        EXPECT_EQ(file->GetSampleType(), row.type);
        EXPECT_EQ(file->GetSampleBitDepth(), row.bits);
        EXPECT_EQ(file->GetRiffAudioCharacteristics().formatCategory, row.category);
        EXPECT_EQ(Read(*file, 0, 96), SampleBytes(0, 96));
    }
}

TEST(WaveFileWriting, QueriesUnderWriting) {
    const TemporaryFolder folder;
    const Handle file = Create(folder.PathText("file"), {.channels = 3, .layout = {100, 101, 102}});
    ASSERT_TRUE(file);
    EXPECT_EQ(file->GetSampleCount(), 0);
    EXPECT_EQ(WriteSamples(*file, 0, 29), 0);
    EXPECT_EQ(file->GetSampleCount(), 4) << "whole frames written so far";
    EXPECT_EQ(file->GetSampleRate(), 44100);
    EXPECT_EQ(file->GetNumChannels(), 3);
    EXPECT_EQ(file->GetChannelLayout(), ChannelLayout());
    EXPECT_EQ(file->GetRiffAudioCharacteristics().channelLayout, (ChannelLayout{100, 101, 102}));
    EXPECT_EQ(file->GetRiffAudioCharacteristics().containerKind, 1u);
    EXPECT_TRUE(file->IsRf64Format());
    EXPECT_FALSE(file->IsRecoveredTruncatedFile());
    std::uint32_t id = 0;
    std::int64_t size = 0;
    double position = 0;
    unsigned char byte = 0;
    EXPECT_FALSE(file->GetMetadataInfo(0, id, size, position));
    EXPECT_FALSE(file->ReadMetadataChunk(0, 0, 1, &byte));
    EXPECT_FALSE(file->ReadSampleBytes(0, 1, &byte));
    EXPECT_TRUE(file->ReadSampleBytes(0, 0, &byte));
    EXPECT_TRUE(file->Suspend());
    EXPECT_EQ(WriteSamples(*file, 29, 7), 0) << "suspending stops nothing";
    Finish(*file);
    EXPECT_EQ(file->GetSampleCount(), 6);
}

TEST(WaveFileWriting, OpensThatFail) {
    const TemporaryFolder folder;
    for (const int type : {0, 5, -1}) {
        WriteFile(folder.Path("old"), {1, 2, 3});
        Error error{Error::kNoError, 77};
        EXPECT_FALSE(Create(folder.PathText("old"), {.sampleType = type}, error));
        EXPECT_EQ(error.code, Error::kBadFormat);
        EXPECT_EQ(ReadFile(folder.Path("old")), Bytes({1, 2, 3})) << "the disk is not touched";
    }
    Error error;
    EXPECT_FALSE(Create(folder.PathText("no/such/folder"), {}, error));
    EXPECT_EQ(error.code, Error::kOpenForWriteFailed);
    error = {};
    EXPECT_FALSE(Handle(WaveFile::OpenForCompessedWrite(folder.PathText(""), nullptr, 0, 0, error, false)));
    EXPECT_EQ(error.code, Error::kOpenForWriteFailed);
}

// Refusals that no order of calls brings about; the random calls below bring about the others.
TEST(WaveFileWriting, RefusedCallsChangeNothing) {
    static constexpr unsigned char kByte[2] = {9, 9};
    const TemporaryFolder folder;
    Handle file = Create(folder.PathText("file"), {.anyOrder = true});
    const auto refuses = [&](std::int64_t offset, std::int32_t count, const unsigned char* buffer) {
        Error error;
        EXPECT_FALSE(file->WriteSampleBytes(offset, count, buffer, error));
        EXPECT_EQ(error.code, Error::kWriteRefused);
    };
    const auto refusesAll = [&] {
        refuses(4, 2, kByte);
        EXPECT_FALSE(file->FinishBlock() || file->FinishSamples() || file->FinishWrite() ||
                     file->StartMetadatumWrite(FourCC("LIST")) || file->MetadatumWrite(kByte, 1) ||
                     file->FinishMetadatumWrite());
    };
    EXPECT_EQ(Write(*file, 0, {1, 2}), 0);
    refuses(-1, 2, kByte);
    refuses(2, -1, kByte);
    refuses(2, 1, nullptr);
    refuses(std::numeric_limits<std::int64_t>::max(), 1, kByte);
    EXPECT_FALSE(WriteMetadatum(*file, FourCC("LIST"), {1})) << "inside samples";
    EXPECT_FALSE(file->MetadatumWrite(kByte, 2));
    EXPECT_TRUE(file->FinishMetadatumWrite()) << "without a chunk, nothing is done";
    EXPECT_EQ(Write(*file, 2, {3}), 0);
    EXPECT_TRUE(file->FinishSamples());
    EXPECT_FALSE(file->MetadatumWrite(kByte, -1));
    EXPECT_FALSE(file->MetadatumWrite(nullptr, 1));
    EXPECT_TRUE(file->FinishWrite());
    refusesAll();
    EXPECT_EQ(ReadFile(folder.Path("file")),
              Image().Chunk("fmt ", kStereo16).Chunk("data", {1, 2, 3}).InRiff());
    file = OpenForRead(folder.PathText("file"));
    ASSERT_TRUE(file);
    refusesAll();
}

TEST(WaveFileWriting, RandomCallsGiveTheFileAndTheResultsOfTheModel) {
    const TemporaryFolder folder;
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        Random random(seed);
        auto choose = [&random](std::uint32_t inLimit) { return inLimit == 0 ? 0 : random.Below(inLimit); };
        ASSERT_EQ(WriteScript(folder, choose).Run(), "") << "seed " << seed;
    }
}

TEST(WaveFileWriting, BlocksInOrderCostNoPositioningAndLargeOnesGoStraightThrough) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    const Handle file = Create(folder.PathText("file"), {});
    const struct {
        std::size_t blockBytes;
        int blocks;
        std::uint64_t writes; ///< the header that waits goes with the first of them
    } kCases[] = {{32'768, 50, 51}, {100'000, 20, 20}, {8'192, 64, 15}, {1'000, 100, 3}};
    std::uint64_t offset = 0;
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.blockBytes);
        const Bytes block(row.blockBytes);
        faults::Scope::Reset();
        for (int i = 0; i < row.blocks; ++i, offset += row.blockBytes)
            ASSERT_EQ(Write(*file, offset, block), 0);
        EXPECT_EQ(faults::SystemCalls().writes, row.writes);
        EXPECT_EQ(faults::SystemCalls().calls, row.writes) << "nothing but writes";
        EXPECT_EQ(faults::Heap().allocations, 0u);
        EXPECT_TRUE(file->FinishBlock());
    }
}

// The chunk writer by itself.

TEST(RiffChunkWriter, ChunksAndCheckpoints) {
    const TemporaryFolder folder;
    const auto size = [&] { return ReadFilePart(folder.Path("file"), 4, 4); };
    const Bytes five = {1, 2, 3, 4, 5};
    const auto guardedCalls = kelcore::detail::GuardedCallCount();
    Bytes image = Image().Chunk("none", {}).Chunk("five", five).Chunk("data", five).Chunk("cut ", {1, 2});
    {
        RiffChunkWriter writer;
        EXPECT_FALSE(writer.IsInitialized());
        EXPECT_EQ(writer.GetByteStream(), nullptr);
        writer.EndBlock(1);
        writer.EndFile(1);
        EXPECT_EQ(kelcore::detail::GuardedCallCount(), guardedCalls + 1);
        EXPECT_FALSE(folder.File("file").Exists()) << "a closed writer does no file work";

        writer.Initialize(folder.File("file"), FourCC("TEST"), false, true);
        EXPECT_TRUE(writer.IsInitialized());
        EXPECT_EQ(writer.StartChunk(FourCC("none")), 12u);
        writer.EndChunk(12, 0);
        EXPECT_EQ(writer.StartChunk(FourCC("five")), 20u);
        writer.GetByteStream()->WriteBlock(five.data(), 5);
        writer.EndChunk(20, 0);
        EXPECT_EQ(writer.StartChunk(FourCC("data")), 34u) << "fourteen bytes on";
        writer.GetByteStream()->WriteBlock(five.data(), 5);
        writer.EndChunk(34, 0);
        writer.EndBlock(0);
        EXPECT_EQ(size(), Bytes(Image().U32(39))) << "the pad byte waits, and what waits is not counted";
        EXPECT_EQ(writer.StartChunk(FourCC("cut ")), 48u);
        writer.GetByteStream()->WriteBlock(five.data(), 5);
        writer.EndChunk(48, 58);
        EXPECT_EQ(writer.GetByteStream()->CurPos(), 58u) << "the stream stands at the end that was given";
        writer.StartChunk(FourCC("last"));
    }
    EXPECT_EQ(kelcore::detail::GuardedCallCount(), guardedCalls + 2);
    EXPECT_EQ(ReadFile(folder.Path("file")),
              Image().Text("RIFF").U32(58).Text("TEST").Add(image).Text("last").U32(0));

    // A file that exists is written over, not emptied; Reset repairs nothing; a reset writer is as new.
    RiffChunkWriter writer;
    writer.Initialize(folder.File("file"), FourCC("WAVE"), true, false);
    writer.Flush();
    writer.Reset();
    EXPECT_FALSE(writer.IsInitialized());
    EXPECT_EQ(size(), Bytes(4));
    EXPECT_EQ(ReadFilePart(folder.Path("file"), 8, 40), Bytes(Image().Text("WAVE").Add(Reserved())));
    EXPECT_EQ(ReadFilePart(folder.Path("file"), 48, 18),
              Bytes(Image().Text("cut ").U32(2).Add({1, 2}).Text("last").U32(0)));
    writer.Initialize(folder.File("again"), FourCC("WAVE"), false, false);
    writer.EndFile(0);
    const Bytes ended = ReadFile(folder.Path("again"));
    EXPECT_EQ(ended, Image().Text("RIFF").U32(4).Text("WAVE"));
    PatchFile(folder.Path("again"), 4, {9, 9, 9, 9});
    writer.EndFile(0);
    EXPECT_EQ(size(), Bytes(4)) << "the second does nothing";
    EXPECT_EQ(ReadFilePart(folder.Path("again"), 4, 4), Bytes(4, 9));

    // What was not delivered at once at the end is told; the header counts all that was, and the file is
    // closed.
    const faults::Scope scope;
    writer.Initialize(folder.File("full"), FourCC("WAVE"), false, false);
    writer.Flush();
    writer.GetByteStream()->WriteBlock("lost", 4);
    faults::Scope::Reset();
    faults::SystemCalls().failAt = 0;
    EXPECT_THROW(writer.EndFile(0), file_exception);
    EXPECT_FALSE(writer.IsInitialized());
    EXPECT_EQ(faults::SystemCalls().closes, 1u);
    EXPECT_EQ(ReadFile(folder.Path("full")), Image().Text("RIFF").U32(8).Text("WAVElost"));
}
