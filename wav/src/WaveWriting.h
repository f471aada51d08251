#pragma once

#include <cstdint>

#include "chunks/Owed.h"
#include "kelaudiofile/RiffChunkWriter.h"
#include "kelaudiofile/WaveFormatChunkReader.h"

namespace kelaudiofile {

/// A chunk that is being written.
struct OpenChunk {
    std::uint64_t header = 0; ///< the position of its header; 0 while none is open

    bool IsOpen() const { return header != 0; }
};

/// A file open for writing: which chunk is open, and where the samples continue. The chunk writer
/// knows the layout of chunks; this class decides which chunks there are. Operations return the
/// results of those of WaveFile.
class WaveWriting {
public:
    /// Values of AudioCharacteristics::containerKind for writing.
    static constexpr std::uint32_t kRiffContainer = 1, kRf64Container = 2;

    /// @param inStreamFlag  passed to the output stream; also lets blocks have any offset.
    WaveWriting(const AudioCharacteristics& inRecord, bool inStreamFlag);
    /// Tries to complete a chunk that could not be ended; the chunk writer closes the file.
    ~WaveWriting();

    /// Creates the file with its header and its `fmt ` chunk.
    /// @param inFormatChunk, inFormatChunkSize  the data of the `fmt ` chunk; if there is none, it is built
    ///        from the record.
    bool Start(const kelcore::filesupport::File& inFile, const AudioCharacteristics& inRecord,
               const std::uint8_t* inFormatChunk, std::int32_t inFormatChunkSize);

    /// Returns whether a block may be written now; if not, nothing has changed.
    bool AcceptsBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer) const;
    /// Writes an accepted block.
    bool WriteBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer);
    bool FinishBlock();
    bool FinishBlockOnDisk();
    bool FinishSamples();

    bool StartMetadatum(std::uint32_t inId);
    bool WriteMetadatum(const std::uint8_t* inBuffer, std::int32_t inByteCount);
    bool FinishMetadatum();

    bool FinishFile();

    /// Like the operations of WaveFileAccess.
    bool WriteThrough();
    void KeepSizesWhole() { mKeepsSizesWhole = true; }

    /// Returns the frames in all `data` chunks together, as a reader counts them: an offset past the end of a
    /// finished chunk leaves no gap.
    std::int64_t FramesWritten() const;

private:
    /// The size field of a chunk that was ended.
    struct ChunkSize {
        std::uint64_t header, end;
    };

    void AppendBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer);
    void StartDataChunk(std::int64_t inOffset);
    void EndDataChunk();
    void CheckpointDataChunk();
    bool EndForGood(OpenChunk& ioChunk, std::uint64_t inEnd);
    void SettleSize();
    std::uint64_t DataChunkBytes() const;
    std::uint64_t PositionOf(std::uint64_t inDataChunkBytes) const;

    const bool mMayBeRf64;
    const bool mStreamFlag;
    const std::int64_t mFrameBytes;
    bool mKeepsSizesWhole = false; ///< whether no `data` size may straddle two sectors

    RiffChunkWriter mWriter;
    OpenChunk mData;
    OpenChunk mMetadatum;
    chunks::Owed<ChunkSize> mOwedSize;

    std::uint64_t mDataChunkStart = 0;    ///< the sample byte offset of the `data` chunk's first byte
    std::int64_t mNextSampleByte = 0;     ///< where the last block ended
    std::int64_t mEarlierSampleBytes = 0; ///< in the `data` chunks before the current one
    bool mDataChunkEnded = false; ///< FinishSamples has ended a `data` chunk, and none has begun since
};

} // namespace kelaudiofile
