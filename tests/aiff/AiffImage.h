#pragma once

#include <numeric>
#include <string_view>
#include <vector>

#include "support/Image.h"

namespace aiff_tests {

using namespace testing_support;

inline const Bytes kRate44100 = {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};

// The pieces of an image, which are joined by +.
inline Bytes operator+(Bytes inFirst, const Bytes& inSecond) {
    inFirst.insert(inFirst.end(), inSecond.begin(), inSecond.end());
    return inFirst;
}
inline Bytes Big32(std::uint64_t inValue) {
    return BigImage().U32(inValue);
}
inline BigImage Header(std::string_view inId, std::uint64_t inSize) {
    return BigImage().Header(inId, inSize);
}
inline Bytes Chunk(std::string_view inId, const Bytes& inData) {
    return BigImage().Chunk(inId, inData);
}
inline Bytes Ssnd(const Bytes& inSamples, std::uint32_t inSkip = 0) {
    return Chunk("SSND", Big32(inSkip) + Big32(0) + inSamples);
}
/// "CHAN" with a description for each label.
inline Bytes Chan(const std::vector<std::uint32_t>& inLabels) {
    BigImage data;
    data.U64(0).U32(inLabels.size());
    for (const std::uint32_t label : inLabels)
        data.U32(label).Fill(16);
    return Chunk("CHAN", data.Fill(4));
}

struct Comm {
    int channels = 2;
    std::uint32_t frames = 4;
    int bits = 16;
    Bytes rate = kRate44100;
    std::string_view code{}; ///< empty for "AIFF", which has neither this field nor what follows it
    Bytes rest{0, 0};

    Bytes Data() const {
        const Bytes data =
            BigImage().U16(std::uint64_t(channels)).U32(frames).U16(std::uint64_t(bits)).Add(rate);
        return code.empty() ? data : data + ToBytes(code) + rest;
    }
};

inline Bytes Form(std::string_view inType, const Bytes& inChunks) {
    return BigImage().Add(inChunks).In("FORM", inType);
}
/// A whole file: the format, then these chunks.
inline Bytes Aiff(const Comm& inComm, const Bytes& inChunks = {}) {
    const Bytes chunks = Chunk("COMM", inComm.Data()) + inChunks;
    return inComm.code.empty() ? Form("AIFF", chunks)
                               : Form("AIFC", Chunk("FVER", {0xA2, 0x80, 0x51, 0x40}) + chunks);
}
/// With a FORM size of 0, as an interrupted recorder leaves it.
inline Bytes Unfinished(const Bytes& inImage) {
    return ToBytes("FORM") + Big32(0) + Bytes(inImage.begin() + 8, inImage.end());
}

/// 1, 2, 3 and so on: sample bytes that identify their position.
inline Bytes Counting(std::size_t inCount) {
    Bytes bytes(inCount);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

} // namespace aiff_tests
