#pragma once

#include <cstdint>

#include "chunks/ChunkTable.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile::aiff {

/// Scans a file from its start for its form and its chunk headers. Throws nothing.
/// @param inFile  the file of the stream.
/// @param outChunks  receives every chunk up to the end or the failure.
/// @return a code of AiffFile::ExtendedErrorInfo: kNoError, kNotAiffFile or kChunkScanFailed.
std::int32_t WalkChunks(kelcore::filesupport::IPlatformByteStream& inStream,
                        const kelcore::filesupport::File& inFile, std::uint32_t& outFormType,
                        chunks::ChunkTable& outChunks);

} // namespace kelaudiofile::aiff
