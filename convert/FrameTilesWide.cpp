#include "FrameTiles.h"

#include "kelaccelerate/WideVectors.h"

#if defined(KELACCELERATE_WIDE)

#include <immintrin.h>

#define KELAUDIOFILE_TILE KELACCELERATE_WIDE

namespace kelaudiofile::convert {

namespace {

using Words = __m256i;
using Floats = __m256;
constexpr std::size_t kVectorFrames = 8;
constexpr bool kMovesAnywhere = true;

KELAUDIOFILE_TILE inline __m128i LoadHalf(const void* in) {
    return _mm_loadu_si128(static_cast<const __m128i*>(in));
}

KELAUDIOFILE_TILE inline Words LoadRows(const Byte* in, std::size_t inStep) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(LoadHalf(in)), LoadHalf(in + inStep), 1);
}

template <std::size_t kStoredBytes>
KELAUDIOFILE_TILE inline void StoreHalf(Byte* out, __m128i in) {
    static_assert(kStoredBytes == kRowBytes || kStoredBytes == 12 || kStoredBytes == 8);
    if constexpr (kStoredBytes == kRowBytes)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), in);
    else
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), in);
    if constexpr (kStoredBytes == 12)
        _mm_storeu_si32(out + 8, _mm_shuffle_epi32(in, 2));
}

template <std::size_t kStoredBytes>
KELAUDIOFILE_TILE inline void StoreFirstRow(Byte* out, Words in) {
    StoreHalf<kStoredBytes>(out, _mm256_castsi256_si128(in));
}

template <std::size_t kStoredBytes>
KELAUDIOFILE_TILE inline void StoreSecondRow(Byte* out, Words in) {
    StoreHalf<kStoredBytes>(out, _mm256_extracti128_si256(in, 1));
}

KELAUDIOFILE_TILE inline Words LoadPlaces(const Places& inPlaces) {
    return _mm256_broadcastsi128_si256(LoadHalf(inPlaces.data()));
}

template <std::size_t kBytes>
KELAUDIOFILE_TILE inline Words MoveBytes(Words in, Words inPlaces) {
    return _mm256_shuffle_epi8(in, inPlaces);
}

KELAUDIOFILE_TILE inline Words Fill(std::uint32_t in) {
    return _mm256_set1_epi32(static_cast<int>(in));
}

KELAUDIOFILE_TILE inline Words Flip(Words in, Words inFlip) {
    return _mm256_xor_si256(in, inFlip);
}

KELAUDIOFILE_TILE inline void Transpose(Words (&ioTile)[4]) {
    const Words low01 = _mm256_unpacklo_epi32(ioTile[0], ioTile[1]);
    const Words high01 = _mm256_unpackhi_epi32(ioTile[0], ioTile[1]);
    const Words low23 = _mm256_unpacklo_epi32(ioTile[2], ioTile[3]);
    const Words high23 = _mm256_unpackhi_epi32(ioTile[2], ioTile[3]);
    ioTile[0] = _mm256_unpacklo_epi64(low01, low23);
    ioTile[1] = _mm256_unpackhi_epi64(low01, low23);
    ioTile[2] = _mm256_unpacklo_epi64(high01, high23);
    ioTile[3] = _mm256_unpackhi_epi64(high01, high23);
}

KELAUDIOFILE_TILE inline void SplitPairs(Words& ioFirst, Words& ioSecond) {
    const Floats first = _mm256_castsi256_ps(ioFirst), second = _mm256_castsi256_ps(ioSecond);
    ioFirst = _mm256_castps_si256(_mm256_shuffle_ps(first, second, 0b10'00'10'00));
    ioSecond = _mm256_castps_si256(_mm256_shuffle_ps(first, second, 0b11'01'11'01));
}

KELAUDIOFILE_TILE inline void JoinPairs(Words& ioFirst, Words& ioSecond) {
    const Words first = ioFirst, second = ioSecond;
    ioFirst = _mm256_unpacklo_epi32(first, second);
    ioSecond = _mm256_unpackhi_epi32(first, second);
}

template <int kBits>
KELAUDIOFILE_TILE inline Words ShiftLeft(Words in) {
    return _mm256_slli_epi32(in, kBits);
}

template <int kBits>
KELAUDIOFILE_TILE inline Words KeepUpper(Words in) {
    return _mm256_and_si256(in, _mm256_set1_epi32(static_cast<int>(~0u << (32 - kBits))));
}

KELAUDIOFILE_TILE inline Words JoinHalves(Words inLower, Words inUpper) {
    return _mm256_blend_epi16(inLower, _mm256_slli_epi32(inUpper, 16), 0b10'10'10'10);
}

KELAUDIOFILE_TILE inline Words JoinBytes(Words inEven, Words inOdd) {
    return _mm256_or_si256(_mm256_and_si256(inEven, _mm256_set1_epi16(0xFF)), _mm256_slli_epi16(inOdd, 8));
}

template <typename Sample>
KELAUDIOFILE_TILE inline Floats ToFloats(Words in) {
    return Sample::ConvertEight(in);
}

template <typename Sample>
KELAUDIOFILE_TILE inline Words FromFloats(const float* in) {
    return Sample::ConvertEight(_mm256_loadu_ps(in));
}

KELAUDIOFILE_TILE inline void StoreFloats(float* out, Floats in) {
    _mm256_storeu_ps(out, in);
}

using bytes::PrefetchForWriting;

} // namespace

} // namespace kelaudiofile::convert

#include "FrameKernels.h"

namespace kelaudiofile::convert {

const TileTable* WideTiles(TileKind inKind) {
    return kelaccelerate::HasWideVectors() ? kTables[inKind] : nullptr;
}

} // namespace kelaudiofile::convert

#else

const kelaudiofile::convert::TileTable* kelaudiofile::convert::WideTiles(TileKind) {
    return nullptr;
}

#endif
