// Rewrites a wave file as one that may grow past 4 GiB, with every metadata chunk in its place before or
// behind the audio; then reads it back and compares.

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "common/AudioHash.h"
#include "common/Run.h"

using namespace examples;
using kelaudiofile::WaveFile;

namespace {

std::unique_ptr<WaveFile> Open(const std::string& inPath) {
    WaveFile::ExtendedErrorInfo error;
    std::unique_ptr<WaveFile> file(WaveFile::OpenForRead(kelcore::ToUTF8String(inPath), error, false));
    if (!file)
        throw Trouble(inPath, WhyNot(error));
    return file;
}

std::unique_ptr<WaveFile> Create(const std::string& inPath, const WaveFile& inSource) {
    WaveFile::ExtendedErrorInfo error;
    std::unique_ptr<WaveFile> file(WaveFile::OpenForWrite(
        kelcore::ToUTF8String(inPath), inSource.GetSampleRate(), inSource.GetNumChannels(),
        inSource.GetBytesPerSample(), inSource.GetSampleBitDepth(), inSource.GetSampleType(),
        inSource.GetChannelLayout(), 1 /* may become RF64 */, error, false));
    if (!file)
        throw Trouble(inPath, WhyNot(error));
    return file;
}

void CopyMetadata(WaveFile& inSource, WaveFile& outCopy, bool inBeforeAudio) {
    constexpr std::int64_t kHeaderBytes = 8;
    std::uint32_t id = 0;
    std::int64_t end = 0;
    double position = 0;
    Bytes block;
    for (std::int32_t i = 0; inSource.GetMetadataInfo(i, id, end, position); ++i) {
        if ((position < 0.5) != inBeforeAudio)
            continue;
        bool copied = outCopy.StartMetadatumWrite(id);
        for (std::int64_t offset = kHeaderBytes; copied && offset < end;
             offset += static_cast<std::int64_t>(block.size())) {
            block.resize(static_cast<std::size_t>(std::min(kBlockBytes, end - offset)));
            const auto count = static_cast<std::int32_t>(block.size());
            copied = inSource.ReadMetadataChunk(i, offset, count, block.data()) &&
                     outCopy.MetadatumWrite(block.data(), count);
        }
        if (!copied || !outCopy.FinishMetadatumWrite())
            throw Failure("chunk " + IdText(id) + " cannot be copied");
    }
}

void CopyAudio(WaveFile& inSource, WaveFile& outCopy) {
    const std::int64_t end =
        inSource.GetSampleCount() * inSource.GetNumChannels() * inSource.GetBytesPerSample();
    WaveFile::ExtendedErrorInfo error;
    Progress progress("copying", end);
    Bytes block;
    for (std::int64_t offset = 0; offset < end; offset += static_cast<std::int64_t>(block.size())) {
        block.resize(static_cast<std::size_t>(std::min(kBlockBytes, end - offset)));
        const auto count = static_cast<std::int32_t>(block.size());
        if (!inSource.ReadSampleBytes(offset, count, block.data()))
            throw Failure("the audio cannot be read");
        if (!outCopy.WriteSampleBytes(offset, count, block.data(), error))
            throw Failure(WhyNot(error));
        progress.Show(offset);
    }
    if (!outCopy.FinishSamples())
        throw Failure("the audio cannot be completed");
}

int Copy(const std::string& inSource, const std::string& inCopy) {
    std::error_code none;
    if (std::filesystem::equivalent(inSource, inCopy, none))
        throw Failure("a file cannot be copied over itself");
    const auto source = Open(inSource);
    const auto copy = Create(inCopy, *source);
    CopyMetadata(*source, *copy, true);
    CopyAudio(*source, *copy);
    CopyMetadata(*source, *copy, false);
    if (!copy->FinishWrite())
        throw Failure(inCopy + ": the file cannot be completed");

    const std::string before = HashAudio(inSource), after = HashAudio(inCopy);
    std::printf("%s  %s\n%s  %s\n", before.c_str(), inSource.c_str(), after.c_str(), inCopy.c_str());
    if (before != after)
        throw Failure("the audio of the copy differs");
    std::puts("The audio is equal.");
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    CLI::App app("Copies a wave file with all its chunks into one that may grow past 4 GiB, and compares.");
    std::string source, copy;
    app.add_option("source", source, "a wave file")->required();
    app.add_option("copy", copy, "the file to make")->required();
    return Run(app, count, arguments, 1, [&] { return Copy(source, copy); });
}
