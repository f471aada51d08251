#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "WaveTest.h"
#include "kelaudiofile/ChannelMask.h"
#include "kelaudiofile/WaveFormatChunkReader.h"
#include "kelcore/debug.h"

using namespace wave_tests;
using kelaudiofile::RiffChunkReader, kelaudiofile::WaveFormatChunkReader;
using Characteristics = kelaudiofile::AudioCharacteristics;

namespace {

constexpr std::uint16_t kExtensible = 0xFFFE;

/// Describes a record in one line, such as "PCM 1, 2 x 2 bytes, 16 bits, valid 12, for 100 101, extra 7 8". A
/// rate of 48,000 Hz is omitted, and so are valid bits equal to all bits.
std::string Describe(const Characteristics& inFormat) {
    static constexpr const char* kStatus[] = {"", "not found: ", "too large: ", "failed: "};
    static constexpr const char* kCategories[] = {
        "unknown", "PCM",    "float", "ADPCM",         "IMA ADPCM",
        "A-law",   "mu-law", "GSM",   "Ambisonic PCM", "Ambisonic float"};
    std::ostringstream text;
    text << kStatus[inFormat.status] << kCategories[inFormat.formatCategory + 1] << ' ' << inFormat.formatTag
         << ", " << inFormat.numChannels << " x " << inFormat.bytesPerSample << " bytes, "
         << inFormat.bitsPerSample << " bits" << (inFormat.containerKind == 0 ? "" : ", container");
    if (inFormat.sampleRate != 48000)
        text << ", " << inFormat.sampleRate << " Hz";
    if (inFormat.validBitsPerSample != inFormat.bitsPerSample)
        text << ", valid " << inFormat.validBitsPerSample;
    for (const char* start = ", for "; const auto channel : inFormat.channelLayout)
        text << std::exchange(start, " ") << channel.Value();
    for (const char* start = ", extra "; const int byte : inFormat.extraFormatBytes)
        text << std::exchange(start, " ") << byte;
    return text.str();
}

class FormatChunk : public WaveTest {
protected:
    /// Reads bytes at some place in a file as a chunk, which ends with them unless it is given another size.
    Characteristics Decode(const Bytes& inData, std::optional<std::int64_t> inSize = {}) {
        Put(Image().Fill(5, 0xEE).Add(inData));
        const RiffChunkReader::RiffChunkInfo chunk{FourCC("LIST"), inSize.value_or(std::ssize(inData)), 0, 5,
                                                   false};
        return WaveFormatChunkReader(mFolder.File("file"), chunk, inData.size() % 2 == 1)
            .GetAudioCharacteristics();
    }
    /// Finishes the file being written. @return the size and meaning of its chunk.
    std::string Written() {
        EXPECT_TRUE(mFile->FinishWrite());
        const RiffChunkReader scan(mFolder.File("file"), false);
        const auto& chunks = scan.GetFileInfo().chunks;
        const WaveFormatChunkReader reader(mFolder.File("file"), scan.GetFileInfo(), false);
        return std::to_string(chunks.empty() ? 0 : chunks[0].chunkSize) + ": " +
               Describe(reader.GetAudioCharacteristics());
    }
};

Bytes Sized(std::size_t inSize, Bytes inBytes = FormatImage()) {
    inBytes.resize(inSize);
    return inBytes;
}

const std::string kPlain = "PCM 1, 2 x 2 bytes, 16 bits", kNothing = "unknown 0, 0 x 0 bytes, 0 bits, 0 Hz";

} // namespace

TEST_F(FormatChunk, FieldsAndLengths) {
    const auto extended = [](Bytes bytes) { return FormatImage{.tail = std::move(bytes)}; };
    const auto wide = [](std::uint16_t validBits, std::uint32_t mask) {
        return FormatImage{kExtensible, 4, 48000, 16, 32, ExtensibleTail(validBits, mask, 1)};
    };
    // clang-format off
    const struct { const char* name; Bytes data; std::string expected; } kCases[] = {
        {"16 bytes", FormatImage(), kPlain},
        {"14 bytes: bits from the block align", Sized(14), kPlain},
        {"15 bytes: half a field counts as none", Sized(15, FormatImage{.bits = 12}), kPlain},
        {"8 bytes: no block align", Sized(8), "PCM 1, 2 x 0 bytes, 0 bits"},
        {"1 byte: no tag", Sized(1), kNothing},
        {"no byte", {}, kNothing},
        {"17 bytes: half an extension size", extended({1}), kPlain},
        {"20 bytes, an extension of 2", extended({2, 0, 7, 8}), kPlain + ", extra 7 8"},
        {"20 bytes, an extension of 3", extended({3, 0, 7, 8}), kPlain},
        {"20 bytes, an extension of 1", extended({1, 0, 7, 8}), kPlain + ", extra 7"},
        {"-1 channels", FormatImage{.channels = 0xFFFF}, "PCM 1, -1 x 4 bytes, 16 bits"},
        {"only the channels are signed", Sized(14, FormatImage{1, 0x8000, 0x80000001, 0xFFFF}),
         "PCM 1, -32768 x 65535 bytes, 524280 bits, 2147483649 Hz"},
        {"65,535 bits", FormatImage{.bits = 0xFFFF}, "PCM 1, 2 x 2 bytes, 65535 bits"},
        {"block align 7", FormatImage{.blockAlign = 7}, "PCM 1, 2 x 3 bytes, 16 bits"},
        {"extensible, more bytes follow", Sized(60, FormatImage{.tag = kExtensible, .tail = ExtensibleTail(16, 3, 1)}),
         "PCM 65534, 2 x 2 bytes, 16 bits, for 100 101"},
        {"extensible, 39 bytes: an unknown tag", Sized(39, FormatImage{.tag = kExtensible, .tail = {2, 0, 24, 0}}),
         "unknown 65534, 2 x 2 bytes, 16 bits, extra 24 0"},
        {"24 valid bits in 32", wide(24, 0x33), "PCM 65534, 4 x 4 bytes, 32 bits, valid 24, for 100 101 104 105"},
        {"every position", FormatImage{kExtensible, 18, 48000, 18, 8, ExtensibleTail(8, 0x3FFFF, 1)},
         "PCM 65534, 18 x 1 bytes, 8 bits, for 100 101 102 103 104 105 107 108 106 109 110 111 112 114 113 115 117 116"},
        {"more positions than channels, one at least", FormatImage{kExtensible, 0, 48000, 2, 16, ExtensibleTail(16, 6, 1)},
         "PCM 65534, 0 x 2 bytes, 16 bits, for 101"},
        {"no position", FormatImage{kExtensible, 0, 48000, 2, 16, ExtensibleTail(16, 0xFFFC0000, 1)}, "PCM 65534, 0 x 2 bytes, 16 bits"},
        {"65,535 valid bits, few positions", wide(0xFFFF, 0xFFFC0003),
         "PCM 65534, 4 x 4 bytes, 32 bits, valid 65535, for 100 101 0 0"},
    };
    // clang-format on
    for (const auto& row : kCases)
        EXPECT_EQ(Describe(Decode(row.data)), row.expected) << row.name;
    EXPECT_EQ(Decode(Sized(65536, extended({0xEE, 0xFF}))).extraFormatBytes.size(), 65518u) << "the largest";
}

TEST_F(FormatChunk, TagsAndSubformats) {
    const auto coding = [&](std::uint16_t tag, const Bytes& tail = {}) {
        const std::string text = Describe(Decode(FormatImage{.tag = tag, .tail = tail}));
        return text.substr(0, text.find(' ' + std::to_string(tag)));
    };
    // clang-format off
    const struct { std::uint16_t tag; const char *plain, *subformat, *ambisonic; } kTags[] = {
        {1, "PCM", "PCM", "Ambisonic PCM"}, {3, "float", "float", "Ambisonic float"}, {2, "ADPCM", "ADPCM", "unknown"},
        {6, "A-law", "A-law", "unknown"}, {7, "mu-law", "mu-law", "unknown"}, {0x11, "IMA ADPCM", "unknown", "unknown"},
        {0x31, "GSM", "unknown", "unknown"}, {0x101, "unknown", "unknown", "unknown"},
    };
    // clang-format on
    for (const auto& row : kTags) {
        EXPECT_EQ(coding(row.tag), row.plain);
        EXPECT_EQ(coding(kExtensible, ExtensibleTail(16, 3, row.tag)), row.subformat) << row.tag;
        EXPECT_EQ(coding(kExtensible, ExtensibleTail(16, 3, row.tag, kAmbisonicGuidEnd)), row.ambisonic)
            << row.tag;
    }
    for (std::size_t i = 0; i < kPlainGuidEnd.size(); ++i) {
        Bytes end = kPlainGuidEnd;
        end[i] ^= 0x20;
        EXPECT_EQ(coding(kExtensible, ExtensibleTail(16, 3, 1, end)), "unknown") << "byte " << i;
    }
}

TEST_F(FormatChunk, ChunksThatCannotBeRead) {
    EXPECT_EQ(Characteristics().status, Characteristics::kChunkReadFailed);
    EXPECT_EQ(Describe(Decode(FormatImage(), 65537)), "too large: " + kNothing) << "before anything is read";
    EXPECT_EQ(Describe(Decode(FormatImage(), INT64_MIN)), "failed: " + kNothing);
    EXPECT_EQ(Describe(Decode(FormatImage(), 17)), "failed: " + kNothing) << "past the end of the file";
    faults::SystemCalls() = {};
    const WaveFormatChunkReader reader(mFolder.File("file"), RiffChunkReader::RiffFileInfo(), false);
    EXPECT_EQ(Describe(reader.GetAudioCharacteristics()), "not found: " + kNothing);
    EXPECT_EQ(faults::SystemCalls().calls, 0u) << "without a format chunk the file is not touched";
}

// The description while the file is being written, and how the sample type is
// recognised when it is read back.
TEST_F(FormatChunk, TheShortestFormThatSaysTheRecord) {
    const ChannelLayout stereo = {100, 101}, fiveOne = {100, 101, 102, 103, 104, 105},
                        ambisonic = {134, 135, 136, 137};
    const auto format = [](int type, std::int32_t bytes, std::int32_t bits, const ChannelLayout& layout) {
        return Format{48000, static_cast<std::int32_t>(layout.size()), bytes, bits, type, layout};
    };
    // clang-format off
    const struct { const char* name; Format format; std::string chunk; int type = 1, bits = 24; } kCases[] = {
        {"stereo", format(1, 3, 24, stereo), "16: PCM 1, 2 x 3 bytes, 24 bits"},
        {"one channel that is not the mono layout's", format(1, 3, 24, {100}), "40: PCM 65534, 1 x 3 bytes, 24 bits, for 100"},
        {"5.1", format(1, 3, 24, fiveOne), "40: PCM 65534, 6 x 3 bytes, 24 bits, for 100 101 102 103 104 105"},
        {"out of the mask's order", format(1, 3, 24, {100, 102, 101}), "16: PCM 1, 3 x 3 bytes, 24 bits"},
        {"a label without a bit", format(1, 3, 24, {100, 131}), "16: PCM 1, 2 x 3 bytes, 24 bits"},
        {"no layout", {48000, 2, 3, 24, 1, {}}, "40: PCM 65534, 2 x 3 bytes, 24 bits, for 0 0"},
        {"numbers too wide for their fields", {-1, -3, 0x7FFFFFFF, 0x12345678, 1, stereo}, "16: PCM 1, -3 x 3 bytes, 22136 bits, 4294967295 Hz", 1, 22136},
        {"doubles", format(2, 8, 64, stereo), "16: float 3, 2 x 8 bytes, 64 bits", 2, 64},
        {"Ambisonic", format(1, 2, 16, ambisonic), "40: Ambisonic PCM 65534, 4 x 2 bytes, 16 bits, for 0 0 0 0", 1, 16},
        {"Ambisonic floats", format(2, 4, 32, ambisonic), "40: Ambisonic float 65534, 4 x 4 bytes, 32 bits, for 0 0 0 0", 2, 32},
        {"floats of 32768", format(3, 4, 32, stereo), "20: PCM 1, 2 x 4 bytes, 32 bits, extra 1 0", 3, 32},
        {"floats of 32768, extensible: lost", {48000, 2, 4, 32, 3, {}}, "42: PCM 65534, 2 x 4 bytes, 32 bits, for 0 0", 1, 32},
        {"floats of 32768 are never Ambisonic", format(3, 4, 32, ambisonic), "20: PCM 1, 4 x 4 bytes, 32 bits, extra 1 0", 3, 32},
        {"floats of 8388608, packed", format(4, 3, 16, stereo), "16: PCM 1, 2 x 4 bytes, 24 bits", 4, 32},
        {"floats of 8388608, extensible", {48000, 2, 2, 16, 4, {}}, "40: PCM 65534, 2 x 4 bytes, 24 bits, for 0 0", 4, 32},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        mFile = Create(row.format);
        ASSERT_TRUE(mFile);
        const bool isPacked = row.format.sampleType == 4; // while it is being written: as the open stored it
        EXPECT_EQ(mFile->GetSampleType(), row.format.sampleType);
        EXPECT_EQ(mFile->GetSampleBitDepth(), isPacked ? 24 : row.format.bits);
        EXPECT_EQ(mFile->GetBytesPerSample(), isPacked ? 4 : row.format.bytesPerSample);
        EXPECT_EQ(mFile->GetRiffAudioCharacteristics().validBitsPerSample, mFile->GetSampleBitDepth());
        EXPECT_EQ(Written(), row.chunk);
        mFile = Open();
        ASSERT_TRUE(mFile);
        EXPECT_TRUE(mFile->GetSampleType() == row.type && mFile->GetSampleBitDepth() == row.bits);
    }
}

// Of a stereo file with two extra bytes.
TEST_F(FormatChunk, DebugSettingsForceAForm) {
    using kelcore::ToUTF8String;
    auto& settings = kelcore::debug::DebugDatabase::Instance();
    const auto specify = ToUTF8String("kelaudiofile.SpecifyWaveFormatStruct"),
               size = ToUTF8String("kelaudiofile.WaveFormatStructSize");
    const auto written = [&] {
        mFile = Create({.bytesPerSample = 4, .sampleType = 3});
        return Written();
    };
    // clang-format off
    const struct { const char *specify, *size, *written; } kCases[] = {
        {"false", "40", "20:"}, {"True", "40", "20:"}, {"true ", "40", "20:"}, {"true", "14", "14:"}, {"true", "16", "16:"},
        {"true", "18", "20:"}, {"true", "40", "42:"}, {"true", "40 bytes", "42:"}, {"true", "19", "2:"}, {"true", "17", "0:"},
        {"true", "-40", "0:"}, {"true", "+40", "0:"}, {"true", " 40", "0:"}, {"true", "", "0:"}, {"true", "2147483648", "0:"},
    };
    // clang-format on
    for (const auto& row : kCases) {
        settings.SetEntry(specify, ToUTF8String(row.specify));
        settings.SetEntry(size, ToUTF8String(row.size));
        EXPECT_TRUE(written().starts_with(row.written)) << row.specify << ", " << row.size;
    }
    settings.RemoveEntry(size);
    EXPECT_TRUE(written().starts_with("20:")) << "the usual form without a size";
    settings.RemoveEntry(specify);
}

// clang-format off
TEST(ChannelMask, OfLayoutsInOrderAndInAny) {
    const struct { ChannelLayout layout; bool inOrder; unsigned mask; bool found; } kCases[] = {
        {{}, true, 0, true}, {{101, 100, 102}, false, 7, true}, {{101, 100, 102}, true, 2, false}, {{100, 100}, true, 1, true},
        {{100, 134, 101}, false, 3, false}};
    ChannelLayout layout = {1, 2, 3}; // to be replaced
    kelaudiofile::GetChannelLayoutFromWaveFormatExtensibleChannelMask(0x80020000, layout, 2);
    EXPECT_EQ(layout, ChannelLayout({116, 0}));
    for (const auto& row : kCases) {
        unsigned mask = 0xFFFFFFFF;
        EXPECT_EQ(kelaudiofile::GetWaveFormatExtensibleChannelMaskFromChannelLayout(row.layout, mask, row.inOrder), row.found);
        EXPECT_EQ(mask, row.mask);
    }
}
// clang-format on
