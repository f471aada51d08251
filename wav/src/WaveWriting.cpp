#include "WaveWriting.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "RiffFormat.h"
#include "WaveFormatChunkWriter.h"
#include "bytes/ByteOrder.h"
#include "chunks/Attempt.h"
#include "chunks/ChunkedOutput.h"

namespace kelaudiofile {

using chunks::Attempt;
using kelcore::filesupport::File;
using kelcore::filesupport::OByteStream;

namespace {

void WriteChunk(RiffChunkWriter& ioWriter, std::uint32_t inId, const std::uint8_t* inData,
                std::int32_t inSize) {
    const std::uint64_t chunkStart = ioWriter.StartChunk(inId);
    ioWriter.GetByteStream()->WriteBlock(inData, static_cast<unsigned>(inSize));
    ioWriter.EndChunk(chunkStart, 0);
}

/// A power failure may leave only one of two adjacent sectors written, and half a size could be any size.
void KeepNextSizeWhole(OByteStream& ioStream) {
    constexpr std::uint64_t kSectorBytes = 512, kSizeBytes = 4;
    if ((ioStream.CurPos() + riff::chunk::kSize) % kSectorBytes <= kSectorBytes - kSizeBytes)
        return;
    std::array<bytes::Byte, 2 * riff::chunk::kHeaderBytes> filler{};
    bytes::StoreLittle32(&filler[riff::chunk::kId], riff::kJunkId);
    bytes::StoreLittle32(&filler[riff::chunk::kSize], filler.size() - riff::chunk::kHeaderBytes);
    ioStream.WriteBlock(filler.data(), static_cast<unsigned>(filler.size()));
}

} // namespace

WaveWriting::WaveWriting(const AudioCharacteristics& inRecord, bool inStreamFlag)
    : mMayBeRf64(inRecord.containerKind == kRf64Container), mStreamFlag(inStreamFlag),
      mFrameBytes(std::int64_t{inRecord.numChannels} * inRecord.bytesPerSample) {}

WaveWriting::~WaveWriting() {
    Attempt([this] { SettleSize(); });
}

bool WaveWriting::Start(const File& inFile, const AudioCharacteristics& inRecord,
                        const std::uint8_t* inFormatChunk, std::int32_t inFormatChunkSize) {
    const bool started = Attempt([&] {
        mWriter.Initialize(inFile.Created(), GetWaveFileFormatIdentifier(), mMayBeRf64, mStreamFlag);
        mWriter.SetFrameBytes(static_cast<unsigned>(
            std::clamp<std::int64_t>(mFrameBytes, 1, std::numeric_limits<unsigned>::max())));
        if (inFormatChunk != nullptr && inFormatChunkSize > 0)
            WriteChunk(mWriter, WaveFormatChunkReader::GetChunkID(), inFormatChunk, inFormatChunkSize);
        else
            WriteWaveFormatChunk(mWriter, inRecord);
    });
    if (!started)
        Attempt([this] { mWriter.EndFile(0); }); // closes the file, with sizes that match its contents
    return started;
}

bool WaveWriting::WriteThrough() {
    return Attempt([this] { mWriter.WriteThrough(); });
}

bool WaveWriting::AcceptsBlock(std::int64_t inOffset, std::int32_t inByteCount,
                               const std::uint8_t* inBuffer) const {
    if (!mWriter.IsInitialized() || mMetadatum.IsOpen())
        return false;
    if (inOffset < 0 || inByteCount < 0 || (inBuffer == nullptr && inByteCount != 0))
        return false;
    if (inOffset > std::numeric_limits<std::int64_t>::max() - inByteCount)
        return false;
    if (!mStreamFlag && inOffset != mNextSampleByte)
        return false;
    if (mDataChunkEnded) // earlier chunks are closed, and an RF64 file has only one `data` size
        return !mMayBeRf64 && inOffset >= mNextSampleByte;
    return static_cast<std::uint64_t>(inOffset) >= mDataChunkStart;
}

bool WaveWriting::WriteBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer) {
    return Attempt([&] { AppendBlock(inOffset, inByteCount, inBuffer); });
}

void WaveWriting::AppendBlock(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer) {
    if (!mData.IsOpen())
        StartDataChunk(mDataChunkEnded ? inOffset : 0);
    const std::uint64_t chunkBytes =
        static_cast<std::uint64_t>(inOffset) + static_cast<std::uint64_t>(inByteCount) - mDataChunkStart;
    if (!mMayBeRf64 && chunkBytes >= riff::kLimit32) {
        EndDataChunk();
        StartDataChunk(inOffset);
    }
    chunks::WriteAt(*mWriter.GetByteStream(),
                    PositionOf(static_cast<std::uint64_t>(inOffset) - mDataChunkStart), inBuffer,
                    static_cast<std::size_t>(inByteCount));
    mNextSampleByte = inOffset + inByteCount;
}

void WaveWriting::StartDataChunk(std::int64_t inOffset) {
    SettleSize();
    if (mKeepsSizesWhole)
        KeepNextSizeWhole(*mWriter.GetByteStream());
    mData.header = mWriter.StartChunk(GetWaveDataIdentifier());
    mEarlierSampleBytes += static_cast<std::int64_t>(DataChunkBytes());
    mDataChunkStart = static_cast<std::uint64_t>(inOffset);
    mDataChunkEnded = false;
}

std::uint64_t WaveWriting::DataChunkBytes() const {
    const auto next = static_cast<std::uint64_t>(mNextSampleByte);
    return next > mDataChunkStart ? next - mDataChunkStart : 0;
}

/// Returns the file position after this many bytes of the `data` chunk.
std::uint64_t WaveWriting::PositionOf(std::uint64_t inDataChunkBytes) const {
    return mData.header + riff::chunk::kHeaderBytes + inDataChunkBytes;
}

/// The position of the stream is not always the end of the samples: a failure may leave it anywhere, and a
/// checkpoint may leave a pad byte after them.
void WaveWriting::EndDataChunk() {
    mWriter.EndChunk(mData.header, PositionOf(DataChunkBytes()));
}

/// Ends the `data` chunk, flushes a pad byte, and moves back over it.
void WaveWriting::CheckpointDataChunk() {
    EndDataChunk();
    mWriter.GetByteStream()->CurPos(PositionOf(DataChunkBytes()));
}

/// Ends a chunk for good, whether its size can be written or not.
bool WaveWriting::EndForGood(OpenChunk& ioChunk, std::uint64_t inEnd) {
    mOwedSize.Owe({std::exchange(ioChunk, {}).header, inEnd});
    const bool ended = Attempt([this] { SettleSize(); });
    if (!ended) // the data size of an RF64 file is in its header
        Attempt([this] { mWriter.EndBlock(FramesWritten()); });
    return ended;
}

/// Nothing after a chunk with a wrong size would be found again.
void WaveWriting::SettleSize() {
    mOwedSize.Settle([this](const ChunkSize& inSize) { mWriter.EndChunk(inSize.header, inSize.end); });
}

std::int64_t WaveWriting::FramesWritten() const {
    const std::int64_t bytes = mEarlierSampleBytes + static_cast<std::int64_t>(DataChunkBytes());
    return mFrameBytes == 0 ? 0 : bytes / mFrameBytes;
}

bool WaveWriting::FinishBlock() {
    if (!mWriter.IsInitialized())
        return false;
    const bool delivered = Attempt([this] {
        if (mData.IsOpen()) {
            CheckpointDataChunk();
        } else {
            SettleSize();
            mWriter.Flush();
        }
    });
    const bool counted = Attempt([this] { mWriter.EndBlock(FramesWritten()); });
    return delivered && counted;
}

// The sizes could reach the device before the data written ahead of them, so the data is synced first.
bool WaveWriting::FinishBlockOnDisk() {
    const bool kept = Attempt([this] {
        mWriter.Sync();
        if (mData.IsOpen())
            mWriter.SyncSwitch(static_cast<std::int64_t>(DataChunkBytes()), FramesWritten());
    });
    const bool counted = FinishBlock();
    return kept && counted && Attempt([this] { mWriter.Sync(); });
}

bool WaveWriting::FinishSamples() {
    if (!mWriter.IsInitialized())
        return false;
    if (!mData.IsOpen())
        return Attempt([this] { SettleSize(); });
    mDataChunkEnded = true;
    return EndForGood(mData, PositionOf(DataChunkBytes()));
}

bool WaveWriting::StartMetadatum(std::uint32_t inId) {
    if (!mWriter.IsInitialized() || mData.IsOpen() || mMetadatum.IsOpen())
        return false;
    return Attempt([&] {
        SettleSize();
        mMetadatum.header = mWriter.StartChunk(inId);
    });
}

bool WaveWriting::WriteMetadatum(const std::uint8_t* inBuffer, std::int32_t inByteCount) {
    if (!mWriter.IsInitialized() || mData.IsOpen())
        return false;
    if (inByteCount < 0 || (inBuffer == nullptr && inByteCount != 0))
        return false;
    return Attempt([&] {
        SettleSize();
        mWriter.GetByteStream()->WriteBlock(inBuffer, static_cast<unsigned>(inByteCount));
    });
}

bool WaveWriting::FinishMetadatum() {
    if (!mWriter.IsInitialized())
        return false;
    if (!mMetadatum.IsOpen())
        return Attempt([this] { SettleSize(); });
    return EndForGood(mMetadatum, mWriter.GetByteStream()->CurPos());
}

bool WaveWriting::FinishFile() {
    if (!mWriter.IsInitialized())
        return false;
    const auto settle = [this] { SettleSize(); };
    const bool settled = Attempt(settle);
    if (!settled) // the failure may have passed, and ending the file would write bytes that no size counts
        Attempt(settle);
    const bool ended = Attempt([this] { mWriter.EndFile(FramesWritten()); });
    mOwedSize.Forget();
    return settled && ended;
}

} // namespace kelaudiofile
