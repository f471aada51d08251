#pragma once

#include <cstdint>
#include <memory>

#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Export.h"
#include "kelaudiofile/Frames.h"
#include "kelaudiofile/WaveFormatChunkReader.h"
#include "kelcore/string.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// @addtogroup reading_wave
/// @{

struct WaveFileAccess;

/// A wave file, open either for reading or for writing. Reads RIFF, RF64 and BW64 files of any size. Writes
/// RIFF files, which become RF64 in place if they outgrow RIFF and the caller allowed it.
///
/// All `data` chunks of a file count as one run of sample bytes, in file order; offsets and counts are bytes
/// in that run. The offset of a frame is its number times GetNumChannels times GetBytesPerSample. Bytes are
/// neither swapped nor converted; the routines in DeInterleave.h convert them to floats. Note that 8-bit
/// samples of wave files are unsigned while DeInterleave8Bit reads signed bytes: convert them with
/// ConvertBetweenSigned8BitAudioAndUnsigned first.
///
/// One thread at a time per object; separate objects on one file are independent. A file must not change
/// while it is open for reading.
class KELAUDIOFILE_EXPORT WaveFile {
public:
    /// Why an operation failed.
    struct ExtendedErrorInfo {
        /// The error codes. 9 and 15 are unused.
        enum Code : std::int32_t {
            kNoError = 0,             ///< no failure
            kFileNotFound = 1,        ///< the path names no existing file
            kNotWaveFile = 2,         ///< no RIFF, RF64 or BW64 header, or a form type other than "WAVE"
            kChunkScanFailed = 3,     ///< the file could not be read, or is too short
            kWriteRefused = 4,        ///< not open for writing, or the offset is not the one expected
            kNoFormatChunk = 5,       ///< there is no `fmt ` chunk
            kFormatChunkTooLarge = 6, ///< the `fmt ` chunk is larger than 65,536 bytes
            kBadFormat = 7,     ///< the `fmt ` chunk could not be read; writing: a SampleType outside 1 to 4
            kUnknownFormat = 8, ///< an unknown coding; see formatTag
            kAdpcmFormat = 10,  ///< a known coding that is not supported: Microsoft ADPCM
            kImaAdpcmFormat = 11,     ///< likewise: IMA ADPCM
            kALawFormat = 12,         ///< likewise: A-law
            kMuLawFormat = 13,        ///< likewise: mu-law
            kGsm610Format = 14,       ///< likewise: GSM 6.10
            kOpenForWriteFailed = 16, ///< the header or the `fmt ` chunk could not be written
            kWriteFailed = 17,        ///< writing failed and the block was not accepted; it may be retried
        };

        std::int32_t code = kNoError; ///< one of Code
        std::uint32_t formatTag = 0;  ///< set with kUnknownFormat only; 0 after any other OpenForRead
    };

    /// How the bytes of one sample are interpreted.
    enum SampleType : std::int32_t {
        kNoSampleType = 0,         ///< unknown: a file from OpenForCompessedWrite
        kIntegerSamples = 1,       ///< little-endian integers of the file's width
        kFloatSamples_1 = 2,       ///< IEEE 754 floats of 4 or 8 bytes, full scale plus or minus 1.0
        kFloatSamples_32768 = 3,   ///< 4-byte floats, full scale plus or minus 32768.0
        kFloatSamples_8388608 = 4, ///< 4-byte floats, full scale plus or minus 8388608.0
    };

    /// Makes an object that is not open; it can only be destroyed. Use one of the
    /// three open functions instead.
    WaveFile();
    /// Closes the file. A file open for writing is finished as by FinishWrite, except that an open `data`
    /// chunk keeps the size of the last FinishBlock; errors are ignored.
    ~WaveFile();
    WaveFile(const WaveFile&) = delete;
    WaveFile& operator=(const WaveFile&) = delete;

    /// @name Reading
    /// @{

    /// Opens a file for reading. Lists its chunks and decodes its format, but reads no samples.
    ///
    /// The RIFF header must be at the start of the file: a file that begins with an ID3v2 tag gives
    /// kNotWaveFile. A `data` chunk of size 0 extends to the end of the file if it is followed by
    /// something that does not look like a chunk (see IsRecoveredTruncatedFile). Takes at most about
    /// 24 times the file's size plus 1 MiB of memory, for a file of nothing but one-byte chunks; a
    /// few KiB for ordinary files.
    /// @param inFilePath  the path, passed to the operating system byte for byte.
    /// @param outError  both fields are set, to 0 on success.
    /// @param inStreamFlag  passed to every byte stream on the file.
    /// @return a new object, which the caller deletes, or null with outError set.
    /// @throws kelcore::filesupport::file_exception if the file disappears or fails at the end of the call,
    ///        after its headers have been read; std::bad_alloc
    static WaveFile* OpenForRead(const kelcore::UTF8String& inFilePath, ExtendedErrorInfo& outError,
                                 bool inStreamFlag);

    /// Reads raw sample bytes. All `data` chunks count as one contiguous run. Reopens a suspended file.
    /// @param inOffset, inByteCount  bytes; negative values are rejected.
    /// @param outBuffer  room for inByteCount bytes; keeps what was read before a failure.
    /// @return false past the end of the data, for a null buffer, or if the read fails, which is logged; the
    ///        file stays usable. true for a count of 0.
    /// @throws std::bad_alloc; the file stays usable.
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);

    /// Describes a metadata chunk, which is any chunk except "JUNQ", "fmt ", "ds64", "JUNK", "FLLR" and
    /// "data". Repeated ids are listed as often as they occur; empty chunks are not listed.
    /// @param inIndex  from 0, in file order.
    /// @param outChunkID  its id; the lowest byte is the first character on disk.
    /// @param outSize  bytes of the chunk including its 8-byte header, without its pad byte.
    /// @param outPosition  where the chunk lies relative to the audio: below 0.5 before it, from 0.5 to 1
    ///        after it. A chunk between the first and the last `data` chunk is at 0.5, just after the audio;
    ///        if the audio extends to the end of the file, it is at 1 instead.
    /// @return false, leaving the outputs unchanged, if there is no such chunk.
    bool GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                         double& outPosition);

    /// Reads bytes of a metadata chunk. Reopens a suspended file.
    /// @param inIndex  as for GetMetadataInfo.
    /// @param inOffset  bytes from the chunk's header: 0 is the first byte of its id, 8
    ///        the first byte of its data.
    /// @param inByteCount  below 2^31, and not past the end of the chunk.
    /// @param outBuffer  room for inByteCount bytes.
    /// @return false for a range that does not fit, a null buffer, or a failed read, which is logged.
    /// @throws std::bad_alloc; the file stays usable.
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);

    /// Returns whether the last `data` chunk had size 0 and was extended to the end of the file.
    bool IsRecoveredTruncatedFile() const;

    /// Returns whether the samples are contiguous. The magic of the file does not matter: a plain RIFF file
    /// with one `data` chunk gives true as well.
    /// @return false for a file read with two or more `data` chunks, true for all others.
    bool IsRf64Format() const;

    /// Closes the file until the next read reopens it. All queries keep working. Has no effect on
    /// a file open for writing.
    /// @return true.
    bool Suspend();

    /// @}
    /// @name Queries
    /// @{

    /// Returns the number of whole frames; a frame is one sample of every channel. For a file open for
    /// writing, these are the frames written so far, as a reader would count them. Negative if the file
    /// claims a negative channel count.
    std::int64_t GetSampleCount() const;
    /// Returns frames per second.
    std::int32_t GetSampleRate() const;
    /// Returns the number of channels. A broken file can claim 0 or a negative number.
    std::int32_t GetNumChannels() const;
    /// Returns the bytes of one channel's sample.
    std::int32_t GetBytesPerSample() const;
    /// Returns the container bits of a sample, not the valid bits; 32 for a file read as
    /// kFloatSamples_8388608.
    std::int32_t GetSampleBitDepth() const;
    /// Returns how the bytes of one sample are interpreted.
    SampleType GetSampleType() const;
    /// Returns the format as stored in the `fmt ` chunk, or as it was requested for writing.
    AudioCharacteristics GetRiffAudioCharacteristics() const;
    /// Returns the layout given by the channel mask or the Ambisonic format. Without either, the mono or
    /// stereo layout according to the channel count, or an empty vector.
    kelmediatypes::ChannelLayout GetChannelLayout() const;

    /// @}
    /// @name Writing
    /// Chunks are written to the file in the order of the calls. The usual order is: open, metadata
    /// that precedes the audio, WriteSampleBytes with FinishBlock as often as wanted, FinishSamples,
    /// metadata that follows the audio, FinishWrite. None of these calls logs, and only the opens
    /// throw. A chunk must be finished before another one starts: a call that would start one inside
    /// another is refused and writes nothing.
    /// @{

    /// Creates a file.
    ///
    /// An existing file of that name is deleted first, and stays deleted even if the open then fails; if the
    /// name is a symbolic link, the link is deleted and its target stays. The `fmt ` chunk is built from the
    /// arguments: the valid bits equal the container bits, and nothing else of another file's `fmt ` chunk
    /// can be carried over. Float files get no `fact` chunk.
    /// @param inFilePath  the path, passed to the operating system byte for byte.
    /// @param inSampleRate  frames per second.
    /// @param inNumChannels, inBytesPerSample  written as they are, unchecked.
    /// @param inBitDepth  container bits of one sample. kFloatSamples_8388608 always writes 4 bytes and 24
    ///        bits. kFloatSamples_32768 needs 4 bytes, 32 bits and a mono or stereo layout; otherwise it
    ///        reads back as integers.
    /// @param inSampleType  how the caller's bytes are interpreted; a value outside 1 to 4 gives kBadFormat,
    ///        and nothing is touched on disk.
    /// @param inChannelLayout  mono, stereo, or what a channel mask can express in its order;
    ///        any other layout is not written. A layout that begins with 134 makes integers
    ///        and kFloatSamples_1 Ambisonic.
    /// @param inFlags  bit 0 set: the file may become RF64 when it exceeds 4 GiB. Clear: it stays RIFF and
    ///        continues in further `data` chunks.
    /// @param outError  its code is set, its formatTag left alone.
    /// @param inStreamFlag  lets WriteSampleBytes accept any offset.
    /// @return a new object, which the caller deletes, or null with kBadFormat or kOpenForWriteFailed.
    /// @throws kelcore::filesupport::file_exception if an existing file cannot be deleted; std::bad_alloc
    static WaveFile* OpenForWrite(const kelcore::UTF8String& inFilePath, std::int32_t inSampleRate,
                                  std::int32_t inNumChannels, std::int32_t inBytesPerSample,
                                  std::int32_t inBitDepth, SampleType inSampleType,
                                  const kelmediatypes::ChannelLayout& inChannelLayout, std::uint32_t inFlags,
                                  ExtendedErrorInfo& outError, bool inStreamFlag);

    /// Creates a file with a format that this library does not interpret. It never becomes RF64. An existing
    /// file of that name is deleted first.
    /// @param inFilePath  the path, passed to the operating system byte for byte.
    /// @param inFormatChunk  the data of the `fmt ` chunk; null or a size below 1 writes a PCM chunk with all
    ///        other fields 0.
    /// @param inFormatChunkSize  bytes of that data.
    /// @param inUnused  ignored.
    /// @param outError  its code is set on failure only.
    /// @param inStreamFlag  as for OpenForWrite.
    /// @return a new object, which the caller deletes, or null with kOpenForWriteFailed.
    /// @throws kelcore::filesupport::file_exception if an existing file cannot be deleted; std::bad_alloc
    static WaveFile* OpenForCompessedWrite(const kelcore::UTF8String& inFilePath,
                                           const std::uint8_t* inFormatChunk, std::int32_t inFormatChunkSize,
                                           std::uint32_t inUnused, ExtendedErrorInfo& outError,
                                           bool inStreamFlag);

    /// Writes a block of raw sample bytes.
    ///
    /// In a file that may not become RF64, a block that would take a `data` chunk to 2^32 bytes goes entirely
    /// into a new one, and a block written after FinishSamples begins a new `data` chunk, which holds the
    /// bytes from inOffset on. A file that may become RF64 has only one `data` chunk and refuses blocks after
    /// FinishSamples.
    /// @param inOffset  where the block goes, in bytes: the end of the last block, unless inStreamFlag was
    ///        true at the open. Then any offset is accepted that is not below the start of the open `data`
    ///        chunk (or, if that was finished, not below its end). FinishBlock and FinishSamples take the end
    ///        of the last block as the end of the data, so the block that ends the data must be the last one
    ///        before each of them. Otherwise the size counts too little, and if it is odd, its pad byte
    ///        overwrites the first sample byte after it.
    /// @param inByteCount  bytes; 0 opens the `data` chunk.
    /// @param inBuffer  the bytes; not kept.
    /// @param outError  its code is set, to 0 on success.
    /// @return false with kWriteRefused, changing nothing, for a negative offset or count, a null buffer, an
    ///        offset that is not accepted, or an open metadata chunk; false with kWriteFailed if writing
    ///        failed, after which the same block may be retried.
    bool WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer,
                          ExtendedErrorInfo& outError);

    /// Begins a metadata chunk.
    /// @param inChunkID  its id; the lowest byte is the first character on disk.
    /// @return false if another chunk is open, the file is not open for writing, or writing failed.
    bool StartMetadatumWrite(std::uint32_t inChunkID);
    /// Appends bytes to the open metadata chunk. Between chunks, appends them to the file as they are.
    /// @param inBuffer  the bytes; not kept.
    /// @param inByteCount  bytes.
    /// @return false while a `data` chunk is open, for a negative count, for a null buffer, if the file is
    ///        not open for writing, or if writing failed.
    bool MetadatumWrite(const std::uint8_t* inBuffer, std::int32_t inByteCount);
    /// Ends the open metadata chunk; has no effect if none is open.
    /// @return false if the file is not open for writing, or if the chunk's size could not be written. The
    ///        chunk counts as ended nevertheless; a later call writes the size before anything else.
    bool FinishMetadatumWrite();

    /// Ends the open `data` chunk; has no effect if none is open. After it has returned true, the file
    /// contains nothing of blocks whose writing failed.
    /// @return as for FinishMetadatumWrite. After false, the size counts the whole frames that reached the
    ///        file, so that what was recorded before the disk became full can be read.
    bool FinishSamples();

    /// Makes a checkpoint, after which writing continues. If it returns true, everything written so far is in
    /// the file and counted by its sizes: whatever happens to this process afterwards, the file reads back
    /// complete up to this point.
    /// @return false if the file is not open for writing, or if writing failed; it may be called again. As
    ///        after FinishSamples, the sizes count what reached the file, and never less than before.
    bool FinishBlock();

    /// Makes a checkpoint that survives a power failure. If it returns true, everything written so far is on
    /// the device and counted by its sizes there: whatever happens to this machine afterwards, the file reads
    /// back complete up to this point, provided that the device keeps what it has confirmed. What was written
    /// later may be missing, truncated or garbled, even if a size counts it.
    ///
    /// The call waits for the device twice, each time for a fraction of a millisecond to tens of
    /// milliseconds. The first call also syncs the file's name, for which its folder must be readable; a
    /// relative path is resolved again for that.
    ///
    /// One gap remains on a device that can tear a write between two sectors: a `data` size that straddles a
    /// multiple of 512 bytes in the file, which is the case if the chunk's header begins 505 to 507 bytes
    /// after one. A "JUNK" chunk before it moves it.
    /// @return false if the file is not open for writing, or if writing failed; then the same holds as for
    ///        FinishBlock, and it may be called again. Also false if the device could not be written to. The
    ///        system may then have dropped pending data, and would not report that again: every later call
    ///        returns false too, and only what the last successful call covered is safe. Continue in a new
    ///        file, on another device if there is one.
    bool FinishBlockOnDisk();

    /// Completes the file and closes it. An open chunk is not ended: without FinishSamples, the call returns
    /// true and the `data` size stays that of the last FinishBlock. Without FinishBlock it stays 0, and most
    /// other programs see an empty file.
    /// @return false if writing failed, though the file is closed even then, or if the file
    ///        is not open for writing.
    bool FinishWrite();

    /// @}

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
    friend struct WaveFileAccess;
    friend KELAUDIOFILE_EXPORT DeinterleaveFunction GetDeinterleaveFunction(const WaveFile& inWaveFile);
};

/// Chooses the routine that converts the file's sample bytes to float planes.
/// @return null if there is none, as for 12-bit samples in 2 bytes. Samples of 1, 2 and 3 bytes must have 8,
///        16 and 24 bits; for 4 and 8 bytes only the sample type matters.
KELAUDIOFILE_EXPORT DeinterleaveFunction GetDeinterleaveFunction(const WaveFile& inWaveFile);

/// Describes the file's samples for DecodeFrames: little-endian, 8-bit samples unsigned.
/// @return a format that IsSupported rejects if GetDeinterleaveFunction returns null.
KELAUDIOFILE_EXPORT SampleFormat GetSampleFormat(const WaveFile& inWaveFile);

/// @}

} // namespace kelaudiofile
