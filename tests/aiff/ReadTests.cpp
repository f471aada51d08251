#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "AiffImage.h"
#include "support/Faults.h"

namespace aiff_tests {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

struct OpenCase {
    const char* name;
    Bytes image;
    std::int32_t code = 0;
    std::int64_t frames = 4;
    std::int64_t sampleBytes = 16;
    int firstByte = 1;
    std::vector<const char*> metadata = {};
};

OpenCase Opens(const char* inName, const Bytes& inImage, std::int64_t inFrames = 4,
               std::int64_t inSampleBytes = 16, int inFirstByte = 1,
               const std::vector<const char*>& inMetadata = {}) {
    return {inName, inImage, 0, inFrames, inSampleBytes, inFirstByte, inMetadata};
}
OpenCase Fails(std::int32_t inCode, const char* inName, const Bytes& inImage) {
    return {inName, inImage, inCode};
}

void CheckOpen(const OpenCase& inCase) {
    SCOPED_TRACE(inCase.name);
    OpenedImage opened(inCase.image);
    EXPECT_EQ(opened.error.code, inCase.code);
    EXPECT_EQ(Str(opened.error.compressionCode), "c");
    EXPECT_EQ(Str(opened.error.compressionDescription), "d");
    EXPECT_EQ(opened.error.bitsPerSample, kUntouched);
    ASSERT_EQ(opened.file != nullptr, inCase.code == 0);
    if (!opened.file)
        return;
    AiffFile& file = *opened.file;
    EXPECT_EQ(file.GetSampleCount(), inCase.frames);
    EXPECT_EQ(SampleDataSize(file), inCase.sampleBytes);
    unsigned char first = 0;
    if (file.ReadSampleBytes(0, 1, &first)) {
        EXPECT_EQ(first, inCase.firstByte);
    }
    std::uint32_t id = 0;
    std::int64_t size = 0;
    double position = 0;
    for (std::size_t i = 0; i < inCase.metadata.size(); ++i) {
        ASSERT_TRUE(file.GetMetadataInfo(static_cast<std::int32_t>(i), id, size, position));
        unsigned char header[8];
        ASSERT_TRUE(file.ReadMetadataChunk(static_cast<std::int32_t>(i), 0, 8, header));
        EXPECT_EQ(kelaudiofile::aiff::LoadId(header), id);
        EXPECT_EQ(std::string(header, header + 4), std::string(inCase.metadata[i], 4));
    }
    EXPECT_FALSE(file.GetMetadataInfo(static_cast<std::int32_t>(inCase.metadata.size()), id, size, position));
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
    const OpenCase kCases[] = {
        Opens("plain", plain),
        Fails(2, "empty file", {}),
        Fails(2, "other container", Text("RIFF") + Bytes(70, 0)),
        Fails(2, "lower case form", formatOf("aiff", comm)),
        Fails(4, "no chunk", AiffImage()),
        Fails(4, "no format", AiffImage().Ssnd(samples)),
        Fails(5, "no samples", Image()),
        Opens("format behind samples", AiffImage().Ssnd(samples).Comm({})),
        Opens("first format counts", AiffImage(plain).Comm({.channels = 1, .bits = 12})),
        Opens("first samples count, the rest is no metadata",
              AiffImage(plain).Ssnd(Bytes(32, 9)).Chunk("FVER", Big32(1)).Chunk("CHAN", {})),
        Opens("metadata, odd, empty, unknown", metadata, 4, 16, 1, {"NAME", "ANNO", "\1\2\3\4", "(c) "}),
        Opens("eight zero bytes are a chunk, seven are not", AiffImage(plain).Raw(Bytes(16 + 7)), 4, 16, 1,
              {"\0\0\0\0", "\0\0\0\0"}),
        Opens("a header up to the very end is not listed", AiffImage(plain).Header("ANNO", 0)),
        Fails(5, "odd chunk without a pad byte hides the next",
              Image().Header("ANNO", 1).Raw({7}).Raw(Text("SSND") + Big32(24) + zeros + samples)),
        Opens("format of 22 bytes", formatOf("AIFF", comm + Big32(7))),
        Fails(4, "format of 17 bytes", AiffImage().Header("COMM", 17).Raw(comm).Ssnd(samples)),
        Fails(4, "AIFC, format of 22 bytes", formatOf("AIFC", comm + Text("NONE"))),
        Opens("format of 65536 bytes", formatOf("AIFF", comm + Bytes(65536 - 18))),
        Fails(4, "format of 65537 bytes", formatOf("AIFF", comm + Bytes(65537 - 18))),
        Opens("format cut by the end", AiffImage().Header("COMM", 0xFFFFFFFF).Raw(Comm{.frames = 0}.Data()), 0, 0),
        Fails(5, "samples of 7 bytes", Image().Header("SSND", 7).Raw(zeros)),
        Opens("samples of 8 bytes", Image().Ssnd({}), 0, 0),
        Opens("samples cut by the end", Image().Header("SSND", 0xFFFFFFFF).Raw(zeros + Counting(10)), 2, 10),
        Opens("samples of 2 GiB, it says", Image().Header("SSND", 0x80000000).Raw(zeros + samples)),
        Opens("fewer frames than there are", Image({.frames = 3}).Ssnd(samples), 3),
        Opens("more frames than there are", Image({.frames = 0xFFFFFFFF}).Ssnd(samples)),
        Opens("skipped bytes", Image().Ssnd(samples, 6), 2, 10, 7),
        Opens("all skipped", Image().Ssnd(samples, 16), 0, 0),
        Opens("more skipped than there is", Image().Ssnd(samples, 17), 4, -1),
        Opens("most skipped", Image().Ssnd(samples, 0xFFFFFFFF), 4, -1),
        Opens("no frames need no samples", Image({.frames = 0}), 0, 0),
        Opens("no frames, samples ignored", Image({.frames = 0}).Ssnd(samples), 0, 0),
        Opens("no channels", Image({.channels = 0}), 4, 0),
        Opens("no bits need no samples, then a depth is imposed", Image({.bits = 0, .code = "in24"}), 4, 0),
        Opens("depth imposed once frames are counted", Image({.bits = 16, .code = "in24"}).Ssnd(samples), 4),
        Opens("depth raised before frames are counted", Image({.bits = 16, .code = "fl32"}).Ssnd(samples), 2),
        Opens("frames of less than a byte limit nothing",
              Image({.channels = 1, .frames = 99, .bits = 4, .code = "in32"}).Ssnd(samples), 99),
        Opens("a negative depth is a huge frame", Image({.channels = 1, .bits = -8, .code = "in24"}).Ssnd(samples), 0),
    };
    // clang-format on
    for (const OpenCase& row : kCases)
        CheckOpen(row);
    for (const int channels : {-1, -32768})
        for (const char* id : {"CHAN", "chan"}) {
            OpenedImage opened(
                Image({.channels = channels}).Chunk(id, Big32(0) + Big32(0) + Big32(9)).Ssnd(samples));
            EXPECT_TRUE(!opened.file && opened.error.code == 0) << channels;
        }
}

// What the walk finds in a file of 88 bytes, "COMM" at 12, "SSND" with 16 sample bytes at 38, that ends
// early.
OpenCase CutCase(const Bytes& inImage, std::uint64_t inEnd) {
    OpenCase row{.name = "cut", .image = inImage};
    if (inEnd < 38)
        row.code = 4;
    else if (inEnd < 54)
        row.code = 5;
    row.sampleBytes = std::min<std::int64_t>(static_cast<std::int64_t>(inEnd) - 54, 16);
    row.frames = row.sampleBytes / 4;
    if (inEnd > 78)
        row.metadata = {"ANNO"};
    return row;
}

TEST(AiffRead, CutAtEveryByteAndEveryFormSize) {
    const Bytes whole = Image().Ssnd(Counting(16)).Chunk("ANNO", Text("two words!"));
    ASSERT_EQ(whole.size(), 88u);
    for (std::size_t end = 0; end <= whole.size(); ++end) {
        SCOPED_TRACE(end);
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end));
        OpenCase row = CutCase(cut, end);
        if (end < 12)
            row.code = 2;
        CheckOpen(row);
    }
    for (std::uint32_t size = 0xFFFFFFE0; size != 90; ++size) {
        SCOPED_TRACE(size);
        Bytes image = whole;
        kelaudiofile::bytes::StoreBig32(&image[4], size);
        const std::uint32_t end = size + 8; // wraps
        CheckOpen(CutCase(image, size == 0 ? 88 : std::min<std::uint32_t>(end, 88)));
    }
}

TEST(AiffRead, CompressionAndDepth) {
    using namespace kelaudiofile;
    constexpr auto kSigns = ConvertBetweenSigned8BitAudioAndUnsigned;
    // clang-format off
    const struct {
        const char* code; // empty: an "AIFF" file
        int bits;
        std::int32_t error;
        int bytes = 0, type = 0;
        DeinterleaveFunction deinterleave = nullptr;
        ConversionFunction conversion = nullptr;
    } kRows[] = {
        {"", 8, 0, 1, 1, DeInterleave8Bit, kSigns},               {"", 16, 0, 2, 1, DeInterleave16Bit, Swizzle16Bit},
        {"", 24, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit},       {"", 32, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit},
        {"NONE", 24, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit},   {"sowt", 8, 0, 1, 2, DeInterleave8Bit, kSigns},
        {"sowt", 16, 0, 2, 2, DeInterleave16Bit},                 {"sowt", 32, 0, 4, 2, DeInterleave32Bit},
        {"in24", 16, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit},   {"IN24", 32, 0, 3, 1, DeInterleave24Bit,
         Swizzle24Bit},
        {"in24", 0, 0, 3, 1, DeInterleave24Bit, Swizzle24Bit},    {"in32", 8, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit},
        {"IN32", 99, 0, 4, 1, DeInterleave32Bit, Swizzle32Bit},   {"fl32", 16, 0, 4, 3, DeInterleave32BitFloat_1,
         Swizzle32Bit},
        {"fl32", -1, 0, 4, 3, DeInterleave32BitFloat_1, Swizzle32Bit},
        {"FL32", 0, 0, 4, 3, DeInterleave32BitFloat_1, Swizzle32Bit},
        {"", 12, 7}, {"", 64, 7}, {"", 4, 7}, {"", 0, 7}, {"", -16, 7}, {"sowt", 20, 7}, {"FL32", 64, 7},
        {"none", 24, 6}, {"twos", 16, 6}, {"SOWT", 16, 6}, {"fl64", 64, 6}, {"Fl32", 32, 6},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.code) + " " + std::to_string(row.bits));
        OpenedImage opened(
            Image({.bits = row.bits, .code = row.code, .rest = Bytes{3} + Text("abc")}).Ssnd(Counting(64)));
        EXPECT_EQ(opened.error.code, row.error);
        EXPECT_EQ(Str(opened.error.compressionCode), row.error == 6 ? row.code : "c");
        EXPECT_EQ(Str(opened.error.compressionDescription), row.error == 6 ? "abc" : "d");
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
    const struct {
        std::string_view code;
        Bytes rest;
        std::string codeText, description;
        std::int32_t error = 0;
    } kRows[] = {
        {{"\0\0\0\0", 4}, {2, 'h', 'i'}, "", "hi"},
        {"sowt", {5, 'h', 'i'}, "sowt", "hi"}, // cut to the chunk
        {"sowt", {1, 'h', 'i'}, "sowt", "h"},
        {"NONE", {3, 'h', 0, 'i'}, "NONE", "h"}, // cut at a zero byte
        {"NONE", Bytes{255} + Bytes(256, 'x'), "NONE", std::string(255, 'x')},
        {{"a\0b\0", 4}, {0, 'h'}, "a", "", 6},
    };
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
    struct Row {
        const char* name;
        int channels;
        std::optional<Bytes> chan;
        std::vector<unsigned> values;
        std::vector<unsigned> assumed = {}; // if that differs
    };
    const Row kRows[] = {
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
        {"empty chunk", 2, Bytes{}, {0, 0}},
        {"largest chunk", 2, descriptions(2, {2, 1}) + Bytes(65536 - 52), {101, 100}},
        {"chunk too large", 2, descriptions(2, {2, 1}) + Bytes(65537 - 52), {100, 101}},
    };
    // clang-format on
    for (const Row& row : kRows) {
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
        {0x3C00, kOne, 0x1p-1023}, {0x43FF, kOne, inf}, {0x43FE, 0xFFFFFFFFFFFFF800, std::numeric_limits<double>::max()},
        {0xFFFF, kOne, -inf}, {0x7FFF, 0, nan}, {0x43FF, 0, nan}, {0, kOne, 0}, {0x8000, 0, -0.0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(::testing::Message() << std::hex << row.signAndExponent << " " << row.mantissa);
        const Bytes rate = Big16(row.signAndExponent) +
                           Big32(static_cast<std::uint32_t>(row.mantissa >> 32)) +
                           Big32(static_cast<std::uint32_t>(row.mantissa));
        OpenedImage opened(Image({.frames = 0, .rate = rate}));
        ASSERT_TRUE(opened.file);
        const double got = opened.file->GetSampleRate();
        if (std::isnan(row.rate))
            EXPECT_TRUE(std::isnan(got));
        else
            EXPECT_EQ(std::bit_cast<std::uint64_t>(got), std::bit_cast<std::uint64_t>(row.rate)) << got;
    }
}

// A metadata chunk and sample bytes of the same size, so that the same ranges reach them.
TEST(AiffRead, RangesOfReads) {
    OpenedImage opened(Image().Chunk("NAME", Counting(9)).Ssnd(Counting(17)));
    ASSERT_TRUE(opened.file);
    const Bytes samples = Counting(17);
    const Bytes chunk = Text("NAME") + Big32(9) + Counting(9);
    const auto check = [&](std::int64_t offset, std::int64_t count, bool works) {
        SCOPED_TRACE(::testing::Message() << offset << ", " << count);
        const auto expected = [&](const Bytes& inAll) {
            Bytes bytes(20, 0xEE);
            if (works)
                std::copy_n(inAll.begin() + offset, count, bytes.begin());
            return bytes;
        };
        Bytes got(20, 0xEE);
        EXPECT_EQ(opened.file->ReadSampleBytes(offset, count, got.data()), works);
        EXPECT_EQ(got, expected(samples));
        got.assign(20, 0xEE);
        EXPECT_EQ(opened.file->ReadMetadataChunk(0, offset, count, got.data()), works);
        EXPECT_EQ(got, expected(chunk));
    };
    using Range = std::pair<std::int64_t, std::int64_t>;
    const Range kTaken[] = {{0, 0}, {0, 17}, {16, 1}, {17, 0}, {3, 5}};
    for (const auto& [offset, count] : kTaken)
        check(offset, count, true);
    const Range kRefused[] = {{0, 18},          {17, 1},     {18, 0},        {-1, 1},    {-1, 0},
                              {0, -1},          {20, -5},    {kMost, 1},     {1, kMost}, {kMost, kMost},
                              {kLeast, kLeast}, {kLeast, 1}, {0, 2147483648}};
    for (const auto& [offset, count] : kRefused)
        check(offset, count, false);
    for (const std::int32_t index : {-1, 1, std::numeric_limits<std::int32_t>::min()}) {
        std::uint32_t id = 1;
        std::int64_t size = 2;
        double position = 3;
        EXPECT_FALSE(opened.file->GetMetadataInfo(index, id, size, position));
        EXPECT_FALSE(opened.file->ReadMetadataChunk(index, 0, 0, nullptr));
        EXPECT_TRUE(id == 1 && size == 2 && position == 3);
    }
}

TEST(AiffRead, PositionsOfMetadata) {
    const auto positions = [](const Bytes& inImage) {
        OpenedImage opened(inImage);
        std::vector<double> all;
        std::uint32_t id;
        std::int64_t size;
        double position;
        while (opened.file &&
               opened.file->GetMetadataInfo(static_cast<std::int32_t>(all.size()), id, size, position))
            all.push_back(position);
        return all;
    };
    using All = std::vector<double>;
    // "NAME" at 38, "SSND" at 48, samples from 64 to 80, "ANNO" at 80, "AUTH" at 90: 100 bytes.
    const Bytes xy = Text("xy");
    const AiffImage image = Image().Chunk("NAME", xy).Ssnd(Counting(16)).Chunk("ANNO", xy).Chunk("AUTH", xy);
    const auto skipping = [&](std::uint32_t skip) {
        return Image().Ssnd(Counting(16), skip).Chunk("ANNO", xy);
    };
    EXPECT_EQ(positions(image), (All{46 * 0.5 / 100, 8 * 0.5 / 20 + 0.5, 18 * 0.5 / 20 + 0.5}));
    EXPECT_EQ(positions(Image({.frames = 0}).Chunk("NAME", xy)), (All{46 * 0.5 / 48 + 0.5}))
        << "without samples every chunk is behind them";
    for (const std::uint32_t skip : {100u, 24u}) // the first sample byte is said to be far behind, or there
        EXPECT_EQ(positions(skipping(skip)), (All{78 * 0.5 / 80}));
    EXPECT_EQ(positions(skipping(17).Chunk("AUTH", xy)), (All{8 * 0.5 / 20 + 0.5, 18 * 0.5 / 20 + 0.5}))
        << "behind a sample range of negative size";
}

TEST(AiffRead, NotThere) {
    const TemporaryFolder folder;
    Error error{kUntouched, {}, {}, kUntouched};
    EXPECT_FALSE(AiffFile::OpenForRead(folder.PathText("none.aif"), false, error));
    EXPECT_EQ(error.code, 1);
    EXPECT_FALSE(AiffFile::OpenForRead(folder.PathText(""), false, error)) << "a folder";
    EXPECT_EQ(error.code, 1);
}

// Headers alone are read, many of them with one system call; the lists take no more than 24 bytes for a byte.
TEST(AiffRead, CostOfOpen) {
    constexpr int kMany = 1 << 17;
    AiffImage zeros = Image({.frames = 0}).FormSize(0).Raw(Bytes(8 * kMany + 1));
    AiffImage large = Image({.frames = 0});
    for (int i = 0; i < 100; ++i)
        large.Chunk("ANNO", Bytes(20000, 'x'));
    struct Row {
        const char* name;
        Bytes image;
        int chunks;
        std::uint64_t mostBytesRead;
    };
    for (const Row& row : {Row{"zeros", zeros, kMany, 9 * kMany}, Row{"large", large, 100, 102 * 4096}}) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        const auto path = folder.PathText("a.aif");
        WriteFile(folder.Path("a.aif"), row.image);
        const faults::Scope scope;
        Error error;
        const auto file = AiffFile::OpenForRead(path, false, error);
        ASSERT_TRUE(file);
        EXPECT_LE(faults::Heap().peakBytes, static_cast<std::int64_t>(24 * row.image.size() + (1 << 20)));
        EXPECT_LE(faults::SystemCalls().reads, 102u);
        EXPECT_LE(faults::SystemCalls().bytesRead, row.mostBytesRead);
        EXPECT_TRUE(file->ReadMetadataChunk(row.chunks - 1, 0, 0, nullptr));
        EXPECT_FALSE(file->ReadMetadataChunk(row.chunks, 0, 0, nullptr));
    }
}

} // namespace
} // namespace aiff_tests
