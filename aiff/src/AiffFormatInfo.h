#pragma once

#include <cstdint>

#include "kelaudiofile/AiffFile.h"
#include "kelcore/string.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// The format of a file that was read or is to be written.
struct AiffFormatInfo {
    std::uint32_t formType = 0;
    std::uint32_t compressionCodeId = 0; ///< 0 if the file has none
    kelcore::UTF8String compressionDescription;
    kelcore::UTF8String compressionCode; ///< compressionCodeId as text
    AiffFile::SampleType sampleType = AiffFile::kBigEndianIntegerSamples;
    std::int16_t numChannels = 0;
    kelmediatypes::ChannelLayout channelLayout;
    std::uint32_t sampleCount = 0; ///< frames
    std::int16_t bitsPerSample = 0;
    double sampleRate = 0; ///< frames per second
};

/// Returns the bytes of one frame; negative if the channel count or the bit depth is negative.
inline std::int32_t FrameBytes(const AiffFormatInfo& inFormat) {
    return inFormat.numChannels * inFormat.bitsPerSample / 8;
}

} // namespace kelaudiofile
