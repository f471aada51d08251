#pragma once

#include <cstdint>
#include <optional>

#include "WaveFormatInfo.h"
#include "WaveReading.h"
#include "WaveWriting.h"

namespace kelaudiofile {

/// What a WaveFile hides.
struct KELAUDIOFILE_HIDDEN WaveFile::Impl {
    WaveFormatInfo format;
    WaveReading reading;
    std::optional<WaveWriting> writing; ///< of a file open for writing, or written

    /// @param outFormatTag  set with kUnknownFormat only.
    /// @return a code of ExtendedErrorInfo. What memory and the file throw passes.
    std::int32_t OpenForRead(const kelcore::filesupport::File& inNamed,
                             const kelcore::filesupport::File& inOpened, bool inStreamFlag,
                             std::uint32_t& outFormatTag);

    bool StartWriting(const kelcore::filesupport::File& inFile, const AudioCharacteristics& inRecord,
                      SampleType inSampleType, const std::uint8_t* inFormatChunk,
                      std::int32_t inFormatChunkSize, ExtendedErrorInfo& outError, bool inStreamFlag);
};

} // namespace kelaudiofile
