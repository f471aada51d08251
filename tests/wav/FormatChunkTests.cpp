#include <gtest/gtest.h>

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
        Bytes file(5, 0xEE);
        file.insert(file.end(), inData.begin(), inData.end());
        WriteFile(mFolder.Path("file"), file);
        RiffChunkReader::RiffChunkInfo chunk;
        chunk.chunkID = kListId; // not looked at
        chunk.dataOffset = 5;
        chunk.chunkSize = inSize.value_or(static_cast<std::int64_t>(inData.size()));
        return WaveFormatChunkReader(mFolder.File("file"), chunk, inStreamFlag).GetAudioCharacteristics();
    }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
};

void ExpectSame(const Format& inFound, const Format& inExpected) {
    EXPECT_EQ(inFound.status, inExpected.status);
    EXPECT_EQ(inFound.sampleRate, inExpected.sampleRate);
    EXPECT_EQ(inFound.numChannels, inExpected.numChannels);
    EXPECT_EQ(inFound.bytesPerSample, inExpected.bytesPerSample);
    EXPECT_EQ(inFound.bitsPerSample, inExpected.bitsPerSample);
    EXPECT_EQ(inFound.formatCategory, inExpected.formatCategory);
    EXPECT_EQ(inFound.formatTag, inExpected.formatTag);
    EXPECT_EQ(inFound.validBitsPerSample, inExpected.validBitsPerSample);
    EXPECT_EQ(inFound.channelLayout, inExpected.channelLayout);
    EXPECT_EQ(inFound.extraFormatBytes, inExpected.extraFormatBytes);
    EXPECT_EQ(inFound.containerKind, inExpected.containerKind);
}

/// A record at 48,000 Hz; without valid bits of its own it has as many as bits.
Format Record(Format::WaveFormatCategory inCategory, std::uint16_t inTag, int inChannels, int inBytes,
              int inBits, const kelmediatypes::ChannelLayout& inLayout = {},
              std::optional<int> inValidBits = {}) {
    Format format;
    format.status = Format::kChunkReadOK;
    format.sampleRate = 48000;
    format.numChannels = inChannels;
    format.bytesPerSample = inBytes;
    format.bitsPerSample = inBits;
    format.validBitsPerSample = inValidBits.value_or(inBits);
    format.formatCategory = inCategory;
    format.formatTag = inTag;
    format.channelLayout = inLayout;
    return format;
}

Format Pcm(int inChannels, int inBytes, int inBits, const Bytes& inExtra = {}) {
    Format format = Record(Format::kWaveFormatPCM, 1, inChannels, inBytes, inBits);
    format.extraFormatBytes = inExtra;
    return format;
}

/// What a chunk says that is too short for more than its tag.
Format Short(Format inFormat) {
    inFormat.sampleRate = 0;
    return inFormat;
}

Bytes Sized(std::size_t inSize, Bytes inBytes = FormatImage().Data()) {
    inBytes.resize(inSize);
    return inBytes;
}

constexpr std::uint16_t kExtensible = 0xFFFE;

} // namespace

TEST_F(FormatChunk, FieldsAndLengths) {
    constexpr auto kPcm = Format::kWaveFormatPCM, kUnknown = Format::kWaveFormatUnknown;
    const Bytes tail = ExtensibleTail(16, 3, 1);
    const FormatImage extensible = {.tag = kExtensible, .tail = tail};
    const auto extended = [](Bytes bytes) { return FormatImage{.tail = std::move(bytes)}.Data(); };
    const auto wide = [](std::uint16_t validBits, std::uint32_t mask) {
        return FormatImage{.tag = kExtensible,
                           .channels = 4,
                           .blockAlign = 16,
                           .bits = 32,
                           .tail = ExtensibleTail(validBits, mask, 1)}
            .Data();
    };
    Bytes largest = extended({0xEE, 0xFF}); // an extension of 65,518 bytes
    largest.resize(65536, 0x42);
    Format withExtra = Record(kUnknown, kExtensible, 2, 2, 16);
    withExtra.extraFormatBytes = {24, 0};
    Format fast = Pcm(-32768, 65535, 524280);
    fast.sampleRate = 0x80000001;
    const struct {
        const char* name;
        Bytes data;
        Format expected;
    } kCases[] = {
        {"16 bytes", FormatImage().Data(), Pcm(2, 2, 16)},
        {"14 bytes: bits from the block align", Sized(14), Pcm(2, 2, 16)},
        {"15 bytes: half a field counts as none", Sized(15, FormatImage{.bits = 12}.Data()), Pcm(2, 2, 16)},
        {"12 bytes: no block align", Sized(12), Pcm(2, 0, 0)},
        {"3 bytes: the tag alone", Sized(3), Short(Pcm(0, 0, 0))},
        {"1 byte: no tag", Sized(1), Short(Record(kUnknown, 0, 0, 0, 0))},
        {"no byte", {}, Short(Record(kUnknown, 0, 0, 0, 0))},
        {"17 bytes: half an extension size", extended({1}), Pcm(2, 2, 16)},
        {"18 bytes, no extension", extended({0, 0}), Pcm(2, 2, 16)},
        {"20 bytes, an extension of 2", extended({2, 0, 7, 8}), Pcm(2, 2, 16, {7, 8})},
        {"20 bytes, an extension of 3", extended({3, 0, 7, 8}), Pcm(2, 2, 16)},
        {"20 bytes, an extension of 1", extended({1, 0, 7, 8}), Pcm(2, 2, 16, {7})},
        {"20 bytes, an extension of 65,535", extended({0xFF, 0xFF, 7, 8}), Pcm(2, 2, 16)},
        {"65,536 bytes", largest, Pcm(2, 2, 16, Bytes(65518, 0x42))},
        {"no channels", FormatImage{.channels = 0}.Data(), Pcm(0, 4, 16)},
        {"-1 channels", FormatImage{.channels = 0xFFFF}.Data(), Pcm(-1, 4, 16)},
        {"only the channels are signed",
         Sized(14, FormatImage{.channels = 0x8000, .rate = 0x80000001, .blockAlign = 0xFFFF}.Data()), fast},
        {"block align 7", FormatImage{.blockAlign = 7}.Data(), Pcm(2, 3, 16)},
        {"block align below the channels", FormatImage{.blockAlign = 1, .bits = 0xFFFF}.Data(),
         Pcm(2, 0, 65535)},
        {"40 bytes with another tag", extended(tail), Pcm(2, 2, 16, Bytes(tail.begin() + 2, tail.end()))},
        {"extensible", extensible.Data(), Record(kPcm, kExtensible, 2, 2, 16, {100, 101})},
        {"extensible, bytes behind", Sized(60, extensible.Data()),
         Record(kPcm, kExtensible, 2, 2, 16, {100, 101})},
        {"extensible, 39 bytes: an unknown tag", Sized(39, extensible.Data()),
         Record(kUnknown, kExtensible, 2, 2, 16)},
        {"extensible, 39 bytes, an extension that fits",
         Sized(39, FormatImage{.tag = kExtensible, .tail = {2, 0, 24, 0}}.Data()), withExtra},
        {"24 valid bits in 32", wide(24, 0x33),
         Record(kPcm, kExtensible, 4, 4, 32, {100, 101, 104, 105}, 24)},
        {"no valid bits, few positions", wide(0, 0xFFFC0003),
         Record(kPcm, kExtensible, 4, 4, 32, {100, 101, 0, 0}, 0)},
        {"65,535 valid bits", wide(0xFFFF, 0), Record(kPcm, kExtensible, 4, 4, 32, {0, 0, 0, 0}, 65535)},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        ExpectSame(Decode(row.data, {}, (&row - kCases) % 2 == 1), row.expected);
    }
}

TEST_F(FormatChunk, TagsAndSubformats) {
    const std::pair<std::uint16_t, Format::WaveFormatCategory> kTags[] = {
        {1, Format::kWaveFormatPCM},         {3, Format::kWaveFormatFloat},
        {2, Format::kWaveFormatADPCM},       {0x11, Format::kWaveFormatIMAADPCM},
        {6, Format::kWaveFormatALaw},        {7, Format::kWaveFormatMuLaw},
        {0x31, Format::kWaveFormatGSM610},   {0, Format::kWaveFormatUnknown},
        {0x101, Format::kWaveFormatUnknown}, {0x5741, Format::kWaveFormatUnknown},
    };
    for (const auto& [tag, category] : kTags) {
        SCOPED_TRACE(tag);
        const auto subformat = [this, number = tag](const Bytes& guidEnd) {
            return Decode(
                FormatImage{.tag = kExtensible, .tail = ExtensibleTail(16, 3, number, guidEnd)}.Data());
        };
        const Format plain = Decode(FormatImage{.tag = tag}.Data());
        EXPECT_EQ(plain.formatCategory, category);
        EXPECT_EQ(plain.formatTag, tag);
        EXPECT_EQ(plain.status, Format::kChunkReadOK);

        const bool isSubformat = tag != 0x11 && tag != 0x31;
        EXPECT_EQ(subformat(kPlainGuidEnd).formatCategory,
                  isSubformat ? category : Format::kWaveFormatUnknown);
        const Format ambisonic = subformat(kAmbisonicGuidEnd);
        EXPECT_EQ(ambisonic.formatCategory, tag == 1   ? Format::kWaveFormatAmbisonicPCM
                                            : tag == 3 ? Format::kWaveFormatAmbisonicFloat
                                                       : Format::kWaveFormatUnknown);
        EXPECT_EQ(ambisonic.formatTag, kExtensible);
        EXPECT_EQ(ambisonic.status, Format::kChunkReadOK);
        EXPECT_EQ(ambisonic.channelLayout, (kelmediatypes::ChannelLayout{100, 101}));
    }
    for (std::size_t i = 0; i < kPlainGuidEnd.size(); ++i) { // every byte of a subformat counts
        SCOPED_TRACE(i);
        Bytes end = kPlainGuidEnd;
        end[i] ^= 0x20;
        const auto format =
            Decode(FormatImage{.tag = kExtensible, .tail = ExtensibleTail(16, 3, 1, end)}.Data());
        EXPECT_EQ(format.formatCategory, Format::kWaveFormatUnknown);
    }
}

TEST_F(FormatChunk, Status) {
    const Bytes data = FormatImage().Data();
    Format failed, tooLarge, notFound;
    failed.status = Format::kChunkReadFailed;
    tooLarge.status = Format::kChunkTooLarge;
    notFound.status = Format::kChunkNotFound;
    EXPECT_EQ(Format().status, Format::kChunkReadFailed);

    ExpectSame(Decode(Sized(65537), 65537), tooLarge);
    ExpectSame(Decode(data, 65537), tooLarge); // before anything is read
    ExpectSame(Decode(data, INT64_MAX), tooLarge);
    ExpectSame(Decode(data, 17), failed); // past the end of the file
    ExpectSame(Decode(data, -1), failed);
    ExpectSame(Decode(data, INT64_MIN), failed);

    RiffChunkReader::RiffFileInfo info;
    faults::SystemCalls() = {};
    ExpectSame(WaveFormatChunkReader(mFolder.File("none"), info, false).GetAudioCharacteristics(), notFound);
    info.chunks = {{kListId, 16, 0, 8, false}};
    ExpectSame(WaveFormatChunkReader(mFolder.File("file"), info, false).GetAudioCharacteristics(), notFound);
    EXPECT_EQ(faults::SystemCalls().calls, 0u) << "without a format chunk the file is not touched";
    EXPECT_EQ(WaveFormatChunkReader::FindChunk(info.chunks), info.chunks.end());

    const auto id = WaveFormatChunkReader::GetChunkID();
    EXPECT_EQ(id, 0x20746D66u);
    info.chunks = {{kListId, 16, 0, 0, false}, {id, 16, 0, 5, false}, {id, 99, 0, 5, false}};
    EXPECT_EQ(WaveFormatChunkReader::FindChunk(info.chunks), info.chunks.begin() + 1);
    WaveFormatChunkReader reader(mFolder.File("file"), info, false);
    ExpectSame(reader.GetAudioCharacteristics(), Pcm(2, 2, 16));
    const WaveFormatChunkReader copy = reader, moved = std::move(reader);
    ExpectSame(copy.GetAudioCharacteristics(), Pcm(2, 2, 16));
    ExpectSame(moved.GetAudioCharacteristics(), Pcm(2, 2, 16));
    ExpectSame(WaveFormatChunkReader(mFolder.File("none"), info, false).GetAudioCharacteristics(), failed);
}
