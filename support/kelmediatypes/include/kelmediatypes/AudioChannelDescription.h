#pragma once

#include <cstdint>
#include <vector>

#include "kelcore/allocator.h"

/// Channel positions and layouts.
namespace kelmediatypes {

/// @addtogroup support
/// @{

/// Identifies a channel by one number; 0 is a channel without a position.
///
/// 100 to 117 are the positions of a wave file's channel mask, 118 and 119 left and right wide, 129 and 130
/// rear surround left and right, 131 the second low frequency channel, 132 and 133 left and right total, and
/// 134 to 137 Ambisonic W, X, Y and Z.
class AudioChannelDescription {
public:
    /// 0, a channel without a position.
    constexpr AudioChannelDescription() = default;
    /// Accepts any number.
    constexpr AudioChannelDescription(std::uint32_t inValue) : mValue(inValue) {}

    /// Returns the number.
    constexpr std::uint32_t Value() const { return mValue; }

    /// Compares the numbers.
    friend constexpr bool operator==(AudioChannelDescription a, AudioChannelDescription b) {
        return a.mValue == b.mValue;
    }
    /// Compares the numbers.
    friend constexpr bool operator!=(AudioChannelDescription a, AudioChannelDescription b) {
        return a.mValue != b.mValue;
    }

private:
    std::uint32_t mValue = 0;
};
static_assert(sizeof(AudioChannelDescription) == 4);

/// One description per channel, in the order of the file's channels.
using ChannelLayout =
    std::vector<AudioChannelDescription, kelcore::allocator::STLAllocator<AudioChannelDescription>>;

/// Returns the layout of one channel: front center, 102.
inline ChannelLayout CreateMonoChannelLayout() {
    return {102};
}

/// Returns the layout of two channels: front left, 100, and front right, 101.
inline ChannelLayout CreateStereoChannelLayout() {
    return {100, 101};
}

/// @}

} // namespace kelmediatypes
