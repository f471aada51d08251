// Converts a wave or AIFF file to a wave or AIFF file of any sample format, with channel layout and metadata.
// Samples of the same coding and width keep their bits; all others are converted through floats.

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "common/Program.h"
#include "kelaudiofile/AudioWriter.h"

using namespace examples;

/// @param inSamples  bits of integers or a name; if empty, those of the source, or the closest that fit.
static AudioFormat ChooseFormat(AudioFormat inSource, const std::string& inSamples, Container inContainer) {
    SampleFormat& samples = inSource.samples;
    if (inSamples == "double")
        samples = {SampleCoding::kFloat_1, 8};
    else if (inSamples == "float16" || inSamples == "float24")
        samples = {inSamples == "float16" ? SampleCoding::kFloat_32768 : SampleCoding::kFloat_8388608, 4};
    else if (inSamples == "float" || (inContainer == Container::kAiff && inSamples.empty() &&
                                      samples.coding != SampleCoding::kInteger))
        samples = {SampleCoding::kFloat_1, 4};
    else if (!inSamples.empty())
        samples = {SampleCoding::kInteger, std::stoi(inSamples) / 8};
    else if (inContainer == Container::kAiff)
        samples.bytesPerSample = std::min(samples.bytesPerSample, 4);
    inSource.sampleRate = std::max(std::round(inSource.sampleRate), 1.0);
    return inSource;
}

int main(int count, char** arguments) {
    std::string source, target, samples;
    bool little = false, riff = false;
    CLI::App app("Converts a wave or AIFF file to another one. The target's name selects the kind: .aif, "
                 ".aiff and .aifc are AIFF, all others wave.");
    app.add_option("source", source, "the file to read")->required();
    app.add_option("target", target, "the file to create; may be the source")->required();
    app.add_option("--samples", samples,
                   "bits of integers, or float, double, float16 or float24 (floats on the scale of such "
                   "integers); by default those of the source")
        ->check(CLI::IsMember({"8", "16", "24", "32", "64", "float", "double", "float16", "float24"}));
    app.add_flag("--little-endian", little, "little-endian integers in an AIFF file (sowt)");
    app.add_flag("--riff", riff, "a wave file stays RIFF past 4 GiB instead of becoming RF64");
    return Run(app, count, arguments, 1, [&] {
        AudioError error, ignored;
        Progress progress("transcoding");
        const auto reader = OrFail(AudioReader::Open(source, error), error);
        const bool isAiff = std::filesystem::path(target).extension().string().rfind(".aif", 0) == 0;
        const Container container = isAiff ? Container::kAiff : Container::kWave;
        const AudioFormat format = ChooseFormat(reader->Format(), samples, container);
        const WriterOptions options{!riff, true, little};
        const auto writer = OrFail(AudioWriter::Create(target, container, format, options, error), error);
        const bool copied = writer->CopyChunks(*reader, Side::kBefore, error) &&
                            writer->CopyFrames(*reader, 0, reader->Frames(), error, std::ref(progress)) &&
                            writer->CopyChunks(*reader, Side::kAfter, error);
        OrFail(copied ? writer->Finish(error) : writer->Discard(ignored) && false, error);
        std::printf("%s: %g Hz, from %s to %s\n", target.c_str(), format.sampleRate,
                    SamplesText(reader->Format().samples).c_str(),
                    SamplesText(writer->Format().samples).c_str());
        return 0;
    });
}
