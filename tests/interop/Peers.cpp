#include "Peers.h"

#include <bit>
#include <cstdlib>

#include "bytes/ByteOrder.h"
#include "support/Files.h"
#include "support/Process.h"

namespace interop {
namespace {

using testing_support::RunCommand;

/// Little-endian raw samples.
template <typename Convert>
std::vector<float> FloatsOf(const testing_support::Bytes& inBytes, Convert inConvert) {
    std::vector<float> floats;
    for (std::size_t i = 0; i + 4 <= inBytes.size(); i += 4)
        floats.push_back(inConvert(kelaudiofile::bytes::LoadLittle32(inBytes.data() + i)));
    return floats;
}

float FloatOfBits(std::uint32_t inBits) {
    return std::bit_cast<float>(inBits);
}

float FloatOfInteger(std::uint32_t inBits) {
    return static_cast<float>(static_cast<std::int32_t>(inBits)) * 0x1p-31f;
}

std::string Quote(const std::filesystem::path& inPath) {
    return " '" + inPath.string() + "' ";
}

} // namespace

bool Installed(Peer inPeer) {
    static const char* const kPrograms[kPeerCount] = {"sndfile-convert", "ffmpeg", "sox"};
    return RunCommand(std::string("command -v ") + kPrograms[inPeer]).exitCode == 0;
}

Decoded DecodeWith(Peer inPeer, const std::filesystem::path& inPath, bool inFloats, int inFromSecond) {
    const std::filesystem::path raw = inPath.string() + ".decoded.raw";
    std::string command;
    switch (inPeer) {
    case kLibsndfile:
        // It knows raw files by their name. Integers go out as integers, since it scales floats that touch
        // full scale.
        command = std::string("sndfile-convert -endian=little ") + (inFloats ? "-float32" : "-pcm32") +
                  Quote(inPath) + Quote(raw);
        break;
    case kFfmpeg:
        command = "ffmpeg -v error -nostdin -y -ss " + std::to_string(inFromSecond) + " -i" + Quote(inPath) +
                  "-f " + (inFloats ? "f32le" : "s32le") + Quote(raw);
        break;
    default:
        command = "sox -D -V1" + Quote(inPath) + "-t raw -e signed -b 32 -L" + Quote(raw);
    }
    const testing_support::Outcome outcome = RunCommand(command);
    Decoded decoded{std::nullopt, outcome.output};
    if (outcome.exitCode == 0 && std::filesystem::exists(raw)) {
        const testing_support::Bytes rawBytes = testing_support::ReadFile(raw);
        decoded.samples =
            inFloats && inPeer != kSox ? FloatsOf(rawBytes, FloatOfBits) : FloatsOf(rawBytes, FloatOfInteger);
    }
    std::filesystem::remove(raw);
    return decoded;
}

std::int64_t FramesBy(Peer inPeer, const std::filesystem::path& inPath) {
    const std::string label = inPeer == kSox ? "" : "\nFrames      : ";
    const testing_support::Outcome outcome =
        RunCommand((inPeer == kSox ? "sox --i -s" : "sndfile-info") + Quote(inPath));
    const std::size_t place = outcome.output.find(label);
    return outcome.exitCode != 0 || place == std::string::npos
               ? -1
               : std::atoll(outcome.output.c_str() + place + label.size());
}

} // namespace interop
