#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string_view>

#include "kelcore/export.h"
#include "kelcore/utility.h"

/// The log: one line for each failed read.
namespace kelcore::logging {

/// Receives one line without its end. May be called from any thread, one call at a time.
using Sink = std::function<void(std::string_view inLine)>;

/// Says where lines go from now on; an empty sink brings back the first state, which is standard error.
KELCORE_EXPORT void SetSink(Sink inSink);

/// Writes one line: the function's name, and what the exception says. Nothing passes out, whatever the sink
/// throws.
/// @param inException  what went wrong.
/// @param inFunction  the qualified name of the function that caught it.
/// @param inUnused  null.
KELCORE_EXPORT void LogException(std::exception_ptr inException, const utility::StringValue& inFunction,
                                 std::nullptr_t inUnused) noexcept;

} // namespace kelcore::logging
