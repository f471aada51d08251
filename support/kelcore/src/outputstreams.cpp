#include <algorithm>
#include <cstring>
#include <new>

#include "OpenFile.h"

namespace kelcore::filesupport {

OPlatformByteStream::OPlatformByteStream(const File& inFile, utility::Flags<unsigned>)
    : mFile(inFile.mCreatedFile ? inFile.mCreatedFile
                                : std::make_shared<OpenFile>(inFile.Path(), system::Access::kWrite)) {}

OPlatformByteStream::~OPlatformByteStream() = default;

std::uint64_t OPlatformByteStream::Length() const {
    return mFile->Length();
}

void OPlatformByteStream::SetLength(std::uint64_t inLength) {
    mFile->SetLength(inLength);
}

void OPlatformByteStream::Sync() {
    mFile->Sync();
}

void OPlatformByteStream::WriteBlock(const void* inBytes, unsigned inCount) {
    mFile->Write(static_cast<const unsigned char*>(inBytes), inCount, mPosition);
}

void OBufferedByteStream::AlignedDelete::operator()(unsigned char* inMemory) const noexcept {
    ::operator delete(inMemory, std::align_val_t{alignment});
}

OBufferedByteStream::OBufferedByteStream(OByteStream& inStream, unsigned inCapacity, unsigned inAlignment)
    : mStream(inStream),
      mBuffer(static_cast<unsigned char*>(::operator new(inCapacity, std::align_val_t{inAlignment})),
              AlignedDelete{inAlignment}),
      mBufferStart(inStream.CurPos()), mCapacity(inCapacity) {}

OBufferedByteStream::~OBufferedByteStream() {
    try {
        Flush();
    } catch (...) {
        // Owners that can handle a failure have called Flush themselves.
    }
}

void OBufferedByteStream::WriteBlock(const void* inBytes, unsigned inCount) {
    if (inCount == 0)
        return;
    if (inCount > mCapacity - mWaiting)
        Flush();
    if (inCount >= mCapacity) {
        WriteThrough(inBytes, inCount);
    } else {
        std::memcpy(mBuffer.get() + mWaiting, inBytes, inCount);
        mWaiting += inCount;
    }
}

void OBufferedByteStream::StopGathering() {
    Flush();
    mCapacity = 0;
}

void OBufferedByteStream::Flush() {
    if (mWaiting == 0)
        return;
    mStream.CurPos(mBufferStart);
    try {
        mStream.WriteBlock(mBuffer.get(), mWaiting);
    } catch (...) {
        const std::uint64_t reached = std::max(mStream.CurPos(), mBufferStart);
        Delivered(static_cast<unsigned>(std::min<std::uint64_t>(reached - mBufferStart, mWaiting)));
        throw;
    }
    Delivered(mWaiting);
}

void OBufferedByteStream::Sync(OPlatformByteStream& ioWrapped) {
    Flush();
    ioWrapped.Sync();
}

void OBufferedByteStream::Delivered(unsigned inCount) {
    mBufferStart += inCount;
    mWaiting -= inCount;
    mEnd = std::max(mEnd, mBufferStart);
    std::memmove(mBuffer.get(), mBuffer.get() + inCount, mWaiting);
}

void OBufferedByteStream::WriteThrough(const void* inBytes, unsigned inCount) {
    mStream.CurPos(mBufferStart);
    try {
        mStream.WriteBlock(inBytes, inCount);
    } catch (...) {
        if (mStream.CurPos() > mBufferStart)
            mEndOfFailed = std::max(mEndOfFailed, mStream.CurPos());
        throw;
    }
    mBufferStart += inCount;
    mEnd = std::max(mEnd, mBufferStart);
}

void OBufferedByteStream::RemoveFailedWrites(OPlatformByteStream& ioWrapped) {
    if (mEndOfFailed > mEnd && ioWrapped.Length() <= mEndOfFailed)
        ioWrapped.SetLength(mEnd);
    mEndOfFailed = 0;
}

void OBufferedByteStream::CurPos(std::uint64_t inPosition) {
    if (inPosition == CurPos())
        return;
    Flush();
    mBufferStart = inPosition;
}

std::uint64_t OBufferedByteStream::Length() const {
    return mWaiting == 0 ? mStream.Length() : std::max(mStream.Length(), CurPos());
}

} // namespace kelcore::filesupport
