#include <algorithm>

#include "WaveFileAccess.h"
#include "WaveFileImpl.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

using kelcore::filesupport::File;

namespace {

using Error = WaveFile::ExtendedErrorInfo;
using Format = AudioCharacteristics;

Error::Code CodeOfScan(const RiffChunkReader& inScan, const RiffChunkReader::RiffFileInfo& inFileInfo) {
    switch (inScan.GetExtendedError()) {
    case RiffChunkReader::kExtendedErrorNone:
        return inFileInfo.formType == GetWaveFileFormatIdentifier() ? Error::kNoError : Error::kNotWaveFile;
    case RiffChunkReader::kExtendedErrorNotRiff:
        return Error::kNotWaveFile;
    default:
        return Error::kChunkScanFailed;
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

Error::Code CodeOfRecord(const Format& inRecord) {
    switch (inRecord.status) {
    case Format::kChunkReadOK:
        return CodeOfCategory(inRecord.formatCategory);
    case Format::kChunkNotFound:
        return Error::kNoFormatChunk;
    case Format::kChunkTooLarge:
        return Error::kFormatChunkTooLarge;
    default:
        return Error::kBadFormat;
    }
}

bool IsFloat(Format::WaveFormatCategory inCategory) {
    return inCategory == Format::kWaveFormatFloat || inCategory == Format::kWaveFormatAmbisonicFloat;
}

/// Two kinds of floats have the format tag of integers; each has a mark that integers do not have.
void RefineSampleType(WaveFormatInfo& ioFormat) {
    const Format& record = ioFormat.record;
    if (record.formatCategory != Format::kWaveFormatPCM)
        return;
    if (record.bytesPerSample == 4 && record.bitsPerSample == 24) {
        ioFormat.sampleType = WaveFile::kFloatSamples_8388608;
        ioFormat.bitDepth = 32;
    }
    const bool saysOne = record.extraFormatBytes.size() == 2 && record.extraFormatBytes[0] == 1 &&
                         record.extraFormatBytes[1] == 0;
    if (saysOne && record.bitsPerSample == 32)
        ioFormat.sampleType = WaveFile::kFloatSamples_32768;
}

void CompleteSampleSize(WaveFormatInfo& ioFormat) {
    if (ioFormat.bytesPerSample == 0)
        ioFormat.bytesPerSample = ioFormat.bitDepth / 8;
}

/// The reader of the record has made the layout as long as the channel count.
void NameAmbisonicChannels(WaveFormatInfo& ioFormat) {
    const Format::WaveFormatCategory category = ioFormat.record.formatCategory;
    if (category != Format::kWaveFormatAmbisonicPCM && category != Format::kWaveFormatAmbisonicFloat)
        return;
    constexpr std::uint32_t kFirst = 134; // W, X, Y and Z are consecutive
    const int named = ioFormat.numChannels == 5 ? 3 : std::min(ioFormat.numChannels, 4);
    for (int channel = 0; channel < named; ++channel)
        ioFormat.channelLayout[static_cast<std::size_t>(channel)] =
            kFirst + static_cast<std::uint32_t>(channel);
}

/// Derives the format from a record, which is kept as it was read.
void Interpret(const Format& inRecord, WaveFormatInfo& outFormat) {
    outFormat.TakeRecord(inRecord);
    outFormat.sampleType =
        IsFloat(inRecord.formatCategory) ? WaveFile::kFloatSamples_1 : WaveFile::kIntegerSamples;
    outFormat.channelLayout = inRecord.channelLayout;
    RefineSampleType(outFormat);
    CompleteSampleSize(outFormat);
    NameAmbisonicChannels(outFormat);
}

} // namespace

WaveFile* WaveFile::OpenForRead(const kelcore::UTF8String& inFilePath, ExtendedErrorInfo& outError,
                                bool inStreamFlag) {
    outError = {};
    const File named(inFilePath, kelcore::filesupport::kPathStorage);
    File opened;
    if (!named.Exists())
        outError.code = Error::kFileNotFound;
    else if (!chunks::Attempt([&] { opened = named.Opened(); }))
        outError.code = Error::kChunkScanFailed;
    if (outError.code != Error::kNoError)
        return nullptr;
    return WaveFileAccess::Open(named, opened, outError, inStreamFlag).release();
}

std::unique_ptr<WaveFile> WaveFileAccess::Open(const File& inNamed, const File& inOpened, Error& outError,
                                               bool inStreamFlag) {
    auto waveFile = std::make_unique<WaveFile>();
    outError.code = waveFile->mImpl->OpenForRead(inNamed, inOpened, inStreamFlag, outError.formatTag);
    return outError.code == Error::kNoError ? std::move(waveFile) : nullptr;
}

std::int32_t WaveFile::Impl::OpenForRead(const File& inNamed, const File& inOpened, bool inStreamFlag,
                                         std::uint32_t& outFormatTag) {
    const RiffChunkReader scan(inOpened, inStreamFlag);
    const RiffChunkReader::RiffFileInfo& fileInfo = scan.GetFileInfo();
    if (const Error::Code code = CodeOfScan(scan, fileInfo); code != Error::kNoError)
        return code;
    const WaveFormatChunkReader formatReader(inOpened, fileInfo, inStreamFlag);
    const Format& record = formatReader.GetAudioCharacteristics();
    const Error::Code code = CodeOfRecord(record);
    if (code == Error::kUnknownFormat)
        outFormatTag = record.formatTag;
    if (code != Error::kNoError)
        return code;
    Interpret(record, format);
    reading.Open(inNamed, inOpened, fileInfo.chunks, inStreamFlag);
    return Error::kNoError;
}

} // namespace kelaudiofile
