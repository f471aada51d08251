#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>

#include "WaveTest.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelcore/config.h"
#include "support/Sweep.h"

using namespace wave_tests;
using kelaudiofile::HashWaveFile;

namespace {

using Pieces = std::vector<Bytes>;             // what the consumer gets
using Sample = std::function<float(int, int)>; // of a frame and a channel

float Numbered(int inFrame, int inChannel) {
    return static_cast<float>(inFrame * 4 + inChannel + 1);
}

/// Frames of a range, block by block and channel by channel.
Pieces Blocks(int inFirst, int inEnd, int inChannels, const Sample& inSample) {
    Pieces pieces;
    for (int start = inFirst; start < inEnd; start += 8192)
        for (int channel = 0; channel < inChannels; ++channel) {
            testing_support::ImageOf<std::endian::native> piece;
            for (int frame = start; frame < std::min(start + 8192, inEnd); ++frame)
                piece.U32(std::bit_cast<std::uint32_t>(inSample(frame, channel)));
            pieces.push_back(piece);
        }
    return pieces;
}

class Hashing : public WaveTest {
protected:
    void PutFrames(int inFrames, int inChannels, const Sample& inSample) {
        Image samples;
        for (int frame = 0; frame < inFrames; ++frame)
            for (int channel = 0; channel < inChannels; ++channel)
                samples.U32(std::bit_cast<std::uint32_t>(inSample(frame, channel)));
        Put(Wave({3, static_cast<std::uint16_t>(inChannels), 48000,
                  static_cast<std::uint16_t>(4 * inChannels), 32})
                .Chunk("data", samples));
    }
    Pieces Hash(bool inTrimSilence) {
        Pieces pieces;
        HashWaveFile([&](const unsigned char* bytes,
                         std::uint64_t count) { pieces.emplace_back(bytes, bytes + count); },
                     mPathText, inTrimSilence);
        return pieces;
    }
    /// It must fail with this message, an origin, and nothing fed.
    void ExpectFailure(const std::string& inMessage) {
        for (const bool trim : {false, true})
            try {
                ADD_FAILURE() << Hash(trim).size() << " pieces fed";
            } catch (const kelcore::config::kel_exception& exception) {
                EXPECT_EQ(exception.what(), inMessage);
                EXPECT_EQ(exception.GetAdditionalData().size(), 4u);
            }
    }
};

} // namespace

TEST_F(Hashing, BlockByBlockWithoutSilenceAtTheEnds) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    // clang-format off
    const struct {
        const char* name; int channels, frames; Sample sample; int first, end; ///< what is heard
    } kCases[] = {
        {"mono", 1, 20'000, Numbered, 0, 20'000}, {"three channels", 3, 20'000, Numbered, 0, 20'000},
        {"silence inside stays", 1, 1000, [](int f, int) { return f == 100 || f == 199; }, 100, 200},
        {"silent if all channels are", 2, 50,
         [](int f, int c) { return c == 0 ? f >= 10 && f <= 20 : f >= 5 && f <= 12; }, 5, 21},
        {"only the first frame", 2, 20'000, [](int f, int) { return f == 0; }, 0, 1},
        {"only the last frame", 2, 20'000, [](int f, int c) { return f == 19'999 && c == 1; }, 19'999, 20'000},
        {"across blocks", 1, 40'000, [](int f, int) { return f >= 8000 && f < 30'000 ? 1 + f % 9 : 0; }, 8000, 30'000},
        {"negative zero is silent", 2, 9000, [](int, int) { return -0.0f; }, 0, 0},
        {"a NaN is not", 1, 10, [](int f, int) { return f == 3 ? kNan : 0.0f; }, 3, 4},
    };
    // clang-format on
    for (const auto& row : kCases) {
        PutFrames(row.frames, row.channels, row.sample);
        EXPECT_TRUE(Hash(false) == Blocks(0, row.frames, row.channels, row.sample)) << row.name;
        EXPECT_TRUE(Hash(true) == Blocks(row.first, row.end, row.channels, row.sample)) << row.name;
    }
}

TEST_F(Hashing, FilesThatCannotBeHashed) {
    const std::string path = kelcore::ToStdString(mPathText);
    ExpectFailure("The wave file '" + path + "' does not exist.");
    Put(Bytes(100, 'x'));
    ExpectFailure("Failed to open the wave file '" + path + "' with error code 2.");
    // clang-format off
    const struct { const char* name; FormatImage format; std::size_t dataBytes; bool fails; } kCases[] = {
        {"12 bits in 2 bytes", {1, 1, 8000, 2, 12}, 100, true},
        {"12 bits in 2 bytes, no audio", {1, 1, 8000, 2, 12}, 0, false},
        {"minus one channel", {1, 0xFFFF, 8000, 2, 16}, 100, true},
        {"no channel, so no frames", {1, 0, 8000, 2, 16}, 100, false},
        {"no audio", {}, 0, false},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        Put(Wave(row.format).Chunk("data", Bytes(row.dataBytes, 1)));
        if (row.fails)
            ExpectFailure("Failed to hash the wave file.");
        else
            EXPECT_TRUE(Hash(false).empty() && Hash(true).empty());
    }
}

TEST_F(Hashing, ConsumersMayThrow) {
    PutFrames(20'000, 2, Numbered);
    faults::Scope::Reset();
    int calls = 0;
    const auto throwing = [&](const unsigned char*, std::uint64_t) { ++calls % 3 ? void() : throw calls; };
    for (const bool trim : {false, true})
        EXPECT_THROW(HashWaveFile(throwing, mPathText, trim), int);
    EXPECT_EQ(calls, 6);
    EXPECT_THROW(HashWaveFile(nullptr, mPathText, false), std::bad_function_call);
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    EXPECT_EQ(faults::Heap().liveBytes, 0);
}

// Each call fails once, the reads of three blocks, the close, and none. A failure while silence is looked for
// ends the search, one later is a failure of the hash.
TEST_F(Hashing, ABlockThatCannotBeRead) {
    kelcore::logging::SetSink([](std::string_view) {}); // without a trace in memory
    PutFrames(20'000, 1, Numbered);
    for (const bool trim : {false, true}) {
        std::string outcomes;
        outcomes.reserve(1000);
        faults::SweepCalls({}, [&] {
            std::size_t fed = 0;
            try {
                HashWaveFile([&](const unsigned char*, std::uint64_t) { ++fed; }, mPathText, trim);
                outcomes += "fed ";
            } catch (const kelcore::config::kel_exception&) {
                outcomes += "failed ";
            }
            outcomes.append(std::to_string(fed)).append(" ");
        });
        const std::string_view searches = trim ? "fed 0 fed 1 fed 2 " : "",
                               hashes = "failed 0 failed 1 failed 2 ";
        EXPECT_TRUE(outcomes.ends_with(std::string(searches).append(hashes) + "fed 3 fed 3 ")) << outcomes;
    }
}
