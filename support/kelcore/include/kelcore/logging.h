#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string_view>

#include "kelcore/export.h"
#include "kelcore/utility.h"

/// The log: one line for each failed read.
namespace kelcore::logging {

/// Receives one line without its end. Any thread may call it, several at once, as late as from the destructor
/// of a global. It may log and set a sink itself.
using Sink = std::function<void(std::string_view inLine)>;

/// Says where lines go from now on; an empty sink brings back the first state, which is standard error. Calls
/// of the old sink that other threads have begun may still be running afterwards.
/// @throws std::bad_alloc, with the old sink in place.
KELCORE_EXPORT void SetSink(Sink inSink);

/// Writes one line: the function's name, and what the exception says. Nothing passes out, whatever the sink
/// throws.
/// @param inException  what went wrong; null is logged as "unknown".
/// @param inFunction  the qualified name of the function that caught it.
/// @param inUnused  null.
KELCORE_EXPORT void LogException(std::exception_ptr inException, const utility::StringValue& inFunction,
                                 std::nullptr_t inUnused) noexcept;

} // namespace kelcore::logging
