#include "kelaudiofile/HashWaveFile.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "kelaudiofile/WaveFile.h"
#include "kelcore/config.h"
#include "kelcore/debug.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

using kelcore::ToUTF8String;
using kelcore::UTF8String;
using kelcore::config::kel_exception;

namespace {

using Consumer = std::function<void(const unsigned char*, std::uint64_t)>;

// Part of the definition of the hash: it determines the order of samples of several channels.
constexpr std::int64_t kBlockFrames = 8192;

// Not __FILE__, which would make the library depend on the folder in which it is built.
constexpr const char kSourceFile[] = "wav/src/HashWaveFile.cpp";

struct AudioRange {
    std::int64_t duration; // frames
    std::int64_t start;
};

kel_exception MakeException(UTF8String inMessage, const char* inFunction, const char* inExpression,
                            std::int64_t inLine) {
    kel_exception exception{kelcore::utility::StringValue(std::move(inMessage))};
    exception.AddAdditionalData({{kelcore::debug::kDebugSourceFile, ToUTF8String(kSourceFile)},
                                 {kelcore::debug::kDebugSourceLine, inLine},
                                 {kelcore::debug::kDebugSourceFunction, ToUTF8String(inFunction)},
                                 {kelcore::debug::kDebugExpression, ToUTF8String(inExpression)}});
    return exception;
}

/// Decodes a range of frames block by block, each channel into one reused plane.
class BlockDecoder {
public:
    BlockDecoder(WaveFile& inWaveFile, std::int64_t inDuration)
        : mWaveFile(inWaveFile), mChannels(inWaveFile.GetNumChannels()),
          mBytesPerSample(inWaveFile.GetBytesPerSample()), mRoutine(GetDeinterleaveFunction(inWaveFile)) {
        if (!CanDecode())
            return;
        const auto frames = static_cast<std::size_t>(std::clamp<std::int64_t>(inDuration, 0, kBlockFrames));
        mBytes.resize(frames * static_cast<std::size_t>(FrameBytes()));
        mPlane.resize(frames);
    }

    bool CanDecode() const { return mRoutine != nullptr && mChannels >= 1; }

    /// @param inTake  called for each channel with its plane. @return false if the block cannot be read.
    template <typename Take>
    bool Decode(std::int64_t inStart, std::int64_t inFrames, Take inTake) {
        if (!mWaveFile.ReadSampleBytes(inStart * FrameBytes(), inFrames * FrameBytes(), mBytes.data()))
            return false;
        for (std::int32_t channel = 0; channel < mChannels; ++channel) {
            mRoutine(mBytes.data() + std::ptrdiff_t{channel} * mBytesPerSample, mPlane.data(), inFrames,
                     mChannels);
            inTake(mPlane.data());
        }
        return true;
    }

private:
    std::int64_t FrameBytes() const { return std::int64_t{mChannels} * mBytesPerSample; }

    WaveFile& mWaveFile;
    std::int32_t mChannels;
    std::int32_t mBytesPerSample;
    DeinterleaveFunction mRoutine;
    std::vector<unsigned char> mBytes;
    std::vector<float> mPlane;
};

bool IsSound(float inSample) {
    return !(inSample == 0.0f);
} // NaN is not silent, -0.0 is

AudioRange FindAudioRange(WaveFile& waveFile) {
    const std::int64_t count = waveFile.GetSampleCount();
    if (count == 0)
        return {0, 0};
    BlockDecoder decoder(waveFile, count);
    if (!decoder.CanDecode())
        return {count, 0}; // nothing is known to be silent; hashing the range reports the failure
    std::int64_t first = count, last = 0;
    for (std::int64_t start = 0; start < count; start += kBlockFrames) {
        const std::int64_t frames = std::min(count - start, kBlockFrames);
        const bool wasRead = decoder.Decode(start, frames, [&](const float* inPlane) {
            const float* const end = inPlane + frames;
            const float* const sound = std::find_if(inPlane, end, IsSound);
            if (sound == end)
                return;
            const float* lastSound = end - 1;
            while (!IsSound(*lastSound))
                --lastSound;
            first = std::min(first, start + (sound - inPlane));
            last = std::max(last, start + (lastSound - inPlane));
        });
        if (!wasRead)
            break;
    }
    return {last < first ? 0 : last - first + 1, first};
}

void HashWaveFileRange(WaveFile& waveFile, const Consumer& inConsumer, std::int64_t inStart,
                       std::int64_t inDuration) {
    std::int64_t processedSamples = 0;
    BlockDecoder decoder(waveFile, inDuration);
    while (processedSamples != inDuration && decoder.CanDecode()) {
        const std::int64_t frames = std::min(inDuration - processedSamples, kBlockFrames);
        const bool wasRead = decoder.Decode(inStart + processedSamples, frames, [&](const float* inPlane) {
            inConsumer(reinterpret_cast<const unsigned char*>(inPlane),
                       static_cast<std::uint64_t>(frames) * sizeof(float));
        });
        if (!wasRead)
            break;
        processedSamples += frames;
    }
    if (processedSamples != inDuration)
        throw MakeException(ToUTF8String("Failed to hash the wave file."),
                            "kelaudiofile::`anonymous-namespace'::HashWaveFileRange",
                            "processedSamples != inDuration", __LINE__);
}

} // namespace

void HashWaveFile(const Consumer& inConsumer, const UTF8String& inFilePath, bool inTrimSilence) {
    if (!kelcore::utility::FileUtils::FileExists(inFilePath))
        throw MakeException(kelcore::string::ReplaceInString(
                                ToUTF8String("The wave file '@0' does not exist."), {inFilePath}),
                            "kelaudiofile::HashWaveFile",
                            "!kelcore::utility::FileUtils::FileExists(inFilePath)", __LINE__);
    WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<WaveFile> waveFile(WaveFile::OpenForRead(inFilePath, error, false));
    if (!waveFile) {
        kelcore::oUTF8StringStream code;
        code << error.code;
        throw MakeException(kelcore::string::ReplaceInString(
                                ToUTF8String("Failed to open the wave file '@0' with error code @1."),
                                {inFilePath, code.str()}),
                            "kelaudiofile::HashWaveFile", "!waveFile", __LINE__);
    }
    const AudioRange range =
        inTrimSilence ? FindAudioRange(*waveFile) : AudioRange{waveFile->GetSampleCount(), 0};
    HashWaveFileRange(*waveFile, inConsumer, range.start, range.duration);
}

} // namespace kelaudiofile
