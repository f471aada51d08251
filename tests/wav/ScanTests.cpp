#include <gtest/gtest.h>

#include <array>

#include "WaveTest.h"
#include "models/ScanModel.h"
#include "support/Random.h"

using namespace wave_tests;

namespace {

class Scan : public WaveTest {
protected:
    std::string Result(bool inStreamFlag = false) {
        const models::RiffChunkReader reader(mFolder.File("file"), inStreamFlag);
        return models::Describe(reader.GetFileInfo(), reader.GetExtendedError());
    }
    /// @param inFileSize  if not 0, zeros follow the image up to here, and then the end.
    void Expect(const char* inName, const Bytes& inImage, const std::string& inResult,
                std::uint64_t inFileSize = 0, const Bytes& inEnd = {}) {
        Put(inImage, inFileSize);
        testing_support::PatchFile(mPath, inFileSize, inEnd);
        EXPECT_EQ(Result(inFileSize % 2 == 1), inResult) << inName;
        EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    }
};

} // namespace

TEST_F(Scan, NoFileAndAFolder) {
    EXPECT_EQ(Result(), "failed riff=0 form=0");
    std::filesystem::create_directory(mPath);
    EXPECT_EQ(Result(), "failed riff=0 form=0");
}

// clang-format off
TEST_F(Scan, SizesOfDs64) {
    const auto sized = [](std::size_t size) { return Riff().Chunk("ds64", Bytes(size, 3)).Chunk("data", Filling(4)); };
    Expect("27 bytes", sized(27), "ds64 27@12 data 4@48");
    Expect("65,537 bytes", sized(65537), "ds64 65537@12 data 4@65558");
    Expect("65,536 bytes, table too large", sized(65536), "riff=217020518514230019 ds64 65536@12 data 4@65556");
    Ds64Image full = {.dataSize = 3, .rows{5459, {FourCC("othr"), 2}}};
    full.rows[0].second = 1;
    Expect("the largest table, the first row of an id counts", Riff().Chunk("ds64", full).Unpadded("othr", {1}),
           "riff=0 ds64 65536@12 othr 1@65556");
    const Ds64Image wrapping{.dataSize = 3, .tableLength = 0x15555556};
    Expect("rows times 12 beyond 32 bits", Riff().Chunk("ds64", wrapping).Unpadded("data", Filling(3)),
           "riff=0 ds64 28@12 data 3@48");
}

TEST_F(Scan, SizeFieldsAtTheirLimits) {
    for (const std::uint64_t size : {0x7FFFFFFFull, 0x80000000ull, 0xFFFFFFFFull}) {
        const std::uint64_t end = 20 + size + size % 2;
        const std::string text = std::to_string(size);
        Expect("chunk", Riff().Header("othr", size), "othr " + text + "@12 LIST 4@" + std::to_string(end), end,
               Image().Chunk("LIST", Filling(4)));
        Expect("data chunk", Riff().Header("data", size), "data " + text + "@12", 20 + size);
    }
    for (const std::uint64_t size : {6 * kGiB, std::uint64_t{1} << 63, ~std::uint64_t{0}})
        Expect("data size, a file cut inside",
               Riff("RF64").Chunk("ds64", Ds64Image{size, size}).Header("data", 0xFFFFFFFF),
               "riff=" + std::to_string(size) + " ds64 28@12 data 5368709064@48", 5 * kGiB);
}
// clang-format on

// Eight zero bytes are a chunk that is not listed. A hole counts as if it were read, although it is not.
TEST_F(Scan, Holes) {
#if defined(_WIN32)
    GTEST_SKIP() << "files have no holes here unless their writer asks for them";
#endif
    const Image start = Riff().Chunk("LIST", {1, 2}), end = Image().Chunk("othr", Filling(4));
    for (const bool findsHoles : {true, false}) {
        faults::SystemCalls() = {.findsHoles = findsHoles};
        Expect("then a chunk", start, "LIST 2@12 othr 4@1048574", 1048574, end);
        Expect("then a chunk, four bytes earlier: its id is read as a size", start, "LIST 2@12", 1048570,
               end);
    }
    faults::SystemCalls() = {};
    Expect("up to the end", start, "LIST 2@12", 1000 * kGiB);
    EXPECT_LE(faults::SystemCalls().bytesRead, 65536u);
}

namespace {

/// An image made from a few ids, sizes at and around limits, runs of zeros, pad bytes, and `ds64` chunks.
Bytes RandomImage(testing_support::Random& ioRandom) {
    const auto any = [&](const auto& list) { return std::data(list)[ioRandom() % std::size(list)]; };
    const auto id = [&] {
        return any(std::array{FourCC("data"), FourCC("data"), FourCC("LIST"), FourCC("JUNK"), FourCC("ds64"),
                              0u, 0x80616161u, 0x7F00017Fu});
    };
    const auto size = [&]() -> std::uint64_t {
        constexpr std::uint64_t kSizes[] = {0, 0, 1, 8, 0x7FFFFFFF, 0xFFFFFFFF, 1ull << 63, ~0ull};
        return ioRandom.Below(4) != 0 ? ioRandom.Below(24) : any(kSizes);
    };
    Image image = Riff(any(std::array{"RIFF", "RF64", "BW64", "FORM"}));
    if (ioRandom.Below(2) == 0) {
        Ds64Image ds64 = {.riffSize = ioRandom.Next64(), .dataSize = size()};
        for (std::uint32_t rows = ioRandom.Below(4); rows > 0; --rows)
            ds64.rows.emplace_back(id(), size());
        if (ioRandom.Below(4) == 0)
            ds64.tableLength = ioRandom.Below(5);
        image.Chunk("ds64", ds64);
    }
    for (std::uint32_t pieces = ioRandom.Below(8); pieces > 0; --pieces) {
        const std::uint64_t dataSize = size();
        const std::uint32_t kind = ioRandom.Below(8);
        if (kind == 0) {
            image.Fill(ioRandom.Below(70), static_cast<unsigned char>(ioRandom.Below(3)));
        } else if (kind == 1) {
            image.Header("data", 0).Add(Filling(ioRandom.Below(10)));
        } else {
            image.U32(id()).U32(dataSize).Add(Filling(kind == 2 ? 0 : dataSize % 32));
            image.Fill(dataSize % 2 & ioRandom.Below(2));
        }
    }
    return ioRandom.Below(6) == 0 ? image.Cut(ioRandom.Below(static_cast<std::uint32_t>(image.Size()) + 1))
                                  : image;
}

} // namespace

TEST_F(Scan, AgreesWithTheModelOnRandomImages) {
    testing_support::Random random(2);
    for (int i = 0; i < 20'000; ++i) {
        const Bytes image = RandomImage(random);
        Put(image);
        ASSERT_EQ(Result(), models::ScanModel(image).Result()) << i << testing::PrintToString(image);
    }
}
