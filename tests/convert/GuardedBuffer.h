#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace testing_support {

/// Pages of memory between two inaccessible pages: a routine that leaves a buffer placed at either end
/// crashes at once. Untouched pages take no memory, whatever the size.
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t inByteCount) {
        const std::size_t page = PageSize();
        mSize = (inByteCount + page - 1) / page * page;
        mMapped = Map(mSize + 2 * page);
        mBegin = mMapped + page;
        if (mMapped == nullptr || !Allow(mBegin, mSize))
            throw std::bad_alloc();
    }
    ~GuardedBuffer() { Unmap(mMapped, mSize + 2 * static_cast<std::size_t>(mBegin - mMapped)); }
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
#if defined(_WIN32)
    static std::size_t PageSize() { return 4096; }
    static std::uint8_t* Map(std::size_t inSize) {
        return static_cast<std::uint8_t*>(::VirtualAlloc(nullptr, inSize, MEM_RESERVE, PAGE_NOACCESS));
    }
    static bool Allow(void* inPages, std::size_t inSize) {
        return ::VirtualAlloc(inPages, inSize, MEM_COMMIT, PAGE_READWRITE) != nullptr;
    }
    static void Unmap(void* inPages, std::size_t) { ::VirtualFree(inPages, 0, MEM_RELEASE); }
#else
    static std::size_t PageSize() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }
    static std::uint8_t* Map(std::size_t inSize) {
        void* const pages =
            ::mmap(nullptr, inSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        return pages == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(pages);
    }
    static bool Allow(void* inPages, std::size_t inSize) {
        return ::mprotect(inPages, inSize, PROT_READ | PROT_WRITE) == 0;
    }
    static void Unmap(void* inPages, std::size_t inSize) { ::munmap(inPages, inSize); }
#endif

    std::uint8_t *mMapped, *mBegin;
    std::size_t mSize;
};

} // namespace testing_support
