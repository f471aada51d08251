#include <algorithm>
#include <iterator>
#include <limits>

#include "AudioReaderImpl.h"
#include "AudioWriterImpl.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace {

// The chunks that the container itself writes. A second one would change the meaning of the file.
constexpr std::uint32_t kOfWave[] = {ChunkId("fmt "), ChunkId("data"), ChunkId("ds64")};
constexpr std::uint32_t kOfAiff[] = {ChunkId("COMM"), ChunkId("SSND"), ChunkId("CHAN"), ChunkId("FVER")};

// The chunks that describe how the samples of one file are stored.
constexpr std::uint32_t kOfStorage[] = {ChunkId("fact"), ChunkId("PEAK")};

// Zero bytes between the chunks of an AIFF file count as empty chunks with this id.
constexpr std::uint32_t kNoId = 0;

template <std::size_t kCount>
bool IsOneOf(const std::uint32_t (&inIds)[kCount], std::uint32_t inId) {
    return std::find(std::begin(inIds), std::end(inIds), inId) != std::end(inIds);
}

bool SameStorage(const SampleFormat& inA, const SampleFormat& inB) {
    return inA.coding == inB.coding && inA.bytesPerSample == inB.bytesPerSample &&
           inA.byteOrder == inB.byteOrder && inA.isUnsigned == inB.isUnsigned;
}

} // namespace

/// Moves the file to where a chunk can begin, and begins it.
bool AudioWriter::Impl::BeginChunk(std::uint32_t inId, std::int64_t inSize, AudioError& outError) {
    WaveFile* const wave = Wave();
    if (stage == Stage::kFinished)
        return Fail(outError, AudioError::kWrongOrder, path, "it is finished");
    if (wave != nullptr ? IsOneOf(kOfWave, inId) : IsOneOf(kOfAiff, inId))
        return Fail(outError, AudioError::kBadArgument, path,
                    "chunk " + ChunkIdText(inId) + " is written by the library itself");
    if (inSize > std::numeric_limits<std::uint32_t>::max())
        return Fail(outError, AudioError::kTooLarge, path, "a chunk has less than 4 GiB");
    if (wave == nullptr && stage != Stage::kBeforeAudio)
        return Fail(outError, AudioError::kWrongOrder, path, "an AIFF file has its chunks before its audio");
    if (!EndOpenChunk(outError))
        return false;
    if (stage == Stage::kAudio) {
        if (!wave->FinishSamples())
            return FailToWrite(outError, "its audio cannot be ended");
        stage = Stage::kAfterAudio;
    }
    const bool started = std::visit([&](auto& opened) { return opened->StartMetadatumWrite(inId); }, file);
    hasOpenChunk = started || wave == nullptr; // in an AIFF file it is open in any case
    return started || FailToWrite(outError, "chunk " + ChunkIdText(inId) + " cannot be written");
}

bool AudioWriter::Impl::AppendToChunk(const void* inData, std::int64_t inSize, AudioError& outError) {
    constexpr std::int64_t kAtOnce = std::int64_t{1} << 30;
    const auto* data = static_cast<const std::uint8_t*>(inData);
    for (std::int64_t done = 0; done < inSize;) {
        const auto count = static_cast<std::int32_t>(std::min(kAtOnce, inSize - done));
        const bool written =
            std::visit([&](auto& opened) { return opened->MetadatumWrite(data + done, count); }, file);
        if (!written)
            return FailToWrite(outError, "a chunk cannot be written");
        done += count;
    }
    return true;
}

/// Ends the chunk in any case, so that the file can continue.
bool AudioWriter::Impl::EndChunk(bool inIsWhole, AudioError& outError) {
    AudioError later; // outError has the first failure
    return EndOpenChunk(inIsWhole ? outError : later) && inIsWhole;
}

/// Anything after a chunk that could not be ended would be inside it. In a wave file such a chunk counts as
/// ended nevertheless.
bool AudioWriter::Impl::EndOpenChunk(AudioError& outError) {
    kelcore::filesupport::ForgetFailure();
    if (!hasOpenChunk)
        return true;
    const bool ended = std::visit([](auto& opened) { return opened->FinishMetadatumWrite(); }, file);
    hasOpenChunk = !ended && Wave() == nullptr;
    return ended || FailToWrite(outError, "a chunk cannot be completed");
}

bool AudioWriter::WriteChunk(std::uint32_t inId, const void* inData, std::size_t inSize,
                             AudioError& outError) {
    Impl& impl = *mImpl;
    const auto size = static_cast<std::int64_t>(inSize);
    if (inData == nullptr && inSize > 0)
        return Fail(outError, AudioError::kBadArgument, impl.path, "there are no data to write");
    if (!impl.BeginChunk(inId, size, outError))
        return false;
    return impl.EndChunk(impl.AppendToChunk(inData, size, outError), outError);
}

bool AudioWriter::CopyChunks(AudioReader& ioReader, Side inSide, AudioError& outError) {
    Impl& impl = *mImpl;
    const bool isAiff = impl.Wave() == nullptr;
    if (isAiff && inSide == Side::kAfter && impl.hasAllChunks)
        return true;
    const bool sameContainer = (ioReader.Kind() == Container::kAiff) == isAiff;
    const bool sameStorage = sameContainer && SameStorage(ioReader.Format().samples, impl.format.samples);
    for (const AudioChunk& chunk : ioReader.Chunks()) {
        const bool ofContainer = isAiff ? IsOneOf(kOfAiff, chunk.Id()) : IsOneOf(kOfWave, chunk.Id());
        if (ofContainer || chunk.Id() == kNoId || (!sameStorage && IsOneOf(kOfStorage, chunk.Id())))
            continue;
        const bool wanted = chunk.Place() == inSide || (isAiff && inSide == Side::kBefore);
        if (wanted && !impl.CopyChunk(chunk, outError))
            return false;
    }
    impl.hasAllChunks = isAiff && inSide == Side::kBefore;
    return true;
}

bool AudioWriter::Impl::CopyChunk(const AudioChunk& inChunk, AudioError& outError) {
    if (!BeginChunk(inChunk.Id(), inChunk.Size(), outError))
        return false;
    std::vector<unsigned char> piece(static_cast<std::size_t>(std::min(kTileBytes, inChunk.Size())));
    bool copied = true;
    for (std::int64_t done = 0; copied && done < inChunk.Size();) {
        const std::int64_t count = std::min(kTileBytes, inChunk.Size() - done);
        copied =
            inChunk.Read(done, count, piece.data(), outError) && AppendToChunk(piece.data(), count, outError);
        done += count;
    }
    return EndChunk(copied, outError);
}

} // namespace kelaudiofile
