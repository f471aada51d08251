#include <gtest/gtest.h>

#include <new>

#include "Describe.h"
#include "StreamLimits.h"
#include "support/Sweep.h"

using namespace kelaudiofile;
using namespace kelcore::filesupport;
using namespace testing_support;

namespace {

using Flags = kelcore::utility::Flags<unsigned>;

/// Numbers in the machine's own byte order, as streams hold them.
class Image {
public:
    template <typename T>
    Image& Put(T inValue) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&inValue);
        mBytes.insert(mBytes.end(), bytes, bytes + sizeof inValue);
        return *this;
    }
    Image& Count(std::uint32_t inCount) { return Put(inCount); }
    /// A segment, with fewer datums than it claims if so told.
    Image& Record(std::uint32_t inCount, std::int64_t inBlockSize,
                  std::initializer_list<float> inMaxima = {}) {
        Put(inCount).Put(inBlockSize);
        for (const float maximum : inMaxima)
            Put(-maximum).Put(maximum);
        return *this;
    }
    operator Bytes() const { return mBytes; }

private:
    Bytes mBytes;
};

const char kThree[] = "from 1000 | 1000 256: 1 2 3 | 2000 44: 4 | 3000 212: 5 6";

std::string TextOf(const Bytes& inImage, std::int64_t inStart = 0) {
    MemoryFileInput stream(inImage);
    const auto data = Timeline("from " + std::to_string(inStart) + " | 0 7: 9 | 7 8: 9");
    data->LoadFromStream(stream);
    return Describe(*data);
}

/// Datums and block sizes of the segments that a container holds, such as "2 of 10, 1 of 20, ".
std::string Shape(const PeakData& inData) {
    MemoryFileOutput written;
    inData.WriteToStream(written);
    MemoryFileInput read(written.bytes);
    std::uint32_t segments = 0;
    read.ReadBlock(&segments, sizeof segments);
    std::string shape;
    for (PeakDataSegment segment; segments > 0; --segments) {
        segment.LoadFromStream(read);
        shape += std::to_string(segment.size()) + " of " + std::to_string(segment.GetBlockSize()) + ", ";
    }
    return shape;
}

} // namespace

TEST(PeakStream, FilesHoldTheImage) {
    const TemporaryFolder folder;
    folder.File("peaks").Create(false);
    const Bytes image = Image().Count(1).Record(1, 256, {0.5f});
    {
        OPlatformByteStream stream(folder.File("peaks"), Flags(0));
        stream.CurPos(3);
        Timeline("from 0 | 0 256: 0.5")->WriteToStream(stream);
        EXPECT_EQ(stream.CurPos(), 3u + image.size());
    }
    EXPECT_EQ(ReadFilePart(folder.Path("peaks"), 3, 99), image);
    IPlatformByteStream stream(folder.File("peaks"), Flags(0));
    stream.CurPos(3);
    PeakData loaded;
    loaded.LoadFromStream(stream);
    EXPECT_EQ(stream.CurPos(), 3u + image.size());
    EXPECT_EQ(Describe(loaded), "from 0 | 0 256: 0.5");
    if (std::endian::native == std::endian::little) {
        EXPECT_EQ(image,
                  Bytes({1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xBF, 0, 0, 0, 0x3F}));
    }
    MemoryFileOutput blocks;
    Timeline(kThree)->WriteToStream(blocks);
    EXPECT_EQ(blocks.blocks, std::vector<unsigned>({4, 4, 8, 24, 4, 8, 8, 4, 8, 16}))
        << "arrays in one write";
}

TEST(PeakStream, LoadingReplacesSegmentsAndKeepsTheStartOffset) {
    MemoryFileOutput written;
    Timeline(kThree)->WriteToStream(written);
    EXPECT_EQ(TextOf(written.bytes, 1000), "from 1000 | 0 256: 1 2 3 | 768 44: 4 | 812 212: 5 6");
    EXPECT_EQ(TextOf(Image().Count(0), -3), "from -3");
    EXPECT_EQ(
        TextOf(Image().Count(4).Record(1, 10, {1}).Record(1, 10, {-2}).Record(0, 5).Record(1, -20, {3})),
        "from 0 | 0 10: 1 | 10 10: -2 | 0 5: | 20 -20: 3")
        << "nothing is consolidated, refused or put right";

    PeakDataSegment segment = Segment("1234 10: 7 8 9");
    MemoryFileInput stream(Image().Record(2, 77, {1, 2}));
    segment.LoadFromStream(stream);
    EXPECT_EQ(DescribeSegments(PeakDataSegmentVector(1, segment)), "1234 77: 1 2");
}

// Behind the segments in full stands the one whose reading failed, with what was read of it, and behind that
// default-constructed ones.
TEST(PeakStream, StateAfterAnException) {
    const Bytes whole = Image().Count(3).Record(2, 10, {1, 2}).Record(1, 20, {3}).Record(1, 30, {4});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        MemoryFileInput stream(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        const auto data = Timeline("from 50 | 50 10: 9");
        EXPECT_THROW(data->LoadFromStream(stream), file_exception);
        EXPECT_EQ(data->GetStartOffset(), 50);
        EXPECT_EQ(Shape(*data), length < 4    ? ""
                                : length < 16 ? "0 of 0, 0 of 0, 0 of 0, "
                                : length < 44 ? "2 of 10, 0 of 0, 0 of 0, "
                                : length < 64 ? "2 of 10, 1 of 20, 0 of 0, "
                                              : "2 of 10, 1 of 20, 1 of 30, ");
        EXPECT_TRUE(length < 32 || *(data->begin() + 1) == PeakDatum(-2, 2));
        EXPECT_TRUE(length < 52 || (data->begin() + 2).GetStartOffset() == 20);
    }
}

TEST(PeakStream, HostileCountsFailLikeAllocationsBeforeAsking) {
    const faults::Scope scope;
    constexpr std::uint32_t kDatums = (16 << 20) / 8, kSegments = (16 << 20) / sizeof(PeakDataSegment);
    constexpr std::uint64_t kSegmentsBytes = 4 + 12 * (kSegments + std::uint64_t{1}),
                            kDatumsBytes = 16 + 8 * (kDatums + std::uint64_t{1});
    const auto segments = [](std::uint32_t count) { return Image().Count(count); };
    const auto datums = [](std::uint32_t count) { return Image().Count(2).Record(count, 1); };
    // clang-format off
    const struct { const char* name; Bytes image; std::uint64_t claimedLength; bool outOfMemory; } kCases[] = {
        {"segments up to 16 MiB", segments(kSegments), 0, false},
        {"segments above", segments(kSegments + 1), 0, true},
        {"segments that the stream could hold", segments(kSegments + 1), kSegmentsBytes, false},
        {"one byte less than segments need", segments(kSegments + 1), kSegmentsBytes - 1, true},
        {"datums up to 16 MiB", datums(kDatums), 0, false},
        {"datums above", datums(kDatums + 1), 0, true},
        {"datums that the stream could hold", datums(kDatums + 1), kDatumsBytes, false},
        {"one byte less than datums need", datums(kDatums + 1), kDatumsBytes - 1, true},
        {"a length before the position", datums(kDatums + 1), 10, true},
        {"more datums than a record can hold, in a stream that could", datums(1u << 29), std::uint64_t{1} << 40, true},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        MemoryFileInput stream(row.image);
        stream.claimedLength = row.claimedLength;
        PeakData data;
        faults::Heap() = {};
        if (row.outOfMemory) {
            EXPECT_THROW(data.LoadFromStream(stream), std::bad_alloc);
            EXPECT_LT(faults::Heap().peakBytes, 4096);
            EXPECT_EQ(Shape(data), row.image.size() == 4 ? "" : "0 of 1, 0 of 0, ");
        } else {
            EXPECT_THROW(data.LoadFromStream(stream), file_exception);
        }
    }
}

TEST(PeakStream, WhatNoRecordCanHoldIsNotWritten) {
    EXPECT_NO_THROW(detail::RequireStorableDatums((1u << 29) - 1));
    EXPECT_THROW(detail::RequireStorableDatums(1u << 29), kelcore::config::kel_exception);
    EXPECT_NO_THROW(detail::RequireStorableSegments(0xFFFFFFFF));
    EXPECT_THROW(detail::RequireStorableSegments(std::uint64_t{1} << 32), kelcore::config::kel_exception);
}

// Whatever call of the system or of the heap fails: the exception comes out, and nothing leaks. A failed
// close alone, the last call, is nothing that reading or writing can still answer.
TEST(PeakStream, EveryFaultComesOut) {
    const TemporaryFolder folder;
    const File file = folder.File("peaks");
    file.Create(false);
    const auto data = Timeline(kThree);
    const auto run = [&](bool inWrites) {
        if (inWrites) {
            OPlatformByteStream stream(file, Flags(0));
            data->WriteToStream(stream);
        } else {
            IPlatformByteStream stream(file, Flags(0));
            PeakData().LoadFromStream(stream);
        }
    };
    for (const bool writes : {true, false}) {
        std::uint64_t thrown = 0;
        const std::uint64_t calls = faults::SweepCalls({}, [&] {
            try {
                run(writes);
            } catch (const file_exception&) {
                ++thrown;
            }
        });
        EXPECT_GE(calls, 3u);
        EXPECT_EQ(thrown, calls - 1);
        faults::SweepAllocations([&] {
            bool threw = false;
            try {
                run(writes);
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            EXPECT_EQ(threw, faults::Fired());
        });
    }
}
