// Applies the input, a sequence of calls, to a wave file open for writing and to its plain model.

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
