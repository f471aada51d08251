#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "kelaccelerate/SwapBytes.h"
#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Interleave.h"

/// A plain model of each sample routine, which tests and fuzzing hold the routines against.
namespace convert_tests {

using namespace kelaudiofile;

// What one sample becomes, told byte by byte and number by number.

inline std::uint64_t LittleBits(const std::uint8_t* inBytes, int inCount) {
    std::uint64_t bits = 0;
    for (int i = inCount - 1; i >= 0; --i)
        bits = bits << 8 | inBytes[i];
    return bits;
}

inline void PutLittle(std::uint8_t* outBytes, int inCount, std::uint64_t inBits) {
    for (int i = 0; i < inCount; ++i)
        outBytes[i] = static_cast<std::uint8_t>(inBits >> (8 * i));
}

template <typename T>
T FromMachine(const std::uint8_t* inBytes) {
    T value;
    std::memcpy(&value, inBytes, sizeof value);
    return value;
}

template <typename T>
void PutMachine(std::uint8_t* outBytes, T inValue) {
    std::memcpy(outBytes, &inValue, sizeof inValue);
}

template <int kBytes>
void ModelOfInteger(const std::uint8_t* in, std::uint8_t* out) {
    const int spare = 64 - 8 * kBytes;
    const auto value = static_cast<std::int64_t>(LittleBits(in, kBytes) << spare) >> spare;
    const volatile double rounded = static_cast<double>(value); // volatile keeps no more than 53 bits
    PutMachine(out, static_cast<float>(std::ldexp(rounded, 1 - 8 * kBytes)));
}

template <int kExponent>
void ModelOfFloat(const std::uint8_t* in, std::uint8_t* out) {
    PutMachine(out,
               std::ldexp(std::bit_cast<float>(static_cast<std::uint32_t>(LittleBits(in, 4))), kExponent));
}

inline void ModelOfDouble(const std::uint8_t* in, std::uint8_t* out) {
    PutMachine(out, static_cast<float>(std::bit_cast<double>(LittleBits(in, 8))));
}

inline void ModelOfFloatBits(const std::uint8_t* in, std::uint8_t* out) {
    PutMachine(out, static_cast<std::uint32_t>(LittleBits(in, 4)));
}

template <int kBytes>
void ModelOfCopy(const std::uint8_t* in, std::uint8_t* out) {
    std::copy_n(in, kBytes, out);
}

template <int kBytes>
void ModelOfSwap(const std::uint8_t* in, std::uint8_t* out) {
    std::reverse_copy(in, in + kBytes, out);
}

inline void ModelOfSign(const std::uint8_t* in, std::uint8_t* out) {
    *out = static_cast<std::uint8_t>(*in + 0x80);
}

inline void ModelOfWrittenBits(const std::uint8_t* in, std::uint8_t* out) {
    PutLittle(out, 4, FromMachine<std::uint32_t>(in));
}

template <int kExponent>
void ModelOfWrittenFloat(const std::uint8_t* in, std::uint8_t* out) {
    PutLittle(out, 4, std::bit_cast<std::uint32_t>(std::ldexp(FromMachine<float>(in), kExponent)));
}

inline void ModelOfWrittenDouble(const std::uint8_t* in, std::uint8_t* out) {
    PutLittle(out, 8, std::bit_cast<std::uint64_t>(static_cast<double>(FromMachine<float>(in))));
}

template <typename Integer>
void ModelOfWrittenInteger(const std::uint8_t* in, std::uint8_t* out) {
    const double fullScale = std::ldexp(1.0, 8 * int{sizeof(Integer)} - 1);
    const double limit = sizeof(Integer) == 4 ? 2147483647.0 : 9223372036854774784.0;
    const double product = FromMachine<float>(in) * fullScale;
    const double clipped = std::isnan(product) ? -fullScale : std::clamp(product, -fullScale, limit);
    PutLittle(out, sizeof(Integer),
              static_cast<std::uint64_t>(static_cast<std::int64_t>(std::trunc(clipped))));
}

// All routines under one signature that counts samples.

using Convert = void (*)(const void* source, void* destination, std::int32_t sampleCount,
                         std::int32_t channels);

template <DeinterleaveFunction kRoutine>
void Gather(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    kRoutine(source, static_cast<float*>(destination), sampleCount, channels);
}

template <ConversionFunction kRoutine, int kSampleBytes, int kBytesBeyond>
void Swizzle(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    kRoutine(source, destination, sampleCount * kSampleBytes + kBytesBeyond, channels);
}

template <typename Element>
void Swap(const void* source, void* destination, std::int32_t sampleCount, std::int32_t) {
    kelaccelerate::utility::SwapBytes(static_cast<std::uint64_t>(sampleCount),
                                      static_cast<const Element*>(source),
                                      static_cast<Element*>(destination));
}

struct Routine {
    const char* name;
    Convert convert;
    void (*model)(const std::uint8_t* in, std::uint8_t* out);
    std::size_t sourceBytes, writtenBytes; ///< per sample
    enum { kSource, kDestination, kNeither } strided;
};

// clang-format off
inline const Routine kRoutines[] = {
    {"DeInterleave8Bit", Gather<DeInterleave8Bit>, ModelOfInteger<1>, 1, 4, Routine::kSource},
    {"DeInterleave16Bit", Gather<DeInterleave16Bit>, ModelOfInteger<2>, 2, 4, Routine::kSource},
    {"DeInterleave24Bit", Gather<DeInterleave24Bit>, ModelOfInteger<3>, 3, 4, Routine::kSource},
    {"DeInterleave32Bit", Gather<DeInterleave32Bit>, ModelOfInteger<4>, 4, 4, Routine::kSource},
    {"DeInterleave64Bit", Gather<DeInterleave64Bit>, ModelOfInteger<8>, 8, 4, Routine::kSource},
    {"DeInterleave32BitFloat_1", Gather<DeInterleave32BitFloat_1>, ModelOfFloatBits, 4, 4, Routine::kSource},
    {"DeInterleave32BitFloat_32768", Gather<DeInterleave32BitFloat_32768>, ModelOfFloat<-15>, 4, 4, Routine::kSource},
    {"DeInterleave32BitFloat_8388608", Gather<DeInterleave32BitFloat_8388608>, ModelOfFloat<-23>, 4, 4,
     Routine::kSource},
    {"DeInterleave64BitFloat", Gather<DeInterleave64BitFloat>, ModelOfDouble, 8, 4, Routine::kSource},
    {"Interleave8Bits", Interleave8Bits, ModelOfCopy<1>, 1, 1, Routine::kDestination},
    {"Interleave16Bits", Interleave16Bits, ModelOfCopy<2>, 2, 2, Routine::kDestination},
    {"Interleave24Bits", Interleave24Bits, ModelOfCopy<3>, 3, 3, Routine::kDestination},
    {"Interleave32BitFloat_1", Interleave32BitFloat_1, ModelOfWrittenBits, 4, 4, Routine::kDestination},
    {"Interleave32BitFloat_32768", Interleave32BitFloat_32768, ModelOfWrittenFloat<15>, 4, 4, Routine::kDestination},
    {"Interleave32BitFloat_8388608", Interleave32BitFloat_8388608, ModelOfWrittenFloat<23>, 4, 4,
     Routine::kDestination},
    {"Interleave64BitFloat", Interleave64BitFloat, ModelOfWrittenDouble, 4, 8, Routine::kDestination},
    {"Interleave32BitInteger", Interleave32BitInteger, ModelOfWrittenInteger<std::int32_t>, 4, 4,
     Routine::kDestination},
    {"Interleave64BitInteger", Interleave64BitInteger, ModelOfWrittenInteger<std::int64_t>, 4, 8,
     Routine::kDestination},
    {"signs", ConvertBetweenSigned8BitAudioAndUnsigned, ModelOfSign, 1, 1, Routine::kDestination},
    {"Swizzle16Bit", Swizzle<Swizzle16Bit, 2, 0>, ModelOfSwap<2>, 2, 2, Routine::kDestination},
    {"Swizzle16Bit, 1 byte beyond", Swizzle<Swizzle16Bit, 2, 1>, ModelOfSwap<2>, 2, 2, Routine::kDestination},
    {"Swizzle24Bit", Swizzle<Swizzle24Bit, 3, 0>, ModelOfSwap<3>, 3, 3, Routine::kDestination},
    {"Swizzle24Bit, 2 bytes beyond", Swizzle<Swizzle24Bit, 3, 2>, ModelOfSwap<3>, 3, 3, Routine::kDestination},
    {"Swizzle32Bit", Swizzle<Swizzle32Bit, 4, 0>, ModelOfSwap<4>, 4, 4, Routine::kDestination},
    {"Swizzle32Bit, 3 bytes beyond", Swizzle<Swizzle32Bit, 4, 3>, ModelOfSwap<4>, 4, 4, Routine::kDestination},
    {"SwapBytes 16", Swap<std::uint16_t>, ModelOfSwap<2>, 2, 2, Routine::kNeither},
    {"SwapBytes 24", Swap<kelcore::utility::int24_t>, ModelOfSwap<3>, 3, 3, Routine::kNeither},
    {"SwapBytes 32", Swap<std::uint32_t>, ModelOfSwap<4>, 4, 4, Routine::kNeither},
};
// clang-format on

/// One call: how many bytes lie between the samples on each side, and how far each side reaches.
struct Call {
    const Routine& routine;
    std::int32_t sampleCount, channels;
    std::size_t sourceStep = Step(Routine::kSource, routine.sourceBytes);
    std::size_t writtenStep = Step(Routine::kDestination, routine.writtenBytes);
    std::size_t sourceReach = Reach(sourceStep, routine.sourceBytes);
    std::size_t writtenReach = Reach(writtenStep, routine.writtenBytes);

    std::size_t Step(int inSide, std::size_t inWidth) const {
        return routine.strided == inSide ? inWidth * static_cast<std::size_t>(channels) : inWidth;
    }
    std::size_t Reach(std::size_t inStep, std::size_t inWidth) const {
        return sampleCount == 0 ? 0 : static_cast<std::size_t>(sampleCount - 1) * inStep + inWidth;
    }
    void Run(const std::uint8_t* source, std::uint8_t* destination) const {
        routine.convert(source, destination, sampleCount, channels);
    }
    void RunModel(const std::uint8_t* source, std::uint8_t* destination) const {
        for (std::size_t i = 0; i < static_cast<std::size_t>(sampleCount); ++i)
            routine.model(source + i * sourceStep, destination + i * writtenStep);
    }
};

} // namespace convert_tests
