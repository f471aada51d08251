#include "kelaudiofile/Frames.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "FrameChannels.h"
#include "FramePlan.h"

namespace kelaudiofile {

namespace {

using namespace convert;

/// The file bytes that stay in the L1 cache while one group of channels after another is converted.
constexpr std::size_t kBlockBytes = 16384;
constexpr std::size_t kLeastBlockFrames = 64, kMostSilentFrames = 1024;
/// The number of frames from which it is worthwhile to align blocks to cache lines.
constexpr std::size_t kWorthLines = 256;
constexpr std::size_t kLineBytes = 64;

/// Runs the tiles that touch no byte after the last frame. The final tile may overlap frames that were
/// already converted.
/// @param inByteCount  from the task's first byte to the end of the last frame.
/// @return how many frames are done.
template <typename Task>
std::size_t RunTiles(const FramePlan& inPlan, void (*inConvert)(const Task&), Task& ioTask,
                     std::size_t inByteCount) {
    const std::size_t tileFrames = inPlan.TileFrames(), frames = ioTask.frameCount;
    if (inByteCount < inPlan.Reach())
        return 0;
    const std::size_t lastStart = (inByteCount - inPlan.Reach()) / inPlan.Step();
    const std::size_t done = std::min(frames, lastStart + tileFrames) & ~(tileFrames - 1);
    ioTask.frameCount = done;
    inConvert(ioTask);
    if (done == frames || frames < tileFrames || lastStart < frames - tileFrames)
        return done;
    ioTask.firstFrame = frames - tileFrames;
    ioTask.frameCount = tileFrames;
    inConvert(ioTask);
    return frames;
}

/// A tile with room for everything that its kernel touches.
struct SpareTile {
    explicit SpareTile(const FramePlan& inPlan) : step(inPlan.SharesRows() ? inPlan.Step() : kRowBytes) {}

    /// Returns the same task for this tile.
    template <typename Task>
    Task Replace(const FramePlan& inPlan, const Task& inTask, std::size_t inChannels) {
        for (std::size_t c = 0; c < inPlan.PlanesFor(inChannels); ++c)
            planes[c] = floats[std::min(c, inChannels - 1)];
        return {rows, step, planes, 0, inPlan.TileFrames(), inTask.moves, inTask.flip};
    }

    alignas(kLineBytes) Byte rows[kMostTileFrames * kRowBytes] = {};
    alignas(kLineBytes) float floats[kMostTileChannels][kMostTileFrames];
    float* planes[kMostTileChannels];
    std::size_t step;
};

/// Copies a row: all of it, which is faster, if there is room for it.
void CopyRow(const Byte* in, Byte* out, std::size_t inByteCount, std::size_t inRoom) {
    if (inRoom >= kRowBytes)
        std::memcpy(out, in, kRowBytes);
    else
        std::memcpy(out, in, inByteCount);
}

/// Adjacent channels of a block of frames.
struct Part {
    std::size_t channels;
    std::size_t byteCount; ///< from the first sample to the end of the last frame
    bool isLast;           ///< whether these are the last channels of the frame
};

/// Converts frames that are too few for a tile, or too close to the end.
void DecodeApart(const FramePlan& inPlan, const Part& inPart, const DecodeTask& inTask) {
    SpareTile tile(inPlan);
    const std::size_t rowBytes = inPlan.SampleBytes() * inPart.channels,
                      first = inTask.firstFrame * inTask.step;
    if (inPlan.SharesRows())
        std::memcpy(tile.rows, inTask.bytes + first, inTask.frameCount * rowBytes);
    else
        for (std::size_t f = 0; f < inTask.frameCount; ++f) {
            const std::size_t place = first + f * inTask.step;
            CopyRow(inTask.bytes + place, tile.rows + f * kRowBytes, rowBytes, inPart.byteCount - place);
        }
    inPlan.Decoder(inPart.channels)(tile.Replace(inPlan, inTask, inPart.channels));
    for (std::size_t c = 0; c < inPart.channels; ++c)
        std::memcpy(inTask.planes[c] + inTask.firstFrame, tile.floats[c], inTask.frameCount * sizeof(float));
}

void EncodeApart(const FramePlan& inPlan, const Part& inPart, const EncodeTask& inTask) {
    SpareTile tile(inPlan);
    for (std::size_t c = 0; c < inPart.channels; ++c) {
        std::memset(tile.floats[c], 0, sizeof tile.floats[c]);
        std::memcpy(tile.floats[c], inTask.planes[c] + inTask.firstFrame, inTask.frameCount * sizeof(float));
    }
    inPlan.Encoder(inPart.channels, true)(tile.Replace(inPlan, inTask, inPart.channels));
    const std::size_t rowBytes = inPlan.SampleBytes() * inPart.channels;
    for (std::size_t f = 0; f < inTask.frameCount; ++f) {
        const std::size_t place = (inTask.firstFrame + f) * inTask.step;
        CopyRow(tile.rows + f * tile.step, inTask.bytes + place, rowBytes,
                inPart.isLast ? inPart.byteCount - place : 0);
    }
}

/// @param inConvert  for the frames in tiles.
/// @param inConvertApart  for the others.
template <typename Task>
void ConvertPart(const FramePlan& inPlan, const Part& inPart, Task&& ioTask,
                 void (*inConvert)(const std::remove_reference_t<Task>&),
                 void (*inConvertApart)(const FramePlan&, const Part&,
                                        const std::remove_reference_t<Task>&)) {
    const std::size_t frames = ioTask.frameCount;
    for (std::size_t done = RunTiles(inPlan, inConvert, ioTask, inPart.byteCount); done < frames;
         done += ioTask.frameCount) {
        ioTask.firstFrame = done;
        ioTask.frameCount = std::min(frames - done, inPlan.TileFrames());
        inConvertApart(inPlan, inPart, ioTask);
    }
}

/// A run of frames, all of whose parts are converted before the next run.
struct Block {
    std::size_t first, count;
};

void DecodePart(const FramePlan& inPlan, const Part& inPart, const Byte* in, float* const* inPlanes,
                Block inBlock) {
    float* planes[kMostTileChannels];
    for (std::size_t c = 0; c < inPlan.PlanesFor(inPart.channels); ++c)
        planes[c] = inPlanes[std::min(c, inPart.channels - 1)] + inBlock.first;
    ConvertPart(inPlan, inPart,
                DecodeTask{in, inPlan.Step(), planes, 0, inBlock.count, inPlan.Moves(), inPlan.Flip()},
                inPlan.Decoder(inPart.channels), DecodeApart);
}

void EncodePart(const FramePlan& inPlan, const Part& inPart, const float* const* inPlanes, Byte* out,
                Block inBlock) {
    static constexpr float kSilence[kMostSilentFrames] = {};
    const float* planes[kMostTileChannels];
    for (std::size_t c = 0; c < inPlan.PlanesFor(inPart.channels); ++c) {
        const float* const plane = inPlanes[std::min(c, inPart.channels - 1)];
        planes[c] = plane ? plane + inBlock.first : kSilence;
    }
    ConvertPart(inPlan, inPart,
                EncodeTask{out, inPlan.Step(), planes, 0, inBlock.count, inPlan.Moves(), inPlan.Flip()},
                inPlan.Encoder(inPart.channels, inPart.isLast), EncodeApart);
}

/// Returns the number of frames before the first whole cache line of a plane.
std::size_t FramesToLine(const float* inPlane) {
    return -reinterpret_cast<std::uintptr_t>(inPlane) % kLineBytes / sizeof(float);
}

/// Cache lines that are written in two parts take longer. So the blocks start at a whole line of the first
/// plane, and the frames before it form a block of their own.
/// @param inPlane  the first plane; null if one routine for a single channel converts all frames.
template <typename Convert>
void ForEachBlock(std::size_t inFrames, std::size_t inBlockFrames, const float* inPlane, Convert inConvert) {
    std::size_t done = 0;
    if (inFrames >= kWorthLines && FramesToLine(inPlane) != 0) {
        inConvert(Block{0, kMostTileFrames});
        done = FramesToLine(inPlane);
    }
    for (; done < inFrames; done += inBlockFrames)
        inConvert(Block{done, std::min(inFrames - done, inBlockFrames)});
}

/// Returns a number of whole tiles, or all frames if one group of channels covers them all.
std::size_t BlockFrames(const FramePlan& inPlan, std::size_t inFrames, std::size_t inChannels) {
    if (inChannels <= inPlan.PartChannels())
        return inFrames;
    return std::max(kBlockBytes / inPlan.Step(), kLeastBlockFrames) / kMostTileFrames * kMostTileFrames;
}

} // namespace

bool IsSupported(const SampleFormat& inFormat) {
    const bool hasOrder =
        inFormat.byteOrder == ByteOrder::kLittleEndian || inFormat.byteOrder == ByteOrder::kBigEndian;
    return HasChannelRoutines(inFormat) && hasOrder && (!inFormat.isUnsigned || inFormat.bytesPerSample == 1);
}

void DecodeFrames(const SampleFormat& inFormat, const void* source, float* const* planes, std::int64_t frames,
                  std::int32_t channels) {
    if (!IsSupported(inFormat) || frames == 0)
        return;
    const auto* const in = static_cast<const Byte*>(source);
    const auto frameCount = static_cast<std::size_t>(frames),
               channelCount = static_cast<std::size_t>(channels);
    const FramePlan plan(inFormat, channelCount, std::count(planes, planes + channelCount, nullptr) == 0);
    const bool inTiles = plan.DecodesTiles();
    const std::size_t partChannels = inTiles ? plan.PartChannels() : 1;
    const auto decodeRun = [&](std::size_t inChannel, std::size_t inChannels, Block inBlock) {
        const std::size_t place = inBlock.first * plan.Step() + inChannel * plan.SampleBytes();
        if (inTiles)
            DecodePart(plan, {inChannels, frameCount * plan.Step() - place, false}, in + place,
                       planes + inChannel, inBlock);
        else
            DecodeChannel(inFormat, in + place, planes[inChannel] + inBlock.first, inBlock.count, channels);
    };
    const auto decodeBlock = [&](Block inBlock) {
        std::size_t run = 0; // of wanted channels
        for (std::size_t c = 0; c < channelCount; ++c) {
            run = planes[c] ? run + 1 : 0;
            if (run == partChannels || (run > 0 && (c + 1 == channelCount || !planes[c + 1]))) {
                decodeRun(c + 1 - run, run, inBlock);
                run = 0;
            }
        }
    };
    const bool isOneRun = !inTiles && channelCount == 1;
    ForEachBlock(frameCount, BlockFrames(plan, frameCount, channelCount), isOneRun ? nullptr : planes[0],
                 decodeBlock);
}

void EncodeFrames(const SampleFormat& inFormat, const float* const* planes, void* destination,
                  std::int64_t frames, std::int32_t channels) {
    if (!IsSupported(inFormat) || frames == 0)
        return;
    auto* const out = static_cast<Byte*>(destination);
    const auto frameCount = static_cast<std::size_t>(frames),
               channelCount = static_cast<std::size_t>(channels);
    const FramePlan plan(inFormat, channelCount, true);
    const bool inTiles = plan.EncodesTiles();
    const std::size_t partChannels = inTiles ? plan.PartChannels() : 1;
    const bool hasSilence = std::count(planes, planes + channelCount, nullptr) != 0;
    const auto encodeBlock = [&](Block inBlock) {
        // The last channels first: their rows reach into the next frame, which is written later.
        for (std::size_t end = channelCount, c = 0; end > 0; end = c) {
            c = (end - 1) / partChannels * partChannels;
            const std::size_t place = inBlock.first * plan.Step() + c * plan.SampleBytes();
            if (inTiles)
                EncodePart(plan, {end - c, frameCount * plan.Step() - place, end == channelCount}, planes + c,
                           out + place, inBlock);
            else
                EncodeChannel(inFormat, planes[c] ? planes[c] + inBlock.first : nullptr, out + place,
                              inBlock.count, channels);
        }
    };
    const std::size_t blockFrames = BlockFrames(plan, frameCount, channelCount);
    const bool isOneRun = !inTiles && channelCount == 1;
    ForEachBlock(frameCount, hasSilence ? std::min(blockFrames, kMostSilentFrames) : blockFrames,
                 isOneRun ? nullptr : planes[0], encodeBlock);
}

} // namespace kelaudiofile
