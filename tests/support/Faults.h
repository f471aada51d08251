#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// Faults at the two seams to the world below the library: system calls and the heap. All state is the
/// process's; tests that use it are single-threaded.
namespace faults {

inline constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

/// What a system call changed: 'w'rites, syncs of a file with 'A'll about it or its 'B'ytes and length, or of
/// a fol'D'er, and 'R'enames. An 'X' is a file's sync that failed, an 'x' a folder's.
struct Change {
    char kind;
    std::uint64_t position; ///< of a write
    std::vector<unsigned char> bytes;
};

/// What the system calls of the library did and are to do.
struct System {
    enum class Mode {
        kFailOnce,    ///< the call with the number failAt fails, later ones work
        kFailForGood, ///< that call and all later ones fail
        kStop, ///< from that call on nothing reaches the disk any more, and calls succeed: a killed process
    };

    std::uint64_t failAt = kNever; ///< number of the call to fail, counted from 0
    Mode mode = Mode::kFailOnce;
    int error = EIO;
    bool outputOnly = false;               ///< count and fail only what changes the disk
    std::size_t largestTransfer = 1 << 30; ///< reads and writes are cut to this
    bool sparse = false; ///< writes of a MiB or more past the end make a hole, and their bytes are not read
    bool interrupt = false;                 ///< every other open, read and write is interrupted
    bool findsHoles = true;                 ///< whether the system can tell where holes are
    std::vector<Change>* changes = nullptr; ///< gets every change; the disk is not waited for then

    std::uint64_t calls = 0; ///< counted calls so far
    std::uint64_t fired = 0; ///< faults so far
    std::uint64_t opens = 0, closes = 0, reads = 0, writes = 0, removals = 0;
    std::uint64_t bytesRead = 0, bytesWritten = 0;

    int OpenDescriptors() const { return static_cast<int>(opens) - static_cast<int>(closes); }
};

/// The one record of the process. Assign `{}` to start anew.
System& SystemCalls();

/// What the heap did and is to do; counts allocations by `new` of the whole process.
struct Memory {
    std::uint64_t failAt = kNever; ///< number of the allocation to fail with std::bad_alloc, counted from 0
    std::uint64_t allocations = 0;
    std::uint64_t fired = 0;
    std::int64_t liveBytes = 0; ///< bytes in use since the record was last reset; may fall below 0
    std::int64_t peakBytes = 0; ///< the highest of liveBytes
};

Memory& Heap();

/// Sets both records back to their first state, on every road out of a test, too.
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
