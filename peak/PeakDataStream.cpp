#include <new>

#include "StreamLimits.h"
#include "kelaudiofile/PeakData.h"

namespace kelaudiofile {

namespace {

static_assert(sizeof(PeakDatum) == detail::kDatumBytes);

using kelcore::filesupport::IPlatformByteStream;
using kelcore::filesupport::OPlatformByteStream;

std::uint32_t ReadCount(IPlatformByteStream& ioStream) {
    std::uint32_t count = 0;
    ioStream.ReadBlock(&count, sizeof count);
    return count;
}

// Counts have already been checked against the limits of the format.
void WriteCount(OPlatformByteStream& ioStream, std::uint64_t inCount) {
    const auto count = static_cast<std::uint32_t>(inCount);
    ioStream.WriteBlock(&count, sizeof count);
}

unsigned BlockBytes(const PeakDatumVector& inDatums) {
    return static_cast<unsigned>(inDatums.size() * sizeof(PeakDatum));
}

} // namespace

void PeakDataSegment::LoadFromStream(IPlatformByteStream& inStream) {
    const std::uint32_t count = ReadCount(inStream);
    inStream.ReadBlock(&blockSize, sizeof blockSize);
    if (count >= detail::kDatumCountLimit)
        throw std::bad_alloc();
    detail::RequireElements(inStream, count, sizeof(PeakDatum), detail::kDatumBytes);
    data.resize(count);
    inStream.ReadBlock(data.data(), BlockBytes(data));
}

void PeakDataSegment::WriteToStream(OPlatformByteStream& outStream) const {
    detail::RequireStorableDatums(data.size());
    WriteCount(outStream, data.size());
    outStream.WriteBlock(&blockSize, sizeof blockSize);
    outStream.WriteBlock(data.data(), BlockBytes(data));
}

void PeakData::LoadFromStream(IPlatformByteStream& inStream) {
    Clear();
    const std::uint32_t count = ReadCount(inStream);
    detail::RequireElements(inStream, count, sizeof(PeakDataSegment), detail::kSegmentHeaderBytes);
    isConsolidated = isOrdered = false; // where the stream ends early, nothing is known
    segments.resize(count);
    std::int64_t offset = 0;
    for (PeakDataSegment& segment : segments) {
        segment.LoadFromStream(inStream);
        segment.SetStartOffset(offset);
        offset = segment.GetEndOffset();
    }
    Examine();
}

void PeakData::WriteToStream(OPlatformByteStream& outStream) const {
    detail::RequireStorableSegments(segments.size());
    for (const PeakDataSegment& segment : segments)
        detail::RequireStorableDatums(segment.size());
    WriteCount(outStream, segments.size());
    for (const PeakDataSegment& segment : segments)
        segment.WriteToStream(outStream);
}

} // namespace kelaudiofile
