#include "support/Faults.h"

#include <algorithm>
#include <cstdint>
#include <fcntl.h>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "System.h"

// The system calls of the library with a gate in front of each. This set takes the place of the one that is
// shipped.
namespace faults {

namespace {

System gSystem;

const unsigned char* gZeros = nullptr;
std::size_t gZeroCount = 0;

bool IsInZeros(const void* inBytes, std::size_t inCount) {
    const auto start = reinterpret_cast<std::uintptr_t>(gZeros);
    const auto bytes = reinterpret_cast<std::uintptr_t>(inBytes);
    return bytes >= start && bytes - start < gZeroCount && inCount <= gZeroCount - (bytes - start);
}

enum class Verdict { kGoOn, kFail, kPretend };

Verdict Gate(bool inChangesDisk) {
    if (gSystem.outputOnly && !inChangesDisk)
        return Verdict::kGoOn;
    const auto number = gSystem.calls++;
    const bool hit =
        gSystem.mode == System::Mode::kFailOnce ? number == gSystem.failAt : number >= gSystem.failAt;
    if (!hit)
        return Verdict::kGoOn;
    ++gSystem.fired;
    return gSystem.mode == System::Mode::kStop ? Verdict::kPretend : Verdict::kFail;
}

bool Interrupted() {
    static bool toggle = false;
    return gSystem.interrupt && (toggle = !toggle);
}

template <typename Result>
Result OrError(Result inResult) {
    return inResult < 0 ? static_cast<Result>(-errno) : inResult;
}

} // namespace

System& SystemCalls() {
    return gSystem;
}

// Read-only and never touched, so it takes addresses and no memory.
ZeroBytes::ZeroBytes(std::size_t inCount)
    : mData(::mmap(nullptr, inCount, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)),
      mCount(inCount) {
    if (mData == MAP_FAILED)
        throw std::bad_alloc();
    gZeros = static_cast<const unsigned char*>(mData);
    gZeroCount = inCount;
}

ZeroBytes::~ZeroBytes() {
    gZeros = nullptr;
    gZeroCount = 0;
    ::munmap(mData, mCount);
}

/// @return whether a write past the end of the file was made by moving the end.
static bool MadeHole(int inDescriptor, const void* inBytes, std::size_t inCount, std::uint64_t inPosition) {
    struct stat status;
    return IsInZeros(inBytes, inCount) && ::fstat(inDescriptor, &status) == 0 &&
           inPosition >= static_cast<std::uint64_t>(status.st_size) &&
           ::ftruncate(inDescriptor, static_cast<off_t>(inPosition + inCount)) == 0;
}

} // namespace faults

namespace kelcore::system {

using faults::gSystem;
using faults::OrError;
using faults::Verdict;

int Open(const char* inPath, Access inAccess) noexcept {
    const bool creates = inAccess == Access::kCreate || inAccess == Access::kCreateOrEmpty;
    const auto verdict = faults::Gate(creates);
    if (verdict == Verdict::kFail || (verdict == Verdict::kPretend && creates))
        return -gSystem.error;
    const int kFlags[] = {O_RDONLY, O_WRONLY, O_WRONLY | O_CREAT | O_EXCL, O_WRONLY | O_CREAT | O_TRUNC};
    const int descriptor = ::open(inPath, kFlags[static_cast<int>(inAccess)] | O_CLOEXEC | O_NONBLOCK, 0666);
    if (descriptor >= 0)
        ++gSystem.opens;
    return OrError(descriptor);
}

int Close(int inDescriptor) noexcept {
    const bool fails = faults::Gate(false) == Verdict::kFail;
    ++gSystem.closes;
    const int result = ::close(inDescriptor); // as the system does it: a close that fails closes all the same
    return fails ? -gSystem.error : OrError(result);
}

std::int64_t ReadAt(int inDescriptor, void* outBytes, std::size_t inCount,
                    std::uint64_t inPosition) noexcept {
    if (faults::Gate(false) == Verdict::kFail)
        return -gSystem.error;
    if (faults::Interrupted())
        return -EINTR;
    ++gSystem.reads;
    if (inPosition > static_cast<std::uint64_t>(INT64_MAX))
        return 0;
    const auto count = ::pread(inDescriptor, outBytes, std::min(inCount, gSystem.largestTransfer),
                               static_cast<off_t>(inPosition));
    gSystem.bytesRead += static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
    return OrError(static_cast<std::int64_t>(count));
}

std::int64_t WriteAt(int inDescriptor, const void* inBytes, std::size_t inCount,
                     std::uint64_t inPosition) noexcept {
    const auto verdict = faults::Gate(true);
    if (verdict == Verdict::kFail)
        return -gSystem.error;
    if (verdict == Verdict::kPretend)
        return static_cast<std::int64_t>(inCount);
    if (faults::Interrupted())
        return -EINTR;
    ++gSystem.writes;
    if (inPosition > static_cast<std::uint64_t>(INT64_MAX))
        return -EFBIG;
    if (faults::MadeHole(inDescriptor, inBytes, inCount, inPosition))
        return static_cast<std::int64_t>(inCount);
    const auto count = ::pwrite(inDescriptor, inBytes, std::min(inCount, gSystem.largestTransfer),
                                static_cast<off_t>(inPosition));
    gSystem.bytesWritten += static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
    return OrError(static_cast<std::int64_t>(count));
}

std::int64_t LengthOf(int inDescriptor) noexcept {
    if (faults::Gate(false) == Verdict::kFail)
        return -gSystem.error;
    ++gSystem.lengths;
    struct stat status;
    return ::fstat(inDescriptor, &status) < 0 ? -errno : std::int64_t{status.st_size};
}

std::int64_t SizeOfRegularFile(const char* inPath) noexcept {
    if (faults::Gate(false) == Verdict::kFail)
        return -gSystem.error;
    ++gSystem.sizes;
    struct stat status;
    if (::stat(inPath, &status) < 0)
        return -errno;
    return S_ISREG(status.st_mode) ? std::int64_t{status.st_size} : -EINVAL;
}

int Remove(const char* inPath) noexcept {
    const auto verdict = faults::Gate(true);
    if (verdict != Verdict::kGoOn)
        return verdict == Verdict::kFail ? -gSystem.error : 0;
    ++gSystem.removals;
    return OrError(::unlink(inPath));
}

} // namespace kelcore::system
