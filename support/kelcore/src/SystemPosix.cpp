#include "System.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace kelcore::system {

namespace {

static_assert(sizeof(off_t) == 8, "compile with _FILE_OFFSET_BITS=64");

bool FitsOffset(std::uint64_t inPosition) {
    return inPosition <= static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
}

// Where F_FULLFSYNC exists, fsync leaves the bytes in the cache of the device; but not every
// file system supports it.
int SyncAll(int inDescriptor) {
#if defined(F_FULLFSYNC)
    if (::fcntl(inDescriptor, F_FULLFSYNC) != -1)
        return 0;
    if (errno != ENOTSUP && errno != EINVAL && errno != ENOTTY)
        return -errno;
#endif
    return ::fsync(inDescriptor) < 0 ? -errno : 0;
}

} // namespace

int Open(const char* inPath, Access inAccess) noexcept {
    int flags = O_CLOEXEC;
    switch (inAccess) {
    case Access::kRead:
        flags |= O_RDONLY;
        break;
    case Access::kWrite:
        flags |= O_WRONLY;
        break;
    case Access::kCreate:
        flags |= O_WRONLY | O_CREAT | O_EXCL;
        break;
    case Access::kCreateOrEmpty:
        flags |= O_WRONLY | O_CREAT | O_TRUNC;
        break;
    }
    int descriptor = ::open(inPath, flags | O_NONBLOCK, 0666);
    if (descriptor < 0 && errno == EWOULDBLOCK) {
        if (SizeOfRegularFile(inPath) < 0)
            return -EWOULDBLOCK;
        descriptor = ::open(inPath, flags, 0666);
    }
    return descriptor < 0 ? -errno : descriptor;
}

int Close(int inDescriptor) noexcept {
    return ::close(inDescriptor) < 0 ? -errno : 0;
}

std::int64_t ReadAt(int inDescriptor, void* outBytes, std::size_t inCount,
                    std::uint64_t inPosition) noexcept {
    if (!FitsOffset(inPosition))
        return 0; // no file extends that far
    const auto count = ::pread(inDescriptor, outBytes, inCount, static_cast<off_t>(inPosition));
    return count < 0 ? -errno : count;
}

std::int64_t WriteAt(int inDescriptor, const void* inBytes, std::size_t inCount,
                     std::uint64_t inPosition) noexcept {
    if (!FitsOffset(inPosition))
        return -EFBIG;
    const auto count = ::pwrite(inDescriptor, inBytes, inCount, static_cast<off_t>(inPosition));
    return count < 0 ? -errno : count;
}

std::int64_t LengthOf(int inDescriptor) noexcept {
    struct stat status;
    return ::fstat(inDescriptor, &status) < 0 ? -errno : std::int64_t{status.st_size};
}

int SetLength(int inDescriptor, std::uint64_t inLength) noexcept {
    if (!FitsOffset(inLength))
        return -EFBIG;
    return ::ftruncate(inDescriptor, static_cast<off_t>(inLength)) < 0 ? -errno : 0;
}

int Sync(int inDescriptor, [[maybe_unused]] Synced inSynced) noexcept {
#if !defined(F_FULLFSYNC) && defined(_POSIX_SYNCHRONIZED_IO) && _POSIX_SYNCHRONIZED_IO > 0
    if (inSynced == Synced::kBytes)
        return ::fdatasync(inDescriptor) < 0 ? -errno : 0;
#endif
    return SyncAll(inDescriptor);
}

// Syncs all of the folder: some file systems count an entry that needs no more length as metadata, which
// fdatasync may leave out.
int SyncFolderOf(const char* inPath) noexcept {
    char folder[PATH_MAX] = ".";
    if (const char* const slash = std::strrchr(inPath, '/'); slash != nullptr) {
        const auto count = static_cast<std::size_t>(std::max<std::ptrdiff_t>(slash - inPath, 1));
        if (count >= sizeof folder)
            return -ENAMETOOLONG;
        std::memcpy(folder, inPath, count);
        folder[count] = '\0';
    }
    const int descriptor = ::open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return -errno;
    const int result = SyncAll(descriptor);
    ::close(descriptor);
    return result;
}

// Moves the position of the descriptor, which no read or write here uses.
std::int64_t NextData([[maybe_unused]] int inDescriptor, std::uint64_t inPosition) noexcept {
    if (!FitsOffset(inPosition))
        return -ENXIO;
#if defined(SEEK_DATA) && !defined(__APPLE__) // where it may skip data at the position
    const off_t data = ::lseek(inDescriptor, static_cast<off_t>(inPosition), SEEK_DATA);
    return data < 0 ? -errno : std::int64_t{data};
#else
    return -ENOSYS;
#endif
}

std::int64_t SizeOfRegularFile(const char* inPath) noexcept {
    struct stat status;
    if (::stat(inPath, &status) < 0)
        return -errno;
    if (S_ISREG(status.st_mode))
        return status.st_size;
    return S_ISDIR(status.st_mode) ? -EISDIR : -EINVAL;
}

int Remove(const char* inPath) noexcept {
    return ::unlink(inPath) < 0 ? -errno : 0;
}

int Rename(const char* inPath, const char* inNewPath) noexcept {
    return ::rename(inPath, inNewPath) < 0 ? -errno : 0;
}

} // namespace kelcore::system
