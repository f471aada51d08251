#pragma once

#include "AiffFormatInfo.h"
#include "AiffReading.h"
#include "AiffWriting.h"

namespace kelaudiofile {

/// An object either reads or writes; a finished one does neither.
struct KELAUDIOFILE_HIDDEN AiffFile::Impl {
    AiffFormatInfo format;
    aiff::AiffReading reading;
    aiff::AiffWriting writing;
};

} // namespace kelaudiofile
