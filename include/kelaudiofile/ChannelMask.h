#pragma once

#include "kelaudiofile/Export.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// @addtogroup reading_wave
/// @{

/// Converts the dwChannelMask field of WAVE_FORMAT_EXTENSIBLE to a layout, in the order of the mask's bits.
/// @param mask  bits 18 to 31 are ignored.
/// @param channels  the channel count of the file.
/// @param layout  replaced by the first `channels` positions of the mask, padded with 0 to
///        `channels` entries. If `channels` is below 1, it holds the mask's first position, or
///        nothing if the mask has none.
KELAUDIOFILE_EXPORT void
GetChannelLayoutFromWaveFormatExtensibleChannelMask(unsigned int mask, kelmediatypes::ChannelLayout& layout,
                                                    int channels);

/// Converts a layout to a dwChannelMask.
/// @param layout  one entry per channel.
/// @param mask  receives the bits of all entries that were found, even if the result is false.
/// @param tableOrder  true: entries must follow the order of the mask's bits, though an entry may repeat;
///        the search ends at the first one out of order or without a bit. false: any order; entries
///        without a bit are skipped.
/// @return whether every entry was found; true for an empty layout.
KELAUDIOFILE_EXPORT bool
GetWaveFormatExtensibleChannelMaskFromChannelLayout(const kelmediatypes::ChannelLayout& layout,
                                                    unsigned int& mask, bool tableOrder);

/// @}

} // namespace kelaudiofile
