#pragma once

#include <cstdint>

#include "bytes/ByteOrder.h"
#include "bytes/FourCC.h"

/// The layout of AIFF and AIFF-C files. All numbers are big-endian; an id is compared as the
/// number whose lowest byte is its first character. Unless noted otherwise, offsets count from the
/// start of a chunk's data.
namespace kelaudiofile::aiff {

using bytes::Byte;
using bytes::FourCC;

inline constexpr std::uint32_t kFormId = FourCC("FORM");
inline constexpr std::uint32_t kAiffType = FourCC("AIFF");
inline constexpr std::uint32_t kAifcType = FourCC("AIFC");
inline constexpr std::uint32_t kCommId = FourCC("COMM");
inline constexpr std::uint32_t kSsndId = FourCC("SSND");
inline constexpr std::uint32_t kChanId = FourCC("CHAN");
inline constexpr std::uint32_t kFverId = FourCC("FVER");

constexpr std::uint32_t LoadId(const Byte* in) {
    return bytes::LoadLittle32(in);
}
constexpr void StoreId(Byte* out, std::uint32_t inId) {
    bytes::StoreLittle32(out, inId);
}

/// The file header, with offsets from the start of the file. Chunks follow it.
namespace form {
inline constexpr int kSize = 4, kType = 8, kBytes = 12;
/// The size field includes neither itself nor the id.
inline constexpr int kUncountedBytes = 8;
/// With a larger size, the end of the file would overflow the 32 bits of many
/// readers, including this library.
inline constexpr std::int64_t kLargestSize = 0xFFFFFFFF - kUncountedBytes;
} // namespace form

/// A chunk's header, with offsets from its start.
namespace chunk {
inline constexpr int kId = 0, kSize = 4, kHeaderBytes = 8;
} // namespace chunk

/// Chunks start at even offsets: an odd end is followed by a pad byte that no chunk size includes.
template <typename Integer>
constexpr Integer PaddedEnd(Integer inEnd) {
    return inEnd + inEnd % 2;
}

namespace comm {
inline constexpr int kNumChannels = 0, kSampleCount = 2, kBitsPerSample = 6, kSampleRate = 8;
inline constexpr int kAiffBytes = 18;
inline constexpr int kCompressionCode = 18, kDescriptionLength = 22, kDescription = 23;
inline constexpr int kAifcBytes = 23; // with an empty description
} // namespace comm

namespace ssnd {
inline constexpr int kOffset = 0, kSamples = 8; // with an unused block size between them
} // namespace ssnd

namespace fver {
inline constexpr std::uint32_t kVersion1 = 0xA2805140;
inline constexpr int kBytes = 4;
} // namespace fver

/// The fields of Core Audio's AudioChannelLayout.
namespace chan {
inline constexpr int kTag = 0, kBitmap = 4, kNumDescriptions = 8, kDescriptions = 12;
inline constexpr int kDescriptionBytes = 20; // the label, then bytes that are not read, and written as zeros
inline constexpr int kTrailerBytes = 4;      // zeros that are written after the descriptions
inline constexpr std::uint32_t kUseDescriptions = 0, kUseBitmap = 0x10000;
} // namespace chan

/// The limit for chunks that are loaded into memory whole when a file is opened.
inline constexpr std::int64_t kLargestParsedChunk = 65536;

} // namespace kelaudiofile::aiff
