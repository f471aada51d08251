#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <tuple>

#include "AiffImage.h"
#include "support/Faults.h"

namespace aiff_tests {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

/// What an open gives, in a line: "error 5", or frames, sample bytes and the first of them, ids of metadata,
/// such as "4 of 16 from 1 NAME". Errors but those of formats touch nothing else.
std::string Outcome(const Bytes& inImage) {
    const OpenedImage opened(inImage);
    EXPECT_EQ(Str(opened.error.compressionCode) + Str(opened.error.compressionDescription), "cd");
    EXPECT_EQ(opened.error.bitsPerSample, kUntouched);
    EXPECT_EQ(opened.file != nullptr, opened.error.code == 0);
    if (!opened.file)
        return "error " + std::to_string(opened.error.code);
    AiffFile& file = *opened.file;
    unsigned char first = 0;
    file.ReadSampleBytes(0, 1, &first);
    std::string text = std::to_string(file.GetSampleCount()) + " of " + std::to_string(SampleDataSize(file)) +
                       " from " + std::to_string(first);
    std::uint32_t id = 0;
    std::int64_t size = 0;
    double position = 0;
    for (std::int32_t i = 0; file.GetMetadataInfo(i, id, size, position); ++i) {
        unsigned char header[8];
        EXPECT_TRUE(file.ReadMetadataChunk(i, 0, 8, header));
        EXPECT_EQ(kelaudiofile::aiff::LoadId(header), id);
        text += " " + std::string(header, header + 4);
    }
    return text;
}

AiffImage Image(const Comm& inComm = {}) {
    return AiffImage(inComm.code.empty() ? "AIFF" : "AIFC").Comm(inComm);
}

TEST(AiffRead, HeadersAndChunks) {
    const Bytes samples = Counting(16), zeros(8), comm = Comm{}.Data();
    const AiffImage plain = Image().Ssnd(samples);
    const auto formatOf = [&](const char* inForm, const Bytes& inComm) {
        return AiffImage(inForm).Chunk("COMM", inComm).Ssnd(samples);
    };
    const AiffImage metadata =
        Image().Chunk("NAME", {7}).Chunk("ANNO", {}).Ssnd(samples).Chunk("\1\2\3\4", {}).Chunk("(c) ", {7});
    // clang-format off
    const struct { const char* name; Bytes image; std::string outcome; } kCases[] = {
        {"plain", plain, "4 of 16 from 1"},
        {"other container", Text("RIFF") + Bytes(70, 0), "error 2"},
        {"lower case form", formatOf("aiff", comm), "error 2"},
        {"no format", AiffImage().Ssnd(samples), "error 4"},
        {"format behind samples", AiffImage().Ssnd(samples).Comm({}), "4 of 16 from 1"},
        {"first format counts", AiffImage(plain).Comm({.channels = 1, .bits = 12}), "4 of 16 from 1"},
        {"first samples count, the rest is no metadata",
         AiffImage(plain).Ssnd(Bytes(32, 9)).Chunk("FVER", Big32(1)).Chunk("CHAN", {}), "4 of 16 from 1"},
        {"metadata, odd, empty, unknown", metadata, "4 of 16 from 1 NAME ANNO \1\2\3\4 (c) "},
        {"eight zero bytes are a chunk, seven are not", AiffImage(plain).Raw(Bytes(8 + 7)),
         "4 of 16 from 1 " + std::string(4, '\0')},
        {"a header up to the very end is not listed", AiffImage(plain).Header("ANNO", 0), "4 of 16 from 1"},
        {"odd chunk without a pad byte hides the next",
         Image().Header("ANNO", 1).Raw({7}).Raw(Text("SSND") + Big32(24) + zeros + samples), "error 5"},
        {"format of 22 bytes", formatOf("AIFF", comm + Big32(7)), "4 of 16 from 1"},
        {"format of 17 bytes", AiffImage().Header("COMM", 17).Raw(comm).Ssnd(samples), "error 4"},
        {"AIFC, format of 22 bytes", formatOf("AIFC", comm + Text("NONE")), "error 4"},
        {"format of 65536 bytes", formatOf("AIFF", comm + Bytes(65536 - 18)), "4 of 16 from 1"},
        {"format of 65537 bytes", formatOf("AIFF", comm + Bytes(65537 - 18)), "error 4"},
        {"format cut by the end", AiffImage().Header("COMM", ~0u).Raw(Comm{.frames = 0}.Data()), "0 of 0 from 0"},
        {"fewer frames than there are", Image({.frames = 3}).Ssnd(samples), "3 of 16 from 1"},
        {"more frames than there are", Image({.frames = 0xFFFFFFFF}).Ssnd(samples), "4 of 16 from 1"},
        {"skipped bytes", Image().Ssnd(samples, 6), "2 of 10 from 7"},
        {"all skipped", Image().Ssnd(samples, 16), "0 of 0 from 0"},
        {"more skipped than there is", Image().Ssnd(samples, 17), "4 of -1 from 0"},
        {"no frames need no samples", Image({.frames = 0}), "0 of 0 from 0"},
        {"no channels", Image({.channels = 0}), "4 of 0 from 0"},
        {"no bits need no samples, then a depth is imposed", Image({.bits = 0, .code = "in24"}), "4 of 0 from 0"},
        {"depth imposed once frames are counted", Image({.bits = 16, .code = "in24"}).Ssnd(samples), "4 of 16 from 1"},
        {"depth raised before frames are counted", Image({.bits = 16, .code = "fl32"}).Ssnd(samples), "2 of 16 from 1"},
        {"frames of less than a byte limit nothing",
         Image({.channels = 1, .frames = 99, .bits = 4, .code = "in32"}).Ssnd(samples), "99 of 16 from 1"},
        {"a negative depth is a huge frame", Image({.channels = 1, .bits = -8, .code = "in24"}).Ssnd(samples),
         "0 of 16 from 1"},
    };
    // clang-format on
    for (const auto& row : kCases)
        EXPECT_EQ(Outcome(row.image), row.outcome) << row.name;
    for (const char* id : {"CHAN", "chan"}) {
        const Bytes chan = Big32(0) + Big32(0) + Big32(9);
        const OpenedImage opened(Image({.channels = -1}).Chunk(id, chan).Ssnd(samples));
        EXPECT_TRUE(!opened.file && opened.error.code == 0);
    }
}

// In a file of 88 bytes with "COMM" at 12, "SSND" with 16 sample bytes at 38, and "ANNO" behind them.
TEST(AiffRead, CutAtEveryByteAndEveryFormSize) {
    const Bytes whole = Image().Ssnd(Counting(16)).Chunk("ANNO", Text("two words!"));
    ASSERT_EQ(whole.size(), 88u);
    const auto outcome = [](std::uint64_t end) -> std::string {
        if (end < 54)
            return end < 38 ? "error 4" : "error 5";
        const std::uint64_t bytes = std::min<std::uint64_t>(end - 54, 16);
        return std::to_string(bytes / 4) + " of " + std::to_string(bytes) +
               (bytes > 0 ? " from 1" : " from 0") + (end > 78 ? " ANNO" : "");
    };
    for (std::size_t end = 0; end <= whole.size(); ++end)
        EXPECT_EQ(Outcome(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end))),
                  end < 12 ? "error 2" : outcome(end))
            << end;
    for (std::uint32_t size = 0xFFFFFFE0; size != 90; ++size) { // size + 8 wraps
        Bytes image = whole;
        kelaudiofile::bytes::StoreBig32(&image[4], size);
        EXPECT_EQ(Outcome(image), outcome(size == 0 ? 88 : std::min<std::uint32_t>(size + 8, 88))) << size;
    }
}

TEST(AiffRead, CompressionAndDepth) {
    using namespace kelaudiofile;
    constexpr auto kSigns = ConvertBetweenSigned8BitAudioAndUnsigned;
    // clang-format off
    const struct { // an empty code: an "AIFF" file
        const char* code; int bits; std::int32_t error; int bytes = 0, type = 0;
        DeinterleaveFunction deinterleave = nullptr; ConversionFunction conversion = nullptr;
    } kRows[] = {
        {"", 8, 0, 1, 1, DeInterleave8Bit, kSigns}, {"", 16, 0, 2, 1, DeInterleave16Bit, Swizzle16Bit},
        {"", 24, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit}, {"", 32, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit},
        {"NONE", 24, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit}, {"sowt", 8, 0, 1, 2, DeInterleave8Bit, kSigns},
        {"sowt", 16, 0, 2, 2, DeInterleave16Bit}, {"sowt", 32, 0, 4, 2, DeInterleave32Bit},
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
        OpenedImage opened(
            Image({.bits = row.bits, .code = row.code, .rest = Bytes{3} + Text("abc")}).Ssnd(Counting(64)));
        EXPECT_EQ(opened.error.code, row.error);
        EXPECT_EQ(Str(opened.error.compressionCode) + Str(opened.error.compressionDescription),
                  row.error == 6 ? row.code + std::string("abc") : "cd");
        EXPECT_EQ(opened.error.bitsPerSample, row.error == 7 ? row.bits : kUntouched);
        ASSERT_EQ(opened.file != nullptr, row.error == 0);
        if (!opened.file)
            continue;
        EXPECT_EQ(opened.file->GetBytesPerSample(), row.bytes);
        EXPECT_EQ(opened.file->GetSampleType(), row.type);
        EXPECT_EQ(GetDeinterleaveFunction(*opened.file), row.deinterleave);
        EXPECT_EQ(GetConversionFunction(*opened.file), row.conversion);
        EXPECT_EQ(Str(opened.file->GetCompressionCode()), row.code);
        EXPECT_EQ(Str(opened.file->GetCompressionDescription()), *row.code == '\0' ? "" : "abc");
    }
}

TEST(AiffRead, CompressionTexts) {
    // clang-format off
    const struct { std::string_view code; Bytes rest; std::string codeText, description; int error = 0; } kRows[] = {
        {{"\0\0\0\0", 4}, {2, 'h', 'i'}, "", "hi"},
        {"sowt", {5, 'h', 'i'}, "sowt", "hi"}, // cut to the chunk
        {"sowt", {1, 'h', 'i'}, "sowt", "h"},
        {"NONE", {3, 'h', 0, 'i'}, "NONE", "h"}, // cut at a zero byte
        {"NONE", Bytes{255} + Bytes(256, 'x'), "NONE", std::string(255, 'x')},
        {{"a\0b\0", 4}, {0, 'h'}, "a", "", 6},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.codeText + ", " + row.description);
        const OpenedImage opened(Image({.frames = 0, .code = row.code, .rest = row.rest}));
        const auto& file = opened.file;
        EXPECT_EQ(opened.error.code, row.error);
        EXPECT_EQ(Str(file ? file->GetCompressionCode() : opened.error.compressionCode), row.codeText);
        EXPECT_EQ(Str(file ? file->GetCompressionDescription() : opened.error.compressionDescription),
                  row.description);
    }
}

TEST(AiffRead, ChannelLayouts) {
    const auto descriptions = [](std::uint32_t inCount, std::initializer_list<std::uint32_t> inLabels) {
        Bytes data = Big32(0) + Big32(0x3F) + Big32(inCount);
        for (const std::uint32_t label : inLabels)
            data = data + Big32(label) + Bytes(16, 0xEE);
        return data;
    };
    const auto bitmap = [](std::uint32_t inBits) { return Big32(0x10000) + Big32(inBits); };
    // clang-format off
    const struct { // assumed: if that differs
        const char* name; int channels; std::optional<Bytes> chan; std::vector<unsigned> values, assumed = {};
    } kRows[] = {
        {"mono", 1, {}, {0}}, {"stereo", 2, {}, {100, 101}}, {"three", 3, {}, {0, 0, 0}, {100, 101, 102}},
        {"four", 4, {}, {0, 0, 0, 0}, {100, 101, 104, 105}}, {"five", 5, {}, {0, 0, 0, 0, 0}},
        {"six", 6, {}, {0, 0, 0, 0, 0, 0}, {100, 107, 102, 101, 108, 106}}, {"none", 0, {}, {}},
        {"descriptions", 3, descriptions(3, {3, 42, 38}), {102, 0, 132}},
        {"headphones", 2, descriptions(2, {301, 302}), {100, 101}},
        {"more descriptions than channels", 1, descriptions(2, {2, 1}), {101}},
        {"count larger than the chunk", 4, descriptions(0xFFFFFFFF, {2, 1}), {101, 100, 0, 0}},
        {"count smaller than the chunk", 2, descriptions(1, {2, 1}), {101, 0}},
        {"label cut by the end", 2, descriptions(2, {2}) + Bytes{0, 0, 0}, {101, 0}},
        {"bitmap of two channels", 2, bitmap(0x3F), {100, 101}},
        {"whole bitmap", 19, bitmap(0xFFFFFFFF),
         {100, 101, 102, 103, 104, 105, 107, 108, 106, 109, 110, 111, 112, 114, 113, 115, 117, 116, 0}},
        {"predefined layout", 2, Big32(0x650002) + Big32(3) + Big32(2), {0, 0}},
        {"bitmap cut by the end", 2, Big32(0x10000) + Bytes{0, 0, 0}, {0, 0}},
        {"largest chunk", 2, descriptions(2, {2, 1}) + Bytes(65536 - 52), {101, 100}},
        {"chunk too large", 2, descriptions(2, {2, 1}) + Bytes(65537 - 52), {100, 101}},
    };
    // clang-format on
    for (const auto& row : kRows)
        for (const bool assume : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (assume ? ", order assumed" : ""));
            AiffImage image = Image({.channels = row.channels, .frames = 0});
            if (row.chan)
                image.Chunk("CHAN", *row.chan).Chunk("CHAN", bitmap(7)); // the first one counts
            OpenedImage opened(image, assume);
            ASSERT_TRUE(opened.file);
            EXPECT_EQ(opened.file->GetNumChannels(), row.channels);
            EXPECT_EQ(Values(opened.file->GetAudioChannelLayout()),
                      assume && !row.assumed.empty() ? row.assumed : row.values);
        }
}

TEST(AiffRead, SampleRates) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr std::uint64_t kOne = 0x8000000000000000, kAllBits = 0xFFFFFFFFFFFFFFFF;
    // clang-format off
    const struct { int signAndExponent; std::uint64_t mantissa; double rate; } kRows[] = {
        {0x400E, 0xAC44000000000000, 44100}, {0xC00E, 0xBB80000000000000, -48000},
        {0x400E, 0x0000800000000000, 0.5},   // not normalised
        {0x3FFF, kAllBits, 2},               // the sum rounds up
        {0x3FFF, kOne + 0x600, 1},           // 1 + 2^-53 + 2^-54: each bit falls away
        {0x3FFF, kOne + 0xC00, 1 + 0x1p-51}, // 2^-52 first, then a tie to even
        {0x3C00 - 52, kAllBits, 0},          // 2^-1075 is 0 before it is multiplied
        {0x3C00, kOne, 0x1p-1023}, {0x43FF, kOne, inf}, {0x43FE, 0xFFFFFFFFFFFFF800, 0x1.FFFFFFFFFFFFFp1023},
        {0xFFFF, kOne, -inf}, {0x7FFF, 0, nan}, {0x43FF, 0, nan}, {0, kOne, 0}, {0x8000, 0, -0.0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(::testing::Message() << std::hex << row.signAndExponent << " " << row.mantissa);
        Bytes rate = Big16(row.signAndExponent);
        for (int shift = 56; shift >= 0; shift -= 8)
            rate.push_back(static_cast<unsigned char>(row.mantissa >> shift));
        const OpenedImage opened(Image({.frames = 0, .rate = rate}));
        ASSERT_TRUE(opened.file);
        const double got = opened.file->GetSampleRate();
        EXPECT_TRUE(std::isnan(row.rate)
                        ? std::isnan(got)
                        : std::bit_cast<std::uint64_t>(got) == std::bit_cast<std::uint64_t>(row.rate))
            << got;
    }
}

// A metadata chunk and sample bytes of the same size, so that the same ranges reach them.
TEST(AiffRead, RangesOfReads) {
    const OpenedImage opened(Image().Chunk("NAME", Counting(9)).Ssnd(Counting(17)));
    ASSERT_TRUE(opened.file);
    const Bytes samples = Counting(17), chunk = Text("NAME") + Big32(9) + Counting(9);
    // clang-format off
    const struct { std::int64_t offset, count; bool works; } kRanges[] = {
        {0, 0, true}, {0, 17, true}, {16, 1, true}, {17, 0, true}, {3, 5, true}, {0, 18, false}, {17, 1, false},
        {18, 0, false}, {-1, 1, false}, {-1, 0, false}, {0, -1, false}, {20, -5, false}, {kMost, 1, false},
        {1, kMost, false}, {kMost, kMost, false}, {kLeast, kLeast, false}, {0, 2147483648, false},
    };
    // clang-format on
    for (const auto& [offset, count, works] : kRanges)
        for (const Bytes& all : {samples, chunk}) {
            SCOPED_TRACE(::testing::Message() << offset << ", " << count);
            Bytes expected(20, 0xEE), got = expected;
            if (works)
                std::copy_n(all.begin() + offset, count, expected.begin());
            EXPECT_EQ(all == chunk ? opened.file->ReadMetadataChunk(0, offset, count, got.data())
                                   : opened.file->ReadSampleBytes(offset, count, got.data()),
                      works);
            EXPECT_EQ(got, expected);
        }
    EXPECT_FALSE(opened.file->ReadSampleBytes(0, 1, nullptr) ||
                 opened.file->ReadMetadataChunk(0, 0, 1, nullptr));
    std::uint32_t id = 1;
    std::int64_t size = 2;
    double position = 3;
    for (const std::int32_t index : {-1, 1, std::numeric_limits<std::int32_t>::min()})
        EXPECT_FALSE(opened.file->GetMetadataInfo(index, id, size, position) ||
                     opened.file->ReadMetadataChunk(index, 0, 0, nullptr));
    EXPECT_TRUE(id == 1 && size == 2 && position == 3);
}

TEST(AiffRead, PositionsOfMetadata) {
    const auto positions = [](const Bytes& inImage) {
        const OpenedImage opened(inImage);
        std::vector<double> all(10);
        std::int32_t count = 0;
        std::uint32_t id;
        std::int64_t size;
        while (opened.file->GetMetadataInfo(count, id, size, all[static_cast<std::size_t>(count)]))
            ++count;
        all.resize(static_cast<std::size_t>(count));
        return all;
    };
    using All = std::vector<double>;
    // "NAME" at 38, "SSND" at 48, samples from 64 to 80, "ANNO" at 80, "AUTH" at 90: 100 bytes.
    const Bytes xy = Text("xy");
    const auto skipping = [&](std::uint32_t skip) {
        return Image().Chunk("NAME", xy).Ssnd(Counting(16), skip).Chunk("ANNO", xy).Chunk("AUTH", xy);
    };
    EXPECT_EQ(positions(skipping(0)), (All{46 * 0.5 / 100, 8 * 0.5 / 20 + 0.5, 18 * 0.5 / 20 + 0.5}));
    EXPECT_EQ(positions(Image({.frames = 0}).Chunk("NAME", xy)), (All{46 * 0.5 / 48 + 0.5}))
        << "without samples every chunk is behind them";
    EXPECT_EQ(positions(Image().Ssnd(Counting(16), 100).Chunk("ANNO", xy)), (All{78 * 0.5 / 80}))
        << "the first sample byte is said to be far behind";
    EXPECT_EQ(positions(Image().Ssnd(Counting(16), 17).Chunk("ANNO", xy).Chunk("AUTH", xy)),
              (All{8 * 0.5 / 20 + 0.5, 18 * 0.5 / 20 + 0.5}))
        << "behind a sample range of negative size";
}

TEST(AiffRead, NotThere) {
    const TemporaryFolder folder;
    for (const char* name : {"none.aif", ""}) { // the second is a folder
        Error error;
        EXPECT_FALSE(AiffFile::OpenForRead(folder.PathText(name), false, error));
        EXPECT_EQ(error.code, 1);
    }
}

// Headers alone are read, many of them with one system call; the lists take no more than 24 bytes for a byte.
TEST(AiffRead, CostOfOpen) {
    constexpr int kMany = 1 << 17;
    AiffImage zeros = Image({.frames = 0}).FormSize(0).Raw(Bytes(8 * kMany + 1));
    AiffImage large = Image({.frames = 0});
    for (int i = 0; i < 100; ++i)
        large.Chunk("ANNO", Bytes(20000, 'x'));
    using Row = std::tuple<Bytes, int, std::uint64_t>; // image, chunks, most bytes to read
    for (const auto& [image, chunks, mostBytes] : {Row{zeros, kMany, 9 * kMany}, {large, 100, 102 * 4096}}) {
        const TemporaryFolder folder;
        const auto path = folder.PathText("a.aif");
        WriteFile(folder.Path("a.aif"), image);
        const faults::Scope scope;
        Error error;
        const auto file = AiffFile::OpenForRead(path, false, error);
        ASSERT_TRUE(file);
        EXPECT_LE(faults::Heap().peakBytes, static_cast<std::int64_t>(24 * image.size() + (1 << 20)));
        EXPECT_LE(faults::SystemCalls().reads, 102u);
        EXPECT_LE(faults::SystemCalls().bytesRead, mostBytes);
        EXPECT_TRUE(file->ReadMetadataChunk(chunks - 1, 0, 0, nullptr));
        EXPECT_FALSE(file->ReadMetadataChunk(chunks, 0, 0, nullptr));
    }
}

} // namespace
} // namespace aiff_tests
