#include "FramePlan.h"

#include <algorithm>

namespace kelaudiofile::convert {

namespace {

/// @param inChannels  the channels of whole frames that share rows, or 0 for rows of partial frames.
constexpr RowMoves MovesFor(std::size_t inBytes, bool inIsBigEndian, std::size_t inChannels) {
    RowMoves moves{};
    moves.fromFile.fill(-1);
    moves.toFile.fill(-1);
    moves.areSwapsAtMost = true;
    const std::size_t room = inBytes == 3 ? 4 : inBytes;
    const std::size_t frames = inChannels == 0 ? 1 : 4 / ElementsFor(inBytes, inChannels);
    const std::size_t samples = inChannels == 0 ? kRowBytes / room : inChannels;
    for (std::size_t frame = 0; frame < frames; ++frame)
        for (std::size_t sample = 0; sample < samples; ++sample) {
            const std::size_t file = (frame * inChannels + sample) * inBytes;
            const std::size_t element = frame * (kRowBytes / frames) + sample * room;
            // 24-bit samples are read into the upper bytes of their elements, and
            // written from the lower ones.
            const std::size_t upper = element + room - inBytes;
            for (std::size_t b = 0; b < inBytes; ++b) {
                const std::size_t inFile = file + (inIsBigEndian ? inBytes - 1 - b : b);
                moves.fromFile[upper + b] = static_cast<signed char>(inFile);
                moves.toFile[inFile] = static_cast<signed char>(element + b);
                moves.areNeeded |= inFile != upper + b;
            }
            moves.areSwapsAtMost &= file == upper;
        }
    return moves;
}

/// Indexed by byte order, bytes per sample, and the channels of whole frames.
struct MovesTable {
    RowMoves rows[2][4][9];
};

constexpr MovesTable kMoves = [] {
    MovesTable table{};
    for (std::size_t bytes = 1; bytes <= 4; ++bytes)
        for (std::size_t channels = 0; ElementsFor(bytes, channels) <= 2; ++channels)
            for (const bool isBigEndian : {false, true})
                table.rows[isBigEndian][bytes - 1][channels] = MovesFor(bytes, isBigEndian, channels);
    return table;
}();

TileKind KindOf(const SampleFormat& inFormat) {
    switch (inFormat.coding) {
    case SampleCoding::kInteger: // of 1 to 4 bytes
        // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange)
        return static_cast<TileKind>(kInteger8 + inFormat.bytesPerSample - 1);
    case SampleCoding::kFloat_1:
        return kFloat1;
    case SampleCoding::kFloat_32768:
        return kFloat32768;
    default:
        return kFloat8388608;
    }
}

} // namespace

FramePlan::FramePlan(const SampleFormat& inFormat, std::size_t inChannels, bool inTakesAll)
    : mSampleBytes(static_cast<std::size_t>(inFormat.bytesPerSample)), mStep(mSampleBytes * inChannels) {
    const bool isBigEndian = inFormat.byteOrder == ByteOrder::kBigEndian && mSampleBytes > 1;
    mAreSingle = inChannels == 1 && !isBigEndian;
    mAreSingle |= inChannels == 2 && mSampleBytes == 1 && !inFormat.isUnsigned;
    if (mSampleBytes > 4)
        return;
    mTiles = WideTiles(KindOf(inFormat));
    const bool areWide = mTiles != nullptr;
    if (!areWide) {
        mTiles = NarrowTiles(KindOf(inFormat));
        mTileFrames /= 2;
    }
    const std::size_t elements = ElementsFor(mSampleBytes, inChannels);
    const RowMoves* const moves = kMoves.rows[isBigEndian][mSampleBytes - 1];
    mMoves = moves;
    if (inTakesAll && elements <= 2 && (areWide || moves[inChannels].areSwapsAtMost)) {
        mMoves = &moves[inChannels];
        mFramesPerRow = elements == 1 ? 4 : 2;
    }
    if (!areWide && !mMoves->areSwapsAtMost)
        mTiles = nullptr;
    mFlip = inFormat.isUnsigned ? 0x80808080 : 0;
    if (mTiles)
        mPartChannels = std::min(4 * SamplesPerElement(mSampleBytes), kMostTileChannels);
}

std::size_t FramePlan::PlanesFor(std::size_t inChannels) const {
    return SharesRows() ? inChannels
                        : ElementsFor(mSampleBytes, inChannels) * SamplesPerElement(mSampleBytes);
}

const TileKernels& FramePlan::Kernels(std::size_t inChannels) const {
    return SharesRows() ? mTiles->wholeFrames[inChannels]
                        : mTiles->parts[ElementsFor(mSampleBytes, inChannels)];
}

DecodeTiles FramePlan::Decoder(std::size_t inChannels) const {
    return mMoves->areNeeded ? Kernels(inChannels).decodeMoved : Kernels(inChannels).decode;
}

EncodeTiles FramePlan::Encoder(std::size_t inChannels, bool inIsLast) const {
    if (!inIsLast && mSampleBytes % 2 == 1)
        return Kernels(inChannels).encodeExactly;
    return mMoves->areNeeded ? Kernels(inChannels).encodeMoved : Kernels(inChannels).encode;
}

} // namespace kelaudiofile::convert
