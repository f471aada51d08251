#include <gtest/gtest.h>

#include <limits>
#include <type_traits>
#include <utility>

#include "Describe.h"

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

const char kThree[] = "from 7 | 7 100: 1 2 3 | 307 50: 4 5 | 607 100: 6";

} // namespace

TEST(PeakData, AppendMergesWhatTouchesAndTrustsItsCaller) {
    PeakData data;
    PeakDatumVector datums = {PeakDatum(-1, 1), PeakDatum(-2, 2)};
    data.Append(0, 256, std::move(datums));
    EXPECT_EQ(datums.size(), 2u);
    data.Append(512, 256, {PeakDatum(-3, 3)});
    data.Split(256);
    data.Append(50, 10, {PeakDatum(-6, 6)}); // consolidates the cut and goes back before it
    EXPECT_EQ(Describe(data), "from 0 | 0 256: 1 2 3 | 50 10: 6");
    EXPECT_EQ(data.GetEndOffset(), 60);

    PeakData late(1000);
    late.Append(2000, 10, {PeakDatum(-1, 1), PeakDatum(-2, 2)});
    EXPECT_EQ((*late.Find(1500)).max, 1);
    EXPECT_TRUE(late.Find(999) == late.end());
    late.Append(3000, 10, {});
    EXPECT_EQ(late.GetEndOffset(), 3000);
    EXPECT_EQ(late.size(), 2u);
    late.Clear();
    EXPECT_EQ(Describe(late), "from 1000");
    late.Append(3000, 10, {});
    EXPECT_FALSE(late.empty());
}

TEST(PeakData, OffsetsWrap) {
    const auto data = Timeline(kThree);
    const auto last = data->begin() + 5;
    data->SetStartOffset(std::numeric_limits<std::int64_t>::max() - 250);
    EXPECT_LT(data->GetEndOffset(), 0);
    EXPECT_EQ(data->GetDuration(), 500);
    EXPECT_EQ(last.GetEndOffset(), data->GetEndOffset()) << "places stay, offsets change";
}

TEST(PeakData, CopiesCopyAndMovesTakeOver) {
    PeakData data(*Timeline(kThree)), copy(data), assigned;
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
    EXPECT_EQ(Describe(assigned), kThree);
    EXPECT_EQ(Describe(data), kThree);
}

// What random edits do not ask of them.
TEST(PeakDataIterator, MovesAndOffersItsDatum) {
    const auto data = Timeline(kThree);
    auto it = data->begin();
    EXPECT_EQ((*it++).max, 1);
    EXPECT_EQ((*it--).max, 2);
    EXPECT_TRUE(it == data->begin() && it != data->begin() + 1);
    EXPECT_TRUE(it + std::numeric_limits<std::int64_t>::max() == data->end());
    EXPECT_TRUE(it - std::numeric_limits<std::int64_t>::min() == data->end());
    EXPECT_TRUE((it += 4) == data->begin() + 4 && (it -= 1) == data->end() - 3);
    const ConstIterator constant = it;
    EXPECT_TRUE(it.GetStartOffset() == 307 && it.GetEndOffset() == 357 && constant.GetEndOffset() == 357);
    EXPECT_EQ(&*constant, &*it);
    (*it).max = 11;
    EXPECT_EQ((*std::as_const(*data).Find(307)).max, 11);
    const std::vector<PeakDatum> datums(data->begin(), data->end());
    EXPECT_EQ(datums.size(), 6u);

    // Counted moves pass over segments without datums; a step back from the end passes over one that is the
    // last.
    const auto hollow = Timeline("from 0 | 0 10: 1 | 10 20: | 10 30: 2 3 | 70 40:");
    EXPECT_EQ((*(hollow->begin() + 1)).max, 2);
    EXPECT_TRUE(hollow->begin() + 3 == hollow->end());
    EXPECT_EQ((*(hollow->end() - 3)).max, 1);
    EXPECT_EQ((*--hollow->end()).max, 3);
}
