#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kelaudiofile/AiffFile.h"
#include "kelaudiofile/AudioError.h"
#include "kelaudiofile/AudioReader.h"
#include "kelaudiofile/AudioWriter.h"
#include "kelaudiofile/WaveFile.h"
#include "kelcore/filesupport.h"

/// Shared by the reader and the writer of this folder.
namespace kelaudiofile {

using WaveOrAiff = std::variant<std::unique_ptr<WaveFile>, std::unique_ptr<AiffFile>>;

/// The bytes converted at a time: few enough to fit the L2 cache with the planes, but enough that a system
/// call is a small part of the work. A single frame may be larger.
inline constexpr std::int64_t kTileBytes = 131072;

constexpr std::int64_t FrameBytes(const AudioFormat& inFormat) {
    return std::int64_t{inFormat.channels} * inFormat.samples.bytesPerSample;
}

constexpr std::int64_t TileFrames(const AudioFormat& inFormat) {
    const std::int64_t frames = kTileBytes / FrameBytes(inFormat);
    return frames > 0 ? frames : 1;
}

/// Returns whether a layout gives the position of any channel.
bool HasPositions(const kelmediatypes::ChannelLayout& inLayout);

inline kelcore::filesupport::File FileOf(std::string_view inPath) {
    return {kelcore::ToUTF8String(inPath), kelcore::filesupport::kPathStorage};
}

/// Sets an error and returns false, for `return Fail(...)`.
/// @param inWhat  what failed, as a clause about the file: "it has no fmt chunk".
bool Fail(AudioError& outError, AudioError::Code inCode, std::string_view inPath, std::string_view inWhat);

/// Like Fail, with the reason of this thread's latest failed file operation: its errno determines the code if
/// it has one of its own (no such file, no permission, disk full).
/// @param inOtherwise  the code for all other reasons.
bool FailForSystem(AudioError& outError, AudioError::Code inOtherwise, std::string_view inPath,
                   std::string_view inWhat);

} // namespace kelaudiofile
