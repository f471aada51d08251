#include <algorithm>

#include "frames/AudioTest.h"

namespace kelaudiofile::audio_test {

namespace {

std::string Text(const Bytes& inBytes) {
    return std::string(inBytes.begin(), inBytes.end());
}

class AudioFiles : public AudioTest {};

TEST_F(AudioFiles, WhatDoesNotOpenSaysWhy) {
    const std::string wave = std::string("RIFF\x2C\0\0\0WAVEfmt \x10\0\0\0", 20);
    const auto format = [](char inTag, char inChannels, char inBits) {
        return std::string({inTag, 0, inChannels, 0}) + std::string("\x80\xBB\0\0\0\0\0\0\2\0", 10) +
               std::string({inBits, 0}) + std::string("data\x08\0\0\0........", 16);
    };
    const struct {
        const char* name;
        std::string contents;
        std::int32_t code;
        const char* message;
    } rows[] = {
        {"text", "no audio, but long enough for a header", AudioError::kNotAudio, "neither a wave nor"},
        {"short", "RI", AudioError::kBrokenFile, "too short"},
        {"mu-law", wave + format(7, 1, 8), AudioError::kUnsupported, "mu-law"},
        {"12 bits", wave + format(1, 1, 12), AudioError::kUnsupported, "2 bytes that no routine decodes"},
        {"no channels", wave + format(1, 0, 16), AudioError::kBrokenFile, "no channels"},
        {"aiff header alone", std::string("FORM\0\0\0\4AIFF", 12), AudioError::kBrokenFile, "COMM"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        testing_support::WriteFile(folder.Path("file"), testing_support::ToBytes(row.contents));
        EXPECT_EQ(AudioReader::Open(Path("file"), error), nullptr);
        EXPECT_EQ(error.code, row.code) << error.message;
        EXPECT_NE(error.message.find(row.message), std::string::npos) << error.message;
    }
    EXPECT_EQ(AudioReader::Open(Path("missing"), error), nullptr);
    EXPECT_EQ(error.code, AudioError::kNotFound);
    EXPECT_EQ(error.system, std::errc::no_such_file_or_directory);
    EXPECT_EQ(AudioReader::Open(Path("."), error), nullptr);
    EXPECT_EQ(error.code, AudioError::kNotAFile);
    EXPECT_EQ(AudioWriter::Create(Path("no/folder"), Container::kWave, Format(2), {}, error), nullptr);
    EXPECT_EQ(error.code, AudioError::kNotFound) << error.message;
}

TEST_F(AudioFiles, FormatsThatAContainerCannotHoldAreRefused) {
    const auto with = [](auto inChange) {
        AudioFormat format = Format(2);
        inChange(format);
        return format;
    };
    const struct {
        const char* message;
        Container container;
        AudioFormat format;
    } rows[] = {
        {"sample rate", Container::kWave, with([](AudioFormat& f) { f.sampleRate = 0; })},
        {"sample rate", Container::kWave, with([](AudioFormat& f) { f.sampleRate = 44100.5; })},
        {"sample rate", Container::kAiff, with([](AudioFormat& f) { f.sampleRate = NAN; })},
        {"sample rate", Container::kAiff, with([](AudioFormat& f) { f.sampleRate = 4e9; })},
        {"at least one channel", Container::kWave, Format(2, SampleCoding::kInteger, 0)},
        {"65,535 bytes", Container::kWave, Format(3, SampleCoding::kInteger, 30000)},
        {"32,767 channels", Container::kWave, Format(1, SampleCoding::kInteger, 32768)},
        {"coding and width", Container::kWave, Format(5)},
        {"1 to 4 bytes", Container::kAiff, Format(8)},
        {"1 to 4 bytes", Container::kAiff, Format(8, SampleCoding::kFloat_1)},
        {"1 to 4 bytes", Container::kAiff, Format(4, SampleCoding::kFloat_32768)},
        {"mono or stereo", Container::kWave, Format(4, SampleCoding::kFloat_32768, 3)},
        {"one entry per channel", Container::kWave,
         with([](AudioFormat& f) { f.layout = MakeLayout("mono"); })},
        {"order of channels", Container::kWave, with([](AudioFormat& f) { f.layout = {101, 100}; })},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(AudioWriter::Create(Path("file"), row.container, row.format, {}, error), nullptr);
        EXPECT_EQ(error.code, AudioError::kBadArgument);
        EXPECT_NE(error.message.find(row.message), std::string::npos) << error.message;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path("file")));
}

TEST_F(AudioFiles, EveryFormatReadsBackWhatItsOwnClassesRead) {
    const SampleCoding kInteger = SampleCoding::kInteger, kFloat = SampleCoding::kFloat_1;
    const struct {
        Container container;
        SampleCoding coding;
        std::int32_t bytes;
        bool little;
    } formats[] = {
        {Container::kWave, kInteger, 1, false},
        {Container::kWave, kInteger, 2, false},
        {Container::kWave, kInteger, 3, false},
        {Container::kWave, kInteger, 4, false},
        {Container::kWave, kInteger, 8, false},
        {Container::kWave, kFloat, 4, false},
        {Container::kWave, kFloat, 8, false},
        {Container::kWave, SampleCoding::kFloat_32768, 4, false},
        {Container::kWave, SampleCoding::kFloat_8388608, 4, false},
        {Container::kAiff, kInteger, 1, false},
        {Container::kAiff, kInteger, 2, false},
        {Container::kAiff, kInteger, 3, true},
        {Container::kAiff, kInteger, 4, true},
        {Container::kAiff, kFloat, 4, true},
    };
    Random random(1);
    for (const auto& row : formats)
        for (const std::int32_t channels : {1, 2, 5}) {
            if (row.coding == SampleCoding::kFloat_32768 && channels > 2)
                continue;
            SCOPED_TRACE(testing::Message()
                         << static_cast<int>(row.container) << " " << static_cast<int>(row.coding) << " "
                         << row.bytes << " " << channels);
            Planes planes = Signal(channels, 1 + random.Below(20000));
            const auto frames = static_cast<std::int64_t>(planes[0].size());
            auto writer = Writer("file", row.container, Format(row.bytes, row.coding, channels),
                                 {.littleEndianAiff = row.little});
            ASSERT_TRUE(writer);
            for (std::int64_t done = 0; done < frames;) {
                const std::int64_t count = std::min<std::int64_t>(random.Below(9000), frames - done);
                ASSERT_TRUE(
                    writer->Write(Pointers(planes, static_cast<std::size_t>(done)).data(), count, error));
                done += count;
            }
            ASSERT_TRUE(writer->Finish(error)) << error.message;
            auto reader = Reader("file");
            ASSERT_TRUE(reader);
            ASSERT_EQ(reader->Frames(), frames);
            EXPECT_EQ(ReadAll(*reader, error), planes) << error.message;
            const auto bytes = static_cast<std::size_t>(frames * channels * row.bytes);
            Bytes raw(bytes), own(bytes);
            ASSERT_TRUE(reader->ReadRaw(0, frames, raw.data(), error));
            ASSERT_TRUE(
                reader->Wave() != nullptr
                    ? reader->Wave()->ReadSampleBytes(0, static_cast<std::int64_t>(bytes), own.data())
                    : reader->Aiff()->ReadSampleBytes(0, static_cast<std::int64_t>(bytes), own.data()));
            EXPECT_EQ(raw, own);
        }
}

TEST_F(AudioFiles, RangesAndNullsAreRefused) {
    auto writer = Writer("file", Container::kWave);
    Planes planes = Signal(2, 10);
    ASSERT_TRUE(writer->Write(Pointers(planes).data(), 10, error) && writer->Finish(error));
    auto reader = Reader("file");
    const auto pointers = Pointers(planes);
    for (const auto& [first, count] :
         {std::pair<std::int64_t, std::int64_t>{-1, 1}, {0, 11}, {11, 0}, {5, -1}}) {
        EXPECT_FALSE(reader->Read(first, count, pointers.data(), error));
        EXPECT_EQ(error.code, AudioError::kBadArgument);
    }
    EXPECT_FALSE(reader->Read(0, 1, nullptr, error));
    EXPECT_FALSE(reader->ReadRaw(0, 1, nullptr, error));
    float sample = 0;
    float* const second[] = {nullptr, &sample};
    EXPECT_TRUE(reader->Read(3, 1, second, error));
    EXPECT_EQ(sample, planes[1][3]);
    EXPECT_FALSE(writer->Write(pointers.data(), 1, error));
    EXPECT_EQ(error.code, AudioError::kWrongOrder);
}

TEST_F(AudioFiles, CopiesKeepBytesAndChunks) {
    auto writer = Writer("a.wav", Container::kWave, Format(3));
    Planes planes = Signal(2, 30000);
    ASSERT_TRUE(writer->WriteChunk(ChunkId("bext"), "before", 6, error));
    ASSERT_TRUE(writer->Write(Pointers(planes).data(), 30000, error));
    ASSERT_TRUE(writer->WriteChunk(ChunkId("iXML"), "after", 5, error));
    ASSERT_TRUE(writer->WriteChunk(ChunkId("fact"), "abcd", 4, error));
    EXPECT_FALSE(writer->Write(Pointers(planes).data(), 1, error)) << "the audio has ended";
    EXPECT_FALSE(writer->WriteChunk(ChunkId("data"), "", 0, error));
    ASSERT_TRUE(writer->Finish(error));

    const auto copy = [&](const char* inFrom, const char* inTo, Container inContainer, AudioFormat inFormat) {
        auto reader = Reader(inFrom);
        auto target = Writer(inTo, inContainer, inFormat);
        return target->CopyChunks(*reader, Side::kBefore, error) &&
               target->CopyFrames(*reader, 0, reader->Frames(), error) &&
               target->CopyChunks(*reader, Side::kAfter, error) && target->Finish(error);
    };
    ASSERT_TRUE(copy("a.wav", "b.wav", Container::kWave, Format(3))) << error.message;
    EXPECT_EQ(testing_support::ReadFile(folder.Path("a.wav")),
              testing_support::ReadFile(folder.Path("b.wav")));
    ASSERT_TRUE(copy("a.wav", "c.aif", Container::kAiff, Format(3))) << error.message;
    ASSERT_TRUE(copy("c.aif", "d.wav", Container::kWave, Format(4, SampleCoding::kFloat_1))) << error.message;
    auto reader = Reader("d.wav");
    EXPECT_EQ(ReadAll(*reader, error), planes);
    std::string chunks;
    for (const AudioChunk& chunk : reader->Chunks()) {
        Bytes data;
        ASSERT_TRUE(chunk.Read(data, error));
        chunks += ChunkIdText(chunk.Id()) + (chunk.Place() == Side::kBefore ? "<" : ">") + Text(data) + " ";
    }
    EXPECT_EQ(chunks, "bext<before iXML<after ") << "fact describes other samples";
    auto aiff = Writer("e.aif", Container::kAiff);
    ASSERT_TRUE(aiff->Write(nullptr, 0, error));
    EXPECT_FALSE(aiff->WriteChunk(ChunkId("ANNO"), "x", 1, error));
    EXPECT_EQ(error.code, AudioError::kWrongOrder);
}

TEST_F(AudioFiles, AnOldFileSurvivesUntilTheNewOneIsWhole) {
    const Planes old = Signal(2, 100);
    Planes planes = old;
    ASSERT_TRUE(Writer("take.wav", Container::kWave)->Write(Pointers(planes).data(), 100, error));
    auto reader = Reader("take.wav");
    {
        auto writer = Writer("take.wav", Container::kWave, Format(2), {.replaceWhenFinished = true});
        ASSERT_TRUE(writer->Write(Pointers(planes).data(), 50, error));
        EXPECT_EQ(Reader("take.wav")->Frames(), 100);
        ASSERT_TRUE(writer->Finish(error)) << error.message;
    }
    EXPECT_EQ(Reader("take.wav")->Frames(), 50);
    { // given up: the old one stays
        auto writer = Writer("take.wav", Container::kWave, Format(2), {.replaceWhenFinished = true});
        ASSERT_TRUE(writer->Write(Pointers(planes).data(), 10, error));
    }
    EXPECT_EQ(Reader("take.wav")->Frames(), 50);
    EXPECT_EQ(ReadAll(*reader, error), old);
}

TEST_F(AudioFiles, DigestsGoByWhatIsHeard) {
    const auto write = [&](const char* inName, Container inContainer, const AudioFormat& inFormat,
                           bool inPadded) {
        Planes planes = Signal(2, 10000);
        auto writer = Writer(inName, inContainer, inFormat);
        const float* const silence[] = {nullptr, nullptr};
        EXPECT_TRUE(!inPadded || writer->Write(silence, 9000, error));
        EXPECT_TRUE(writer->Write(Pointers(planes).data(), 10000, error));
        EXPECT_TRUE(!inPadded || writer->Write(silence, 77, error));
        EXPECT_TRUE(writer->Finish(error));
    };
    const auto digest = [&](const char* inName, bool inTrim) {
        Bytes fed;
        EXPECT_TRUE(HashAudio(
            Path(inName),
            [&](const unsigned char* bytes, std::uint64_t count) {
                fed.insert(fed.end(), bytes, bytes + count);
            },
            {inTrim, {}}, error))
            << error.message;
        return fed;
    };
    AudioFormat faster = Format(2);
    faster.sampleRate = 96000;
    write("a", Container::kWave, Format(1), false);
    write("b", Container::kAiff, Format(4, SampleCoding::kFloat_1), false);
    write("c", Container::kWave, Format(3), true);
    write("d", Container::kWave, faster, false);
    EXPECT_EQ(digest("a", false).size(), 12 + 8 * 10000u);
    EXPECT_EQ(digest("a", false), digest("b", false));
    EXPECT_NE(digest("a", false), digest("c", false));
    EXPECT_EQ(digest("a", true), digest("c", true));
    EXPECT_NE(digest("a", false), digest("d", false));
    HashOptions cancelling;
    cancelling.progress = [](std::int64_t, std::int64_t) { return false; };
    EXPECT_FALSE(HashAudio(Path("a"), [](const unsigned char*, std::uint64_t) {}, cancelling, error));
    EXPECT_EQ(error.code, AudioError::kCancelled);
}

TEST_F(AudioFiles, PeaksAreTheExtremesOfEachBlock) {
    Planes planes = Signal(2, 20000);
    ASSERT_TRUE(Writer("file", Container::kWave)->Write(Pointers(planes).data(), 20000, error));
    auto reader = Reader("file");
    for (const std::int64_t block : {1, 256, 300, 8191, 9000, 30000}) {
        const auto timelines = MakePeaks(*reader, block, {}, error);
        ASSERT_EQ(timelines.size(), 2u);
        for (std::size_t channel = 0; channel < 2; ++channel) {
            auto datum = timelines[channel]->begin();
            for (std::int64_t start = 0; start < 20000; start += block, ++datum) {
                const auto [low, high] = std::minmax_element(
                    planes[channel].begin() + start,
                    planes[channel].begin() + std::min(start + block, std::int64_t{20000}));
                ASSERT_EQ(*datum, PeakDatum(*low, *high)) << block << " at " << start;
            }
        }
    }
}

} // namespace

} // namespace kelaudiofile::audio_test
