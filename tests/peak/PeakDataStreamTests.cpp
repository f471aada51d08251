#include <gtest/gtest.h>

#include <functional>
#include <new>

#include "Describe.h"
#include "StreamLimits.h"
#include "support/Faults.h"

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
    Image& Record(std::uint32_t inCount, std::int64_t inBlockSize) { return Put(inCount).Put(inBlockSize); }
    Image& Datum(float inMin, float inMax) { return Put(inMin).Put(inMax); }
    operator Bytes() const { return mBytes; }

private:
    Bytes mBytes;
};

PeakData ThreeSegments() {
    PeakData data(1000);
    data.Append(1000, 256, Datums({1, 2, 3}));
    data.Append(2000, 44, Datums({4}));
    data.Append(3000, 212, Datums({5, 6}));
    return data;
}

constexpr const char* kThreeSegments = " | 0 256: 1 2 3 | 768 44: 4 | 812 212: 5 6";

} // namespace

TEST(PeakStream, FilesHoldTheImage) {
    const TemporaryFolder folder;
    folder.File("peaks").Create(false);
    PeakData data;
    data.Append(0, 256, {PeakDatum(-0.5f, 0.5f)});
    const Bytes image = Image().Count(1).Record(1, 256).Datum(-0.5f, 0.5f);
    {
        OPlatformByteStream stream(folder.File("peaks"), Flags(0));
        stream.CurPos(3);
        data.WriteToStream(stream);
        EXPECT_EQ(stream.CurPos(), 3u + image.size());
        data.WriteToStream(stream);
    }
    EXPECT_EQ(ReadFilePart(folder.Path("peaks"), 3, image.size()), image);
    IPlatformByteStream stream(folder.File("peaks"), Flags(0));
    stream.CurPos(3 + image.size());
    PeakData loaded;
    loaded.Append(0, 7, Datums({1, 2}));
    loaded.LoadFromStream(stream);
    EXPECT_EQ(stream.CurPos(), 3u + 2 * image.size());
    EXPECT_EQ(Describe(loaded), "from 0 | 0 256: 0.5");
    if (std::endian::native == std::endian::little) {
        EXPECT_EQ(image,
                  Bytes({1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xBF, 0, 0, 0, 0x3F}));
    }
}

TEST(PeakStream, BlocksAreWrittenWhole) {
    MemoryFileOutput stream;
    ThreeSegments().WriteToStream(stream);
    EXPECT_EQ(stream.blocks, std::vector<unsigned>({4, 4, 8, 24, 4, 8, 8, 4, 8, 16}));
    MemoryFileOutput empty;
    PeakData(9).WriteToStream(empty);
    EXPECT_EQ(empty.bytes, Bytes(Image().Count(0)));
    MemoryFileOutput hollow;
    PeakDataSegment(5, 77, {}).WriteToStream(hollow);
    EXPECT_EQ(hollow.bytes, Bytes(Image().Record(0, 77)));
}

TEST(PeakStream, LoadingReplacesSegmentsAndKeepsTheStartOffset) {
    MemoryFileOutput written;
    ThreeSegments().WriteToStream(written);
    for (const std::int64_t start : {0, 1000}) {
        PeakData data(start);
        data.Append(start, 10, Datums({7, 8, 9, 10}));
        data.Append(5000, 11, Datums({11}));
        MemoryFileInput stream(written.bytes);
        data.LoadFromStream(stream);
        EXPECT_EQ(Describe(data), "from " + std::to_string(start) + kThreeSegments);
        MemoryFileInput nothing(Image().Count(0));
        data.LoadFromStream(nothing);
        EXPECT_EQ(Describe(data), Describe(PeakData(start)));
    }
    // Nothing is consolidated, refused or put right.
    MemoryFileInput odd(Image()
                            .Count(4)
                            .Record(1, 10)
                            .Datum(-1, 1)
                            .Record(1, 10)
                            .Datum(2, -2)
                            .Record(0, 5)
                            .Record(1, -20)
                            .Datum(-3, 3));
    PeakData data;
    data.LoadFromStream(odd);
    EXPECT_EQ(Describe(data), "from 0 | 0 10: 1 | 10 10: -2 | 0 5: | 20 -20: 3");
    EXPECT_EQ(data.GetEndOffset(), 0);
}

TEST(PeakStream, SegmentsKeepTheirStartOffset) {
    PeakDataSegment segment(1234, 10, Datums({7, 8, 9}));
    MemoryFileInput stream(Image().Record(2, 77).Datum(-1, 1).Datum(-2, 2).Record(0, 5));
    segment.LoadFromStream(stream);
    EXPECT_EQ(DescribeSegments(PeakDataSegmentVector(1, segment)), "1234 77: 1 2");
    segment.LoadFromStream(stream);
    EXPECT_EQ(DescribeSegments(PeakDataSegmentVector(1, segment)), "1234 5:");
}

TEST(PeakStream, StateAfterAnException) {
    const Bytes whole = Image()
                            .Count(3)
                            .Record(2, 10)
                            .Datum(-1, 1)
                            .Datum(-2, 2)
                            .Record(1, 20)
                            .Datum(-3, 3)
                            .Record(1, 30)
                            .Datum(-4, 4);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        SCOPED_TRACE(length);
        MemoryFileInput stream(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        PeakData data(50);
        data.Append(50, 10, Datums({9}));
        EXPECT_THROW(data.LoadFromStream(stream), file_exception);
        EXPECT_EQ(data.GetStartOffset(), 50);
        if (length < 4) {
            EXPECT_TRUE(data.empty());
            continue;
        }
        // Behind the segments in full stands the one whose reading failed, with what was read of it, and
        // behind that default-constructed ones.
        PeakDataSegmentVector expected(3);
        MemoryFileInput again(Bytes(whole.begin() + 4, whole.end()));
        std::size_t end = 4;
        std::int64_t offset = 0;
        for (PeakDataSegment& segment : expected) {
            const std::size_t begin = end;
            PeakDataSegment record;
            record.LoadFromStream(again);
            end += 12 + 8 * static_cast<std::size_t>(record.size());
            if (length >= end) {
                segment = record;
                segment.SetStartOffset(offset);
                offset = segment.GetEndOffset();
                continue;
            }
            if (length >= begin + 12)
                segment = PeakDataSegment(0, record.GetBlockSize(), PeakDatumVector(record.size()));
            break;
        }
        MemoryFileOutput written;
        data.WriteToStream(written);
        MemoryFileInput read(written.bytes);
        EXPECT_EQ(written.bytes[0] + written.bytes[3], 3);
        read.CurPos(4);
        PeakDataSegmentVector got(3);
        for (std::size_t i = 0; i < 3; ++i) {
            got[i].LoadFromStream(read);
            got[i].SetStartOffset(expected[i].GetStartOffset());
        }
        EXPECT_EQ(DescribeSegments(got), DescribeSegments(expected));
    }
}

TEST(PeakStream, HostileCountsFailLikeAllocationsBeforeAsking) {
    const faults::Scope scope;
    constexpr std::uint32_t kTrustedDatums = (16 << 20) / 8;
    constexpr std::uint32_t kTrustedSegments = (16 << 20) / sizeof(PeakDataSegment);
    const struct {
        const char* name;
        Bytes image;
        std::uint64_t claimedLength;
        bool outOfMemory; // else the stream ends too early
        std::size_t segments;
    } kCases[] = {
        {"segments up to 16 MiB", Image().Count(kTrustedSegments), 0, false, kTrustedSegments},
        {"segments above", Image().Count(kTrustedSegments + 1), 0, true, 0},
        {"segments that the stream could hold", Image().Count(kTrustedSegments + 1),
         4 + 12 * (kTrustedSegments + std::uint64_t{1}), false, kTrustedSegments + 1},
        {"one byte less than segments need", Image().Count(kTrustedSegments + 1),
         3 + 12 * (kTrustedSegments + std::uint64_t{1}), true, 0},
        {"all the segments that a count can name", Image().Count(0xFFFFFFFF), 0, true, 0},
        {"datums up to 16 MiB", Image().Count(2).Record(kTrustedDatums, 1), 0, false, 2},
        {"datums above", Image().Count(2).Record(kTrustedDatums + 1, 1), 0, true, 2},
        {"datums that the stream could hold", Image().Count(2).Record(kTrustedDatums + 1, 1),
         16 + 8 * (kTrustedDatums + std::uint64_t{1}), false, 2},
        {"one byte less than datums need", Image().Count(2).Record(kTrustedDatums + 1, 1),
         15 + 8 * (kTrustedDatums + std::uint64_t{1}), true, 2},
        {"a length before the position", Image().Count(2).Record(kTrustedDatums + 1, 1), 10, true, 2},
        {"all the datums that a count can name", Image().Count(1).Record(0xFFFFFFFF, 1), 0, true, 1},
        {"more datums than a record can hold, in a stream that could", Image().Count(1).Record(1u << 29, 1),
         std::uint64_t{1} << 40, true, 1},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        MemoryFileInput stream(row.image);
        stream.claimedLength = row.claimedLength;
        PeakData data;
        faults::Heap() = {};
        if (row.outOfMemory) {
            EXPECT_THROW(data.LoadFromStream(stream), std::bad_alloc);
            EXPECT_LT(faults::Heap().peakBytes, 4096);
        } else {
            EXPECT_THROW(data.LoadFromStream(stream), file_exception);
        }
        MemoryFileOutput count;
        data.WriteToStream(count);
        std::uint32_t segments = 0;
        std::memcpy(&segments, count.bytes.data(), sizeof segments);
        EXPECT_EQ(segments, row.segments);
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
    const PeakData data = ThreeSegments();
    const std::function<void()> kJobs[] = {[&] {
                                               OPlatformByteStream stream(file, Flags(0));
                                               data.WriteToStream(stream);
                                           },
                                           [&] {
                                               IPlatformByteStream stream(file, Flags(0));
                                               PeakData().LoadFromStream(stream);
                                           }};
    for (const auto& job : kJobs) {
        const faults::Scope scope;
        job();
        const std::uint64_t calls = faults::SystemCalls().calls, allocations = faults::Heap().allocations;
        ASSERT_GE(calls, 3u);
        for (std::uint64_t number = 0; number < calls; ++number) {
            faults::Scope::Reset();
            faults::SystemCalls().failAt = number;
            bool threw = false;
            try {
                job();
            } catch (const file_exception&) {
                threw = true;
            }
            EXPECT_EQ(threw, number + 1 != calls) << "system call " << number;
            EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
            EXPECT_EQ(faults::Heap().liveBytes, 0);
        }
        for (std::uint64_t number = 0; number < allocations; ++number) {
            faults::Scope::Reset();
            faults::Heap().failAt = number;
            EXPECT_THROW(job(), std::bad_alloc) << "allocation " << number;
            EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
            EXPECT_EQ(faults::Heap().liveBytes, 0);
        }
    }
}

TEST(PeakEditing, FailedAllocationsComeOutAndLeakNothing) {
    for (std::uint64_t number = 0, fired = 1; fired != 0; ++number) {
        const faults::Scope scope;
        {
            const auto source = std::make_shared<PeakData>(150);
            auto data = std::make_shared<PeakData>();
            source->Append(150, 100, Datums({8, 9}));
            data->Append(0, 100, Datums({1, 2, 3, 4}));
            data->Append(400, 50, Datums({5}));
            faults::Heap().allocations = 0;
            faults::Heap().failAt = number;
            bool threw = false;
            try {
                data->Split(430);
                data->Insert(source);
                data->Overwrite(source);
                data->Insert(data);
                data->RippleDelete(data->begin(), data->Find(150), PeakData::RippleRight);
                data = data->GetRange(data->begin() + 1, data->end());
                PeakData copy(*data);
                copy.Append(0, 1, Datums({}));
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            fired = faults::Heap().fired;
            EXPECT_EQ(threw, fired != 0) << "allocation " << number;
            faults::Heap().failAt = faults::kNever;
            data->SetStartOffset(0); // still an object that can be used
            EXPECT_EQ(data->GetRange(data->begin(), data->begin())->size(), 0u);
        }
        EXPECT_EQ(faults::Heap().liveBytes, 0);
        ASSERT_LT(number, 500u);
    }
}
