// Opens a wave file of arbitrary bytes: reads stay inside the file, the hash covers all of it, and a copy
// holds the same contents once the disk has room for it.

#include "FileSizeLimit.h"
#include "Fuzz.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelaudiofile/WaveFile.h"

using namespace kelaudiofile;

namespace {

/// Returns the number of bytes hashed, or -1 after a failure.
std::int64_t Hash(const kelcore::UTF8String& inPath, bool inTrimSilence) try {
    std::uint64_t hashed = 0;
    HashWaveFile([&](const unsigned char*, std::uint64_t count) { hashed += count; }, inPath, inTrimSilence);
    return static_cast<std::int64_t>(hashed);
} catch (const kelcore::config::kel_exception&) {
    return -1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Bytes bytes(data, data + size);
    const auto input = fuzz::FileOf(bytes);
    WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<WaveFile> file(WaveFile::OpenForRead(input.Path(), error, size % 2 == 0));
    const std::int64_t hashed = Hash(input.Path(), false);
    FUZZ_REQUIRE(Hash(input.Path(), true) <= hashed);
    FUZZ_REQUIRE((file == nullptr) == (error.code != 0) && (file || hashed == -1));
    if (!file)
        return 0;
    FUZZ_REQUIRE(hashed == -1 || hashed == 4 * file->GetSampleCount() * file->GetNumChannels());
    const fuzz::Contents contents(*file, bytes);
    auto sample = contents.samples.begin();
    const auto chunks = RiffChunkReader(input, false).GetFileInfo().chunks;
    for (const auto& chunk : FilterChunkInfo(chunks, GetWaveDataIdentifier()))
        for (std::int64_t i = 0; i < chunk.chunkSize; ++i)
            FUZZ_REQUIRE(*sample++ == bytes[chunk.dataOffset + static_cast<std::size_t>(i)]);
    FUZZ_REQUIRE(sample == contents.samples.end());

    const auto path = fuzz::Folder().PathText("copy");
    bool isWritten = false;
    for (const std::uint64_t room : {std::uint64_t{size} / 2, std::uint64_t{1} << 30}) {
        const fuzz::FileSizeLimit limit(room);
        const std::unique_ptr<WaveFile> copy(
            WaveFile::OpenForWrite(path, file->GetSampleRate(), file->GetNumChannels(),
                                   file->GetBytesPerSample(), file->GetSampleBitDepth(),
                                   file->GetSampleType(), file->GetChannelLayout(), size % 2, error, false));
        isWritten = copy && contents.WriteTo(*copy);
        isWritten = copy && copy->FinishBlock() && copy->FinishSamples() && copy->FinishWrite() && isWritten;
    }
    FUZZ_REQUIRE(isWritten);
    const std::unique_ptr<WaveFile> read(WaveFile::OpenForRead(path, error, false));
    const fuzz::Contents copied(*read, testing_support::ReadFile(fuzz::Folder().Path("copy")));
    FUZZ_REQUIRE(copied.metadata == contents.metadata && copied.samples == contents.samples);
    return 0;
}
