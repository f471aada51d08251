#pragma once

#include <cstdint>
#include <functional>

#include "kelaudiofile/Export.h"
#include "kelcore/string.h"

namespace kelaudiofile {

/// @addtogroup reading_wave
/// @{

/// Feeds the decoded audio of a wave file to a function, so that a hash of these bytes is independent of
/// metadata, chunk layout, and any difference of sample format that decodes to equal floats.
///
/// The library brings no digest of its own: the function updates whichever hash the caller uses. The bytes
/// carry neither the channel count nor the sample rate, so one frame of stereo and two frames of mono can
/// produce the same bytes. A caller to whom that matters adds both numbers to its hash first.
///
/// The order is fixed: blocks of 8,192 frames from the first frame on, the last one possibly shorter; within
/// a block, all of channel 0, then all of channel 1 and so on, one call per channel, as native 32-bit floats.
///
/// Memory: at most two buffers of one block, and never more than the file's audio needs.
///
/// @param inConsumer  called on the caller's thread with the address and length in bytes of each piece, which
///        is valid during the call only. Exceptions that it throws pass through to the caller.
/// @param inFilePath  the path, passed to the operating system byte for byte.
/// @param inTrimSilence  true: only the frames from the first to the last that is not silent are fed; a frame
///        is silent if all its samples equal 0.0. The file is then read twice, first to find that range. If a
///        read fails during this first pass, the range ends at the last sound before the failure: only that
///        much is fed, the call returns normally, and only the log reports the failure.
/// @throws kelcore::config::kel_exception if the file does not exist, cannot be opened (the message contains
///        the WaveFile::ExtendedErrorInfo code), or cannot be hashed: a read failed (but see inTrimSilence),
///        the file has fewer than one channel, or no routine decodes its samples. The additional data give
///        the place. A file without audio feeds nothing and is not an error.
KELAUDIOFILE_EXPORT void
HashWaveFile(const std::function<void(const unsigned char* inBytes, std::uint64_t inByteCount)>& inConsumer,
             const kelcore::UTF8String& inFilePath, bool inTrimSilence);

/// @}

} // namespace kelaudiofile
