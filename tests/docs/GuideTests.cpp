#include <csignal>
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include "guide.inc" // all code of docs/guide.md
#include "support/Files.h"

namespace {

using kelaudiofile::WaveFile;
using testing_support::Bytes;
using testing_support::ToBytes;
using namespace std::string_literals;
using Channels = Planes;

constexpr int kFrames = 20000;

/// 16-bit stereo, a ramp and its negative, with a chunk before and after them.
Bytes MakeImage() {
    std::string image = "RIFF\xBC\x38\1\0WAVEfmt \x10\0\0\0\1\0\2\0\x80\xBB\0\0\0\xEE\2\0\4\0\x10\0"
                        "note\4\0\0\0headdata\x80\x38\1\0"s;
    for (int i = 0; i < kFrames * 4; ++i)
        image += static_cast<char>((i % 4 < 2 ? i / 4 : -(i / 4)) >> i % 2 * 8);
    return ToBytes(image + "note\4\0\0\0tail"s);
}

TakePlane AppendTo(Channels& outChannels) {
    outChannels.resize(2);
    return [&outChannels](int channel, const float* samples, std::int64_t count) {
        auto& plane = outChannels.at(static_cast<std::size_t>(channel));
        plane.insert(plane.end(), samples, samples + count);
    };
}

TEST(Guide, WholePage) {
    const testing_support::TemporaryFolder folder;
    const auto path = [&](const char* name) { return folder.Path(name).string(); };
    const Bytes image = MakeImage();
    testing_support::WriteFile(path("a.wav"), image);
    const auto wave = OpenWave(path("a.wav"));
    EXPECT_EQ(Describe(*wave), "2 channels, 16 bits, 48000 Hz, 20000 frames");
    Channels planes, recorded, fromAiff;
    EXPECT_TRUE(Decode(*wave, AppendTo(planes)));
    EXPECT_EQ(planes[1].at(kFrames - 1), (1 - kFrames) * 0x1p-15f);

    int blocks = 9;
    ASSERT_TRUE(Record(path("b.wav"), 48000, 2, [&] { return blocks-- > 0 ? planes : Channels(); }));
    EXPECT_TRUE(Decode(*OpenWave(path("b.wav")), AppendTo(recorded)));
    EXPECT_EQ(recorded[0].size(), 9u * kFrames);
    EXPECT_TRUE(std::equal(planes[1].begin(), planes[1].end(), recorded[1].end() - kFrames));
    EXPECT_TRUE(WriteAsAiff(*wave, path("a.aif")) && DecodeAiff(path("a.aif"), AppendTo(fromAiff)));
    EXPECT_EQ(fromAiff, planes);

    WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<WaveFile> copy(WaveFile::OpenForWrite(folder.PathText("copy.wav"), 48000, 2, 2, 16,
                                                                WaveFile::kIntegerSamples,
                                                                wave->GetChannelLayout(), 0, error, false));
    ASSERT_TRUE(copy && CopyMetadata(*wave, *copy, false) &&
                copy->WriteSampleBytes(0, kFrames * 4, &image[56], error) && copy->FinishSamples() &&
                CopyMetadata(*wave, *copy, true) && copy->FinishWrite());
    EXPECT_EQ(testing_support::ReadFile(path("copy.wav")), image);
    EXPECT_EQ(HashOfAudio(path("copy.wav"), false), HashOfAudio(path("a.wav"), false));

    EXPECT_EQ(ReadAll(path("a.wav")), planes);
    WriteAll(path("c.wav"), planes);
    CopyAsAiff(path("a.wav"), path("c.aif"));
    AudioError reason;
    EXPECT_EQ(TextOfChunk(*AudioReader::Open(path("c.aif"), reason), ChunkId("note")), "head");
    EXPECT_EQ(HashOf(path("c.wav")), HashOf(path("a.wav")));
    EXPECT_EQ(HashOf(path("c.aif")), HashOf(path("a.wav")));

    const auto peaks = PeaksOf(path("a.wav"), {}).at(1);
    EXPECT_EQ(peaks->size(), 79u); // of 256 frames each, the last one shorter
    EXPECT_EQ(*peaks->begin(), kelaudiofile::PeakDatum(-255 * 0x1p-15f, 0));
    CutOut(*peaks, 300, 10000);
    EXPECT_EQ(peaks->GetDuration(), kFrames - 9700);
    SavePeaks(*peaks, path("peaks"));
    const auto loaded = LoadPeaks(path("peaks"));
    EXPECT_TRUE(std::equal(peaks->begin(), peaks->end(), loaded->begin(), loaded->end()));
    EXPECT_EQ(PointsForWidth(loaded, 10).at(19), (1 - kFrames) * 0x1p-15f); // the last minimum

    testing_support::WriteFile(path("a.mp3"), ToBytes("ID3\4\0\0\0\0\2\1x"s));
    kelcore::filesupport::IPlatformByteStream stream(folder.File("a.mp3"),
                                                     kelcore::utility::Flags<unsigned>());
    EXPECT_EQ(BytesOfLeadingTag(stream), 267u);
}

TEST(Guide, RecordingsThatFillTheirDisk) {
#if defined(_WIN32)
    GTEST_SKIP() << "no limit of file sizes here";
#else
    const testing_support::TemporaryFolder folder;
    const std::string path = folder.Path("a.wav").string();
    std::signal(SIGXFSZ, SIG_IGN);
    ::rlimit before;
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const ::rlimit limit{1 << 20, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto block = [] { return Channels(2, std::vector<float>(1000)); };
    EXPECT_FALSE(Record(path, 48000, 2, block));
    EXPECT_EQ(Describe(*OpenWave(path)), "2 channels, 32 bits, 48000 Hz, 131062 frames")
        << "of 8 bytes, which with 80 bytes before them fill 1 MiB";
    AudioError error;
    EXPECT_FALSE(RecordTake(path, {}, block, error));
    EXPECT_EQ(error.code, AudioError::kDiskFull) << error.message;
    EXPECT_EQ(Describe(*OpenWave(path)), "2 channels, 16 bits, 48000 Hz, 262000 frames")
        << "the blocks that were taken";
    ::setrlimit(RLIMIT_FSIZE, &before);
#endif
}

} // namespace
