#include <gtest/gtest.h>

#include <bit>

#include "kelaudiofile/ChannelMask.h"

using namespace kelaudiofile;
using kelmediatypes::ChannelLayout;

namespace {

ChannelLayout LayoutOf(unsigned inMask, int inChannels) {
    ChannelLayout layout = {1, 2, 3}; // to be replaced
    GetChannelLayoutFromWaveFormatExtensibleChannelMask(inMask, layout, inChannels);
    return layout;
}

const ChannelLayout kAllPositions = {100, 101, 102, 103, 104, 105, 107, 108, 106,
                                     109, 110, 111, 112, 114, 113, 115, 117, 116};

} // namespace

// Fewer positions than channels, more, none, and none at all; no position above bit 17.
TEST(ChannelMask, GivesTheFirstPositionsOfTheMask) {
    // clang-format off
    const struct { unsigned mask; int channels; ChannelLayout layout; } kCases[] = {
        {0x3FFFF, 18, kAllPositions}, {0x3F, 2, {100, 101}}, {0x3, 4, {100, 101, 0, 0}}, {0, 2, {0, 0}},
        {0x80020000, 2, {116, 0}}, {0x6, 0, {101}}, {0x20000, -32768, {116}}, {0, 0, {}}, {0xFFFC0000, -5, {}},
        {0x40000, 1, {0}}, {0xFFFC0000, 3, {0, 0, 0}},
    };
    // clang-format on
    for (const auto& row : kCases)
        EXPECT_EQ(LayoutOf(row.mask, row.channels), row.layout)
            << std::hex << row.mask << ", " << row.channels;
    ChannelLayout large = kAllPositions;
    large.resize(32767);
    EXPECT_EQ(LayoutOf(0xFFFFFFFF, 32767), large);
}

TEST(ChannelMask, SearchesALayoutInAnyOrderOrInTheTables) {
    // clang-format off
    const struct {
        ChannelLayout layout;
        unsigned mask, orderedMask; ///< nothing is searched behind a miss
        bool found, foundOrdered;
    } kCases[] = {
        {{}, 0, 0, true, true}, {{101, 100, 102}, 7, 2, true, false}, {{100, 100}, 1, 1, true, true},
        {{134, 100}, 1, 0, false, false}, {{100, 134, 101}, 3, 1, false, false}, {{100, 0}, 1, 1, false, false},
        {{113, 114}, 0x6000, 0x4000, true, false},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::PrintToString(&row - kCases));
        unsigned mask = 0xFFFFFFFF, orderedMask = 0xFFFFFFFF;
        EXPECT_EQ(GetWaveFormatExtensibleChannelMaskFromChannelLayout(row.layout, mask, false), row.found);
        EXPECT_EQ(GetWaveFormatExtensibleChannelMaskFromChannelLayout(row.layout, orderedMask, true),
                  row.foundOrdered);
        EXPECT_EQ(mask, row.mask);
        EXPECT_EQ(orderedMask, row.orderedMask);
    }
}

TEST(ChannelMask, EveryMaskComesBackFromItsLayout) {
    for (unsigned mask = 0; mask < 1u << 18; ++mask) {
        const ChannelLayout layout = LayoutOf(mask, std::popcount(mask));
        unsigned back = 0;
        ASSERT_TRUE(GetWaveFormatExtensibleChannelMaskFromChannelLayout(layout, back, true));
        ASSERT_EQ(back, mask);
    }
}
