#include <gtest/gtest.h>

#include <utility>

#include "Describe.h"
#include "support/Sweep.h"

using namespace kelaudiofile;
using namespace testing_support;

namespace {

/// Does what a text says: the name of an edit, and numbers (ranges in datums) or a source. "null" and
/// "itself" are sources, too. @return the edited container.
std::shared_ptr<PeakData> Edit(std::shared_ptr<PeakData> ioData, const std::string& inText) {
    std::istringstream text(inText);
    std::string edit, rest;
    text >> edit;
    std::int64_t first = 0, last = 0;
    if (edit == "insert" || edit == "overwrite") {
        std::getline(text >> std::ws, rest);
        const auto source = rest == "null" ? nullptr : rest == "itself" ? ioData : Timeline(rest);
        const std::string before = source ? Describe(*source) : "";
        edit == "insert" ? ioData->Insert(source) : ioData->Overwrite(source);
        EXPECT_TRUE(source == nullptr || source == ioData || Describe(*source) == before);
        return ioData;
    }
    text >> first >> last;
    if (edit == "split")
        ioData->Split(first);
    else if (edit == "start")
        ioData->SetStartOffset(first);
    else if (edit == "zero")
        ioData->Zero(ioData->begin() + first, ioData->begin() + last);
    else if (edit == "range")
        return std::as_const(*ioData).GetRange(ioData->begin() + first, ioData->begin() + last);
    else // any direction but right is left
        ioData->RippleDelete(ioData->begin() + first, ioData->begin() + last,
                             edit == "right"  ? PeakData::RippleRight
                             : edit == "left" ? PeakData::RippleLeft
                                              : static_cast<PeakData::RippleDirection>(2));
    return ioData;
}

const char kAbcd[] = "from 0 | 0 100: 1 2 3 4", kGap[] = "from 0 | 0 100: 1 2 | 500 100: 3 4",
           kCut[] = "from 0 | 0 100: 1 | 100 100: 2 3 | 300 100: 4 5",
           kJoined[] = "from 0 | 0 100: 1 2 3 4 5",
           kMixed[] = "from 10 | 10 100: 1 2 | 210 50: 3 | 500 10: 4 5 6",
           kMergeable[] = "from 0 | 0 100: 1 | 100 100: 2 | 500 100: 3 4";

} // namespace

// What the plain model of the random edits does not know, and an example of each edit.
TEST(PeakDataEditing, WorkedExamples) {
    // clang-format off
    const struct { const char *name, *before, *edit, *after; } kCases[] = {
        {"split inside a block", kAbcd, "split 150", "from 0 | 0 100: 1 | 100 50: 2 | 150 50: 2 | 200 100: 3 4"},
        {"split at the end", kAbcd, "split 400", kAbcd},
        {"split where nothing is", "from 0", "split 0", "from 0"},
        {"split before the start", "from 50 | 0 100: 1 2", "split 49", "from 50 | 0 100: 1 2"},
        {"split backwards over the end of 64 bits", "from -2 | -2 -9223372036854775807: 1 2 3", "split 5",
         "from -2 | -2 -9223372036854775807: 1 2 3"},
        {"insert inside a block", "from 0 | 0 256: 1 2 3 4", "insert from 300 | 300 100: 8 9",
         "from 0 | 0 256: 1 | 256 44: 2 | 300 100: 8 9 | 500 212: 2 | 712 256: 3 4"},
        {"insert elsewhere goes to the end", kAbcd, "insert from -5 | -5 10: 8", "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"insert in a gap", kGap, "insert from 300 | 300 10: 8", "from 0 | 0 100: 1 2 3 4 | 400 10: 8"},
        {"insert at the source's start, not its offsets", kAbcd, "insert from 100 | 7000 10: 8 | 9000 10: 9",
         "from 0 | 0 100: 1 | 100 10: 8 9 | 120 100: 2 3 4"},
        {"insert of nothing cuts a block", kAbcd, "insert from 110",
         "from 0 | 0 100: 1 | 100 10: 2 | 110 90: 2 | 200 100: 3 4"},
        {"insert of nothing joins halves", kAbcd, "insert from 150", "from 0 | 0 100: 1 | 100 50: 2 2 | 200 100: 3 4"},
        {"insert into nothing", "from 70", "insert from 0 | 0 10: 8", "from 70 | 70 10: 8"},
        {"insert leaves 64 bits", "from 9223372036854775802 | 9223372036854775802 5: 1",
         "insert from 9223372036854775807 | 9223372036854775807 3: 2",
         "from 9223372036854775802 | 9223372036854775802 5: 1 | 9223372036854775807 3: 2"},
        {"insert null", kMergeable, "insert null", kMergeable},
        {"insert itself in front", "from 0 | 0 100: 1 2 | 200 100: 3", "insert itself", "from 0 | 0 100: 1 2 3 1 2 3"},
        {"insert chains and joins", kMergeable, "insert from 0", "from 0 | 0 100: 1 2 3 4"},
        {"overwrite inside blocks", kAbcd, "overwrite from 150 | 150 100: 9",
         "from 0 | 0 100: 1 | 100 50: 2 | 150 100: 9 | 250 50: 3 | 300 100: 4"},
        {"overwrite on borders", kAbcd, "overwrite from 100 | 100 100: 8 9", "from 0 | 0 100: 1 8 9 4"},
        {"overwrite up to the end", kAbcd, "overwrite from 350 | 350 25: 8 9",
         "from 0 | 0 100: 1 2 3 | 300 50: 4 | 350 25: 8 9"},
        {"overwrite past the end joins alone", kCut, "overwrite from 401 | 401 100: 9", kJoined},
        {"overwrite by null joins alone", kMergeable, "overwrite null", kGap},
        {"overwrite by no segments", kCut, "overwrite from 150", kJoined},
        {"overwrite by no datums", kCut, "overwrite from 150 | 150 10:", kJoined},
        {"overwrite nothing by no length", "from 0", "overwrite from 0 | 0 0: 9", "from 0"},
        {"overwrite by no length", kAbcd, "overwrite from 200 | 200 0: 9",
         "from 0 | 0 100: 1 2 | 200 0: 9 | 200 100: 3 4"},
        {"overwrite from inside a gap", kGap, "overwrite from 300 | 300 250: 9",
         "from 0 | 0 100: 1 2 | 500 50: 3 3 | 600 100: 4"},
        {"overwrite keeps the source's offsets", kAbcd, "overwrite from 100 | 120 60: 9 | 190 10: 8",
         "from 0 | 0 100: 1 | 120 60: 9 | 190 10: 8 | 200 100: 3 4"},
        {"overwrite by itself", kCut, "overwrite itself", kJoined},
        {"delete, left", kCut, "left 1 3", "from 0 | 0 100: 1 4 5"},
        {"delete, right", kCut, "right 1 3", "from 200 | 200 100: 1 4 5"},
        {"delete, any other direction", kCut, "other 1 3", "from 0 | 0 100: 1 4 5"},
        {"delete all, right", kCut, "right 0 5", "from 500"},
        {"delete from inside a segment", kCut, "right 2 3", kJoined},
        {"delete up to inside a segment", kCut, "right 1 2", kJoined},
        {"delete the wrong way round", kCut, "right 3 1", kJoined},
        {"delete from the end", kCut, "right 5 0", kJoined},
        {"delete closes gaps", "from 10 | 20 100: 1 | 500 50: 2 | 900 100: 3 4", "right 1 2",
         "from 410 | 410 100: 1 3 4"},
        {"delete nothing closes gaps", kMergeable, "left 1 1", "from 0 | 0 100: 1 2 3 4"},
        {"delete, the start wraps", "from 9223372036854775802 | 9223372036854775802 10: 1", "right 0 1",
         "from -9223372036854775804"},
        {"zero parts of three segments", kMixed, "zero 1 5", "from 10 | 10 100: 1 0 | 210 50: 0 | 500 10: 0 0 6"},
        {"zero the wrong way round", kMixed, "zero 5 3", kMixed},
        {"zero the wrong way round over segments", kMixed, "zero 4 0", kMixed},
        {"zero from the end", kMixed, "zero 6 0", kMixed},
        {"zero passes over segments without datums", "from 0 | 0 100: 1 | 100 30: | 100 50: 2", "zero 0 2",
         "from 0 | 0 100: 0 | 0 30: | 100 50: 0"},
        {"range of three segments", kMixed, "range 1 5", "from 110 | 110 100: 2 | 210 50: 3 | 260 10: 4 5"},
        {"range is not joined", kMergeable, "range 0 4", "from 0 | 0 100: 1 | 100 100: 2 | 200 100: 3 4"},
        {"range of nothing", kMixed, "range 4 4", "from 510"},
        {"range the wrong way round", kMixed, "range 5 3", "from 520"},
        {"range the wrong way round over segments", kMixed, "range 4 0", "from 510"},
        {"range from the end", kMixed, "range 6 0", "from 530"},
        {"range with a segment without datums", "from 0 | 0 100: 1 | 100 30: | 100 50: 2", "range 0 2",
         "from 0 | 0 100: 1 | 0 30: | 100 50: 2"},
        {"start closes gaps, joins nothing", kMergeable, "start -5", "from -5 | -5 100: 1 | 95 100: 2 | 195 100: 3 4"},
    };
    // clang-format on
    for (const auto& row : kCases) {
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
        const auto source = Timeline("from 150 | 150 100: 8 9");
        auto data = Timeline("from 0 | 0 100: 1 2 3 4 | 400 50: 5");
        bool threw = false;
        faults::Heap().failAt = faults::Heap().allocations + number;
        try {
            data->Split(430);
            data->Insert(source);
            data->Overwrite(source);
            data->Insert(data);
            data->RippleDelete(data->begin(), data->Find(150), PeakData::RippleRight);
            data = data->GetRange(data->begin() + 1, data->end());
            PeakData copy(*data);
            copy.Append(0, 1, {});
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        EXPECT_EQ(threw, faults::Fired());
        faults::Disarm();
        data->SetStartOffset(0); // still an object that can be used
        EXPECT_EQ(data->GetRange(data->begin(), data->begin())->size(), 0u);
    });
    EXPECT_GT(swept, 10u);
}

TEST(PeakDataEditing, RunsOfSegmentsAreJoinedAtOnce) {
    const faults::Scope scope;
    constexpr int kPieces = 2000;
    // Cut into its blocks and joined again, a run takes one allocation for its datums, however many pieces.
    PeakData run;
    run.Append(0, 10, PeakDatumVector(kPieces, PeakDatum(-1, 1)));
    for (int i = 1; i < kPieces; ++i)
        run.Split(i * 10);
    const std::uint64_t before = faults::Heap().allocations;
    run.RippleDelete(run.begin(), run.begin() + 1, PeakData::RippleLeft);
    EXPECT_LE(faults::Heap().allocations - before, 5u);
    MemoryFileOutput stream;
    run.WriteToStream(stream);
    EXPECT_EQ(stream.bytes.size(), 4u + 12 + 8 * (kPieces - 1));
}
