#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Other libraries for the same work, if they are found on the machine. Each decodes a whole wave file, block
/// by block, into one plane of floats per channel.
namespace peers {

using Planes = std::vector<std::vector<float>>;

/// Called with the frames that are in the planes now. Empty while times are measured.
using BlockDone = std::function<void(std::int64_t inFrames)>;

struct Peer {
    const char* name;
    void (*decode)(const std::string& inPath, std::int64_t inBlockFrames, Planes& outPlanes,
                   const BlockDone& inDone);
    void (*open)(const std::string& inPath);
};

/// Returns the peers, libsndfile first if it is available.
std::vector<Peer> FindPeers();

} // namespace peers
