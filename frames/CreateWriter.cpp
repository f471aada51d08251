#include <cerrno>
#include <utility>

#include "AiffFileAccess.h"
#include "AudioWriterImpl.h"
#include "WaveFileAccess.h"
#include "WriterFormat.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace {

WaveFile::SampleType WaveTypeOf(SampleCoding inCoding) {
    switch (inCoding) {
    case SampleCoding::kFloat_1:
        return WaveFile::kFloatSamples_1;
    case SampleCoding::kFloat_32768:
        return WaveFile::kFloatSamples_32768;
    case SampleCoding::kFloat_8388608:
        return WaveFile::kFloatSamples_8388608;
    default:
        return WaveFile::kIntegerSamples;
    }
}

AiffFile::SampleType AiffTypeOf(const SampleFormat& inSamples) {
    if (inSamples.coding != SampleCoding::kInteger)
        return AiffFile::kFloatSamples;
    return inSamples.byteOrder == ByteOrder::kBigEndian ? AiffFile::kBigEndianIntegerSamples
                                                        : AiffFile::kLittleEndianIntegerSamples;
}

std::unique_ptr<WaveFile> CreateWave(const std::string& inPath, const AudioFormat& inFormat, bool inRf64) {
    WaveFile::ExtendedErrorInfo ignored; // the system's error is more specific
    const std::int32_t bytes = inFormat.samples.bytesPerSample;
    std::unique_ptr<WaveFile> file(
        WaveFile::OpenForWrite(kelcore::ToUTF8String(inPath), static_cast<std::int32_t>(inFormat.sampleRate),
                               inFormat.channels, bytes, 8 * bytes, WaveTypeOf(inFormat.samples.coding),
                               LayoutForWave(inFormat), inRf64 ? 1 : 0, ignored, true /* for Skip */));
    return file && WaveFileAccess::WriteThrough(*file) ? std::move(file) : nullptr;
}

std::unique_ptr<AiffFile> CreateAiff(const std::string& inPath, const AudioFormat& inFormat) {
    AiffFile::ExtendedErrorInfo ignored;
    std::unique_ptr<AiffFile> file(AiffFile::OpenForWrite(
        kelcore::ToUTF8String(inPath), static_cast<std::int32_t>(inFormat.sampleRate), inFormat.channels,
        8 * inFormat.samples.bytesPerSample, AiffTypeOf(inFormat.samples), inFormat.layout, ignored));
    return file && AiffFileAccess::WriteThrough(*file) ? std::move(file) : nullptr;
}

/// Returns false for folders, devices and pipes, which are neither deleted nor replaced.
bool IsFreeOrAFile(const std::string& inPath) {
    try {
        FileOf(inPath).Size();
        return true;
    } catch (const kelcore::filesupport::file_exception&) {
        return kelcore::filesupport::LatestFailure() == ENOENT;
    }
}

} // namespace

std::unique_ptr<AudioWriter> AudioWriter::Create(std::string_view inPath, Container inContainer,
                                                 const AudioFormat& inFormat, const WriterOptions& inOptions,
                                                 AudioError& outError) {
    auto impl = std::make_unique<Impl>();
    impl->path = inPath;
    impl->writtenPath = inOptions.replaceWhenFinished ? impl->path + ".part" : impl->path;
    impl->format = FormatAsWritten(inContainer, inFormat, inOptions);
    const std::string reason = ReasonAgainst(inContainer, impl->format);
    if (!reason.empty()) {
        Fail(outError, AudioError::kBadArgument, inPath, reason);
        return nullptr;
    }
    impl->isRf64 = inOptions.rf64;
    if (!IsFreeOrAFile(impl->path)) {
        FailForSystem(outError, AudioError::kNotAFile, inPath, "it cannot be created");
        return nullptr;
    }
    kelcore::filesupport::ForgetFailure();
    try {
        if (inContainer == Container::kWave)
            impl->file = CreateWave(impl->writtenPath, impl->format, inOptions.rf64);
        else
            impl->file = CreateAiff(impl->writtenPath, impl->format);
    } catch (const kelcore::filesupport::file_exception&) {
        // The old file cannot be deleted.
    }
    if (!impl->IsOpen()) {
        FailForSystem(outError, AudioError::kWriteFailed, impl->writtenPath, "it cannot be created");
        return nullptr;
    }
    if (WaveFile* const wave = impl->Wave(); wave != nullptr && inOptions.durable)
        WaveFileAccess::KeepSizesWhole(*wave);
    return std::unique_ptr<AudioWriter>(new AudioWriter(std::move(impl)));
}

} // namespace kelaudiofile
