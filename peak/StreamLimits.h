#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

#include "kelcore/config.h"
#include "kelcore/filesupport.h"
#include "kelcore/string.h"

/// The limits of a peak data stream, and how far its counts are trusted.
namespace kelaudiofile::detail {

/// A segment record: datum count, block size, datums.
inline constexpr std::uint64_t kDatumBytes = 8;
inline constexpr std::uint64_t kSegmentHeaderBytes = sizeof(std::uint32_t) + sizeof(std::int64_t);

/// A stream transfers at most 2^32 - 1 bytes at once, and the datums of a segment are transferred at once.
inline constexpr std::uint64_t kDatumCountLimit = (std::uint64_t{1} << 32) / kDatumBytes;
inline constexpr std::uint64_t kSegmentCountLimit = std::uint64_t{1} << 32;

/// Up to this size, storage is allocated for whatever a stream claims; above it, the
/// stream must hold as much.
inline constexpr std::uint64_t kTrustedStorageBytes = std::uint64_t{16} << 20;

inline void RequireStorable(std::uint64_t inCount, std::uint64_t inLimit, const char* inMessage) {
    if (inCount >= inLimit)
        throw kelcore::config::kel_exception(kelcore::utility::StringValue(inMessage, ""));
}

inline void RequireStorableDatums(std::uint64_t inCount) {
    RequireStorable(inCount, kDatumCountLimit, "a peak data segment of 2^29 datums or more cannot be stored");
}

inline void RequireStorableSegments(std::uint64_t inCount) {
    RequireStorable(inCount, kSegmentCountLimit, "peak data of 2^32 segments or more cannot be stored");
}

/// Fails like an allocation of the elements if the stream cannot contain them.
/// @param inElementBytes  the memory per element.
/// @param inRecordBytes  the least bytes per element in the stream.
inline void RequireElements(const kelcore::filesupport::IByteStream& inStream, std::uint64_t inCount,
                            std::uint64_t inElementBytes, std::uint64_t inRecordBytes) {
    if (inCount * inElementBytes <= kTrustedStorageBytes)
        return;
    const std::uint64_t length = inStream.Length(), position = inStream.CurPos();
    if (position > length || inCount * inRecordBytes > length - position)
        throw std::bad_alloc();
}

} // namespace kelaudiofile::detail
