#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace testing_support {

/// Pages of memory between two pages that nobody may touch: a routine that strays out of a buffer laid
/// against either end dies at once. Untouched pages take no memory, whatever the size.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t inByteCount) {
        const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        mSize = (inByteCount + page - 1) / page * page;
        mMappedSize = mSize + 2 * page;
        mMapped = ::mmap(nullptr, mMappedSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (mMapped == MAP_FAILED)
            throw std::bad_alloc();
        mBegin = static_cast<std::uint8_t*>(mMapped) + page;
        Protect(PROT_READ | PROT_WRITE);
    }
    ~GuardedBuffer() { ::munmap(mMapped, mMappedSize); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    std::uint8_t* begin() { return mBegin; }
    std::uint8_t* end() { return mBegin + mSize; }
    std::size_t size() const { return mSize; }

    /// Refuses writing, reading, or both, until the next call.
    void Protect(int inAccess) {
        if (::mprotect(mBegin, mSize, inAccess) != 0)
            throw std::bad_alloc();
    }

private:
    void* mMapped;
    std::size_t mMappedSize, mSize;
    std::uint8_t* mBegin;
};

} // namespace testing_support
