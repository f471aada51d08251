#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <sstream>

#include "WaveReadTest.h"
#include "support/Random.h"

using namespace kelaudiofile;
using namespace testing_support;
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

/// What the open makes of a format, such as "250 x 2 bytes, 16 bit int: 100 101".
std::string Describe(const WaveFile& inFile) {
    std::ostringstream text;
    constexpr const char* kTypes[] = {"none", "int", "float", "float of 32768", "float of 8388608"};
    text << inFile.GetSampleCount() << " x " << inFile.GetBytesPerSample() << " bytes, "
         << inFile.GetSampleBitDepth() << " bit " << kTypes[inFile.GetSampleType()] << ':';
    for (const auto channel : inFile.GetChannelLayout())
        text << ' ' << channel.Value();
    return text.str();
}

} // namespace

TEST_F(WaveRead, EveryCodeOfTheOpen) {
    const auto format = [](std::uint16_t tag) { return RiffImage().Format({.tag = tag}); };
    // clang-format off
    const struct { const char* name; RiffImage image; std::int32_t code; std::uint32_t formatTag = 0; } kCases[] = {
        {"RIFF", RiffImage().Format(), Error::kNoError},
        {"BW64", RiffImage(riff::kBw64Id).Ds64({}).Format(), Error::kNoError},
        {"another magic", RiffImage(bytes::FourCC("FORM")).Format(), Error::kNotWaveFile},
        {"another form", RiffImage(riff::kRiffId, bytes::FourCC("AVI ")).Format(), Error::kNotWaveFile},
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
        const auto file = Open(row.image);
        EXPECT_EQ(std::pair(mError.code, mError.formatTag), std::pair(row.code, row.formatTag)) << row.name;
        EXPECT_EQ(file == nullptr, row.code != Error::kNoError) << row.name;
    }
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    std::filesystem::remove(mFolder.Path("file"));
    EXPECT_TRUE(!Open() && mError.code == Error::kFileNotFound && mLog.empty());
}

TEST_F(WaveRead, WhatTheFormatMeans) {
    const auto mono = [](std::uint16_t tag, std::uint16_t blockAlign, std::uint16_t bits, Bytes tail = {}) {
        return FormatImage{tag, 1, 48000, blockAlign, bits, std::move(tail)};
    };
    const auto ambisonic = [](std::uint16_t channels, std::uint32_t mask = 0, std::uint16_t subformat = 1) {
        return Extensible(channels, mask, subformat, kAmbisonicGuidEnd);
    };
    const Bytes one = {2, 0, 1, 0};
    // clang-format off
    const struct { FormatImage format; DeinterleaveFunction routine; const char* meaning; } kCases[] = {
        {mono(1, 1, 8), DeInterleave8Bit, "1003 x 1 bytes, 8 bit int: 102"},
        {{}, DeInterleave16Bit, "250 x 2 bytes, 16 bit int: 100 101"},
        {mono(1, 2, 12), nullptr, "501 x 2 bytes, 12 bit int: 102"},
        {mono(1, 3, 24), DeInterleave24Bit, "334 x 3 bytes, 24 bit int: 102"},
        {mono(1, 3, 20), nullptr, "334 x 3 bytes, 20 bit int: 102"},
        {mono(1, 4, 17), DeInterleave32Bit, "250 x 4 bytes, 17 bit int: 102"},
        {mono(3, 4, 24), DeInterleave32BitFloat_1, "250 x 4 bytes, 24 bit float: 102"},
        {mono(1, 8, 64), DeInterleave64Bit, "125 x 8 bytes, 64 bit int: 102"},
        {mono(3, 8, 64), DeInterleave64BitFloat, "125 x 8 bytes, 64 bit float: 102"},
        // Floats behind the tag of integers
        {mono(1, 4, 24, one), DeInterleave32BitFloat_8388608, "250 x 4 bytes, 32 bit float of 8388608: 102"},
        {mono(1, 4, 32, one), DeInterleave32BitFloat_32768, "250 x 4 bytes, 32 bit float of 32768: 102"},
        {mono(1, 8, 32, one), DeInterleave64BitFloat, "125 x 8 bytes, 32 bit float of 32768: 102"},
        {mono(1, 4, 32, {2, 0, 1, 1}), DeInterleave32Bit, "250 x 4 bytes, 32 bit int: 102"},
        {mono(1, 4, 32, {3, 0, 1, 0, 0}), DeInterleave32Bit, "250 x 4 bytes, 32 bit int: 102"},
        // No block align, and channel counts that make no sense
        {mono(1, 0, 16), DeInterleave16Bit, "501 x 2 bytes, 16 bit int: 102"},
        {mono(1, 0, 7), nullptr, "0 x 0 bytes, 7 bit int: 102"},
        {{.channels = 0}, DeInterleave32Bit, "0 x 4 bytes, 16 bit int:"},
        {{.channels = 0xFFFF}, DeInterleave32Bit, "-250 x 4 bytes, 16 bit int:"},
        // Layouts
        {Extensible(2, 0x600, 1), DeInterleave16Bit, "250 x 2 bytes, 16 bit int: 109 110"},
        {Extensible(1, 0, 3), DeInterleave16Bit, "501 x 2 bytes, 16 bit float: 0"},
        {Extensible(0, 3, 1), DeInterleave16Bit, "0 x 2 bytes, 16 bit int: 100"},
        {ambisonic(3, 3, 3), DeInterleave16Bit, "167 x 2 bytes, 16 bit float: 134 135 136"},
        {ambisonic(5, 0x3F), DeInterleave16Bit, "100 x 2 bytes, 16 bit int: 134 135 136 103 104"},
        {ambisonic(6, 0x3F), DeInterleave16Bit, "83 x 2 bytes, 16 bit int: 134 135 136 137 104 105"},
        {ambisonic(0x8000, 4), DeInterleave16Bit, "0 x 2 bytes, 16 bit int: 102"},
    };
    // clang-format on
    for (const auto& row : kCases) {
        const auto file =
            Open(RiffImage().Format(row.format).Chunk(kDataId, 1003), row.format.Data().size() + 1031);
        ASSERT_NE(file, nullptr) << row.meaning;
        EXPECT_EQ(Describe(*file), row.meaning);
        EXPECT_EQ(GetDeinterleaveFunction(*file), row.routine) << row.meaning;
        EXPECT_EQ(file->GetSampleRate(), 48000);
        EXPECT_EQ(file->GetNumChannels(), static_cast<std::int16_t>(row.format.channels));
        const auto record = file->GetRiffAudioCharacteristics(); // as in the file, not as refined
        EXPECT_EQ(record.bitsPerSample, row.format.bits);
        EXPECT_EQ(std::count(record.channelLayout.begin(), record.channelLayout.end(), 134u), 0);
    }
}

TEST_F(WaveRead, FilesWithoutSamplesAndUnfinishedOnes) {
    const auto format = [] { return RiffImage().Format(); };
    // clang-format off
    const struct { RiffImage image; std::int64_t frames; bool rf64, recovered; } kCases[] = {
        {format(), 0, true, false},
        {format().Header(kDataId, 0).Chunk(kListId, 4), 0, true, false},
        {format().Header(kDataId, 0).Append(Filling(1003)), 250, true, true}, // size never written
        {format().Chunk(kDataId, 8).Header(kDataId, 0).Append(Filling(9)), 4, false, true},
        {format().Header(kDataId, 5000).Append(Filling(1003)), 250, true, false}, // cut
    };
    // clang-format on
    for (const auto& [image, frames, rf64, recovered] : kCases) {
        const auto file = Open(image);
        ASSERT_NE(file, nullptr);
        EXPECT_TRUE(file->IsRf64Format() == rf64 && file->IsRecoveredTruncatedFile() == recovered) << frames;
        EXPECT_EQ(file->GetSampleCount(), frames);
        ReadSamples(*file, 0, 8, frames > 0);
    }
}

TEST_F(WaveRead, RangesThatAreRefused) {
    const auto file = Open(RiffImage().Format().Chunk(kDataId, 1499).Byte(0).Chunk(kListId, 50));
    ASSERT_NE(file, nullptr);
    unsigned char byte = 0x11;
    const Range samples[] = {{1499, 1}, {INT64_MAX, 1}, {INT64_MAX, INT64_MAX},
                             {-1, 1},   {0, -1},        {INT64_MIN, 2}};
    for (const auto& [offset, count] : samples)
        EXPECT_FALSE(file->ReadSampleBytes(offset, count, &byte)) << offset << ", " << count;
    const Range chunk[] = {{1, 58},
                           {58, 1},
                           {59, 0},
                           {0, 59},
                           {INT64_MAX, INT64_MAX},
                           {1, INT64_MAX},
                           {-1, 1},
                           {0, -1},
                           {INT64_MIN, INT64_MIN}};
    for (const auto& [offset, count] : chunk)
        EXPECT_FALSE(file->ReadMetadataChunk(0, offset, count, &byte)) << offset << ", " << count;
    std::uint32_t id = 1;
    std::int64_t size = 2;
    double position = 3;
    for (const std::int32_t index : {-1, 1, INT32_MIN, INT32_MAX})
        EXPECT_FALSE(file->GetMetadataInfo(index, id, size, position) ||
                     file->ReadMetadataChunk(index, 0, 1, &byte));
    EXPECT_FALSE(file->ReadSampleBytes(0, 0, nullptr) || file->ReadMetadataChunk(0, 0, 1, nullptr));
    EXPECT_TRUE(byte == 0x11 && id == 1 && size == 2 && position == 3);
    EXPECT_TRUE(file->ReadSampleBytes(INT64_MAX, 0, &byte) && file->ReadMetadataChunk(0, 58, 0, &byte));
    EXPECT_TRUE(mLog.empty()) << "nothing of this is a failed read";
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

TEST_F(WaveRead, MetadataAndTheirPositions) {
    const auto format = [] { return RiffImage().Format(); };                  // 36 bytes
    const auto data = [] { return RiffImage().Format().Chunk(kDataId, 40); }; // up to 84
    RiffImage large; // with one of each kind that is no metadata
    large.Chunk(kListId, 20).Chunk(bytes::FourCC("JUNQ"), 1).Byte(0).Format().FillTo(92).Chunk(kDataId, 300);
    large.Chunk(kBextId, 8).Chunk(riff::kFillerId, 2).Chunk(riff::kFormatId, 2).FillTo(800);
    large.Chunk(kDataId, 92).FillTo(942).Chunk(kListId, 50);
    // clang-format off
    const struct { const char* name; RiffImage image; std::vector<double> positions; } kCases[] = {
        {"on all sides", large, {20 * 0.5 / 1000, 0.5, 0.75}},
        {"no audio", format().Chunk(kListId, 24).Chunk(kBextId, 24), {44 * 0.5 / 100 + 0.5, 76 * 0.5 / 100 + 0.5}},
        {"audio up to the last byte, a chunk inside", data().Chunk(kListId, 2).Chunk(kDataId, 2), {1.0}},
        {"audio up to the last byte, a chunk before",
         format().FillTo(60).Chunk(kListId, 12).Chunk(kDataId, 12), {68 * 0.5 / 100}},
        {"right behind the audio", data().Chunk(kListId, 8), {8 * 0.5 / 16 + 0.5}},
        {"behind the audio's pad byte", format().Chunk(kDataId, 3).Byte(0).Chunk(kListId, 8), {9 * 0.5 / 17 + 0.5}},
    };
    // clang-format on
    for (const auto& row : kCases) {
        const auto file = Open(row.image);
        ASSERT_NE(file, nullptr);
        std::vector<double> found;
        for (const auto& metadatum : wave_tests::ReadMetadata(*file))
            found.push_back(metadatum.position);
        EXPECT_EQ(found, row.positions) << row.name;
    }
    const auto file = Open(large);
    const auto metadata = wave_tests::ReadMetadata(*file);
    ASSERT_EQ(metadata.size(), 3u);
    EXPECT_TRUE(metadata[0].id == kListId && metadata[0].whole == Part(large.Bytes(), 12, 28));
    EXPECT_TRUE(metadata[1].id == kBextId && metadata[1].whole == Part(large.Bytes(), 400, 16));
    EXPECT_TRUE(metadata[2].id == kListId && metadata[2].whole == Part(large.Bytes(), 942, 58));
    Bytes bytes = {0x11, 0x11};
    EXPECT_TRUE(file->ReadMetadataChunk(1, 15, 1, bytes.data()));
    EXPECT_EQ(bytes, (Bytes{metadata[1].whole.back(), 0x11}));
}

TEST_F(WaveRead, SuspendedFilesThatAreGoneOrShrank) {
    const auto file = Open(RiffImage().Format().Chunk(kDataId, 400).Chunk(kListId, 4));
    unsigned char byte;
    EXPECT_TRUE(file->Suspend() && file->Suspend() && faults::SystemCalls().OpenDescriptors() == 0);
    std::filesystem::rename(mFolder.Path("file"), mFolder.Path("away"));
    EXPECT_FALSE(file->ReadSampleBytes(0, 0, &byte) || file->ReadMetadataChunk(0, 0, 1, &byte));
    EXPECT_TRUE(mLog.empty()) << "a stream that does not open is not logged";
    std::filesystem::rename(mFolder.Path("away"), mFolder.Path("file"));
    std::filesystem::resize_file(mFolder.Path("file"), 44 + 200);
    ReadSamples(*file, 0, 201, false);
    EXPECT_EQ(ReadSamples(*file, 0, 200), Filling(200));
}

// Failed reads are logged. A count that lost its upper bits would be served from what is in memory already,
// without a call that can fail.
TEST_F(WaveRead, FailedReadsAndCountsBeyond32Bits) {
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
    for (const std::int64_t count : {k4GiB / 2, k4GiB, k4GiB + 16, INT64_MAX}) {
        faults::SystemCalls() = {};
        EXPECT_TRUE(file->ReadSampleBytes(0, 100, buffer.data()));
        faults::SystemCalls() = {.failAt = 0, .mode = faults::System::Mode::kFailForGood};
        EXPECT_FALSE(file->ReadSampleBytes(0, count, buffer.data())) << count;
    }
    ASSERT_EQ(mLog.size(), 4u);
    const std::string reason = ": cannot read '" + mFolder.Path("file").string() + "': ";
    EXPECT_TRUE(mLog[3].starts_with("kelaudiofile::WaveFile::Impl::ReadSampleBytes" + reason)) << mLog[3];
    // A metadata chunk is read in one piece or not at all.
    faults::SystemCalls() = {};
    const auto large = Open(RiffImage().Format().Header(kListId, 3u << 30), 44 + (3ull << 30));
    ASSERT_NE(large, nullptr);
    faults::SystemCalls() = {.failAt = 0, .mode = faults::System::Mode::kFailForGood};
    EXPECT_FALSE(large->ReadMetadataChunk(0, 0, k4GiB / 2, buffer.data()));
    EXPECT_EQ(mLog.size(), 4u) << "refused before it is tried";
    EXPECT_FALSE(large->ReadMetadataChunk(0, 0, k4GiB / 2 - 1, buffer.data()));
    ASSERT_EQ(mLog.size(), 5u);
    EXPECT_TRUE(mLog[4].starts_with("kelaudiofile::WaveFile::Impl::ReadMetadataChunk" + reason)) << mLog[4];
}
