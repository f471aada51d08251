#pragma once

#include <memory>

#include "kelaudiofile/WaveFile.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// What the folders above need of a WaveFile beyond what hosts see.
struct KELAUDIOFILE_HIDDEN WaveFileAccess {
    /// As WaveFile::OpenForRead, on a file that is open already.
    /// @param inNamed  the same file by its path, for opening it again after Suspend.
    static std::unique_ptr<WaveFile> Open(const kelcore::filesupport::File& inNamed,
                                          const kelcore::filesupport::File& inOpened,
                                          WaveFile::ExtendedErrorInfo& outError, bool inStreamFlag);

    /// From now on, blocks that a file open for writing has taken have reached the system.
    /// @return false if what was written before could not be delivered.
    static bool WriteThrough(WaveFile& ioFile);

    /// Before samples are written: puts a filler chunk in front of each `data` chunk whose size would lie
    /// across two sectors of a disk.
    static void KeepSizesWhole(WaveFile& ioFile);
};

} // namespace kelaudiofile
