#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "kelaudiofile/AudioError.h"
#include "kelaudiofile/AudioFormat.h"
#include "kelaudiofile/AudioReader.h"
#include "kelaudiofile/Export.h"

namespace kelaudiofile {

/// @addtogroup audio
/// @{

/// What a checkpoint or a finished file survives.
enum class Durability : std::int32_t {
    /// The death of this process. The system has everything that was written, but may take half a minute or
    /// so to write it to the disk, in any order: a power failure during that time can lose any of it.
    kProcess = 0,
    /// Also a power failure and a crash of the system, provided that the disk keeps what it has confirmed.
    /// Waits for the disk twice, each time for a fraction of a millisecond to tens of milliseconds.
    kMachine = 1,
};

/// Options of a writer that most hosts leave at their defaults.
struct WriterOptions {
    /// true: a wave file becomes RF64 in place when it exceeds 4 GiB. false: it stays RIFF and continues in
    /// further `data` chunks, which few other programs read.
    bool rf64 = true;
    /// The file is written next to inPath, under that name with ".part" appended, and renamed by Finish: an
    /// existing file of that name is kept until the new one is complete.
    bool replaceWhenFinished = false;
    /// Writes an AIFF file of integers as little-endian ("sowt"), which some programs misread.
    bool littleEndianAiff = false;
    /// Lays out a wave file for checkpoints that survive a power failure: a filler chunk is put before the
    /// audio if the size field of the audio would otherwise straddle two sectors of a disk, one of which a
    /// power failure may leave unwritten. This option alone syncs nothing; see Durability::kMachine.
    bool durable = false;
};

/// Writes a wave or AIFF file from planes of floats or from bytes.
///
/// A file is written in order: chunks before the audio, frames, chunks after the audio, Finish. The first
/// chunk after frames ends the audio. An AIFF file accepts chunks only before its audio. After a failed write
/// of frames, Frames() counts those that were accepted; a failed write of a chunk may leave it truncated.
/// Writing can continue after a failure, and Finish completes the file with everything accepted before, even
/// on a full disk.
///
/// One thread at a time per object.
class KELAUDIOFILE_EXPORT AudioWriter {
public:
    /// Creates a file. All arguments are checked before anything on disk is touched.
    /// @param inPath  the path, passed to the operating system byte for byte. An existing file
    ///        of that name is replaced.
    /// @param inContainer  the family of the file.
    /// @param inFormat  the byte order and sign of its samples are ignored, since the container
    ///        determines them: a wave file is little-endian with unsigned 8-bit samples, an AIFF file
    ///        big-endian and signed. Mono and stereo with an empty layout get the usual one. A layout
    ///        that a wave file cannot express is left out: its channels are not in the order of the
    ///        channel mask's bits, or have positions without a bit. Format() returns what is written, so
    ///        any layout of a reader is accepted.
    /// @param inOptions  options that most hosts leave at their defaults.
    /// @param outError  set if the call fails.
    /// @return null with outError set; kBadArgument reports what the container cannot hold.
    static std::unique_ptr<AudioWriter> Create(std::string_view inPath, Container inContainer,
                                               const AudioFormat& inFormat, const WriterOptions& inOptions,
                                               AudioError& outError);
    /// Completes the file if Finish was not called, ignoring failures. With replaceWhenFinished, an existing
    /// file is kept, and the new one keeps its temporary name.
    ~AudioWriter();

    /// Returns the format as it is written.
    const AudioFormat& Format() const;
    /// Returns the number of frames accepted so far.
    std::int64_t Frames() const;

    /// Appends frames, rounded to the sample format, clipped and interleaved.
    /// @param inPlanes  one pointer per channel, each to inFrames floats; null is silence. A long silence of
    ///        all channels of a wave file takes no space if the file system supports holes.
    /// @param inFrames  not negative.
    /// @param outError  set if the call fails.
    /// @return whether all of them were accepted; after a failure, Frames() reports how many were.
    bool Write(const float* const* inPlanes, std::int64_t inFrames, AudioError& outError);
    /// Appends raw frames: interleaved, in Format().samples.
    /// @param inBytes  inFrames times channels times bytesPerSample bytes.
    /// @param inFrames  not negative.
    /// @param outError  set if the call fails.
    /// @return as for Write.
    bool WriteRaw(const void* inBytes, std::int64_t inFrames, AudioError& outError);
    /// Appends frames of a reader: bit for bit if coding and width are the same, otherwise through floats.
    /// The numbers of channels must be equal.
    /// @param ioReader  the source.
    /// @param inFirst, inCount  a range of its frames.
    /// @param outError  set if the call fails.
    /// @param inProgress  called about every 128 KiB; may be empty. What was copied before
    ///        it returned false stays.
    /// @return as for Write; false, accepting nothing, if the range is outside the source or the numbers of
    ///        channels differ.
    bool CopyFrames(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount, AudioError& outError,
                    const AudioProgress& inProgress = {});

    /// Writes a metadata chunk. Ids that describe the format or hold the samples are refused.
    /// @param inId  as made by ChunkId.
    /// @param inData, inSize  its data, without a header.
    /// @param outError  set if the call fails.
    /// @return whether the whole chunk was written; after a failure it may be missing or truncated.
    bool WriteChunk(std::uint32_t inId, const void* inData, std::size_t inSize, AudioError& outError);
    /// Copies the metadata chunks on one side of a reader's audio, except those that describe how the old
    /// file stored its samples ("fact", "PEAK") if the new one stores them differently. For an AIFF file,
    /// kBefore copies the chunks of both sides, since none can follow the audio, and kAfter copies nothing.
    /// @param ioReader  the source.
    /// @param inSide  the side of the source's audio.
    /// @param outError  set if the call fails.
    /// @return false at the first chunk that could not be read or written; the ones
    ///        before it have been written.
    bool CopyChunks(AudioReader& ioReader, Side inSide, AudioError& outError);

    /// Makes everything accepted so far survive the death of this process, or also a failure of this machine.
    /// For wave files only: an AIFF file has no size of its samples until Finish.
    ///
    /// With kMachine, what was written after the last checkpoint of that kind may be missing, truncated or
    /// garbled after a power failure, even if a kProcess checkpoint has counted it. If writing to the disk
    /// fails, the system may have dropped pending data, and would not report that again: every later call
    /// with kMachine then fails too. What the last successful one covered is safe; continue in a new file, on
    /// another disk if there is one.
    /// @param inDurability  what to survive; kMachine needs WriterOptions::durable.
    /// @param outError  set if the call fails.
    /// @return false for an AIFF file, a finished one, or after a failed write; what the previous checkpoint
    ///        of the same kind counted is then still safe.
    bool Checkpoint(Durability inDurability, AudioError& outError);
    /// Like Checkpoint with kProcess.
    bool Checkpoint(AudioError& outError);
    /// Ends the audio, completes the headers and closes the file. After a failure the file is closed with
    /// every frame that reached the disk.
    ///
    /// With replaceWhenFinished, the file replaces the old one even after a failed Write; to keep the old one
    /// in that case, call Discard, or do not call Finish.
    /// @param inDurability  what the finished file survives. With kMachine and replaceWhenFinished, the new
    ///        file is synced to the disk before it takes the name of the old one, so that a power failure
    ///        leaves one of the two, complete; if the sync fails, the old one is kept.
    /// @param outError  set if the call fails.
    /// @return whether the file is complete under its name. After a failure only the
    ///        destructor may be called.
    bool Finish(Durability inDurability, AudioError& outError);
    /// Like Finish with kProcess.
    bool Finish(AudioError& outError);
    /// Abandons the file: closes it and deletes what was written. With replaceWhenFinished,
    /// an existing file is kept.
    /// @param outError  set if the call fails.
    /// @return false for a finished file, or if the new one could not be deleted; it is closed in any case.
    bool Discard(AudioError& outError);

private:
    struct Impl;
    KELAUDIOFILE_HIDDEN explicit AudioWriter(std::unique_ptr<Impl> inImpl);
    std::unique_ptr<Impl> mImpl;
};

/// @}

} // namespace kelaudiofile
