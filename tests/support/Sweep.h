#pragma once

#include <gtest/gtest.h>

#include "support/Faults.h"

namespace faults {

/// Returns whether a fault has fired in this run.
inline bool Fired() {
    return SystemCalls().fired + Heap().fired != 0;
}

/// Ends the faults of a run; the counters stay.
inline void Disarm() {
    SystemCalls().failAt = Heap().failAt = kNever;
}

/// Runs a job with its first call failing, then with its second, until no fault fires. Whatever failed, the
/// job must leave no file open and no memory allocated.
/// @param inArm  gets the number of the call that is to fail. @return how many calls there are.
template <typename Arm, typename Job>
std::uint64_t Sweep(Arm inArm, Job inJob) {
    for (std::uint64_t number = 0;; ++number) {
        SCOPED_TRACE(testing::Message() << "fault " << number);
        const Scope scope;
        inArm(number);
        inJob();
        const bool fired = Fired();
        EXPECT_EQ(SystemCalls().OpenDescriptors(), 0);
        EXPECT_EQ(Heap().liveBytes, 0) << "a leak";
        if (!fired || testing::Test::HasFailure())
            return number;
    }
}

/// The same for system calls, which fail as the record says.
template <typename Job>
std::uint64_t SweepCalls(const System& inFaults, Job inJob) {
    const auto arm = [&](std::uint64_t number) { (SystemCalls() = inFaults).failAt = number; };
    return Sweep(arm, inJob);
}

/// The same for allocations.
template <typename Job>
std::uint64_t SweepAllocations(Job inJob) {
    return Sweep([](std::uint64_t number) { Heap().failAt = number; }, inJob);
}

} // namespace faults
