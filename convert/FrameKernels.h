// The kernels of FrameTiles.h, included by FrameTilesWide.cpp and FrameTilesNarrow.cpp. Each of these first
// defines the vectors of its processor, their operations, and KELAUDIOFILE_TILE, the attribute of functions
// for that processor, which cannot be a template parameter.
#include <utility>

#include "SampleKinds.h"
#include "WrittenKinds.h"

namespace kelaudiofile::convert {

namespace {

/// Enough to fill cache lines of floats: writing half a line of every plane at a time
/// takes up to twice as long.
constexpr std::size_t kTileFrames = 2 * kVectorFrames;

/// How far ahead of the stores cache lines are prefetched.
constexpr std::size_t kFloatsAhead = 48, kBytesAhead = 256;

/// Half a tile, as rows or as columns: 4 rows, or 1 or 2 rows shared by several whole
/// frames of 1 or 2 elements.
using Half = Words[4];

template <std::size_t kRows>
KELAUDIOFILE_TILE inline void RowsToColumns(Half& ioHalf) {
    if constexpr (kRows == 2)
        SplitPairs(ioHalf[0], ioHalf[1]);
    else if constexpr (kRows == 4)
        Transpose(ioHalf);
}

template <std::size_t kRows>
KELAUDIOFILE_TILE inline void ColumnsToRows(Half& ioHalf) {
    if constexpr (kRows == 2)
        JoinPairs(ioHalf[0], ioHalf[1]);
    else if constexpr (kRows == 4)
        Transpose(ioHalf);
}

/// Returns the samples of a channel in the upper bits of words.
template <std::size_t kBytes, std::size_t kChannel>
KELAUDIOFILE_TILE inline Words UpperBits(const Half& inColumns) {
    constexpr int kBits = 8 * kBytes, kPlace = kBits * (kChannel % SamplesPerElement(kBytes));
    const Words column = inColumns[kChannel / SamplesPerElement(kBytes)];
    if constexpr (kBytes >= 3)
        return column;
    else if constexpr (kPlace == 0)
        return ShiftLeft<32 - kBits>(column);
    else if constexpr (kPlace + kBits == 32)
        return KeepUpper<kBits>(column);
    else
        return KeepUpper<kBits>(ShiftLeft<32 - kBits - kPlace>(column));
}

template <typename Sample, std::size_t kChannel>
KELAUDIOFILE_TILE inline void StoreChannel(const Half (&inTile)[2], float* outPlane) {
    PrefetchForWriting(outPlane + kFloatsAhead);
    for (std::size_t half = 0; half < 2; ++half)
        StoreFloats(outPlane + half * kVectorFrames,
                    ToFloats<Sample>(UpperBits<Sample::kBytes, kChannel>(inTile[half])));
}

/// Stores the last channel first: whatever the elements hold beyond the channels is overwritten.
template <typename Sample, std::size_t... kIndex>
KELAUDIOFILE_TILE inline void StoreChannels(const Half (&inTile)[2], float* const* inPlanes,
                                            std::size_t inFrame, std::index_sequence<kIndex...>) {
    constexpr std::size_t kLast = sizeof...(kIndex) - 1;
    (StoreChannel<Sample, kLast - kIndex>(inTile, inPlanes[kLast - kIndex] + inFrame), ...);
}

template <typename Sample, std::size_t kRows, std::size_t kChannels, bool kMoves>
KELAUDIOFILE_TILE void Decode(const DecodeTask& inTask) {
    constexpr std::size_t kFramesPerRow = 4 / kRows;
    const std::size_t step = inTask.step, endFrame = inTask.firstFrame + inTask.frameCount;
    const Byte* in = inTask.bytes + inTask.firstFrame * step;
    float* planes[kChannels];
    for (std::size_t c = 0; c < kChannels; ++c)
        planes[c] = inTask.planes[c];
    const Words places = LoadPlaces(inTask.moves->fromFile), flip = Fill(inTask.flip);

    for (std::size_t frame = inTask.firstFrame; frame < endFrame; frame += kTileFrames) {
        Half tile[2] = {};
        for (Half& half : tile) {
            for (std::size_t row = 0; row < kRows; ++row) {
                half[row] = LoadRows(in + row * kFramesPerRow * step, 4 * step);
                if constexpr (kMoves)
                    half[row] = MoveBytes<Sample::kBytes>(half[row], places);
                if constexpr (Sample::kBytes == 1)
                    half[row] = Flip(half[row], flip);
            }
            RowsToColumns<kRows>(half);
            in += kVectorFrames * step;
        }
        StoreChannels<Sample>(tile, planes, frame, std::make_index_sequence<kChannels>());
    }
}

/// Returns one element of each frame.
template <typename Sample, std::size_t kChannels>
KELAUDIOFILE_TILE inline Words MakeElement(const float* const* inPlanes, std::size_t inFrame) {
    constexpr std::size_t kSamples = SamplesPerElement(Sample::kBytes);
    Words samples[kSamples] = {};
    for (std::size_t s = 0; s < kSamples && s < kChannels; ++s)
        samples[s] = FromFloats<Sample>(inPlanes[s] + inFrame);
    if constexpr (kSamples == 4)
        return JoinBytes(JoinHalves(samples[0], samples[2]), JoinHalves(samples[1], samples[3]));
    else if constexpr (kSamples == 2)
        return JoinHalves(samples[0], samples[1]);
    else
        return samples[0];
}

template <typename Sample, std::size_t kChannels, std::size_t... kElement>
KELAUDIOFILE_TILE inline void MakeElements(Half& outColumns, const float* const* inPlanes,
                                           std::size_t inFrame, std::index_sequence<kElement...>) {
    constexpr std::size_t kSamples = SamplesPerElement(Sample::kBytes);
    ((outColumns[kElement] =
          MakeElement<Sample, kChannels - kElement * kSamples>(inPlanes + kElement * kSamples, inFrame)),
     ...);
}

/// @tparam kStoredBytes  the bytes stored per row; the next row overwrites what a row stores beyond its own
///        bytes.
template <typename Sample, std::size_t kRows, std::size_t kChannels, bool kMoves, std::size_t kStoredBytes>
KELAUDIOFILE_TILE void Encode(const EncodeTask& inTask) {
    constexpr std::size_t kElements = ElementsFor(Sample::kBytes, kChannels), kFramesPerRow = 4 / kRows;
    const std::size_t step = inTask.step, endFrame = inTask.firstFrame + inTask.frameCount;
    Byte* out = inTask.bytes + inTask.firstFrame * step;
    const float* planes[kChannels];
    for (std::size_t c = 0; c < kChannels; ++c)
        planes[c] = inTask.planes[c];
    const Words places = LoadPlaces(inTask.moves->toFile), flip = Fill(inTask.flip);

    for (std::size_t frame = inTask.firstFrame; frame < endFrame; frame += kVectorFrames) {
        if constexpr (Sample::kBytes == 4) // the others compute for longer than a prefetch takes
            for (std::size_t line = 0; line < kVectorFrames * step; line += 64)
                PrefetchForWriting(out + kBytesAhead + line);
        Half half = {};
        MakeElements<Sample, kChannels>(half, planes, frame, std::make_index_sequence<kElements>());
        ColumnsToRows<kRows>(half);
        for (std::size_t row = 0; row < kRows; ++row) {
            if constexpr (Sample::kBytes == 1)
                half[row] = Flip(half[row], flip);
            if constexpr (kMoves)
                half[row] = MoveBytes<Sample::kBytes>(half[row], places);
            StoreFirstRow<kStoredBytes>(out + row * kFramesPerRow * step, half[row]);
        }
        for (std::size_t row = 0; row < kRows && kVectorFrames > 4; ++row)
            StoreSecondRow<kStoredBytes>(out + (4 + row * kFramesPerRow) * step, half[row]);
        out += kVectorFrames * step;
    }
}

template <typename Sample, typename Written, std::size_t kRows, std::size_t kChannels>
constexpr TileKernels KernelsFor() {
    constexpr std::size_t kBytes = Sample::kBytes;
    constexpr bool kAreParts = kRows == 4, kFillRows = 4 / kRows * kChannels * kBytes == kRowBytes;
    constexpr bool kMaySwap = kBytes == 2 || kBytes == 4 || (kBytes == 3 && kMovesAnywhere);
    TileKernels kernels = {};
    if constexpr (kBytes != 3 && (kAreParts || kFillRows)) {
        kernels.decode = Decode<Sample, kRows, kChannels, false>;
        kernels.encode = Encode<Written, kRows, kChannels, false, kRowBytes>;
    }
    if constexpr (kAreParts || kFillRows ? kMaySwap : kMovesAnywhere) {
        kernels.decodeMoved = Decode<Sample, kRows, kChannels, true>;
        kernels.encodeMoved = Encode<Written, kRows, kChannels, true, kRowBytes>;
    }
    if constexpr (kAreParts &&
                  ((kBytes == 1 && kChannels == 8) || (kBytes == 3 && kChannels == 4 && kMovesAnywhere)))
        kernels.encodeExactly = Encode < Written, kRows, kChannels, kBytes == 3, kChannels * kBytes > ;
    return kernels;
}

/// @tparam kIsWhole  whether that many channels make a frame.
/// @return null pointers if there are no such tiles.
template <typename Sample, typename Written, bool kIsWhole, std::size_t kChannels>
constexpr TileKernels KernelsIfAny() {
    constexpr std::size_t kElements = ElementsFor(Sample::kBytes, kChannels);
    if constexpr (kChannels == 0 || kChannels > kMostTileChannels || kElements > (kIsWhole ? 2 : 4))
        return {};
    else
        return KernelsFor<Sample, Written, kIsWhole ? kElements : 4, kChannels>();
}

template <typename Sample, typename Written, std::size_t... kChannels, std::size_t... kElements>
constexpr TileTable TableFor(std::index_sequence<kChannels...>, std::index_sequence<kElements...>) {
    constexpr std::size_t kSamples = SamplesPerElement(Sample::kBytes);
    return {{KernelsIfAny<Sample, Written, true, kChannels>()...},
            {KernelsIfAny<Sample, Written, false, kElements * kSamples>()...}};
}

template <typename Sample, typename Written>
constexpr TileTable kTable = TableFor<Sample, Written>(std::make_index_sequence<kMostTileChannels + 1>(),
                                                       std::make_index_sequence<5>());

constexpr const TileTable* kTables[kTileKinds] = {
    &kTable<Integer<1>, ToRoundedInteger<1>>,
    &kTable<Integer<2>, ToRoundedInteger<2>>,
    &kTable<Integer<3>, ToRoundedInteger<3>>,
    &kTable<Integer<4>, ToInteger32>,
    &kTable<FloatBits, ToFloatBits>,
    &kTable<ScaledFloat<32768>, ToScaledFloat<32768>>,
    &kTable<ScaledFloat<8388608>, ToScaledFloat<8388608>>,
};

} // namespace

} // namespace kelaudiofile::convert
