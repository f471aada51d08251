#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "Describe.h"

using namespace kelaudiofile;
using namespace testing_support;

namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

struct Segment {
    std::int64_t start, blockSize;
    std::initializer_list<int> maxima;
};

std::shared_ptr<PeakData> Timeline(std::int64_t inStart, std::initializer_list<Segment> inSegments) {
    auto data = std::make_shared<PeakData>(inStart);
    for (const Segment& segment : inSegments)
        data->Append(segment.start, segment.blockSize, Datums(segment.maxima));
    return data;
}

std::shared_ptr<PeakData> Abcd() {
    return Timeline(0, {{0, 100, {1, 2, 3, 4}}});
}

} // namespace

TEST(PeakDataSplit, PutsABorderInsideTheTimeline) {
    const auto gap = Timeline(0, {{0, 100, {1, 2}}, {500, 100, {3}}});
    const auto late = Timeline(50, {{0, 100, {1, 2}}});
    const struct {
        const char* name;
        std::shared_ptr<PeakData> data;
        std::int64_t offset;
        const char* after;
    } kCases[] = {
        {"inside a block", Abcd(), 150, "from 0 | 0 100: 1 | 100 50: 2 | 150 50: 2 | 200 100: 3 4"},
        {"on a border of blocks", Abcd(), 200, "from 0 | 0 100: 1 2 | 200 100: 3 4"},
        {"at the start", Abcd(), 0, "from 0 | 0 100: 1 2 3 4"},
        {"at the end", Abcd(), 400, "from 0 | 0 100: 1 2 3 4"},
        {"before the start", Abcd(), -1, "from 0 | 0 100: 1 2 3 4"},
        {"behind the end", Abcd(), 401, "from 0 | 0 100: 1 2 3 4"},
        {"empty", Timeline(0, {}), 0, "from 0"},
        {"in a gap", gap, 300, "from 0 | 0 100: 1 2 | 500 100: 3"},
        {"behind a gap", gap, 550, "from 0 | 0 100: 1 2 | 500 50: 3 | 550 50: 3"},
        {"inside a segment but before the start", late, 49, "from 50 | 0 100: 1 2"},
        {"at a start inside a segment", late, 50, "from 50 | 0 50: 1 | 50 50: 1 | 100 100: 2"},
        {"backwards over the end of 64 bits", Timeline(-2, {{-2, kLowest + 1, {1, 2, 3}}}), 5,
         "from -2 | -2 -9223372036854775807: 1 2 3"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        for (int twice = 0; twice < 2; ++twice) {
            row.data->Split(row.offset);
            EXPECT_EQ(Describe(*row.data), row.after);
        }
    }
}

TEST(PeakDataInsert, MovesWhatStandsBehind) {
    const auto cut = Abcd();
    cut->Split(150);
    const auto consolidates = Abcd();
    consolidates->Split(50);
    const auto gap = Timeline(0, {{0, 100, {1, 2}}, {500, 100, {3}}});
    const struct {
        const char* name;
        std::shared_ptr<PeakData> data, source;
        const char* after;
    } kCases[] = {
        {"inside a block", Timeline(0, {{0, 256, {1, 2, 3, 4}}}), Timeline(300, {{300, 100, {8, 9}}}),
         "from 0 | 0 256: 1 | 256 44: 2 | 300 100: 8 9 | 500 212: 2 | 712 256: 3 4"},
        {"elsewhere than an earlier cut", consolidates, Timeline(400, {{400, 7, {8}}}),
         "from 0 | 0 50: 1 1 | 100 100: 2 3 4 | 400 7: 8"},
        {"at the start", Abcd(), Timeline(0, {{0, 10, {8}}}), "from 0 | 0 10: 8 | 10 100: 1 2 3 4"},
        {"at the end", Abcd(), Timeline(400, {{400, 10, {8}}}), "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"behind the end", Abcd(), Timeline(999, {{999, 10, {8}}}), "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"before the start", Abcd(), Timeline(-5, {{-5, 10, {8}}}), "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"in a gap", gap, Timeline(300, {{300, 10, {8}}}), "from 0 | 0 100: 1 2 3 | 300 10: 8"},
        {"the source's own offsets don't matter", Abcd(), Timeline(100, {{7000, 10, {8}}, {9000, 10, {9}}}),
         "from 0 | 0 100: 1 | 100 10: 8 9 | 120 100: 2 3 4"},
        {"no segments, a cut in the middle of a block", Abcd(), Timeline(150, {}),
         "from 0 | 0 100: 1 | 100 50: 2 2 | 200 100: 3 4"},
        {"no segments, a cut elsewhere", Abcd(), Timeline(110, {}),
         "from 0 | 0 100: 1 | 100 10: 2 | 110 90: 2 | 200 100: 3 4"},
        {"the neighbours' block size on a border", Abcd(), Timeline(200, {{200, 100, {8, 9}}}),
         "from 0 | 0 100: 1 2 8 9 3 4"},
        {"into nothing", Timeline(70, {}), Timeline(0, {{0, 10, {8}}}), "from 70 | 70 10: 8"},
        {"the end leaves 64 bits", Timeline(kHighest - 5, {{kHighest - 5, 5, {1}}}),
         Timeline(kHighest, {{kHighest, 3, {2}}}),
         "from 9223372036854775802 | 9223372036854775802 5: 1 | 9223372036854775807 3: 2"},
        {"null", cut, nullptr, "from 0 | 0 100: 1 | 100 50: 2 | 150 50: 2 | 200 100: 3 4"},
        {"itself", cut, cut, "from 0 | 0 100: 1 | 100 50: 2 2 | 200 100: 3 4 1 | 500 50: 2 2 | 600 100: 3 4"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const std::string source = row.source != nullptr ? Describe(*row.source) : "";
        row.data->Insert(row.source);
        if (row.data == row.source) { // at its own start: a copy in front
            EXPECT_EQ(Describe(*row.data),
                      "from 0 | 0 100: 1 | 100 50: 2 2 | 200 100: 3 4 1 | 500 50: 2 2 | 600 100: 3 4");
            continue;
        }
        EXPECT_EQ(Describe(*row.data), row.after);
        if (row.source != nullptr) {
            EXPECT_EQ(Describe(*row.source), source);
        }
    }
}

TEST(PeakDataOverwrite, ReplacesAStretchAndMovesNothing) {
    const auto cut = [] {
        auto data = Abcd();
        data->Split(100);
        return data;
    };
    const auto gap = [] { return Timeline(0, {{0, 100, {1, 2}}, {500, 100, {3, 4}}}); };
    const auto itself = cut();
    const struct {
        const char* name;
        std::shared_ptr<PeakData> data, source;
        const char* after;
    } kCases[] = {
        {"inside blocks", Abcd(), Timeline(150, {{150, 100, {9}}}),
         "from 0 | 0 100: 1 | 100 50: 2 | 150 100: 9 | 250 50: 3 | 300 100: 4"},
        {"on borders", Abcd(), Timeline(100, {{100, 100, {8, 9}}}), "from 0 | 0 100: 1 8 9 4"},
        {"all of it", Abcd(), Timeline(0, {{0, 40, {5, 6, 7, 8, 9}}, {200, 200, {7}}}),
         "from 0 | 0 40: 5 6 7 8 9 | 200 200: 7"},
        {"up to the end", Abcd(), Timeline(350, {{350, 25, {8, 9}}}),
         "from 0 | 0 100: 1 2 3 | 300 50: 4 | 350 25: 8 9"},
        {"inside one block", Abcd(), Timeline(110, {{110, 20, {8, 9}}}),
         "from 0 | 0 100: 1 | 100 10: 2 | 110 20: 8 9 | 150 50: 2 | 200 100: 3 4"},
        {"null", cut(), nullptr, "from 0 | 0 100: 1 2 3 4"},
        {"no segments", cut(), Timeline(150, {}), "from 0 | 0 100: 1 2 3 4"},
        {"no datums", cut(), Timeline(150, {{150, 10, {}}}), "from 0 | 0 100: 1 2 3 4"},
        {"one before the start", cut(), Timeline(-1, {{-1, 100, {9}}}), "from 0 | 0 100: 1 2 3 4"},
        {"one past the end", cut(), Timeline(301, {{301, 100, {9}}}), "from 0 | 0 100: 1 2 3 4"},
        {"into nothing", Timeline(0, {}), Timeline(0, {{0, 10, {9}}}), "from 0"},
        {"of no length into nothing", Timeline(0, {}), Timeline(0, {{0, 0, {9}}}), "from 0"},
        {"of no length", Abcd(), Timeline(200, {{200, 0, {9}}}),
         "from 0 | 0 100: 1 2 | 200 0: 9 | 200 100: 3 4"},
        {"from inside a gap", gap(), Timeline(300, {{300, 250, {9}}}),
         "from 0 | 0 100: 1 2 | 500 50: 3 3 | 600 100: 4"},
        {"across a gap", gap(), Timeline(100, {{100, 450, {9}}}),
         "from 0 | 0 100: 1 | 100 450: 9 | 550 50: 3 | 600 100: 4"},
        {"the source's segments keep their offsets", Abcd(), Timeline(100, {{120, 60, {9}}, {190, 10, {8}}}),
         "from 0 | 0 100: 1 | 120 60: 9 | 190 10: 8 | 200 100: 3 4"},
        {"itself", itself, itself, "from 0 | 0 100: 1 2 3 4"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const std::int64_t start = row.data->GetStartOffset(), end = row.data->GetEndOffset();
        const std::string source = row.source != nullptr ? Describe(*row.source) : "";
        row.data->Overwrite(row.source);
        EXPECT_EQ(Describe(*row.data), row.after);
        EXPECT_EQ(row.data->GetStartOffset(), start);
        EXPECT_EQ(row.data->GetEndOffset(), end);
        if (row.source != nullptr && row.source != row.data) {
            EXPECT_EQ(Describe(*row.source), source);
        }
    }
}

TEST(PeakDataRippleDelete, ClosesTheHoleFromEitherSide) {
    // Blocks of 100: 1 | 2 3 | 4 5, cut at 100 and 300. Ranges are given in datums.
    const auto cut = [](std::int64_t start) {
        auto data = Timeline(start, {{start, 100, {1, 2, 3, 4, 5}}});
        data->Split(start + 100);
        data->Split(start + 300);
        return data;
    };
    constexpr auto kLeft = PeakData::RippleLeft, kRight = PeakData::RippleRight;
    const auto gap = [] { return Timeline(10, {{20, 100, {1}}, {500, 50, {2}}, {900, 100, {3, 4}}}); };
    const struct {
        const char* name;
        std::shared_ptr<PeakData> data;
        std::int64_t first, last;
        PeakData::RippleDirection direction;
        const char* after;
    } kCases[] = {
        {"middle, left", cut(0), 1, 3, kLeft, "from 0 | 0 100: 1 4 5"},
        {"middle, right", cut(0), 1, 3, kRight, "from 200 | 200 100: 1 4 5"},
        {"any other direction is left", cut(0), 1, 3, static_cast<PeakData::RippleDirection>(2),
         "from 0 | 0 100: 1 4 5"},
        {"front, left", cut(0), 0, 3, kLeft, "from 0 | 0 100: 4 5"},
        {"front, right", cut(0), 0, 3, kRight, "from 300 | 300 100: 4 5"},
        {"back, left", cut(0), 3, 5, kLeft, "from 0 | 0 100: 1 2 3"},
        {"back, right", cut(0), 3, 5, kRight, "from 200 | 200 100: 1 2 3"},
        {"all, left", cut(7), 0, 5, kLeft, "from 7"},
        {"all, right", cut(7), 0, 5, kRight, "from 507"},
        {"empty", Timeline(3, {}), 0, 0, kRight, "from 3"},
        {"from inside a segment", cut(0), 2, 3, kRight, "from 0 | 0 100: 1 2 3 4 5"},
        {"up to inside a segment", cut(0), 1, 2, kRight, "from 0 | 0 100: 1 2 3 4 5"},
        {"up to inside the last segment", cut(0), 1, 4, kLeft, "from 0 | 0 100: 1 2 3 4 5"},
        {"empty range", cut(0), 1, 1, kRight, "from 0 | 0 100: 1 2 3 4 5"},
        {"empty range at the end", cut(0), 5, 5, kRight, "from 0 | 0 100: 1 2 3 4 5"},
        {"the wrong way round", cut(0), 3, 1, kRight, "from 0 | 0 100: 1 2 3 4 5"},
        {"from the end", cut(0), 5, 0, kRight, "from 0 | 0 100: 1 2 3 4 5"},
        {"closes gaps, left", gap(), 1, 2, kLeft, "from 10 | 10 100: 1 3 4"},
        {"closes gaps, right", gap(), 1, 2, kRight, "from 410 | 410 100: 1 3 4"},
        {"closes gaps without removing", gap(), 1, 1, kLeft,
         "from 10 | 10 100: 1 | 110 50: 2 | 160 100: 3 4"},
        {"the start leaves 64 bits", cut(kHighest - 600), 0, 5, kRight, "from 9223372036854775707"},
        {"the start wraps", Timeline(kHighest - 5, {{kHighest - 5, 10, {1}}}), 0, 1, kRight,
         "from -9223372036854775804"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        row.data->RippleDelete(row.data->begin() + row.first, row.data->begin() + row.last, row.direction);
        EXPECT_EQ(Describe(*row.data), row.after);
    }
}

TEST(PeakDataRippleDelete, IteratorsOfAnotherContainerRemoveNothing) {
    const auto data = Abcd(), other = Abcd();
    data->RippleDelete(other->begin(), other->end(), PeakData::RippleRight);
    EXPECT_EQ(Describe(*data), "from 0 | 0 100: 1 2 3 4");
}

// Ranges in datums over 1 2 | 3 | 4 5 6, with a gap behind 3.
TEST(PeakDataRanges, ZeroAndCopyWhatLiesBetweenTwoDatums) {
    const auto make = [] {
        auto data = Timeline(10, {{10, 100, {1, 2}}, {210, 50, {3}}, {500, 10, {4, 5, 6}}});
        return data;
    };
    const struct {
        const char* name;
        std::int64_t first, last;
        const char *zeroed, *range;
    } kCases[] = {
        {"all", 0, 6, "from 10 | 10 100: 0 0 | 210 50: 0 | 500 10: 0 0 0",
         "from 10 | 10 100: 1 2 | 210 50: 3 | 260 10: 4 5 6"},
        {"parts of three segments", 1, 5, "from 10 | 10 100: 1 0 | 210 50: 0 | 500 10: 0 0 6",
         "from 110 | 110 100: 2 | 210 50: 3 | 260 10: 4 5"},
        {"inside a segment", 4, 5, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 0 6",
         "from 510 | 510 10: 5"},
        {"one segment", 2, 3, "from 10 | 10 100: 1 2 | 210 50: 0 | 500 10: 4 5 6", "from 210 | 210 50: 3"},
        {"up to the end", 5, 6, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 0", "from 520 | 520 10: 6"},
        {"empty", 4, 4, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6", "from 510"},
        {"empty at a border", 2, 2, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6", "from 210"},
        {"the wrong way round in a segment", 5, 3, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6",
         "from 520"},
        {"the wrong way round over segments", 4, 0, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6",
         "from 510"},
        {"from the end", 6, 0, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6", "from 530"},
        {"empty at the end", 6, 6, "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6", "from 530"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const auto data = make();
        const std::string before = Describe(*data);
        const auto first = data->begin() + row.first, last = data->begin() + row.last;
        EXPECT_EQ(Describe(*std::as_const(*data).GetRange(first, last)), row.range);
        EXPECT_EQ(Describe(*data), before);
        data->Zero(first, last);
        EXPECT_EQ(Describe(*data), row.zeroed);
        EXPECT_TRUE(first == data->begin() + row.first && last == data->begin() + row.last);
    }
    const auto empty = Timeline(8, {});
    empty->Zero(empty->begin(), empty->end());
    EXPECT_EQ(Describe(*empty->GetRange(empty->begin(), empty->end())), "from 8");
}

TEST(PeakDataRanges, CopiesAreNotConsolidated) {
    const auto data = Abcd();
    data->Split(200);
    EXPECT_EQ(Describe(*data->GetRange(data->begin(), data->end())), "from 0 | 0 100: 1 2 | 200 100: 3 4");
    EXPECT_EQ(Describe(*data->GetRange(data->begin() + 1, data->begin() + 3)),
              "from 100 | 100 100: 2 | 200 100: 3");
}

TEST(PeakDataRanges, SegmentsWithoutDatumsComeAlong) {
    const auto data = Timeline(0, {{0, 100, {1}}, {100, 30, {}}, {100, 50, {2}}});
    EXPECT_EQ(Describe(*data->GetRange(data->begin(), data->end())), "from 0 | 0 100: 1 | 0 30: | 100 50: 2");
    data->Zero(data->begin(), data->end());
    EXPECT_EQ((*(data->begin() + 1)).max, 0);
}

// What each operation leaves chained and consolidated; the container has a gap, and a cut that could be
// merged.
TEST(PeakDataEditing, InvariantsAfterEachOperation) {
    const auto make = [] {
        auto data = Timeline(0, {{0, 100, {1, 2}}, {500, 100, {3, 4}}});
        data->Split(100);
        return data;
    };
    EXPECT_EQ(Describe(*make()), "from 0 | 0 100: 1 | 100 100: 2 | 500 100: 3 4");
    const struct {
        const char* name;
        void (*edit)(PeakData&);
        const char* after;
    } kCases[] = {
        {"split", [](PeakData& data) { data.Split(600); },
         "from 0 | 0 100: 1 | 100 100: 2 | 500 100: 3 | 600 100: 4"},
        {"insert", [](PeakData& data) { data.Insert(Timeline(0, {})); }, "from 0 | 0 100: 1 2 3 4"},
        {"overwrite", [](PeakData& data) { data.Overwrite(nullptr); }, "from 0 | 0 100: 1 2 | 500 100: 3 4"},
        {"ripple delete",
         [](PeakData& data) { data.RippleDelete(data.end(), data.end(), PeakData::RippleLeft); },
         "from 0 | 0 100: 1 2 3 4"},
        {"zero", [](PeakData& data) { data.Zero(data.begin(), data.begin() + 1); },
         "from 0 | 0 100: 0 | 100 100: 2 | 500 100: 3 4"},
        {"range", [](PeakData& data) { data = *data.GetRange(data.begin(), data.end()); },
         "from 0 | 0 100: 1 | 100 100: 2 | 200 100: 3 4"},
        {"append", [](PeakData& data) { data.Append(700, 100, Datums({5})); },
         "from 0 | 0 100: 1 2 | 500 100: 3 4 5"},
        {"start offset", [](PeakData& data) { data.SetStartOffset(5); },
         "from 5 | 5 100: 1 | 105 100: 2 | 205 100: 3 4"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const auto data = make();
        row.edit(*data);
        EXPECT_EQ(Describe(*data), row.after);
    }
}
