#pragma once

#include <cstddef>
#include <cstdint>

/// The only interface to the operating system. These functions do not retry, complete partial transfers or
/// throw. Negative results are negated <cerrno> numbers. Tests link a set of these functions that counts the
/// calls, lets chosen ones fail, and forwards the others to this one.
namespace kelcore::system {

enum class Access { kRead, kWrite, kCreate, kCreateOrEmpty };

/// Opens a file. Never waits for the other end of a pipe, but waits until another process gives up its lease
/// of a regular file.
/// @return a descriptor that is closed on exec. kCreate fails if anything exists at the path.
int Open(const char* inPath, Access inAccess) noexcept;
int Close(int inDescriptor) noexcept;

/// Transfer at most kLargestTransfer bytes, and possibly fewer. ReadAt returns 0 at the end of the file.
std::int64_t ReadAt(int inDescriptor, void* outBytes, std::size_t inCount, std::uint64_t inPosition) noexcept;
std::int64_t WriteAt(int inDescriptor, const void* inBytes, std::size_t inCount,
                     std::uint64_t inPosition) noexcept;
inline constexpr std::size_t kLargestTransfer = 1u << 30;

std::int64_t LengthOf(int inDescriptor) noexcept;
int SetLength(int inDescriptor, std::uint64_t inLength) noexcept;

/// What a sync covers: the bytes of a file with the length that they need, or also its
/// times, owner and permissions.
enum class Synced { kBytes, kAll };

/// Returns when the device has stored everything that the system holds for the file, if possible also
/// from the device's own cache. After a failure the system may have dropped what it could not write.
int Sync(int inDescriptor, Synced inSynced) noexcept;
/// The same for the entries of the folder that holds a file.
int SyncFolderOf(const char* inPath) noexcept;

/// Finds the first byte at or after a position that is not in a hole of the file.
/// @return its position; -ENXIO if only a hole follows; another error if the system cannot report it.
std::int64_t NextData(int inDescriptor, std::uint64_t inPosition) noexcept;

/// Returns the size of a regular file; an error for anything else, EISDIR for a folder.
std::int64_t SizeOfRegularFile(const char* inPath) noexcept;
int Remove(const char* inPath) noexcept;
/// Renames a file, replacing what is at the new path; atomic if both are in one file system.
int Rename(const char* inPath, const char* inNewPath) noexcept;

} // namespace kelcore::system
