#include "kelcore/filesupport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

#include "OpenFile.h"

namespace kelcore::filesupport {

namespace {

constexpr unsigned kFirstWindow = 4096;
constexpr unsigned kLargestWindow = 65536;

std::string Message(std::string_view inOperation, const UTF8String& inPath, int inSystemError) {
    const std::string reason =
        inSystemError == 0 ? "the file ends too early" : std::generic_category().message(inSystemError);
    return "cannot " + std::string(inOperation) + " '" + ToStdString(inPath) + "': " + reason;
}

thread_local constinit int gLatestFailure = kNoFailure;

} // namespace

file_exception::file_exception(std::string_view inOperation, const UTF8String& inPath, int inSystemError)
    : kel_exception(utility::StringValue(ToUTF8String(Message(inOperation, inPath, inSystemError)))),
      mSystemError(inSystemError) {
    gLatestFailure = inSystemError;
}

void ForgetFailure() noexcept {
    gLatestFailure = kNoFailure;
}

int LatestFailure() noexcept {
    return gLatestFailure;
}

file_exception::~file_exception() = default;

bool File::Exists() const {
    return mCreatedFile || (IsUsable(mPath) && system::SizeOfRegularFile(SystemPath(mPath)) >= 0);
}

std::uint64_t File::Size() const {
    if (const auto& file = mCreatedFile ? mCreatedFile : mOpenFile)
        return file->Length();
    if (!IsUsable(mPath))
        throw file_exception("find the size of", mPath, EINVAL);
    return static_cast<std::uint64_t>(
        OrThrow(system::SizeOfRegularFile(SystemPath(mPath)), "find the size of", mPath));
}

void File::Create(bool inReplace) const {
    OpenFile(mPath, inReplace ? system::Access::kCreateOrEmpty : system::Access::kCreate);
}

File File::Created() const {
    File created = *this;
    created.mCreatedFile = std::make_shared<OpenFile>(mPath, system::Access::kCreate);
    return created;
}

void File::Delete() const {
    if (!IsUsable(mPath))
        throw file_exception("delete", mPath, EINVAL);
    OrThrow(system::Remove(SystemPath(mPath)), "delete", mPath);
}

void File::MoveTo(const UTF8String& inNewPath) const {
    if (!IsUsable(mPath) || !IsUsable(inNewPath))
        throw file_exception("rename", mPath, EINVAL);
    OrThrow(system::Rename(SystemPath(mPath), SystemPath(inNewPath)), "rename", mPath);
}

void File::SyncFolder() const {
    SyncFolderOf(mPath);
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
            FillWindow(position, wanted);
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

// A miss just past the window is part of a walk in small steps, which a larger window serves with fewer
// calls; so is a first read near the start of the file. Any other miss is a jump, after which anything beyond
// the bytes asked for would likely go unused.
void IPlatformByteStream::FillWindow(std::uint64_t inPosition, unsigned inJumpCount) {
    const unsigned reach = 2 * std::max(mWindowCount, kFirstWindow);
    const bool goesForward = inPosition >= mWindowStart + mWindowCount && inPosition - mWindowStart < reach;
    const unsigned wanted =
        goesForward ? std::clamp(2 * mWindowCount, kFirstWindow, kLargestWindow) : inJumpCount;
    mWindowCount = 0;
    if (wanted > mWindowCapacity) {
        mWindowCapacity = 0; // should memory run out
        mWindow.reset(new unsigned char[std::max(wanted, kFirstWindow)]);
        mWindowCapacity = std::max(wanted, kFirstWindow);
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

// A preallocated or truncated file can hold terabytes of zeros in a hole. The system is asked about holes
// only after a whole window of zeros, so that ordinary files cost no extra calls.
std::uint64_t IPlatformByteStream::CountZeroBytes(std::uint64_t inLimit) {
    std::uint64_t count = 0;
    while (count < inLimit) {
        const std::uint64_t position = mPosition + count;
        if (!InWindow(position))
            FillWindow(position, kFirstWindow);
        if (!InWindow(position))
            break;
        const auto offset = static_cast<unsigned>(position - mWindowStart);
        const std::uint64_t inWindow = std::min<std::uint64_t>(mWindowCount - offset, inLimit - count);
        const std::size_t zeros = LeadingZeros(mWindow.get() + offset, static_cast<std::size_t>(inWindow));
        count += zeros;
        if (zeros < inWindow)
            break;
        if (count < inLimit)
            count += std::min(mFile->HoleAt(mPosition + count), inLimit - count);
    }
    return count;
}

} // namespace kelcore::filesupport

namespace kelcore::utility {

bool FileUtils::FileExists(const UTF8String& inPath) {
    return filesupport::File(inPath, filesupport::kPathStorage).Exists();
}

} // namespace kelcore::utility
