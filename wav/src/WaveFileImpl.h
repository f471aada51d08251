#pragma once

#include <cstdint>
#include <optional>

#include "WaveFormatInfo.h"
#include "WaveReading.h"
#include "WaveWriting.h"

namespace kelaudiofile {

/// The hidden part of a WaveFile.
struct KELAUDIOFILE_HIDDEN WaveFile::Impl {
    WaveFormatInfo format;
    WaveReading reading;
    std::optional<WaveWriting> writing; ///< for a file that is or was open for writing

    /// @param outFormatTag  set with kUnknownFormat only.
    /// @return a code of ExtendedErrorInfo. Exceptions of memory and the file pass through.
    std::int32_t OpenForRead(const kelcore::filesupport::File& inNamed,
                             const kelcore::filesupport::File& inOpened, bool inStreamFlag,
                             std::uint32_t& outFormatTag);

    bool StartWriting(const kelcore::filesupport::File& inFile, const AudioCharacteristics& inRecord,
                      SampleType inSampleType, const std::uint8_t* inFormatChunk,
                      std::int32_t inFormatChunkSize, ExtendedErrorInfo& outError, bool inStreamFlag);
};

} // namespace kelaudiofile
