#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Independent programs that read and write the same files.
namespace interop {

enum Peer { kLibsndfile, kFfmpeg, kSox, kPeerCount };

inline constexpr const char* kPeerNames[kPeerCount] = {"libsndfile", "FFmpeg", "SoX"};

bool Installed(Peer inPeer);

/// A peer's decode.
struct Decoded {
    std::optional<std::vector<float>> samples; ///< interleaved; nothing if the peer refused
    std::string message;                       ///< what it said
};

/// @param inFloats  whether the file holds floats. Integers come as they are, left-justified in 32 bits;
/// floats come as
///                  floats, but from SoX, which works with 32-bit integers throughout.
/// @param inFromSecond  where to start. Only FFmpeg starts elsewhere than at 0.
Decoded DecodeWith(Peer inPeer, const std::filesystem::path& inPath, bool inFloats, int inFromSecond = 0);

/// @return the frames that libsndfile or SoX count in a file; -1 if they refuse it.
std::int64_t FramesBy(Peer inPeer, const std::filesystem::path& inPath);

} // namespace interop
