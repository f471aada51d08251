#include <gtest/gtest.h>

#include "Describe.h"

using namespace testing_support;

namespace {

/// Both kinds of objects that own datums.
template <typename Peaks>
void ExpectMovesTakeOver(Peaks inPeaks, const std::string& inMovedFrom) {
    const std::string whole = Describe(inPeaks);
    const PeakDatum* const storage = &*inPeaks.begin();
    Peaks assigned;
    assigned = std::move(inPeaks);
    Peaks& self = assigned;
    assigned = std::move(self);
    EXPECT_EQ(&*assigned.begin(), storage);
    EXPECT_EQ(Describe(assigned) + ", " + Describe(inPeaks), whole + ", " + inMovedFrom);
}

} // namespace

TEST(PeakData, MovesTakeOver) {
    ExpectMovesTakeOver(*Timeline("from 7 | 7 100: 1 2 3 | 307 50: 4 5"), "from 7");
    ExpectMovesTakeOver(Segment("5 10: 1 2"), "5 10:");
}

TEST(PeakDataSegment, AppendsAndSplits) {
    const char kFour[] = "1000 256: 1 2 3 4", kWide[] = "-9223372036854775808 9223372036854775807: 1 2";
    // clang-format off
    const struct { const char *segment, *other, *joined; } kAppends[] = {
        {kFour, "2024 256: 5", "1000 256: 1 2 3 4 5"}, {kFour, "2024 255: 5", "refused"}, {kFour, "2025 256: 5", "refused"},
        {"7 3:", "7 3: 1 2", "7 3: 1 2"}, {"7 0: 1 2", "itself", "7 0: 1 2 1 2"},
        {"9223372036854775807 1: 1", "-9223372036854775808 1: 2", "9223372036854775807 1: 1 2"},
    };
    const struct { const char* segment; std::int64_t offset; const char* pieces; } kSplits[] = {
        {kFour, 1000, ""}, {kFour, 2024, ""}, {kFour, 1300, "1000 256: 1 | 1256 44: 2 | 1300 212: 2 | 1512 256: 3 4"},
        {kFour, 1512, "1000 256: 1 2 | 1512 256: 3 4"}, {kFour, 2023, "1000 256: 1 2 3 | 1768 255: 4 | 2023 1: 4"},
        {"0 0: 1 2", 1, ""}, {"-2 -9223372036854775807: 1 2", -1, ""}, // the end wraps to 0
        {kWide, 3, "-9223372036854775808 9223372036854775807: 1 | -1 4: 2 | 3 9223372036854775803: 2"},
    };
    // clang-format on
    for (const auto& row : kAppends) {
        PeakDataSegment segment = Segment(row.segment), other = Segment(row.other);
        const bool isItself = row.other == std::string("itself");
        const bool taken = isItself ? segment.Append(segment) : segment.Append(std::move(other));
        EXPECT_EQ(taken ? Describe(segment) : "refused", row.joined) << row.segment;
        EXPECT_TRUE(taken || Describe(segment) == row.segment);
        EXPECT_TRUE(isItself || Describe(other) == row.other) << "a temporary is copied too";
    }
    for (const auto& row : kSplits)
        EXPECT_EQ(Describe(Segment(row.segment).Split(row.offset)), row.pieces)
            << row.segment << " at " << row.offset;
}

// Cases that random edits do not cover.
TEST(PeakDataIterator, MovesAndOffersItsDatum) {
    const auto data = Timeline("from 7 | 7 100: 1 2 3 | 307 50: 4 5 | 607 100: 6");
    auto it = data->begin();
    EXPECT_EQ((*it++).max, 1);
    EXPECT_EQ((*it--).max, 2);
    EXPECT_TRUE(it + INT64_MAX == data->end() && it - INT64_MIN == data->end());
    EXPECT_TRUE((it += 4) == data->begin() + 4 && (it -= 1) == data->end() - 3);
    EXPECT_TRUE(data->Find(306) == data->begin() + 2 && data->Find(606) == data->begin() + 4)
        << "before gaps";
    const auto overlap = Timeline("from 0 | 0 100: 1 2 3 4 | 150 50: 5 6 7 | 300 -50: 8 9 10 | 450 50: 11");
    EXPECT_EQ((*overlap->Find(250)).max, 10) << "the datums are bisected where offsets are not in order";
    const PeakData::const_iterator constant = it;
    (*it).max = 11;
    EXPECT_EQ((*constant).max, 11);
}

// A stream may hold segments without datums, which have no memory to look at.
TEST(PeakDataIterator, FindsSilenceInSegmentsWithoutDatums) {
    const auto data = Timeline("from 0 | 0 5: | 0 10: 1 | 10 20: | 10 30: 2 3 | 70 40: | 70 50:");
    EXPECT_TRUE(data->HasEmptySegments());
    std::string forward, backward;
    for (auto it = data->begin(); it != data->end(); ++it)
        forward += std::to_string(static_cast<int>((*it).max));
    auto it = data->end();
    do
        backward += std::to_string(static_cast<int>((*--it).max));
    while (it != data->begin());
    EXPECT_EQ(forward, "0102300");
    EXPECT_EQ(backward, "0032010");
    const auto hollow = Timeline("from 0 | 0 10:");
    EXPECT_TRUE(--hollow->end() == hollow->begin()) << "there is nothing else to step back to";
    (*data->begin()).max = 9; // will be lost
    EXPECT_EQ((*std::as_const(*data).Find(5)).max + (*data->Find(5)).max, 0);
    EXPECT_EQ((*(data->begin() + 1)).max, 2) << "counted moves skip them";
    EXPECT_TRUE(data->begin() + 3 == data->end() && (*(data->end() - 3)).max == 1);
}
