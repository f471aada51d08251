#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "kelaudiofile/AudioError.h"
#include "kelaudiofile/AudioFormat.h"
#include "kelaudiofile/Export.h"
#include "kelaudiofile/PeakData.h"

namespace kelaudiofile {

/// @addtogroup audio
/// @{

/// The side of the audio on which a chunk lies. In a file of 0 frames, every chunk is kAfter.
enum class Side { kBefore, kAfter };

class AudioReader;

/// A chunk that is not format, samples or filler. Its contents are read on request.
/// Valid as long as its reader.
class KELAUDIOFILE_EXPORT AudioChunk {
public:
    std::uint32_t Id() const { return mId; }    ///< as made by ChunkId
    std::int64_t Size() const { return mSize; } ///< bytes of data, without the header
    /// Returns the side of the audio on which the chunk lies.
    Side Place() const { return mSide; }

    /// Reads the whole chunk. Check Size() first: a file may claim gigabytes.
    /// @param outData  resized to Size(); its contents are unspecified after a failure.
    /// @param outError  set if the call fails.
    /// @return whether all of it was read.
    bool Read(std::vector<unsigned char>& outData, AudioError& outError) const;
    /// Reads part of the chunk's data.
    /// @param inOffset, inCount  a range of bytes inside 0 to Size().
    /// @param outBytes  room for inCount bytes.
    /// @param outError  set if the call fails.
    /// @return false for a range outside the chunk, a null buffer, or after a failed read.
    bool Read(std::int64_t inOffset, std::int64_t inCount, void* outBytes, AudioError& outError) const;

private:
    friend class ChunkList;
    AudioChunk(AudioReader* inReader, std::int32_t inIndex) : mReader(inReader), mIndex(inIndex) {}

    AudioReader* mReader; ///< null at the end of the list, which is never read
    std::int32_t mIndex;
    std::uint32_t mId = 0;
    std::int64_t mSize = 0;
    Side mSide = Side::kBefore;
};

/// The chunks of a file in file order, for a range-based for loop. Valid as long as its reader.
class KELAUDIOFILE_EXPORT ChunkList {
public:
    /// For range-based for loops only.
    class KELAUDIOFILE_EXPORT iterator {
    public:
        /// The chunk.
        const AudioChunk& operator*() const { return mChunk; }
        /// The chunk.
        const AudioChunk* operator->() const { return &mChunk; }
        /// Moves to the next chunk.
        iterator& operator++();
        /// Returns whether the two refer to different chunks of one list.
        bool operator!=(const iterator& inOther) const { return mChunk.mIndex != inOther.mChunk.mIndex; }

    private:
        friend class ChunkList;
        explicit iterator(const AudioChunk& inChunk) : mChunk(inChunk) {}

        AudioChunk mChunk;
    };

    /// Returns the first chunk.
    iterator begin() const;
    /// Returns the position after the last chunk.
    iterator end() const;

private:
    friend class AudioReader;
    friend class iterator;
    explicit ChunkList(AudioReader& inReader) : mReader(&inReader) {}
    KELAUDIOFILE_HIDDEN static void Fetch(AudioChunk& ioChunk);

    AudioReader* mReader;
};

/// Reads the samples of a wave or AIFF file as planes of floats.
///
/// One thread at a time per object; separate objects on one file are independent. The file must not change
/// while it is open, but it may be deleted, or replaced by another file of the same name.
class KELAUDIOFILE_EXPORT AudioReader {
public:
    /// Opens a file; its first bytes determine whether it is read as a wave or an AIFF file.
    /// @param inPath  the path, passed to the operating system byte for byte.
    /// @param outError  set if the call fails.
    /// @return null with outError set if there is no such file, it is not audio, it is broken, or its samples
    ///        cannot be decoded.
    static std::unique_ptr<AudioReader> Open(std::string_view inPath, AudioError& outError);
    ~AudioReader();

    /// Returns the format. Every number in it is positive, and `samples` is supported. The layout is empty if
    /// the file gives no position of any channel.
    const AudioFormat& Format() const;
    /// Returns the family of the file.
    Container Kind() const;
    /// Returns the number of frames that the file actually holds.
    std::int64_t Frames() const;
    /// Returns whether the size of the samples was missing and was recovered from the length of the file.
    bool Recovered() const;

    /// Decodes frames. Allocates nothing after the first call, whatever the count.
    /// @param inFrame, inCount  a range inside 0 to Frames().
    /// @param outPlanes  one pointer per channel, each to room for inCount floats; null skips a channel.
    /// @param outError  set if the call fails.
    /// @return false, writing nothing, for a range outside the file; false after a failed read, in which case
    ///        the planes hold the frames before the failure. The reader stays usable.
    bool Read(std::int64_t inFrame, std::int64_t inCount, float* const* outPlanes, AudioError& outError);

    /// Reads raw frames: interleaved, in Format().samples.
    /// @param inFrame, inCount  as for Read.
    /// @param outBytes  room for inCount times channels times bytesPerSample bytes.
    /// @param outError  set if the call fails.
    /// @return as for Read.
    bool ReadRaw(std::int64_t inFrame, std::int64_t inCount, void* outBytes, AudioError& outError);

    /// Returns the metadata chunks: `for (const AudioChunk& chunk : reader->Chunks())`.
    ChunkList Chunks();

    /// Returns the underlying file of a reader of a wave file, else null. The reader keeps ownership.
    WaveFile* Wave();
    /// Returns the underlying file of a reader of an AIFF file, else null. The reader keeps ownership.
    AiffFile* Aiff();

private:
    friend class AudioChunk;
    friend class AudioWriter;
    friend class ChunkList;
    struct Impl;
    KELAUDIOFILE_HIDDEN explicit AudioReader(std::unique_ptr<Impl> inImpl);
    std::unique_ptr<Impl> mImpl;
};

/// Receives the frames done and the total; returning false ends the operation with AudioError::kCancelled.
using AudioProgress = std::function<bool(std::int64_t inDone, std::int64_t inTotal)>;

/// Computes the peaks of every channel of a file.
/// @param ioReader  the file.
/// @param inBlockFrames  frames per peak, at least 1; the last block may be shorter.
/// @param inProgress  called every 8,192 frames; may be empty.
/// @param outError  set if the call fails.
/// @return one timeline per channel, whose offsets are frames and whose duration is that of the file; a
///        shorter last block is a separate segment. Empty with outError set after a failure.
KELAUDIOFILE_EXPORT std::vector<std::shared_ptr<PeakData>> MakePeaks(AudioReader& ioReader,
                                                                     std::int64_t inBlockFrames,
                                                                     const AudioProgress& inProgress,
                                                                     AudioError& outError);

/// Options of HashAudio.
struct HashOptions {
    bool trimSilence = false; ///< skip leading and trailing frames whose samples are all 0.0
    AudioProgress
        progress; ///< may be empty; with trimSilence, the file is read twice and its frames count twice
};

/// Feeds the decoded audio of a file to a function, usually the update of a digest: equal audio gives equal
/// bytes, whatever the container, the sample format and the metadata.
///
/// The bytes begin with the number of channels (4 bytes) and the sample rate (a double, 8 bytes), so that
/// files of different shape differ. The samples follow as 32-bit floats: blocks of 8,192 frames, the last one
/// possibly shorter; within a block, all of channel 0, then all of channel 1 and so on. Everything is
/// little-endian. Unlike HashWaveFile, this function decodes the 8-bit samples of wave files as the unsigned
/// values they are.
/// @param inPath  the path, passed to the operating system byte for byte.
/// @param inUpdate  called with each piece, which is valid during the call only.
/// @param inOptions  what is hashed, and how progress is reported.
/// @param outError  set if the call fails.
/// @return false with outError set if the file cannot be opened or read; the digest is then invalid.
KELAUDIOFILE_EXPORT bool
HashAudio(std::string_view inPath,
          const std::function<void(const unsigned char* inBytes, std::uint64_t inByteCount)>& inUpdate,
          const HashOptions& inOptions, AudioError& outError);

/// @}

} // namespace kelaudiofile
