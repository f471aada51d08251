#include "kelaudiofile/WaveFormatChunkReader.h"

#include <algorithm>

#include "RiffFormat.h"
#include "WaveFormat.h"
#include "bytes/ByteOrder.h"
#include "chunks/Attempt.h"
#include "kelaudiofile/ChannelMask.h"
#include "kelcore/utility.h"

namespace kelaudiofile {

using kelcore::filesupport::File;
using kelcore::filesupport::IPlatformByteStream;
using kelcore::utility::Guid;

namespace {

/// The chunk's bytes. A field that is not entirely inside reads as 0.
class Fields {
public:
    explicit Fields(std::vector<bytes::Byte> inData) : mData(std::move(inData)) {}

    std::size_t Size() const { return mData.size(); }
    std::uint16_t Field16(std::size_t inOffset) const {
        return Holds(inOffset, 2) ? bytes::LoadLittle16(&mData[inOffset]) : std::uint16_t{0};
    }
    std::uint32_t Field32(std::size_t inOffset) const {
        return Holds(inOffset, 4) ? bytes::LoadLittle32(&mData[inOffset]) : 0;
    }
    bool Holds(std::size_t inOffset, std::size_t inCount) const {
        return inOffset <= mData.size() && inCount <= mData.size() - inOffset;
    }
    auto At(std::size_t inOffset) const { return mData.begin() + static_cast<std::ptrdiff_t>(inOffset); }

private:
    std::vector<bytes::Byte> mData;
};

std::vector<bytes::Byte> ReadData(IPlatformByteStream& ioStream, std::int64_t inSize) {
    std::vector<bytes::Byte> data(static_cast<std::size_t>(inSize));
    ioStream.ReadBlock(data.data(), static_cast<unsigned>(data.size()));
    return data;
}

Guid Subformat(const Fields& inFields) {
    Guid::LastBytes last;
    std::copy_n(inFields.At(waveformat::kSubformat + waveformat::kGuidLast), last.size(), last.begin());
    return {inFields.Field32(waveformat::kSubformat),
            inFields.Field16(waveformat::kSubformat + waveformat::kGuidSecond),
            inFields.Field16(waveformat::kSubformat + waveformat::kGuidThird), last};
}

AudioCharacteristics::WaveFormatCategory CategoryOfTag(std::uint32_t inTag) {
    for (const auto& row : waveformat::kTags)
        if (row.tag == inTag)
            return row.category;
    return AudioCharacteristics::kWaveFormatUnknown;
}

AudioCharacteristics::WaveFormatCategory CategoryOfSubformat(const Guid& inSubformat) {
    for (const auto& [text, category, guid] : waveformat::kSubformats)
        if (Guid(guid.first, guid.second, guid.third, guid.last) == inSubformat)
            return category;
    return AudioCharacteristics::kWaveFormatUnknown;
}

void DecodeBasics(const Fields& inFields, AudioCharacteristics& out) {
    out.formatTag = inFields.Field16(waveformat::kTag);
    out.sampleRate = inFields.Field32(waveformat::kSampleRate);
    out.numChannels = static_cast<std::int16_t>(inFields.Field16(waveformat::kChannels));
    const std::int32_t blockAlign = inFields.Field16(waveformat::kBlockAlign);
    out.bytesPerSample = out.numChannels > 0 ? blockAlign / out.numChannels : blockAlign;
    const bool hasBits = inFields.Size() >= std::size_t{waveformat::kShortBytes};
    out.bitsPerSample = hasBits ? inFields.Field16(waveformat::kBits) : out.bytesPerSample * 8;
    out.validBitsPerSample = out.bitsPerSample;
}

void DecodeExtensible(const Fields& inFields, AudioCharacteristics& out) {
    out.validBitsPerSample = inFields.Field16(waveformat::kValidBits);
    GetChannelLayoutFromWaveFormatExtensibleChannelMask(inFields.Field32(waveformat::kChannelMask),
                                                        out.channelLayout, out.numChannels);
    out.formatCategory = CategoryOfSubformat(Subformat(inFields));
}

void DecodeExtension(const Fields& inFields, AudioCharacteristics& out) {
    const std::size_t extraBytes = inFields.Field16(waveformat::kExtensionSize);
    if (inFields.Holds(waveformat::kExtension, extraBytes))
        out.extraFormatBytes.assign(inFields.At(waveformat::kExtension),
                                    inFields.At(waveformat::kExtension + extraBytes));
    out.formatCategory = CategoryOfTag(out.formatTag);
}

/// @param outRecord  keeps what was decoded before an exception.
AudioCharacteristics::ChunkReadStatus DecodeChunk(const File& inFile,
                                                  const RiffChunkReader::RiffChunkInfo& inChunk,
                                                  bool inStreamFlag, AudioCharacteristics& outRecord) {
    IPlatformByteStream stream(inFile, kelcore::utility::Flags<unsigned>(inStreamFlag ? 1 : 0));
    stream.CurPos(inChunk.dataOffset);
    if (inChunk.chunkSize > waveformat::kLargestChunk)
        return AudioCharacteristics::kChunkTooLarge;
    if (inChunk.chunkSize < 0) // made up by a host; narrowed to 32 bits it might look valid
        return AudioCharacteristics::kChunkReadFailed;
    const Fields fields(ReadData(stream, inChunk.chunkSize));
    DecodeBasics(fields, outRecord);
    const bool isExtensible = outRecord.formatTag == waveformat::kExtensibleTag &&
                              fields.Size() >= std::size_t{waveformat::kExtensibleBytes};
    if (isExtensible)
        DecodeExtensible(fields, outRecord);
    else
        DecodeExtension(fields, outRecord);
    return AudioCharacteristics::kChunkReadOK;
}

} // namespace

WaveFormatChunkReader::WaveFormatChunkReader(File inFile, const RiffChunkReader::RiffFileInfo& inFileInfo,
                                             bool inStreamFlag) {
    mCharacteristics.status = AudioCharacteristics::kChunkNotFound;
    const auto chunk = FindChunk(inFileInfo.chunks);
    if (chunk != inFileInfo.chunks.end())
        ReadChunk(inFile, *chunk, inStreamFlag);
}

WaveFormatChunkReader::WaveFormatChunkReader(File inFile, const RiffChunkReader::RiffChunkInfo& inChunk,
                                             bool inStreamFlag) {
    mCharacteristics.status = AudioCharacteristics::kChunkNotFound;
    ReadChunk(inFile, inChunk, inStreamFlag);
}

std::uint32_t WaveFormatChunkReader::GetChunkID() {
    return riff::kFormatId;
}

std::vector<RiffChunkReader::RiffChunkInfo>::const_iterator
WaveFormatChunkReader::FindChunk(const std::vector<RiffChunkReader::RiffChunkInfo>& inChunks) {
    return std::find_if(inChunks.begin(), inChunks.end(),
                        [](const auto& chunk) { return chunk.chunkID == GetChunkID(); });
}

void WaveFormatChunkReader::ReadChunk(const File& inFile, const RiffChunkReader::RiffChunkInfo& inChunk,
                                      bool inStreamFlag) {
    AudioCharacteristics::ChunkReadStatus status = AudioCharacteristics::kChunkReadFailed;
    chunks::Attempt([&] { status = DecodeChunk(inFile, inChunk, inStreamFlag, mCharacteristics); });
    mCharacteristics.status = status;
}

} // namespace kelaudiofile
