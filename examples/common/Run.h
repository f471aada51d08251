#pragma once

#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

namespace examples {

/// Reads the arguments and does the job, whose result is the exit code. What the job throws is told on
/// standard error.
template <typename Job>
int Run(CLI::App& inApp, int inCount, char** inArguments, int inFailureCode, Job&& inJob) {
    CLI11_PARSE(inApp, inCount, inArguments);
    try {
        return inJob();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        return inFailureCode;
    }
}

} // namespace examples
