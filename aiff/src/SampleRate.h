#pragma once

#include <cstddef>

#include "bytes/ByteOrder.h"

/// Sample rates as 80-bit IEEE 754 extended numbers, big-endian: a sign and 15 bits of exponent with bias
/// 16383, then a mantissa of 64 bits with an explicit integer bit.
namespace kelaudiofile::aiff {

inline constexpr std::size_t kExtendedBytes = 10;

/// Accepts any bits, including infinities and NaN.
double LoadExtended(const bytes::Byte* in);

/// Writes every normal number exactly. Zero is not treated specially: it becomes 2 to the power of -1023.
void StoreExtended(bytes::Byte* out, double inValue);

} // namespace kelaudiofile::aiff
