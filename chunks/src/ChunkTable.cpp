#include "chunks/ChunkTable.h"

#include <algorithm>
#include <iterator>

namespace kelaudiofile::chunks {

void ChunkTable::Append(const ChunkInfo& inChunk, std::int64_t inCount) {
    if (!IsMetadata(inChunk.id)) {
        if (FindFirst(inChunk.id) == nullptr)
            mFormatChunks.push_back(inChunk);
        return;
    }
    if (!ContinuesLastRun(inChunk))
        mMetadata.push_back({inChunk, mMetadataCount});
    mMetadataCount += inCount;
}

bool ChunkTable::IsMetadata(std::uint32_t inId) const {
    return std::find(mFormatIds.begin(), mFormatIds.end(), inId) == mFormatIds.end();
}

bool ChunkTable::ContinuesLastRun(const ChunkInfo& inChunk) const {
    if (mMetadata.empty() || inChunk.size != 0)
        return false;
    const Run& run = mMetadata.back();
    return run.first.size == 0 && run.first.id == inChunk.id &&
           inChunk.offset == run.first.offset + kHeaderBytes * (mMetadataCount - run.firstIndex);
}

void ChunkTable::SetExtent(std::uint64_t inFileSize, std::uint64_t inAudioStart, std::uint64_t inAudioEnd) {
    mFileSize = inFileSize;
    mAudioStart = inAudioStart;
    mAudioEnd = inAudioEnd;
}

const ChunkInfo* ChunkTable::FindFirst(std::uint32_t inFormatId) const {
    const auto found = std::find_if(mFormatChunks.begin(), mFormatChunks.end(),
                                    [=](const ChunkInfo& info) { return info.id == inFormatId; });
    return found == mFormatChunks.end() ? nullptr : &*found;
}

const ChunkTable::Run& ChunkTable::RunOf(std::int64_t inIndex) const {
    if (mMetadata.size() == static_cast<std::uint64_t>(mMetadataCount)) // a run for each chunk
        return mMetadata[static_cast<std::size_t>(inIndex)];
    const auto next =
        std::upper_bound(mMetadata.begin(), mMetadata.end(), inIndex,
                         [](std::int64_t index, const Run& run) { return index < run.firstIndex; });
    return *std::prev(next);
}

std::optional<ChunkInfo> ChunkTable::FindMetadatum(std::int64_t inIndex) const {
    if (inIndex < 0 || inIndex >= mMetadataCount)
        return std::nullopt;
    const Run& run = RunOf(inIndex);
    ChunkInfo info = run.first;
    info.offset += kHeaderBytes * (inIndex - run.firstIndex);
    return info;
}

bool ChunkTable::GetMetadataInfo(std::int64_t inIndex, std::uint32_t& outId, std::int64_t& outSize,
                                 double& outPosition) const {
    const auto info = FindMetadatum(inIndex);
    if (!info)
        return false;
    outId = info->id;
    outSize = info->WholeSize();
    outPosition = PositionOf(*info);
    return true;
}

// Positions before the audio are fractions of the whole file, so they stay well below 0.5; those after it are
// fractions of the rest of the file.
double ChunkTable::PositionOf(const ChunkInfo& inChunk) const {
    const auto place = static_cast<double>(inChunk.DataOffset());
    const auto size = static_cast<double>(mFileSize);
    const auto end = static_cast<double>(mAudioEnd);
    if (inChunk.DataOffset() <= mAudioStart)
        return place * 0.5 / size;
    if (mAudioEnd == mFileSize)
        return 1.0;
    if (inChunk.DataOffset() < mAudioEnd)
        return 0.5; // between two stretches of audio
    return (place - end) * 0.5 / (size - end) + 0.5;
}

} // namespace kelaudiofile::chunks
