// Prints the highest magnitude among the samples of a wave file.
#include <kelaudiofile/kelaudiofile.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <vector>

int main(int count, char** arguments) {
    kelaudiofile::WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<kelaudiofile::WaveFile> file(kelaudiofile::WaveFile::OpenForRead(
        kelcore::ToUTF8String(count > 1 ? arguments[1] : ""), error, false));
    const auto decode = file ? GetDeinterleaveFunction(*file) : nullptr;
    // 8-bit samples of wave files are unsigned and would want a change of sign first.
    if (!decode || file->GetBytesPerSample() == 1 || file->GetNumChannels() < 1)
        return std::cerr << "cannot decode this file, code " << error.code << "\n", 1;

    const int channels = file->GetNumChannels(), frameBytes = channels * file->GetBytesPerSample();
    std::vector<char> bytes(std::size_t{1024} * static_cast<unsigned>(frameBytes));
    std::vector<float> plane(1024, 0.0f);
    float peak = 0;
    for (std::int64_t frame = 0; frame < file->GetSampleCount(); frame += 1024) {
        const auto frames = std::min<std::int64_t>(1024, file->GetSampleCount() - frame);
        if (!file->ReadSampleBytes(frame * frameBytes, frames * frameBytes, bytes.data()))
            return std::cerr << "cannot read this file\n", 1;
        for (int channel = 0; channel < channels; ++channel) {
            decode(bytes.data() + channel * file->GetBytesPerSample(), plane.data(), frames, channels);
            for (const float* sample = plane.data(); sample != plane.data() + frames; ++sample)
                peak = std::max(peak, std::abs(*sample));
        }
    }
    std::cout << "peak " << peak << "\n";
}
