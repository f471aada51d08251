#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "kelcore/filesupport.h"

/// Writing of chunks: two streams of one file, a buffered one for contents, and the platform stream below it,
/// for what must hold for bytes that are in the file already. What the streams throw passes.
namespace kelaudiofile::chunks {

/// @return the buffered stream, to be destroyed before the other.
std::unique_ptr<kelcore::filesupport::OBufferedByteStream>
MakeBuffer(kelcore::filesupport::OPlatformByteStream& ioPlatform);

/// Moves to a position. Does nothing if the stream is there, since a move delivers what waits.
inline void MoveTo(kelcore::filesupport::OByteStream& ioStream, std::uint64_t inPosition) {
    if (ioStream.CurPos() != inPosition)
        ioStream.CurPos(inPosition);
}

/// Writes all of a block at a position, or throws and writes nothing that counts: the same block can be
/// offered again.
inline void WriteAt(kelcore::filesupport::OByteStream& ioStream, std::uint64_t inPosition,
                    const void* inBytes, std::size_t inCount) {
    MoveTo(ioStream, inPosition);
    ioStream.WriteBlock(inBytes, static_cast<unsigned>(inCount));
}

/// Writes past the buffer, so that a failure leaves the buffered stream where it was.
void Patch(kelcore::filesupport::OPlatformByteStream& ioPlatform, std::uint64_t inPosition,
           const void* inBytes, std::size_t inCount);

/// Delivers what waits, and removes what failed blocks have left past the end of a file that was empty.
void Deliver(kelcore::filesupport::OPlatformByteStream& ioPlatform,
             kelcore::filesupport::OBufferedByteStream& ioBuffered);

/// @param inEnd  where data end that the buffered stream has accepted.
/// @return where the part of them ends that has been delivered.
std::uint64_t DeliveredEnd(const kelcore::filesupport::OBufferedByteStream& inBuffered, std::uint64_t inEnd);

} // namespace kelaudiofile::chunks
