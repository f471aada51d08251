#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "AiffFormat.h"
#include "AiffTest.h"
#include "models/FrameModels.h"

namespace aiff_tests {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

class AiffRead : public AiffTest {
protected:
    /// Describes the result of an open in one line: "error 5", or frames, sample bytes with the first of
    /// them, and metadata ids, such as "4 of 16 from 1 NAME". -1 sample bytes mean that the file refuses even
    /// an empty read.
    std::string Outcome(const Bytes& inImage) {
        const std::int32_t code = Open(inImage);
        if (!mFile)
            return "error " + std::to_string(code);
        unsigned char byte = 0, first = 0, header[8];
        std::int64_t sampleBytes = mFile->ReadSampleBytes(0, 0, nullptr) ? 0 : -1;
        mFile->ReadSampleBytes(0, 1, &first);
        while (sampleBytes >= 0 && mFile->ReadSampleBytes(sampleBytes, 1, &byte))
            ++sampleBytes;
        std::string text = std::to_string(mFile->GetSampleCount()) + " of " + std::to_string(sampleBytes) +
                           " from " + std::to_string(first);
        std::uint32_t id = 0;
        std::int64_t size = 0;
        double position = 0;
        for (std::int32_t i = 0; mFile->GetMetadataInfo(i, id, size, position); ++i) {
            EXPECT_TRUE(mFile->ReadMetadataChunk(i, 0, 8, header));
            EXPECT_EQ(kelaudiofile::aiff::LoadId(header), id);
            text += " " + std::string(header, header + 4);
        }
        return text;
    }
};

TEST_F(AiffRead, HeadersAndChunks) {
    const Bytes comm = Comm{}.Data(), samples = Ssnd(Counting(16));
    const auto formatOf = [&](const char* inForm, const Bytes& inComm) {
        return Form(inForm, Chunk("COMM", inComm) + samples);
    };
    const Bytes twice = samples + Ssnd(Bytes(32, 9)) + Chunk("FVER", Big32(1)) + Chunk("CHAN", {});
    const Bytes metadata = Chunk("NAME", {7}) + Chunk("ANNO", {}) + samples + Chunk("\1\2\3\4", {7});
    const Bytes anno = Chunk("ANNO", {});
    const std::string zeros("\0\0\0\0 ", 5);
    // clang-format off
    const struct { const char* name; Bytes image; std::string outcome; } kRows[] = {
        {"other container", ToBytes("RIFF") + Bytes(70), "error 2"},
        {"lower case form", formatOf("aiff", comm), "error 2"},
        {"no format", Form("AIFF", samples), "error 4"},
        {"format after samples", Form("AIFF", samples + Chunk("COMM", comm)), "4 of 16 from 1"},
        {"first format counts", Aiff({}, samples + Chunk("COMM", Comm{.bits = 12}.Data())), "4 of 16 from 1"},
        {"first samples count, the rest is no metadata", Aiff({}, twice), "4 of 16 from 1"},
        {"metadata, odd, empty, unknown", Aiff({}, metadata), "4 of 16 from 1 NAME ANNO \1\2\3\4"},
        {"eight zero bytes are a chunk, seven are not", Aiff({}, samples + Bytes(8 + 7)),
         "4 of 16 from 1 " + std::string(4, '\0')},
        {"runs of empty chunks, and what breaks them",
         Aiff({}, Bytes(24) + anno + anno + Chunk("FVER", {}) + anno + samples + Bytes(24)),
         "4 of 16 from 1 " + zeros + zeros + zeros + "ANNO ANNO ANNO " + zeros + zeros.substr(0, 4)},
        {"a header up to the very end is not listed", Aiff({}, samples + Header("ANNO", 0)), "4 of 16 from 1"},
        {"odd chunk without a pad byte hides the next", Aiff({}, Header("ANNO", 1).Fill(1) + samples), "error 5"},
        {"format of 17 bytes", Form("AIFF", Header("COMM", 17).Add(comm) + samples), "error 4"},
        {"AIFC, format of 22 bytes", formatOf("AIFC", comm + ToBytes("NONE")), "error 4"},
        {"format of 65536 bytes", formatOf("AIFF", comm + Bytes(65536 - 18)), "4 of 16 from 1"},
        {"format of 65537 bytes", formatOf("AIFF", comm + Bytes(65537 - 18)), "error 4"},
        {"format cut by the end", Form("AIFF", Header("COMM", ~0u).Add(Comm{.frames = 0}.Data())), "0 of 0 from 0"},
        {"fewer frames than there are", Aiff({.frames = 3}, samples), "3 of 16 from 1"},
        {"more frames than there are", Aiff({.frames = 0xFFFFFFFF}, samples), "4 of 16 from 1"},
        {"skipped bytes", Aiff({}, Ssnd(Counting(16), 6)), "2 of 10 from 7"},
        {"more skipped than there is", Aiff({}, Ssnd(Counting(16), 17)), "4 of -1 from 0"},
        {"no frames need no samples", Aiff({.frames = 0}), "0 of 0 from 0"},
        {"no channels", Aiff({.channels = 0}), "4 of 0 from 0"},
        {"no bits need no samples, then a depth is imposed", Aiff({.bits = 0, .code = "in24"}), "4 of 0 from 0"},
        {"depth imposed once frames are counted", Aiff({.bits = 16, .code = "in24"}, samples), "4 of 16 from 1"},
        {"depth raised before frames are counted", Aiff({.bits = 16, .code = "fl32"}, samples), "2 of 16 from 1"},
        {"frames of less than a byte limit nothing", Aiff({1, 99, 4, kRate44100, "in32"}, samples), "99 of 16 from 1"},
        {"a negative depth is a huge frame", Aiff({1, 4, -8, kRate44100, "in24"}, samples), "0 of 16 from 1"},
    };
    // clang-format on
    for (const auto& row : kRows)
        EXPECT_EQ(Outcome(row.image), row.outcome) << row.name;
    for (const char* id : {"CHAN", "chan"})
        EXPECT_EQ(Outcome(Aiff({.channels = -1}, Chunk(id, Bytes(12)) + samples)), "error 0");
}

// In a file of 88 bytes with "COMM" at 12, "SSND" with 16 sample bytes at 38, and "ANNO" after them.
TEST_F(AiffRead, CutAtEveryByteAndEveryFormSize) {
    const Bytes whole = Aiff({}, Ssnd(Counting(16)) + Chunk("ANNO", ToBytes("two words!")));
    ASSERT_EQ(whole.size(), 88u);
    const auto outcome = [](std::uint64_t end) -> std::string {
        if (end < 54)
            return end < 38 ? "error 4" : "error 5";
        const std::uint64_t bytes = std::min<std::uint64_t>(end - 54, 16);
        return std::to_string(bytes / 4) + " of " + std::to_string(bytes) +
               (bytes > 0 ? " from 1" : " from 0") + (end > 78 ? " ANNO" : "");
    };
    for (std::size_t end = 0; end <= whole.size(); ++end)
        EXPECT_EQ(Outcome(BigImage().Add(whole).Cut(end)), end < 12 ? "error 2" : outcome(end)) << end;
    for (std::uint32_t size = 0xFFFFFFE0; size != 90; ++size) { // size + 8 wraps
        const Bytes image = ToBytes("FORM") + Big32(size) + Bytes(whole.begin() + 8, whole.end());
        EXPECT_EQ(Outcome(image), outcome(size == 0 ? 88 : std::min<std::uint32_t>(size + 8, 88))) << size;
    }
}

TEST_F(AiffRead, CompressionAndDepth) {
    using namespace kelaudiofile;
    constexpr auto kSigns = ConvertBetweenSigned8BitAudioAndUnsigned;
    // clang-format off
    const struct { // an empty code: an "AIFF" file
        const char* code; int bits; std::int32_t error; int bytes = 0, type = 0;
        DeinterleaveFunction deinterleave = nullptr; ConversionFunction conversion = nullptr;
    } kRows[] = {
        {"", 8, 0, 1, 1, DeInterleave8Bit, kSigns}, {"", 16, 0, 2, 1, DeInterleave16Bit, Swizzle16Bit},
        {"NONE", 24, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit}, {"", 32, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit},
        {"sowt", 8, 0, 1, 2, DeInterleave8Bit, kSigns}, {"sowt", 32, 0, 4, 2, DeInterleave32Bit},
        {"in24", 16, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit}, {"IN24", 32, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit},
        {"in32", 8, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit}, {"IN32", 99, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit},
        {"fl32", -1, 0, 4, 3, DeInterleave32BitFloat_1, Swizzle32Bit},
        {"FL32", 0, 0, 4, 3, DeInterleave32BitFloat_1, Swizzle32Bit},
        {"", 12, 7}, {"", 64, 7}, {"", 0, 7}, {"", -16, 7}, {"sowt", 20, 7}, {"FL32", 64, 7},
        {"none", 24, 6}, {"twos", 16, 6}, {"SOWT", 16, 6}, {"Fl32", 32, 6},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.code) + " " + std::to_string(row.bits));
        EXPECT_EQ(Open(Aiff({.bits = row.bits, .code = row.code}, Ssnd(Counting(64)))), row.error);
        EXPECT_EQ(mError.bitsPerSample, row.error == 7 ? row.bits : kUntouched);
        ASSERT_EQ(mFile != nullptr, row.error == 0);
        if (!mFile)
            continue;
        EXPECT_TRUE(mFile->GetBytesPerSample() == row.bytes && mFile->GetSampleType() == row.type);
        EXPECT_EQ(GetDeinterleaveFunction(*mFile), row.deinterleave);
        EXPECT_EQ(GetConversionFunction(*mFile), row.conversion);
        EXPECT_TRUE(sample_models::IsDecodedBy(GetSampleFormat(*mFile), row.deinterleave,
                                               row.bytes == 1 ? nullptr : row.conversion));
    }
}

TEST_F(AiffRead, CompressionTexts) {
    // clang-format off
    const struct { std::string_view code; Bytes rest; std::string texts; int error = 0, bits = 16; } kRows[] = {
        {"", {}, "|"}, {{"\0\0\0\0", 4}, {2, 'h', 'i'}, "|hi"}, {"sowt", {1, 'h', 'i'}, "sowt|h"},
        {"sowt", {5, 'h', 'i'}, "sowt|hi"}, {"NONE", {3, 'h', 0, 'i'}, "NONE|h"}, // cut to the chunk, at a zero byte
        {"NONE", Bytes{255} + Bytes(256, 'x'), "NONE|" + std::string(255, 'x')},
        {"NONE", {0, 0}, "c|d", 7, 12}, {"twos", {3, 'a', 'b', 'c'}, "twos|abc", 6}, {{"a\0b\0", 4}, {0, 'h'}, "a|", 6},
    };
    // clang-format on
    for (const auto& row : kRows) {
        EXPECT_EQ(Open(Aiff({.frames = 0, .bits = row.bits, .code = row.code, .rest = row.rest})), row.error);
        const auto code = mFile ? mFile->GetCompressionCode() : mError.compressionCode;
        const auto text = mFile ? mFile->GetCompressionDescription() : mError.compressionDescription;
        EXPECT_EQ(kelcore::ToStdString(code) + "|" + kelcore::ToStdString(text), row.texts);
    }
}

TEST_F(AiffRead, ChannelLayouts) {
    const auto labels = [](std::uint32_t inCount, std::initializer_list<std::uint32_t> inLabels) {
        BigImage data;
        data.U32(0).U32(0x3F).U32(inCount);
        for (const std::uint32_t label : inLabels)
            data.U32(label).Fill(16, 0xEE);
        return data;
    };
    const auto bitmap = [](std::uint32_t inBits) { return Big32(0x10000) + Big32(inBits); };
    // clang-format off
    const struct { // assumed: if that differs
        const char* name; int channels; std::optional<Bytes> chan; ChannelLayout layout, assumed = {};
    } kRows[] = {
        {"mono", 1, {}, {0}}, {"stereo", 2, {}, {100, 101}}, {"three", 3, {}, {0, 0, 0}, {100, 101, 102}},
        {"four", 4, {}, {0, 0, 0, 0}, {100, 101, 104, 105}}, {"five", 5, {}, {0, 0, 0, 0, 0}},
        {"six", 6, {}, {0, 0, 0, 0, 0, 0}, {100, 107, 102, 101, 108, 106}}, {"none", 0, {}, {}},
        {"descriptions", 3, labels(3, {3, 42, 38}), {102, 0, 132}},
        {"headphones", 2, labels(2, {301, 302}), {100, 101}},
        {"more descriptions than channels", 1, labels(2, {2, 1}), {101}},
        {"count larger than the chunk", 4, labels(0xFFFFFFFF, {2, 1}), {101, 100, 0, 0}},
        {"count smaller than the chunk", 2, labels(1, {2, 1}), {101, 0}},
        {"label cut by the end", 2, labels(2, {2}).Fill(3), {101, 0}},
        {"bitmap of two channels", 2, bitmap(0x3F), {100, 101}},
        {"bitmap with gaps", 3, bitmap(0x25), {100, 102, 105}},
        {"whole bitmap", 19, bitmap(0xFFFFFFFF),
         {100, 101, 102, 103, 104, 105, 107, 108, 106, 109, 110, 111, 112, 114, 113, 115, 117, 116, 0}},
        {"predefined layout", 2, Big32(0x650002) + Big32(3) + Big32(2), {0, 0}},
        {"bitmap cut by the end", 2, Big32(0x10000) + Bytes(3), {0, 0}},
        {"largest chunk", 2, labels(2, {2, 1}).Fill(65536 - 52), {101, 100}},
        {"chunk too large", 2, labels(2, {2, 1}).Fill(65537 - 52), {100, 101}},
    };
    // clang-format on
    for (const auto& row : kRows)
        for (const bool assume : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (assume ? ", order assumed" : ""));
            const Bytes chunks = row.chan ? Chunk("CHAN", *row.chan) + Chunk("CHAN", bitmap(7)) : Bytes();
            ASSERT_EQ(Open(Aiff({.channels = row.channels, .frames = 0}, chunks), assume), 0);
            EXPECT_EQ(mFile->GetNumChannels(), row.channels);
            EXPECT_EQ(mFile->GetAudioChannelLayout(),
                      assume && !row.assumed.empty() ? row.assumed : row.layout);
        }
}

TEST_F(AiffRead, SampleRates) {
    constexpr double inf = HUGE_VAL, nan = NAN;
    constexpr std::uint64_t kOne = 0x8000000000000000, kAllBits = 0xFFFFFFFFFFFFFFFF;
    // clang-format off
    const struct { unsigned signAndExponent; std::uint64_t mantissa; double rate; } kRows[] = {
        {0x400E, 0xAC44000000000000, 44100}, {0xC00E, 0xBB80000000000000, -48000},
        {0x400E, 0x0000800000000000, 0.5},   // not normalised
        {0x3FFF, kAllBits, 2},               // the sum rounds up
        {0x3FFF, kOne + 0x600, 1},           // 1 + 2^-53 + 2^-54: each bit is rounded off
        {0x3FFF, kOne + 0xC00, 1 + 0x1p-51}, // 2^-52 first, then a tie to even
        {0x3C00 - 52, kAllBits, 0},          // 2^-1075 becomes 0 before the multiplication
        {0x3C00, kOne, 0x1p-1023}, {0x43FF, kOne, inf}, {0x43FE, 0xFFFFFFFFFFFFF800, 0x1.FFFFFFFFFFFFFp1023},
        {0xFFFF, kOne, -inf}, {0x7FFF, 0, nan}, {0x43FF, 0, nan}, {0, kOne, 0}, {0x8000, 0, -0.0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        ASSERT_EQ(Open(Aiff({.frames = 0, .rate = BigImage().U16(row.signAndExponent).U64(row.mantissa)})),
                  0);
        const double got = mFile->GetSampleRate();
        EXPECT_TRUE(std::isnan(row.rate) ? std::isnan(got) : !std::memcmp(&got, &row.rate, sizeof got))
            << row.rate << ", not " << got;
    }
}

// A metadata chunk and sample bytes of the same size, so that the same ranges apply to both.
TEST_F(AiffRead, RangesOfReads) {
    constexpr std::int64_t kSize = 17, kNumbers[] = {kLeast, -1, 0, 1, 3, 16, kSize, 18, 2147483648, kMost};
    ASSERT_EQ(Open(Aiff({}, Chunk("NAME", Counting(9)) + Ssnd(Counting(kSize)))), 0);
    const Bytes contents[] = {Counting(kSize), ToBytes("NAME") + Big32(9) + Counting(9)};
    for (const std::int64_t offset : kNumbers)
        for (const std::int64_t count : kNumbers)
            for (const bool isChunk : {false, true}) {
                SCOPED_TRACE(testing::Message()
                             << count << " from " << offset << (isChunk ? " of a chunk" : ""));
                const bool fits = offset >= 0 && count >= 0 && offset <= kSize && count <= kSize - offset;
                Bytes expected(20, 0xEE), got = expected;
                if (fits)
                    std::copy_n(contents[isChunk].begin() + offset, count, expected.begin());
                EXPECT_EQ(fits, isChunk ? mFile->ReadMetadataChunk(0, offset, count, got.data())
                                        : mFile->ReadSampleBytes(offset, count, got.data()));
                EXPECT_EQ(got, expected);
            }
    EXPECT_TRUE(mFile->ReadMetadataChunk(0, 0, 0, nullptr) && !mFile->ReadMetadataChunk(0, 0, 1, nullptr));
    EXPECT_TRUE(mFile->ReadSampleBytes(0, 0, nullptr) && !mFile->ReadSampleBytes(0, 1, nullptr));
}

TEST_F(AiffRead, PositionsOfMetadata) {
    const Bytes name = Chunk("NAME", {1, 2}), anno = Chunk("ANNO", {1, 2}), auth = Chunk("AUTH", {1, 2});
    // clang-format off
    const struct { const char* name; Bytes image; std::vector<double> positions; } kRows[] = {
        {"around the samples", Aiff({}, name + Ssnd(Counting(16)) + anno + auth), // at 38; at 48; at 80, 90 of 100
         {46 * 0.5 / 100, 8 * 0.5 / 20 + 0.5, 18 * 0.5 / 20 + 0.5}},
        {"without samples all lie after them", Aiff({.frames = 0}, name), {46 * 0.5 / 48 + 0.5}},
        {"samples said to begin in a later chunk", Aiff({}, Ssnd(Counting(16), 24) + anno), {78 * 0.5 / 80}},
        {"samples of negative size", Aiff({}, Ssnd(Counting(16), 17) + anno + auth),
         {8 * 0.5 / 20 + 0.5, 18 * 0.5 / 20 + 0.5}},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(Open(row.image), 0);
        std::uint32_t id = 1;
        std::int64_t size = 2;
        double position = 3;
        std::vector<double> positions;
        EXPECT_FALSE(mFile->GetMetadataInfo(-1, id, size, position));
        EXPECT_TRUE(id == 1 && size == 2 && position == 3);
        for (std::int32_t i = 0; mFile->GetMetadataInfo(i, id, size, position); ++i) {
            EXPECT_EQ(size, 10);
            positions.push_back(position);
        }
        EXPECT_EQ(positions, row.positions);
        EXPECT_FALSE(mFile->ReadMetadataChunk(-1, 0, 0, nullptr) ||
                     mFile->ReadMetadataChunk(3, 0, 0, nullptr));
    }
}

} // namespace
} // namespace aiff_tests
