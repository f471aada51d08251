// Prints everything that wave and AIFF files say about themselves, as text or as JSON.

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/Json.h"
#include "common/OpenAudio.h"
#include "common/Run.h"
#include "kelaudiofile/RiffChunkReader.h"

using namespace examples;
using namespace kelaudiofile;

namespace {

/// What one file says, in both forms.
class Description {
public:
    void Line(const std::string& inLabel, const std::string& inText) {
        mText += Print("%-14s ", inLabel.c_str()) + inText + "\n";
    }
    void Member(const char* inKey, const std::string& inJson) {
        mMembers.push_back(json::Member(inKey, inJson));
    }
    void Words(const char* inLabel, const char* inKey, const std::string& inWords) {
        Line(inLabel, inWords);
        Member(inKey, json::Text(inWords));
    }
    void Number(const char* inKey, std::int64_t inNumber) { Member(inKey, std::to_string(inNumber)); }

    const std::string& Text() const { return mText; }
    std::string Json() const { return json::Object(mMembers); }

private:
    std::string mText;
    std::vector<std::string> mMembers;
};

void Shape(Description& out, double inSampleRate, std::int32_t inChannels, const std::string& inSamples,
           const kelmediatypes::ChannelLayout& inLayout, std::int64_t inFrames) {
    std::vector<std::string> names;
    for (const auto channel : inLayout)
        names.push_back(json::Text(ChannelName(channel)));
    const bool known = inSampleRate > 0;
    const double seconds = known ? static_cast<double>(inFrames) / inSampleRate : 0;
    out.Line("Sample rate", Print("%g Hz", inSampleRate));
    out.Line("Channels", std::to_string(inChannels));
    out.Line("Samples", inSamples);
    out.Line("Layout", LayoutText(inLayout));
    out.Line("Frames", std::to_string(inFrames));
    out.Line("Duration", known ? DurationText(seconds) : "unknown");
    out.Member("sampleRate", json::Number(inSampleRate));
    out.Number("channels", inChannels);
    out.Member("layout", json::Array(names));
    out.Number("frames", inFrames);
    out.Member("seconds", known ? json::Number(seconds) : "null");
}

template <typename File>
void Metadata(Description& out, File& inFile) {
    std::uint32_t id = 0;
    std::int64_t byteCount = 0;
    double position = 0;
    std::vector<std::string> chunks;
    for (std::int32_t i = 0; inFile.GetMetadataInfo(i, id, byteCount, position); ++i) {
        const bool before = position < 0.5;
        out.Line(i == 0 ? "Metadata" : "",
                 Print("%s  %12lld bytes with header, %s the audio (%.6f)", IdText(id).c_str(),
                       static_cast<long long>(byteCount), before ? "before" : "after", position));
        chunks.push_back(json::Object({json::Member("id", json::Text(IdText(id))),
                                       json::Member("bytesWithHeader", std::to_string(byteCount)),
                                       json::Member("beforeAudio", json::Bool(before))}));
    }
    out.Member("metadata", json::Array(chunks));
}

void Chunks(Description& out, const std::string& inPath) {
    const RiffChunkReader reader(
        kelcore::filesupport::File(kelcore::ToUTF8String(inPath), kelcore::filesupport::kPathStorage), false);
    std::vector<std::string> chunks;
    for (const auto& chunk : reader.GetFileInfo().chunks) {
        const std::string id = IdText(chunk.chunkID);
        out.Line(chunks.empty() ? "Chunks" : "",
                 Print("%s  %12lld bytes at %llu", id.c_str(), static_cast<long long>(chunk.chunkSize),
                       static_cast<unsigned long long>(chunk.dataOffset)));
        chunks.push_back(json::Object({json::Member("id", json::Text(id)),
                                       json::Member("bytes", std::to_string(chunk.chunkSize)),
                                       json::Member("offset", std::to_string(chunk.dataOffset))}));
    }
    out.Member("chunks", json::Array(chunks));
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

void Describe(Description& out, WaveFile& inWave, const std::string& inPath) {
    const AudioCharacteristics format = inWave.GetRiffAudioCharacteristics();
    const std::string category = CategoryText(format.formatCategory), type = TypeText(inWave.GetSampleType());
    out.Words("Container", "container",
              CharactersAt(0, inPath) + (inWave.IsRf64Format() ? "" : ", several data chunks"));
    out.Line("Format", Print("%s, tag 0x%04X", category.c_str(), format.formatTag));
    if (!format.extraFormatBytes.empty())
        out.Line("Extra bytes", Print("%zu after the format", format.extraFormatBytes.size()));
    out.Member("format", json::Text(category));
    out.Number("formatTag", format.formatTag);
    out.Number("bytesPerSample", inWave.GetBytesPerSample());
    out.Number("bits", format.bitsPerSample);
    out.Number("validBits", format.validBitsPerSample);
    out.Member("samples", json::Text(type));
    const std::string samples = Print("%d bytes, %d bits, %d of them valid; %s", inWave.GetBytesPerSample(),
                                      format.bitsPerSample, format.validBitsPerSample, type.c_str());
    Shape(out, inWave.GetSampleRate(), inWave.GetNumChannels(), samples, inWave.GetChannelLayout(),
          inWave.GetSampleCount());
    const bool recovered = inWave.IsRecoveredTruncatedFile();
    out.Line("Recovered", recovered ? "yes: its data size was never filled in" : "no");
    out.Member("recovered", json::Bool(recovered));
    Chunks(out, inPath);
    Metadata(out, inWave);
}

void Describe(Description& out, AiffFile& inAiff, const std::string& inPath) {
    static const char* const kTypes[] = {"", "big-endian integers", "little-endian integers",
                                         "big-endian floats"};
    std::string coding = kelcore::ToStdString(inAiff.GetCompressionCode());
    if (!inAiff.GetCompressionDescription().empty())
        coding += " " + kelcore::ToStdString(inAiff.GetCompressionDescription());
    const char* type = kTypes[inAiff.GetSampleType()];
    out.Words("Container", "container", CharactersAt(8, inPath));
    if (!coding.empty())
        out.Words("Coding", "coding", coding);
    out.Number("bytesPerSample", inAiff.GetBytesPerSample());
    out.Member("samples", json::Text(type));
    Shape(out, inAiff.GetSampleRate(), inAiff.GetNumChannels(),
          Print("%d bytes; %s", inAiff.GetBytesPerSample(), type), inAiff.GetAudioChannelLayout(),
          inAiff.GetSampleCount());
    Metadata(out, inAiff);
}

int DescribeAll(const std::vector<std::string>& inPaths, bool inJson) {
    int exitCode = 0;
    const char* between = inJson ? "[" : "";
    for (const std::string& path : inPaths) {
        Description description;
        description.Words("File", "file", path);
        try {
            const AudioFile file = OpenAudio(path);
            std::visit([&](const auto& opened) { Describe(description, *opened, path); }, file);
        } catch (const std::exception& exception) {
            exitCode = 1;
            std::fprintf(stderr, "%s\n", exception.what());
            if (!inJson)
                continue;
            description.Member("error", json::Text(exception.what()));
        }
        std::printf("%s%s", between, inJson ? description.Json().c_str() : description.Text().c_str());
        between = inJson ? ",\n " : "\n";
    }
    if (inJson)
        std::puts("]");
    return exitCode;
}

} // namespace

int main(int count, char** arguments) {
    CLI::App app("Prints everything that wave and AIFF files say about themselves.");
    std::vector<std::string> paths;
    bool asJson = false;
    app.add_option("files", paths, "the files")->required();
    app.add_flag("--json", asJson,
                 "an array with one object for each file, which has an \"error\" if it failed");
    return Run(app, count, arguments, 1, [&] { return DescribeAll(paths, asJson); });
}
