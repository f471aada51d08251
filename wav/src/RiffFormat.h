#pragma once

#include <cstddef>
#include <cstdint>

#include "bytes/FourCC.h"

/// The layout of files of the RIFF family; `ds64` according to EBU Tech 3306. All numbers are little-endian.
namespace kelaudiofile::riff {

inline constexpr std::uint32_t kRiffId = bytes::FourCC("RIFF");
inline constexpr std::uint32_t kRf64Id = bytes::FourCC("RF64");
inline constexpr std::uint32_t kBw64Id = bytes::FourCC("BW64");
inline constexpr std::uint32_t kWaveId = bytes::FourCC("WAVE");
inline constexpr std::uint32_t kDataId = bytes::FourCC("data");
inline constexpr std::uint32_t kFormatId = bytes::FourCC("fmt ");
inline constexpr std::uint32_t kDs64Id = bytes::FourCC("ds64");
inline constexpr std::uint32_t kJunkId = bytes::FourCC("JUNK");
inline constexpr std::uint32_t kJunqId = bytes::FourCC("JUNQ");
inline constexpr std::uint32_t kFillerId = bytes::FourCC("FLLR");

/// Marks a size of 2^32 or more in a 32-bit field.
inline constexpr std::uint32_t kSizeElsewhere = 0xFFFFFFFF;
inline constexpr std::uint64_t kLimit32 = std::uint64_t{1} << 32;

namespace header { // bytes from the start of the file
inline constexpr std::size_t kMagic = 0, kRiffSize = 4, kFormType = 8, kBytes = 12;
} // namespace header

namespace chunk { // bytes from the start of the chunk
inline constexpr std::size_t kId = 0, kSize = 4, kHeaderBytes = 8;
} // namespace chunk

namespace ds64 { // bytes from the start of the chunk's data
inline constexpr std::size_t kRiffSize = 0, kDataSize = 8, kSampleCount = 16, kTableLength = 24, kTable = 28;
inline constexpr std::size_t kRowBytes = 12, kRowId = 0, kRowSize = 4;
inline constexpr std::uint32_t kSmallest = 28, kLargest = 65536;
} // namespace ds64

} // namespace kelaudiofile::riff
