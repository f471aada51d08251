// Compares the sample routines with their plain models, between guard bytes that must stay unchanged.

#include "Fuzz.h"
#include "kelaccelerate/WideVectors.h"
#include "models/SampleModels.h"

using namespace sample_models;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelaccelerate::AllowWideVectors(size % 2 == 0);
    fuzz::Choices choose(data, size);
    const Routine& routine = kRoutines[choose(static_cast<std::uint32_t>(std::size(kRoutines)))];
    const auto channels = static_cast<std::int32_t>(1 + choose(12));
    const fuzz::Bytes input = choose.Rest();

    // As many samples as the input has bytes for, in blocks of exactly the size that the call may touch.
    const int skipped = routine.gathers ? channels - 1 : 0;
    const std::size_t gap = routine.sourceBytes * static_cast<std::size_t>(skipped);
    const auto count = static_cast<std::int32_t>((input.size() + gap) / (routine.sourceBytes + gap));
    const Call call{routine, count, channels};
    const fuzz::Bytes source(input.end() - static_cast<std::ptrdiff_t>(call.sourceReach), input.end());
    fuzz::Bytes written(call.writtenReach, 0xA5), expected = written;
    call.Run(source.data(), written.data());
    call.RunModel(source.data(), expected.data());
    FUZZ_REQUIRE(written == expected);
    return 0;
}
