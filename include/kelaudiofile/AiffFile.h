#pragma once

#include <cstdint>
#include <memory>

#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Export.h"
#include "kelaudiofile/Frames.h"
#include "kelaudiofile/Interleave.h"
#include "kelcore/string.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// @addtogroup aiff
/// @{

/// An AIFF or AIFF-C file, open either for reading or for writing.
///
/// Sample bytes are passed as they are stored in the file, interleaved: one sample of every channel makes a
/// frame. GetConversionFunction returns the routine between them and the byte order of the DeInterleave
/// routines. Offsets and counts are bytes throughout; only GetSampleCount counts frames.
///
/// A chunk id has its first character on disk in the lowest byte and is never
/// byte-swapped: "ANNO" is 0x4F4E4E41.
///
/// One thread at a time per object, since all operations share the position of one stream. Separate objects
/// on one file are independent.
class KELAUDIOFILE_EXPORT AiffFile {
public:
    /// What went wrong. The caller owns it; an operation sets only the fields documented for it.
    struct ExtendedErrorInfo {
        /// The error codes.
        enum Code : std::int32_t {
            kNoError = 0,             ///< no failure
            kFileNotFound = 1,        ///< OpenForRead: the path names no existing file
            kNotAiffFile = 2,         ///< OpenForRead: no complete "FORM" header of type "AIFF" or "AIFC"
            kChunkScanFailed = 3,     ///< OpenForRead: the scan of the chunks failed
            kBadCommChunk = 4,        ///< OpenForRead: "COMM" is missing, too short, too large or unreadable
            kBadSsndChunk = 5,        ///< OpenForRead: "SSND" is needed but missing, too short or unreadable
            kUnknownCompression = 6,  ///< OpenForRead: see compressionCode and compressionDescription
            kBadBitDepth = 7,         ///< OpenForRead: see bitsPerSample
            kBadSampleType = 8,       ///< OpenForWrite: none of the three sample types
            kWriteRefused = 9,        ///< WriteSampleBytes: not open for writing, or not the next offset
            kOpenForWriteFailed = 10, ///< OpenForWrite: the file or its header could not be written
            kWriteFailed = 11         ///< WriteSampleBytes: writing failed, or the format's limit is reached
        };

        std::int32_t code = kNoError;                 ///< one of Code
        kelcore::UTF8String compressionDescription{}; ///< set with kUnknownCompression only
        kelcore::UTF8String compressionCode{};        ///< set with kUnknownCompression only
        std::int32_t bitsPerSample = 0;               ///< set with kBadBitDepth only
    };

    /// How the sample bytes of a file are interpreted. 8-bit samples are signed.
    enum SampleType : std::int32_t {
        kBigEndianIntegerSamples = 1,    ///< signed; "AIFF", and "AIFC" with no code, "NONE", in24 or in32
        kLittleEndianIntegerSamples = 2, ///< signed; "AIFC" with "sowt"
        kFloatSamples = 3                ///< big-endian IEEE 754 singles, full scale plus or minus 1.0; fl32
    };

    /// @name Reading
    /// @{

    /// Opens a file for reading. The header and the chunk headers are read at once, sample bytes on demand.
    ///
    /// The file must not change while it is open. Chunks may appear in any order; of several "COMM", "SSND"
    /// or "CHAN" chunks the first one counts. A truncated file, or one whose FORM size was never filled in,
    /// opens with the frames it holds. A FORM size of 0xFFFFFFF8 or more leaves no room for a chunk and gives
    /// kBadCommChunk.
    ///
    /// The chunks of a file of n bytes take at most 5 n + 1 MiB of memory. Consecutive empty chunks of one
    /// id take the memory of one. Eight zero bytes are such a chunk, with id 0: a long tail of zeros
    /// (inside the FORM size, or with a FORM size of 0) costs nothing and appears in the metadata as one
    /// chunk for every eight bytes.
    ///
    /// @param inFilePath  the path, passed to the operating system byte for byte.
    /// @param inAssumeChannelOrder  whether 3, 4 and 6 channels without a usable "CHAN" chunk get the
    ///        customary order of AIFF files: left, right, center; left, right, left surround, right surround;
    ///        left, left center, center, right, right center, center surround. Two channels are always left
    ///        and right; any other channels without a "CHAN" chunk have no position (0).
    /// @param outError  code is 0 on success. If the result is empty, code is the reason, with two
    ///        exceptions: it keeps the caller's value if the system could not determine the file's size or
    ///        open the file, and it is 0 if memory ran out or the file claims a negative number of channels.
    ///        With kUnknownCompression and kBadBitDepth the rejected values are set too.
    /// @return the open file, or empty. Throws nothing.
    static std::unique_ptr<AiffFile> OpenForRead(const kelcore::UTF8String& inFilePath,
                                                 bool inAssumeChannelOrder, ExtendedErrorInfo& outError);

    /// Reads sample bytes in one positioned read, without allocating memory.
    /// @param inOffset  bytes from the first sample byte.
    /// @param inByteCount  at most 2,147,483,647.
    /// @param outBuffer  room for inByteCount bytes; keeps what was read before a failure.
    /// @return false, touching nothing, if a number is negative, the count is too large, the range ends past
    ///        the sample bytes, or outBuffer is null and inByteCount is not 0; false after a failed read and
    ///        for a file that is open for writing. The file stays usable.
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);

    /// Describes a metadata chunk, which is any chunk except "COMM", "SSND", "CHAN" and "FVER". Repeated ids
    /// are listed as often as they occur.
    /// @param inIndex  from 0, in file order.
    /// @param outChunkID  its id.
    /// @param outSize  bytes of its header and its data, without the pad byte.
    /// @param outPosition  where the chunk lies relative to the audio. Before it: half the chunk's relative
    ///        position in the file, below 0.5. After it: from 0.5 at the end of the audio to 1.0. In a file
    ///        whose samples were not looked for, 0.5 is the start of the file.
    /// @return false, touching nothing, if there is no chunk with this index.
    bool GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                         double& outPosition);

    /// Reads bytes of a metadata chunk.
    /// @param inIndex  as for GetMetadataInfo.
    /// @param inOffset  bytes from the start of the chunk's header; its data start at 8.
    /// @param inByteCount, outBuffer  as for ReadSampleBytes.
    /// @return as for ReadSampleBytes; false also if there is no chunk with this index.
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);
    /// @}

    /// @name The format
    /// Read from the file, or as given to OpenForWrite.
    /// @{

    /// Returns the number of frames: the header's count, limited to the frames that the file holds; 0
    /// for a file open for writing. A broken header can still promise too many, if "SSND" places its
    /// samples past its own end, or if "in24" or "in32" imposes a wider sample than "COMM" has; reads
    /// past the last byte then fail.
    std::int64_t GetSampleCount() const;
    /// Returns frames per second as stored in the file: any double, including 0, negative, infinite and NaN.
    double GetSampleRate() const;
    /// Returns the number of channels.
    std::int32_t GetNumChannels() const;
    /// Returns bits per sample divided by 8.
    std::int32_t GetBytesPerSample() const;
    /// Returns how the sample bytes are interpreted.
    SampleType GetSampleType() const;
    /// Returns one description per channel for a file that was read; 0 for channels without a known position.
    kelmediatypes::ChannelLayout GetAudioChannelLayout() const;
    /// Returns the four-byte compression code as text, cut at a zero byte; empty if the file has none.
    kelcore::UTF8String GetCompressionCode() const;
    /// Returns the description that follows the compression code, cut at a zero byte; empty if there is none.
    kelcore::UTF8String GetCompressionDescription() const;
    /// @}

    /// @name Writing
    /// The calls for one file, in this order: OpenForWrite; for each metadata chunk StartMetadatumWrite,
    /// MetadatumWrite as often as needed, FinishMetadatumWrite; WriteSampleBytes as often as needed;
    /// FinishWrite; deletion. Size fields are 0 on disk until FinishWrite (those of metadata chunks until
    /// FinishMetadatumWrite), and stay 0 if the object is deleted earlier or the file is abandoned;
    /// OpenForRead opens such a file without sample bytes.
    ///
    /// The FORM size (file size minus 8) must not exceed 0xFFFFFFF7; a call that would push it past that is
    /// refused entirely. With a larger one, the end of the file would overflow the 32 bits of OpenForRead and
    /// other readers.
    ///
    /// After a call that failed, the file continues from where it was before, and the same call may be
    /// retried. What a failed call has left past the end of the file is removed by the next call that
    /// finishes a chunk or the file.
    /// @{

    /// Creates a file and writes its header at once. An existing file of that name is replaced.
    /// kBigEndianIntegerSamples makes an "AIFF" file, the others an "AIFC" file with "sowt" or "fl32".
    /// @param inFilePath  the path, passed to the operating system byte for byte.
    /// @param inSampleRate  frames per second.
    /// @param inNumChannels, inBitsPerSample  their low 16 bits are written. They are checked neither on
    ///        their own nor against the sample type or the layout.
    /// @param inSampleType  how the caller's bytes are interpreted, which determines the kind of file.
    /// @param inChannelLayout  written as a "CHAN" chunk, even if it is empty. A value without a label is
    ///        written as mono and reads back as 0.
    /// @param outError  code is set: kNoError; kBadSampleType, with nothing touched on disk; or
    ///        kOpenForWriteFailed, in which case an existing file of that name may be gone, and the new one
    ///        remains as far as it was written.
    /// @return the file, which the caller owns and deletes, or null.
    /// @throws std::bad_alloc for the object and the copies of the arguments.
    static AiffFile* OpenForWrite(const kelcore::UTF8String& inFilePath, std::int32_t inSampleRate,
                                  std::int32_t inNumChannels, std::int32_t inBitsPerSample,
                                  SampleType inSampleType, kelmediatypes::ChannelLayout inChannelLayout,
                                  ExtendedErrorInfo& outError);

    /// Appends raw sample bytes, without allocating memory. The first call, even with 0 bytes,
    /// ends the metadata. Finish an open metadata chunk first: this is not checked, and samples
    /// would go into that chunk.
    /// @param inOffset  bytes written so far; no other value is accepted.
    /// @param inByteCount  bytes; not negative.
    /// @param inBuffer  the bytes; not kept. May be null if there are none.
    /// @param outError  code is set: kNoError; kWriteRefused if the file is not open for writing, the offset
    ///        is wrong, the count is negative or the buffer is null; kWriteFailed if the file could not be
    ///        written or would exceed the format's limit.
    /// @return whether all bytes were accepted; otherwise none were.
    bool WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer,
                          ExtendedErrorInfo& outError);

    /// Begins a metadata chunk.
    /// @param inChunkID  any id, in the form in which GetMetadataInfo returns it.
    /// @return false if a chunk is open, samples have begun, or the file is not open for writing. Also false
    ///        if the chunk's header could not be written or does not fit, but then the chunk is open.
    bool StartMetadatumWrite(std::uint32_t inChunkID);

    /// Appends data to the open metadata chunk.
    /// @return false, accepting nothing, if no chunk is open, the count is negative, the buffer is null
    ///        though the count is not 0, writing fails, or the file would exceed the format's limit.
    bool MetadatumWrite(const void* inBuffer, std::int32_t inByteCount);

    /// Ends the metadata chunk: writes a pad byte if needed, and the size in its header.
    /// @return false if no chunk is open or if writing fails, after which the chunk is still open.
    bool FinishMetadatumWrite();

    /// Completes the file and closes it. A metadata chunk that is still open keeps a size of 0.
    /// @param inAbandon  true: closes the file as it is, without updating its size fields.
    /// @param outError  not touched.
    /// @return true, also for a file that is not open for writing.
    /// @throws the streams' exceptions if a write fails. The file is then still open, and the call may be
    ///        retried. Its sizes count the whole frames that reached the file, so that what was recorded
    ///        before the disk became full can be read.
    bool FinishWrite(bool inAbandon, ExtendedErrorInfo& outError);
    /// @}

    /// Closes the file in any state, without finishing a write.
    ~AiffFile();
    AiffFile(const AiffFile&) = delete;
    AiffFile& operator=(const AiffFile&) = delete;

protected:
    AiffFile();

private:
    friend struct AiffFileAccess;
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

/// Chooses the routine that converts the file's samples, once they are little-endian, to floats.
/// @return null for a sample width without a routine.
KELAUDIOFILE_EXPORT DeinterleaveFunction GetDeinterleaveFunction(const AiffFile& inFile);

/// Chooses the routine that converts between the file's samples and little-endian ones, in either direction:
/// a byte swap, which counts bytes. For 8-bit samples, which DeInterleave8Bit reads as they are, it is the
/// conversion to and from the unsigned samples of wave files, whatever the sample type.
/// @return null for little-endian samples wider than 8 bits and for a sample width without a routine.
KELAUDIOFILE_EXPORT ConversionFunction GetConversionFunction(const AiffFile& inFile);

/// Describes the file's samples for DecodeFrames: signed, and big-endian except for
/// kLittleEndianIntegerSamples.
/// @return a format that IsSupported rejects if GetDeinterleaveFunction returns null.
KELAUDIOFILE_EXPORT SampleFormat GetSampleFormat(const AiffFile& inFile);

/// @}

} // namespace kelaudiofile
