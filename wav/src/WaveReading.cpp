#include "WaveReading.h"

#include <algorithm>

#include "RiffFormat.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

using kelcore::filesupport::File;
using kelcore::filesupport::IPlatformByteStream;

namespace {

using ChunkInfo = RiffChunkReader::RiffChunkInfo;

constexpr std::uint32_t kFormatIds[] = {riff::kJunqId, riff::kFormatId, riff::kDs64Id,
                                        riff::kJunkId, riff::kFillerId, riff::kDataId};

constexpr std::int64_t kLargestPiece = std::int64_t{1} << 31; // ReadBlock counts in 32 bits

constexpr std::string_view kLogScope = "kelaudiofile::WaveFile::Impl::";

std::uint64_t EndOf(const ChunkInfo& inChunk) {
    return inChunk.dataOffset + static_cast<std::uint64_t>(inChunk.chunkSize);
}

} // namespace

WaveReading::WaveReading() : mChunks(kFormatIds) {}

void WaveReading::SetFile(const File& inNamed, bool inStreamFlag) {
    mFile = inNamed;
    mStreamFlag = inStreamFlag;
}

void WaveReading::Open(const File& inNamed, const File& inOpened, const ChunkInfos& inChunks,
                       bool inStreamFlag) {
    SetFile(inNamed, inStreamFlag);
    ListChunks(inChunks);
    SetExtent(inOpened.Size());
    mStream = MakeStream(inOpened);
}

void WaveReading::ListChunks(const ChunkInfos& inChunks) {
    for (const ChunkInfo& chunk : inChunks)
        mChunks.Append({chunk.chunkID, chunk.chunkSize, static_cast<std::int64_t>(chunk.chunkOffset)});
    mDataChunks = FilterChunkInfo(inChunks, GetWaveDataIdentifier());
    mDataChunkEnds.reserve(mDataChunks.size());
    for (const ChunkInfo& chunk : mDataChunks)
        mDataChunkEnds.push_back(SampleBytes() + chunk.chunkSize);
}

void WaveReading::SetExtent(std::uint64_t inFileSize) {
    if (SampleBytes() == 0)
        mChunks.SetExtent(inFileSize, 0, 0);
    else
        mChunks.SetExtent(inFileSize, mDataChunks.front().dataOffset, EndOf(mDataChunks.back()));
}

std::unique_ptr<IPlatformByteStream> WaveReading::MakeStream(const File& inFile) const {
    return std::make_unique<IPlatformByteStream>(inFile,
                                                 kelcore::utility::Flags<unsigned>(mStreamFlag ? 1 : 0));
}

bool WaveReading::EnsureStream() {
    return mStream || chunks::Attempt([this] { mStream = MakeStream(mFile); });
}

bool WaveReading::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    if (!EnsureStream() || outBuffer == nullptr || inOffset < 0 || inByteCount < 0)
        return false;
    bool areInside = false;
    const bool areRead = chunks::AttemptAndLog(kLogScope, "ReadSampleBytes", [&] {
        areInside = ReadPieces(inOffset, inByteCount, static_cast<unsigned char*>(outBuffer));
    });
    return areRead && areInside;
}

/// Reads a piece from each `data` chunk that the range touches. @return false past the end of the last one.
bool WaveReading::ReadPieces(std::int64_t inOffset, std::int64_t inByteCount, unsigned char* outBytes) {
    auto end = std::upper_bound(mDataChunkEnds.begin(), mDataChunkEnds.end(), inOffset);
    while (inByteCount > 0) {
        if (end == mDataChunkEnds.end())
            return false;
        const ChunkInfo& chunk = mDataChunks[static_cast<std::size_t>(end - mDataChunkEnds.begin())];
        const std::int64_t left = *end - inOffset;
        const std::int64_t piece = std::min({inByteCount, left, kLargestPiece});
        mStream->CurPos(EndOf(chunk) - static_cast<std::uint64_t>(left));
        mStream->ReadBlock(outBytes, static_cast<unsigned>(piece));
        inOffset += piece;
        inByteCount -= piece;
        outBytes += piece;
        if (piece == left)
            ++end;
    }
    return true;
}

bool WaveReading::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                    void* outBuffer) {
    const auto chunk = mChunks.FindMetadatum(inIndex);
    if (!chunk || !EnsureStream() || outBuffer == nullptr ||
        !chunks::IsReadable(inOffset, inByteCount, chunk->WholeSize()))
        return false;
    mStream->CurPos(static_cast<std::uint64_t>(chunk->offset + inOffset)); // exceptions pass through
    return chunks::AttemptAndLog(kLogScope, "ReadMetadataChunk",
                                 [&] { mStream->ReadBlock(outBuffer, static_cast<unsigned>(inByteCount)); });
}

bool WaveReading::IsRecoveredTruncatedFile() const {
    return !mDataChunks.empty() && mDataChunks.back().recoveredTruncated;
}

} // namespace kelaudiofile
