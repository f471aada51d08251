#pragma once

#include <cfenv>
#include <string>
#include <vector>

#include "SampleModels.h"
#include "convert/GuardedBuffer.h"
#include "kelaudiofile/Frames.h"

/// Models of DecodeFrames and EncodeFrames for one sample: those of the single-channel routines, with a swap
/// or a flip.
namespace sample_models {

/// Rounds to nearest, ties to even, and clips; NaN is 0.
template <int kBytes>
void Round(const Byte* in, Byte* out) {
    constexpr double kFullScale = 1 << (8 * kBytes - 1);
    const float value = Get<float>(in);
    const double rounded = std::isnan(value) ? 0 : std::rint(value * kFullScale);
    const auto sample = static_cast<std::int32_t>(std::clamp(rounded, -kFullScale, kFullScale - 1));
    for (int b = 0; b < kBytes; ++b)
        out[b] = static_cast<Byte>(sample >> (8 * b));
}

struct FrameModel {
    SampleCoding coding;
    std::int32_t bytes; ///< per sample
    void (*decode)(const Byte* in, Byte* out);
    void (*encode)(const Byte* in, Byte* out);
};

inline constexpr FrameModel kFrameModels[] = {
    {SampleCoding::kInteger, 1, FromInteger<1>, Round<1>},
    {SampleCoding::kInteger, 2, FromInteger<2>, Round<2>},
    {SampleCoding::kInteger, 3, FromInteger<3>, Round<3>},
    {SampleCoding::kInteger, 4, FromInteger<4>, ToInteger<std::int32_t>},
    {SampleCoding::kInteger, 8, FromInteger<8>, ToInteger<std::int64_t>},
    {SampleCoding::kFloat_1, 4, FloatBits, FloatBits},
    {SampleCoding::kFloat_1, 8, FromDouble, ToDouble},
    {SampleCoding::kFloat_32768, 4, FromFloat<32768>, ToFloat<32768>},
    {SampleCoding::kFloat_8388608, 4, FromFloat<8388608>, ToFloat<8388608>},
};

/// A block of frames and the address of each channel's floats, null for a channel that is left out.
struct FrameBlock {
    const FrameModel& model;
    bool isSpecial; ///< big-endian, or unsigned for 8-bit samples
    std::size_t frames, channels;

    std::size_t Width() const { return static_cast<std::size_t>(model.bytes); }
    std::size_t ByteCount() const { return frames * channels * Width(); }
    SampleFormat Format() const {
        return {model.coding, model.bytes,
                isSpecial && model.bytes > 1 ? ByteOrder::kBigEndian : ByteOrder::kLittleEndian,
                isSpecial && model.bytes == 1};
    }
    /// Converts between a sample's bytes in the file and little-endian, signed ones, in either direction.
    void Exchange(const Byte* in, Byte* out) const {
        std::copy_n(in, Width(), out);
        if (isSpecial)
            std::reverse(out, out + Width());
        if (isSpecial && Width() == 1)
            *out ^= 0x80;
    }
    void Decode(const Byte* in, float* const* planes) const {
        Byte sample[8];
        for (std::size_t i = 0; i < frames * channels; ++i)
            if (planes[i % channels]) {
                Exchange(in + i * Width(), sample);
                model.decode(sample,
                             reinterpret_cast<Byte*>(planes[i % channels]) + i / channels * sizeof(float));
            }
    }
    void Encode(const float* const* planes, Byte* out) const {
        const float silence = 0;
        Byte sample[8];
        for (std::size_t i = 0; i < frames * channels; ++i) {
            const auto* const plane = reinterpret_cast<const Byte*>(planes[i % channels]);
            model.encode(plane ? plane + i / channels * sizeof(float)
                               : reinterpret_cast<const Byte*>(&silence),
                         sample);
            Exchange(sample, out + i * Width());
        }
    }
};

/// Returns the floating-point exceptions that work raises.
template <typename Work>
int FlagsOf(Work inWork) {
    std::feclearexcept(FE_ALL_EXCEPT);
    inWork();
    return std::fetestexcept(FE_ALL_EXCEPT);
}

/// Passes a block through the routines and the model, in both directions. File and planes are placed against
/// inaccessible pages, one at the front and one at the back, and everything around them must be kept.
/// @param inLeftOut  one bit for each channel without a plane.
/// @param inFill  fills this many bytes with samples of a width.
/// @return what differs; empty if nothing does.
template <typename Fill>
std::string Difference(const FrameBlock& inBlock, std::uint64_t inLeftOut, bool inPlanesAtBack, Fill inFill) {
    using testing_support::GuardedBuffer;
    const std::size_t byteCount = inBlock.ByteCount(), planeBytes = inBlock.frames * sizeof(float), gap = 20,
                      stride = planeBytes + gap, floatBytes = inBlock.channels * stride - gap;
    GuardedBuffer bytes(byteCount), expectedBytes(byteCount), floats(floatBytes), expectedFloats(floatBytes);
    for (GuardedBuffer* const buffer : {&bytes, &expectedBytes, &floats, &expectedFloats})
        std::fill(buffer->begin(), buffer->end(), Byte{0xA5});
    const auto planesIn = [&](GuardedBuffer& buffer) {
        std::vector<float*> planes(inBlock.channels);
        for (std::size_t c = 0; c < planes.size(); ++c)
            if ((inLeftOut >> c % 32 & 1) == 0)
                planes[c] = reinterpret_cast<float*>(buffer.At(inPlanesAtBack, floatBytes) + c * stride);
        return planes;
    };
    Byte *const in = bytes.At(!inPlanesAtBack, byteCount), *const out =
                                                               expectedBytes.At(!inPlanesAtBack, byteCount);
    const auto frames = static_cast<std::int64_t>(inBlock.frames);
    const auto channels = static_cast<std::int32_t>(inBlock.channels);
    const auto planes = planesIn(floats);
    inFill(in, byteCount, inBlock.Width());
    const int decoding =
        FlagsOf([&] { DecodeFrames(inBlock.Format(), in, planes.data(), frames, channels); });
    const int ofDecoding = FlagsOf([&] { inBlock.Decode(in, planesIn(expectedFloats).data()); });
    if (floats != expectedFloats || (decoding & ~ofDecoding) != 0)
        return floats == expectedFloats ? "flags of decoding" : "decoded";
    for (float* const plane : planes)
        if (plane)
            inFill(reinterpret_cast<Byte*>(plane), planeBytes, sizeof(float));
    const int encoding =
        FlagsOf([&] { EncodeFrames(inBlock.Format(), planes.data(), in, frames, channels); });
    const int ofEncoding = FlagsOf([&] { inBlock.Encode(planes.data(), out); });
    if (bytes != expectedBytes)
        return "encoded";
    return (encoding & ~ofEncoding) == 0 ? "" : "flags of encoding";
}

/// Returns whether a sample of the format is decoded as by a routine for its bytes,
/// which may be converted first.
inline bool IsDecodedBy(const SampleFormat& inFormat, DeinterleaveFunction inRoutine,
                        ConversionFunction inConvert) {
    if (!inRoutine || !IsSupported(inFormat))
        return !inRoutine && !IsSupported(inFormat);
    const Byte sample[8] = {0x3F, 0x91, 0x12, 0x46, 0x45, 0x23, 0x80, 0x41};
    Byte converted[8];
    std::copy_n(sample, 8, converted);
    if (inConvert)
        inConvert(sample, converted, inFormat.bytesPerSample, 1);
    float decoded, expected, *const plane = &decoded;
    DecodeFrames(inFormat, sample, &plane, 1, 1);
    inRoutine(converted, &expected, 1, 1);
    return std::bit_cast<std::uint32_t>(decoded) == std::bit_cast<std::uint32_t>(expected);
}

} // namespace sample_models
