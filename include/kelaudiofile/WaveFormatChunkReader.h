#pragma once

#include <cstdint>
#include <vector>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/RiffChunkReader.h"
#include "kelcore/filesupport.h"
#include "kelmediatypes/AudioChannelDescription.h"

namespace kelaudiofile {

/// @addtogroup reading_wave
/// @{

/// The format of a wave file, as stored in its `fmt ` chunk or as requested for writing.
struct AudioCharacteristics {
    /// The outcome of reading the chunk.
    enum ChunkReadStatus : std::int32_t {
        kChunkReadOK = 0,     ///< the record is filled in, whatever its values
        kChunkNotFound = 1,   ///< there is no `fmt ` chunk
        kChunkTooLarge = 2,   ///< the chunk is larger than 65,536 bytes
        kChunkReadFailed = 3, ///< the chunk could not be read; also the status of a new record
    };

    /// How samples are coded. Compressed codings are recognised but not decoded.
    enum WaveFormatCategory : std::int32_t {
        kWaveFormatUnknown = -1,       ///< any other tag or subformat
        kWaveFormatPCM = 0,            ///< tag 1
        kWaveFormatFloat = 1,          ///< tag 3
        kWaveFormatADPCM = 2,          ///< tag 2
        kWaveFormatIMAADPCM = 3,       ///< tag 0x11; has no subformat
        kWaveFormatALaw = 4,           ///< tag 6
        kWaveFormatMuLaw = 5,          ///< tag 7
        kWaveFormatGSM610 = 6,         ///< tag 0x31; has no subformat
        kWaveFormatAmbisonicPCM = 7,   ///< by its subformat only
        kWaveFormatAmbisonicFloat = 8, ///< by its subformat only
    };

    ChunkReadStatus status = kChunkReadFailed; ///< the outcome of reading the chunk
    std::uint32_t sampleRate = 0;              ///< frames per second

    /// Read as a signed 16-bit number, so a broken file can make it negative.
    std::int32_t numChannels = 0;
    std::int32_t bytesPerSample = 0;                        ///< bytes of one channel's sample
    std::int32_t bitsPerSample = 0;                         ///< container bits of one sample
    WaveFormatCategory formatCategory = kWaveFormatUnknown; ///< how samples are coded
    std::uint32_t formatTag = 0;         ///< 0xFFFE for every extensible chunk, whatever the subformat
    std::int32_t validBitsPerSample = 0; ///< the bits of a sample that carry meaning

    /// From the channel mask; empty unless the chunk is extensible.
    kelmediatypes::ChannelLayout channelLayout;

    std::vector<std::uint8_t> extraFormatBytes; ///< the extension of a chunk that is not extensible
    std::uint32_t containerKind = 0;            ///< 0 when read; for writing 1 is plain RIFF, 2 allows RF64
};

/// Finds and decodes the `fmt ` chunk of a wave file, WAVE_FORMAT_EXTENSIBLE included.
///
/// Every chunk of a legal size gives a record; fields that a short chunk lacks are 0. Nothing is thrown: see
/// the status of the record. Of the chunk's fields only the channel count is read as signed; block align,
/// bits and valid bits are unsigned.
///
/// One thread at a time per object.
class KELAUDIOFILE_EXPORT WaveFormatChunkReader {
public:
    /// Reads the first `fmt ` chunk of a scanned file. If there is none, the file is not touched.
    /// @param inFile  the path of the file, passed by value.
    /// @param inFileInfo  what RiffChunkReader found in it.
    /// @param inStreamFlag  passed to the input stream, which is open during the call only.
    WaveFormatChunkReader(kelcore::filesupport::File inFile, const RiffChunkReader::RiffFileInfo& inFileInfo,
                          bool inStreamFlag);

    /// Reads one chunk, whatever its id.
    /// @param inFile  the path of the file, passed by value.
    /// @param inChunk  where the chunk lies.
    /// @param inStreamFlag  passed to the input stream, which is open during the call only.
    WaveFormatChunkReader(kelcore::filesupport::File inFile, const RiffChunkReader::RiffChunkInfo& inChunk,
                          bool inStreamFlag);

    /// Returns the record, which is valid as long as the reader.
    const AudioCharacteristics& GetAudioCharacteristics() const { return mCharacteristics; }

    /// Returns "fmt " as a chunk id.
    static std::uint32_t GetChunkID();

    /// Finds the first entry with that id. @return the entry, or the end.
    static std::vector<RiffChunkReader::RiffChunkInfo>::const_iterator
    FindChunk(const std::vector<RiffChunkReader::RiffChunkInfo>& inChunks);

protected:
    /// Fills the record from a chunk, and always sets its status.
    void ReadChunk(const kelcore::filesupport::File& inFile, const RiffChunkReader::RiffChunkInfo& inChunk,
                   bool inStreamFlag);

private:
    AudioCharacteristics mCharacteristics;
};

/// @}

} // namespace kelaudiofile
