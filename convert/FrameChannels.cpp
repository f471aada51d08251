#include "FrameChannels.h"

#include <algorithm>

#include "WrittenKinds.h"
#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Interleave.h"

namespace kelaudiofile::convert {

namespace {

constexpr std::size_t kBatchBytes = 4096, kSilentFrames = 512;
/// What routines for one channel can count.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

/// Converts floats to contiguous little-endian integers.
template <std::size_t kBytes>
void Round(const void* source, void* destination, std::int32_t count, std::int32_t) {
    const auto* in = static_cast<const Byte*>(source);
    auto* out = static_cast<Byte*>(destination);
    for (std::int32_t i = 0; i < count; ++i) {
        const auto sample = ToRoundedInteger<kBytes>::Convert(Lanes<float>{Load<float>(in)})[0];
        StoreSample<kBytes>(out, sample);
        in += sizeof(float);
        out += kBytes;
    }
}

struct ChannelRoutines {
    SampleCoding coding;
    std::int32_t bytesPerSample;
    DeinterleaveFunction decode;
    ConversionFunction encode; ///< to little-endian and signed samples
};

constexpr ChannelRoutines kRoutines[] = {
    {SampleCoding::kInteger, 1, DeInterleave8Bit, Round<1>},
    {SampleCoding::kInteger, 2, DeInterleave16Bit, Round<2>},
    {SampleCoding::kInteger, 3, DeInterleave24Bit, Round<3>},
    {SampleCoding::kInteger, 4, DeInterleave32Bit, Interleave32BitInteger},
    {SampleCoding::kInteger, 8, DeInterleave64Bit, Interleave64BitInteger},
    {SampleCoding::kFloat_1, 4, DeInterleave32BitFloat_1, Interleave32BitFloat_1},
    {SampleCoding::kFloat_1, 8, DeInterleave64BitFloat, Interleave64BitFloat},
    {SampleCoding::kFloat_32768, 4, DeInterleave32BitFloat_32768, Interleave32BitFloat_32768},
    {SampleCoding::kFloat_8388608, 4, DeInterleave32BitFloat_8388608, Interleave32BitFloat_8388608},
};

const ChannelRoutines* RoutinesFor(const SampleFormat& inFormat) {
    for (const ChannelRoutines& routines : kRoutines)
        if (routines.coding == inFormat.coding && routines.bytesPerSample == inFormat.bytesPerSample)
            return &routines;
    return nullptr;
}

bool IsSwapped(const SampleFormat& inFormat) {
    return inFormat.byteOrder == ByteOrder::kBigEndian && inFormat.bytesPerSample > 1;
}

/// Moves the samples of a channel, reversing their bytes or flipping their top bits.
/// @param inStep, outStep  bytes from sample to sample.
void MoveSamples(const SampleFormat& inFormat, const Byte* in, std::size_t inStep, Byte* out,
                 std::size_t outStep, std::size_t inCount) {
    const auto byteCount = static_cast<std::size_t>(inFormat.bytesPerSample);
    const auto flip = static_cast<Byte>(inFormat.isUnsigned ? 0x80 : 0);
    if (inFormat.isUnsigned && inStep == 1 && outStep == 1)
        return ConvertBetweenSigned8BitAudioAndUnsigned(in, out, static_cast<std::int32_t>(inCount), 1);
    for (std::size_t i = 0; i < inCount; ++i) {
        const Byte* const from = in + i * inStep;
        Byte* const to = out + i * outStep;
        if (IsSwapped(inFormat))
            std::reverse_copy(from, from + byteCount, to);
        else
            for (std::size_t b = 0; b < byteCount; ++b)
                to[b] = from[b] ^ flip;
    }
}

} // namespace

bool HasChannelRoutines(const SampleFormat& inFormat) {
    return RoutinesFor(inFormat) != nullptr;
}

void DecodeChannel(const SampleFormat& inFormat, const Byte* in, float* outPlane, std::size_t inFrames,
                   std::int32_t inChannels) {
    const DeinterleaveFunction decode = RoutinesFor(inFormat)->decode;
    if (!IsSwapped(inFormat) && !inFormat.isUnsigned) {
        decode(in, outPlane, static_cast<std::int64_t>(inFrames), inChannels);
        return;
    }
    const auto width = static_cast<std::size_t>(inFormat.bytesPerSample);
    const std::size_t step = width * static_cast<std::size_t>(inChannels), batchFrames = kBatchBytes / width;
    Byte samples[kBatchBytes];
    for (std::size_t done = 0; done < inFrames; done += batchFrames) {
        const std::size_t count = std::min(inFrames - done, batchFrames);
        MoveSamples(inFormat, in + done * step, step, samples, width, count);
        decode(samples, outPlane + done, static_cast<std::int64_t>(count), 1);
    }
}

void EncodeChannel(const SampleFormat& inFormat, const float* inPlane, Byte* out, std::size_t inFrames,
                   std::int32_t inChannels) {
    static constexpr float kSilence[kSilentFrames] = {};
    const ConversionFunction encode = RoutinesFor(inFormat)->encode;
    const auto width = static_cast<std::size_t>(inFormat.bytesPerSample);
    const std::size_t step = width * static_cast<std::size_t>(inChannels);
    const bool isDirect = width >= 4 && !IsSwapped(inFormat);
    const std::size_t batchFrames =
        isDirect && inPlane ? kMostAtOnce : std::min(kBatchBytes / width, kSilentFrames);
    Byte samples[kBatchBytes];
    for (std::size_t done = 0; done < inFrames; done += batchFrames) {
        const std::size_t count = std::min(inFrames - done, batchFrames);
        const float* const floats = inPlane ? inPlane + done : kSilence;
        encode(floats, isDirect ? out + done * step : samples, static_cast<std::int32_t>(count),
               isDirect ? inChannels : 1);
        if (!isDirect)
            MoveSamples(inFormat, samples, width, out + done * step, step, count);
    }
}

} // namespace kelaudiofile::convert
