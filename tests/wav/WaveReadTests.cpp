#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "WaveTest.h"
#include "models/FrameModels.h"
#include "support/Sweep.h"

using namespace wave_tests;
using namespace kelaudiofile;

namespace {

constexpr std::uint16_t kExtensible = 0xFFFE;

class WaveRead : public WaveTest {};

FormatImage Extensible(std::uint16_t inChannels, std::uint32_t inMask, std::uint16_t inSubformat,
                       const Bytes& inGuidEnd = kPlainGuidEnd) {
    return {.tag = kExtensible,
            .channels = inChannels,
            .blockAlign = static_cast<std::uint16_t>(2 * inChannels),
            .tail = ExtensibleTail(16, inMask, inSubformat, inGuidEnd)};
}

/// Describes an opened file, such as "250 x 2 bytes, 16 bit int: 100 101".
std::string Describe(const WaveFile& inFile) {
    std::ostringstream text;
    constexpr const char* kTypes[] = {"none", "int", "float", "float of 32768", "float of 8388608"};
    text << inFile.GetSampleCount() << " x " << inFile.GetBytesPerSample() << " bytes, "
         << inFile.GetSampleBitDepth() << " bit " << kTypes[inFile.GetSampleType()] << ':';
    for (const auto channel : inFile.GetChannelLayout())
        text << ' ' << channel.Value();
    text << (inFile.IsRf64Format() ? "" : ", chunks")
         << (inFile.IsRecoveredTruncatedFile() ? ", recovered" : "");
    return text.str();
}

} // namespace

TEST_F(WaveRead, EveryCodeOfTheOpen) {
    const auto format = [](std::uint16_t tag) { return Wave({.tag = tag}); };
    // clang-format off
    const struct { const char* name; Bytes image; std::int32_t code; std::uint32_t formatTag = 0; } kCases[] = {
        {"RIFF", Wave(), Error::kNoError},
        {"BW64", Riff("BW64").Chunk("ds64", Ds64Image()).Chunk("fmt ", FormatImage()), Error::kNoError},
        {"another magic", Riff("FORM").Chunk("fmt ", FormatImage()), Error::kNotWaveFile},
        {"another form", Riff("RIFF", "AVI ").Chunk("fmt ", FormatImage()), Error::kNotWaveFile},
        {"11 bytes", Riff().Cut(11), Error::kChunkScanFailed},
        {"no format", Riff().Chunk("data", Filling(9)), Error::kNoFormatChunk},
        {"an empty format", Riff().Chunk("fmt ", {}).Chunk("data", Filling(9)), Error::kNoFormatChunk},
        {"65,537 bytes of format", Wave({.tail = Bytes(65521)}), Error::kFormatChunkTooLarge},
        {"ADPCM", format(2), Error::kAdpcmFormat}, {"IMA ADPCM", format(0x11), Error::kImaAdpcmFormat},
        {"A-law", format(6), Error::kALawFormat}, {"mu-law", format(7), Error::kMuLawFormat},
        {"GSM 6.10", format(0x31), Error::kGsm610Format}, {"unknown tag", format(0x55), Error::kUnknownFormat, 0x55},
        {"unknown subformat", Wave(Extensible(2, 3, 0x55)), Error::kUnknownFormat, kExtensible},
    };
    // clang-format on
    for (const auto& row : kCases) {
        const auto file = Open(row.image);
        EXPECT_EQ(std::pair(mError.code, mError.formatTag), std::pair(row.code, row.formatTag)) << row.name;
        EXPECT_EQ(file == nullptr, row.code != Error::kNoError) << row.name;
    }
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    std::filesystem::remove(mPath);
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
        {mono(1, 3, 24), DeInterleave24Bit, "334 x 3 bytes, 24 bit int: 102"},
        {mono(1, 3, 20), nullptr, "334 x 3 bytes, 20 bit int: 102"},
        {mono(3, 4, 24), DeInterleave32BitFloat_1, "250 x 4 bytes, 24 bit float: 102"},
        {mono(1, 8, 64), DeInterleave64Bit, "125 x 8 bytes, 64 bit int: 102"},
        {mono(3, 8, 64), DeInterleave64BitFloat, "125 x 8 bytes, 64 bit float: 102"},
        // Floats with the tag of integers
        {mono(1, 4, 24, one), DeInterleave32BitFloat_8388608, "250 x 4 bytes, 32 bit float of 8388608: 102"},
        {mono(1, 4, 32, one), DeInterleave32BitFloat_32768, "250 x 4 bytes, 32 bit float of 32768: 102"},
        {mono(1, 8, 32, one), DeInterleave64BitFloat, "125 x 8 bytes, 32 bit float of 32768: 102"},
        {mono(1, 4, 32, {2, 0, 0, 0}), DeInterleave32Bit, "250 x 4 bytes, 32 bit int: 102"},
        {mono(1, 4, 32, {2, 0, 1, 1}), DeInterleave32Bit, "250 x 4 bytes, 32 bit int: 102"},
        {mono(1, 4, 32, {3, 0, 1, 0, 0}), DeInterleave32Bit, "250 x 4 bytes, 32 bit int: 102"},
        // No block align, and invalid channel counts
        {mono(1, 0, 16), DeInterleave16Bit, "501 x 2 bytes, 16 bit int: 102"},
        {mono(1, 0, 7), nullptr, "0 x 0 bytes, 7 bit int: 102"},
        {{.channels = 0}, DeInterleave32Bit, "0 x 4 bytes, 16 bit int:"},
        {{.channels = 0xFFFF}, DeInterleave32Bit, "-250 x 4 bytes, 16 bit int:"},
        // Layouts
        {ambisonic(3, 3, 3), DeInterleave16Bit, "167 x 2 bytes, 16 bit float: 134 135 136"},
        {ambisonic(5, 0x3F), DeInterleave16Bit, "100 x 2 bytes, 16 bit int: 134 135 136 103 104"},
        {ambisonic(6, 0x3F), DeInterleave16Bit, "83 x 2 bytes, 16 bit int: 134 135 136 137 104 105"},
        {ambisonic(0x8000, 4), DeInterleave16Bit, "0 x 2 bytes, 16 bit int: 102"},
    };
    // clang-format on
    for (const auto& row : kCases) {
        const auto file = Open(Wave(row.format).Unpadded("data", Filling(1003)));
        ASSERT_NE(file, nullptr) << row.meaning;
        EXPECT_EQ(Describe(*file), row.meaning);
        EXPECT_EQ(GetDeinterleaveFunction(*file), row.routine) << row.meaning;
        const bool isUnsigned = row.routine == DeInterleave8Bit;
        EXPECT_TRUE(
            sample_models::IsDecodedBy(GetSampleFormat(*file), row.routine,
                                       isUnsigned ? ConvertBetweenSigned8BitAudioAndUnsigned : nullptr))
            << row.meaning;
        EXPECT_EQ(file->GetSampleRate(), 48000);
        EXPECT_EQ(file->GetNumChannels(), static_cast<std::int16_t>(row.format.channels));
        const auto record = file->GetRiffAudioCharacteristics(); // as in the file, not as refined
        EXPECT_EQ(record.bitsPerSample, row.format.bits);
        EXPECT_EQ(std::count(record.channelLayout.begin(), record.channelLayout.end(), 134u), 0);
    }
}

TEST_F(WaveRead, FilesWithoutSamplesAndUnfinishedOnes) {
    const std::pair<Bytes, std::string> kCases[] = {
        {Wave(), "0"},
        {Wave().Chunk("data", {}).Chunk("LIST", Filling(4)), "0"},
        {Wave().Header("data", 0).Add(Filling(1003)), "250, recovered"},
        {Wave().Chunk("data", Filling(8)).Header("data", 0).Add(Filling(9)), "4, chunks, recovered"},
        {Wave().Header("data", 5000).Add(Filling(1003)), "250"}};
    for (const auto& [image, expected] : kCases) {
        const auto file = Open(image);
        ASSERT_NE(file, nullptr);
        const std::size_t comma = std::min(expected.find(','), expected.size());
        EXPECT_EQ(Describe(*file),
                  expected.substr(0, comma) + " x 2 bytes, 16 bit int: 100 101" + expected.substr(comma));
        EXPECT_EQ(Read(*file, 0, 8), expected != "0" ? Filling(8) : Bytes());
    }
}

TEST_F(WaveRead, RangesThatAreRefused) {
    const auto file = Open(Wave().Chunk("data", Filling(1499)).Chunk("LIST", Filling(50)));
    ASSERT_NE(file, nullptr);
    unsigned char byte = 0x11;
    const auto reads = [&](std::int64_t offset, std::int64_t count) {
        return file->ReadSampleBytes(offset, count, &byte);
    };
    const auto readsChunk = [&](std::int64_t offset, std::int64_t count, std::int32_t index = 0) {
        return file->ReadMetadataChunk(index, offset, count, &byte);
    };
    EXPECT_FALSE(reads(1499, 1) || reads(INT64_MAX, 1) || reads(INT64_MAX, INT64_MAX));
    EXPECT_FALSE(reads(-1, 1) || reads(0, -1) || reads(INT64_MIN, 2));
    EXPECT_FALSE(readsChunk(1, 58) || readsChunk(58, 1) || readsChunk(59, 0) || readsChunk(1, INT64_MAX));
    EXPECT_FALSE(readsChunk(INT64_MAX, INT64_MAX) || readsChunk(-1, 1) || readsChunk(0, -1));
    EXPECT_FALSE(file->ReadSampleBytes(0, 0, nullptr) || file->ReadMetadataChunk(0, 0, 1, nullptr));
    std::uint32_t id = 1;
    std::int64_t size = 2;
    double position = 3;
    for (const std::int32_t index : {-1, 1, INT32_MIN, INT32_MAX})
        EXPECT_FALSE(file->GetMetadataInfo(index, id, size, position) || readsChunk(0, 1, index));
    EXPECT_TRUE(byte == 0x11 && id == 1 && size == 2 && position == 3);
    EXPECT_TRUE(reads(INT64_MAX, 0) && readsChunk(58, 0));
    EXPECT_TRUE(mLog.empty()) << "nothing of this is a failed read";
}

TEST_F(WaveRead, AllDataChunksAreOneRun) {
    Image image = Wave();
    std::size_t total = 0;
    for (const std::size_t size : {5u, 1u, 8u, 3u, 2u, 7u}) {
        image.Chunk("data", SampleBytes(total, size)).Chunk("LIST", Filling(size));
        total += size;
    }
    const auto file = Open(image);
    ASSERT_NE(file, nullptr);
    for (std::size_t offset = 0; offset <= total; ++offset)
        for (std::size_t count = 1; count <= total + 1; ++count) {
            const std::size_t there = std::min(count, total - offset);
            Bytes expected = SampleBytes(offset, there), buffer(count, 0x11);
            expected.resize(count, 0x11);
            EXPECT_EQ(file->ReadSampleBytes(static_cast<std::int64_t>(offset),
                                            static_cast<std::int64_t>(count), buffer.data()),
                      there == count);
            EXPECT_EQ(buffer, expected) << count << " at " << offset;
        }
}

TEST_F(WaveRead, MetadataAndTheirPositions) {
    const Image list = Image().Chunk("LIST", Filling(8)), bext = Image().Chunk("bext", Filling(24));
    const Bytes data = Filling(40), junk = Filling(12);
    Image all =
        Riff().Add(list).Chunk("JUNQ", {1}).Chunk("fmt ", FormatImage()).Chunk("data", data).Add(bext);
    all.Chunk("FLLR", junk).Chunk("data", data).Chunk("JUNK", junk).Add(list).Chunk("fmt ", junk);
    const auto size = static_cast<double>(all.Size());
    // clang-format off
    const struct { const char* name; Bytes image; std::vector<Metadatum> metadata; } kCases[] = {
        {"on all sides", all, {{list, 20 / size / 2}, {bext, 0.5}, {list, 0.75}}},
        {"no audio", Wave().Add(list).Add(bext), {{list, 44.0 / 84 / 2 + 0.5}, {bext, 60.0 / 84 / 2 + 0.5}}},
        {"audio up to the last byte, a chunk inside", Wave().Chunk("data", data).Add(bext).Chunk("data", data), {{bext, 1.0}}},
        {"audio up to the last byte, a chunk before", Wave().Add(list).Chunk("data", data), {{list, 44.0 / 100 / 2}}},
        {"right after the audio", Wave().Chunk("data", data).Add(list), {{list, 8.0 / 16 / 2 + 0.5}}},
        {"after the audio's pad byte", Wave().Chunk("data", {1}).Add(list), {{list, 9.0 / 17 / 2 + 0.5}}},
    };
    // clang-format on
    for (const auto& row : kCases) {
        const auto file = Open(row.image);
        ASSERT_NE(file, nullptr);
        EXPECT_TRUE(ReadMetadata(*file) == row.metadata) << row.name;
    }
    Bytes bytes = {0x11, 0x11};
    EXPECT_TRUE(Open(all)->ReadMetadataChunk(1, 15, 1, bytes.data()));
    EXPECT_EQ(bytes, (Bytes{Filling(8).back(), 0x11}));
}

TEST_F(WaveRead, SuspendedFilesThatAreGoneOrShrank) {
    const auto file = Open(Wave().Chunk("data", Filling(400)).Chunk("LIST", Filling(4)));
    unsigned char byte;
    EXPECT_TRUE(file->Suspend() && file->Suspend() && faults::SystemCalls().OpenDescriptors() == 0);
    std::filesystem::rename(mPath, mFolder.Path("away"));
    EXPECT_FALSE(file->ReadSampleBytes(0, 0, &byte) || file->ReadMetadataChunk(0, 0, 1, &byte));
    EXPECT_TRUE(mLog.empty()) << "a stream that does not open is not logged";
    std::filesystem::rename(mFolder.Path("away"), mPath);
    std::filesystem::resize_file(mPath, 44 + 200);
    EXPECT_EQ(Read(*file, 0, 201), Bytes());
    EXPECT_EQ(Read(*file, 0, 200), Filling(200));
}

// Failed reads are logged. A count whose upper bits were lost would be served from memory, without a call
// that can fail.
TEST_F(WaveRead, FailedReadsAndCountsBeyond32Bits) {
    const Image start =
        Riff("RF64")
            .Chunk("ds64", Ds64Image{.dataSize = kLimit + 16, .rows = {{FourCC("LIST"), 3 * kGiB}}})
            .Chunk("fmt ", FormatImage())
            .Header("data", 0xFFFFFFFF);
    const std::uint64_t end = start.Size() + kLimit + 16;
    Put(start, end);
    testing_support::PatchFile(mPath, end - 8, Image().Add(Filling(8)).Header("LIST", 0xFFFFFFFF));
    std::filesystem::resize_file(mPath, end + 8 + 3 * kGiB);
    const auto file = Open();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetSampleCount(), static_cast<std::int64_t>(kLimit / 4 + 4));
    EXPECT_EQ(Read(*file, kLimit + 8, 8), Filling(8));
    Bytes buffer(100);
    const auto expectLogged = [&](const std::string& function, auto read) {
        faults::SystemCalls() = {};
        EXPECT_TRUE(file->ReadSampleBytes(0, 100, buffer.data()));
        faults::SystemCalls() = {.failAt = 0, .mode = faults::System::Mode::kFailForGood};
        mLog.assign(1, "");
        EXPECT_FALSE(read());
        EXPECT_TRUE(mLog.back().starts_with("kelaudiofile::WaveFile::Impl::" + function + ": cannot read '" +
                                            mPath.string() + "': "))
            << mLog.back();
    };
    for (const std::int64_t count : {std::int64_t{1} << 31, std::int64_t{1} << 32, INT64_MAX})
        expectLogged("ReadSampleBytes", [&] { return file->ReadSampleBytes(0, count, buffer.data()); });
    // A metadata chunk is read in one piece or not at all.
    const auto reads = [&](std::int64_t count) {
        return file->ReadMetadataChunk(0, 0, count, buffer.data());
    };
    expectLogged("ReadMetadataChunk", [&] { return reads((std::int64_t{1} << 31) - 1); });
    EXPECT_TRUE(!reads(std::int64_t{1} << 31) && mLog.size() == 2) << "refused before it is tried";
}

// The system calls are: the size that shows whether the file exists; the open; read and size of the scan;
// read of the format; size; read of the samples; close; the open after that; read of the metadata; and none.
// Whatever failed, a file that opened works normally afterwards.
TEST_F(WaveRead, EverySystemCallAndAllocationFails) {
    kelcore::logging::SetSink([](std::string_view) {}); // without a trace in memory
    Put(Riff("RF64")
            .Chunk("ds64", Ds64Image{.dataSize = 400, .rows = {{FourCC("bext"), 3}, {FourCC("LIST"), 4}}})
            .Chunk("fmt ", Extensible(2, 3, 1))
            .Chunk("data", Filling(400))
            .Chunk("LIST", Filling(4)));
    std::string outcomes;
    outcomes.reserve(4000);
    const auto readsAll = [&] {
        const bool samples = Read(*mFile, 0, 400) == Filling(400);
        EXPECT_TRUE(mFile->Suspend() && mFile->GetSampleCount() == 100);
        return ReadMetadata(*mFile).at(0).whole.size() == 12 && samples;
    };
    const auto run = [&] {
        try {
            mFile = Open();
            outcomes += !mFile ? std::to_string(mError.code) : readsAll() ? "all" : "part";
        } catch (const std::bad_alloc&) {
        } catch (const kelcore::filesupport::file_exception&) {
            outcomes += "thrown";
        }
        outcomes += ' ';
        faults::Disarm();
        EXPECT_TRUE(!mFile || readsAll()) << "usable afterwards";
        mFile.reset();
    };
    faults::SweepCalls({}, run);
    EXPECT_EQ(outcomes, "1 3 3 3 7 thrown part all part part all ");
    EXPECT_GT(faults::SweepAllocations(run), 10u);
}
