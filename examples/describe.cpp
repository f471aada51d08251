// Prints everything that wave and AIFF files contain about themselves, as text or as JSON.

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/Json.h"
#include "common/Program.h"
#include "kelaudiofile/AudioReader.h"
#include "kelaudiofile/RiffChunkReader.h"

using namespace examples;

namespace {

/// The description of one file, in both forms.
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

void Shape(Description& out, const AudioReader& inReader, const std::string& inSamples) {
    const AudioFormat& format = inReader.Format();
    std::string layout;
    std::vector<std::string> names;
    for (const auto channel : format.layout) {
        layout += (layout.empty() ? "" : ", ") + ChannelName(channel);
        names.push_back(json::Text(ChannelName(channel)));
    }
    const double seconds = static_cast<double>(inReader.Frames()) / format.sampleRate;
    out.Line("Sample rate", Print("%g Hz", format.sampleRate));
    out.Line("Channels", std::to_string(format.channels));
    out.Line("Samples", inSamples);
    out.Line("Layout", layout.empty() ? "not given" : layout);
    out.Line("Frames", std::to_string(inReader.Frames()));
    out.Line("Duration", DurationText(seconds));
    out.Member("sampleRate", json::Number(format.sampleRate));
    out.Number("channels", format.channels);
    out.Member("layout", json::Array(names));
    out.Number("frames", inReader.Frames());
    out.Member("seconds", json::Number(seconds));
}

void Metadata(Description& out, AudioReader& inReader) {
    constexpr std::int64_t kHeaderBytes = 8;
    std::vector<std::string> chunks;
    for (const AudioChunk& chunk : inReader.Chunks()) {
        const bool before = chunk.Place() == Side::kBefore;
        const std::string id = ChunkIdText(chunk.Id());
        out.Line(chunks.empty() ? "Metadata" : "",
                 Print("%s  %12lld bytes with header, %s the audio", id.c_str(),
                       static_cast<long long>(chunk.Size() + kHeaderBytes), before ? "before" : "after"));
        chunks.push_back(
            json::Object({json::Member("id", json::Text(id)),
                          json::Member("bytesWithHeader", std::to_string(chunk.Size() + kHeaderBytes)),
                          json::Member("beforeAudio", json::Bool(before))}));
    }
    out.Member("metadata", json::Array(chunks));
}

void Chunks(Description& out, const std::string& inPath) {
    const RiffChunkReader reader(
        kelcore::filesupport::File(kelcore::ToUTF8String(inPath), kelcore::filesupport::kPathStorage), false);
    std::vector<std::string> chunks;
    for (const auto& chunk : reader.GetFileInfo().chunks) {
        const std::string id = ChunkIdText(chunk.chunkID);
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

void DescribeWave(Description& out, AudioReader& inReader, const std::string& inPath) {
    const WaveFile& wave = *inReader.Wave();
    const AudioCharacteristics format = wave.GetRiffAudioCharacteristics();
    const std::string category = CategoryText(format.formatCategory), type = TypeText(wave.GetSampleType());
    out.Words("Container", "container",
              CharactersAt(0, inPath) + (wave.IsRf64Format() ? "" : ", several data chunks"));
    out.Line("Format", Print("%s, tag 0x%04X", category.c_str(), format.formatTag));
    if (!format.extraFormatBytes.empty())
        out.Line("Extra bytes", Print("%zu after the format", format.extraFormatBytes.size()));
    out.Member("format", json::Text(category));
    out.Number("formatTag", format.formatTag);
    out.Number("bytesPerSample", wave.GetBytesPerSample());
    out.Number("bits", format.bitsPerSample);
    out.Number("validBits", format.validBitsPerSample);
    out.Member("samples", json::Text(type));
    const std::string samples = Print("%d bytes, %d bits, %d of them valid; %s", wave.GetBytesPerSample(),
                                      format.bitsPerSample, format.validBitsPerSample, type.c_str());
    Shape(out, inReader, samples);
    out.Line("Recovered", inReader.Recovered() ? "yes: its data size was never filled in" : "no");
    out.Member("recovered", json::Bool(inReader.Recovered()));
    Chunks(out, inPath);
}

void DescribeAiff(Description& out, AudioReader& inReader, const std::string& inPath) {
    const AiffFile& aiff = *inReader.Aiff();
    static const char* const kTypes[] = {"", "big-endian integers", "little-endian integers",
                                         "big-endian floats"};
    std::string coding = kelcore::ToStdString(aiff.GetCompressionCode());
    if (!aiff.GetCompressionDescription().empty())
        coding += " " + kelcore::ToStdString(aiff.GetCompressionDescription());
    const char* type = kTypes[aiff.GetSampleType()];
    out.Words("Container", "container", CharactersAt(8, inPath));
    if (!coding.empty())
        out.Words("Coding", "coding", coding);
    out.Number("bytesPerSample", aiff.GetBytesPerSample());
    out.Member("samples", json::Text(type));
    Shape(out, inReader, Print("%d bytes; %s", aiff.GetBytesPerSample(), type));
}

int DescribeAll(const std::vector<std::string>& inPaths, bool inJson) {
    int exitCode = 0;
    const char* between = inJson ? "[" : "";
    for (const std::string& path : inPaths) {
        Description description;
        description.Words("File", "file", path);
        AudioError error;
        if (const auto reader = AudioReader::Open(path, error)) {
            (reader->Wave() != nullptr ? DescribeWave : DescribeAiff)(description, *reader, path);
            Metadata(description, *reader);
        } else {
            exitCode = 1;
            std::fprintf(stderr, "%s\n", error.message.c_str());
            if (!inJson)
                continue;
            description.Member("error", json::Text(error.message));
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
    CLI::App app("Prints everything that wave and AIFF files contain about themselves.");
    std::vector<std::string> paths;
    bool asJson = false;
    app.add_option("files", paths, "the files")->required();
    app.add_flag("--json", asJson, "an array with one object per file, which has an \"error\" if it failed");
    return Run(app, count, arguments, 1, [&] { return DescribeAll(paths, asJson); });
}
