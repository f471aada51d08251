#include "ChanChunk.h"

#include "AiffFormat.h"
#include "ChannelLabels.h"

namespace kelaudiofile::aiff {

namespace {

using kelmediatypes::ChannelLayout;

std::uint32_t FieldOrZero(std::span<const Byte> inData, std::size_t inOffset) {
    return inOffset + 4 <= inData.size() ? bytes::LoadBig32(&inData[inOffset]) : 0;
}

// A negative number of channels exceeds the size limit of every vector.
ChannelLayout LayoutWithoutPositions(std::int16_t inNumChannels) {
    return ChannelLayout(static_cast<std::size_t>(inNumChannels), kNoPosition);
}

// The file may claim any number of descriptions; no more than one per channel are read.
void TakeDescriptions(std::span<const Byte> inData, ChannelLayout& ioLayout) {
    const std::size_t numDescriptions = FieldOrZero(inData, chan::kNumDescriptions);
    for (std::size_t i = 0; i < ioLayout.size() && i < numDescriptions; ++i)
        ioLayout[i] = ValueOfLabel(FieldOrZero(inData, chan::kDescriptions + chan::kDescriptionBytes * i));
}

void TakeBitmap(std::span<const Byte> inData, ChannelLayout& ioLayout) {
    const std::uint32_t bitmap = FieldOrZero(inData, chan::kBitmap);
    std::size_t channel = 0;
    for (std::uint32_t bit = 0; bit < kNumBitmapLabels && channel < ioLayout.size(); ++bit)
        if ((bitmap >> bit & 1) != 0)
            ioLayout[channel++] = ValueOfLabel(bit + 1);
}

// Channels are only compared: a replacement layer need not support more.
std::uint32_t LabelOf(kelmediatypes::AudioChannelDescription inChannel) {
    for (const auto& row : kChannelLabels)
        if (inChannel == kelmediatypes::AudioChannelDescription(row.value))
            return row.label;
    return kMonoLabel;
}

} // namespace

ChannelLayout ParseChan(std::span<const Byte> inData, std::int16_t inNumChannels) {
    ChannelLayout layout = LayoutWithoutPositions(inNumChannels);
    switch (FieldOrZero(inData, chan::kTag)) {
    case chan::kUseDescriptions:
        TakeDescriptions(inData, layout);
        break;
    case chan::kUseBitmap:
        TakeBitmap(inData, layout);
        break;
    default: // predefined layouts are not interpreted
        break;
    }
    return layout;
}

ChannelLayout CustomaryLayout(std::int16_t inNumChannels, bool inAssumeChannelOrder) {
    if (inNumChannels == 2)
        return {100, 101};
    if (inAssumeChannelOrder) {
        switch (inNumChannels) {
        case 3:
            return {100, 101, 102};
        case 4:
            return {100, 101, 104, 105};
        case 6:
            return {100, 107, 102, 101, 108, 106};
        default:
            break;
        }
    }
    return LayoutWithoutPositions(inNumChannels);
}

std::uint64_t ChanBytes(std::size_t inNumDescriptions) {
    return chan::kDescriptions + chan::kDescriptionBytes * std::uint64_t{inNumDescriptions} +
           chan::kTrailerBytes;
}

std::vector<Byte> BuildChan(const ChannelLayout& inLayout) {
    std::vector<Byte> data(static_cast<std::size_t>(ChanBytes(inLayout.size())));
    bytes::StoreBig32(&data[chan::kTag], chan::kUseDescriptions);
    bytes::StoreBig32(&data[chan::kNumDescriptions], static_cast<std::uint32_t>(inLayout.size()));
    Byte* description = &data[chan::kDescriptions];
    for (const auto channel : inLayout) {
        bytes::StoreBig32(description, LabelOf(channel));
        description += chan::kDescriptionBytes;
    }
    return data;
}

} // namespace kelaudiofile::aiff
