#include <gtest/gtest.h>

#include <new>

#include "Describe.h"
#include "StreamLimits.h"
#include "support/Faults.h"

using namespace kelcore::filesupport;
using namespace testing_support;

namespace {

const char kThree[] = "from 1000 | 1000 256: 1 2 3 | 2000 44: 4 | 3000 212: 5 6";

Bytes StreamOf(const std::string& inTimeline) {
    MemoryFileOutput stream;
    Timeline(inTimeline)->WriteToStream(stream);
    return stream.bytes;
}

} // namespace

// Nothing is consolidated, rejected or corrected.
TEST(PeakStream, HoldsTheSegmentsAsTheyStand) {
    const std::string odd = " | 0 10: 1 | 10 10: -2 | 20 5: | 20 0: 3";
    Bytes image = StreamOf("from 0" + odd);
    image.push_back(0xFF);
    MemoryFileInput stream(image);
    const auto loaded = Timeline(kThree); // its segments are replaced
    loaded->LoadFromStream(stream);
    EXPECT_EQ(Describe(*loaded), "from 1000" + odd);
    EXPECT_EQ(stream.CurPos(), image.size() - 1);
    PeakDataSegment segment = Segment("1234 10: 7 8 9");
    stream.CurPos(4);
    segment.LoadFromStream(stream);
    EXPECT_EQ(Describe(segment), "1234 10: 1") << "the start offset stays";
}

// The complete segments are followed by the one whose reading failed, with what was read of it, and then by
// default-constructed ones.
TEST(PeakStream, StateAfterAnException) {
    const Bytes whole = StreamOf("from 0 | 0 10: 1 2 | 20 20: 3 | 40 30: 4");
    // clang-format off
    const struct { std::size_t length; const char* segments; } kRows[] = { // up to the next row's length
        {0, "from 50"}, {4, "from 50 | 0 0: | 0 0: | 0 0:"}, {16, "from 50 | 0 10: 0 0 | 0 0: | 0 0:"},
        {32, "from 50 | 0 10: 1 2 | 0 0: | 0 0:"}, {44, "from 50 | 0 10: 1 2 | 0 20: 0 | 0 0:"},
        {52, "from 50 | 0 10: 1 2 | 20 20: 3 | 0 0:"}, {64, "from 50 | 0 10: 1 2 | 20 20: 3 | 0 30: 0"}, {72, nullptr}};
    // clang-format on
    for (const auto* row = kRows; row->segments != nullptr; ++row)
        for (std::size_t length = row->length; length < row[1].length; ++length) {
            MemoryFileInput stream(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
            const auto data = Timeline("from 50 | 50 10: 9");
            EXPECT_THROW(data->LoadFromStream(stream), file_exception);
            EXPECT_EQ(Describe(*data), row->segments) << "of " << length << " bytes";
        }
}

TEST(PeakStream, HostileCountsFailLikeAllocationsBeforeAsking) {
    const faults::Scope scope;
    constexpr std::uint32_t kDatums = (16 << 20) / 8, kSegments = (16 << 20) / sizeof(PeakDataSegment);
    constexpr std::uint64_t kSegmentsBytes = 4 + 12 * (kSegments + std::uint64_t{1}),
                            kDatumsBytes = 16 + 8 * (kDatums + std::uint64_t{1});
    // clang-format off
    const struct { const char* name; std::uint32_t segments, datums; std::uint64_t length; bool outOfMemory; } kRows[] = {
        {"segments up to 16 MiB", kSegments, 0, 0, false},
        {"segments above", kSegments + 1, 0, 0, true},
        {"segments that the stream could hold", kSegments + 1, 0, kSegmentsBytes, false},
        {"one byte less than segments need", kSegments + 1, 0, kSegmentsBytes - 1, true},
        {"datums up to 16 MiB", 2, kDatums, 0, false},
        {"datums that the stream could hold", 2, kDatums + 1, kDatumsBytes, false},
        {"one byte less than datums need", 2, kDatums + 1, kDatumsBytes - 1, true},
        {"a length before the position", 2, kDatums + 1, 10, true},
        {"more datums than a record can hold", 2, 1u << 29, std::uint64_t{1} << 40, true},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        Bytes bytes = StreamOf("from 0 | 0 1:");
        std::memcpy(bytes.data(), &row.segments, 4);
        std::memcpy(bytes.data() + 4, &row.datums, 4);
        MemoryFileInput stream(bytes);
        stream.claimedLength = row.length;
        PeakData data;
        faults::Heap() = {};
        if (row.outOfMemory) {
            EXPECT_THROW(data.LoadFromStream(stream), std::bad_alloc);
            EXPECT_LT(faults::Heap().peakBytes, 4096);
        } else {
            EXPECT_THROW(data.LoadFromStream(stream), file_exception);
        }
    }
}

TEST(PeakStream, WhatNoRecordCanHoldIsNotWritten) {
    using namespace kelaudiofile::detail;
    EXPECT_NO_THROW(RequireStorableDatums((1u << 29) - 1));
    EXPECT_THROW(RequireStorableDatums(1u << 29), kelcore::config::kel_exception);
    EXPECT_NO_THROW(RequireStorableSegments(0xFFFFFFFF));
    EXPECT_THROW(RequireStorableSegments(std::uint64_t{1} << 32), kelcore::config::kel_exception);
}
