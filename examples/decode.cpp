// Decodes all of a file, block by block, into float planes, and prints the level of each channel.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/AudioReader.h"
#include "common/Progress.h"
#include "common/Run.h"

using namespace examples;

namespace {

struct Level {
    double peak = 0;
    double sumOfSquares = 0;
    std::int64_t notFinite = 0;

    void Add(float inSample) {
        const double sample = inSample;
        if (!std::isfinite(sample)) {
            ++notFinite;
            return;
        }
        peak = std::max(peak, std::abs(sample));
        sumOfSquares += sample * sample;
    }
};

int Decode(const std::string& inPath) {
    constexpr std::int64_t kBlockFrames = 8192;
    AudioReader reader(inPath);
    std::vector<Level> levels(static_cast<std::size_t>(reader.Channels()));
    Planes planes;
    Progress progress("decoding", reader.Frames());
    for (std::int64_t frame = 0; frame < reader.Frames(); frame += kBlockFrames) {
        reader.ReadPlanes(frame, std::min(kBlockFrames, reader.Frames() - frame), planes);
        for (std::size_t channel = 0; channel < planes.size(); ++channel)
            for (const float sample : planes[channel])
                levels[channel].Add(sample);
        progress.Show(frame);
    }

    for (std::size_t channel = 0; channel < levels.size(); ++channel) {
        const Level& level = levels[channel];
        const auto counted =
            static_cast<double>(std::max<std::int64_t>(reader.Frames() - level.notFinite, 1));
        const bool named = channel < reader.Layout().size();
        std::printf(
            "channel %2zu  peak %s  RMS %s  %s%s\n", channel + 1, DecibelText(level.peak).c_str(),
            DecibelText(std::sqrt(level.sumOfSquares / counted)).c_str(),
            named ? ChannelName(reader.Layout()[channel]).c_str() : "",
            level.notFinite
                ? Print("; %lld samples are no numbers", static_cast<long long>(level.notFinite)).c_str()
                : "");
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    CLI::App app("Decodes a wave or AIFF file and prints peak and RMS of each channel.");
    std::string path;
    app.add_option("file", path, "the file")->required();
    return Run(app, count, arguments, 1, [&] { return Decode(path); });
}
