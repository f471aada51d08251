#include "kelaudiofile/Interleave.h"

#include "Strides.h"
#include "WrittenKinds.h"
#include "kelaccelerate/SwapBytes.h"

namespace kelaudiofile {

namespace {

using namespace convert;

/// Extracts two 32-bit lanes with one 64-bit move and stores the halves; extracting them
/// one by one is 10 % slower.
/// @tparam kStride  the distance of the written samples if it is known to the compiler, else 0.
template <std::size_t kStride, typename Word>
void StoreLanes(Byte* out, const Lanes<Word>& inLanes, std::size_t inStep) {
    if constexpr (kIsLittleEndian && kStride == 1)
        std::memcpy(out, &inLanes, sizeof inLanes);
    else if constexpr (kIsLittleEndian && sizeof(Word) == 4)
        for (std::size_t pair = 0; pair < 2; ++pair) {
            const std::uint64_t both = As<Lanes<std::uint64_t>>(inLanes)[pair];
            StoreLittle(out + 2 * pair * inStep, static_cast<Word>(both));
            StoreLittle(out + (2 * pair + 1) * inStep, static_cast<Word>(both >> 32));
        }
    else
        for (std::size_t i = 0; i < kLaneCount<Word>; ++i)
            StoreLittle<Word>(out + i * inStep, inLanes[i]);
}

#if defined(KELACCELERATE_WIDE)

template <typename Sample>
KELACCELERATE_WIDE void ScatterEight(const Byte* in, Byte* out) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out),
                        Sample::ConvertEight(_mm256_loadu_ps(reinterpret_cast<const float*>(in))));
}

/// Converts contiguous samples, twice eight per iteration.
/// @return how many it converted, from the first on: all but the last few.
template <typename Sample>
KELACCELERATE_WIDE std::size_t ScatterWide(const Byte* in, Byte* out, std::size_t inCount) {
    const std::size_t inGroups = InWholeGroups(inCount, 16);
    for (std::size_t i = 0; i < inGroups; i += 16) {
        ScatterEight<Sample>(in + i * 4, out + i * 4);
        ScatterEight<Sample>(in + i * 4 + 32, out + i * 4 + 32);
    }
    return inGroups;
}

#endif

/// Converts floats to samples of another form.
template <typename Sample>
void Scatter(const void* source, void* destination, std::int32_t inCount, std::int32_t numChannels) {
    using Source = typename Sample::Source;
    using Word = std::remove_reference_t<decltype(Sample::Convert(Source{})[0])>;
    constexpr std::size_t kLanes = kLaneCount<Word>;
    const auto* in = static_cast<const Byte*>(source);
    auto* out = static_cast<Byte*>(destination);
    const auto count = static_cast<std::size_t>(inCount);

    WithStride(numChannels, [=](auto stride) {
        const std::size_t step = sizeof(Word) * stride;
        const auto convertLanes = [=](std::size_t first) {
            const Lanes<Word> lanes = Sample::Convert(Load<Source>(in + first * sizeof(float)));
            StoreLanes<kConstantOr0<decltype(stride)>, Word>(out + first * step, lanes, step);
        };
        std::size_t i = 0;
#if defined(KELACCELERATE_WIDE)
        if constexpr (kConstantOr0<decltype(stride)> == 1 &&
                      requires(__m256 inEight) { Sample::ConvertEight(inEight); })
            if (count >= WorthWideVectors(sizeof(Word)) && kelaccelerate::HasWideVectors())
                i = ScatterWide<Sample>(in, out, count);
#endif
        const std::size_t inGroups = InWholeGroups(count, 4 * kLanes); // two lanes at a time are 10 % slower
        for (; i < inGroups; i += 4 * kLanes) {
            convertLanes(i);
            convertLanes(i + kLanes);
            convertLanes(i + 2 * kLanes);
            convertLanes(i + 3 * kLanes);
        }
        for (; i < count; ++i) {
            Source single = {};
            std::memcpy(&single, in + i * sizeof(float), sizeof(float));
            StoreLittle<Word>(out + i * step, Sample::Convert(single)[0]);
        }
    });
}

// Samples that keep their width are numbers of 8, 16, 24 or 32 bits, and each
// conversion is a function of them.

std::uint32_t Same(std::uint32_t inSample) {
    return inSample;
}

std::uint32_t WithTopBitFlipped(std::uint32_t inSample) {
    return inSample ^ 0x80;
}

template <std::size_t kBytes>
std::uint32_t Reversed(std::uint32_t inSample) {
    if constexpr (kBytes == 2)
        return (inSample << 8 & 0xFF00) | (inSample >> 8 & 0xFF);
    const std::uint32_t reversed =
        inSample << 24 | (inSample << 8 & 0xFF0000) | (inSample >> 8 & 0xFF00) | inSample >> 24;
    return reversed >> (32 - 8 * kBytes);
}

template <std::size_t kBytes, std::uint32_t (*kChange)(std::uint32_t)>
void Spread(const void* source, void* destination, std::size_t inCount, std::int32_t numChannels) {
    const auto* in = static_cast<const Byte*>(source);
    auto* out = static_cast<Byte*>(destination);
    const std::size_t step = kBytes * static_cast<std::size_t>(numChannels);
    const auto spread = [=](std::size_t i) {
        StoreSample<kBytes>(out + i * step, kChange(LoadSample<kBytes>(in + i * kBytes)));
    };
    const std::size_t inGroups = InWholeGroups(inCount, 4); // one by one takes up to four times as long
    std::size_t i = 0;
    for (; i < inGroups; i += 4) {
        spread(i);
        spread(i + 1);
        spread(i + 2);
        spread(i + 3);
    }
    for (; i < inCount; ++i)
        spread(i);
}

template <std::size_t kBytes>
void Copy(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    const auto sampleCount = static_cast<std::size_t>(count);
    if (numChannels == 1 && count != 0)
        std::memmove(destination, source, sampleCount * kBytes);
    else
        Spread<kBytes, Same>(source, destination, sampleCount, numChannels);
}

void FlipTopBits(const void* source, void* destination, std::size_t inCount, std::int32_t numChannels) {
    using Samples = Lanes<std::uint8_t>;
    const auto* in = static_cast<const Byte*>(source);
    auto* out = static_cast<Byte*>(destination);
    const auto flipVector = [=](std::size_t first) {
        const Samples flipped = Load<Samples>(in + first) ^ 0x80;
        std::memcpy(out + first, &flipped, sizeof flipped);
    };
    const std::size_t inGroups = numChannels == 1 ? InWholeGroups(inCount, 2 * sizeof(Samples)) : 0;
    for (std::size_t i = 0; i < inGroups; i += 2 * sizeof(Samples)) {
        flipVector(i);
        flipVector(i + sizeof(Samples));
    }
    Spread<1, WithTopBitFlipped>(in + inGroups, out + inGroups, inCount - inGroups, numChannels);
}

/// @tparam Element  the element type of SwapBytes for this width.
template <typename Element>
void Swizzle(const void* source, void* destination, std::int32_t byteCount, std::int32_t numChannels) {
    constexpr std::size_t kBytes = sizeof(Element);
    const std::size_t sampleCount = static_cast<std::size_t>(byteCount) / kBytes;
    if (numChannels == 1)
        kelaccelerate::utility::SwapBytes(sampleCount, static_cast<const Element*>(source),
                                          static_cast<Element*>(destination));
    else
        Spread<kBytes, Reversed<kBytes>>(source, destination, sampleCount, numChannels);
}

} // namespace

void Interleave8Bits(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    Copy<1>(source, destination, count, numChannels);
}

void Interleave16Bits(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    Copy<2>(source, destination, count, numChannels);
}

void Interleave24Bits(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    Copy<3>(source, destination, count, numChannels);
}

void Interleave32BitFloat_1(const void* source, void* destination, std::int32_t count,
                            std::int32_t numChannels) {
    if (kIsLittleEndian && numChannels == 1) // the same bytes
        Copy<4>(source, destination, count, numChannels);
    else
        Scatter<ToFloatBits>(source, destination, count, numChannels);
}

void Interleave32BitFloat_32768(const void* source, void* destination, std::int32_t count,
                                std::int32_t numChannels) {
    Scatter<ToScaledFloat<32768>>(source, destination, count, numChannels);
}

void Interleave32BitFloat_8388608(const void* source, void* destination, std::int32_t count,
                                  std::int32_t numChannels) {
    Scatter<ToScaledFloat<8388608>>(source, destination, count, numChannels);
}

void Interleave64BitFloat(const void* source, void* destination, std::int32_t count,
                          std::int32_t numChannels) {
    Scatter<ToDouble>(source, destination, count, numChannels);
}

void Interleave32BitInteger(const void* source, void* destination, std::int32_t count,
                            std::int32_t numChannels) {
    Scatter<ToInteger32>(source, destination, count, numChannels);
}

void Interleave64BitInteger(const void* source, void* destination, std::int32_t count,
                            std::int32_t numChannels) {
    Scatter<ToInteger64>(source, destination, count, numChannels);
}

void ConvertBetweenSigned8BitAudioAndUnsigned(const void* source, void* destination, std::int32_t count,
                                              std::int32_t numChannels) {
    FlipTopBits(source, destination, static_cast<std::size_t>(count), numChannels);
}

void Swizzle16Bit(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    Swizzle<std::uint16_t>(source, destination, count, numChannels);
}

void Swizzle24Bit(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    Swizzle<kelcore::utility::int24_t>(source, destination, count, numChannels);
}

void Swizzle32Bit(const void* source, void* destination, std::int32_t count, std::int32_t numChannels) {
    Swizzle<std::uint32_t>(source, destination, count, numChannels);
}

} // namespace kelaudiofile
