#include "kelaudiofile/AudioFormat.h"

#include <algorithm>
#include <iterator>

#include "FramesImpl.h"

namespace kelaudiofile {

namespace {

using kelmediatypes::AudioChannelDescription;

struct ChannelRow {
    std::uint32_t value;
    const char* name;
};

constexpr ChannelRow kChannels[] = {
    {0, "no position"},
    {100, "front left"},
    {101, "front right"},
    {102, "front center"},
    {103, "low frequency"},
    {104, "back left"},
    {105, "back right"},
    {106, "back center"},
    {107, "front left of center"},
    {108, "front right of center"},
    {109, "side left"},
    {110, "side right"},
    {111, "top center"},
    {112, "top front left"},
    {113, "top front right"},
    {114, "top front center"},
    {115, "top back left"},
    {116, "top back right"},
    {117, "top back center"},
    {118, "left wide"},
    {119, "right wide"},
    {129, "rear surround left"},
    {130, "rear surround right"},
    {131, "low frequency 2"},
    {132, "left total"},
    {133, "right total"},
    {134, "Ambisonic W"},
    {135, "Ambisonic X"},
    {136, "Ambisonic Y"},
    {137, "Ambisonic Z"},
};

constexpr AudioChannelDescription kNoPosition(0);

constexpr int kMostNamed = 8;
struct LayoutRow {
    std::string_view name;
    int channels;
    std::uint32_t values[kMostNamed];
};

constexpr LayoutRow kLayouts[] = {
    {"mono", 1, {102}},
    {"stereo", 2, {100, 101}},
    {"quad", 4, {100, 101, 104, 105}},
    {"5.1", 6, {100, 101, 102, 103, 104, 105}},
    {"7.1", 8, {100, 101, 102, 103, 104, 105, 109, 110}},
};

} // namespace

bool HasPositions(const kelmediatypes::ChannelLayout& inLayout) {
    return std::any_of(inLayout.begin(), inLayout.end(),
                       [](AudioChannelDescription channel) { return channel != kNoPosition; });
}

std::string ChunkIdText(std::uint32_t inId) {
    std::string text;
    for (int shift = 0; shift < 32; shift += 8) {
        const char character = static_cast<char>(inId >> shift & 0xFF);
        text += character >= ' ' && character <= '~' ? character : '?';
    }
    return text;
}

std::string ChannelName(AudioChannelDescription inChannel) {
    const auto* row =
        std::find_if(std::begin(kChannels), std::end(kChannels), [&](const ChannelRow& channel) {
            return AudioChannelDescription(channel.value) == inChannel;
        });
    return row != std::end(kChannels) ? row->name : "unknown position";
}

kelmediatypes::ChannelLayout MakeLayout(std::string_view inName) {
    kelmediatypes::ChannelLayout layout;
    const auto* row = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                   [&](const LayoutRow& candidate) { return candidate.name == inName; });
    if (row != std::end(kLayouts))
        layout.assign(row->values, row->values + row->channels);
    return layout;
}

} // namespace kelaudiofile
