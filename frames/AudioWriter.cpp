#include "kelaudiofile/AudioWriter.h"

#include <algorithm>
#include <utility>

#include "AudioReaderImpl.h"
#include "AudioWriterImpl.h"
#include "kelaudiofile/Interleave.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace {

/// Samples of one coding and width differ at most in byte order and sign, and both can be changed in place.
void Reorder(const SampleFormat& inFrom, const SampleFormat& inTo, unsigned char* ioBytes,
             std::int32_t inCount) {
    if (inFrom.isUnsigned != inTo.isUnsigned)
        ConvertBetweenSigned8BitAudioAndUnsigned(ioBytes, ioBytes, inCount, 1);
    if (inFrom.byteOrder == inTo.byteOrder)
        return;
    switch (inFrom.bytesPerSample) {
    case 2:
        return Swizzle16Bit(ioBytes, ioBytes, inCount, 1);
    case 3:
        return Swizzle24Bit(ioBytes, ioBytes, inCount, 1);
    case 4:
        return Swizzle32Bit(ioBytes, ioBytes, inCount, 1);
    default:
        return; // AIFF files cannot hold wider samples
    }
}

} // namespace

AudioWriter::AudioWriter(std::unique_ptr<Impl> inImpl) : mImpl(std::move(inImpl)) {}

AudioWriter::~AudioWriter() {
    try {
        AudioError ignored;
        mImpl->isAbandoned = true;
        if (mImpl->stage != Impl::Stage::kFinished)
            Finish(ignored);
    } catch (...) {
        // There is no memory for an error message.
    }
}

const AudioFormat& AudioWriter::Format() const {
    return mImpl->format;
}

std::int64_t AudioWriter::Frames() const {
    return mImpl->frames;
}

bool AudioWriter::Impl::IsOpen() const {
    return std::visit([](const auto& opened) { return opened != nullptr; }, file);
}

WaveFile* AudioWriter::Impl::Wave() const {
    const auto* wave = std::get_if<std::unique_ptr<WaveFile>>(&file);
    return wave != nullptr ? wave->get() : nullptr;
}

bool AudioWriter::Impl::BeginAudio(AudioError& outError) {
    if (stage == Stage::kFinished)
        return Fail(outError, AudioError::kWrongOrder, path, "it is finished");
    if (stage == Stage::kAfterAudio)
        return Fail(outError, AudioError::kWrongOrder, path, "a chunk has ended its audio");
    if (!EndOpenChunk(outError))
        return false;
    stage = Stage::kAudio;
    if (tile.empty()) {
        planes.resize(static_cast<std::size_t>(format.channels)); // first: a non-empty tile implies both
        tile.resize(static_cast<std::size_t>(TileFrames(format) * FrameBytes(format)));
    }
    return true;
}

/// Appends at most as much as one call of the file class accepts.
bool AudioWriter::Impl::Append(const void* inBytes, std::int64_t inFrames, AudioError& outError) {
    kelcore::filesupport::ForgetFailure();
    const std::int64_t frameBytes = FrameBytes(format);
    bool refused = false;
    const bool written = std::visit(
        [&](auto& opened) {
            typename std::decay_t<decltype(*opened)>::ExtendedErrorInfo error;
            const bool taken = opened->WriteSampleBytes(frames * frameBytes,
                                                        static_cast<std::int32_t>(inFrames * frameBytes),
                                                        static_cast<const std::uint8_t*>(inBytes), error);
            refused = error.code == error.kWriteRefused;
            return taken;
        },
        file);
    if (refused)
        return Fail(outError, AudioError::kWrongOrder, path, "a chunk has ended its audio");
    if (!written)
        return FailToWrite(outError, "frame " + std::to_string(frames) + " cannot be written");
    frames += inFrames;
    return true;
}

/// A refusal without a system error is the limit of the format.
bool AudioWriter::Impl::FailToWrite(AudioError& outError, const std::string& inWhat) const {
    if (kelcore::filesupport::LatestFailure() == kelcore::filesupport::kNoFailure)
        return Fail(outError, AudioError::kTooLarge, writtenPath, inWhat + ": it would grow past its limit");
    return FailForSystem(outError, AudioError::kWriteFailed, writtenPath, inWhat);
}

/// Returns whether silence can become a hole in the file: not if it is short, since writing zeros is then
/// cheaper; not in an AIFF file or for unsigned samples; and not across the end of a `data` chunk.
bool AudioWriter::Impl::MaySkip(std::int64_t inFrames) const {
    constexpr std::int64_t kLimit32 = 0xFFFFFFFF;
    return Wave() != nullptr && !format.samples.isUnsigned && inFrames > TileFrames(format) &&
           (isRf64 || inFrames < kLimit32 / FrameBytes(format) - frames);
}

/// Writes the last frame only.
bool AudioWriter::Impl::Skip(std::int64_t inFrames, AudioError& outError) {
    std::fill_n(tile.begin(), FrameBytes(format), static_cast<unsigned char>(0));
    frames += inFrames - 1;
    if (Append(tile.data(), 1, outError))
        return true;
    frames -= inFrames - 1;
    return false;
}

bool AudioWriter::Write(const float* const* inPlanes, std::int64_t inFrames, AudioError& outError) {
    Impl& impl = *mImpl;
    if (inFrames < 0 || (inPlanes == nullptr && inFrames > 0))
        return Fail(outError, AudioError::kBadArgument, impl.path, "there are no frames to write");
    if (!impl.BeginAudio(outError))
        return false;
    const bool isSilence = inFrames > 0 && std::all_of(inPlanes, inPlanes + impl.format.channels,
                                                       [](const float* plane) { return plane == nullptr; });
    if (isSilence && impl.MaySkip(inFrames))
        return impl.Skip(inFrames, outError);
    for (std::int64_t done = 0; done < inFrames;) {
        const std::int64_t count = std::min(TileFrames(impl.format), inFrames - done);
        for (std::size_t channel = 0; channel < impl.planes.size(); ++channel)
            impl.planes[channel] = inPlanes[channel] != nullptr ? inPlanes[channel] + done : nullptr;
        EncodeFrames(impl.format.samples, impl.planes.data(), impl.tile.data(), count, impl.format.channels);
        if (!impl.Append(impl.tile.data(), count, outError))
            return false;
        done += count;
    }
    return true;
}

bool AudioWriter::WriteRaw(const void* inBytes, std::int64_t inFrames, AudioError& outError) {
    Impl& impl = *mImpl;
    if (inFrames < 0 || (inBytes == nullptr && inFrames > 0))
        return Fail(outError, AudioError::kBadArgument, impl.path, "there are no frames to write");
    if (!impl.BeginAudio(outError))
        return false;
    constexpr std::int64_t kBytesAtOnce = std::int64_t{1} << 30;
    const std::int64_t atOnce = kBytesAtOnce / FrameBytes(impl.format);
    const auto* bytes = static_cast<const unsigned char*>(inBytes);
    for (std::int64_t done = 0; done < inFrames;) {
        const std::int64_t count = std::min(atOnce, inFrames - done);
        if (!impl.Append(bytes + done * FrameBytes(impl.format), count, outError))
            return false;
        done += count;
    }
    return true;
}

bool AudioWriter::CopyFrames(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount,
                             AudioError& outError, const AudioProgress& inProgress) {
    Impl& impl = *mImpl;
    const AudioFormat& source = ioReader.Format();
    if (source.channels != impl.format.channels)
        return Fail(outError, AudioError::kBadArgument, impl.path,
                    "it has " + std::to_string(impl.format.channels) + " channels, and the source has " +
                        std::to_string(source.channels));
    if (!ioReader.mImpl->IsInside(inFirst, inCount, outError) || !impl.BeginAudio(outError))
        return false;
    const bool sameValues = source.samples.coding == impl.format.samples.coding &&
                            source.samples.bytesPerSample == impl.format.samples.bytesPerSample;
    const std::int64_t atOnce = TileFrames(impl.format);
    for (std::int64_t done = 0; done < inCount;) {
        const std::int64_t count = std::min(atOnce, inCount - done);
        const bool copied = sameValues ? impl.CopyBytes(ioReader, inFirst + done, count, outError)
                                       : impl.CopyFloats(ioReader, inFirst + done, count, outError);
        if (!copied)
            return false;
        done += count;
        if (inProgress && !inProgress(done, inCount))
            return Fail(outError, AudioError::kCancelled, impl.path, "cancelled");
    }
    return true;
}

bool AudioWriter::Impl::CopyBytes(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount,
                                  AudioError& outError) {
    if (!ioReader.ReadRaw(inFirst, inCount, tile.data(), outError))
        return false;
    Reorder(ioReader.Format().samples, format.samples, tile.data(),
            static_cast<std::int32_t>(inCount * FrameBytes(format)));
    return Append(tile.data(), inCount, outError);
}

bool AudioWriter::Impl::CopyFloats(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount,
                                   AudioError& outError) {
    const auto tileFrames = static_cast<std::size_t>(TileFrames(format));
    if (floats.empty()) {
        floatPlanes.resize(planes.size());
        floats.resize(tileFrames * planes.size());
        for (std::size_t channel = 0; channel < planes.size(); ++channel)
            floatPlanes[channel] = floats.data() + channel * tileFrames;
    }
    if (!ioReader.Read(inFirst, inCount, floatPlanes.data(), outError))
        return false;
    EncodeFrames(format.samples, floatPlanes.data(), tile.data(), inCount, format.channels);
    return Append(tile.data(), inCount, outError);
}

} // namespace kelaudiofile
