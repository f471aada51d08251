#include "WaveFileAccess.h"
#include "WaveFileImpl.h"

namespace kelaudiofile {

using kelcore::filesupport::File;

namespace {

using Error = WaveFile::ExtendedErrorInfo;
using Format = AudioCharacteristics;

bool StartsAmbisonic(const kelmediatypes::ChannelLayout& inLayout) {
    return !inLayout.empty() && inLayout.front() == kelmediatypes::AudioChannelDescription(134);
}

/// Marks a record so that reading recognises the sample type.
bool MarkSampleType(WaveFile::SampleType inSampleType, AudioCharacteristics& ioRecord) {
    const bool ambisonic = StartsAmbisonic(ioRecord.channelLayout);
    switch (inSampleType) {
    case WaveFile::kIntegerSamples:
        ioRecord.formatCategory = ambisonic ? Format::kWaveFormatAmbisonicPCM : Format::kWaveFormatPCM;
        return true;
    case WaveFile::kFloatSamples_1:
        ioRecord.formatCategory = ambisonic ? Format::kWaveFormatAmbisonicFloat : Format::kWaveFormatFloat;
        return true;
    case WaveFile::kFloatSamples_32768:
        ioRecord.formatCategory = Format::kWaveFormatPCM;
        ioRecord.extraFormatBytes = {1, 0};
        return true;
    case WaveFile::kFloatSamples_8388608:
        ioRecord.formatCategory = Format::kWaveFormatPCM;
        ioRecord.bitsPerSample = 24;
        ioRecord.bytesPerSample = 4;
        return true;
    default:
        return false;
    }
}

/// Deletes the old file. `Exists` is also false if the system fails to answer; StartWriting then refuses to
/// overwrite an existing file.
File FreshFile(const kelcore::UTF8String& inFilePath) {
    File file(inFilePath, kelcore::filesupport::kPathStorage);
    if (file.Exists())
        file.Delete();
    return file;
}

} // namespace

WaveFile* WaveFile::OpenForWrite(const kelcore::UTF8String& inFilePath, std::int32_t inSampleRate,
                                 std::int32_t inNumChannels, std::int32_t inBytesPerSample,
                                 std::int32_t inBitDepth, SampleType inSampleType,
                                 const kelmediatypes::ChannelLayout& inChannelLayout, std::uint32_t inFlags,
                                 ExtendedErrorInfo& outError, bool inStreamFlag) {
    outError.code = Error::kNoError;
    AudioCharacteristics record;
    record.status = Format::kChunkReadOK;
    record.sampleRate = static_cast<std::uint32_t>(inSampleRate);
    record.numChannels = inNumChannels;
    record.bytesPerSample = inBytesPerSample;
    record.bitsPerSample = inBitDepth;
    record.channelLayout = inChannelLayout;
    record.containerKind = (inFlags & 1) != 0 ? WaveWriting::kRf64Container : WaveWriting::kRiffContainer;
    if (!MarkSampleType(inSampleType, record)) {
        outError.code = Error::kBadFormat;
        return nullptr;
    }
    record.validBitsPerSample = record.bitsPerSample;

    const File file = FreshFile(inFilePath);
    auto waveFile = std::make_unique<WaveFile>();
    if (!waveFile->mImpl->StartWriting(file, record, inSampleType, nullptr, 0, outError, inStreamFlag))
        return nullptr;
    return waveFile.release();
}

WaveFile* WaveFile::OpenForCompessedWrite(const kelcore::UTF8String& inFilePath,
                                          const std::uint8_t* inFormatChunk, std::int32_t inFormatChunkSize,
                                          std::uint32_t, ExtendedErrorInfo& outError, bool inStreamFlag) {
    const File file = FreshFile(inFilePath);
    auto waveFile = std::make_unique<WaveFile>();
    if (!waveFile->mImpl->StartWriting(file, AudioCharacteristics(), kNoSampleType, inFormatChunk,
                                       inFormatChunkSize, outError, inStreamFlag))
        return nullptr;
    return waveFile.release();
}

bool WaveFile::Impl::StartWriting(const File& inFile, const AudioCharacteristics& inRecord,
                                  SampleType inSampleType, const std::uint8_t* inFormatChunk,
                                  std::int32_t inFormatChunkSize, ExtendedErrorInfo& outError,
                                  bool inStreamFlag) {
    reading.SetFile(inFile, inStreamFlag);
    format.TakeRecord(inRecord);
    format.sampleType = inSampleType;
    writing.emplace(inRecord, inStreamFlag);
    const bool started = writing->Start(inFile, format.record, inFormatChunk, inFormatChunkSize);
    if (!started)
        outError.code = Error::kOpenForWriteFailed;
    return started;
}

bool WaveFileAccess::WriteThrough(WaveFile& ioFile) {
    return ioFile.mImpl->writing && ioFile.mImpl->writing->WriteThrough();
}

void WaveFileAccess::KeepSizesWhole(WaveFile& ioFile) {
    ioFile.mImpl->writing->KeepSizesWhole();
}

bool WaveFile::WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer,
                                ExtendedErrorInfo& outError) {
    outError.code = Error::kNoError;
    auto& writing = mImpl->writing;
    if (!writing || !writing->AcceptsBlock(inOffset, inByteCount, inBuffer))
        outError.code = Error::kWriteRefused;
    else if (!writing->WriteBlock(inOffset, inByteCount, inBuffer))
        outError.code = Error::kWriteFailed;
    return outError.code == Error::kNoError;
}

bool WaveFile::FinishBlock() {
    return mImpl->writing && mImpl->writing->FinishBlock();
}

bool WaveFile::FinishBlockOnDisk() {
    return mImpl->writing && mImpl->writing->FinishBlockOnDisk();
}

bool WaveFile::FinishSamples() {
    return mImpl->writing && mImpl->writing->FinishSamples();
}

bool WaveFile::StartMetadatumWrite(std::uint32_t inChunkID) {
    return mImpl->writing && mImpl->writing->StartMetadatum(inChunkID);
}

bool WaveFile::MetadatumWrite(const std::uint8_t* inBuffer, std::int32_t inByteCount) {
    return mImpl->writing && mImpl->writing->WriteMetadatum(inBuffer, inByteCount);
}

bool WaveFile::FinishMetadatumWrite() {
    return mImpl->writing && mImpl->writing->FinishMetadatum();
}

bool WaveFile::FinishWrite() {
    return mImpl->writing && mImpl->writing->FinishFile();
}

} // namespace kelaudiofile
