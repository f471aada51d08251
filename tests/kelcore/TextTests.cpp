#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "kelcore/config.h"
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

TEST(Text, IsAStringOfUnsignedBytes) {
    const UTF8String text = ToUTF8String({"z\0\xC3z", 4});
    EXPECT_TRUE(ToUTF8String("z") < ToUTF8String("\xC3") && !UTF8Traits::lt('z', 'z'));
    EXPECT_EQ(text.find(static_cast<unsigned char>(0xC3)), 2u);
    EXPECT_EQ(text.find('z', 4), UTF8String::npos);
    EXPECT_EQ(UTF8String(3, 'x') + UTF8String(), ToUTF8String("xxx"));
    EXPECT_TRUE(text.get_allocator() == UTF8String().get_allocator());
    EXPECT_FALSE(text.get_allocator() != UTF8String().get_allocator());
}

TEST(Guid, TextAndPiecesAgree) {
    const Guid guid("12345678-9abc-DEF0-1122-334455667788", 36);
    EXPECT_EQ(guid, Guid(0x12345678, 0x9ABC, 0xDEF0, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88}));
    std::uint32_t first = 0;
    std::uint16_t second = 0, third = 0;
    Guid::LastBytes last{};
    GuidToComponents(guid, first, second, third, last);
    EXPECT_EQ(Guid(first, second, third, last), guid);
    EXPECT_EQ(first, 0x12345678u);
    EXPECT_EQ(second << 16 | third, 0x9ABCDEF0);
    for (const std::string_view other :
         {"12345678x9abc-DEF0-1122-334455667788", "12345678-9abc-DEF0-1122-33445566778g", "1"})
        EXPECT_EQ(Guid(other.data(), other.size()), Guid(0, 0, 0, {})) << other;
}

TEST(TopLevelFunction, RunsOnceAndStopsEveryException) {
    int runs = 0;
    config::ExecuteTopLevelFunction(config::OneTimeFunction([&] { throw ++runs; }), nullptr);
    EXPECT_EQ(runs, 1);
    config::OneTimeFunction once([&] { ++runs; });
    once.RunOnce();
    once.RunOnce();
    EXPECT_EQ(runs, 2);
}

TEST(Logging, WritesOneLineAndLetsNothingOut) {
    const auto log = [](auto inException) {
        logging::LogException(std::make_exception_ptr(inException), StringValue("scope::", "Function"),
                              nullptr);
    };
    std::string lines;
    logging::SetSink([&](std::string_view inLine) { lines.append(inLine) += '\n'; });
    log(std::runtime_error("reason"));
    log(1);
    logging::SetSink([](std::string_view) { throw 1; });
    log(2);
    testing::internal::CaptureStderr();
    logging::SetSink({});
    log(std::runtime_error("no sink"));
    lines += testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines,
              "scope::Function: reason\nscope::Function: unknown exception\nscope::Function: no sink\n");
}
