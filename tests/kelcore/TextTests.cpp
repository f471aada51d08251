#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "kelcore/config.h"
#include "kelcore/logging.h"
#include "kelcore/string.h"
#include "kelcore/utility.h"

using namespace kelcore;
using namespace kelcore::utility;

TEST(Text, ReplaceInStringGoesOnceOverTheFormat) {
    const auto replaced =
        string::ReplaceInString(ToUTF8String("@0@0@9|@/@:@a@1|a5@"), {ToUTF8String("@1"), ToUTF8String("x")});
    EXPECT_EQ(ToStdString(replaced), "@1@1|@/@:@ax|a5@");
    EXPECT_EQ(ToStdString(ToUTF8String("bc").insert(0, 2, 'a')), "aabc");
    oUTF8StringStream stream;
    EXPECT_EQ(ToStdString((stream << 12 << -3).str() + ConvertInt32ToBufferT(-45)), "12-3-45");
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
    for (const std::size_t place : {0u, 8u, 13u, 18u, 23u, 35u})
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
    for (auto* function : {&once, &once, &copy})
        function->RunOnce();
    EXPECT_EQ(runs, 3);
    const std::uint64_t guarded = detail::GuardedCallCount();
    detail::FunctionalStatistic(true, false);
    detail::FunctionalStatistic(false, true);
    EXPECT_EQ(detail::GuardedCallCount(), guarded + 1);
}

TEST(Logging, WritesOneLineAndLetsNothingOut) {
    std::string lines;
    const auto append = [&](std::string_view inLine) { lines.append(inLine) += '\n'; };
    const auto log = [](const std::exception_ptr& inException) {
        logging::LogException(inException, StringValue("scope::", "Function"), nullptr);
    };
    logging::SetSink([&](std::string_view inLine) { // removes itself at its first line
        logging::SetSink(append);
        log(nullptr);
        append(inLine);
    });
    log(std::make_exception_ptr(std::runtime_error("reason")));
    logging::SetSink([](std::string_view) { throw 1; });
    log(nullptr);
    testing::internal::CaptureStderr();
    logging::SetSink({});
    log(std::make_exception_ptr(1));
    EXPECT_EQ(lines + testing::internal::GetCapturedStderr(),
              "scope::Function: unknown\nscope::Function: reason\nscope::Function: unknown exception\n");
}
