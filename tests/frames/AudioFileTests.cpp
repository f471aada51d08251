#include <algorithm>
#include <functional>
#include <optional>

#include "aiff/AiffImage.h"
#include "frames/AudioTest.h"
#include "kelaudiofile/MakePeaks.h"
#include "models/FrameModels.h"
#include "support/Faults.h"
#include "support/Random.h"

namespace kelaudiofile::audio_test {
namespace {

using AudioFiles = AudioTest;

TEST_F(AudioFiles, WhatDoesNotOpenSaysWhy) {
    using namespace aiff_tests;
    const auto wave = [](unsigned inTag, unsigned inChannels, unsigned inRate, unsigned inBits) {
        const auto format = LittleImage().U16(inTag).U16(inChannels).U32(inRate).U32(0).U16(2).U16(inBits);
        return LittleImage().Chunk("fmt ", format).Chunk("data", Bytes(8)).In("RIFF", "WAVE");
    };
    // clang-format off
    const struct { const char* name; Bytes image; std::int32_t code; const char* message; } kRows[] = {
        {"missing", {}, kNotFound, "No such file"}, {".", {}, kNotAFile, "cannot be opened"},
        {"text", ToBytes("no audio, but long enough for a header"), kNotAudio, "neither a wave nor"},
        {"other FORM", Form("8SVX", Bytes(20)), kNotAudio, "neither a wave nor"},
        {"short", ToBytes("RI"), kBrokenFile, "too short"},
        {"mu-law", wave(7, 1, 48000, 8), kUnsupported, "mu-law"},
        {"GSM", wave(0x31, 1, 48000, 8), kUnsupported, "GSM 6.10"},
        {"unknown coding", wave(0x99, 1, 48000, 8), kUnsupported, "tag 153"},
        {"12 bits", wave(1, 1, 48000, 12), kUnsupported, "2 bytes that no routine decodes"},
        {"no channels", wave(1, 0, 48000, 16), kBrokenFile, "no channels"},
        {"no rate", wave(1, 1, 0, 16), kBrokenFile, "no valid sample rate"},
        {"AIFF, header only", Form("AIFF", {}), kBrokenFile, "COMM"},
        {"AIFF, compressed", Aiff({.code = "ulaw"}, Ssnd(Bytes(16))), kUnsupported, "compressed: 'ulaw'"},
        {"AIFF, 12 bits", Aiff({.bits = 12}, Ssnd(Bytes(16))), kUnsupported, "12 bits"},
        {"AIFF, frames that are not there", Aiff({}, Ssnd(Bytes(16), 17)), kBrokenFile, "more frames than it has"},
        {"AIFF, rate infinite", Aiff({.rate = {0x7F, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}}, Ssnd(Bytes(16))), kBrokenFile, "no valid sample rate"},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        if (!row.image.empty())
            WriteFile(folder.Path(row.name), row.image);
        EXPECT_EQ(AudioReader::Open(Path(row.name), error), nullptr);
        ExpectError(row.code, row.message);
        EXPECT_EQ(bool(error.system), row.code == kNotFound || row.code == kNotAFile);
        EXPECT_EQ(error.message.find("Success"), std::string::npos);
    }
}

TEST_F(AudioFiles, FormatsThatAContainerCannotHoldAreRefused) {
    const auto rate = [](double inRate) { return AudioFormat{inRate, 2, {kInteger, 2}, {}}; };
    const auto layout = [](kelmediatypes::ChannelLayout inLayout) {
        return AudioFormat{48000, 2, {kInteger, 2}, std::move(inLayout)};
    };
    // clang-format off
    const struct { const char* message; Container container; AudioFormat format; } kRows[] = {
        {"sample rate", kWave, rate(0)}, {"sample rate", kWave, rate(44100.5)},
        {"sample rate", kAiff, rate(NAN)}, {"sample rate", kAiff, rate(4e9)},
        {"at least one channel", kWave, Format(2, kInteger, 0)}, {"coding and width", kWave, Format(5)},
        {"65,535 bytes", kWave, Format(3, kInteger, 30000)}, {"32,767 channels", kWave, Format(1, kInteger, 32768)},
        {"1 to 4 bytes", kAiff, Format(8)}, {"1 to 4 bytes", kAiff, Format(8, kFloat_1)},
        {"1 to 4 bytes", kAiff, Format(4, kFloat_32768)}, {"one entry per channel", kWave, layout({101, 100, 102})},
        {"usual layout", kWave, {48000, 2, {kFloat_32768, 4}, {101, 100}}},
    };
    // clang-format on
    for (const auto& row : kRows) {
        EXPECT_EQ(AudioWriter::Create(Path("file"), row.container, row.format, {}, error), nullptr);
        ExpectError(kBadArgument, row.message);
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path("file")));
    EXPECT_EQ(AudioWriter::Create(Path("no/folder"), kWave, Format(2), {}, error), nullptr);
    ExpectError(kNotFound, "No such file");
    EXPECT_EQ(AudioWriter::Create(Path("."), kWave, Format(2), {.replaceWhenFinished = true}, error),
              nullptr);
    ExpectError(kNotAFile, "cannot be created");
    for (const AudioFormat& format :
         {rate(1), rate(INT32_MAX), Format(3, kInteger, 21845), Format(1, kInteger, 32767)})
        Writer("file", kWave, format);
}

TEST_F(AudioFiles, LayoutsOfAnyReaderAreAccepted) {
    // clang-format off
    const struct { kelmediatypes::ChannelLayout inAiff, inWave; } kRows[] = {
        {MakeLayout("5.1"), {100, 101, 102, 103, 104, 105}},
        {{100, 107, 102, 101, 108, 106}, {}}, // the assumed layout of an AIFF file of 6 channels
        {{101, 100}, {}}, {{129, 130}, {}}, {{100}, {100}}, {{0, 100, 0}, {}},
        {{100, 102, 0}, {100, 102, 0}}, {{100, 101, 0}, {}}, {{102, 0}, {}},
        {{134, 135, 136, 137}, {134, 135, 136, 137}}, {{134, 135, 136, 0, 0}, {134, 135, 136, 0, 0}}, {{134, 100}, {}},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(&row - kRows);
        AudioFormat format = Format(3, kInteger, static_cast<std::int32_t>(row.inAiff.size()));
        format.layout = row.inAiff;
        for (const Container container : {kAiff, kWave, kAiff}) {
            const auto writer = Writer("file", container, format);
            const auto written = writer->Format().layout;
            ASSERT_TRUE(writer->Finish(error)) << error.message;
            const Bytes whole = Contents("file");
            EXPECT_TRUE(container == kAiff ||
                        Bytes(whole.end() - 8, whole.end()) == ToBytes({"data\0\0\0", 8}));
            format = Reader("file")->Format();
            EXPECT_TRUE(format.layout == written);
            EXPECT_TRUE(container == kAiff || written == row.inWave);
        }
    }
}

// Written in pieces and read; then rewritten from its bytes.
TEST_F(AudioFiles, EveryFormatReadsBackAsWritten) {
    Random random(1);
    int held = 0;
    for (const Container container : {kWave, kAiff})
        for (const auto& model : sample_models::kFrameModels)
            for (const std::int32_t channels : {1, 2, 5}) {
                const AudioFormat format = Format(model.bytes, model.coding, channels);
                const WriterOptions options{.littleEndianAiff = random.Below(2) == 0};
                auto writer = AudioWriter::Create(Path("file"), container, format, options, error);
                if (!writer)
                    continue;
                SCOPED_TRACE(testing::Message() << "number " << ++held << ", " << model.bytes << " bytes");
                const std::int64_t frames = 1 + random.Below(20000);
                Planes planes = Signal(static_cast<std::size_t>(channels), frames);
                for (std::int64_t count; writer->Frames() < frames;) {
                    count = std::min<std::int64_t>(random.Below(9000), frames - writer->Frames());
                    ASSERT_TRUE(writer->Write(Pointers(planes, writer->Frames()).data(), count, error));
                }
                ASSERT_TRUE(writer->Finish(error)) << error.message;
                const auto reader = Reader("file");
                EXPECT_EQ(ReadAll(*reader, error), planes) << error.message;
                EXPECT_TRUE((reader->Wave() != nullptr) == (container == kWave) && !reader->Recovered());
                EXPECT_EQ(reader->Aiff() != nullptr, container == kAiff);
                Bytes raw(static_cast<std::size_t>(frames * channels * model.bytes));
                const auto copy = AudioWriter::Create(Path("copy"), container, format, options, error);
                ASSERT_TRUE(reader->ReadRaw(0, frames, raw.data(), error) &&
                            copy->WriteRaw(raw.data(), frames, error) && copy->Finish(error));
                EXPECT_EQ(Contents("copy"), Contents("file"));
                const Container other = container == kWave ? kAiff : kWave;
                if (auto bytes = AudioWriter::Create(Path("copy"), other, format, {}, error)) {
                    ASSERT_TRUE(bytes->CopyFrames(*reader, 0, frames, error) && bytes->Finish(error));
                    EXPECT_EQ(ReadAll(*Reader("copy"), error), planes);
                }
            }
    EXPECT_EQ(held, 27 + 15) << "of wave and AIFF";
}

// One after the other; a refused call changes nothing.
TEST_F(AudioFiles, CallsInOrderAndOutOfIt) {
    Planes planes = Signal(2, 10);
    float* const pointers[] = {planes[0].data(), planes[1].data()};
    const auto wave = Writer("wave"), aiff = Writer("aiff", kAiff);
    // clang-format off
    const auto mono = Writer("mono", kWave, Format(2, kInteger, 1));
    const struct { const char* name; std::int32_t code; std::function<bool()> call; const char* message = ""; } kCalls[] = {
        {"no planes", kBadArgument, [&] { return wave->Write(nullptr, 1, error); }},
        {"no bytes", kBadArgument, [&] { return wave->WriteRaw(nullptr, 1, error); }},
        {"no data", kBadArgument, [&] { return wave->WriteChunk(ChunkId("bext"), nullptr, 1, error); }},
        {"less than no frames", kBadArgument, [&] { return wave->Write(pointers, -1, error); }},
        {"the library's own chunk", kBadArgument, [&] { return wave->WriteChunk(ChunkId("data"), "", 0, error); }},
        {"an empty chunk", kNoError, [&] { return wave->WriteChunk(ChunkId("junk"), nullptr, 0, error); }},
        {"frames", kNoError, [&] { return wave->Write(pointers, 10, error); }},
        {"a chunk", kNoError, [&] { return wave->WriteChunk(ChunkId("bext"), "x", 1, error); }},
        {"frames after a chunk", kWrongOrder, [&] { return wave->Write(pointers, 1, error); }},
        {"no frames after a chunk", kWrongOrder, [&] { return wave->Write(pointers, 0, error); }},
        {"the end", kNoError, [&] { return wave->Finish(error); }},
        {"a second end", kWrongOrder, [&] { return wave->Finish(error); }},
        {"to be deleted after the end", kWrongOrder, [&] { return wave->Discard(error); }},
        {"frames after the end", kWrongOrder, [&] { return wave->Write(pointers, 1, error); }},
        {"a chunk after the end", kWrongOrder, [&] { return wave->WriteChunk(ChunkId("bext"), "x", 1, error); }},
        {"a checkpoint after the end", kWrongOrder, [&] { return wave->Checkpoint(error); }, "finished"},
        {"frames of two channels as one", kBadArgument, [&] { return mono->CopyFrames(*Reader("wave"), 0, 1, error); }, "2"},
        {"AIFF, the library's own chunk", kBadArgument, [&] { return aiff->WriteChunk(ChunkId("COMM"), "", 0, error); }},
        {"AIFF, a checkpoint", kWrongOrder, [&] { return aiff->Checkpoint(error); }},
        {"AIFF, no frames", kNoError, [&] { return aiff->Write(nullptr, 0, error); }},
        {"AIFF, a chunk after them", kWrongOrder, [&] { return aiff->WriteChunk(ChunkId("ANNO"), "x", 1, error); }},
        {"AIFF, more frames than there are", kBadArgument, [&] { return aiff->CopyFrames(*Reader("wave"), 0, 11, error); }},
        {"AIFF, the end", kNoError, [&] { return aiff->Finish(error) && Reader("aiff")->Frames() == 0; }},
        {"AIFF, copies after the end", kWrongOrder, [&] { return aiff->CopyFrames(*Reader("wave"), 0, 1, error); }},
    };
    // clang-format on
    for (const auto& row : kCalls) {
        SCOPED_TRACE(row.name);
        error = {};
        EXPECT_EQ(row.call(), row.code == kNoError);
        ExpectError(row.code, row.message);
    }
    const auto reader = Reader("wave");
    EXPECT_EQ(ReadAll(*reader, error), planes);
    for (const auto& [first, count] :
         {std::pair<std::int64_t, std::int64_t>{-1, 1}, {0, 11}, {11, 0}, {5, -1}}) {
        EXPECT_FALSE(reader->Read(first, count, pointers, error) ||
                     reader->ReadRaw(first, count, &error, error));
        ExpectError(kBadArgument);
    }
    EXPECT_FALSE(reader->Read(0, 1, nullptr, error) || reader->ReadRaw(0, 1, nullptr, error));
    EXPECT_TRUE(reader->Read(10, 0, nullptr, error) && reader->ReadRaw(10, 0, nullptr, error));
    float sample = 0;
    float* const second[] = {nullptr, &sample};
    EXPECT_TRUE(reader->Read(3, 1, second, error));
    EXPECT_EQ(sample, planes[1][3]);
}

TEST_F(AudioFiles, CopiesKeepBytesAndChunks) {
    Planes planes = Signal(2, 30000);
    auto writer = Writer("a.wav", kWave, Format(3));
    const std::string large(200'000, 'x');
    ASSERT_TRUE(writer->WriteChunk(ChunkId("bext"), large.data(), large.size(), error) &&
                writer->Write(Pointers(planes).data(), 30000, error) &&
                writer->WriteChunk(ChunkId("iXML"), "after", 5, error) &&
                writer->WriteChunk(ChunkId("fact"), "abcd", 4, error) && writer->Finish(error));
    const auto copy = [&](const char* inFrom, const char* inTo, Container inContainer,
                          const AudioFormat& inFormat) {
        auto reader = Reader(inFrom);
        auto target = Writer(inTo, inContainer, inFormat);
        EXPECT_TRUE(target->CopyChunks(*reader, Side::kBefore, error) &&
                    target->CopyFrames(*reader, 0, reader->Frames(), error) &&
                    target->CopyChunks(*reader, Side::kAfter, error) && target->Finish(error))
            << error.message;
    };
    copy("a.wav", "b.wav", kWave, Format(3));
    EXPECT_EQ(Contents("a.wav"), Contents("b.wav"));
    copy("a.wav", "c.aif", kAiff, Format(2));
    copy("c.aif", "d.wav", kWave, Format(4, kFloat_1));
    auto reader = Reader("d.wav");
    EXPECT_EQ(ReadAll(*reader, error), planes);
    std::string chunks;
    for (const AudioChunk& chunk : reader->Chunks()) {
        Bytes data;
        ASSERT_TRUE(chunk.Read(data, error));
        for (const auto& [offset, count] : {std::pair{std::int64_t{-1}, std::int64_t{1}},
                                            {0, chunk.Size() + 1},
                                            {chunk.Size() + 1, 0},
                                            {1, -1}})
            EXPECT_FALSE(chunk.Read(offset, count, data.data(), error));
        EXPECT_TRUE(chunk.Read(chunk.Size(), 0, nullptr, error) && !chunk.Read(0, 1, nullptr, error));
        chunks += ChunkIdText(chunk.Id()) + (chunk.Place() == Side::kBefore ? "<" : ">") +
                  std::string(data.begin(), data.end()) + " ";
    }
    EXPECT_EQ(chunks, "bext<" + large + " iXML<after ") << "fact describes other samples";
    EXPECT_EQ(ChunkIdText(0x7E7F1F20), " ??~");
    EXPECT_EQ(ChannelName(101) + ", " + ChannelName(128), "front right, unknown position");
}

TEST_F(AudioFiles, LongSilenceBecomesAHole) {
    const faults::Scope scope;
    const float* const silence[] = {nullptr, nullptr};
    // clang-format off
    const struct { Container container; std::int32_t bytes; bool rf64; std::int64_t frames; bool skips; } kRows[] = {
        {kWave, 4, true, 16384, false}, {kWave, 4, true, 16385, true}, {kWave, 4, false, 16385, true},
        {kWave, 1, true, 70000, false}, {kAiff, 4, true, 16385, false},
    };
    // clang-format on
    for (const auto& row : kRows) {
        const auto writer = Writer("file", row.container, Format(row.bytes), {.rf64 = row.rf64});
        faults::SystemCalls() = {};
        ASSERT_TRUE(writer->Write(silence, row.frames, error) && writer->Frames() == row.frames);
        EXPECT_EQ(faults::SystemCalls().bytesWritten < 1000, row.skips);
        ASSERT_TRUE(writer->Finish(error));
        EXPECT_EQ(ReadAll(*Reader("file"), error), Planes(2, std::vector<float>(std::size_t(row.frames))));
    }
    for (const bool rf64 : {false, true}) { // without RF64, a chunk ends inside the silence
        const auto writer = Writer("file", kWave, Format(4), {.rf64 = rf64});
        faults::SystemCalls() = {.failAt = 3, .mode = faults::System::Mode::kFailForGood, .outputOnly = true};
        EXPECT_EQ(writer->Write(silence, 0xFFFFFFFF / 8, error), rf64);
        faults::Scope::Reset();
    }
}

TEST_F(AudioFiles, AnOldFileSurvivesUntilTheNewOneIsWhole) {
    const auto begin = [this](std::int64_t inFrames) {
        Planes planes = Signal(2, inFrames);
        auto writer = Writer("file", kWave, Format(2), {.replaceWhenFinished = true});
        EXPECT_TRUE(writer->Write(Pointers(planes).data(), inFrames, error));
        return writer;
    };
    ASSERT_TRUE(begin(100)->Finish(error));
    auto old = Reader("file");
    auto writer = begin(50);
    EXPECT_EQ(Reader("file")->Frames(), 100);
    ASSERT_TRUE(writer->Finish(error)) << error.message;
    EXPECT_EQ(Reader("file")->Frames(), 50);
    begin(10); // will be abandoned
    EXPECT_EQ(Reader("file")->Frames(), 50);
    writer = begin(30);
    std::optional<faults::FullDisk> full(1);
    EXPECT_FALSE(writer->Finish(error));
    full.reset();
    EXPECT_EQ(Reader("file")->Frames(), 50);
    writer = begin(20);
    EXPECT_TRUE(writer->Discard(error) && !writer->Finish(error));
    EXPECT_EQ(Reader("file")->Frames(), 50);
    EXPECT_FALSE(std::filesystem::exists(Path("file.part")));
    EXPECT_EQ(ReadAll(*old, error), Signal(2, 100));
}

TEST_F(AudioFiles, DigestsGoByWhatIsHeard) {
    const auto digest = [this](const AudioFormat& inFormat, Container inContainer, std::int64_t inPadding,
                               bool inTrim) {
        Planes planes = Signal(2, 10000);
        const float* const silence[] = {nullptr, nullptr};
        auto writer = Writer("file", inContainer, inFormat);
        EXPECT_TRUE(writer->Write(silence, inPadding, error) &&
                    writer->Write(Pointers(planes).data(), 10000, error) &&
                    writer->Write(silence, inPadding / 2, error) && writer->Finish(error));
        Bytes fed;
        const auto feed = [&](const unsigned char* inBytes, std::uint64_t inCount) {
            fed.insert(fed.end(), inBytes, inBytes + inCount);
        };
        EXPECT_TRUE(HashAudio(Path("file"), feed, {inTrim, {}}, error)) << error.message;
        return fed;
    };
    AudioFormat faster = Format(1);
    faster.sampleRate = 96000;
    const Bytes fed = digest(Format(1), kWave, 0, false);
    EXPECT_EQ(fed.size(), 12 + 8 * 10000u);
    EXPECT_EQ(Bytes(fed.begin(), fed.begin() + 4), Bytes({2, 0, 0, 0})) << "channels";
    EXPECT_EQ(digest(Format(4, kFloat_1), kAiff, 0, false), fed);
    EXPECT_EQ(digest(Format(3), kWave, 30000, true), digest(Format(3), kWave, 0, true));
    EXPECT_NE(digest(Format(3), kWave, 30000, false), fed);
    EXPECT_NE(digest(faster, kWave, 0, false), fed);
    for (const bool trim : {false, true}) {
        std::int64_t fedBytes = 0;
        std::vector<std::int64_t> done, expected = {8192, 10000};
        if (trim)
            expected.insert(expected.end(), {18192, 20000});
        const auto feed = [&](const unsigned char*, std::uint64_t count) {
            fedBytes += static_cast<std::int64_t>(count);
        };
        const auto cancel = [](std::int64_t, std::int64_t) { return false; };
        EXPECT_FALSE(HashAudio(Path("file"), feed, {trim, cancel}, error));
        ExpectError(kCancelled);
        EXPECT_EQ(fedBytes == 12, trim) << "the first of two passes feeds no samples";
        const auto watch = [&](std::int64_t inDone, std::int64_t inTotal) {
            EXPECT_EQ(inTotal, expected.back());
            return done.push_back(inDone), true;
        };
        EXPECT_TRUE(HashAudio(Path("file"), feed, {trim, watch}, error));
        EXPECT_EQ(done, expected);
    }
}

// NaN here and there in one channel, and long runs of it in the other, which count as 0.
TEST_F(AudioFiles, PeaksAreTheExtremesOfEachBlock) {
    Planes planes = Signal(2, 20000);
    for (std::size_t frame = 3; frame < 20000; frame += 7)
        planes[0][frame] = NAN;
    for (float& sample : planes[1])
        sample = std::fabs(sample) + 1;
    std::fill_n(planes[1].begin() + 8000, 1500, NAN);
    ASSERT_TRUE(Writer("file", kWave, Format(4, kFloat_1))->Write(Pointers(planes).data(), 20000, error));
    auto reader = Reader("file");
    for (const unsigned block : {1u, 2u, 7u, 15u, 16u, 17u, 64u, 300u, 8191u, 9000u, 30000u}) {
        const auto timelines = MakePeaks(*reader, block, {}, error);
        ASSERT_EQ(timelines.size(), 2u);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            PeakDatumVector expected;
            for (std::size_t frame = 0; frame < 20000; ++frame) {
                if (frame % block == 0)
                    expected.emplace_back(HUGE_VALF, -HUGE_VALF);
                const float sample = planes[channel][frame];
                expected.back() = {std::fmin(expected.back().min, sample),
                                   std::fmax(expected.back().max, sample)};
            }
            std::replace(expected.begin(), expected.end(), PeakDatum(HUGE_VALF, -HUGE_VALF), PeakDatum());
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), timelines[channel]->begin(),
                                   timelines[channel]->end()))
                << "channel " << channel << ", blocks of " << block;
            EXPECT_EQ(timelines[channel]->GetDuration(), 20000);
        }
    }
    EXPECT_EQ(kelaudiofile::MakePeaks(planes[0].data(), 20000, 0).size(), 0u);
    const PeakDataSegment one = kelaudiofile::MakePeaks(planes[0].data(), 1, 1);
    EXPECT_TRUE(one.size() == 1 && one.GetStartOffset() == 0);
    const auto cancel = [](std::int64_t, std::int64_t) { return false; };
    EXPECT_TRUE(MakePeaks(*reader, 1, cancel, error).empty());
    ExpectError(kCancelled);
    EXPECT_TRUE(MakePeaks(*reader, 0, {}, error).empty());
    ExpectError(kBadArgument);
}

} // namespace
} // namespace kelaudiofile::audio_test
