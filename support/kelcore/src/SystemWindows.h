#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <memory>
#include <utility>

#include <windows.h>

/// Windows in the terms of System.h: error numbers, descriptors and paths.
namespace kelcore::system {

struct ErrorPair {
    DWORD windows;
    int number;
};

inline constexpr ErrorPair kErrors[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_BAD_NET_NAME, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},
    {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_SHARING_VIOLATION, EACCES},
    {ERROR_LOCK_VIOLATION, EACCES},
    {ERROR_DELETE_PENDING, EACCES},
    {ERROR_USER_MAPPED_FILE, EACCES},
    {ERROR_PRIVILEGE_NOT_HELD, EPERM},
    {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_FILE_TOO_LARGE, EFBIG},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_OUTOFMEMORY, ENOMEM},
    {ERROR_NO_SYSTEM_RESOURCES, ENOMEM},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_BUFFER_OVERFLOW, ENAMETOOLONG},
    {ERROR_NOT_SAME_DEVICE, EXDEV},
    {ERROR_INVALID_HANDLE, EBADF},
    {ERROR_INVALID_PARAMETER, EINVAL},
    {ERROR_NEGATIVE_SEEK, EINVAL},
    {ERROR_NO_UNICODE_TRANSLATION, EILSEQ},
    {ERROR_NOT_SUPPORTED, ENOSYS},
    {ERROR_INVALID_FUNCTION, ENOSYS},
};

inline int Negated(DWORD inError) {
    const auto* pair = std::find_if(std::begin(kErrors), std::end(kErrors),
                                    [=](const ErrorPair& candidate) { return candidate.windows == inError; });
    return pair == std::end(kErrors) ? -EIO : -pair->number;
}

inline int LastError() {
    return Negated(::GetLastError());
}

/// Of the number of a handle, the system uses 32 bits at most.
inline HANDLE HandleOf(int inDescriptor) {
    return reinterpret_cast<HANDLE>(
        static_cast<std::intptr_t>(inDescriptor)); // NOLINT(performance-no-int-to-ptr)
}

class Handle {
public:
    explicit Handle(HANDLE inHandle) : mHandle(inHandle) {}
    ~Handle() {
        if (IsOpen())
            ::CloseHandle(mHandle);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    bool IsOpen() const { return mHandle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return mHandle; }
    int Release() {
        return static_cast<int>(
            reinterpret_cast<std::intptr_t>(std::exchange(mHandle, INVALID_HANDLE_VALUE)));
    }

private:
    HANDLE mHandle;
};

struct Free {
    void operator()(void* inMemory) const { std::free(inMemory); }
};

using Text = std::unique_ptr<wchar_t[], Free>;

// From the C heap, so that a lack of memory is an error number here.
inline Text MakeText(std::size_t inLength) {
    return Text(static_cast<wchar_t*>(std::malloc((inLength + 1) * sizeof(wchar_t))));
}

inline Text Widened(const char* inText) {
    const int length = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, inText, -1, nullptr, 0);
    if (length == 0)
        return nullptr;
    Text text = MakeText(static_cast<std::size_t>(length));
    if (text)
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, inText, -1, text.get(), length);
    else
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return text;
}

inline constexpr wchar_t kVerbatim[] = L"\\\\?\\", kVerbatimShare[] = L"\\\\?\\UNC\\";
inline constexpr std::size_t kLongestPlainPath = 247, kLongestPrefix = 8; ///< in characters

/// The whole path, in the form without a limit of its length if it needs it. Devices and pipes have no path
/// here.
class Path {
public:
    explicit Path(const char* inPath) {
        const Text relative = *inPath == '\0' ? nullptr : Widened(inPath);
        const DWORD room = relative ? ::GetFullPathNameW(relative.get(), 0, nullptr, nullptr) : 0;
        if (room != 0)
            mMemory = MakeText(room + kLongestPrefix);
        if (mMemory)
            Fill(relative.get(), room);
        else
            mError = *inPath == '\0' ? -ENOENT : room != 0 ? -ENOMEM : LastError();
    }

    /// @return 0, or why the path has no form that the system would understand.
    int Error() const { return mError; }
    const wchar_t* Get() const { return mStart; }

private:
    void Fill(const wchar_t* inRelative, DWORD inRoom) {
        mStart = mMemory.get() + kLongestPrefix;
        const DWORD length = ::GetFullPathNameW(inRelative, inRoom, mStart, nullptr);
        if (length == 0 || length >= inRoom)
            mError = length == 0 ? LastError() : -EAGAIN; // the current folder has changed
        else if (std::wcsncmp(mStart, L"\\\\.\\", 4) == 0)
            mError = -EINVAL;
        else if (length > kLongestPlainPath && std::wcsncmp(mStart, L"\\\\", 2) != 0)
            Prepend(kVerbatim, 0);
        else if (length > kLongestPlainPath && mStart[2] != L'?')
            Prepend(kVerbatimShare, 2);
    }
    template <std::size_t kSize>
    void Prepend(const wchar_t (&inPrefix)[kSize], std::size_t inReplaced) {
        mStart += inReplaced;
        mStart -= kSize - 1;
        std::copy_n(inPrefix, kSize - 1, mStart);
    }

    Text mMemory;
    wchar_t* mStart = nullptr;
    int mError = 0;
};

} // namespace kelcore::system
