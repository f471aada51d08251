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

struct WaveFileAccess;

/// A wave file, open for reading or for writing. RIFF, RF64 and BW64 files of any size are read; files are
/// written as RIFF, and turn into RF64 in place when they outgrow it and were allowed to.
///
/// All `data` chunks of a file count as one run of sample bytes, in file order; offsets and counts are bytes
/// in that run. The place of a frame is its number times GetNumChannels times GetBytesPerSample. Bytes are
/// neither swapped nor converted: see DeInterleave.h for what makes floats of them. Note that 8-bit samples
/// of wave files are unsigned while DeInterleave8Bit reads signed bytes;
/// ConvertBetweenSigned8BitAudioAndUnsigned stands between the two.
///
/// One thread at a time per object; separate objects on one file are independent. A file is taken to be
/// unchanged while it is open for reading.
class KELAUDIOFILE_EXPORT WaveFile {
public:
    /// Why an operation failed.
    struct ExtendedErrorInfo {
        /// The reasons. 9 and 15 are not given.
        enum Code : std::int32_t {
            kNoError = 0,             ///< no failure
            kFileNotFound = 1,        ///< the path names no existing file
            kNotWaveFile = 2,         ///< no RIFF, RF64 or BW64 header, or a form type other than "WAVE"
            kChunkScanFailed = 3,     ///< the file could not be read, or is too short
            kWriteRefused = 4,        ///< not open for writing, or the offset is not the one expected
            kNoFormatChunk = 5,       ///< there is no `fmt ` chunk
            kFormatChunkTooLarge = 6, ///< the `fmt ` chunk is larger than 65,536 bytes
            kBadFormat = 7,     ///< the `fmt ` chunk could not be read; writing: a SampleType outside 1 to 4
            kUnknownFormat = 8, ///< a coding that is not known; formatTag says which
            kAdpcmFormat = 10,  ///< a coding that is recognised, but not read: Microsoft ADPCM
            kImaAdpcmFormat = 11,     ///< the same: IMA ADPCM
            kALawFormat = 12,         ///< the same: A-law
            kMuLawFormat = 13,        ///< the same: mu-law
            kGsm610Format = 14,       ///< the same: GSM 6.10
            kOpenForWriteFailed = 16, ///< the header or the `fmt ` chunk could not be written
            kWriteFailed = 17,        ///< writing failed, and the block is not taken; it may be offered again
        };

        std::int32_t code = kNoError; ///< one of Code
        std::uint32_t formatTag = 0;  ///< set with kUnknownFormat only; 0 after any other OpenForRead
    };

    /// How the bytes of one sample are to be taken.
    enum SampleType : std::int32_t {
        kNoSampleType = 0,         ///< nothing known: a file from OpenForCompessedWrite
        kIntegerSamples = 1,       ///< little-endian integers of the file's width
        kFloatSamples_1 = 2,       ///< IEEE 754 floats of 4 or 8 bytes, full scale plus or minus 1.0
        kFloatSamples_32768 = 3,   ///< 4-byte floats, full scale plus or minus 32768.0
        kFloatSamples_8388608 = 4, ///< 4-byte floats, full scale plus or minus 8388608.0
    };

    /// Makes an object that is not open; only its destruction is of use. See the three open functions.
    WaveFile();
    /// Closes the file. A file under writing is closed as FinishWrite would, but with what the last
    /// FinishBlock said about a `data` chunk that is still open, and failures are lost.
    ~WaveFile();
    WaveFile(const WaveFile&) = delete;
    WaveFile& operator=(const WaveFile&) = delete;

    /// @name Reading
    /// @{

    /// Opens a file. Chunks are listed, the format is decoded, no sample is read. A `data` chunk of size 0
    /// with something behind it that does not look like a chunk is taken to reach to the end of the file (see
    /// IsRecoveredTruncatedFile). Memory: at most about 24 times the file's size plus 1 MiB, for a file of
    /// nothing but one-byte chunks; a few KiB for ordinary files.
    /// The header must be the first byte of the file: one with an ID3v2 tag in front of it is kNotWaveFile.
    /// @param inFilePath  the path in the bytes that the system takes.
    /// @param outError  both fields are set, to 0 on success.
    /// @param inStreamFlag  handed to every byte stream on the file.
    /// @return an object that the caller deletes, or null with outError set.
    /// @throws kelcore::filesupport::file_exception if the file vanishes or fails at the end of the call,
    /// when its headers have been read; std::bad_alloc
    static WaveFile* OpenForRead(const kelcore::UTF8String& inFilePath, ExtendedErrorInfo& outError,
                                 bool inStreamFlag);

    /// Reads sample bytes as they lie in the file, all `data` chunks taken as one run. Reopens a suspended
    /// file.
    /// @param inOffset, inByteCount  bytes; negative ones are refused.
    /// @param outBuffer  room for inByteCount bytes; keeps what was read before a failure.
    /// @return false past the end of the data, for a null buffer, or after a failed read, which is logged;
    /// the file stays usable. true for a count of 0.
    /// @throws std::bad_alloc; the file stays usable
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);

    /// Describes a metadata chunk: any chunk but "JUNQ", "fmt ", "ds64", "JUNK", "FLLR" and "data". Repeated
    /// ids are listed as often as they occur; empty chunks are not.
    /// @param inIndex  from 0, in file order.
    /// @param outChunkID  its id; the lowest byte is the first character on disk.
    /// @param outSize  bytes of the chunk with its 8-byte header, without its pad byte.
    /// @param outPosition  where the chunk lies against the audio: below 0.5 before it, from 0.5 to 1 behind
    /// it. A chunk between the first and the last `data` chunk is at 0.5, just behind the audio, unless the
    /// audio ends with the file: then it is at 1.
    /// @return false, with the results left alone, if there is no such chunk.
    bool GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                         double& outPosition);

    /// Reads bytes of a metadata chunk. Reopens a suspended file.
    /// @param inIndex  as for GetMetadataInfo.
    /// @param inOffset  from the chunk's header: 0 is the first byte of its id, 8 the first byte of its data.
    /// @param inByteCount  below 2^31, and not past the chunk's end.
    /// @param outBuffer  room for inByteCount bytes.
    /// @return false for a range that does not fit, a null buffer, or a failed read, which is logged.
    /// @throws std::bad_alloc; the file stays usable
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);

    /// @return whether the last `data` chunk had a size of 0 and was taken to reach to the end of the file.
    bool IsRecoveredTruncatedFile() const;

    /// Says whether the samples are in one piece. It does not look at the file's first four bytes: a plain
    /// RIFF file with one `data` chunk answers true as well.
    /// @return false for a file read with two or more `data` chunks, true for all others.
    bool IsRf64Format() const;

    /// Closes the file until the next read opens it again. All queries go on working. On a file under
    /// writing, nothing happens.
    /// @return true.
    bool Suspend();

    /// @}
    /// @name Queries
    /// @{

    /// @return frames, whole ones: one frame is one sample of every channel. On a file under writing, the
    /// frames written so far, as a reader would count them. Negative if the file claims a negative channel
    /// count.
    std::int64_t GetSampleCount() const;
    /// @return frames per second.
    std::int32_t GetSampleRate() const;
    /// @return channels. A broken file can claim a negative number or none.
    std::int32_t GetNumChannels() const;
    /// @return bytes of one channel's sample.
    std::int32_t GetBytesPerSample() const;
    /// @return container bits of one sample, not the valid bits; 32 for a file read as kFloatSamples_8388608.
    std::int32_t GetSampleBitDepth() const;
    /// @return how the bytes of one sample are to be taken.
    SampleType GetSampleType() const;
    /// @return the format as the `fmt ` chunk says it, or as it was asked to be written.
    AudioCharacteristics GetRiffAudioCharacteristics() const;
    /// @return the layout of the channel mask, or of the Ambisonic format. Without one, the mono or stereo
    /// layout by channel count, or an empty vector.
    kelmediatypes::ChannelLayout GetChannelLayout() const;

    /// @}
    /// @name Writing
    /// Chunks land in the file in the order of the calls. The usual order is: open, metadata that stands
    /// before the audio, WriteSampleBytes with FinishBlock as often as wanted, FinishSamples, metadata that
    /// stands behind the audio, FinishWrite. None of these calls throws or logs. A chunk must be finished
    /// before another one starts: a call that would start one inside another is refused and writes nothing.
    /// @{

    /// Creates a file. A file of that name is deleted first, and gone even if the open then fails; of a
    /// symbolic link, the link is deleted and its target stays. The `fmt ` chunk is made of the arguments:
    /// the valid bits equal the container bits, and nothing else of another file's `fmt ` chunk is carried
    /// over. Float files get no `fact` chunk.
    /// @param inFilePath  the path in the bytes that the system takes.
    /// @param inSampleRate  frames per second.
    /// @param inNumChannels, inBytesPerSample  written as they are, without a check.
    /// @param inBitDepth  container bits of one sample. kFloatSamples_8388608 writes 4 bytes and 24 bits
    /// whatever is
    ///                    given; give kFloatSamples_32768 4 bytes and 32 bits, and a mono or stereo layout,
    ///                    or it reads back as integers.
    /// @param inSampleType  how the caller's bytes are to be taken; outside 1 to 4, kBadFormat, and nothing
    /// is touched on disk.
    /// @param inChannelLayout  mono, stereo, or what a channel mask can say in its order; anything else is
    /// left out. A
    ///                         layout that begins with 134 makes integers and kFloatSamples_1 Ambisonic.
    /// @param inFlags  bit 0: the file may turn into RF64 when it passes 4 GiB. Clear: it stays RIFF, and
    /// goes on in
    ///                 further `data` chunks.
    /// @param outError  its code is set, its formatTag left alone.
    /// @param inStreamFlag  lets WriteSampleBytes take any offset.
    /// @return an object that the caller deletes, or null with kBadFormat or kOpenForWriteFailed.
    /// @throws kelcore::filesupport::file_exception if an existing file cannot be deleted
    static WaveFile* OpenForWrite(const kelcore::UTF8String& inFilePath, std::int32_t inSampleRate,
                                  std::int32_t inNumChannels, std::int32_t inBytesPerSample,
                                  std::int32_t inBitDepth, SampleType inSampleType,
                                  const kelmediatypes::ChannelLayout& inChannelLayout, std::uint32_t inFlags,
                                  ExtendedErrorInfo& outError, bool inStreamFlag);

    /// Creates a file of a format that this library knows nothing of. It never becomes RF64. A file of that
    /// name is deleted first.
    /// @param inFilePath  the path in the bytes that the system takes.
    /// @param inFormatChunk  the data of the `fmt ` chunk; null or a size below 1 writes one of zeros that
    /// says PCM.
    /// @param inFormatChunkSize  bytes of that data.
    /// @param inUnused  ignored.
    /// @param outError  its code is set on failure only.
    /// @param inStreamFlag  as for OpenForWrite.
    /// @return an object that the caller deletes, or null with kOpenForWriteFailed.
    /// @throws kelcore::filesupport::file_exception if an existing file cannot be deleted
    static WaveFile* OpenForCompessedWrite(const kelcore::UTF8String& inFilePath,
                                           const std::uint8_t* inFormatChunk, std::int32_t inFormatChunkSize,
                                           std::uint32_t inUnused, ExtendedErrorInfo& outError,
                                           bool inStreamFlag);

    /// Writes a block of sample bytes as they are to stand in the file.
    ///
    /// Without RF64, a block that would take a `data` chunk to 2^32 bytes goes whole into a new one. After
    /// FinishSamples a new `data` chunk begins and stands for the bytes from inOffset on; a file that may be
    /// RF64 has one `data` chunk only, and refuses.
    /// @param inOffset  where the block goes, in bytes: the end of the last block, unless the open's
    /// inStreamFlag was
    ///                  true. Then any offset is taken that is not below the start of the open `data` chunk
    ///                  (or, if that was finished, not below its end). FinishBlock and FinishSamples take the
    ///                  end of the last block for the end of the data, so the block that ends it must come
    ///                  last before each of them. Otherwise the size counts too little, and if it is odd,
    ///                  its pad byte overwrites the first sample byte after it.
    /// @param inByteCount  bytes; 0 opens the `data` chunk.
    /// @param inBuffer  the bytes; not kept.
    /// @param outError  its code is set, to 0 on success.
    /// @return false with kWriteRefused, everything as it was, for a negative offset or count, a null buffer,
    /// an offset
    ///         that is not taken, or an open metadata chunk; false with kWriteFailed if writing failed: the
    ///         same block may be offered again.
    bool WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const std::uint8_t* inBuffer,
                          ExtendedErrorInfo& outError);

    /// Begins a metadata chunk.
    /// @param inChunkID  its id; the lowest byte is the first character on disk.
    /// @return false if another chunk is open, the file is not open for writing, or writing failed.
    bool StartMetadatumWrite(std::uint32_t inChunkID);
    /// Appends bytes where the file ends: to the open metadata chunk, or, between chunks, as they are.
    /// @param inBuffer  the bytes; not kept.
    /// @param inByteCount  bytes.
    /// @return false inside samples, for a negative count, for a null buffer, if the file is not open for
    /// writing, or if writing failed.
    bool MetadatumWrite(const std::uint8_t* inBuffer, std::int32_t inByteCount);
    /// Ends the open metadata chunk; without one, does nothing.
    /// @return false if the file is not open for writing, or if the chunk's size could not be written. The
    /// chunk counts as ended even so; its size is written before anything else follows it, by this call again
    /// or by the next one.
    bool FinishMetadatumWrite();

    /// Ends the open `data` chunk; without one, does nothing. Once it has returned true, nothing of a block
    /// that was refused for a failed write is left in the file.
    /// @return as of FinishMetadatumWrite. After false, the size counts the whole frames that did reach the
    /// file, so that what was recorded up to a full disk can be read.
    bool FinishSamples();

    /// A checkpoint, after which writing goes on. When it returns true, everything written so far is in the
    /// file and counted by its sizes: whatever then happens to this process, the file reads back complete up
    /// to here.
    /// @return false if the file is not open for writing, or if writing failed; it may be called again. As
    /// after FinishSamples, the sizes count what did reach the file, and never less than before.
    bool FinishBlock();

    /// A checkpoint that outlives a power cut. When it returns true, everything written so far is on the
    /// device and counted by its sizes there: whatever then happens to this machine, the file reads back
    /// complete up to here, as far as the device keeps what it has confirmed. What was written afterwards may
    /// be missing, cut short or garbled, also where a size counts it.
    ///
    /// It waits for the device twice, a fraction of a millisecond to tens of them. The first call also brings
    /// the file's name to the device, for which its folder must be readable; a relative path is looked up
    /// again then.
    ///
    /// One gap is left to a device that can tear a write between two sectors: a `data` size that lies across
    /// a multiple of 512 bytes in the file, which is so where the chunk's header begins 505 to 507 bytes
    /// after one. A "JUNK" chunk in front of it moves it.
    /// @return false if the file is not open for writing, or if writing failed; then what FinishBlock says
    /// holds, and it may be called again. False also if the device could not be written to. The system may
    /// have dropped what was on its way then, and would not say so again: each later call returns false too,
    /// and only what the last call that returned true covered is safe. Go on in a new file, on another device
    /// if there is one.
    bool FinishBlockOnDisk();

    /// Completes the file and closes it. It does not end a chunk that is open: without FinishSamples it
    /// returns true and leaves the `data` size of the last FinishBlock. Without any, that is 0, and most
    /// other programs see an empty file.
    /// @return false if writing failed, when the file is closed all the same, or if the file is not open for
    /// writing.
    bool FinishWrite();

    /// @}

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
    friend struct WaveFileAccess;
    friend KELAUDIOFILE_EXPORT DeinterleaveFunction GetDeinterleaveFunction(const WaveFile& inWaveFile);
};

/// Picks the routine that makes float planes of the file's sample bytes.
/// @return null if there is none, as for 12-bit samples in 2 bytes. 1, 2 and 3 bytes need 8, 16 and 24 bits;
/// 4 and 8 bytes go by the sample type alone.
KELAUDIOFILE_EXPORT DeinterleaveFunction GetDeinterleaveFunction(const WaveFile& inWaveFile);

/// Describes the file's samples for DecodeFrames: little-endian, those of 8 bits unsigned.
/// @return a format that IsSupported refuses where GetDeinterleaveFunction returns null.
KELAUDIOFILE_EXPORT SampleFormat GetSampleFormat(const WaveFile& inWaveFile);

} // namespace kelaudiofile
