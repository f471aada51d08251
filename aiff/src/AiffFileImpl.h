#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "AiffFormatInfo.h"
#include "AiffReading.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// An object either reads or writes, with the two write streams; a finished one does neither.
struct KELAUDIOFILE_HIDDEN AiffFile::Impl {
    using Error = ExtendedErrorInfo;
    using File = kelcore::filesupport::File;

    AiffFormatInfo format;
    aiff::AiffReading reading;

    File file; ///< open for writing

    std::unique_ptr<kelcore::filesupport::OPlatformByteStream> writeStream;
    std::unique_ptr<kelcore::filesupport::OBufferedByteStream>
        bufferedStream; ///< goes down before writeStream
    std::int64_t sampleBytesWritten = 0;
    /// Where the next chunk or its data go on. It moves once a step is wholly done; the stream's own position
    /// may be left anywhere by a step that failed, and is set anew by the next one.
    std::int64_t writePosition = 0;
    /// Places of chunk headers; 0 where there is no such chunk.
    std::int64_t commChunkPosition = 0;
    std::int64_t ssndChunkPosition = 0;
    std::int64_t metadatumPosition = 0;
    std::uint32_t metadatumID = 0;
    bool syncsWhenFinished = false;

    /// @name Writing
    /// @{
    bool WriteHeader(const File& inFile, AiffFormatInfo&& inFormat, Error& outError);
    void WriteHeaderChunks();
    void WriteChunk(std::uint32_t inId, const std::vector<unsigned char>& inData);
    void WriteOwedMetadatumHeader();
    void WriteOwedSsndHeader();
    void CompleteMetadatum();
    void Complete();
    void CompleteSizes();
    void SyncIfAsked();
    void CountDelivered();
    bool HasSsnd() const;
    std::uint32_t FramesOf(std::int64_t inSampleBytes) const;
    void MoveTo(std::int64_t inPosition);
    void WriteAt(std::int64_t inPosition, const void* inBytes, std::size_t inCount);
    void Append(const void* inBytes, std::size_t inCount);
    void PatchNumber(std::int64_t inPosition, std::uint32_t inValue);
    void CloseWriteStreams() noexcept;
    /// @}
};

} // namespace kelaudiofile
