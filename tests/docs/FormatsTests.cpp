#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <kelaudiofile/kelaudiofile.h>

#include "support/Files.h"

namespace {

using namespace kelaudiofile;
using testing_support::Bytes;
using testing_support::TemporaryFolder;

/// Expects the file to be what the page shows under a name: lines of an offset, bytes, and a remark after two
/// spaces. "..." marks omitted bytes, and an offset without bytes is the end of the file.
void ExpectDumped(const std::string& inName, const std::filesystem::path& inPath) {
    std::ifstream page(FORMATS_PAGE);
    std::string line;
    while (line != "```dump " + inName)
        ASSERT_TRUE(std::getline(page, line)) << inName;
    std::uint64_t end = 0;
    for (bool leftOut = false; std::getline(page, line) && line != "```"; leftOut = line == "...") {
        if (line == "...")
            continue;
        std::istringstream fields(line.substr(0, line.find("  ", 10)));
        std::uint64_t offset = 0;
        fields >> std::hex >> offset;
        EXPECT_TRUE(leftOut || offset == end) << line;
        Bytes bytes;
        for (unsigned byte; fields >> byte;)
            bytes.push_back(static_cast<unsigned char>(byte));
        EXPECT_EQ(testing_support::ReadFilePart(inPath, offset, bytes.size()), bytes) << line;
        end = offset + bytes.size();
    }
    EXPECT_EQ(std::filesystem::file_size(inPath), end);
}

std::unique_ptr<AudioWriter> Create(const TemporaryFolder& inFolder, Container inContainer,
                                    const AudioFormat& inFormat) {
    AudioError error;
    WriterOptions options;
    options.rf64 = false;
    return AudioWriter::Create(inFolder.Path("file").string(), inContainer, inFormat, options, error);
}

TEST(Formats, RiffWave) {
    const TemporaryFolder folder;
    AudioError error;
    const auto file = Create(folder, Container::kWave, {44100, 2, {SampleCoding::kInteger, 2}, {}});
    ASSERT_TRUE(file && file->WriteRaw("\1\0\xFF\xFF\xFF\x7F\0\x80", 2, error) &&
                file->WriteChunk(ChunkId("note"), "abc", 3, error) && file->Finish(error));
    ExpectDumped("riff", folder.Path("file"));
}

TEST(Formats, Rf64AfterTheSwitch) {
    const TemporaryFolder folder;
    WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<WaveFile> file(
        WaveFile::OpenForWrite(folder.PathText("file"), 48000, 1, 2, 16, WaveFile::kIntegerSamples,
                               kelmediatypes::CreateMonoChannelLayout(), true, error, true));
    const auto write = [&](std::int64_t inOffset, const char* inBytes) {
        return file->WriteSampleBytes(inOffset, 4, reinterpret_cast<const std::uint8_t*>(inBytes), error);
    };
    ASSERT_TRUE(file && write(0, "\1\0\2") && file->FinishBlock());
    ExpectDumped("rf64-before", folder.Path("file"));
    ASSERT_TRUE(write(0xFFFFFFFC, "\3\0\4") && file->FinishSamples() && file->FinishWrite());
    ExpectDumped("rf64", folder.Path("file"));
}

TEST(Formats, AiffC) {
    const TemporaryFolder folder;
    AudioError error;
    const auto file = Create(folder, Container::kAiff, {48000, 1, {SampleCoding::kFloat_1, 4}, {}});
    ASSERT_TRUE(file && file->WriteRaw("\x3F\0\0\0\xBF\x80\0", 2, error) && file->Finish(error));
    ExpectDumped("aiff-c", folder.Path("file"));
}

TEST(Formats, PeakStream) {
    const std::uint16_t one = 1;
    if (*reinterpret_cast<const unsigned char*>(&one) != 1)
        GTEST_SKIP() << "the page shows the stream of a little-endian machine";
    const TemporaryFolder folder;
    PeakData peaks;
    peaks.Append(0, 256, {{-0.5f, 0.5f}, {-1.0f, 0.25f}});
    peaks.Append(512, 44, {{0.0f, 1.0f}});
    peaks.WriteToStream(*std::make_unique<kelcore::filesupport::OPlatformByteStream>(
        folder.File("file").Created(), kelcore::utility::Flags<unsigned>()));
    ExpectDumped("peaks", folder.Path("file"));
}

} // namespace
