#include "kelaudiofile/RiffChunkWriter.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "RiffFormat.h"
#include "bytes/ByteOrder.h"
#include "chunks/Attempt.h"
#include "chunks/ChunkedOutput.h"
#include "kelcore/config.h"

namespace kelaudiofile {

using bytes::Byte;
using bytes::StoreLittle32;
using bytes::StoreLittle64;
using kelcore::filesupport::File;
using kelcore::filesupport::OPlatformByteStream;

namespace {

constexpr std::string_view kReservedText = "reserved for RF64 ds64 chunk";
static_assert(kReservedText.size() == riff::ds64::kTable,
              "the reserved chunk must have room for ds64 without a table");

constexpr std::uint32_t Size32(std::uint64_t inSize) {
    return inSize < riff::kLimit32 ? static_cast<std::uint32_t>(inSize) : riff::kSizeElsewhere;
}

template <typename Function>
class AtExit {
public:
    explicit AtExit(Function inFunction) : mFunction(inFunction) {}
    AtExit(const AtExit&) = delete;
    AtExit& operator=(const AtExit&) = delete;
    ~AtExit() { mFunction(); }

private:
    Function mFunction;
};

} // namespace

RiffChunkWriter::~RiffChunkWriter() {
    chunks::Attempt([this] { EndFile(0); }); // call EndFile to learn of failures
}

void RiffChunkWriter::Initialize(File inFile, unsigned int formType, bool reserveDs64, bool inStreamFlag) {
    Reset();
    if (!inFile.Exists())
        inFile = inFile.Created();
    mFileIsNew = inFile.IsCreated();
    mPlatformStream = std::make_unique<OPlatformByteStream>(
        inFile, kelcore::utility::Flags<unsigned>(inStreamFlag ? 1 : 0));
    inFile = {}; // a parameter may outlive the call, but the stream's destruction must close the file
    mBufferedStream = chunks::MakeBuffer(*mPlatformStream);

    std::array<Byte, riff::header::kBytes> header;
    StoreLittle32(&header[riff::header::kMagic], riff::kRiffId);
    StoreLittle32(&header[riff::header::kRiffSize], 0);
    StoreLittle32(&header[riff::header::kFormType], formType);
    mRiffSizeOffset = mBufferedStream->CurPos() + riff::header::kRiffSize;
    mBufferedStream->WriteBlock(header.data(), riff::header::kBytes);

    if (reserveDs64) {
        mDs64Reserved = true;
        mDs64Offset = StartChunk(riff::kJunkId);
        mBufferedStream->WriteBlock(kReservedText.data(), static_cast<unsigned>(kReservedText.size()));
        EndChunk(mDs64Offset, 0);
    }
}

// The header is written as one block, so that a failure leaves the position of the stream unchanged.
std::uint64_t RiffChunkWriter::StartChunk(unsigned int id) {
    const std::uint64_t chunkStart = mBufferedStream->CurPos();
    std::array<Byte, riff::chunk::kHeaderBytes> header;
    StoreLittle32(&header[riff::chunk::kId], id);
    StoreLittle32(&header[riff::chunk::kSize], 0);
    mBufferedStream->WriteBlock(header.data(), riff::chunk::kHeaderBytes);
    mCurrentChunkID = id;
    mCountedSize = 0;
    mDeliveredEnd = 0;
    return chunkStart;
}

// The data is written first, then the size that counts it. The size bypasses the buffer, so that a failure
// leaves the position of the stream unchanged.
void RiffChunkWriter::EndChunk(std::uint64_t chunkStart, std::uint64_t chunkEnd) {
    if (chunkEnd == 0)
        chunkEnd = mBufferedStream->CurPos();
    const std::uint64_t size = chunkEnd - chunkStart - riff::chunk::kHeaderBytes;
    try {
        Flush();
        PatchSize(chunkStart, size);
    } catch (...) {
        CountDelivered(chunkStart, chunkEnd);
        throw;
    }
    mDeliveredEnd = 0;
    mBufferedStream->CurPos(chunkEnd);
    if (size % 2 == 1)
        mBufferedStream->WriteBlock("", 1);
}

void RiffChunkWriter::PatchSize(std::uint64_t chunkStart, std::uint64_t inSize) {
    std::array<Byte, 4> field;
    StoreLittle32(field.data(), Size32(inSize));
    PatchHeader(chunkStart + riff::chunk::kSize, field.data(), field.size());
    mCountedSize = inSize;
    if (mCurrentChunkID == riff::kDataId)
        mDataChunkSize = static_cast<std::int64_t>(inSize);
}

// Counts what the file holds of a chunk whose end could not be written, though never less than before. The
// length of the file matters after a jump: the first buffered byte may then be far past the end.
void RiffChunkWriter::CountDelivered(std::uint64_t chunkStart, std::uint64_t chunkEnd) noexcept {
    chunks::Attempt([&] {
        const std::uint64_t dataStart = chunkStart + riff::chunk::kHeaderBytes;
        const std::uint64_t end =
            chunks::DeliveredEnd(*mBufferedStream, std::min(chunkEnd, mPlatformStream->Length()));
        if (end <= dataStart)
            return;
        const std::uint64_t unit = mCurrentChunkID == riff::kDataId ? mFrameBytes : 1;
        const std::uint64_t size = (end - dataStart) / unit * unit;
        mDeliveredEnd = dataStart + size;
        if (size > mCountedSize)
            PatchSize(chunkStart, size);
    });
}

// A partial frame at the end of the file would be taken for a chunk.
void RiffChunkWriter::DropPartOfFrame() noexcept {
    if (mDeliveredEnd == 0 || !mFileIsNew)
        return;
    chunks::Attempt([this] {
        const std::uint64_t length = mPlatformStream->Length();
        if (length > mDeliveredEnd && length - mDeliveredEnd < mFrameBytes)
            mPlatformStream->SetLength(mDeliveredEnd);
    });
}

void RiffChunkWriter::PatchHeader(std::uint64_t inPosition, const void* inBytes, unsigned inCount) {
    chunks::Patch(*mPlatformStream, inPosition, inBytes, inCount);
}

void RiffChunkWriter::EndBlock(std::int64_t sampleCount) {
    UpdateHeaders(sampleCount);
}

void RiffChunkWriter::Flush() {
    if (!mBufferedStream)
        return;
    if (mFileIsNew)
        chunks::Deliver(*mPlatformStream, *mBufferedStream);
    else
        mBufferedStream->Flush();
}

void RiffChunkWriter::Sync() {
    Flush();
    if (mBufferedStream)
        mBufferedStream->Sync(*mPlatformStream);
}

// A size field that refers to `ds64` would extend the chunk to the end of the file
// until that header is there.
void RiffChunkWriter::SyncSwitch(std::int64_t inDataSize, std::int64_t sampleCount) {
    constexpr auto kLimit = static_cast<std::int64_t>(riff::kLimit32);
    if (!mDs64Reserved || inDataSize < kLimit || mDataChunkSize >= kLimit)
        return;
    mDataChunkSize = inDataSize;
    UpdateHeaders(sampleCount);
    Sync();
}

void RiffChunkWriter::WriteThrough() {
    if (mBufferedStream)
        mBufferedStream->StopGathering();
}

void RiffChunkWriter::UpdateHeaders(std::int64_t sampleCount) {
    if (!mPlatformStream)
        return;
    const std::uint64_t length = mPlatformStream->Length();
    const std::uint64_t riffSize = length < 8 ? length : length - 8;
    std::array<Byte, 4> field;
    StoreLittle32(field.data(), Size32(riffSize));
    PatchHeader(mRiffSizeOffset, field.data(), field.size());
    if (!mDs64Reserved)
        return;
    if (riffSize < riff::kLimit32 && mDataChunkSize < static_cast<std::int64_t>(riff::kLimit32))
        return;
    StoreLittle32(field.data(), riff::kRf64Id);
    PatchHeader(riff::header::kMagic, field.data(), field.size());
    if (mDeliveredEnd != 0)
        sampleCount = std::min(sampleCount, mDataChunkSize / static_cast<std::int64_t>(mFrameBytes));
    WriteDs64(riffSize, sampleCount);
}

void RiffChunkWriter::WriteDs64(std::uint64_t inRiffSize, std::int64_t sampleCount) {
    std::array<Byte, riff::chunk::kHeaderBytes + riff::ds64::kTable> chunk{};
    Byte* const data = &chunk[riff::chunk::kHeaderBytes];
    StoreLittle32(&chunk[riff::chunk::kId], riff::kDs64Id);
    StoreLittle32(&chunk[riff::chunk::kSize], riff::ds64::kTable);
    StoreLittle64(data + riff::ds64::kRiffSize, inRiffSize);
    StoreLittle64(data + riff::ds64::kDataSize, static_cast<std::uint64_t>(mDataChunkSize));
    StoreLittle64(data + riff::ds64::kSampleCount, static_cast<std::uint64_t>(sampleCount));
    StoreLittle32(data + riff::ds64::kTableLength, 0);
    PatchHeader(mDs64Offset, chunk.data(), chunk.size());
}

void RiffChunkWriter::EndFile(std::int64_t sampleCount) {
    // The writer must end up closed even if the headers cannot be written, and closing may fail in turn.
    const AtExit close([this] {
        kelcore::detail::FunctionalStatistic(true, false);
        kelcore::config::ExecuteTopLevelFunction(kelcore::config::OneTimeFunction([this] { Reset(); }),
                                                 nullptr);
    });
    if (!mBufferedStream)
        return; // no header was written, so there is none to update
    try {
        Flush();
    } catch (...) {
        mBufferedStream.reset(); // which tries once more, so that nothing is written after the header
        DropPartOfFrame();
        UpdateHeaders(sampleCount); // count what has reached the file
        throw;
    }
    UpdateHeaders(sampleCount);
}

void RiffChunkWriter::Reset() {
    mBufferedStream.reset();
    mPlatformStream.reset();
    mRiffSizeOffset = mDs64Offset = 0;
    mDs64Reserved = mFileIsNew = false;
    mCurrentChunkID = 0;
    mDataChunkSize = 0;
    mFrameBytes = 1;
    mCountedSize = mDeliveredEnd = 0;
}

} // namespace kelaudiofile
