#include "support/Faults.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

// The heap of the test programs: the system's heap behind fault injection and counters.
namespace faults {

namespace {

Memory gMemory;

/// Lies in front of all that is given out.
struct alignas(std::max_align_t) Header {
    void* block;
    std::int64_t byteCount;
};

Header& HeaderOf(void* inMemory) {
    return static_cast<Header*>(inMemory)[-1];
}

void* Allocate(std::size_t inCount, std::size_t inAlignment = alignof(Header)) {
    constexpr std::size_t kMost = std::size_t{1} << (8 * sizeof(std::size_t) - 2);
    const std::size_t slack = inAlignment - alignof(Header);
    auto* const block =
        inCount > kMost ? nullptr : static_cast<char*>(std::malloc(sizeof(Header) + slack + inCount));
    if (block == nullptr)
        throw std::bad_alloc();
    void* memory = block + sizeof(Header);
    std::size_t room = slack + inCount;
    std::align(inAlignment, inCount, memory, room);
    HeaderOf(memory) = {block, static_cast<std::int64_t>(inCount)};
    gMemory.liveBytes += HeaderOf(memory).byteCount;
    gMemory.peakBytes = std::max(gMemory.peakBytes, gMemory.liveBytes);
    return memory;
}

void Gate() {
    if (gMemory.allocations++ == gMemory.failAt) {
        ++gMemory.fired;
        throw std::bad_alloc();
    }
}

void Release(void* inMemory) noexcept {
    if (inMemory == nullptr)
        return;
    gMemory.liveBytes -= HeaderOf(inMemory).byteCount;
    std::free(HeaderOf(inMemory).block);
}

} // namespace

Memory& Heap() {
    return gMemory;
}

} // namespace faults

void* operator new(std::size_t inCount) {
    faults::Gate();
    return faults::Allocate(inCount);
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
    faults::Gate();
    return faults::Allocate(inCount, static_cast<std::size_t>(inAlignment));
}

// clang-format off
void operator delete(void* inMemory) noexcept { faults::Release(inMemory); }
void operator delete(void* inMemory, std::size_t) noexcept { faults::Release(inMemory); }
void operator delete[](void* inMemory) noexcept { faults::Release(inMemory); }
void operator delete[](void* inMemory, std::size_t) noexcept { faults::Release(inMemory); }
void operator delete(void* inMemory, std::align_val_t) noexcept { faults::Release(inMemory); }
void operator delete(void* inMemory, std::size_t, std::align_val_t) noexcept { faults::Release(inMemory); }
// clang-format on
