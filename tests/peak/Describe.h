#pragma once

#include <sstream>
#include <string>

#include "PlainPeaks.h"

namespace testing_support {

/// The segments as text, "start size: maxima", joined by " | ". Tests give datums an exact negative as
/// minimum.
template <typename Segments>
std::string DescribeSegments(const Segments& inSegments) {
    std::ostringstream text;
    for (const kelaudiofile::PeakDataSegment& segment : inSegments) {
        text << (text.tellp() > 0 ? " | " : "") << segment.GetStartOffset() << ' ' << segment.GetBlockSize()
             << ':';
        for (const kelaudiofile::PeakDatum& datum : segment)
            text << (datum.min == -datum.max ? " " : " ?") << datum.max;
    }
    return text.str();
}

/// The same for a container, which tells its segments by its stream alone; the start offset stands in front.
inline std::string Describe(const kelaudiofile::PeakData& inData) {
    MemoryFileOutput output;
    inData.WriteToStream(output);
    MemoryFileInput input(output.bytes);
    std::uint32_t count = 0;
    input.ReadBlock(&count, sizeof count);
    kelaudiofile::PeakDataSegmentVector segments(count);
    auto it = inData.begin();
    for (kelaudiofile::PeakDataSegment& segment : segments) {
        segment.LoadFromStream(input);
        if (segment.size() != 0)
            segment.SetStartOffset(it.GetStartOffset());
        it += static_cast<std::int64_t>(segment.size());
    }
    return "from " + std::to_string(inData.GetStartOffset()) + (count == 0 ? "" : " | ") +
           DescribeSegments(segments);
}

/// Datums (-v, v).
inline kelaudiofile::PeakDatumVector Datums(std::initializer_list<int> inMaxima) {
    kelaudiofile::PeakDatumVector datums;
    for (const int maximum : inMaxima)
        datums.emplace_back(static_cast<float>(-maximum), static_cast<float>(maximum));
    return datums;
}

} // namespace testing_support
