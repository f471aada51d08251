#include "kelaudiofile/WaveFile.h"

#include "WaveFileImpl.h"

namespace kelaudiofile {

WaveFile::WaveFile() : mImpl(std::make_unique<Impl>()) {}

WaveFile::~WaveFile() = default;

std::int64_t WaveFile::GetSampleCount() const {
    if (mImpl->writing)
        return mImpl->writing->FramesWritten();
    if (mImpl->format.bytesPerSample == 0 || mImpl->format.numChannels == 0)
        return 0;
    return mImpl->reading.SampleBytes() / mImpl->format.bytesPerSample / mImpl->format.numChannels;
}

std::int32_t WaveFile::GetSampleRate() const {
    return mImpl->format.sampleRate;
}
std::int32_t WaveFile::GetNumChannels() const {
    return mImpl->format.numChannels;
}
std::int32_t WaveFile::GetBytesPerSample() const {
    return mImpl->format.bytesPerSample;
}
std::int32_t WaveFile::GetSampleBitDepth() const {
    return mImpl->format.bitDepth;
}
WaveFile::SampleType WaveFile::GetSampleType() const {
    return mImpl->format.sampleType;
}
AudioCharacteristics WaveFile::GetRiffAudioCharacteristics() const {
    return mImpl->format.record;
}

bool WaveFile::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    return mImpl->reading.ReadSampleBytes(inOffset, inByteCount, outBuffer);
}

bool WaveFile::GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                               double& outPosition) {
    return mImpl->reading.Chunks().GetMetadataInfo(inIndex, outChunkID, outSize, outPosition);
}

bool WaveFile::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                 void* outBuffer) {
    return mImpl->reading.ReadMetadataChunk(inIndex, inOffset, inByteCount, outBuffer);
}

bool WaveFile::IsRecoveredTruncatedFile() const {
    return mImpl->reading.IsRecoveredTruncatedFile();
}

/// Ignores the magic: only samples in several chunks rule RF64 out.
bool WaveFile::IsRf64Format() const {
    return mImpl->reading.NumDataChunks() <= 1;
}

bool WaveFile::Suspend() {
    mImpl->reading.Suspend();
    return true;
}

kelmediatypes::ChannelLayout WaveFile::GetChannelLayout() const {
    if (!mImpl->format.channelLayout.empty())
        return mImpl->format.channelLayout;
    switch (mImpl->format.numChannels) {
    case 1:
        return kelmediatypes::CreateMonoChannelLayout();
    case 2:
        return kelmediatypes::CreateStereoChannelLayout();
    default:
        return {};
    }
}

DeinterleaveFunction GetDeinterleaveFunction(const WaveFile& inWaveFile) {
    const WaveFormatInfo& format = inWaveFile.mImpl->format;
    const bool isInteger = format.sampleType == WaveFile::kIntegerSamples;
    switch (format.bytesPerSample) {
    case 1:
        return format.bitDepth == 8 ? DeInterleave8Bit : nullptr;
    case 2:
        return format.bitDepth == 16 ? DeInterleave16Bit : nullptr;
    case 3:
        return format.bitDepth == 24 ? DeInterleave24Bit : nullptr;
    case 4:
        switch (format.sampleType) {
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
