#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "AiffFormatInfo.h"
#include "bytes/ByteOrder.h"
#include "chunks/ChunkTable.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile::aiff {

/// What a file open for reading consists of: its stream, its chunks, and where its samples lie. In a file
/// open for writing, it is empty and every read fails.
class AiffReading {
public:
    using Error = AiffFile::ExtendedErrorInfo;

    AiffReading();

    /// Opens a file and reads its format. What it throws passes; the code is then the caller's own if the
    /// file could not be opened, and kNoError if memory ran out or the channel count is negative.
    /// @return false with a code, and with what that code explains.
    bool Open(const kelcore::filesupport::File& inFile, bool inAssumeChannelOrder, AiffFormatInfo& outFormat,
              Error& outError);

    /// As the operations of AiffFile.
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);
    const chunks::ChunkTable& Chunks() const { return mChunks; }

private:
    std::int32_t ReadFormat(AiffFormatInfo& outFormat);
    bool ReadComm(AiffFormatInfo& outFormat);
    bool LocateSamples(AiffFormatInfo& ioFormat);
    void LimitSampleCountToData(AiffFormatInfo& ioFormat) const;
    kelmediatypes::ChannelLayout ReadChannelLayout(const AiffFormatInfo& inFormat, bool inAssumeChannelOrder);
    bool ReadChunkData(const chunks::ChunkInfo& inChunk, std::vector<bytes::Byte>& outData);
    /// @return false after any exception, and without a stream.
    bool ReadAt(std::uint64_t inPosition, void* outBytes, std::int64_t inCount);

    std::unique_ptr<kelcore::filesupport::IPlatformByteStream> mStream;
    chunks::ChunkTable mChunks;
    std::int64_t mSampleDataOffset = 0; ///< 0 without sample data
    std::int64_t mSampleDataSize = 0;   ///< negative if the samples are said to begin after their chunk
};

} // namespace kelaudiofile::aiff
