#include <gtest/gtest.h>

#include "WaveFormatChunkWriter.h"
#include "WriteSupport.h"

using namespace wave_tests;
using namespace testing_support;
using kelaudiofile::AudioCharacteristics;
using kelcore::ToUTF8String;
using kelcore::debug::DebugDatabase;

namespace {

const Bytes kPcm = {0x01, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
const Bytes kFloat = {0x03, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
const Bytes kAmbisonicPcm = {0x01, 0, 0, 0, 0x21, 0x07, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0};
const Bytes kAmbisonicFloat = {0x03, 0, 0, 0, 0x21, 0x07, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0};
const ChannelLayout kMono = {102}, kStereo = {100, 101}, kFiveOne = {100, 101, 102, 103, 104, 105};

/// 48 kHz with 3 bytes of which 20 bits are valid.
AudioCharacteristics Record(int inChannels, const ChannelLayout& inLayout, int inCategory = 0,
                            Bytes inExtra = {}) {
    AudioCharacteristics record;
    record.sampleRate = 48000;
    record.numChannels = inChannels;
    record.bytesPerSample = 3;
    record.bitsPerSample = 24;
    record.validBitsPerSample = 20;
    record.formatTag = 99;     // plays no part
    record.containerKind = 77; // nor does this
    record.formatCategory = static_cast<AudioCharacteristics::WaveFormatCategory>(inCategory);
    record.channelLayout = inLayout;
    record.extraFormatBytes = inExtra;
    return record;
}

Bytes Short(unsigned inTag, unsigned inChannels) {
    return ShortFormat(inTag, inChannels, 48000, 3, 24);
}
Bytes Extended(unsigned inTag, unsigned inChannels, const Bytes& inExtra) {
    return Image().Add(Short(inTag, inChannels)).U16(inExtra.size()).Add(inExtra);
}
Bytes Extensible(unsigned inChannels, unsigned inMask, const Bytes& inSubformat, const Bytes& inExtra = {}) {
    Image image = Image().Add(Short(0xFFFE, inChannels)).U16(22 + inExtra.size()).U16(20).U32(inMask);
    return image.Add(inSubformat).Add(inExtra);
}

/// @return what a writer puts behind a file's header for this record, with a chunk behind it.
Bytes Written(const AudioCharacteristics& inRecord) {
    const TemporaryFolder folder;
    kelaudiofile::RiffChunkWriter writer;
    writer.Initialize(folder.File("file"), FourCC("WAVE"), false, false);
    WriteWaveFormatChunk(writer, inRecord);
    writer.EndFile(0);
    return ReadFilePart(folder.Path("file"), 12, 1000);
}

/// An entry for as long as this lives; none without a text.
class DebugEntry {
public:
    DebugEntry(const char* inKey, const char* inText) : mKey(ToUTF8String(inKey)) {
        if (inText != nullptr)
            DebugDatabase::Instance().SetEntry(mKey, ToUTF8String(inText));
    }
    ~DebugEntry() { DebugDatabase::Instance().RemoveEntry(mKey); }

private:
    kelcore::UTF8String mKey;
};

} // namespace

TEST(WaveFormatChunkWriting, TheShortestFormThatSaysTheRecord) {
    AudioCharacteristics wide = Record(-3, kStereo);
    wide.sampleRate = 0xFFFFFFFF;
    wide.bytesPerSample = 0x7FFFFFFF;
    wide.bitsPerSample = 0x12345678;
    const Bytes wrapped =
        Image().U16(1).U16(0xFFFD).U32(0xFFFFFFFF).U32(std::uint64_t{0x7FFFFFFF} * 3).U16(3).U16(0x5678);
    // clang-format off
    const struct { const char* name; AudioCharacteristics record; Bytes data; } kCases[] = {
        {"stereo", Record(2, kStereo), Short(1, 2)},
        {"mono", Record(1, kMono), Short(1, 1)},
        {"5.1", Record(6, kFiveOne), Extensible(6, 0x3F, kPcm)},
        {"one channel that is not the mono layout's", Record(1, {100}), Extensible(1, 1, kPcm)},
        {"out of the mask's order", Record(3, {100, 102, 101}), Short(1, 3)},
        {"a label without a bit", Record(2, {100, 131}), Short(1, 2)},
        {"no layout", Record(2, {}), Extensible(2, 0, kPcm)},
        {"float stereo", Record(2, kStereo, 1), Short(3, 2)},
        {"float 5.1", Record(6, kFiveOne, 1), Extensible(6, 0x3F, kFloat)},
        {"Ambisonic", Record(4, {134, 135, 136, 137}, 7), Extensible(4, 0, kAmbisonicPcm)},
        {"Ambisonic float", Record(4, {134, 135, 136, 137}, 8), Extensible(4, 0, kAmbisonicFloat)},
        {"Ambisonic with some mask bits", Record(3, {100, 134, 101}, 7), Extensible(3, 1, kAmbisonicPcm)},
        {"Ambisonic float in name, mono in layout", Record(1, kMono, 8), Short(3, 1)},
        {"compressed is written as PCM", Record(2, kStereo, 5), Short(1, 2)},
        {"unknown is written as PCM", Record(2, {}, -1), Extensible(2, 0, kPcm)},
        {"two extra bytes", Record(2, kStereo, 0, {1, 0}), Extended(1, 2, {1, 0})},
        {"three extra bytes, 5.1", Record(6, kFiveOne, 0, {7, 8, 9}), Extensible(6, 0x3F, kPcm, {7, 8, 9})},
        {"numbers too wide for their fields", wide, wrapped},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Written(row.record), Image().Chunk("fmt ", row.data));
    }
}

TEST(WaveFormatChunkWriting, DebugSettingsForceAForm) {
    const Bytes extra = {7, 8, 9}, pcm = Short(1, 2), basic(pcm.begin(), pcm.begin() + 14);
    const Bytes extended = Extended(1, 2, extra), extensible = Extensible(2, 3, kPcm, extra);
    // clang-format off
    const struct {
        const char *specify, *size;
        Bytes data; ///< of a stereo record with three extra bytes
    } kCases[] = {
        {nullptr, "40", extended}, {"false", "40", extended}, {"True", "40", extended}, {"true ", "40", extended},
        {"true", nullptr, extended}, {"true", "14", basic}, {"true", "16", pcm}, {"true", "18", extended},
        {"true", "40", extensible}, {"true", "40 bytes", extensible}, {"true", "17", {}}, {"true", "-40", {}},
        {"true", "+40", {}}, {"true", "2147483648", {}}, {"true", "19", extra}, {"true", "2147483647", extra},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(std::string(row.specify ? row.specify : "(none)") + ", " +
                     (row.size ? row.size : "(none)"));
        const DebugEntry specify("kelaudiofile.SpecifyWaveFormatStruct", row.specify),
            size("kelaudiofile.WaveFormatStructSize", row.size);
        EXPECT_EQ(Written(Record(2, kStereo, 0, extra)), Image().Chunk("fmt ", row.data));
    }
}

TEST(WaveFormatChunkWriting, ReadsDebugSettings) {
    using kelaudiofile::ReadDebugBool, kelaudiofile::ReadDebugInt32;
    const DebugDatabase& database = DebugDatabase::Instance();
    const auto key = ToUTF8String("wav_write_tests");
    constexpr int kLowest = -2147483647 - 1;
    for (const int number : {0, -1, 2147483647, kLowest})
        EXPECT_EQ(ReadDebugInt32(database, key, number), number) << "the default";
    EXPECT_TRUE(ReadDebugBool(database, key, true) && !ReadDebugBool(database, key, false));
    const std::pair<const char*, int> kTexts[] = {
        {"-7x", -7},        {"007", 7}, {"0x10", 0}, {"-", 0},
        {"--7", 0},         {" 40", 0}, {"", 0},     {"-2147483648", kLowest},
        {"-2147483649", 0}, {"1e3", 1}};
    for (const auto& [text, number] : kTexts) {
        const DebugEntry entry("wav_write_tests", text);
        EXPECT_EQ(ReadDebugInt32(database, key, 5), number) << text;
        EXPECT_FALSE(ReadDebugBool(database, key, true));
    }
}
