#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "RiffImage.h"
#include "kelaudiofile/WaveFormatChunkReader.h"
#include "support/Faults.h"

using namespace kelaudiofile;
using namespace testing_support;
using Format = AudioCharacteristics;

namespace {

class FormatChunk : public testing::Test {
protected:
    /// Reads bytes that lie anywhere in a file as a chunk; without a size of its own the chunk ends with
    /// them.
    Format Decode(const Bytes& inData, std::optional<std::int64_t> inSize = {}, bool inStreamFlag = false) {
        std::filesystem::remove(mFolder.Path("file"));
        WriteFile(mFolder.Path("file"), Image().Add(Bytes(5, 0xEE)).Add(inData));
        RiffChunkReader::RiffChunkInfo chunk;
        chunk.chunkID = kListId; // not looked at
        chunk.dataOffset = 5;
        chunk.chunkSize = inSize.value_or(std::ssize(inData));
        return WaveFormatChunkReader(mFolder.File("file"), chunk, inStreamFlag).GetAudioCharacteristics();
    }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
};

/// All of a record in a line, such as "PCM 1, 2 x 2 bytes, 16 bits, valid 12, for 100 101, extra 7 8". A rate
/// of 48,000 Hz is left out, and so are valid bits that are all bits.
std::string Describe(const Format& inFormat) {
    static constexpr const char* kStatus[] = {"", "not found", "too large", "failed"};
    static constexpr const char* kCategories[] = {
        "PCM", "float", "ADPCM", "IMA ADPCM", "A-law", "mu-law", "GSM", "Ambisonic PCM", "Ambisonic float"};
    std::ostringstream text;
    if (inFormat.status != Format::kChunkReadOK)
        text << kStatus[inFormat.status] << ": ";
    text << (inFormat.formatCategory == Format::kWaveFormatUnknown ? "unknown"
                                                                   : kCategories[inFormat.formatCategory])
         << ' ' << inFormat.formatTag << ", " << inFormat.numChannels << " x " << inFormat.bytesPerSample
         << " bytes, " << inFormat.bitsPerSample << " bits";
    if (inFormat.sampleRate != 48000)
        text << ", " << inFormat.sampleRate << " Hz";
    if (inFormat.validBitsPerSample != inFormat.bitsPerSample)
        text << ", valid " << inFormat.validBitsPerSample;
    text << (inFormat.channelLayout.empty() ? "" : ", for");
    for (const auto channel : inFormat.channelLayout)
        text << ' ' << channel.Value();
    text << (inFormat.extraFormatBytes.empty() ? "" : ", extra");
    for (std::size_t i = 0; i < std::min<std::size_t>(inFormat.extraFormatBytes.size(), 30); ++i)
        text << ' ' << int{inFormat.extraFormatBytes[i]};
    text << (inFormat.containerKind == 0 ? "" : ", container");
    return text.str();
}

Bytes Sized(std::size_t inSize, Bytes inBytes = FormatImage().Data()) {
    inBytes.resize(inSize);
    return inBytes;
}

constexpr std::uint16_t kExtensible = 0xFFFE;
const char kPlain[] = "PCM 1, 2 x 2 bytes, 16 bits";

} // namespace

TEST_F(FormatChunk, FieldsAndLengths) {
    const Bytes extensible = FormatImage{.tag = kExtensible, .tail = ExtensibleTail(16, 3, 1)}.Data();
    const auto extended = [](Bytes bytes) { return FormatImage{.tail = std::move(bytes)}.Data(); };
    const auto wide = [](std::uint16_t validBits, std::uint32_t mask) {
        return FormatImage{kExtensible, 4, 48000, 16, 32, ExtensibleTail(validBits, mask, 1)}.Data();
    };
    // clang-format off
    const struct { const char* name; Bytes data; std::string expected; } kCases[] = {
        {"16 bytes", FormatImage().Data(), kPlain},
        {"14 bytes: bits from the block align", Sized(14), kPlain},
        {"15 bytes: half a field counts as none", Sized(15, FormatImage{.bits = 12}.Data()), kPlain},
        {"12 bytes: no block align", Sized(12), "PCM 1, 2 x 0 bytes, 0 bits"},
        {"3 bytes: the tag alone", Sized(3), "PCM 1, 0 x 0 bytes, 0 bits, 0 Hz"},
        {"1 byte: no tag", Sized(1), "unknown 0, 0 x 0 bytes, 0 bits, 0 Hz"},
        {"no byte", {}, "unknown 0, 0 x 0 bytes, 0 bits, 0 Hz"},
        {"17 bytes: half an extension size", extended({1}), kPlain},
        {"20 bytes, an extension of 2", extended({2, 0, 7, 8}), std::string(kPlain) + ", extra 7 8"},
        {"20 bytes, an extension of 3", extended({3, 0, 7, 8}), kPlain},
        {"20 bytes, an extension of 1", extended({1, 0, 7, 8}), std::string(kPlain) + ", extra 7"},
        {"no channels", FormatImage{.channels = 0}.Data(), "PCM 1, 0 x 4 bytes, 16 bits"},
        {"-1 channels", FormatImage{.channels = 0xFFFF}.Data(), "PCM 1, -1 x 4 bytes, 16 bits"},
        {"only the channels are signed", Sized(14, FormatImage{1, 0x8000, 0x80000001, 0xFFFF}.Data()),
         "PCM 1, -32768 x 65535 bytes, 524280 bits, 2147483649 Hz"},
        {"block align 7", FormatImage{.blockAlign = 7}.Data(), "PCM 1, 2 x 3 bytes, 16 bits"},
        {"40 bytes with another tag", extended(ExtensibleTail(16, 3, 1)),
         std::string(kPlain) + ", extra 16 0 3 0 0 0 1 0 0 0 0 0 16 0 128 0 0 170 0 56 155 113"},
        {"extensible, bytes behind", Sized(60, extensible), "PCM 65534, 2 x 2 bytes, 16 bits, for 100 101"},
        {"extensible, 39 bytes: an unknown tag", Sized(39, extensible), "unknown 65534, 2 x 2 bytes, 16 bits"},
        {"extensible, 39 bytes, an extension that fits",
         Sized(39, FormatImage{.tag = kExtensible, .tail = {2, 0, 24, 0}}.Data()),
         "unknown 65534, 2 x 2 bytes, 16 bits, extra 24 0"},
        {"24 valid bits in 32", wide(24, 0x33), "PCM 65534, 4 x 4 bytes, 32 bits, valid 24, for 100 101 104 105"},
        {"65,535 valid bits, few positions", wide(0xFFFF, 0xFFFC0003),
         "PCM 65534, 4 x 4 bytes, 32 bits, valid 65535, for 100 101 0 0"},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Describe(Decode(row.data, {}, (&row - kCases) % 2 == 1)), row.expected);
    }
    const Format largest = Decode(Sized(65536, extended({0xEE, 0xFF}))); // an extension of 65,518 bytes
    EXPECT_EQ(largest.extraFormatBytes.size(), 65518u);
}

TEST_F(FormatChunk, TagsAndSubformats) {
    // clang-format off
    const struct { std::uint16_t tag; std::string plain, subformat, ambisonic; } kTags[] = {
        {1, "PCM", "PCM", "Ambisonic PCM"}, {3, "float", "float", "Ambisonic float"}, {2, "ADPCM", "ADPCM", "unknown"},
        {6, "A-law", "A-law", "unknown"}, {7, "mu-law", "mu-law", "unknown"}, {0x11, "IMA ADPCM", "unknown", "unknown"},
        {0x31, "GSM", "unknown", "unknown"}, {0, "unknown", "unknown", "unknown"}, {0x101, "unknown", "unknown",
         "unknown"},
    };
    // clang-format on
    for (const auto& row : kTags) {
        SCOPED_TRACE(row.tag);
        const auto subformat = [&](const Bytes& guidEnd) {
            return Describe(Decode(
                FormatImage{.tag = kExtensible, .tail = ExtensibleTail(16, 3, row.tag, guidEnd)}.Data()));
        };
        const std::string rest = " 65534, 2 x 2 bytes, 16 bits, for 100 101";
        EXPECT_EQ(Describe(Decode(FormatImage{.tag = row.tag}.Data())),
                  row.plain + ' ' + std::to_string(row.tag) + ", 2 x 2 bytes, 16 bits");
        EXPECT_EQ(subformat(kPlainGuidEnd), row.subformat + rest);
        EXPECT_EQ(subformat(kAmbisonicGuidEnd), row.ambisonic + rest);
        for (std::size_t i = 0; i < kPlainGuidEnd.size(); ++i) { // every byte of a subformat counts
            Bytes end = kPlainGuidEnd;
            end[i] ^= 0x20;
            EXPECT_EQ(subformat(end), "unknown" + rest) << i;
        }
    }
}

TEST_F(FormatChunk, Status) {
    const std::string nothing = ": unknown 0, 0 x 0 bytes, 0 bits, 0 Hz";
    const Bytes data = FormatImage().Data();
    EXPECT_EQ(Format().status, Format::kChunkReadFailed);
    EXPECT_EQ(Describe(Decode(data, 65537)), "too large" + nothing) << "before anything is read";
    EXPECT_EQ(Describe(Decode(data, INT64_MAX)), "too large" + nothing);
    EXPECT_EQ(Describe(Decode(data, INT64_MIN)), "failed" + nothing);
    EXPECT_EQ(Describe(Decode(data, 17)), "failed" + nothing) << "past the end of the file";

    RiffChunkReader::RiffFileInfo info;
    const auto read = [&](const char* name) {
        return WaveFormatChunkReader(mFolder.File(name), info, false);
    };
    info.chunks = {{kListId, 16, 0, 8, false}};
    faults::SystemCalls() = {};
    EXPECT_EQ(Describe(read("file").GetAudioCharacteristics()), "not found" + nothing);
    EXPECT_EQ(faults::SystemCalls().calls, 0u) << "without a format chunk the file is not touched";
    EXPECT_EQ(WaveFormatChunkReader::FindChunk(info.chunks), info.chunks.end());

    const auto id = WaveFormatChunkReader::GetChunkID();
    EXPECT_EQ(id, 0x20746D66u);
    info.chunks = {{kListId, 16, 0, 0, false}, {id, 16, 0, 5, false}, {id, 99, 0, 5, false}};
    WaveFormatChunkReader reader = read("file");
    const WaveFormatChunkReader copy = reader, moved = std::move(reader);
    EXPECT_EQ(Describe(copy.GetAudioCharacteristics()), kPlain);
    EXPECT_EQ(Describe(moved.GetAudioCharacteristics()), kPlain);
    EXPECT_EQ(Describe(read("none").GetAudioCharacteristics()), "failed" + nothing);
}
