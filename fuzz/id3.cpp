// The ID3 probes on any bytes.

#include "kelaudiofile/id3.h"
#include "Fuzz.h"
#include "support/MemoryStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Bytes bytes(data, data + size);
    testing_support::MemoryStream stream(bytes);
    const auto starts = [&bytes](std::uint64_t inPlace, std::uint64_t inText) {
        return fuzz::Little(bytes, inPlace, 3) == inText;
    };

    std::uint64_t length = 1;
    const bool hasV1 = size >= 128 && starts(size - 128, 0x474154);
    FUZZ_REQUIRE(kelaudiofile::id3::GetID3v1Length(stream, length) == hasV1);
    FUZZ_REQUIRE(length == (hasV1 ? 128 : 0));

    std::int32_t major = 7, revision = 7;
    const bool hasHeader = size >= 10 && starts(0, 0x334449);
    const auto byteAt = [&](std::uint64_t inPlace) {
        return hasHeader ? static_cast<std::int8_t>(bytes[inPlace]) : std::int8_t{0};
    };
    std::uint64_t tagSize = 0;
    for (std::uint64_t i = 6; hasHeader && i < 10; ++i)
        tagSize = tagSize * 128 | bytes[i];
    const bool hasV2 = hasHeader && byteAt(3) <= 4 && fuzz::Little(bytes, 6, 4) != 0;
    FUZZ_REQUIRE(kelaudiofile::id3::GetID3v2Length(stream, length, major, revision) == hasV2);
    FUZZ_REQUIRE(length == (hasV2 ? tagSize + 10 : 0));
    FUZZ_REQUIRE(major == byteAt(3) && revision == byteAt(4));
    return 0;
}
