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

/// An AIFF or AIFF-C file, open either for reading or for writing.
///
/// Sample bytes pass as they lie in the file, interleaved: one sample of every channel makes a frame.
/// GetConversionFunction tells what brings them to the byte order of the DeInterleave routines and back.
/// Offsets and counts are bytes throughout; GetSampleCount alone counts frames.
///
/// Chunk ids hold their first character on disk in the lowest byte and are never byte-swapped: "ANNO" is
/// 0x4F4E4E41.
///
/// An object is used by one thread at a time, since all its operations share the position of one stream.
/// Separate objects on one file are independent.
class KELAUDIOFILE_EXPORT AiffFile {
public:
    /// What went wrong. The caller owns it; an operation sets the fields named for it and no others.
    struct ExtendedErrorInfo {
        /// The reasons.
        enum Code : std::int32_t {
            kNoError = 0,             ///< no failure
            kFileNotFound = 1,        ///< OpenForRead: the path names no existing file
            kNotAiffFile = 2,         ///< OpenForRead: no whole "FORM" header of type "AIFF" or "AIFC"
            kChunkScanFailed = 3,     ///< OpenForRead: the walk over the chunks was broken off
            kBadCommChunk = 4,        ///< OpenForRead: "COMM" is missing, too short, too large or unreadable
            kBadSsndChunk = 5,        ///< OpenForRead: "SSND" is needed and missing, too short or unreadable
            kUnknownCompression = 6,  ///< OpenForRead: see compressionCode and compressionDescription
            kBadBitDepth = 7,         ///< OpenForRead: see bitsPerSample
            kBadSampleType = 8,       ///< OpenForWrite: none of the three sample types
            kWriteRefused = 9,        ///< WriteSampleBytes: not open for writing, or not the next offset
            kOpenForWriteFailed = 10, ///< OpenForWrite: the file or its header could not be made
            kWriteFailed = 11         ///< WriteSampleBytes: writing failed, or the format's limit is reached
        };

        std::int32_t code = kNoError;                 ///< one of Code
        kelcore::UTF8String compressionDescription{}; ///< set with kUnknownCompression alone
        kelcore::UTF8String compressionCode{};        ///< set with kUnknownCompression alone
        std::int32_t bitsPerSample = 0;               ///< set with kBadBitDepth alone
    };

    /// How the sample bytes of a file are to be taken. 8-bit samples are signed.
    enum SampleType : std::int32_t {
        kBigEndianIntegerSamples = 1,    ///< signed; "AIFF", and "AIFC" with no code, "NONE", in24 or in32
        kLittleEndianIntegerSamples = 2, ///< signed; "AIFC" with "sowt"
        kFloatSamples = 3                ///< big-endian IEEE 754 singles, full scale plus or minus 1.0; fl32
    };

    /// @name Reading
    /// @{

    /// Opens a file for reading. Its form and its chunk headers are read now, its sample bytes on demand; it
    /// must not change while it is open. Chunks may stand in any order. Of several "COMM", "SSND" or "CHAN"
    /// chunks the first one counts. A file that is cut off, or whose FORM size was never filled in, opens
    /// with the frames that are there.
    ///
    /// Chunks take memory: for a file of n bytes at most 5 n + 1 MiB. Empty chunks of one id that follow each
    /// other take the memory of one. Eight zero bytes are such a chunk, with id 0: a long tail of zeros
    /// (inside the FORM size, or under a FORM size of 0) costs nothing, and appears in the metadata as one
    /// chunk for every eight bytes.
    ///
    /// A FORM size of 0xFFFFFFF8 or more leaves no place for a chunk and gives kBadCommChunk.
    ///
    /// @param inFilePath  the path in the bytes that the system takes.
    /// @param inAssumeChannelOrder  whether 3, 4 and 6 channels without a usable "CHAN" chunk get the
    ///        customary order of AIFF files: left, right, center; left, right, left surround, right surround;
    ///        left, left center, center, right, right center, center surround. Two channels are left and
    ///        right in any case, all other channels without a "CHAN" chunk have no position (0).
    /// @param outError  code is 0 on success. After an empty result, code is what the caller put there if the
    ///        system refused to tell the size of the file or to open it; it is 0 if memory ran out, or if the
    ///        file claims a negative number of channels; else it tells the reason. With kUnknownCompression
    ///        and kBadBitDepth the refused values are set too.
    /// @return the open file, or empty. Throws nothing.
    static std::unique_ptr<AiffFile> OpenForRead(const kelcore::UTF8String& inFilePath,
                                                 bool inAssumeChannelOrder, ExtendedErrorInfo& outError);

    /// Reads sample bytes in one positioned read. No call costs an allocation of its own.
    /// @param inOffset  bytes from the first sample byte.
    /// @param inByteCount  at most 2,147,483,647.
    /// @param outBuffer  room for inByteCount bytes; holds what was read before a failure.
    /// @return false, with nothing touched, if a number is negative, the count is too large, the range ends
    ///         past the sample bytes, or outBuffer is null and inByteCount is not 0; false after a failed
    ///         read and on a file that is open for writing. The file stays usable.
    bool ReadSampleBytes(std::int64_t inOffset, std::int64_t inByteCount, void* outBuffer);

    /// Tells about one chunk that is none of "COMM", "SSND", "CHAN" and "FVER". They count from 0, in the
    /// order of the file, each as often as it occurs.
    /// @param inIndex  from 0.
    /// @param outChunkID  its id.
    /// @param outSize  bytes of its header and its data, the pad byte not counted.
    /// @param outPosition  where it lies. Before the audio: half its place in the file, below 0.5. Behind it:
    ///        from 0.5 at the end of the audio to 1.0. In a file whose samples were not looked for, 0.5 is
    ///        the file's start.
    /// @return false, with nothing touched, if there is no chunk of this index.
    bool GetMetadataInfo(std::int32_t inIndex, std::uint32_t& outChunkID, std::int64_t& outSize,
                         double& outPosition);

    /// Reads bytes of a chunk of GetMetadataInfo.
    /// @param inIndex  as for GetMetadataInfo.
    /// @param inOffset  bytes from the start of the chunk's header; its data start at 8.
    /// @param inByteCount, outBuffer  as for ReadSampleBytes.
    /// @return as for ReadSampleBytes; false also if there is no chunk of this index.
    bool ReadMetadataChunk(std::int32_t inIndex, std::int64_t inOffset, std::int64_t inByteCount,
                           void* outBuffer);
    /// @}

    /// @name The format
    /// Read from the file, or as given to OpenForWrite.
    /// @{

    /// @return frames, as the header says, lowered to those that the file holds; 0 for a file under writing.
    /// A broken header can still promise more, where "SSND" says that its samples begin behind its end, or
    /// where "in24" or "in32" imposes a wider sample than "COMM" has: reads past the last byte then fail.
    std::int64_t GetSampleCount() const;
    /// @return frames per second as the file says it: any double, also 0, negative, infinite or NaN.
    double GetSampleRate() const;
    /// @return channels.
    std::int32_t GetNumChannels() const;
    /// @return bits per sample divided by 8.
    std::int32_t GetBytesPerSample() const;
    /// @return how the sample bytes are to be taken.
    SampleType GetSampleType() const;
    /// @return one description per channel of a file that was read, 0 where none is known.
    kelmediatypes::ChannelLayout GetAudioChannelLayout() const;
    /// @return the four-byte compression code as text, cut at a zero byte; empty if the file has none.
    kelcore::UTF8String GetCompressionCode() const;
    /// @return the text behind the compression code, cut at a zero byte; empty if the file has none.
    kelcore::UTF8String GetCompressionDescription() const;
    /// @}

    /// @name Writing
    /// The calls for one file, in this order: OpenForWrite; for each metadata chunk StartMetadatumWrite,
    /// MetadatumWrite as often as needed, FinishMetadatumWrite; WriteSampleBytes as often as needed;
    /// FinishWrite; deletion. Size fields are 0 on disk until FinishWrite (those of metadata chunks until
    /// FinishMetadatumWrite), and stay so in a file that is deleted before or abandoned; OpenForRead opens
    /// such a file without sample bytes.
    ///
    /// The format's 32-bit fields end a file: the FORM size, which is the size of the file less eight, must
    /// not exceed 0xFFFFFFF7, and a call that would take it past that is refused as a whole. With a larger
    /// one, the end of the file would wrap in the 32 bits of OpenForRead and other readers.
    ///
    /// After a call that failed the file goes on from where it was before, and the same call may be made
    /// again. What a failed call has left past the end of the file is removed by the next call that finishes
    /// a chunk or the file.
    /// @{

    /// Makes a file and writes its header at once. An existing file of that name is replaced.
    /// kBigEndianIntegerSamples makes an "AIFF" file, the others an "AIFC" file with "sowt" or "fl32".
    /// @param inFilePath  the path in the bytes that the system takes.
    /// @param inSampleRate  frames per second.
    /// @param inNumChannels, inBitsPerSample  their low 16 bits are written. They are not checked, neither by
    ///        themselves nor against the sample type or the layout.
    /// @param inSampleType  how the caller's bytes are to be taken, which chooses the kind of file.
    /// @param inChannelLayout  written as a "CHAN" chunk, also when it is empty. A value without a label of
    ///        its own is written as mono and reads back as 0.
    /// @param outError  code is set: kNoError, kBadSampleType with nothing touched on disk, or
    ///        kOpenForWriteFailed, when an earlier file of that name may be gone and the new one stays as far
    ///        as it was written.
    /// @return the file, which the caller owns and deletes, or null.
    /// @throws std::bad_alloc for the object and the copies of the arguments.
    static AiffFile* OpenForWrite(const kelcore::UTF8String& inFilePath, std::int32_t inSampleRate,
                                  std::int32_t inNumChannels, std::int32_t inBitsPerSample,
                                  SampleType inSampleType, kelmediatypes::ChannelLayout inChannelLayout,
                                  ExtendedErrorInfo& outError);

    /// Appends sample bytes as they are to stand in the file, without any allocation. The first call ends the
    /// metadata, also with 0 bytes. Finish a metadata chunk before: this is not checked, and samples would go
    /// inside it.
    /// @param inOffset  bytes written so far; nothing else is taken.
    /// @param inByteCount  bytes; not negative.
    /// @param inBuffer  the bytes; not kept. May be null if there are none.
    /// @param outError  code is set: kNoError; kWriteRefused if the file is not open for writing, the offset
    ///        is another one, the count is negative or the buffer is null; kWriteFailed if the file could not
    ///        be written or would grow past the format's limit.
    /// @return whether all bytes were taken; otherwise none were.
    bool WriteSampleBytes(std::int64_t inOffset, std::int32_t inByteCount, const void* inBuffer,
                          ExtendedErrorInfo& outError);

    /// Begins a metadata chunk.
    /// @param inChunkID  any id, as GetMetadataInfo gives it.
    /// @return false if a chunk is open, samples have begun, or the file is not open for writing. It is false
    ///         also if the chunk's header could not be written or does not fit, but then the chunk is open.
    bool StartMetadatumWrite(std::uint32_t inChunkID);

    /// Appends data to the open metadata chunk.
    /// @return false, with nothing taken, if there is no such chunk, the count is negative, the buffer is
    /// null
    ///         though the count is not 0, writing fails or the file would grow past the format's limit.
    bool MetadatumWrite(const void* inBuffer, std::int32_t inByteCount);

    /// Ends the metadata chunk, writes its pad byte if it needs one, and puts its size in its header.
    /// @return false if there is no open chunk or writing fails; after that the chunk is still open.
    bool FinishMetadatumWrite();

    /// Completes the file and closes it. A metadata chunk that is still open keeps a size of 0.
    /// @param inAbandon  true: the file is closed as it is, with its size fields as they are.
    /// @param outError  not touched.
    /// @return true, also for a file that is not open for writing.
    /// @throws what the system's refusal makes the streams throw. The file is still open then, and the call
    ///         may be made again. Its sizes count the whole frames that did reach the file, so that what was
    ///         recorded up to a full disk can be read.
    bool FinishWrite(bool inAbandon, ExtendedErrorInfo& outError);
    /// @}

    /// Closes the file, whatever state it is in; finishes no write.
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

/// Chooses the routine that turns the file's samples, once they are little-endian, into floats.
/// @return null for a sample width without a routine.
KELAUDIOFILE_EXPORT DeinterleaveFunction GetDeinterleaveFunction(const AiffFile& inFile);

/// Chooses the routine between the file's samples and little-endian ones, which serves both directions: a
/// byte swap, whose count is in bytes. For 8-bit samples, which DeInterleave8Bit takes as they are, it is the
/// change of sign to and from the unsigned samples of wave files, whatever the sample type.
/// @return null for little-endian samples wider than 8 bits and for a sample width without a routine.
KELAUDIOFILE_EXPORT ConversionFunction GetConversionFunction(const AiffFile& inFile);

/// Describes the file's samples for DecodeFrames: signed, and big-endian but for kLittleEndianIntegerSamples.
/// @return a format that IsSupported refuses where GetDeinterleaveFunction returns null.
KELAUDIOFILE_EXPORT SampleFormat GetSampleFormat(const AiffFile& inFile);

} // namespace kelaudiofile
