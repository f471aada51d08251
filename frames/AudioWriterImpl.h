#pragma once

#include "FramesImpl.h"

namespace kelaudiofile {

struct KELAUDIOFILE_HIDDEN AudioWriter::Impl {
    enum class Stage { kBeforeAudio, kAudio, kAfterAudio, kFinished };

    std::string path;
    std::string writtenPath; ///< the path, or the name that Finish renames to it
    WaveOrAiff file;
    AudioFormat format;
    Stage stage = Stage::kBeforeAudio;
    std::int64_t frames = 0;
    /// Whether a chunk of an AIFF file could not be ended, or a chunk is being written.
    bool hasOpenChunk = false;

    bool isRf64 = true;
    bool isAbandoned = false;        ///< destroyed without Finish: an old file is kept
    bool hasAllChunks = false;       ///< the chunks after a reader's audio were copied with those before it
    std::vector<unsigned char> tile; ///< empty until the first frame
    std::vector<const float*> planes;
    std::vector<float> floats; ///< the destination of CopyFrames; empty until needed
    std::vector<float*> floatPlanes;

    bool IsOpen() const;
    WaveFile* Wave() const;
    bool BeginAudio(AudioError& outError);
    bool BeginChunk(std::uint32_t inId, std::int64_t inSize, AudioError& outError);
    bool MaySkip(std::int64_t inFrames) const;
    bool Skip(std::int64_t inFrames, AudioError& outError);
    bool Append(const void* inBytes, std::int64_t inFrames, AudioError& outError);
    bool FailToWrite(AudioError& outError, const std::string& inWhat) const;
    bool CopyBytes(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount, AudioError& outError);
    bool CopyFloats(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount, AudioError& outError);
    bool AppendToChunk(const void* inData, std::int64_t inSize, AudioError& outError);
    bool EndChunk(bool inIsWhole, AudioError& outError);
    bool EndOpenChunk(AudioError& outError);
    bool CopyChunk(const AudioChunk& inChunk, AudioError& outError);
    bool Complete(Durability inDurability, AudioError& outError);
    bool CompleteWave(WaveFile& ioWave, Durability inDurability) const;
    bool CompleteAiff(AiffFile& ioAiff, Durability inDurability) const;
    bool Rename(Durability inDurability, AudioError& outError) const;
};

} // namespace kelaudiofile
