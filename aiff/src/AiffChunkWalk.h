#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "AiffFormatInfo.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile::aiff {

/// The chunks of a file that matter: the first "COMM", "SSND" and "CHAN", and all metadata. Empty chunks of
/// one id that follow each other take the memory of one: a hole in a sparse file reads as millions of them.
class ChunkList {
public:
    /// Appends the next chunk of the file.
    /// @param inCount  of an empty chunk: how many like it lie there, each right after the other.
    void Append(const AiffChunkInfo& inChunk, std::int64_t inCount = 1);

    /// @return the first "COMM", "SSND" or "CHAN" chunk, valid until the next Append; null if there is none.
    const AiffChunkInfo* FindFirst(std::uint32_t inId) const;

    /// @return the chunk with this index among those with any id but these three and "FVER".
    std::optional<AiffChunkInfo> FindMetadatum(std::int64_t inIndex) const;

private:
    struct Run {
        AiffChunkInfo first;
        std::int64_t firstIndex;
    };
    bool ContinuesLastRun(const AiffChunkInfo& inChunk) const;

    std::vector<AiffChunkInfo> mFormat; // the first one of each id
    std::deque<Run> mMetadata;          // a vector takes three times the memory while it grows
    std::int64_t mMetadataCount = 0;
};

/// Walks over a file from its start and reads its form and its chunk headers. Throws nothing.
/// @param inFile  the file of the stream.
/// @param outChunks  receives every chunk up to the end or the failure.
/// @return a code of AiffFile::ExtendedErrorInfo: kNoError, kNotAiffFile or kChunkScanFailed.
std::int32_t WalkChunks(kelcore::filesupport::IPlatformByteStream& inStream,
                        const kelcore::filesupport::File& inFile, std::uint32_t& outFormType,
                        ChunkList& outChunks);

} // namespace kelaudiofile::aiff
