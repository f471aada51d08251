#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <sstream>
#include <stdexcept>

#include "RiffImage.h"
#include "kelaudiofile/RiffChunkReader.h"
#include "support/Faults.h"
#include "support/Random.h"

using namespace kelaudiofile;
using namespace testing_support;
using riff::kDataId, riff::kDs64Id, riff::kJunkId;

namespace {

constexpr std::uint32_t kOtherId = bytes::FourCC("othr"), kFormId = bytes::FourCC("FORM");
constexpr auto kNotRiff = RiffChunkReader::kExtendedErrorNotRiff;
constexpr auto kReadFailed = RiffChunkReader::kExtendedErrorReadFailed;
constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

/// A scan's result in a line, such as "LIST 3@12 data 40@24!": sizes, places of headers, a mark where
/// recovered. What is as RiffImage makes it is left out: a RIFF size of 0x12345678, the form "WAVE".
std::string Describe(const RiffChunkReader::RiffFileInfo& inInfo, RiffChunkReader::ExtendedError inError) {
    std::ostringstream text;
    if (inError != RiffChunkReader::kExtendedErrorNone)
        text << (inError == kNotRiff ? "not RIFF " : inError == kReadFailed ? "failed " : "? ");
    if (inInfo.riffSize != 0x12345678)
        text << "riff=" << inInfo.riffSize << ' ';
    if (inInfo.formType != riff::kWaveId)
        text << "form=" << inInfo.formType << ' ';
    for (const auto& chunk : inInfo.chunks) {
        for (int i = 0; i < 4; ++i)
            text << static_cast<char>(chunk.chunkID >> 8 * i);
        text << ' ' << chunk.chunkSize << '@' << chunk.chunkOffset
             << (chunk.dataOffset != chunk.chunkOffset + 8 ? "?" : "")
             << (chunk.recoveredTruncated ? "! " : " ");
    }
    std::string line = text.str();
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

struct ScanCase {
    const char* name;
    RiffImage image;
    std::string result;
    std::uint64_t fileSize = 0; ///< if not 0, zeros follow the image up to here
    Bytes end{};                ///< stands behind those zeros
};

class Scan : public testing::Test {
protected:
    std::string ScanIt(bool inStreamFlag = false) {
        RiffChunkReader reader(mFolder.File("file"), inStreamFlag);
        return Describe(reader.GetFileInfo(), reader.GetExtendedError());
    }
    void Write(const Bytes& inBytes) {
        std::filesystem::remove(mFolder.Path("file")); // quicker than to empty it
        WriteFile(mFolder.Path("file"), inBytes);
    }

    void Check(const std::vector<ScanCase>& inCases) {
        for (const ScanCase& row : inCases) {
            Write(row.image.Bytes());
            if (row.fileSize != 0)
                std::filesystem::resize_file(mFolder.Path("file"), row.fileSize);
            PatchFile(mFolder.Path("file"), row.fileSize, row.end);
            EXPECT_EQ(ScanIt(row.fileSize % 2 == 1), row.result) << row.name;
            EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
        }
    }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
};

} // namespace

// clang-format off
TEST_F(Scan, Header) {
    const RiffImage::Ds64Image ds64 = {.riffSize = 77, .dataSize = 2};
    const char* const kNothing = "failed riff=0 form=0";
    Check({
        {"BW64 with ds64", RiffImage(riff::kBw64Id).Ds64(ds64).Chunk(kDataId, 4), "riff=77 ds64 28@12 data 2@48"},
        {"another form", RiffImage(riff::kRiffId, bytes::FourCC("AVI ")).Chunk(kListId, 4), "form=541677121 LIST 4@12"},
        {"another magic", RiffImage(kFormId), "not RIFF riff=0 form=0"},
        {"11 bytes of another magic", RiffImage(kFormId).Cut(11), kNothing},
        {"19 bytes", RiffImage().Header(kListId, 7).Cut(19), kNothing},
        {"20 bytes: nothing to walk over", RiffImage().Header(kListId, 7), ""},
        {"ds64 past the end", RiffImage().Ds64(ds64).Cut(47), kNothing},
    });
    std::filesystem::remove(mFolder.Path("file"));
    EXPECT_EQ(ScanIt(), kNothing);
    std::filesystem::create_directory(mFolder.Path("file"));
    EXPECT_EQ(ScanIt(), kNothing);
}

// The random images below hold many more; these say what the rules mean.
TEST_F(Scan, WorkedExamples) {
    const auto list = [](std::uint32_t size) { return RiffImage().Chunk(kListId, size); };
    const auto data = [] { return RiffImage().Header(kDataId, 0); };
    Check({
        {"data larger than the file is not recovered", list(2).Header(kDataId, 0xFFFFFFFF).Byte(1, 10),
         "LIST 2@12 data 10@22"},
        {"odd chunk with pad byte", list(3).Byte(0).Chunk(kDataId, 4), "LIST 3@12 data 4@24"},
        {"odd chunk without", list(3).Chunk(kDataId, 4).Chunk(kOtherId, 3), "LIST 3@12 data 4@23 othr 3@35"},
        {"a pad byte of 1 begins an id", list(3).Byte('x').Append(ToBytes("abc")).Header(2, 0).Byte(9, 2),
         "LIST 3@12 xabc 2@23"},
        {"unfinished data up to the end", data().Append(Filling(50)), "data 50@12!"},
        {"empty data before a good chunk", data().Chunk(kJunkId, 5), "JUNK 5@20"},
        {"characters up to 0x7F", data().Chunk(0x7F01017F, 4), "\x7F\1\1\x7F 4@20"},
        {"0x80 is none", data().Chunk(0x61616180, 4), "data 12@12!"},
    });
}

TEST_F(Scan, Ds64) {
    const auto sized = [](std::uint32_t size) {
        return RiffImage().Header(kDs64Id, size).Byte(3, size).Byte(0, size & 1).Chunk(kDataId, 4);
    };
    RiffImage::Ds64Image full = {.dataSize = 3, .rows{5459, {kOtherId, 2}}};
    full.rows[0].second = 1;
    Check({
        {"27 bytes", sized(27), "ds64 27@12 data 4@48"},
        {"65,537 bytes", sized(65537), "ds64 65537@12 data 4@65558"},
        {"65,536 bytes, table too large", sized(65536), "riff=217020518514230019 ds64 65536@12 data 4@65556"},
        {"the largest table, the first row of an id counts", RiffImage().Ds64(full).Chunk(kOtherId, 1),
         "riff=0 ds64 65536@12 othr 1@65556"},
        {"rows times 12 beyond 32 bits", RiffImage().Ds64({.dataSize = 3, .tableLength = 0x15555556}).Chunk(kDataId, 3),
         "riff=0 ds64 28@12 data 3@48"},
        {"not the first chunk", RiffImage().Chunk(kListId, 2).Ds64({.dataSize = 1}).Chunk(kDataId, 4),
         "LIST 2@12 ds64 28@22 data 4@58"},
    });
}

// With another chunk right behind a chunk whose size is at a limit of its field; the data between is a hole.
TEST_F(Scan, SizeFieldsAtTheirLimits) {
    const Bytes list = Image().Text("LIST").U32(4).Add(Filling(4));
    for (const std::uint64_t size : {0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
        const std::uint64_t end = 20 + size + size % 2;
        const std::string text = std::to_string(size);
        Check({
            {"chunk", RiffImage().Header(kOtherId, size),
             "othr " + text + "@12 LIST 4@" + std::to_string(end), end, list},
            {"data chunk", RiffImage().Header(kDataId, size), "data " + text + "@12", 20 + size},
        });
    }
    const auto large = [](std::uint64_t riffSize, std::uint64_t dataSize, std::uint64_t listSize) {
        return RiffImage(riff::kRf64Id).Ds64({riffSize, dataSize, {{kListId, listSize}}});
    };
    for (const std::uint64_t size : {6 * kGiB, std::uint64_t{1} << 63, ~std::uint64_t{0}})
        Check({
            {"data size, a file cut inside", large(size, size, 0).Header(kDataId, 0xFFFFFFFF),
             "riff=" + std::to_string(size) + " ds64 40@12 data 5368709052@60", 5 * kGiB},
            {"row", large(1, 1, size).Header(kListId, 0).Byte(9, 20), "riff=1 ds64 40@12 LIST 20@60"},
            {"row of the chunk behind an empty data chunk",
             large(1, 0, size).Header(kDataId, 0).Header(kListId, 1).Byte(9, 20), "riff=1 ds64 40@12 data 28@60!"},
        });
}
// clang-format on

namespace {

/// The scan with nothing in mind but its rules: whole file in memory, one step at a time.
std::string LiteralScan(const Bytes& inFile) {
    RiffChunkReader::RiffFileInfo info;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> sizes;
    const auto at = [&](std::uint64_t place, int count) { // throws std::out_of_range
        std::uint64_t value = 0;
        while (--count >= 0)
            value = value << 8 | inFile.at(static_cast<std::size_t>(place) + static_cast<unsigned>(count));
        return value;
    };
    const auto sizeAt = [&](std::uint64_t place) {
        for (const auto& [id, size] : sizes)
            if (id == at(place, 4))
                return size;
        return at(place + 4, 4);
    };
    const auto readHeader = [&] {
        at(11, 1);
        const std::uint64_t magic = at(0, 4);
        if (magic != 0x46464952 && magic != 0x34364652 && magic != 0x34365742)
            return false;
        const std::uint64_t id = at(12, 4), size = at(16, 4);
        if (id == 0x34367364 && size >= 28 && size <= 65536) {
            at(20 + size - 1, 1);
            info.riffSize = at(20, 8);
            sizes.push_back({0x61746164, at(28, 8)});
            const std::uint64_t rows = at(44, 4);
            for (std::uint64_t row = 0; 28 + 12 * rows <= size && row < rows; ++row)
                sizes.push_back({at(48 + 12 * row, 4), at(52 + 12 * row, 8)});
        } else {
            info.riffSize = at(4, 4);
        }
        info.formType = static_cast<std::uint32_t>(at(8, 4));
        return true;
    };
    const auto walk = [&] {
        std::uint64_t position = 12, remaining = inFile.size() - 12;
        while (remaining > 8) {
            if (position % 2 == 1 && at(position, 1) == 0) {
                ++position;
                --remaining;
            }
            const auto id = static_cast<std::uint32_t>(at(position, 4));
            std::uint64_t size = sizeAt(position);
            remaining -= 8;
            size = std::min(size, remaining);
            bool recovered = id == 0x61746164 && size == 0 && remaining >= 8;
            if (recovered) {
                const std::uint64_t next = position + 8, nextSize = sizeAt(next);
                const bool isText = (at(next, 4) & 0x80808080) == 0;
                recovered = !isText || nextSize == 0 || nextSize > remaining - 8;
                size = recovered ? remaining : 0;
            }
            if (id != 0 && size != 0)
                info.chunks.push_back(
                    {id, static_cast<std::int64_t>(size), position, position + 8, recovered});
            remaining -= size;
            position += 8 + size;
        }
    };
    try {
        if (!readHeader())
            return Describe(info, kNotRiff);
        walk();
    } catch (const std::out_of_range&) {
        return Describe(info, kReadFailed);
    }
    return Describe(info, RiffChunkReader::kExtendedErrorNone);
}

/// An image out of few ids, sizes at and around limits, runs of zeros, pad bytes, and `ds64` chunks.
Bytes RandomImage(Random& ioRandom) {
    const std::array ids = {kDataId, kDataId, kListId, kJunkId, kDs64Id, 0u, 0x80616161u, 0x7F00017Fu};
    const auto id = [&] { return ids[ioRandom.Below(ids.size())]; };
    const auto size = [&]() -> std::uint64_t {
        constexpr std::uint64_t kSizes[] = {0, 0, 1, 8, 0x7FFFFFFF, 0xFFFFFFFF, 1ull << 63, ~0ull};
        return ioRandom.Below(4) != 0 ? ioRandom.Below(24) : kSizes[ioRandom.Below(8)];
    };
    RiffImage image(std::array{riff::kRiffId, riff::kRf64Id, riff::kBw64Id}[ioRandom.Below(3)]);
    if (ioRandom.Below(2) == 0) {
        RiffImage::Ds64Image ds64 = {.riffSize = ioRandom.Next64(), .dataSize = size()};
        for (std::uint32_t rows = ioRandom.Below(4); rows > 0; --rows)
            ds64.rows.push_back({id(), size()});
        if (ioRandom.Below(4) == 0)
            ds64.tableLength = ioRandom.Below(5);
        image.Ds64(ds64);
    }
    for (std::uint32_t pieces = ioRandom.Below(8); pieces > 0; --pieces) {
        const std::uint64_t dataSize = size();
        const std::uint32_t kind = ioRandom.Below(8);
        if (kind == 0)
            image.Byte(static_cast<unsigned char>(ioRandom.Below(3)), ioRandom.Below(70));
        else if (kind == 1)
            image.Header(id(), dataSize);
        else if (kind == 2)
            image.Header(kDataId, 0).Append(Filling(ioRandom.Below(10)));
        else
            image.Header(id(), dataSize)
                .Append(Filling(dataSize % 32))
                .Byte(0, dataSize % 2 & ioRandom.Below(2));
    }
    if (ioRandom.Below(6) == 0)
        image.Cut(ioRandom.Below(static_cast<std::uint32_t>(image.Size()) + 1));
    return image.Bytes();
}

} // namespace

TEST_F(Scan, AgreesWithThePlainRulesOnRandomImages) {
    Random random(2);
    std::map<std::string, int> counts;
    for (int i = 0; i < 20'000; ++i) {
        const Bytes image = RandomImage(random);
        Write(image);
        const std::string expected = LiteralScan(image);
        ASSERT_EQ(ScanIt(), expected) << "image " << i << testing::PrintToString(image);
        for (const char* text : {"@", "!", "failed"})
            counts[text] += expected.find(text) != std::string::npos;
    }
    EXPECT_TRUE(counts["@"] > 500 && counts["!"] > 500 && counts["failed"] > 500) << "they reach all rules";
}

TEST_F(Scan, FilterKeepsTheOrder) {
    Write(RiffImage().Chunk(kDataId, 2).Chunk(kListId, 2).Chunk(kDataId, 4).Bytes());
    RiffChunkReader::RiffFileInfo info = RiffChunkReader(mFolder.File("file"), false).GetFileInfo();
    info.chunks = FilterChunkInfo(info.chunks, GetWaveDataIdentifier());
    EXPECT_EQ(Describe(info, RiffChunkReader::kExtendedErrorNone), "data 2@12 data 4@32");
    EXPECT_TRUE(FilterChunkInfo(info.chunks, kOtherId).empty());
    EXPECT_EQ(GetWaveFileFormatIdentifier(), 0x45564157u);
}

TEST_F(Scan, SystemCallsGoWithTheBytesReadNotWithTheChunks) {
    const auto& calls = faults::SystemCalls();
    const auto scan = [&](const RiffImage& image, std::uint64_t zeros) {
        WriteFile(mFolder.Path("file"), image.Bytes());
        std::filesystem::resize_file(mFolder.Path("file"), image.Size() + zeros);
        faults::SystemCalls() = {};
        return RiffChunkReader(mFolder.File("file"), false).GetFileInfo().chunks.size();
    };
    EXPECT_EQ(scan(RiffImage().Chunk(kDataId, 3).Byte(0), kGiB), 1u);
    EXPECT_LE(calls.reads, kGiB / 65536 + 10) << "a preallocated tail, by 64 KiB";
    EXPECT_LE(calls.bytesRead, kGiB + 65536) << "no byte of it twice";

    RiffImage empty;
    for (int i = 0; i < 100'000; ++i)
        empty.Header(kListId, 0);
    EXPECT_EQ(scan(empty, 0), 0u);
    EXPECT_LE(calls.calls, empty.Size() / 65536 + 20);
}
