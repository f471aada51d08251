// Says whether two files hold the same audio, whatever their containers, sample formats and metadata. Its
// exit code is 0 for yes, 1 for no and 2 for trouble. With one file, it prints that file's hash.

#include <cstdio>

#include "common/AudioHash.h"
#include "common/Run.h"

using namespace examples;

namespace {

/// The hash is of samples alone; two short channels could look like a long one without the shape.
std::string Shape(const std::string& inPath) {
    const AudioReader reader(inPath);
    return Print("%d channels, %lld frames, %g Hz", reader.Channels(),
                 static_cast<long long>(reader.Frames()), reader.SampleRate());
}

std::string Fingerprint(const std::string& inPath) {
    const std::string print = HashAudio(inPath) + "  " + Shape(inPath);
    std::printf("%s  %s\n", print.c_str(), inPath.c_str());
    return print;
}

} // namespace

int main(int count, char** arguments) {
    CLI::App app("Says whether two wave or AIFF files hold the same audio; prints the hash of each.");
    app.footer("Exit status: 0 if the audio is equal or there is one file, 1 if it differs, 2 for trouble.");
    std::string first, second;
    app.add_option("first", first, "a file")->required();
    app.add_option("second", second, "the file to compare it with");
    return Run(app, count, arguments, 2, [&] {
        const std::string print = Fingerprint(first);
        if (second.empty())
            return 0;
        const bool equal = print == Fingerprint(second);
        std::puts(equal ? "The audio is equal." : "The audio differs.");
        return equal ? 0 : 1;
    });
}
