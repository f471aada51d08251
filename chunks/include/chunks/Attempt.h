#pragma once

#include <exception>
#include <string_view>

#include "kelcore/filesupport.h"
#include "kelcore/logging.h"

/// Where exceptions end: every operation that answers with a code or with false runs its steps by these.
namespace kelaudiofile::chunks {

/// Runs a step. Every exception ends here.
/// @return whether there was none.
template <typename Step>
bool Attempt(Step&& inStep) noexcept {
    try {
        inStep();
        return true;
    } catch (...) {
        return false;
    }
}

/// Runs a step. Exceptions of one type end here; others pass.
/// @return whether there was none.
template <typename Exception, typename Step>
bool Attempt(Step&& inStep) {
    try {
        inStep();
        return true;
    } catch (const Exception&) {
        return false;
    }
}

/// Runs a step. Exceptions of the streams are logged and end here; others pass.
/// @param inScope, inFunction  make up the qualified name in the log.
/// @return whether there was none.
template <typename Step>
bool AttemptAndLog(std::string_view inScope, std::string_view inFunction, Step&& inStep) {
    try {
        inStep();
        return true;
    } catch (const kelcore::filesupport::file_exception&) {
        kelcore::logging::LogException(std::current_exception(),
                                       kelcore::utility::StringValue(inScope, inFunction), nullptr);
        return false;
    }
}

} // namespace kelaudiofile::chunks
