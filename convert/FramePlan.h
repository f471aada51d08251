#pragma once

#include "FrameTiles.h"
#include "kelaudiofile/Frames.h"

namespace kelaudiofile::convert {

/// Selects the tiles that convert the frames of one call, if any.
class FramePlan {
public:
    /// @param inTakesAll  whether all channels of the frames are converted.
    FramePlan(const SampleFormat& inFormat, std::size_t inChannels, bool inTakesAll);

    std::size_t SampleBytes() const { return mSampleBytes; }
    std::size_t Step() const { return mStep; } ///< bytes from frame to frame
    std::size_t TileFrames() const { return mTileFrames; }
    bool SharesRows() const { return mFramesPerRow > 1; }
    /// Returns how many channels are converted at once.
    std::size_t PartChannels() const { return mPartChannels; }
    /// Returns how many planes the tiles for this many channels need.
    std::size_t PlanesFor(std::size_t inChannels) const;
    const RowMoves* Moves() const { return mMoves; }
    std::uint32_t Flip() const { return mFlip; }

    /// Whether tiles exist and are faster than the single-channel routines.
    bool DecodesTiles() const { return mTiles && !mAreSingle; }
    bool EncodesTiles() const { return mTiles && !(mAreSingle && mSampleBytes == 4); }
    /// Returns the tiles for this many channels.
    DecodeTiles Decoder(std::size_t inChannels) const;
    /// @param inIsLast  whether no more channels follow in the frame, so that whole rows may be written.
    EncodeTiles Encoder(std::size_t inChannels, bool inIsLast) const;

    /// Returns how many bytes a tile touches, from its first frame on.
    std::size_t Reach() const { return (mTileFrames - mFramesPerRow) * mStep + kRowBytes; }

private:
    const TileKernels& Kernels(std::size_t inChannels) const;

    std::size_t mSampleBytes, mStep;
    std::size_t mTileFrames = kMostTileFrames, mFramesPerRow = 1, mPartChannels = 1;
    const TileTable* mTiles = nullptr;
    const RowMoves* mMoves = nullptr;
    std::uint32_t mFlip = 0;
    bool mAreSingle; ///< whether the single-channel routines decode faster
};

} // namespace kelaudiofile::convert
