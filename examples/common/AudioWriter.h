#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "Samples.h"
#include "kelaudiofile/AiffFile.h"
#include "kelaudiofile/ChannelMask.h"
#include "kelaudiofile/WaveFile.h"

namespace examples {

/// What a file is to be.
struct AudioShape {
    bool wave = true;
    bool rf64 = false; ///< a wave file may turn into RF64
    double sampleRate = 48000;
    std::int32_t channels = 2;
    SampleForm form;
    kelmediatypes::ChannelLayout layout;
};

/// The layout to write for channels without positions: the plain forms of a wave file are mono and stereo.
inline kelmediatypes::ChannelLayout UsualLayout(std::int32_t inChannels) {
    if (inChannels == 1)
        return kelmediatypes::CreateMonoChannelLayout();
    return inChannels == 2 ? kelmediatypes::CreateStereoChannelLayout() : kelmediatypes::ChannelLayout();
}

inline bool HasPositions(const kelmediatypes::ChannelLayout& inLayout) {
    return std::any_of(inLayout.begin(), inLayout.end(), [](auto channel) { return channel.Value() != 0; });
}

/// A wave or AIFF file under writing, whose samples come as the file is to hold them. Failures come as
/// exceptions that say what is wrong.
class AudioWriter {
public:
    AudioWriter(const std::string& inPath, const AudioShape& inShape) : mPath(inPath) {
        inShape.wave ? OpenWave(inShape) : OpenAiff(inShape);
    }

    void WriteBytes(const Bytes& inSamples) {
        const auto count = static_cast<std::int32_t>(inSamples.size());
        std::visit(
            [&](auto& file) {
                typename std::decay_t<decltype(*file)>::ExtendedErrorInfo error;
                if (!file->WriteSampleBytes(mOffset, count, inSamples.data(), error))
                    throw Trouble(mPath, WhyNot(error));
            },
            mFile);
        mOffset += count;
    }

    /// Between the audio and the next chunk; nothing to do in an AIFF file, where nothing comes behind it.
    void FinishSamples() {
        if (const auto* wave = std::get_if<Wave>(&mFile); wave && !(*wave)->FinishSamples())
            throw Failure(mPath + ": the audio cannot be completed");
    }

    void WriteMetadata(std::uint32_t inId, const Bytes& inData) {
        const bool written = std::visit(
            [&](auto& file) {
                return file->StartMetadatumWrite(inId) &&
                       (inData.empty() ||
                        file->MetadatumWrite(inData.data(), static_cast<std::int32_t>(inData.size()))) &&
                       file->FinishMetadatumWrite();
            },
            mFile);
        if (!written)
            throw Failure(mPath + ": chunk " + IdText(inId) + " cannot be written");
    }

    void Finish() {
        kelaudiofile::AiffFile::ExtendedErrorInfo ignored;
        const auto* wave = std::get_if<Wave>(&mFile);
        if (wave ? !(*wave)->FinishWrite() : !std::get<Aiff>(mFile)->FinishWrite(false, ignored))
            throw Failure(mPath + ": the file cannot be completed");
    }

private:
    using Wave = std::unique_ptr<kelaudiofile::WaveFile>;
    using Aiff = std::unique_ptr<kelaudiofile::AiffFile>;

    void OpenWave(const AudioShape& inShape) {
        using kelaudiofile::WaveFile;
        static constexpr WaveFile::SampleType kTypes[] = {
            WaveFile::kIntegerSamples, WaveFile::kFloatSamples_1, WaveFile::kFloatSamples_32768,
            WaveFile::kFloatSamples_8388608};
        WaveFile::ExtendedErrorInfo error;
        Wave file(WaveFile::OpenForWrite(
            kelcore::ToUTF8String(mPath), static_cast<std::int32_t>(std::lround(inShape.sampleRate)),
            inShape.channels, inShape.form.bytes, inShape.form.bytes * 8, kTypes[inShape.form.coding],
            inShape.layout, inShape.rf64 ? 1 : 0, error, false));
        if (!file)
            throw Trouble(mPath, WhyNot(error));
        mFile = std::move(file);
    }

    void OpenAiff(const AudioShape& inShape) {
        using kelaudiofile::AiffFile;
        const auto type = inShape.form.coding == SampleForm::kFloat ? AiffFile::kFloatSamples
                          : inShape.form.bigEndian                  ? AiffFile::kBigEndianIntegerSamples
                                                                    : AiffFile::kLittleEndianIntegerSamples;
        AiffFile::ExtendedErrorInfo error;
        Aiff file(AiffFile::OpenForWrite(
            kelcore::ToUTF8String(mPath), static_cast<std::int32_t>(std::lround(inShape.sampleRate)),
            inShape.channels, inShape.form.bytes * 8, type, inShape.layout, error));
        if (!file)
            throw Trouble(mPath, WhyNot(error));
        mFile = std::move(file);
    }

    std::string mPath;
    std::variant<Wave, Aiff> mFile;
    std::int64_t mOffset = 0;
};

} // namespace examples
