#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "AiffFormatInfo.h"
#include "bytes/ByteOrder.h"
#include "chunks/ChunkTable.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile::aiff {

/// The parts of a file open for reading: its stream, its chunks, and the place of its samples. For a file
/// open for writing, this object is empty and every read fails.
class AiffReading {
public:
    using Error = AiffFile::ExtendedErrorInfo;

    AiffReading();

    /// Opens a file and reads its format. Exceptions pass through; the code then keeps the caller's value if
    /// the file could not be opened, and is kNoError if memory ran out or the channel count is negative.
    /// @return false with a code, and with the values that explain it.
    bool Open(const kelcore::filesupport::File& inFile, bool inAssumeChannelOrder, AiffFormatInfo& outFormat,
              Error& outError);

    /// Like the operations of AiffFile.
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
    /// Returns false after any exception, and without a stream.
    bool ReadAt(std::uint64_t inPosition, void* outBytes, std::int64_t inCount);

    std::unique_ptr<kelcore::filesupport::IPlatformByteStream> mStream;
    chunks::ChunkTable mChunks;
    std::int64_t mSampleDataOffset = 0; ///< 0 without sample data
    std::int64_t mSampleDataSize = 0;   ///< negative if the samples begin past the end of their chunk
};

} // namespace kelaudiofile::aiff
