// Draws the waveform of a wave or AIFF file, one lane for each channel. The peaks are worked out once, kept
// in a file, and resampled to the width of the picture; a host would draw any later picture from that file
// alone.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

#include "common/AudioReader.h"
#include "common/Progress.h"
#include "common/Run.h"
#include "kelaudiofile/MakePeaks.h"
#include "kelaudiofile/PeakData.h"
#include "kelaudiofile/ResamplePeakData.h"

using namespace examples;
using namespace kelaudiofile;

namespace {

using Timelines = std::vector<std::shared_ptr<PeakData>>; ///< one for each channel, in frames

constexpr std::int64_t kBlockFrames = 256; ///< of one peak

/// @param inBlock  frames of one peak; a last, shorter block has a segment of its own.
Timelines ComputePeaks(AudioReader& inReader, std::int64_t inBlock) {
    std::vector<PeakDatumVector> peaks(static_cast<std::size_t>(inReader.Channels()));
    Progress progress("peaks", inReader.Frames());
    Planes planes;
    const std::int64_t atATime = inBlock * 64;
    for (std::int64_t frame = 0; frame < inReader.Frames(); frame += atATime) {
        const std::int64_t count = std::min(atATime, inReader.Frames() - frame);
        inReader.ReadPlanes(frame, count, planes);
        for (std::size_t channel = 0; channel < planes.size(); ++channel) {
            const PeakDataSegment blocks = MakePeaks(planes[channel].data(), count, inBlock);
            peaks[channel].insert(peaks[channel].end(), blocks.begin(), blocks.end());
        }
        progress.Show(frame);
    }

    Timelines timelines;
    const std::int64_t rest = inReader.Frames() % inBlock;
    for (PeakDatumVector& channel : peaks) {
        auto timeline = std::make_shared<PeakData>();
        const PeakDatum last = channel.empty() ? PeakDatum() : channel.back();
        if (rest != 0)
            channel.pop_back();
        if (!channel.empty())
            timeline->Append(0, inBlock, std::move(channel));
        if (rest != 0)
            timeline->Append(inReader.Frames() - rest, rest, PeakDatumVector(1, last));
        timelines.push_back(std::move(timeline));
    }
    return timelines;
}

kelcore::filesupport::File FileAt(const std::string& inPath) {
    return {kelcore::ToUTF8String(inPath), kelcore::filesupport::kPathStorage};
}

/// The channels one behind the other, and nothing else.
void SavePeaks(const std::string& inPath, const Timelines& inTimelines) {
    FileAt(inPath).Create(true);
    kelcore::filesupport::OPlatformByteStream stream(FileAt(inPath), kelcore::utility::Flags<unsigned>(0));
    for (const auto& timeline : inTimelines)
        timeline->WriteToStream(stream);
}

Timelines LoadPeaks(const std::string& inPath) {
    kelcore::filesupport::IPlatformByteStream stream(FileAt(inPath), kelcore::utility::Flags<unsigned>(0));
    Timelines timelines;
    while (stream.CurPos() < stream.Length()) {
        timelines.push_back(std::make_shared<PeakData>());
        timelines.back()->LoadFromStream(stream);
    }
    return timelines;
}

/// A picture as text. Lengths are pixels.
class Picture {
public:
    Picture(int inWidth, const AudioReader& inReader, const std::string& inTitle)
        : mWidth(inWidth), mSeconds(static_cast<double>(inReader.Frames()) / inReader.SampleRate()) {
        const int height = kTop + inReader.Channels() * (kLane + kGap) + kBottom;
        mText = Print("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                      "font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" font-size=\"12\">\n",
                      kLeft + mWidth + kRight, height);
        mText += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
        Text(kLeft, 24, "font-size=\"15\" fill=\"#1b2733\"", inTitle);
        Text(kLeft, 42, "fill=\"#6b7a88\"",
             Print("%d channels, %g Hz, ", inReader.Channels(), inReader.SampleRate()) +
                 inReader.Form().Text() + ", " + DurationText(mSeconds));
    }

    /// @param inPeaks  maximum and minimum of each pixel.
    void Lane(const std::string& inName, const std::vector<float>& inPeaks) {
        const int top = kTop + mLanes++ * (kLane + kGap), middle = top + kLane / 2;
        mText += Print("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" rx=\"4\" fill=\"#f2f5f8\"/>\n",
                       kLeft, top, mWidth, kLane);
        for (const double level : {0.5, -0.5}) // -6 dBFS
            Line(kLeft, Y(middle, level), kLeft + mWidth, Y(middle, level), "#d5dde5");
        mText += Print("<path fill=\"#2a6fb0\" stroke=\"#2a6fb0\" stroke-width=\"0.6\" d=\"M");
        const std::size_t points = inPeaks.size() / 2;
        for (std::size_t i = 0; i < points; ++i)
            mText += Print("%zu %.1f ", kLeft + i, Y(middle, inPeaks[2 * i]));
        for (std::size_t i = points; i-- > 0;)
            mText += Print("%zu %.1f ", kLeft + i, Y(middle, inPeaks[2 * i + 1]));
        mText += "z\"/>\n";
        Line(kLeft, middle, kLeft + mWidth, middle, "#174a7c");
        Text(kLeft + mWidth - 4, Y(middle, 0.5) - 3, "text-anchor=\"end\" font-size=\"9\" fill=\"#8a98a5\"",
             "-6 dB");
        Text(kLeft - 10, middle + 4, "text-anchor=\"end\" fill=\"#1b2733\"", inName);
        const auto highest = inPeaks.empty() ? 0.0f : *std::max_element(inPeaks.begin(), inPeaks.end());
        const auto lowest = inPeaks.empty() ? 0.0f : *std::min_element(inPeaks.begin(), inPeaks.end());
        Text(kLeft - 10, middle + 20, "text-anchor=\"end\" font-size=\"10\" fill=\"#6b7a88\"",
             DecibelText(std::max(highest, -lowest)));
    }

    std::string Finish() {
        const int bottom = kTop + mLanes * (kLane + kGap);
        const double step = TickSeconds();
        for (int tick = 0; mSeconds > 0 && tick * step <= mSeconds; ++tick) {
            const double x = kLeft + tick * step / mSeconds * mWidth;
            Line(x, bottom - kGap, x, bottom - kGap + 5, "#9aa8b5");
            Text(x, bottom + 9, "text-anchor=\"middle\" font-size=\"10\" fill=\"#6b7a88\"",
                 TimeText(tick * step));
        }
        return mText + "</svg>\n";
    }

private:
    static constexpr int kLeft = 150, kRight = 24, kTop = 58, kBottom = 22, kLane = 130, kGap = 10;

    static double Y(int inMiddle, double inLevel) {
        const double level = std::isfinite(inLevel) ? std::clamp(inLevel, -1.0, 1.0) : 0.0;
        return inMiddle - level * (kLane / 2.0 - 2);
    }

    void Line(double inX1, double inY1, double inX2, double inY2, const char* inColor) {
        mText += Print("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\"/>\n", inX1, inY1,
                       inX2, inY2, inColor);
    }

    void Text(double inX, double inY, const char* inStyle, const std::string& inText) {
        mText += Print("<text x=\"%.1f\" y=\"%.1f\" %s>", inX, inY, inStyle);
        for (const char character : inText) {
            if (character == '<' || character == '&')
                mText += character == '<' ? "&lt;" : "&amp;";
            else
                mText += static_cast<unsigned char>(character) < ' ' ? ' ' : character;
        }
        mText += "</text>\n";
    }

    /// A round number of seconds that leaves room for its text.
    double TickSeconds() const {
        static constexpr double kSteps[] = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2,  0.5,  1,   2, 5,
                                            10,    15,    30,    60,   120,  300,  600, 1800, 3600, 7200};
        for (const double step : kSteps)
            if (step / mSeconds * mWidth >= 80)
                return step;
        return mSeconds / 8;
    }

    static std::string TimeText(double inSeconds) {
        if (inSeconds < 60)
            return Print("%g s", inSeconds);
        const auto seconds = std::lround(inSeconds);
        return seconds < 3600 ? Print("%ld:%02ld", seconds / 60, seconds % 60)
                              : Print("%ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60, seconds % 60);
    }

    int mWidth;
    double mSeconds;
    int mLanes = 0;
    std::string mText;
};

int Draw(const std::string& inSource, const std::string& inPicture, const std::string& inPeaks, int inWidth) {
    AudioReader reader(inSource);
    // A short file gets finer blocks, so that the picture is no coarser than its pixels.
    const std::int64_t block = std::clamp<std::int64_t>(reader.Frames() / (2 * inWidth), 1, kBlockFrames);
    SavePeaks(inPeaks, ComputePeaks(reader, block));

    const Timelines timelines = LoadPeaks(inPeaks);
    Picture picture(inWidth, reader, std::filesystem::path(inSource).filename().string());
    const double step = static_cast<double>(std::max<std::int64_t>(reader.Frames(), 1)) / inWidth;
    std::vector<float> points(static_cast<std::size_t>(inWidth) * 2);
    for (std::size_t channel = 0; channel < timelines.size(); ++channel) {
        ResamplePeakData(timelines[channel], 0, step, static_cast<std::uint64_t>(inWidth), points.data(),
                         false);
        const bool named = channel < reader.Layout().size() && reader.Layout()[channel].Value() != 0;
        picture.Lane(named ? ChannelName(reader.Layout()[channel]) : "channel " + std::to_string(channel + 1),
                     points);
    }
    std::ofstream stream(inPicture, std::ios::binary);
    if (!(stream << picture.Finish() << std::flush))
        throw Trouble(inPicture, "it cannot be written");
    std::printf("%s, from the peaks in %s\n", inPicture.c_str(), inPeaks.c_str());
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    std::string source, picture, peaks;
    int width = 1000;
    CLI::App app("Draws the waveform of a wave or AIFF file as an SVG picture.");
    app.add_option("source", source, "the file to draw")->required();
    app.add_option("picture", picture, "the picture to make")->required();
    app.add_option("--peaks", peaks, "where the peaks are kept")->default_str("PICTURE.peaks");
    app.add_option("--width", width, "pixels of a lane")->check(CLI::Range(16, 20000))->capture_default_str();
    return Run(app, count, arguments, 1,
               [&] { return Draw(source, picture, peaks.empty() ? picture + ".peaks" : peaks, width); });
}
