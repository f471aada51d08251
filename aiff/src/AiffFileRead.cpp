#include "kelaudiofile/AiffFile.h"

#include <algorithm>
#include <limits>

#include "AiffFileAccess.h"
#include "AiffFileImpl.h"
#include "AiffFormat.h"
#include "ChanChunk.h"
#include "CommChunk.h"

namespace kelaudiofile {

namespace {

using namespace aiff;
using kelcore::filesupport::File;
using kelcore::filesupport::IPlatformByteStream;

constexpr std::int64_t kLargestRead = std::numeric_limits<std::int32_t>::max();

// By subtraction, since a sum of the caller's numbers may not fit.
bool IsReadable(std::int64_t inOffset, std::int64_t inByteCount, const void* inBuffer, std::int64_t inSize) {
    return inOffset >= 0 && inByteCount >= 0 && inByteCount <= kLargestRead && inOffset <= inSize &&
           inByteCount <= inSize - inOffset && (inBuffer != nullptr || inByteCount == 0);
}

bool IsReadableDepth(const AiffFormatInfo& inFormat) {
    const int bits = inFormat.bitsPerSample;
    if (inFormat.sampleType == AiffFile::kFloatSamples)
        return bits == 32;
    return bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

} // namespace

std::unique_ptr<AiffFile> AiffFile::OpenForRead(const kelcore::UTF8String& inFilePath,
                                                bool inAssumeChannelOrder, ExtendedErrorInfo& outError) {
    try {
        const File named(inFilePath, kelcore::filesupport::kPathStorage);
        if (named.Exists())
            return AiffFileAccess::Open(named, inAssumeChannelOrder, outError);
        outError.code = ExtendedErrorInfo::kFileNotFound;
    } catch (...) {
        // The code tells how far the open came: the caller's own before the walk, kNoError after it.
    }
    return nullptr;
}

std::unique_ptr<AiffFile> AiffFileAccess::Open(const File& inFile, bool inAssumeChannelOrder,
                                               AiffFile::ExtendedErrorInfo& outError) {
    std::unique_ptr<AiffFile> file(new AiffFile);
    if (!file->mImpl->OpenForRead(inFile, inAssumeChannelOrder, outError))
        return nullptr;
    return file;
}

bool AiffFile::Impl::OpenForRead(const File& inFile, bool inAssumeChannelOrder, Error& outError) {
    file = inFile;
    fileSize = file.Size();
    readStream = std::make_unique<IPlatformByteStream>(file, kelcore::utility::Flags<unsigned>(0));

    outError.code = WalkChunks(*readStream, file, format.formType, chunks);
    if (outError.code != Error::kNoError)
        return false;
    outError.code = ReadFormat();
    if (outError.code != Error::kNoError)
        return false;
    outError.code = LocateSamples();
    if (outError.code != Error::kNoError)
        return false;
    if (!ApplyCompression(format)) {
        outError.code = Error::kUnknownCompression;
        outError.compressionDescription = format.compressionDescription;
        outError.compressionCode = format.compressionCode;
        return false;
    }
    if (!IsReadableDepth(format)) {
        outError.code = Error::kBadBitDepth;
        outError.bitsPerSample = format.bitsPerSample;
        return false;
    }
    format.channelLayout = ReadChannelLayout(inAssumeChannelOrder);
    return true;
}

std::int32_t AiffFile::Impl::ReadFormat() {
    const AiffChunkInfo* comm = chunks.FindFirst(kCommId);
    if (comm == nullptr || !IsCommSize(format.formType, comm->size))
        return Error::kBadCommChunk;
    std::vector<Byte> data;
    if (!ReadChunkData(*comm, data))
        return Error::kBadCommChunk;
    ParseComm(data, format);
    return Error::kNoError;
}

// A format without frames, channels or bits has no use for samples, and "SSND" may be anything then.
std::int32_t AiffFile::Impl::LocateSamples() {
    if (format.sampleCount == 0 || format.numChannels == 0 || format.bitsPerSample == 0)
        return Error::kNoError;
    const AiffChunkInfo* samples = chunks.FindFirst(kSsndId);
    if (samples == nullptr || samples->size < ssnd::kSamples)
        return Error::kBadSsndChunk;
    const std::int64_t dataStart = samples->offset + chunk::kHeaderBytes;
    Byte fields[ssnd::kSamples];
    if (!ReadAt(dataStart, fields, sizeof fields))
        return Error::kBadSsndChunk;
    const std::int64_t skip = bytes::LoadBig32(fields + ssnd::kOffset);
    sampleDataOffset = dataStart + ssnd::kSamples + skip;
    sampleDataSize = samples->size - skip - ssnd::kSamples;
    LimitSampleCountToData();
    return Error::kNoError;
}

// A header may promise more frames than there are. Negative numbers count as huge ones here: samples that are
// said to begin behind their chunk leave the count as it is, and a frame of negative size takes it to almost
// nothing.
void AiffFile::Impl::LimitSampleCountToData() {
    const std::int64_t frameBytes = FrameBytes(format);
    if (frameBytes == 0)
        return;
    const std::uint64_t framesOnDisk =
        static_cast<std::uint64_t>(sampleDataSize) / static_cast<std::uint64_t>(frameBytes);
    format.sampleCount =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(format.sampleCount, framesOnDisk));
}

kelmediatypes::ChannelLayout AiffFile::Impl::ReadChannelLayout(bool inAssumeChannelOrder) {
    const AiffChunkInfo* layout = chunks.FindFirst(kChanId);
    std::vector<Byte> data;
    if (layout != nullptr && layout->size <= kLargestParsedChunk && ReadChunkData(*layout, data))
        return ParseChan(data, format.numChannels);
    return CustomaryLayout(format.numChannels, inAssumeChannelOrder);
}

bool AiffFile::Impl::ReadChunkData(const AiffChunkInfo& inChunk, std::vector<Byte>& outData) {
    outData.resize(static_cast<std::size_t>(inChunk.size));
    return ReadAt(inChunk.offset + chunk::kHeaderBytes, outData.data(), inChunk.size);
}

bool AiffFile::Impl::ReadAt(std::int64_t inPosition, void* outBytes, std::int64_t inCount) {
    if (!readStream)
        return false;
    try {
        readStream->CurPos(static_cast<std::uint64_t>(inPosition));
        readStream->ReadBlock(outBytes, static_cast<unsigned>(inCount));
        return true;
    } catch (...) {
        return false;
    }
}

bool AiffFile::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    return IsReadable(inOffset, inByteCount, outBuffer, mImpl->sampleDataSize) &&
           mImpl->ReadAt(mImpl->sampleDataOffset + inOffset, outBuffer, inByteCount);
}

bool AiffFile::GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                               double& outPosition) {
    const auto info = mImpl->chunks.FindMetadatum(inIndex);
    if (!info)
        return false;
    outChunkID = info->id;
    outSize = info->size + chunk::kHeaderBytes;
    outPosition = mImpl->PositionAgainstAudio(*info);
    return true;
}

bool AiffFile::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                 void* outBuffer) {
    const auto info = mImpl->chunks.FindMetadatum(inIndex);
    return info && IsReadable(inOffset, inByteCount, outBuffer, info->size + chunk::kHeaderBytes) &&
           mImpl->ReadAt(info->offset + inOffset, outBuffer, inByteCount);
}

// All unsigned, and multiplied before it is divided.
double AiffFile::Impl::PositionAgainstAudio(const AiffChunkInfo& inChunk) const {
    const auto dataStart = static_cast<std::uint64_t>(inChunk.offset) + chunk::kHeaderBytes;
    const auto audioStart = static_cast<std::uint64_t>(sampleDataOffset);
    const auto audioEnd = static_cast<std::uint64_t>(sampleDataOffset + sampleDataSize);
    if (dataStart <= audioStart) {
        return audioStart == 0 ? 1.0 : static_cast<double>(dataStart) * 0.5 / static_cast<double>(fileSize);
    }
    if (dataStart == audioEnd || fileSize == audioEnd)
        return 1.0;
    return static_cast<double>(dataStart - audioEnd) * 0.5 / static_cast<double>(fileSize - audioEnd) + 0.5;
}

} // namespace kelaudiofile
