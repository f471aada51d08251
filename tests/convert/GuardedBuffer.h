#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace testing_support {

/// Pages of memory between two inaccessible pages: a routine that leaves a buffer placed at either end
/// crashes at once. Untouched pages take no memory, whatever the size.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t inByteCount) {
        const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        mSize = (inByteCount + page - 1) / page * page;
        mMapped = static_cast<std::uint8_t*>(
            ::mmap(nullptr, mSize + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        mBegin = mMapped + page;
        if (mMapped == MAP_FAILED || ::mprotect(mBegin, mSize, PROT_READ | PROT_WRITE) != 0)
            throw std::bad_alloc();
    }
    ~GuardedBuffer() { ::munmap(mMapped, mSize + 2 * static_cast<std::size_t>(mBegin - mMapped)); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    std::uint8_t* begin() { return mBegin; }
    std::uint8_t* end() { return mBegin + mSize; }
    /// Returns where this many bytes begin that are placed against one side.
    std::uint8_t* At(bool inBack, std::size_t inByteCount) { return inBack ? end() - inByteCount : mBegin; }

    friend bool operator==(const GuardedBuffer& a, const GuardedBuffer& b) {
        return a.mSize == b.mSize && std::memcmp(a.mBegin, b.mBegin, a.mSize) == 0;
    }

private:
    std::uint8_t *mMapped, *mBegin;
    std::size_t mSize;
};

} // namespace testing_support
