#include <gtest/gtest.h>

#include "Describe.h"
#include "models/PeakEditor.h"
#include "support/Random.h"
#include "support/Sweep.h"

using namespace testing_support;

namespace {

/// Does what a text says: the name of an edit, and numbers (ranges in datums) or a source. "null" and
/// "itself" are sources, too. @return the edited container.
std::shared_ptr<PeakData> Edit(std::shared_ptr<PeakData> ioData, const std::string& inText) {
    std::istringstream text(inText);
    std::string edit, rest;
    text >> edit;
    if (edit == "insert" || edit == "overwrite") {
        std::getline(text >> std::ws, rest);
        const auto source = rest == "null" ? nullptr : rest == "itself" ? ioData : Timeline(rest);
        edit == "insert" ? ioData->Insert(source) : ioData->Overwrite(source);
        return ioData;
    }
    std::int64_t first = 0, last = 0;
    text >> first >> last;
    const auto from = ioData->begin() + first, to = ioData->begin() + last;
    if (edit == "split")
        ioData->Split(first);
    else if (edit == "start")
        ioData->SetStartOffset(first);
    else if (edit == "append")
        ioData->Append(first, last, {{-7, 7}});
    else if (edit == "zero")
        ioData->Zero(from, to);
    else if (edit == "range")
        return ioData->GetRange(from, to);
    else // any direction but right is left
        ioData->RippleDelete(from, to,
                             edit == "right" ? PeakData::RippleRight : PeakData::RippleDirection(2));
    return ioData;
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

// An example of each edit, and what the list of datums does not know: gaps, segments, and what makes no
// sense.
TEST(PeakDataEditing, WorkedExamples) {
    // clang-format off
    const struct { const char *name, *before, *edit, *after; } kRows[] = {
        {"append trusts its caller", kAbcd, "append 50 10", "from 0 | 0 100: 1 2 3 4 | 50 10: 7"},
        {"append joins all that touches", kCut, "append 500 10", "from 0 | 0 100: 1 2 3 4 5 | 500 10: 7"},
        {"the end wraps", kAbcd, "start 9223372036854775657",
         "from 9223372036854775657 | 9223372036854775657 100: 1 2 3 4"},
        {"split inside a block", kAbcd, "split 150", "from 0 | 0 100: 1 | 100 50: 2 | 150 50: 2 | 200 100: 3 4"},
        {"split before the start", "from 50 | 0 100: 1 2", "split 49", "from 50 | 0 100: 1 2"},
        {"insert inside a block", "from 0 | 0 256: 1 2 3 4", "insert from 300 | 300 100: 8 9",
         "from 0 | 0 256: 1 | 256 44: 2 | 300 100: 8 9 | 500 212: 2 | 712 256: 3 4"},
        {"insert in a gap", kGap, "insert from 300 | 300 10: 8", "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"insert at the source's start, not its offsets", kAbcd, "insert from 100 | 7000 10: 8 | 9000 10: 9",
         "from 0 | 0 100: 1 | 100 10: 8 9 | 120 100: 2 3 4"},
        {"insert leaves 64 bits", "from 9223372036854775802 | 9223372036854775802 5: 1",
         "insert from 9223372036854775807 | 9223372036854775807 3: 2",
         "from 9223372036854775802 | 9223372036854775802 5: 1 | 9223372036854775807 3: 2"},
        {"insert null", kCut, "insert null", kCut},
        {"insert itself", kCut, "insert itself", "from 0 | 0 100: 1 2 3 4 5 1 2 3 4 5"},
        {"overwrite inside blocks", kAbcd, "overwrite from 150 | 150 100: 9",
         "from 0 | 0 100: 1 | 100 50: 2 | 150 100: 9 | 250 50: 3 | 300 100: 4"},
        {"overwrite by null joins alone", kCut, "overwrite null", kJoined},
        {"overwrite by no length", kAbcd, "overwrite from 200 | 200 0: 9",
         "from 0 | 0 100: 1 2 | 200 0: 9 | 200 100: 3 4"},
        {"overwrite from inside a gap", kGap, "overwrite from 300 | 300 250: 9",
         "from 0 | 0 100: 1 2 | 500 50: 3 3 | 600 100: 4"},
        {"overwrite up to inside a gap", kGap, "overwrite from 100 | 100 200: 9", "from 0 | 0 100: 1 | 100 200: 9"},
        {"overwrite keeps the source's offsets", kAbcd, "overwrite from 100 | 120 60: 9 | 190 10: 8",
         "from 0 | 0 100: 1 | 120 60: 9 | 190 10: 8 | 200 100: 3 4"},
        {"delete, right", kCut, "right 1 3", "from 200 | 200 100: 1 4 5"},
        {"delete, any other direction", kCut, "other 1 3", "from 0 | 0 100: 1 4 5"},
        {"delete from inside a segment", kCut, "right 2 3", kJoined},
        {"delete up to inside a segment", kCut, "right 1 2", kJoined},
        {"delete the wrong way round", kCut, "right 3 1", kJoined},
        {"delete closes gaps", "from 10 | 20 100: 1 | 500 50: 2 | 900 100: 3 4", "right 1 2",
         "from 410 | 410 100: 1 3 4"},
        {"delete, the start wraps", "from 9223372036854775802 | 9223372036854775802 10: 1", "right 0 1",
         "from -9223372036854775804"},
        {"zero the wrong way round", kCut, "zero 2 1", kCut},
        {"zero the wrong way round over segments", kCut, "zero 4 0", kCut},
        {"zero passes over segments without datums", kHollow, "zero 0 2", "from 0 | 0 100: 0 | 100 30: | 100 50: 0"},
        {"range of parts of segments", kCut, "range 2 4", "from 200 | 200 100: 3 | 300 100: 4"},
        {"range the wrong way round", kCut, "range 2 1", "from 200"},
        {"range the wrong way round over segments", kCut, "range 4 0", "from 400"},
        {"range from the end", kCut, "range 5 0", "from 500"},
        {"range with a segment without datums", kHollow, "range 0 2", kHollow},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Describe(*Edit(Timeline(row.before), row.edit)), row.after);
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
        data->SetStartOffset(0); // still an object that can be used
    });
    EXPECT_GT(swept, 10u);
}
