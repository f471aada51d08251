#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "bytes/FourCC.h"
#include "kelaudiofile/WaveFile.h"
#include "support/Image.h"

namespace wave_tests {

using kelaudiofile::WaveFile;
using kelaudiofile::bytes::FourCC;
using kelmediatypes::ChannelLayout;
using testing_support::Bytes;
using Image = testing_support::LittleImage;
using Error = WaveFile::ExtendedErrorInfo;

inline constexpr std::uint64_t kGiB = std::uint64_t{1} << 30, kLimit = 4 * kGiB;

inline Bytes Reserved() {
    return Image().Chunk("JUNK", testing_support::ToBytes("reserved for RF64 ds64 chunk"));
}

/// The short form of the `fmt ` chunk's data.
inline Bytes ShortFormat(unsigned inTag, unsigned inChannels, unsigned inRate, unsigned inBytesPerSample,
                         unsigned inBits) {
    return Image()
        .U16(inTag)
        .U16(inChannels)
        .U32(inRate)
        .U32(inRate * inBytesPerSample * inChannels)
        .U16(inBytesPerSample * inChannels)
        .U16(inBits);
}

inline const Bytes kStereo16 = ShortFormat(1, 2, 44100, 2, 16);

struct Format {
    std::int32_t sampleRate = 44100, channels = 2, bytesPerSample = 2, bits = 16;
    int sampleType = WaveFile::kIntegerSamples;
    ChannelLayout layout = kelmediatypes::CreateStereoChannelLayout();
    bool rf64 = false;
    bool anyOrder = false; ///< the stream flag
};

using Handle = std::unique_ptr<WaveFile>;

inline Handle Create(const kelcore::UTF8String& inPath, const Format& inFormat, Error& outError) {
    return Handle(WaveFile::OpenForWrite(inPath, inFormat.sampleRate, inFormat.channels,
                                         inFormat.bytesPerSample, inFormat.bits,
                                         static_cast<WaveFile::SampleType>(inFormat.sampleType),
                                         inFormat.layout, inFormat.rf64, outError, inFormat.anyOrder));
}
inline Handle Create(const kelcore::UTF8String& inPath, const Format& inFormat) {
    Error error;
    return Create(inPath, inFormat, error);
}
inline Handle OpenForRead(const kelcore::UTF8String& inPath) {
    Error error;
    return Handle(WaveFile::OpenForRead(inPath, error, false));
}

/// A long run of sample bytes in which every place is told from its neighbours: what stands at an offset.
inline unsigned char SampleByte(std::uint64_t inOffset) {
    return static_cast<unsigned char>(inOffset * 0x9E3779B97F4A7C15u >> 56);
}
inline Bytes SampleBytes(std::uint64_t inOffset, std::size_t inCount) {
    Bytes bytes(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
        bytes[i] = SampleByte(inOffset + i);
    return bytes;
}

/// @return the code, or -1 if result and code do not fit each other.
inline int Write(WaveFile& ioFile, std::uint64_t inOffset, const Bytes& inBytes) {
    Error error;
    error.code = -2;
    const bool written =
        ioFile.WriteSampleBytes(static_cast<std::int64_t>(inOffset),
                                static_cast<std::int32_t>(inBytes.size()), inBytes.data(), error);
    return written == (error.code == Error::kNoError) ? error.code : -1;
}
inline int WriteSamples(WaveFile& ioFile, std::uint64_t inOffset, std::size_t inCount) {
    return Write(ioFile, inOffset, SampleBytes(inOffset, inCount));
}
inline bool WriteMetadatum(WaveFile& ioFile, std::uint32_t inId, const Bytes& inData) {
    return ioFile.StartMetadatumWrite(inId) &&
           ioFile.MetadatumWrite(inData.data(), static_cast<std::int32_t>(inData.size())) &&
           ioFile.FinishMetadatumWrite();
}
struct Metadatum {
    std::uint32_t id;
    Bytes whole; ///< with its header; empty if it cannot be read
    double position;
};
/// @return all metadata, as far as the file tells of any.
inline std::vector<Metadatum> ReadMetadata(WaveFile& ioFile) {
    std::vector<Metadatum> all;
    std::uint32_t id = 0;
    std::int64_t size = 0;
    double position = 0;
    for (std::int32_t i = 0; ioFile.GetMetadataInfo(i, id, size, position); ++i) {
        Bytes whole(static_cast<std::size_t>(size));
        all.push_back({id, ioFile.ReadMetadataChunk(i, 0, size, whole.data()) ? whole : Bytes(), position});
    }
    return all;
}
/// @return what stands there; empty if it cannot be read.
inline Bytes Read(WaveFile& ioFile, std::uint64_t inOffset, std::size_t inCount) {
    Bytes bytes(inCount + 1);
    const bool wasRead = ioFile.ReadSampleBytes(static_cast<std::int64_t>(inOffset),
                                                static_cast<std::int64_t>(inCount), bytes.data());
    bytes.resize(wasRead ? inCount : 0);
    return bytes;
}

} // namespace wave_tests
