#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace examples {

/// A bar on standard error, if that is a terminal and the work takes long enough to wonder.
class Progress {
public:
    Progress(const char* inWhat, std::int64_t inTotal) : mWhat(inWhat), mTotal(inTotal) {}
    ~Progress() {
        if (mShown)
            std::fputs("\r\033[K", stderr);
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(std::int64_t inDone) {
        const auto now = Clock::now();
        if (!mTerminal || now < mNext)
            return;
        mNext = now + std::chrono::milliseconds(100);
        mShown = true;
        const double part = mTotal > 0 ? static_cast<double>(inDone) / static_cast<double>(mTotal) : 1.0;
        const auto full = static_cast<std::size_t>(part * kWidth);
        const std::string bar = std::string(full, '#') + std::string(kWidth - full, '.');
        std::fprintf(stderr, "\r%-12s [%s] %3.0f %%", mWhat, bar.c_str(), part * 100);
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t kWidth = 40;

    const char* mWhat;
    std::int64_t mTotal;
    bool mTerminal = ::isatty(STDERR_FILENO) != 0;
    bool mShown = false;
    Clock::time_point mNext = Clock::now() + std::chrono::milliseconds(300);
};

} // namespace examples
