#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"
#include "kelcore/filesupport.h"

/// Says whether a byte stream carries an ID3 tag, and how many bytes the tag takes. ID3v1 is looked for at
/// the stream's end, ID3v2 at its start, and nowhere else; nothing of a tag's content is read.
///
/// The probes hold no state. They move the stream's position and do not put it back: where a stream is long
/// enough to hold a tag, it stands behind the bytes that were read, whether or not they were a tag; where it
/// is too short, the position stays. No exception passes out: whatever the stream throws, the answer is false
/// with zeros in all results. One thread at a time per stream.
namespace kelaudiofile::id3 {

/// Looks for an ID3v1 tag, the stream's last 128 bytes.
/// @param inStream   any stream; not read where it is shorter than 128 bytes. Otherwise the position ends at
///                   the stream's length - 125.
/// @param outLength  128 if there is a tag, otherwise 0.
/// @return whether there is a tag.
KELAUDIOFILE_EXPORT bool GetID3v1Length(kelcore::filesupport::IByteStream& inStream,
                                        std::uint64_t& outLength);

/// Looks for an ID3v2 tag at offset 0.
/// @param inStream   any stream; not read where it is shorter than 10 bytes. Otherwise the position ends
/// at 10.
/// @param outLength  bytes of the tag with its header of 10 bytes, otherwise 0. This is what the header
/// claims;
///                   the stream may hold less. A footer (ID3v2.4) is not counted.
/// @param outMajorVersion, outRevision  the two version bytes of an ID3 header, each taken as signed; 0 if
/// there
///                   is no such header. They are set also where a header is refused.
/// @return whether there is a tag of a major version up to 4 whose size field is not 0.
KELAUDIOFILE_EXPORT bool GetID3v2Length(kelcore::filesupport::IByteStream& inStream, std::uint64_t& outLength,
                                        std::int32_t& outMajorVersion, std::int32_t& outRevision);

} // namespace kelaudiofile::id3
