#include <gtest/gtest.h>

#include <array>
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

void WriteSevenBytes(WaveFile& ioFile) {
    EXPECT_EQ(Write(ioFile, 0, {1, 2, 3}), 0);
    EXPECT_EQ(Write(ioFile, 3, {4, 5, 6, 7}), 0);
    EXPECT_TRUE(ioFile.FinishSamples() && ioFile.FinishWrite());
}

} // namespace

// A few whole files in full; the model of the random calls below, which makes many more, rests on them.
TEST(WaveFileWriting, WholeFiles) {
    const Bytes four = {1, 2, 3, 4}, seven = {1, 2, 3, 4, 5, 6, 7};
    const auto checkpoints = [](WaveFile& file) {
        EXPECT_EQ(Write(file, 0, {1, 2, 3}), 0);
        EXPECT_TRUE(file.FinishBlock() && file.FinishBlock());
        EXPECT_EQ(Write(file, 3, {4, 5}), 0);
        EXPECT_TRUE(file.FinishBlock());
        EXPECT_EQ(Write(file, 5, {6, 7}), 0); // takes the place of the pad byte; nothing counts it
        EXPECT_TRUE(file.FinishWrite());
    };
    const auto metadata = [&](WaveFile& file) {
        EXPECT_TRUE(WriteMetadatum(file, FourCC("bext"), {9, 8, 7}));
        EXPECT_EQ(Write(file, 0, four), 0);
        EXPECT_TRUE(file.FinishSamples() && WriteMetadatum(file, FourCC("LIST"), {}));
        EXPECT_TRUE(file.StartMetadatumWrite(FourCC("note")) && file.MetadatumWrite(four.data(), 4) &&
                    file.MetadatumWrite(four.data(), 1) && file.FinishMetadatumWrite() && file.FinishWrite());
    };
    const Image format = Image().Chunk("fmt ", kStereo16), reserved = Image().Add(Reserved()).Add(format);
    Image withMetadata = Image(format).Chunk("bext", {9, 8, 7}).Chunk("data", four).Chunk("LIST", {});
    withMetadata.Chunk("note", {1, 2, 3, 4, 1});
    // clang-format off
    const struct { const char* name; Format format; std::function<void(WaveFile&)> calls; Bytes chunks; } kCases[] = {
        {"with room for RF64", {.rf64 = true}, WriteSevenBytes, Image(reserved).Chunk("data", seven)},
        {"metadata on both sides, odd and empty", {}, metadata, withMetadata},
        {"a pad byte of a checkpoint is no sample", {}, checkpoints, Image(format).Text("data").U32(5).Add(seven)},
        {"deleted without FinishWrite", {.rf64 = true}, [&](WaveFile& file) { EXPECT_EQ(Write(file, 0, four), 0); },
         Image(reserved).Text("data").U32(0).Add(four)},
    };
    // clang-format on
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
        EXPECT_EQ(ReadFile(folder.Path("file")), Image().Add(row.chunks).In("RIFF", "WAVE"));
    }
}

TEST(WaveFileWriting, FormatChunksOfTheCaller) {
    const TemporaryFolder folder;
    const Bytes fifty = SampleBytes(0, 50),
                guid = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    const Bytes ours = Image().U16(0xFFFE).Add(Bytes(14)).U16(22).Add(Bytes(6)).Add(guid);
    for (const std::int32_t size : {50, 5, 0, -3}) {
        SCOPED_TRACE(size);
        Error error{Error::kWriteFailed, 77};
        Handle file(
            WaveFile::OpenForCompessedWrite(folder.PathText("file"), fifty.data(), size, 3, error, false));
        ASSERT_TRUE(file);
        EXPECT_TRUE(error.code == Error::kWriteFailed && error.formatTag == 77) << "left alone";
        EXPECT_EQ(file->GetSampleType(), WaveFile::kNoSampleType);
        WriteSevenBytes(*file);
        EXPECT_EQ(file->GetSampleCount(), 0);
        const Bytes chunk = size > 0 ? Bytes(fifty.begin(), fifty.begin() + size) : ours;
        EXPECT_EQ(ReadFile(folder.Path("file")),
                  Image().Chunk("fmt ", chunk).Chunk("data", {1, 2, 3, 4, 5, 6, 7}).In("RIFF", "WAVE"));
    }
}

// What each sample type is known by when it is read again.
TEST(WaveFileWriting, SampleTypesReadBack) {
    const ChannelLayout stereo = kelmediatypes::CreateStereoChannelLayout(), ambisonic = {134, 135, 136, 137};
    using Kind = kelaudiofile::AudioCharacteristics;
    const auto format = [](int type, int bytes, int bits, const ChannelLayout& layout, int channels = 2) {
        return Format{44100, channels, bytes, bits, type, layout};
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
        const TemporaryFolder folder;
        Handle file = Create(folder.PathText("file"), row.format);
        ASSERT_TRUE(file);
        const auto check = [&](int type, int bits) {
            EXPECT_TRUE(file->GetSampleType() == type && file->GetSampleBitDepth() == bits);
            EXPECT_EQ(file->GetRiffAudioCharacteristics().formatCategory, row.category);
        };
        const bool isPacked = row.format.sampleType == 4; // under writing: as the open stored it
        check(row.format.sampleType, isPacked ? 24 : row.format.bits);
        EXPECT_EQ(file->GetBytesPerSample(), isPacked ? 4 : row.format.bytesPerSample);
        EXPECT_EQ(file->GetRiffAudioCharacteristics().validBitsPerSample, file->GetSampleBitDepth());
        EXPECT_EQ(file->GetChannelLayout(), row.format.channels == 2 ? stereo : ChannelLayout());
        EXPECT_EQ(WriteSamples(*file, 0, 96), 0);
        EXPECT_TRUE(file->FinishSamples() && file->FinishWrite());
        file = OpenForRead(folder.PathText("file"));
        check(row.type, row.bits);
        EXPECT_EQ(Read(*file, 0, 96), SampleBytes(0, 96));
    }
}

TEST(WaveFileWriting, QueriesUnderWriting) {
    const TemporaryFolder folder;
    const Handle file = Create(folder.PathText("file"), {.channels = 3, .layout = {100, 101, 102}});
    ASSERT_TRUE(file);
    EXPECT_EQ(WriteSamples(*file, 0, 29), 0);
    EXPECT_EQ(file->GetSampleCount(), 4) << "whole frames written so far";
    const auto record = file->GetRiffAudioCharacteristics();
    EXPECT_TRUE(file->GetChannelLayout().empty() && record.channelLayout == ChannelLayout({100, 101, 102}));
    EXPECT_TRUE(file->GetSampleRate() == 44100 && file->GetNumChannels() == 3 && record.containerKind == 1);
    EXPECT_TRUE(file->IsRf64Format() && !file->IsRecoveredTruncatedFile());
    unsigned char byte = 0;
    EXPECT_TRUE(ReadMetadata(*file).empty() && !file->ReadMetadataChunk(0, 0, 1, &byte));
    EXPECT_TRUE(file->ReadSampleBytes(0, 0, &byte) && !file->ReadSampleBytes(0, 1, &byte));
    EXPECT_TRUE(file->Suspend());
    EXPECT_EQ(WriteSamples(*file, 29, 7), 0) << "suspending stops nothing";
}

TEST(WaveFileWriting, OpensThatFail) {
    const TemporaryFolder folder;
    WriteFile(folder.Path("old"), {1, 2, 3});
    const auto code = [&](const char* name, int type) {
        Error error;
        EXPECT_FALSE(Create(folder.PathText(name), {.sampleType = type}, error));
        return error.code;
    };
    for (const int type : {0, 5, -1})
        EXPECT_EQ(code("old", type), Error::kBadFormat);
    EXPECT_EQ(ReadFile(folder.Path("old")), Bytes({1, 2, 3})) << "the disk is not touched";
    EXPECT_EQ(code("no/such/folder", 1), Error::kOpenForWriteFailed);
    Error error;
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
                     WriteMetadatum(*file, FourCC("LIST"), {1}) || file->MetadatumWrite(kByte, 1) ||
                     file->FinishMetadatumWrite());
    };
    EXPECT_EQ(Write(*file, 0, {1, 2}), 0);
    refuses(-1, 2, kByte);
    refuses(2, -1, kByte);
    refuses(2, 1, nullptr);
    refuses(std::numeric_limits<std::int64_t>::max(), 1, kByte);
    EXPECT_TRUE(file->FinishMetadatumWrite()) << "without a chunk, nothing is done";
    EXPECT_EQ(Write(*file, 2, {3}), 0);
    EXPECT_TRUE(file->FinishSamples());
    EXPECT_FALSE(file->MetadatumWrite(kByte, -1) || file->MetadatumWrite(nullptr, 1));
    EXPECT_TRUE(file->FinishWrite());
    refusesAll();
    EXPECT_EQ(ReadFile(folder.Path("file")),
              Image().Chunk("fmt ", kStereo16).Chunk("data", {1, 2, 3}).In("RIFF", "WAVE"));
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
    // Bytes of a block, blocks, writes; the header that waits goes with the first of them.
    const std::array<unsigned, 3> kCases[] = {
        {32'768, 50, 51}, {100'000, 20, 20}, {8'192, 64, 15}, {1'000, 100, 3}};
    std::uint64_t offset = 0;
    for (const auto& [blockBytes, blocks, writes] : kCases) {
        SCOPED_TRACE(blockBytes);
        const Bytes block(blockBytes);
        faults::Scope::Reset();
        for (unsigned i = 0; i < blocks; ++i, offset += blockBytes)
            ASSERT_EQ(Write(*file, offset, block), 0);
        EXPECT_EQ(faults::SystemCalls().writes, writes);
        EXPECT_EQ(faults::SystemCalls().calls, writes) << "nothing but writes";
        EXPECT_EQ(faults::Heap().allocations, 0u);
        EXPECT_TRUE(file->FinishBlock());
    }
}

// The chunk writer by itself.

TEST(RiffChunkWriter, ChunksAndCheckpoints) {
    const TemporaryFolder folder;
    const Bytes five = {1, 2, 3, 4, 5};
    const auto guardedCalls = kelcore::detail::GuardedCallCount();
    {
        RiffChunkWriter writer;
        EXPECT_TRUE(!writer.IsInitialized() && writer.GetByteStream() == nullptr);
        writer.EndBlock(1);
        writer.EndFile(1);
        EXPECT_FALSE(folder.File("file").Exists()) << "a closed writer does no file work";
        const auto chunk = [&](std::uint32_t id, const Bytes& data, std::uint64_t start,
                               std::uint64_t end = 0) {
            EXPECT_EQ(writer.StartChunk(id), start);
            writer.GetByteStream()->WriteBlock(data.data(), static_cast<unsigned>(data.size()));
            writer.EndChunk(start, end);
        };
        writer.Initialize(folder.File("file"), FourCC("TEST"), false, true);
        chunk(FourCC("none"), {}, 12);
        chunk(FourCC("data"), five, 20); // fourteen bytes on
        writer.EndBlock(0);
        EXPECT_EQ(ReadFilePart(folder.Path("file"), 4, 4), Bytes(Image().U32(25))) << "the pad byte waits";
        chunk(FourCC("cut "), five, 34, 44);
        EXPECT_EQ(writer.GetByteStream()->CurPos(), 44u) << "the stream stands at the end that was given";
        writer.StartChunk(FourCC("last"));
    }
    EXPECT_EQ(kelcore::detail::GuardedCallCount(), guardedCalls + 2) << "of EndFile and the destructor";
    const Image image =
        Image().Chunk("none", {}).Chunk("data", five).Chunk("cut ", {1, 2}).Text("last").U32(0);
    EXPECT_EQ(ReadFile(folder.Path("file")), Image().Text("RIFF").U32(44).Text("TEST").Add(image));

    // A file that exists is written over, not emptied; Reset repairs nothing; a reset writer is as new.
    RiffChunkWriter writer;
    writer.Initialize(folder.File("file"), FourCC("WAVE"), true, false);
    writer.Flush();
    writer.Reset();
    EXPECT_EQ(ReadFilePart(folder.Path("file"), 4, 99), Image().U32(0).Text("WAVE").Add(Reserved()).U32(0));
    writer.Initialize(folder.File("again"), FourCC("WAVE"), false, false); // nothing reserved this time
    writer.StartChunk(FourCC("data"));
    writer.EndChunk(12, 20 + (1ull << 32)); // a size for RF64, without the bytes
    writer.EndFile(0);
    EXPECT_EQ(ReadFile(folder.Path("again")), Image().Text("RIFF").U32(12).Text("WAVEdata").U32(0xFFFFFFFF));

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
