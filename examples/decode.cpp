// Decodes all of a file, block by block, into planes of floats, and prints the level of each channel.

#include <algorithm>
#include <cmath>

#include "common/Program.h"
#include "kelaudiofile/AudioReader.h"

using namespace examples;

namespace {

struct Level {
    double peak = 0;
    double sumOfSquares = 0;
    std::int64_t finite = 0;

    void Add(float inSample) {
        if (!std::isfinite(inSample))
            return;
        ++finite;
        peak = std::max(peak, std::abs(static_cast<double>(inSample)));
        sumOfSquares += static_cast<double>(inSample) * inSample;
    }
};

std::vector<Level> Measure(AudioReader& ioReader) {
    constexpr std::int64_t kBlockFrames = 8192;
    const auto channels = static_cast<std::size_t>(ioReader.Format().channels);
    std::vector<Level> levels(channels);
    std::vector<std::vector<float>> planes(
        channels, std::vector<float>(static_cast<std::size_t>(std::min(kBlockFrames, ioReader.Frames()))));
    std::vector<float*> pointers;
    for (std::vector<float>& plane : planes)
        pointers.push_back(plane.data());
    AudioError error;
    Progress progress("decoding");
    for (std::int64_t frame = 0; frame < ioReader.Frames(); frame += kBlockFrames) {
        const std::int64_t count = std::min(kBlockFrames, ioReader.Frames() - frame);
        OrFail(ioReader.Read(frame, count, pointers.data(), error), error);
        for (std::size_t channel = 0; channel < channels; ++channel)
            std::for_each_n(pointers[channel], count, [&](float sample) { levels[channel].Add(sample); });
        progress(frame, ioReader.Frames());
    }
    return levels;
}

} // namespace

int main(int count, char** arguments) {
    std::string path;
    CLI::App app("Decodes a wave or AIFF file and prints peak and RMS of each channel.");
    app.add_option("file", path, "the file")->required();
    return Run(app, count, arguments, 1, [&] {
        AudioError error;
        const auto reader = OrFail(AudioReader::Open(path, error), error);
        const std::vector<Level> levels = Measure(*reader);
        for (std::size_t channel = 0; channel < levels.size(); ++channel) {
            const Level& level = levels[channel];
            const auto counted = static_cast<double>(std::max<std::int64_t>(level.finite, 1));
            std::printf("channel %2zu  peak %s  RMS %s  %s", channel + 1, DecibelText(level.peak).c_str(),
                        DecibelText(std::sqrt(level.sumOfSquares / counted)).c_str(),
                        ChannelText(reader->Format(), channel).c_str());
            if (const std::int64_t others = reader->Frames() - level.finite)
                std::printf("; %lld samples are not numbers", static_cast<long long>(others));
            std::puts("");
        }
        return 0;
    });
}
