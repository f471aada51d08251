#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include <unistd.h>

namespace examples {

/// A progress bar on standard error, if that is a terminal and the work takes noticeably long.
class Progress {
public:
    explicit Progress(const char* inWhat) : mWhat(inWhat) {}
    ~Progress() {
        if (mShown)
            std::fputs("\r\033[K", stderr);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// For AudioProgress: `std::ref(progress)`. @return true.
    bool operator()(std::int64_t inDone, std::int64_t inTotal) {
        const auto now = Clock::now();
        if (!mTerminal || now < mNext)
            return true;
        mNext = now + std::chrono::milliseconds(100);
        mShown = true;
        const double part = inTotal > 0 ? static_cast<double>(inDone) / static_cast<double>(inTotal) : 1.0;
        const auto full = static_cast<std::size_t>(part * kWidth);
        const std::string bar = std::string(full, '#') + std::string(kWidth - full, '.');
        std::fprintf(stderr, "\r%-12s [%s] %3.0f %%", mWhat, bar.c_str(), part * 100);
        return true;
    }

    /// Returns an AudioProgress for one of inCount equal parts of the work.
    auto Part(std::size_t inIndex, std::size_t inCount) {
        return [=, this](std::int64_t done, std::int64_t total) {
            const auto index = static_cast<std::int64_t>(inIndex), count = static_cast<std::int64_t>(inCount);
            return (*this)(index * total + done, count * total);
        };
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kWidth = 40;

    const char* mWhat;
    bool mTerminal = ::isatty(STDERR_FILENO) != 0;
    bool mShown = false;
    Clock::time_point mNext = Clock::now() + std::chrono::milliseconds(300);
};

} // namespace examples
