#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string_view>

#include "kelcore/export.h"
#include "kelcore/utility.h"

/// The log: one line for each failed read.
namespace kelcore::logging {

/// @addtogroup support
/// @{

/// Receives one line without its line end. It may be called from any thread, from several at once, and even
/// from the destructor of a global. It may itself log and set a sink.
using Sink = std::function<void(std::string_view inLine)>;

/// Sets the destination of log lines; an empty sink restores the default, which is standard error. Calls of
/// the old sink that other threads have begun may still be running afterwards.
/// @throws std::bad_alloc, with the old sink still in place.
KELCORE_EXPORT void SetSink(Sink inSink);

/// Writes one line: the function's name and the message of the exception. No exception passes through,
/// whatever the sink throws.
/// @param inException  what went wrong; null is logged as "unknown".
/// @param inFunction  the qualified name of the function that caught it.
/// @param inUnused  null.
KELCORE_EXPORT void LogException(std::exception_ptr inException, const utility::StringValue& inFunction,
                                 std::nullptr_t inUnused) noexcept;

/// @}

} // namespace kelcore::logging
