#pragma once

#include <cstdint>

namespace testing_support {

/// Reproducible random numbers (splitmix64), the same on every platform.
class Random {
public:
    explicit Random(std::uint64_t inSeed) : mState(inSeed) {}

    std::uint64_t Next64() {
        std::uint64_t z = mState += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return z ^ z >> 31;
    }
    std::uint32_t operator()() { return static_cast<std::uint32_t>(Next64() >> 32); }
    /// Returns a number below inLimit.
    std::uint32_t Below(std::uint32_t inLimit) { return (*this)() % inLimit; }

private:
    std::uint64_t mState;
};

} // namespace testing_support
