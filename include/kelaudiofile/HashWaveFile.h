#pragma once

#include <cstdint>
#include <functional>

#include "kelaudiofile/Export.h"
#include "kelcore/string.h"

namespace kelaudiofile {

/// Feeds the decoded audio of a wave file, and nothing else of it, to a function: a hash over these bytes
/// does not change with the file's metadata, its chunk layout, or a sample format whose decoded floats are
/// equal. No digest is held here; the function updates whatever hash its caller likes.
///
/// The bytes know neither the channel count nor the sample rate: one frame of stereo and two frames of mono
/// can give the same ones. A caller to whom that matters feeds both numbers to its hash first.
///
/// The order is fixed: blocks of 8,192 frames from the first frame on, the last one shorter; within a block
/// all of channel 0, then all of channel 1 and so on, each channel in one call, as native 32-bit floats.
///
/// @param inConsumer  called with the address and length in bytes of each piece, on the caller's thread; the
///        memory is good during the call only. What it throws comes back to the caller.
/// @param inFilePath  the path in the bytes that the system takes.
/// @param inTrimSilence  true: only the frames from the first to the last that are not silent in all channels
///        count; a sample is silent if it equals 0.0. The file is then read twice, first to find that range.
///        If a read fails in this first pass, the range ends at the last sound before it: only that much is
///        fed, and the call returns as if it were all. Nothing but the log shows the failure.
/// @throws kelcore::config::kel_exception if the file does not exist, cannot be opened (the message has the
///         code of WaveFile::ExtendedErrorInfo), or cannot be hashed: a read failed (but see inTrimSilence),
///         it has fewer than one channel, or no routine decodes its samples. Its additional data say where.
///         A file without audio feeds nothing and returns.
/// Memory: two buffers of a block at most, and never more than the file's audio needs.
KELAUDIOFILE_EXPORT void
HashWaveFile(const std::function<void(const unsigned char* inBytes, std::uint64_t inByteCount)>& inConsumer,
             const kelcore::UTF8String& inFilePath, bool inTrimSilence);

} // namespace kelaudiofile
