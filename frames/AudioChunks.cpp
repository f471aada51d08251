#include <algorithm>
#include <limits>
#include <variant>

#include "AudioReaderImpl.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace {

constexpr std::int64_t kHeaderBytes = 8; // which GetMetadataInfo and ReadMetadataChunk include
constexpr std::int64_t kLargestRead = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kEnd = -1;

} // namespace

/// Fills in the chunk with ioChunk's index, or turns it into the end.
void ChunkList::Fetch(AudioChunk& ioChunk) {
    double position = 0;
    const bool found = std::visit(
        [&](auto& file) {
            return file->GetMetadataInfo(ioChunk.mIndex, ioChunk.mId, ioChunk.mSize, position);
        },
        ioChunk.mReader->mImpl->file);
    if (!found) {
        ioChunk.mIndex = kEnd;
        return;
    }
    ioChunk.mSize -= kHeaderBytes;
    ioChunk.mSide = position < 0.5 ? Side::kBefore : Side::kAfter;
}

ChunkList AudioReader::Chunks() {
    return ChunkList(*this);
}

ChunkList::iterator ChunkList::begin() const {
    AudioChunk first(mReader, 0);
    Fetch(first);
    return iterator(first);
}

ChunkList::iterator ChunkList::end() const {
    return iterator(AudioChunk(nullptr, kEnd));
}

ChunkList::iterator& ChunkList::iterator::operator++() {
    ++mChunk.mIndex;
    Fetch(mChunk);
    return *this;
}

bool AudioChunk::Read(std::vector<unsigned char>& outData, AudioError& outError) const {
    outData.resize(static_cast<std::size_t>(mSize));
    return Read(0, mSize, outData.data(), outError);
}

bool AudioChunk::Read(std::int64_t inOffset, std::int64_t inCount, void* outBytes,
                      AudioError& outError) const {
    const AudioReader::Impl& reader = *mReader->mImpl;
    if (inOffset < 0 || inCount < 0 || inCount > mSize - inOffset || (outBytes == nullptr && inCount > 0))
        return Fail(outError, AudioError::kBadArgument, reader.path,
                    "its chunk " + ChunkIdText(mId) + " has " + std::to_string(mSize) + " bytes");
    kelcore::filesupport::ForgetFailure();
    auto* out = static_cast<unsigned char*>(outBytes);
    for (std::int64_t done = 0; done < inCount;) {
        const std::int64_t piece = std::min(kLargestRead, inCount - done);
        const bool read = std::visit(
            [&](auto& file) {
                return file->ReadMetadataChunk(mIndex, kHeaderBytes + inOffset + done, piece, out + done);
            },
            reader.file);
        if (!read)
            return FailForSystem(outError, AudioError::kReadFailed, reader.path,
                                 "its chunk " + ChunkIdText(mId) + " cannot be read");
        done += piece;
    }
    return true;
}

} // namespace kelaudiofile
