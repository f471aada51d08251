#include "kelaudiofile/AiffFile.h"

#include <exception>

#include "AiffFileAccess.h"
#include "AiffFileImpl.h"
#include "CommChunk.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

namespace {

using namespace aiff;
using chunks::Attempt;
using kelcore::filesupport::File;

AiffFormatInfo MakeFormat(const WrittenForm& inForm, std::int32_t inSampleRate, std::int32_t inNumChannels,
                          std::int32_t inBitsPerSample, kelmediatypes::ChannelLayout&& inChannelLayout) {
    AiffFormatInfo format;
    format.formType = inForm.formType;
    format.compressionCodeId = inForm.compressionCodeId;
    format.compressionDescription = kelcore::ToUTF8String(inForm.compressionDescription);
    format.compressionCode = kelcore::ToUTF8String(inForm.compressionCode);
    format.sampleType = inForm.sampleType;
    format.numChannels = static_cast<std::int16_t>(inNumChannels);
    format.channelLayout = std::move(inChannelLayout);
    format.bitsPerSample = static_cast<std::int16_t>(inBitsPerSample);
    format.sampleRate = inSampleRate;
    return format;
}

/// @param ioFile  becomes the empty file, open for writing.
bool ReplaceByEmptyFile(File& ioFile) {
    return Attempt<std::exception>([&] {
        if (ioFile.Exists())
            ioFile.Delete();
        ioFile = ioFile.Created();
    });
}

} // namespace

AiffFile* AiffFile::OpenForWrite(const kelcore::UTF8String& inFilePath, std::int32_t inSampleRate,
                                 std::int32_t inNumChannels, std::int32_t inBitsPerSample,
                                 SampleType inSampleType, kelmediatypes::ChannelLayout inChannelLayout,
                                 ExtendedErrorInfo& outError) {
    outError.code = ExtendedErrorInfo::kNoError;
    const WrittenForm* form = FindWrittenForm(inSampleType);
    if (form == nullptr) {
        outError.code = ExtendedErrorInfo::kBadSampleType;
        return nullptr;
    }
    AiffFormatInfo format =
        MakeFormat(*form, inSampleRate, inNumChannels, inBitsPerSample, std::move(inChannelLayout));
    File file(inFilePath, kelcore::filesupport::kPathStorage);
    if (!ReplaceByEmptyFile(file)) {
        outError.code = ExtendedErrorInfo::kOpenForWriteFailed;
        return nullptr;
    }
    std::unique_ptr<AiffFile> result(new AiffFile);
    result->mImpl->format = std::move(format);
    if (!result->mImpl->writing.Start(file, result->mImpl->format)) {
        outError.code = ExtendedErrorInfo::kOpenForWriteFailed;
        return nullptr;
    }
    return result.release();
}

bool AiffFileAccess::WriteThrough(AiffFile& ioFile) {
    return ioFile.mImpl->writing.WriteThrough();
}

void AiffFileAccess::SyncWhenFinished(AiffFile& ioFile) {
    ioFile.mImpl->writing.SyncWhenFinished();
}

bool AiffFile::WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer,
                                ExtendedErrorInfo& outError) {
    outError.code = ExtendedErrorInfo::kNoError;
    AiffWriting& writing = mImpl->writing;
    if (!writing.AcceptsBlock(inOffset, inByteCount, inBuffer))
        outError.code = ExtendedErrorInfo::kWriteRefused;
    else if (!writing.WriteBlock(inOffset, inByteCount, inBuffer))
        outError.code = ExtendedErrorInfo::kWriteFailed;
    return outError.code == ExtendedErrorInfo::kNoError;
}

bool AiffFile::StartMetadatumWrite(std::uint32_t inChunkID) {
    return mImpl->writing.StartMetadatum(inChunkID);
}

bool AiffFile::MetadatumWrite(const void* inBuffer, std::int32_t inByteCount) {
    return mImpl->writing.WriteMetadatum(inBuffer, inByteCount);
}

bool AiffFile::FinishMetadatumWrite() {
    return mImpl->writing.FinishMetadatum();
}

bool AiffFile::FinishWrite(bool inAbandon, ExtendedErrorInfo&) {
    AiffWriting& writing = mImpl->writing;
    if (!inAbandon && writing.IsOpen())
        writing.Complete();
    writing.Close();
    return true;
}

} // namespace kelaudiofile
