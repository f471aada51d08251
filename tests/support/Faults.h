#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// Fault injection at the two interfaces below the library: system calls and the heap. All state is
/// process-wide; tests that use it are single-threaded.
namespace faults {

inline constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

/// A change made by a system call: 'w'rites, syncs of a file with 'A'll metadata or only its 'B'ytes and length,
/// syncs of a fol'D'er, and 'R'enames. An 'X' is a failed sync of a file, an 'x' that of a folder.
struct Change {
    char kind;
    std::uint64_t position; ///< of a write
    std::vector<unsigned char> bytes;
};

/// Counters and settings of the library's system calls.
struct System {
    enum class Mode {
        kFailOnce,    ///< call number failAt fails, later ones work
        kFailForGood, ///< that call and all later ones fail
        kStop,        ///< from that call on nothing reaches the disk, yet calls succeed: a killed process
    };

    std::uint64_t failAt = kNever; ///< number of the call to fail, counted from 0
    Mode mode = Mode::kFailOnce;
    int error = EIO;
    bool outputOnly = false;               ///< count and fail only what changes the disk
    std::size_t largestTransfer = 1 << 30; ///< reads and writes are limited to this
    std::uint64_t largestFile = kNever;    ///< a write past it writes as much as fits: a full disk
    bool sparse = false;    ///< writes of 1 MiB or more past the end make a hole; their bytes are not read
    bool interrupt = false; ///< every other open, read and write is interrupted
    bool findsHoles = true; ///< whether the system can report holes
    std::vector<Change>* changes = nullptr; ///< receives every change; syncs then do not wait for the disk

    std::uint64_t calls = 0; ///< counted calls so far
    std::uint64_t fired = 0; ///< faults so far
    std::uint64_t opens = 0, closes = 0, reads = 0, writes = 0, removals = 0;
    std::uint64_t bytesRead = 0, bytesWritten = 0;

    int OpenDescriptors() const { return static_cast<int>(opens) - static_cast<int>(closes); }
};

/// The record of the process. Assign `{}` to reset it.
System& SystemCalls();

/// While it lives, no file of the library grows past a size.
struct FullDisk {
    explicit FullDisk(std::uint64_t inBytes) { SystemCalls().largestFile = inBytes; }
    ~FullDisk() { SystemCalls().largestFile = kNever; }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
};

/// Counters and settings of the heap; counts the allocations by `new` of the whole process.
struct Memory {
    std::uint64_t failAt = kNever; ///< number of the allocation to fail with std::bad_alloc, counted from 0
    std::uint64_t allocations = 0;
    std::uint64_t fired = 0;
    std::int64_t liveBytes = 0; ///< bytes in use since the record was last reset; may fall below 0
    std::int64_t peakBytes = 0; ///< the highest of liveBytes
};

Memory& Heap();

/// Resets both records before and after a test, however it ends.
struct Scope {
    Scope() { Reset(); }
    ~Scope() { Reset(); }
    Scope(const Scope&) = delete;

    static void Reset() {
        SystemCalls() = {};
        Heap() = {};
    }
};

} // namespace faults
