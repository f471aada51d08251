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

/// Returns the bytes of a number, lowest first as in a file, or in native order.
void PutBits(Byte* out, std::size_t inWidth, std::uint64_t inBits, bool inOfMachine) {
    for (std::size_t i = 0; i < inWidth; ++i)
        out[i] = static_cast<Byte>(inBits >> (8 * i));
    if (inOfMachine && std::endian::native == std::endian::big)
        std::reverse(out, out + inWidth);
}

/// Full scales, zeros, denormals, infinities, NaN, and floats around each clipping and truncation threshold,
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

std::vector<std::int32_t> Counts() {
    std::vector<std::int32_t> counts = {255, 511, 1000};
    for (std::int32_t count = 0; count <= 144; count += count == 80 ? 47 : 1)
        counts.push_back(count);
    return counts;
}

/// Whether wide vectors are used if the processor has them.
class EachWay : public testing::TestWithParam<bool> {
public:
    EachWay() { kelaccelerate::AllowWideVectors(GetParam()); }
    ~EachWay() override { kelaccelerate::AllowWideVectors(true); }
};

INSTANTIATE_TEST_SUITE_P(Convert, EachWay, testing::Bool(),
                         [](const auto& inCase) { return inCase.param ? "Wide" : "Plain"; });

// Compares each routine with its model: every count, channel count and address, with both buffers placed
// against inaccessible pages, checking that all bytes around and between the written samples are kept; and in
// place if samples keep their width.
TEST_P(EachWay, MatchesTheModelAndTouchesNothingElse) {
    constexpr std::size_t kRoom = 1000 * 64 * 8 + 128;
    constexpr struct {
        bool isSourceAtBack;
        std::size_t source, destination; ///< bytes from the sides
    } kPlacings[] = {{false, 0, 0}, {true, 0, 0}, {false, 1, 64}, {true, 32, 3}, {false, 7, 13}};
    GuardedBuffer source(kRoom), destination(kRoom), expected(kRoom);
    Random random(1);
    for (const Routine& routine : kRoutines)
        for (const std::int32_t channels : {1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 15, 16, 23, 24, 31, 64})
            for (const std::int32_t count : Counts())
                for (const auto& [isSourceAtBack, sourceGap, gap] : kPlacings) {
                    const Call call{routine, count, channels};
                    const std::size_t used = std::max(call.sourceReach, call.writtenReach) + 128;
                    Byte* const in = isSourceAtBack ? source.end() - call.sourceReach - sourceGap
                                                    : source.begin() + sourceGap;
                    Byte* const from = destination.At(!isSourceAtBack, used);
                    Byte* out = isSourceAtBack ? from + gap : from + used - call.writtenReach - gap;
                    Byte* const model = expected.begin() + (out - from);
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
                        << sourceGap << " to " << gap << (same ? ", in place" : "");
                }
}

// A host that traps floating-point exceptions must not be killed by a sample that can be converted without
// one. Between the samples of a channel are signalling NaN.
TEST_P(EachWay, RaisesNoMoreFlagsThanTheSteps) {
    constexpr double kInfinity = HUGE_VAL, kNaN = std::numeric_limits<double>::quiet_NaN();
    for (const Routine& routine : kRoutines)
        for (const double value : {-2.0, -1.0, -0.0, 0.0, 0.25, 0x1.8p-40, 1.0, 2.0, 1e30, -1e30, 1e300,
                                   kInfinity, -kInfinity, kNaN, 0x1p-127, -0x1p-149, 0x1p-1074})
            for (const std::int32_t channels : {1, 2, 3})
                for (const std::int32_t count : {1, 300}) {
                    const Call call{routine, count, channels};
                    std::vector<Byte> source(call.sourceReach), written(call.writtenReach);
                    const std::uint64_t sample =
                        routine.sourceBytes == 8 ? std::bit_cast<std::uint64_t>(value)
                                                 : std::bit_cast<std::uint32_t>(static_cast<float>(value));
                    for (std::size_t i = 0; i < source.size(); i += routine.sourceBytes)
                        PutBits(&source[i], routine.sourceBytes,
                                i % call.sourceStep == 0 ? sample : 0x7FF000007F800001, !routine.gathers);
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

TEST_P(EachWay, BlocksMatchTheModelOfEachSample) {
    Random random(3);
    const auto fill = [&](Byte* out, std::size_t byteCount, std::size_t width) {
        FillWithSamples(out, byteCount, width, random);
    };
    for (const FrameModel& model : kFrameModels)
        for (const std::int32_t channels :
             {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 15, 16, 17, 19, 20, 33, 64})
            for (const std::int32_t frames : Counts()) {
                const FrameBlock block{model, random.Below(2) == 0, std::size_t(frames),
                                       std::size_t(channels)};
                const std::uint32_t leftOut = random.Below(2) == 0 ? 0 : random() & random();
                ASSERT_EQ(Difference(block, leftOut, random.Below(2) == 0, fill), "")
                    << "coding " << static_cast<int>(model.coding) << " of " << model.bytes << " bytes, "
                    << (block.isSpecial ? "big-endian or unsigned, " : "") << frames << " frames, "
                    << channels << " channels";
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
    DecodeFrames({SampleCoding::kInteger, 2}, nullptr, nullptr, 0, 2);
    EncodeFrames({SampleCoding::kInteger, 2}, nullptr, nullptr, 0, 2);
}

TEST(Convert, TouchesNothingInOtherFormats) {
    constexpr auto kNoOrder = static_cast<ByteOrder>(2);
    for (const SampleFormat& format :
         {SampleFormat{SampleCoding::kInteger, 5}, SampleFormat{SampleCoding::kFloat_32768, 8},
          SampleFormat{SampleCoding::kInteger, 2, ByteOrder::kLittleEndian, true},
          SampleFormat{SampleCoding::kInteger, 2, kNoOrder}}) {
        EXPECT_FALSE(IsSupported(format));
        DecodeFrames(format, nullptr, nullptr, 1, 2);
        EncodeFrames(format, nullptr, nullptr, 1, 2);
    }
}

TEST(Convert, StepsBeyond32Bits) {
#if defined(_WIN32)
    GTEST_SKIP() << "Windows has no memory that is promised but not set aside";
#endif
    if (sizeof(void*) < 8)
        GTEST_SKIP() << "needs an address space of 64 bits";
    constexpr std::int32_t kChannels = 0x60000001;
    constexpr std::size_t kRoom = std::size_t{2} * kChannels * 8 + 8; // almost none of it is touched
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

/// Writes one sample as an integer.
template <int kBytes>
void Encode(const void* source, void* destination, std::int32_t, std::int32_t) {
    const auto* const plane = static_cast<const float*>(source);
    EncodeFrames({SampleCoding::kInteger, kBytes}, &plane, destination, 1, 1);
}

// The models are based on these numbers, the bits of samples in files and of floats.
TEST(Convert, GivesTheseBits) {
    // clang-format off
    const struct { const char* name; Convert convert; std::uint64_t from, to; std::size_t bytesInFile; bool decodes = true; } kRows[] = {
        {"lowest", Gather<DeInterleave8Bit>, 0x80, 0xBF800000, 1},
        {"highest rounds up", Gather<DeInterleave32Bit>, 0x7FFFFFFF, 0x3F800000, 4},
        {"tie to even", Gather<DeInterleave32Bit>, 0x40000040, 0x3F000000, 4},
        {"rounded twice", Gather<DeInterleave64Bit>, 0x400000BFFFFFFFFF, 0x3F000002, 8},
        {"signalling NaN", Gather<DeInterleave32BitFloat_1>, 0x7F800001, 0x7F800001, 4},
        {"beyond floats", Gather<DeInterleave64BitFloat>, 0x7E37E43C8800759C, 0x7F800000, 8},
        {"32 bits of full scale", Interleave32BitInteger, 0x3F800000, 0x7FFFFFFF, 4, false},
        {"32 bits of a NaN", Interleave32BitInteger, 0x7FC00000, 0x80000000, 4, false},
        {"32 bits of a product of -1.5", Interleave32BitInteger, 0xB0400000, 0xFFFFFFFF, 4, false},
        {"64 bits of full scale", Interleave64BitInteger, 0x3F800000, 0x7FFFFFFFFFFFFC00, 8, false},
        {"2, unclipped", Interleave32BitFloat_32768, 0x40000000, 0x47800000, 4, false},
        {"smallest float", Interleave64BitFloat, 1, 0x36A0000000000000, 8, false},
        {"8 bits of 0.5 steps, to even", Encode<1>, 0x3B800000, 0, 1, false},
        {"8 bits of 1.5 steps, to even", Encode<1>, 0x3C400000, 2, 1, false},
        {"16 bits of 1", Encode<2>, 0x3F800000, 0x7FFF, 2, false},
        {"16 bits of a NaN", Encode<2>, 0x7FC00000, 0, 2, false},
        {"24 bits of almost 1", Encode<3>, 0x3F7FFFFD, 0x7FFFFE, 3, false},
    };
    // clang-format on
    for (const auto& row : kRows) {
        const std::size_t toBytes = row.decodes ? sizeof(float) : row.bytesInFile;
        Byte from[8], to[8], expected[8];
        PutBits(from, row.decodes ? row.bytesInFile : sizeof(float), row.from, !row.decodes);
        PutBits(expected, toBytes, row.to, row.decodes);
        row.convert(from, to, 1, 1);
        EXPECT_EQ(std::memcmp(to, expected, toBytes), 0) << row.name;
    }
}

} // namespace
