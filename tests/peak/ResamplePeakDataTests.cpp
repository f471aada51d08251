#include <gtest/gtest.h>

#include <cfloat>
#include <limits>

#include "PlainPeaks.h"
#include "support/Random.h"

using namespace kelaudiofile;
using namespace testing_support;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

/// Datum k of these is (-k, k), counted from 1, so that a point tells which blocks it took in last.
std::shared_ptr<PeakData> Timeline(std::int64_t inStart, std::int64_t inBlockSize, int inCount) {
    PeakDatumVector datums;
    for (int k = 1; k <= inCount; ++k)
        datums.emplace_back(static_cast<float>(-k), static_cast<float>(k));
    auto data = std::make_shared<PeakData>(inStart);
    data->Append(inStart, inBlockSize, std::move(datums));
    return data;
}

/// The maxima of the points; every minimum must be the negative of the maximum.
std::vector<float> Maxima(const std::shared_ptr<PeakData>& inData, double inStart, double inStep,
                          std::uint64_t inCount, bool inLoop) {
    std::vector<float> points(2 * inCount, -1.0f), maxima;
    ResamplePeakData(inData, inStart, inStep, inCount, points.data(), inLoop);
    for (std::size_t i = 0; i < points.size(); i += 2) {
        EXPECT_EQ(points[i], 0.0f - points[i + 1]) << "point " << i / 2;
        maxima.push_back(points[i]);
    }
    return maxima;
}

struct Case {
    const char* name;
    double start, step;
    bool loop;
    std::vector<float> maxima;
};

void ExpectMaxima(const std::shared_ptr<PeakData>& inData, const std::vector<Case>& inCases) {
    for (const Case& row : inCases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Maxima(inData, row.start, row.step, row.maxima.size(), row.loop), row.maxima);
    }
}

} // namespace

// clang-format off
TEST(ResamplePeakData, PointsTakeInTheBlocksTheyTouch) {
    ExpectMaxima(Timeline(0, 100, 10), {
        {"no points", 0, 100, false, {}},
        {"block by block, then silence", 0, 100, false, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0}},
        {"a block on the border counts twice", 0, 150, false, {2, 3, 5, 6, 8, 9, 10, 0}},
        {"four points to a block", 0, 25, false, {1, 1, 1, 1, 2, 2, 2, 2, 3}},
        {"one step before", -100, 100, false, {0, 1, 2}},
        {"half a step before", -50, 100, false, {1, 2, 3}},
        {"at the end", 1000, 100, false, {0, 0}},
        {"loop", 0, 300, true, {3, 6, 9, 10, 5, 8, 10, 4, 7, 10, 3, 6}},
        {"loop, a point across the seam", 950, 100, true, {10, 2, 3}},
        {"loop, start behind the end is folded", 2500, 100, true, {6, 7, 8, 9, 10, 1}},
        {"loop, start at the end", 1000, 100, true, {1, 2}},
        {"loop, points of many laps", 50, 3456, true, {10, 10, 10}},
    });
    ExpectMaxima(Timeline(500, 100, 3), {{"starts before its first block", 0, 100, false, {0, 0, 0, 0, 0, 0}},
                                         {"spans 0", -50, 100, false, {1, 1, 1, 1, 1, 1, 2, 3, 3, 0}},
                                         {"loop folded below the start", 800, 100, true, {0, 0, 0}}});
    ExpectMaxima(Timeline(-200, 100, 4), {{"starts at 0 all the same", -200, 50, false, {0, 0, 0, 0, 3, 3, 4}}});
}
// clang-format on

// Long runs of datums are taken in by vectors; which NaN and which zero a point shows must not depend on
// that.
TEST(ResamplePeakData, RandomTimelinesAgreeWithAWalkOverBlocks) {
    constexpr auto kNaNf = static_cast<float>(kNaN), kInfinityf = static_cast<float>(kInfinity);
    const float kValues[] = {0.0f, -0.0f, kNaNf, 1.0f, -1.0f, 0.5f, FLT_MIN, kInfinityf, -kInfinityf};
    for (std::uint64_t seed = 0; seed < 3000; ++seed) {
        Random random(seed);
        const std::int64_t kStarts[] = {0, 1000, -1000, (std::int64_t{1} << 53) - 50, std::int64_t{1} << 60};
        PlainPeaks plain{kStarts[random.Below(8) < 4 ? 0 : random.Below(5)], {}};
        auto data = std::make_shared<PeakData>(plain.start);
        const std::uint32_t kinds = 1 + random.Below(static_cast<std::uint32_t>(std::size(kValues)));
        const std::uint32_t firstKind = random.Below(static_cast<std::uint32_t>(std::size(kValues)));
        for (std::uint32_t segments = 1 + random.Below(4); segments > 0; --segments) {
            std::vector<PeakDatum> datums(1 + random.Below(random.Below(2) == 0 ? 4 : 300));
            const auto value = [&] {
                return kValues[(firstKind + random.Below(kinds)) % std::size(kValues)];
            };
            for (PeakDatum& datum : datums)
                datum = PeakDatum(value(), value());
            const std::int64_t start = plain.End() + (random.Below(3) == 0 ? random.Below(500) : 0);
            const std::int64_t size = 1 + random.Below(random.Below(2) == 0 ? 3 : 300);
            plain.Append(start, size, datums);
            data->Append(start, size, PeakDatumVector(datums.begin(), datums.end()));
        }
        for (int run = 0; run < 6; ++run) {
            const auto duration = static_cast<double>(plain.Duration());
            const bool loop = random.Below(2) == 0;
            const double fraction = random() * 0x1p-32;
            const double start = static_cast<double>(plain.start) + (fraction * 1.5 - 0.2) * duration;
            const double whole =
                std::ceil(static_cast<double>(plain.blocks[0].size) * (1 + random.Below(40)));
            const double step =
                random.Below(2) == 0 ? whole : (random() * 0x1p-32 + 1e-4) * (loop ? 3.0 : 0.3) * duration;
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", from " << start << " by " << step
                                            << (loop ? " in a loop" : ""));
            ASSERT_EQ(ResamplingDifference(data, plain, random.Below(2) == 0 ? std::floor(start) : start,
                                           step, 1 + random.Below(100), loop),
                      "");
        }
    }
}

TEST(ResamplePeakData, ArgumentsWithoutMeaningGiveSilence) {
    const auto data = Timeline(0, 100, 10);
    const auto endsBeforeStart = std::make_shared<PeakData>(*Timeline(0, 100, 3));
    endsBeforeStart->Append(-5000, 100, {PeakDatum(-1, 1)});
    const auto withoutLength = Timeline(0, 0, 3);
    const auto withoutDatums = std::make_shared<PeakData>();
    withoutDatums->Append(10, 10, {});
    // clang-format off
    const struct { const char* name; std::shared_ptr<PeakData> data; double start, step; bool loop; } kCases[] = {
        {"null", nullptr, 0, 1, false}, {"null in a loop", nullptr, 0, 1, true},
        {"empty", std::make_shared<PeakData>(), 0, 1, false},
        {"empty in a loop", std::make_shared<PeakData>(), 0, 1, true},
        {"step 0", data, 0, 0, false}, {"step -0", data, 0, -0.0, true}, {"step below 0", data, 0, -1, false},
        {"step NaN", data, 0, kNaN, false}, {"step NaN in a loop", data, 0, kNaN, true},
        {"step infinite", data, 0, kInfinity, false},
        {"start NaN", data, kNaN, 1, false}, {"start NaN in a loop", data, kNaN, 1, true},
        {"start infinite", data, kInfinity, 1, false}, {"start infinite in a loop", data, kInfinity, 1, true},
        {"start infinitely far before", data, -kInfinity, 1, false},
        {"start infinitely far before in a loop", data, -kInfinity, 1, true},
        {"start past 64 bits", data, 1e300, 1, false}, {"start at 2^63", data, 0x1p63, 1, false},
        {"start before 64 bits, tiny step", data, -1e300, DBL_MIN, false},
        {"no length in a loop", withoutLength, 0, 1, true},
        {"end before start in a loop", endsBeforeStart, 0, 1, true},
        {"segments without datums", withoutDatums, 0, 1, false},
        {"segments without datums from before", withoutDatums, -0.5, 1, false},
        {"segments without datums in a loop", withoutDatums, 0, 1, true},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        std::vector<float> points(8, 7.0f);
        ResamplePeakData(row.data, row.start, row.step, 4, points.data(), row.loop);
        EXPECT_EQ(points, std::vector<float>(8, 0.0f));
    }
    ResamplePeakData(data, 0, 1, 0, nullptr, false);
}

TEST(ResamplePeakData, SegmentsWithoutDatumsArePassedOver) {
    const auto data = std::make_shared<PeakData>();
    data->Append(0, 10, {});
    data->Append(0, 20, {PeakDatum(-1, 1), PeakDatum(-2, 2)});
    data->Append(40, 10, {});
    data->Append(40, 30, {PeakDatum(-3, 3)});
    data->Append(70, 5, {});
    ExpectMaxima(data, {{"straight", 0, 20, false, {1, 2, 3, 3, 0}},
                        {"from before", -5, 20, false, {1, 2, 3, 3, 0}},
                        {"coarse", 0, 60, false, {3, 3, 0}},
                        {"loop", 0, 35, true, {2, 3, 2, 3, 2}}});
}

// A literal walk of these laps would take from minutes to the age of the universe.
TEST(ResamplePeakData, AlwaysEnds) {
    const auto data = Timeline(0, 1, 10);
    ExpectMaxima(data, {{"a thousand million laps to a point", 0, 1e10 + 3, true, {10, 10, 10, 10}},
                        {"past 32 bits of laps the seam stays in place", 0, 5e9 + 1, true, {10, 10, 10}},
                        {"past 64 bits of laps", 0, 1e18, true, std::vector<float>(30, 10)},
                        {"far past", 0, 1e300, true, {10, 10, 10}},
                        {"overflow to infinity", 5, 1e308, true, {10, 10, 10}}});

    // Points that are shorter than a block show where the walk stands behind so many laps.
    std::vector<float> points = Maxima(data, 0, 0x1p33 + 2, 3, true);
    EXPECT_EQ(points, std::vector<float>({10, 10, 10}));
    const auto sparse = Timeline(0, std::int64_t{1} << 32, 4); // a lap is 2^34
    EXPECT_EQ(Maxima(sparse, 0, 0x1p32, 10, true), std::vector<float>({1, 2, 3, 4, 1, 2, 3, 4, 1, 2}));

    // clang-format off
    const struct { const char* name; std::int64_t start, blockSize; int count; } kCases[] = {
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
    for (const auto& row : kCases)
        for (const bool loop : {false, true})
            for (const double start : {-3.0, 0.0, 20.0, -0x1p63, 0x1.fffffffffffffp62})
                for (const double step : {0.5, 100.0, 1e9, 1e18, 1e300}) {
                    SCOPED_TRACE(testing::Message() << row.name << " from " << start << " by " << step);
                    auto odd = Timeline(row.start, row.blockSize, row.count);
                    odd->Append(0, 10, {PeakDatum(-2, 2), PeakDatum(-3, 3)});
                    odd->Append(400, 10, {PeakDatum(-2, 2), PeakDatum(-3, 3)});
                    for (const float maximum : Maxima(odd, start, step, 5, loop))
                        ASSERT_TRUE(maximum >= 0 && maximum <= 50);
                }
}
