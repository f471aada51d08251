#pragma once

#include <exception>
#include <string_view>

#include "kelcore/filesupport.h"
#include "kelcore/logging.h"

/// The place where exceptions end: every operation that reports a code or false runs its steps through these.
namespace kelaudiofile::chunks {

/// Runs a step and stops every exception.
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

/// Runs a step and stops exceptions of one type; others pass through.
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

/// Runs a step, and logs and stops exceptions of the streams; others pass through.
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
