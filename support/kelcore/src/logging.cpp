#include "kelcore/logging.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace kelcore::logging {

namespace {

struct SinkHolder {
    std::mutex mutex;
    std::shared_ptr<const Sink> sink; ///< null: standard error
};

// Never destroyed: destructors of globals and threads that outlive main may still log. It is in static
// memory, so leak checkers find what the sink owns.
SinkHolder& Holder() {
    alignas(SinkHolder) static unsigned char memory[sizeof(SinkHolder)];
    static SinkHolder& holder = *new (memory) SinkHolder;
    return holder;
}

std::shared_ptr<const Sink> CurrentSink() {
    const std::lock_guard lock(Holder().mutex);
    return Holder().sink;
}

std::string Describe(const std::exception_ptr& inException) {
    if (!inException)
        return "unknown";
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
    auto sink = inSink ? std::make_shared<const Sink>(std::move(inSink)) : nullptr;
    const std::lock_guard lock(Holder().mutex);
    Holder().sink.swap(sink);
}

// The sink is called, and an old one destroyed, outside the lock: both run host code,
// which may log or set a sink.
void LogException(std::exception_ptr inException, const utility::StringValue& inFunction,
                  std::nullptr_t) noexcept {
    try {
        const std::string line = ToStdString(inFunction.Text()) + ": " + Describe(inException);
        if (const auto sink = CurrentSink())
            (*sink)(line);
        else
            static_cast<void>(std::fprintf(stderr, "%s\n", line.c_str()));
    } catch (...) {
        // A log that fails must not turn a failed read into a crash.
    }
}

} // namespace kelcore::logging
