// Writes a wave or AIFF file as a wave or AIFF file of any sample format, with channel layout and metadata.
// Samples of the same width and coding keep their bytes, in another order if need be; all others go through
// floats.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>

#include "common/AudioReader.h"
#include "common/AudioWriter.h"
#include "common/Progress.h"
#include "common/Run.h"

using namespace examples;

namespace {

struct Job {
    std::string source, target;
    std::optional<SampleForm> form; ///< only its coding and width count
    std::int64_t from = 0;          ///< the first frame to write
    bool littleEndian = false;
    bool rf64 = false;
};

const std::map<std::string, SampleForm> kForms = {
    {"8", {SampleForm::kInteger, 1}},
    {"16", {SampleForm::kInteger, 2}},
    {"24", {SampleForm::kInteger, 3}},
    {"32", {SampleForm::kInteger, 4}},
    {"64", {SampleForm::kInteger, 8}},
    {"float", {SampleForm::kFloat, 4}},
    {"double", {SampleForm::kFloat, 8}},
    {"float16", {SampleForm::kFloat32768, 4}},
    {"float24", {SampleForm::kFloat8388608, 4}},
};

bool WantsAiff(const std::string& inPath) {
    const std::string extension = std::filesystem::path(inPath).extension().string();
    return extension == ".aif" || extension == ".aiff" || extension == ".aifc";
}

/// The source's own form, or the closest that an AIFF file can hold.
SampleForm DefaultForm(const SampleForm& inSource, bool inAiff) {
    if (inAiff && inSource.coding != SampleForm::kInteger)
        return {SampleForm::kFloat, 4};
    if (inAiff && inSource.bytes == 8)
        return {SampleForm::kInteger, 4};
    return inSource;
}

SampleForm ChooseForm(const Job& inJob, const SampleForm& inSource, bool inAiff) {
    SampleForm form = inJob.form ? *inJob.form : DefaultForm(inSource, inAiff);
    const bool plainFloat = form.coding == SampleForm::kFloat && form.bytes == 4;
    if (inAiff && !plainFloat && (form.coding != SampleForm::kInteger || form.bytes > 4))
        throw Failure("an AIFF file cannot hold such samples");
    if (inAiff && plainFloat && inJob.littleEndian)
        throw Failure("the floats of an AIFF file are big-endian");
    form.bigEndian = inAiff && !inJob.littleEndian;
    form.isUnsigned = !inAiff && form.bytes == 1;
    return form;
}

kelmediatypes::ChannelLayout ChooseLayout(const AudioReader& inSource, bool inAiff) {
    if (!HasPositions(inSource.Layout()))
        return UsualLayout(inSource.Channels());
    unsigned mask = 0;
    const bool ambisonic = inSource.Layout().front().Value() == 134;
    if (!inAiff && !ambisonic &&
        !kelaudiofile::GetWaveFormatExtensibleChannelMaskFromChannelLayout(inSource.Layout(), mask, true)) {
        std::fprintf(stderr, "a wave file cannot say this order of channels, and it is left out: %s\n",
                     LayoutText(inSource.Layout()).c_str());
        return UsualLayout(inSource.Channels());
    }
    return inSource.Layout();
}

/// Chunks that say how the samples are stored belong to the old file; others are carried over as they are.
bool Belongs(std::uint32_t inId, bool inToWave, bool inSameContainer) {
    static const char* const kWaveIds[] = {"fmt ", "data", "ds64", "JUNK", "JUNQ", "FLLR"};
    static const char* const kAiffIds[] = {"COMM", "SSND", "CHAN", "FVER"};
    static const char* const kStorageIds[] = {"fact", "PEAK"};
    const auto isOf = [&](const auto& ids) {
        return std::any_of(std::begin(ids), std::end(ids),
                           [&](const char* id) { return IdText(inId) == id; });
    };
    return !(inToWave ? isOf(kWaveIds) : isOf(kAiffIds)) && (inSameContainer || !isOf(kStorageIds));
}

void WriteAudio(AudioReader& inSource, std::int64_t inFrom, const SampleForm& inForm,
                AudioWriter& outTarget) {
    const std::int64_t blockFrames =
        BlockFrames(std::max<std::int64_t>(inSource.FrameBytes(), inSource.Channels() * inForm.bytes));
    Progress progress("transcoding", inSource.Frames());
    Bytes samples;
    Planes planes;
    for (std::int64_t frame = inFrom; frame < inSource.Frames(); frame += blockFrames) {
        const std::int64_t count = std::min(blockFrames, inSource.Frames() - frame);
        if (inSource.Form().SameValues(inForm)) {
            inSource.ReadBytes(frame, count, samples);
            Reorder(samples, inSource.Form(), inForm);
        } else {
            inSource.ReadPlanes(frame, count, planes);
            samples = Encode(planes, count, inForm);
        }
        outTarget.WriteBytes(samples);
        progress.Show(frame);
    }
    outTarget.FinishSamples();
}

int Transcode(const Job& inJob) {
    std::error_code none;
    if (std::filesystem::equivalent(inJob.source, inJob.target, none))
        throw Failure("a file cannot be written over itself");
    AudioReader source(inJob.source);
    const bool aiff = WantsAiff(inJob.target);
    const SampleForm form = ChooseForm(inJob, source.Form(), aiff);
    if (std::isfinite(source.SampleRate()) && source.SampleRate() != std::round(source.SampleRate()))
        std::fprintf(stderr, "the sample rate, %g Hz, is rounded\n", source.SampleRate());

    AudioWriter target(inJob.target, {!aiff, inJob.rf64, source.SampleRate(), source.Channels(), form,
                                      ChooseLayout(source, aiff)});
    std::vector<Metadata> metadata = source.ReadMetadata();
    const auto writeMetadata = [&](bool before) {
        for (const Metadata& chunk : metadata) {
            if (before !=
                (chunk.beforeAudio || aiff)) // behind the audio of an AIFF file nothing can be written
                continue;
            if (Belongs(chunk.id, !aiff, source.IsWave() == !aiff))
                target.WriteMetadata(chunk.id, chunk.data);
            else
                std::fprintf(stderr, "chunk %s says how the old file stored its samples, and stays behind\n",
                             IdText(chunk.id).c_str());
        }
    };
    writeMetadata(true);
    WriteAudio(source, inJob.from, form, target);
    writeMetadata(false);
    target.Finish();
    std::printf("%s: %s, %s\n", inJob.target.c_str(), form.Text().c_str(),
                source.Form().SameValues(form) ? "sample bytes kept" : "through floats");
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    Job job;
    std::string samples;
    CLI::App app(
        "Writes a wave or AIFF file as another one. The target's name says which: .aif, .aiff and .aifc are "
        "AIFF, all others wave.");
    app.add_option("source", job.source, "the file to read")->required();
    app.add_option("target", job.target, "the file to make")->required();
    std::vector<std::string> names;
    for (const auto& [name, form] : kForms)
        names.push_back(name);
    app.add_option(
           "--samples", samples,
           "bits of integers, or float, double, float16 or float24 (floats on the scale of such integers)")
        ->check(CLI::IsMember(names))
        ->default_str("as the source has them");
    app.add_option("--from", job.from, "the first frame to write")
        ->check(CLI::Range(0LL, 1LL << 62))
        ->capture_default_str();
    app.add_flag("--little-endian", job.littleEndian, "little-endian integers in an AIFF file (sowt)");
    app.add_flag("--rf64", job.rf64, "a wave file may turn into RF64 when it passes 4 GiB");
    return Run(app, count, arguments, 1, [&] {
        if (!samples.empty())
            job.form = kForms.at(samples);
        return Transcode(job);
    });
}
