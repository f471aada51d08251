#pragma once

#include <cstddef>
#include <cstdint>

/// The operating system as this library needs it, and the only place that knows it. Nothing here retries,
/// completes or throws. Results below zero are negated error numbers of <cerrno>. Tests link a set of these
/// functions that counts the calls, lets chosen ones fail, and passes the others on to this one.
namespace kelcore::system {

enum class Access { kRead, kWrite, kCreate, kCreateOrEmpty };

/// Never waits for the other end of a pipe. Waits for another process to give up its lease of a regular file.
/// @return a descriptor that is closed on exec. kCreate fails where something exists.
int Open(const char* inPath, Access inAccess) noexcept;
int Close(int inDescriptor) noexcept;

/// At most kLargestTransfer bytes; may deliver fewer. 0 is the end of the file.
std::int64_t ReadAt(int inDescriptor, void* outBytes, std::size_t inCount, std::uint64_t inPosition) noexcept;
std::int64_t WriteAt(int inDescriptor, const void* inBytes, std::size_t inCount,
                     std::uint64_t inPosition) noexcept;
inline constexpr std::size_t kLargestTransfer = 1u << 30;

std::int64_t LengthOf(int inDescriptor) noexcept;
int SetLength(int inDescriptor, std::uint64_t inLength) noexcept;

/// What a sync brings to the device: the bytes of a file with the length that they need, or its times, owner
/// and permissions too. The entries of a folder count as its bytes.
enum class Synced { kBytes, kAll };

/// Returns when the device has kept everything that the system holds for it, its own cache included where it
/// can be asked to. After a failure the system may have dropped what it could not write.
int Sync(int inDescriptor, Synced inSynced) noexcept;

/// Where the first byte lies, from a position on, that is not in a hole of the file.
/// @return a position; -ENXIO if nothing but a hole follows; another error where the system cannot tell.
std::int64_t NextData(int inDescriptor, std::uint64_t inPosition) noexcept;

/// The size of a regular file; an error for anything else, EISDIR for a folder.
std::int64_t SizeOfRegularFile(const char* inPath) noexcept;
int Remove(const char* inPath) noexcept;
/// Replaces what is at the new path, in one step where both lie in one file system.
int Rename(const char* inPath, const char* inNewPath) noexcept;

} // namespace kelcore::system
