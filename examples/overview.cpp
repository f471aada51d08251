// Draws the waveform of a wave or AIFF file. Its peaks are stored in a separate file, as a host would store
// them in a cache: while that file is newer than the audio, drawing reads nothing else.

#include <algorithm>
#include <filesystem>

#include "common/Picture.h"
#include "common/Program.h"
#include "kelaudiofile/AudioReader.h"
#include "kelaudiofile/ResamplePeakData.h"

using namespace examples;
using namespace kelcore::filesupport;
namespace fs = std::filesystem;

int main(int count, char** arguments) {
    std::string source, picture, cache;
    int width = 1000;
    CLI::App app("Draws the waveform of a wave or AIFF file as an SVG picture, and keeps its peaks.");
    app.add_option("source", source, "the file to draw")->required();
    app.add_option("picture", picture, "the picture to create")->required();
    app.add_option("--peaks", cache, "where to store the peaks; by default PICTURE.peaks");
    app.add_option("--width", width, "pixels per lane")->check(CLI::Range(16, 20000))->capture_default_str();
    return Run(app, count, arguments, 1, [&] {
        AudioError error;
        const auto reader = OrFail(AudioReader::Open(source, error), error);
        cache = cache.empty() ? picture + ".peaks" : cache;
        const File file(kelcore::ToUTF8String(cache), kPathStorage);
        const bool isFresh = file.Exists() && fs::last_write_time(cache) >= fs::last_write_time(source);
        std::vector<std::shared_ptr<PeakData>> channels;
        if (isFresh) {
            IPlatformByteStream stream(file, kelcore::utility::Flags<unsigned>(0));
            while (stream.CurPos() < stream.Length())
                channels.emplace_back(std::make_shared<PeakData>())->LoadFromStream(stream);
        } else {
            Progress progress("peaks");
            const std::int64_t block = std::clamp<std::int64_t>(reader->Frames() / (2 * width), 1, 256);
            channels = MakePeaks(*reader, block, std::ref(progress), error);
            OrFail(!channels.empty(), error);
            file.Create(true);
            OPlatformByteStream stream(file, kelcore::utility::Flags<unsigned>(0));
            for (const auto& channel : channels)
                channel->WriteToStream(stream);
        }
        Picture image(width);
        std::vector<float> points(static_cast<std::size_t>(width) * 2);
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            const double step = std::max(static_cast<double>(reader->Frames()), 1.0) / width;
            ResamplePeakData(channels[channel], 0, step, points.size() / 2, points.data(), false);
            image.Lane(ChannelText(reader->Format(), channel), points);
        }
        OrFail(image.Save(picture), {0, {}, picture + ": it cannot be written"});
        std::printf("%s, from peaks %s in %s\n", picture.c_str(), isFresh ? "kept" : "made", cache.c_str());
        return 0;
    });
}
