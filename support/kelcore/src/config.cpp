#include "kelcore/config.h"

#include <atomic>
#include <string>

namespace kelcore::config {

namespace {

std::string WithoutZeroBytes(std::string inText) {
    for (auto zero = inText.find('\0'); zero != std::string::npos; zero = inText.find('\0', zero))
        inText.replace(zero, 1, "\\0");
    return inText;
}

} // namespace

kel_exception::kel_exception(utility::StringValue&& inMessage)
    : std::runtime_error(WithoutZeroBytes(ToStdString(inMessage.Text()))),
      mAdditionalData(std::make_shared<const utility::Dictionary>()) {}

kel_exception::~kel_exception() = default;

void kel_exception::AddAdditionalData(utility::Dictionary&& inPairs) {
    auto pairs = std::make_shared<utility::Dictionary>(*mAdditionalData);
    pairs->merge(std::move(inPairs));
    mAdditionalData = std::move(pairs);
}

void ExecuteTopLevelFunction(OneTimeFunction inFunction, std::nullptr_t) noexcept {
    try {
        inFunction.RunOnce();
    } catch (...) {
        // Callers are closing a file; there is nobody to report to.
    }
}

} // namespace kelcore::config

namespace kelcore::detail {

namespace {
std::atomic<std::uint64_t> gGuardedCalls{0};
} // namespace

void FunctionalStatistic(bool inGuarded, bool) noexcept {
    if (inGuarded)
        gGuardedCalls.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t GuardedCallCount() noexcept {
    return gGuardedCalls.load(std::memory_order_relaxed);
}

} // namespace kelcore::detail
