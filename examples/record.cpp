// Records a synthetic signal the way a recorder should: checkpoint by checkpoint, so that whatever happens to
// this process, the file reads back complete up to the last one, and on a full disk up to the last block.

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
constexpr SampleForm kForm{SampleForm::kInteger, 3, false, false};

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
    std::int64_t start = 0; ///< frames of silence, which take no room where the file system has holes
    std::int64_t notes = 0; ///< checkpoints from one comment to the next
    bool rf64 = false;
    bool durable = false;
    bool verbose = false;
};

void WriteComment(WaveFile& inFile) {
    static constexpr std::uint8_t kInfo[] = "INFOINAM\x10\0\0\0Plucked strings";
    if (!inFile.StartMetadatumWrite(0x5453494C /* LIST */) || !inFile.MetadatumWrite(kInfo, sizeof kInfo) ||
        !inFile.FinishMetadatumWrite())
        throw Failure("the comment cannot be written");
}

std::unique_ptr<WaveFile> Create(const Recording& inRecording) {
    WaveFile::ExtendedErrorInfo error;
    std::unique_ptr<WaveFile> file(WaveFile::OpenForWrite(
        kelcore::ToUTF8String(inRecording.path), inRecording.sampleRate, inRecording.channels, kForm.bytes,
        kForm.bytes * 8, WaveFile::kIntegerSamples, UsualLayout(inRecording.channels),
        inRecording.rf64 ? 1 : 0, error, inRecording.start > 0));
    if (!file)
        throw Trouble(inRecording.path, WhyNot(error));
    WriteComment(*file);
    return file;
}

void Write(const Recording& inRecording, WaveFile& outFile, std::int64_t& ioOffset, const Bytes& inSamples) {
    WaveFile::ExtendedErrorInfo error;
    const auto count = static_cast<std::int32_t>(inSamples.size());
    if (!outFile.WriteSampleBytes(ioOffset, count, inSamples.data(), error))
        throw Trouble(inRecording.path, WhyNot(error));
    ioOffset += count;
}

/// From here on, the file reads back complete up to this frame, whatever happens to the process or, if it is
/// durable, to the machine.
void Checkpoint(const Recording& inRecording, WaveFile& outFile, std::int64_t inFrame) {
    if (!(inRecording.durable ? outFile.FinishBlockOnDisk() : outFile.FinishBlock()))
        throw Failure(inRecording.path + ": the checkpoint failed");
    if (inRecording.verbose)
        std::printf("checkpoint at frame %lld\n", static_cast<long long>(inFrame)), std::fflush(stdout);
}

void WriteSamples(const Recording& inRecording, WaveFile& outFile) {
    const Strings strings(inRecording.sampleRate, inRecording.channels);
    const std::int64_t frames = std::llround(inRecording.seconds * inRecording.sampleRate);
    const std::int64_t framesToCheckpoint =
        std::max(1LL, std::llround(inRecording.checkpointSeconds * inRecording.sampleRate));
    const std::int64_t frameBytes = std::int64_t{inRecording.channels} * kForm.bytes;
    Progress progress("recording", frames);
    Planes planes;
    std::int64_t offset = std::max<std::int64_t>(inRecording.start - 1, 0) * frameBytes;
    if (inRecording.start > 0)
        Write(inRecording, outFile, offset, Bytes(static_cast<std::size_t>(frameBytes)));
    for (std::int64_t frame = 0, checkpoints = 0; frame < frames;) {
        const std::int64_t nextCheckpoint = (checkpoints + 1) * framesToCheckpoint;
        const std::int64_t count =
            std::min({BlockFrames(frameBytes), frames - frame, nextCheckpoint - frame});
        strings.Play(frame, count, planes);
        Write(inRecording, outFile, offset, Encode(planes, count, kForm));
        frame += count;
        if (frame == nextCheckpoint) {
            Checkpoint(inRecording, outFile, frame);
            if (++checkpoints; inRecording.notes > 0 && checkpoints % inRecording.notes == 0) {
                if (!outFile.FinishSamples())
                    throw Failure("the audio before a comment cannot be completed");
                WriteComment(outFile);
            }
        }
        progress.Show(frame);
    }
}

bool Complete(const Recording& inRecording, WaveFile& outFile) {
    const bool kept = !inRecording.durable || outFile.FinishBlockOnDisk();
    return outFile.FinishSamples() && outFile.FinishWrite() && kept;
}

int Record(const Recording& inRecording) {
    const auto file = Create(inRecording);
    try {
        WriteSamples(inRecording, *file);
    } catch (...) {
        Complete(inRecording, *file); // or what came after the last checkpoint would not be counted
        throw;
    }
    if (!Complete(inRecording, *file))
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
    app.add_option("--rate", recording.sampleRate, "frames per second")
        ->check(CLI::Range(1, 768000))
        ->capture_default_str();
    app.add_option("--channels", recording.channels, "number of channels")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    app.add_option("--seconds", recording.seconds, "length")
        ->check(CLI::Range(0.0, 1e6))
        ->capture_default_str();
    app.add_option("--checkpoint", recording.checkpointSeconds, "seconds between checkpoints")
        ->check(CLI::Range(0.001, 1e6))
        ->capture_default_str();
    app.add_option("--start", recording.start, "frames of silence before the signal")
        ->check(CLI::Range(0LL, 1LL << 40))
        ->capture_default_str();
    app.add_option("--notes", recording.notes, "checkpoints from one comment among the audio to the next")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    app.add_flag("--rf64", recording.rf64, "may turn into RF64 when it passes 4 GiB; takes no comments then");
    app.add_flag("--durable", recording.durable,
                 "waits for the disk at checkpoints, which then outlive a power cut");
    app.add_flag("--verbose", recording.verbose, "prints each checkpoint");
    return Run(app, count, arguments, 1, [&] { return Record(recording); });
}
