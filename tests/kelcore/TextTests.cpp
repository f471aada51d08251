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
    const std::string text = "1034567A-9abf-DEF0-1122-334455667788";
    const Guid guid(text.data(), text.size()), none(0, 0, 0, {});
    EXPECT_EQ(guid, Guid(0x1034567A, 0x9ABF, 0xDEF0, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}));
    std::uint32_t first = 0;
    std::uint16_t second = 0, third = 0;
    Guid::LastBytes last{};
    GuidToComponents(guid, first, second, third, last);
    EXPECT_EQ(Guid(first, second, third, last), guid);
    EXPECT_TRUE(guid != Guid(first, second, third, {}) && !(guid != guid));
    EXPECT_EQ(Guid(text.data(), text.size() - 1), none);
    for (const std::size_t place : {0, 8, 13, 18, 23, 35})
        for (const char wrong : {'/', ':', '@', 'G', '`', 'g'}) {
            std::string other = text;
            other[place] = wrong;
            EXPECT_EQ(Guid(other.data(), other.size()), none) << other;
        }
}

TEST(TopLevelFunction, RunsOnceAndStopsEveryException) {
    int runs = 0;
    config::ExecuteTopLevelFunction(config::OneTimeFunction([&] { throw ++runs; }), nullptr);
    config::OneTimeFunction once([&] { ++runs; }), copy(once);
    once.RunOnce();
    once.RunOnce();
    EXPECT_EQ(runs, 2);
    copy.RunOnce();
    EXPECT_EQ(runs, 3);
    const std::uint64_t guarded = detail::GuardedCallCount();
    detail::FunctionalStatistic(true, false);
    detail::FunctionalStatistic(false, true);
    EXPECT_EQ(detail::GuardedCallCount(), guarded + 1);
}

namespace {

void Log(const std::exception_ptr& inException) {
    logging::LogException(inException, StringValue("scope::", "Function"), nullptr);
}
void Log(const char* inReason) {
    Log(std::make_exception_ptr(std::runtime_error(inReason)));
}

/// Logs a setting when it is destroyed.
struct Late {
    ~Late() {
        const auto setting = debug::DebugDatabase::Instance().GetEntry(ToUTF8String("key"), {});
        Log(ToStdString(setting).c_str());
    }
};

} // namespace

TEST(Logging, WritesOneLineAndLetsNothingOut) {
    std::string lines;
    const auto append = [&](std::string_view inLine) { lines.append(inLine) += '\n'; };
    logging::SetSink([&](std::string_view inLine) { // gives itself up at its first line
        logging::SetSink(append);
        Log("from the sink");
        append(inLine);
    });
    Log("reason");
    Log(std::make_exception_ptr(1));
    Log(std::exception_ptr());
    logging::SetSink([](std::string_view) { throw 1; });
    Log("lost");
    testing::internal::CaptureStderr();
    logging::SetSink({});
    Log("no sink");
    EXPECT_EQ(lines + testing::internal::GetCapturedStderr(),
              "scope::Function: from the sink\nscope::Function: reason\nscope::Function: unknown exception\n"
              "scope::Function: unknown\nscope::Function: no sink\n");
}

// The texts are too long to lie inside their objects. A global that was made first is destroyed last.
TEST(Logging, AndSettingsOutliveGlobals) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto exit = [] {
        static const Late late;
        debug::DebugDatabase::Instance().SetEntry(ToUTF8String("key"), UTF8String(100, 's'));
        logging::SetSink([prefix = std::string(100, 'p')](std::string_view inLine) {
            std::fputs((prefix + std::string(inLine)).c_str(), stderr);
        });
        std::exit(0);
    };
    EXPECT_EXIT(exit(), testing::ExitedWithCode(0), "p{100}scope::Function: s{100}$");
}
