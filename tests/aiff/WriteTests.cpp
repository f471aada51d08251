#include <gtest/gtest.h>

#include <algorithm>

#include "AiffImage.h"
#include "support/Faults.h"

namespace aiff_tests {
namespace {

struct Format {
    int rate = 44100, channels = 2, bits = 16, type = 1;
    ChannelLayout layout = {100, 101};
};

std::unique_ptr<AiffFile> Create(const TemporaryFolder& inFolder, const Format& inFormat = {}) {
    Error error{kUntouched, {}, {}, kUntouched};
    std::unique_ptr<AiffFile> file(
        AiffFile::OpenForWrite(inFolder.PathText("a.aif"), inFormat.rate, inFormat.channels, inFormat.bits,
                               static_cast<AiffFile::SampleType>(inFormat.type), inFormat.layout, error));
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(error.bitsPerSample, kUntouched);
    return file;
}

std::int32_t CodeOfWrite(AiffFile& inFile, std::int64_t inOffset, const Bytes& inSamples) {
    Error error{kUntouched, {}, {}, kUntouched};
    const bool written = inFile.WriteSampleBytes(inOffset, static_cast<std::int32_t>(inSamples.size()),
                                                 inSamples.data(), error);
    EXPECT_EQ(written, error.code == 0);
    return error.code;
}

bool WriteMetadatum(AiffFile& inFile, const Bytes& inData) {
    return inFile.MetadatumWrite(inData.data(), static_cast<std::int32_t>(inData.size()));
}

bool Finish(AiffFile& inFile, bool inAbandon = false) {
    Error error{kUntouched, {}, {}, kUntouched};
    bool finished = false;
    try {
        finished = inFile.FinishWrite(inAbandon, error);
    } catch (const kelcore::filesupport::file_exception&) {
    }
    EXPECT_EQ(error.code, kUntouched);
    return finished;
}

TEST(AiffWrite, Images) {
    // All of the first one written out; the others say what differs.
    const Bytes kFirst = BigImage()
                             .Text("FORM")
                             .U32(0x74)
                             .Text("AIFFCOMM")
                             .U32(18)
                             .U16(2)
                             .U32(1)
                             .U16(16)
                             .Add(kRate44100)
                             .Text("CHAN")
                             .U32(0x38)
                             .U64(0)
                             .U32(2)
                             .U32(1)
                             .Fill(16)
                             .U32(2)
                             .Fill(16)
                             .Fill(4)
                             .Text("SSND")
                             .U32(13)
                             .U64(0)
                             .Add({1, 2, 3, 4, 5, 0});
    const Bytes kRate48000 = {0x40, 0x0E, 0xBB, 0x80, 0, 0, 0, 0, 0, 0};
    const Bytes kRateOf0 = {0x3C, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0},
                kRateOfMinus1 = {0xBF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0};
    const Bytes kFloatingPoint = Bytes{21} + ToBytes("32-bit floating point"),
                kNoLabels = Chunk("CHAN", Bytes(16));
    // clang-format off
    const struct { const char* name; Format format; Bytes samples, image; } kRows[] = {
        {"big-endian, partial last frame, odd end", {}, Counting(5), kFirst},
        {"little-endian", {48000, 1, 24, 2, {}}, Counting(6),
         Aiff({1, 2, 24, kRate48000, "sowt"}, kNoLabels + Ssnd(Counting(6)))},
        {"float, values without a label", {0, 3, 32, 3, {0, 120, 113}}, Counting(13),
         Aiff({3, 1, 32, kRateOf0, "fl32", kFloatingPoint}, Chan({42, 42, 15}) + Ssnd(Counting(13)))},
        {"frames of less than a byte, negative rate", {-1, 1, 7}, Counting(2),
         Aiff({1, 0, 7, kRateOfMinus1}, Chan({1, 2}) + Ssnd(Counting(2)))},
        {"numbers cut to 16 bits, frames of negative size", {.channels = 0x1FFFE, .bits = 0x70008, .layout = {}},
         Counting(2), Aiff({-2, 0, 8}, kNoLabels + Ssnd(Counting(2)))},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        WriteFile(folder.Path("a.aif"), Bytes(1000, 'x')); // is replaced
        const auto file = Create(folder, row.format);
        EXPECT_EQ(CodeOfWrite(*file, 0, row.samples), 0);
        EXPECT_EQ(file->GetSampleCount(), 0);
        EXPECT_EQ(file->GetNumChannels(), static_cast<std::int16_t>(row.format.channels));
        EXPECT_EQ(Values(file->GetAudioChannelLayout()), Values(row.format.layout));
        EXPECT_FALSE(file->ReadSampleBytes(0, 0, nullptr));
        EXPECT_TRUE(Finish(*file));
        EXPECT_EQ(ReadFile(folder.Path("a.aif")), row.image);
    }
}

TEST(AiffWrite, EveryValueAndItsLabel) {
    ChannelLayout layout;
    for (std::uint32_t value = 99; value <= 138; ++value)
        layout.push_back(value);
    const TemporaryFolder folder;
    ASSERT_TRUE(Finish(*Create(folder, {.layout = layout})));
    const Bytes chan =
        Chan({42, 1,  2,  3,  4,  5,  6,  9,  7,  8,  10, 11, 12, 13, 15, 14,  16,  18,  17,  35,
              36, 42, 42, 42, 42, 42, 42, 42, 42, 42, 33, 34, 37, 38, 39, 200, 201, 202, 203, 42});
    EXPECT_EQ(ReadFilePart(folder.Path("a.aif"), 38, 1000), chan);
}

/// Makes a call for each character, and says whether each of them worked: [ and ] begin and end a metadatum,
/// a digit adds that many bytes to it, s adds three bytes of samples, . finishes the file and ! abandons it.
std::string Play(AiffFile& ioFile, std::string_view inCalls) {
    std::string results;
    std::int64_t written = 0;
    const auto play = [&](char inCall) {
        switch (inCall) {
        case '[':
            return ioFile.StartMetadatumWrite(0x454D414E);
        case ']':
            return ioFile.FinishMetadatumWrite();
        case 's':
            return CodeOfWrite(ioFile, written, Counting(3)) == 0 && (written += 3) != 0;
        case '.':
        case '!':
            return Finish(ioFile, inCall == '!');
        default:
            return WriteMetadatum(ioFile, Counting(static_cast<std::size_t>(inCall - '0')));
        }
    };
    for (const char call : inCalls)
        if (call == '-' || call == '+')
            faults::SystemCalls().failAt = call == '-' ? 0 : faults::kNever;
        else
            results += play(call) ? 'y' : 'n';
    return results;
}

TEST(AiffWrite, OrdersOfCalls) {
    const auto file = [](std::uint32_t inFrames, const Bytes& inChunks) {
        return Aiff({.channels = 1, .frames = inFrames}, Chan({1, 2}) + inChunks);
    };
    const auto header = [](const char* inId, std::uint64_t inSize) {
        return BigImage().Header(inId, inSize);
    };
    const Bytes three = Counting(3), odd = Chunk("NAME", three), empty = Chunk("NAME", {}),
                six = Ssnd(three + three);
    const Bytes inside = header("NAME", 24).Add(three) + header("SSND", 11).Fill(8).Add(three) + Counting(2);
    // clang-format off
    const struct { const char *name, *calls, *results; Bytes image; } kRows[] = {
        {"the header goes out at once", "", "", Unfinished(file(0, {}))},
        {"nothing", ".", "y", file(0, {})},
        {"metadata, then samples", "[3][4]ss.", "yyyyyyyyy", file(3, odd + Chunk("NAME", Counting(4)) + six)},
        {"empty metadata", "[][0].", "yyyyyy", file(0, empty + empty)},
        {"samples in an open metadatum", "[3s2].", "yyyyyy", file(1, inside)},
        {"a metadatum left open", "[3.", "yyy", file(0, header("NAME", 0).Add(three))},
        {"one metadatum at a time, before samples", "]3[[3]s[3]s.", "nnynyyynnnyy", file(3, odd + six)},
        {"nothing after the end", "s.s[3].!", "yynnnnyy", file(1, Ssnd(three))},
        {"abandoned", "s!.", "yyy", Unfinished(file(0, header("SSND", 0).Fill(8).Add(three)))},
        {"abandoned on a full disk", "s-.!+.", "ynyy", Unfinished(file(0, {}))},
        {"deleted as it is", "[3", "yy", Unfinished(file(0, header("NAME", 0).Add(three)))},
        {"samples after a failed finish", "-.s[3].+s.", "nnnnnnyy", file(1, Ssnd(three))},
        {"a metadatum after a failed finish", "-.[3].+3].", "nnnnnyyy", file(0, odd)},
        {"an empty metadatum after a failed finish", "-.[.+].", "nnnyy", file(0, empty)},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        const faults::Scope scope;
        faults::SystemCalls().mode = faults::System::Mode::kFailForGood;
        EXPECT_EQ(Play(*Create(folder, {.channels = 1}), row.calls), row.results);
        EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
        EXPECT_EQ(ReadFile(folder.Path("a.aif")), row.image);
    }
}

TEST(AiffWrite, Refused) {
    const TemporaryFolder folder;
    const auto open = [&](const char* inName, int inType) {
        Error error{kUntouched, {}, {}, kUntouched};
        EXPECT_FALSE(AiffFile::OpenForWrite(folder.PathText(inName), 44100, 2, 16,
                                            static_cast<AiffFile::SampleType>(inType), {}, error));
        return error.code;
    };
    WriteFile(folder.Path("there.aif"), ToBytes("kept"));
    for (const int type : {0, 4, -1})
        EXPECT_EQ(open("there.aif", type), 8);
    EXPECT_EQ(ReadFile(folder.Path("there.aif")), ToBytes("kept"));
    EXPECT_EQ(open("no/such/folder.aif", 1), 10);
    EXPECT_EQ(open("", 1), 10) << "a folder";

    const Opened reading(Aiff({}, Ssnd(Counting(16))));
    EXPECT_EQ(CodeOfWrite(*reading.file, 0, {}), 9);
    EXPECT_FALSE(reading.file->StartMetadatumWrite(1) || WriteMetadatum(*reading.file, {}) ||
                 reading.file->FinishMetadatumWrite());
    EXPECT_TRUE(Finish(*reading.file) && Finish(*reading.file, true));
    EXPECT_TRUE(reading.file->ReadSampleBytes(0, 0, nullptr));

    const auto file = Create(folder);
    for (const std::int32_t count : {-1, 1}) {
        Error error;
        EXPECT_FALSE(file->WriteSampleBytes(0, count, nullptr, error));
        EXPECT_EQ(error.code, 9);
        EXPECT_EQ(file->StartMetadatumWrite(1), count == -1) << "samples have not begun";
        EXPECT_FALSE(file->MetadatumWrite(nullptr, count));
    }
}

// Header of 62 bytes: "SSND" and metadata begin there. The largest FORM that is even has 0xFFFFFFF6 bytes.
TEST(AiffWrite, TheFormatsLimit) {
    constexpr std::int32_t kBlock = 1 << 30;
    constexpr auto kRoom =
        static_cast<std::int32_t>(0xFFFFFFF6 + std::int64_t{8} - 62 - 3 * std::int64_t{kBlock});
    const faults::ZeroBytes zeros(kBlock);
    // clang-format off
    const struct { // three blocks, then the last count, and then what still fits
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
        const TemporaryFolder folder;
        const auto path = folder.Path("a.aif");
        const auto file = Create(folder, {.channels = 1, .bits = 8, .layout = {}});
        std::int64_t written = 0;
        const auto write = [&](std::int32_t inCount) {
            Error error;
            const bool taken = row.samples ? file->WriteSampleBytes(written, inCount, zeros.Data(), error)
                                           : file->MetadatumWrite(zeros.Data(), inCount);
            EXPECT_EQ(error.code, taken || !row.samples ? 0 : 11);
            written += taken ? inCount : 0;
            return taken;
        };
        EXPECT_TRUE(row.samples || file->StartMetadatumWrite(1));
        EXPECT_TRUE(write(kBlock) && write(kBlock) && write(kBlock));
        EXPECT_EQ(write(row.lastCount), row.fits);
        EXPECT_TRUE(write(row.further)) << "the file can go on";
        EXPECT_FALSE(row.samples && write(1)) << "and is full";
        bool another = false;
        if (!row.samples) {
            EXPECT_TRUE(file->FinishMetadatumWrite());
            EXPECT_EQ(CodeOfWrite(*file, 0, Counting(1)), 11);
            another = file->StartMetadatumWrite(2);
            EXPECT_EQ(another, row.further == 2) << "the samples have not begun";
        }
        EXPECT_TRUE(Finish(*file));

        const std::int64_t end = 62 + (row.samples ? 16 : 8) + written + written % 2 + (another ? 8 : 0);
        EXPECT_EQ(static_cast<std::int64_t>(std::filesystem::file_size(path)), end);
        EXPECT_EQ(ReadFilePart(path, 4, 4), Big32(static_cast<std::uint32_t>(end - 8)));
        EXPECT_EQ(ReadFilePart(path, 66, 4), Big32(static_cast<std::uint32_t>(written + row.samples * 8)));
        Error error;
        const auto opened = AiffFile::OpenForRead(folder.PathText("a.aif"), false, error);
        ASSERT_TRUE(opened);
        EXPECT_EQ(opened->GetSampleCount(), row.samples ? written : 0);
        if (!row.samples)
            continue;
        unsigned char byte = 1;
        EXPECT_TRUE(opened->ReadSampleBytes(written - 1, 1, &byte) && byte == 0);
        const faults::Scope scope;
        EXPECT_FALSE(opened->ReadSampleBytes(0, 2147483648, nullptr)) << "though it is there";
        EXPECT_EQ(faults::SystemCalls().calls, 0u);
    }
}

} // namespace
} // namespace aiff_tests
