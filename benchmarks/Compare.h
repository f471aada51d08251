#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <time.h>

/// Two ways to do the same work, timed in alternation in one run. Other work on the machine slows both sides
/// of a round alike, so the ratio of a round is more reliable than a time, and the median of the ratios more
/// than any one of them. Times are processor times, so waiting for the processor does not count.
namespace compare {

using Work = std::function<void()>;

inline constexpr int kRounds = 25;
/// Small work is repeated within a round until it takes this long.
inline constexpr double kSecondsPerSide = 0.02;

/// Returns the processor time of this thread, system calls included.
inline double ThreadSeconds() {
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

inline double Seconds(const Work& inWork, int inRepeats) {
    const double start = ThreadSeconds();
    for (int i = 0; i < inRepeats; ++i)
        inWork();
    return ThreadSeconds() - start;
}

/// Returns how many times as fast as the other work ours is: above 1 is faster.
inline double Speed(const Work& inOurs, const Work& inOther) {
    const double once = std::max(Seconds(inOurs, 1), 1e-7);
    const int repeats = std::max(1, static_cast<int>(kSecondsPerSide / once));
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round) {
        const bool oursFirst = round % 2 == 0;
        const double first = Seconds(oursFirst ? inOurs : inOther, repeats);
        const double second = Seconds(oursFirst ? inOther : inOurs, repeats);
        ratios.push_back(oursFirst ? second / first : first / second);
    }
    std::nth_element(ratios.begin(), ratios.begin() + kRounds / 2, ratios.end());
    return ratios[kRounds / 2];
}

/// One row of the table in docs/performance.md.
inline void PrintRow(const std::string& inJob, const std::string& inAgainst, double inSpeed) {
    std::printf("| %s | %s | %.2f |\n", inJob.c_str(), inAgainst.c_str(), inSpeed);
    std::fflush(stdout);
}

} // namespace compare
