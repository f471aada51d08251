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
    return Image()
        .Add(Short(0xFFFE, inChannels))
        .U16(22 + inExtra.size())
        .U16(20)
        .U32(inMask)
        .Add(inSubformat)
        .Add(inExtra);
}

/// @return what a writer puts behind a file's header for this record, with a chunk behind it.
Bytes Written(const AudioCharacteristics& inRecord) {
    const TemporaryFolder folder;
    kelaudiofile::RiffChunkWriter writer;
    writer.Initialize(folder.File("file"), FourCC("WAVE"), false, false);
    WriteWaveFormatChunk(writer, inRecord);
    writer.EndFile(0);
    const Bytes file = ReadFile(folder.Path("file"));
    return Bytes(file.begin() + 12, file.end());
}

class DebugKeys {
public:
    DebugKeys(const char* inSpecify, const char* inSize) {
        Set(kSpecify, inSpecify);
        Set(kSize, inSize);
    }
    ~DebugKeys() {
        DebugDatabase::Instance().RemoveEntry(ToUTF8String(kSpecify));
        DebugDatabase::Instance().RemoveEntry(ToUTF8String(kSize));
    }

private:
    static void Set(const char* inKey, const char* inText) {
        if (inText != nullptr)
            DebugDatabase::Instance().SetEntry(ToUTF8String(inKey), ToUTF8String(inText));
    }
    static constexpr const char* kSpecify = "kelaudiofile.SpecifyWaveFormatStruct";
    static constexpr const char* kSize = "kelaudiofile.WaveFormatStructSize";
};

} // namespace

TEST(WaveFormatChunkWriting, TheShortestFormThatSaysTheRecord) {
    AudioCharacteristics wide = Record(-3, kStereo);
    wide.sampleRate = 0xFFFFFFFF;
    wide.bytesPerSample = 0x7FFFFFFF;
    wide.bitsPerSample = 0x12345678;
    const Bytes wrapped =
        Image().U16(1).U16(0xFFFD).U32(0xFFFFFFFF).U32(std::uint64_t{0x7FFFFFFF} * 3).U16(3).U16(0x5678);
    const struct {
        const char* name;
        AudioCharacteristics record;
        Bytes data;
    } kCases[] = {
        {"stereo", Record(2, kStereo), Short(1, 2)},
        {"mono", Record(1, kMono), Short(1, 1)},
        {"5.1", Record(6, kFiveOne), Extensible(6, 0x3F, kPcm)},
        {"one channel that is not the mono layout's", Record(1, {100}), Extensible(1, 1, kPcm)},
        {"out of the mask's order", Record(3, {100, 102, 101}), Short(1, 3)},
        {"a channel twice", Record(3, {100, 100, 101}), Extensible(3, 3, kPcm)},
        {"bits before numbers", Record(2, {108, 106}), Extensible(2, 0x180, kPcm)},
        {"a label without a bit", Record(2, {100, 131}), Short(1, 2)},
        {"no layout", Record(2, {}), Extensible(2, 0, kPcm)},
        {"float stereo", Record(2, kStereo, 1), Short(3, 2)},
        {"float 5.1", Record(6, kFiveOne, 1), Extensible(6, 0x3F, kFloat)},
        {"Ambisonic", Record(4, {134, 135, 136, 137}, 7), Extensible(4, 0, kAmbisonicPcm)},
        {"Ambisonic float", Record(4, {134, 135, 136, 137}, 8), Extensible(4, 0, kAmbisonicFloat)},
        {"Ambisonic with some mask bits", Record(3, {100, 134, 101}, 7), Extensible(3, 1, kAmbisonicPcm)},
        {"Ambisonic in name, stereo in layout", Record(2, kStereo, 7), Short(1, 2)},
        {"Ambisonic float, mono", Record(1, kMono, 8), Short(3, 1)},
        {"compressed is written as PCM", Record(2, kStereo, 5), Short(1, 2)},
        {"unknown is written as PCM", Record(2, {}, -1), Extensible(2, 0, kPcm)},
        {"two extra bytes", Record(2, kStereo, 0, {1, 0}), Extended(1, 2, {1, 0})},
        {"two extra bytes, 5.1", Record(6, kFiveOne, 0, {1, 0}), Extensible(6, 0x3F, kPcm, {1, 0})},
        {"three extra bytes", Record(2, kStereo, 0, {7, 8, 9}), Extended(1, 2, {7, 8, 9})},
        {"numbers too wide for their fields", wide, wrapped},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Written(row.record), Image().Chunk("fmt ", row.data));
    }
}

TEST(WaveFormatChunkWriting, DebugSettingsForceAForm) {
    const Bytes extra = {7, 8, 9};
    const Bytes pcm = Short(1, 2), basic(pcm.begin(), pcm.begin() + 14);
    const struct {
        const char *specify, *size;
        Bytes data; ///< of a stereo record with three extra bytes
    } kCases[] = {
        {nullptr, "40", Extended(1, 2, extra)},
        {"false", "40", Extended(1, 2, extra)},
        {"True", "40", Extended(1, 2, extra)},
        {"true ", "40", Extended(1, 2, extra)},
        {"true", nullptr, Extended(1, 2, extra)},
        {"true", "14", basic},
        {"true", "16", pcm},
        {"true", "18", Extended(1, 2, extra)},
        {"true", "40", Extensible(2, 3, kPcm, extra)},
        {"true", "40 bytes", Extensible(2, 3, kPcm, extra)},
        {"true", "17", {}},
        {"true", "15", {}},
        {"true", "0", {}},
        {"true", "-40", {}},
        {"true", "forty", {}},
        {"true", "+40", {}},
        {"true", " 40", {}},
        {"true", "", {}},
        {"true", "2147483648", {}},
        {"true", "19", extra},
        {"true", "41", extra},
        {"true", "2147483647", extra},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(std::string(row.specify ? row.specify : "(none)") + ", " +
                     (row.size ? row.size : "(none)"));
        const DebugKeys keys(row.specify, row.size);
        EXPECT_EQ(Written(Record(2, kStereo, 0, extra)), Image().Chunk("fmt ", row.data));
    }
    const DebugKeys keys("true", "44");
    EXPECT_EQ(Written(Record(2, kStereo)), Image().Chunk("fmt ", {})) << "nothing extra, nothing written";
}

TEST(WaveFormatChunkWriting, ReadsDebugSettings) {
    using kelaudiofile::ReadDebugBool, kelaudiofile::ReadDebugInt32;
    DebugDatabase& database = DebugDatabase::Instance();
    const auto key = ToUTF8String("wav_write_tests");
    for (const int number : {0, -1, 2147483647, -2147483647 - 1})
        EXPECT_EQ(ReadDebugInt32(database, key, number), number) << "the default";
    EXPECT_TRUE(ReadDebugBool(database, key, true));
    EXPECT_FALSE(ReadDebugBool(database, key, false));
    for (const auto& [text, number] : {std::pair{"-7x", -7},
                                       {"007", 7},
                                       {"0x10", 0},
                                       {"-", 0},
                                       {"--7", 0},
                                       {"-2147483648", -2147483647 - 1},
                                       {"-2147483649", 0},
                                       {"1e3", 1}}) {
        database.SetEntry(key, ToUTF8String(text));
        EXPECT_EQ(ReadDebugInt32(database, key, 5), number) << text;
        EXPECT_FALSE(ReadDebugBool(database, key, true));
    }
    database.RemoveEntry(key);
}
