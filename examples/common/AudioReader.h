#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "OpenAudio.h"
#include "Samples.h"

namespace examples {

/// A chunk that is neither format nor audio.
struct Metadata {
    std::uint32_t id;
    Bytes data; ///< without its header
    bool beforeAudio;
};

/// A wave or AIFF file, whichever it is. Failures come as exceptions that say what is wrong.
class AudioReader {
public:
    explicit AudioReader(const std::string& inPath) : mPath(inPath), mFile(OpenAudio(inPath)) {
        std::visit([this](auto& file) { Take(*file); }, mFile);
    }

    bool IsWave() const { return mFile.index() == 0; }
    double SampleRate() const { return mSampleRate; }
    std::int32_t Channels() const { return mChannels; }
    std::int64_t Frames() const { return mFrames; }
    std::int64_t FrameBytes() const { return std::int64_t{mChannels} * mForm.bytes; }
    const SampleForm& Form() const { return mForm; }
    const kelmediatypes::ChannelLayout& Layout() const { return mLayout; }

    /// Interleaved samples as they lie in the file.
    void ReadBytes(std::int64_t inFrame, std::int64_t inCount, Bytes& outSamples) {
        outSamples.resize(static_cast<std::size_t>(inCount * FrameBytes()));
        const bool read = std::visit(
            [&](auto& file) {
                return file->ReadSampleBytes(inFrame * FrameBytes(), inCount * FrameBytes(),
                                             outSamples.data());
            },
            mFile);
        if (!read)
            throw Failure(mPath + ": frame " + std::to_string(inFrame) + " cannot be read");
    }

    /// One plane of floats for each channel, full scale 1.0.
    void ReadPlanes(std::int64_t inFrame, std::int64_t inCount, Planes& outPlanes) {
        if (!mDeinterleave)
            throw Failure(mPath + ": there is no routine for samples such as these");
        outPlanes.resize(static_cast<std::size_t>(mChannels));
        for (std::vector<float>& plane : outPlanes)
            plane.resize(static_cast<std::size_t>(inCount));
        const std::int64_t atATime = BlockFrames(FrameBytes());
        for (std::int64_t done = 0; done < inCount; done += atATime)
            DecodeBlock(inFrame + done, std::min(atATime, inCount - done), static_cast<std::size_t>(done),
                        outPlanes);
    }

    std::vector<Metadata> ReadMetadata() {
        return std::visit([this](auto& file) { return ReadMetadataOf(*file); }, mFile);
    }

private:
    void Take(const kelaudiofile::WaveFile& inFile) {
        using kelaudiofile::WaveFile;
        static constexpr SampleForm::Coding kCodings[] = {SampleForm::kInteger, SampleForm::kInteger,
                                                          SampleForm::kFloat, SampleForm::kFloat32768,
                                                          SampleForm::kFloat8388608};
        mForm = {kCodings[inFile.GetSampleType()], inFile.GetBytesPerSample(), false,
                 inFile.GetBytesPerSample() == 1};
        mSampleRate = inFile.GetSampleRate();
        mLayout = inFile.GetChannelLayout();
        mDeinterleave = GetDeinterleaveFunction(inFile);
        TakeCounts(inFile);
    }

    void Take(const kelaudiofile::AiffFile& inFile) {
        using kelaudiofile::AiffFile;
        mForm = {inFile.GetSampleType() == AiffFile::kFloatSamples ? SampleForm::kFloat
                                                                   : SampleForm::kInteger,
                 inFile.GetBytesPerSample(), inFile.GetSampleType() != AiffFile::kLittleEndianIntegerSamples,
                 false};
        mSampleRate = inFile.GetSampleRate();
        mLayout = inFile.GetAudioChannelLayout();
        mDeinterleave = GetDeinterleaveFunction(inFile);
        TakeCounts(inFile);
    }

    template <typename File>
    void TakeCounts(const File& inFile) {
        mChannels = inFile.GetNumChannels();
        mFrames = inFile.GetSampleCount();
        if (mChannels < 1)
            throw Failure(mPath + ": it says that it has " + std::to_string(mChannels) + " channels");
    }

    void DecodeBlock(std::int64_t inFrame, std::int64_t inCount, std::size_t inPlace, Planes& outPlanes) {
        ReadBytes(inFrame, inCount, mBlock);
        Reorder(mBlock, mForm, {mForm.coding, mForm.bytes, false, false});
        for (std::size_t channel = 0; channel < outPlanes.size(); ++channel)
            mDeinterleave(mBlock.data() + channel * static_cast<std::size_t>(mForm.bytes),
                          outPlanes[channel].data() + inPlace, inCount, mChannels);
    }

    template <typename File>
    std::vector<Metadata> ReadMetadataOf(File& inFile) {
        constexpr std::int64_t kHeaderBytes = 8;
        std::vector<Metadata> chunks;
        std::uint32_t id = 0;
        std::int64_t byteCount = 0;
        double position = 0;
        for (std::int32_t i = 0; inFile.GetMetadataInfo(i, id, byteCount, position); ++i) {
            Bytes data(static_cast<std::size_t>(byteCount - kHeaderBytes) + 1); // never without an address
            if (!inFile.ReadMetadataChunk(i, kHeaderBytes, byteCount - kHeaderBytes, data.data()))
                throw Failure(mPath + ": chunk " + IdText(id) + " cannot be read");
            data.pop_back();
            chunks.push_back({id, std::move(data), position < 0.5});
        }
        return chunks;
    }

    std::string mPath;
    AudioFile mFile;
    SampleForm mForm;
    double mSampleRate = 0;
    std::int32_t mChannels = 0;
    std::int64_t mFrames = 0;
    kelmediatypes::ChannelLayout mLayout;
    kelaudiofile::DeinterleaveFunction mDeinterleave = nullptr;
    Bytes mBlock;
};

} // namespace examples
