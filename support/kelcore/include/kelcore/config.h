#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "kelcore/export.h"
#include "kelcore/utility.h"

/// Exceptions, and calls that let none out.
namespace kelcore::config {

/// The base of this layer's exceptions: a message, and pairs of additional data. Copying does not throw.
class KELCORE_EXPORT kel_exception : public std::runtime_error {
public:
    /// @param inMessage  what what() says. A zero byte in it, which would end that text, is written as \\0.
    explicit kel_exception(utility::StringValue&& inMessage);
    /// Copies share the additional data until one of them adds to it.
    kel_exception(const kel_exception&) noexcept = default;
    /// As the copy constructor.
    kel_exception& operator=(const kel_exception&) noexcept = default;
    ~kel_exception() override;

    /// Adds the pairs; a key that is there already keeps its first value.
    void AddAdditionalData(utility::Dictionary&& inPairs);

    /// What was added, empty at first. Valid until the next AddAdditionalData.
    const utility::Dictionary& GetAdditionalData() const { return *mAdditionalData; }

private:
    std::shared_ptr<const utility::Dictionary> mAdditionalData;
};

/// A function to be run once. Making it from a lambda that captures a single pointer allocates nothing.
class OneTimeFunction {
public:
    /// Takes anything that can be called without arguments and copied.
    template <typename Function,
              std::enable_if_t<!std::is_same_v<std::decay_t<Function>, OneTimeFunction>, int> = 0>
    explicit OneTimeFunction(Function&& inFunction) : mFunction(std::forward<Function>(inFunction)) {}

    /// Runs the function and forgets it; does nothing the second time. What it throws passes out.
    void RunOnce() {
        if (const auto function = std::exchange(mFunction, nullptr))
            function();
    }

private:
    std::function<void()> mFunction;
};

/// Runs a function once, before returning. No exception passes out.
/// @param inFunction  the function.
/// @param inUnused  null.
KELCORE_EXPORT void ExecuteTopLevelFunction(OneTimeFunction inFunction, std::nullptr_t inUnused) noexcept;

} // namespace kelcore::config

/// What the layer counts about itself.
namespace kelcore::detail {

/// Counts a guarded call that is about to be made.
/// @param inGuarded  whether the call stops exceptions.
/// @param inReports  whether it tells the host about them.
KELCORE_EXPORT void FunctionalStatistic(bool inGuarded, bool inReports) noexcept;

/// How many calls were counted with inGuarded true since the program began.
KELCORE_EXPORT std::uint64_t GuardedCallCount() noexcept;

} // namespace kelcore::detail
