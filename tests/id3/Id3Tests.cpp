#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "kelaudiofile/id3.h"
#include "support/Image.h"
#include "support/MemoryStream.h"

using namespace testing_support;
using Call = MemoryFileInput::Call;

namespace {

/// A stream that contains a text.
Bytes With(std::size_t inLength, std::size_t inPlace, std::string_view inText) {
    Bytes bytes(inLength, '.');
    std::copy(inText.begin(), inText.end(), bytes.begin() + static_cast<std::ptrdiff_t>(inPlace));
    return bytes;
}

/// Probes a stream that is at position 5. @return what is found, such as "11 bytes, version 4.0, at 10": the
/// version if requested, and the position after the probe.
std::string Probe(bool inIsV1, const Bytes& inImage, Call inFailing) {
    using namespace kelaudiofile::id3;
    MemoryFileInput stream(inImage);
    stream.CurPos(5);
    stream.failing = inFailing;
    stream.calls = 0;
    std::uint64_t length = 99;
    std::int32_t version = 99, revision = 99;
    const bool found =
        inIsV1 ? GetID3v1Length(stream, length) : GetID3v2Length(stream, length, version, revision);
    EXPECT_EQ(found, length != 0);
    EXPECT_LE(stream.calls, 3) << "the length, a seek and a read";
    return std::to_string(length) + " bytes, " +
           (inIsV1 ? "" : "version " + std::to_string(version) + "." + std::to_string(revision) + ", ") +
           "at " + std::to_string(stream.CurPos());
}

TEST(Id3, WhatTheProbesFind) {
    const Bytes v1 = With(1000, 872, "TAG"), v2 = ToBytes({"ID3\4\0\0\0\0\0\1", 10});
    const auto header = [](const Bytes& inRest) { return BigImage().Text("ID3").Add(inRest); };
    // clang-format off
    const struct { const char* name; bool v1; Bytes image; std::string found; Call failing = Call::kNone; } kRows[] = {
        {"empty", true, {}, "0 bytes, at 5"},
        {"one byte short", true, With(127, 0, "TAG"), "0 bytes, at 5"},
        {"the tag is all there is", true, With(128, 0, "TAG"), "128 bytes, at 3"},
        {"at the end of more", true, v1, "128 bytes, at 875"},
        {"one byte early", true, With(1000, 871, "TAG"), "0 bytes, at 875"},
        {"small letters", true, With(128, 0, "tag"), "0 bytes, at 3"},
        {"no length", true, v1, "0 bytes, at 5", Call::kLength},
        {"failing seek", true, v1, "0 bytes, at 5", Call::kSeek},
        {"failing read", true, v1, "0 bytes, at 872", Call::kRead},

        {"empty", false, {}, "0 bytes, version 0.0, at 5"},
        {"one byte short", false, Bytes(v2.begin(), v2.end() - 1), "0 bytes, version 0.0, at 5"},
        {"one byte late", false, With(100, 1, "ID3\4\1"), "0 bytes, version 0.0, at 10"},
        {"small letters", false, With(100, 0, "id3\4\1"), "0 bytes, version 0.0, at 10"},
        {"version 3, revision 2, more bytes", false, header({3, 2, 0, 0, 0, 2, 1, 9}), "267 bytes, version 3.2, at 10"},
        {"version 5 is refused", false, header({5, 7, 0, 0, 0, 0, 1}), "0 bytes, version 5.7, at 10"},
        {"versions are signed", false, header({0x80, 0xFF, 0, 0, 0, 0, 1}), "11 bytes, version -128.-1, at 10"},
        {"size 0 is refused", false, header({4, 1, 0, 0, 0, 0, 0}), "0 bytes, version 4.1, at 10"},
        {"each size byte counts", false, header({4, 0, 0, 1, 2, 3, 4}), "2130318 bytes, version 4.0, at 10"},
        {"eighth bits stay", false, header({4, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}), "536870921 bytes, version 4.0, at 10"},
        {"eighth bit over its neighbour", false, header({4, 0, 0, 0, 0, 1, 0x80}), "138 bytes, version 4.0, at 10"},
        {"no length", false, v2, "0 bytes, version 0.0, at 5", Call::kLength},
        {"failing seek", false, v2, "0 bytes, version 0.0, at 5", Call::kSeek},
        {"failing read", false, v2, "0 bytes, version 0.0, at 0", Call::kRead},
    };
    // clang-format on
    for (const auto& row : kRows)
        EXPECT_EQ(Probe(row.v1, row.image, row.failing), row.found) << (row.v1 ? "v1, " : "v2, ") << row.name;
}

} // namespace
