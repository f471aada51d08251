#include "kelaudiofile/AudioReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "AiffFileAccess.h"
#include "AudioReaderImpl.h"
#include "WaveFileAccess.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace {

using kelcore::filesupport::File;

constexpr std::int64_t kLargestAiffRead = 0x7FFFFFFF;

/// The opens of both classes pass on the exceptions of a file that disappears.
template <typename Open>
auto OrNull(Open&& inOpen) -> decltype(inOpen()) {
    try {
        return inOpen();
    } catch (const kelcore::filesupport::file_exception&) {
        return nullptr; // LatestFailure has the reason
    }
}

void FailAsWave(const WaveFile::ExtendedErrorInfo& inInfo, std::string_view inPath, AudioError& outError) {
    using Info = WaveFile::ExtendedErrorInfo;
    const bool known = inInfo.code >= Info::kUnknownFormat && inInfo.code <= Info::kGsm610Format;
    FailForSystem(outError, known ? AudioError::kUnsupported : AudioError::kBrokenFile, inPath,
                  ErrorText(inInfo));
}

std::unique_ptr<AiffFile> OpenAiff(const File& inOpened, std::string_view inPath, AudioError& outError) {
    AiffFile::ExtendedErrorInfo error;
    error.code = AiffFile::ExtendedErrorInfo::kChunkScanFailed; // the code that remains if the system refuses
    auto file = OrNull([&] { return AiffFileAccess::Open(inOpened, true, error); });
    if (!file) {
        using Code = AiffFile::ExtendedErrorInfo;
        const bool known = error.code == Code::kUnknownCompression || error.code == Code::kBadBitDepth;
        const bool noHeader = error.code == Code::kNotAiffFile;
        FailForSystem(outError,
                      noHeader ? AudioError::kNotAudio
                      : known  ? AudioError::kUnsupported
                               : AudioError::kBrokenFile,
                      inPath, noHeader ? "it is neither a wave nor an AIFF file" : ErrorText(error));
    }
    return file;
}

double RateOf(const WaveFile& inFile) {
    return inFile.GetSampleRate();
}
double RateOf(const AiffFile& inFile) {
    return inFile.GetSampleRate();
}
kelmediatypes::ChannelLayout LayoutOf(const WaveFile& inFile) {
    return inFile.GetChannelLayout();
}
kelmediatypes::ChannelLayout LayoutOf(const AiffFile& inFile) {
    return inFile.GetAudioChannelLayout();
}

/// The header of an AIFF file can promise frames that the file does not hold; reading them then fails.
bool HasFrame(WaveFile&, std::int64_t, std::int64_t) {
    return true;
}
bool HasFrame(AiffFile& ioFile, std::int64_t inFrame, std::int64_t inFrameBytes) {
    unsigned char lastByte;
    return ioFile.ReadSampleBytes((inFrame + 1) * inFrameBytes - 1, 1, &lastByte);
}

} // namespace

std::unique_ptr<AudioReader> AudioReader::Open(std::string_view inPath, AudioError& outError) {
    kelcore::filesupport::ForgetFailure();
    auto impl = std::make_unique<Impl>();
    impl->path = inPath;
    const File named = FileOf(inPath);
    File opened;
    try {
        named.Size(); // rejects folders, devices and pipes, for which an open would wait
        opened = named.Opened();
    } catch (const kelcore::filesupport::file_exception&) {
        FailForSystem(outError, AudioError::kReadFailed, inPath, "it cannot be opened");
        return nullptr;
    }
    WaveFile::ExtendedErrorInfo info;
    auto wave = OrNull([&] { return WaveFileAccess::Open(named, opened, info, false); });
    if (!wave && info.code == info.kNotWaveFile)
        impl->file = OpenAiff(opened, inPath, outError);
    else if (wave)
        impl->file = std::move(wave);
    else
        FailAsWave(info, inPath, outError);
    const bool isOpen = std::visit([](const auto& file) { return file != nullptr; }, impl->file);
    if (!isOpen || !impl->TakeFormat(outError))
        return nullptr;
    return std::unique_ptr<AudioReader>(new AudioReader(std::move(impl)));
}

bool AudioReader::Impl::TakeFormat(AudioError& outError) {
    return std::visit(
        [&](auto& opened) {
            format.sampleRate = RateOf(*opened);
            format.channels = opened->GetNumChannels();
            format.samples = GetSampleFormat(*opened);
            format.layout = LayoutOf(*opened);
            if (!HasPositions(format.layout))
                format.layout.clear();
            if (format.channels < 1)
                return Fail(outError, AudioError::kBrokenFile, path, "its header has no channels");
            if (!(format.sampleRate > 0) || std::isinf(format.sampleRate))
                return Fail(outError, AudioError::kBrokenFile, path, "its header has no valid sample rate");
            if (!IsSupported(format.samples))
                return Fail(outError, AudioError::kUnsupported, path,
                            "it has samples of " + std::to_string(opened->GetBytesPerSample()) +
                                " bytes that no routine decodes");
            frames = opened->GetSampleCount();
            if (frames > 0 && !HasFrame(*opened, frames - 1, FrameBytes(format)))
                return Fail(outError, AudioError::kBrokenFile, path,
                            "its header claims more frames than it has");
            return true;
        },
        file);
}

AudioReader::AudioReader(std::unique_ptr<Impl> inImpl) : mImpl(std::move(inImpl)) {}
AudioReader::~AudioReader() = default;

const AudioFormat& AudioReader::Format() const {
    return mImpl->format;
}

Container AudioReader::Kind() const {
    return std::holds_alternative<std::unique_ptr<WaveFile>>(mImpl->file) ? Container::kWave
                                                                          : Container::kAiff;
}

std::int64_t AudioReader::Frames() const {
    return mImpl->frames;
}

bool AudioReader::Recovered() const {
    const auto* wave = std::get_if<std::unique_ptr<WaveFile>>(&mImpl->file);
    return wave != nullptr && (*wave)->IsRecoveredTruncatedFile();
}

WaveFile* AudioReader::Wave() {
    const auto* wave = std::get_if<std::unique_ptr<WaveFile>>(&mImpl->file);
    return wave != nullptr ? wave->get() : nullptr;
}

AiffFile* AudioReader::Aiff() {
    const auto* aiff = std::get_if<std::unique_ptr<AiffFile>>(&mImpl->file);
    return aiff != nullptr ? aiff->get() : nullptr;
}

bool AudioReader::Impl::IsInside(std::int64_t inFrame, std::int64_t inCount, AudioError& outError) const {
    if (inFrame >= 0 && inCount >= 0 && inCount <= frames - inFrame)
        return true;
    return Fail(outError, AudioError::kBadArgument, path,
                "it has " + std::to_string(frames) + " frames, not " + std::to_string(inCount) +
                    " frames from frame " + std::to_string(inFrame) + " on");
}

/// Makes one call of the file class, which AIFF limits to 2 GiB.
bool AudioReader::Impl::ReadBytes(std::int64_t inFrame, std::int64_t inCount, void* outBytes,
                                  AudioError& outError) {
    const std::int64_t frameBytes = FrameBytes(format);
    kelcore::filesupport::ForgetFailure();
    const bool read = std::visit(
        [&](auto& opened) {
            return opened->ReadSampleBytes(inFrame * frameBytes, inCount * frameBytes, outBytes);
        },
        file);
    return read || FailForSystem(outError, AudioError::kReadFailed, path,
                                 "frame " + std::to_string(inFrame) + " cannot be read");
}

bool AudioReader::Read(std::int64_t inFrame, std::int64_t inCount, float* const* outPlanes,
                       AudioError& outError) {
    Impl& impl = *mImpl;
    if (!impl.IsInside(inFrame, inCount, outError))
        return false;
    if (outPlanes == nullptr && inCount > 0)
        return Fail(outError, AudioError::kBadArgument, impl.path, "there are no planes to read it to");
    const std::int64_t tileFrames = TileFrames(impl.format);
    if (impl.tile.empty()) {
        // Resized first: a non-empty tile implies both.
        impl.planes.resize(static_cast<std::size_t>(impl.format.channels));
        impl.tile.resize(static_cast<std::size_t>(tileFrames * FrameBytes(impl.format)));
    }
    for (std::int64_t done = 0; done < inCount;) {
        const std::int64_t count = std::min(tileFrames, inCount - done);
        if (!impl.ReadBytes(inFrame + done, count, impl.tile.data(), outError))
            return false;
        for (std::size_t channel = 0; channel < impl.planes.size(); ++channel)
            impl.planes[channel] = outPlanes[channel] != nullptr ? outPlanes[channel] + done : nullptr;
        DecodeFrames(impl.format.samples, impl.tile.data(), impl.planes.data(), count, impl.format.channels);
        done += count;
    }
    return true;
}

bool AudioReader::ReadRaw(std::int64_t inFrame, std::int64_t inCount, void* outBytes, AudioError& outError) {
    Impl& impl = *mImpl;
    if (!impl.IsInside(inFrame, inCount, outError))
        return false;
    if (outBytes == nullptr && inCount > 0)
        return Fail(outError, AudioError::kBadArgument, impl.path, "there is no buffer to read it to");
    const std::int64_t atOnce = kLargestAiffRead / FrameBytes(impl.format);
    auto* out = static_cast<unsigned char*>(outBytes);
    for (std::int64_t done = 0; done < inCount;) {
        const std::int64_t count = std::min(atOnce, inCount - done);
        if (!impl.ReadBytes(inFrame + done, count, out, outError))
            return false;
        out += count * FrameBytes(impl.format);
        done += count;
    }
    return true;
}

} // namespace kelaudiofile
