#pragma once

#include <memory>

#include "kelaudiofile/AiffFile.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

/// What the folders above need of an AiffFile beyond what hosts see.
struct KELAUDIOFILE_HIDDEN AiffFileAccess {
    /// As AiffFile::OpenForRead, on a file that is open already.
    static std::unique_ptr<AiffFile> Open(const kelcore::filesupport::File& inFile, bool inAssumeChannelOrder,
                                          AiffFile::ExtendedErrorInfo& outError);

    /// From now on, blocks that a file open for writing has taken have reached the system.
    /// @return false if what was written before could not be delivered.
    static bool WriteThrough(AiffFile& ioFile);

    /// FinishWrite is to bring the file to the device before it returns; it throws if it cannot.
    static void SyncWhenFinished(AiffFile& ioFile);
};

} // namespace kelaudiofile
