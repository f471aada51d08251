#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <type_traits>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/PeakDataSegment.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace detail {

class PeakDataWalk;

/// What constant iterators at a segment without datums refer to.
inline constexpr PeakDatum kSilentDatum;

/// What other iterators there refer to: one datum per thread, silent whenever an iterator gets there.
[[gnu::const]] KELAUDIOFILE_EXPORT PeakDatum& SilentDatum() noexcept;

} // namespace detail

/// A timeline of peak data: segments in order of offset, whose datums are walked as one sequence.
///
/// The timeline is chained when its first segment starts at GetStartOffset() and each later one where the one
/// before it ends. SetStartOffset, Insert, RippleDelete and the result of GetRange are chained always. Append
/// trusts its caller and stores gaps, overlaps, and a first segment that starts elsewhere, and after
/// LoadFromStream the segments start from 0 whatever GetStartOffset() is. Operations that consolidate leave
/// no two neighbours that touch and have one block size; these are Append, Insert, Overwrite and
/// RippleDelete.
///
/// Segments are expected to hold at least one datum. One without can be appended, and a stream can hold one:
/// moves by a number of datums, Zero and ResamplePeakData pass over it, but begin(), Find and single steps
/// may stop at it, and what they find there is silence. HasEmptySegments() reports whether there are any.
///
/// Nothing here reports an error: what does not fit has the quiet effect told with each operation. Failed
/// allocations pass through as std::bad_alloc; an edit that they interrupt leaves the contents unspecified.
/// Offsets are in the host's unit; sums of them that leave 64 bits wrap around. One thread at a time while a
/// container changes.
class KELAUDIOFILE_EXPORT PeakData {
public:
    template <typename Value, typename SegmentIterator, typename DatumIterator>
    class PeakDataIterator;

    /// Walks datums that cannot be changed through it.
    using const_iterator = PeakDataIterator<const PeakDatum, PeakDataSegmentVector::const_iterator,
                                            PeakDatumVector::const_iterator>;
    /// Walks datums that can be changed through it.
    using iterator = PeakDataIterator<PeakDatum, PeakDataSegmentVector::iterator, PeakDatumVector::iterator>;

    /// Which side of a deletion moves. Any value but RippleRight is taken as RippleLeft.
    enum RippleDirection : std::uint32_t {
        RippleLeft = 0,  ///< what lies behind moves to earlier offsets; the start stays
        RippleRight = 1, ///< what lies before moves to later offsets; the end stays
    };

    PeakData() noexcept;
    /// An empty timeline that starts at inStartOffset.
    explicit PeakData(std::int64_t inStartOffset) noexcept;
    /// Copies every segment in full.
    PeakData(const PeakData& inOther);
    /// Takes the segments over and leaves inOther without any; its start offset stays.
    PeakData(PeakData&& inOther) noexcept;
    /// Copies every segment in full.
    PeakData& operator=(const PeakData& inOther);
    /// As the move constructor. Moving to itself changes nothing.
    PeakData& operator=(PeakData&& inOther) noexcept;
    ~PeakData();

    /// Where the timeline begins; the container's own value, apart from the first segment's.
    std::int64_t GetStartOffset() const noexcept { return startOffset; }
    /// Where the last segment ends; the start offset if there are no segments.
    std::int64_t GetEndOffset() const noexcept;
    /// From start to end, gaps included; 0 if there are no segments.
    std::int64_t GetDuration() const noexcept;
    /// Whether there are no segments.
    bool empty() const noexcept { return segments.empty(); }
    /// Whether any segment holds no datums. If so, a walk by single steps stops more often than size() says.
    bool HasEmptySegments() const noexcept;
    /// The number of datums, added up over the segments on each call.
    std::uint64_t size() const noexcept;

    /// The first datum of the first segment, or where it would be; end() if there are no segments.
    iterator begin() noexcept;
    /// As above, of a timeline that must not change.
    const_iterator begin() const noexcept;
    /// Behind the last datum.
    iterator end() noexcept;
    /// As above, of a timeline that must not change.
    const_iterator end() const noexcept;

    /// Finds the datum whose block holds the offset, by bisection.
    /// @return the last datum that does not start above inOffset: in a gap, the last one before it. At or
    /// above the start offset but before the first segment, the first datum. Outside the timeline, end().
    iterator Find(std::int64_t inOffset);
    /// As above, in a timeline that must not change.
    const_iterator Find(std::int64_t inOffset) const;

    /// Moves the timeline and closes its gaps. Iterators stay valid.
    void SetStartOffset(std::int64_t inOffset) noexcept;
    /// Removes all segments; the start offset stays.
    void Clear() noexcept;
    /// Adds a segment behind the last, or its datums to the last where that has the same block size and ends
    /// at inStartOffset; then consolidates. GetStartOffset() and existing segments stay where they are.
    /// @param inStartOffset  of the first block.
    /// @param inBlockSize  of every block, in offset units.
    /// @param inData  the datums, which are copied: the caller's vector keeps its contents.
    void Append(std::int64_t inStartOffset, std::int64_t inBlockSize, PeakDatumVector&& inData);

    /// @name Editing
    /// Offsets inside a block cut it in two blocks with the whole block's datum each; no value is ever
    /// recomputed. All but Zero and GetRange make iterators invalid.
    /// @{

    /// Makes sure that a segment begins at an offset inside the timeline. Nothing is consolidated: the next
    /// operation that does so may join the pieces again.
    void Split(std::int64_t inOffset);

    /// Puts copies of another timeline's segments in at its start offset, which cuts here, and moves all that
    /// stands behind them. Where no segment begins there after the cut (outside this timeline, or in a gap),
    /// they go to the end. Chains from GetStartOffset() and consolidates.
    /// @param inData  null has no effect; of this container itself, a copy is put in.
    void Insert(const std::shared_ptr<PeakData>& inData);

    /// Replaces the stretch that another timeline covers by copies of its segments, which keep their offsets
    /// and block sizes. Cuts at both ends; the segments before and after the stretch stay where they are. If
    /// it begins in a gap of this timeline, nothing is replaced; if it ends in one, no segment begins at its
    /// end, and everything after the gap is removed as well. Consolidates in any case.
    /// @param inData  replaces nothing if it is null, has no datums, or runs past either end of this
    /// timeline; of this container itself, a copy is taken.
    void Overwrite(const std::shared_ptr<PeakData>& inData);

    /// Removes the segments from inFirst up to inLast and closes the hole. Then chains from GetStartOffset(),
    /// which closes all gaps, and consolidates.
    /// @param inFirst, inLast  stand at the first datums of segments, as after Split and Find; inLast may be
    /// end(). Nothing is removed where one of them stands elsewhere, or inLast is not behind inFirst.
    /// @param inDirection  which side of the hole moves.
    void RippleDelete(const_iterator inFirst, const_iterator inLast, RippleDirection inDirection);

    /// Sets the datums from inFirst up to inLast to (0.0, 0.0); none if inLast is not behind inFirst.
    void Zero(iterator inFirst, iterator inLast);

    /// Copies the datums from inFirst up to inLast into a new container that starts at inFirst's offset. Its
    /// segments correspond to this one's one by one, chained and not consolidated.
    /// @return never null. No segments if inLast is not behind inFirst; from end(), an empty container that
    /// starts at GetEndOffset().
    std::shared_ptr<PeakData> GetRange(const_iterator inFirst, const_iterator inLast) const;
    /// @}

    /// Replaces all segments by those at the stream's position, and leaves the position behind them. They are
    /// chained from offset 0; GetStartOffset() stays, so hosts that need another start call SetStartOffset
    /// afterwards. The stream is an image in the machine's own byte order: the number of segments (32 bits),
    /// then the segment records (see PeakDataSegment::LoadFromStream).
    ///
    /// Where the segments of a count would take more than 16 MiB and the rest of the stream cannot hold that
    /// many records, std::bad_alloc is thrown before memory is asked for. After an exception from reading the
    /// count or making the segments there are none; after a later one there are all of them, in full those
    /// read before, then the one being read, then empty ones.
    void LoadFromStream(kelcore::filesupport::IPlatformByteStream& inStream);

    /// Writes the segments at the stream's position and leaves the position behind them. Offsets are not
    /// written.
    /// @throws kel_exception for 2^32 segments or more, or for 2^29 datums or more in one of them, before
    /// anything is written; file_exception where a write fails.
    void WriteToStream(kelcore::filesupport::OPlatformByteStream& outStream) const;

private:
    friend class detail::PeakDataWalk;

    /// Merges neighbours that touch and have one block size.
    void Consolidate();
    /// Makes each segment start where the one before it ends, the first at the start offset.
    void FixStartOffsets() noexcept;
    bool Covers(std::int64_t inOffset) const noexcept;
    bool CanHold(const PeakData& inSource) const noexcept;
    std::size_t SegmentAt(const const_iterator& inBorder) const noexcept;

    std::int64_t startOffset = 0;
    PeakDataSegmentVector segments;
    PeakDatum reservedDatum; ///< part of the layout: copied, and otherwise unused
};

/// Stands at a datum of a PeakData, or at the end. It keeps no pointer to its container and is valid until
/// segments or datums move in memory: Append, Clear, Split, Insert, Overwrite, RippleDelete and
/// LoadFromStream make it invalid, SetStartOffset and Zero do not.
///
/// At a segment without datums it refers to a silent datum; what is written to that is lost. Dereferencing
/// end(), moving forward from it and moving before the first datum have no defined result.
template <typename Value, typename SegmentIterator, typename DatumIterator>
class KELAUDIOFILE_EXPORT PeakData::PeakDataIterator {
public:
    using iterator_category = std::bidirectional_iterator_tag;  ///< steps in both directions
    using value_type = typename std::remove_const<Value>::type; ///< PeakDatum
    using difference_type = std::int64_t;                       ///< counts datums
    using pointer = Value*;                                     ///< to a datum
    using reference = Value&;                                   ///< to a datum

    /// Stands where inOther stands.
    PeakDataIterator(const PeakDataIterator& inOther) = default;
    /// Stands where inOther stands.
    PeakDataIterator& operator=(const PeakDataIterator& inOther) = default;

    /// The current datum; iterator gives one that can be changed unless it is constant itself.
    reference operator*() {
        if constexpr (std::is_const<Value>::value)
            return IsAtDatum() ? *datum : detail::kSilentDatum;
        else
            return IsAtDatum() ? *datum : detail::SilentDatum();
    }
    /// The current datum, which cannot be changed through a constant iterator.
    const PeakDatum& operator*() const { return IsAtDatum() ? *datum : detail::kSilentDatum; }

    /// Steps to the next datum, across the border of a segment where there is one.
    PeakDataIterator& operator++() {
        if (segment->end() - datum > 1)
            ++datum;
        else
            EnterNextSegment();
        return *this;
    }
    /// Steps forward. @return the place before.
    PeakDataIterator operator++(int) {
        PeakDataIterator before(*this);
        ++*this;
        return before;
    }
    /// Steps to the datum before, across the border of a segment where there is one.
    PeakDataIterator& operator--() {
        if (segment == segmentsEnd)
            EnterPreviousSegment();
        if (datum == segment->begin())
            EnterPreviousSegment();
        if (datum != segment->begin())
            --datum;
        return *this;
    }
    /// Steps back. @return the place before.
    PeakDataIterator operator--(int) {
        PeakDataIterator before(*this);
        --*this;
        return before;
    }

    /// Moves by a number of datums, over whole segments at once. A move past the last datum ends at end().
    PeakDataIterator& operator+=(std::int64_t n) {
        n < 0 ? MoveBack(Magnitude(n)) : MoveForward(Magnitude(n));
        return *this;
    }
    /// Moves by -n.
    PeakDataIterator& operator-=(std::int64_t n) {
        n < 0 ? MoveForward(Magnitude(n)) : MoveBack(Magnitude(n));
        return *this;
    }
    /// @return a copy, moved by n.
    PeakDataIterator operator+(std::int64_t n) const { return PeakDataIterator(*this) += n; }
    /// @return a copy, moved by -n.
    PeakDataIterator operator-(std::int64_t n) const { return PeakDataIterator(*this) -= n; }

    /// All ends of one container are equal, however they were reached.
    bool operator==(const PeakDataIterator& inOther) const {
        return segment == inOther.segment && (segment == segmentsEnd || datum == inOther.datum);
    }
    /// Whether the two do not compare equal.
    bool operator!=(const PeakDataIterator& inOther) const { return !(*this == inOther); }

    /// Stands at the same datum.
    operator const_iterator() const;

    /// Where the current datum's block starts.
    std::int64_t GetStartOffset() const {
        return detail::BlockOffset(segment->GetStartOffset(), Index(), segment->GetBlockSize());
    }
    /// Where the current datum's block ends.
    std::int64_t GetEndOffset() const {
        return detail::BlockOffset(segment->GetStartOffset(), Index() + 1, segment->GetBlockSize());
    }

private:
    friend class PeakData;
    friend class detail::PeakDataWalk;
    template <typename, typename, typename>
    friend class PeakDataIterator;

    PeakDataIterator(SegmentIterator inSegmentsEnd, SegmentIterator inSegment, DatumIterator inDatum)
        : segmentsEnd(inSegmentsEnd), segment(inSegment), datum(inDatum) {
        SilenceIfEmpty();
    }
    explicit PeakDataIterator(SegmentIterator inSegmentsEnd)
        : segmentsEnd(inSegmentsEnd), segment(inSegmentsEnd), datum() {}

    static constexpr std::uint64_t Magnitude(std::int64_t n) noexcept {
        return n < 0 ? 0 - static_cast<std::uint64_t>(n) : static_cast<std::uint64_t>(n);
    }
    std::uint64_t Index() const { return static_cast<std::uint64_t>(datum - segment->begin()); }
    bool IsAtDatum() const { return datum != DatumIterator(segment->end()); }

    void EnterNextSegment() {
        if (++segment == segmentsEnd)
            return;
        datum = segment->begin();
        SilenceIfEmpty();
    }
    /// Moves behind the last datum of the segment before; from the end or from a segment's first datum.
    void EnterPreviousSegment() {
        --segment;
        datum = segment->end();
        SilenceIfEmpty();
    }
    void SilenceIfEmpty() {
        if (segment != segmentsEnd && segment->size() == 0)
            detail::SilentDatum() = PeakDatum();
    }
    void MoveForward(std::uint64_t inCount);
    void MoveBack(std::uint64_t inCount);

    SegmentIterator segmentsEnd;
    SegmentIterator segment;
    DatumIterator datum;
};

template <typename Value, typename SegmentIterator, typename DatumIterator>
void PeakData::PeakDataIterator<Value, SegmentIterator, DatumIterator>::MoveForward(std::uint64_t inCount) {
    if (inCount == 0)
        return;
    std::uint64_t rest = segment->size() - Index();
    while (inCount >= rest) {
        inCount -= rest;
        EnterNextSegment();
        if (segment == segmentsEnd)
            return;
        rest = segment->size();
    }
    datum += static_cast<std::ptrdiff_t>(inCount);
}

template <typename Value, typename SegmentIterator, typename DatumIterator>
void PeakData::PeakDataIterator<Value, SegmentIterator, DatumIterator>::MoveBack(std::uint64_t inCount) {
    if (inCount == 0)
        return;
    if (segment == segmentsEnd)
        EnterPreviousSegment();
    std::uint64_t index = Index();
    while (inCount > index) {
        inCount -= index;
        EnterPreviousSegment();
        index = segment->size();
    }
    datum -= static_cast<std::ptrdiff_t>(inCount);
}

/// @cond
template <typename Value, typename SegmentIterator, typename DatumIterator>
PeakData::PeakDataIterator<Value, SegmentIterator, DatumIterator>::operator PeakData::const_iterator() const {
    return const_iterator(segmentsEnd, segment, datum);
}
/// @endcond

// The library holds these instances for the standard library that it was built with. A host that uses libc++
// makes its own.
#if !defined(_LIBCPP_VERSION)
extern template class PeakData::PeakDataIterator<const PeakDatum, PeakDataSegmentVector::const_iterator,
                                                 PeakDatumVector::const_iterator>;
extern template class PeakData::PeakDataIterator<PeakDatum, PeakDataSegmentVector::iterator,
                                                 PeakDatumVector::iterator>;
#endif

} // namespace kelaudiofile
