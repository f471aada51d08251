#include <gtest/gtest.h>

#include <functional>

#include "Describe.h"
#include "models/PeakEditor.h"
#include "support/Random.h"
#include "support/Sweep.h"

using namespace testing_support;

namespace {

using Edit = std::function<void(std::shared_ptr<PeakData>&)>;

// Ranges are in datums.
Edit Append(std::int64_t inStart, std::int64_t inBlockSize) {
    return [=](auto& data) { data->Append(inStart, inBlockSize, {{-7, 7}}); };
}
Edit Insert(const char* inSource) {
    return [=](auto& data) { data->Insert(Timeline(inSource)); };
}
Edit Overwrite(const char* inSource) {
    return [=](auto& data) { data->Overwrite(Timeline(inSource)); };
}
Edit Delete(std::int64_t inFirst, std::int64_t inLast, unsigned inDirection = PeakData::RippleRight) {
    return [=](auto& data) {
        data->RippleDelete(data->begin() + inFirst, data->begin() + inLast,
                           PeakData::RippleDirection(inDirection));
    };
}
Edit Zero(std::int64_t inFirst, std::int64_t inLast) {
    return [=](auto& data) { data->Zero(data->begin() + inFirst, data->begin() + inLast); };
}
Edit Range(std::int64_t inFirst, std::int64_t inLast) {
    return [=](auto& data) { data = data->GetRange(data->begin() + inFirst, data->begin() + inLast); };
}

const char kAbcd[] = "from 0 | 0 100: 1 2 3 4", kGap[] = "from 0 | 0 100: 1 2 | 500 100: 3 4",
           kCut[] = "from 0 | 0 100: 1 | 100 100: 2 3 | 300 100: 4 5",
           kJoined[] = "from 0 | 0 100: 1 2 3 4 5", kHollow[] = "from 0 | 0 100: 1 | 100 30: | 100 50: 2";

} // namespace

TEST(PeakDataEditing, RandomEditsAgreeWithAListOfDatums) {
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        Random random(seed);
        const auto choose = [&random](std::uint32_t inLimit) { return random.Below(inLimit); };
        PeakEditor editor(choose);
        for (int step = 0; step < 400; ++step)
            ASSERT_EQ(editor.Step(), "") << "seed " << seed << ", step " << step;
    }
}

// Cases that the list of datums cannot express: gaps, segments, offsets that wrap, and invalid arguments.
TEST(PeakDataEditing, WorkedExamples) {
    // clang-format off
    const struct { const char *name, *before; Edit edit; const char* after; } kRows[] = {
        {"append trusts its caller", kAbcd, Append(50, 10), "from 0 | 0 100: 1 2 3 4 | 50 10: 7"},
        {"the end wraps", kAbcd, [](auto& data) { data->SetStartOffset(9223372036854775657); },
         "from 9223372036854775657 | 9223372036854775657 100: 1 2 3 4"},
        {"split before the start", "from 50 | 0 100: 1 2", [](auto& data) { data->Split(49); }, "from 50 | 0 100: 1 2"},
        {"insert in a gap", kGap, Insert("from 300 | 300 10: 8"), "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"insert at the source's start, not its offsets", kAbcd, Insert("from 100 | 7000 10: 8 | 9000 10: 9"),
         "from 0 | 0 100: 1 | 100 10: 8 9 | 120 100: 2 3 4"},
        {"insert leaves 64 bits", "from 9223372036854775802 | 9223372036854775802 5: 1",
         Insert("from 9223372036854775807 | 9223372036854775807 3: 2"),
         "from 9223372036854775802 | 9223372036854775802 5: 1 | 9223372036854775807 3: 2"},
        {"insert null", kCut, [](auto& data) { data->Insert(nullptr); }, kCut},
        {"overwrite by null joins", kCut, [](auto& data) { data->Overwrite(nullptr); }, kJoined},
        {"overwrite by no length", kAbcd, Overwrite("from 200 | 200 0: 9"),
         "from 0 | 0 100: 1 2 | 200 0: 9 | 200 100: 3 4"},
        {"overwrite from inside a gap", kGap, Overwrite("from 300 | 300 250: 9"),
         "from 0 | 0 100: 1 2 | 500 50: 3 3 | 600 100: 4"},
        {"overwrite up to inside a gap", kGap, Overwrite("from 100 | 100 200: 9"), "from 0 | 0 100: 1 | 100 200: 9"},
        {"overwrite keeps the source's offsets", kAbcd, Overwrite("from 100 | 120 60: 9 | 190 10: 8"),
         "from 0 | 0 100: 1 | 120 60: 9 | 190 10: 8 | 200 100: 3 4"},
        {"delete in any direction but right", kCut, Delete(1, 3, 2), "from 0 | 0 100: 1 4 5"},
        {"delete from inside a segment", kCut, Delete(2, 3), kJoined},
        {"delete up to inside a segment", kCut, Delete(1, 2), kJoined},
        {"delete the wrong way round", kCut, Delete(3, 1), kJoined},
        {"delete closes gaps", "from 10 | 20 100: 1 | 500 50: 2 | 900 100: 3 4", Delete(1, 2), "from 410 | 410 100: 1 3 4"},
        {"delete, the start wraps", "from 9223372036854775802 | 9223372036854775802 10: 1", Delete(0, 1),
         "from -9223372036854775804"},
        {"zero the wrong way round", kCut, Zero(2, 1), kCut},
        {"zero the wrong way round over segments", kCut, Zero(4, 0), kCut},
        {"zero passes over segments without datums", kHollow, Zero(0, 2), "from 0 | 0 100: 0 | 100 30: | 100 50: 0"},
        {"range the wrong way round", kCut, Range(2, 1), "from 200"},
        {"range the wrong way round over segments", kCut, Range(4, 0), "from 400"},
        {"range from the end", kCut, Range(5, 0), "from 500"},
        {"range with a segment without datums", kHollow, Range(0, 2), kHollow},
    };
    // clang-format on
    for (const auto& row : kRows) {
        auto data = Timeline(row.before);
        row.edit(data);
        EXPECT_EQ(Describe(*data), row.after) << row.name;
    }
}

TEST(PeakDataEditing, IteratorsOfAnotherContainerRemoveNothing) {
    const auto data = Timeline(kAbcd), other = Timeline(kAbcd);
    data->RippleDelete(other->begin(), other->end(), PeakData::RippleRight);
    EXPECT_EQ(Describe(*data), kAbcd);
}

TEST(PeakDataEditing, FailedAllocationsComeOutAndLeakNothing) {
    std::uint64_t number = 0;
    const auto arm = [&](std::uint64_t inNumber) { number = inNumber; };
    const std::uint64_t swept = faults::Sweep(arm, [&] {
        const auto source = Timeline("from 150 | 150 100: 8 9"), data = Timeline(kJoined);
        bool threw = false;
        faults::Heap().failAt = faults::Heap().allocations + number;
        try {
            data->Split(430);
            data->Insert(source);
            data->Overwrite(source);
            data->Insert(data);
            data->RippleDelete(data->begin(), data->Find(150), PeakData::RippleRight);
            *data = *data->GetRange(data->begin() + 1, data->end());
            data->Append(0, 1, {});
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        EXPECT_EQ(threw, faults::Fired());
        faults::Disarm();
        data->SetStartOffset(0); // the object is still usable
    });
    EXPECT_GT(swept, 10u);
}
