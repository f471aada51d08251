#pragma once

#include <cstdint>

/// Channel labels of Core Audio, and the corresponding channel description values.
namespace kelaudiofile::aiff {

struct ChannelLabel {
    std::uint32_t label;
    std::uint32_t value;
};

/// Used in both directions. Labels 13 to 18 are not in the order of the values.
inline constexpr ChannelLabel kChannelLabels[] = {
    {1, 100},   // Left
    {2, 101},   // Right
    {3, 102},   // Center
    {4, 103},   // LFEScreen
    {5, 104},   // LeftSurround
    {6, 105},   // RightSurround
    {7, 107},   // LeftCenter
    {8, 108},   // RightCenter
    {9, 106},   // CenterSurround
    {10, 109},  // LeftSurroundDirect
    {11, 110},  // RightSurroundDirect
    {12, 111},  // TopCenterSurround
    {13, 112},  // VerticalHeightLeft
    {14, 114},  // VerticalHeightCenter
    {15, 113},  // VerticalHeightRight
    {16, 115},  // TopBackLeft
    {17, 117},  // TopBackCenter
    {18, 116},  // TopBackRight
    {33, 129},  // RearSurroundLeft
    {34, 130},  // RearSurroundRight
    {35, 118},  // LeftWide
    {36, 119},  // RightWide
    {37, 131},  // LFE2
    {38, 132},  // LeftTotal
    {39, 133},  // RightTotal
    {200, 134}, // Ambisonic_W
    {201, 135}, // Ambisonic_X
    {202, 136}, // Ambisonic_Y
    {203, 137}, // Ambisonic_Z
};

/// Labels that are read but never written.
inline constexpr ChannelLabel kReadOnlyLabels[] = {
    {301, 100}, // HeadphonesLeft
    {302, 101}, // HeadphonesRight
};

inline constexpr std::uint32_t kMonoLabel = 42; // written for a value without a label
inline constexpr std::uint32_t kNoPosition = 0; // read for a label without a value

/// Bit n of a layout's bitmap is label n + 1.
inline constexpr std::uint32_t kNumBitmapLabels = 18;

constexpr std::uint32_t ValueOfLabel(std::uint32_t inLabel) {
    for (const auto& row : kChannelLabels)
        if (row.label == inLabel)
            return row.value;
    for (const auto& row : kReadOnlyLabels)
        if (row.label == inLabel)
            return row.value;
    return kNoPosition;
}

} // namespace kelaudiofile::aiff
