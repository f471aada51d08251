#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/AudioReader.h"
#include "common/AudioWriter.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

using namespace examples;
using testing_support::Outcome;
using testing_support::TemporaryFolder;

/// Runs an example; names of files in the arguments are taken in the folder.
Outcome Example(const TemporaryFolder& inFolder, const std::string& inCommand) {
    return testing_support::RunCommand("cd '" + inFolder.Path("").string() + "' && " EXAMPLES_FOLDER "/" +
                                       inCommand);
}

#define EXPECT_RUN(code, command)                                                                            \
    do {                                                                                                     \
        const Outcome ran = Example(folder, command);                                                        \
        EXPECT_EQ(ran.exitCode, code) << (command) << "\n" << ran.output;                                    \
    } while (false)

bool Contains(const std::string& inText, std::string_view inPart) {
    return inText.find(inPart) != std::string::npos;
}

/// A 16-bit stereo file with chunks on both sides of the audio, one of them of odd size.
void WriteWithMetadata(const TemporaryFolder& inFolder) {
    AudioShape shape;
    shape.layout = UsualLayout(2);
    AudioWriter writer(inFolder.Path("source.wav").string(), shape);
    writer.WriteMetadata(0x74786562 /* bext */, testing_support::ToBytes("before"));
    writer.WriteBytes(testing_support::ToBytes("0123456789abcdef"));
    writer.FinishSamples();
    writer.WriteMetadata(0x4C4D5869 /* iXML */, testing_support::ToBytes("behind "));
    writer.WriteMetadata(0x5453494C /* LIST */, testing_support::ToBytes("INFO"));
    writer.Finish();
}

std::string MetadataText(const std::filesystem::path& inPath) {
    std::string text;
    for (const Metadata& chunk : AudioReader(inPath.string()).ReadMetadata())
        text += IdText(chunk.id) + (chunk.beforeAudio ? "<" : ">") +
                std::string(chunk.data.begin(), chunk.data.end()) + " ";
    return text;
}

TEST(Examples, TranscodeEveryFormAndBack) {
    // clang-format off
    static const struct { const char *samples, *target; bool lossless; const char* says; } kRows[] = { // for 24 bits
        {"8", "t.wav", false, "8-bit unsigned integers"},
        {"16", "t.wav", false, "16-bit little-endian integers"},
        {"24", "t.wav", true, "sample bytes kept"},
        {"32", "t.wav", true, "32-bit little-endian integers"},
        {"64", "t.wav", true, "64-bit little-endian integers"},
        {"float", "t.wav", true, "32-bit little-endian floats"},
        {"double", "t.wav --rf64", true, "64-bit little-endian floats"},
        {"float16", "t.wav", true, "floats of full scale 32768"},
        {"float24", "t.wav", true, "floats of full scale 8388608"},
        {"8", "t.aiff", false, "8-bit signed integers"},
        {"16", "t.aif", false, "16-bit big-endian integers"},
        {"24", "t.aiff", true, "sample bytes kept"},
        {"float", "t.aifc", true, "32-bit big-endian floats"},
        {"8", "t.aifc --little-endian", false, "8-bit signed integers"},
        {"32", "t.aifc --little-endian", true, "32-bit little-endian integers"},
    };
    // clang-format on
    const TemporaryFolder folder;
    EXPECT_RUN(0, "record source.wav --seconds 0.4 --rate 44100 --checkpoint 0.05");
    for (const auto& row : kRows) {
        SCOPED_TRACE(std::string(row.samples) + " " + row.target);
        const std::string samples = std::string(" --samples ") + row.samples + " ", target = row.target,
                          file = target.substr(0, target.find(' '));
        const Outcome outcome = Example(folder, "transcode source.wav " + target + samples);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
        EXPECT_TRUE(Contains(outcome.output, row.says)) << outcome.output;
        EXPECT_RUN(row.lossless ? 0 : 1, "hash_compare source.wav " + file);
        // Once more of the same width, in the other byte order where there is one: nothing may be lost.
        const bool staysWave = target.find("wav") == std::string::npos || samples == " --samples 64 " ||
                               samples == " --samples double " || samples.find("float") != std::string::npos;
        const char* other = staysWave ? "back.wav" : "back.aiff";
        EXPECT_RUN(0, "transcode " + file + " " + other + samples);
        EXPECT_RUN(0, "hash_compare " + file + " " + other);
        EXPECT_EQ(MetadataText(folder.Path(other)), MetadataText(folder.Path("source.wav")));
    }
}

TEST(Examples, CarryMetadataOver) {
    const TemporaryFolder folder;
    WriteWithMetadata(folder);
    EXPECT_RUN(0, "copy_chunks source.wav copy.wav");
    EXPECT_EQ(MetadataText(folder.Path("copy.wav")), "bext<before iXML>behind  LIST>INFO ");
    EXPECT_RUN(0, "transcode source.wav copy.aiff");
    EXPECT_EQ(MetadataText(folder.Path("copy.aiff")),
              "bext<before iXML<behind  LIST<INFO "); // nothing can lie behind
    EXPECT_RUN(0, "hash_compare source.wav copy.aiff");
}

TEST(Examples, KeepLayouts) {
    // clang-format off
    static const struct { const char* name; kelmediatypes::ChannelLayout layout, ofWave; } kRows[] = {
        {"5.1", {100, 101, 102, 103, 104, 105}, {100, 101, 102, 103, 104, 105}},
        {"Ambisonic", {134, 135, 136, 137}, {134, 135, 136, 137}},
        {"an order that wave files cannot say", {102, 100, 101}, {0, 0, 0}},
        {"one channel without a position", {0}, {102}},
    };
    // clang-format on
    const TemporaryFolder folder;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        const auto channels = static_cast<std::int32_t>(row.layout.size());
        AudioWriter writer(
            folder.Path("a.aiff").string(),
            {false, false, 48000, channels, {SampleForm::kInteger, 2, true, false}, row.layout});
        writer.WriteBytes(Bytes(static_cast<std::size_t>(channels) * 2));
        writer.Finish();
        EXPECT_RUN(0, "transcode a.aiff a.wav");
        EXPECT_RUN(0, "transcode a.wav b.aiff");
        EXPECT_EQ(AudioReader(folder.Path("a.aiff").string()).Layout(), row.layout);
        const auto layout = AudioReader(folder.Path("a.wav").string()).Layout();
        EXPECT_EQ(layout, row.ofWave) << LayoutText(layout);
    }
}

TEST(Examples, DescribeAndDecode) {
    const TemporaryFolder folder;
    WriteWithMetadata(folder);
    const std::string described = Example(folder, "describe source.wav").output;
    for (const char* part :
         {"RIFF", "PCM, tag 0x0001", "48000 Hz", "2 bytes, 16 bits", "front left, front right",
          "Frames         4\n", "0:00:00.000", "data            16 bytes", "bext", "behind the audio"})
        EXPECT_TRUE(Contains(described, part)) << part << "\n" << described;

    AudioShape shape;
    shape.layout = UsualLayout(2);
    AudioWriter writer(folder.Path("square.wav").string(), shape);
    writer.WriteBytes({0, 0x40, 0, 0x80, 0, 0xC0, 0, 0}); // left 0.5 and -0.5, right -1 and 0
    writer.FinishSamples();
    writer.Finish();
    const std::string decoded = Example(folder, "decode square.wav").output;
    EXPECT_TRUE(Contains(decoded, "channel  1  peak   -6.02 dBFS  RMS   -6.02 dBFS  front left\n"
                                  "channel  2  peak    0.00 dBFS  RMS   -3.01 dBFS  front right\n"))
        << decoded;
    EXPECT_EQ(Example(folder, "readme square.wav").output, "peak 1\n");
}

TEST(Examples, DrawLanesFromStoredPeaks) {
    const TemporaryFolder folder;
    EXPECT_RUN(0, "record source.wav --channels 3 --rate 8000 --seconds 2");
    EXPECT_RUN(0, "waveform source.wav picture.svg --width 100 --peaks stored");
    const auto bytes = testing_support::ReadFile(folder.Path("picture.svg"));
    const std::string picture(bytes.begin(), bytes.end());
    std::size_t lanes = 0;
    for (std::size_t place = 0; (place = picture.find("<path", place)) != std::string::npos; ++place)
        ++lanes;
    EXPECT_EQ(lanes, 3u);
    // 16,000 frames in blocks of 80, for each of three channels: two counts, a block size and 200 datums.
    EXPECT_EQ(std::filesystem::file_size(folder.Path("stored")), 3u * (4 + 4 + 8 + 200 * 8));
}

TEST(Examples, TellFailures) {
    // clang-format off
    static const struct { const char* command; int exitCode; const char* says; } kRows[] = {
        {"describe missing.wav", 1, "there is no such file"},
        {"describe text", 1, "neither a wave nor an AIFF file"},
        {"decode text", 1, "neither a wave nor an AIFF file"},
        {"hash_compare source.wav missing.wav", 2, "there is no such file"},
        {"transcode source.wav source.wav", 1, "over itself"},
        {"copy_chunks source.wav source.wav", 1, "over itself"},
        {"transcode source.wav t.aiff --samples double", 1, "cannot hold such samples"},
        {"transcode source.wav none/t.wav", 1, "it cannot be created"},
        {"record none/t.wav", 1, "it cannot be created"},
        {"waveform source.wav none/picture.svg --peaks stored", 1, "cannot be written"},
        {"record /dev/full/t.wav", 1, "it cannot be created"},
    };
    // clang-format on
    const TemporaryFolder folder;
    WriteWithMetadata(folder);
    testing_support::WriteFile(folder.Path("text"),
                               testing_support::ToBytes("no audio, but long enough for a header"));
    for (const auto& row : kRows) {
        const Outcome outcome = Example(folder, row.command);
        EXPECT_EQ(outcome.exitCode, row.exitCode) << row.command;
        EXPECT_TRUE(Contains(outcome.output, row.says)) << row.command << "\n" << outcome.output;
    }
    EXPECT_RUN(0, "hash_compare source.wav");
}

TEST(Examples, ReadmeShowsTheCompiledProgram) {
    const auto text = [](const char* name) {
        const auto bytes = testing_support::ReadFile(std::filesystem::path(SOURCE_FOLDER) / name);
        return std::string(bytes.begin(), bytes.end());
    };
    const std::string program = text("examples/readme.cpp");
    ASSERT_FALSE(program.empty());
    EXPECT_TRUE(Contains(text("README.md"), "```cpp\n" + program + "```\n"));
}

} // namespace
