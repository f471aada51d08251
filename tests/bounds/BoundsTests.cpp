// What work may cost: steps, system calls, bytes read, memory. A step is a stretch of the library's code
// without a branch; the compiler has each of them call the counter below.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>
#include <memory>

#include "aiff/AiffImage.h"
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
using kelcore::filesupport::IPlatformByteStream;

/// A task, prepared and yet to be done. @return whether it came out as it should.
using Task = std::function<bool()>;

constexpr std::uint64_t kAny = std::numeric_limits<std::uint64_t>::max();

/// What a task costs, or may cost at most.
struct Cost {
    std::uint64_t steps = kAny, calls = kAny, bytesRead = kAny, allocations = kAny, memory = kAny;
};

Cost CostOf(const Task& inTask) {
    const faults::Scope scope;
    gSteps = 0;
    EXPECT_TRUE(inTask());
    const auto& system = faults::SystemCalls();
    const auto& heap = faults::Heap();
    return {gSteps, system.calls, system.bytesRead, heap.allocations,
            static_cast<std::uint64_t>(std::max<std::int64_t>(heap.peakBytes, 0))};
}

void ExpectAtMost(const char* inName, const Cost& inMost, const Task& inTask) {
    SCOPED_TRACE(inName);
    const Cost cost = CostOf(inTask);
    EXPECT_LE(cost.steps, inMost.steps);
    EXPECT_LE(cost.calls, inMost.calls);
    EXPECT_LE(cost.bytesRead, inMost.bytesRead);
    EXPECT_LE(cost.allocations, inMost.allocations);
    EXPECT_LE(cost.memory, inMost.memory);
}

/// Ten times the size may take ten times the steps, and half as many again where lists are sorted.
void ExpectLinear(const char* inName, const std::function<Task(int)>& inOfSize) {
    SCOPED_TRACE(inName);
    const std::uint64_t few = CostOf(inOfSize(400)).steps, many = CostOf(inOfSize(4000)).steps;
    EXPECT_GT(many, few) << "nothing grows: is it the right task?";
    EXPECT_LE(many, 15 * few);
}

/// Files in a folder of their own.
class Bounds : public testing::Test {
protected:
    void Write(const Bytes& inImage) { WriteFile(mFolder.Path("file"), inImage); }
    /// Lets the file end in zeros.
    void Extend(std::uint64_t inSize) { std::filesystem::resize_file(mFolder.Path("file"), inSize); }

    std::shared_ptr<WaveFile> OpenWave() {
        WaveFile::ExtendedErrorInfo error;
        return std::shared_ptr<WaveFile>(WaveFile::OpenForRead(mPath, error, false));
    }
    std::shared_ptr<AiffFile> OpenAiff() {
        AiffFile::ExtendedErrorInfo error;
        return AiffFile::OpenForRead(mPath, false, error);
    }

    const TemporaryFolder mFolder;
    const kelcore::UTF8String mPath = mFolder.PathText("file");
};

/// Whether a file has that many chunks of metadata. Each is looked up and read.
template <typename File>
bool HasMetadata(const std::shared_ptr<File>& inFile, std::int32_t inCount) {
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

/// Whether samples can be read in pieces of a size, one after the other.
template <typename File>
bool ReadsInPieces(const std::shared_ptr<File>& inFile, std::int64_t inSize, std::int64_t inPiece) {
    unsigned char piece[4096];
    std::int64_t offset = 0;
    while (inFile->ReadSampleBytes(offset, inPiece, piece))
        offset += inPiece;
    return offset == inSize;
}

} // namespace

TEST_F(Bounds, StepsGoWithTheChunks) {
    const auto wave = [this](int inCount) { // data and metadata in turn, a row in the table for each
        Image chunks = Image().Chunk("fmt ", FormatImage());
        Ds64Image ds64{.dataSize = 4};
        for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(inCount); ++i) {
            ds64.rows.push_back({FourCC("LIST") + i, 2});
            chunks.U32(FourCC("LIST") + i).U32(0).U16(0x7777).Chunk("data", {1, 2, 3, 4});
        }
        Write(Riff("RF64").Chunk("ds64", ds64).Add(chunks));
    };
    ExpectLinear("wave: open, metadata",
                 [&](int n) { return wave(n), [this, n] { return HasMetadata(OpenWave(), n); }; });
    ExpectLinear("wave: samples byte by byte", [&](int n) {
        return wave(n), [n, file = OpenWave()] { return ReadsInPieces(file, 4 * n, 1); };
    });
    ExpectLinear("wave: a checkpoint for each block", [this](int n) {
        return [this, n] {
            WaveFile::ExtendedErrorInfo error;
            const std::unique_ptr<WaveFile> file(WaveFile::OpenForWrite(
                mPath, 48000, 1, 1, 8, WaveFile::kIntegerSamples, {}, 0, error, false));
            const unsigned char byte = 1;
            bool written = true;
            for (int i = 0; i < n; ++i)
                written = written && file->WriteSampleBytes(i, 1, &byte, error) && file->FinishBlock();
            return written && file->FinishWrite();
        };
    });
    ExpectLinear("AIFF: open, metadata", [this](int n) {
        BigImage chunks;
        for (int i = 0; i < n; ++i)
            chunks.Chunk("ANNO", {1, 2});
        Write(aiff_tests::Aiff({.frames = 0}, chunks));
        return [this, n] { return HasMetadata(OpenAiff(), n); };
    });
}

// Blocks of two sizes in turn, so that no segment joins the next.
TEST(PeakDataBounds, StepsGoWithTheSegments) {
    using Peaks = std::shared_ptr<PeakData>;
    constexpr int kDatums = 3, kSegmentLength = 10 * kDatums + 20 * kDatums;
    const auto load = [](int inCount) {
        ImageOf<std::endian::native> image;
        image.U32(static_cast<std::uint32_t>(2 * inCount));
        for (int i = 0; i < 2 * inCount; ++i)
            image.U32(kDatums).U64(i % 2 == 0 ? 10 : 20).Fill(8 * kDatums, 0x40);
        MemoryFileInput stream(image);
        const auto peaks = std::make_shared<PeakData>();
        peaks->LoadFromStream(stream);
        EXPECT_EQ(peaks->GetDuration(), kSegmentLength * inCount);
        return peaks;
    };
    const auto expect = [&](const char* inName, const std::function<bool(const Peaks&, int)>& inTask) {
        ExpectLinear(inName,
                     [&](int n) { return [=, &inTask, peaks = load(n)] { return inTask(peaks, n); }; });
    };
    const auto middle = [](int n) { return std::int64_t{n / 2} * kSegmentLength + 15; };
    ExpectLinear("load", [&](int n) { return [&, n] { return !load(n)->empty(); }; });
    expect("save", [](const Peaks& peaks, int) {
        MemoryFileOutput stream;
        peaks->WriteToStream(stream);
        return !stream.bytes.empty();
    });
    expect("insert all in the middle", [=](const Peaks& peaks, int n) {
        const auto source = std::make_shared<PeakData>(*peaks);
        source->SetStartOffset(middle(n));
        peaks->Insert(source);
        return peaks->GetDuration() == std::int64_t{2 * n} * kSegmentLength;
    });
    expect("overwrite half", [=](const Peaks& peaks, int n) {
        const Peaks source = peaks->GetRange(peaks->begin(), peaks->begin() + kDatums * n);
        source->SetStartOffset(middle(n) - 10);
        peaks->Overwrite(source);
        return peaks->GetDuration() == std::int64_t{n} * kSegmentLength;
    });
    expect("delete half", [](const Peaks& peaks, int n) {
        peaks->RippleDelete(peaks->begin(), peaks->begin() + kDatums * n, PeakData::RippleRight);
        return peaks->size() == unsigned(kDatums * n);
    });
    expect("a point for each block", [](const Peaks& peaks, int n) {
        std::vector<float> points(std::size_t(4 * kDatums * n));
        ResamplePeakData(peaks, 0, 15, points.size() / 2, points.data(), true);
        return points.back() != 0;
    });
    expect("one point for all laps", [](const Peaks& peaks, int) {
        float point[2];
        ResamplePeakData(peaks, 0, 1e15, 1, point, true);
        return point[0] != 0;
    });
}

TEST_F(Bounds, OfWaveFiles) {
    const auto with = [](int inCount, const Image& inChunks) {
        Image image = Wave();
        for (int i = 0; i < inCount; ++i)
            image.Add(inChunks);
        return image;
    };
    const Image data = Image().Unpadded("data", {1}), list = Image().Unpadded("LIST", {1});
    const Image large = Image().Chunk("data", Bytes(92, 1)).Chunk("LIST", Bytes(92, 1));
    // clang-format off
    const struct { const char* name; Image image; Cost most = {}; } kRows[] = {
        {"few chunks", with(2, large), {.calls = 7}},
        {"10,000 chunks", with(5'000, large), {.calls = 140}},
        {"65,537 small chunks", with(65'537, data), {.calls = 40}}, // lists double where they grow
        {"300,000 small chunks", with(150'000, Image().Add(data).Add(list)), {.calls = 80}},
        {"empty chunks", with(100'000, Image().Header("LIST", 0)), {.calls = 40}},
        {"zeros", with(1, data).Fill(1 << 20), {.steps = 2000, .calls = 60}},
        {"channels", Wave({0xFFFE, 0x7FFF, 48000, 4, 16, ExtensibleTail(16, 0x3FFFF, 1)})},
        {"long format", Wave({.tail = Image().U16(65518).Fill(65518, 1)})},
        {"long table", Riff("RF64").Chunk("ds64", Ds64Image{.rows{5459, {1, 1}}}).Chunk("fmt ", FormatImage())},
    };
    // clang-format on
    for (const auto& row : kRows) {
        Write(row.image);
        Cost most = row.most;
        most.memory = 24 * row.image.Size() + (1 << 20);
        ExpectAtMost(row.name, most, [this] { return OpenWave() != nullptr; });
    }
}

TEST_F(Bounds, OfAiffFiles) {
    constexpr std::uint64_t kMany = 1 << 17, kMiB = 1 << 20;
    const Bytes head = aiff_tests::Unfinished(aiff_tests::Aiff({.frames = 0}));
    const auto lists = [this](std::int32_t n) {
        const auto file = OpenAiff();
        return file->ReadMetadataChunk(n - 1, 0, 0, nullptr) && !file->ReadMetadataChunk(n, 0, 0, nullptr);
    };
    BigImage mixed;
    for (std::uint64_t i = 0; i < kMany; ++i)
        mixed.Header(i % 2 == 0 ? "ANNO" : "NAME", 0);
    Write(BigImage().Add(head).Add(mixed).Fill(1));
    ExpectAtMost("open, empty chunks", {.calls = 40, .bytesRead = 9 * kMany, .memory = 5 * 8 * kMany + kMiB},
                 [&] { return lists(kMany); });
    Write(BigImage().Add(head).Fill(8 * kMany + 1));
    ExpectAtMost("open, zeros", {.calls = 60, .bytesRead = 9 * kMany, .memory = kMiB},
                 [&] { return lists(kMany); });
    Write(head);
    Extend(head.size() + (8ull << 30) + 1);
    ExpectAtMost("open, a hole", {.calls = 10, .bytesRead = 65536, .memory = kMiB},
                 [&] { return lists(1 << 30); });
    BigImage large;
    for (int i = 0; i < 100; ++i)
        large.Chunk("ANNO", Bytes(20'000));
    Write(BigImage().Add(head).Add(large));
    ExpectAtMost("open, large chunks", {.calls = 110, .bytesRead = 102 * 4096}, [&] { return lists(100); });

    Write(aiff_tests::Aiff({}, aiff_tests::Ssnd(Bytes(kMiB))));
    const auto file = OpenAiff();
    ExpectAtMost("read, 4 KiB each", {.calls = 256, .allocations = 0},
                 [&] { return ReadsInPieces(file, kMiB, 4096); });
    ExpectAtMost("read, a byte each", {.calls = 25, .allocations = 4},
                 [&] { return ReadsInPieces(file, kMiB, 1); });
}

TEST_F(Bounds, OfInputStreams) {
    Write(Bytes(2'400'000));
    IPlatformByteStream stream(mFolder.File("file"), kelcore::utility::Flags<unsigned>(0));
    Bytes buffer(1'000'000);
    const auto read = [&](std::uint64_t inPosition, unsigned inCount) {
        stream.CurPos(inPosition);
        stream.ReadBlock(buffer.data(), inCount);
    };
    const auto readEach = [&](std::uint64_t inStep) {
        for (std::uint64_t position = 0; position < 2'400'000; position += inStep)
            read(position, 8);
        return true;
    };
    ExpectAtMost("small pieces", {.calls = 50}, [&] { return readEach(24); });
    ExpectAtMost("a large piece", {.calls = 1}, [&] { return read(0, 1'000'000), true; });
    ExpectAtMost("jumps", {.bytesRead = 12 * 4096}, [&] { return readEach(200'000); });
}
