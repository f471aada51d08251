#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kelaudiofile/RiffChunkReader.h"
#include "kelaudiofile/RiffChunkWriter.h"
#include "kelaudiofile/WaveFile.h"
#include "kelaudiofile/WaveFormatChunkReader.h"

namespace kelaudiofile {

/// Where exceptions end. @return whether there was none.
template <typename Function>
bool Succeeds(Function inFunction) noexcept {
    try {
        inFunction();
        return true;
    } catch (...) {
        return false;
    }
}

/// What a WaveFile hides. Reading lives in WaveFileRead.cpp, writing in WaveFileWrite.cpp.
struct KELAUDIOFILE_HIDDEN WaveFile::Impl {
    /// A chunk that was finished without success may be completed now; the chunk writer closes the file.
    ~Impl() {
        Succeeds([this] { MendBrokenChunk(); });
    }

    // Format
    std::int32_t sampleRate = 0;
    std::int32_t numChannels = 0;
    std::int32_t bytesPerSample = 0;
    std::int32_t bitDepth = 0;
    SampleType sampleType = kNoSampleType;
    AudioCharacteristics audioCharacteristics;
    kelmediatypes::ChannelLayout channelLayout;
    bool rf64Format = true;

    // The file
    kelcore::filesupport::File file;
    bool streamFlag = false;

    // Reading
    std::int64_t dataByteCount = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t audioStart = 0;
    std::uint64_t audioEnd = 0;
    std::vector<RiffChunkReader::RiffChunkInfo> dataChunks;
    std::vector<std::int64_t>
        dataChunkEnds; ///< for each `data` chunk, the sample byte offset where its bytes end
    std::vector<RiffChunkReader::RiffChunkInfo> metadataChunks;
    std::unique_ptr<kelcore::filesupport::IPlatformByteStream> readStream;

    void TakeFormat(const AudioCharacteristics& inRecord);
    void TakeChunks(const std::vector<RiffChunkReader::RiffChunkInfo>& inChunks);
    void RefineSampleType();
    void NameAmbisonicChannels();
    bool EnsureReadStream();
    std::unique_ptr<kelcore::filesupport::IPlatformByteStream>
    MakeReadStream(const kelcore::filesupport::File& inFile) const;
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);
    bool IsMetadataIndex(std::int32_t inIndex) const;
    double PositionOf(const RiffChunkReader::RiffChunkInfo& inChunk) const;

    // Writing
    bool writing = false;
    RiffChunkWriter chunkWriter;
    AudioCharacteristics writeCharacteristics;
    std::uint64_t dataChunkHandle = 0; ///< position of the open `data` chunk's header; 0 while none is open
    std::uint64_t metadatumChunkHandle = 0; ///< the same for the open metadata chunk
    std::uint64_t dataChunkStart = 0;    ///< sample byte offset that the `data` chunk's first byte stands for
    std::int64_t nextSampleByte = 0;     ///< where the last block ended
    std::int64_t earlierSampleBytes = 0; ///< in the `data` chunks before the current one
    bool dataChunkEnded = false;         ///< FinishSamples has ended a `data` chunk, and none was begun since
    std::uint64_t brokenChunk = 0;       ///< header of a chunk whose end failed, while its size is wrong
    std::uint64_t brokenChunkEnd = 0;    ///< where its data ends

    bool StartWriting(const kelcore::filesupport::File& inFile, const AudioCharacteristics& inRecord,
                      SampleType inSampleType, const std::uint8_t* inFormatChunk,
                      std::int32_t inFormatChunkSize, ExtendedErrorInfo& outError, bool inStreamFlag);
    bool TakesBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer) const;
    void WriteBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer);
    void StartDataChunk(std::int64_t inOffset);
    void EndDataChunk();
    bool EndForGood(std::uint64_t& ioHandle, std::uint64_t inEnd);
    void MendBrokenChunk();
    std::uint64_t DataChunkBytes() const;
    std::uint64_t EndOfSamples() const;
    bool MayBeRf64() const { return writeCharacteristics.containerKind == kRf64Container; }
    std::int64_t FrameBytes() const;
    std::int64_t FramesWritten() const;

    static constexpr std::uint32_t kRiffContainer = 1, kRf64Container = 2;
};

} // namespace kelaudiofile
