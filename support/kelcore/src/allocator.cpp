#include "kelcore/allocator.h"

#include <limits>
#include <new>

namespace kelcore::allocator {

// The C++ heap already recycles blocks by size and thread; a second free list on top of it would only hide
// mistakes from sanitizers.
void* MemoryRecycler::Allocate(std::size_t inByteCount, std::size_t&) {
    if (inByteCount == std::numeric_limits<std::size_t>::max())
        throw std::bad_alloc(); // a count that overflowed; some heaps abort the process for such a request
    return ::operator new(inByteCount);
}

void MemoryRecycler::Recycle(void* inMemory, std::size_t) noexcept {
    ::operator delete(inMemory);
}

} // namespace kelcore::allocator
