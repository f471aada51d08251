// Groups wave and AIFF files by what they sound like, whatever their containers, sample formats and metadata.

#include <algorithm>
#include <filesystem>
#include <map>

#include "common/Program.h"
#include "kelaudiofile/AudioReader.h"

using namespace examples;
namespace fs = std::filesystem;

int main(int count, char** arguments) {
    std::vector<std::string> paths;
    bool all = false, trim = false;
    CLI::App app("Finds wave and AIFF files with equal audio, and prints them with its hash.");
    app.footer(
        "Exit status: 0 if there are duplicates, 1 if there are none, 2 if a file cannot be read or the "
        "arguments are invalid.");
    app.add_option("paths", paths, "files, and folders to search")->required();
    app.add_flag("--all", all, "also prints files that have no duplicate");
    app.add_flag("--trim", trim, "ignores silence at both ends");
    return Run(app, count, arguments, 2, [&] {
        std::vector<std::string> files;
        for (const std::string& path : paths)
            if (!fs::is_directory(path))
                files.push_back(path);
            else
                for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
                    if (entry.is_regular_file())
                        files.push_back(entry.path().string());
        std::map<std::uint64_t, std::vector<std::string>> groups;
        AudioError error;
        Progress progress("hashing");
        long equal = 0, failed = 0;
        for (std::size_t i = 0; i < files.size(); ++i) {
            std::uint64_t hash = 0xCBF29CE484222325u; // FNV-1a: no protection against forgery
            const auto update = [&](const unsigned char* bytes, std::uint64_t size) {
                std::for_each_n(bytes, size,
                                [&](unsigned char byte) { hash = (hash ^ byte) * 0x100000001B3u; });
            };
            if (HashAudio(files[i], update, {trim, progress.Part(i, files.size())}, error))
                groups[hash].push_back(files[i]);
            else if (error.code != error.kNotAudio || std::count(paths.begin(), paths.end(), files[i]) > 0)
                failed += std::fprintf(stderr, "%s\n", error.message.c_str());
        }
        for (const auto& [hash, members] : groups) {
            equal += members.size() > 1;
            for (const std::string& path : members)
                if (all || members.size() > 1)
                    std::printf("%016llx  %s\n", static_cast<unsigned long long>(hash), path.c_str());
        }
        std::printf("%zu files, groups of equal audio: %ld\n", files.size(), equal);
        return failed != 0 ? 2 : equal > 0 ? 0 : 1;
    });
}
