#pragma once

#include <cstddef>
#include <limits>

#include "kelcore/export.h"

/// Memory for strings, channel layouts and peak vectors.
namespace kelcore::allocator {

/// @addtogroup support
/// @{

/// The memory of strings, channel layouts and peak vectors. May be called from any thread.
class KELCORE_EXPORT MemoryRecycler {
public:
    /// Allocates memory.
    /// @param inByteCount  the number of bytes; 0 gives a unique address too.
    /// @param ioUnused  0; not read.
    /// @return memory aligned for every fundamental type.
    /// @throws std::bad_alloc, always for the largest value of std::size_t.
    static void* Allocate(std::size_t inByteCount, std::size_t& ioUnused);

    /// Frees memory, from any thread.
    /// @param inMemory  the result of Allocate.
    /// @param inByteCount  the count passed to that Allocate.
    static void Recycle(void* inMemory, std::size_t inByteCount) noexcept;
};

/// Standard allocator on MemoryRecycler. Stateless: any two compare equal.
template <typename T>
class KELCORE_VISIBLE_TYPE STLAllocator {
public:
    using value_type = T; ///< the allocated type; at most fundamental alignment

    STLAllocator() noexcept = default;
    /// Converts from an allocator of another type, which is equivalent.
    template <typename U>
    STLAllocator(const STLAllocator<U>&) noexcept {}

    /// Returns uninitialised memory for inCount objects. @throws std::bad_alloc
    T* allocate(std::size_t inCount) {
        static_assert(alignof(T) <= alignof(std::max_align_t),
                      "MemoryRecycler aligns for fundamental types only");
        constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
        std::size_t unused = 0;
        return static_cast<T*>(
            MemoryRecycler::Allocate(inCount > kMost / sizeof(T) ? kMost : inCount * sizeof(T), unused));
    }

    /// Frees what allocate returned for the same count.
    void deallocate(T* inMemory, std::size_t inCount) noexcept {
        MemoryRecycler::Recycle(inMemory, inCount * sizeof(T));
    }

    /// Always true: any allocator can free the memory of another.
    template <typename U>
    friend bool operator==(const STLAllocator&, const STLAllocator<U>&) noexcept {
        return true;
    }
    /// Always false.
    template <typename U>
    friend bool operator!=(const STLAllocator&, const STLAllocator<U>&) noexcept {
        return false;
    }
};

/// @}

} // namespace kelcore::allocator
