#include <gtest/gtest.h>

#include "kelaudiofile/ChannelMask.h"

using namespace kelaudiofile;
using kelmediatypes::ChannelLayout;

// clang-format off
TEST(ChannelMask, NamesPositionsAndBack) {
    const ChannelLayout all = {100, 101, 102, 103, 104, 105, 107, 108, 106, 109, 110, 111, 112, 114, 113, 115, 117, 116};
    const struct { const char* name; unsigned mask; int channels; ChannelLayout layout; } kLayouts[] = {
        {"all", 0x3FFFF, 18, all}, {"more than channels", 0x3F, 2, {100, 101}}, {"fewer", 0x80020000, 2, {116, 0}},
        {"one at least", 0x6, 0, {101}}, {"none", 0xFFFC0000, -5, {}}, {"none above bit 17", 0xFFFC0000, 2, {0, 0}},
    };
    for (const auto& row : kLayouts) {
        ChannelLayout layout = {1, 2, 3}; // to be replaced
        GetChannelLayoutFromWaveFormatExtensibleChannelMask(row.mask, layout, row.channels);
        EXPECT_EQ(layout, row.layout) << row.name;
    }
    const struct { ChannelLayout layout; bool inOrder; unsigned mask; bool found; } kMasks[] = {
        {{}, true, 0, true}, {all, true, 0x3FFFF, true}, {{101, 100, 102}, false, 7, true}, {{101, 100, 102}, true, 2, false},
        {{100, 100}, true, 1, true}, {{100, 134, 101}, false, 3, false}, {{100, 134, 101}, true, 1, false},
    };
    for (const auto& row : kMasks) {
        unsigned mask = 0xFFFFFFFF;
        EXPECT_EQ(GetWaveFormatExtensibleChannelMaskFromChannelLayout(row.layout, mask, row.inOrder), row.found) << row.mask;
        EXPECT_EQ(mask, row.mask);
    }
}
// clang-format on
