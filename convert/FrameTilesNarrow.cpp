#include "FrameTiles.h"

#include <bit>

#define KELAUDIOFILE_TILE

namespace kelaudiofile::convert {

namespace {

using Words = Lanes<std::uint32_t>;
constexpr std::size_t kVectorFrames = 4;
constexpr bool kMovesAnywhere = false;

inline Words LoadRows(const Byte* in, std::size_t) {
    return Load<Words>(in);
}

template <std::size_t kStoredBytes>
inline void StoreFirstRow(Byte* out, Words in) {
    std::memcpy(out, &in, kStoredBytes);
}

template <std::size_t kStoredBytes>
inline void StoreSecondRow(Byte*, Words) {}

inline Words LoadPlaces(const Places&) {
    return Words{};
}

/// Swaps the bytes of each sample.
template <std::size_t kBytes>
inline Words MoveBytes(Words in, Words) {
    const Words swapped = (in << 8 & 0xFF00FF00) | (in >> 8 & 0x00FF00FF);
    return kBytes == 2 ? swapped : swapped << 16 | swapped >> 16;
}

inline Words Fill(std::uint32_t in) {
    return Words{} + in;
}

inline Words Flip(Words in, Words inFlip) {
    return in ^ inFlip;
}

inline void Transpose(Words (&ioTile)[4]) {
    const Words low01 = Shuffled<0, 4, 1, 5>(ioTile[0], ioTile[1]);
    const Words high01 = Shuffled<2, 6, 3, 7>(ioTile[0], ioTile[1]);
    const Words low23 = Shuffled<0, 4, 1, 5>(ioTile[2], ioTile[3]);
    const Words high23 = Shuffled<2, 6, 3, 7>(ioTile[2], ioTile[3]);
    ioTile[0] = Shuffled<0, 1, 4, 5>(low01, low23);
    ioTile[1] = Shuffled<2, 3, 6, 7>(low01, low23);
    ioTile[2] = Shuffled<0, 1, 4, 5>(high01, high23);
    ioTile[3] = Shuffled<2, 3, 6, 7>(high01, high23);
}

inline void SplitPairs(Words& ioFirst, Words& ioSecond) {
    const Words first = ioFirst, second = ioSecond;
    ioFirst = Shuffled<0, 2, 4, 6>(first, second);
    ioSecond = Shuffled<1, 3, 5, 7>(first, second);
}

inline void JoinPairs(Words& ioFirst, Words& ioSecond) {
    const Words first = ioFirst, second = ioSecond;
    ioFirst = Shuffled<0, 4, 1, 5>(first, second);
    ioSecond = Shuffled<2, 6, 3, 7>(first, second);
}

template <int kBits>
inline Words ShiftLeft(Words in) {
    return in << kBits;
}

template <int kBits>
inline Words KeepUpper(Words in) {
    return in & (~0u << (32 - kBits));
}

inline Words JoinHalves(Words inLower, Words inUpper) {
    return (inLower & 0xFFFF) | inUpper << 16;
}

inline Words JoinBytes(Words inEven, Words inOdd) {
    return (inEven & 0x00FF00FF) | (inOdd << 8 & 0xFF00FF00);
}

template <typename Sample>
inline auto ToFloats(Words in) {
    return Sample::Convert(in);
}

template <typename Sample>
inline Words FromFloats(const float* in) {
    return Sample::Convert(Load<typename Sample::Source>(reinterpret_cast<const Byte*>(in)));
}

template <typename Floats>
inline void StoreFloats(float* out, Floats in) {
    std::memcpy(out, &in, sizeof in);
}

using bytes::PrefetchForWriting;

} // namespace

} // namespace kelaudiofile::convert

#include "FrameKernels.h"

namespace kelaudiofile::convert {

const TileTable* NarrowTiles(TileKind inKind) {
    return std::endian::native == std::endian::little ? kTables[inKind] : nullptr;
}

} // namespace kelaudiofile::convert
