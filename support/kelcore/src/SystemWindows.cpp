#include "SystemWindows.h"

#include <cstring>
#include <limits>
#include <winioctl.h>

#include "System.h"

/// Files are shared with whoever opens, renames or deletes them, as on other systems.
namespace kelcore::system {

namespace {

bool FitsOffset(std::uint64_t inPosition) {
    return inPosition <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
}

LARGE_INTEGER Large(std::uint64_t inNumber) {
    LARGE_INTEGER large;
    large.QuadPart = static_cast<LONGLONG>(inNumber);
    return large;
}

HANDLE OpenShared(const wchar_t* inPath, DWORD inAccess, DWORD inCreation, DWORD inFlags) {
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return ::CreateFileW(inPath, inAccess, kShared, nullptr, inCreation, FILE_ATTRIBUTE_NORMAL | inFlags,
                         nullptr);
}

bool IsFolder(const wchar_t* inPath) {
    const DWORD attributes = ::GetFileAttributesW(inPath);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Of a call that failed: folders are refused as if the right to use them lacked.
int LastErrorAt(const wchar_t* inPath) {
    const int error = LastError();
    return error == -EACCES && IsFolder(inPath) ? -EISDIR : error;
}

/// The folder of a file, with the separator after it, and room for more.
Text FolderOf(const wchar_t* inPath, std::size_t inRoom) {
    const auto length = static_cast<std::size_t>(std::wcsrchr(inPath, L'\\') + 1 - inPath);
    Text folder = MakeText(length + inRoom);
    if (folder)
        *std::copy_n(inPath, length, folder.get()) = L'\0';
    return folder;
}

DWORD CreationOf(Access inAccess) {
    if (inAccess == Access::kCreate)
        return CREATE_NEW;
    return inAccess == Access::kCreateOrEmpty ? CREATE_ALWAYS : OPEN_EXISTING;
}

} // namespace

int Open(const char* inPath, Access inAccess) noexcept {
    const Path path(inPath);
    if (path.Error() != 0)
        return path.Error();
    Handle handle(OpenShared(path.Get(), inAccess == Access::kRead ? GENERIC_READ : GENERIC_WRITE,
                             CreationOf(inAccess), 0));
    if (!handle.IsOpen())
        return LastErrorAt(path.Get());
    return ::GetFileType(handle.Get()) == FILE_TYPE_DISK ? handle.Release() : -EINVAL;
}

int Close(int inDescriptor) noexcept {
    return ::CloseHandle(HandleOf(inDescriptor)) ? 0 : LastError();
}

namespace {

OVERLAPPED At(std::uint64_t inPosition) {
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(inPosition);
    place.OffsetHigh = static_cast<DWORD>(inPosition >> 32);
    return place;
}

} // namespace

std::int64_t ReadAt(int inDescriptor, void* outBytes, std::size_t inCount,
                    std::uint64_t inPosition) noexcept {
    if (!FitsOffset(inPosition))
        return 0; // no file reaches there
    OVERLAPPED place = At(inPosition);
    DWORD count = 0;
    if (::ReadFile(HandleOf(inDescriptor), outBytes, static_cast<DWORD>(inCount), &count, &place))
        return count;
    return ::GetLastError() == ERROR_HANDLE_EOF ? 0 : LastError();
}

std::int64_t WriteAt(int inDescriptor, const void* inBytes, std::size_t inCount,
                     std::uint64_t inPosition) noexcept {
    if (!FitsOffset(inPosition))
        return -EFBIG;
    OVERLAPPED place = At(inPosition);
    DWORD count = 0;
    const bool written =
        ::WriteFile(HandleOf(inDescriptor), inBytes, static_cast<DWORD>(inCount), &count, &place);
    return written ? std::int64_t{count} : LastError();
}

std::int64_t LengthOf(int inDescriptor) noexcept {
    LARGE_INTEGER length;
    return ::GetFileSizeEx(HandleOf(inDescriptor), &length) ? length.QuadPart : LastError();
}

int SetLength(int inDescriptor, std::uint64_t inLength) noexcept {
    if (!FitsOffset(inLength))
        return -EFBIG;
    FILE_END_OF_FILE_INFO end;
    end.EndOfFile = Large(inLength);
    return ::SetFileInformationByHandle(HandleOf(inDescriptor), FileEndOfFileInfo, &end, sizeof end)
               ? 0
               : LastError();
}

int Sync(int inDescriptor, Synced) noexcept {
    return ::FlushFileBuffers(HandleOf(inDescriptor)) ? 0 : LastError();
}

int SyncFolderOf(const char* inPath) noexcept {
    const Path path(inPath);
    const Text folder = path.Error() == 0 ? FolderOf(path.Get(), 0) : nullptr;
    if (!folder)
        return path.Error() != 0 ? path.Error() : -ENOMEM;
    const Handle handle(OpenShared(folder.get(), GENERIC_WRITE, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    return handle.IsOpen() && ::FlushFileBuffers(handle.Get()) ? 0 : LastError();
}

std::int64_t NextData(int inDescriptor, std::uint64_t inPosition) noexcept {
    if (!FitsOffset(inPosition))
        return -ENXIO;
    FILE_ALLOCATED_RANGE_BUFFER wanted, found = {};
    wanted.FileOffset = Large(inPosition);
    wanted.Length.QuadPart = std::numeric_limits<LONGLONG>::max() - wanted.FileOffset.QuadPart;
    DWORD byteCount = 0;
    if (!::DeviceIoControl(HandleOf(inDescriptor), FSCTL_QUERY_ALLOCATED_RANGES, &wanted, sizeof wanted,
                           &found, sizeof found, &byteCount, nullptr) &&
        ::GetLastError() != ERROR_MORE_DATA)
        return LastError();
    return byteCount == 0 ? -ENXIO : std::max(found.FileOffset.QuadPart, wanted.FileOffset.QuadPart);
}

std::int64_t SizeOfRegularFile(const char* inPath) noexcept {
    const Path path(inPath);
    if (path.Error() != 0)
        return path.Error();
    const Handle handle(
        OpenShared(path.Get(), FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    if (!handle.IsOpen())
        return LastError();
    if (::GetFileType(handle.Get()) != FILE_TYPE_DISK)
        return -EINVAL;
    BY_HANDLE_FILE_INFORMATION status;
    if (!::GetFileInformationByHandle(handle.Get(), &status))
        return LastError();
    if (status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return -EISDIR;
    return static_cast<std::int64_t>(std::uint64_t{status.nFileSizeHigh} << 32 | status.nFileSizeLow);
}

namespace {

// Windows 10 frees a name at once, even of a file that is open, and puts another file in its place. Older
// systems and some file systems don't know these requests, and headers name them only for programs that need
// Windows 10.
constexpr auto kDisposition = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
constexpr auto kRename = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
constexpr DWORD kDelete = 1, kReplace = 1, kLikePosix = 2;

struct RenameRequest {
    DWORD flags;
    HANDLE folder;
    DWORD nameBytes;
    wchar_t name[1];
};

bool IsUnknownRequest() {
    const DWORD error = ::GetLastError();
    return error == ERROR_INVALID_PARAMETER || error == ERROR_NOT_SUPPORTED ||
           error == ERROR_INVALID_FUNCTION;
}

/// For its name: of a symbolic link, the link.
HANDLE OpenName(const wchar_t* inPath) {
    return OpenShared(inPath, DELETE | SYNCHRONIZE, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
}

/// @return 0, an error, or -ENOSYS where the system doesn't know the request.
int RenameAtOnce(const wchar_t* inPath, const wchar_t* inNewPath) {
    const Handle file(OpenName(inPath));
    if (!file.IsOpen())
        return LastErrorAt(inPath);
    const std::size_t nameBytes = std::wcslen(inNewPath) * sizeof(wchar_t);
    const std::size_t byteCount = sizeof(RenameRequest) + nameBytes;
    const std::unique_ptr<RenameRequest, Free> request(static_cast<RenameRequest*>(std::malloc(byteCount)));
    if (!request)
        return -ENOMEM;
    *request = {kReplace | kLikePosix, nullptr, static_cast<DWORD>(nameBytes), {}};
    std::memcpy(request->name, inNewPath, nameBytes + sizeof(wchar_t));
    if (::SetFileInformationByHandle(file.Get(), kRename, request.get(), static_cast<DWORD>(byteCount)))
        return 0;
    return IsUnknownRequest() ? -ENOSYS : LastErrorAt(inNewPath);
}

bool DeleteAtOnce(const Handle& inFile) {
    DWORD flags = kDelete | kLikePosix;
    return ::SetFileInformationByHandle(inFile.Get(), kDisposition, &flags, sizeof flags);
}

/// The file goes, and its name with it, when the last handle is closed.
bool DeleteWhenClosed(const Handle& inFile) {
    FILE_DISPOSITION_INFO disposition = {TRUE};
    return ::SetFileInformationByHandle(inFile.Get(), FileDispositionInfo, &disposition, sizeof disposition);
}

/// A name in the same folder that no other file has.
Text NameAside(const wchar_t* inPath) {
    constexpr std::size_t kDigits = 16;
    Text name = FolderOf(inPath, 1 + kDigits);
    if (!name)
        return name;
    LARGE_INTEGER ticks;
    ::QueryPerformanceCounter(&ticks);
    auto number = static_cast<std::uint64_t>(ticks.QuadPart) ^ std::uint64_t{::GetCurrentProcessId()} << 40;
    wchar_t* end = name.get() + std::wcslen(name.get());
    *end++ = L'~';
    for (std::size_t digit = 0; digit < kDigits; ++digit, number >>= 4)
        *end++ = L"0123456789abcdef"[number & 15];
    *end = L'\0';
    return name;
}

/// Frees a name whose file may be open for longer: the file gets another one, under which it is deleted.
int RemoveAside(const Handle& inFile, const wchar_t* inPath) {
    const Text aside = NameAside(inPath);
    const bool isAside = aside && ::MoveFileExW(inPath, aside.get(), 0);
    if (DeleteWhenClosed(inFile))
        return 0;
    const int error = LastError();
    if (isAside)
        ::MoveFileExW(aside.get(), inPath, 0);
    return error;
}

/// Moves a file to the name of one that is open. If that fails, the old one gets its name back.
int ReplaceOpen(const wchar_t* inPath, const wchar_t* inNewPath) {
    const Handle old(OpenName(inNewPath));
    const Text aside = NameAside(inNewPath);
    if (!old.IsOpen() || !aside || !::MoveFileExW(inNewPath, aside.get(), 0))
        return aside ? LastErrorAt(inNewPath) : -ENOMEM;
    const bool isMoved = ::MoveFileExW(inPath, inNewPath, 0);
    if (isMoved && DeleteWhenClosed(old))
        return 0;
    const int error = LastError();
    if (isMoved)
        ::MoveFileExW(inNewPath, inPath, 0);
    ::MoveFileExW(aside.get(), inNewPath, 0);
    return error;
}

} // namespace

int Remove(const char* inPath) noexcept {
    const Path path(inPath);
    if (path.Error() != 0)
        return path.Error();
    const Handle file(OpenName(path.Get()));
    if (!file.IsOpen())
        return LastErrorAt(path.Get());
    if (DeleteAtOnce(file))
        return 0;
    return IsUnknownRequest() ? RemoveAside(file, path.Get()) : LastError();
}

int Rename(const char* inPath, const char* inNewPath) noexcept {
    const Path path(inPath), newPath(inNewPath);
    if (path.Error() != 0 || newPath.Error() != 0)
        return path.Error() != 0 ? path.Error() : newPath.Error();
    const int known = RenameAtOnce(path.Get(), newPath.Get());
    if (known != -ENOSYS)
        return known;
    if (::MoveFileExW(path.Get(), newPath.Get(), MOVEFILE_REPLACE_EXISTING))
        return 0;
    const int error = LastErrorAt(newPath.Get());
    return error == -EACCES ? ReplaceOpen(path.Get(), newPath.Get()) : error;
}

} // namespace kelcore::system
