#pragma once

#include <memory>

#include "kelaudiofile/AiffFile.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// Access to an AiffFile for the folders above, beyond what hosts see.
struct KELAUDIOFILE_HIDDEN AiffFileAccess {
    /// Like AiffFile::OpenForRead, for a file that is already open.
    static std::unique_ptr<AiffFile> Open(const kelcore::filesupport::File& inFile, bool inAssumeChannelOrder,
                                          AiffFile::ExtendedErrorInfo& outError);

    /// From now on, each accepted block of a file open for writing is passed to the system at once.
    /// @return false if what was written before could not be flushed.
    static bool WriteThrough(AiffFile& ioFile);

    /// Makes FinishWrite sync the file to the device before it returns, and throw if that fails.
    static void SyncWhenFinished(AiffFile& ioFile);
};

} // namespace kelaudiofile
