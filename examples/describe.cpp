// Tells all that a wave or AIFF file says about itself.

#include <cstdio>
#include <memory>
#include <string>

#include "common/Run.h"
#include "common/Words.h"
#include "kelaudiofile/RiffChunkReader.h"

using namespace examples;
using namespace kelaudiofile;

namespace {

void Row(const char* inName, const std::string& inValue) {
    std::printf("%-14s %s\n", inName, inValue.c_str());
}

void CountRows(std::int64_t inFrames, double inSampleRate) {
    Row("Frames", std::to_string(inFrames));
    Row("Duration",
        inSampleRate > 0 ? DurationText(static_cast<double>(inFrames) / inSampleRate) : "unknown");
}

template <typename File>
void MetadataRows(File& inFile) {
    std::uint32_t id = 0;
    std::int64_t byteCount = 0;
    double position = 0;
    for (std::int32_t i = 0; inFile.GetMetadataInfo(i, id, byteCount, position); ++i)
        Row(i == 0 ? "Metadata" : "",
            Print("%s  %12lld bytes with header, %s the audio (%.6f)", IdText(id).c_str(),
                  static_cast<long long>(byteCount), position < 0.5 ? "before" : "behind", position));
}

std::string CharactersAt(std::uint64_t inPosition, const std::string& inPath) {
    const kelcore::filesupport::File file(kelcore::ToUTF8String(inPath), kelcore::filesupport::kPathStorage);
    kelcore::filesupport::IPlatformByteStream stream(file, kelcore::utility::Flags<unsigned>(0));
    stream.CurPos(inPosition);
    std::string magic(4, ' ');
    stream.ReadBlock(magic.data(), 4);
    return magic;
}

std::string CategoryText(AudioCharacteristics::WaveFormatCategory inCategory) {
    switch (inCategory) {
    case AudioCharacteristics::kWaveFormatPCM:
        return "PCM";
    case AudioCharacteristics::kWaveFormatFloat:
        return "floats";
    case AudioCharacteristics::kWaveFormatAmbisonicPCM:
        return "Ambisonic PCM";
    case AudioCharacteristics::kWaveFormatAmbisonicFloat:
        return "Ambisonic floats";
    default:
        return "compressed";
    }
}

std::string TypeText(WaveFile::SampleType inType) {
    switch (inType) {
    case WaveFile::kIntegerSamples:
        return "integers";
    case WaveFile::kFloatSamples_1:
        return "floats, full scale 1";
    case WaveFile::kFloatSamples_32768:
        return "floats, full scale 32768";
    case WaveFile::kFloatSamples_8388608:
        return "floats, full scale 8388608";
    default:
        return "unknown";
    }
}

int DescribeWave(WaveFile& inWave, const std::string& inPath) {
    const AudioCharacteristics format = inWave.GetRiffAudioCharacteristics();
    Row("File", inPath);
    Row("Container", CharactersAt(0, inPath) + (inWave.IsRf64Format() ? "" : ", several data chunks"));
    Row("Format", Print("%s, tag 0x%04X", CategoryText(format.formatCategory).c_str(), format.formatTag));
    Row("Sample rate", Print("%u Hz", format.sampleRate));
    Row("Channels", std::to_string(format.numChannels));
    Row("Samples",
        Print("%d bytes, %d bits, %d of them valid; %s", inWave.GetBytesPerSample(), format.bitsPerSample,
              format.validBitsPerSample, TypeText(inWave.GetSampleType()).c_str()));
    if (!format.extraFormatBytes.empty())
        Row("Extra bytes", Print("%zu behind the format", format.extraFormatBytes.size()));
    Row("Layout", LayoutText(inWave.GetChannelLayout()));
    CountRows(inWave.GetSampleCount(), inWave.GetSampleRate());
    Row("Recovered", inWave.IsRecoveredTruncatedFile() ? "yes: its data size was never filled in" : "no");

    const RiffChunkReader reader(
        kelcore::filesupport::File(kelcore::ToUTF8String(inPath), kelcore::filesupport::kPathStorage), false);
    const char* name = "Chunks";
    for (const auto& chunk : reader.GetFileInfo().chunks) {
        Row(name, Print("%s  %12lld bytes at %llu", IdText(chunk.chunkID).c_str(),
                        static_cast<long long>(chunk.chunkSize),
                        static_cast<unsigned long long>(chunk.dataOffset)));
        name = "";
    }
    MetadataRows(inWave);
    return 0;
}

int DescribeAiff(AiffFile& inAiff, const std::string& inPath) {
    static const char* const kTypes[] = {"", "big-endian integers", "little-endian integers",
                                         "big-endian floats"};
    const std::string code = kelcore::ToStdString(inAiff.GetCompressionCode());
    Row("File", inPath);
    Row("Container", CharactersAt(8, inPath));
    if (!code.empty())
        Row("Coding", code + " " + kelcore::ToStdString(inAiff.GetCompressionDescription()));
    Row("Sample rate", Print("%g Hz", inAiff.GetSampleRate()));
    Row("Channels", std::to_string(inAiff.GetNumChannels()));
    Row("Samples", Print("%d bytes; %s", inAiff.GetBytesPerSample(), kTypes[inAiff.GetSampleType()]));
    Row("Layout", LayoutText(inAiff.GetAudioChannelLayout()));
    CountRows(inAiff.GetSampleCount(), inAiff.GetSampleRate());
    MetadataRows(inAiff);
    return 0;
}

int Describe(const std::string& inPath) {
    const auto path = kelcore::ToUTF8String(inPath);
    WaveFile::ExtendedErrorInfo waveError;
    const std::unique_ptr<WaveFile> wave(WaveFile::OpenForRead(path, waveError, false));
    if (wave)
        return DescribeWave(*wave, inPath);

    AiffFile::ExtendedErrorInfo aiffError;
    if (const auto aiff = AiffFile::OpenForRead(path, true, aiffError))
        return DescribeAiff(*aiff, inPath);
    if (waveError.code != WaveFile::ExtendedErrorInfo::kNotWaveFile)
        throw Failure(inPath + ": " + WhyNot(waveError));
    const bool neither = aiffError.code == AiffFile::ExtendedErrorInfo::kNotAiffFile;
    throw Failure(inPath + ": " + (neither ? "it is neither a wave nor an AIFF file" : WhyNot(aiffError)));
}

} // namespace

int main(int count, char** arguments) {
    CLI::App app("Tells all that a wave or AIFF file says about itself.");
    std::string path;
    app.add_option("file", path, "the file")->required();
    return Run(app, count, arguments, 1, [&] { return Describe(path); });
}
