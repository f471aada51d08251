#include "WaveFileImpl.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

using chunks::Attempt;

bool WaveFile::FinishBlock() {
    Impl& impl = *mImpl;
    if (!impl.chunkWriter.IsInitialized())
        return false;
    const bool delivered = Attempt([&impl] {
        if (impl.dataChunkHandle == 0) {
            impl.MendBrokenChunk();
            impl.chunkWriter.Flush();
        } else {
            impl.EndDataChunk();
            impl.chunkWriter.GetByteStream()->CurPos(
                impl.EndOfSamples()); // delivers a pad byte, and goes back over it
        }
    });
    const bool counted = Attempt([&impl] { impl.chunkWriter.EndBlock(impl.FramesWritten()); });
    return delivered && counted;
}

// The sizes may reach the device before what was written ahead of them, so what they count goes first.
bool WaveFile::FinishBlockOnDisk() {
    Impl& impl = *mImpl;
    const bool kept = Attempt([&impl] {
        impl.chunkWriter.Sync();
        if (impl.dataChunkHandle != 0)
            impl.chunkWriter.SyncSwitch(static_cast<std::int64_t>(impl.DataChunkBytes()),
                                        impl.FramesWritten());
    });
    const bool counted = FinishBlock();
    return kept && counted && Attempt([&impl] { impl.chunkWriter.Sync(); });
}

bool WaveFile::FinishSamples() {
    Impl& impl = *mImpl;
    if (!impl.chunkWriter.IsInitialized())
        return false;
    if (impl.dataChunkHandle == 0)
        return Attempt([&impl] { impl.MendBrokenChunk(); });
    impl.dataChunkEnded = true;
    return impl.EndForGood(impl.dataChunkHandle, impl.EndOfSamples());
}

bool WaveFile::StartMetadatumWrite(std::uint32_t inChunkID) {
    Impl& impl = *mImpl;
    if (!impl.chunkWriter.IsInitialized() || impl.dataChunkHandle != 0 || impl.metadatumChunkHandle != 0)
        return false;
    return Attempt([&] {
        impl.MendBrokenChunk();
        impl.metadatumChunkHandle = impl.chunkWriter.StartChunk(inChunkID);
    });
}

bool WaveFile::MetadatumWrite(const std::uint8_t* inBuffer, std::int32_t inByteCount) {
    Impl& impl = *mImpl;
    if (!impl.chunkWriter.IsInitialized() || impl.dataChunkHandle != 0)
        return false;
    if (inByteCount < 0 || (inBuffer == nullptr && inByteCount != 0))
        return false;
    return Attempt([&] {
        impl.MendBrokenChunk();
        impl.chunkWriter.GetByteStream()->WriteBlock(inBuffer, static_cast<unsigned>(inByteCount));
    });
}

bool WaveFile::FinishMetadatumWrite() {
    Impl& impl = *mImpl;
    if (!impl.chunkWriter.IsInitialized())
        return false;
    if (impl.metadatumChunkHandle == 0)
        return Attempt([&impl] { impl.MendBrokenChunk(); });
    return impl.EndForGood(impl.metadatumChunkHandle, impl.chunkWriter.GetByteStream()->CurPos());
}

bool WaveFile::FinishWrite() {
    Impl& impl = *mImpl;
    if (!impl.chunkWriter.IsInitialized())
        return false;
    const bool mended = Attempt([&impl] { impl.MendBrokenChunk(); });
    if (!mended) // the failure may have passed, and the end of the file would deliver what no size counts
        Attempt([&impl] { impl.MendBrokenChunk(); });
    const bool ended = Attempt([&impl] { impl.chunkWriter.EndFile(impl.FramesWritten()); });
    impl.brokenChunk = 0;
    return mended && ended;
}

} // namespace kelaudiofile
