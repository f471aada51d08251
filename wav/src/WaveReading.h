#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "chunks/ChunkTable.h"
#include "kelaudiofile/RiffChunkReader.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// The parts of a file open for reading: its stream, its `data` chunks, and its other chunks. A file open for
/// writing has no chunks here.
class WaveReading {
public:
    using ChunkInfos = std::vector<RiffChunkReader::RiffChunkInfo>;

    WaveReading();

    /// Sets the file that the next read opens.
    /// @param inNamed  the file by its path.
    void SetFile(const kelcore::filesupport::File& inNamed, bool inStreamFlag);

    /// Lists the chunks of a file and opens its stream. Exceptions of the file pass through.
    /// @param inNamed  as for SetFile, for reads after Suspend.
    /// @param inOpened  the same file, already open.
    void Open(const kelcore::filesupport::File& inNamed, const kelcore::filesupport::File& inOpened,
              const ChunkInfos& inChunks, bool inStreamFlag);

    /// Like the operations of WaveFile.
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);
    bool IsRecoveredTruncatedFile() const;
    void Suspend() { mStream.reset(); }

    const chunks::ChunkTable& Chunks() const { return mChunks; }
    std::size_t NumDataChunks() const { return mDataChunks.size(); }
    /// Returns the bytes of all `data` chunks together.
    std::int64_t SampleBytes() const { return mDataChunkEnds.empty() ? 0 : mDataChunkEnds.back(); }

private:
    void ListChunks(const ChunkInfos& inChunks);
    void SetExtent(std::uint64_t inFileSize);
    bool ReadPieces(std::int64_t inOffset, std::int64_t inByteCount, unsigned char* outBytes);
    bool EnsureStream();
    std::unique_ptr<kelcore::filesupport::IPlatformByteStream>
    MakeStream(const kelcore::filesupport::File& inFile) const;

    kelcore::filesupport::File mFile;
    bool mStreamFlag = false;
    std::unique_ptr<kelcore::filesupport::IPlatformByteStream> mStream; ///< null while suspended
    ChunkInfos mDataChunks;
    std::vector<std::int64_t> mDataChunkEnds; ///< the sample byte offset where each `data` chunk ends
    chunks::ChunkTable mChunks;
};

} // namespace kelaudiofile
