// Copies part of a wave or AIFF file, bit for bit and with every chunk, so that no information is lost. The
// target may be the source: it is replaced when the new file is complete.

#include <algorithm>
#include <limits>

#include "common/Program.h"
#include "kelaudiofile/AudioWriter.h"

using namespace examples;

int main(int count, char** arguments) {
    std::string source, target;
    std::int64_t first = 0, end = std::numeric_limits<std::int64_t>::max();
    CLI::App app("Copies part of a wave or AIFF file with all of its chunks. Positions inside chunks, such "
                 "as cue points, still count from the start of the source.");
    app.add_option("source", source, "the file to read")->required();
    app.add_option("target", target, "the file to create, of the same kind; may be the source")->required();
    app.add_option("--from", first, "the first frame to copy")->check(CLI::NonNegativeNumber);
    app.add_option("--to", end, "the frame before which to stop")->check(CLI::NonNegativeNumber);
    return Run(app, count, arguments, 1, [&] {
        AudioError error, ignored;
        Progress progress("cutting");
        const auto reader = OrFail(AudioReader::Open(source, error), error);
        const AudioFormat& format = reader->Format();
        first = std::min(first, reader->Frames());
        end = std::clamp(end, first, reader->Frames());
        const bool little = format.samples.byteOrder == ByteOrder::kLittleEndian;
        const WriterOptions options{.replaceWhenFinished = true, .littleEndianAiff = little};
        const auto writer =
            OrFail(AudioWriter::Create(target, reader->Kind(), format, options, error), error);
        const bool copied = writer->CopyChunks(*reader, Side::kBefore, error) &&
                            writer->CopyFrames(*reader, first, end - first, error, std::ref(progress)) &&
                            writer->CopyChunks(*reader, Side::kAfter, error);
        OrFail(copied ? writer->Finish(error) : writer->Discard(ignored) && false, error);
        std::printf("%s: %s\n", target.c_str(), LengthText(end - first, format).c_str());
        return 0;
    });
}
