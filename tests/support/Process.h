#pragma once

#include <cstdio>
#include <string>

#include <sys/wait.h>

namespace testing_support {

/// What became of a program.
struct Outcome {
    int exitCode = -1;  ///< -1 if it could not be run, or did not end by itself
    std::string output; ///< standard output and standard error
};

/// Runs a shell command, without input, and waits for its end.
inline Outcome RunCommand(const std::string& inCommand) {
    Outcome outcome;
    std::FILE* pipe = ::popen(("( " + inCommand + " ) 2>&1 </dev/null").c_str(), "r");
    if (!pipe)
        return outcome;
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, pipe))
        outcome.output.append(block, count);
    const int status = ::pclose(pipe);
    if (WIFEXITED(status))
        outcome.exitCode = WEXITSTATUS(status);
    return outcome;
}

} // namespace testing_support
