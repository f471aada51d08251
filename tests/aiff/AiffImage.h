#pragma once

#include <optional>
#include <string_view>

#include "AiffFormat.h"
#include "kelaudiofile/AiffFile.h"
#include "support/Files.h"

namespace aiff_tests {

using kelaudiofile::AiffFile;
using kelmediatypes::ChannelLayout;
using testing_support::Bytes;
using testing_support::ReadFile;
using testing_support::ReadFilePart;
using testing_support::TemporaryFolder;
using testing_support::WriteFile;
using Error = AiffFile::ExtendedErrorInfo;

inline constexpr std::int32_t kUntouched = -77;

inline Bytes Big16(int inValue) {
    return {static_cast<unsigned char>(inValue >> 8), static_cast<unsigned char>(inValue)};
}
inline Bytes Big32(std::uint32_t inValue) {
    Bytes bytes(4);
    kelaudiofile::bytes::StoreBig32(bytes.data(), inValue);
    return bytes;
}
inline Bytes operator+(Bytes inFirst, const Bytes& inSecond) {
    inFirst.insert(inFirst.end(), inSecond.begin(), inSecond.end());
    return inFirst;
}
inline Bytes Text(std::string_view inText) {
    return testing_support::ToBytes(inText);
}

/// 1, 2, 3 and on: sample bytes that tell where they stand.
inline Bytes Counting(std::size_t inCount) {
    Bytes bytes(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
        bytes[i] = static_cast<unsigned char>(i + 1);
    return bytes;
}

inline const Bytes kRate44100 = {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0};

struct Comm {
    int channels = 2;
    std::uint32_t frames = 4;
    int bits = 16;
    Bytes rate = kRate44100;
    std::string_view code{}; ///< for "AIFC": empty leaves the code's fields out
    Bytes rest{0, 0};        ///< what follows the code

    Bytes Data() const {
        const Bytes data = Big16(channels) + Big32(frames) + Big16(bits) + rate;
        return code.empty() ? data : data + Text(code) + rest;
    }
};

/// Makes the image of a file piece by piece. The FORM size is that of the whole unless it is set.
class AiffImage {
public:
    explicit AiffImage(std::string_view inFormType = "AIFF")
        : mBytes(Text("FORM") + Big32(0) + Text(inFormType)) {}

    AiffImage& Raw(const Bytes& inBytes) {
        mBytes = std::move(mBytes) + inBytes;
        return *this;
    }
    AiffImage& Header(std::string_view inId, std::uint32_t inSize) { return Raw(Text(inId) + Big32(inSize)); }
    AiffImage& Chunk(std::string_view inId, const Bytes& inData) {
        Header(inId, static_cast<std::uint32_t>(inData.size())).Raw(inData);
        return Raw(Bytes(mBytes.size() % 2));
    }
    AiffImage& Comm(const aiff_tests::Comm& inComm) { return Chunk("COMM", inComm.Data()); }
    AiffImage& Ssnd(const Bytes& inSamples, std::uint32_t inSkip = 0) {
        return Chunk("SSND", Big32(inSkip) + Big32(0) + inSamples);
    }
    AiffImage& FormSize(std::uint32_t inSize) {
        mFormSize = inSize;
        return *this;
    }
    operator Bytes() const {
        const auto wholeSize = static_cast<std::uint32_t>(mBytes.size() - 8);
        Bytes bytes = mBytes;
        kelaudiofile::bytes::StoreBig32(&bytes[4], mFormSize.value_or(wholeSize));
        return bytes;
    }

private:
    Bytes mBytes;
    std::optional<std::uint32_t> mFormSize;
};

/// Opens an image from a file of its own.
struct OpenedImage {
    explicit OpenedImage(const Bytes& inImage, bool inAssumeChannelOrder = false) {
        WriteFile(folder.Path("image.aif"), inImage);
        file = AiffFile::OpenForRead(folder.PathText("image.aif"), inAssumeChannelOrder, error);
    }

    TemporaryFolder folder;
    Error error{kUntouched, Text8("d"), Text8("c"), kUntouched};
    std::unique_ptr<AiffFile> file;

    static kelcore::UTF8String Text8(std::string_view inText) { return kelcore::ToUTF8String(inText); }
};

/// Bytes of sample data, as far as reads reach; -1 if not even an empty read is taken.
inline std::int64_t SampleDataSize(AiffFile& inFile) {
    unsigned char byte;
    if (!inFile.ReadSampleBytes(0, 0, nullptr))
        return -1;
    std::int64_t size = 0;
    while (inFile.ReadSampleBytes(size, 1, &byte))
        ++size;
    return size;
}

inline std::string Str(const kelcore::UTF8String& inText) {
    return kelcore::ToStdString(inText);
}

inline std::vector<unsigned> Values(const ChannelLayout& inLayout) {
    std::vector<unsigned> values;
    for (const auto channel : inLayout)
        values.push_back(channel.Value());
    return values;
}

} // namespace aiff_tests
