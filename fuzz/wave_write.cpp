// The input is a row of calls, played to a wave file under writing and to its plain model.

#include "Fuzz.h"
#include "models/WriteModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Choices choose(data, size);
    const std::string difference = models::WriteScript(fuzz::Folder(), choose).Run();
    if (!difference.empty())
        std::fprintf(stderr, "%s\n", difference.c_str());
    FUZZ_REQUIRE(difference.empty());
    return 0;
}
