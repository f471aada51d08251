#pragma once

#include <cstddef>

#include "bytes/ByteOrder.h"

/// Sample rates as IEEE 754 extended numbers of 80 bits, big-endian: sign and 15 bits of exponent with bias
/// 16383, then a mantissa of 64 bits with an explicit integer bit.
namespace kelaudiofile::aiff {

inline constexpr std::size_t kExtendedBytes = 10;

/// Takes any bits, infinities and NaN included.
double LoadExtended(const bytes::Byte* in);

/// Writes every normal number exactly. Zero gets no case of its own: it becomes 2 to the power of -1023.
void StoreExtended(bytes::Byte* out, double inValue);

} // namespace kelaudiofile::aiff
