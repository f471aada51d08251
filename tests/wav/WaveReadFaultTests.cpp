#include <algorithm>
#include <string_view>

#include "WaveTest.h"
#include "support/Sweep.h"

using namespace wave_tests;

namespace {

class WaveReadFaults : public WaveTest {
protected:
    WaveReadFaults() {
        kelcore::logging::SetSink([](std::string_view) {}); // without a trace in memory
        Put(Riff("RF64")
                .Chunk("ds64", Ds64Image{.dataSize = 400, .rows = {{FourCC("bext"), 3}, {FourCC("LIST"), 4}}})
                .Chunk("fmt ", FormatImage{.tag = 0xFFFE, .tail = ExtensibleTail(16, 3, 1)})
                .Chunk("data", Filling(400))
                .Chunk("LIST", Filling(4))
                .Chunk("data", Filling(400)));
    }

    /// Opens and reads. Whatever failed, a file that opened is as good as new afterwards.
    std::string_view Run() {
        std::string_view outcome;
        Handle file;
        try {
            file = Open();
            outcome = file                                     ? Read(*file)
                      : mError.code == Error::kFileNotFound    ? "not found"
                      : mError.code == Error::kChunkScanFailed ? "scan"
                      : mError.code == Error::kBadFormat       ? "format"
                                                               : "another code";
        } catch (const std::bad_alloc&) {
            outcome = "no memory";
        } catch (const kelcore::filesupport::file_exception&) {
            outcome = "thrown";
        }
        faults::Disarm();
        EXPECT_TRUE(!file || Read(*file) == "all") << "usable afterwards";
        return outcome;
    }

    /// Asks, reads samples, suspends, reads metadata. @return what could be read.
    std::string_view Read(WaveFile& ioFile) {
        EXPECT_EQ(ioFile.GetSampleCount(), 200);
        EXPECT_EQ(ioFile.GetChannelLayout().size(), 2u);
        EXPECT_EQ(ioFile.GetRiffAudioCharacteristics().numChannels, 2);
        const bool samples = ioFile.ReadSampleBytes(0, 800, mSamples);
        EXPECT_TRUE(ioFile.Suspend());
        const bool metadata = ioFile.ReadMetadataChunk(0, 0, 12, mMetadata);
        EXPECT_TRUE(!samples || std::equal(mSamples + 400, mSamples + 800, kFilling.begin()));
        EXPECT_TRUE(!metadata || std::equal(mMetadata + 8, mMetadata + 12, kFilling.begin()));
        return samples && metadata ? "all" : samples ? "samples" : metadata ? "metadata" : "nothing";
    }

    const Bytes kFilling = Filling(400);
    unsigned char mSamples[800], mMetadata[12];
};

} // namespace

TEST_F(WaveReadFaults, EverySystemCallFails) {
    using Mode = faults::System::Mode;
    const struct {
        const char* call;
        std::string_view once, forGood; ///< how the file reads if it fails
    } kCalls[] = {{"size, to see whether there is a file", "not found", "not found"},
                  {"open", "scan", "scan"},
                  {"read of the scan", "scan", "scan"},
                  {"size of the scan", "scan", "scan"},
                  {"read of the format", "format", "format"},
                  {"size", "thrown", "thrown"},
                  {"read of samples", "metadata", "nothing"},
                  {"close", "all", "samples"},
                  {"open again", "samples", "samples"},
                  {"read of metadata", "samples", "samples"}};
    for (const Mode mode : {Mode::kFailOnce, Mode::kFailForGood}) {
        const std::uint64_t calls = faults::SweepCalls({.mode = mode}, [&, row = kCalls]() mutable {
            const std::string_view outcome = Run();
            if (!faults::Fired() || row == std::end(kCalls)) {
                EXPECT_EQ(outcome, "all");
                return;
            }
            EXPECT_EQ(outcome, mode == Mode::kFailOnce ? row->once : row->forGood) << row->call;
            ++row;
        });
        EXPECT_EQ(calls, std::size(kCalls));
    }
}

TEST_F(WaveReadFaults, EveryAllocationFails) {
    int nullWithCode = 0, thrown = 0;
    faults::SweepAllocations([&] {
        const std::string_view outcome = Run();
        nullWithCode += outcome == "scan" || outcome == "format";
        thrown += outcome == "no memory";
        // A stream that cannot be made again is a failed read.
        EXPECT_TRUE(outcome == "all" ||
                    (faults::Fired() && outcome != "thrown" && outcome != "metadata" && outcome != "nothing"))
            << outcome;
    });
    EXPECT_GE(nullWithCode, 8);
    EXPECT_GE(thrown, 6);
}
