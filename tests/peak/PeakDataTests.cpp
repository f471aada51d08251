#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "Describe.h"
#include "support/Faults.h"

using namespace kelaudiofile;
using namespace testing_support;

namespace {

using Iterator = PeakData::iterator;
using ConstIterator = PeakData::const_iterator;

static_assert(!std::is_default_constructible_v<Iterator> && !std::is_default_constructible_v<ConstIterator>);
static_assert(std::is_convertible_v<Iterator, ConstIterator> &&
              !std::is_convertible_v<ConstIterator, Iterator>);
static_assert(std::is_same_v<decltype(*std::declval<Iterator&>()), PeakDatum&>);
static_assert(std::is_same_v<decltype(*std::declval<const Iterator&>()), const PeakDatum&>);
static_assert(std::is_same_v<decltype(*std::declval<ConstIterator&>()), const PeakDatum&>);
static_assert(std::is_same_v<decltype(*std::declval<const ConstIterator&>()), const PeakDatum&>);
static_assert(!std::is_convertible_v<std::int64_t, PeakData>, "a number is no timeline");

/// Blocks 1 to 3 of 100 from 0, 4 and 5 of 50, a gap of 200, 6 of 100 from 600.
PeakData ThreeSegments() {
    PeakData data;
    data.Append(0, 100, Datums({1, 2, 3}));
    data.Append(300, 50, Datums({4, 5}));
    data.Append(600, 100, Datums({6}));
    return data;
}

} // namespace

TEST(PeakData, EmptyTimelineIsItsStartOffset) {
    for (const std::int64_t start : {0, 5000, -3}) {
        PeakData data(start);
        EXPECT_TRUE(data.empty());
        EXPECT_EQ(data.size(), 0u);
        EXPECT_EQ(data.GetStartOffset(), start);
        EXPECT_EQ(data.GetEndOffset(), start);
        EXPECT_EQ(data.GetDuration(), 0);
        EXPECT_TRUE(data.begin() == data.end());
        for (const std::int64_t offset : {start - 1, start, start + 1})
            EXPECT_TRUE(data.Find(offset) == data.end());
        data.Append(start, 10, Datums({1}));
        data.Clear();
        EXPECT_EQ(Describe(data), Describe(PeakData(start)));
    }
    EXPECT_EQ(PeakData().GetStartOffset(), 0);
}

TEST(PeakData, AppendMergesWhatTouchesAndTrustsItsCaller) {
    PeakData data;
    PeakDatumVector datums = Datums({1, 2});
    data.Append(0, 256, std::move(datums));
    EXPECT_EQ(datums, Datums({1, 2}));
    data.Append(512, 256, Datums({3}));
    EXPECT_EQ(Describe(data), "from 0 | 0 256: 1 2 3");
    data.Append(768, 100, Datums({4}));
    data.Append(900, 100, Datums({5}));
    EXPECT_EQ(Describe(data), "from 0 | 0 256: 1 2 3 | 768 100: 4 | 900 100: 5");
    EXPECT_EQ(data.GetDuration(), 1000);
    EXPECT_EQ((*data.Find(899)).max, 4);
    data.Split(256);
    data.Append(50, 10, Datums({6})); // consolidates the cut and goes back before it
    EXPECT_EQ(Describe(data), "from 0 | 0 256: 1 2 3 | 768 100: 4 | 900 100: 5 | 50 10: 6");
    EXPECT_EQ(data.GetEndOffset(), 60);

    PeakData late(1000);
    late.Append(2000, 10, Datums({1, 2}));
    EXPECT_EQ(Describe(late), "from 1000 | 2000 10: 1 2");
    EXPECT_EQ((*late.Find(1500)).max, 1);
    EXPECT_TRUE(late.Find(999) == late.end());
    late.Append(2020, 10, {});
    EXPECT_EQ(late.GetEndOffset(), 2020);
    late.Append(3000, 10, {});
    EXPECT_EQ(late.GetEndOffset(), 3000);
    EXPECT_EQ(late.size(), 2u);
    late.Clear();
    late.Append(3000, 10, {});
    EXPECT_FALSE(late.empty());
}

TEST(PeakData, SetStartOffsetClosesGaps) {
    PeakData data = ThreeSegments();
    EXPECT_EQ(data.GetDuration(), 700);
    const auto last = data.begin() + 5;
    data.SetStartOffset(-1000);
    EXPECT_EQ(Describe(data), "from -1000 | -1000 100: 1 2 3 | -700 50: 4 5 | -600 100: 6");
    EXPECT_EQ(data.GetDuration(), 500);
    EXPECT_EQ(last.GetStartOffset(), -600);
    data.SetStartOffset(std::numeric_limits<std::int64_t>::max() - 250);
    EXPECT_LT(data.GetEndOffset(), 0);
    EXPECT_EQ(data.GetDuration(), 500);
}

TEST(PeakData, CopiesCopyAndMovesTakeOver) {
    PeakData data = ThreeSegments();
    data.SetStartOffset(7);
    const std::string text = Describe(data);
    PeakData copy(data), assigned;
    assigned = copy;
    const PeakDatum* const storage = &*copy.begin();
    PeakData moved(std::move(copy));
    EXPECT_EQ(&*moved.begin(), storage);
    EXPECT_EQ(Describe(copy), "from 7");
    assigned = std::move(moved);
    EXPECT_EQ(&*assigned.begin(), storage);
    EXPECT_EQ(Describe(moved), "from 7");
    PeakData& self = assigned;
    assigned = std::move(self);
    assigned = self;
    EXPECT_EQ(Describe(assigned), text);
    EXPECT_EQ(Describe(data), text);
}

TEST(PeakData, FindGivesTheBlockThatHoldsTheOffset) {
    PeakData data = ThreeSegments();
    const struct {
        std::int64_t offset;
        float block;
    } kCases[] = {{0, 1},   {99, 1},  {100, 2}, {299, 3}, {300, 4}, {349, 4},
                  {350, 5}, {399, 5}, {400, 5}, {599, 5}, {600, 6}, {699, 6}};
    for (const auto& row : kCases) {
        EXPECT_EQ((*data.Find(row.offset)).max, row.block) << row.offset;
        EXPECT_EQ((*std::as_const(data).Find(row.offset)).max, row.block) << row.offset;
    }
    for (const std::int64_t outside :
         {std::int64_t{-1}, std::int64_t{700}, std::numeric_limits<std::int64_t>::min(),
          std::numeric_limits<std::int64_t>::max()})
        EXPECT_TRUE(data.Find(outside) == data.end()) << outside;
    PeakData single;
    single.Append(0, 10, Datums({1}));
    EXPECT_TRUE(single.Find(9) == single.begin());
}

TEST(PeakDataIterator, MovesLikeASteppingOne) {
    PeakData data = ThreeSegments();
    const auto count = static_cast<std::int64_t>(data.size());
    for (std::int64_t from = 0; from <= count; ++from) {
        auto walked = data.begin();
        for (std::int64_t i = 0; i < from; ++i)
            ++walked;
        auto counted = data.end();
        for (std::int64_t i = from; i < count; ++i)
            --counted;
        EXPECT_TRUE(walked == counted);
        EXPECT_EQ(walked == data.end(), from == count);
        for (std::int64_t to = 0; to <= count + 3; ++to) {
            SCOPED_TRACE(testing::Message() << from << " to " << to);
            if (from == count && to > count)
                continue; // forward from the end
            const auto target = data.begin() + std::min(to, count);
            EXPECT_TRUE(walked + (to - from) == target);
            EXPECT_TRUE(walked - (from - to) == target);
            auto moved = walked;
            EXPECT_TRUE((moved += to - from) == target && moved == target);
            EXPECT_TRUE((moved -= std::min(to, count) - from) == walked);
        }
    }
    auto it = data.begin();
    EXPECT_EQ((*it++).max, 1);
    EXPECT_EQ((*it--).max, 2);
    EXPECT_TRUE(it == data.begin());
    EXPECT_TRUE(it + std::numeric_limits<std::int64_t>::max() == data.end());
    EXPECT_TRUE(it - std::numeric_limits<std::int64_t>::min() == data.end());
    EXPECT_TRUE(data.end() + 0 == data.end());
    EXPECT_TRUE(it != data.begin() + 1);
}

TEST(PeakDataIterator, OffersItsDatumAndOffsets) {
    PeakData data = ThreeSegments();
    const std::vector<std::pair<std::int64_t, std::int64_t>> kBlocks = {{0, 100},   {100, 200}, {200, 300},
                                                                        {300, 350}, {350, 400}, {600, 700}};
    auto it = data.begin();
    for (const auto& [start, end] : kBlocks) {
        const ConstIterator constant = it;
        EXPECT_EQ(it.GetStartOffset(), start);
        EXPECT_EQ(it.GetEndOffset(), end);
        EXPECT_EQ(constant.GetStartOffset(), start);
        EXPECT_EQ(constant.GetEndOffset(), end);
        EXPECT_EQ(&*constant, &*it);
        EXPECT_TRUE(constant.operator ConstIterator() == constant);
        (*it++).max += 10;
    }
    EXPECT_TRUE(ConstIterator(it) == std::as_const(data).end());
    EXPECT_EQ((*std::as_const(data).begin()).max, 11);
    const std::vector<PeakDatum> datums(data.begin(), data.end());
    EXPECT_EQ(datums.size(), 6u);
    EXPECT_EQ(datums.back(), PeakDatum(-6, 16));
}

// Counted moves pass over segments without datums; a step back from the end passes over one that is the last.
TEST(PeakDataIterator, CountedMovesPassOverSegmentsWithoutDatums) {
    PeakData data;
    data.Append(0, 10, Datums({1}));
    data.Append(10, 20, {});
    data.Append(10, 30, Datums({2, 3}));
    data.Append(70, 40, {});
    EXPECT_EQ((*(data.begin() + 1)).max, 2);
    EXPECT_EQ((*(data.begin() + 2)).max, 3);
    EXPECT_TRUE(data.begin() + 3 == data.end());
    EXPECT_EQ((*(data.end() - 1)).max, 3);
    EXPECT_EQ((*(data.end() - 3)).max, 1);
    EXPECT_EQ((*--data.end()).max, 3);
}

TEST(PeakData, RunsOfSegmentsAreJoinedAtOnce) {
    const faults::Scope scope;
    constexpr int kPieces = 2000;
    // Cut into its blocks and joined again, a run takes one allocation for its datums, however many pieces.
    const auto run = std::make_shared<PeakData>();
    run->Append(0, 10, PeakDatumVector(kPieces, PeakDatum(-1, 1)));
    for (int i = 1; i < kPieces; ++i)
        run->Split(i * 10);
    const std::uint64_t before = faults::Heap().allocations;
    run->RippleDelete(run->begin(), run->begin() + 1, PeakData::RippleLeft);
    EXPECT_LE(faults::Heap().allocations - before, 5u);
    EXPECT_EQ(run->size(), kPieces - 1u);
    MemoryFileOutput stream;
    run->WriteToStream(stream);
    EXPECT_EQ(stream.bytes.size(), 4u + 12 + 8 * (kPieces - 1));
}
