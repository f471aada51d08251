#include "kelcore/filesupport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <system_error>

#include "System.h"

namespace kelcore::filesupport {

namespace {

constexpr unsigned kFirstWindow = 4096;
constexpr unsigned kLargestWindow = 65536;

std::string Message(std::string_view inOperation, const UTF8String& inPath, int inSystemError) {
    const std::string reason =
        inSystemError == 0 ? "the file ends too early" : std::generic_category().message(inSystemError);
    return "cannot " + std::string(inOperation) + " '" + ToStdString(inPath) + "': " + reason;
}

// A path with a zero byte inside would name another file to the system.
bool IsUsable(const UTF8String& inPath) {
    return inPath.find('\0') == UTF8String::npos;
}

const char* SystemPath(const UTF8String& inPath) {
    return reinterpret_cast<const char*>(inPath.c_str());
}

template <typename Result>
Result OrThrow(Result inResult, std::string_view inOperation, const UTF8String& inPath) {
    if (inResult < 0)
        throw file_exception(inOperation, inPath, static_cast<int>(-inResult));
    return inResult;
}

int OpenOrThrow(const UTF8String& inPath, system::Access inAccess, std::string_view inOperation) {
    if (!IsUsable(inPath))
        throw file_exception(inOperation, inPath, EINVAL);
    return OrThrow(system::Open(SystemPath(inPath), inAccess), inOperation, inPath);
}

} // namespace

file_exception::file_exception(std::string_view inOperation, const UTF8String& inPath, int inSystemError)
    : kel_exception(utility::StringValue(ToUTF8String(Message(inOperation, inPath, inSystemError)))),
      mSystemError(inSystemError) {}

file_exception::~file_exception() = default;

class OpenFile {
public:
    OpenFile(const UTF8String& inPath, system::Access inAccess)
        : mPath(inPath), mDescriptor(OpenOrThrow(mPath, inAccess, "open")) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { system::Close(mDescriptor); }

    std::uint64_t Length() const {
        return static_cast<std::uint64_t>(
            OrThrow(system::LengthOf(mDescriptor), "find the length of", mPath));
    }

    /// Reads once. @return bytes read, maybe fewer than wanted; 0 at the end of the file.
    std::size_t ReadSome(unsigned char* outBytes, std::size_t inCount, std::uint64_t inPosition) const {
        std::int64_t count;
        do
            count = system::ReadAt(mDescriptor, outBytes, std::min(inCount, system::kLargestTransfer),
                                   inPosition);
        while (count == -EINTR);
        return static_cast<std::size_t>(OrThrow(count, "read", mPath));
    }

    void Read(unsigned char* outBytes, std::size_t inCount, std::uint64_t inPosition) const {
        for (std::size_t done = 0; done < inCount;) {
            const std::size_t count = ReadSome(outBytes + done, inCount - done, inPosition + done);
            if (count == 0)
                ThrowAtEnd();
            done += count;
        }
    }

    void Write(const unsigned char* inBytes, std::size_t inCount, std::uint64_t inPosition) const {
        for (std::size_t done = 0; done < inCount;) {
            const auto piece = std::min(inCount - done, system::kLargestTransfer);
            const auto count = system::WriteAt(mDescriptor, inBytes + done, piece, inPosition + done);
            if (count == -EINTR)
                continue;
            OrThrow(count, "write", mPath);
            if (count == 0)
                throw file_exception("write", mPath, ENOSPC);
            done += static_cast<std::size_t>(count);
        }
    }

    [[noreturn]] void ThrowAtEnd() const { throw file_exception("read", mPath, 0); }

private:
    UTF8String mPath;
    int mDescriptor;
};

bool File::Exists() const {
    return IsUsable(mPath) && system::SizeOfRegularFile(SystemPath(mPath)) >= 0;
}

std::uint64_t File::Size() const {
    if (mOpenFile)
        return mOpenFile->Length();
    if (!IsUsable(mPath))
        throw file_exception("find the size of", mPath, EINVAL);
    return static_cast<std::uint64_t>(
        OrThrow(system::SizeOfRegularFile(SystemPath(mPath)), "find the size of", mPath));
}

void File::Create(bool inReplace) const {
    system::Close(
        OpenOrThrow(mPath, inReplace ? system::Access::kCreateOrEmpty : system::Access::kCreate, "create"));
}

void File::Delete() const {
    if (!IsUsable(mPath))
        throw file_exception("delete", mPath, EINVAL);
    OrThrow(system::Remove(SystemPath(mPath)), "delete", mPath);
}

File File::Opened() const {
    File opened = *this;
    opened.mOpenFile = std::make_shared<OpenFile>(mPath, system::Access::kRead);
    return opened;
}

IByteStream::~IByteStream() = default;
OByteStream::~OByteStream() = default;

IPlatformByteStream::IPlatformByteStream(const File& inFile, utility::Flags<unsigned>)
    : mFile(inFile.mOpenFile ? inFile.mOpenFile
                             : std::make_shared<OpenFile>(inFile.Path(), system::Access::kRead)) {}

IPlatformByteStream::~IPlatformByteStream() = default;

std::uint64_t IPlatformByteStream::Length() const {
    return mFile->Length();
}

void IPlatformByteStream::ReadBlock(void* outBytes, unsigned inCount) {
    auto* out = static_cast<unsigned char*>(outBytes);
    if (inCount >= kFirstWindow) {
        mFile->Read(out, inCount, mPosition);
        mPosition += inCount;
        return;
    }
    std::uint64_t position = mPosition;
    for (unsigned wanted = inCount; wanted > 0;) {
        if (!InWindow(position))
            FillWindow(position);
        if (!InWindow(position))
            mFile->ThrowAtEnd();
        const auto offset = static_cast<unsigned>(position - mWindowStart);
        const unsigned count = std::min(wanted, mWindowCount - offset);
        std::memcpy(out, mWindow.get() + offset, count);
        out += count;
        position += count;
        wanted -= count;
    }
    mPosition = position;
}

// A miss close behind the window is a walk through small pieces, which larger windows serve with fewer calls.
// Any other miss is a jump, and there most of a large window would be read for nothing.
void IPlatformByteStream::FillWindow(std::uint64_t inPosition) {
    const std::uint64_t windowEnd = mWindowStart + mWindowCount;
    const bool goesForward =
        mWindowCount != 0 && inPosition >= windowEnd && inPosition - windowEnd < mWindowCount;
    const unsigned wanted = goesForward ? std::min(2 * mWindowCount, kLargestWindow) : kFirstWindow;
    mWindowCount = 0;
    if (wanted > mWindowCapacity) {
        mWindow.reset(new unsigned char[wanted]);
        mWindowCapacity = wanted;
    }
    mWindowCount = static_cast<unsigned>(mFile->ReadSome(mWindow.get(), wanted, inPosition));
    mWindowStart = inPosition;
}

namespace {

std::size_t LeadingZeros(const unsigned char* inBytes, std::size_t inCount) {
    std::size_t count = 0;
    std::uint64_t word = 0;
    while (inCount - count >= sizeof word) {
        std::memcpy(&word, inBytes + count, sizeof word);
        if (word != 0)
            break;
        count += sizeof word;
    }
    while (count < inCount && inBytes[count] == 0)
        ++count;
    return count;
}

} // namespace

std::uint64_t IPlatformByteStream::CountZeroBytes(std::uint64_t inLimit) {
    std::uint64_t count = 0;
    while (count < inLimit) {
        const std::uint64_t position = mPosition + count;
        if (!InWindow(position))
            FillWindow(position);
        if (!InWindow(position))
            break;
        const auto offset = static_cast<unsigned>(position - mWindowStart);
        const std::uint64_t inWindow = std::min<std::uint64_t>(mWindowCount - offset, inLimit - count);
        const std::size_t zeros = LeadingZeros(mWindow.get() + offset, static_cast<std::size_t>(inWindow));
        count += zeros;
        if (zeros < inWindow)
            break;
    }
    return count;
}

OPlatformByteStream::OPlatformByteStream(const File& inFile, utility::Flags<unsigned>)
    : mFile(std::make_unique<OpenFile>(inFile.Path(), system::Access::kWrite)) {}

OPlatformByteStream::~OPlatformByteStream() = default;

std::uint64_t OPlatformByteStream::Length() const {
    return mFile->Length();
}

void OPlatformByteStream::WriteBlock(const void* inBytes, unsigned inCount) {
    mFile->Write(static_cast<const unsigned char*>(inBytes), inCount, mPosition);
    mPosition += inCount;
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
        // Owners that can answer a failure have called Flush themselves.
    }
}

void OBufferedByteStream::WriteBlock(const void* inBytes, unsigned inCount) {
    if (inCount > mCapacity - mWaiting)
        Flush();
    if (inCount >= mCapacity) {
        mStream.CurPos(mBufferStart);
        mStream.WriteBlock(inBytes, inCount);
        mBufferStart += inCount;
    } else if (inCount != 0) {
        std::memcpy(mBuffer.get() + mWaiting, inBytes, inCount);
        mWaiting += inCount;
    }
}

void OBufferedByteStream::Flush() {
    if (mWaiting == 0)
        return;
    mStream.CurPos(mBufferStart);
    mStream.WriteBlock(mBuffer.get(), mWaiting);
    mBufferStart += mWaiting;
    mWaiting = 0;
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

namespace kelcore::utility {

bool FileUtils::FileExists(const UTF8String& inPath) {
    return filesupport::File(inPath, filesupport::kPathStorage).Exists();
}

} // namespace kelcore::utility
