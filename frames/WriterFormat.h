#pragma once

#include <string>

#include "kelaudiofile/AudioWriter.h"

namespace kelaudiofile {

/// Converts a host's format to the form in which a container stores it: the container's byte order
/// and sign, the usual layout for mono and stereo, and no layout if it has no position or the
/// container cannot express it.
AudioFormat FormatAsWritten(Container inContainer, const AudioFormat& inFormat,
                            const WriterOptions& inOptions);

/// Returns the mono or stereo layout, or an empty one for any other number of channels.
kelmediatypes::ChannelLayout UsualLayout(std::int32_t inChannels);

/// Returns the layout to pass to WaveFile for a format of FormatAsWritten. Floats of full scale 32768 are
/// marked in the plain form of the fmt chunk, which WaveFile writes for channels without positions.
kelmediatypes::ChannelLayout LayoutForWave(const AudioFormat& inFormat);

/// Returns why a container cannot hold a format of FormatAsWritten; empty if it can.
std::string ReasonAgainst(Container inContainer, const AudioFormat& inFormat);

} // namespace kelaudiofile
