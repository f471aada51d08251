#include "kelcore/logging.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace kelcore::logging {

namespace {

struct SinkHolder {
    std::mutex mutex;
    Sink sink;
};

SinkHolder& Holder() {
    static SinkHolder holder;
    return holder;
}

std::string Describe(const std::exception_ptr& inException) {
    try {
        std::rethrow_exception(inException);
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "unknown exception";
    }
}

} // namespace

void SetSink(Sink inSink) {
    const std::lock_guard lock(Holder().mutex);
    Holder().sink = std::move(inSink);
}

void LogException(std::exception_ptr inException, const utility::StringValue& inFunction,
                  std::nullptr_t) noexcept {
    try {
        const std::string line = ToStdString(inFunction.Text()) + ": " + Describe(inException);
        const std::lock_guard lock(Holder().mutex);
        if (Holder().sink)
            Holder().sink(line);
        else
            std::fprintf(stderr, "%s\n", line.c_str());
    } catch (...) {
        // A log that fails must not turn a failed read into a crash.
    }
}

} // namespace kelcore::logging
