#pragma once

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kelaudiofile/AudioReader.h"
#include "kelaudiofile/AudioWriter.h"
#include "support/Files.h"

namespace kelaudiofile::audio_test {

using namespace testing_support;
using enum AudioError::Code;
using enum Container;
using enum SampleCoding;
using Planes = std::vector<std::vector<float>>;

inline std::vector<float*> Pointers(Planes& ioPlanes, std::int64_t inFrame = 0) {
    std::vector<float*> pointers;
    for (std::vector<float>& plane : ioPlanes)
        pointers.push_back(plane.data() + inFrame);
    return pointers;
}

/// Frames that every format can hold without rounding, different in each channel.
inline Planes Signal(std::size_t inChannels, std::int64_t inFrames) {
    Planes planes(inChannels, std::vector<float>(static_cast<std::size_t>(inFrames)));
    for (std::size_t channel = 0; channel < planes.size(); ++channel)
        for (std::size_t frame = 0; frame < planes[channel].size(); ++frame)
            planes[channel][frame] =
                static_cast<float>((frame * 7 + channel * 31) % 255) / 128 - 127.0f / 128;
    return planes;
}

inline AudioFormat Format(std::int32_t inBytes, SampleCoding inCoding = kInteger,
                          std::int32_t inChannels = 2) {
    return {48000, inChannels, {inCoding, inBytes}, {}};
}

/// A folder of its own, and the error of the latest call.
class AudioTest : public testing::Test {
protected:
    std::string Path(const std::string& inName) const { return folder.Path(inName).string(); }
    Bytes Contents(const std::string& inName) const { return ReadFile(folder.Path(inName)); }

    std::unique_ptr<AudioReader> Reader(const std::string& inName) {
        auto reader = AudioReader::Open(Path(inName), error);
        EXPECT_NE(reader, nullptr) << error.message;
        return reader;
    }
    std::unique_ptr<AudioWriter> Writer(const std::string& inName, Container inContainer = kWave,
                                        const AudioFormat& inFormat = Format(2),
                                        WriterOptions inOptions = {}) {
        auto writer = AudioWriter::Create(Path(inName), inContainer, inFormat, inOptions, error);
        EXPECT_NE(writer, nullptr) << error.message;
        return writer;
    }
    static Planes ReadAll(AudioReader& ioReader, AudioError& outError) {
        Planes planes(static_cast<std::size_t>(ioReader.Format().channels),
                      std::vector<float>(static_cast<std::size_t>(ioReader.Frames())));
        return ioReader.Read(0, ioReader.Frames(), Pointers(planes).data(), outError) ? planes : Planes();
    }
    void ExpectError(std::int32_t inCode, const char* inMessage = "") const {
        EXPECT_EQ(error.code, inCode) << error.message;
        EXPECT_NE(error.message.find(inMessage), std::string::npos) << error.message;
    }

    const TemporaryFolder folder;
    AudioError error;
};

} // namespace kelaudiofile::audio_test
