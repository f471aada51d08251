#include "kelaudiofile/DeInterleave.h"

#include <utility>

#include "SampleKinds.h"
#include "Strides.h"
#include "WideGather.h"

namespace kelaudiofile {

namespace {

using namespace convert;

/// Samples per loop iteration. With fewer, the speed would depend on how the loop happens to be aligned.
constexpr std::size_t kGroupSize = 8;

/// Loads one sample into the upper bits of a word, so that the sign bit of every width is in the same place.
template <typename Word, std::size_t kBytes>
Word LoadUpper(const Byte* in) {
    return Word{LoadSample<kBytes>(in)} << 8 * (sizeof(Word) - kBytes);
}

/// Samples of one channel in the upper bits of words, filling several vectors.
template <typename Word>
struct Group {
    Lanes<Word> vectors[kGroupSize / kLaneCount<Word>];
};

/// Inserts a zero byte below each byte of a number, in memory order.
Lanes<std::uint16_t> UpperBytes(std::uint64_t in) {
    const auto bytes = As<Lanes<std::uint8_t>>(Lanes<std::uint64_t>{in});
    const Lanes<std::uint8_t> zero = {};
    return As<Lanes<std::uint16_t>>(
        Shuffled<0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23>(zero, bytes));
}

/// Inserts zeros below each half word.
Group<std::uint32_t> UpperHalves(Lanes<std::uint16_t> in) {
    const Lanes<std::uint16_t> zero = {};
    return {{As<Lanes<std::uint32_t>>(Shuffled<0, 8, 1, 9, 2, 10, 3, 11>(zero, in)),
             As<Lanes<std::uint32_t>>(Shuffled<4, 12, 5, 13, 6, 14, 7, 15>(zero, in))}};
}

/// Loads whole words and discards what follows each sample: a load as wide as a lane goes straight to a
/// vector register, while a narrower one would go through general-purpose registers.
template <typename Word, std::size_t kBytes, std::size_t... kIndex>
Lanes<Word> LoadOneByOne(const Byte* in, std::size_t inStep, std::index_sequence<kIndex...>) {
    return Lanes<Word>{LoadLittle<Word>(in + kIndex * inStep)...} << 8 * (sizeof(Word) - kBytes);
}

/// Mono samples are loaded directly. A stereo sample and its neighbour are loaded as one number of twice the
/// width, whose upper half is discarded. All others, and 24-bit samples, are loaded one by one.
/// @tparam kStride  the distance between samples if the compiler knows it, else 0.
template <typename Word, std::size_t kBytes, std::size_t kStride>
Group<Word> LoadGroup(const Byte* in, std::size_t inStep) {
    if constexpr (kIsLittleEndian && kBytes == 1 && kStride == 1)
        return UpperHalves(UpperBytes(Load<std::uint64_t>(in)));
    else if constexpr (kIsLittleEndian && kBytes == 1 && kStride == 2)
        return UpperHalves(Load<Lanes<std::uint16_t>>(in) << 8);
    else if constexpr (kIsLittleEndian && kBytes == 2 && kStride == 1)
        return UpperHalves(Load<Lanes<std::uint16_t>>(in));
    else if constexpr (kIsLittleEndian && kBytes == 2 && kStride == 2)
        return {{Load<Lanes<Word>>(in) << 16, Load<Lanes<Word>>(in + 16) << 16}};
    else if constexpr (kIsLittleEndian && kBytes == 4 && kStride == 1)
        return {{Load<Lanes<Word>>(in), Load<Lanes<Word>>(in + 16)}};
    else if constexpr (kIsLittleEndian && kBytes == 4 && kStride == 2)
        return {{Shuffled<0, 2, 4, 6>(Load<Lanes<Word>>(in), Load<Lanes<Word>>(in + 16)),
                 Shuffled<0, 2, 4, 6>(Load<Lanes<Word>>(in + 32), Load<Lanes<Word>>(in + 48))}};
    else {
        Group<Word> group;
        for (auto& vector : group.vectors) {
            vector = LoadOneByOne<Word, kBytes>(in, inStep, std::make_index_sequence<kLaneCount<Word>>());
            in += kLaneCount<Word> * inStep;
        }
        return group;
    }
}

/// Returns how many samples must follow a group, because its loads reach past its end.
template <typename Word, std::size_t kBytes, std::size_t kStride>
constexpr std::size_t SamplesBehind() {
    if (kStride == 1 && (kBytes == sizeof(Word) || (kBytes != 3 && kIsLittleEndian)))
        return 0;
    if (kStride == 2 && (kBytes != 1 || kIsLittleEndian))
        return 1;
    constexpr std::size_t kLeastStep = kBytes * (kStride == 0 ? 3 : kStride);
    return (sizeof(Word) - kBytes + kLeastStep - 1) / kLeastStep;
}

/// @param inStride  the distance between samples, as WithStride passes it.
template <typename Sample, typename Stride>
void GatherByLanes(const Byte* in, Byte* out, std::size_t inCount, Stride inStride) {
    using Word = typename Sample::Word;
    constexpr std::size_t kStride = kConstantOr0<Stride>;
    constexpr std::size_t kBehind = SamplesBehind<Word, Sample::kBytes, kStride>();
    const std::size_t step = Sample::kBytes * inStride;
    std::size_t i = 0;
    for (; i + kGroupSize + kBehind <= inCount; i += kGroupSize) {
        const auto group = LoadGroup<Word, Sample::kBytes, kStride>(in + i * step, step);
        Byte* place = out + i * sizeof(float);
        for (const auto& vector : group.vectors) {
            const auto lanes = Sample::Convert(vector);
            std::memcpy(place, &lanes, sizeof lanes);
            place += sizeof lanes;
        }
    }
    for (; i < inCount; ++i) {
        const auto lanes = Sample::Convert(Lanes<Word>{LoadUpper<Word, Sample::kBytes>(in + i * step)});
        std::memcpy(out + i * sizeof(float), &lanes, sizeof(float));
    }
}

template <typename Sample>
void Gather(const void* source, float* destination, std::int64_t sampleCount, std::int32_t numChannels) {
    const auto* in = static_cast<const Byte*>(source);
    auto* out = reinterpret_cast<Byte*>(destination);
    auto count = static_cast<std::size_t>(sampleCount);
    if constexpr (Sample::kBytes <= 4)
        if (count >= WorthWideVectors(Sample::kBytes)) {
            const auto channels = static_cast<std::size_t>(numChannels);
            const std::size_t done = GatherWide<Sample>(in, out, count, channels);
            in += done * channels * Sample::kBytes;
            out += done * sizeof(float);
            count -= done;
        }
    WithStride(numChannels, [=](auto stride) { GatherByLanes<Sample>(in, out, count, stride); });
}

} // namespace

void DeInterleave8Bit(const void* source, float* destination, std::int64_t sampleCount,
                      std::int32_t numChannels) {
    Gather<Integer<1>>(source, destination, sampleCount, numChannels);
}

void DeInterleave16Bit(const void* source, float* destination, std::int64_t sampleCount,
                       std::int32_t numChannels) {
    Gather<Integer<2>>(source, destination, sampleCount, numChannels);
}

void DeInterleave24Bit(const void* source, float* destination, std::int64_t sampleCount,
                       std::int32_t numChannels) {
    Gather<Integer<3>>(source, destination, sampleCount, numChannels);
}

void DeInterleave32Bit(const void* source, float* destination, std::int64_t sampleCount,
                       std::int32_t numChannels) {
    Gather<Integer<4>>(source, destination, sampleCount, numChannels);
}

void DeInterleave64Bit(const void* source, float* destination, std::int64_t sampleCount,
                       std::int32_t numChannels) {
    Gather<Integer64>(source, destination, sampleCount, numChannels);
}

void DeInterleave32BitFloat_1(const void* source, float* destination, std::int64_t sampleCount,
                              std::int32_t numChannels) {
    if (!kIsLittleEndian || numChannels != 1)
        Gather<FloatBits>(source, destination, sampleCount, numChannels);
    else if (sampleCount != 0) // the same bytes; null is allowed for none
        std::memmove(destination, source, static_cast<std::size_t>(sampleCount) * sizeof(float));
}

void DeInterleave32BitFloat_32768(const void* source, float* destination, std::int64_t sampleCount,
                                  std::int32_t numChannels) {
    Gather<ScaledFloat<32768>>(source, destination, sampleCount, numChannels);
}

void DeInterleave32BitFloat_8388608(const void* source, float* destination, std::int64_t sampleCount,
                                    std::int32_t numChannels) {
    Gather<ScaledFloat<8388608>>(source, destination, sampleCount, numChannels);
}

void DeInterleave64BitFloat(const void* source, float* destination, std::int64_t sampleCount,
                            std::int32_t numChannels) {
    Gather<Double>(source, destination, sampleCount, numChannels);
}

} // namespace kelaudiofile
