#include "kelaudiofile/WaveFile.h"

#include "WaveFileImpl.h"

namespace kelaudiofile {

WaveFile::WaveFile() : mImpl(std::make_unique<Impl>()) {}

WaveFile::~WaveFile() = default;

std::int64_t WaveFile::GetSampleCount() const {
    if (mImpl->writing)
        return mImpl->FramesWritten();
    if (mImpl->bytesPerSample == 0 || mImpl->numChannels == 0)
        return 0;
    return mImpl->dataByteCount / mImpl->bytesPerSample / mImpl->numChannels;
}

std::int32_t WaveFile::GetSampleRate() const {
    return mImpl->sampleRate;
}
std::int32_t WaveFile::GetNumChannels() const {
    return mImpl->numChannels;
}
std::int32_t WaveFile::GetBytesPerSample() const {
    return mImpl->bytesPerSample;
}
std::int32_t WaveFile::GetSampleBitDepth() const {
    return mImpl->bitDepth;
}
WaveFile::SampleType WaveFile::GetSampleType() const {
    return mImpl->sampleType;
}
AudioCharacteristics WaveFile::GetRiffAudioCharacteristics() const {
    return mImpl->audioCharacteristics;
}

kelmediatypes::ChannelLayout WaveFile::GetChannelLayout() const {
    if (!mImpl->channelLayout.empty())
        return mImpl->channelLayout;
    switch (mImpl->numChannels) {
    case 1:
        return kelmediatypes::CreateMonoChannelLayout();
    case 2:
        return kelmediatypes::CreateStereoChannelLayout();
    default:
        return {};
    }
}

DeinterleaveFunction GetDeinterleaveFunction(const WaveFile& inWaveFile) {
    const WaveFile::Impl& impl = *inWaveFile.mImpl;
    const bool isInteger = impl.sampleType == WaveFile::kIntegerSamples;
    switch (impl.bytesPerSample) {
    case 1:
        return impl.bitDepth == 8 ? DeInterleave8Bit : nullptr;
    case 2:
        return impl.bitDepth == 16 ? DeInterleave16Bit : nullptr;
    case 3:
        return impl.bitDepth == 24 ? DeInterleave24Bit : nullptr;
    case 4:
        switch (impl.sampleType) {
        case WaveFile::kIntegerSamples:
            return DeInterleave32Bit;
        case WaveFile::kFloatSamples_32768:
            return DeInterleave32BitFloat_32768;
        case WaveFile::kFloatSamples_8388608:
            return DeInterleave32BitFloat_8388608;
        default:
            return DeInterleave32BitFloat_1;
        }
    case 8:
        return isInteger ? DeInterleave64Bit : DeInterleave64BitFloat;
    default:
        return nullptr;
    }
}

SampleFormat GetSampleFormat(const WaveFile& inWaveFile) {
    if (!GetDeinterleaveFunction(inWaveFile))
        return {};
    const std::int32_t bytes = inWaveFile.GetBytesPerSample();
    const auto format = [bytes](SampleCoding inCoding) {
        return SampleFormat{inCoding, bytes, ByteOrder::kLittleEndian, bytes == 1};
    };
    const WaveFile::SampleType type = inWaveFile.GetSampleType();
    if (bytes < 4 || type == WaveFile::kIntegerSamples)
        return format(SampleCoding::kInteger);
    if (bytes == 4 && type == WaveFile::kFloatSamples_32768)
        return format(SampleCoding::kFloat_32768);
    if (bytes == 4 && type == WaveFile::kFloatSamples_8388608)
        return format(SampleCoding::kFloat_8388608);
    return format(SampleCoding::kFloat_1);
}

} // namespace kelaudiofile
