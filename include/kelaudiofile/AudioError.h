#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "kelaudiofile/AiffFile.h"
#include "kelaudiofile/Export.h"
#include "kelaudiofile/WaveFile.h"

namespace kelaudiofile {

/// @addtogroup audio
/// @{

/// Why an operation on audio failed: a code to branch on, the system's error to
/// compare, and a message to show.
///
/// Operations that take one overwrite it when they fail and leave it unchanged when they succeed. In
/// addition, each of them may throw std::bad_alloc; the object that it belongs to stays usable.
struct AudioError {
    /// The kinds of failure.
    enum Code : std::int32_t {
        kNoError = 0,      ///< no failure
        kNotFound = 1,     ///< there is no such file
        kNotAFile = 2,     ///< a folder, a device or a pipe
        kNotPermitted = 3, ///< the system denies access
        kNotAudio = 4,     ///< neither a wave nor an AIFF file
        kBrokenFile = 5,   ///< headers that are incomplete or contradict each other; an empty file, too
        kUnsupported = 6,  ///< a compressed coding, or samples of a width that no routine decodes
        kBadArgument = 7,  ///< an argument is out of range, or the container cannot hold such a format
        kWrongOrder =
            8, ///< the call does not fit the state of the file, such as samples after a trailing chunk
        kTooLarge = 9,     ///< the container's size limit is reached
        kReadFailed = 10,  ///< the system failed to read
        kDiskFull = 11,    ///< no space, quota or permitted file size is left
        kWriteFailed = 12, ///< the system failed to write, for another reason
        kCancelled = 13,   ///< a progress function returned false
    };

    std::int32_t code = kNoError; ///< one of Code
    std::error_code system;       ///< the system's error, if there is one; of the generic category
    std::string message;          ///< a sentence in English: what failed, on which file, and why
};

/// Describes a failed open or write of a wave file in a few words, such as "it has no fmt chunk".
KELAUDIOFILE_EXPORT std::string ErrorText(const WaveFile::ExtendedErrorInfo& inError);
/// Describes a failed open or write of an AIFF file in a few words.
KELAUDIOFILE_EXPORT std::string ErrorText(const AiffFile::ExtendedErrorInfo& inError);

/// @}

} // namespace kelaudiofile
