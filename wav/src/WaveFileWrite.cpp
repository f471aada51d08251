#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "RiffFormat.h"
#include "WaveFileAccess.h"
#include "WaveFileImpl.h"
#include "WaveFormatChunkWriter.h"
#include "bytes/ByteOrder.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

using chunks::Attempt;
using kelcore::filesupport::File;
using kelcore::filesupport::OByteStream;

namespace {

using Error = WaveFile::ExtendedErrorInfo;
using Format = AudioCharacteristics;

bool StartsAmbisonic(const kelmediatypes::ChannelLayout& inLayout) {
    return !inLayout.empty() && inLayout.front() == kelmediatypes::AudioChannelDescription(134);
}

/// Puts the marks into a record by which reading knows the sample type again.
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

/// Removes the old file. `Exists` also says no where the system gives no answer; StartWriting then refuses to
/// write over what is there.
File FreshFile(const kelcore::UTF8String& inFilePath) {
    File file(inFilePath, kelcore::filesupport::kPathStorage);
    if (file.Exists())
        file.Delete();
    return file;
}

void WriteChunk(RiffChunkWriter& ioWriter, std::uint32_t inId, const std::uint8_t* inData,
                std::int32_t inSize) {
    const std::uint64_t chunkStart = ioWriter.StartChunk(inId);
    ioWriter.GetByteStream()->WriteBlock(inData, static_cast<unsigned>(inSize));
    ioWriter.EndChunk(chunkStart, 0);
}

/// A disk that loses power may have written one of two neighbouring sectors: half a size would be any size.
void KeepNextSizeWhole(OByteStream& ioStream) {
    constexpr std::uint64_t kSectorBytes = 512, kSizeBytes = 4;
    if ((ioStream.CurPos() + riff::chunk::kSize) % kSectorBytes <= kSectorBytes - kSizeBytes)
        return;
    std::array<bytes::Byte, 2 * riff::chunk::kHeaderBytes> filler{};
    bytes::StoreLittle32(&filler[riff::chunk::kId], riff::kJunkId);
    bytes::StoreLittle32(&filler[riff::chunk::kSize], filler.size() - riff::chunk::kHeaderBytes);
    ioStream.WriteBlock(filler.data(), static_cast<unsigned>(filler.size()));
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
    record.containerKind = (inFlags & 1) != 0 ? Impl::kRf64Container : Impl::kRiffContainer;
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
    writing = true;
    reading.SetFile(inFile, inStreamFlag);
    format.record = writeCharacteristics = inRecord;
    streamFlag = inStreamFlag;
    format.sampleType = inSampleType;
    format.sampleRate = static_cast<std::int32_t>(inRecord.sampleRate);
    format.numChannels = inRecord.numChannels;
    format.bytesPerSample = inRecord.bytesPerSample;
    format.bitDepth = inRecord.bitsPerSample;

    const bool started = Attempt([&] {
        chunkWriter.Initialize(inFile.Created(), GetWaveFileFormatIdentifier(), MayBeRf64(), streamFlag);
        chunkWriter.SetFrameBytes(static_cast<unsigned>(
            std::clamp<std::int64_t>(FrameBytes(), 1, std::numeric_limits<unsigned>::max())));
        if (inFormatChunk != nullptr && inFormatChunkSize > 0)
            WriteChunk(chunkWriter, WaveFormatChunkReader::GetChunkID(), inFormatChunk, inFormatChunkSize);
        else
            WriteWaveFormatChunk(chunkWriter, inRecord);
    });
    if (!started) {
        Attempt([this] { chunkWriter.EndFile(0); }); // closes the file, with sizes that fit what is there
        outError.code = Error::kOpenForWriteFailed;
    }
    return started;
}

bool WaveFileAccess::WriteThrough(WaveFile& ioFile) {
    return Attempt([&] { ioFile.mImpl->chunkWriter.WriteThrough(); });
}

void WaveFileAccess::KeepSizesWhole(WaveFile& ioFile) {
    ioFile.mImpl->keepsSizesWhole = true;
}

bool WaveFile::WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer,
                                ExtendedErrorInfo& outError) {
    outError.code = Error::kNoError;
    if (!mImpl->TakesBlock(inOffset, inByteCount, inBuffer)) {
        outError.code = Error::kWriteRefused;
        return false;
    }
    if (!Attempt([&] { mImpl->WriteBlock(inOffset, inByteCount, inBuffer); })) {
        outError.code = Error::kWriteFailed;
        return false;
    }
    return true;
}

bool WaveFile::Impl::TakesBlock(std::int64_t inOffset, std::int32_t inByteCount,
                                const std::uint8_t* inBuffer) const {
    if (!chunkWriter.IsInitialized() || metadatumChunkHandle != 0)
        return false;
    if (inOffset < 0 || inByteCount < 0 || (inBuffer == nullptr && inByteCount != 0))
        return false;
    if (inOffset > std::numeric_limits<std::int64_t>::max() - inByteCount)
        return false;
    if (!streamFlag && inOffset != nextSampleByte)
        return false;
    if (dataChunkEnded) // what came before is closed, and the one `data` size of an RF64 file is taken
        return !MayBeRf64() && inOffset >= nextSampleByte;
    return static_cast<std::uint64_t>(inOffset) >= dataChunkStart;
}

void WaveFile::Impl::WriteBlock(std::int64_t inOffset, std::int32_t inByteCount,
                                const std::uint8_t* inBuffer) {
    if (dataChunkHandle == 0)
        StartDataChunk(dataChunkEnded ? inOffset : 0);
    const std::uint64_t chunkBytes =
        static_cast<std::uint64_t>(inOffset) + static_cast<std::uint64_t>(inByteCount) - dataChunkStart;
    if (!MayBeRf64() && chunkBytes >= riff::kLimit32) {
        EndDataChunk();
        StartDataChunk(inOffset);
    }
    OByteStream& stream = *chunkWriter.GetByteStream();
    const std::uint64_t position =
        dataChunkHandle + riff::chunk::kHeaderBytes + static_cast<std::uint64_t>(inOffset) - dataChunkStart;
    if (stream.CurPos() != position)
        stream.CurPos(position);
    stream.WriteBlock(inBuffer, static_cast<unsigned>(inByteCount));
    nextSampleByte = inOffset + inByteCount;
}

void WaveFile::Impl::StartDataChunk(std::int64_t inOffset) {
    MendBrokenChunk();
    if (keepsSizesWhole)
        KeepNextSizeWhole(*chunkWriter.GetByteStream());
    dataChunkHandle = chunkWriter.StartChunk(GetWaveDataIdentifier());
    earlierSampleBytes += static_cast<std::int64_t>(DataChunkBytes());
    dataChunkStart = static_cast<std::uint64_t>(inOffset);
    dataChunkEnded = false;
}

std::uint64_t WaveFile::Impl::DataChunkBytes() const {
    const auto next = static_cast<std::uint64_t>(nextSampleByte);
    return next > dataChunkStart ? next - dataChunkStart : 0;
}

/// The file position where the last block ended.
std::uint64_t WaveFile::Impl::EndOfSamples() const {
    return dataChunkHandle + riff::chunk::kHeaderBytes + DataChunkBytes();
}

/// An earlier failure may have left the stream elsewhere, and a checkpoint may have left a pad byte behind
/// the samples: where they end does not go by the stream.
void WaveFile::Impl::EndDataChunk() {
    chunkWriter.EndChunk(dataChunkHandle, EndOfSamples());
}

/// Ends a chunk that is given up, whether its size can be written or not.
bool WaveFile::Impl::EndForGood(std::uint64_t& ioHandle, std::uint64_t inEnd) {
    brokenChunk = std::exchange(ioHandle, 0);
    brokenChunkEnd = inEnd;
    const bool ended = Attempt([this] { MendBrokenChunk(); });
    if (!ended) // the data size of an RF64 file lies in its header
        Attempt([this] { chunkWriter.EndBlock(FramesWritten()); });
    return ended;
}

/// Behind a chunk with a wrong size nothing would be found again, so the size is due before anything follows.
void WaveFile::Impl::MendBrokenChunk() {
    if (brokenChunk == 0)
        return;
    chunkWriter.EndChunk(brokenChunk, brokenChunkEnd);
    brokenChunk = 0;
}

std::int64_t WaveFile::Impl::FrameBytes() const {
    return std::int64_t{writeCharacteristics.numChannels} * writeCharacteristics.bytesPerSample;
}

/// Of all `data` chunks together, as a reader counts: a jump past the end of a chunk that is closed leaves no
/// gap.
std::int64_t WaveFile::Impl::FramesWritten() const {
    const std::int64_t bytes = earlierSampleBytes + static_cast<std::int64_t>(DataChunkBytes());
    return FrameBytes() == 0 ? 0 : bytes / FrameBytes();
}

} // namespace kelaudiofile
