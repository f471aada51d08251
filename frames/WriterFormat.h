#pragma once

#include <string>

#include "kelaudiofile/AudioWriter.h"

namespace kelaudiofile {

/// Brings a host's format to the form in which a container writes it: byte order and sign as the container
/// has them, the usual layout for mono and stereo, and no layout in place of one that has no position or that
/// the container cannot express.
AudioFormat FormatAsWritten(Container inContainer, const AudioFormat& inFormat,
                            const WriterOptions& inOptions);

/// @return the mono or stereo layout, or an empty one for any other number of channels.
kelmediatypes::ChannelLayout UsualLayout(std::int32_t inChannels);

/// @return what WaveFile has to be given as the layout, for a format of FormatAsWritten. Floats of full scale
/// 32768 are marked in the plain form of the fmt chunk, which it makes of channels without positions.
kelmediatypes::ChannelLayout LayoutForWave(const AudioFormat& inFormat);

/// @return why a container cannot hold a format of FormatAsWritten; empty if it can.
std::string ReasonAgainst(Container inContainer, const AudioFormat& inFormat);

} // namespace kelaudiofile
