#pragma once

#include <cstdint>
#include <type_traits>
#include <vector>

#include "kelaudiofile/Export.h"
#include "kelcore/allocator.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace detail {

struct BlockRun;

/// The offset of a block's start. Wraps around at the ends of 64 bits, as all offset arithmetic here does.
constexpr std::int64_t BlockOffset(std::int64_t inStartOffset, std::uint64_t inIndex,
                                   std::int64_t inBlockSize) noexcept {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(inStartOffset) +
                                     inIndex * static_cast<std::uint64_t>(inBlockSize));
}

} // namespace detail

/// The lowest and the highest value of one block.
struct KELAUDIOFILE_VISIBLE_TYPE PeakDatum {
    float min; ///< the lowest value of the block
    float max; ///< the highest value of the block

    /// Silence: 0.0 and 0.0.
    constexpr PeakDatum() noexcept : min(0.0f), max(0.0f) {}
    /// Checks nothing: a minimum above the maximum is stored as given.
    constexpr PeakDatum(float inMin, float inMax) noexcept : min(inMin), max(inMax) {}
};

// Streams carry datums as they lie in memory.
static_assert(sizeof(PeakDatum) == 2 * sizeof(float) && std::is_trivially_copyable<PeakDatum>::value &&
                  std::is_standard_layout<PeakDatum>::value,
              "a datum is two floats and nothing else");

/// Compares as floats do: 0.0 equals -0.0, and a datum with a NaN differs from every datum, itself included.
constexpr bool operator==(const PeakDatum& a, const PeakDatum& b) noexcept {
    return a.min == b.min && a.max == b.max;
}
/// Whether the two do not compare equal.
constexpr bool operator!=(const PeakDatum& a, const PeakDatum& b) noexcept {
    return !(a == b);
}

class PeakDataSegment;

/// Datums in order of offset.
using PeakDatumVector = std::vector<PeakDatum, kelcore::allocator::STLAllocator<PeakDatum>>;
/// Segments in order of offset.
using PeakDataSegmentVector = std::vector<PeakDataSegment, kelcore::allocator::STLAllocator<PeakDataSegment>>;

/// A run of blocks of one size with one datum each. Block k covers the offsets from GetStartOffset() + k *
/// GetBlockSize() up to, and not including, the start of the next.
///
/// Offsets and block sizes are positions and lengths on the host's timeline, in the host's unit. No value is
/// refused: a block size of 0 or below and a segment without datums can be stored. Sums of offsets that leave
/// 64 bits wrap around.
///
/// Nothing here reports an error; a failed allocation passes through as std::bad_alloc, and file_exception in
/// the two stream operations. One thread at a time while a segment changes.
class KELAUDIOFILE_EXPORT PeakDataSegment {
public:
    /// Offset 0, block size 0, no datums.
    PeakDataSegment() noexcept;
    /// Nothing is checked.
    /// @param inStartOffset  of the first block.
    /// @param inBlockSize  of every block, in offset units.
    /// @param inData  the datums, which are copied: the caller's vector keeps its contents.
    PeakDataSegment(std::int64_t inStartOffset, std::int64_t inBlockSize, PeakDatumVector&& inData);

    /// Copies the datums.
    PeakDataSegment(const PeakDataSegment& inOther);
    /// Takes the datums over and leaves inOther without any; its offset and block size stay.
    PeakDataSegment(PeakDataSegment&& inOther) noexcept;
    /// Copies the datums. Copying to itself changes nothing.
    PeakDataSegment& operator=(const PeakDataSegment& inOther);
    /// As the move constructor. Moving to itself changes nothing.
    PeakDataSegment& operator=(PeakDataSegment&& inOther) noexcept;
    ~PeakDataSegment();

    /// The offset of the first block.
    std::int64_t GetStartOffset() const noexcept { return startOffset; }
    /// Moves the segment; its blocks stay as they are.
    void SetStartOffset(std::int64_t inOffset) noexcept { startOffset = inOffset; }
    /// The offset behind the last block.
    std::int64_t GetEndOffset() const noexcept {
        return detail::BlockOffset(startOffset, data.size(), blockSize);
    }
    /// The length of every block, in offset units.
    std::int64_t GetBlockSize() const noexcept { return blockSize; }

    /// The number of datums.
    std::uint64_t size() const noexcept { return data.size(); }
    /// The datum of the first block; valid until datums move in memory.
    PeakDatumVector::iterator begin() noexcept { return data.begin(); }
    /// Behind the datum of the last block.
    PeakDatumVector::iterator end() noexcept { return data.end(); }
    /// As above, of a segment that must not change.
    PeakDatumVector::const_iterator begin() const noexcept { return data.begin(); }
    /// As above, of a segment that must not change.
    PeakDatumVector::const_iterator end() const noexcept { return data.end(); }

    /// Adds copies of another segment's datums behind this one's own. inOther stays as it is, in both forms.
    /// @return false, and nothing changed, unless both have one block size and inOther starts where this
    /// ends.
    bool Append(const PeakDataSegment& inOther);
    /// The same: a temporary is copied too.
    bool Append(const PeakDataSegment&& inOther);

    /// Copies the datums from inFirst up to, and not including, inLast.
    /// @param inFirst, inLast  stand in this segment, inLast not before inFirst.
    /// @return a segment at inFirst's offset, with this block size; without datums for an empty range.
    PeakDataSegment GetRange(PeakDatumVector::const_iterator inFirst,
                             PeakDatumVector::const_iterator inLast) const;

    /// Cuts a copy of the segment in two. A block that the cut falls into becomes two, each with the whole
    /// block's datum, whose block sizes add up to the block's.
    /// @return the 2 to 4 pieces in order of offset: what lies before the cut block, its two halves, and what
    /// lies behind it. They touch, and none is empty. No pieces if inOffset does not lie inside the segment;
    /// a segment with a block size of 0 or below has no inside. Segments of 2^32 datums or more are not
    /// supported.
    PeakDataSegmentVector Split(std::int64_t inOffset) const;

    /// Replaces block size and datums by those of the segment record at the stream's position, and leaves the
    /// position behind it. The start offset stays. A record is an image in the machine's own byte order: the
    /// number of datums (32 bits), the block size (64 bits), then the datums.
    ///
    /// Nothing is checked but what protects memory: where datums would take more than 16 MiB and the rest of
    /// the stream cannot hold them, or where no record can hold that many (2^29), std::bad_alloc is thrown
    /// before memory is asked for. After an exception the fields hold what had been read.
    void LoadFromStream(kelcore::filesupport::IPlatformByteStream& inStream);

    /// Writes the segment record at the stream's position and leaves the position behind it.
    /// @throws kel_exception for 2^29 datums or more, before anything is written: the record cannot hold
    /// them.
    void WriteToStream(kelcore::filesupport::OPlatformByteStream& outStream) const;

private:
    friend struct detail::BlockRun;

    std::int64_t startOffset = 0;
    std::int64_t blockSize = 0;
    PeakDatumVector data;
};

} // namespace kelaudiofile
