#pragma once

#include <memory>
#include <string>
#include <variant>

#include "Words.h"

namespace examples {

using AudioFile =
    std::variant<std::unique_ptr<kelaudiofile::WaveFile>, std::unique_ptr<kelaudiofile::AiffFile>>;

/// Opens a file for reading, whichever of the two it is. Failures come as exceptions that say what is wrong.
inline AudioFile OpenAudio(const std::string& inPath) {
    using namespace kelaudiofile;
    const auto path = kelcore::ToUTF8String(inPath);
    WaveFile::ExtendedErrorInfo waveError;
    if (std::unique_ptr<WaveFile> wave{WaveFile::OpenForRead(path, waveError, false)})
        return wave;
    if (waveError.code != WaveFile::ExtendedErrorInfo::kNotWaveFile &&
        waveError.code != WaveFile::ExtendedErrorInfo::kChunkScanFailed)
        throw Trouble(inPath, WhyNot(waveError));
    AiffFile::ExtendedErrorInfo aiffError;
    aiffError.code = AiffFile::ExtendedErrorInfo::kChunkScanFailed;
    if (std::unique_ptr<AiffFile> aiff = AiffFile::OpenForRead(path, true, aiffError))
        return aiff;
    const bool neither = aiffError.code == AiffFile::ExtendedErrorInfo::kNotAiffFile;
    throw Trouble(inPath, neither ? "it is neither a wave nor an AIFF file" : WhyNot(aiffError));
}

} // namespace examples
