#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "SampleLanes.h"

/// Blocks of frames are converted in tiles, all channels at once. A row of a tile is 16 bytes of a frame:
/// four elements of four bytes, each of which holds one sample, two of 16 bits or four of 8 bits. Transposing
/// a tile gives four columns, each with one element of several frames, and shifts split a column into
/// channels:
///
///     frame 0   a0 b0 | c0 d0 | e0 f0 | g0 h0          a0 b0    c0 d0
///     frame 1   a1 b1 | c1 d1 | e1 f1 | g1 h1    ->    a1 b1    c1 d1    ...    ->    a0 a1 a2 a3
///     frame 2   a2 b2 | c2 d2 | e2 f2 | g2 h2          a2 b2    c2 d2                 b0 b1 b2 b3
///     frame 3   a3 b3 | c3 d3 | e3 f3 | g3 h3          a3 b3    c3 d3                 ...
///
/// Frames of one or two elements share a row, which then takes less transposing or none. Vectors of 32 bytes
/// hold two rows, those of frames n and n + 4, so that nothing ever moves between their halves. Encoding
/// takes the same steps backwards.
namespace kelaudiofile::convert {

constexpr std::size_t kRowBytes = 16;
constexpr std::size_t kMostTileFrames = 16;
/// More planes at once, where they all begin at one place of their pages, would not find room in a cache.
constexpr std::size_t kMostTileChannels = 8;

constexpr std::size_t SamplesPerElement(std::size_t inBytes) {
    return inBytes == 1 ? 4 : inBytes == 2 ? 2 : 1;
}

/// @return how many elements hold the samples of that many channels.
constexpr std::size_t ElementsFor(std::size_t inBytes, std::size_t inChannels) {
    return inBytes == 1 ? (inChannels + 3) / 4 : inBytes == 2 ? (inChannels + 1) / 2 : inChannels;
}

/// For each byte of a row, where it comes from, or -1 for a zero.
using Places = std::array<signed char, kRowBytes>;

/// How the bytes of a row lie in the file and in the elements.
struct RowMoves {
    Places fromFile, toFile;
    bool areNeeded;      ///< in the file they lie otherwise
    bool areSwapsAtMost; ///< only the bytes of each sample are reversed
};

/// Neighbouring channels of a run of frames.
template <typename FileByte, typename Plane>
struct TileTask {
    FileByte* bytes;                    ///< of the first channel's first sample
    std::size_t step;                   ///< bytes from frame to frame
    Plane* const* planes;               ///< as many as FramePlan::PlanesFor says
    std::size_t firstFrame, frameCount; ///< the latter in whole tiles
    const RowMoves* moves;
    std::uint32_t flip; ///< bits of each element to flip
};

using DecodeTask = TileTask<const Byte, float>;
using EncodeTask = TileTask<Byte, const float>;
using DecodeTiles = void (*)(const DecodeTask&);
using EncodeTiles = void (*)(const EncodeTask&);

/// Tiles whose bytes lie in the file as in their elements, and others. Null where there are none.
struct TileKernels {
    DecodeTiles decode, decodeMoved;
    EncodeTiles encode, encodeMoved;
    EncodeTiles encodeExactly; ///< for parts of frames that are shorter than a row: stores no more than them
};

struct TileTable {
    TileKernels wholeFrames[kMostTileChannels + 1]; ///< several to a row; by the number of channels
    TileKernels parts[5]; ///< by the number of elements, which may have room for more channels
};

/// The kinds of samples that have tiles.
enum TileKind {
    kInteger8,
    kInteger16,
    kInteger24,
    kInteger32,
    kFloat1,
    kFloat32768,
    kFloat8388608,
    kTileKinds
};

/// @return tiles of kMostTileFrames, which can move bytes anywhere; null where the processor has no vectors
/// of 32 bytes.
const TileTable* WideTiles(TileKind inKind);

/// @return tiles of half as many frames, which can swap bytes but not move them otherwise; null where numbers
/// are big-endian.
const TileTable* NarrowTiles(TileKind inKind);

} // namespace kelaudiofile::convert
