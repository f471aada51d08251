#include "OpenFile.h"

#include <algorithm>
#include <cerrno>

namespace kelcore::filesupport {

namespace {

constexpr std::string_view kSync = "bring to the device";

template <typename Call>
auto Uninterrupted(Call inCall) {
    auto result = inCall();
    while (result == -EINTR)
        result = inCall();
    return result;
}

int Open(const UTF8String& inPath, system::Access inAccess) {
    const bool creates = inAccess == system::Access::kCreate || inAccess == system::Access::kCreateOrEmpty;
    const std::string_view operation = creates ? "create" : "open";
    if (!IsUsable(inPath))
        throw file_exception(operation, inPath, EINVAL);
    const int result = Uninterrupted([&] { return system::Open(SystemPath(inPath), inAccess); });
    return OrThrow(result, operation, inPath);
}

} // namespace

OpenFile::OpenFile(const UTF8String& inPath, system::Access inAccess)
    : mPath(inPath), mDescriptor(Open(mPath, inAccess)) {}

OpenFile::~OpenFile() {
    system::Close(mDescriptor);
}

std::uint64_t OpenFile::Length() const {
    return static_cast<std::uint64_t>(OrThrow(system::LengthOf(mDescriptor), "find the length of", mPath));
}

void OpenFile::SetLength(std::uint64_t inLength) const {
    OrThrow(Uninterrupted([&] { return system::SetLength(mDescriptor, inLength); }), "set the length of",
            mPath);
}

void OpenFile::Sync() const {
    if (mSyncFailure == 0)
        mSyncFailure = -Uninterrupted([this] {
            return system::Sync(mDescriptor, mFolderSynced ? system::Synced::kBytes : system::Synced::kAll);
        });
    OrThrow(-mSyncFailure, kSync, mPath);
    if (!mFolderSynced)
        SyncFolderOf(mPath);
    mFolderSynced = true;
}

void SyncFolderOf(const UTF8String& inPath) {
    if (!IsUsable(inPath))
        throw file_exception(kSync, inPath, EINVAL);
    OrThrow(Uninterrupted([&] { return system::SyncFolderOf(SystemPath(inPath)); }),
            "bring to the device the folder of", inPath);
}

std::uint64_t OpenFile::HoleAt(std::uint64_t inPosition) const {
    std::int64_t end = system::NextData(mDescriptor, inPosition);
    if (end == -ENXIO)
        end = system::LengthOf(mDescriptor);
    const auto holeEnd = static_cast<std::uint64_t>(std::max<std::int64_t>(end, 0));
    return holeEnd < inPosition ? 0 : holeEnd - inPosition;
}

std::size_t OpenFile::ReadSome(unsigned char* outBytes, std::size_t inCount, std::uint64_t inPosition) const {
    const auto piece = std::min(inCount, system::kLargestTransfer);
    const auto count =
        Uninterrupted([&] { return system::ReadAt(mDescriptor, outBytes, piece, inPosition); });
    return static_cast<std::size_t>(OrThrow(count, "read", mPath));
}

void OpenFile::Read(unsigned char* outBytes, std::size_t inCount, std::uint64_t inPosition) const {
    for (std::size_t done = 0; done < inCount;) {
        const std::size_t count = ReadSome(outBytes + done, inCount - done, inPosition + done);
        if (count == 0)
            ThrowAtEnd();
        done += count;
    }
}

void OpenFile::Write(const unsigned char* inBytes, std::size_t inCount, std::uint64_t& ioPosition) const {
    while (inCount > 0) {
        const auto piece = std::min(inCount, system::kLargestTransfer);
        const auto count = static_cast<std::size_t>(
            OrThrow(Uninterrupted([&] { return system::WriteAt(mDescriptor, inBytes, piece, ioPosition); }),
                    "write", mPath));
        if (count == 0)
            throw file_exception("write", mPath, ENOSPC);
        inBytes += count;
        inCount -= count;
        ioPosition += count;
    }
}

void OpenFile::ThrowAtEnd() const {
    throw file_exception("read", mPath, 0);
}

} // namespace kelcore::filesupport
