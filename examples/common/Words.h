#pragma once

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "kelaudiofile/AiffFile.h"
#include "kelaudiofile/WaveFile.h"

/// What the programs say to people.
namespace examples {

/// Something that the user should know about, told in words, that ends the program.
using Failure = std::runtime_error;

/// What went wrong with a file. A folder in its place explains it better than any code.
inline Failure Trouble(const std::string& inPath, const std::string& inWhat) {
    std::error_code none;
    return Failure(inPath + ": " + (std::filesystem::is_directory(inPath, none) ? "it is a folder" : inWhat));
}

/// A chunk id as its four characters.
inline std::string IdText(std::uint32_t inId) {
    std::string text;
    for (int i = 0; i < 4; ++i, inId >>= 8) {
        const char character = static_cast<char>(inId & 0xFF);
        text += character >= ' ' && character <= '~' ? character : '?';
    }
    return text;
}

inline std::string ChannelName(kelmediatypes::AudioChannelDescription inChannel) {
    struct Row {
        std::uint32_t value;
        const char* name;
    };
    static constexpr Row kRows[] = {
        {100, "front left"},
        {101, "front right"},
        {102, "front center"},
        {103, "low frequency"},
        {104, "back left"},
        {105, "back right"},
        {106, "back center"},
        {107, "front left of center"},
        {108, "front right of center"},
        {109, "side left"},
        {110, "side right"},
        {111, "top center"},
        {112, "top front left"},
        {113, "top front right"},
        {114, "top front center"},
        {115, "top back left"},
        {116, "top back right"},
        {117, "top back center"},
        {118, "left wide"},
        {119, "right wide"},
        {129, "rear surround left"},
        {130, "rear surround right"},
        {131, "low frequency 2"},
        {132, "left total"},
        {133, "right total"},
        {134, "Ambisonic W"},
        {135, "Ambisonic X"},
        {136, "Ambisonic Y"},
        {137, "Ambisonic Z"},
        {0, "no position"},
    };
    for (const Row& row : kRows)
        if (row.value == inChannel.Value())
            return row.name;
    return "channel " + std::to_string(inChannel.Value());
}

inline std::string LayoutText(const kelmediatypes::ChannelLayout& inLayout) {
    std::string text;
    for (const auto channel : inLayout)
        text += (text.empty() ? "" : ", ") + ChannelName(channel);
    return text.empty() ? "not given" : text;
}

[[gnu::format(printf, 1, 2)]] inline std::string Print(const char* inFormat, ...) {
    char text[512];
    std::va_list values;
    va_start(values, inFormat);
    std::vsnprintf(text, sizeof text, inFormat, values);
    va_end(values);
    return text;
}

inline std::string DurationText(double inSeconds) {
    if (!(inSeconds >= 0 && inSeconds < 1e9))
        return "unknown";
    const auto milliseconds = std::llround(inSeconds * 1000);
    return Print("%lld:%02lld:%02lld.%03lld", milliseconds / 3600000, milliseconds / 60000 % 60,
                 milliseconds / 1000 % 60, milliseconds % 1000);
}

/// A magnitude on the scale where 1.0 is full.
inline std::string DecibelText(double inMagnitude) {
    return inMagnitude > 0 ? Print("%7.2f dBFS", 20 * std::log10(inMagnitude)) : "   -inf dBFS";
}

inline std::string WhyNot(const kelaudiofile::WaveFile::ExtendedErrorInfo& inError) {
    using Info = kelaudiofile::WaveFile::ExtendedErrorInfo;
    switch (inError.code) {
    case Info::kFileNotFound:
        return "there is no such file";
    case Info::kNotWaveFile:
        return "it is no wave file";
    case Info::kChunkScanFailed:
        return "it cannot be read, or is too short";
    case Info::kWriteRefused:
        return "it takes no samples there";
    case Info::kNoFormatChunk:
        return "it has no format chunk";
    case Info::kFormatChunkTooLarge:
        return "its format chunk is too large";
    case Info::kBadFormat:
        return "its format makes no sense";
    case Info::kUnknownFormat:
        return Print("its coding, number %u, is not known", inError.formatTag);
    case Info::kAdpcmFormat:
        return "it is compressed (ADPCM)";
    case Info::kImaAdpcmFormat:
        return "it is compressed (IMA ADPCM)";
    case Info::kALawFormat:
        return "it is compressed (A-law)";
    case Info::kMuLawFormat:
        return "it is compressed (mu-law)";
    case Info::kGsm610Format:
        return "it is compressed (GSM 6.10)";
    case Info::kOpenForWriteFailed:
        return "it cannot be created";
    case Info::kWriteFailed:
        return "writing failed; is the disk full?";
    default:
        return Print("error %d", inError.code);
    }
}

inline std::string WhyNot(const kelaudiofile::AiffFile::ExtendedErrorInfo& inError) {
    using Info = kelaudiofile::AiffFile::ExtendedErrorInfo;
    switch (inError.code) {
    case Info::kFileNotFound:
        return "there is no such file";
    case Info::kNotAiffFile:
        return "it is no AIFF file";
    case Info::kChunkScanFailed:
        return "it cannot be read to its end";
    case Info::kBadCommChunk:
        return "its format chunk is missing or broken";
    case Info::kBadSsndChunk:
        return "its sound chunk is missing or broken";
    case Info::kUnknownCompression:
        return "it is compressed (" + kelcore::ToStdString(inError.compressionCode) + ")";
    case Info::kBadBitDepth:
        return Print("its samples have %d bits", inError.bitsPerSample);
    case Info::kBadSampleType:
        return "an AIFF file cannot hold such samples";
    case Info::kWriteRefused:
        return "it takes no samples there";
    case Info::kOpenForWriteFailed:
        return "it cannot be created";
    case Info::kWriteFailed:
        return "writing failed; is the disk full, or the file at the 4 GiB of its format?";
    default:
        return Print("error %d", inError.code);
    }
}

} // namespace examples
