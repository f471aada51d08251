#include "kelaudiofile/ChannelMask.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelaudiofile {

using kelmediatypes::AudioChannelDescription;
using kelmediatypes::ChannelLayout;

namespace {

// In the order of the mask's bits, which is not the order of the values: 106 comes after 108; 113 and 114 are
// swapped, and so are 116 and 117.
constexpr std::array<AudioChannelDescription, 18> kWaveFormatExtensibleChannelLabels = {
    100, // front left
    101, // front right
    102, // front center
    103, // low frequency
    104, // back left
    105, // back right
    107, // front left of center
    108, // front right of center
    106, // back center
    109, // side left
    110, // side right
    111, // top center
    112, // top front left
    114, // top front center
    113, // top front right
    115, // top back left
    117, // top back center
    116, // top back right
};

} // namespace

void GetChannelLayoutFromWaveFormatExtensibleChannelMask(unsigned int mask, ChannelLayout& layout,
                                                         int channels) {
    const std::size_t wanted = static_cast<std::size_t>(std::max(channels, 0));
    layout.clear();
    for (std::size_t bit = 0; bit < kWaveFormatExtensibleChannelLabels.size(); ++bit) {
        if ((mask >> bit & 1) == 0)
            continue;
        layout.push_back(kWaveFormatExtensibleChannelLabels[bit]);
        if (layout.size() >= wanted)
            return;
    }
    layout.resize(std::max(layout.size(), wanted));
}

bool GetWaveFormatExtensibleChannelMaskFromChannelLayout(const ChannelLayout& layout, unsigned int& mask,
                                                         bool tableOrder) {
    const auto first = kWaveFormatExtensibleChannelLabels.begin(),
               last = kWaveFormatExtensibleChannelLabels.end();
    mask = 0;
    std::size_t hits = 0;
    auto searchStart = first;
    for (const AudioChannelDescription channel : layout) {
        const auto hit = std::find(searchStart, last, channel);
        if (hit != last) {
            mask |= 1u << (hit - first);
            ++hits;
        }
        if (tableOrder)
            searchStart = hit;
    }
    return hits == layout.size();
}

} // namespace kelaudiofile
