#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "SampleLanes.h"

/// Blocks of frames are converted in tiles, all channels at once. A row of a tile is 16 bytes of a frame:
/// four elements of four bytes, each of which holds one sample, two samples of 16 bits or four of 8 bits.
/// Transposing a tile gives four columns, each with one element of several frames, and shifts split a column
/// into channels:
///
///     frame 0   a0 b0 | c0 d0 | e0 f0 | g0 h0          a0 b0    c0 d0
///     frame 1   a1 b1 | c1 d1 | e1 f1 | g1 h1    ->    a1 b1    c1 d1    ...    ->    a0 a1 a2 a3
///     frame 2   a2 b2 | c2 d2 | e2 f2 | g2 h2          a2 b2    c2 d2                 b0 b1 b2 b3
///     frame 3   a3 b3 | c3 d3 | e3 f3 | g3 h3          a3 b3    c3 d3                 ...
///
/// Frames of one or two elements share a row, which then needs less transposing or none. Vectors of 32 bytes
/// hold two rows, those of frames n and n + 4, so that nothing ever moves between their halves. Encoding
/// performs the same steps in reverse.
namespace kelaudiofile::convert {

constexpr std::size_t kRowBytes = 16;
constexpr std::size_t kMostTileFrames = 16;
/// With more planes at once, all beginning at the same offset within their pages, the
/// cache would run out of ways.
constexpr std::size_t kMostTileChannels = 8;

constexpr std::size_t SamplesPerElement(std::size_t inBytes) {
    return inBytes == 1 ? 4 : inBytes == 2 ? 2 : 1;
}

/// Returns how many elements hold the samples of that many channels.
constexpr std::size_t ElementsFor(std::size_t inBytes, std::size_t inChannels) {
    return inBytes == 1 ? (inChannels + 3) / 4 : inBytes == 2 ? (inChannels + 1) / 2 : inChannels;
}

/// The source of each byte of a row, or -1 for a zero.
using Places = std::array<signed char, kRowBytes>;

/// Converts the bytes of a row between their order in the file and in the elements.
struct RowMoves {
    Places fromFile, toFile;
    bool areNeeded;      ///< whether the two orders differ
    bool areSwapsAtMost; ///< whether at most the bytes of each sample are reversed
};

/// Adjacent channels of a run of frames.
template <typename FileByte, typename Plane>
struct TileTask {
    FileByte* bytes;                    ///< of the first channel's first sample
    std::size_t step;                   ///< bytes from frame to frame
    Plane* const* planes;               ///< as many as FramePlan::PlanesFor returns
    std::size_t firstFrame, frameCount; ///< the latter a multiple of the tile size
    const RowMoves* moves;
    std::uint32_t flip; ///< bits of each element to flip
};

using DecodeTask = TileTask<const Byte, float>;
using EncodeTask = TileTask<Byte, const float>;
using DecodeTiles = void (*)(const DecodeTask&);
using EncodeTiles = void (*)(const EncodeTask&);

/// Kernels for tiles whose bytes are in the same order in the file and in the elements, and for others. Null
/// if there are none.
struct TileKernels {
    DecodeTiles decode, decodeMoved;
    EncodeTiles encode, encodeMoved;
    EncodeTiles encodeExactly; ///< for partial frames shorter than a row: stores only their bytes
};

struct TileTable {
    TileKernels wholeFrames[kMostTileChannels + 1]; ///< several per row; indexed by the number of channels
    TileKernels parts[5]; ///< indexed by the number of elements, which may have room for more channels
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

/// Returns tiles of kMostTileFrames frames, which can move bytes anywhere; null if the processor has no
/// 32-byte vectors.
const TileTable* WideTiles(TileKind inKind);

/// Returns tiles of half as many frames, which can swap bytes but not move them in other ways; null on
/// big-endian machines.
const TileTable* NarrowTiles(TileKind inKind);

} // namespace kelaudiofile::convert
