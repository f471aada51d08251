#include <algorithm>
#include <bit>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "GuardedBuffer.h"
#include "kelaccelerate/WideVectors.h"
#include "models/FrameModels.h"
#include "models/SampleModels.h"
#include "support/Random.h"

using namespace sample_models;
using testing_support::GuardedBuffer;
using testing_support::Random;

namespace {

/// Bytes of a file, the lowest first, or of a number of the machine.
void PutBits(Byte* out, std::size_t inWidth, std::uint64_t inBits, bool inOfMachine) {
    for (std::size_t i = 0; i < inWidth; ++i)
        out[i] = static_cast<Byte>(inBits >> (8 * i));
    if (inOfMachine && std::endian::native == std::endian::big)
        std::reverse(out, out + inWidth);
}

/// Full scales, zeros, denormals, infinities, NaN, and floats around each clip and each step of truncation,
/// in either byte order, between random bytes.
void FillWithSamples(Byte* outBytes, std::size_t inByteCount, std::size_t inWidth, Random& ioRandom) {
    // clang-format off
    static const std::uint64_t kPatterns[] = {
        0, ~0ull, 0x80, 0x8000, 0x800000, 0x80000000, 0x8000000000000000, 0x7F, 0x7FFF, 0x7FFFFF, 0x7FFFFFFF,
        0x7FFFFFFFFFFFFFFF, 0x7FFFFFFFFFFFFC00, 0x400000BFFFFFFFFF, 0xFFBFFFFF, 1, 0x80000001, 0x00800000, 0x7F800000,
        0xFF800000, 0x7F800001, 0xFFA12345, 0x7FC54321, 0x3F800000, 0xBF800000, 0x3F7FFFFF, 0xBF7FFFFF, 0x3F800001,
        0xBF800001, 0x2F800000, 0xB0400000, 0x30000000, 0x7F7FFFFF, 0x0B800000, 0x7FF0000000000000, 0xFFF0000000000000,
        0x7FF0000000000001, 0xFFF8000012345678, 0x7E37E43C8800759C, 0x3810000000000000, 0xB690000000000001,
        0x3FEFFFFFFFFFFFFF, 0x47EFFFFFF0000000};
    // clang-format on
    for (std::size_t i = 0; i < inByteCount; i += inWidth) {
        std::uint64_t bits = ioRandom.Next64();
        if (bits % 2 == 0)
            bits = kPatterns[ioRandom.Below(std::size(kPatterns))];
        const std::size_t width = std::min(inWidth, inByteCount - i);
        PutBits(outBytes + i, width, bits, ioRandom.Below(2) == 0);
    }
}

/// Where a buffer lies in its pages: at so many bytes from the front, or against the back.
constexpr std::size_t kBack = ~std::size_t{0};
constexpr struct {
    std::size_t source, destination;
} kPlacings[] = {{0, kBack}, {kBack, 0}, {1, 64}, {32, 3}, {7, 13}};

Byte* PlaceIn(GuardedBuffer& inBuffer, std::size_t inPlace, std::size_t inByteCount) {
    return inPlace == kBack ? inBuffer.end() - inByteCount : inBuffer.begin() + inPlace;
}

std::vector<std::int32_t> Counts() {
    std::vector<std::int32_t> counts = {255, 511, 1000};
    for (std::int32_t count = 0; count <= 144; count += count == 80 ? 47 : 1)
        counts.push_back(count);
    return counts;
}

/// Whether wide vectors are used where the processor has them.
class EachWay : public testing::TestWithParam<bool> {
public:
    EachWay() { kelaccelerate::AllowWideVectors(GetParam()); }
    ~EachWay() override { kelaccelerate::AllowWideVectors(true); }
};

INSTANTIATE_TEST_SUITE_P(Convert, EachWay, testing::Bool(),
                         [](const auto& inCase) { return inCase.param ? "Wide" : "Plain"; });

// Each routine against its model: every count, channel count and address, with both buffers laid against
// pages that must not be touched, and all bytes around and between the written samples kept; and in place
// where samples keep their width.
TEST_P(EachWay, MatchesTheModelAndTouchesNothingElse) {
    constexpr std::size_t kRoom = 1000 * 64 * 8 + 128;
    GuardedBuffer source(kRoom), destination(kRoom), expected(kRoom);
    Random random(1);
    for (const Routine& routine : kRoutines)
        for (const std::int32_t channels : {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 15, 16, 23, 24, 31, 64})
            for (const std::int32_t count : Counts()) {
                const Call call{routine, count, channels};
                const std::size_t used = std::max(call.sourceReach, call.writtenReach) + 128;
                for (const auto& placing : kPlacings) {
                    Byte* in = PlaceIn(source, placing.source, call.sourceReach);
                    Byte* out = PlaceIn(destination, placing.destination, call.writtenReach);
                    Byte* from =
                        placing.destination == kBack ? destination.end() - used : destination.begin();
                    Byte* model = expected.begin() + (out - from);
                    FillWithSamples(in, call.sourceReach, routine.sourceBytes, random);
                    std::memset(from, 0xA5, used);
                    std::memset(expected.begin(), 0xA5, used);
                    call.RunModel(in, model);

                    call.Run(in, out);
                    const bool same = std::memcmp(from, expected.begin(), used) == 0;
                    if (channels == 1 && routine.sourceBytes == routine.writtenBytes)
                        call.Run(in, out = in);
                    ASSERT_TRUE(same && std::memcmp(out, model, call.writtenReach) == 0)
                        << routine.name << ", " << count << " samples, " << channels << " channels, from "
                        << placing.source << " to " << placing.destination << (same ? ", in place" : "");
                }
            }
}

// A host that has floating-point exceptions trapped dies of no sample that can be converted without. What
// lies between the samples of a channel is a signalling NaN.
TEST_P(EachWay, RaisesNoMoreFlagsThanTheSteps) {
    constexpr double kInfinity = HUGE_VAL, kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const Routine& routine : kRoutines)
        for (const double value : {-2.0, -1.0, -0.0, 0.0, 0.25, 0x1.8p-40, 1.0, 2.0, 1e30, -1e30, 1e300,
                                   kInfinity, -kInfinity, kNaN, 0x1p-127, -0x1p-149, 0x1p-1074})
            for (const std::int32_t channels : {1, 2, 3})
                for (const std::int32_t count : {1, 300}) {
                    const Call call{routine, count, channels};
                    std::vector<Byte> source(call.sourceReach), written(call.writtenReach);
                    const bool isWide = routine.sourceBytes == 8;
                    const std::uint64_t sample =
                                            isWide ? std::bit_cast<std::uint64_t>(value)
                                                   : std::bit_cast<std::uint32_t>(static_cast<float>(value)),
                                        between = isWide ? 0x7FF0000000000001 : 0x7F800001;
                    for (std::size_t i = 0; i < source.size(); i += routine.sourceBytes)
                        PutBits(&source[i], routine.sourceBytes, i % call.sourceStep == 0 ? sample : between,
                                !routine.gathers);
                    std::feclearexcept(FE_ALL_EXCEPT);
                    call.RunModel(source.data(), written.data());
                    const int expected = std::fetestexcept(FE_ALL_EXCEPT);
                    std::feclearexcept(FE_ALL_EXCEPT);
                    call.Run(source.data(), written.data());
                    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT) & ~expected, 0)
                        << routine.name << " of " << value << ", " << count << " samples, " << channels
                        << " channels";
                }
}

/// A block's planes in a buffer: as many floats each, with a gap, some left out.
std::vector<float*> PlanesIn(GuardedBuffer& inBuffer, const FrameBlock& inBlock, bool inAtBack,
                             Random& ioRandom) {
    const std::size_t gap = ioRandom.Below(40), stride = inBlock.frames * sizeof(float) + gap;
    Byte* const first =
        inAtBack ? inBuffer.end() - inBlock.channels * stride + gap : inBuffer.begin() + ioRandom.Below(64);
    const bool takesAll = ioRandom.Below(2) == 0;
    std::vector<float*> planes(inBlock.channels);
    for (std::size_t c = 0; c < inBlock.channels; ++c)
        if (takesAll || ioRandom.Below(4) != 0)
            planes[c] = reinterpret_cast<float*>(first + c * stride);
    return planes;
}

// Blocks of frames against the models of their samples, both ways: the bytes lie against a page that must not
// be touched, or the planes, and all around them is kept.
TEST_P(EachWay, BlocksMatchTheModelOfEachSample) {
    constexpr std::size_t kRoom = 1 << 19;
    GuardedBuffer bytes(kRoom), floats(kRoom), expected(kRoom);
    Random random(3);
    for (const FrameModel& model : kFrameModels)
        for (const std::int32_t channels :
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 15, 16, 17, 19, 20, 33, 64})
            for (const std::int32_t frames : Counts()) {
                const FrameBlock block{model, random.Below(2) == 0, std::size_t(frames),
                                       std::size_t(channels)};
                const std::size_t floatCount = block.frames * block.channels;
                if (std::max(block.ByteCount(), floatCount * sizeof(float)) + block.channels * 40 >
                    kRoom - 128)
                    continue;
                SCOPED_TRACE(testing::Message()
                             << "coding " << static_cast<int>(model.coding) << " of " << model.bytes
                             << " bytes, " << (block.isSpecial ? "big-endian or unsigned, " : "") << frames
                             << " frames, " << channels << " channels");
                const bool isAtBack = random.Below(2) == 0;
                Byte* const in =
                    isAtBack ? bytes.end() - block.ByteCount() : bytes.begin() + random.Below(64);
                const auto planes = PlanesIn(floats, block, !isAtBack || channels % 2 == 0, random);
                FillWithSamples(in, block.ByteCount(), block.Width(), random);
                std::memset(floats.begin(), 0xA5, kRoom);
                block.Decode(in, planes.data());
                std::memcpy(expected.begin(), floats.begin(), kRoom);
                std::memset(floats.begin(), 0xA5, kRoom);
                DecodeFrames(block.Format(), in, planes.data(), frames, channels);
                ASSERT_EQ(std::memcmp(floats.begin(), expected.begin(), kRoom), 0) << "decoded";

                for (float* const plane : planes)
                    if (plane)
                        FillWithSamples(reinterpret_cast<Byte*>(plane), block.frames * sizeof(float),
                                        sizeof(float), random);
                std::memcpy(expected.begin(), bytes.begin(), kRoom);
                block.Encode(planes.data(), expected.begin() + (in - bytes.begin()));
                EncodeFrames(block.Format(), planes.data(), in, frames, channels);
                ASSERT_EQ(std::memcmp(bytes.begin(), expected.begin(), kRoom), 0) << "encoded";
            }
}

TEST_P(EachWay, IsTheWayTaken) {
#if defined(__x86_64__)
    EXPECT_EQ(kelaccelerate::HasWideVectors(), GetParam() && __builtin_cpu_supports("avx2"));
#else
    EXPECT_FALSE(kelaccelerate::HasWideVectors());
#endif
}

TEST(Convert, TouchesNothingForNoSamples) {
    for (const Routine& routine : kRoutines)
        for (const std::int32_t channels : {1, 2, 5, INT32_MAX})
            routine.convert(nullptr, nullptr, 0, channels);
}

TEST(Convert, StepsBeyond32Bits) {
    if (sizeof(void*) < 8)
        GTEST_SKIP() << "needs an address space of 64 bits";
    constexpr std::int32_t kChannels = 0x60000001;
    constexpr std::size_t kRoom = std::size_t{2} * kChannels * 8 + 8; // of which hardly any is touched
    GuardedBuffer source(kRoom), written(kRoom), expected(kRoom);
    Random random(2);
    for (const Routine& routine : kRoutines) {
        const Call call{routine, 3, kChannels};
        for (std::size_t i = 0; i < 3; ++i)
            FillWithSamples(source.begin() + i * call.sourceStep, routine.sourceBytes, routine.sourceBytes,
                            random);
        call.RunModel(source.begin(), expected.begin());
        call.Run(source.begin(), written.begin());
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(std::memcmp(written.begin() + i * call.writtenStep,
                                  expected.begin() + i * call.writtenStep, routine.writtenBytes),
                      0)
                << routine.name << ", sample " << i;
    }
}

// The models rest on these numbers, the bits of samples in files and of floats.
TEST(Convert, GivesTheseBits) {
    // clang-format off
    const struct { const char *routine, *name; std::uint64_t from, to; } kRows[] = {
        {"DeInterleave8Bit", "lowest", 0x80, 0xBF800000},
        {"DeInterleave16Bit", "highest", 0x7FFF, 0x3F7FFE00},
        {"DeInterleave32Bit", "highest rounds up", 0x7FFFFFFF, 0x3F800000},
        {"DeInterleave32Bit", "tie to even", 0x40000040, 0x3F000000},
        {"DeInterleave64Bit", "rounded twice", 0x400000BFFFFFFFFF, 0x3F000002},
        {"DeInterleave32BitFloat_1", "signalling NaN", 0x7F800001, 0x7F800001},
        {"DeInterleave32BitFloat_32768", "full scale", 0x47000000, 0x3F800000},
        {"DeInterleave64BitFloat", "beyond floats", 0x7E37E43C8800759C, 0x7F800000},
        {"Interleave32BitInteger", "full scale", 0x3F800000, 0x7FFFFFFF},
        {"Interleave32BitInteger", "NaN", 0x7FC00000, 0x80000000},
        {"Interleave32BitInteger", "product of -1.5", 0xB0400000, 0xFFFFFFFF},
        {"Interleave64BitInteger", "full scale", 0x3F800000, 0x7FFFFFFFFFFFFC00},
        {"Interleave64BitInteger", "negative NaN", 0xFFC00000, 0x8000000000000000},
        {"Interleave32BitFloat_32768", "2, unclipped", 0x40000000, 0x47800000},
        {"Interleave64BitFloat", "smallest float", 1, 0x36A0000000000000},
        {"ConvertBetweenSigned8BitAudioAndUnsigned", "silence", 0, 0x80},
    };
    // clang-format on
    for (const auto& row : kRows)
        for (const Routine& routine : kRoutines)
            if (std::strcmp(routine.name, row.routine) == 0) {
                Byte from[8], to[8], expected[8];
                PutBits(from, routine.sourceBytes, row.from, !routine.gathers);
                PutBits(expected, routine.writtenBytes, row.to, routine.gathers);
                routine.convert(from, to, 1, 1);
                EXPECT_EQ(std::memcmp(to, expected, routine.writtenBytes), 0)
                    << row.routine << ", " << row.name;
            }
}

TEST(Convert, RoundsToTheNearestInteger) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN(), kInfinity = HUGE_VALF;
    // clang-format off
    const struct { std::int32_t bytes; float value; std::uint32_t expected; } kRows[] = {
        {1, 0.5f / 128, 0}, {1, 1.5f / 128, 2}, {1, -1.5f / 128, 0xFE}, {1, 1, 0x7F}, {1, -kInfinity, 0x80}, {1, kNaN, 0},
        {2, 2.5f / 32768, 2}, {2, 0x1.fffffep-1f, 0x7FFF}, {2, -2, 0x8000}, {2, kInfinity, 0x7FFF}, {2, -kNaN, 0},
        {3, 0x1.fffffap-1f, 0x7FFFFE}, {3, 1, 0x7FFFFF}, {3, -1, 0x800000}, {3, 1e30f, 0x7FFFFF},
    };
    // clang-format on
    for (const auto& row : kRows) {
        Byte sample[3], expected[4];
        PutBits(expected, 4, row.expected, false);
        const float* const plane = &row.value;
        EncodeFrames({SampleCoding::kInteger, row.bytes}, &plane, sample, 1, 1);
        EXPECT_EQ(std::memcmp(sample, expected, static_cast<std::size_t>(row.bytes)), 0)
            << row.value << " as " << row.bytes << " bytes";
    }
}

} // namespace
