// Prints the highest magnitude among the samples of a wave or AIFF file.
#include <kelaudiofile/kelaudiofile.h>

#include <algorithm>
#include <iostream>

int main(int count, char** arguments) {
    kelaudiofile::AudioError error;
    const auto file = kelaudiofile::AudioReader::Open(count > 1 ? arguments[1] : "", error);
    float peak = 0;
    if (file)
        for (const auto& channel : kelaudiofile::MakePeaks(*file, 65536, {}, error))
            for (auto datum = channel->begin(); datum != channel->end(); ++datum)
                peak = std::max({peak, -(*datum).min, (*datum).max});
    if (error.code != error.kNoError)
        return std::cerr << error.message << "\n", 1;
    std::cout << "peak " << peak << "\n";
}
