#include "AiffFileAccess.h"
#include "AudioWriterImpl.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

bool AudioWriter::Checkpoint(AudioError& outError) {
    return Checkpoint(Durability::kProcess, outError);
}

bool AudioWriter::Checkpoint(Durability inDurability, AudioError& outError) {
    Impl& impl = *mImpl;
    WaveFile* const wave = impl.Wave();
    if (impl.stage == Impl::Stage::kFinished)
        return Fail(outError, AudioError::kWrongOrder, impl.path, "it is finished");
    if (wave == nullptr)
        return Fail(outError, AudioError::kWrongOrder, impl.path,
                    "an AIFF file is complete only when finished");
    kelcore::filesupport::ForgetFailure();
    const bool done = inDurability == Durability::kMachine ? wave->FinishBlockOnDisk() : wave->FinishBlock();
    return done || impl.FailToWrite(outError, "a checkpoint failed");
}

bool AudioWriter::Finish(AudioError& outError) {
    return Finish(Durability::kProcess, outError);
}

bool AudioWriter::Finish(Durability inDurability, AudioError& outError) {
    Impl& impl = *mImpl;
    if (impl.stage == Impl::Stage::kFinished)
        return Fail(outError, AudioError::kWrongOrder, impl.path, "it is finished");
    // A chunk whose writing failed may still be open.
    const bool ended = impl.stage != Impl::Stage::kBeforeAudio || impl.EndOpenChunk(outError);
    const bool completed = ended && impl.Complete(inDurability, outError);
    impl.stage = Impl::Stage::kFinished;
    impl.file = WaveOrAiff(); // closes it
    return completed && impl.Rename(inDurability, outError);
}

bool AudioWriter::Discard(AudioError& outError) {
    Impl& impl = *mImpl;
    if (impl.stage == Impl::Stage::kFinished)
        return Fail(outError, AudioError::kWrongOrder, impl.path, "it is finished");
    impl.stage = Impl::Stage::kFinished;
    impl.file = WaveOrAiff(); // closes it
    try {
        FileOf(impl.writtenPath).Delete();
        return true;
    } catch (const kelcore::filesupport::file_exception&) {
        return FailForSystem(outError, AudioError::kWriteFailed, impl.writtenPath, "it cannot be deleted");
    }
}

bool AudioWriter::Impl::Complete(Durability inDurability, AudioError& outError) {
    kelcore::filesupport::ForgetFailure();
    WaveFile* const wave = Wave();
    const bool completed = wave != nullptr
                               ? CompleteWave(*wave, inDurability)
                               : CompleteAiff(*std::get<std::unique_ptr<AiffFile>>(file), inDurability);
    return completed || FailToWrite(outError, "it cannot be completed");
}

/// After a checkpoint on the disk, finishing the file writes only what is already there.
bool AudioWriter::Impl::CompleteWave(WaveFile& ioWave, Durability inDurability) const {
    // Many programs refuse a file without a `data` chunk, even if there are no samples.
    const bool lacksData = frames == 0 && ioWave.StartMetadatumWrite(ChunkId("data"));
    const bool hasData = !lacksData || ioWave.FinishMetadatumWrite();
    const bool kept = inDurability == Durability::kProcess || ioWave.FinishBlockOnDisk();
    const bool ended = ioWave.FinishSamples();
    return ioWave.FinishWrite() && ended && kept && hasData;
}

bool AudioWriter::Impl::CompleteAiff(AiffFile& ioAiff, Durability inDurability) const {
    if (inDurability == Durability::kMachine)
        AiffFileAccess::SyncWhenFinished(ioAiff);
    try {
        AiffFile::ExtendedErrorInfo untouched;
        return ioAiff.FinishWrite(false, untouched);
    } catch (const kelcore::filesupport::file_exception&) {
        return false; // LatestFailure has the reason
    }
}

bool AudioWriter::Impl::Rename(Durability inDurability, AudioError& outError) const {
    if (isAbandoned || writtenPath == path)
        return true;
    std::string failure = "it is complete, but cannot be renamed to " + path;
    try {
        FileOf(writtenPath).MoveTo(kelcore::ToUTF8String(path));
        failure = "it is complete and renamed to " + path + ", but not yet on the disk under that name";
        if (inDurability == Durability::kMachine)
            FileOf(path).SyncFolder();
        return true;
    } catch (const kelcore::filesupport::file_exception&) {
        return FailForSystem(outError, AudioError::kWriteFailed, writtenPath, failure);
    }
}

} // namespace kelaudiofile
