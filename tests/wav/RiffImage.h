#pragma once

#include <optional>
#include <utility>

#include "RiffFormat.h"
#include "WriteSupport.h"

namespace testing_support {

namespace riff = kelaudiofile::riff;
using wave_tests::Image;

inline constexpr std::uint32_t kListId = kelaudiofile::bytes::FourCC("LIST");
inline constexpr std::uint32_t kBextId = kelaudiofile::bytes::FourCC("bext");

/// Bytes that are never 0 and never look like a chunk's header; they differ from their neighbours.
inline Bytes Filling(std::size_t inCount) {
    Bytes bytes(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
        bytes[i] = static_cast<unsigned char>(0x80 + i % 127);
    return bytes;
}

/// The data of a `fmt ` chunk, by default 16-bit stereo PCM.
struct FormatImage {
    std::uint16_t tag = 1, channels = 2;
    std::uint32_t rate = 48000;
    std::uint16_t blockAlign = 4, bits = 16;
    Bytes tail{}; ///< what follows the bits, from offset 16 on

    Bytes Data() const { // bytes per second: nobody reads them
        return Image().U16(tag).U16(channels).U32(rate).U32(0xDEADBEEF).U16(blockAlign).U16(bits).Add(tail);
    }
};

/// The last 14 bytes of the subformats that carry plain and Ambisonic samples; the first two are the tag.
inline const Bytes kPlainGuidEnd = {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
inline const Bytes kAmbisonicGuidEnd = {0, 0, 0x21, 7, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0};

/// What follows the bits of an extensible chunk: 24 bytes.
inline Bytes ExtensibleTail(std::uint16_t inValidBits, std::uint32_t inMask, std::uint16_t inSubformat,
                            const Bytes& inGuidEnd = kPlainGuidEnd) {
    return Image().U16(22).U16(inValidBits).U32(inMask).U16(inSubformat).Add(inGuidEnd);
}

/// Builds the bytes of a file of the RIFF family, chunk by chunk. Nothing is padded unless it is asked for.
class RiffImage {
public:
    explicit RiffImage(std::uint32_t inMagic = riff::kRiffId, std::uint32_t inFormType = riff::kWaveId) {
        Append(Image().U32(inMagic).U32(0x12345678).U32(inFormType));
    }

    RiffImage& Header(std::uint32_t inId, std::uint64_t inSize) {
        return Append(Image().U32(inId).U32(inSize));
    }
    /// A chunk of filling bytes.
    RiffImage& Chunk(std::uint32_t inId, std::uint32_t inSize) { return Chunk(inId, Filling(inSize)); }
    RiffImage& Chunk(std::uint32_t inId, const testing_support::Bytes& inData) {
        return Header(inId, inData.size()).Append(inData);
    }
    RiffImage& Format(const FormatImage& inFormat = {}) { return Chunk(riff::kFormatId, inFormat.Data()); }
    /// A JUNK chunk that ends at this place.
    RiffImage& FillTo(std::size_t inPlace) {
        return Chunk(riff::kJunkId, static_cast<std::uint32_t>(inPlace - mBytes.size() - 8));
    }

    struct Ds64Image {
        std::uint64_t riffSize = 0, dataSize = 0;
        std::vector<std::pair<std::uint32_t, std::uint64_t>> rows{};
        std::optional<std::uint32_t> tableLength{}; ///< what the chunk claims, if not the truth
    };
    RiffImage& Ds64(const Ds64Image& inDs64) {
        Image data; // with a sample count that nobody reads
        data.U64(inDs64.riffSize).U64(inDs64.dataSize).U64(0x1122334455667788);
        data.U32(inDs64.tableLength.value_or(static_cast<std::uint32_t>(inDs64.rows.size())));
        for (const auto& [id, size] : inDs64.rows)
            data.U32(id).U64(size);
        return Chunk(riff::kDs64Id, data);
    }

    RiffImage& Byte(unsigned char inByte, std::size_t inCount = 1) {
        mBytes.insert(mBytes.end(), inCount, inByte);
        return *this;
    }
    RiffImage& Append(const testing_support::Bytes& inBytes) {
        mBytes.insert(mBytes.end(), inBytes.begin(), inBytes.end());
        return *this;
    }
    RiffImage& Cut(std::size_t inSize) {
        mBytes.resize(inSize);
        return *this;
    }

    const testing_support::Bytes& Bytes() const { return mBytes; }
    std::size_t Size() const { return mBytes.size(); }

private:
    testing_support::Bytes mBytes;
};

} // namespace testing_support
