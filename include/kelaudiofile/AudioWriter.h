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

/// What a checkpoint or a finished file outlives.
enum class Durability : std::int32_t {
    /// The death of this process. What was written is with the system, which takes up to half a minute or so
    /// to bring it to the disk, in an order of its own: a power cut in that time can leave any of it out.
    kProcess = 0,
    /// A power cut and a crash of the system too, as far as the disk keeps what it has confirmed. Waits for
    /// the disk twice: fractions of a millisecond to tens of them.
    kMachine = 1,
};

/// Choices of a writer that most hosts leave alone.
struct WriterOptions {
    /// A wave file becomes RF64 in place when it passes 4 GiB; false: it stays RIFF and continues in further
    /// `data` chunks, which few other programs read.
    bool rf64 = true;
    /// The file is written beside inPath, under that name and ".part", and renamed by Finish: an old file of
    /// that name survives until the new one is whole.
    bool replaceWhenFinished = false;
    /// An AIFF file of integers is written little-endian ("sowt"), which some programs misread.
    bool littleEndianAiff = false;
    /// A wave file is laid out for checkpoints that outlive the machine: a filler chunk goes in front of the
    /// audio where the size of that would lie across two sectors of a disk, of which a power cut may leave
    /// one unwritten. It syncs nothing by itself; see Durability::kMachine.
    bool durable = false;
};

/// Writes a wave or AIFF file from planes of floats or from bytes.
///
/// A file is written in order: chunks before the audio, frames, chunks after the audio, Finish. The first
/// chunk after frames ends the audio. An AIFF file takes chunks before its audio only. A failed
/// write of frames has taken those that Frames() counts, a failed write of a chunk may leave it cut short.
/// The file can go on, and Finish completes it with everything taken before, on a full disk too.
///
/// An object is used by one thread at a time.
class KELAUDIOFILE_EXPORT AudioWriter {
public:
    /// Creates a file. Every argument is checked before anything on disk is touched.
    /// @param inPath  the path in the bytes that the system takes. A file of that name is replaced.
    /// @param inContainer  the family of the file.
    /// @param inFormat  byte order and sign of its samples follow from the container, whatever they say: a
    /// wave file is little-endian with unsigned 8-bit samples, an AIFF file big-endian and signed. Mono and
    /// stereo with an empty layout get the usual one. A layout that a wave file cannot express is left out:
    /// its channels have another order than the bits of a channel mask, or positions that have no bit.
    /// Format() has what is written, so any layout of a reader is accepted.
    /// @param inOptions  choices that most hosts leave alone.
    /// @param outError  set if the call fails.
    /// @return null with outError set: kBadArgument names what the container cannot hold.
    static std::unique_ptr<AudioWriter> Create(std::string_view inPath, Container inContainer,
                                               const AudioFormat& inFormat, const WriterOptions& inOptions,
                                               AudioError& outError);
    /// Completes the file, if Finish was not called; a failure is lost. With replaceWhenFinished, an old file
    /// stays, and the new one keeps its other name.
    ~AudioWriter();

    /// @return the format as it is written.
    const AudioFormat& Format() const;
    /// @return the frames taken so far.
    std::int64_t Frames() const;

    /// Appends frames: rounds to the sample format, clips, interleaves.
    /// @param inPlanes  one pointer per channel, each to inFrames floats; null is silence. A long silence of
    /// all channels of a wave file takes no room where the file system has holes.
    /// @param inFrames  not negative.
    /// @param outError  set if the call fails.
    /// @return whether all of them were taken; after a failure, Frames() says how many were.
    bool Write(const float* const* inPlanes, std::int64_t inFrames, AudioError& outError);
    /// Appends interleaved frames as they are to lie in the file, in Format().samples.
    /// @param inBytes  inFrames times channels times bytesPerSample bytes.
    /// @param inFrames  not negative.
    /// @param outError  set if the call fails.
    /// @return as for Write.
    bool WriteRaw(const void* inBytes, std::int64_t inFrames, AudioError& outError);
    /// Appends frames of a reader: bit by bit where coding and width are the same, else by way of floats.
    /// The numbers of channels must be equal.
    /// @param ioReader  the source.
    /// @param inFirst, inCount  a range of its frames.
    /// @param outError  set if the call fails.
    /// @param inProgress  called every 128 KiB or so; may be empty. What was copied before it returned false
    /// stays.
    /// @return as for Write; false with nothing taken if the range is outside the source or the channels
    /// differ.
    bool CopyFrames(AudioReader& ioReader, std::int64_t inFirst, std::int64_t inCount, AudioError& outError,
                    const AudioProgress& inProgress = {});

    /// Writes a metadata chunk. Ids that describe the format or hold the samples are refused.
    /// @param inId  as ChunkId makes it.
    /// @param inData, inSize  its data, without a header.
    /// @param outError  set if the call fails.
    /// @return whether the whole chunk was written; after a failure it may be missing or cut short.
    bool WriteChunk(std::uint32_t inId, const void* inData, std::size_t inSize, AudioError& outError);
    /// Copies the metadata chunks on one side of a reader's audio, but for those that describe how the old
    /// file stored its samples ("fact", "PEAK") where the new one differs. Into an AIFF file, kBefore copies
    /// the chunks of both sides, since none can follow the audio, and kAfter nothing more.
    /// @param ioReader  the source.
    /// @param inSide  the side of the source's audio.
    /// @param outError  set if the call fails.
    /// @return false at the first chunk that could not be read or written; the ones before it are there.
    bool CopyChunks(AudioReader& ioReader, Side inSide, AudioError& outError);

    /// Makes everything taken so far outlive this process, or this machine too. Wave files only: an AIFF file
    /// has no size of its samples until Finish.
    ///
    /// With kMachine, what was written after the last checkpoint of that kind may be missing, cut short or
    /// garbled after a power cut, also where a kProcess one has counted it. Once the disk could not be
    /// written to, the system may have dropped what was on its way, and would not say so again: then every
    /// later call with kMachine fails too. What the last one that worked covered is safe; go on in a new
    /// file, on another disk if there is one.
    /// @param inDurability  what it is to outlive; kMachine wants WriterOptions::durable.
    /// @param outError  set if the call fails.
    /// @return false for an AIFF file, a finished one, or after a failed write; what the previous checkpoint
    /// of the same kind counted is then still safe.
    bool Checkpoint(Durability inDurability, AudioError& outError);
    /// As Checkpoint with kProcess.
    bool Checkpoint(AudioError& outError);
    /// Ends the audio, completes the headers and closes the file. After a failure the file is closed with
    /// every frame that reached the disk.
    ///
    /// With replaceWhenFinished, it replaces the old file, after a failed Write too: to keep the old one
    /// then, call Discard or leave the rest to the destructor.
    /// @param inDurability  what the finished file is to outlive. With kMachine and replaceWhenFinished, the
    /// new file is on the disk before it takes the name of the old one, so that a power cut leaves one of the
    /// two, whole; if it cannot be brought there, the old one stays.
    /// @param outError  set if the call fails.
    /// @return whether the file is complete under its name. After a failure no call but the destructor is
    /// left.
    bool Finish(Durability inDurability, AudioError& outError);
    /// As Finish with kProcess.
    bool Finish(AudioError& outError);
    /// Gives the file up: closes it and deletes what was written. With replaceWhenFinished, an old file
    /// stays.
    /// @param outError  set if the call fails.
    /// @return false for a finished file, or if the new one could not be deleted; it is closed all the same.
    bool Discard(AudioError& outError);

private:
    struct Impl;
    KELAUDIOFILE_HIDDEN explicit AudioWriter(std::unique_ptr<Impl> inImpl);
    std::unique_ptr<Impl> mImpl;
};

/// @}

} // namespace kelaudiofile
