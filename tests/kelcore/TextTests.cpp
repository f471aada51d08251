#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "kelcore/config.h"
#include "kelcore/debug.h"
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
    GuidToComponents(Guid("01234567-89ab-cdef-0011-223344556677", 36), first, second, third, last);
    EXPECT_EQ(first, 0x01234567u);
    EXPECT_EQ(second, 0x89AB);
    EXPECT_EQ(third, 0xCDEF);
    EXPECT_EQ(last, (Guid::LastBytes{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77}));
    const Guid nil(0, 0, 0, {});
    EXPECT_EQ(Guid(text, 35), nil);
    EXPECT_EQ(Guid("00000003-0721x11d3-8644-C8C1CA000000", 36), nil);
    EXPECT_EQ(Guid("g0000003-0721-11d3-8644-C8C1CA000000", 36), nil);
    char fourCC[4];
    FourCCToBuffer(0x61746164, fourCC);
    EXPECT_EQ(std::string(fourCC, 4), "data");
}

TEST(DebugDatabase, KeepsEntriesUntilTheyAreRemoved) {
    auto& database = kelcore::debug::DebugDatabase::Instance();
    const UTF8String key = ToUTF8String("test.key"), fallback = ToUTF8String("fallback");
    EXPECT_EQ(database.GetEntry(key, fallback), fallback);
    database.SetEntry(key, ToUTF8String("1"));
    database.SetEntry(key, ToUTF8String("2"));
    EXPECT_EQ(database.GetEntry(key, fallback), ToUTF8String("2"));
    database.RemoveEntry(key);
    EXPECT_EQ(database.GetEntry(key, fallback), fallback);
}

TEST(Exceptions, CarryAdditionalData) {
    kelcore::config::kel_exception exception(StringValue(ToUTF8String("broken")));
    EXPECT_TRUE(exception.GetAdditionalData().empty());
    exception.AddAdditionalData({{kelcore::debug::kDebugSourceLine, std::int64_t{12}}});
    exception.AddAdditionalData({{kelcore::debug::kDebugExpression, ToUTF8String("a != b")}});
    const auto copy = exception;
    EXPECT_STREQ(copy.what(), "broken");
    EXPECT_EQ(std::get<std::int64_t>(copy.GetAdditionalData().at(kelcore::debug::kDebugSourceLine)), 12);
    EXPECT_EQ(std::get<UTF8String>(copy.GetAdditionalData().at(kelcore::debug::kDebugExpression)),
              ToUTF8String("a != b"));
}

TEST(TopLevelFunction, RunsOnceAndStopsEveryException) {
    int runs = 0;
    kelcore::config::ExecuteTopLevelFunction(kelcore::config::OneTimeFunction([&] {
                                                 ++runs;
                                                 throw 1;
                                             }),
                                             nullptr);
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
