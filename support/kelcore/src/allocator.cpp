#include "kelcore/allocator.h"

#include <limits>
#include <new>

namespace kelcore::allocator {

// The C++ heap recycles blocks by size and thread already; a second free list above it only hides mistakes
// from sanitizers.
void* MemoryRecycler::Allocate(std::size_t inByteCount, std::size_t&) {
    if (inByteCount == std::numeric_limits<std::size_t>::max())
        throw std::bad_alloc(); // a count that does not fit; some heaps end the process when asked for it
    return ::operator new(inByteCount);
}

void MemoryRecycler::Recycle(void* inMemory, std::size_t) noexcept {
    ::operator delete(inMemory);
}

} // namespace kelcore::allocator
