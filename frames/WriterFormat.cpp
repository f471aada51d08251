#include "WriterFormat.h"

#include <algorithm>
#include <cmath>
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
constexpr std::int32_t kMostChannels = 0x7FFF;     // readers take the 16 bits as signed

bool HasPositions(const ChannelLayout& inLayout) {
    return std::any_of(inLayout.begin(), inLayout.end(),
                       [](AudioChannelDescription channel) { return channel != kNoPosition; });
}

std::string ReasonAgainstWave(const AudioFormat& inFormat) {
    const SampleCoding coding = inFormat.samples.coding;
    if (FrameBytes(inFormat) > kLargestWaveFrame)
        return "a frame of a wave file has at most 65,535 bytes";
    const bool usualLayout = inFormat.channels <= 2 && inFormat.layout == UsualLayout(inFormat.channels);
    if (coding == SampleCoding::kFloat_32768 && !usualLayout)
        return "only a mono or stereo wave file can mark floats of full scale 32768";
    if (inFormat.layout.empty())
        return {};
    if (inFormat.layout.front() == kAmbisonicW)
        return coding == SampleCoding::kInteger || coding == SampleCoding::kFloat_1
                   ? std::string()
                   : "an Ambisonic wave file holds integers or floats of full scale 1";
    unsigned mask = 0;
    if (!GetWaveFormatExtensibleChannelMaskFromChannelLayout(inFormat.layout, mask, true))
        return "a wave file cannot express this order of channels; an empty layout leaves it out";
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
    return format;
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
    if (!inFormat.layout.empty() && inFormat.layout.size() != static_cast<std::size_t>(inFormat.channels))
        return "the layout must be empty or have one entry per channel";
    return inContainer == Container::kWave ? ReasonAgainstWave(inFormat) : ReasonAgainstAiff(inFormat);
}

} // namespace kelaudiofile
