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

using Pieces = std::vector<Bytes>;             // what the consumer receives
using Sample = std::function<float(int, int)>; // of a frame and a channel

float Numbered(int inFrame, int inChannel) {
    return static_cast<float>(inFrame * 4 + inChannel + 1);
}

/// The frames of a range, block by block and channel by channel.
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
        for (int i = 0; i < inFrames * inChannels; ++i)
            samples.U32(std::bit_cast<std::uint32_t>(inSample(i / inChannels, i % inChannels)));
        const auto channels = static_cast<std::uint16_t>(inChannels),
                   blockAlign = static_cast<std::uint16_t>(4 * inChannels);
        Put(Wave({3, channels, 48000, blockAlign, 32}).Chunk("data", samples));
    }
    /// @param outPieces  what is fed, up to a failure. @return the message of the
    ///        failure, empty if there is none.
    std::string Hash(bool inTrimSilence, Pieces& outPieces) {
        const auto feed = [&](const unsigned char* bytes, std::uint64_t count) {
            outPieces.emplace_back(bytes, bytes + count);
        };
        try {
            HashWaveFile(feed, mPathText, inTrimSilence);
        } catch (const kelcore::config::kel_exception& exception) {
            return exception.GetAdditionalData().size() == 4 ? exception.what() : "of no origin";
        }
        return "";
    }
    /// Expects these pieces to be fed, or a failure with a message.
    void Expect(bool inTrimSilence, const Pieces& inPieces, const std::string& inMessage = "") {
        Pieces pieces;
        EXPECT_EQ(Hash(inTrimSilence, pieces), inMessage);
        EXPECT_TRUE(pieces == inPieces);
    }
};

} // namespace

TEST_F(Hashing, BlockByBlockWithoutSilenceAtTheEnds) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    // clang-format off
    const struct {
        const char* name; int channels, frames; Sample sample; int first, end; ///< the range that is not silent
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
        SCOPED_TRACE(row.name);
        PutFrames(row.frames, row.channels, row.sample);
        Expect(false, Blocks(0, row.frames, row.channels, row.sample));
        Expect(true, Blocks(row.first, row.end, row.channels, row.sample));
    }
}

TEST_F(Hashing, FilesThatCannotBeHashed) {
    const std::string path = '\'' + kelcore::ToStdString(mPathText) + '\'',
                      failed = "Failed to hash the wave file.";
    const auto wave = [](std::uint16_t channels, std::uint16_t bits, std::size_t dataBytes) {
        return Wave({1, channels, 8000, 2, bits}).Chunk("data", Bytes(dataBytes, 1));
    };
    // clang-format off
    const struct { const char* name; Bytes image; std::string message; } kCases[] = {
        {"no wave file", Bytes(100, 'x'), "Failed to open the wave file " + path + " with error code 2."},
        {"12 bits in 2 bytes", wave(1, 12, 100), failed}, {"12 bits in 2 bytes, no audio", wave(1, 12, 0), ""},
        {"minus one channel", wave(0xFFFF, 16, 100), failed}, {"no channel, so no frames", wave(0, 16, 100), ""},
        {"no audio", wave(1, 16, 0), ""},
    };
    // clang-format on
    for (const bool trim : {false, true}) {
        std::filesystem::remove(mPath);
        Expect(trim, {}, "The wave file " + path + " does not exist.");
        for (const auto& row : kCases) {
            SCOPED_TRACE(row.name);
            Put(row.image);
            Expect(trim, {}, row.message);
        }
    }
}

TEST_F(Hashing, ConsumersMayThrow) {
    PutFrames(20'000, 2, Numbered);
    EXPECT_THROW(HashWaveFile([](const unsigned char*, std::uint64_t) { throw 7; }, mPathText, true), int);
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
}

// Each call fails once: the reads of three blocks, the close, and finally none. A failure while silence is
// searched ends the search; a later one makes the hash fail.
TEST_F(Hashing, ABlockThatCannotBeRead) {
    kelcore::logging::SetSink([](std::string_view) {}); // without a trace in memory
    PutFrames(20'000, 1, Numbered);
    for (const bool trim : {false, true}) {
        std::string outcomes;
        outcomes.reserve(1000);
        faults::SweepCalls({}, [&] {
            Pieces pieces;
            outcomes += Hash(trim, pieces).empty() ? "fed " : "failed ";
            outcomes += std::to_string(pieces.size()) + ' ';
        });
        const std::string searches = trim ? "fed 0 fed 1 fed 2 " : "";
        EXPECT_TRUE(outcomes.ends_with(searches + "failed 0 failed 1 failed 2 fed 3 fed 3 ")) << outcomes;
    }
}
