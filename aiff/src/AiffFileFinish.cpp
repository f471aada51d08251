#include <algorithm>

#include "AiffFileImpl.h"
#include "AiffFormat.h"
#include "chunks/Attempt.h"

namespace kelaudiofile {

namespace {

using namespace aiff;

constexpr Byte kPadByte = 0;

} // namespace

bool AiffFile::FinishWrite(bool inAbandon, ExtendedErrorInfo&) {
    Impl& impl = *mImpl;
    if (!inAbandon) {
        if (!impl.bufferedStream)
            return true;
        impl.Complete();
    }
    impl.CloseWriteStreams();
    return true;
}

void AiffFile::Impl::CompleteMetadatum() {
    bufferedStream->RemoveFailedWrites(*writeStream);
    const std::int64_t end = writePosition;
    const std::int64_t dataBytes = end - metadatumPosition - chunk::kHeaderBytes;
    MoveTo(end);
    if (PaddedEnd(end) != end)
        bufferedStream->WriteBlock(&kPadByte, sizeof kPadByte);
    PatchNumber(metadatumPosition + chunk::kSize, static_cast<std::uint32_t>(dataBytes));
    MoveTo(PaddedEnd(end));
    writePosition = PaddedEnd(end);
    metadatumPosition = 0;
}

void AiffFile::Impl::Complete() {
    try {
        SyncIfAsked(); // the samples first, then what counts them
        CompleteSizes();
        bufferedStream->Flush(); // destruction would lose the failure to deliver the last bytes
        bufferedStream->RemoveFailedWrites(*writeStream);
        SyncIfAsked();
    } catch (...) {
        chunks::Attempt([this] { CountDelivered(); });
        throw;
    }
}

void AiffFile::Impl::SyncIfAsked() {
    if (syncsWhenFinished)
        bufferedStream->Sync(*writeStream);
}

// Past the buffer, where what could not be delivered still waits. Unless that reaches the end of the file, it
// is a size, and all samples are delivered.
void AiffFile::Impl::CountDelivered() {
    if (!HasSsnd())
        return;
    std::int64_t end = writePosition;
    if (const auto position = static_cast<std::int64_t>(bufferedStream->CurPos()); position >= end)
        end = std::min(end, position - bufferedStream->Waiting());
    const std::int64_t samplePosition = ssndChunkPosition + chunk::kHeaderBytes + ssnd::kSamples;
    const std::int64_t frameBytes = std::max(FrameBytes(format), 1);
    const std::int64_t sampleBytes = (end - samplePosition) / frameBytes * frameBytes;
    if (sampleBytes <= 0)
        return;
    const auto patch = [this](std::int64_t inPosition, std::int64_t inValue) {
        Byte number[4];
        bytes::StoreBig32(number, static_cast<std::uint32_t>(inValue));
        writeStream->CurPos(static_cast<std::uint64_t>(inPosition));
        writeStream->WriteBlock(number, sizeof number);
    };
    patch(ssndChunkPosition + chunk::kSize, sampleBytes + ssnd::kSamples);
    patch(commChunkPosition + chunk::kHeaderBytes + comm::kSampleCount, FramesOf(sampleBytes));
    patch(form::kSize, PaddedEnd(samplePosition + sampleBytes) - form::kUncountedBytes);
}

// The FORM size comes last: until then the file is read to its end, whatever has been completed of it.
void AiffFile::Impl::CompleteSizes() {
    std::int64_t end = writePosition;
    const auto sampleBytes = static_cast<std::uint32_t>(sampleBytesWritten);
    if (HasSsnd()) {
        MoveTo(end);
        if (PaddedEnd(end) != end)
            bufferedStream->WriteBlock(&kPadByte, sizeof kPadByte);
        end = PaddedEnd(end);
        PatchNumber(ssndChunkPosition + chunk::kSize, sampleBytes + ssnd::kSamples);
    }
    if (commChunkPosition != 0)
        PatchNumber(commChunkPosition + chunk::kHeaderBytes + comm::kSampleCount,
                    FramesOf(sampleBytesWritten));
    PatchNumber(form::kSize, static_cast<std::uint32_t>(end - form::kUncountedBytes));
}

std::uint32_t AiffFile::Impl::FramesOf(std::int64_t inSampleBytes) const {
    const auto frameBytes = static_cast<std::uint32_t>(FrameBytes(format));
    return frameBytes == 0 ? 0 : static_cast<std::uint32_t>(inSampleBytes) / frameBytes;
}

void AiffFile::Impl::CloseWriteStreams() noexcept {
    bufferedStream.reset();
    writeStream.reset();
    file = File();
}

} // namespace kelaudiofile
