#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "AudioReader.h"
#include "Progress.h"
#include "kelaudiofile/HashWaveFile.h"

namespace examples {

/// FNV-1a. Quick to read, good at telling files apart, no protection against forgery.
class Digest {
public:
    void Update(const unsigned char* inBytes, std::uint64_t inCount) {
        for (std::uint64_t i = 0; i < inCount; ++i)
            mState = (mState ^ inBytes[i]) * 0x100000001B3u;
    }
    std::string Text() const { return Print("%016llx", static_cast<unsigned long long>(mState)); }

private:
    std::uint64_t mState = 0xCBF29CE484222325u;
};

/// A hash of what a file sounds like: of its decoded floats in HashWaveFile's order, whatever its container,
/// sample format and metadata.
inline std::string HashAudio(const std::string& inPath) {
    AudioReader reader(inPath);
    Digest digest;
    // HashWaveFile takes 8-bit samples as they stand, unsigned, and so would not match the same audio
    // elsewhere.
    if (reader.IsWave() && reader.Form().bytes > 1) {
        const auto update = [&](const unsigned char* bytes, std::uint64_t count) {
            digest.Update(bytes, count);
        };
        kelaudiofile::HashWaveFile(update, kelcore::ToUTF8String(inPath), false);
        return digest.Text();
    }
    constexpr std::int64_t kBlockFrames = 8192;
    Progress progress("hashing", reader.Frames());
    Planes planes;
    for (std::int64_t frame = 0; frame < reader.Frames(); frame += kBlockFrames) {
        reader.ReadPlanes(frame, std::min(kBlockFrames, reader.Frames() - frame), planes);
        for (const std::vector<float>& plane : planes)
            digest.Update(reinterpret_cast<const unsigned char*>(plane.data()), plane.size() * sizeof(float));
        progress.Show(frame);
    }
    return digest.Text();
}

} // namespace examples
