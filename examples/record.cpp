// Records a synthetic signal the way a recorder should: checkpoint by checkpoint, so that whatever happens to
// this process, the file reads back complete up to the last one.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/AudioWriter.h"
#include "common/Progress.h"
#include "common/Run.h"

using namespace examples;
using kelaudiofile::WaveFile;

namespace {

constexpr double kTwoPi = 6.283185307179586;

/// A broken chord of plucked strings, wandering over the channels, above a soft bass.
class Strings {
public:
    Strings(double inSampleRate, std::int32_t inChannels)
        : mSampleRate(inSampleRate), mChannels(inChannels) {}

    void Play(std::int64_t inFrame, std::int64_t inCount, Planes& outPlanes) const {
        outPlanes.assign(static_cast<std::size_t>(mChannels),
                         std::vector<float>(static_cast<std::size_t>(inCount)));
        for (std::size_t i = 0; i < static_cast<std::size_t>(inCount); ++i) {
            const double time = (static_cast<double>(inFrame) + static_cast<double>(i)) / mSampleRate;
            for (std::size_t channel = 0; channel < outPlanes.size(); ++channel)
                outPlanes[channel][i] = static_cast<float>(At(time, static_cast<double>(channel)));
        }
    }

private:
    double At(double inTime, double inChannel) const {
        constexpr double kNoteSeconds = 0.32;
        double sum = 0.12 * std::sin(kTwoPi * 65.41 * inTime) * (1 + std::sin(kTwoPi * 0.2 * inTime));
        const auto newest = static_cast<int>(inTime / kNoteSeconds);
        for (int note = newest; note >= 0 && note > newest - 6; --note)
            sum += Place(note, inChannel) * Pluck(note, inTime - note * kNoteSeconds);
        const double swell = 0.3 + 0.7 * std::pow(std::sin(kTwoPi / 2 * inTime / 9), 2);
        return 0.9 * std::tanh(1.2 * swell * sum);
    }

    static double Pluck(int inNote, double inAge) {
        static constexpr double kNotes[] = {130.81, 196.00, 261.63, 329.63, 392.00, 523.25, 392.00, 329.63};
        const double pitch = kNotes[inNote % 8], attack = 1 - std::exp(-inAge * 400);
        double tone = 0;
        for (int partial = 1; partial <= 4; ++partial)
            tone += std::sin(kTwoPi * pitch * partial * inAge) * std::exp(-inAge * 2.2 * partial) / partial;
        return 0.55 * attack * tone * (inNote % 4 == 0 ? 1.0 : 0.7);
    }

    double Place(int inNote, double inChannel) const {
        const double middle = (mChannels - 1) * (0.5 + 0.5 * std::sin(inNote * 1.3));
        return std::exp(-0.8 * std::abs(inChannel - middle));
    }

    double mSampleRate;
    std::int32_t mChannels;
};

struct Recording {
    std::string path;
    std::int32_t sampleRate = 48000;
    std::int32_t channels = 2;
    double seconds = 10;
    double checkpointSeconds = 1;
    bool rf64 = false;
};

void WriteComment(WaveFile& inFile) {
    static constexpr std::uint8_t kInfo[] = "INFOINAM\x10\0\0\0Plucked strings";
    if (!inFile.StartMetadatumWrite(0x5453494C /* LIST */) || !inFile.MetadatumWrite(kInfo, sizeof kInfo) ||
        !inFile.FinishMetadatumWrite())
        throw Failure("the comment cannot be written");
}

int Record(const Recording& inRecording) {
    const SampleForm form{SampleForm::kInteger, 3, false, false};
    WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<WaveFile> file(
        WaveFile::OpenForWrite(kelcore::ToUTF8String(inRecording.path), inRecording.sampleRate,
                               inRecording.channels, form.bytes, form.bytes * 8, WaveFile::kIntegerSamples,
                               UsualLayout(inRecording.channels), inRecording.rf64 ? 1 : 0, error, false));
    if (!file)
        throw Failure(inRecording.path + ": " + WhyNot(error));
    WriteComment(*file);

    const Strings strings(inRecording.sampleRate, inRecording.channels);
    const std::int64_t frames = std::llround(inRecording.seconds * inRecording.sampleRate);
    const std::int64_t framesToCheckpoint =
        std::max(1LL, std::llround(inRecording.checkpointSeconds * inRecording.sampleRate));
    const std::int64_t blockFrames = BlockFrames(inRecording.channels * form.bytes);
    Progress progress("recording", frames);
    Planes planes;
    std::int64_t offset = 0, nextCheckpoint = framesToCheckpoint;
    for (std::int64_t frame = 0; frame < frames;) {
        const std::int64_t count = std::min({blockFrames, frames - frame, nextCheckpoint - frame});
        strings.Play(frame, count, planes);
        const Bytes samples = Encode(planes, count, form);
        if (!file->WriteSampleBytes(offset, static_cast<std::int32_t>(samples.size()), samples.data(), error))
            throw Failure(inRecording.path + ": " + WhyNot(error));
        offset += static_cast<std::int64_t>(samples.size());
        frame += count;
        if (frame == nextCheckpoint) {
            if (!file->FinishBlock())
                throw Failure(inRecording.path + ": the checkpoint failed");
            nextCheckpoint += framesToCheckpoint;
        }
        progress.Show(frame);
    }
    if (!file->FinishSamples() || !file->FinishWrite())
        throw Failure(inRecording.path + ": the file could not be completed");
    std::printf("%s: %s, %d channels\n", inRecording.path.c_str(), DurationText(inRecording.seconds).c_str(),
                inRecording.channels);
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    Recording recording;
    CLI::App app("Records a synthetic signal into a 24-bit wave file, with checkpoints.");
    app.add_option("file", recording.path, "the file to make")->required();
    app.add_option("--rate", recording.sampleRate, "frames per second")->check(CLI::Range(1, 768000));
    app.add_option("--channels", recording.channels, "number of channels")->check(CLI::Range(1, 64));
    app.add_option("--seconds", recording.seconds, "length")->check(CLI::Range(0.0, 1e6));
    app.add_option("--checkpoint", recording.checkpointSeconds, "seconds between checkpoints")
        ->check(CLI::Range(0.001, 1e6));
    app.add_flag("--rf64", recording.rf64, "may turn into RF64 when it passes 4 GiB");
    return Run(app, count, arguments, 1, [&] { return Record(recording); });
}
