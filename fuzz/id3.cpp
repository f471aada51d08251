// Runs the ID3 probes on arbitrary bytes.

#include "kelaudiofile/id3.h"
#include "Fuzz.h"
#include "support/MemoryStream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    testing_support::MemoryFileInput stream({data, data + size});
    std::uint64_t length = 1;
    std::int32_t major = 7, revision = 7;
    FUZZ_REQUIRE(kelaudiofile::id3::GetID3v1Length(stream, length) == (length == 128));
    FUZZ_REQUIRE(kelaudiofile::id3::GetID3v2Length(stream, length, major, revision) == (length > 10));
    return 0;
}
