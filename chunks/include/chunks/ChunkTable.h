#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

/// Shared by wave and AIFF files: a file is a header followed by chunks, each with an id, a size and data.
namespace kelaudiofile::chunks {

/// The id and the size before a chunk's data.
inline constexpr int kHeaderBytes = 8;

/// One chunk of a file.
struct ChunkInfo {
    std::uint32_t id;
    std::int64_t size;   ///< bytes of data, no more than the file holds
    std::int64_t offset; ///< of the header, from the start of the file

    /// Returns the offset of the data, from the start of the file.
    std::uint64_t DataOffset() const { return static_cast<std::uint64_t>(offset) + kHeaderBytes; }
    /// Returns the bytes of header and data, without a pad byte.
    std::int64_t WholeSize() const { return size + kHeaderBytes; }
};

/// @return whether a range lies inside this many bytes and can be read at once. Any numbers are accepted.
constexpr bool IsReadable(std::int64_t inOffset, std::int64_t inByteCount, std::int64_t inSize) {
    constexpr std::int64_t kLargestRead = 0x7FFFFFFF;
    return inOffset >= 0 && inByteCount >= 0 && inByteCount <= kLargestRead && inOffset <= inSize &&
           inByteCount <= inSize - inOffset; // by subtraction: a sum of the caller's numbers may not fit
}

/// The chunks of a file, in file order: the first one of each id that the format itself uses, and all others,
/// which are metadata. Consecutive empty chunks of one id take the memory of one: a hole in a sparse file
/// reads as millions of them.
class ChunkTable {
public:
    /// @param inFormatIds  the ids that are not metadata; must outlive the table.
    explicit ChunkTable(std::span<const std::uint32_t> inFormatIds) : mFormatIds(inFormatIds) {}

    /// Appends the next chunk of the file.
    /// @param inCount  for an empty chunk: how many equal ones follow each other there.
    void Append(const ChunkInfo& inChunk, std::int64_t inCount = 1);

    /// Sets what positions are relative to. Without audio, both offsets are 0.
    void SetExtent(std::uint64_t inFileSize, std::uint64_t inAudioStart, std::uint64_t inAudioEnd);

    /// Returns the first chunk with one of the format's ids, valid until the next
    /// Append; null if there is none.
    const ChunkInfo* FindFirst(std::uint32_t inFormatId) const;

    /// Returns the chunk with this index among the metadata.
    std::optional<ChunkInfo> FindMetadatum(std::int64_t inIndex) const;

    /// Describes a metadata chunk: its id, its size including the header, and its position: below 0.5 before
    /// the audio, from 0.5 to 1 after it.
    /// @return false if there is no such chunk; the outputs are then unchanged.
    bool GetMetadataInfo(std::int64_t inIndex, std::uint32_t& outId, std::int64_t& outSize,
                         double& outPosition) const;

private:
    struct Run {
        ChunkInfo first;
        std::int64_t firstIndex;
    };
    const Run& RunOf(std::int64_t inIndex) const;
    bool IsMetadata(std::uint32_t inId) const;
    bool ContinuesLastRun(const ChunkInfo& inChunk) const;
    double PositionOf(const ChunkInfo& inChunk) const;

    std::span<const std::uint32_t> mFormatIds;
    std::vector<ChunkInfo> mFormatChunks; // the first one of each id
    std::deque<Run> mMetadata;            // a vector needs three times the memory while it grows
    std::int64_t mMetadataCount = 0;
    std::uint64_t mFileSize = 0, mAudioStart = 0, mAudioEnd = 0;
};

} // namespace kelaudiofile::chunks
