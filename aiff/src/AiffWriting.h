#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "AiffFormatInfo.h"
#include "bytes/ByteOrder.h"
#include "chunks/Owed.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile::aiff {

/// A file open for writing: its streams, and which chunk is open. Operations return the
/// results of those of AiffFile.
class AiffWriting {
public:
    /// Writes the header, "COMM" and "CHAN" of a new file. Exceptions not derived from
    /// std::exception pass through.
    /// @return false, with no file open.
    bool Start(const kelcore::filesupport::File& inFile, const AiffFormatInfo& inFormat);
    bool IsOpen() const { return mBuffered != nullptr; }

    /// Returns whether a block may be written now; if not, nothing has changed.
    bool AcceptsBlock(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer) const;
    /// Writes an accepted block.
    bool WriteBlock(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer);

    bool StartMetadatum(std::uint32_t inId);
    bool WriteMetadatum(const void* inBuffer, std::int32_t inByteCount);
    bool FinishMetadatum();

    /// Completes the sizes of an open file and flushes everything. Exceptions of the streams pass through;
    /// the sizes then count what has been written.
    void Complete();
    void Close() noexcept;

    /// Like the operations of AiffFileAccess.
    bool WriteThrough();
    void SyncWhenFinished() { mSyncsWhenFinished = true; }

private:
    /// The header of a chunk that was begun, and for "SSND" the zeros between it and the samples.
    struct ChunkHeader {
        std::uint32_t id;
        std::size_t byteCount;
    };

    void WriteHeaderChunks(const AiffFormatInfo& inFormat);
    void WriteChunk(std::uint32_t inId, const std::vector<bytes::Byte>& inData);
    void SettleHeader();
    void CompleteMetadatum();
    void CompleteSizes();
    void SyncIfAsked();
    void CountDelivered();
    bool HasSsnd() const { return mSsndPosition != 0 && !mOwedHeader.IsOwed(); }
    std::int64_t SamplePosition() const;
    std::uint32_t FramesOf(std::int64_t inSampleBytes) const;
    std::int64_t PadAt(std::int64_t inEnd);
    void WriteAt(std::int64_t inPosition, const void* inBytes, std::size_t inCount);
    void Append(const void* inBytes, std::size_t inCount);
    void WriteNumber(std::int64_t inPosition, std::int64_t inValue);

    std::unique_ptr<kelcore::filesupport::OPlatformByteStream> mPlatform;
    std::unique_ptr<kelcore::filesupport::OBufferedByteStream> mBuffered; ///< destroyed before mPlatform
    std::int32_t mFrameBytes = 0;
    bool mSyncsWhenFinished = false;

    /// Where the next chunk or its data continue. It advances only after a complete step; a step that failed
    /// may leave the stream's own position anywhere, and the next step sets it again.
    std::int64_t mWritePosition = 0;
    std::int64_t mSampleBytes = 0; ///< written
    chunks::Owed<ChunkHeader> mOwedHeader;
    /// Positions of chunk headers; 0 if there is no such chunk.
    std::int64_t mCommPosition = 0;
    std::int64_t mSsndPosition = 0;
    std::int64_t mMetadatumPosition = 0; ///< while it is open
};

} // namespace kelaudiofile::aiff
