#pragma once

#include <sstream>

#include "models/PlainPeaks.h"

// Timelines as text, such as "from 0 | 0 100: 1 2 | 200 50: 3": the start offset, then segments with their
// start, block size and maxima. Each minimum is the negative of its maximum.
namespace testing_support {

template <typename Segments>
std::string Describe(const Segments& inSegments) {
    std::ostringstream text;
    for (const PeakDataSegment& segment : inSegments) {
        text << (text.tellp() > 0 ? " | " : "") << segment.GetStartOffset() << ' ' << segment.GetBlockSize()
             << ':';
        for (const PeakDatum& datum : segment)
            text << (datum.min == -datum.max ? " " : " ?") << datum.max;
    }
    return text.str();
}

inline std::string Describe(const PeakDataSegment& inSegment) {
    return Describe(std::initializer_list<PeakDataSegment>{inSegment});
}

inline std::string Describe(const PeakData& inData) {
    return "from " + std::to_string(inData.GetStartOffset()) + (inData.empty() ? "" : " | ") +
           Describe(SegmentsOf(inData));
}

/// Returns the segment described by a text such as "0 100: 1 2".
inline PeakDataSegment Segment(const std::string& inText) {
    std::istringstream text(inText);
    std::int64_t start = 0, blockSize = 0;
    char colon = 0;
    text >> start >> blockSize >> colon;
    PeakDatumVector datums;
    for (float maximum; text >> maximum;)
        datums.emplace_back(-maximum, maximum);
    return {start, blockSize, std::move(datums)};
}

/// Returns the container described by a text. Segments that would be merged are split again.
inline std::shared_ptr<PeakData> Timeline(const std::string& inText) {
    std::istringstream text(inText.substr(5));
    std::string part;
    std::getline(text, part, '|');
    const auto data = std::make_shared<PeakData>(std::stoll(part));
    std::vector<std::int64_t> borders;
    while (std::getline(text, part, '|')) {
        const PeakDataSegment segment = Segment(part);
        borders.push_back(segment.GetStartOffset());
        data->Append(borders.back(), segment.GetBlockSize(), {segment.begin(), segment.end()});
    }
    for (const std::int64_t border : borders)
        data->Split(border);
    return data;
}

} // namespace testing_support
