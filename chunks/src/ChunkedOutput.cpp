#include "chunks/ChunkedOutput.h"

#include <algorithm>

namespace kelaudiofile::chunks {

using kelcore::filesupport::OBufferedByteStream;
using kelcore::filesupport::OPlatformByteStream;

std::unique_ptr<OBufferedByteStream> MakeBuffer(OPlatformByteStream& ioPlatform) {
    constexpr unsigned kBytes = 32768, kAlignment = 4096;
    return std::make_unique<OBufferedByteStream>(ioPlatform, kBytes, kAlignment);
}

void Patch(OPlatformByteStream& ioPlatform, std::uint64_t inPosition, const void* inBytes,
           std::size_t inCount) {
    ioPlatform.CurPos(inPosition);
    ioPlatform.WriteBlock(inBytes, static_cast<unsigned>(inCount));
}

void Deliver(OPlatformByteStream& ioPlatform, OBufferedByteStream& ioBuffered) {
    ioBuffered.Flush();
    ioBuffered.RemoveFailedWrites(ioPlatform);
}

std::uint64_t DeliveredEnd(const OBufferedByteStream& inBuffered, std::uint64_t inEnd) {
    const unsigned waiting = inBuffered.Waiting();
    return waiting == 0 ? inEnd : std::min(inEnd, inBuffered.CurPos() - waiting);
}

} // namespace kelaudiofile::chunks
