#include "kelaudiofile/AiffFile.h"

#include "AiffFileAccess.h"
#include "AiffFileImpl.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

AiffFile::AiffFile() : mImpl(std::make_unique<Impl>()) {}

AiffFile::~AiffFile() = default;

std::unique_ptr<AiffFile> AiffFile::OpenForRead(const kelcore::UTF8String& inFilePath,
                                                bool inAssumeChannelOrder, ExtendedErrorInfo& outError) {
    std::unique_ptr<AiffFile> file;
    chunks::Attempt([&] {
        const kelcore::filesupport::File named(inFilePath, kelcore::filesupport::kPathStorage);
        if (named.Exists())
            file = AiffFileAccess::Open(named, inAssumeChannelOrder, outError);
        else
            outError.code = ExtendedErrorInfo::kFileNotFound;
    });
    return file;
}

std::unique_ptr<AiffFile> AiffFileAccess::Open(const kelcore::filesupport::File& inFile,
                                               bool inAssumeChannelOrder,
                                               AiffFile::ExtendedErrorInfo& outError) {
    std::unique_ptr<AiffFile> file(new AiffFile);
    AiffFile::Impl& impl = *file->mImpl;
    if (!impl.reading.Open(inFile, inAssumeChannelOrder, impl.format, outError))
        return nullptr;
    return file;
}

bool AiffFile::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    return mImpl->reading.ReadSampleBytes(inOffset, inByteCount, outBuffer);
}

bool AiffFile::GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                               double& outPosition) {
    return mImpl->reading.Chunks().GetMetadataInfo(inIndex, outChunkID, outSize, outPosition);
}

bool AiffFile::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                 void* outBuffer) {
    return mImpl->reading.ReadMetadataChunk(inIndex, inOffset, inByteCount, outBuffer);
}

std::int64_t AiffFile::GetSampleCount() const {
    return mImpl->format.sampleCount;
}

double AiffFile::GetSampleRate() const {
    return mImpl->format.sampleRate;
}

std::int32_t AiffFile::GetNumChannels() const {
    return mImpl->format.numChannels;
}

std::int32_t AiffFile::GetBytesPerSample() const {
    return mImpl->format.bitsPerSample / 8;
}

AiffFile::SampleType AiffFile::GetSampleType() const {
    return mImpl->format.sampleType;
}

kelmediatypes::ChannelLayout AiffFile::GetAudioChannelLayout() const {
    return mImpl->format.channelLayout;
}

kelcore::UTF8String AiffFile::GetCompressionCode() const {
    return mImpl->format.compressionCode;
}

kelcore::UTF8String AiffFile::GetCompressionDescription() const {
    return mImpl->format.compressionDescription;
}

DeinterleaveFunction GetDeinterleaveFunction(const AiffFile& inFile) {
    const bool isFloat = inFile.GetSampleType() == AiffFile::kFloatSamples;
    switch (inFile.GetBytesPerSample()) {
    case 1:
        return DeInterleave8Bit;
    case 2:
        return DeInterleave16Bit;
    case 3:
        return DeInterleave24Bit;
    case 4:
        return isFloat ? DeInterleave32BitFloat_1 : DeInterleave32Bit;
    case 8:
        return isFloat ? DeInterleave64BitFloat : DeInterleave64Bit;
    default:
        return nullptr;
    }
}

ConversionFunction GetConversionFunction(const AiffFile& inFile) {
    const std::int32_t bytesPerSample = inFile.GetBytesPerSample();
    if (bytesPerSample == 1)
        return ConvertBetweenSigned8BitAudioAndUnsigned;
    if (inFile.GetSampleType() == AiffFile::kLittleEndianIntegerSamples)
        return nullptr;
    switch (bytesPerSample) {
    case 2:
        return Swizzle16Bit;
    case 3:
        return Swizzle24Bit;
    case 4:
        return Swizzle32Bit;
    default:
        return nullptr;
    }
}

SampleFormat GetSampleFormat(const AiffFile& inFile) {
    if (!GetDeinterleaveFunction(inFile))
        return {};
    const std::int32_t bytes = inFile.GetBytesPerSample();
    const AiffFile::SampleType type = inFile.GetSampleType();
    return {bytes >= 4 && type == AiffFile::kFloatSamples ? SampleCoding::kFloat_1 : SampleCoding::kInteger,
            bytes,
            type == AiffFile::kLittleEndianIntegerSamples ? ByteOrder::kLittleEndian : ByteOrder::kBigEndian,
            false};
}

} // namespace kelaudiofile
