#include "AiffReading.h"

#include <algorithm>

#include "AiffChunkWalk.h"
#include "AiffFormat.h"
#include "ChanChunk.h"
#include "CommChunk.h"
#include "chunks/Attempt.h"

namespace kelaudiofile::aiff {

namespace {

using chunks::ChunkInfo;
using kelcore::filesupport::File;
using kelcore::filesupport::IPlatformByteStream;

constexpr std::uint32_t kFormatIds[] = {kSsndId, kCommId, kChanId, kFverId};

bool IsReadableDepth(const AiffFormatInfo& inFormat) {
    const int bits = inFormat.bitsPerSample;
    if (inFormat.sampleType == AiffFile::kFloatSamples)
        return bits == 32;
    return bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

} // namespace

AiffReading::AiffReading() : mChunks(kFormatIds) {}

bool AiffReading::Open(const File& inFile, bool inAssumeChannelOrder, AiffFormatInfo& outFormat,
                       Error& outError) {
    const std::uint64_t fileSize = inFile.Size();
    mStream = std::make_unique<IPlatformByteStream>(inFile, kelcore::utility::Flags<unsigned>(0));
    outError.code = WalkChunks(*mStream, inFile, outFormat.formType, mChunks);
    if (outError.code == Error::kNoError)
        outError.code = ReadFormat(outFormat);
    switch (outError.code) {
    case Error::kNoError:
        outFormat.channelLayout = ReadChannelLayout(outFormat, inAssumeChannelOrder);
        mChunks.SetExtent(fileSize, static_cast<std::uint64_t>(mSampleDataOffset),
                          static_cast<std::uint64_t>(mSampleDataOffset + mSampleDataSize));
        return true;
    case Error::kUnknownCompression:
        outError.compressionDescription = outFormat.compressionDescription;
        outError.compressionCode = outFormat.compressionCode;
        return false;
    case Error::kBadBitDepth:
        outError.bitsPerSample = outFormat.bitsPerSample;
        return false;
    default:
        return false;
    }
}

// The samples are located between the two effects that a compression code can have on the bit depth: the
// frames on disk are counted after a depth is raised, but before one is imposed.
std::int32_t AiffReading::ReadFormat(AiffFormatInfo& outFormat) {
    if (!ReadComm(outFormat))
        return Error::kBadCommChunk;
    if (!LocateSamples(outFormat))
        return Error::kBadSsndChunk;
    if (!ApplyCompression(outFormat))
        return Error::kUnknownCompression;
    return IsReadableDepth(outFormat) ? Error::kNoError : Error::kBadBitDepth;
}

bool AiffReading::ReadComm(AiffFormatInfo& outFormat) {
    const ChunkInfo* comm = mChunks.FindFirst(kCommId);
    std::vector<Byte> data;
    if (comm == nullptr || !IsCommSize(outFormat.formType, comm->size) || !ReadChunkData(*comm, data))
        return false;
    ParseComm(data, outFormat);
    return true;
}

// A format without frames, channels or bits needs no samples, and its "SSND" may be anything.
bool AiffReading::LocateSamples(AiffFormatInfo& ioFormat) {
    if (ioFormat.sampleCount == 0 || ioFormat.numChannels == 0 || ioFormat.bitsPerSample == 0)
        return true;
    const ChunkInfo* samples = mChunks.FindFirst(kSsndId);
    Byte fields[ssnd::kSamples];
    if (samples == nullptr || samples->size < ssnd::kSamples ||
        !ReadAt(samples->DataOffset(), fields, sizeof fields))
        return false;
    const std::int64_t skip = bytes::LoadBig32(fields + ssnd::kOffset);
    mSampleDataOffset = static_cast<std::int64_t>(samples->DataOffset()) + ssnd::kSamples + skip;
    mSampleDataSize = samples->size - skip - ssnd::kSamples;
    LimitSampleCountToData(ioFormat);
    return true;
}

// A header may promise more frames than the file holds. Negative numbers count as huge ones here: if the
// samples are said to begin after the end of their chunk, the count stays, and a negative frame size reduces
// it to almost nothing.
void AiffReading::LimitSampleCountToData(AiffFormatInfo& ioFormat) const {
    const std::int64_t frameBytes = FrameBytes(ioFormat);
    if (frameBytes == 0)
        return;
    const std::uint64_t framesOnDisk =
        static_cast<std::uint64_t>(mSampleDataSize) / static_cast<std::uint64_t>(frameBytes);
    ioFormat.sampleCount =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(ioFormat.sampleCount, framesOnDisk));
}

kelmediatypes::ChannelLayout AiffReading::ReadChannelLayout(const AiffFormatInfo& inFormat,
                                                            bool inAssumeChannelOrder) {
    const ChunkInfo* layout = mChunks.FindFirst(kChanId);
    std::vector<Byte> data;
    if (layout != nullptr && layout->size <= kLargestParsedChunk && ReadChunkData(*layout, data))
        return ParseChan(data, inFormat.numChannels);
    return CustomaryLayout(inFormat.numChannels, inAssumeChannelOrder);
}

bool AiffReading::ReadChunkData(const ChunkInfo& inChunk, std::vector<Byte>& outData) {
    outData.resize(static_cast<std::size_t>(inChunk.size));
    return ReadAt(inChunk.DataOffset(), outData.data(), inChunk.size);
}

bool AiffReading::ReadAt(std::uint64_t inPosition, void* outBytes, std::int64_t inCount) {
    return mStream && chunks::Attempt([&] {
               mStream->CurPos(inPosition);
               mStream->ReadBlock(outBytes, static_cast<unsigned>(inCount));
           });
}

bool AiffReading::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    return chunks::IsReadable(inOffset, inByteCount, mSampleDataSize) &&
           (outBuffer != nullptr || inByteCount == 0) &&
           ReadAt(static_cast<std::uint64_t>(mSampleDataOffset + inOffset), outBuffer, inByteCount);
}

bool AiffReading::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                    void* outBuffer) {
    const auto chunk = mChunks.FindMetadatum(inIndex);
    return chunk && chunks::IsReadable(inOffset, inByteCount, chunk->WholeSize()) &&
           (outBuffer != nullptr || inByteCount == 0) &&
           ReadAt(static_cast<std::uint64_t>(chunk->offset + inOffset), outBuffer, inByteCount);
}

} // namespace kelaudiofile::aiff
