#include <optional>

#include "frames/AudioTest.h"
#include "support/Sweep.h"

namespace kelaudiofile::audio_test {
namespace {

constexpr std::int64_t kBlock = 700;

class AudioFaults : public AudioTest {
protected:
    /// Writes a chunk, then blocks of frames until one is refused, and finishes the file.
    /// @return the frames before the refused block; none if the file could not be created.
    std::optional<std::int64_t> WriteUntilRefused(Container inContainer, std::int64_t inBlocks,
                                                  Durability inDurability = Durability::kProcess) {
        AudioError reason; // destroyed before allocations are checked
        Planes planes = Signal(2, inBlocks * kBlock);
        auto writer = AudioWriter::Create(Path("file"), inContainer, Format(3), {}, reason);
        code = reason.code;
        if (!writer)
            return std::nullopt;
        bool accepted = writer->WriteChunk(ChunkId("bext"), "text", 4, reason);
        std::int64_t taken = 0;
        for (; taken < inBlocks * kBlock; taken += kBlock) {
            if (!writer->Write(Pointers(planes, taken).data(), kBlock, reason))
                break;
            if (inContainer == kWave && taken / kBlock % 3 == 2)
                accepted = writer->Checkpoint(inDurability, reason) && accepted;
        }
        if (inContainer == kWave)
            accepted = writer->WriteChunk(ChunkId("iXML"), "text", 4, reason) && accepted;
        finished = writer->Finish(inDurability, reason);
        code = reason.code;
        EXPECT_EQ(accepted && taken == inBlocks * kBlock && finished, code == kNoError);
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
            std::optional<faults::FullDisk> limit(size);
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
        std::uint64_t runs[2];
        for (const Durability durability : {Durability::kProcess, Durability::kMachine})
            runs[int(durability)] = faults::SweepCalls({.outputOnly = true}, [&] {
                finished = false;
                const auto taken = WriteUntilRefused(container, 6, durability);
                EXPECT_EQ(faults::Fired(), code != kNoError);
                faults::Disarm();
                if (taken && (finished || container == kWave))
                    ExpectFrames(*taken);
            });
        EXPECT_GT(runs[0], 10u);
        EXPECT_EQ(runs[1] - runs[0], container == kWave ? 8u : 3u) << "syncs";
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
                Bytes chunk, raw(6 * 6 * kBlock);
                const auto feed = [](const unsigned char*, std::uint64_t) {};
                const bool isWhole = reader && (*reader->Chunks().begin()).Read(chunk, reason) &&
                                     reader->ReadRaw(0, 6 * kBlock, raw.data(), reason) &&
                                     HashAudio(Path("file"), feed, {true, {}}, reason) &&
                                     !MakePeaks(*reader, 100, {}, reason).empty();
                EXPECT_TRUE(!isWhole || chunk == ToBytes("text"));
                const Planes planes = isWhole ? ReadAll(*reader, reason) : Planes();
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

TEST_F(AudioFaults, EverySystemCallOfCopyingFailsOnce) {
    WriteUntilRefused(kWave, 6);
    for (const std::int32_t bytes : {3, 4}) // as bytes, and as floats
        faults::SweepCalls({}, [&] {
            AudioError reason;
            const auto reader = AudioReader::Open(Path("file"), reason);
            const auto copy =
                reader ? AudioWriter::Create(Path("copy"), kWave, Format(bytes), {}, reason) : nullptr;
            const bool copied = copy && copy->CopyChunks(*reader, Side::kBefore, reason) &&
                                copy->CopyFrames(*reader, 0, 6 * kBlock, reason) && copy->Finish(reason);
            EXPECT_TRUE(copied == reason.message.empty() && (copied || faults::Fired()));
            faults::Disarm();
            EXPECT_TRUE(!copied || ReadAll(*Reader("copy"), error) == Signal(2, 6 * kBlock));
        });
}

} // namespace
} // namespace kelaudiofile::audio_test
