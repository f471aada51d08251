#pragma once

#include <cstddef>
#include <limits>

#include "kelcore/export.h"

/// Memory for strings, channel layouts and peak vectors.
namespace kelcore::allocator {

/// The memory under strings, channel layouts and peak vectors. May be called from any thread.
class KELCORE_EXPORT MemoryRecycler {
public:
    /// @param inByteCount  bytes wanted; 0 gives a unique address too.
    /// @param ioUnused  holds 0 and stays unread.
    /// @return memory aligned for every fundamental type.
    /// @throws std::bad_alloc, always for the largest count of all.
    static void* Allocate(std::size_t inByteCount, std::size_t& ioUnused);

    /// Gives memory back.
    /// @param inMemory  what Allocate returned; from any thread.
    /// @param inByteCount  the count of its Allocate.
    static void Recycle(void* inMemory, std::size_t inByteCount) noexcept;
};

/// Standard allocator on MemoryRecycler. Stateless: any two compare equal.
template <typename T>
class KELCORE_VISIBLE_TYPE STLAllocator {
public:
    using value_type = T; ///< what is allocated; aligned for fundamental types at most

    STLAllocator() noexcept = default;
    /// An allocator of another type is as good as one of this type.
    template <typename U>
    STLAllocator(const STLAllocator<U>&) noexcept {}

    /// @return memory for inCount objects, not constructed. @throws std::bad_alloc
    T* allocate(std::size_t inCount) {
        static_assert(alignof(T) <= alignof(std::max_align_t),
                      "MemoryRecycler aligns for fundamental types only");
        constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
        std::size_t unused = 0;
        return static_cast<T*>(
            MemoryRecycler::Allocate(inCount > kMost / sizeof(T) ? kMost : inCount * sizeof(T), unused));
    }

    /// Gives back what allocate returned for the same count.
    void deallocate(T* inMemory, std::size_t inCount) noexcept {
        MemoryRecycler::Recycle(inMemory, inCount * sizeof(T));
    }

    /// Always true: what one allocated, any other may give back.
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

} // namespace kelcore::allocator
