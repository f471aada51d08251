#include "kelcore/allocator.h"

namespace kelcore::allocator {

// The C++ heap recycles blocks by size and thread already; a second free list above it only hides mistakes
// from sanitizers.
void* MemoryRecycler::Allocate(std::size_t inByteCount, std::size_t&) {
    return ::operator new(inByteCount);
}

void MemoryRecycler::Recycle(void* inMemory, std::size_t) noexcept {
    ::operator delete(inMemory);
}

} // namespace kelcore::allocator
