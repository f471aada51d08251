#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "GuardedBuffer.h"
#include "SampleModels.h"
#include "kelaccelerate/WideVectors.h"
#include "support/Files.h"
#include "support/Random.h"

using namespace convert_tests;
using testing_support::Bytes;
using testing_support::GuardedBuffer;
using testing_support::Random;

namespace {

/// Full scales, zeros, denormals, infinities, NaN, and floats around each clip and each step of truncation,
/// in either byte order, between random bytes.
void FillWithSamples(std::uint8_t* outBytes, std::size_t inByteCount, std::size_t inWidth, Random& ioRandom) {
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
        PutLittle(outBytes + i, static_cast<int>(width), bits);
        if constexpr (std::endian::native == std::endian::big)
            if (bits % 4 < 2)
                std::reverse(outBytes + i, outBytes + i + width);
    }
}

/// Where a buffer lies in its pages.
struct Place {
    const char* name;
    enum { kFront, kBack, kInside } where;
    std::size_t offset = 0; ///< from the front, when inside

    std::uint8_t* In(GuardedBuffer& inBuffer, std::size_t inByteCount) const {
        return where == kBack ? inBuffer.end() - inByteCount : inBuffer.begin() + offset;
    }
};

const struct {
    Place source, destination;
} kPlacings[] = {
    {{"front", Place::kFront}, {"back", Place::kBack}},
    {{"back", Place::kBack}, {"front", Place::kFront}},
    {{"1 inside", Place::kInside, 1}, {"64 inside", Place::kInside, 64}},
    {{"32 inside", Place::kInside, 32}, {"3 inside", Place::kInside, 3}},
    {{"7 inside", Place::kInside, 7}, {"13 inside", Place::kInside, 13}},
};

std::vector<std::int32_t> Counts() {
    std::vector<std::int32_t> counts = {255, 511, 1000};
    for (std::int32_t count = 0; count <= 80; ++count)
        counts.push_back(count);
    for (std::int32_t count = 127; count <= 144; ++count)
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
// pages that must not be touched, and all bytes around and between the written samples kept.
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
                    std::uint8_t* in = placing.source.In(source, call.sourceReach);
                    std::uint8_t* out = placing.destination.In(destination, call.writtenReach);
                    FillWithSamples(in, call.sourceReach, routine.sourceBytes, random);
                    std::uint8_t* from = placing.destination.where == Place::kBack ? destination.end() - used
                                                                                   : destination.begin();
                    std::uint8_t* model = expected.begin() + (out - from);
                    std::memset(from, 0xA5, used);
                    std::memset(expected.begin(), 0xA5, used);
                    call.RunModel(in, model);

                    call.Run(in, out);

                    ASSERT_TRUE(std::equal(from, from + used, expected.begin()))
                        << routine.name << ", " << count << " samples, " << channels << " channels, source "
                        << placing.source.name << ", destination " << placing.destination.name
                        << ", first at byte "
                        << std::mismatch(from, from + used, expected.begin()).first - out;
                }
            }
}

TEST(Convert, TouchesNothingForNoSamples) {
    GuardedBuffer nothing(1);
    nothing.Protect(PROT_NONE);
    for (const Routine& routine : kRoutines)
        for (const std::int32_t channels : {1, 2, 5, INT32_MAX}) {
            routine.convert(nothing.begin(), nothing.begin(), 0, channels);
            routine.convert(nullptr, nullptr, 0, channels);
        }
}

TEST(Convert, StepsBeyond32Bits) {
    if (sizeof(void*) < 8)
        GTEST_SKIP() << "needs an address space of 64 bits";
    constexpr std::int32_t kChannels = 0x60000001;
    GuardedBuffer sparse(std::size_t{2} * kChannels * 8 + 8), dense(64);
    Random random(2);
    for (const Routine& routine : kRoutines) {
        SCOPED_TRACE(routine.name);
        const Call call{routine, 3, kChannels};
        std::uint8_t expected[24] = {};
        const bool gathers = routine.strided == Routine::kSource;
        std::uint8_t* in = (gathers ? sparse : dense).begin();
        std::uint8_t* out = (gathers ? dense : sparse).begin();
        for (std::size_t i = 0; i < 3; ++i) {
            FillWithSamples(in + i * call.sourceStep, routine.sourceBytes, routine.sourceBytes, random);
            routine.model(in + i * call.sourceStep, expected + i * routine.writtenBytes);
        }
        call.Run(in, out);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(std::memcmp(out + i * call.writtenStep, expected + i * routine.writtenBytes,
                                  routine.writtenBytes),
                      0)
                << "sample " << i;
    }
}

// The models rest on these numbers. A sample's lowest byte comes first in the file.
TEST(DeInterleave, GivesTheseValues) {
    // clang-format off
    const struct { const char* name; DeinterleaveFunction convert; std::uint64_t bits; float value; } kCases[] = {
        {"8 bit, lowest", DeInterleave8Bit, 0x80, -1.0f},
        {"8 bit, -1", DeInterleave8Bit, 0xFF, -0.0078125f},
        {"16 bit, highest", DeInterleave16Bit, 0x7FFF, 0.999969482421875f},
        {"24 bit, lowest", DeInterleave24Bit, 0x800000, -1.0f},
        {"24 bit, highest", DeInterleave24Bit, 0x7FFFFF, 0.9999998807907104f},
        {"32 bit, highest rounds up", DeInterleave32Bit, 0x7FFFFFFF, 1.0f},
        {"32 bit, tie to even below", DeInterleave32Bit, 0x40000040, 0.5f},
        {"32 bit, tie to even above", DeInterleave32Bit, 0x400000C0, 0x1.000004p-1f},
        {"64 bit, lowest", DeInterleave64Bit, 0x8000000000000000, -1.0f},
        {"64 bit, rounded twice", DeInterleave64Bit, 0x400000BFFFFFFFFF, 0x1.000004p-1f},
        {"float on 16-bit scale", DeInterleave32BitFloat_32768, 0x47000000, 1.0f},
        {"float on 16-bit scale, underflow to a denormal", DeInterleave32BitFloat_32768, 0x00800000, 0x1p-141f},
        {"float on 24-bit scale", DeInterleave32BitFloat_8388608, 0x4B000000, 1.0f},
        {"float on 24-bit scale, above full scale", DeInterleave32BitFloat_8388608, 0x4B800000, 2.0f},
        {"double beyond floats", DeInterleave64BitFloat, 0x7E37E43C8800759C, HUGE_VALF},
        {"double above full scale", DeInterleave64BitFloat, 0xC000000000000000, -2.0f},
    };
    // clang-format on
    for (const auto& row : kCases) {
        std::uint8_t sample[8];
        PutLittle(sample, 8, row.bits);
        float value = -7;
        row.convert(sample, &value, 1, 1);
        EXPECT_EQ(std::bit_cast<std::uint32_t>(value), std::bit_cast<std::uint32_t>(row.value))
            << row.name << value;
    }
}

TEST(Interleave, GivesTheseBytes) {
    const float kNaN = std::numeric_limits<float>::quiet_NaN(), kInfinity = HUGE_VALF;
    // clang-format off
    const struct {
        const char* name; ConversionFunction convert; float value; int size; std::uint64_t bits;
    } kRows[] = {
        {"32 bit, full scale", Interleave32BitInteger, 1.0f, 4, 0x7FFFFFFF},
        {"32 bit, highest below full scale", Interleave32BitInteger, 0x1.fffffep-1f, 4, 0x7FFFFF80},
        {"32 bit, negative full scale", Interleave32BitInteger, -1.0f, 4, 0x80000000},
        {"32 bit, infinity", Interleave32BitInteger, kInfinity, 4, 0x7FFFFFFF},
        {"32 bit, below", Interleave32BitInteger, -2.0f, 4, 0x80000000},
        {"32 bit, NaN", Interleave32BitInteger, kNaN, 4, 0x80000000},
        {"32 bit, negative NaN", Interleave32BitInteger, -kNaN, 4, 0x80000000},
        {"32 bit, product of -0.5", Interleave32BitInteger, -0x1p-32f, 4, 0},
        {"32 bit, product of -1.5", Interleave32BitInteger, -0x1.8p-31f, 4, 0xFFFFFFFF},
        {"32 bit, product of 1.5", Interleave32BitInteger, 0x1.8p-31f, 4, 1},
        {"64 bit, full scale", Interleave64BitInteger, 1.0f, 8, 0x7FFFFFFFFFFFFC00},
        {"64 bit, highest below full scale", Interleave64BitInteger, 0x1.fffffep-1f, 8, 0x7FFFFF8000000000},
        {"64 bit, below", Interleave64BitInteger, -2.0f, 8, 0x8000000000000000},
        {"64 bit, NaN", Interleave64BitInteger, kNaN, 8, 0x8000000000000000},
        {"64 bit, product of -1.5", Interleave64BitInteger, -0x1.8p-63f, 8, 0xFFFFFFFFFFFFFFFF},
        {"16-bit scale, unclipped", Interleave32BitFloat_32768, 2.0f, 4, 0x47800000},
        {"24-bit scale", Interleave32BitFloat_8388608, -1.0f, 4, 0xCB000000},
        {"24-bit scale, overflow", Interleave32BitFloat_8388608, 0x1p110f, 4, 0x7F800000},
        {"double", Interleave64BitFloat, 0x1p-149f, 8, 0x36A0000000000000},
    };
    // clang-format on
    for (const auto& row : kRows) {
        std::uint8_t sample[8];
        row.convert(&row.value, sample, 1, 1);
        EXPECT_EQ(LittleBits(sample, row.size), row.bits) << row.name;
    }
}

TEST(Interleave, MovesTheseBytes) {
    // clang-format off
    const struct {
        const char* name;
        ConversionFunction convert;
        std::int32_t count, channels;
        Bytes source, destination; ///< the latter all dots before
    } kCases[] = {
        {"signs", ConvertBetweenSigned8BitAudioAndUnsigned, 4, 1, {0x00, 0x80, 0xFF, 0x7F}, {0x80, 0x00, 0x7F, 0xFF}},
        {"16 bits of 5 bytes", Swizzle16Bit, 5, 1, {1, 2, 3, 4, 5}, {2, 1, 4, 3, '.'}},
        {"24 bits, stereo", Swizzle24Bit, 6, 2, {1, 2, 3, 4, 5, 6}, {3, 2, 1, '.', '.', '.', 6, 5, 4}},
        {"32 bits of 7 bytes", Swizzle32Bit, 7, 1, {1, 2, 3, 4, 5, 6, 7}, {4, 3, 2, 1, '.', '.', '.'}},
        {"fewer bytes than a sample", Swizzle32Bit, 3, 2, {1, 2, 3}, {'.', '.', '.'}},
    };
    // clang-format on
    for (const auto& row : kCases) {
        Bytes destination(row.destination.size(), '.');
        row.convert(row.source.data(), destination.data(), row.count, row.channels);
        EXPECT_EQ(destination, row.destination) << row.name;
    }
}

} // namespace
