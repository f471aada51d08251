#include "AiffTest.h"

namespace aiff_tests {
namespace {

using AiffWrite = AiffTest;

TEST_F(AiffWrite, Images) {
    const Bytes kRateOf0 = {0x3C, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0};
    const Bytes kRateOfMinus1 = {0xBF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0};
    Format everyValue;
    for (std::uint32_t value = 99; value <= 138; ++value)
        everyValue.layout.push_back(value);
    // clang-format off
    // The first one is written out in full; the others list the differences.
    const Bytes kFirst = BigImage().Text("FORM").U32(0x74).Text("AIFF")
        .Text("COMM").U32(18).U16(2).U32(1).U16(16).Add(kRate44100)
        .Text("CHAN").U32(0x38).U64(0).U32(2).U32(1).Fill(16).U32(2).Fill(16).Fill(4)
        .Text("SSND").U32(13).U64(0).Add({1, 2, 3, 4, 5, 0});
    const struct { const char* name; Format format; Bytes samples, image; } kRows[] = {
        {"big-endian, partial last frame, odd end", {.channels = 2, .layout = {100, 101}}, Counting(5), kFirst},
        {"little-endian, rate of 0", {0, 1, 24, 2, {}}, Counting(6),
         Aiff({1, 2, 24, kRateOf0, "sowt"}, Chan({}) + Ssnd(Counting(6)))},
        {"frames of less than a byte, negative rate", {-1, 1, 7, 1, {100}}, Counting(2),
         Aiff({1, 0, 7, kRateOfMinus1}, Chan({1}) + Ssnd(Counting(2)))},
        {"numbers cut to 16 bits, frames of negative size", {.channels = 0x1FFFE, .bits = 0x70008},
         Counting(2), Aiff({-2, 0, 8}, Chan({}) + Ssnd(Counting(2)))},
        {"the label of every value", everyValue, Counting(2),
         Aiff({.channels = 1, .frames = 1},
              Chan({42, 1, 2, 3, 4, 5, 6, 9, 7, 8, 10, 11, 12, 13, 15, 14, 16, 18, 17, 35, 36, 42, 42, 42, 42, 42, 42,
                    42, 42, 42, 33, 34, 37, 38, 39, 200, 201, 202, 203, 42}) + Ssnd(Counting(2)))},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        WriteFile(mPath, Bytes(1000, 'x')); // will be replaced
        EXPECT_EQ(Create(row.format) + Write(row.samples), 0);
        EXPECT_EQ(mFile->GetSampleCount(), 0);
        EXPECT_EQ(mFile->GetNumChannels(), static_cast<std::int16_t>(row.format.channels));
        EXPECT_EQ(mFile->GetAudioChannelLayout(), row.format.layout);
        EXPECT_FALSE(mFile->ReadSampleBytes(0, 0, nullptr));
        EXPECT_TRUE(Finish());
        EXPECT_EQ(Left(), row.image);
    }
}

TEST_F(AiffWrite, OrdersOfCalls) {
    const auto file = [](std::uint32_t inFrames, const Bytes& inChunks) {
        return Aiff({.channels = 1, .frames = inFrames}, Chan({}) + inChunks);
    };
    const Bytes three = Counting(3), odd = Chunk("NAME", three), empty = Chunk("NAME", {});
    const Bytes six = Ssnd(three + three), ssnd = Bytes(8) + three;
    // clang-format off
    const struct { const char *name, *calls, *results; Bytes image; } kRows[] = {
        {"the header goes out at once", "", "", Unfinished(file(0, {}))},
        {"nothing", ".", "y", file(0, {})},
        {"metadata, then samples", "[3][4]ss.", "yyyyyyyyy", file(3, odd + Chunk("NAME", Counting(4)) + six)},
        {"empty metadata", "[][0].", "yyyyyy", file(0, empty + empty)},
        {"samples in an open metadatum", "[3s2].", "yyyyyy",
         file(1, Header("NAME", 24).Add(three) + Header("SSND", 11).Add(ssnd) + Counting(2))},
        {"a metadatum left open", "[3.", "yyy", file(0, Header("NAME", 0).Add(three))},
        {"one metadatum at a time, before samples", "]3[[3]s[3]s.", "nnynyyynnnyy", file(3, odd + six)},
        {"nothing after the end", "s.s[3].!", "yyrnnnyy", file(1, Ssnd(three))},
        {"abandoned", "s!.", "yyy", Unfinished(file(0, Header("SSND", 0).Add(ssnd)))},
        {"abandoned on a full disk", "s-.!+.", "ynyy", Unfinished(file(0, {}))},
        {"deleted as it is", "[3", "yy", Unfinished(file(0, Header("NAME", 0).Add(three)))},
        {"samples after a failed finish", "-.s[3].+s.", "nfnnnnyy", file(1, Ssnd(three))},
        {"a metadatum after a failed finish", "-.[3].+3].", "nnnnnyyy", file(0, odd)},
        {"what a failed write left goes with the end of its metadatum", "[~M+]", "yny",
         Unfinished(file(0, Header("NAME", 0)))},
        {"an empty metadatum after a failed finish", "-.[.+].", "nnnyy", file(0, empty)},
    };
    // clang-format on
    faults::SystemCalls() = {.mode = faults::System::Mode::kFailForGood, .largestTransfer = 9999};
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Create(), 0);
        EXPECT_EQ(Play(row.calls), row.results);
        mFile.reset();
        EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
        EXPECT_EQ(Left(), row.image);
    }
}

TEST_F(AiffWrite, Refused) {
    WriteFile(mPath, ToBytes("kept"));
    for (const int type : {0, 4, -1})
        EXPECT_EQ(Create({.type = type}), 8);
    EXPECT_EQ(Left(), ToBytes("kept"));
    EXPECT_TRUE(Create({}, "no/such/folder.aif") == 10 && Create({}, "") == 10) << "no file can be made";

    EXPECT_EQ(Create(), 0);
    EXPECT_TRUE(Write(nullptr, -1) == 9 && Write(nullptr, 1) == 9);
    EXPECT_TRUE(mFile->StartMetadatumWrite(1)) << "samples have not begun";
    EXPECT_FALSE(mFile->MetadatumWrite(nullptr, -1) || mFile->MetadatumWrite(nullptr, 1));
    mTaken = 1;
    EXPECT_EQ(Play("s"), "r") << "another offset";

    EXPECT_EQ(Open(Aiff({}, Ssnd(Counting(16)))), 0);
    mTaken = 0;
    EXPECT_EQ(Play("s[3].!"), "rnnnyy") << "a file that is read";
    EXPECT_TRUE(mFile->ReadSampleBytes(0, 0, nullptr));
}

// "SSND" and metadata begin after a header of 62 bytes. The largest even FORM size is 0xFFFFFFF6 bytes.
TEST_F(AiffWrite, TheFormatsLimit) {
    constexpr std::int32_t kBlock = 1 << 30;
    constexpr auto kRoom =
        static_cast<std::int32_t>(0xFFFFFFF6 + std::int64_t{8} - 62 - 3 * std::int64_t{kBlock});
    faults::SystemCalls().sparse = true;
    const unsigned char byte = 0; // no others are read
    // clang-format off
    const struct { // three blocks, then the last count, then what still fits
        const char* name; bool samples; std::int32_t lastCount; bool fits; std::int32_t further;
    } kRows[] = {
        {"samples that fit exactly", true, kRoom - 16, true, 0},
        {"samples whose pad byte fits", true, kRoom - 17, true, 1},
        {"samples whose pad byte does not fit", true, kRoom - 15, false, kRoom - 16},
        {"metadata that fit exactly", false, kRoom - 8, true, 0},
        {"metadata whose pad byte does not fit", false, kRoom - 7, false, kRoom - 8},
        {"metadata that leave room for a header", false, kRoom - 8 - 18, true, 2},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Create({.bits = 8}), 0);
        std::int64_t written = 0;
        const auto write = [&](std::int32_t inCount) {
            const bool taken =
                row.samples ? Write(&byte, inCount) == 0 : mFile->MetadatumWrite(&byte, inCount);
            written += taken ? inCount : 0;
            return taken;
        };
        EXPECT_TRUE(row.samples || mFile->StartMetadatumWrite(1));
        EXPECT_TRUE(write(kBlock) && write(kBlock) && write(kBlock));
        EXPECT_EQ(write(row.lastCount), row.fits);
        EXPECT_TRUE(write(row.further)) << "the file can continue";
        EXPECT_FALSE(row.samples && write(1)) << "and is full";
        const bool another = row.further == 2;
        EXPECT_TRUE(row.samples || Play("]s[") == (another ? "yfy" : "yfn")) << "the samples have not begun";
        EXPECT_TRUE(Finish());

        const std::int64_t end = 62 + (row.samples ? 16 : 8) + written + written % 2 + (another ? 8 : 0);
        EXPECT_EQ(static_cast<std::int64_t>(std::filesystem::file_size(mPath)), end);
        EXPECT_EQ(ReadFilePart(mPath, 4, 4), Big32(static_cast<std::uint32_t>(end - 8)));
        EXPECT_EQ(ReadFilePart(mPath, 66, 4), Big32(static_cast<std::uint32_t>(written + row.samples * 8)));
        ASSERT_EQ(Open(), 0);
        EXPECT_EQ(mFile->GetSampleCount(), row.samples ? written : 0);
        EXPECT_FALSE(mFile->ReadSampleBytes(0, 2147483648, &written)) << "though it is there";
    }
}

} // namespace
} // namespace aiff_tests
