#include <optional>

#include "frames/AudioTest.h"
#include "support/SmallDisk.h"
#include "support/Sweep.h"

namespace kelaudiofile::audio_test {
namespace {

constexpr std::int64_t kBlock = 700;

class AudioFaults : public AudioTest {
protected:
    /// Writes a chunk, then blocks of frames until one is refused, and finishes the file.
    /// @return the frames before the refused block; none if the file could not be created.
    std::optional<std::int64_t> WriteUntilRefused(Container inContainer, std::int64_t inBlocks) {
        AudioError reason; // destroyed before allocations are checked
        Planes planes = Signal(2, inBlocks * kBlock);
        auto writer = AudioWriter::Create(Path("file"), inContainer, Format(3), {}, reason);
        if (!writer)
            return std::nullopt;
        writer->WriteChunk(ChunkId("bext"), "text", 4, reason);
        std::int64_t taken = 0;
        for (; taken < inBlocks * kBlock; taken += kBlock) {
            if (!writer->Write(Pointers(planes, taken).data(), kBlock, reason))
                break;
            if (inContainer == kWave && taken / kBlock % 3 == 2)
                writer->Checkpoint(reason);
        }
        finished = writer->Finish(reason);
        code = reason.code;
        return taken;
    }
    /// Expects the file to hold the accepted frames, followed only by more of the signal.
    void ExpectFrames(std::int64_t inTaken) {
        auto reader = Reader("file");
        ASSERT_TRUE(reader);
        EXPECT_GE(reader->Frames(), inTaken);
        EXPECT_EQ(ReadAll(*reader, error), Signal(2, reader->Frames()));
    }

    bool finished = false;
    std::int32_t code = 0; ///< of the last failure
};

TEST_F(AudioFaults, AFullDiskKeepsAllThatWasTaken) {
    for (const Container container : {kWave, kAiff})
        for (std::uint64_t size = 3000; size < 60000; size += 997) {
            SCOPED_TRACE(size);
            std::optional<FileSizeLimit> limit(size);
            const auto taken = WriteUntilRefused(container, 20);
            limit.reset();
            ASSERT_TRUE(taken);
            EXPECT_EQ(code, kDiskFull);
            EXPECT_GT(*taken + kBlock, static_cast<std::int64_t>(size - 300) / 6);
            ExpectFrames(*taken);
        }
}

TEST_F(AudioFaults, EverySystemCallOfWritingFailsOnce) {
    for (const Container container : {kWave, kAiff}) {
        const auto runs = faults::SweepCalls({.outputOnly = true}, [&] {
            finished = false;
            const auto taken = WriteUntilRefused(container, 6);
            EXPECT_TRUE(faults::Fired() || (finished && *taken == 6 * kBlock));
            faults::Disarm();
            if (taken && (finished || container == kWave))
                ExpectFrames(*taken);
        });
        EXPECT_GT(runs, 10u);
    }
}

TEST_F(AudioFaults, EverySystemCallAndAllocationOfReadingFailsOnce) {
    for (const Container container : {kWave, kAiff}) {
        WriteUntilRefused(container, 6);
        const Planes expected = Signal(2, 6 * kBlock);
        const auto read = [&] {
            AudioError reason;
            try {
                auto reader = AudioReader::Open(Path("file"), reason);
                const Planes planes = reader ? ReadAll(*reader, reason) : Planes();
                EXPECT_TRUE(planes == expected || (faults::Fired() && planes.empty()));
                EXPECT_EQ(planes.empty(), !reason.message.empty());
            } catch (const std::bad_alloc&) {
                EXPECT_TRUE(faults::Fired());
            }
        };
        EXPECT_GT(faults::SweepCalls({}, read), 4u);
        EXPECT_GT(faults::SweepAllocations(read), 4u);
    }
}

} // namespace
} // namespace kelaudiofile::audio_test
