#include "SampleRate.h"

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kelaudiofile::aiff {

namespace {

constexpr std::uint16_t kSignBit = 0x8000;
constexpr int kExtendedBias = 16383;
constexpr std::uint64_t kIntegerBit = std::uint64_t{1} << 63;

static_assert(std::numeric_limits<double>::is_iec559);
constexpr int kDoubleBias = 1023;
constexpr int kDoubleFractionBits = 52;
constexpr std::uint64_t kDoubleFraction = (std::uint64_t{1} << kDoubleFractionBits) - 1;
constexpr std::uint64_t kDoubleExponent = 0x7FF;

static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 1, "wider registers would not round each sum");

// Adds bit by bit from the highest down, rounding each sum. For mantissas of more than 53 bits this gives
// other results than a single conversion.
double MantissaValue(std::uint64_t inMantissa) {
    double sum = 0;
    double bitValue = 1;
    for (std::uint64_t bit = kIntegerBit; bit != 0; bit >>= 1) {
        if ((inMantissa & bit) != 0)
            sum += bitValue;
        bitValue /= 2;
    }
    return sum;
}

} // namespace

double LoadExtended(const bytes::Byte* in) {
    const std::uint16_t signAndExponent = bytes::LoadBig16(in);
    const int exponent = (signAndExponent & ~kSignBit) - kExtendedBias;
    const double magnitude = std::ldexp(1.0, exponent) * MantissaValue(bytes::LoadBig64(in + 2));
    return (signAndExponent & kSignBit) != 0 ? magnitude * -1.0 : magnitude;
}

void StoreExtended(bytes::Byte* out, double inValue) {
    const auto bits = std::bit_cast<std::uint64_t>(inValue);
    const auto exponent = (bits >> kDoubleFractionBits & kDoubleExponent) + (kExtendedBias - kDoubleBias);
    const std::uint64_t mantissa = (bits & kDoubleFraction) << (63 - kDoubleFractionBits) | kIntegerBit;
    bytes::StoreBig16(out, static_cast<std::uint16_t>(exponent | (std::signbit(inValue) ? kSignBit : 0u)));
    bytes::StoreBig64(out + 2, mantissa);
}

} // namespace kelaudiofile::aiff
