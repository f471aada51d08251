#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "kelcore/filesupport.h"

/// Functions for writing chunks through two streams of one file: a buffered stream for contents, and the
/// platform stream below it for fields that describe bytes already in the file. Exceptions of the streams
/// pass through.
namespace kelaudiofile::chunks {

/// Returns the buffered stream, which must be destroyed before the other one.
std::unique_ptr<kelcore::filesupport::OBufferedByteStream>
MakeBuffer(kelcore::filesupport::OPlatformByteStream& ioPlatform);

/// Moves to a position. Does nothing if the stream is already there, since a move flushes the buffer.
inline void MoveTo(kelcore::filesupport::OByteStream& ioStream, std::uint64_t inPosition) {
    if (ioStream.CurPos() != inPosition)
        ioStream.CurPos(inPosition);
}

/// Writes all of a block at a position, or throws and accepts none of it: the same
/// block can be written again.
inline void WriteAt(kelcore::filesupport::OByteStream& ioStream, std::uint64_t inPosition,
                    const void* inBytes, std::size_t inCount) {
    MoveTo(ioStream, inPosition);
    ioStream.WriteBlock(inBytes, static_cast<unsigned>(inCount));
}

/// Bypasses the buffer, so that a failure leaves the position of the buffered stream unchanged.
void Patch(kelcore::filesupport::OPlatformByteStream& ioPlatform, std::uint64_t inPosition,
           const void* inBytes, std::size_t inCount);

/// Flushes the buffer, and removes what failed blocks have left past the end of a file that was empty.
void Deliver(kelcore::filesupport::OPlatformByteStream& ioPlatform,
             kelcore::filesupport::OBufferedByteStream& ioBuffered);

/// Returns the end of the data that has actually been written.
/// @param inEnd  the end of the data that the buffered stream has accepted.
std::uint64_t DeliveredEnd(const kelcore::filesupport::OBufferedByteStream& inBuffered, std::uint64_t inEnd);

} // namespace kelaudiofile::chunks
