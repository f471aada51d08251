// The `fmt ` chunk alone: the input is its data, decoded once more field by field. Then files of a format
// that the input chooses, written and known again.

#include <algorithm>
#include <optional>

#include "Fuzz.h"
#include "kelaudiofile/ChannelMask.h"
#include "kelaudiofile/WaveFile.h"
#include "kelaudiofile/WaveFormatChunkReader.h"
#include "kelcore/debug.h"

using kelaudiofile::AudioCharacteristics;
using kelaudiofile::WaveFile;
using kelmediatypes::ChannelLayout;

namespace {

/// Bytes 4 to 15 of the subformats: what tells a tag in the first four as a plain one, or as Ambisonic.
constexpr unsigned char kPlain[] = {0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
constexpr unsigned char kAmbisonic[] = {0x21, 7, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0};

int CategoryOfTag(std::uint64_t inTag) {
    switch (inTag) {
    case 1:
        return AudioCharacteristics::kWaveFormatPCM;
    case 2:
        return AudioCharacteristics::kWaveFormatADPCM;
    case 3:
        return AudioCharacteristics::kWaveFormatFloat;
    case 6:
        return AudioCharacteristics::kWaveFormatALaw;
    case 7:
        return AudioCharacteristics::kWaveFormatMuLaw;
    default:
        return AudioCharacteristics::kWaveFormatUnknown;
    }
}

int CategoryOfSubformat(const fuzz::Bytes& inChunk) {
    const std::uint64_t tag = fuzz::Little(inChunk, 24, 4);
    if (std::equal(std::begin(kPlain), std::end(kPlain), inChunk.begin() + 28))
        return CategoryOfTag(tag);
    if (std::equal(std::begin(kAmbisonic), std::end(kAmbisonic), inChunk.begin() + 28))
        return tag == 1   ? AudioCharacteristics::kWaveFormatAmbisonicPCM
               : tag == 3 ? AudioCharacteristics::kWaveFormatAmbisonicFloat
                          : AudioCharacteristics::kWaveFormatUnknown;
    return AudioCharacteristics::kWaveFormatUnknown;
}

ChannelLayout LayoutOf(std::uint64_t inMask, int inChannels) {
    static constexpr std::uint32_t kInMaskOrder[] = {100, 101, 102, 103, 104, 105, 107, 108, 106,
                                                     109, 110, 111, 112, 114, 113, 115, 117, 116};
    ChannelLayout layout;
    for (std::size_t bit = 0; bit < 18; ++bit)
        if ((inMask >> bit & 1) != 0 && (layout.empty() || static_cast<int>(layout.size()) < inChannels))
            layout.emplace_back(kInMaskOrder[bit]);
    while (static_cast<int>(layout.size()) < inChannels)
        layout.emplace_back(0);
    return layout;
}

void Compare(const AudioCharacteristics& inRecord, const fuzz::Bytes& inChunk) {
    const auto field = [&inChunk](std::uint64_t inPlace) {
        return static_cast<int>(fuzz::Little(inChunk, inPlace, 2));
    };
    const int channels = static_cast<std::int16_t>(field(2));
    const int bytesPerSample = channels > 0 ? field(12) / channels : field(12);
    const int bits = inChunk.size() < 16 ? bytesPerSample * 8 : field(14);
    FUZZ_REQUIRE(inRecord.status == AudioCharacteristics::kChunkReadOK && inRecord.containerKind == 0);
    FUZZ_REQUIRE(inRecord.formatTag == static_cast<std::uint32_t>(field(0)));
    FUZZ_REQUIRE(inRecord.sampleRate == fuzz::Little(inChunk, 4, 4));
    FUZZ_REQUIRE(inRecord.numChannels == channels && inRecord.bytesPerSample == bytesPerSample);
    FUZZ_REQUIRE(inRecord.bitsPerSample == bits);
    if (field(0) == 0xFFFE && inChunk.size() >= 40) {
        FUZZ_REQUIRE(inRecord.validBitsPerSample == field(18) && inRecord.extraFormatBytes.empty());
        FUZZ_REQUIRE(inRecord.formatCategory == CategoryOfSubformat(inChunk));
        FUZZ_REQUIRE(inRecord.channelLayout == LayoutOf(fuzz::Little(inChunk, 20, 4), channels));
        return;
    }
    const auto extra = static_cast<std::size_t>(field(16));
    const bool fits = inChunk.size() >= 18 && extra <= inChunk.size() - 18;
    const int category = field(0) == 0x11   ? AudioCharacteristics::kWaveFormatIMAADPCM
                         : field(0) == 0x31 ? AudioCharacteristics::kWaveFormatGSM610
                                            : CategoryOfTag(fuzz::Little(inChunk, 0, 2));
    FUZZ_REQUIRE(inRecord.validBitsPerSample == bits && inRecord.channelLayout.empty());
    FUZZ_REQUIRE(inRecord.extraFormatBytes == (fits ? fuzz::Part(inChunk, 18, extra) : fuzz::Bytes()));
    FUZZ_REQUIRE(inRecord.formatCategory == category);
}

/// By the debug settings, any form of the chunk can be had, also one that no reader knows; or nothing is
/// asked.
void AskForForm(std::optional<int> inSize) {
    auto& settings = kelcore::debug::DebugDatabase::Instance();
    const auto specify = kelcore::ToUTF8String("kelaudiofile.SpecifyWaveFormatStruct");
    if (!inSize)
        return settings.RemoveEntry(specify);
    settings.SetEntry(specify, kelcore::ToUTF8String("true"));
    settings.SetEntry(kelcore::ToUTF8String("kelaudiofile.WaveFormatStructSize"),
                      kelcore::ToUTF8String(std::to_string(*inSize)));
}

/// A frame, and another one far behind, so that the file leaves 32 bits if it may be RF64 and begins a second
/// chunk of samples otherwise.
void WriteAndRead(const ChannelLayout& inLayout, int inChannels, int inChoice) {
    const auto path = fuzz::Folder().PathText("written");
    const auto type = static_cast<WaveFile::SampleType>(inChoice % 5);
    const int bytes = type == WaveFile::kIntegerSamples ? 1 + inChoice / 5 % 4 : 4;
    const bool mayBeRf64 = inChoice / 20 % 2 == 1;
    const std::int64_t frameBytes = std::int64_t{bytes} * inChannels,
                       far = (std::int64_t{1} << 32) / frameBytes;
    WaveFile::ExtendedErrorInfo error;
    const auto create = [&](const kelcore::UTF8String& inPath) {
        return std::unique_ptr<WaveFile>(WaveFile::OpenForWrite(inPath, 48000, inChannels, bytes, 8 * bytes,
                                                                type, inLayout, mayBeRf64, error, true));
    };
    FUZZ_REQUIRE(!create(fuzz::Folder().PathText("no/folder")));
    FUZZ_REQUIRE(error.code ==
                 (type == WaveFile::kNoSampleType ? error.kBadFormat : error.kOpenForWriteFailed));
    const auto written = create(path);
    FUZZ_REQUIRE((written != nullptr) == (type != WaveFile::kNoSampleType));
    if (!written)
        return;
    AskForForm(inChoice % 64 - 4);
    FUZZ_REQUIRE(create(fuzz::Folder().PathText("forced"))->FinishWrite());
    AskForForm({});
    const fuzz::Bytes frame(static_cast<std::size_t>(frameBytes), 0x55);
    for (const std::int64_t place : {std::int64_t{0}, far + 1})
        FUZZ_REQUIRE(written->WriteSampleBytes(place * frameBytes, static_cast<std::int32_t>(frameBytes),
                                               frame.data(), error));
    FUZZ_REQUIRE(written->FinishSamples() && written->FinishWrite());

    const std::unique_ptr<WaveFile> read(WaveFile::OpenForRead(path, error, true));
    FUZZ_REQUIRE(read && read->IsRf64Format() == mayBeRf64 && !read->IsRecoveredTruncatedFile());
    FUZZ_REQUIRE(read->GetNumChannels() == inChannels && read->GetBytesPerSample() == bytes);
    FUZZ_REQUIRE(read->GetSampleCount() == (mayBeRf64 ? far + 2 : 2) && read->GetSampleRate() == 48000);
    fuzz::Bytes last(frame.size());
    FUZZ_REQUIRE(read->ReadSampleBytes((read->GetSampleCount() - 1) * frameBytes, frameBytes, last.data()));
    FUZZ_REQUIRE(last == frame);
    // The extensible form has no place for the scale of floats that are not of 1.0.
    if (read->GetRiffAudioCharacteristics().formatTag != 0xFFFE)
        FUZZ_REQUIRE(read->GetSampleType() == type && read->GetSampleBitDepth() == 8 * bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Bytes chunk(data, data + size);
    const auto file = fuzz::FileOf(chunk);
    const auto read = [&file](std::size_t inOffset, std::size_t inSize) {
        const kelaudiofile::RiffChunkReader::RiffChunkInfo info{0, static_cast<std::int64_t>(inSize), 0,
                                                                inOffset, false};
        return kelaudiofile::WaveFormatChunkReader(file, info, false).GetAudioCharacteristics();
    };
    Compare(read(0, size), chunk);
    FUZZ_REQUIRE(read(0, 65537).status == AudioCharacteristics::kChunkTooLarge);
    FUZZ_REQUIRE(read(size, 1).status == AudioCharacteristics::kChunkReadFailed);

    // A layout that a mask gave gives the mask back, but for the bits that had no channel.
    const auto mask = static_cast<std::uint32_t>(fuzz::Little(chunk, 20, 4));
    const int channels = static_cast<int>(size % 24);
    ChannelLayout layout;
    kelaudiofile::GetChannelLayoutFromWaveFormatExtensibleChannelMask(mask, layout, channels);
    std::uint32_t named = 0;
    for (const bool tableOrder : {false, true}) {
        const bool allFound =
            kelaudiofile::GetWaveFormatExtensibleChannelMaskFromChannelLayout(layout, named, tableOrder);
        FUZZ_REQUIRE(allFound == (std::count(layout.begin(), layout.end(), 0) == 0));
        FUZZ_REQUIRE(LayoutOf(named, channels) == layout);
    }
    const auto choice = static_cast<int>(fuzz::Little(chunk, 0, 2));
    if (choice % 3 == 0)
        layout.assign(layout.size(), 134); // Ambisonic
    WriteAndRead(layout, std::max(channels, 1), choice);
    return 0;
}
