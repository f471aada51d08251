#pragma once

#include <cstdint>
#include <memory>

#include "kelaudiofile/Export.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// Writes a RIFF file chunk by chunk and repairs the sizes afterwards. A file that may pass the 32-bit limits
/// starts as plain RIFF with a reserved `JUNK` chunk; when its RIFF size or its `data` chunk reaches 2^32
/// bytes, the header turns into "RF64" and the `JUNK` chunk into `ds64` (EBU Tech 3306), in place, so that no
/// byte of the file moves.
///
/// Failures are thrown: kelcore::filesupport::file_exception above all. The writer stays open after one,
/// except after EndFile. One thread at a time per object.
class KELAUDIOFILE_EXPORT RiffChunkWriter {
public:
    /// A closed writer.
    RiffChunkWriter() = default;
    /// Ends the file as EndFile(0) does; what that throws is lost.
    ~RiffChunkWriter();
    RiffChunkWriter(const RiffChunkWriter&) = delete;
    RiffChunkWriter& operator=(const RiffChunkWriter&) = delete;

    /// Opens the file, which is created if it does not exist and not emptied if it does, and writes the
    /// header. For a new or reset writer; an open one is reset first.
    /// @param inFile  the path, taken by value.
    /// @param formType  its lowest byte first on disk; GetWaveFileFormatIdentifier() for wave files.
    /// @param reserveDs64  whether the file may turn into RF64.
    /// @param inStreamFlag  handed to the output stream.
    void Initialize(kelcore::filesupport::File inFile, unsigned int formType, bool reserveDs64,
                    bool inStreamFlag);

    /// Sets what an EndChunk that fails counts a `data` chunk in. It is 1 in a new or reset writer.
    /// @param inFrameBytes  bytes of a frame; above 0.
    void SetFrameBytes(unsigned int inFrameBytes) { mFrameBytes = inFrameBytes == 0 ? 1 : inFrameBytes; }

    /// Begins a chunk where the stream stands. Chunks do not nest. Needs an open writer.
    /// @return the position of the chunk's header, for EndChunk.
    std::uint64_t StartChunk(unsigned int id);

    /// Ends a chunk: delivers what waits in the buffer, writes the size field, leaves the stream at the
    /// chunk's end, and writes a pad byte there if the size is odd. May be called again for the same chunk
    /// when it has grown, or after an exception. Needs an open writer.
    ///
    /// If not all could be delivered, as on a full disk, the size field counts what was: of a `data` chunk
    /// the whole frames, see SetFrameBytes. It never counts less than an earlier call for the chunk.
    /// @param chunkStart  what StartChunk returned.
    /// @param chunkEnd  where the chunk's data ends; 0 is the current position.
    void EndChunk(std::uint64_t chunkStart, std::uint64_t chunkEnd);

    /// A checkpoint: brings the headers up to date with what has reached the file. Bytes that wait in the
    /// buffer are not counted; EndChunk and Flush deliver them.
    /// @param sampleCount  frames; used in `ds64` only.
    void EndBlock(std::int64_t sampleCount);

    /// Delivers what waits in the buffer, and removes what blocks that could not be written have left past
    /// the end of a new file. Nothing happens on a closed writer.
    void Flush();

    /// Delivers what waits, brings the headers up to date, and closes; the writer is as new afterwards, also
    /// after an exception. It does not end a chunk that is open. Nothing happens on a closed writer.
    void EndFile(std::int64_t sampleCount);

    /// From now on hands every block to the system at once. Not exported. Nothing happens on a closed writer.
    KELAUDIOFILE_HIDDEN void WriteThrough();

    /// Delivers what waits as Flush does, and brings the file to the device. Not exported. Nothing happens on
    /// a closed writer.
    KELAUDIOFILE_HIDDEN void Sync();

    /// Before the EndChunk of a `data` chunk whose size comes to need `ds64`: brings that header to the
    /// device. Nothing happens for a chunk that is smaller, or that needed it before. Not exported.
    KELAUDIOFILE_HIDDEN void SyncSwitch(std::int64_t inDataSize, std::int64_t sampleCount);

    /// Closes without any work on the headers.
    void Reset();

    /// @return the stream for chunk contents, which counts positions from the file's start; null on a closed
    /// writer.
    kelcore::filesupport::OByteStream* GetByteStream() { return mBufferedStream.get(); }

    /// @return whether the writer is open.
    bool IsInitialized() const { return mPlatformStream && mBufferedStream; }

private:
    void UpdateHeaders(std::int64_t sampleCount);
    void WriteDs64(std::uint64_t inRiffSize, std::int64_t sampleCount);
    KELAUDIOFILE_HIDDEN void PatchSize(std::uint64_t chunkStart, std::uint64_t inSize);
    KELAUDIOFILE_HIDDEN void CountDelivered(std::uint64_t chunkStart, std::uint64_t chunkEnd) noexcept;
    KELAUDIOFILE_HIDDEN void DropPartOfFrame() noexcept;
    void PatchHeader(std::uint64_t inPosition, const void* inBytes, unsigned inCount);

    // Destroyed in the opposite order: the buffer goes first, so that its bytes reach the file.
    std::unique_ptr<kelcore::filesupport::OPlatformByteStream> mPlatformStream;
    std::unique_ptr<kelcore::filesupport::OBufferedByteStream> mBufferedStream;
    std::uint64_t mRiffSizeOffset = 0; ///< where the stream put the RIFF size; 0 in a closed writer
    bool mDs64Reserved = false;
    std::uint32_t mCurrentChunkID = 0;
    std::int64_t mDataChunkSize = 0;
    std::uint64_t mDs64Offset = 0;
    bool mFileIsNew = false;        ///< so that nothing in it is another's
    std::uint64_t mFrameBytes = 1;  ///< of a `data` chunk
    std::uint64_t mCountedSize = 0; ///< what the size field of the chunk started last says
    std::uint64_t mDeliveredEnd =
        0; ///< where its whole frames end, if EndChunk could not deliver all; else 0
};

} // namespace kelaudiofile
