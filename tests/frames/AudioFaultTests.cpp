#include <optional>

#include "frames/AudioTest.h"
#include "support/SmallDisk.h"
#include "support/Sweep.h"

namespace kelaudiofile::audio_test {

namespace {

class AudioFaults : public AudioTest {
protected:
    /// Writes a chunk and blocks of frames until one is refused, and finishes the file.
    /// @return the frames before the refused block; none if the file could not be created.
    std::optional<std::int64_t> WriteUntilRefused(Container inContainer, std::int64_t inBlocks) {
        constexpr std::int64_t kBlock = 700;
        AudioError reason; // gone with the memory of its message
        Planes planes = Signal(2, static_cast<std::size_t>(inBlocks * kBlock));
        auto writer = AudioWriter::Create(Path("file"), inContainer, Format(3), {}, reason);
        if (!writer)
            return std::nullopt;
        writer->WriteChunk(ChunkId("bext"), "text", 4, reason);
        std::int64_t taken = 0;
        for (std::int64_t block = 0; block < inBlocks; ++block) {
            const auto first = static_cast<std::size_t>(block * kBlock);
            if (!writer->Write(Pointers(planes, first).data(), kBlock, reason))
                break;
            taken += kBlock;
            if (inContainer == Container::kWave && block % 3 == 2)
                writer->Checkpoint(reason);
        }
        finished = writer->Finish(reason);
        code = reason.code;
        return taken;
    }

    /// Expects the file to hold at least the frames that were taken, and no others after them but the
    /// signal's.
    void ExpectFrames(std::int64_t inTaken) {
        auto reader = Reader("file");
        ASSERT_TRUE(reader);
        EXPECT_GE(reader->Frames(), inTaken);
        EXPECT_EQ(ReadAll(*reader, error), Signal(2, static_cast<std::size_t>(reader->Frames())));
    }

    bool finished = false;
    std::int32_t code = 0; ///< of the last failure
};

TEST_F(AudioFaults, AFullDiskKeepsAllThatWasTaken) {
    for (const Container container : {Container::kWave, Container::kAiff})
        for (std::uint64_t size = 3000; size < 60000; size += 997) {
            SCOPED_TRACE(size);
            std::optional<std::int64_t> taken;
            {
                const testing_support::FileSizeLimit limit(size);
                taken = WriteUntilRefused(container, 20);
            }
            ASSERT_TRUE(taken);
            EXPECT_EQ(code, AudioError::kDiskFull);
            EXPECT_GT(*taken + 700, static_cast<std::int64_t>(size - 300) / 6);
            ExpectFrames(*taken);
        }
}

TEST_F(AudioFaults, EverySystemCallOfWritingFailsOnce) {
    for (const Container container : {Container::kWave, Container::kAiff}) {
        const auto runs = faults::SweepCalls({.outputOnly = true}, [&] {
            finished = false;
            const auto taken = WriteUntilRefused(container, 6);
            const bool fired = faults::Fired();
            faults::Disarm();
            if (taken && (finished || container == Container::kWave))
                ExpectFrames(*taken);
            EXPECT_TRUE(fired || (finished && *taken == 4200));
        });
        EXPECT_GT(runs, 10u);
    }
}

TEST_F(AudioFaults, EverySystemCallAndAllocationOfReadingFailsOnce) {
    for (const Container container : {Container::kWave, Container::kAiff}) {
        WriteUntilRefused(container, 6);
        const Planes expected = Signal(2, 4200);
        const auto read = [&] {
            AudioError reason;
            try {
                auto reader = AudioReader::Open(Path("file"), reason);
                const Planes planes = reader ? ReadAll(*reader, reason) : Planes();
                EXPECT_TRUE(faults::Fired() ? planes.empty() || planes == expected : planes == expected);
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
