#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

/// Vectors of numbers, called lanes, that are computed with at once. g++ and clang++ have them for every
/// processor. Elsewhere, and where KELAUDIOFILE_PLAIN_VECTORS is defined, arrays take their place, with the
/// same results.
namespace kelaudiofile::bytes {

#if defined(__GNUC__) || defined(__clang__)
/// Asks for a line of memory that is wanted soon. Nothing needs to be there.
inline void Prefetch(const void* in) {
    __builtin_prefetch(in);
}
inline void PrefetchForWriting(const void* in) {
    __builtin_prefetch(in, 1);
}
#else
inline void Prefetch(const void*) {}
inline void PrefetchForWriting(const void*) {}
#endif

/// The lanes of inYes where the mask is set, else those of inNo. Also takes single numbers.
template <typename Mask, typename Value>
inline Value Chosen(Mask inMask, Value inYes, Value inNo) {
    return inMask ? inYes : inNo;
}

#if (defined(__GNUC__) || defined(__clang__)) && !defined(KELAUDIOFILE_PLAIN_VECTORS)

template <typename T, std::size_t kByteCount>
struct VectorOf {
    typedef T Type __attribute__((vector_size(kByteCount)));
};

/// The same bits as a vector of another type.
template <typename To, typename From>
inline To As(From in) {
    return reinterpret_cast<To>(in);
}

/// Each lane as a number of another type.
template <typename To, typename From>
inline To Converted(From in) {
    return __builtin_convertvector(in, To);
}

/// Lanes of two vectors in a new order; those of the second are counted on from the first.
template <int... kFrom, typename Vector>
inline Vector Shuffled(Vector a, Vector b) {
    return __builtin_shufflevector(a, b, kFrom...);
}

#else

template <typename T, std::size_t kByteCount>
struct PlainVector {
    static constexpr std::size_t kCount = kByteCount / sizeof(T);
    using Lane = T;
    using Mask = PlainVector<std::conditional_t<sizeof(T) == 8, std::int64_t, std::int32_t>, kByteCount>;

    T lanes[kCount];

    T operator[](std::size_t inIndex) const { return lanes[inIndex]; }

    /// @return the vector of what the function makes of each index.
    template <typename Function>
    static PlainVector Each(Function inFunction) {
        PlainVector result;
        for (std::size_t i = 0; i < kCount; ++i)
            result.lanes[i] = static_cast<T>(inFunction(i));
        return result;
    }
    static PlainVector Fill(T in) {
        return Each([=](std::size_t) { return in; });
    }

    using V = PlainVector;
    friend V operator+(V a, V b) {
        return Each([&](std::size_t i) { return a[i] + b[i]; });
    }
    friend V operator-(V a, V b) {
        return Each([&](std::size_t i) { return a[i] - b[i]; });
    }
    friend V operator*(V a, V b) {
        return Each([&](std::size_t i) { return a[i] * b[i]; });
    }
    friend V operator&(V a, V b) {
        return Each([&](std::size_t i) { return a[i] & b[i]; });
    }
    friend V operator|(V a, V b) {
        return Each([&](std::size_t i) { return a[i] | b[i]; });
    }
    friend V operator^(V a, V b) {
        return Each([&](std::size_t i) { return a[i] ^ b[i]; });
    }
    friend V operator<<(V a, std::size_t inBits) {
        return Each([&](std::size_t i) { return a[i] << inBits; });
    }
    friend V operator>>(V a, std::size_t inBits) {
        return Each([&](std::size_t i) { return a[i] >> inBits; });
    }
    friend V operator+(V a, T b) { return a + Fill(b); }
    friend V operator-(V a, T b) { return a - Fill(b); }
    friend V operator*(V a, T b) { return a * Fill(b); }
    friend V operator&(V a, T b) { return a & Fill(b); }
    friend V operator|(V a, T b) { return a | Fill(b); }
    friend V operator^(V a, T b) { return a ^ Fill(b); }

    friend Mask operator==(V a, V b) {
        return Mask::Each([&](std::size_t i) { return a[i] == b[i] ? -1 : 0; });
    }
    friend Mask operator<(V a, V b) {
        return Mask::Each([&](std::size_t i) { return a[i] < b[i] ? -1 : 0; });
    }
    friend Mask operator>(V a, V b) { return b < a; }
};

template <typename T, std::size_t kByteCount>
struct VectorOf {
    using Type = PlainVector<T, kByteCount>;
};

template <typename Mask, typename T, std::size_t kByteCount>
inline PlainVector<T, kByteCount> Chosen(Mask inMask, PlainVector<T, kByteCount> inYes,
                                         PlainVector<T, kByteCount> inNo) {
    return inYes.Each([&](std::size_t i) { return inMask[i] ? inYes[i] : inNo[i]; });
}

template <typename To, typename From>
inline To As(From in) {
    return std::bit_cast<To>(in);
}

template <typename To, typename From>
inline To Converted(From in) {
    return To::Each([&](std::size_t i) { return static_cast<typename To::Lane>(in[i]); });
}

template <int... kFrom, typename Vector>
inline Vector Shuffled(Vector a, Vector b) {
    constexpr std::size_t kCount = Vector::kCount;
    const auto lane = [&](std::size_t inIndex) {
        return inIndex < kCount ? a[inIndex] : b[inIndex - kCount];
    };
    return {{lane(kFrom)...}};
}

#endif

} // namespace kelaudiofile::bytes
