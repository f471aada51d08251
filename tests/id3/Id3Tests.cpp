#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "kelaudiofile/id3.h"
#include "support/MemoryStream.h"

using namespace kelaudiofile::id3;
using namespace testing_support;

namespace {

constexpr std::uint64_t kStartPosition = 5; // of every stream; tells whether a probe moved it

Bytes StreamWith(std::size_t inLength, std::size_t inPlace, std::string_view inText) {
    Bytes bytes(inLength, '.');
    std::copy(inText.begin(), inText.end(), bytes.begin() + static_cast<std::ptrdiff_t>(inPlace));
    return bytes;
}

/// What a probe makes of a stream. Its results must be replaced, whatever stood there.
struct Probed {
    bool found;
    std::uint64_t length = 99, position = 0;
    std::int32_t majorVersion = 99, revision = 99;
    int seeks = 0, reads = 0;

    Probed(bool inIsV1, MemoryStream inStream) {
        inStream.CurPos(kStartPosition);
        inStream.seeks = 0;
        inStream.onCall = onCall;
        found = inIsV1 ? GetID3v1Length(inStream, length)
                       : GetID3v2Length(inStream, length, majorVersion, revision);
        inStream.onCall = {};
        position = inStream.CurPos();
        seeks = inStream.seeks;
        reads = inStream.reads;
    }

    static inline std::function<void(MemoryStream::Call)> onCall;
};

const std::string kTag("ID3\4\0\0\0\0\0\1", 10);

} // namespace

TEST(Id3, TagsAreFoundInTheirPlaceAlone) {
    // clang-format off
    const struct { const char* name; bool v1; Bytes image; std::uint64_t length, position; int calls = 1; } kRows[] = {
        {"empty", true, {}, 0, kStartPosition, 0},
        {"one byte short", true, StreamWith(127, 0, "TAG"), 0, kStartPosition, 0},
        {"the tag is all there is", true, StreamWith(128, 0, "TAG"), 128, 3},
        {"at the end of more", true, StreamWith(1000, 872, "TAG"), 128, 875},
        {"one byte early", true, StreamWith(1000, 871, "TAG"), 0, 875},
        {"one byte late", true, StreamWith(1000, 873, "TAG"), 0, 875},
        {"small letters", true, StreamWith(128, 0, "tag"), 0, 3},
        {"two letters", true, StreamWith(128, 0, "TA"), 0, 3},
        {"empty", false, {}, 0, kStartPosition, 0},
        {"one byte short", false, ToBytes(kTag.substr(0, 9)), 0, kStartPosition, 0},
        {"header alone", false, ToBytes(kTag), 11, 10},
        {"one byte late", false, StreamWith(100, 1, kTag), 0, 10},
        {"small letters", false, StreamWith(100, 0, "id3\4"), 0, 10},
    };
    // clang-format on
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << (row.v1 ? "v1, " : "v2, ") << row.name);
        const Probed probed(row.v1, MemoryStream(row.image));
        EXPECT_EQ(probed.found, row.length != 0);
        EXPECT_EQ(probed.length, row.length);
        EXPECT_EQ(probed.position, row.position);
        EXPECT_TRUE(probed.seeks == row.calls && probed.reads == row.calls);
        EXPECT_TRUE(row.v1 || (probed.majorVersion == (probed.found ? 4 : 0) && probed.revision == 0));
    }
}

TEST(Id3, LengthAndVersionsComeFromTheHeader) {
    // clang-format off
    const struct { const char* name; Bytes header; std::uint64_t length; std::int32_t version, revision; } kRows[] = {
        {"version 3, revision 2", {3, 2, 0, 0, 0, 2, 1}, 267, 3, 2},
        {"version 0", {0, 0, 0, 0, 0, 0, 1}, 11, 0, 0},
        {"version 5 is refused", {5, 7, 0, 0, 0, 0, 1}, 0, 5, 7},
        {"version 0x7F is refused", {0x7F, 1, 0, 0, 0, 0, 1}, 0, 127, 1},
        {"version 0x80 is negative", {0x80, 0, 0, 0, 0, 0, 1}, 11, -128, 0},
        {"version and revision 0xFF", {0xFF, 0xFF, 0, 0, 0, 0, 1}, 11, -1, -1},
        {"size 0 is refused", {4, 1, 0, 0, 0, 0, 0}, 0, 4, 1},
        {"flags are not read", {4, 0, 0xFF, 0, 0, 0, 1}, 11, 4, 0},
        {"each size byte counts", {4, 0, 0, 1, 2, 3, 4}, 2130318, 4, 0},
        {"largest size", {4, 0, 0, 0x7F, 0x7F, 0x7F, 0x7F}, 268435465, 4, 0},
        {"eighth bits are not masked", {4, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, 536870921, 4, 0},
        {"eighth bit over its neighbour", {4, 0, 0, 0, 0, 1, 0x80}, 138, 4, 0},
    };
    // clang-format on
    for (const auto& row : kRows)
        for (const std::size_t behind : {std::size_t{0}, std::size_t{300}}) {
            SCOPED_TRACE(row.name);
            Bytes image = ToBytes("ID3");
            image.insert(image.end(), row.header.begin(), row.header.end());
            image.resize(image.size() + behind);
            const Probed probed(false, MemoryStream(image));
            EXPECT_EQ(probed.found, row.length != 0);
            EXPECT_EQ(probed.length, row.length);
            EXPECT_EQ(probed.majorVersion, row.version);
            EXPECT_EQ(probed.revision, row.revision);
        }
}

TEST(Id3, NoExceptionPassesOutAndResultsAreZero) {
    using Call = MemoryStream::Call;
    const std::function<void()> kThrows[] = {[] { throw std::runtime_error("no stream"); }, [] { throw 7; }};
    for (const Call failing : {Call::kLength, Call::kSeek, Call::kRead})
        for (const auto& fail : kThrows) // what a stream throws may be of any type
            for (const bool isV1 : {false, true}) {
                Probed::onCall = [&](Call call) { call == failing ? fail() : void(); };
                const Probed probed(
                    isV1, MemoryStream(isV1 ? StreamWith(138, 10, "TAG") : StreamWith(138, 0, kTag)));
                Probed::onCall = {};
                EXPECT_TRUE(!probed.found && probed.length == 0);
                EXPECT_TRUE(isV1 || (probed.majorVersion == 0 && probed.revision == 0));
            }
}
