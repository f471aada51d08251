#pragma once

#include <cstdint>

#include "WaveFormatInfo.h"
#include "WaveReading.h"
#include "chunks/Attempt.h"
#include "kelaudiofile/RiffChunkWriter.h"

namespace kelaudiofile {

/// What a WaveFile hides.
struct KELAUDIOFILE_HIDDEN WaveFile::Impl {
    /// A chunk that was finished without success may be completed now; the chunk writer closes the file.
    ~Impl() {
        chunks::Attempt([this] { MendBrokenChunk(); });
    }

    WaveFormatInfo format;
    WaveReading reading;

    /// @return a code of ExtendedErrorInfo. What memory and the file throw passes.
    std::int32_t OpenForRead(const kelcore::filesupport::File& inNamed,
                             const kelcore::filesupport::File& inOpened, bool inStreamFlag);

    // Writing
    bool writing = false;
    bool streamFlag = false;
    RiffChunkWriter chunkWriter;
    AudioCharacteristics writeCharacteristics;
    std::uint64_t dataChunkHandle = 0; ///< position of the open `data` chunk's header; 0 while none is open
    std::uint64_t metadatumChunkHandle = 0; ///< the same for the open metadata chunk
    std::uint64_t dataChunkStart = 0;    ///< sample byte offset that the `data` chunk's first byte stands for
    std::int64_t nextSampleByte = 0;     ///< where the last block ended
    std::int64_t earlierSampleBytes = 0; ///< in the `data` chunks before the current one
    bool keepsSizesWhole = false;        ///< no size of a `data` chunk lies across two sectors
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
