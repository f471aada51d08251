#pragma once

#include "FramesImpl.h"

namespace kelaudiofile {

struct KELAUDIOFILE_HIDDEN AudioReader::Impl {
    std::string path;
    WaveOrAiff file;
    AudioFormat format;
    std::int64_t frames = 0;
    std::vector<unsigned char> tile; ///< empty until the first Read
    std::vector<float*> planes;      ///< where the tile's planes begin

    bool TakeFormat(AudioError& outError);
    bool IsInside(std::int64_t inFrame, std::int64_t inCount, AudioError& outError) const;
    bool ReadBytes(std::int64_t inFrame, std::int64_t inCount, void* outBytes, AudioError& outError);
};

} // namespace kelaudiofile
