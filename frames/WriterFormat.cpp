#include "WriterFormat.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "FramesImpl.h"
#include "kelaudiofile/ChannelMask.h"

namespace kelaudiofile {

namespace {

using kelmediatypes::AudioChannelDescription;
using kelmediatypes::ChannelLayout;

constexpr AudioChannelDescription kNoPosition(0);
constexpr AudioChannelDescription kAmbisonicW(134);
constexpr std::int64_t kLargestWaveFrame = 0xFFFF; // bytes: the block align field has 16 bits
constexpr std::int32_t kMostChannels = 0x7FFF;     // readers interpret the 16 bits as signed

/// Returns the layout without trailing channels that have no position.
ChannelLayout Positions(const ChannelLayout& inLayout) {
    ChannelLayout positions = inLayout;
    while (!positions.empty() && positions.back() == kNoPosition)
        positions.pop_back();
    return positions;
}

/// Returns the positions that readers assign to this many channels of an Ambisonic wave file.
ChannelLayout AmbisonicLayout(std::size_t inChannels) {
    const AudioChannelDescription names[] = {kAmbisonicW, 135, 136, 137};
    ChannelLayout layout(inChannels, kNoPosition);
    std::copy_n(names, inChannels == 5 ? 3 : std::min(inChannels, std::size(names)), layout.begin());
    return layout;
}

/// A mask assigns positions to the first channels, in its own order.
bool IsExpressibleInWave(const AudioFormat& inFormat) {
    const ChannelLayout& layout = inFormat.layout;
    if (layout.front() == kAmbisonicW)
        return layout == AmbisonicLayout(layout.size()) &&
               inFormat.samples.coding != SampleCoding::kFloat_8388608;
    const ChannelLayout positions = Positions(layout);
    const bool looksComplete = positions == UsualLayout(1) ||
                               positions == UsualLayout(2); // these get a plain fmt chunk without a mask
    unsigned mask = 0;
    return (positions == layout || !looksComplete) &&
           GetWaveFormatExtensibleChannelMaskFromChannelLayout(positions, mask, true);
}

bool HasOneEntryPerChannel(const AudioFormat& inFormat) {
    return inFormat.layout.size() == static_cast<std::size_t>(inFormat.channels);
}

std::string ReasonAgainstWave(const AudioFormat& inFormat) {
    if (FrameBytes(inFormat) > kLargestWaveFrame)
        return "a frame of a wave file has at most 65,535 bytes";
    if (inFormat.samples.coding == SampleCoding::kFloat_32768 &&
        inFormat.layout != UsualLayout(inFormat.channels))
        return "a wave file of floats of full scale 32768 has the usual layout of mono or stereo, or none";
    return {};
}

std::string ReasonAgainstAiff(const AudioFormat& inFormat) {
    const SampleFormat& samples = inFormat.samples;
    const bool integers = samples.coding == SampleCoding::kInteger && samples.bytesPerSample <= 4;
    const bool floats = samples.coding == SampleCoding::kFloat_1 && samples.bytesPerSample == 4;
    if (!integers && !floats)
        return "an AIFF file holds integers of 1 to 4 bytes or 4-byte floats of full scale 1";
    return {};
}

} // namespace

ChannelLayout UsualLayout(std::int32_t inChannels) {
    if (inChannels == 1)
        return kelmediatypes::CreateMonoChannelLayout();
    return inChannels == 2 ? kelmediatypes::CreateStereoChannelLayout() : ChannelLayout();
}

AudioFormat FormatAsWritten(Container inContainer, const AudioFormat& inFormat,
                            const WriterOptions& inOptions) {
    AudioFormat format = inFormat;
    const bool isWave = inContainer == Container::kWave;
    const bool isInteger = format.samples.coding == SampleCoding::kInteger;
    const bool isLittle = isWave || (inOptions.littleEndianAiff && isInteger);
    format.samples.byteOrder = isLittle ? ByteOrder::kLittleEndian : ByteOrder::kBigEndian;
    format.samples.isUnsigned = isWave && isInteger && format.samples.bytesPerSample == 1;
    if (!HasPositions(format.layout))
        format.layout = UsualLayout(format.channels);
    else if (isWave && format.samples.coding != SampleCoding::kFloat_32768 && HasOneEntryPerChannel(format) &&
             !IsExpressibleInWave(format))
        format.layout.clear();
    return format;
}

ChannelLayout LayoutForWave(const AudioFormat& inFormat) {
    if (inFormat.samples.coding == SampleCoding::kFloat_32768 && inFormat.layout.empty())
        return ChannelLayout(static_cast<std::size_t>(inFormat.channels), kNoPosition);
    return Positions(inFormat.layout);
}

std::string ReasonAgainst(Container inContainer, const AudioFormat& inFormat) {
    if (!(inFormat.sampleRate >= 1 && inFormat.sampleRate <= std::numeric_limits<std::int32_t>::max()) ||
        inFormat.sampleRate != std::floor(inFormat.sampleRate))
        return "the sample rate must be a whole number from 1 to 2,147,483,647";
    if (inFormat.channels < 1)
        return "there must be at least one channel";
    if (inFormat.channels > kMostChannels)
        return "a file has at most 32,767 channels";
    if (!IsSupported(inFormat.samples))
        return "there are no samples of this coding and width";
    if (!inFormat.layout.empty() && !HasOneEntryPerChannel(inFormat))
        return "the layout must be empty or have one entry per channel";
    return inContainer == Container::kWave ? ReasonAgainstWave(inFormat) : ReasonAgainstAiff(inFormat);
}

} // namespace kelaudiofile
