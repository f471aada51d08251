#include "WaveTest.h"
#include "support/Sweep.h"

using namespace wave_tests;

namespace {

class WaveReadFaults : public WaveTest {
protected:
    WaveReadFaults() {
        kelcore::logging::SetSink([](std::string_view) {}); // without a trace in memory
        mOutcomes.reserve(4000);
        Put(Riff("RF64")
                .Chunk("ds64", Ds64Image{.dataSize = 400, .rows = {{FourCC("bext"), 3}, {FourCC("LIST"), 4}}})
                .Chunk("fmt ", FormatImage{.tag = 0xFFFE, .tail = ExtensibleTail(16, 3, 1)})
                .Chunk("data", Filling(400))
                .Chunk("LIST", Filling(4)));
    }

    /// Opens and reads, and notes how that ended. Whatever failed, a file that opened is as good as new after
    /// it.
    void Run() {
        try {
            mFile = Open();
            mOutcomes += mFile                                    ? Read()
                         : mError.code == Error::kFileNotFound    ? "not found, "
                         : mError.code == Error::kChunkScanFailed ? "scan, "
                                                                  : "format, ";
        } catch (const std::bad_alloc&) {
            mOutcomes += "no memory, ";
        } catch (const kelcore::filesupport::file_exception&) {
            mOutcomes += "thrown, ";
        }
        faults::Disarm();
        EXPECT_TRUE(!mFile || Read() == std::string_view("all, ")) << "usable afterwards";
        mFile.reset();
    }

    /// Reads samples, suspends, reads metadata. @return what could be read.
    const char* Read() {
        const bool samples = wave_tests::Read(*mFile, 0, 400) == Filling(400);
        EXPECT_TRUE(mFile->Suspend() && mFile->GetSampleCount() == 100);
        const bool metadata = ReadMetadata(*mFile).at(0).whole.size() == 12;
        return samples && metadata ? "all, " : samples ? "samples, " : metadata ? "metadata, " : "nothing, ";
    }

    std::string mOutcomes;
};

} // namespace

// The size that tells whether there is a file; the open; read and size of the scan; read of the format; size;
// read of the samples; close; the open after that; read of the metadata; and none.
TEST_F(WaveReadFaults, EverySystemCallFails) {
    using Mode = faults::System::Mode;
    const std::string opening = "not found, scan, scan, scan, format, thrown, ";
    for (const auto& [mode, reading] : {std::pair{Mode::kFailOnce, "metadata, all, samples, samples, all, "},
                                        {Mode::kFailForGood, "nothing, samples, samples, samples, all, "}}) {
        mOutcomes.clear();
        faults::SweepCalls({.mode = mode}, [&] { Run(); });
        EXPECT_EQ(mOutcomes, opening + reading);
    }
}

// A stream that cannot be made again is a failed read.
TEST_F(WaveReadFaults, EveryAllocationFails) {
    EXPECT_GT(faults::SweepAllocations([&] { Run(); }), 10u);
    EXPECT_EQ(mOutcomes.find("thrown"), std::string::npos);
}
