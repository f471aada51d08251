#pragma once

#include <cstdint>
#include <memory>

#include "kelaudiofile/Export.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// @addtogroup writing_wave
/// @{

/// Writes a RIFF file chunk by chunk and updates its size fields. A file that may outgrow the 32-bit limits
/// starts as plain RIFF with a reserved `JUNK` chunk; when its RIFF size or its `data` chunk reaches 2^32
/// bytes, the magic becomes "RF64" and the `JUNK` chunk becomes `ds64` (EBU Tech 3306), in place, so that no
/// byte of the file moves.
///
/// Failures are thrown, usually as kelcore::filesupport::file_exception. The writer stays open after an
/// exception, except after one from EndFile. One thread at a time per object.
class KELAUDIOFILE_EXPORT RiffChunkWriter {
public:
    /// Makes a closed writer.
    RiffChunkWriter() = default;
    /// Ends the file like EndFile(0), but ignores exceptions.
    ~RiffChunkWriter();
    RiffChunkWriter(const RiffChunkWriter&) = delete;
    RiffChunkWriter& operator=(const RiffChunkWriter&) = delete;

    /// Opens the file and writes the header. The file is created if it does not exist; an existing file is
    /// not truncated. For a new or reset writer; an open one is reset first.
    /// @param inFile  the path, passed by value.
    /// @param formType  the first character on disk is the lowest byte;
    ///        GetWaveFileFormatIdentifier() for wave files.
    /// @param reserveDs64  whether the file may become RF64.
    /// @param inStreamFlag  passed to the output stream.
    void Initialize(kelcore::filesupport::File inFile, unsigned int formType, bool reserveDs64,
                    bool inStreamFlag);

    /// Sets the unit in which a failing EndChunk counts a `data` chunk. It is 1 in a new or reset writer.
    /// @param inFrameBytes  bytes per frame; above 0.
    void SetFrameBytes(unsigned int inFrameBytes) { mFrameBytes = inFrameBytes == 0 ? 1 : inFrameBytes; }

    /// Begins a chunk at the position of the stream. Chunks do not nest. Requires an open writer.
    /// @return the position of the chunk's header, for EndChunk.
    std::uint64_t StartChunk(unsigned int id);

    /// Ends a chunk: flushes the buffer, writes the size field, leaves the stream at the end of the chunk,
    /// and writes a pad byte there if the size is odd. May be called again for the same chunk when the chunk
    /// has grown, or after an exception. Requires an open writer.
    ///
    /// If not everything could be flushed, as on a full disk, the size field counts what was:
    /// for a `data` chunk, the whole frames (see SetFrameBytes). It never counts less than an
    /// earlier call for the chunk did.
    /// @param chunkStart  the result of StartChunk.
    /// @param chunkEnd  where the chunk's data ends; 0 means the current position.
    void EndChunk(std::uint64_t chunkStart, std::uint64_t chunkEnd);

    /// Makes a checkpoint: updates the headers to what has reached the file. Bytes still in the buffer are
    /// not counted; EndChunk and Flush write them.
    /// @param sampleCount  frames; used in `ds64` only.
    void EndBlock(std::int64_t sampleCount);

    /// Flushes the buffer, and removes what blocks that could not be written have left past the end of a new
    /// file. Has no effect on a closed writer.
    void Flush();

    /// Flushes the buffer, updates the headers, and closes the file. The writer is as new afterwards, even
    /// after an exception. An open chunk is not ended. Has no effect on a closed writer.
    void EndFile(std::int64_t sampleCount);

    /// Passes every block to the system at once from now on. Not exported. Has no effect on a closed writer.
    KELAUDIOFILE_HIDDEN void WriteThrough();

    /// Flushes the buffer like Flush, and syncs the file to the device. Not exported. Has no effect on a
    /// closed writer.
    KELAUDIOFILE_HIDDEN void Sync();

    /// Call before the EndChunk of a `data` chunk whose size begins to need `ds64`: syncs that header to the
    /// device. Has no effect for a chunk that is smaller, or that already needed it. Not exported.
    KELAUDIOFILE_HIDDEN void SyncSwitch(std::int64_t inDataSize, std::int64_t sampleCount);

    /// Closes the file without updating the headers.
    void Reset();

    /// Returns the stream for chunk contents, which counts positions from the start of the file; null if the
    /// writer is closed.
    kelcore::filesupport::OByteStream* GetByteStream() { return mBufferedStream.get(); }

    /// Returns whether the writer is open.
    bool IsInitialized() const { return mPlatformStream && mBufferedStream; }

private:
    void UpdateHeaders(std::int64_t sampleCount);
    void WriteDs64(std::uint64_t inRiffSize, std::int64_t sampleCount);
    KELAUDIOFILE_HIDDEN void PatchSize(std::uint64_t chunkStart, std::uint64_t inSize);
    KELAUDIOFILE_HIDDEN void CountDelivered(std::uint64_t chunkStart, std::uint64_t chunkEnd) noexcept;
    KELAUDIOFILE_HIDDEN void DropPartOfFrame() noexcept;
    void PatchHeader(std::uint64_t inPosition, const void* inBytes, unsigned inCount);

    // Destroyed in reverse order: the buffered stream first, so that its bytes reach the file.
    std::unique_ptr<kelcore::filesupport::OPlatformByteStream> mPlatformStream;
    std::unique_ptr<kelcore::filesupport::OBufferedByteStream> mBufferedStream;
    std::uint64_t mRiffSizeOffset = 0; ///< where the stream put the RIFF size; 0 in a closed writer
    bool mDs64Reserved = false;
    std::uint32_t mCurrentChunkID = 0;
    std::int64_t mDataChunkSize = 0;
    std::uint64_t mDs64Offset = 0;
    bool mFileIsNew = false;        ///< nothing in the file was there before
    std::uint64_t mFrameBytes = 1;  ///< bytes of a frame of a `data` chunk
    std::uint64_t mCountedSize = 0; ///< the size field of the chunk that was started last

    /// Where the chunk's whole frames end if EndChunk could not flush everything, else 0.
    std::uint64_t mDeliveredEnd = 0;
};

/// @}

} // namespace kelaudiofile
