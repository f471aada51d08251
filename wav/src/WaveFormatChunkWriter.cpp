#include "WaveFormatChunkWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <system_error>
#include <vector>

#include "WaveFormat.h"
#include "bytes/ByteOrder.h"
#include "kelaudiofile/ChannelMask.h"
#include "kelcore/utility.h"

namespace kelaudiofile {

using bytes::Byte;
using bytes::StoreLittle16;
using bytes::StoreLittle32;
using kelcore::ToUTF8String;
using kelcore::UTF8String;
using kelcore::debug::DebugDatabase;
using kelcore::utility::Guid;

namespace {

struct Coding {
    std::uint16_t tag;
    const char* subformat;
};

const char* SubformatOf(AudioCharacteristics::WaveFormatCategory inCategory) {
    return std::find_if(waveformat::kSubformats.begin(), waveformat::kSubformats.end(),
                        [inCategory](const auto& row) { return row.category == inCategory; })
        ->guid;
}

Coding CodingOf(AudioCharacteristics::WaveFormatCategory inCategory) {
    switch (inCategory) {
    case AudioCharacteristics::kWaveFormatFloat:
    case AudioCharacteristics::kWaveFormatAmbisonicFloat:
        return {waveformat::kFloatTag, SubformatOf(inCategory)};
    case AudioCharacteristics::kWaveFormatAmbisonicPCM:
        return {waveformat::kIntegerTag, SubformatOf(inCategory)};
    default:
        return {waveformat::kIntegerTag, SubformatOf(AudioCharacteristics::kWaveFormatPCM)};
    }
}

bool IsAmbisonic(AudioCharacteristics::WaveFormatCategory inCategory) {
    return inCategory == AudioCharacteristics::kWaveFormatAmbisonicPCM ||
           inCategory == AudioCharacteristics::kWaveFormatAmbisonicFloat;
}

bool IsMonoOrStereo(const kelmediatypes::ChannelLayout& inLayout) {
    return inLayout == kelmediatypes::CreateStereoChannelLayout() ||
           inLayout == kelmediatypes::CreateMonoChannelLayout();
}

/// Ambisonic subformats need the extensible form although their channels have no mask bits. A layout is not
/// written if the mask cannot express it or the channel count implies it.
std::int32_t ShortestForm(const AudioCharacteristics& inRecord, bool inMaskSaysLayout) {
    const bool needsMask =
        (inMaskSaysLayout || IsAmbisonic(inRecord.formatCategory)) && !IsMonoOrStereo(inRecord.channelLayout);
    if (needsMask)
        return waveformat::kExtensibleBytes;
    return inRecord.extraFormatBytes.empty() ? waveformat::kShortBytes : waveformat::kExtendedBytes;
}

/// Returns the size that the debug settings force, otherwise the given one.
std::int32_t SizeAsked(std::int32_t inShortest) {
    const DebugDatabase& database = DebugDatabase::Instance();
    if (!ReadDebugBool(database, ToUTF8String("kelaudiofile.SpecifyWaveFormatStruct"), false))
        return inShortest;
    return ReadDebugInt32(database, ToUTF8String("kelaudiofile.WaveFormatStructSize"), inShortest);
}

std::uint16_t Low16(std::int32_t inValue) {
    return static_cast<std::uint16_t>(inValue);
}

void FillBasics(Byte* out, const AudioCharacteristics& inRecord, std::uint16_t inTag) {
    const auto bytesPerSample = static_cast<std::uint32_t>(inRecord.bytesPerSample);
    const auto channels = static_cast<std::uint32_t>(inRecord.numChannels);
    StoreLittle16(out + waveformat::kTag, inTag);
    StoreLittle16(out + waveformat::kChannels, Low16(inRecord.numChannels));
    StoreLittle32(out + waveformat::kSampleRate, inRecord.sampleRate);
    StoreLittle32(out + waveformat::kBytesPerSecond, inRecord.sampleRate * bytesPerSample * channels);
    StoreLittle16(out + waveformat::kBlockAlign, static_cast<std::uint16_t>(bytesPerSample * channels));
    StoreLittle16(out + waveformat::kBits, Low16(inRecord.bitsPerSample));
}

void FillExtensible(Byte* out, const AudioCharacteristics& inRecord, std::uint32_t inMask,
                    const char* inSubformat) {
    StoreLittle16(out + waveformat::kValidBits, Low16(inRecord.validBitsPerSample));
    StoreLittle32(out + waveformat::kChannelMask, inMask);
    std::uint32_t first = 0;
    std::uint16_t second = 0, third = 0;
    Guid::LastBytes last{};
    GuidToComponents(Guid(inSubformat, waveformat::kGuidTextLength), first, second, third, last);
    Byte* const guid = out + waveformat::kSubformat;
    StoreLittle32(guid, first);
    StoreLittle16(guid + waveformat::kGuidSecond, second);
    StoreLittle16(guid + waveformat::kGuidThird, third);
    std::copy(last.begin(), last.end(), guid + waveformat::kGuidLast);
}

bool IsForm(std::int32_t inSize) {
    constexpr std::array kForms = {waveformat::kBasicBytes, waveformat::kShortBytes,
                                   waveformat::kExtendedBytes, waveformat::kExtensibleBytes};
    return std::find(kForms.begin(), kForms.end(), inSize) != kForms.end();
}

/// @param inSize  the size of a form; fields that are not inside it are cut off.
std::vector<Byte> BuildForm(const AudioCharacteristics& inRecord, std::int32_t inSize, std::uint32_t inMask) {
    const auto& extra = inRecord.extraFormatBytes;
    const Coding coding = CodingOf(inRecord.formatCategory);
    const bool isExtensible = inSize == waveformat::kExtensibleBytes;
    const auto size = static_cast<std::size_t>(inSize);
    std::vector<Byte> data(extra.size() + static_cast<std::size_t>(waveformat::kExtensibleBytes));
    FillBasics(data.data(), inRecord, isExtensible ? waveformat::kExtensibleTag : coding.tag);
    StoreLittle16(&data[waveformat::kExtensionSize],
                  static_cast<std::uint16_t>(extra.size() + size - waveformat::kExtension));
    if (isExtensible)
        FillExtensible(data.data(), inRecord, inMask, coding.subformat);
    data.resize(size);
    if (inSize >= waveformat::kExtendedBytes)
        data.insert(data.end(), extra.begin(), extra.end());
    return data;
}

/// Only a debug setting can request a size that no form has. @return the extension bytes, or nothing.
std::vector<Byte> BuildWithoutForm(const AudioCharacteristics& inRecord, std::int32_t inSize) {
    return inSize > waveformat::kExtendedBytes ? inRecord.extraFormatBytes : std::vector<Byte>();
}

} // namespace

void WriteWaveFormatChunk(RiffChunkWriter& writer, const AudioCharacteristics& characteristics) {
    unsigned int mask = 0;
    const bool maskSaysLayout =
        GetWaveFormatExtensibleChannelMaskFromChannelLayout(characteristics.channelLayout, mask, true);
    const std::int32_t size = SizeAsked(ShortestForm(characteristics, maskSaysLayout));
    const std::vector<Byte> data =
        IsForm(size) ? BuildForm(characteristics, size, mask) : BuildWithoutForm(characteristics, size);

    const std::uint64_t chunkStart = writer.StartChunk(WaveFormatChunkReader::GetChunkID());
    writer.GetByteStream()->WriteBlock(data.data(), static_cast<unsigned>(data.size()));
    writer.EndChunk(chunkStart, 0);
}

bool ReadDebugBool(const DebugDatabase& database, const UTF8String& key, bool defaultValue) {
    const UTF8String yes = ToUTF8String("true");
    return database.GetEntry(key, defaultValue ? yes : ToUTF8String("false")) == yes;
}

int ReadDebugInt32(const DebugDatabase& database, const UTF8String& key, int defaultValue) {
    const std::string text =
        ToStdString(database.GetEntry(key, kelcore::utility::ConvertInt32ToBufferT(defaultValue)));
    int value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() ? value : 0;
}

} // namespace kelaudiofile
