#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"
#include "kelcore/filesupport.h"

/// Reports whether a byte stream carries an ID3 tag, and how long the tag is. ID3v1 is looked for only at the
/// end of the stream and ID3v2 only at its start; the content of a tag is not read.
///
/// The probes are stateless. They move the position of the stream and do not restore it: if the stream is
/// long enough to hold a tag, the position ends after the bytes that were read, tag or not; otherwise it
/// stays. No exception passes through: whatever the stream throws, the result is false, with all outputs 0.
/// One thread at a time per stream.
namespace kelaudiofile::id3 {

/// @addtogroup id3_tags
/// @{

/// Looks for an ID3v1 tag in the last 128 bytes of the stream.
/// @param inStream  any stream; not read if it is shorter than 128 bytes. Otherwise the position ends at the
///        stream's length - 125.
/// @param outLength  128 if there is a tag, otherwise 0.
/// @return whether there is a tag.
KELAUDIOFILE_EXPORT bool GetID3v1Length(kelcore::filesupport::IByteStream& inStream,
                                        std::uint64_t& outLength);

/// Looks for an ID3v2 tag at offset 0.
/// @param inStream  any stream; not read if it is shorter than 10 bytes. Otherwise the position ends at 10.
/// @param outLength  the length of the tag in bytes, including its header of 10 bytes; otherwise 0. This is
///        what the header claims: the stream may hold less. A footer (ID3v2.4) is not counted.
/// @param outMajorVersion, outRevision  the two version bytes of an ID3 header, each read as signed; 0 if
///        there is no such header. They are set even if the header is rejected.
/// @return whether there is a tag of major version 4 or lower whose size field is not 0.
KELAUDIOFILE_EXPORT bool GetID3v2Length(kelcore::filesupport::IByteStream& inStream, std::uint64_t& outLength,
                                        std::int32_t& outMajorVersion, std::int32_t& outRevision);

/// @}

} // namespace kelaudiofile::id3
