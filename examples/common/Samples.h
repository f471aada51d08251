#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "Words.h"
#include "kelaudiofile/Interleave.h"

namespace examples {

using Bytes = std::vector<std::uint8_t>;
using Planes = std::vector<std::vector<float>>; ///< one plane for each channel

/// How the bytes of one sample are to be taken.
struct SampleForm {
    enum Coding { kInteger, kFloat, kFloat32768, kFloat8388608 };

    Coding coding = kInteger;
    std::int32_t bytes = 2;
    bool bigEndian = false;
    bool isUnsigned = false; ///< 8-bit samples of wave files

    /// Whether samples differ in the order of their bytes, or in the sign of their zero, at most.
    bool SameValues(const SampleForm& inOther) const {
        return coding == inOther.coding && bytes == inOther.bytes;
    }

    std::string Text() const {
        static const char* const kCodings[] = {"integers", "floats", "floats of full scale 32768",
                                               "floats of full scale 8388608"};
        const char* order = bytes == 1  ? (isUnsigned ? "unsigned " : "signed ")
                            : bigEndian ? "big-endian "
                                        : "little-endian ";
        return std::to_string(bytes * 8) + "-bit " + order + kCodings[coding];
    }
};

/// Blocks are at most this large, so that conversions stay in the cache and their counts within 32 bits.
inline constexpr std::int64_t kBlockBytes = 1 << 20;

inline std::int64_t BlockFrames(std::int64_t inFrameBytes) {
    return std::clamp<std::int64_t>(kBlockBytes / std::max<std::int64_t>(inFrameBytes, 1), 1, 8192);
}

/// Reverses the bytes of every sample in place.
inline void SwapByteOrder(Bytes& ioSamples, std::int32_t inBytesPerSample) {
    static constexpr kelaudiofile::ConversionFunction kSwizzles[] = {
        nullptr, nullptr, kelaudiofile::Swizzle16Bit, kelaudiofile::Swizzle24Bit, kelaudiofile::Swizzle32Bit};
    if (inBytesPerSample == 1)
        return;
    if (inBytesPerSample > 4)
        throw Failure("samples of " + std::to_string(inBytesPerSample) + " bytes have one byte order only");
    Bytes swapped(ioSamples.size());
    kSwizzles[inBytesPerSample](ioSamples.data(), swapped.data(), static_cast<std::int32_t>(ioSamples.size()),
                                1);
    ioSamples.swap(swapped);
}

inline void FlipSigns(Bytes& ioSamples) {
    Bytes flipped(ioSamples.size());
    kelaudiofile::ConvertBetweenSigned8BitAudioAndUnsigned(ioSamples.data(), flipped.data(),
                                                           static_cast<std::int32_t>(ioSamples.size()), 1);
    ioSamples.swap(flipped);
}

/// Brings samples from one form to another of the same values.
inline void Reorder(Bytes& ioSamples, const SampleForm& inFrom, const SampleForm& inTo) {
    if (inFrom.isUnsigned != inTo.isUnsigned)
        FlipSigns(ioSamples);
    if (inFrom.bigEndian != inTo.bigEndian)
        SwapByteOrder(ioSamples, inFrom.bytes);
}

/// Floats to packed little-endian integers of 1 to 3 bytes, rounded to the nearest and clipped. (The wider
/// integers have routines in the library.)
inline Bytes Quantize(const std::vector<float>& inPlane, std::int64_t inCount, std::int32_t inBytes) {
    const double scale = static_cast<double>(1 << (8 * inBytes - 1));
    Bytes packed;
    packed.reserve(static_cast<std::size_t>(inCount * inBytes));
    for (std::int64_t i = 0; i < inCount; ++i) {
        const double value =
            std::nearbyint(static_cast<double>(inPlane[static_cast<std::size_t>(i)]) * scale);
        const auto integer =
            static_cast<std::int32_t>(std::isnan(value) ? 0 : std::clamp(value, -scale, scale - 1));
        for (int byte = 0; byte < inBytes; ++byte)
            packed.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(integer) >> (8 * byte)));
    }
    return packed;
}

/// Float planes to interleaved samples of a form.
inline Bytes Encode(const Planes& inPlanes, std::int64_t inCount, const SampleForm& inForm) {
    using namespace kelaudiofile;
    const auto channels = static_cast<std::int32_t>(inPlanes.size());
    const auto count = static_cast<std::int32_t>(inCount);
    Bytes samples(static_cast<std::size_t>(inCount * channels * inForm.bytes));
    for (std::size_t channel = 0; channel < inPlanes.size(); ++channel) {
        std::uint8_t* place = samples.data() + channel * static_cast<std::size_t>(inForm.bytes);
        const std::vector<float>& plane = inPlanes[channel];
        if (inForm.coding == SampleForm::kFloat)
            (inForm.bytes == 8 ? Interleave64BitFloat : Interleave32BitFloat_1)(plane.data(), place, count,
                                                                                channels);
        else if (inForm.coding == SampleForm::kFloat32768)
            Interleave32BitFloat_32768(plane.data(), place, count, channels);
        else if (inForm.coding == SampleForm::kFloat8388608)
            Interleave32BitFloat_8388608(plane.data(), place, count, channels);
        else if (inForm.bytes >= 4)
            (inForm.bytes == 8 ? Interleave64BitInteger : Interleave32BitInteger)(plane.data(), place, count,
                                                                                  channels);
        else {
            static constexpr ConversionFunction kInterleaves[] = {nullptr, Interleave8Bits, Interleave16Bits,
                                                                  Interleave24Bits};
            kInterleaves[inForm.bytes](Quantize(plane, inCount, inForm.bytes).data(), place, count, channels);
        }
    }
    Reorder(samples, {inForm.coding, inForm.bytes, false, false}, inForm);
    return samples;
}

} // namespace examples
