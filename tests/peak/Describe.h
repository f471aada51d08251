#pragma once

#include <sstream>
#include <string>

#include "PlainPeaks.h"

// Timelines as text, such as "from 0 | 0 100: 1 2 | 200 50: 3": the start offset, then segments with their
// start, block size and maxima. Each minimum is the negative of its maximum.
namespace testing_support {

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

/// A container tells its segments by its stream alone.
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

/// The segment of a text such as "0 100: 1 2".
inline kelaudiofile::PeakDataSegment Segment(const std::string& inText) {
    std::istringstream text(inText);
    std::int64_t start = 0, blockSize = 0;
    char colon = 0;
    text >> start >> blockSize >> colon;
    kelaudiofile::PeakDatumVector datums;
    for (float maximum; text >> maximum;)
        datums.emplace_back(-maximum, maximum);
    return {start, blockSize, std::move(datums)};
}

/// The container of a text. Segments that would be merged are cut again.
inline std::shared_ptr<kelaudiofile::PeakData> Timeline(const std::string& inText) {
    std::istringstream text(inText.substr(5));
    std::string part;
    std::getline(text, part, '|');
    auto data = std::make_shared<kelaudiofile::PeakData>(std::stoll(part));
    std::vector<std::int64_t> borders;
    while (std::getline(text, part, '|')) {
        const kelaudiofile::PeakDataSegment segment = Segment(part);
        borders.push_back(segment.GetStartOffset());
        data->Append(borders.back(), segment.GetBlockSize(), {segment.begin(), segment.end()});
    }
    for (const std::int64_t border : borders)
        data->Split(border);
    return data;
}

} // namespace testing_support
