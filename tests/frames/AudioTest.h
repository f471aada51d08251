#pragma once

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kelaudiofile/AudioReader.h"
#include "kelaudiofile/AudioWriter.h"
#include "support/Files.h"
#include "support/Random.h"

namespace kelaudiofile::audio_test {

using testing_support::Bytes;
using testing_support::Random;
using Planes = std::vector<std::vector<float>>;

inline std::vector<float*> Pointers(Planes& ioPlanes, std::size_t inFrame = 0) {
    std::vector<float*> pointers;
    for (std::vector<float>& plane : ioPlanes)
        pointers.push_back(plane.data() + inFrame);
    return pointers;
}

/// Frames that every format holds without rounding, different in each channel.
inline Planes Signal(std::int32_t inChannels, std::size_t inFrames) {
    Planes planes(static_cast<std::size_t>(inChannels), std::vector<float>(inFrames));
    for (std::size_t channel = 0; channel < planes.size(); ++channel)
        for (std::size_t frame = 0; frame < inFrames; ++frame)
            planes[channel][frame] =
                static_cast<float>(static_cast<int>((frame * 7 + channel * 31) % 255) - 127) / 128;
    return planes;
}

inline Planes ReadAll(AudioReader& ioReader, AudioError& outError) {
    Planes planes(static_cast<std::size_t>(ioReader.Format().channels),
                  std::vector<float>(static_cast<std::size_t>(ioReader.Frames())));
    if (!ioReader.Read(0, ioReader.Frames(), Pointers(planes).data(), outError))
        planes.clear();
    return planes;
}

class AudioTest : public testing::Test {
protected:
    static AudioFormat Format(std::int32_t inBytes, SampleCoding inCoding = SampleCoding::kInteger,
                              std::int32_t inChannels = 2) {
        AudioFormat format;
        format.channels = inChannels;
        format.samples.coding = inCoding;
        format.samples.bytesPerSample = inBytes;
        return format;
    }

    std::string Path(const std::string& inName) const { return folder.Path(inName).string(); }

    std::unique_ptr<AudioReader> Reader(const std::string& inName) {
        auto reader = AudioReader::Open(Path(inName), error);
        EXPECT_NE(reader, nullptr) << error.message;
        return reader;
    }

    std::unique_ptr<AudioWriter> Writer(const std::string& inName, Container inContainer,
                                        const AudioFormat& inFormat = Format(2),
                                        WriterOptions inOptions = {}) {
        auto writer = AudioWriter::Create(Path(inName), inContainer, inFormat, inOptions, error);
        EXPECT_NE(writer, nullptr) << error.message;
        return writer;
    }

    testing_support::TemporaryFolder folder;
    AudioError error;
};

} // namespace kelaudiofile::audio_test
