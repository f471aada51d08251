// How the library's work grows with the number of chunks and of segments. A step is a stretch of the
// library's code without a branch; the compiler has each of them call the counter below.

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "aiff/AiffImage.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelaudiofile/PeakData.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "kelaudiofile/WaveFile.h"
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

constexpr std::uint32_t kListId = bytes::FourCC("LIST");

/// Work that came out as it should.
using Work = std::function<bool()>;

struct Row {
    const char* name;
    std::function<Work(int)> ofSize; ///< prepares the work, uncounted
};

std::uint64_t StepsOf(const Row& inRow, int inSize) {
    const Work work = inRow.ofSize(inSize);
    gSteps = 0;
    EXPECT_TRUE(work());
    return gSteps;
}

/// Ten times the size may take ten times the steps, and half as many again where lists are sorted.
void ExpectLinear(const std::vector<Row>& inRows) {
    constexpr int kSize = 400;
    for (const Row& row : inRows) {
        SCOPED_TRACE(row.name);
        const std::uint64_t few = StepsOf(row, kSize), many = StepsOf(row, 10 * kSize);
        EXPECT_GT(many, few) << "nothing grows: is it the right work?";
        EXPECT_LE(many, 15 * few);
        testing::Test::RecordProperty(row.name, std::to_string(few) + " to " + std::to_string(many));
    }
}

/// Metadata one after the other, each looked up and read.
template <typename File>
bool ReadAllMetadata(File& ioFile, int inCount) {
    std::int32_t index = 0;
    std::uint32_t id;
    std::int64_t size;
    double position;
    unsigned char chunk[64];
    while (ioFile.GetMetadataInfo(index, id, size, position) &&
           ioFile.ReadMetadataChunk(index, 0, size, chunk))
        ++index;
    return index == inCount;
}

template <typename File>
bool WriteMetadata(File& ioFile, int inCount) {
    const std::uint8_t byte = 1;
    bool written = true;
    for (int i = 0; i < inCount; ++i)
        written = written && ioFile.StartMetadatumWrite(kListId) && ioFile.MetadatumWrite(&byte, 1) &&
                  ioFile.FinishMetadatumWrite();
    return written;
}

} // namespace

TEST(Growth, WithTheChunksOfAWaveFile) {
    const TemporaryFolder folder;
    const kelcore::UTF8String path = folder.PathText("file");
    const auto put = [&](int inCount) { // data and metadata in turn, all of them with a row in the table
        const std::vector<std::pair<std::uint32_t, std::uint64_t>> rows(static_cast<std::size_t>(inCount),
                                                                        {kListId, 2});
        auto image =
            wave_tests::Riff("RF64").Chunk("ds64", wave_tests::Ds64Image{.dataSize = 4, .rows = rows});
        image.Chunk("fmt ", wave_tests::FormatImage());
        for (int i = 0; i < inCount; ++i)
            image.Chunk("LIST", {1, 2}).Chunk("data", {1, 2, 3, 4});
        WriteFile(folder.Path("file"), image);
    };
    const auto open = [=](int inCount) {
        WaveFile::ExtendedErrorInfo error;
        std::shared_ptr<WaveFile> file(WaveFile::OpenForRead(path, error, false));
        EXPECT_TRUE(file && file->GetSampleCount() == inCount);
        return file;
    };
    const auto create = [=] {
        WaveFile::ExtendedErrorInfo error;
        return std::shared_ptr<WaveFile>(
            WaveFile::OpenForWrite(path, 48000, 1, 1, 8, WaveFile::kIntegerSamples, {}, 0, error, false));
    };
    ExpectLinear({
        {"open", [&](int n) { return put(n), [=] { return open(n) != nullptr; }; }},
        {"metadata",
         [&](int n) { return put(n), [n, file = open(n)] { return ReadAllMetadata(*file, n); }; }},
        {"samples byte by byte, from the last to the first",
         [&](int n) {
             put(n);
             return [n, file = open(n)] {
                 unsigned char byte;
                 int read = 0;
                 for (std::int64_t i = 4 * n; i > 0; --i)
                     read += file->ReadSampleBytes(i - 1, 1, &byte);
                 return read == 4 * n;
             };
         }},
        {"samples in one piece",
         [&](int n) {
             put(n);
             return [n, file = open(n)] {
                 Bytes all(static_cast<std::size_t>(4 * n));
                 return file->ReadSampleBytes(0, 4 * n, all.data());
             };
         }},
        {"hash",
         [&](int n) {
             put(n);
             return [n, path] {
                 std::uint64_t bytes = 0;
                 HashWaveFile([&](const unsigned char*, std::uint64_t inCount) { bytes += inCount; }, path,
                              true);
                 return bytes == 8u * static_cast<unsigned>(n);
             };
         }},
        {"write",
         [&](int n) {
             return [n, file = create()] {
                 const std::uint8_t byte = 1;
                 WaveFile::ExtendedErrorInfo error;
                 return file->WriteSampleBytes(0, 1, &byte, error) && file->FinishSamples() &&
                        WriteMetadata(*file, n) && file->FinishWrite();
             };
         }},
        {"write, with a checkpoint for each block",
         [&](int n) {
             return [n, file = create()] {
                 const std::uint8_t byte = 1;
                 WaveFile::ExtendedErrorInfo error;
                 bool written = true;
                 for (int i = 0; i < n; ++i)
                     written = written && file->WriteSampleBytes(i, 1, &byte, error) && file->FinishBlock();
                 return written && file->FinishWrite();
             };
         }},
    });
}

TEST(Growth, WithTheChunksOfAnAiffFile) {
    const TemporaryFolder folder;
    const kelcore::UTF8String path = folder.PathText("file");
    const auto put = [&](int inCount) {
        BigImage chunks;
        for (int i = 0; i < inCount; ++i)
            chunks.Chunk("ANNO", {1, 2});
        WriteFile(folder.Path("file"), aiff_tests::Aiff({.frames = 0}, chunks));
    };
    const auto open = [=] {
        AiffFile::ExtendedErrorInfo error;
        return std::shared_ptr<AiffFile>(AiffFile::OpenForRead(path, false, error));
    };
    ExpectLinear({
        {"open", [&](int n) { return put(n), [=] { return open() != nullptr; }; }},
        {"metadata", [&](int n) { return put(n), [n, file = open()] { return ReadAllMetadata(*file, n); }; }},
        {"write",
         [&](int n) {
             AiffFile::ExtendedErrorInfo error;
             const std::shared_ptr<AiffFile> file(
                 AiffFile::OpenForWrite(path, 48000, 1, 8, AiffFile::kBigEndianIntegerSamples, {}, error));
             return [n, file] {
                 AiffFile::ExtendedErrorInfo finishError;
                 return WriteMetadata(*file, n) && file->FinishWrite(false, finishError);
             };
         }},
    });
}

TEST(Growth, WithTheSegmentsOfPeakData) {
    // Blocks of two sizes in turn, so that no segment joins the next.
    constexpr int kDatums = 3, kSegmentLength = 10 * kDatums + 20 * kDatums;
    const auto timeline = [](int inCount) {
        Bytes image(4);
        const auto put = [&image](const auto& inField) {
            const auto* const bytes = reinterpret_cast<const unsigned char*>(&inField);
            image.insert(image.end(), bytes, bytes + sizeof inField);
        };
        image.clear();
        put(static_cast<std::uint32_t>(2 * inCount));
        for (int i = 0; i < 2 * inCount; ++i) {
            put(std::uint32_t{kDatums});
            put(std::int64_t{i % 2 == 0 ? 10 : 20});
            for (float value = 1; value <= 2 * kDatums; ++value)
                put(value);
        }
        return image;
    };
    const auto load = [=](int inCount) {
        const auto peaks = std::make_shared<PeakData>();
        MemoryFileInput stream(timeline(inCount));
        peaks->LoadFromStream(stream);
        EXPECT_EQ(peaks->GetDuration(), kSegmentLength * inCount);
        return peaks;
    };
    using Peaks = std::shared_ptr<PeakData>;
    const auto on = [=](const std::function<bool(const Peaks&, int)>& inWork) {
        return [=](int n) { return [=, peaks = load(n)] { return inWork(peaks, n); }; };
    };
    const auto middle = [](int n) { return std::int64_t{n / 2} * kSegmentLength + 15; };
    ExpectLinear({
        {"load",
         [=](int n) {
             const auto stream = std::make_shared<MemoryFileInput>(timeline(n));
             return [stream] {
                 PeakData peaks;
                 peaks.LoadFromStream(*stream);
                 return !peaks.empty();
             };
         }},
        {"save", on([](const Peaks& peaks, int) {
             MemoryFileOutput stream;
             peaks->WriteToStream(stream);
             return !stream.bytes.empty();
         })},
        {"find", on([=](const Peaks& peaks, int n) {
             return peaks->Find(std::int64_t{n} * kSegmentLength - 1).GetEndOffset() ==
                    std::int64_t{n} * kSegmentLength;
         })},
        {"size", on([](const Peaks& peaks, int n) { return peaks->size() == 2u * kDatums * unsigned(n); })},
        {"copy", on([](const Peaks& peaks, int) { return PeakData(*peaks).size() == peaks->size(); })},
        {"append", on([=](const Peaks& peaks, int n) {
             peaks->Append(std::int64_t{n} * kSegmentLength, 30, {{1, 2}});
             return peaks->GetDuration() == std::int64_t{n} * kSegmentLength + 30;
         })},
        {"split", on([=](const Peaks& peaks, int n) {
             peaks->Split(middle(n));
             return peaks->size() == 2u * kDatums * unsigned(n) + 1;
         })},
        {"insert all into all", on([=](const Peaks& peaks, int n) {
             peaks->Insert(peaks);
             return peaks->GetDuration() == std::int64_t{2 * n} * kSegmentLength;
         })},
        {"insert all in the middle", on([=](const Peaks& peaks, int n) {
             const auto source = std::make_shared<PeakData>(*peaks);
             source->SetStartOffset(middle(n));
             peaks->Insert(source);
             return peaks->GetDuration() == std::int64_t{2 * n} * kSegmentLength;
         })},
        {"overwrite half", on([=](const Peaks& peaks, int n) {
             const Peaks source = peaks->GetRange(peaks->begin(), peaks->begin() + kDatums * n);
             source->SetStartOffset(middle(n) - 10);
             peaks->Overwrite(source);
             return peaks->GetDuration() == std::int64_t{n} * kSegmentLength;
         })},
        {"delete half", on([](const Peaks& peaks, int n) {
             peaks->RippleDelete(peaks->begin(), peaks->begin() + kDatums * n, PeakData::RippleRight);
             return peaks->size() == unsigned(kDatums * n);
         })},
        {"zero all", on([](const Peaks& peaks, int) {
             peaks->Zero(peaks->begin(), peaks->end());
             return (*peaks->begin()).max == 0;
         })},
        {"range of all", on([](const Peaks& peaks, int) {
             return peaks->GetRange(peaks->begin(), peaks->end())->size() == peaks->size();
         })},
        {"a point for each block", on([](const Peaks& peaks, int n) {
             std::vector<float> points(std::size_t(4 * kDatums * n));
             ResamplePeakData(peaks, 0, 15, points.size() / 2, points.data(), true);
             return points.back() != 0;
         })},
        {"one point for all laps", on([](const Peaks& peaks, int) {
             float point[2];
             ResamplePeakData(peaks, 0, 1e15, 1, point, true);
             return point[0] != 0;
         })},
    });
}
