// Blocks of frames against the models of their samples, in buffers of exactly the size that may be touched.

#include "Fuzz.h"
#include "kelaccelerate/WideVectors.h"
#include "models/FrameModels.h"

using namespace sample_models;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelaccelerate::AllowWideVectors(size % 2 == 0);
    fuzz::Choices choose(data, size);
    const FrameModel& model = kFrameModels[choose(static_cast<std::uint32_t>(std::size(kFrameModels)))];
    const std::size_t channels = 1 + choose(20), leftOut = choose(40);
    const bool isSpecial = choose(2) == 1;
    const fuzz::Bytes input = choose.Rest();

    const std::size_t frames = input.size() / channels / static_cast<std::size_t>(model.bytes);
    const FrameBlock block{model, isSpecial, frames, channels};
    const fuzz::Bytes source(input.end() - static_cast<std::ptrdiff_t>(block.ByteCount()), input.end());
    std::vector<std::vector<float>> floats(channels, std::vector<float>(frames)), expected = floats;
    std::vector<float*> planes, expectedPlanes;
    for (std::size_t c = 0; c < channels; ++c) {
        planes.push_back(c == leftOut ? nullptr : floats[c].data());
        expectedPlanes.push_back(c == leftOut ? nullptr : expected[c].data());
    }
    const auto frameCount = static_cast<std::int64_t>(frames);
    const auto channelCount = static_cast<std::int32_t>(channels);
    DecodeFrames(block.Format(), source.data(), planes.data(), frameCount, channelCount);
    block.Decode(source.data(), expectedPlanes.data());
    for (std::size_t c = 0; c < channels && frames > 0; ++c)
        FUZZ_REQUIRE(std::memcmp(floats[c].data(), expected[c].data(), frames * sizeof(float)) == 0);

    fuzz::Bytes written(block.ByteCount(), 0xA5), expectedBytes = written;
    EncodeFrames(block.Format(), planes.data(), written.data(), frameCount, channelCount);
    block.Encode(planes.data(), expectedBytes.data());
    FUZZ_REQUIRE(written == expectedBytes);
    return 0;
}
