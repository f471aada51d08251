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

/// A file open for writing: its streams, and which chunk is open. Operations return what those of
/// AiffFile return.
class AiffWriting {
public:
    /// Writes the header, "COMM" and "CHAN" of a new file. Exceptions that are no std::exception pass.
    /// @return false with no file open.
    bool Start(const kelcore::filesupport::File& inFile, const AiffFormatInfo& inFormat);
    bool IsOpen() const { return mBuffered != nullptr; }

    /// @return whether a block may be written now; otherwise nothing has changed.
    bool AcceptsBlock(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer) const;
    /// Writes a block that is accepted.
    bool WriteBlock(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer);

    bool StartMetadatum(std::uint32_t inId);
    bool WriteMetadatum(const void* inBuffer, std::int32_t inByteCount);
    bool FinishMetadatum();

    /// Completes the sizes of an open file and delivers everything. What the streams throw passes; the sizes
    /// then count what has been delivered.
    void Complete();
    void Close() noexcept;

    /// As the operations of AiffFileAccess.
    bool WriteThrough();
    void SyncWhenFinished() { mSyncsWhenFinished = true; }

private:
    /// The header of a chunk that was begun, and the zeros between it and the samples in "SSND".
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

    /// Where the next chunk or its data go on. It moves once a step is wholly done; the stream's own position
    /// may be left anywhere by a step that failed, and is set anew by the next one.
    std::int64_t mWritePosition = 0;
    std::int64_t mSampleBytes = 0; ///< written
    chunks::Owed<ChunkHeader> mOwedHeader;
    /// Positions of chunk headers; 0 where there is no such chunk.
    std::int64_t mCommPosition = 0;
    std::int64_t mSsndPosition = 0;
    std::int64_t mMetadatumPosition = 0; ///< while it is open
};

} // namespace kelaudiofile::aiff
