#include "kelaudiofile/AudioError.h"

#include <cerrno>

#include "FramesImpl.h"
#include "kelcore/filesupport.h"

namespace kelaudiofile {

namespace {

AudioError::Code CodeOfSystem(int inError, AudioError::Code inOtherwise) {
    switch (inError) {
    case ENOENT:
    case ENOTDIR:
        return AudioError::kNotFound;
    case EISDIR:
    case EINVAL:
        return AudioError::kNotAFile;
    case EACCES:
    case EPERM:
    case EROFS:
        return AudioError::kNotPermitted;
    case ENOSPC:
    case EFBIG:
#if defined(EDQUOT)
    case EDQUOT:
#endif
        return AudioError::kDiskFull;
    default:
        return inOtherwise;
    }
}

} // namespace

bool Fail(AudioError& outError, AudioError::Code inCode, std::string_view inPath, std::string_view inWhat) {
    outError.code = inCode;
    outError.system.clear();
    outError.message = inPath.empty() ? "" : std::string(inPath) + ": ";
    outError.message += inWhat;
    return false;
}

bool FailForSystem(AudioError& outError, AudioError::Code inOtherwise, std::string_view inPath,
                   std::string_view inWhat) {
    const int system = kelcore::filesupport::LatestFailure();
    Fail(outError, CodeOfSystem(system, inOtherwise), inPath, inWhat);
    if (system > 0) {
        outError.system = std::error_code(system, std::generic_category());
        outError.message += ": " + outError.system.message();
    }
    return false;
}

std::string ErrorText(const WaveFile::ExtendedErrorInfo& inError) {
    using Info = WaveFile::ExtendedErrorInfo;
    switch (inError.code) {
    case Info::kNoError:
        return "no error";
    case Info::kFileNotFound:
        return "there is no such file";
    case Info::kNotWaveFile:
        return "it is not a wave file";
    case Info::kChunkScanFailed:
        return "its chunks cannot be read, or it is too short";
    case Info::kWriteRefused:
        return "it does not accept samples at this offset now";
    case Info::kNoFormatChunk:
        return "it has no fmt chunk";
    case Info::kFormatChunkTooLarge:
        return "its fmt chunk is too large";
    case Info::kBadFormat:
        return "its fmt chunk cannot be read";
    case Info::kUnknownFormat:
        return "it has an unknown coding, tag " + std::to_string(inError.formatTag);
    case Info::kAdpcmFormat:
        return "its samples are compressed: Microsoft ADPCM";
    case Info::kImaAdpcmFormat:
        return "its samples are compressed: IMA ADPCM";
    case Info::kALawFormat:
        return "its samples are compressed: A-law";
    case Info::kMuLawFormat:
        return "its samples are compressed: mu-law";
    case Info::kGsm610Format:
        return "its samples are compressed: GSM 6.10";
    case Info::kOpenForWriteFailed:
        return "it cannot be created";
    case Info::kWriteFailed:
        return "it cannot be written";
    default:
        return "error " + std::to_string(inError.code);
    }
}

std::string ErrorText(const AiffFile::ExtendedErrorInfo& inError) {
    using Info = AiffFile::ExtendedErrorInfo;
    switch (inError.code) {
    case Info::kNoError:
        return "no error";
    case Info::kFileNotFound:
        return "there is no such file";
    case Info::kNotAiffFile:
        return "it is not an AIFF file";
    case Info::kChunkScanFailed:
        return "its chunks cannot be read";
    case Info::kBadCommChunk:
        return "its COMM chunk is missing or broken";
    case Info::kBadSsndChunk:
        return "its SSND chunk is missing or broken";
    case Info::kUnknownCompression:
        return "its samples are compressed: '" + kelcore::ToStdString(inError.compressionCode) + "' " +
               kelcore::ToStdString(inError.compressionDescription);
    case Info::kBadBitDepth:
        return "it has samples of " + std::to_string(inError.bitsPerSample) + " bits";
    case Info::kBadSampleType:
        return "an AIFF file cannot hold such samples";
    case Info::kWriteRefused:
        return "it does not accept samples at this offset now";
    case Info::kOpenForWriteFailed:
        return "it cannot be created";
    case Info::kWriteFailed:
        return "it cannot be written, or would grow past 4 GiB";
    default:
        return "error " + std::to_string(inError.code);
    }
}

} // namespace kelaudiofile
