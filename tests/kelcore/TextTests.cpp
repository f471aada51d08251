#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "kelcore/config.h"
#include "kelcore/debug.h"
#include "kelcore/logging.h"
#include "kelcore/string.h"
#include "kelcore/utility.h"

using namespace kelcore;
using namespace kelcore::utility;

TEST(Text, ReplaceInStringGoesOnceOverTheFormat) {
    const auto replaced =
        string::ReplaceInString(ToUTF8String("@0@0@9|@|@/@:@a@1|@"), {ToUTF8String("@1"), ToUTF8String("x")});
    EXPECT_EQ(ToStdString(replaced), "@1@1|@|@/@:@ax|@");
    oUTF8StringStream stream;
    EXPECT_EQ(ToStdString((stream << 12 << -3).str() + ConvertInt32ToBufferT(-2147483647 - 1)),
              "12-3-2147483648");
}

TEST(Guid, TextAndPiecesAgree) {
    const Guid guid("1234567A-9abf-DEF0-1122-334455667788", 36);
    EXPECT_EQ(guid, Guid(0x1234567A, 0x9ABF, 0xDEF0, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}));
    std::uint32_t first = 0;
    std::uint16_t second = 0, third = 0;
    Guid::LastBytes last{};
    GuidToComponents(guid, first, second, third, last);
    EXPECT_EQ(Guid(first, second, third, last), guid);
    EXPECT_EQ(first, 0x1234567Au);
    EXPECT_EQ(second << 16 | third, 0x9ABFDEF0);
    EXPECT_TRUE(guid != Guid(first, second, third, {}) && !(guid != guid));
    for (const std::string_view other :
         {"12345678x9abc-DEF0-1122-334455667788", "12345678-9abc-DEF0-1122-33445566778g", "1"})
        EXPECT_EQ(Guid(other.data(), other.size()), Guid(0, 0, 0, {})) << other;
}

TEST(TopLevelFunction, RunsOnceAndStopsEveryException) {
    int runs = 0;
    const std::uint64_t guarded = detail::GuardedCallCount();
    detail::FunctionalStatistic(true, false);
    detail::FunctionalStatistic(false, true);
    EXPECT_EQ(detail::GuardedCallCount(), guarded + 1);
    config::ExecuteTopLevelFunction(config::OneTimeFunction([&] { throw ++runs; }), nullptr);
    EXPECT_EQ(runs, 1);
    config::OneTimeFunction once([&] { ++runs; }), copy(once);
    once.RunOnce();
    once.RunOnce();
    EXPECT_EQ(runs, 2);
    copy.RunOnce();
    EXPECT_EQ(runs, 3);
}

namespace {

void Log(const std::exception_ptr& inException) {
    logging::LogException(inException, StringValue("scope::", "Function"), nullptr);
}

/// Logs a setting when it is destroyed.
struct Late {
    ~Late() {
        const auto setting = debug::DebugDatabase::Instance().GetEntry(ToUTF8String("key"), {});
        Log(std::make_exception_ptr(config::kel_exception(StringValue(UTF8String(setting)))));
    }
};

} // namespace

TEST(Logging, WritesOneLineAndLetsNothingOut) {
    std::string lines;
    const auto append = [&](std::string_view inLine) { lines.append(inLine) += '\n'; };
    logging::SetSink(append);
    Log(std::make_exception_ptr(std::runtime_error("reason")));
    Log(std::make_exception_ptr(1));
    Log(nullptr);
    logging::SetSink([&](std::string_view inLine) { // as a sink that gives itself up at its first line
        logging::SetSink(append);
        Log(std::make_exception_ptr(std::runtime_error("from the sink")));
        append(inLine);
    });
    Log(nullptr);
    logging::SetSink([](std::string_view) { throw 1; });
    Log(std::make_exception_ptr(2));
    testing::internal::CaptureStderr();
    logging::SetSink({});
    Log(std::make_exception_ptr(std::runtime_error("no sink")));
    lines += testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines, "scope::Function: reason\nscope::Function: unknown exception\nscope::Function: unknown\n"
                     "scope::Function: from the sink\nscope::Function: unknown\nscope::Function: no sink\n");
}

// The texts are too long to lie inside their objects. A global that was made first is destroyed last.
TEST(Logging, AndSettingsOutliveGlobals) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto exit = [] {
        static const Late late;
        debug::DebugDatabase::Instance().SetEntry(ToUTF8String("key"), UTF8String(100, 's'));
        logging::SetSink([prefix = std::string(100, 'p')](std::string_view inLine) {
            std::fprintf(stderr, "%s%.*s", prefix.c_str(), static_cast<int>(inLine.size()), inLine.data());
        });
        std::exit(0);
    };
    EXPECT_EXIT(exit(), testing::ExitedWithCode(0),
                std::string(100, 'p') + "scope::Function: " + std::string(100, 's') + "$");
}
