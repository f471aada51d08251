// Compares blocks of frames with the models of their samples, in buffers of exactly the
// size that may be touched.

#include "Fuzz.h"
#include "kelaccelerate/WideVectors.h"
#include "models/FrameModels.h"

using namespace sample_models;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelaccelerate::AllowWideVectors(size % 2 == 0);
    fuzz::Choices choose(data, size);
    const FrameModel& model = kFrameModels[choose(static_cast<std::uint32_t>(std::size(kFrameModels)))];
    const std::uint32_t leftOut = choose(0x10000);
    const std::size_t channels = 1 + choose(20);
    const bool isSpecial = choose(2) == 1;
    const fuzz::Bytes input = choose.Rest();

    const FrameBlock block{model, isSpecial, input.size() / channels / static_cast<std::size_t>(model.bytes),
                           channels};
    const auto fill = [&](Byte* out, std::size_t count, std::size_t) {
        for (std::size_t i = 0; i < count; ++i)
            out[i] = input[i % input.size()];
    };
    FUZZ_REQUIRE(Difference(block, leftOut, size % 4 < 2, fill).empty());
    return 0;
}
