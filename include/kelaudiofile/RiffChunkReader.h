#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "kelaudiofile/Export.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// Scans a file of the RIFF family once, at construction: the magic ("RIFF", "RF64" or "BW64"), the form
/// type, an optional `ds64` chunk (EBU Tech 3306), and every chunk's header. Chunk data is skipped, not read.
///
/// The walk is bounded by the file's real size, never by the sizes that the file claims. Memory is at most
/// 120 bytes for each listed chunk while the list grows, and a chunk takes at least 9 bytes of the file; time
/// goes with the number of chunks. Runs of zero bytes are skipped at the speed of reading, or at once where
/// they are a hole of a sparse file and the system says so. A file handle is open during the scan only.
///
/// One thread at a time per object; separate objects on one file are independent.
class KELAUDIOFILE_EXPORT RiffChunkReader {
public:
    /// One chunk of the file.
    struct RiffChunkInfo {
        std::uint32_t chunkID = 0;     ///< lowest byte first on disk
        std::int64_t chunkSize = 0;    ///< bytes of data that the file really has; the pad byte never counts
        std::uint64_t chunkOffset = 0; ///< file offset of the chunk's 8-byte header
        std::uint64_t dataOffset = 0;  ///< file offset of the chunk's data
        bool recoveredTruncated =
            false; ///< a `data` chunk of size 0 that was taken to reach to the file's end
    };

    /// What the scan found.
    struct RiffFileInfo {
        std::uint64_t riffSize = 0; ///< as the file claims it, from `ds64` where there is one; informative
        std::uint32_t formType = 0; ///< "WAVE" for wave files, but any other is reported too
        std::vector<RiffChunkInfo> chunks; ///< in file order; chunks with id 0 or of size 0 are left out
    };

    /// How the scan went.
    enum ExtendedError : std::int32_t {
        kExtendedErrorNone = 0,     ///< the scan ran to its end
        kExtendedErrorNotRiff = -1, ///< the first four bytes are none of the three magics
        kExtendedErrorReadFailed =
            -2, ///< the file could not be opened or read, is under 20 bytes, or memory ran out
    };

    /// Scans the file. Nothing is thrown by the scan; ask GetExtendedError.
    /// @param inFile  the path, taken by value; the reader keeps nothing of it.
    /// @param inStreamFlag  handed to the input stream.
    RiffChunkReader(kelcore::filesupport::File inFile, bool inStreamFlag);

    /// @return how the scan went; it does not change afterwards.
    ExtendedError GetExtendedError() const { return mExtendedError; }

    /// @return the result, valid as long as the reader. After an error it holds what was found before.
    const RiffFileInfo& GetFileInfo() const { return mFileInfo; }

private:
    class Scan;
    void OpenFile(const kelcore::filesupport::File& inFile);

    RiffFileInfo mFileInfo;
    std::vector<std::pair<std::uint32_t, std::int64_t>> mDs64Sizes;
    ExtendedError mExtendedError = kExtendedErrorNone;
    bool mStreamFlag;
};

/// Picks chunks by their id.
/// @return the entries with this id, in their order.
KELAUDIOFILE_EXPORT std::vector<RiffChunkReader::RiffChunkInfo>
FilterChunkInfo(const std::vector<RiffChunkReader::RiffChunkInfo>& chunks, unsigned int id);

/// The id of sample data.
/// @return "data" as a chunk id.
KELAUDIOFILE_EXPORT std::uint32_t GetWaveDataIdentifier();

/// The form type of wave files.
/// @return "WAVE" as a form type.
KELAUDIOFILE_EXPORT std::uint32_t GetWaveFileFormatIdentifier();

} // namespace kelaudiofile
