#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <kelaudiofile/kelaudiofile.h>

#include "support/Files.h"

namespace {

using kelaudiofile::AiffFile;
using kelaudiofile::WaveFile;
using testing_support::Bytes;
using testing_support::TemporaryFolder;

/// The file must be what the page shows under a name: lines of an offset, bytes and a remark after two
/// spaces.
/// "..." stands for bytes left out, and an offset without bytes is the end of the file.
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

std::unique_ptr<WaveFile> CreateWave(const TemporaryFolder& inFolder, int inRate,
                                     const kelmediatypes::ChannelLayout& inLayout, bool inRf64) {
    WaveFile::ExtendedErrorInfo error;
    return std::unique_ptr<WaveFile>(
        WaveFile::OpenForWrite(inFolder.PathText("a.wav"), inRate, static_cast<int>(inLayout.size()), 2, 16,
                               WaveFile::kIntegerSamples, inLayout, inRf64, error, inRf64));
}

bool Write(WaveFile& ioFile, std::int64_t inOffset, const Bytes& inBytes) {
    WaveFile::ExtendedErrorInfo error;
    return ioFile.WriteSampleBytes(inOffset, static_cast<std::int32_t>(inBytes.size()), inBytes.data(),
                                   error);
}

TEST(Formats, RiffWave) {
    const TemporaryFolder folder;
    const auto file = CreateWave(folder, 44100, kelmediatypes::CreateStereoChannelLayout(), false);
    ASSERT_TRUE(file && Write(*file, 0, {1, 0, 0xFF, 0xFF, 0xFF, 0x7F, 0, 0x80}) && file->FinishSamples());
    ASSERT_TRUE(file->StartMetadatumWrite(0x65746F6E) &&
                file->MetadatumWrite(reinterpret_cast<const std::uint8_t*>("abc"), 3) &&
                file->FinishMetadatumWrite() && file->FinishWrite());
    ExpectDumped("riff", folder.Path("a.wav"));
}

TEST(Formats, Rf64AfterTheSwitch) {
    const TemporaryFolder folder;
    const auto file = CreateWave(folder, 48000, kelmediatypes::CreateMonoChannelLayout(), true);
    ASSERT_TRUE(file && Write(*file, 0, {1, 0, 2, 0}) && file->FinishBlock());
    ExpectDumped("rf64-before", folder.Path("a.wav"));
    ASSERT_TRUE(Write(*file, 0xFFFFFFFC, {3, 0, 4, 0}) && file->FinishSamples() && file->FinishWrite());
    ExpectDumped("rf64", folder.Path("a.wav"));
}

TEST(Formats, AiffC) {
    const TemporaryFolder folder;
    AiffFile::ExtendedErrorInfo error;
    const std::unique_ptr<AiffFile> file(
        AiffFile::OpenForWrite(folder.PathText("a.aif"), 48000, 1, 32, AiffFile::kFloatSamples,
                               kelmediatypes::CreateMonoChannelLayout(), error));
    const unsigned char samples[] = {0x3F, 0, 0, 0, 0xBF, 0x80, 0, 0};
    ASSERT_TRUE(file && file->WriteSampleBytes(0, 8, samples, error) && file->FinishWrite(false, error));
    ExpectDumped("aiff-c", folder.Path("a.aif"));
}

TEST(Formats, PeakStream) {
    const std::uint16_t one = 1;
    if (*reinterpret_cast<const unsigned char*>(&one) != 1)
        GTEST_SKIP() << "the page shows the stream of a little-endian machine";
    const TemporaryFolder folder;
    kelaudiofile::PeakData peaks;
    peaks.Append(0, 256, {{-0.5f, 0.5f}, {-1.0f, 0.25f}});
    peaks.Append(512, 44, {{0.0f, 1.0f}});
    {
        folder.File("a.peaks").Create(false);
        kelcore::filesupport::OPlatformByteStream stream(folder.File("a.peaks"),
                                                         kelcore::utility::Flags<unsigned>());
        peaks.WriteToStream(stream);
    }
    ExpectDumped("peaks", folder.Path("a.peaks"));
}

} // namespace
