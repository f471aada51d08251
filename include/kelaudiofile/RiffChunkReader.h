#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "kelaudiofile/Export.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// @addtogroup reading_wave
/// @{

/// Scans a file of the RIFF family once, at construction: the magic ("RIFF", "RF64" or "BW64"),
/// the form type, an optional `ds64` chunk (EBU Tech 3306), and the header of every chunk. Chunk
/// data is skipped, not read.
///
/// The scan is bounded by the actual size of the file, never by the sizes that the file claims. It takes at
/// most 120 bytes of memory per listed chunk while the list grows, and a listed chunk takes at least 9 bytes
/// of the file; the time is proportional to the number of chunks. Runs of zero bytes are skipped at the speed
/// of reading, or at once if they are a hole of a sparse file and the system reports it. The file is open
/// during the scan only.
///
/// One thread at a time per object; separate objects on one file are independent.
class KELAUDIOFILE_EXPORT RiffChunkReader {
public:
    /// One chunk of the file.
    struct RiffChunkInfo {
        std::uint32_t chunkID = 0;     ///< the first character on disk is the lowest byte
        std::int64_t chunkSize = 0;    ///< bytes of data that are really in the file, without the pad byte
        std::uint64_t chunkOffset = 0; ///< file offset of the chunk's 8-byte header
        std::uint64_t dataOffset = 0;  ///< file offset of the chunk's data

        /// Whether this is a `data` chunk of size 0 that was taken to extend to the end of the file.
        bool recoveredTruncated = false;
    };

    /// What the scan found.
    struct RiffFileInfo {
        std::uint64_t riffSize = 0;        ///< as claimed by the file, in `ds64` if there is one; informative
        std::uint32_t formType = 0;        ///< "WAVE" for wave files, but any other form is reported too
        std::vector<RiffChunkInfo> chunks; ///< in file order, without chunks of id 0 or size 0
    };

    /// The outcome of a scan.
    enum ExtendedError : std::int32_t {
        kExtendedErrorNone = 0,     ///< the scan was completed
        kExtendedErrorNotRiff = -1, ///< the first four bytes are none of the three magics

        /// The file could not be opened or read, is shorter than 20 bytes, or memory ran out.
        kExtendedErrorReadFailed = -2,
    };

    /// Scans the file. The scan throws nothing; see GetExtendedError.
    /// @param inFile  the path, passed by value; the reader does not keep it.
    /// @param inStreamFlag  passed to the input stream.
    RiffChunkReader(kelcore::filesupport::File inFile, bool inStreamFlag);

    /// Returns the outcome of the scan.
    ExtendedError GetExtendedError() const { return mExtendedError; }

    /// Returns the result, which is valid as long as the reader. After an error it
    /// holds what was found so far.
    const RiffFileInfo& GetFileInfo() const { return mFileInfo; }

private:
    class Scan;
    void OpenFile(const kelcore::filesupport::File& inFile);

    RiffFileInfo mFileInfo;
    std::vector<std::pair<std::uint32_t, std::int64_t>> mDs64Sizes;
    ExtendedError mExtendedError = kExtendedErrorNone;
    bool mStreamFlag;
};

/// Selects chunks by their id.
/// @return the entries with this id, in their original order.
KELAUDIOFILE_EXPORT std::vector<RiffChunkReader::RiffChunkInfo>
FilterChunkInfo(const std::vector<RiffChunkReader::RiffChunkInfo>& chunks, unsigned int id);

/// Returns the id of sample data, "data".
KELAUDIOFILE_EXPORT std::uint32_t GetWaveDataIdentifier();

/// Returns the form type of wave files, "WAVE".
KELAUDIOFILE_EXPORT std::uint32_t GetWaveFileFormatIdentifier();

/// @}

} // namespace kelaudiofile
