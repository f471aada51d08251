#pragma once

#include <memory>

#include "kelaudiofile/WaveFile.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// Access to a WaveFile for the folders above, beyond what hosts see.
struct KELAUDIOFILE_HIDDEN WaveFileAccess {
    /// Like WaveFile::OpenForRead, for a file that is already open.
    /// @param inNamed  the same file by its path, for reopening it after Suspend.
    static std::unique_ptr<WaveFile> Open(const kelcore::filesupport::File& inNamed,
                                          const kelcore::filesupport::File& inOpened,
                                          WaveFile::ExtendedErrorInfo& outError, bool inStreamFlag);

    /// From now on, each accepted block of a file open for writing is passed to the system at once.
    /// @return false if what was written before could not be flushed.
    static bool WriteThrough(WaveFile& ioFile);

    /// Call before samples are written: puts a filler chunk before each `data` chunk whose size would
    /// straddle two sectors of a disk.
    static void KeepSizesWhole(WaveFile& ioFile);
};

} // namespace kelaudiofile
