#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "guide.inc" // all code of docs/guide.md
#include "support/Files.h"

namespace {

using kelaudiofile::WaveFile;
using testing_support::TemporaryFolder;

constexpr int kBlockFrames = 1000;

/// Planes of blocks that count through a wave of their own per channel.
struct Source {
    int channels = 2, blocks = 20, given = 0;
    bool dies = false; ///< instead of coming to its end

    float At(int inChannel, std::int64_t inFrame) const {
        return std::sin(static_cast<float>(inFrame) * 0.01f * static_cast<float>(inChannel + 1)) * 0.5f;
    }
    std::vector<std::vector<float>> operator()() {
        if (given == blocks && dies)
            throw std::runtime_error("the source dies");
        if (given == blocks)
            return {};
        std::vector<std::vector<float>> planes(static_cast<std::size_t>(channels));
        for (int channel = 0; channel < channels; ++channel)
            for (int frame = 0; frame < kBlockFrames; ++frame)
                planes[static_cast<std::size_t>(channel)].push_back(
                    At(channel, given * kBlockFrames + frame));
        ++given;
        return planes;
    }
};

/// All samples, channel by channel.
using Channels = std::vector<std::vector<float>>;

TakePlane Collect(Channels& outChannels) {
    return [&outChannels](int channel, const float* samples, std::int64_t count) {
        outChannels.resize(std::max(outChannels.size(), static_cast<std::size_t>(channel) + 1));
        auto& plane = outChannels[static_cast<std::size_t>(channel)];
        plane.insert(plane.end(), samples, samples + count);
    };
}

Channels DecodeAll(const std::string& inPath) {
    Channels channels;
    EXPECT_TRUE(Decode(*OpenWave(inPath), Collect(channels)));
    return channels;
}

class Guide : public testing::Test {
protected:
    std::string Path(const char* inName) const { return mFolder.Path(inName).string(); }

    static std::unique_ptr<WaveFile> Create(const std::string& inPath, int inChannels, int inSampleBytes) {
        WaveFile::ExtendedErrorInfo error;
        return std::unique_ptr<WaveFile>(
            WaveFile::OpenForWrite(ToUTF8String(inPath), 8000, inChannels, inSampleBytes, 8 * inSampleBytes,
                                   WaveFile::kIntegerSamples, {}, 0, error, false));
    }
    static bool Write(WaveFile& ioFile, const std::vector<std::uint8_t>& inBytes) {
        WaveFile::ExtendedErrorInfo error;
        return ioFile.WriteSampleBytes(0, static_cast<std::int32_t>(inBytes.size()), inBytes.data(), error) &&
               ioFile.FinishSamples();
    }
    /// Integers of one width, one byte after the other, with a chunk before and a chunk behind the audio.
    void WriteIntegers(const char* inName, int inChannels, int inSampleBytes,
                       const std::vector<std::uint8_t>& inBytes) {
        const auto file = Create(Path(inName), inChannels, inSampleBytes);
        const auto writeChunk = [&](std::uint32_t id, const char* text) {
            return file->StartMetadatumWrite(id) &&
                   file->MetadatumWrite(reinterpret_cast<const std::uint8_t*>(text), 3) &&
                   file->FinishMetadatumWrite();
        };
        ASSERT_TRUE(file && writeChunk(0x6F666562, "bef") && Write(*file, inBytes) &&
                    writeChunk(0x69686562, "beh") && file->FinishWrite());
    }

    TemporaryFolder mFolder;
};

TEST_F(Guide, RecordsDescribesAndDecodes) {
    for (const int channels : {1, 2, 5}) {
        Source source{channels};
        ASSERT_TRUE(Record(Path("a.wav"), 48000, channels, std::ref(source)));
        EXPECT_EQ(Describe(*OpenWave(Path("a.wav"))),
                  std::to_string(channels) + " channels, 32 bits, 48000 Hz, 20000 frames");
        const Channels decoded = DecodeAll(Path("a.wav"));
        ASSERT_EQ(decoded.size(), static_cast<std::size_t>(channels));
        for (int channel = 0; channel < channels; ++channel)
            for (std::int64_t frame = 0; frame < 20000; ++frame)
                ASSERT_EQ(decoded[static_cast<std::size_t>(channel)].at(static_cast<std::size_t>(frame)),
                          source.At(channel, frame));
    }
    EXPECT_THROW(OpenWave(Path("none.wav")), std::runtime_error);
}

TEST_F(Guide, RecordingThatDiesKeepsWhatItSaysItKeeps) {
    EXPECT_THROW(Record(Path("a.wav"), 48000, 2, Source{2, 19, 0, true}), std::runtime_error);
    EXPECT_EQ(Describe(*OpenWave(Path("a.wav"))), "2 channels, 32 bits, 48000 Hz, 16000 frames");
    EXPECT_THROW(Record(Path("b.wav"), 48000, 2, Source{2, 3, 0, true}), std::runtime_error);
    EXPECT_EQ(Describe(*OpenWave(Path("b.wav"))), "2 channels, 32 bits, 48000 Hz, 3000 frames, recovered");
}

TEST_F(Guide, DecodesUnsignedBytes) {
    WriteIntegers("a.wav", 2, 1, {0x80, 0x00, 0xC0, 0x40});
    EXPECT_EQ(DecodeAll(Path("a.wav")), (Channels{{0.0f, 0.5f}, {-1.0f, -0.5f}}));
    WriteIntegers("b.wav", 1, 5, {0, 0, 0, 0, 0});
    EXPECT_FALSE(Decode(*OpenWave(Path("b.wav")), [](int, const float*, std::int64_t) { FAIL(); }));
}

TEST_F(Guide, CopiesMetadataInItsPlaces) {
    WriteIntegers("a.wav", 1, 2, {1, 0});
    const auto from = OpenWave(Path("a.wav"));
    const auto to = Create(Path("b.wav"), 1, 2);
    ASSERT_TRUE(to && CopyMetadata(*from, *to, false) && Write(*to, {1, 0}) &&
                CopyMetadata(*from, *to, true) && to->FinishWrite());
    EXPECT_EQ(testing_support::ReadFile(Path("b.wav")), testing_support::ReadFile(Path("a.wav")));
}

TEST_F(Guide, AiffHoldsTheSameSamples) {
    std::vector<std::uint8_t> bytes(70002 * 2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i * i);
    WriteIntegers("a.wav", 2, 2, bytes);
    ASSERT_TRUE(WriteAsAiff(*OpenWave(Path("a.wav")), Path("a.aif")));
    Channels decoded;
    ASSERT_TRUE(DecodeAiff(Path("a.aif"), Collect(decoded)));
    EXPECT_EQ(decoded, DecodeAll(Path("a.wav")));
    EXPECT_FALSE(DecodeAiff(Path("a.wav"), Collect(decoded)));
}

TEST_F(Guide, PeaksAreComputedCutStoredAndDrawn) {
    ASSERT_TRUE(Record(Path("a.wav"), 48000, 2, Source{}));
    const auto wave = OpenWave(Path("a.wav"));
    const auto samples = DecodeAll(Path("a.wav"))[1];
    const auto peaks = ComputePeaks(*wave, 1);
    ASSERT_EQ(peaks->size(), 79u); // 20,000 frames, the last block a part of one
    std::size_t frame = 0;
    for (auto datum = peaks->begin(); datum != peaks->end(); ++datum, frame += 256) {
        const auto last =
            samples.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(frame + 256, 20000));
        const auto extremes = std::minmax_element(samples.begin() + static_cast<std::ptrdiff_t>(frame), last);
        EXPECT_EQ(*datum, kelaudiofile::PeakDatum(*extremes.first, *extremes.second));
    }

    CutOut(*peaks, 300, 10000);
    EXPECT_EQ(peaks->GetDuration(), 79 * 256 - 9700);
    SavePeaks(*peaks, Path("a.peaks"));
    const auto loaded = LoadPeaks(Path("a.peaks"));
    ASSERT_EQ(loaded->size(), peaks->size());
    EXPECT_TRUE(std::equal(peaks->begin(), peaks->end(), loaded->begin()));
    EXPECT_EQ(loaded->GetEndOffset(), peaks->GetEndOffset());

    const auto points = PointsForWidth(loaded, 10);
    ASSERT_EQ(points.size(), 20u);
    const auto all = std::minmax_element(points.begin(), points.end());
    float low = 0, high = 0;
    for (const auto& datum : {*loaded->begin(), *loaded->Find(5000)})
        low = std::min(low, datum.min), high = std::max(high, datum.max);
    EXPECT_LE(*all.first, low);
    EXPECT_GE(*all.second, high);
    EXPECT_GE(points[0], points[1]);
}

TEST_F(Guide, HashSeesTheAudioAlone) {
    WriteIntegers("a.wav", 1, 2, {0, 0, 0, 0x40, 0, 0xC0, 0, 0});
    WriteIntegers("b.wav", 1, 3, {0, 0, 0, 0, 0, 0x40, 0, 0, 0xC0, 0, 0, 0});
    WriteIntegers("c.wav", 1, 2, {0, 0x40, 0, 0xC0});
    EXPECT_EQ(HashOfAudio(Path("a.wav"), false), HashOfAudio(Path("b.wav"), false));
    EXPECT_NE(HashOfAudio(Path("a.wav"), false), HashOfAudio(Path("c.wav"), false));
    EXPECT_EQ(HashOfAudio(Path("a.wav"), true), HashOfAudio(Path("c.wav"), false));
    EXPECT_THROW(HashOfAudio(Path("none.wav"), false), kelcore::config::kel_exception);
}

TEST_F(Guide, FindsTagsAndLogsFailedReads) {
    const auto write = [&](const char* inName, const testing_support::Bytes& inBytes) {
        testing_support::WriteFile(Path(inName), inBytes);
        return kelcore::filesupport::File(ToUTF8String(Path(inName)), kelcore::filesupport::kPathStorage);
    };
    kelcore::filesupport::IPlatformByteStream stream(
        write("a.mp3", {'I', 'D', '3', 4, 0, 0, 0, 0, 2, 1, 'x'}), kelcore::utility::Flags<unsigned>());
    EXPECT_EQ(BytesOfLeadingTag(stream), 267u);

    WriteIntegers("a.wav", 1, 2, std::vector<std::uint8_t>(20000));
    const auto wave = OpenWave(Path("a.wav"));
    std::filesystem::resize_file(Path("a.wav"), 1000);
    std::vector<std::string> lines;
    SendLogTo(lines);
    std::uint8_t bytes[4];
    EXPECT_FALSE(wave->ReadSampleBytes(19000, 4, bytes));
    kelcore::logging::SetSink({});
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("ReadSampleBytes"), std::string::npos);
    EXPECT_TRUE(wave->ReadSampleBytes(0, 4, bytes));
}

} // namespace
