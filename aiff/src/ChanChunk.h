#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bytes/ByteOrder.h"
#include "kelmediatypes/AudioChannelDescription.h"

/// "CHAN", the channel layout.
namespace kelaudiofile::aiff {

/// Parses the layout in "CHAN" data of any size; fields past the end of the data read as 0.
/// @param inNumChannels  the length of the result. A negative one throws std::length_error.
kelmediatypes::ChannelLayout ParseChan(std::span<const bytes::Byte> inData, std::int16_t inNumChannels);

/// Returns the layout of a file without "CHAN".
/// @param inAssumeChannelOrder  whether 3, 4 and 6 channels get their customary order.
/// @param inNumChannels  as for ParseChan.
kelmediatypes::ChannelLayout CustomaryLayout(std::int16_t inNumChannels, bool inAssumeChannelOrder);

/// Returns the size of "CHAN" data with this many descriptions.
std::uint64_t ChanBytes(std::size_t inNumDescriptions);

/// Builds "CHAN" data with one description per entry of the layout.
std::vector<bytes::Byte> BuildChan(const kelmediatypes::ChannelLayout& inLayout);

} // namespace kelaudiofile::aiff
