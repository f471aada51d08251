#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
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
using Handle = std::unique_ptr<WaveFile>;

inline constexpr std::uint64_t kGiB = std::uint64_t{1} << 30, kLimit = 4 * kGiB;

/// Returns part of a long run of bytes that differ from their neighbours, are not 0
/// and never look like an id.
inline Bytes SampleBytes(std::uint64_t inOffset, std::size_t inCount) {
    Bytes bytes(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
        bytes[i] = static_cast<unsigned char>(0x80 | (inOffset + i) * 0x9E3779B97F4A7C15u >> 57);
    return bytes;
}
inline Bytes Filling(std::size_t inCount) {
    return SampleBytes(0, inCount);
}

/// The data of a `fmt ` chunk, by default 16-bit stereo PCM.
struct FormatImage {
    std::uint16_t tag = 1, channels = 2;
    std::uint32_t rate = 48000;
    std::uint16_t blockAlign = 4, bits = 16;
    Bytes tail{}; ///< what follows the bits, from offset 16 on

    operator Bytes() const {
        return Image()
            .U16(tag)
            .U16(channels)
            .U32(rate)
            .U32(rate * blockAlign)
            .U16(blockAlign)
            .U16(bits)
            .Add(tail);
    }
};

/// The last 14 bytes of the subformats that carry plain and Ambisonic samples; the first two are the tag.
inline const Bytes kPlainGuidEnd = {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
inline const Bytes kAmbisonicGuidEnd = {0, 0, 0x21, 7, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0};

/// The part of an extensible chunk that follows the bits: 24 bytes.
inline Bytes ExtensibleTail(std::uint16_t inValidBits, std::uint32_t inMask, std::uint16_t inSubformat,
                            const Bytes& inGuidEnd = kPlainGuidEnd) {
    return Image().U16(22).U16(inValidBits).U32(inMask).U16(inSubformat).Add(inGuidEnd);
}

/// The data of a `ds64` chunk, with a sample count that is never read.
struct Ds64Image {
    std::uint64_t riffSize = 0, dataSize = 0;
    std::vector<std::pair<std::uint32_t, std::uint64_t>> rows{};
    std::optional<std::uint64_t> tableLength{}; ///< what the chunk claims, if that differs

    operator Bytes() const {
        Image image = Image().U64(riffSize).U64(dataSize).U64(0x1122334455667788);
        image.U32(tableLength.value_or(rows.size()));
        for (const auto& [id, size] : rows)
            image.U32(id).U64(size);
        return image;
    }
};

/// The chunk that reserves room for `ds64`.
inline Bytes Reserved() {
    return Image().Chunk("JUNK", testing_support::ToBytes("reserved for RF64 ds64 chunk"));
}

/// The start of a file, with a RIFF size that is never read, and a file up to its samples.
inline Image Riff(std::string_view inMagic = "RIFF", std::string_view inForm = "WAVE") {
    return Image().Header(inMagic, 0x12345678).Text(inForm);
}
inline Image Wave(const FormatImage& inFormat = {}) {
    return Riff().Chunk("fmt ", inFormat);
}

struct Format {
    std::int32_t sampleRate = 48000, channels = 2, bytesPerSample = 2, bits = 16;
    int sampleType = WaveFile::kIntegerSamples;
    ChannelLayout layout = kelmediatypes::CreateStereoChannelLayout();
    bool rf64 = false;
    bool anyOrder = false; ///< the stream flag
};

inline Handle Create(const kelcore::UTF8String& inPath, const Format& inFormat, Error& outError) {
    return Handle(WaveFile::OpenForWrite(inPath, inFormat.sampleRate, inFormat.channels,
                                         inFormat.bytesPerSample, inFormat.bits,
                                         static_cast<WaveFile::SampleType>(inFormat.sampleType),
                                         inFormat.layout, inFormat.rf64, outError, inFormat.anyOrder));
}

/// Returns the code, or -1 if result and code contradict each other.
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
    Bytes whole; ///< with its header; empty if it cannot be read
    double position;

    friend bool operator==(const Metadatum&, const Metadatum&) = default;
};
/// Returns all metadata.
inline std::vector<Metadatum> ReadMetadata(WaveFile& ioFile) {
    std::vector<Metadatum> all;
    std::uint32_t id = 0;
    std::int64_t size = 0;
    double position = 0;
    for (std::int32_t i = 0; ioFile.GetMetadataInfo(i, id, size, position); ++i) {
        Bytes whole(static_cast<std::size_t>(size));
        all.push_back({ioFile.ReadMetadataChunk(i, 0, size, whole.data()) ? whole : Bytes(), position});
    }
    return all;
}
/// Returns the samples there; empty if they cannot be read.
inline Bytes Read(WaveFile& ioFile, std::uint64_t inOffset, std::size_t inCount) {
    Bytes bytes(inCount + 1);
    const bool wasRead = ioFile.ReadSampleBytes(static_cast<std::int64_t>(inOffset),
                                                static_cast<std::int64_t>(inCount), bytes.data());
    bytes.resize(wasRead ? inCount : 0);
    return bytes;
}

} // namespace wave_tests
