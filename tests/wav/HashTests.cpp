#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <limits>

#include "WriteSupport.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelcore/config.h"
#include "kelcore/debug.h"
#include "kelcore/logging.h"
#include "support/Sweep.h"

using namespace wave_tests;
using namespace testing_support;
using kelaudiofile::HashWaveFile;
using kelcore::config::kel_exception;

namespace {

using Pieces = std::vector<std::vector<std::uint32_t>>; // as bits, for NaNs

/// 32,767 channels of 8 bytes, more than the block align can say.
const Bytes kWide = Image().U16(1).U16(32767).U32(8000).U32(0).U16(0).U16(64);

/// What the consumer gets, piece by piece.
Pieces Hash(const kelcore::UTF8String& inPath, bool inTrimSilence) {
    Pieces pieces;
    HashWaveFile(
        [&](const unsigned char* inBytes, std::uint64_t inCount) {
            pieces.emplace_back(inCount / sizeof(float));
            std::memcpy(pieces.back().data(), inBytes, inCount);
        },
        inPath, inTrimSilence);
    return pieces;
}

/// A float file of frames that a function of frame and channel gives.
void WriteFrames(const TemporaryFolder& inFolder, int inChannels, int inFrames,
                 const std::function<float(int, int)>& inSample) {
    const Handle file = Create(inFolder.PathText("file"),
                               {.channels = inChannels, .bytesPerSample = 4, .bits = 32, .sampleType = 2});
    Image samples;
    for (int frame = 0; frame < inFrames; ++frame)
        for (int channel = 0; channel < inChannels; ++channel)
            samples.U32(std::bit_cast<std::uint32_t>(inSample(frame, channel)));
    ASSERT_EQ(Write(*file, 0, samples), 0);
    ASSERT_TRUE(file->FinishSamples() && file->FinishWrite());
}

float Numbered(int inFrame, int inChannel) {
    return static_cast<float>(inFrame * 4 + inChannel + 1);
}

std::string Text(const kelcore::utility::DictionaryValue& inValue) {
    return kelcore::ToStdString(std::get<kelcore::UTF8String>(inValue));
}

/// The failure must be this one, told as message, function and expression, with nothing fed.
void ExpectFailure(const kelcore::UTF8String& inPath, const std::string& inFailure) {
    using namespace kelcore::debug;
    for (const bool trim : {false, true})
        try {
            HashWaveFile([&](const unsigned char*, std::uint64_t) { ADD_FAILURE() << "fed"; }, inPath, trim);
            ADD_FAILURE() << "nothing thrown";
        } catch (const kel_exception& exception) {
            const auto& data = exception.GetAdditionalData();
            EXPECT_EQ(exception.what() + (" | " + Text(data.at(kDebugSourceFunction))) + " | " +
                          Text(data.at(kDebugExpression)),
                      inFailure);
            EXPECT_EQ(data.size(), 4u);
            EXPECT_TRUE(Text(data.at(kDebugSourceFile)).ends_with("HashWaveFile.cpp"));
            EXPECT_GT(std::get<std::int64_t>(data.at(kDebugSourceLine)), 1);
        }
}

} // namespace

// What is fed, told frame by frame: silence at both ends falls away, then block by block and channel by
// channel.
TEST(HashWaveFile, BlockByBlockAndChannelByChannel) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    // clang-format off
    const struct {
        const char* name; int channels, frames; std::function<float(int, int)> sample; int first, end; // that are heard
    } kCases[] = {
        {"mono", 1, 20'000, Numbered, 0, 20'000}, {"three channels", 3, 20'000, Numbered, 0, 20'000},
        {"silence inside stays", 1, 1000, [](int f, int) { return f == 100 || f == 199; }, 100, 200},
        {"silent if all channels are", 2, 50,
         [](int f, int c) { return c == 0 ? f >= 10 && f <= 20 : f >= 5 && f <= 12; }, 5, 21},
        {"the first frame alone", 2, 20'000, [](int f, int) { return f == 0; }, 0, 1},
        {"the last frame alone", 2, 20'000, [](int f, int c) { return f == 19'999 && c == 1; }, 19'999, 20'000},
        {"across blocks", 1, 40'000, [](int f, int) { return f >= 8000 && f < 30'000 ? 1 + f % 9 : 0; }, 8000, 30'000},
        {"negative zero is silent", 2, 9000, [](int, int) { return -0.0f; }, 0, 0},
        {"a NaN is not", 1, 10, [](int f, int) { return f == 3 ? kNan : 0.0f; }, 3, 4},
    };
    // clang-format on
    for (const auto& row : kCases)
        for (const bool trims : {false, true}) {
            SCOPED_TRACE(row.name);
            const int first = trims ? row.first : 0, end = trims ? row.end : row.frames;
            Pieces expected;
            for (int start = first; start < end; start += 8192)
                for (int channel = 0; channel < row.channels; ++channel) {
                    expected.emplace_back();
                    for (int frame = start; frame < std::min(start + 8192, end); ++frame)
                        expected.back().push_back(std::bit_cast<std::uint32_t>(row.sample(frame, channel)));
                }
            const TemporaryFolder folder;
            WriteFrames(folder, row.channels, row.frames, row.sample);
            EXPECT_TRUE(Hash(folder.PathText("file"), trims) == expected);
        }
}

TEST(HashWaveFile, OnlyTheDecodedAudioCounts) {
    const TemporaryFolder folder;
    WriteFrames(folder, 2, 100, [](int frame, int) { return static_cast<float>(frame) / 128; });
    const Pieces floats = Hash(folder.PathText("file"), false);
    // The same as 16-bit integers, in two data chunks, with metadata all around.
    Bytes first, second;
    for (unsigned char i = 0; i < 200; ++i)
        (i < 51 ? first : second)
            .insert((i < 51 ? first : second).end(), {0, static_cast<unsigned char>(i / 2)});
    Image image = Image().Chunk("LIST", {1, 2, 3}).Chunk("fmt ", ShortFormat(1, 2, 8000, 2, 16));
    image.Chunk("data", first).Chunk("bext", {1}).Chunk("data", second);
    WriteFile(folder.Path("16"), image.In("RIFF", "WAVE"));
    EXPECT_TRUE(Hash(folder.PathText("16"), false) == floats);
    // Bytes of 8-bit files go in as they stand: signed, so that 0 is silent and 0x80 is not. What the open
    // recovers of a recorder that lost power is hashed.
    const Image bits8 =
        Image().Chunk("fmt ", ShortFormat(1, 1, 8000, 1, 8)).Text("data").U32(0).Add({0, 0x80, 0x40, 0});
    WriteFile(folder.Path("8"), Image(bits8).Add(Bytes(5)).In("RIFF", "WAVE"));
    EXPECT_TRUE((Hash(folder.PathText("8"), true) == Pieces{{0xBF800000, 0x3F000000}})) << "-1 and 0.5";
}

TEST(HashWaveFile, Failures) {
    const faults::Scope scope;
    kelcore::logging::SetSink([](std::string_view) {});
    const TemporaryFolder folder;
    const auto path = folder.PathText("file");
    const std::string text = kelcore::ToStdString(path);

    ExpectFailure(path, "The wave file '" + text +
                            "' does not exist. | kelaudiofile::HashWaveFile | "
                            "!kelcore::utility::FileUtils::FileExists(inFilePath)");
    WriteFile(folder.Path("file"), Bytes(100, 'x'));
    ExpectFailure(path, "Failed to open the wave file '" + text +
                            "' with error code 2. | kelaudiofile::HashWaveFile | !waveFile");

    // Formats that nothing decodes, with audio and without.
    // clang-format off
    const struct { const char* name; Bytes format; std::size_t dataBytes; bool fails; } kCases[] = {
        {"12 bits in 2 bytes", ShortFormat(1, 1, 8000, 2, 12), 100, true},
        {"12 bits in 2 bytes, no audio", ShortFormat(1, 1, 8000, 2, 12), 0, false},
        {"minus one channel", ShortFormat(1, 0xFFFF, 8000, 0xFFFE, 16), 100, true},
        {"no channel, so no frames", Image().U16(1).U16(0).U32(8000).U32(0).U16(2).U16(16), 100, false},
        {"32,767 channels of 8 bytes, no audio", kWide, 0, false},
    };
    // clang-format on
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        WriteFile(
            folder.Path("file"),
            Image().Chunk("fmt ", row.format).Chunk("data", Bytes(row.dataBytes, 1)).In("RIFF", "WAVE"));
        faults::Scope::Reset();
        if (row.fails)
            ExpectFailure(path, "Failed to hash the wave file. | kelaudiofile::`anonymous-namespace'::"
                                "HashWaveFileRange | processedSamples != inDuration");
        else
            EXPECT_TRUE(Hash(path, false).empty() && Hash(path, true).empty());
        EXPECT_LT(faults::Heap().peakBytes, 100'000);
    }

    // The consumer's exception comes through, with the file closed; an empty one fails when first called.
    WriteFrames(folder, 2, 20'000, Numbered);
    faults::Scope::Reset();
    const auto live = faults::Heap().liveBytes;
    int calls = 0;
    for (const bool trim : {false, true})
        EXPECT_THROW(
            HashWaveFile([&](const unsigned char*, std::uint64_t) { ++calls % 3 ? void() : throw calls; },
                         path, trim),
            int);
    EXPECT_EQ(calls, 6);
    EXPECT_THROW(HashWaveFile(nullptr, path, false), std::bad_function_call);
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    EXPECT_EQ(faults::Heap().liveBytes, live);
    WriteFrames(folder, 2, 0, Numbered);
    HashWaveFile(nullptr, path, false);

    // A read fails in the middle: whatever call it is, one of the failures above comes or none, and never a
    // leak.
    WriteFrames(folder, 2, 20'000, Numbered);
    for (const bool trim : {false, true}) {
        std::uint64_t failed = 0;
        faults::SweepCalls({}, [&] {
            std::size_t pieces = 0;
            try {
                HashWaveFile([&](const unsigned char*, std::uint64_t) { ++pieces; }, path, trim);
                EXPECT_TRUE(!faults::Fired() || pieces == 6 || trim);
            } catch (const kel_exception&) {
                ++failed;
                EXPECT_LT(pieces, 6u);
            }
        });
        EXPECT_GE(failed, 6u) << "the open's calls and three blocks";
    }
    kelcore::logging::SetSink(nullptr);
}

TEST(HashWaveFile, ReadsEachBlockOnceAndAllocatesNothingPerBlock) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    for (const bool trim : {false, true}) {
        std::uint64_t allocations[2] = {}, reads[2] = {};
        for (const int blocks : {1, 20}) {
            WriteFrames(folder, 2, blocks * 8192, Numbered);
            faults::Scope::Reset();
            HashWaveFile([](const unsigned char*, std::uint64_t) {}, folder.PathText("file"), trim);
            allocations[blocks == 20] = faults::Heap().allocations;
            reads[blocks == 20] = faults::SystemCalls().reads;
            EXPECT_LT(faults::Heap().peakBytes, 150'000);
        }
        EXPECT_EQ(allocations[0], allocations[1]);
        EXPECT_EQ(reads[1] - reads[0], trim ? 38u : 19u);
    }
    // A short file gets small buffers, however wide its frames.
    WriteFile(folder.Path("file"),
              Image().Chunk("fmt ", kWide).Chunk("data", Bytes(32767 * 8 * 2)).In("RIFF", "WAVE"));
    faults::Scope::Reset();
    std::uint64_t pieces = 0;
    HashWaveFile([&](const unsigned char*, std::uint64_t inCount) { pieces += inCount == 8; },
                 folder.PathText("file"), false);
    EXPECT_EQ(pieces, 32'767u);
    EXPECT_LT(faults::Heap().peakBytes, 32'767 * 8 * 2 + 20'000);
}
