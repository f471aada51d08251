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

/// @addtogroup peaks
/// @{

namespace detail {

class PeakDataWalk;

/// The datum that constant iterators refer to at a segment without datums.
inline constexpr PeakDatum kSilentDatum;

/// The datum that other iterators refer to there: one per thread, silent whenever an iterator arrives at it.
[[gnu::const]] KELAUDIOFILE_EXPORT PeakDatum& SilentDatum() noexcept;

} // namespace detail

/// A timeline of peak data: segments in order of offset, whose datums are traversed as one sequence.
///
/// A timeline is chained if its first segment starts at GetStartOffset() and each later one starts
/// where the previous one ends. SetStartOffset, Insert and RippleDelete always leave it chained, and so
/// is the result of GetRange. Append trusts its caller: it stores gaps, overlaps, and a first segment
/// that starts elsewhere. After LoadFromStream the segments start at 0, whatever GetStartOffset() is.
/// Append, Insert, Overwrite and RippleDelete consolidate: they merge adjacent segments that touch and
/// have the same block size.
///
/// Segments are expected to hold at least one datum, but Append and a stream can bring in empty ones. Moves
/// by a number of datums, Zero and ResamplePeakData skip empty segments; begin(), Find and single steps may
/// stop at one and then yield silence. HasEmptySegments() reports whether there are any.
///
/// No operation reports errors; each documents what it does with arguments that do not fit. std::bad_alloc
/// passes through; an edit interrupted by it leaves the contents unspecified. Offsets are in the host's unit,
/// and sums that exceed 64 bits wrap around. One thread at a time while a container is being changed.
class KELAUDIOFILE_EXPORT PeakData {
public:
    template <typename Value, typename SegmentIterator, typename DatumIterator>
    class PeakDataIterator;

    /// Iterates over datums that cannot be changed through it.
    using const_iterator = PeakDataIterator<const PeakDatum, PeakDataSegmentVector::const_iterator,
                                            PeakDatumVector::const_iterator>;
    /// Iterates over datums that can be changed through it.
    using iterator = PeakDataIterator<PeakDatum, PeakDataSegmentVector::iterator, PeakDatumVector::iterator>;

    /// Which side of a deletion moves. Every value other than RippleRight acts as RippleLeft.
    enum RippleDirection : std::uint32_t {
        RippleLeft = 0,  ///< what follows moves to earlier offsets; the start stays
        RippleRight = 1, ///< what precedes moves to later offsets; the end stays
    };

    PeakData() noexcept;
    /// Makes an empty timeline that starts at inStartOffset.
    explicit PeakData(std::int64_t inStartOffset) noexcept;
    /// Copies all segments.
    PeakData(const PeakData& inOther);
    /// Moves the segments and leaves inOther without any; its start offset stays.
    PeakData(PeakData&& inOther) noexcept;
    /// Copies all segments.
    PeakData& operator=(const PeakData& inOther);
    /// Like the move constructor. Self-assignment has no effect.
    PeakData& operator=(PeakData&& inOther) noexcept;
    ~PeakData();

    /// Returns where the timeline begins. This is the container's own value,
    /// independent of the first segment.
    std::int64_t GetStartOffset() const noexcept { return startOffset; }
    /// Returns where the last segment ends, or the start offset if there are no segments.
    std::int64_t GetEndOffset() const noexcept;
    /// Returns the length from start to end, gaps included; 0 if there are no segments.
    std::int64_t GetDuration() const noexcept;
    /// Returns whether there are no segments.
    bool empty() const noexcept { return segments.empty(); }
    /// Returns whether any segment holds no datums. If so, single steps stop more often than size() counts.
    bool HasEmptySegments() const noexcept;
    /// Returns the number of datums, summed over the segments on each call.
    std::uint64_t size() const noexcept;

    /// Returns the first datum of the first segment, or the place where it would be; end() without segments.
    iterator begin() noexcept;
    /// As above, for a constant timeline.
    const_iterator begin() const noexcept;
    /// Returns the position after the last datum.
    iterator end() noexcept;
    /// As above, for a constant timeline.
    const_iterator end() const noexcept;

    /// Finds the datum whose block contains the offset, by bisection: of the segments, or of all datums if
    /// blocks overlap or have no length, or a segment has no datums.
    /// @return the last datum that does not start after inOffset; in a gap, this is the last datum before it.
    ///        Between the start offset and the first segment, the first datum. Outside the timeline, end().
    iterator Find(std::int64_t inOffset);
    /// As above, for a constant timeline.
    const_iterator Find(std::int64_t inOffset) const;

    /// Moves the timeline and closes its gaps. Iterators stay valid.
    void SetStartOffset(std::int64_t inOffset) noexcept;
    /// Removes all segments; the start offset stays.
    void Clear() noexcept;
    /// Adds a segment after the last one, or extends the last one if it has the same block size and ends at
    /// inStartOffset; then consolidates. GetStartOffset() and the offsets of existing segments stay.
    /// @param inStartOffset  the offset of the first block.
    /// @param inBlockSize  the length of every block, in offset units.
    /// @param inData  the datums, which are copied; the caller's vector keeps its contents.
    void Append(std::int64_t inStartOffset, std::int64_t inBlockSize, PeakDatumVector&& inData);

    /// @name Editing
    /// An edit at an offset inside a block splits the block in two, each with the whole block's datum; no
    /// value is ever recomputed. All operations but Zero and GetRange invalidate iterators.
    /// @{

    /// Makes a segment begin at an offset inside the timeline. Nothing is consolidated, so the next operation
    /// that consolidates may join the pieces again.
    void Split(std::int64_t inOffset);

    /// Inserts copies of another timeline's segments at its start offset, splitting this timeline there and
    /// moving everything that follows. If no segment begins there after the split (the offset is outside this
    /// timeline, or in a gap), they go to the end. Chains the segments from GetStartOffset() and
    /// consolidates.
    /// @param inData  has no effect if null; may be this container itself, of which a copy is inserted.
    void Insert(const std::shared_ptr<PeakData>& inData);

    /// Replaces the range that another timeline covers with copies of that timeline's segments, which keep
    /// their offsets and block sizes. Splits at both ends; segments before and after the range keep their
    /// places. If the range begins in a gap of this timeline, nothing is replaced; if it ends in a gap, no
    /// segment begins at its end, and everything after the gap is removed as well. Consolidates in any case.
    /// @param inData  replaces nothing if it is null, has no datums, or extends past either end of this
    ///        timeline; may be this container itself, of which a copy is used.
    void Overwrite(const std::shared_ptr<PeakData>& inData);

    /// Removes the segments from inFirst up to inLast and closes the hole. Then chains the segments from
    /// GetStartOffset(), which closes all gaps, and consolidates.
    /// @param inFirst, inLast  refer to the first datums of segments, as after Split and Find;
    ///        inLast may be end(). Nothing is removed if either refers to any other datum, or if
    ///        inLast is not after inFirst.
    /// @param inDirection  which side of the hole moves.
    void RippleDelete(const_iterator inFirst, const_iterator inLast, RippleDirection inDirection);

    /// Sets the datums from inFirst up to inLast to (0.0, 0.0). Has no effect if inLast is not after inFirst.
    void Zero(iterator inFirst, iterator inLast);

    /// Copies the datums from inFirst up to inLast into a new container that starts at inFirst's offset. Its
    /// segments correspond one to one to those of this container; they are chained and not consolidated.
    /// @return never null. Without segments if inLast is not after inFirst; for inFirst at end(), an empty
    ///        container that starts at GetEndOffset().
    std::shared_ptr<PeakData> GetRange(const_iterator inFirst, const_iterator inLast) const;
    /// @}

    /// Replaces all segments with those at the stream's position, and leaves the position after them. They
    /// are chained from offset 0; GetStartOffset() stays, so hosts that need another start call
    /// SetStartOffset afterwards. The stream is an image in native byte order: the number of segments (32
    /// bits), then the segment records (see PeakDataSegment::LoadFromStream).
    ///
    /// If the segments of the count would take more than 16 MiB and the rest of the stream is too short for
    /// that many records, std::bad_alloc is thrown before memory is requested. After an exception from
    /// reading the count or allocating the segments, there are no segments. After a later one, there are as
    /// many as the count: first those already read, then the one being read, then empty ones.
    void LoadFromStream(kelcore::filesupport::IPlatformByteStream& inStream);

    /// Writes the segments at the stream's position and leaves the position after them.
    /// Offsets are not written.
    /// @throws kel_exception for 2^32 segments or more, or for 2^29 datums or more in one of them, before
    ///        anything is written; file_exception if a write fails.
    void WriteToStream(kelcore::filesupport::OPlatformByteStream& outStream) const;

private:
    friend class detail::PeakDataWalk;

    /// Merges adjacent segments that touch and have the same block size.
    void Consolidate();
    /// Replaces the segments with those of runs, consolidated.
    void Assemble(const detail::BlockRunVector& inRuns);
    /// Makes each segment start where the previous one ends, and the first one at the start offset.
    void FixStartOffsets() noexcept;
    /// Recomputes what is known about the segments. Called by every operation that changes their offsets.
    void Examine() noexcept;
    bool Covers(std::int64_t inOffset) const noexcept;
    bool CanHold(const PeakData& inSource) const noexcept;
    std::size_t SegmentAt(const const_iterator& inBorder) const noexcept;

    std::int64_t startOffset = 0;
    PeakDataSegmentVector segments;
    PeakDatum reservedDatum; ///< part of the layout: copied, and otherwise unused
    // Known about the segments, so that Append and Find need not examine every one. Each may be false
    // although it holds.
    bool isConsolidated = true; // no two adjacent segments could be merged
    bool isOrdered = true;      // no segment is empty, and no block starts before the previous one ends
};

/// Refers to a datum of a PeakData, or to its end.
///
/// It keeps no pointer to its container and is valid until segments or datums move in memory: Append, Clear,
/// Split, Insert, Overwrite, RippleDelete and LoadFromStream invalidate it; SetStartOffset and Zero do not.
///
/// At a segment without datums it refers to a silent datum; writes to that datum are lost. Dereferencing
/// end(), moving forward from it, and moving before the first datum are undefined.
template <typename Value, typename SegmentIterator, typename DatumIterator>
class KELAUDIOFILE_INSTANCES PeakData::PeakDataIterator {
public:
    using iterator_category = std::bidirectional_iterator_tag;  ///< steps in both directions
    using value_type = typename std::remove_const<Value>::type; ///< PeakDatum
    using difference_type = std::int64_t;                       ///< counts datums
    using pointer = Value*;                                     ///< to a datum
    using reference = Value&;                                   ///< to a datum

    /// Refers to the same datum as inOther.
    PeakDataIterator(const PeakDataIterator& inOther) = default;
    /// Refers to the same datum as inOther.
    PeakDataIterator& operator=(const PeakDataIterator& inOther) = default;

    /// Returns the current datum, which can be changed unless this is a const_iterator.
    reference operator*() {
        if constexpr (std::is_const<Value>::value)
            return IsAtDatum() ? *datum : detail::kSilentDatum;
        else
            return IsAtDatum() ? *datum : detail::SilentDatum();
    }
    /// Returns the current datum, which cannot be changed through a constant iterator.
    const PeakDatum& operator*() const { return IsAtDatum() ? *datum : detail::kSilentDatum; }

    /// Moves to the next datum, into the next segment if necessary.
    PeakDataIterator& operator++() {
        if (segment->end() - datum > 1)
            ++datum;
        else
            EnterNextSegment();
        return *this;
    }
    /// Moves to the next datum. @return the previous position.
    PeakDataIterator operator++(int) {
        PeakDataIterator before(*this);
        ++*this;
        return before;
    }
    /// Moves to the previous datum, into the previous segment if necessary.
    PeakDataIterator& operator--() {
        if (segment == segmentsEnd || datum == segment->begin())
            EnterPreviousSegment();
        if (datum != segment->begin())
            --datum;
        return *this;
    }
    /// Moves to the previous datum. @return the position before the move.
    PeakDataIterator operator--(int) {
        PeakDataIterator before(*this);
        --*this;
        return before;
    }

    /// Moves by n datums, skipping whole segments at once. A move past the last datum ends at end().
    PeakDataIterator& operator+=(std::int64_t n) {
        n < 0 ? MoveBack(Magnitude(n)) : MoveForward(Magnitude(n));
        return *this;
    }
    /// Moves by -n.
    PeakDataIterator& operator-=(std::int64_t n) {
        n < 0 ? MoveForward(Magnitude(n)) : MoveBack(Magnitude(n));
        return *this;
    }
    /// Returns a copy moved by n.
    PeakDataIterator operator+(std::int64_t n) const { return PeakDataIterator(*this) += n; }
    /// Returns a copy moved by -n.
    PeakDataIterator operator-(std::int64_t n) const { return PeakDataIterator(*this) -= n; }

    /// Compares positions. All ends of one container are equal, however they were reached.
    bool operator==(const PeakDataIterator& inOther) const {
        return segment == inOther.segment && (segment == segmentsEnd || datum == inOther.datum);
    }
    /// Returns whether the two do not compare equal.
    bool operator!=(const PeakDataIterator& inOther) const { return !(*this == inOther); }

    /// Converts to an iterator that refers to the same datum.
    operator const_iterator() const;

    /// Returns where the current datum's block starts.
    std::int64_t GetStartOffset() const {
        return detail::BlockOffset(segment->GetStartOffset(), Index(), segment->GetBlockSize());
    }
    /// Returns where the current datum's block ends.
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
    /// Moves past the last datum of the previous segment, from the end or from a segment's first datum.
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

/// @cond
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

template <typename Value, typename SegmentIterator, typename DatumIterator>
PeakData::PeakDataIterator<Value, SegmentIterator, DatumIterator>::operator PeakData::const_iterator() const {
    return const_iterator(segmentsEnd, segment, datum);
}
/// @endcond

// The library holds these instances for the standard library that it was built with. A host that uses libc++
// makes its own, and so does every host on Windows.
#if !defined(_LIBCPP_VERSION) && !defined(_WIN32)
extern template class PeakData::PeakDataIterator<const PeakDatum, PeakDataSegmentVector::const_iterator,
                                                 PeakDatumVector::const_iterator>;
extern template class PeakData::PeakDataIterator<PeakDatum, PeakDataSegmentVector::iterator,
                                                 PeakDatumVector::iterator>;
#endif

/// @}

} // namespace kelaudiofile
