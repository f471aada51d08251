// Operations on all frames of a file: hashing and peaks.

#include <algorithm>
#include <bit>
#include <cmath>

#include "AudioReaderImpl.h"
#include "bytes/ByteOrder.h"
#include "kelaudiofile/MakePeaks.h"

namespace kelaudiofile {

namespace {

constexpr std::int64_t kBlockFrames = 8192; // part of the definition of the digest

/// The planes of a block, one after the other in one buffer.
class Planes {
public:
    Planes(const AudioReader& inReader, std::int64_t inMostFrames)
        : mFrames(std::min(inMostFrames, std::max<std::int64_t>(inReader.Frames(), 1))),
          mFloats(static_cast<std::size_t>(mFrames * inReader.Format().channels)) {
        for (std::int32_t channel = 0; channel < inReader.Format().channels; ++channel)
            mPointers.push_back(mFloats.data() + channel * mFrames);
    }
    Planes(const Planes&) = delete;
    Planes& operator=(const Planes&) = delete;

    std::int64_t Frames() const { return mFrames; }
    float* const* Pointers() const { return mPointers.data(); }
    const std::vector<float*>& Each() const { return mPointers; }

private:
    std::int64_t mFrames;
    std::vector<float> mFloats;
    std::vector<float*> mPointers;
};

/// Reads a range block by block.
/// @param inTake  called with the first frame of each block and its count.
/// @return false with outError set after a failed read, or if the progress function returns false.
template <typename Take>
bool ForEachBlock(AudioReader& ioReader, std::int64_t inStart, std::int64_t inEnd, Planes& ioPlanes,
                  const AudioProgress& inProgress, AudioError& outError, Take&& inTake) {
    for (std::int64_t frame = inStart; frame < inEnd;) {
        const std::int64_t count = std::min(ioPlanes.Frames(), inEnd - frame);
        if (!ioReader.Read(frame, count, ioPlanes.Pointers(), outError))
            return false;
        inTake(frame, count);
        frame += count;
        if (inProgress && !inProgress(frame - inStart, inEnd - inStart))
            return Fail(outError, AudioError::kCancelled, "", "cancelled");
    }
    return true;
}

/// The remaining part of a longer operation.
AudioProgress After(std::int64_t inDone, std::int64_t inTotal, const AudioProgress& inProgress) {
    if (!inProgress)
        return {};
    return [=, &inProgress](std::int64_t done, std::int64_t) { return inProgress(inDone + done, inTotal); };
}

struct FrameRange {
    std::int64_t start, end;
};

/// Narrows a range to the frames from the first to the last sample that is not 0.0.
bool TrimSilence(AudioReader& ioReader, Planes& ioPlanes, FrameRange& ioRange,
                 const AudioProgress& inProgress, AudioError& outError) {
    FrameRange sound = {ioRange.end, ioRange.start};
    const auto isSound = [](float sample) { return sample != 0.0f; };
    const bool read =
        ForEachBlock(ioReader, ioRange.start, ioRange.end, ioPlanes, inProgress, outError,
                     [&](std::int64_t frame, std::int64_t count) {
                         for (const float* plane : ioPlanes.Each()) {
                             const float* const first = std::find_if(plane, plane + count, isSound);
                             if (first == plane + count)
                                 continue;
                             const auto last = std::find_if(std::make_reverse_iterator(plane + count),
                                                            std::make_reverse_iterator(first), isSound);
                             sound.start = std::min(sound.start, frame + (first - plane));
                             sound.end = std::max(sound.end, frame + (last.base() - plane));
                         }
                     });
    ioRange = sound.start < sound.end ? sound : FrameRange{0, 0};
    return read;
}

void ToLittleEndian(float* ioSamples, std::int64_t inCount) {
    if constexpr (std::endian::native == std::endian::big)
        for (std::int64_t i = 0; i < inCount; ++i)
            bytes::StoreLittle32(reinterpret_cast<bytes::Byte*>(ioSamples + i),
                                 std::bit_cast<std::uint32_t>(ioSamples[i]));
}

} // namespace

bool HashAudio(std::string_view inPath,
               const std::function<void(const unsigned char* inBytes, std::uint64_t inByteCount)>& inUpdate,
               const HashOptions& inOptions, AudioError& outError) {
    const auto reader = AudioReader::Open(inPath, outError);
    if (!reader)
        return false;
    bytes::Byte shape[12];
    bytes::StoreLittle32(shape, static_cast<std::uint32_t>(reader->Format().channels));
    bytes::StoreLittle64(shape + 4, std::bit_cast<std::uint64_t>(reader->Format().sampleRate));
    inUpdate(shape, sizeof shape);

    Planes planes(*reader, kBlockFrames);
    FrameRange range = {0, reader->Frames()};
    const std::int64_t total = (inOptions.trimSilence ? 2 : 1) * reader->Frames();
    if (inOptions.trimSilence &&
        !TrimSilence(*reader, planes, range, After(0, total, inOptions.progress), outError))
        return false;
    const std::int64_t done = total - (range.end - range.start);
    return ForEachBlock(*reader, range.start, range.end, planes, After(done, total, inOptions.progress),
                        outError, [&](std::int64_t, std::int64_t count) {
                            for (float* plane : planes.Each()) {
                                ToLittleEndian(plane, count);
                                inUpdate(reinterpret_cast<const unsigned char*>(plane),
                                         static_cast<std::uint64_t>(count) * sizeof(float));
                            }
                        });
}

namespace {

/// Accumulates the peaks of one channel. Its frames come in runs of any length.
class PeakRun {
public:
    explicit PeakRun(std::int64_t inBlockFrames) : mBlockFrames(inBlockFrames) {}

    void Add(const float* inSamples, std::int64_t inCount) {
        const std::int64_t rest = std::min(mMissing, inCount);
        if (rest > 0) {
            const PeakDatum more = *kelaudiofile::MakePeaks(inSamples, rest, rest).begin();
            const bool counts = HasNumber(inSamples, rest); // nothing but NaN would make it 0.0
            if (counts && mHasNumber) {
                mDatums.back().min = std::min(mDatums.back().min, more.min);
                mDatums.back().max = std::max(mDatums.back().max, more.max);
            } else if (counts) {
                mDatums.back() = more;
            }
            mHasNumber = mHasNumber || counts;
        }
        mMissing -= rest;
        if (rest == inCount)
            return;
        const auto peaks = kelaudiofile::MakePeaks(inSamples + rest, inCount - rest, mBlockFrames);
        mDatums.insert(mDatums.end(), peaks.begin(), peaks.end());
        const std::int64_t begun = (inCount - rest) % mBlockFrames;
        mMissing = begun > 0 ? mBlockFrames - begun : 0;
        mHasNumber = HasNumber(inSamples + inCount - begun, begun);
    }

    std::shared_ptr<PeakData> Timeline() && {
        auto timeline = std::make_shared<PeakData>();
        const PeakDatum last = mDatums.empty() ? PeakDatum() : mDatums.back();
        if (mMissing > 0)
            mDatums.pop_back();
        const auto whole = static_cast<std::int64_t>(mDatums.size()) * mBlockFrames;
        if (whole > 0)
            timeline->Append(0, mBlockFrames, std::move(mDatums));
        if (mMissing > 0)
            timeline->Append(whole, mBlockFrames - mMissing, PeakDatumVector(1, last));
        return timeline;
    }

private:
    std::int64_t mBlockFrames;
    static bool HasNumber(const float* inSamples, std::int64_t inCount) {
        return std::any_of(inSamples, inSamples + inCount, [](float sample) { return !std::isnan(sample); });
    }

    bool mHasNumber = false;   ///< in the last datum, while it lacks frames
    std::int64_t mMissing = 0; ///< frames that the last datum still lacks
    PeakDatumVector mDatums;
};

} // namespace

std::vector<std::shared_ptr<PeakData>> MakePeaks(AudioReader& ioReader, std::int64_t inBlockFrames,
                                                 const AudioProgress& inProgress, AudioError& outError) {
    std::vector<std::shared_ptr<PeakData>> timelines;
    if (inBlockFrames < 1) {
        Fail(outError, AudioError::kBadArgument, "", "a peak needs at least one frame");
        return timelines;
    }
    Planes planes(ioReader, kBlockFrames);
    std::vector<PeakRun> runs(planes.Each().size(), PeakRun(inBlockFrames));
    const bool read = ForEachBlock(ioReader, 0, ioReader.Frames(), planes, inProgress, outError,
                                   [&](std::int64_t, std::int64_t count) {
                                       for (std::size_t channel = 0; channel < runs.size(); ++channel)
                                           runs[channel].Add(planes.Each()[channel], count);
                                   });
    if (read)
        for (PeakRun& run : runs)
            timelines.push_back(std::move(run).Timeline());
    return timelines;
}

} // namespace kelaudiofile
