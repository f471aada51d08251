// Applies the input, a sequence of edits, to peak data and to a plain list of datums, and
// compares points of both.

#include "Fuzz.h"
#include "models/PeakEditor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Choices choose(data, size);
    testing_support::PeakEditor editor(choose);
    for (int steps = 0; !choose.empty() && steps < 100; ++steps) {
        const std::string difference = editor.Step();
        if (!difference.empty())
            std::fprintf(stderr, "step %d: %s\n", steps, difference.c_str());
        FUZZ_REQUIRE(difference.empty());
    }
    return 0;
}
