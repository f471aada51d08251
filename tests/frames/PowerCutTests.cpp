#include <array>
#include <cstdlib>
#include <map>
#include <span>

#include "WaveFileAccess.h"
#include "kelaudiofile/AudioWriter.h"
#include "support/Random.h"
#include "support/Sweep.h"
#include "wav/WaveTest.h"

// Checks what a power failure leaves of a recording: its writes and syncs are recorded, and replayed to disks
// in the states in which a failure at any moment may leave them. The test adds its own entries: 'b'locks and
// metadata ('m') with their bytes, and the sample byte that is 'C'onfirmed on the disk, or about to be
// 'c'ounted without that.
namespace wave_tests {

namespace {

using namespace kelaudiofile;
using faults::Change;

enum Kind { kRiff, kRf64Switch, kFurtherChunks };
enum Model { kDropped, kReordered, kTorn };
constexpr std::size_t kPageBytes = 4096, kSectorBytes = 512;

class APowerCut : public WaveTest {
protected:
    void Record(Kind inKind) {
        std::uint64_t next = 0;
        mChanges.clear();
        faults::SystemCalls().changes = &mChanges;
        mFile = Create({.channels = 1, .bytesPerSample = 1, .rf64 = inKind == kRf64Switch, .anyOrder = true});
        WaveFileAccess::KeepSizesWhole(*mFile);
        Annotate(next);
        for (std::uint32_t step = 0; step < 14; ++step) {
            const Bytes block = SampleBytes(next, 1 + Below(step % 2 == 0 ? 9000 : 40));
            EXPECT_EQ(Write(*mFile, next, block), 0);
            mChanges.push_back({'b', next, block});
            next += block.size();
            if (const std::uint32_t choice = step == 0 ? 1 : Below(6); choice < 4)
                Finish(choice != 0, next);
            if (inKind == kFurtherChunks && step % 4 == 3)
                Annotate(next);
            if (step % 4 == 0) // a hole takes the size past the range of its lower half, or of all of it
                next = inKind == kRf64Switch && step == 4 ? kLimit - 9000 : next + 60'000;
        }
        Annotate(next);
        Finish(true, next);
        EXPECT_TRUE(mFile->FinishWrite());
        mFile.reset();
        faults::SystemCalls() = {};
    }
    void Finish(bool inOnDisk, std::uint64_t inNext) {
        EXPECT_TRUE(inOnDisk ? mFile->FinishBlockOnDisk() : mFile->FinishBlock());
        mChanges.push_back({inOnDisk ? 'C' : 'c', inNext, {}});
    }
    /// Half of the chunks move the size field of the samples after them to the boundary of two sectors.
    void Annotate(std::uint64_t inNext) {
        EXPECT_TRUE(mFile->FinishSamples());
        Finish(false, inNext);
        const std::size_t toBorder = 506 - (std::filesystem::file_size(mPath) + 8) % kSectorBytes;
        const Bytes text = Filling(Below(2) == 0 && toBorder - 1 < kSectorBytes ? toBorder : 1 + Below(6000));
        EXPECT_TRUE(WriteMetadatum(*mFile, FourCC("note"), text));
        mChanges.push_back({'m', 0, text});
    }
    std::uint32_t Below(std::size_t inLimit) { return mRandom.Below(static_cast<std::uint32_t>(inLimit)); }

    /// Each page reaches the disk in the state left by any write since the last sync, and so does the length.
    void CutPower(std::size_t inChanges, Model inModel) {
        std::map<std::uint64_t, std::vector<Bytes>> pages; ///< the states of each page since then
        std::uint64_t length = 0, synced = 0;
        for (const Change& change : std::span(mChanges).first(inChanges)) {
            for (std::size_t done = 0, count = 0; change.kind == 'w' && done < change.bytes.size();
                 done += count) {
                const std::uint64_t position = change.position + done, offset = position % kPageBytes;
                count = std::min<std::size_t>(kPageBytes - offset, change.bytes.size() - done);
                auto& states = pages.try_emplace(position / kPageBytes, 1, Bytes(kPageBytes)).first->second;
                states.push_back(states.back());
                std::copy_n(&change.bytes[done], count, &states.back()[offset]);
                length = std::max(length, position + count);
            }
            if (change.kind != 'A' && change.kind != 'B')
                continue;
            for (auto& [number, states] : pages)
                states.erase(states.begin(), states.end() - 1);
            synced = length;
        }
        Put({});
        for (const auto& [number, states] : pages) {
            const auto any = [&, &all = states]() -> const Bytes& {
                return all[inModel == kDropped ? (all.size() - 1) * Below(2) : Below(all.size())];
            };
            Bytes page = any();
            for (std::size_t sector = 0; inModel == kTorn && sector < kPageBytes; sector += kSectorBytes)
                std::copy_n(&any()[sector], kSectorBytes, &page[sector]);
            testing_support::PatchFile(mPath, number * kPageBytes, page);
        }
        const std::uint64_t between = synced + mRandom.Next64() % (length - synced + 1);
        std::filesystem::resize_file(mPath, std::array{synced, between, length, length + 20'000}[Below(4)]);
    }

    /// Expects everything up to the last checkpoint on the disk. Unless another kind of call has counted more
    /// since then, only what the next checkpoint would confirm may be counted in addition.
    void ExpectConfirmed(std::size_t inChanges) {
        const std::string kinds = Kinds(mChanges);
        const auto confirmed = kinds.rfind('C', inChanges - 1), next = kinds.find_first_of("Cc", inChanges);
        const bool isExact = kinds.substr(confirmed, next - confirmed + 1).find('c') == std::string::npos;
        const auto file = Open();
        ASSERT_TRUE(file);
        const auto count = static_cast<std::uint64_t>(file->GetSampleCount());
        const bool isNext = isExact && next != std::string::npos && count == mChanges[next].position;
        const std::uint64_t least = mChanges[confirmed].position;
        ASSERT_TRUE(isNext || (isExact ? count == least : count >= least)) << count;
        std::int32_t metadatum = 0;
        for (const Change& change : std::span(mChanges).first(isNext ? next : confirmed)) {
            Bytes bytes(change.bytes.size());
            if (change.kind == 'b')
                bytes = Read(*file, change.position, bytes.size());
            else if (change.kind == 'm')
                file->ReadMetadataChunk(metadatum++, 8, std::ssize(bytes), bytes.data());
            else
                continue;
            ASSERT_EQ(bytes, change.bytes) << change.kind << change.position;
        }
    }

    static std::string Kinds(const std::vector<Change>& inChanges) {
        std::string kinds;
        for (const Change& change : inChanges)
            kinds += change.kind;
        return kinds;
    }

    /// Makes a writer's calls, one per letter, and records how they end: '+' or '-'.
    std::string Story(Container inContainer, Durability inDurability) {
        AudioError reason; // destroyed before allocations are checked
        std::vector<Change> changes;
        faults::SystemCalls().changes = &changes;
        const WriterOptions options{.rf64 = false, .replaceWhenFinished = true, .durable = true};
        auto writer = AudioWriter::Create(mPath.string(), inContainer, {}, options, reason);
        const auto note = [&](bool isDone) { changes.push_back({isDone ? '+' : '-', 0, {}}); };
        note(writer && writer->WriteChunk(ChunkId("note"), Filling(462).data(), 462, reason));
        for (int block = 0; writer && block < 3; ++block) {
            writer->WriteRaw("1234", 1, reason);
            if (inContainer == Container::kWave)
                note(writer->Checkpoint(inDurability, reason));
        }
        note(writer && writer->Finish(inDurability, reason));
        faults::SystemCalls().changes = nullptr;
        std::string story = Kinds(changes);
        story.erase(std::unique(story.begin(), story.end()), story.end());
        return story;
    }

    testing_support::Random mRandom{0};
    std::vector<Change> mChanges;
};

TEST_F(APowerCut, LeavesEverythingUpToTheLastCheckpointOnTheDisk) {
    const char* const wanted = std::getenv("KELAUDIOFILE_POWER_CUTS");
    for (int cuts = wanted != nullptr ? std::atoi(wanted) : 2000; cuts > 0 && !HasFailure(); --cuts) {
        if (cuts % 25 == 0 || mChanges.empty())
            Record(static_cast<Kind>(cuts / 25 % 3));
        const std::size_t cut = mChanges.size() - Below(mChanges.size() - Kinds(mChanges).find('C'));
        CutPower(cut, static_cast<Model>(cuts % 3));
        ExpectConfirmed(cut);
    }
}

TEST_F(APowerCut, FindsSamplesBeforeTheirSizesAndThoseBeforeTheName) {
    EXPECT_EQ(Story(Container::kWave, Durability::kMachine), "w+wADwB+wBwB+wBwB+BwBwRD+");
    EXPECT_EQ(Part(506, 4), testing_support::ToBytes("JUNK")) << "not a size at the border of two sectors";
    EXPECT_EQ(Story(Container::kAiff, Durability::kMachine), "w+wADwBRD+");
    EXPECT_EQ(Story(Container::kWave, Durability::kProcess), "w+w+w+w+wR+");
}

// The system may have dropped what it could not write to the disk, so no later call vouches for it. A failed
// sync of a folder is made up for by the next call.
TEST_F(APowerCut, IsPromisedNothingAfterASyncThatFailed) {
    int failures = 0;
    faults::SweepCalls({.outputOnly = true}, [&] {
        std::filesystem::remove(mPath.string() + ".part");
        std::filesystem::remove(mPath);
        const std::string story = Story(Container::kWave, Durability::kMachine);
        if (const std::size_t failed = story.find_first_of("Xx"); failed != std::string::npos) {
            ++failures;
            EXPECT_NE(story.find('-', failed), std::string::npos) << story;
            EXPECT_EQ(story.find_first_of("R+", story.find('X')), std::string::npos) << story;
        }
    });
    EXPECT_EQ(failures, 8 + 2);
}

} // namespace

} // namespace wave_tests
