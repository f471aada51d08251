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

/// Exceptions, and calls that stop them.
namespace kelcore::config {

/// @addtogroup support
/// @{

/// The base of this layer's exceptions: a message and additional key-value pairs. Copying does not throw.
class KELCORE_EXPORT kel_exception : public std::runtime_error {
public:
    /// @param inMessage  the text of what(). A zero byte, which would end that text, is replaced by \\0.
    explicit kel_exception(utility::StringValue&& inMessage);
    /// Copies share the additional data until one of them adds to them.
    kel_exception(const kel_exception&) noexcept = default;
    /// Like the copy constructor.
    kel_exception& operator=(const kel_exception&) noexcept = default;
    ~kel_exception() override;

    /// Adds the pairs; an existing key keeps its first value.
    void AddAdditionalData(utility::Dictionary&& inPairs);

    /// Returns the additional data, empty at first. Valid until the next AddAdditionalData.
    const utility::Dictionary& GetAdditionalData() const { return *mAdditionalData; }

private:
    std::shared_ptr<const utility::Dictionary> mAdditionalData;
};

/// A function to be run once. Constructing it from a lambda that captures a single pointer allocates nothing.
class OneTimeFunction {
public:
    /// Accepts anything that can be copied and called without arguments.
    template <typename Function,
              std::enable_if_t<!std::is_same_v<std::decay_t<Function>, OneTimeFunction>, int> = 0>
    explicit OneTimeFunction(Function&& inFunction) : mFunction(std::forward<Function>(inFunction)) {}

    /// Runs the function and releases it; has no effect the second time. Exceptions of
    /// the function pass through.
    void RunOnce() {
        if (const auto function = std::exchange(mFunction, nullptr))
            function();
    }

private:
    std::function<void()> mFunction;
};

/// Runs a function once, before returning, and swallows its exceptions.
/// @param inFunction  the function.
/// @param inUnused  null.
KELCORE_EXPORT void ExecuteTopLevelFunction(OneTimeFunction inFunction, std::nullptr_t inUnused) noexcept;

/// @}

} // namespace kelcore::config

/// Statistics of this layer.
namespace kelcore::detail {

/// @addtogroup support
/// @{

/// Counts a guarded call that is about to be made.
/// @param inGuarded  whether the call stops exceptions.
/// @param inReports  whether it reports them to the host.
KELCORE_EXPORT void FunctionalStatistic(bool inGuarded, bool inReports) noexcept;

/// Returns how many calls were counted with inGuarded true since the program began.
KELCORE_EXPORT std::uint64_t GuardedCallCount() noexcept;

/// @}

} // namespace kelcore::detail
