#pragma once

#include "SampleLanes.h"
#include "kelaudiofile/Frames.h"

/// Converts frames one channel at a time with the single-channel routines, where tiles do not fit.
namespace kelaudiofile::convert {

/// Returns whether samples of this coding and width exist.
bool HasChannelRoutines(const SampleFormat& inFormat);

/// @param in  the first sample of the channel.
void DecodeChannel(const SampleFormat& inFormat, const Byte* in, float* outPlane, std::size_t inFrames,
                   std::int32_t inChannels);

/// @param inPlane  null writes silence.
void EncodeChannel(const SampleFormat& inFormat, const float* inPlane, Byte* out, std::size_t inFrames,
                   std::int32_t inChannels);

} // namespace kelaudiofile::convert
