#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <functional>
#include <limits>

#include "WriteSupport.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelcore/config.h"
#include "kelcore/debug.h"
#include "kelcore/logging.h"
#include "support/Faults.h"

using namespace wave_tests;
using namespace testing_support;
using kelaudiofile::HashWaveFile;
using kelcore::config::kel_exception;

namespace {

using Floats = std::vector<float>;
using Pieces = std::vector<Floats>;

/// 32,767 channels of 8 bytes, more than the block align can say.
const Bytes kWide = Image().U16(1).U16(32767).U32(8000).U32(0).U16(0).U16(64);

/// What the consumer gets, piece by piece.
Pieces Hash(const kelcore::UTF8String& inPath, bool inTrimSilence) {
    Pieces pieces;
    HashWaveFile(
        [&](const unsigned char* inBytes, std::uint64_t inCount) {
            Floats floats(inCount / sizeof(float));
            std::memcpy(floats.data(), inBytes, inCount);
            pieces.push_back(floats);
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

/// The failure must be this one, with nothing fed.
void ExpectFailure(const kelcore::UTF8String& inPath, const std::string& inMessage, const char* inFunction,
                   const char* inExpression, std::size_t inPieces = 0) {
    for (const bool trim : {false, true}) {
        std::size_t pieces = 0;
        try {
            HashWaveFile([&](const unsigned char*, std::uint64_t) { ++pieces; }, inPath, trim);
            ADD_FAILURE() << "nothing thrown";
        } catch (const kel_exception& exception) {
            EXPECT_EQ(exception.what(), inMessage);
            const auto& data = exception.GetAdditionalData();
            EXPECT_EQ(data.size(), 4u);
            EXPECT_EQ(Text(data.at(kelcore::debug::kDebugSourceFunction)), inFunction);
            EXPECT_EQ(Text(data.at(kelcore::debug::kDebugExpression)), inExpression);
            EXPECT_NE(Text(data.at(kelcore::debug::kDebugSourceFile)).find("HashWaveFile.cpp"),
                      std::string::npos);
            EXPECT_GT(std::get<std::int64_t>(data.at(kelcore::debug::kDebugSourceLine)), 1);
        }
        EXPECT_EQ(pieces, inPieces);
    }
}

void ExpectHashFailure(const kelcore::UTF8String& inPath, std::size_t inPieces = 0) {
    ExpectFailure(inPath, "Failed to hash the wave file.",
                  "kelaudiofile::`anonymous-namespace'::HashWaveFileRange", "processedSamples != inDuration",
                  inPieces);
}

} // namespace

TEST(HashWaveFile, BlockByBlockAndChannelByChannel) {
    for (const int channels : {1, 2, 3}) {
        SCOPED_TRACE(channels);
        const TemporaryFolder folder;
        WriteFrames(folder, channels, 20'000, Numbered);
        Pieces expected;
        for (int start = 0; start < 20'000; start += 8192)
            for (int channel = 0; channel < channels; ++channel) {
                expected.emplace_back();
                for (int frame = start; frame < std::min(start + 8192, 20'000); ++frame)
                    expected.back().push_back(Numbered(frame, channel));
            }
        EXPECT_TRUE(Hash(folder.PathText("file"), false) == expected);
        EXPECT_TRUE(Hash(folder.PathText("file"), true) == expected) << "nothing to trim";
    }
}

TEST(HashWaveFile, TrimsSilenceAtBothEnds) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        const char* name;
        int channels, frames;
        std::function<bool(int, int)> sounds;
        int start, duration;
        float sound = 1.0f;
    } kCases[] = {
        {"mono, silence inside stays", 1, 1000, [](int f, int) { return f == 100 || f == 199; }, 100, 100},
        {"a frame is silent if all channels are", 2, 50,
         [](int f, int c) { return c == 0 ? f >= 10 && f <= 20 : f >= 5 && f <= 12; }, 5, 16},
        {"the first frame alone", 2, 20'000, [](int f, int) { return f == 0; }, 0, 1},
        {"the last frame alone", 2, 20'000, [](int f, int c) { return f == 19'999 && c == 1; }, 19'999, 1},
        {"across blocks, counted from the range's start", 1, 40'000,
         [](int f, int) { return f >= 8000 && f < 30'000; }, 8000, 22'000},
        {"nothing but silence", 2, 9000, [](int, int) { return false; }, 0, 0},
        {"negative zero is silent", 1, 10, [](int, int) { return true; }, 0, 0, -0.0f},
        {"a NaN is not", 1, 10, [](int f, int) { return f == 3; }, 3, 1, kNan},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        WriteFrames(folder, row.channels, row.frames,
                    [&](int frame, int channel) { return row.sounds(frame, channel) ? row.sound : 0.0f; });
        const Pieces pieces = Hash(folder.PathText("file"), true);
        std::size_t index = 0;
        for (int done = 0; done < row.duration; done += 8192)
            for (int channel = 0; channel < row.channels; ++channel, ++index) {
                ASSERT_LT(index, pieces.size());
                ASSERT_EQ(pieces[index].size(),
                          static_cast<std::size_t>(std::min(row.duration - done, 8192)));
                EXPECT_EQ(pieces[index][0] != 0, row.sounds(row.start + done, channel));
            }
        EXPECT_EQ(index, pieces.size());
    }
}

TEST(HashWaveFile, OnlyTheDecodedAudioCounts) {
    const TemporaryFolder folder;
    WriteFrames(folder, 2, 100, [](int frame, int) { return static_cast<float>(frame) / 128; });
    const Pieces floats = Hash(folder.PathText("file"), false);
    // The same as 16-bit integers, in two data chunks, with metadata all around.
    const Handle file = Create(folder.PathText("16"), {.rf64 = false});
    Bytes bytes;
    for (int frame = 0; frame < 100; ++frame)
        for (int channel = 0; channel < 2; ++channel)
            bytes.insert(bytes.end(), {0, static_cast<unsigned char>(frame)});
    WriteMetadatum(*file, FourCC("LIST"), {1, 2, 3});
    ASSERT_EQ(Write(*file, 0, Bytes(bytes.begin(), bytes.begin() + 101)), 0);
    ASSERT_TRUE(file->FinishSamples());
    WriteMetadatum(*file, FourCC("bext"), {1});
    ASSERT_EQ(Write(*file, 101, Bytes(bytes.begin() + 101, bytes.end())), 0);
    ASSERT_TRUE(file->FinishSamples() && file->FinishWrite());
    EXPECT_TRUE(Hash(folder.PathText("16"), false) == floats);

    // Bytes of 8-bit files go in as they stand: signed, so that 0 is silent and 0x80 is not.
    const Handle bits8 =
        Create(folder.PathText("8"), {.channels = 1, .bytesPerSample = 1, .bits = 8, .layout = {102}});
    ASSERT_EQ(Write(*bits8, 0, {0, 0x80, 0x40, 0}), 0);
    ASSERT_TRUE(bits8->FinishSamples() && bits8->FinishWrite());
    EXPECT_TRUE((Hash(folder.PathText("8"), true) == Pieces{{-1.0f, 0.5f}}));

    // A recorder that lost power: what the open recovers is hashed.
    WriteFile(folder.Path("cut"), Image()
                                      .Chunk("fmt ", ShortFormat(1, 1, 8000, 1, 8))
                                      .Text("data")
                                      .U32(0)
                                      .Add(Bytes(10, 0xC0))
                                      .InRiff());
    EXPECT_TRUE((Hash(folder.PathText("cut"), false) == Pieces{Floats(10, -0.5f)}));
}

TEST(HashWaveFile, Failures) {
    const faults::Scope scope;
    kelcore::logging::SetSink([](std::string_view) {});
    const TemporaryFolder folder;
    const auto path = folder.PathText("file");
    const std::string text = kelcore::ToStdString(path);
    const auto one = [](int, int) { return 1.0f; };

    ExpectFailure(path, "The wave file '" + text + "' does not exist.", "kelaudiofile::HashWaveFile",
                  "!kelcore::utility::FileUtils::FileExists(inFilePath)");
    WriteFile(folder.Path("file"), Bytes(100, 'x'));
    ExpectFailure(path, "Failed to open the wave file '" + text + "' with error code 2.",
                  "kelaudiofile::HashWaveFile", "!waveFile");

    // Formats that nothing decodes, with audio and without.
    const struct {
        const char* name;
        Bytes format;
        std::size_t dataBytes;
        bool fails;
    } kCases[] = {
        {"12 bits in 2 bytes", ShortFormat(1, 1, 8000, 2, 12), 100, true},
        {"12 bits in 2 bytes, no audio", ShortFormat(1, 1, 8000, 2, 12), 0, false},
        {"minus one channel", ShortFormat(1, 0xFFFF, 8000, 0xFFFE, 16), 100, true},
        {"no channel, so no frames", Image().U16(1).U16(0).U32(8000).U32(0).U16(2).U16(16), 100, false},
        {"32,767 channels of 8 bytes, no audio", kWide, 0, false},
        {"less than a frame", ShortFormat(1, 2, 8000, 2, 16), 3, false},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        WriteFile(folder.Path("file"),
                  Image().Chunk("fmt ", row.format).Chunk("data", Bytes(row.dataBytes, 1)).InRiff());
        faults::Scope::Reset();
        if (row.fails)
            ExpectHashFailure(path);
        else
            EXPECT_TRUE(Hash(path, false).empty() && Hash(path, true).empty());
        EXPECT_LT(faults::Heap().peakBytes, 100'000);
    }

    // The consumer's exception comes through, with the file closed; an empty one fails when first called.
    WriteFrames(folder, 2, 20'000, one);
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
    WriteFrames(folder, 2, 0, one);
    HashWaveFile(nullptr, path, false);

    // A read fails in the middle: whatever call it is, one of the failures above comes or none, and never a
    // leak.
    WriteFrames(folder, 2, 20'000, one);
    for (const bool trim : {false, true}) {
        std::uint64_t failed = 0;
        for (std::uint64_t call = 0;; ++call) {
            faults::Scope::Reset();
            faults::SystemCalls().failAt = call;
            std::size_t pieces = 0;
            try {
                HashWaveFile([&](const unsigned char*, std::uint64_t) { ++pieces; }, path, trim);
                EXPECT_TRUE(faults::SystemCalls().fired == 0 || pieces == 6 || trim);
            } catch (const kel_exception&) {
                ++failed;
                EXPECT_LT(pieces, 6u);
            }
            EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
            if (faults::SystemCalls().fired == 0)
                break;
        }
        EXPECT_GE(failed, 6u) << "the open's calls and three blocks";
    }
    kelcore::logging::SetSink(nullptr);
}

TEST(HashWaveFile, ReadsEachBlockOnceAndAllocatesNothingPerBlock) {
    const faults::Scope scope;
    const TemporaryFolder folder;
    std::uint64_t allocations[2] = {}, reads[2] = {};
    for (const bool trim : {false, true}) {
        for (const int blocks : {1, 20}) {
            WriteFrames(folder, 2, blocks * 8192, Numbered);
            std::uint64_t bytes = 0;
            faults::Scope::Reset();
            HashWaveFile([&](const unsigned char*, std::uint64_t inCount) { bytes += inCount; },
                         folder.PathText("file"), trim);
            EXPECT_EQ(bytes, static_cast<std::uint64_t>(blocks) * 65'536);
            allocations[blocks == 20] = faults::Heap().allocations;
            reads[blocks == 20] = faults::SystemCalls().reads;
            EXPECT_LT(faults::Heap().peakBytes, 150'000);
        }
        EXPECT_EQ(allocations[0], allocations[1]);
        EXPECT_EQ(reads[1] - reads[0], trim ? 38u : 19u);
    }
    // A short file gets small buffers, however wide its frames.
    WriteFile(folder.Path("file"), Image().Chunk("fmt ", kWide).Chunk("data", Bytes(32767 * 8 * 2)).InRiff());
    faults::Scope::Reset();
    std::uint64_t pieces = 0;
    HashWaveFile([&](const unsigned char*, std::uint64_t inCount) { pieces += inCount == 8; },
                 folder.PathText("file"), false);
    EXPECT_EQ(pieces, 32'767u);
    EXPECT_LT(faults::Heap().peakBytes, 32'767 * 8 * 2 + 20'000);
}
