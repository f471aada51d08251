#include <gtest/gtest.h>

#include "kelaudiofile/ChannelMask.h"

using namespace kelaudiofile;
using kelmediatypes::ChannelLayout;

namespace {

const ChannelLayout kAllPositions = {100, 101, 102, 103, 104, 105, 107, 108, 106,
                                     109, 110, 111, 112, 114, 113, 115, 117, 116};

} // namespace

// clang-format off
TEST(ChannelMask, GivesTheFirstPositionsOfTheMask) {
    const struct { const char* name; unsigned mask; int channels; ChannelLayout layout; } kCases[] = {
        {"all", 0x3FFFF, 18, kAllPositions}, {"more than channels", 0x3F, 2, {100, 101}},
        {"fewer", 0x80020000, 2, {116, 0}}, {"one at least", 0x6, 0, {101}}, {"none", 0xFFFC0000, -5, {}},
        {"none above bit 17", 0xFFFC0000, 2, {0, 0}},
    };
    for (const auto& row : kCases) {
        ChannelLayout layout = {1, 2, 3}; // to be replaced
        GetChannelLayoutFromWaveFormatExtensibleChannelMask(row.mask, layout, row.channels);
        EXPECT_EQ(layout, row.layout) << row.name;
    }
}

TEST(ChannelMask, SearchesALayoutInAnyOrderOrInTheMasks) {
    const struct { ChannelLayout layout; unsigned mask, orderedMask; bool found, foundOrdered; } kCases[] = {
        {{}, 0, 0, true, true}, {kAllPositions, 0x3FFFF, 0x3FFFF, true, true}, {{101, 100, 102}, 7, 2, true, false},
        {{100, 100}, 1, 1, true, true}, {{100, 134, 101}, 3, 1, false, false}, {{100, 0}, 1, 1, false, false},
    };
    for (const auto& row : kCases)
        for (const bool ordered : {false, true}) {
            unsigned mask = 0xFFFFFFFF;
            EXPECT_EQ(GetWaveFormatExtensibleChannelMaskFromChannelLayout(row.layout, mask, ordered),
                      ordered ? row.foundOrdered : row.found) << &row - kCases;
            EXPECT_EQ(mask, ordered ? row.orderedMask : row.mask) << &row - kCases;
        }
}
// clang-format on
