// The input is a row of edits, played to peak data and to a plain list of blocks; points are drawn from both.

#include "Fuzz.h"
#include "peak/PeakEditor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Choices choose(data, size);
    testing_support::PeakEditor editor(choose);
    for (int steps = 0; !choose.empty() && steps < 100; ++steps) {
        const std::string edit = editor.Step();
        const std::string difference =
            editor.Compare() + editor.CompareResampling() + (choose(8) == 0 ? editor.CompareQueries() : "");
        if (!difference.empty())
            std::fprintf(stderr, "after %s: %s\n", edit.c_str(), difference.c_str());
        FUZZ_REQUIRE(difference.empty());
    }
    return 0;
}
