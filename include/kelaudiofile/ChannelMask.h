#pragma once

#include "kelaudiofile/Export.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// Translates the dwChannelMask field of WAVE_FORMAT_EXTENSIBLE into a layout, in the order of the mask's
/// bits.
/// @param mask  bits 18 to 31 are ignored.
/// @param channels  the channel count of the file.
/// @param layout  replaced. The first `channels` positions of the mask, filled up with 0 to `channels`
/// entries. With `channels` below 1 it holds the mask's first position, or nothing if the mask has none.
KELAUDIOFILE_EXPORT void
GetChannelLayoutFromWaveFormatExtensibleChannelMask(unsigned int mask, kelmediatypes::ChannelLayout& layout,
                                                    int channels);

/// Translates a layout into a dwChannelMask.
/// @param layout  one entry per channel.
/// @param mask  the bits of all entries that were found, also when the result is false.
/// @param tableOrder  true: entries must follow the order of the mask's bits, where an entry may repeat; the
/// search ends at the first that does not. false: any order, and entries without a bit are passed over.
/// @return whether every entry has a bit; true for an empty layout.
KELAUDIOFILE_EXPORT bool
GetWaveFormatExtensibleChannelMaskFromChannelLayout(const kelmediatypes::ChannelLayout& layout,
                                                    unsigned int& mask, bool tableOrder);

} // namespace kelaudiofile
