#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "support/Files.h"

namespace testing_support {

/// Builds the bytes of a file of chunks, field by field in one byte order.
template <std::endian kOrder>
class ImageOf {
public:
    ImageOf& Text(std::string_view inText) { return Add(ToBytes(inText)); }
    ImageOf& U16(std::uint64_t inValue) { return Number(inValue, 2); }
    ImageOf& U32(std::uint64_t inValue) { return Number(inValue, 4); }
    ImageOf& U64(std::uint64_t inValue) { return Number(inValue, 8); }
    ImageOf& Fill(std::size_t inCount, unsigned char inByte = 0) { return Add(Bytes(inCount, inByte)); }
    ImageOf& Add(const Bytes& inBytes) {
        mBytes.insert(mBytes.end(), inBytes.begin(), inBytes.end());
        return *this;
    }
    ImageOf& Header(std::string_view inId, std::uint64_t inSize) { return Text(inId).U32(inSize); }
    /// Adds a chunk with its pad byte, or without one.
    ImageOf& Chunk(std::string_view inId, const Bytes& inData) {
        return Unpadded(inId, inData).Fill(inData.size() % 2);
    }
    ImageOf& Unpadded(std::string_view inId, const Bytes& inData) {
        return Header(inId, inData.size()).Add(inData);
    }
    ImageOf& Cut(std::size_t inSize) {
        mBytes.resize(inSize);
        return *this;
    }

    /// Returns a whole file around these bytes, such as `In("RIFF", "WAVE")`.
    Bytes In(std::string_view inKind, std::string_view inForm) const {
        return ImageOf().Header(inKind, mBytes.size() + 4).Text(inForm).Add(mBytes);
    }
    std::size_t Size() const { return mBytes.size(); }
    operator const Bytes&() const { return mBytes; }
    friend bool operator==(const Bytes& inBytes, const ImageOf& inImage) { return inBytes == inImage.mBytes; }
    friend bool operator==(const ImageOf&, const ImageOf&) = default;

private:
    ImageOf& Number(std::uint64_t inValue, unsigned inBytes) {
        for (unsigned i = 0; i < inBytes; ++i)
            mBytes.push_back(static_cast<unsigned char>(
                inValue >> 8 * (kOrder == std::endian::little ? i : inBytes - 1 - i)));
        return *this;
    }
    Bytes mBytes;
};

using LittleImage = ImageOf<std::endian::little>;
using BigImage = ImageOf<std::endian::big>;

} // namespace testing_support
