#include "AiffWriting.h"

#include <algorithm>
#include <stdexcept>

#include "AiffFormat.h"
#include "ChanChunk.h"
#include "CommChunk.h"
#include "chunks/Attempt.h"
#include "chunks/ChunkedOutput.h"

namespace kelaudiofile::aiff {

using chunks::Attempt;
using kelcore::filesupport::File;
using kelcore::filesupport::OPlatformByteStream;

namespace {

// The FORM size, which includes the last pad byte, is the first of the 32-bit fields to overflow.
constexpr bool FitsForm(std::int64_t inEnd) {
    return PaddedEnd(inEnd) - form::kUncountedBytes <= form::kLargestSize;
}

// So no chunk needs its own limit: the size of the largest one that fits is far below that of its field.
constexpr std::int64_t kFirstMetadatum =
    form::kBytes + 2 * chunk::kHeaderBytes + comm::kAiffBytes + chan::kDescriptions + chan::kTrailerBytes;
constexpr std::int64_t kLargestMetadatumBytes = 0xFFFFFFF7;
static_assert(!FitsForm(kFirstMetadatum + chunk::kHeaderBytes + kLargestMetadatumBytes));

constexpr std::size_t kSsndHeaderBytes = chunk::kHeaderBytes + ssnd::kSamples;

bool IsBlock(const void* inBytes, std::int32_t inByteCount) {
    return inByteCount == 0 || (inByteCount > 0 && inBytes != nullptr);
}

} // namespace

bool AiffWriting::Start(const File& inFile, const AiffFormatInfo& inFormat) {
    mFrameBytes = FrameBytes(inFormat);
    const bool started = Attempt<std::exception>([&] {
        mPlatform = std::make_unique<OPlatformByteStream>(inFile, kelcore::utility::Flags<unsigned>(0));
        mBuffered = chunks::MakeBuffer(*mPlatform);
        WriteHeaderChunks(inFormat);
        mBuffered->Flush();
    });
    if (!started)
        Close();
    return started;
}

void AiffWriting::WriteHeaderChunks(const AiffFormatInfo& inFormat) {
    Byte header[form::kBytes] = {};
    StoreId(header, kFormId);
    StoreId(header + form::kType, inFormat.formType);
    Append(header, sizeof header);
    if (inFormat.formType == kAifcType) {
        std::vector<Byte> version(fver::kBytes);
        bytes::StoreBig32(version.data(), fver::kVersion1);
        WriteChunk(kFverId, version);
    }
    mCommPosition = mWritePosition;
    WriteChunk(kCommId, BuildComm(inFormat));
    if (ChanBytes(inFormat.channelLayout.size()) > form::kLargestSize)
        throw std::length_error("the channel layout is too long for an AIFF file");
    WriteChunk(kChanId, BuildChan(inFormat.channelLayout));
}

// Only for chunks of even size.
void AiffWriting::WriteChunk(std::uint32_t inId, const std::vector<Byte>& inData) {
    Byte header[chunk::kHeaderBytes];
    StoreId(header + chunk::kId, inId);
    bytes::StoreBig32(header + chunk::kSize, static_cast<std::uint32_t>(inData.size()));
    Append(header, sizeof header);
    Append(inData.data(), inData.size());
}

bool AiffWriting::WriteThrough() {
    return mBuffered && Attempt([this] { mBuffered->StopGathering(); });
}

bool AiffWriting::AcceptsBlock(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer) const {
    return IsOpen() && inOffset == mSampleBytes && IsBlock(inBuffer, inByteCount);
}

bool AiffWriting::WriteBlock(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer) {
    const std::int64_t ssnd = mSsndPosition != 0 ? mSsndPosition : mWritePosition;
    const std::int64_t target = ssnd + static_cast<std::int64_t>(kSsndHeaderBytes) + inOffset;
    if (!FitsForm(target + inByteCount))
        return false;
    if (mSsndPosition == 0)
        mOwedHeader.Owe({kSsndId, kSsndHeaderBytes});
    mSsndPosition = ssnd;
    const bool written = Attempt([&] {
        SettleHeader();
        WriteAt(target, inBuffer, static_cast<std::size_t>(inByteCount));
    });
    if (written)
        mSampleBytes += inByteCount;
    return written;
}

bool AiffWriting::StartMetadatum(std::uint32_t inId) {
    if (mMetadatumPosition != 0 || mSsndPosition != 0 || !IsOpen())
        return false;
    mMetadatumPosition = mWritePosition;
    mOwedHeader.Owe({inId, chunk::kHeaderBytes});
    return Attempt([this] { SettleHeader(); });
}

bool AiffWriting::WriteMetadatum(const void* inBuffer, std::int32_t inByteCount) {
    if (!IsOpen() || mMetadatumPosition == 0 || !IsBlock(inBuffer, inByteCount))
        return false;
    return Attempt([&] {
        SettleHeader();
        Append(inBuffer, static_cast<std::size_t>(inByteCount));
    });
}

bool AiffWriting::FinishMetadatum() {
    if (!IsOpen() || mMetadatumPosition == 0)
        return false;
    return Attempt([this] {
        SettleHeader();
        CompleteMetadatum();
    });
}

/// A chunk whose header could not be written when it was begun is open nevertheless.
void AiffWriting::SettleHeader() {
    mOwedHeader.Settle([this](const ChunkHeader& inHeader) {
        Byte header[kSsndHeaderBytes] = {};
        StoreId(header + chunk::kId, inHeader.id);
        Append(header, inHeader.byteCount);
    });
}

void AiffWriting::CompleteMetadatum() {
    mBuffered->RemoveFailedWrites(*mPlatform);
    const std::int64_t end = mWritePosition;
    const std::int64_t padded = PadAt(end);
    WriteNumber(mMetadatumPosition + chunk::kSize, end - mMetadatumPosition - chunk::kHeaderBytes);
    chunks::MoveTo(*mBuffered, static_cast<std::uint64_t>(padded));
    mWritePosition = padded;
    mMetadatumPosition = 0;
}

void AiffWriting::Complete() {
    try {
        SyncIfAsked(); // the samples first, then what counts them
        CompleteSizes();
        // The destructor would ignore a failure to write the last bytes.
        chunks::Deliver(*mPlatform, *mBuffered);
        SyncIfAsked();
    } catch (...) {
        Attempt([this] { CountDelivered(); });
        throw;
    }
}

void AiffWriting::SyncIfAsked() {
    if (mSyncsWhenFinished)
        mBuffered->Sync(*mPlatform);
}

// The FORM size comes last: until then readers read the file to its end, whatever has been completed of it.
void AiffWriting::CompleteSizes() {
    std::int64_t end = mWritePosition;
    if (HasSsnd()) {
        end = PadAt(end);
        WriteNumber(mSsndPosition + chunk::kSize, mSampleBytes + ssnd::kSamples);
    }
    WriteNumber(mCommPosition + chunk::kHeaderBytes + comm::kSampleCount, FramesOf(mSampleBytes));
    WriteNumber(form::kSize, end - form::kUncountedBytes);
}

// Bypasses the buffer, which still holds what could not be written. If those bytes do not reach the end of
// the file, they are a size field, and all samples have been written.
void AiffWriting::CountDelivered() {
    if (!HasSsnd())
        return;
    auto end = static_cast<std::uint64_t>(mWritePosition);
    if (mBuffered->CurPos() >= end)
        end = chunks::DeliveredEnd(*mBuffered, end);
    const std::int64_t frameBytes = std::max(mFrameBytes, 1);
    const std::int64_t sampleBytes =
        (static_cast<std::int64_t>(end) - SamplePosition()) / frameBytes * frameBytes;
    if (sampleBytes <= 0)
        return;
    const auto patch = [this](std::int64_t inPosition, std::int64_t inValue) {
        Byte number[4];
        bytes::StoreBig32(number, static_cast<std::uint32_t>(inValue));
        chunks::Patch(*mPlatform, static_cast<std::uint64_t>(inPosition), number, sizeof number);
    };
    patch(mSsndPosition + chunk::kSize, sampleBytes + ssnd::kSamples);
    patch(mCommPosition + chunk::kHeaderBytes + comm::kSampleCount, FramesOf(sampleBytes));
    patch(form::kSize, PaddedEnd(SamplePosition() + sampleBytes) - form::kUncountedBytes);
}

std::int64_t AiffWriting::SamplePosition() const {
    return mSsndPosition + static_cast<std::int64_t>(kSsndHeaderBytes);
}

std::uint32_t AiffWriting::FramesOf(std::int64_t inSampleBytes) const {
    const auto frameBytes = static_cast<std::uint32_t>(mFrameBytes);
    return frameBytes == 0 ? 0 : static_cast<std::uint32_t>(inSampleBytes) / frameBytes;
}

/// Moves to the end of a chunk's data and pads it. @return where the next chunk begins.
std::int64_t AiffWriting::PadAt(std::int64_t inEnd) {
    constexpr Byte kPadByte = 0;
    chunks::MoveTo(*mBuffered, static_cast<std::uint64_t>(inEnd));
    if (PaddedEnd(inEnd) != inEnd)
        mBuffered->WriteBlock(&kPadByte, sizeof kPadByte);
    return PaddedEnd(inEnd);
}

void AiffWriting::WriteAt(std::int64_t inPosition, const void* inBytes, std::size_t inCount) {
    const std::int64_t end = inPosition + static_cast<std::int64_t>(inCount);
    if (!FitsForm(end))
        throw std::length_error("an AIFF file holds no more than 4 GiB");
    chunks::WriteAt(*mBuffered, static_cast<std::uint64_t>(inPosition), inBytes, inCount);
    mWritePosition = end;
}

void AiffWriting::Append(const void* inBytes, std::size_t inCount) {
    WriteAt(mWritePosition, inBytes, inCount);
}

void AiffWriting::WriteNumber(std::int64_t inPosition, std::int64_t inValue) {
    Byte number[4];
    bytes::StoreBig32(number, static_cast<std::uint32_t>(inValue));
    chunks::WriteAt(*mBuffered, static_cast<std::uint64_t>(inPosition), number, sizeof number);
}

void AiffWriting::Close() noexcept {
    mBuffered.reset();
    mPlatform.reset();
}

} // namespace kelaudiofile::aiff
