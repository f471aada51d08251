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

struct V1Case {
    const char* name;
    Bytes image;
    bool found;
    std::uint64_t position;
    int calls = 1; // seeks, and reads
};

struct V2Case {
    const char* name;
    Bytes header; // what follows "ID3"
    bool found;
    std::uint64_t length;
    std::int32_t majorVersion, revision;
};

// What a stream throws may be of any type.
void Throw(int inKind) {
    switch (inKind) {
    case 0:
        throw kelcore::filesupport::file_exception("read", kelcore::ToUTF8String("memory"), 5);
    case 1:
        throw std::runtime_error("no stream");
    case 2:
        throw 7;
    default:
        throw std::string("anything");
    }
}

} // namespace

TEST(Id3v1, IsFoundInTheLast128BytesAlone) {
    const V1Case kCases[] = {
        {"empty", {}, false, kStartPosition, 0},
        {"one byte short", StreamWith(127, 0, "TAG"), false, kStartPosition, 0},
        {"the tag is all there is", StreamWith(128, 0, "TAG"), true, 3},
        {"at the end of more", StreamWith(1000, 872, "TAG"), true, 875},
        {"one byte early", StreamWith(1000, 871, "TAG"), false, 875},
        {"one byte late", StreamWith(1000, 873, "TAG"), false, 875},
        {"at the start", StreamWith(1000, 0, "TAG"), false, 875},
        {"in the last bytes", StreamWith(1000, 997, "TAG"), false, 875},
        {"small letters", StreamWith(128, 0, "tag"), false, 3},
        {"two letters", StreamWith(128, 0, "TA"), false, 3},
    };
    for (const V1Case& row : kCases) {
        SCOPED_TRACE(row.name);
        MemoryStream stream(row.image);
        stream.CurPos(kStartPosition);
        stream.seeks = 0;
        std::uint64_t length = 99;
        EXPECT_EQ(GetID3v1Length(stream, length), row.found);
        EXPECT_EQ(length, row.found ? 128u : 0u);
        EXPECT_EQ(stream.CurPos(), row.position);
        EXPECT_EQ(stream.seeks, row.calls);
        EXPECT_EQ(stream.reads, row.calls);
    }
}

TEST(Id3v2, LengthAndVersionsComeFromTheHeader) {
    const V2Case kCases[] = {
        {"version 4", {4, 0, 0, 0, 0, 0, 1}, true, 11, 4, 0},
        {"version 3, revision 2", {3, 2, 0, 0, 0, 2, 1}, true, 267, 3, 2},
        {"version 0", {0, 0, 0, 0, 0, 0, 1}, true, 11, 0, 0},
        {"version 5 is refused", {5, 7, 0, 0, 0, 0, 1}, false, 0, 5, 7},
        {"version 0x7F is refused", {0x7F, 1, 0, 0, 0, 0, 1}, false, 0, 127, 1},
        {"version 0x80 is negative", {0x80, 0, 0, 0, 0, 0, 1}, true, 11, -128, 0},
        {"version and revision 0xFF", {0xFF, 0xFF, 0, 0, 0, 0, 1}, true, 11, -1, -1},
        {"size 0 is refused", {4, 1, 0, 0, 0, 0, 0}, false, 0, 4, 1},
        {"flags are not read", {4, 0, 0xFF, 0, 0, 0, 1}, true, 11, 4, 0},
        {"each size byte counts", {4, 0, 0, 1, 2, 3, 4}, true, 2130318, 4, 0},
        {"largest size", {4, 0, 0, 0x7F, 0x7F, 0x7F, 0x7F}, true, 268435465, 4, 0},
        {"eighth bits are not masked", {4, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, true, 536870921, 4, 0},
        {"eighth bit over its neighbour", {4, 0, 0, 0, 0, 1, 0x80}, true, 138, 4, 0},
    };
    for (const V2Case& row : kCases)
        for (const std::size_t behind : {std::size_t{0}, std::size_t{300}}) {
            SCOPED_TRACE(row.name);
            Bytes image = ToBytes("ID3");
            image.insert(image.end(), row.header.begin(), row.header.end());
            image.resize(image.size() + behind);
            MemoryStream stream(image);
            std::uint64_t length = 99;
            std::int32_t majorVersion = 99, revision = 99;
            EXPECT_EQ(GetID3v2Length(stream, length, majorVersion, revision), row.found);
            EXPECT_EQ(length, row.length);
            EXPECT_EQ(majorVersion, row.majorVersion);
            EXPECT_EQ(revision, row.revision);
            EXPECT_EQ(stream.CurPos(), 10u);
        }
}

TEST(Id3v2, IsFoundAtTheStartAlone) {
    const std::string kTag("ID3\4\0\0\0\0\0\1", 10);
    const V1Case kCases[] = {
        {"empty", {}, false, kStartPosition, 0},
        {"one byte short", ToBytes(kTag.substr(0, 9)), false, kStartPosition, 0},
        {"header alone", ToBytes(kTag), true, 10},
        {"one byte late", StreamWith(100, 1, kTag), false, 10},
        {"at the end", StreamWith(100, 90, kTag), false, 10},
        {"small letters", StreamWith(100, 0, "id3\4"), false, 10},
    };
    for (const V1Case& row : kCases) {
        SCOPED_TRACE(row.name);
        MemoryStream stream(row.image);
        stream.CurPos(kStartPosition);
        stream.seeks = 0;
        std::uint64_t length = 99;
        std::int32_t majorVersion = 99, revision = 99;
        EXPECT_EQ(GetID3v2Length(stream, length, majorVersion, revision), row.found);
        EXPECT_EQ(length, row.found ? 11u : 0u);
        EXPECT_EQ(majorVersion, row.found ? 4 : 0);
        EXPECT_EQ(revision, 0);
        EXPECT_EQ(stream.CurPos(), row.position);
        EXPECT_EQ(stream.seeks, row.calls);
        EXPECT_EQ(stream.reads, row.calls);
    }
}

TEST(Id3, NoExceptionPassesOutAndResultsAreZero) {
    using Call = MemoryStream::Call;
    for (const Call failing : {Call::kLength, Call::kSeek, Call::kRead})
        for (int kind = 0; kind < 4; ++kind) {
            SCOPED_TRACE(testing::Message() << "call " << static_cast<int>(failing) << ", kind " << kind);
            MemoryStream stream(StreamWith(138, 10, "TAG")); // a tag at both ends
            MemoryStream front(StreamWith(138, 0, "ID3\4\1\1\1\1\1\1"));
            stream.onCall = front.onCall = [=](Call call) {
                if (call == failing)
                    Throw(kind);
            };
            std::uint64_t length = 99, frontLength = 99;
            std::int32_t majorVersion = 99, revision = 99;
            EXPECT_FALSE(GetID3v1Length(stream, length));
            EXPECT_FALSE(GetID3v2Length(front, frontLength, majorVersion, revision));
            EXPECT_EQ(length, 0u);
            EXPECT_EQ(frontLength, 0u);
            EXPECT_EQ(majorVersion, 0);
            EXPECT_EQ(revision, 0);
        }
}
