#pragma once

#include <cstdint>

#include "kelaudiofile/WaveFile.h"

namespace kelaudiofile {

/// The format of a file that was read or is to be written, as hosts see it.
struct WaveFormatInfo {
    std::int32_t sampleRate = 0;
    std::int32_t numChannels = 0;
    std::int32_t bytesPerSample = 0;
    std::int32_t bitDepth = 0;
    WaveFile::SampleType sampleType = WaveFile::kNoSampleType;
    AudioCharacteristics record; ///< the `fmt ` chunk, as it was read or requested
    kelmediatypes::ChannelLayout channelLayout;

    /// Copies a record and derives the numbers from it.
    void TakeRecord(const AudioCharacteristics& inRecord) {
        record = inRecord;
        sampleRate = static_cast<std::int32_t>(inRecord.sampleRate);
        numChannels = inRecord.numChannels;
        bytesPerSample = inRecord.bytesPerSample;
        bitDepth = inRecord.bitsPerSample;
    }
};

} // namespace kelaudiofile
