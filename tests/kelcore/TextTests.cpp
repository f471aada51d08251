#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "kelcore/config.h"
#include "kelcore/logging.h"
#include "kelcore/string.h"
#include "kelcore/utility.h"

using kelcore::ToStdString;
using kelcore::ToUTF8String;
using kelcore::UTF8String;
using namespace kelcore::utility;

TEST(Text, ReplaceInStringGoesOnceOverTheFormat) {
    const auto replace = [](const char* inFormat, const char* in0, const char* in1) {
        return ToStdString(
            kelcore::string::ReplaceInString(ToUTF8String(inFormat), {ToUTF8String(in0), ToUTF8String(in1)}));
    };
    EXPECT_EQ(replace("a '@0' b @1.", "@1", "x"), "a '@1' b x.");
    EXPECT_EQ(replace("@0@0@9|@|@a|@", "q", ""), "qq|@|@a|@");
    EXPECT_EQ(ToStdString(ConvertInt32ToBufferT(-2147483647 - 1)), "-2147483648");
    kelcore::oUTF8StringStream stream;
    stream << 12 << -3;
    EXPECT_EQ(ToStdString(stream.str()), "12-3");
}

TEST(Text, BytesAboveAsciiKeepTheirOrder) {
    const UTF8String high = ToUTF8String("\xC3\xA4"), low = ToUTF8String("z");
    EXPECT_LT(low, high);
    EXPECT_EQ(high.find(static_cast<unsigned char>(0xA4)), 1u);
    EXPECT_EQ(ToStdString(ToUTF8String(std::string_view("a\0b", 3))).size(), 3u);
}

TEST(Guid, TextAndPiecesAgree) {
    const char text[] = "00000003-0721-11d3-8644-C8C1CA000000";
    const Guid guid(text, 36);
    EXPECT_EQ(guid, Guid(3, 0x0721, 0x11D3, {0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0}));
    EXPECT_EQ(guid, Guid("00000003-0721-11D3-8644-c8c1ca000000", 36));
    EXPECT_NE(guid, Guid("00000003-0721-11D3-8644-c8c1ca000001", 36));
    std::uint32_t first = 0;
    std::uint16_t second = 0, third = 0;
    Guid::LastBytes last{};
    GuidToComponents(guid, first, second, third, last);
    EXPECT_EQ(Guid(first, second, third, last), guid);
    for (const char* other :
         {"00000003-0721x11d3-8644-C8C1CA000000", "g0000003-0721-11d3-8644-C8C1CA000000", "0"})
        EXPECT_EQ(Guid(other, std::strlen(other)), Guid(0, 0, 0, {})) << other;
    char fourCC[4];
    FourCCToBuffer(0x61746164, fourCC);
    EXPECT_EQ(std::string(fourCC, 4), "data");
}

TEST(TopLevelFunction, RunsOnceAndStopsEveryException) {
    int runs = 0;
    const auto throws = [&] {
        ++runs;
        throw 1;
    };
    kelcore::config::ExecuteTopLevelFunction(kelcore::config::OneTimeFunction(throws), nullptr);
    EXPECT_EQ(runs, 1);
    kelcore::config::OneTimeFunction once([&] { ++runs; });
    once.RunOnce();
    once.RunOnce();
    EXPECT_EQ(runs, 2);
}

TEST(Logging, WritesOneLineToTheSinkAndLetsNothingOut) {
    std::vector<std::string> lines;
    kelcore::logging::SetSink([&](std::string_view inLine) { lines.emplace_back(inLine); });
    const StringValue function("scope::", "Function");
    kelcore::logging::LogException(std::make_exception_ptr(std::runtime_error("reason")), function, nullptr);
    kelcore::logging::LogException(std::make_exception_ptr(1), function, nullptr);
    EXPECT_EQ(lines,
              (std::vector<std::string>{"scope::Function: reason", "scope::Function: unknown exception"}));
    kelcore::logging::SetSink([](std::string_view) { throw 1; });
    kelcore::logging::LogException(std::make_exception_ptr(1), function, nullptr);
    kelcore::logging::SetSink({});
}
