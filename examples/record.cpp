// Records a synthetic signal as a recorder should: with checkpoints that survive a killed process, a clean
// stop on Ctrl-C, and nothing lost that was accepted before the disk became full.

#include <algorithm>
#include <cmath>
#include <csignal>

#include "common/Program.h"
#include "kelaudiofile/AudioWriter.h"

using namespace examples;

static volatile std::sig_atomic_t gStopped = 0;

/// A broken chord of plucked strings that swells, softer in each additional channel.
static void Play(double inTime, std::int64_t inFrame, std::vector<std::vector<float>>& outPlanes) {
    static constexpr double kNotes[] = {130.81, 196.00, 261.63, 329.63, 392.00, 523.25, 392.00, 329.63};
    double sum = 0;
    const auto newest = static_cast<int>(inTime / 0.32);
    for (int note = std::max(newest - 5, 0); note <= newest; ++note) {
        const double age = inTime - note * 0.32, phase = 6.283185307179586 * kNotes[note % 8] * age;
        sum += std::exp(-2.2 * age) * (std::sin(phase) + 0.4 * std::exp(-3 * age) * std::sin(2 * phase));
    }
    for (std::size_t channel = 0; channel < outPlanes.size(); ++channel)
        outPlanes[channel][static_cast<std::size_t>(inFrame)] =
            static_cast<float>(0.9 * std::tanh(sum * (0.2 + 0.6 * std::pow(std::sin(inTime / 3), 2)) /
                                               (1 + 0.3 * static_cast<double>(channel))));
}

int main(int count, char** arguments) {
    std::string path;
    AudioFormat format;
    format.samples.bytesPerSample = 3;
    double seconds = 10, interval = 1;
    std::int64_t start = 0;
    bool riff = false, durable = false, verbose = false;
    CLI::App app("Records a synthetic signal into a 24-bit wave file, with checkpoints. Ctrl-C ends it.");
    app.add_option("file", path, "the file to create")->required();
    app.add_option("--rate", format.sampleRate, "frames per second")->capture_default_str();
    app.add_option("--channels", format.channels, "number of channels")->capture_default_str();
    app.add_option("--seconds", seconds, "length")->capture_default_str();
    app.add_option("--checkpoint", interval, "seconds between checkpoints")->capture_default_str();
    app.add_option("--start", start, "frames of silence before the signal")->capture_default_str();
    app.add_flag("--riff", riff, "stays RIFF past 4 GiB, with several data chunks, instead of becoming RF64");
    app.add_flag("--durable", durable,
                 "waits for the disk at checkpoints, which then survive a power failure");
    app.add_flag("--verbose", verbose, "prints each checkpoint");
    return Run(app, count, arguments, 1, [&] {
        std::signal(SIGINT, [](int) { gStopped = 1; });
        AudioError error, later;
        const WriterOptions options{.rf64 = !riff, .durable = durable};
        const Durability durability = durable ? Durability::kMachine : Durability::kProcess;
        const auto file = OrFail(AudioWriter::Create(path, Container::kWave, format, options, error), error);
        std::vector planes(static_cast<std::size_t>(format.channels), std::vector<float>(8192));
        std::vector<const float*> pointers(planes.size()); // null means silence
        bool taken = file->WriteChunk(ChunkId("LIST"), "INFOINAM\x10\0\0\0Plucked strings", 28, error) &&
                     file->Write(pointers.data(), start, error);
        std::transform(planes.begin(), planes.end(), pointers.begin(),
                       [](auto& plane) { return plane.data(); });
        const std::int64_t frames = std::llround(seconds * format.sampleRate);
        const std::int64_t step = std::max(std::llround(interval * format.sampleRate), 1LL);
        Progress progress("recording");
        for (std::int64_t frame = 0, size = 0; taken && frame < frames && gStopped == 0; frame += size) {
            size = std::min({std::int64_t{8192}, frames - frame, step - frame % step});
            for (std::int64_t i = 0; i < size; ++i)
                Play(static_cast<double>(frame + i) / format.sampleRate, i, planes);
            const bool due = (frame + size) % step == 0;
            taken =
                file->Write(pointers.data(), size, error) && (!due || file->Checkpoint(durability, error));
            if (taken && due && verbose)
                std::cout << "checkpoint at frame " << frame + size << std::endl;
            progress(frame, frames);
        }
        // After a failure too: this keeps everything that was accepted.
        const bool finished = file->Finish(durability, taken ? error : later);
        std::printf("%s: %s, %d channels%s\n", path.c_str(), LengthText(file->Frames(), format).c_str(),
                    format.channels, gStopped ? ", stopped" : "");
        OrFail(taken && finished, error);
        return 0;
    });
}
