// Limits on the cost of operations: steps, system calls, bytes read, memory. A step is one straight-line
// stretch of the library's code; the compiler makes each of them call the counter below.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>
#include <memory>

#include "aiff/AiffImage.h"
#include "kelaudiofile/AiffFile.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelaudiofile/PeakData.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "kelaudiofile/WaveFile.h"
#include "support/Faults.h"
#include "support/MemoryStream.h"
#include "wav/WaveTest.h"

namespace {

std::uint64_t gSteps = 0;

} // namespace

extern "C" void __sanitizer_cov_trace_pc() {
    ++gSteps;
}

namespace {

using namespace kelaudiofile;
using namespace testing_support;
using namespace wave_tests;

constexpr std::uint64_t kAny = std::numeric_limits<std::uint64_t>::max();

/// The cost of a task, or its limit.
struct Cost {
    std::uint64_t steps = kAny, calls = kAny, bytesRead = kAny, allocations = kAny, memory = kAny;
};

/// @param inTask  returns whether the result is correct.
Cost ExpectAtMost(const std::string& inName, const Cost& inMost, const std::function<bool()>& inTask) {
    SCOPED_TRACE(inName);
    const faults::Scope scope;
    gSteps = 0;
    EXPECT_TRUE(inTask());
    const faults::System& system = faults::SystemCalls();
    const faults::Memory& heap = faults::Heap();
    const auto memory = static_cast<std::uint64_t>(std::max<std::int64_t>(heap.peakBytes, 0));
    const Cost cost{gSteps, system.calls, system.bytesRead, heap.allocations, memory};
    EXPECT_LE(cost.steps, inMost.steps);
    EXPECT_LE(cost.calls, inMost.calls);
    EXPECT_LE(cost.bytesRead, inMost.bytesRead);
    EXPECT_LE(cost.allocations, inMost.allocations);
    EXPECT_LE(cost.memory, inMost.memory);
    return cost;
}

/// Ten times the size may take ten times the steps, plus half of that where lists are sorted.
void ExpectLinear(const std::string& inName, const std::function<bool(int)>& inTask) {
    const std::uint64_t few = ExpectAtMost(inName, {}, [&] { return inTask(400); }).steps;
    EXPECT_GT(few, 400u) << "is it the right task?";
    ExpectAtMost(inName, {.steps = 15 * few}, [&] { return inTask(4000); });
}

Bytes Repeated(int inCount, const Bytes& inBytes) {
    Image image;
    while (inCount-- > 0)
        image.Add(inBytes);
    return image;
}

class Bounds : public WaveTest {
protected:
    std::unique_ptr<AiffFile> OpenAiff() {
        AiffFile::ExtendedErrorInfo error;
        return AiffFile::OpenForRead(mPathText, false, error);
    }
};

/// Checks that a file has that many metadata chunks. Each is looked up and read.
template <typename File>
bool HasMetadata(const std::unique_ptr<File>& inFile, std::int32_t inCount) {
    std::int32_t index = 0;
    std::uint32_t id;
    std::int64_t size;
    double position;
    unsigned char chunk[64];
    while (inFile && inFile->GetMetadataInfo(index, id, size, position) &&
           inFile->ReadMetadataChunk(index, 0, size, chunk))
        ++index;
    return index == inCount;
}

/// Checks that samples can be read in consecutive pieces of a size.
template <typename File>
bool ReadsInPieces(const std::unique_ptr<File>& inFile, std::int64_t inSize, std::int64_t inPiece) {
    unsigned char piece[4096];
    std::int64_t offset = 0;
    while (inFile->ReadSampleBytes(offset, inPiece, piece))
        offset += inPiece;
    return offset == inSize;
}

} // namespace

TEST_F(Bounds, StepsGoWithTheChunks) {
    const auto wave = [this](int inCount) { // alternating data and metadata, with a table row for each
        Image chunks = Image().Chunk("fmt ", FormatImage());
        Ds64Image ds64{.dataSize = 4};
        for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(inCount); ++i) {
            ds64.rows.push_back({FourCC("LIST") + i, 2});
            chunks.U32(FourCC("LIST") + i).U32(0).U16(0x7777).Chunk("data", {1, 2, 3, 4});
        }
        return Open(Riff("RF64").Chunk("ds64", ds64).Add(chunks));
    };
    ExpectLinear("wave: open, metadata", [&](int n) { return HasMetadata(wave(n), n); });
    ExpectLinear("samples byte by byte", [&](int n) { return ReadsInPieces(wave(n), 4 * n, 1); });
    ExpectLinear("AIFF: open, metadata", [this](int n) {
        Put(aiff_tests::Aiff({.frames = 0}, Repeated(n, BigImage().Chunk("ANNO", {1, 2}))));
        return HasMetadata(OpenAiff(), n);
    });
    ExpectLinear("a checkpoint for each block", [this](int n) {
        const auto file = Create({.bits = 8});
        bool written = true;
        for (unsigned i = 0; i < unsigned(n); ++i)
            written = written && Write(*file, 2 * i, {1, 2}) == 0 && file->FinishBlock();
        return written && file->FinishWrite();
    });
}

// Blocks of two sizes in alternation, so that no segment joins the next.
TEST(PeakDataBounds, StepsGoWithTheSegments) {
    constexpr std::int64_t kDatums = 3, kSegments = 10 * kDatums + 20 * kDatums; // two of them
    std::shared_ptr<PeakData> peaks;
    const auto load = [&](int n) {
        ImageOf<std::endian::native> image;
        image.U32(2 * unsigned(n));
        for (int i = 0; i < 2 * n; ++i)
            image.U32(kDatums).U64(i % 2 == 0 ? 10 : 20).Fill(8 * kDatums, 0x40);
        MemoryFileInput stream(image);
        peaks = std::make_shared<PeakData>();
        peaks->LoadFromStream(stream);
    };
    const auto lasts = [&](std::int64_t inDuration) { return peaks->GetDuration() == inDuration; };
    const auto resample = [&](double inBlock, std::size_t inPoints) {
        std::vector<float> points(2 * inPoints);
        ResamplePeakData(peaks, 0, inBlock, inPoints, points.data(), true);
        return points.back() != 0;
    };
    ExpectLinear("load", [&](int n) { return load(n), lasts(n * kSegments); });
    ExpectLinear("delete half", [&](int n) {
        load(n);
        peaks->RippleDelete(peaks->begin(), peaks->begin() + kDatums * n, PeakData::RippleRight);
        return lasts(n / 2 * kSegments);
    });
    ExpectLinear("a point for each block",
                 [&](int n) { return load(n), resample(15, std::size_t(2 * kDatums * n)); });
    ExpectLinear("one point for all laps", [&](int n) { return load(n), resample(1e15, 1); });
    ExpectLinear("a lap and more for each point",
                 [&](int n) { return load(n), resample(1.25 * double(n * kSegments), std::size_t(n)); });
    ExpectLinear("append", [&](int n) {
        peaks = std::make_shared<PeakData>();
        for (int i = 0; i < 2 * n; ++i)
            peaks->Append(peaks->GetEndOffset(), i % 2 == 0 ? 10 : 20, PeakDatumVector(kDatums));
        return lasts(n * kSegments);
    });
    ExpectLinear("find each", [&](int n) {
        std::int64_t found = 0;
        load(n);
        while (found < n && peaks->Find(found * kSegments) != peaks->end())
            ++found;
        return found == n;
    });
    peaks = std::make_shared<PeakData>();
    peaks->Append(0, 10, PeakDatumVector(2000));
    for (int i = 1; i < 2000; ++i)
        peaks->Split(i * 10);
    ExpectAtMost("join, one for all datums", {.allocations = 5},
                 [&] { return peaks->Overwrite(nullptr), lasts(20'000); });
}

TEST_F(Bounds, OfWaveFiles) {
    const auto with = [](int inCount, const Image& inChunks) {
        return Wave().Add(Repeated(inCount, inChunks));
    };
    const Image data = Image().Unpadded("data", {1}), list = Image().Unpadded("LIST", {1});
    const Image large = Image().Chunk("data", Bytes(92, 1)).Chunk("LIST", Bytes(92, 1));
    // clang-format off
    const struct { const char* name; Image image; Cost most = {}; } kRows[] = {
        {"10,000 chunks", with(5'000, large), {.calls = 140}},
        {"65,537 small chunks", with(65'537, data), {.calls = 40}}, // growing lists double
        {"300,000 small chunks", with(150'000, Image().Add(data).Add(list)), {.calls = 80}},
        {"empty chunks", with(100'000, Image().Header("LIST", 0)), {.calls = 40}},
        {"zeros", with(1, data).Fill(1 << 20), {.steps = 2000, .calls = 60}},
        {"channels", Wave({0xFFFE, 0x7FFF, 48000, 4, 16, ExtensibleTail(16, 0x3FFFF, 1)})},
        {"long format", Wave({.tail = Image().U16(65518).Fill(65518, 1)})},
        {"long table", Riff("RF64").Chunk("ds64", Ds64Image{.rows{5459, {1, 1}}}).Chunk("fmt ", FormatImage())},
    };
    // clang-format on
    for (const auto& row : kRows) {
        Put(row.image);
        Cost most = row.most;
        most.memory = 24 * row.image.Size() + (1 << 20);
        ExpectAtMost(row.name, most, [this] { return Open() != nullptr; });
    }
    Put(Wave({.channels = 0x7FFF, .blockAlign = 0, .bits = 64}).Chunk("data", Bytes(8)));
    const auto hash = [this] {
        HashWaveFile([](const unsigned char*, std::uint64_t) {}, mPathText, false);
        return true;
    };
    ExpectAtMost("hash, more channels than bytes", {.memory = 1 << 20}, hash);
    Put(Wave().Chunk("data", Bytes(4 * 20 * 8192)));
    ExpectAtMost("hash, 20 blocks", {.calls = 30, .allocations = 40, .memory = 150'000}, hash);
    mFile = Create();
    const Bytes block(32'768);
    ExpectAtMost("write, blocks in order", {.calls = 51, .allocations = 0}, [&] {
        bool isWritten = true;
        for (std::size_t i = 0; i < 50; ++i)
            isWritten = isWritten && wave_tests::Write(*mFile, i * block.size(), block) == 0;
        return isWritten;
    });
}

TEST_F(Bounds, OfAiffFiles) {
    using aiff_tests::operator+;
    constexpr int kMany = 1 << 17, kMiB = 1 << 20;
    const Bytes head = aiff_tests::Unfinished(aiff_tests::Aiff({.frames = 0}));
    const Bytes mixed = Repeated(kMany / 2, BigImage().Header("ANNO", 0).Header("NAME", 0));
    // clang-format off
    const struct { const char* name; int chunks; Bytes image; std::uint64_t hole; Cost most; } kRows[] = {
        {"empty chunks", kMany, mixed + Bytes(1), 0,
         {.calls = 40, .bytesRead = 9 * kMany, .memory = 40 * kMany + kMiB}},
        {"equal empty chunks", kMany, Repeated(kMany, BigImage().Header("ANNO", 0)) + Bytes(1), 0, {.memory = kMiB}},
        {"zeros", kMany, Bytes(8 * kMany + 1), 0, {.calls = 60, .bytesRead = 9 * kMany, .memory = kMiB}},
        {"a hole", 1 << 30, {}, (8ull << 30) + 1, {.calls = 10, .bytesRead = 65536, .memory = kMiB}},
        {"large chunks", 100, Repeated(100, aiff_tests::Chunk("ANNO", Bytes(20'000))), 0,
         {.calls = 110, .bytesRead = 102 * 4096}},
    };
    // clang-format on
    for (const auto& row : kRows) {
#if defined(_WIN32)
        if (row.hole != 0) // which files have only if their writer asks for them
            continue;
#endif
        Put(head + row.image, row.hole == 0 ? 0 : head.size() + row.hole);
        ExpectAtMost(row.name, row.most, [&] {
            const auto file = OpenAiff();
            return file->ReadMetadataChunk(row.chunks - 1, 0, 0, nullptr) &&
                   !file->ReadMetadataChunk(row.chunks, 0, 0, nullptr);
        });
    }
    Put(aiff_tests::Aiff({}, aiff_tests::Ssnd(Bytes(kMiB))));
    const auto file = OpenAiff();
    ExpectAtMost("read, 4 KiB each", {.calls = 256, .allocations = 0},
                 [&] { return ReadsInPieces(file, kMiB, 4096); });
    ExpectAtMost("read, a byte each", {.calls = 25, .allocations = 4},
                 [&] { return ReadsInPieces(file, kMiB, 1); });
    ExpectAtMost("read, here and there", {.calls = 53, .bytesRead = 53 * 8}, [&] {
        unsigned char bytes[8];
        std::int64_t offset = 0;
        while (file->ReadSampleBytes(offset, 8, bytes))
            offset += 20'000;
        return offset > 1'000'000;
    });
}
