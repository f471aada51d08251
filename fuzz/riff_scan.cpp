// Scans a file of arbitrary bytes for chunks and compares the result with the model.

#include "Fuzz.h"
#include "models/ScanModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Bytes bytes(data, data + size);
    const models::RiffChunkReader scan(fuzz::FileOf(bytes), size % 2 == 0);
    FUZZ_REQUIRE(models::Describe(scan.GetFileInfo(), scan.GetExtendedError()) ==
                 models::ScanModel(bytes).Result());
    return 0;
}
