#pragma once

#include <algorithm>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Interleave.h"

/// Models of the sample routines for one sample, step by step, and a plain loop over samples. Tests and fuzz
/// targets compare the routines with them; benchmarks time the routines against them.
namespace sample_models {

using namespace kelaudiofile;
using Byte = unsigned char;

template <typename T>
T Get(const Byte* in) {
    T value;
    std::memcpy(&value, in, sizeof value);
    return value;
}

template <typename T>
void Put(Byte* out, T inValue) {
    std::memcpy(out, &inValue, sizeof inValue);
}

/// Converts the bytes of a number from the file's order to native order, or back.
template <typename T>
T Little(T in) {
    if constexpr (std::endian::native == std::endian::big) {
        Byte bytes[sizeof in];
        Put(bytes, in);
        std::reverse(bytes, bytes + sizeof in);
        return Get<T>(bytes);
    }
    return in;
}

template <int kBytes>
void FromInteger(const Byte* in, Byte* out) {
    std::uint64_t bits = 0;
    for (int b = kBytes; b-- > 0;)
        bits = bits << 8 | in[b];
    constexpr int kSpare = 64 - 8 * kBytes;
    using Real = std::conditional_t<kBytes == 8, double, float>;
    const auto value = static_cast<Real>(static_cast<std::int64_t>(bits << kSpare) >> kSpare);
    constexpr Real kHalfScale = std::uint64_t{1} << (8 * kBytes - 2);
    Put(out, static_cast<float>(value * (Real{0.5} / kHalfScale)));
}

inline void FloatBits(const Byte* in, Byte* out) {
    Put(out, Little(Get<std::uint32_t>(in)));
}

template <int kFullScale>
void FromFloat(const Byte* in, Byte* out) {
    Put(out, Little(Get<float>(in)) * (1.0f / kFullScale));
}

inline void FromDouble(const Byte* in, Byte* out) {
    Put(out, static_cast<float>(Little(Get<double>(in))));
}

template <int kBytes>
void Copy(const Byte* in, Byte* out) {
    std::copy_n(in, kBytes, out);
}

inline void FlipSign(const Byte* in, Byte* out) {
    *out = static_cast<Byte>(*in + 0x80);
}

template <int kBytes>
void Reverse(const Byte* in, Byte* out) {
    std::reverse_copy(in, in + kBytes, out);
}

template <int kFullScale>
void ToFloat(const Byte* in, Byte* out) {
    Put(out, Little(Get<float>(in) * float{kFullScale}));
}

inline void ToDouble(const Byte* in, Byte* out) {
    Put(out, Little(double{Get<float>(in)}));
}

/// Clips to full scale and truncates towards zero. A NaN becomes the lowest integer and raises the exceptions
/// that its conversion raises.
template <typename Integer>
void ToInteger(const Byte* in, Byte* out) {
    constexpr double kFullScale = sizeof(Integer) == 4 ? 0x1p31 : 0x1p63;
    constexpr double kHighest = sizeof(Integer) == 4 ? 0x1p31 - 1 : 0x1p63 - 1024;
    double product = Get<float>(in) * kFullScale;
    if (kHighest < product)
        product = kHighest;
    if (-kFullScale > product)
        product = -kFullScale;
    if (std::isnan(product)) {
        std::feraiseexcept(FE_INVALID);
        product = -kFullScale;
    }
    Put(out, Little(static_cast<Integer>(product)));
}

// All routines behind one signature that counts samples, each with a plain loop.

using Convert = void (*)(const void* source, void* destination, std::int32_t sampleCount,
                         std::int32_t channels);
using PlainLoop = void (*)(const Byte* in, std::size_t sourceStep, Byte* out, std::size_t writtenStep,
                           std::int32_t sampleCount);

template <void (*kModel)(const Byte*, Byte*)>
void Loop(const Byte* in, std::size_t sourceStep, Byte* out, std::size_t writtenStep,
          std::int32_t sampleCount) {
    for (; sampleCount > 0; --sampleCount, in += sourceStep, out += writtenStep)
        kModel(in, out);
}

template <DeinterleaveFunction kRoutine>
void Gather(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    kRoutine(source, static_cast<float*>(destination), sampleCount, channels);
}

/// Adds bytes after the last whole sample, which must not count.
template <ConversionFunction kRoutine, std::int32_t kBytes>
void Swizzle(const void* source, void* destination, std::int32_t sampleCount, std::int32_t channels) {
    kRoutine(source, destination, sampleCount * kBytes + kBytes - 1, channels);
}

struct Routine {
    const char* name;
    Convert convert;
    PlainLoop model;
    std::size_t sourceBytes, writtenBytes; ///< per sample
    bool gathers = false; ///< reads an interleaved source; otherwise writes an interleaved destination
};

// clang-format off
inline const Routine kRoutines[] = {
    {"DeInterleave8Bit", Gather<DeInterleave8Bit>, Loop<FromInteger<1>>, 1, 4, true},
    {"DeInterleave16Bit", Gather<DeInterleave16Bit>, Loop<FromInteger<2>>, 2, 4, true},
    {"DeInterleave24Bit", Gather<DeInterleave24Bit>, Loop<FromInteger<3>>, 3, 4, true},
    {"DeInterleave32Bit", Gather<DeInterleave32Bit>, Loop<FromInteger<4>>, 4, 4, true},
    {"DeInterleave64Bit", Gather<DeInterleave64Bit>, Loop<FromInteger<8>>, 8, 4, true},
    {"DeInterleave32BitFloat_1", Gather<DeInterleave32BitFloat_1>, Loop<FloatBits>, 4, 4, true},
    {"DeInterleave32BitFloat_32768", Gather<DeInterleave32BitFloat_32768>, Loop<FromFloat<32768>>, 4, 4, true},
    {"DeInterleave32BitFloat_8388608", Gather<DeInterleave32BitFloat_8388608>, Loop<FromFloat<8388608>>, 4, 4, true},
    {"DeInterleave64BitFloat", Gather<DeInterleave64BitFloat>, Loop<FromDouble>, 8, 4, true},
    {"Interleave8Bits", Interleave8Bits, Loop<Copy<1>>, 1, 1},
    {"Interleave16Bits", Interleave16Bits, Loop<Copy<2>>, 2, 2},
    {"Interleave24Bits", Interleave24Bits, Loop<Copy<3>>, 3, 3},
    {"Interleave32BitFloat_1", Interleave32BitFloat_1, Loop<FloatBits>, 4, 4},
    {"Interleave32BitFloat_32768", Interleave32BitFloat_32768, Loop<ToFloat<32768>>, 4, 4},
    {"Interleave32BitFloat_8388608", Interleave32BitFloat_8388608, Loop<ToFloat<8388608>>, 4, 4},
    {"Interleave64BitFloat", Interleave64BitFloat, Loop<ToDouble>, 4, 8},
    {"Interleave32BitInteger", Interleave32BitInteger, Loop<ToInteger<std::int32_t>>, 4, 4},
    {"Interleave64BitInteger", Interleave64BitInteger, Loop<ToInteger<std::int64_t>>, 4, 8},
    {"ConvertBetweenSigned8BitAudioAndUnsigned", ConvertBetweenSigned8BitAudioAndUnsigned, Loop<FlipSign>, 1, 1},
    {"Swizzle16Bit", Swizzle<Swizzle16Bit, 2>, Loop<Reverse<2>>, 2, 2},
    {"Swizzle24Bit", Swizzle<Swizzle24Bit, 3>, Loop<Reverse<3>>, 3, 3},
    {"Swizzle32Bit", Swizzle<Swizzle32Bit, 4>, Loop<Reverse<4>>, 4, 4},
};
// clang-format on

/// One call: the bytes from sample to sample on each side, and how far each side extends.
struct Call {
    const Routine& routine;
    std::int32_t sampleCount, channels;
    std::size_t sourceStep = routine.sourceBytes * static_cast<std::size_t>(routine.gathers ? channels : 1);
    std::size_t writtenStep = routine.writtenBytes * static_cast<std::size_t>(routine.gathers ? 1 : channels);
    std::size_t sourceReach = Reach(sourceStep, routine.sourceBytes);
    std::size_t writtenReach = Reach(writtenStep, routine.writtenBytes);

    std::size_t Reach(std::size_t inStep, std::size_t inWidth) const {
        return sampleCount == 0 ? 0 : static_cast<std::size_t>(sampleCount - 1) * inStep + inWidth;
    }
    void Run(const Byte* source, Byte* destination) const {
        routine.convert(source, destination, sampleCount, channels);
    }
    void RunModel(const Byte* source, Byte* destination) const {
        routine.model(source, sourceStep, destination, writtenStep, sampleCount);
    }
};

} // namespace sample_models
