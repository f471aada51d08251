#include <algorithm>
#include <array>
#include <iterator>

#include "RiffFormat.h"
#include "WaveFileAccess.h"
#include "WaveFileImpl.h"
#include "kelcore/logging.h"

namespace kelaudiofile {

using kelcore::filesupport::File;
using kelcore::filesupport::file_exception;
using kelcore::filesupport::IPlatformByteStream;
using kelmediatypes::ChannelLayout;

namespace {

using Error = WaveFile::ExtendedErrorInfo;
using Format = AudioCharacteristics;
using ChunkInfo = RiffChunkReader::RiffChunkInfo;

constexpr std::int64_t kLargestPiece = std::int64_t{1} << 31; // ReadBlock counts in 32 bits

Error::Code CodeOfScan(RiffChunkReader::ExtendedError inError) {
    switch (inError) {
    case RiffChunkReader::kExtendedErrorNone:
        return Error::kNoError;
    case RiffChunkReader::kExtendedErrorNotRiff:
        return Error::kNotWaveFile;
    default:
        return Error::kChunkScanFailed;
    }
}

Error::Code CodeOfStatus(Format::ChunkReadStatus inStatus) {
    switch (inStatus) {
    case Format::kChunkReadOK:
        return Error::kNoError;
    case Format::kChunkNotFound:
        return Error::kNoFormatChunk;
    case Format::kChunkTooLarge:
        return Error::kFormatChunkTooLarge;
    default:
        return Error::kBadFormat;
    }
}

Error::Code CodeOfCategory(Format::WaveFormatCategory inCategory) {
    switch (inCategory) {
    case Format::kWaveFormatPCM:
    case Format::kWaveFormatFloat:
    case Format::kWaveFormatAmbisonicPCM:
    case Format::kWaveFormatAmbisonicFloat:
        return Error::kNoError;
    case Format::kWaveFormatADPCM:
        return Error::kAdpcmFormat;
    case Format::kWaveFormatIMAADPCM:
        return Error::kImaAdpcmFormat;
    case Format::kWaveFormatALaw:
        return Error::kALawFormat;
    case Format::kWaveFormatMuLaw:
        return Error::kMuLawFormat;
    case Format::kWaveFormatGSM610:
        return Error::kGsm610Format;
    default:
        return Error::kUnknownFormat;
    }
}

bool IsMetadata(const ChunkInfo& inChunk) {
    constexpr std::array kNotMetadata = {riff::kJunqId, riff::kFormatId, riff::kDs64Id,
                                         riff::kJunkId, riff::kFillerId, riff::kDataId};
    return std::find(kNotMetadata.begin(), kNotMetadata.end(), inChunk.chunkID) == kNotMetadata.end();
}

std::uint64_t EndOf(const ChunkInfo& inChunk) {
    return inChunk.dataOffset + static_cast<std::uint64_t>(inChunk.chunkSize);
}

} // namespace

WaveFile* WaveFile::OpenForRead(const kelcore::UTF8String& inFilePath, ExtendedErrorInfo& outError,
                                bool inStreamFlag) {
    outError = {};
    const File named(inFilePath, kelcore::filesupport::kPathStorage);
    if (!named.Exists()) {
        outError.code = Error::kFileNotFound;
        return nullptr;
    }
    File opened;
    if (!Succeeds([&] { opened = named.Opened(); })) {
        outError.code = Error::kChunkScanFailed;
        return nullptr;
    }
    return WaveFileAccess::Open(named, opened, outError, inStreamFlag).release();
}

std::unique_ptr<WaveFile> WaveFileAccess::Open(const File& inNamed, const File& inOpened, Error& outError,
                                               bool inStreamFlag) {
    const RiffChunkReader chunkReader(inOpened, inStreamFlag);
    const RiffChunkReader::RiffFileInfo& fileInfo = chunkReader.GetFileInfo();
    outError.code = CodeOfScan(chunkReader.GetExtendedError());
    if (outError.code == Error::kNoError && fileInfo.formType != GetWaveFileFormatIdentifier())
        outError.code = Error::kNotWaveFile;
    if (outError.code != Error::kNoError)
        return nullptr;

    const WaveFormatChunkReader formatReader(inOpened, fileInfo, inStreamFlag);
    const AudioCharacteristics& format = formatReader.GetAudioCharacteristics();
    outError.code = CodeOfStatus(format.status);
    if (outError.code != Error::kNoError)
        return nullptr;
    outError.code = CodeOfCategory(format.formatCategory);
    if (outError.code == Error::kUnknownFormat)
        outError.formatTag = format.formatTag;
    if (outError.code != Error::kNoError)
        return nullptr;

    auto waveFile = std::make_unique<WaveFile>();
    WaveFile::Impl& impl = *waveFile->mImpl;
    impl.file = inNamed;
    impl.streamFlag = inStreamFlag;
    impl.TakeFormat(format);
    impl.TakeChunks(fileInfo.chunks);
    impl.fileSize = inOpened.Size();
    impl.readStream = impl.MakeReadStream(inOpened);
    impl.RefineSampleType();
    if (impl.bytesPerSample == 0)
        impl.bytesPerSample = impl.bitDepth / 8;
    impl.rf64Format = impl.dataChunks.size() <= 1;
    impl.NameAmbisonicChannels();
    return waveFile;
}

void WaveFile::Impl::TakeFormat(const AudioCharacteristics& inRecord) {
    audioCharacteristics = inRecord;
    sampleRate = static_cast<std::int32_t>(inRecord.sampleRate);
    numChannels = inRecord.numChannels;
    bytesPerSample = inRecord.bytesPerSample;
    bitDepth = inRecord.bitsPerSample;
    channelLayout = inRecord.channelLayout;
    const bool isFloat = inRecord.formatCategory == Format::kWaveFormatFloat ||
                         inRecord.formatCategory == Format::kWaveFormatAmbisonicFloat;
    sampleType = isFloat ? kFloatSamples_1 : kIntegerSamples;
}

void WaveFile::Impl::TakeChunks(const std::vector<ChunkInfo>& inChunks) {
    dataChunks = FilterChunkInfo(inChunks, GetWaveDataIdentifier());
    metadataChunks.reserve(
        static_cast<std::size_t>(std::count_if(inChunks.begin(), inChunks.end(), IsMetadata)));
    std::copy_if(inChunks.begin(), inChunks.end(), std::back_inserter(metadataChunks), IsMetadata);

    dataChunkEnds.reserve(dataChunks.size());
    for (const ChunkInfo& chunk : dataChunks) {
        dataByteCount += chunk.chunkSize;
        dataChunkEnds.push_back(dataByteCount);
    }
    if (dataByteCount != 0) {
        audioStart = dataChunks.front().dataOffset;
        audioEnd = EndOf(dataChunks.back());
    }
}

/// Two kinds of floats hide behind the tag of integers, told by what integers would not say.
void WaveFile::Impl::RefineSampleType() {
    const AudioCharacteristics& record = audioCharacteristics;
    if (record.formatCategory != Format::kWaveFormatPCM)
        return;
    if (record.bytesPerSample == 4 && record.bitsPerSample == 24) {
        sampleType = kFloatSamples_8388608;
        bitDepth = 32;
    }
    const bool saysOne = record.extraFormatBytes.size() == 2 && record.extraFormatBytes[0] == 1 &&
                         record.extraFormatBytes[1] == 0;
    if (saysOne && record.bitsPerSample == 32)
        sampleType = kFloatSamples_32768;
}

void WaveFile::Impl::NameAmbisonicChannels() {
    if (audioCharacteristics.formatCategory != Format::kWaveFormatAmbisonicPCM &&
        audioCharacteristics.formatCategory != Format::kWaveFormatAmbisonicFloat)
        return;
    constexpr std::uint32_t kFirst = 134; // W, X, Y, Z follow each other
    const int named = numChannels == 5 ? 3 : std::min(numChannels, 4);
    for (int channel = 0; channel < named; ++channel)
        channelLayout[static_cast<std::size_t>(channel)] = kFirst + static_cast<std::uint32_t>(channel);
}

std::unique_ptr<IPlatformByteStream> WaveFile::Impl::MakeReadStream(const File& inFile) const {
    return std::make_unique<IPlatformByteStream>(inFile,
                                                 kelcore::utility::Flags<unsigned>(streamFlag ? 1 : 0));
}

bool WaveFile::Impl::EnsureReadStream() {
    return readStream || Succeeds([this] { readStream = MakeReadStream(file); });
}

bool WaveFile::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    return mImpl->ReadSampleBytes(inOffset, inByteCount, outBuffer);
}

bool WaveFile::Impl::ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer) {
    if (!EnsureReadStream() || outBuffer == nullptr || inOffset < 0 || inByteCount < 0)
        return false;
    auto* out = static_cast<unsigned char*>(outBuffer);
    auto end = std::upper_bound(dataChunkEnds.begin(), dataChunkEnds.end(), inOffset);
    try {
        while (inByteCount > 0) {
            if (end == dataChunkEnds.end())
                return false;
            const ChunkInfo& chunk = dataChunks[static_cast<std::size_t>(end - dataChunkEnds.begin())];
            const std::int64_t left = *end - inOffset;
            const std::int64_t piece = std::min({inByteCount, left, kLargestPiece});
            readStream->CurPos(EndOf(chunk) - static_cast<std::uint64_t>(left));
            readStream->ReadBlock(out, static_cast<unsigned>(piece));
            inOffset += piece;
            inByteCount -= piece;
            out += piece;
            if (piece == left)
                ++end;
        }
    } catch (const file_exception&) {
        kelcore::logging::LogException(
            std::current_exception(),
            kelcore::utility::StringValue("kelaudiofile::WaveFile::Impl::", "ReadSampleBytes"), nullptr);
        return false;
    }
    return true;
}

bool WaveFile::Impl::IsMetadataIndex(std::int32_t inIndex) const {
    return inIndex >= 0 && static_cast<std::size_t>(inIndex) < metadataChunks.size();
}

bool WaveFile::GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                               double& outPosition) {
    if (!mImpl->IsMetadataIndex(inIndex))
        return false;
    const ChunkInfo& chunk = mImpl->metadataChunks[static_cast<std::size_t>(inIndex)];
    outChunkID = chunk.chunkID;
    outSize = chunk.chunkSize + static_cast<std::int64_t>(riff::chunk::kHeaderBytes);
    outPosition = mImpl->PositionOf(chunk);
    return true;
}

double WaveFile::Impl::PositionOf(const ChunkInfo& inChunk) const {
    const auto place = static_cast<double>(inChunk.dataOffset);
    const auto size = static_cast<double>(fileSize);
    const auto end = static_cast<double>(audioEnd);
    if (inChunk.dataOffset <= audioStart)
        return audioStart == 0 ? 1.0 : place * 0.5 / size;
    if (inChunk.dataOffset == audioEnd || fileSize == audioEnd)
        return 1.0;
    if (inChunk.dataOffset < audioEnd)
        return 0.5; // between two `data` chunks: just behind the audio
    return (place - end) * 0.5 / (size - end) + 0.5;
}

bool WaveFile::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                 void* outBuffer) {
    return mImpl->ReadMetadataChunk(inIndex, inOffset, inByteCount, outBuffer);
}

bool WaveFile::Impl::ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                                       void* outBuffer) {
    if (!IsMetadataIndex(inIndex) || !EnsureReadStream() || outBuffer == nullptr)
        return false;
    const ChunkInfo& chunk = metadataChunks[static_cast<std::size_t>(inIndex)];
    const std::int64_t size = chunk.chunkSize + static_cast<std::int64_t>(riff::chunk::kHeaderBytes);
    if (inOffset < 0 || inByteCount < 0 || inOffset > size || inByteCount > size - inOffset ||
        inByteCount >= kLargestPiece)
        return false;
    readStream->CurPos(chunk.chunkOffset + static_cast<std::uint64_t>(inOffset));
    try {
        readStream->ReadBlock(outBuffer, static_cast<unsigned>(inByteCount));
    } catch (const file_exception&) {
        kelcore::logging::LogException(
            std::current_exception(),
            kelcore::utility::StringValue("kelaudiofile::WaveFile::Impl::", "ReadMetadataChunk"), nullptr);
        return false;
    }
    return true;
}

bool WaveFile::IsRecoveredTruncatedFile() const {
    return !mImpl->dataChunks.empty() && mImpl->dataChunks.back().recoveredTruncated;
}

bool WaveFile::IsRf64Format() const {
    return mImpl->rf64Format;
}

bool WaveFile::Suspend() {
    mImpl->readStream.reset();
    return true;
}

} // namespace kelaudiofile
