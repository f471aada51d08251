#include "KernelsPlain.h"

#include <cmath>
#include <cstddef>
#include <cstring>

namespace {

struct Sample24 {
    std::uint8_t bytes[3];
};

float FromInteger8(std::int8_t in) {
    return static_cast<float>(in) * 0x1p-7f;
}
float FromInteger16(std::int16_t in) {
    return static_cast<float>(in) * 0x1p-15f;
}
float FromInteger24(Sample24 in) {
    std::int32_t value = in.bytes[0] | in.bytes[1] << 8 | in.bytes[2] << 16;
    if (value & 0x800000)
        value -= 0x1000000;
    return static_cast<float>(value) * 0x1p-23f;
}
float FromInteger32(std::int32_t in) {
    return static_cast<float>(in) * 0x1p-31f;
}
float FromInteger64(std::int64_t in) {
    return static_cast<float>(static_cast<double>(in) * 0x1p-63);
}
float FromFloat15(float in) {
    return in * 0x1p-15f;
}
float FromFloat23(float in) {
    return in * 0x1p-23f;
}
float FromDouble(double in) {
    return static_cast<float>(in);
}

template <typename T>
T Same(T in) {
    return in;
}

float ToFloat15(float in) {
    return in * 0x1p15f;
}
float ToFloat23(float in) {
    return in * 0x1p23f;
}
double ToDouble(float in) {
    return in;
}
std::uint8_t FlipSign(std::uint8_t in) {
    return static_cast<std::uint8_t>(in + 0x80);
}

double Clip(double inProduct, double inLowest, double inHighest) {
    if (inHighest < inProduct)
        inProduct = inHighest;
    return inProduct >= inLowest ? inProduct : inLowest;
}
std::int32_t ToInteger32(float in) {
    return static_cast<std::int32_t>(Clip(in * 0x1p31, -0x1p31, 0x1p31 - 1));
}
std::int64_t ToInteger64(float in) {
    return static_cast<std::int64_t>(Clip(in * 0x1p63, -0x1p63, 0x1p63 - 1024));
}

std::uint16_t Swap16(std::uint16_t in) {
    return static_cast<std::uint16_t>(in << 8 | in >> 8);
}
Sample24 Swap24(Sample24 in) {
    return {{in.bytes[2], in.bytes[1], in.bytes[0]}};
}
std::uint32_t Swap32(std::uint32_t in) {
    return in << 24 | (in << 8 & 0xFF0000) | (in >> 8 & 0xFF00) | in >> 24;
}

template <typename>
struct Types;
template <typename Out, typename In>
struct Types<Out (*)(In)> {
    using Source = In;
    using Written = Out;
};

template <auto kConvert, bool kGathers>
void Run(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    using Source = typename Types<decltype(kConvert)>::Source;
    using Written = typename Types<decltype(kConvert)>::Written;
    const auto* in = static_cast<const unsigned char*>(source);
    auto* out = static_cast<unsigned char*>(destination);
    const std::ptrdiff_t sourceStep = std::ptrdiff_t{sizeof(Source)} * (kGathers ? channels : 1);
    const std::ptrdiff_t writtenStep = std::ptrdiff_t{sizeof(Written)} * (kGathers ? 1 : channels);
    for (std::int32_t i = 0; i < sampleCount; ++i) {
        Source sample;
        std::memcpy(&sample, in + i * sourceStep, sizeof sample);
        const Written written = kConvert(sample);
        std::memcpy(out + i * writtenStep, &written, sizeof written);
    }
}

template <auto kConvert>
PlainKernel Gather(const char* inName) {
    using Source = typename Types<decltype(kConvert)>::Source;
    return {inName, Run<kConvert, true>, sizeof(Source), sizeof(float), true};
}

template <auto kConvert>
PlainKernel Scatter(const char* inName) {
    using Source = typename Types<decltype(kConvert)>::Source;
    using Written = typename Types<decltype(kConvert)>::Written;
    return {inName, Run<kConvert, false>, sizeof(Source), sizeof(Written), false};
}

} // namespace

std::vector<PlainKernel> PlainKernels() {
    return {Gather<&FromInteger8>("DeInterleave8Bit"),
            Gather<&FromInteger16>("DeInterleave16Bit"),
            Gather<&FromInteger24>("DeInterleave24Bit"),
            Gather<&FromInteger32>("DeInterleave32Bit"),
            Gather<&FromInteger64>("DeInterleave64Bit"),
            Gather<&Same<float>>("DeInterleave32BitFloat_1"),
            Gather<&FromFloat15>("DeInterleave32BitFloat_32768"),
            Gather<&FromFloat23>("DeInterleave32BitFloat_8388608"),
            Gather<&FromDouble>("DeInterleave64BitFloat"),
            Scatter<&Same<std::uint8_t>>("Interleave8Bits"),
            Scatter<&Same<std::uint16_t>>("Interleave16Bits"),
            Scatter<&Same<Sample24>>("Interleave24Bits"),
            Scatter<&Same<float>>("Interleave32BitFloat_1"),
            Scatter<&ToFloat15>("Interleave32BitFloat_32768"),
            Scatter<&ToFloat23>("Interleave32BitFloat_8388608"),
            Scatter<&ToDouble>("Interleave64BitFloat"),
            Scatter<&ToInteger32>("Interleave32BitInteger"),
            Scatter<&ToInteger64>("Interleave64BitInteger"),
            Scatter<&FlipSign>("ConvertBetweenSigned8BitAudioAndUnsigned"),
            Scatter<&Swap16>("Swizzle16Bit"),
            Scatter<&Swap24>("Swizzle24Bit"),
            Scatter<&Swap32>("Swizzle32Bit")};
}
