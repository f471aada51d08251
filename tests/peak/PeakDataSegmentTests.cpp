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
const char kAbcd[] = "1000 256: 1 2 3 4";

std::string Text(const PeakDataSegment& inSegment) {
    return DescribeSegments(PeakDataSegmentVector(1, inSegment));
}

} // namespace

TEST(PeakDatum, ComparesAsFloatsDo) {
    const PeakDatum unordered(std::numeric_limits<float>::quiet_NaN(), 0);
    EXPECT_EQ(PeakDatum(), PeakDatum(0.0f, -0.0f));
    EXPECT_FALSE(PeakDatum(1, 2) == PeakDatum(1, 3) || PeakDatum(1, 2) == PeakDatum(0, 2) ||
                 unordered == unordered);
    const PeakDatum turned(2, -1);
    EXPECT_TRUE(turned.min == 2 && turned.max == -1);
}

TEST(PeakDataSegment, ConstructorAndCopiesCopyMovesTakeOver) {
    PeakDatumVector datums = {PeakDatum(-1, 1), PeakDatum(-2, 2)};
    PeakDataSegment segment(5, 10, std::move(datums));
    EXPECT_EQ(datums.size(), 2u);
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
    assigned = std::move(self);
    EXPECT_EQ(Text(assigned), "5 10: 1 2");

    assigned.SetStartOffset(-7);
    (*assigned.begin()).max = 9;
    EXPECT_EQ(assigned.GetEndOffset(), 13);
    EXPECT_EQ(std::as_const(assigned).begin()->max, 9);
    EXPECT_EQ(std::as_const(assigned).end() - std::as_const(assigned).begin(), 2);
}

TEST(PeakDataSegment, AppendsWhatGoesOnWhereItEnds) {
    // clang-format off
    const struct { const char *name, *segment, *other, *after; } kCases[] = {
        {"touches", kAbcd, "2024 256: 5", "1000 256: 1 2 3 4 5"},
        {"another block size", kAbcd, "2024 255: 5", nullptr},
        {"one too late", kAbcd, "2025 256: 5", nullptr},
        {"one too early", kAbcd, "2023 256: 5", nullptr},
        {"nothing to add", kAbcd, "2024 256:", kAbcd},
        {"to nothing", "7 3:", "7 3: 1 2", "7 3: 1 2"},
        {"to nothing elsewhere", "7 3:", "8 3: 1 2", nullptr},
        {"no length", "7 0: 1", "7 0: 2", "7 0: 1 2"},
        {"over the end of 64 bits", "9223372036854775807 1: 1", "-9223372036854775808 1: 2",
         "9223372036854775807 1: 1 2"},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        PeakDataSegment lvalue = Segment(row.segment), rvalue = lvalue, other = Segment(row.other);
        EXPECT_EQ(lvalue.Append(other), row.after != nullptr);
        EXPECT_EQ(rvalue.Append(std::move(other)), row.after != nullptr);
        EXPECT_EQ(Text(lvalue), row.after != nullptr ? row.after : row.segment);
        EXPECT_EQ(Text(rvalue), Text(lvalue));
        EXPECT_EQ(Text(other), row.other);
    }
    PeakDataSegment itself = Segment("7 0: 1 2");
    EXPECT_TRUE(itself.Append(itself));
    EXPECT_EQ(Text(itself), "7 0: 1 2 1 2");
}

TEST(PeakDataSegment, RangesKeepOffsetsAndBlockSize) {
    const PeakDataSegment segment = Segment(kAbcd);
    EXPECT_EQ(Text(segment.GetRange(segment.begin() + 1, segment.begin() + 3)), "1256 256: 2 3");
    EXPECT_EQ(Text(segment.GetRange(segment.end(), segment.end())), "2024 256:");
}

TEST(PeakDataSegment, SplitCutsACopyInTouchingPieces) {
    // clang-format off
    const struct { const char *segment; std::int64_t offset; const char *pieces; } kCases[] = {
        {kAbcd, 1000, ""}, {kAbcd, kLowest, ""}, {kAbcd, 2024, ""}, {kAbcd, kHighest, ""},
        {kAbcd, 1300, "1000 256: 1 | 1256 44: 2 | 1300 212: 2 | 1512 256: 3 4"},
        {kAbcd, 1512, "1000 256: 1 2 | 1512 256: 3 4"},
        {kAbcd, 1001, "1000 1: 1 | 1001 255: 1 | 1256 256: 2 3 4"},
        {kAbcd, 2023, "1000 256: 1 2 3 | 1768 255: 4 | 2023 1: 4"},
        {"0 100: 1", 30, "0 30: 1 | 30 70: 1"},
        {"0 100:", 0, ""}, {"0 0: 1 2", 1, ""}, {"0 -10: 1 2", -5, ""},
        {"-2 -9223372036854775807: 1 2 3", kHighest - 9, ""}, // backwards over the end of 64 bits
        {"9223372036854775782 10: 1 2", kHighest - 20,
         "9223372036854775782 5: 1 | 9223372036854775787 5: 1 | 9223372036854775792 10: 2"},
        {"-9223372036854775808 9223372036854775807: 1 2", 3,
         "-9223372036854775808 9223372036854775807: 1 | -1 4: 2 | 3 9223372036854775803: 2"},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(testing::Message() << row.segment << " at " << row.offset);
        const PeakDataSegment segment = Segment(row.segment);
        EXPECT_EQ(DescribeSegments(segment.Split(row.offset)), row.pieces);
        EXPECT_EQ(Text(segment), row.segment);
    }
}
