#include <gtest/gtest.h>

#include <limits>
#include <type_traits>
#include <utility>

#include "Describe.h"

using namespace kelaudiofile;
using namespace testing_support;

static_assert(std::is_nothrow_move_constructible_v<PeakDataSegment>,
              "vectors of segments move them when growing");

namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

std::string Text(const PeakDataSegment& inSegment) {
    return DescribeSegments(PeakDataSegmentVector(1, inSegment));
}

PeakDataSegment Abcd() {
    return {1000, 256, Datums({1, 2, 3, 4})};
}

} // namespace

TEST(PeakDatum, ComparesAsFloatsDo) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const PeakDatum unordered(nan, 0);
    EXPECT_EQ(PeakDatum(), PeakDatum(0.0f, -0.0f));
    EXPECT_FALSE(PeakDatum(1, 2) == PeakDatum(1, 3));
    EXPECT_FALSE(PeakDatum(1, 2) == PeakDatum(0, 2));
    EXPECT_FALSE(unordered == unordered);
    const PeakDatum turned(2, -1);
    EXPECT_EQ(turned.min, 2);
    EXPECT_EQ(turned.max, -1);
}

TEST(PeakDataSegment, ConstructorAndCopiesCopyMovesTakeOver) {
    PeakDatumVector datums = Datums({1, 2});
    PeakDataSegment segment(5, 10, std::move(datums));
    EXPECT_EQ(datums, Datums({1, 2}));
    EXPECT_EQ(Text(segment), "5 10: 1 2");
    EXPECT_EQ(Text(PeakDataSegment()), "0 0:");

    PeakDataSegment copy(segment), assigned;
    assigned = copy;
    const PeakDatum* const storage = &*copy.begin();
    PeakDataSegment moved(std::move(copy));
    EXPECT_EQ(&*moved.begin(), storage);
    EXPECT_EQ(Text(copy), "5 10:");
    assigned = std::move(moved);
    EXPECT_EQ(&*assigned.begin(), storage);
    EXPECT_EQ(Text(moved), "5 10:");
    EXPECT_EQ(Text(segment), "5 10: 1 2");

    PeakDataSegment& self = assigned;
    assigned = self;
    EXPECT_EQ(Text(assigned), "5 10: 1 2");
    assigned = std::move(self);
    EXPECT_EQ(Text(assigned), "5 10: 1 2");

    assigned.SetStartOffset(-7);
    (*assigned.begin()).max = 9;
    EXPECT_EQ(assigned.GetEndOffset(), 13);
    EXPECT_EQ(std::as_const(assigned).begin()->max, 9);
    EXPECT_EQ(std::as_const(assigned).end() - std::as_const(assigned).begin(), 2);
}

TEST(PeakDataSegment, AppendsWhatGoesOnWhereItEnds) {
    const struct {
        const char* name;
        PeakDataSegment segment, other;
        bool taken;
        const char* after;
    } kCases[] = {
        {"touches", Abcd(), {2024, 256, Datums({5})}, true, "1000 256: 1 2 3 4 5"},
        {"another block size", Abcd(), {2024, 255, Datums({5})}, false, "1000 256: 1 2 3 4"},
        {"one too late", Abcd(), {2025, 256, Datums({5})}, false, "1000 256: 1 2 3 4"},
        {"one too early", Abcd(), {2023, 256, Datums({5})}, false, "1000 256: 1 2 3 4"},
        {"nothing to add", Abcd(), {2024, 256, {}}, true, "1000 256: 1 2 3 4"},
        {"to nothing", {7, 3, {}}, {7, 3, Datums({1, 2})}, true, "7 3: 1 2"},
        {"to nothing elsewhere", {7, 3, {}}, {8, 3, Datums({1, 2})}, false, "7 3:"},
        {"no length", {7, 0, Datums({1})}, {7, 0, Datums({2})}, true, "7 0: 1 2"},
        {"over the end of 64 bits",
         {kHighest, 1, Datums({1})},
         {kLowest, 1, Datums({2})},
         true,
         "9223372036854775807 1: 1 2"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const std::string before = Text(row.other);
        PeakDataSegment lvalue = row.segment, rvalue = row.segment, moved = row.segment, source = row.other;
        EXPECT_EQ(lvalue.Append(row.other), row.taken);
        EXPECT_EQ(rvalue.Append(std::move(row.other)), row.taken);
        EXPECT_EQ(moved.Append(std::move(source)), row.taken);
        for (const PeakDataSegment* segment : {&lvalue, &rvalue, &moved})
            EXPECT_EQ(Text(*segment), row.after);
        EXPECT_EQ(Text(row.other), before);
        EXPECT_EQ(Text(source), before);
    }
    PeakDataSegment itself(7, 0, Datums({1, 2}));
    EXPECT_TRUE(itself.Append(itself));
    EXPECT_EQ(Text(itself), "7 0: 1 2 1 2");
}

TEST(PeakDataSegment, RangesKeepOffsetsAndBlockSize) {
    const PeakDataSegment segment = Abcd();
    EXPECT_EQ(Text(segment.GetRange(segment.begin() + 1, segment.begin() + 3)), "1256 256: 2 3");
    EXPECT_EQ(Text(segment.GetRange(segment.begin(), segment.end())), "1000 256: 1 2 3 4");
    EXPECT_EQ(Text(segment.GetRange(segment.begin() + 2, segment.begin() + 2)), "1512 256:");
    EXPECT_EQ(Text(segment.GetRange(segment.end(), segment.end())), "2024 256:");
}

TEST(PeakDataSegment, SplitCutsACopyInTouchingPieces) {
    const PeakDataSegment single(0, 100, Datums({1}));
    const PeakDataSegment farther(kHighest - 25, 10, Datums({1, 2}));
    const struct {
        const char* name;
        PeakDataSegment segment;
        std::int64_t offset;
        const char* pieces;
    } kCases[] = {
        {"at the start", Abcd(), 1000, ""},
        {"before the start", Abcd(), 999, ""},
        {"far before the start", Abcd(), kLowest, ""},
        {"at the end", Abcd(), 2024, ""},
        {"behind the end", Abcd(), kHighest, ""},
        {"inside the second block", Abcd(), 1300, "1000 256: 1 | 1256 44: 2 | 1300 212: 2 | 1512 256: 3 4"},
        {"on a border", Abcd(), 1512, "1000 256: 1 2 | 1512 256: 3 4"},
        {"on the first border", Abcd(), 1256, "1000 256: 1 | 1256 256: 2 3 4"},
        {"inside the first block", Abcd(), 1001, "1000 1: 1 | 1001 255: 1 | 1256 256: 2 3 4"},
        {"inside the last block", Abcd(), 2023, "1000 256: 1 2 3 | 1768 255: 4 | 2023 1: 4"},
        {"one block", single, 30, "0 30: 1 | 30 70: 1"},
        {"no datums", {0, 100, {}}, 0, ""},
        {"no length", {0, 0, Datums({1, 2})}, 0, ""},
        {"no length, elsewhere", {0, 0, Datums({1, 2})}, 1, ""},
        {"backwards", {0, -10, Datums({1, 2})}, -5, ""},
        {"backwards over the end of 64 bits", {-2, kLowest + 1, Datums({1, 2, 3})}, kHighest - 9, ""},
        {"near the end of 64 bits", farther, kHighest - 20,
         "9223372036854775782 5: 1 | 9223372036854775787 5: 1 | "
         "9223372036854775792 10: 2"},
        {"from end to end",
         {kLowest, kHighest, Datums({1, 2})},
         3,
         "-9223372036854775808 9223372036854775807: 1 | -1 4: 2 | 3 9223372036854775803: 2"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const std::string before = Text(row.segment);
        EXPECT_EQ(DescribeSegments(row.segment.Split(row.offset)), row.pieces);
        EXPECT_EQ(Text(row.segment), before);
    }
}
