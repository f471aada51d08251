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

TEST(ChannelMask, GivesTheFirstPositionsOfTheMask) {
    const struct {
        unsigned mask;
        int channels;
        ChannelLayout layout;
    } kCases[] = {
        {0x3, 2, {100, 101}},
        {0x3F, 6, {100, 101, 102, 103, 104, 105}},
        {0x3FFFF, 18, kAllPositions},
        {0x140, 2, {107, 106}}, // the order of the bits, not of the values
        {0x3F, 2, {100, 101}},  // more bits than channels
        {0x3, 4, {100, 101, 0, 0}},
        {0, 2, {0, 0}},
        {0x40000, 1, {0}}, // no position above bit 17
        {0xFFFC0000, 3, {0, 0, 0}},
        {0x80020000, 2, {116, 0}},
        {0x6, 0, {101}}, // without channels the first position all the same
        {0x6, -1, {101}},
        {0x20000, -32768, {116}},
        {0, 0, {}},
        {0xFFFC0000, -5, {}},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::Message() << std::hex << row.mask << std::dec << ", " << row.channels);
        EXPECT_EQ(LayoutOf(row.mask, row.channels), row.layout);
    }
    ChannelLayout large = kAllPositions;
    large.resize(32767);
    EXPECT_EQ(LayoutOf(0xFFFFFFFF, 32767), large);
}

TEST(ChannelMask, SearchesALayoutInAnyOrderOrInTheTables) {
    const struct {
        ChannelLayout layout;
        unsigned mask, orderedMask;
        bool found, foundOrdered;
    } kCases[] = {
        {{}, 0, 0, true, true},
        {{100, 101}, 3, 3, true, true},
        {{101, 100}, 3, 2, true, false},
        {{100, 100}, 1, 1, true, true},
        {{100, 134, 101}, 3, 1, false, false},
        {{134, 100}, 1, 0, false, false},
        {{101, 100, 102}, 7, 2, true, false}, // nothing is searched behind a miss
        {{114, 113}, 0x6000, 0x6000, true, true},
        {{113, 114}, 0x6000, 0x4000, true, false},
        {{116, 116}, 0x20000, 0x20000, true, true},
        {{100, 0}, 1, 1, false, false},
        {kAllPositions, 0x3FFFF, 0x3FFFF, true, true},
    };
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
        ASSERT_EQ(layout.size(), static_cast<std::size_t>(std::popcount(mask)));
        unsigned back = 0;
        ASSERT_TRUE(GetWaveFormatExtensibleChannelMaskFromChannelLayout(layout, back, true));
        ASSERT_EQ(back, mask);
    }
}
