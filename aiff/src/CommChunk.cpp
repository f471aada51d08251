#include "CommChunk.h"

#include <algorithm>
#include <cstddef>

#include "AiffFormat.h"
#include "SampleRate.h"

namespace kelaudiofile::aiff {

namespace {

using kelcore::UTF8String;

/// The effect of a code on the bit depth in "COMM".
enum class Depth {
    kKept,
    kRaised,  // raised to the code's depth if lower, before the frames on disk are counted
    kImposed, // set to the code's depth, after that
};

struct Compression {
    std::uint32_t code;
    AiffFile::SampleType sampleType;
    Depth depth = Depth::kKept;
    std::int16_t bitsPerSample = 0;
};

// Comparison is case-sensitive. "twos" means the same as "NONE" but is rejected.
constexpr Compression kCompressions[] = {
    {0, AiffFile::kBigEndianIntegerSamples},
    {FourCC("NONE"), AiffFile::kBigEndianIntegerSamples},
    {FourCC("sowt"), AiffFile::kLittleEndianIntegerSamples},
    {FourCC("in24"), AiffFile::kBigEndianIntegerSamples, Depth::kImposed, 24},
    {FourCC("IN24"), AiffFile::kBigEndianIntegerSamples, Depth::kImposed, 24},
    {FourCC("in32"), AiffFile::kBigEndianIntegerSamples, Depth::kImposed, 32},
    {FourCC("IN32"), AiffFile::kBigEndianIntegerSamples, Depth::kImposed, 32},
    {FourCC("fl32"), AiffFile::kFloatSamples, Depth::kRaised, 32},
    {FourCC("FL32"), AiffFile::kFloatSamples, Depth::kRaised, 32},
};

constexpr WrittenForm kWrittenForms[] = {
    {AiffFile::kBigEndianIntegerSamples, kAiffType, 0, "", ""},
    {AiffFile::kLittleEndianIntegerSamples, kAifcType, FourCC("sowt"), "sowt", ""},
    {AiffFile::kFloatSamples, kAifcType, FourCC("fl32"), "fl32", "32-bit floating point"},
};

const Compression* FindCompression(std::uint32_t inCode) {
    const auto* found = std::find_if(std::begin(kCompressions), std::end(kCompressions),
                                     [=](const Compression& row) { return row.code == inCode; });
    return found == std::end(kCompressions) ? nullptr : found;
}

UTF8String TextUpToZero(std::span<const Byte> inBytes) {
    return UTF8String(inBytes.begin(), std::find(inBytes.begin(), inBytes.end(), Byte{0}));
}

void ParseCompression(std::span<const Byte> inData, AiffFormatInfo& ioFormat) {
    const auto code = inData.subspan(comm::kCompressionCode, 4);
    ioFormat.compressionCodeId = LoadId(code.data());
    const Compression* compression = FindCompression(ioFormat.compressionCodeId);
    if (compression != nullptr && compression->depth == Depth::kRaised)
        ioFormat.bitsPerSample = std::max(ioFormat.bitsPerSample, compression->bitsPerSample);

    const auto room = inData.subspan(comm::kDescription);
    const std::size_t length = std::min<std::size_t>(inData[comm::kDescriptionLength], room.size());
    ioFormat.compressionDescription = TextUpToZero(room.first(length));
    ioFormat.compressionCode = TextUpToZero(code);
}

} // namespace

bool IsCommSize(std::uint32_t inFormType, std::int64_t inByteCount) {
    const int least = inFormType == kAifcType ? comm::kAifcBytes : comm::kAiffBytes;
    return inByteCount >= least && inByteCount <= kLargestParsedChunk;
}

void ParseComm(std::span<const Byte> inData, AiffFormatInfo& ioFormat) {
    const Byte* data = inData.data();
    ioFormat.numChannels = static_cast<std::int16_t>(bytes::LoadBig16(data + comm::kNumChannels));
    ioFormat.sampleCount = bytes::LoadBig32(data + comm::kSampleCount);
    ioFormat.bitsPerSample = static_cast<std::int16_t>(bytes::LoadBig16(data + comm::kBitsPerSample));
    ioFormat.sampleRate = LoadExtended(data + comm::kSampleRate);
    if (ioFormat.formType == kAifcType)
        ParseCompression(inData, ioFormat);
}

bool ApplyCompression(AiffFormatInfo& ioFormat) {
    const Compression* compression = FindCompression(ioFormat.compressionCodeId);
    if (compression == nullptr)
        return false;
    ioFormat.sampleType = compression->sampleType;
    if (compression->depth == Depth::kImposed)
        ioFormat.bitsPerSample = compression->bitsPerSample;
    return true;
}

const WrittenForm* FindWrittenForm(AiffFile::SampleType inSampleType) {
    const auto* found = std::find_if(std::begin(kWrittenForms), std::end(kWrittenForms),
                                     [=](const WrittenForm& row) { return row.sampleType == inSampleType; });
    return found == std::end(kWrittenForms) ? nullptr : found;
}

std::vector<Byte> BuildComm(const AiffFormatInfo& inFormat) {
    const bool isAifc = inFormat.formType == kAifcType;
    const UTF8String& description = inFormat.compressionDescription;
    std::vector<Byte> data(isAifc ? PaddedEnd(comm::kAifcBytes + description.size()) : comm::kAiffBytes);
    bytes::StoreBig16(&data[comm::kNumChannels], static_cast<std::uint16_t>(inFormat.numChannels));
    bytes::StoreBig16(&data[comm::kBitsPerSample], static_cast<std::uint16_t>(inFormat.bitsPerSample));
    StoreExtended(&data[comm::kSampleRate], inFormat.sampleRate);
    if (isAifc) {
        StoreId(&data[comm::kCompressionCode], inFormat.compressionCodeId);
        data[comm::kDescriptionLength] = static_cast<Byte>(description.size());
        std::copy(description.begin(), description.end(), data.begin() + comm::kDescription);
    }
    return data;
}

} // namespace kelaudiofile::aiff
