#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "WaveReadTest.h"
#include "support/Random.h"

using namespace kelaudiofile;
using namespace testing_support;
using kelmediatypes::ChannelLayout;
using riff::kDataId;

namespace {

constexpr std::uint16_t kExtensible = 0xFFFE;
using Range = std::pair<std::int64_t, std::int64_t>; // offset and count

class WaveRead : public WaveReadTest {};

/// A read of samples into a buffer that shows what was written.
Bytes ReadSamples(WaveFile& ioFile, std::int64_t inOffset, std::size_t inCount, bool inExpected = true) {
    Bytes buffer(inCount + 1, 0x11);
    EXPECT_EQ(ioFile.ReadSampleBytes(inOffset, static_cast<std::int64_t>(inCount), buffer.data()), inExpected)
        << inCount << " at " << inOffset;
    EXPECT_EQ(buffer.back(), 0x11) << "written past the buffer";
    buffer.pop_back();
    return buffer;
}

Bytes Part(const Bytes& inBytes, std::size_t inFirst, std::size_t inCount) {
    return Bytes(inBytes.begin() + static_cast<std::ptrdiff_t>(inFirst),
                 inBytes.begin() + static_cast<std::ptrdiff_t>(inFirst + inCount));
}

FormatImage Extensible(std::uint16_t inChannels, std::uint32_t inMask, std::uint16_t inSubformat,
                       const Bytes& inGuidEnd = kPlainGuidEnd) {
    return {.tag = kExtensible,
            .channels = inChannels,
            .blockAlign = static_cast<std::uint16_t>(2 * inChannels),
            .tail = ExtensibleTail(16, inMask, inSubformat, inGuidEnd)};
}

} // namespace

TEST_F(WaveRead, EveryCodeOfTheOpen) {
    const auto format = [](std::uint16_t tag) { return RiffImage().Format({.tag = tag}); };
    // clang-format off
    const struct { const char* name; RiffImage image; Error::Code code; std::uint32_t formatTag = 0; } kCases[] = {
        {"RIFF", RiffImage().Format(), Error::kNoError},
        {"BW64", RiffImage(riff::kBw64Id).Ds64({}).Format(), Error::kNoError},
        {"float", format(3), Error::kNoError},
        {"Ambisonic", RiffImage().Format(Extensible(4, 0, 1, kAmbisonicGuidEnd)), Error::kNoError},
        {"another magic", RiffImage(bytes::FourCC("FORM")).Format(), Error::kNotWaveFile},
        {"another form", RiffImage(riff::kRiffId, bytes::FourCC("AVI ")), Error::kChunkScanFailed},
        {"another form, long enough", RiffImage(riff::kRiffId, bytes::FourCC("AVI ")).Format(), Error::kNotWaveFile},
        {"11 bytes", RiffImage().Cut(11), Error::kChunkScanFailed},
        {"no format", RiffImage().Chunk(kDataId, 9), Error::kNoFormatChunk},
        {"an empty format", RiffImage().Header(riff::kFormatId, 0).Chunk(kDataId, 9), Error::kNoFormatChunk},
        {"65,537 bytes of format", RiffImage().Format({.tail = Bytes(65521)}), Error::kFormatChunkTooLarge},
        {"ADPCM", format(2), Error::kAdpcmFormat}, {"IMA ADPCM", format(0x11), Error::kImaAdpcmFormat},
        {"A-law", format(6), Error::kALawFormat}, {"mu-law", format(7), Error::kMuLawFormat},
        {"GSM 6.10", format(0x31), Error::kGsm610Format}, {"unknown tag", format(0x55), Error::kUnknownFormat, 0x55},
        {"unknown subformat", RiffImage().Format(Extensible(2, 3, 0x55)), Error::kUnknownFormat, kExtensible},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const auto file = Open(row.image);
        EXPECT_EQ(mError.code, row.code);
        EXPECT_EQ(mError.formatTag, row.formatTag);
        EXPECT_EQ(file == nullptr, row.code != Error::kNoError);
    }
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    std::filesystem::remove(mFolder.Path("file"));
    EXPECT_EQ(Open(), nullptr);
    EXPECT_EQ(mError.code, Error::kFileNotFound);
    EXPECT_TRUE(mLog.empty()) << "opening logs nothing";
}

TEST_F(WaveRead, WhatTheFormatMeans) {
    constexpr auto kInteger = WaveFile::kIntegerSamples, kFloat = WaveFile::kFloatSamples_1;
    constexpr auto k16Bit = WaveFile::kFloatSamples_32768, k24Bit = WaveFile::kFloatSamples_8388608;
    const auto mono = [](std::uint16_t tag, std::uint16_t blockAlign, std::uint16_t bits, Bytes tail = {}) {
        return FormatImage{tag, 1, 48000, blockAlign, bits, std::move(tail)};
    };
    const ChannelLayout kMono = {102}, kStereo = {100, 101};
    const auto ambisonic = [](std::uint16_t channels, std::uint32_t mask = 0, std::uint16_t subformat = 1) {
        return Extensible(channels, mask, subformat, kAmbisonicGuidEnd);
    };
    const Bytes one = {2, 0, 1, 0};
    // clang-format off
    const struct {
        FormatImage format;
        std::int32_t bytes, bits;
        WaveFile::SampleType type;
        DeinterleaveFunction routine;
        ChannelLayout layout;
        std::int64_t frames; // of 1,003 bytes
    } kCases[] = {
        {mono(1, 1, 8), 1, 8, kInteger, DeInterleave8Bit, kMono, 1003},
        {mono(1, 1, 7), 1, 7, kInteger, nullptr, kMono, 1003},
        {{}, 2, 16, kInteger, DeInterleave16Bit, kStereo, 250},
        {mono(1, 2, 12), 2, 12, kInteger, nullptr, kMono, 501},
        {mono(1, 3, 24), 3, 24, kInteger, DeInterleave24Bit, kMono, 334},
        {mono(1, 3, 20), 3, 20, kInteger, nullptr, kMono, 334},
        {mono(1, 4, 17), 4, 17, kInteger, DeInterleave32Bit, kMono, 250},
        {mono(3, 4, 24), 4, 24, kFloat, DeInterleave32BitFloat_1, kMono, 250},
        {mono(1, 8, 64), 8, 64, kInteger, DeInterleave64Bit, kMono, 125},
        {mono(3, 8, 64), 8, 64, kFloat, DeInterleave64BitFloat, kMono, 125},
        {mono(1, 5, 40), 5, 40, kInteger, nullptr, kMono, 200},
        // Floats behind the tag of integers
        {mono(1, 4, 24, one), 4, 32, k24Bit, DeInterleave32BitFloat_8388608, kMono, 250},
        {mono(1, 4, 32, one), 4, 32, k16Bit, DeInterleave32BitFloat_32768, kMono, 250},
        {mono(1, 8, 32, one), 8, 32, k16Bit, DeInterleave64BitFloat, kMono, 125},
        {mono(1, 4, 32, {2, 0, 2, 0}), 4, 32, kInteger, DeInterleave32Bit, kMono, 250},
        {mono(1, 4, 32, {2, 0, 1, 1}), 4, 32, kInteger, DeInterleave32Bit, kMono, 250},
        {mono(1, 4, 32, {3, 0, 1, 0, 0}), 4, 32, kInteger, DeInterleave32Bit, kMono, 250},
        {mono(3, 4, 32, one), 4, 32, kFloat, DeInterleave32BitFloat_1, kMono, 250},
        // No block align, and channel counts that make no sense
        {mono(1, 0, 16), 2, 16, kInteger, DeInterleave16Bit, kMono, 501},
        {mono(1, 0, 7), 0, 7, kInteger, nullptr, kMono, 0},
        {{.channels = 0}, 4, 16, kInteger, DeInterleave32Bit, {}, 0},
        {{.channels = 0xFFFF}, 4, 16, kInteger, DeInterleave32Bit, {}, -250},
        {{.channels = 0x8000, .blockAlign = 1}, 1, 16, kInteger, nullptr, {}, 0},
        // Layouts
        {Extensible(2, 0x600, 1), 2, 16, kInteger, DeInterleave16Bit, {109, 110}, 250},
        {Extensible(1, 0, 3), 2, 16, kFloat, DeInterleave16Bit, {0}, 501},
        {Extensible(0, 3, 1), 2, 16, kInteger, DeInterleave16Bit, {100}, 0},
        {ambisonic(1), 2, 16, kInteger, DeInterleave16Bit, {134}, 501},
        {ambisonic(3, 3, 3), 2, 16, kFloat, DeInterleave16Bit, {134, 135, 136}, 167},
        {ambisonic(5, 0x3F), 2, 16, kInteger, DeInterleave16Bit, {134, 135, 136, 103, 104}, 100},
        {ambisonic(6, 0x3F), 2, 16, kInteger, DeInterleave16Bit, {134, 135, 136, 137, 104, 105}, 83},
        {ambisonic(0, 4), 2, 16, kInteger, DeInterleave16Bit, {102}, 0},
        {ambisonic(0x8000, 4), 2, 16, kInteger, DeInterleave16Bit, {102}, 0},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::Message() << "row " << &row - kCases);
        const auto file =
            Open(RiffImage().Format(row.format).Chunk(kDataId, 1003), row.format.Data().size() + 1031);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(file->GetSampleRate(), 48000);
        EXPECT_EQ(file->GetNumChannels(), static_cast<std::int16_t>(row.format.channels));
        EXPECT_EQ(file->GetBytesPerSample(), row.bytes);
        EXPECT_EQ(file->GetSampleBitDepth(), row.bits);
        EXPECT_EQ(file->GetSampleType(), row.type);
        EXPECT_EQ(GetDeinterleaveFunction(*file), row.routine);
        EXPECT_EQ(file->GetChannelLayout(), row.layout);
        EXPECT_EQ(file->GetSampleCount(), row.frames);
        const AudioCharacteristics record =
            file->GetRiffAudioCharacteristics(); // as in the file, not as refined
        EXPECT_EQ(record.bitsPerSample, row.format.bits);
        EXPECT_EQ(record.bytesPerSample == 0, row.format.blockAlign == 0);
        EXPECT_EQ(std::count(record.channelLayout.begin(), record.channelLayout.end(), 134u), 0);
    }
}

TEST_F(WaveRead, DataChunksAreOneRun) {
    const Bytes samples = Filling(1500), first = Part(samples, 0, 1000), second = Part(samples, 1000, 500);
    auto file =
        Open(RiffImage().Format().Chunk(kDataId, first).Chunk(kListId, 7).Byte(0).Chunk(kDataId, second));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetSampleCount(), 375);
    EXPECT_FALSE(file->IsRf64Format() || file->IsRecoveredTruncatedFile());
    EXPECT_EQ(ReadSamples(*file, 900, 200), Part(samples, 900, 200));
    Bytes expected = Part(samples, 1400, 100);
    expected.resize(150, 0x11);
    EXPECT_EQ(ReadSamples(*file, 1400, 150, false), expected) << "what there is, and then false";
    EXPECT_EQ(ReadSamples(*file, INT64_MAX, 0), Bytes());
    unsigned char byte = 0x11;
    const Range kRefused[] = {{1500, 1}, {INT64_MAX, 1}, {INT64_MAX, INT64_MAX},
                              {-1, 1},   {0, -1},        {INT64_MIN, 2}};
    for (const auto& [offset, count] : kRefused)
        EXPECT_FALSE(file->ReadSampleBytes(offset, count, &byte)) << offset << ", " << count;
    EXPECT_EQ(byte, 0x11);
    EXPECT_FALSE(file->ReadSampleBytes(0, 0, nullptr) || file->ReadSampleBytes(0, 9, nullptr));
    EXPECT_TRUE(mLog.empty()) << "nothing of this is a failed read";
}

TEST_F(WaveRead, FilesWithoutSamplesAndUnfinishedOnes) {
    const auto format = [] { return RiffImage().Format(); };
    // clang-format off
    const struct { const char* name; RiffImage image; std::int64_t frames; bool recovered; } kCases[] = {
        {"no data chunk", format(), 0, false},
        {"an empty one", format().Header(kDataId, 0).Chunk(kListId, 4), 0, false},
        {"size never written", format().Header(kDataId, 0).Append(Filling(1003)), 250, true},
        {"the last of two", format().Chunk(kDataId, 8).Header(kDataId, 0).Append(Filling(9)), 4, true},
        {"cut", format().Header(kDataId, 5000).Append(Filling(1003)), 250, false},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const auto file = Open(row.image);
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(file->GetSampleCount(), row.frames);
        EXPECT_EQ(file->IsRecoveredTruncatedFile(), row.recovered);
        EXPECT_EQ(file->IsRf64Format(), row.frames != 4) << "one data chunk at most";
        ReadSamples(*file, 0, 8, row.frames > 0);
    }
}

// Every sample byte tells its place in the run that all data chunks make.
TEST_F(WaveRead, AgreesWithAPlainWalkOnRandomChunksAndReads) {
    Random random(4);
    for (int i = 0; i < 300; ++i) {
        RiffImage image = RiffImage().Format();
        std::uint32_t total = 0;
        for (std::uint32_t count = random.Below(60); count > 0; --count) {
            const std::uint32_t size = 1 + (random.Below(20) == 0 ? random.Below(9000) : random.Below(7));
            const bool isData = random.Below(3) != 0;
            image.Chunk(isData ? kDataId : kListId,
                        isData ? wave_tests::SampleBytes(total, size) : Filling(size));
            image.Byte(0, image.Size() % 2);
            total += isData ? size : 0;
        }
        const auto file = Open(image);
        ASSERT_NE(file, nullptr);
        for (int j = 0; j < 100; ++j) {
            const std::uint32_t offset = random.Below(total + 3), left = total - std::min(offset, total);
            const std::uint32_t count = random.Below(j % 4 == 0 ? 20'000 : 30);
            Bytes expected = wave_tests::SampleBytes(offset, std::min(count, left));
            expected.resize(count, 0x11);
            ASSERT_EQ(ReadSamples(*file, offset, count, count <= left), expected) << i << ", " << j;
        }
    }
}

TEST_F(WaveRead, MetadataListPlacesAndBytes) {
    RiffImage image; // with one of each kind that is no metadata
    image.Chunk(kListId, 20).Chunk(bytes::FourCC("JUNQ"), 1).Byte(0).Format().FillTo(92).Chunk(kDataId, 300);
    image.Chunk(kBextId, 8).Chunk(riff::kFillerId, 2).Chunk(riff::kFormatId, 2).FillTo(800);
    image.Chunk(kDataId, 92).FillTo(942).Chunk(kListId, 50);
    ASSERT_EQ(image.Size(), 1000u);
    const auto file = Open(image);
    ASSERT_NE(file, nullptr);
    const struct {
        std::uint32_t id;
        std::size_t place, size;
        double position;
    } kExpected[] = {{kListId, 12, 28, 20 * 0.5 / 1000}, {kBextId, 400, 16, 0.5}, {kListId, 942, 58, 0.75}};
    const auto metadata = wave_tests::ReadMetadata(*file);
    ASSERT_EQ(metadata.size(), 3u);
    for (std::int32_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const auto& expected = kExpected[i];
        const auto& found = metadata[static_cast<std::size_t>(i)];
        EXPECT_EQ(found.id, expected.id);
        EXPECT_EQ(found.position, expected.position);
        EXPECT_EQ(found.whole, Part(image.Bytes(), expected.place, expected.size));
        Bytes bytes = {0x11, 0x11};
        const auto size = static_cast<std::int64_t>(expected.size);
        EXPECT_TRUE(file->ReadMetadataChunk(i, size - 1, 1, bytes.data()));
        EXPECT_EQ(bytes, (Bytes{found.whole.back(), 0x11}));
        EXPECT_TRUE(file->ReadMetadataChunk(i, size, 0, bytes.data()));
        // clang-format off
        const Range refused[] = {{1, size}, {size, 1}, {size + 1, 0}, {0, size + 1}, {1, INT64_MAX}, {-1, 1},
                                 {INT64_MAX, INT64_MAX}, {0, -1}, {INT64_MIN, INT64_MIN}};
        // clang-format on
        for (const auto& [offset, count] : refused)
            EXPECT_FALSE(file->ReadMetadataChunk(i, offset, count, bytes.data())) << offset << ", " << count;
        EXPECT_FALSE(file->ReadMetadataChunk(i, 0, 1, nullptr));
    }
    std::uint32_t id = 1;
    std::int64_t size = 2;
    double position = 3;
    for (const std::int32_t index : {-1, 3, INT32_MIN, INT32_MAX}) {
        EXPECT_FALSE(file->GetMetadataInfo(index, id, size, position));
        EXPECT_FALSE(file->ReadMetadataChunk(index, 0, 1, &id));
    }
    EXPECT_TRUE(id == 1 && size == 2 && position == 3 && mLog.empty());
}

TEST_F(WaveRead, MetadataPositionsAgainstOtherAudio) {
    const auto format = [] { return RiffImage().Format(); };                  // 36 bytes
    const auto data = [] { return RiffImage().Format().Chunk(kDataId, 40); }; // up to 84
    // clang-format off
    const struct { const char* name; RiffImage image; std::vector<double> positions; } kCases[] = {
        {"no audio", format().Chunk(kListId, 24).Chunk(kBextId, 24), {44 * 0.5 / 100 + 0.5, 76 * 0.5 / 100 + 0.5}},
        {"audio up to the last byte, a chunk inside", data().Chunk(kListId, 2).Chunk(kDataId, 2), {1.0}},
        {"audio up to the last byte, a chunk before",
         format().FillTo(60).Chunk(kListId, 12).Chunk(kDataId, 12), {68 * 0.5 / 100}},
        {"right behind the audio", data().Chunk(kListId, 8), {8 * 0.5 / 16 + 0.5}},
        {"behind the audio's pad byte", format().Chunk(kDataId, 3).Byte(0).Chunk(kListId, 8), {9 * 0.5 / 17 + 0.5}},
        {"two chunks between", data().Chunk(kListId, 2).Chunk(kBextId, 2).Chunk(kDataId, 2).Chunk(kListId, 2),
         {0.5, 0.5, 8 * 0.5 / 10 + 0.5}},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const auto file = Open(row.image);
        ASSERT_NE(file, nullptr);
        std::vector<double> found;
        for (const auto& metadatum : wave_tests::ReadMetadata(*file))
            found.push_back(metadatum.position);
        EXPECT_EQ(found, row.positions);
    }
}

TEST_F(WaveRead, SuspendedFilesAnswerAndReopen) {
    auto& calls = faults::SystemCalls();
    const RiffImage image = RiffImage().Format().Chunk(kDataId, 400).Chunk(kListId, 4);
    const auto file = Open(image);
    Bytes buffer(400);
    EXPECT_EQ(calls.OpenDescriptors(), 1);
    EXPECT_TRUE(file->Suspend() && file->Suspend());
    EXPECT_EQ(calls.OpenDescriptors(), 0);
    EXPECT_EQ(file->GetSampleCount(), 100);
    EXPECT_EQ(ReadSamples(*file, 0, 400), Filling(400));
    EXPECT_EQ(calls.OpenDescriptors(), 1);
    file->Suspend();
    EXPECT_TRUE(file->ReadMetadataChunk(0, 8, 4, buffer.data()));
    EXPECT_EQ(Part(buffer, 0, 4), Filling(4));
    EXPECT_EQ(calls.OpenDescriptors(), 1);

    file->Suspend(); // and now it cannot be opened again
    std::filesystem::rename(mFolder.Path("file"), mFolder.Path("away"));
    EXPECT_FALSE(file->ReadSampleBytes(0, 0, buffer.data()));
    EXPECT_FALSE(file->ReadMetadataChunk(0, 0, 1, buffer.data()));
    EXPECT_TRUE(mLog.empty()) << "a stream that does not open is not logged";
    std::filesystem::rename(mFolder.Path("away"), mFolder.Path("file"));
    EXPECT_EQ(ReadSamples(*file, 0, 400), Filling(400));
}

TEST_F(WaveRead, FailedReadsAreLoggedUnderTheirName) {
    auto& calls = faults::SystemCalls();
    const auto file = Open(RiffImage().Format().Chunk(kDataId, 5000).Chunk(kListId, 4));
    const auto failNext = [&] { calls.failAt = calls.calls; };
    Bytes buffer(5000);
    const std::string reason = ": cannot read '" + mFolder.Path("file").string() + "': ";
    failNext();
    EXPECT_FALSE(file->ReadSampleBytes(0, 5000, buffer.data()));
    failNext();
    EXPECT_FALSE(file->ReadMetadataChunk(0, 0, 12, buffer.data()));
    ASSERT_EQ(mLog.size(), 2u);
    EXPECT_EQ(mLog[0].rfind("kelaudiofile::WaveFile::Impl::ReadSampleBytes" + reason, 0), 0u) << mLog[0];
    EXPECT_EQ(mLog[1].rfind("kelaudiofile::WaveFile::Impl::ReadMetadataChunk" + reason, 0), 0u) << mLog[1];
    EXPECT_EQ(ReadSamples(*file, 0, 5000), Filling(5000));

    file->Suspend(); // a file that shrank
    std::filesystem::resize_file(mFolder.Path("file"), 44 + 4200);
    ReadSamples(*file, 0, 4201, false);
    EXPECT_EQ(ReadSamples(*file, 0, 4200), Filling(4200));
    EXPECT_EQ(mLog.size(), 3u);
}

// A count that lost its upper bits would be served from what is in memory already, without a call that can
// fail.
TEST_F(WaveRead, CountsBeyond32BitsKeepAllTheirBits) {
    constexpr std::int64_t k4GiB = std::int64_t{1} << 32;
    const RiffImage image =
        RiffImage(riff::kRf64Id).Ds64({.dataSize = k4GiB + 16}).Format().Header(kDataId, 0xFFFFFFFF);
    const auto end = image.Size() + static_cast<std::uint64_t>(k4GiB) + 16;
    const auto file = Open(image, end);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetSampleCount(), k4GiB / 4 + 4);
    PatchFile(mFolder.Path("file"), end - 8, Filling(8));
    EXPECT_EQ(ReadSamples(*file, k4GiB + 8, 8), Filling(8));
    Bytes buffer(100);
    const auto failFromNowOn = [this] {
        auto& calls = faults::SystemCalls();
        calls = {.failAt = 0, .mode = faults::System::Mode::kFailForGood};
        mLog.clear();
    };
    for (const std::int64_t count : {k4GiB / 2, k4GiB, k4GiB + 16, INT64_MAX}) {
        faults::SystemCalls() = {};
        EXPECT_TRUE(file->ReadSampleBytes(0, 100, buffer.data()));
        failFromNowOn();
        EXPECT_FALSE(file->ReadSampleBytes(0, count, buffer.data())) << count;
        EXPECT_EQ(mLog.size(), 1u);
    }
    // A metadata chunk is read in one piece or not at all.
    faults::SystemCalls() = {};
    const auto large = Open(RiffImage().Format().Header(kListId, 3u << 30), 44 + (3ull << 30));
    ASSERT_NE(large, nullptr);
    failFromNowOn();
    EXPECT_FALSE(large->ReadMetadataChunk(0, 0, k4GiB / 2, buffer.data()));
    EXPECT_TRUE(mLog.empty()) << "refused before it is tried";
    EXPECT_FALSE(large->ReadMetadataChunk(0, 0, k4GiB / 2 - 1, buffer.data()));
    EXPECT_EQ(mLog.size(), 1u);
}
