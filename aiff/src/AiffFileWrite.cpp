#include "kelaudiofile/AiffFile.h"

#include <stdexcept>

#include "AiffFileAccess.h"
#include "AiffFileImpl.h"
#include "AiffFormat.h"
#include "ChanChunk.h"
#include "CommChunk.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

namespace {

using namespace aiff;
using chunks::Attempt;
using kelcore::filesupport::File;
using kelcore::filesupport::OBufferedByteStream;
using kelcore::filesupport::OPlatformByteStream;

constexpr unsigned kBufferBytes = 32768;
constexpr unsigned kBufferAlignment = 4096;

// The FORM size, which counts the last pad byte, is the first of the 32-bit fields to be full.
constexpr bool FitsForm(std::int64_t inEnd) {
    return PaddedEnd(inEnd) - form::kUncountedBytes <= form::kLargestSize;
}

// So no chunk needs a limit of its own: the largest one that fits says its size with room to spare.
constexpr std::int64_t kFirstMetadatum =
    form::kBytes + 2 * chunk::kHeaderBytes + comm::kAiffBytes + chan::kDescriptions + chan::kTrailerBytes;
constexpr std::int64_t kLargestMetadatumBytes = 0xFFFFFFF7;
static_assert(!FitsForm(kFirstMetadatum + chunk::kHeaderBytes + kLargestMetadatumBytes));

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

bool IsBlock(const void* inBytes, std::int32_t inByteCount) {
    return inByteCount == 0 || (inByteCount > 0 && inBytes != nullptr);
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
    if (!result->mImpl->WriteHeader(file, std::move(format), outError))
        return nullptr;
    return result.release();
}

bool AiffFile::Impl::WriteHeader(const File& inFile, AiffFormatInfo&& inFormat, Error& outError) {
    format = std::move(inFormat);
    outError.code = Error::kNoError;
    sampleBytesWritten = 0;
    ssndChunkPosition = 0;
    const bool written = Attempt<std::exception>([&] {
        file = inFile;
        writeStream = std::make_unique<OPlatformByteStream>(file, kelcore::utility::Flags<unsigned>(0));
        bufferedStream = std::make_unique<OBufferedByteStream>(*writeStream, kBufferBytes, kBufferAlignment);
        WriteHeaderChunks();
        bufferedStream->Flush();
    });
    if (!written) {
        CloseWriteStreams();
        outError.code = Error::kOpenForWriteFailed;
    }
    return written;
}

void AiffFile::Impl::WriteHeaderChunks() {
    Byte header[form::kBytes] = {};
    StoreId(header, kFormId);
    StoreId(header + form::kType, format.formType);
    Append(header, sizeof header);
    if (format.formType == kAifcType) {
        std::vector<Byte> version(fver::kBytes);
        bytes::StoreBig32(version.data(), fver::kVersion1);
        WriteChunk(kFverId, version);
    }
    commChunkPosition = writePosition;
    WriteChunk(kCommId, BuildComm(format));
    if (ChanBytes(format.channelLayout.size()) > form::kLargestSize)
        throw std::length_error("the channel layout is too long for an AIFF file");
    WriteChunk(kChanId, BuildChan(format.channelLayout));
}

// For chunks of an even size.
void AiffFile::Impl::WriteChunk(std::uint32_t inId, const std::vector<Byte>& inData) {
    Byte header[chunk::kHeaderBytes];
    StoreId(header + chunk::kId, inId);
    bytes::StoreBig32(header + chunk::kSize, static_cast<std::uint32_t>(inData.size()));
    Append(header, sizeof header);
    Append(inData.data(), inData.size());
}

bool AiffFileAccess::WriteThrough(AiffFile& ioFile) {
    AiffFile::Impl& impl = *ioFile.mImpl;
    return impl.bufferedStream && Attempt([&] { impl.bufferedStream->StopGathering(); });
}

void AiffFileAccess::SyncWhenFinished(AiffFile& ioFile) {
    ioFile.mImpl->syncsWhenFinished = true;
}

bool AiffFile::WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer,
                                ExtendedErrorInfo& outError) {
    outError.code = ExtendedErrorInfo::kNoError;
    Impl& impl = *mImpl;
    if (!impl.bufferedStream || inOffset != impl.sampleBytesWritten || !IsBlock(inBuffer, inByteCount)) {
        outError.code = ExtendedErrorInfo::kWriteRefused;
        return false;
    }
    const std::int64_t ssndPosition =
        impl.ssndChunkPosition != 0 ? impl.ssndChunkPosition : impl.writePosition;
    const std::int64_t target = ssndPosition + chunk::kHeaderBytes + ssnd::kSamples + inOffset;
    const bool written = FitsForm(target + inByteCount) && Attempt([&] {
                             impl.ssndChunkPosition = ssndPosition;
                             impl.WriteOwedSsndHeader();
                             impl.WriteAt(target, inBuffer, static_cast<std::size_t>(inByteCount));
                         });
    if (!written) {
        outError.code = ExtendedErrorInfo::kWriteFailed;
        return false;
    }
    impl.sampleBytesWritten += inByteCount;
    return true;
}

bool AiffFile::StartMetadatumWrite(std::uint32_t inChunkID) {
    Impl& impl = *mImpl;
    if (impl.metadatumPosition != 0 || impl.ssndChunkPosition != 0 || !impl.bufferedStream)
        return false;
    impl.metadatumPosition = impl.writePosition;
    impl.metadatumID = inChunkID;
    return Attempt([&] { impl.WriteOwedMetadatumHeader(); });
}

bool AiffFile::MetadatumWrite(const void* inBuffer, std::int32_t inByteCount) {
    Impl& impl = *mImpl;
    if (!impl.bufferedStream || impl.metadatumPosition == 0 || !IsBlock(inBuffer, inByteCount))
        return false;
    return Attempt([&] {
        impl.WriteOwedMetadatumHeader();
        impl.Append(inBuffer, static_cast<std::size_t>(inByteCount));
    });
}

bool AiffFile::FinishMetadatumWrite() {
    Impl& impl = *mImpl;
    if (!impl.bufferedStream || impl.metadatumPosition == 0)
        return false;
    return Attempt([&] {
        impl.WriteOwedMetadatumHeader();
        impl.CompleteMetadatum();
    });
}

// A chunk whose header could not be written at its start is open and owes it; the next step of the chunk
// pays.
void AiffFile::Impl::WriteOwedMetadatumHeader() {
    if (writePosition != metadatumPosition)
        return;
    Byte header[chunk::kHeaderBytes] = {};
    StoreId(header + chunk::kId, metadatumID);
    Append(header, sizeof header);
}

void AiffFile::Impl::WriteOwedSsndHeader() {
    if (HasSsnd())
        return;
    Byte header[chunk::kHeaderBytes + ssnd::kSamples] = {};
    StoreId(header + chunk::kId, kSsndId);
    Append(header, sizeof header);
}

bool AiffFile::Impl::HasSsnd() const {
    return ssndChunkPosition != 0 && writePosition != ssndChunkPosition;
}

void AiffFile::Impl::MoveTo(std::int64_t inPosition) {
    const auto position = static_cast<std::uint64_t>(inPosition);
    if (bufferedStream->CurPos() != position)
        bufferedStream->CurPos(position);
}

void AiffFile::Impl::WriteAt(std::int64_t inPosition, const void* inBytes, std::size_t inCount) {
    const std::int64_t end = inPosition + static_cast<std::int64_t>(inCount);
    if (!FitsForm(end))
        throw std::length_error("an AIFF file holds no more than 4 GiB");
    MoveTo(inPosition);
    bufferedStream->WriteBlock(inBytes, static_cast<unsigned>(inCount));
    writePosition = end;
}

void AiffFile::Impl::Append(const void* inBytes, std::size_t inCount) {
    WriteAt(writePosition, inBytes, inCount);
}

void AiffFile::Impl::PatchNumber(std::int64_t inPosition, std::uint32_t inValue) {
    Byte number[4];
    bytes::StoreBig32(number, inValue);
    MoveTo(inPosition);
    bufferedStream->WriteBlock(number, sizeof number);
}

} // namespace kelaudiofile
