#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "kelaudiofile/Export.h"
#include "kelcore/allocator.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// @addtogroup peaks
/// @{

namespace detail {

struct BlockRun;
using BlockRunVector = std::vector<BlockRun, kelcore::allocator::STLAllocator<BlockRun>>;

/// Returns the offset where a block starts. Wraps around at 64 bits, as all offset arithmetic here does.
constexpr std::int64_t BlockOffset(std::int64_t inStartOffset, std::uint64_t inIndex,
                                   std::int64_t inBlockSize) noexcept {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(inStartOffset) +
                                     inIndex * static_cast<std::uint64_t>(inBlockSize));
}

} // namespace detail

/// The lowest and highest value of one block.
struct KELAUDIOFILE_VISIBLE_TYPE PeakDatum {
    float min; ///< the lowest value of the block
    float max; ///< the highest value of the block

    /// Makes a silent datum: 0.0 and 0.0.
    constexpr PeakDatum() noexcept : min(0.0f), max(0.0f) {}
    /// Stores both values unchecked, even a minimum above the maximum.
    constexpr PeakDatum(float inMin, float inMax) noexcept : min(inMin), max(inMax) {}
};

// Streams contain datums as they are laid out in memory.
static_assert(sizeof(PeakDatum) == 2 * sizeof(float) && std::is_trivially_copyable<PeakDatum>::value &&
                  std::is_standard_layout<PeakDatum>::value,
              "a datum is two floats and nothing else");

/// Compares as floats do: 0.0 equals -0.0, and a datum with a NaN differs from every datum, including itself.
constexpr bool operator==(const PeakDatum& a, const PeakDatum& b) noexcept {
    return a.min == b.min && a.max == b.max;
}
/// Returns whether the two do not compare equal.
constexpr bool operator!=(const PeakDatum& a, const PeakDatum& b) noexcept {
    return !(a == b);
}

class PeakDataSegment;

/// Datums in order of offset.
using PeakDatumVector = std::vector<PeakDatum, kelcore::allocator::STLAllocator<PeakDatum>>;
/// Segments in order of offset.
using PeakDataSegmentVector = std::vector<PeakDataSegment, kelcore::allocator::STLAllocator<PeakDataSegment>>;

/// A run of blocks of equal size with one datum each. Block k covers the offsets from GetStartOffset() + k *
/// GetBlockSize() up to, but not including, the start of the next block.
///
/// Offsets and block sizes are positions and lengths on the host's timeline, in the host's unit. No value is
/// rejected: a block size of 0 or less and a segment without datums can be stored. Sums of offsets that
/// exceed 64 bits wrap around.
///
/// Errors are reported by exceptions only: std::bad_alloc, and in the two stream operations file_exception
/// and what they document. One thread at a time while a segment is being changed.
class KELAUDIOFILE_EXPORT PeakDataSegment {
public:
    /// Makes a segment with offset 0, block size 0 and no datums.
    PeakDataSegment() noexcept;
    /// Makes a segment from its parts, which are not checked.
    /// @param inStartOffset  the offset of the first block.
    /// @param inBlockSize  the length of every block, in offset units.
    /// @param inData  the datums, which are copied; the caller's vector keeps its contents.
    PeakDataSegment(std::int64_t inStartOffset, std::int64_t inBlockSize, PeakDatumVector&& inData);

    /// Copies the datums.
    PeakDataSegment(const PeakDataSegment& inOther);
    /// Moves the datums and leaves inOther without any; its offset and block size stay.
    PeakDataSegment(PeakDataSegment&& inOther) noexcept;
    /// Copies the datums. Self-assignment has no effect.
    PeakDataSegment& operator=(const PeakDataSegment& inOther);
    /// Like the move constructor. Self-assignment has no effect.
    PeakDataSegment& operator=(PeakDataSegment&& inOther) noexcept;
    ~PeakDataSegment();

    /// Returns the offset of the first block.
    std::int64_t GetStartOffset() const noexcept { return startOffset; }
    /// Moves the segment without changing its blocks.
    void SetStartOffset(std::int64_t inOffset) noexcept { startOffset = inOffset; }
    /// Returns the offset where the last block ends.
    std::int64_t GetEndOffset() const noexcept {
        return detail::BlockOffset(startOffset, data.size(), blockSize);
    }
    /// Returns the length of every block, in offset units.
    std::int64_t GetBlockSize() const noexcept { return blockSize; }

    /// Returns the number of datums.
    std::uint64_t size() const noexcept { return data.size(); }
    /// Returns the datum of the first block; valid until datums move in memory.
    PeakDatumVector::iterator begin() noexcept { return data.begin(); }
    /// Returns the position after the last datum.
    PeakDatumVector::iterator end() noexcept { return data.end(); }
    /// As above, for a constant segment.
    PeakDatumVector::const_iterator begin() const noexcept { return data.begin(); }
    /// As above, for a constant segment.
    PeakDatumVector::const_iterator end() const noexcept { return data.end(); }

    /// Appends copies of another segment's datums. inOther keeps its datums, in both overloads.
    /// @return false, leaving this segment unchanged, unless both have the same block size and inOther starts
    ///        where this segment ends.
    bool Append(const PeakDataSegment& inOther);
    /// As above: a temporary is copied too.
    bool Append(const PeakDataSegment&& inOther);

    /// Copies the datums from inFirst up to, but not including, inLast.
    /// @param inFirst, inLast  iterators of this segment, inLast not before inFirst.
    /// @return a segment at inFirst's offset, with this block size; without datums for an empty range.
    PeakDataSegment GetRange(PeakDatumVector::const_iterator inFirst,
                             PeakDatumVector::const_iterator inLast) const;

    /// Splits a copy of the segment in two. A block that contains the split point becomes two blocks, each
    /// with the whole block's datum, whose sizes add up to the original size.
    /// @return the 2 to 4 pieces in order of offset: what precedes the split block, its two halves, and what
    ///        follows it. They touch, and none is empty. Without pieces if inOffset is not inside the
    ///        segment; a segment with a block size of 0 or less has no inside. Segments of 2^32 datums or
    ///        more are not supported.
    PeakDataSegmentVector Split(std::int64_t inOffset) const;

    /// Replaces block size and datums with those of the segment record at the stream's position, and leaves
    /// the position after it. The start offset stays. A record is an image in native byte order: the number
    /// of datums (32 bits), the block size (64 bits), then the datums.
    ///
    /// Only what protects memory is checked: std::bad_alloc is thrown, before memory is requested, if the
    /// datums would take more than 16 MiB and the rest of the stream is too short for them, or if there are
    /// 2^29 or more, which no record can hold. After an exception the fields hold what had been read.
    void LoadFromStream(kelcore::filesupport::IPlatformByteStream& inStream);

    /// Writes the segment record at the stream's position and leaves the position after it.
    /// @throws kel_exception for 2^29 datums or more, which the record cannot hold,
    ///        before anything is written.
    void WriteToStream(kelcore::filesupport::OPlatformByteStream& outStream) const;

private:
    friend struct detail::BlockRun;

    std::int64_t startOffset = 0;
    std::int64_t blockSize = 0;
    PeakDatumVector data;
};

/// @}

} // namespace kelaudiofile
