#pragma once

#include <cstdint>

#include "bytes/ByteOrder.h"
#include "bytes/FourCC.h"

/// AIFF and AIFF-C on disk. All numbers are big-endian; an id is compared as the number whose lowest byte is
/// its first character. Offsets without another note count from the start of a chunk's data.
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

/// The file header, from the start of the file. The chunks follow it.
namespace form {
inline constexpr int kSize = 4, kType = 8, kBytes = 12;
/// The size field does not count itself and the id.
inline constexpr int kUncountedBytes = 8;
/// With a larger one, the end of the file would wrap in the 32 bits of many readers, ours included.
inline constexpr std::int64_t kLargestSize = 0xFFFFFFFF - kUncountedBytes;
} // namespace form

/// A chunk's header, from its start.
namespace chunk {
inline constexpr int kId = 0, kSize = 4, kHeaderBytes = 8;
} // namespace chunk

/// Chunks start at even offsets of the file: an odd end gets a pad byte that no chunk size counts.
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
inline constexpr int kOffset = 0, kSamples = 8; // a block size lies between them; nobody uses it
} // namespace ssnd

namespace fver {
inline constexpr std::uint32_t kVersion1 = 0xA2805140;
inline constexpr int kBytes = 4;
} // namespace fver

/// The fields of Core Audio's AudioChannelLayout.
namespace chan {
inline constexpr int kTag = 0, kBitmap = 4, kNumDescriptions = 8, kDescriptions = 12;
inline constexpr int kDescriptionBytes = 20; // the label, then what is not read and written as zeros
inline constexpr int kTrailerBytes = 4;      // zeros that are written after the descriptions
inline constexpr std::uint32_t kUseDescriptions = 0, kUseBitmap = 0x10000;
} // namespace chan

/// Chunks that are held in memory as a whole while a file is opened are no larger.
inline constexpr std::int64_t kLargestParsedChunk = 65536;

} // namespace kelaudiofile::aiff
