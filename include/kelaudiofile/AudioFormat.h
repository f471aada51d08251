#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/Frames.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// @addtogroup audio
/// @{

/// The two families of files.
enum class Container {
    kWave, ///< RIFF, RF64 and BW64
    kAiff, ///< AIFF and AIFF-C
};

/// The format of a file that is read or to be written. The default is 16-bit stereo at 48 kHz.
struct AudioFormat {
    /// Frames per second. A reader may find any positive number in an AIFF file; a writer accepts whole ones.
    double sampleRate = 48000;
    std::int32_t channels = 2; ///< samples per frame
    /// How one sample is stored in the file.
    SampleFormat samples = {SampleCoding::kInteger, 2, ByteOrder::kLittleEndian, false};
    /// One entry per channel, or empty if no position is known.
    kelmediatypes::ChannelLayout layout;
};

/// Makes a chunk id from its four characters: `ChunkId("bext")`. The first character is the lowest byte.
constexpr std::uint32_t ChunkId(const char (&inText)[5]) {
    std::uint32_t id = 0;
    for (int i = 3; i >= 0; --i)
        id = id << 8 | static_cast<unsigned char>(inText[i]);
    return id;
}

/// Returns the four characters of a chunk id, with '?' for any that cannot be printed.
KELAUDIOFILE_EXPORT std::string ChunkIdText(std::uint32_t inId);

/// Returns the English name of the position, such as "front left"; "unknown position"
/// for a value without a name.
KELAUDIOFILE_EXPORT std::string ChannelName(kelmediatypes::AudioChannelDescription inChannel);

/// Makes a layout from its usual name.
/// @param inName  "mono", "stereo", "quad", "5.1" or "7.1", in the channel order of wave files.
/// @return the layout, or an empty one for any other name.
KELAUDIOFILE_EXPORT kelmediatypes::ChannelLayout MakeLayout(std::string_view inName);

/// @}

} // namespace kelaudiofile
