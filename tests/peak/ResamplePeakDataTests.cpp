#include <gtest/gtest.h>

#include <cfloat>
#include <limits>

#include "Describe.h"

using namespace testing_support;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInfinity = HUGE_VAL;
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min(),
                       kHighest = std::numeric_limits<std::int64_t>::max();

/// Datum k of these is (-k, k), counted from 1, so that a point shows which block it included last.
std::shared_ptr<PeakData> Blocks(std::int64_t inStart, std::int64_t inBlockSize, int inCount) {
    PeakDatumVector datums;
    for (int k = 1; k <= inCount; ++k)
        datums.emplace_back(static_cast<float>(-k), static_cast<float>(k));
    auto data = std::make_shared<PeakData>(inStart);
    data->Append(inStart, inBlockSize, std::move(datums));
    return data;
}

/// Returns the maxima of the points; every minimum must be the negative of the maximum.
std::vector<float> Maxima(const std::shared_ptr<PeakData>& inData, double inStart, double inStep,
                          std::uint64_t inCount, bool inLoop) {
    std::vector<float> points(2 * inCount, -1.0f), maxima;
    kelaudiofile::ResamplePeakData(inData, inStart, inStep, inCount, points.data(), inLoop);
    for (std::size_t i = 0; i < points.size(); i += 2) {
        EXPECT_EQ(points[i], 0.0f - points[i + 1]) << "point " << i / 2;
        maxima.push_back(points[i]);
    }
    return maxima;
}

} // namespace

TEST(ResamplePeakData, PointsTakeInTheBlocksTheyTouch) {
    const auto ten = Blocks(0, 100, 10), three = Blocks(500, 100, 3), short_ = Blocks(0, 1, 10);
    const auto hollow = Timeline("from 0 | 0 10: | 0 20: 1 2 | 40 10: | 40 30: 3 | 70 5:");
    constexpr std::int64_t kFar = std::int64_t{1} << 60;
    const auto sparse = Blocks(0, std::int64_t{1} << 32, 4); // a lap is 2^34
    // clang-format off
    const struct {
        const char* name; std::shared_ptr<PeakData> data; double start, step; bool loop; std::vector<float> maxima;
    } kRows[] = {
        {"block by block, then silence", ten, 0, 100, false, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0}},
        {"a block on the border counts twice", ten, 0, 150, false, {2, 3, 5, 6, 8, 9, 10, 0}},
        {"starts before its first block", three, 0, 100, false, {0, 0, 0, 0, 0, 0}},
        {"starts at 0 all the same", Blocks(-200, 100, 4), -200, 50, false, {0, 0, 0, 0, 3, 3, 4}},
        {"offsets that doubles round", Blocks(kFar, 100, 40), kFar, 700, false, {7, 12, 20, 27, 35, 40, 0}},
        {"passes over segments without datums", hollow, -5, 20, false, {1, 2, 3, 3, 0}},
        {"passes over segments without datums, loop", hollow, 0, 35, true, {2, 3, 2, 3, 2}},
        // A literal walk through these laps would take from minutes to the age of the universe.
        {"a thousand million laps to a point", short_, 0, 1e10 + 3, true, {10, 10, 10, 10}},
        {"past 64 bits of laps", short_, 0, 1e18, true, std::vector<float>(30, 10)},
        {"overflow to infinity", short_, 5, 1e308, true, {10, 10, 10}},
        {"past 32 bits of laps the seam stays in place", sparse, 0, 0x1p32, true, {1, 2, 3, 4, 1, 2, 3, 4, 1, 2}},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Maxima(row.data, row.start, row.step, row.maxima.size(), row.loop), row.maxima);
    }
}

TEST(ResamplePeakData, ArgumentsWithoutMeaningGiveSilence) {
    const auto data = Blocks(0, 100, 10), empty = Timeline("from 0"), hollow = Timeline("from 0 | 10 10:");
    // clang-format off
    const struct { const char* name; std::shared_ptr<PeakData> data; double start, step; bool loop; } kRows[] = {
        {"null", nullptr, 0, 1, true}, {"empty", empty, 0, 1, false}, {"empty in a loop", empty, 0, 1, true},
        {"step 0", data, 0, 0, false}, {"step below 0", data, 0, -1, true}, {"step NaN", data, 0, kNaN, true},
        {"step infinite", data, 0, kInfinity, false}, {"start NaN", data, kNaN, 1, false},
        {"start infinite", data, kInfinity, 1, false}, {"start infinite in a loop", data, kInfinity, 1, true},
        {"start infinitely far before", data, -kInfinity, 1, false}, {"start at 2^63", data, 0x1p63, 1, false},
        {"start before 64 bits, tiny step", data, -1e300, DBL_MIN, false},
        {"no length in a loop", Blocks(0, 0, 3), 0, 1, true},
        {"end before start in a loop", Timeline("from 0 | 0 100: 1 2 3 | -5000 100: 1"), 0, 1, true},
        {"no datums", hollow, 0, 1, false}, {"no datums, from before", hollow, -0.5, 1, false},
        {"no datums in a loop", hollow, 0, 1, true},
    };
    // clang-format on
    for (const auto& row : kRows)
        EXPECT_EQ(Maxima(row.data, row.start, row.step, 4, row.loop), std::vector<float>(4, 0.0f))
            << row.name;
    kelaudiofile::ResamplePeakData(data, 0, 1, 0, nullptr, false);
}

TEST(ResamplePeakData, AlwaysEnds) {
    // clang-format off
    const struct { const char* name; std::int64_t start, blockSize; int count; } kRows[] = {
        {"blocks of no length", 0, 0, 50},
        {"blocks that go back", 5000, -100, 50},
        {"ends wrap", kHighest - 100, 7, 50},
        {"ends wrap often", 3, kHighest / 3, 50},
        {"lowest block size", 0, kLowest, 3},
        {"starts at the lowest offset", kLowest, 1, 50},
        {"as long as offsets go", kLowest, std::int64_t{1} << 62, 3},
        {"one more block would wrap", (std::int64_t{1} << 62) - 512, (std::int64_t{1} << 58) - 32, 16},
    };
    // clang-format on
    for (const auto& row : kRows)
        for (const bool loop : {false, true})
            for (const double start : {-3.0, 0.0, 20.0, -0x1p63, 0x1.fffffffffffffp62})
                for (const double step : {0.5, 100.0, 1e9, 1e18, 1e300}) {
                    auto odd = Blocks(row.start, row.blockSize, row.count);
                    odd->Append(0, 10, {{-2, 2}, {-3, 3}});
                    odd->Append(400, 10, {{-2, 2}, {-3, 3}});
                    for (const float maximum : Maxima(odd, start, step, 5, loop))
                        ASSERT_TRUE(maximum >= 0 && maximum <= 50)
                            << row.name << " from " << start << " by " << step;
                }
}
