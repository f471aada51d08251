#include "support/Faults.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

// The heap of the test programs: the system's heap behind fault injection and counters.
namespace faults {

namespace {

Memory gMemory;

template <typename Allocate>
void* Allocated(Allocate inAllocate) {
    if (gMemory.allocations++ == gMemory.failAt) {
        ++gMemory.fired;
        throw std::bad_alloc();
    }
    void* const memory = inAllocate();
    if (memory == nullptr)
        throw std::bad_alloc();
    gMemory.liveBytes += static_cast<std::int64_t>(malloc_usable_size(memory));
    gMemory.peakBytes = std::max(gMemory.peakBytes, gMemory.liveBytes);
    return memory;
}

void Release(void* inMemory) noexcept {
    if (inMemory != nullptr)
        gMemory.liveBytes -= static_cast<std::int64_t>(malloc_usable_size(inMemory));
    std::free(inMemory);
}

} // namespace

Memory& Heap() {
    return gMemory;
}

} // namespace faults

void* operator new(std::size_t inCount) {
    return faults::Allocated([=] { return std::malloc(std::max<std::size_t>(inCount, 1)); });
}

// The system's array and nothrow forms call these, but those of sanitizers do not. Standard algorithms
// allocate scratch memory with the nothrow form.
void* operator new[](std::size_t inCount) {
    return ::operator new(inCount);
}
void* operator new(std::size_t inCount, const std::nothrow_t&) noexcept {
    try {
        return operator new(inCount);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new(std::size_t inCount, std::align_val_t inAlignment) {
    const auto alignment = static_cast<std::size_t>(inAlignment);
    return faults::Allocated([=] { return std::aligned_alloc(alignment, (inCount | (alignment - 1)) + 1); });
}

// clang-format off
void operator delete(void* inMemory) noexcept { faults::Release(inMemory); }
void operator delete(void* inMemory, std::size_t) noexcept { faults::Release(inMemory); }
void operator delete[](void* inMemory) noexcept { faults::Release(inMemory); }
void operator delete[](void* inMemory, std::size_t) noexcept { faults::Release(inMemory); }
void operator delete(void* inMemory, std::align_val_t) noexcept { faults::Release(inMemory); }
void operator delete(void* inMemory, std::size_t, std::align_val_t) noexcept { faults::Release(inMemory); }
// clang-format on
