// Compares AudioReader with the same work by hand: whole files with ReadSampleBytes and DecodeFrames, and
// opening a small file with the class of its container.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Compare.h"
#include "kelaudiofile/kelaudiofile.h"

using namespace kelaudiofile;

namespace {

using Planes = std::vector<std::vector<float>>;

void Require(bool inHolds, const char* inWhat) {
    if (!inHolds) {
        std::fprintf(stderr, "benchmark failed: %s\n", inWhat);
        std::exit(1);
    }
}

std::vector<float*> PointersTo(Planes& ioPlanes) {
    std::vector<float*> pointers;
    for (std::vector<float>& plane : ioPlanes)
        pointers.push_back(plane.data());
    return pointers;
}

void Write(const std::string& inPath, Container inContainer, const AudioFormat& inFormat,
           std::int64_t inFrames) {
    AudioError error;
    const auto writer = AudioWriter::Create(inPath, inContainer, inFormat, {}, error);
    Require(writer != nullptr, "Create");
    Planes planes(static_cast<std::size_t>(inFormat.channels),
                  std::vector<float>(static_cast<std::size_t>(inFrames)));
    for (std::size_t channel = 0; channel < planes.size(); ++channel)
        for (std::size_t i = 0; i < planes[channel].size(); ++i)
            planes[channel][i] = static_cast<float>((i * 37 + channel * 11) % 255) / 128 - 1;
    Require(writer->Write(PointersTo(planes).data(), inFrames, error) && writer->Finish(error), "Write");
}

std::unique_ptr<WaveFile> OpenWave(const std::string& inPath) {
    WaveFile::ExtendedErrorInfo error;
    return std::unique_ptr<WaveFile>(WaveFile::OpenForRead(kelcore::ToUTF8String(inPath), error, false));
}

std::unique_ptr<AiffFile> OpenAiff(const std::string& inPath) {
    AiffFile::ExtendedErrorInfo error;
    return AiffFile::OpenForRead(kelcore::ToUTF8String(inPath), true, error);
}

/// Reads all frames of an open file, block by block into the same planes.
template <typename File>
void DecodeByHand(File& ioFile, std::vector<unsigned char>& ioBytes, const std::vector<float*>& inPlanes,
                  std::int64_t inBlock) {
    const SampleFormat format = GetSampleFormat(ioFile);
    const std::int32_t channels = ioFile.GetNumChannels();
    const std::int64_t frames = ioFile.GetSampleCount(),
                       frameBytes = std::int64_t{channels} * format.bytesPerSample;
    for (std::int64_t frame = 0; frame < frames; frame += inBlock) {
        const std::int64_t count = std::min(inBlock, frames - frame);
        Require(ioFile.ReadSampleBytes(frame * frameBytes, count * frameBytes, ioBytes.data()), "read");
        DecodeFrames(format, ioBytes.data(), inPlanes.data(), count, channels);
    }
}

void Decode(AudioReader& ioReader, const std::vector<float*>& inPlanes, std::int64_t inBlock) {
    AudioError error;
    for (std::int64_t frame = 0; frame < ioReader.Frames(); frame += inBlock)
        Require(ioReader.Read(frame, std::min(inBlock, ioReader.Frames() - frame), inPlanes.data(), error),
                "Read");
}

struct Kind {
    const char* name;
    Container container;
    SampleFormat samples;
};

const Kind kKinds[] = {
    {"wave, 16 bit", Container::kWave, {SampleCoding::kInteger, 2, ByteOrder::kLittleEndian, false}},
    {"wave, 24 bit", Container::kWave, {SampleCoding::kInteger, 3, ByteOrder::kLittleEndian, false}},
    {"wave, float", Container::kWave, {SampleCoding::kFloat_1, 4, ByteOrder::kLittleEndian, false}},
    {"AIFF, 24 bit", Container::kAiff, {SampleCoding::kInteger, 3, ByteOrder::kBigEndian, false}},
};

void CompareDecoding(const std::string& inPath, const Kind& inKind, std::int32_t inChannels,
                     std::int64_t inBlock) {
    AudioFormat format;
    format.channels = inChannels;
    format.samples = inKind.samples;
    const std::int64_t frameBytes = std::int64_t{inChannels} * inKind.samples.bytesPerSample;
    Write(inPath, inKind.container, format, (4 << 20) / frameBytes);
    AudioError error;
    const auto reader = AudioReader::Open(inPath, error);
    Require(reader != nullptr, "Open");
    const auto wave = inKind.container == Container::kWave ? OpenWave(inPath) : nullptr;
    const auto aiff = wave ? nullptr : OpenAiff(inPath);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(inBlock * frameBytes));
    Planes ours(static_cast<std::size_t>(inChannels), std::vector<float>(static_cast<std::size_t>(inBlock))),
        theirs = ours;
    const auto ourPlanes = PointersTo(ours), theirPlanes = PointersTo(theirs);
    const auto decode = [&] { Decode(*reader, ourPlanes, inBlock); };
    const auto byHand = [&] {
        wave ? DecodeByHand(*wave, bytes, theirPlanes, inBlock)
             : DecodeByHand(*aiff, bytes, theirPlanes, inBlock);
    };
    decode();
    byHand();
    Require(ours == theirs, "the samples differ");
    compare::PrintRow("read " + std::string(inKind.name) + ", " + std::to_string(inChannels) +
                          (inChannels == 1 ? " channel" : " channels") + ", blocks of " +
                          std::to_string(inBlock) + " frames",
                      "ReadSampleBytes and DecodeFrames", compare::Speed(decode, byHand));
}

void CompareOpening(const std::string& inPath) {
    AudioError error;
    Write(inPath, Container::kWave, {}, 1000);
    Require(AudioReader::Open(inPath, error) && OpenWave(inPath), "open");
    compare::PrintRow("open a small wave file", "WaveFile::OpenForRead",
                      compare::Speed([&] { AudioReader::Open(inPath, error); }, [&] { OpenWave(inPath); }));
    Write(inPath, Container::kAiff, {}, 1000);
    Require(AudioReader::Open(inPath, error) && OpenAiff(inPath), "open");
    compare::PrintRow("open a small AIFF file", "AiffFile::OpenForRead",
                      compare::Speed([&] { AudioReader::Open(inPath, error); }, [&] { OpenAiff(inPath); }));
}

} // namespace

int main() {
    const char* const root = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
    std::string folder = std::string(root) + "/kelaudiofile-bench-XXXXXX";
    Require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    std::printf("| Job | Against | Times as fast |\n|---|---|---|\n");
    for (const Kind& kind : kKinds)
        for (const std::int32_t channels : {1, 2, 6})
            CompareDecoding(folder + "/file", kind, channels, 4096);
    CompareDecoding(folder + "/file", kKinds[0], 2, 1 << 20);
    CompareOpening(folder + "/file");
    std::filesystem::remove_all(folder);
}
