#pragma once

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>

#include <CLI/CLI.hpp>

#include "Progress.h"
#include "Words.h"
#include "kelaudiofile/AudioError.h"

namespace examples {

using namespace kelaudiofile;

/// An error to be reported to the user, which ends the program.
using Failure = std::runtime_error;

/// Returns the result of an operation, or ends the program with the message of its error.
template <typename Result>
Result OrFail(Result&& inResult, const AudioError& inError) {
    if (!inResult)
        throw Failure(inError.message);
    return std::forward<Result>(inResult);
}

/// Parses the arguments and does the job, whose result is the exit status. Exceptions of the job are reported
/// on standard error. Wrong arguments give status 2.
template <typename Job>
int Run(CLI::App& inApp, int inCount, char** inArguments, int inFailureCode, Job&& inJob) {
    const std::string name = std::filesystem::path(inArguments[0]).filename().string();
    inApp.name(name);
    inApp.set_help_flag("-h,--help", "Print this help and exit");
    inApp.set_version_flag("--version", name + " (kelaudiofile) " KELAUDIOFILE_VERSION,
                           "Print the version and exit");
    if (inApp.get_footer().empty())
        inApp.footer("Exit status: 0 on success, 1 on failure, 2 if the arguments are invalid.");
    try {
        inApp.parse(inCount, inArguments);
        return inJob();
    } catch (const CLI::ParseError& error) {
        return inApp.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        return inFailureCode;
    }
}

} // namespace examples
