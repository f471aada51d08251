#pragma once

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "kelaudiofile/AudioFormat.h"

/// The wording of the programs' output.
namespace examples {

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

inline std::string LengthText(std::int64_t inFrames, const kelaudiofile::AudioFormat& inFormat) {
    return DurationText(static_cast<double>(inFrames) / inFormat.sampleRate);
}

/// @param inMagnitude  relative to full scale 1.0.
inline std::string DecibelText(double inMagnitude) {
    return inMagnitude > 0 ? Print("%7.2f dBFS", 20 * std::log10(inMagnitude)) : "   -inf dBFS";
}

inline std::string SamplesText(const kelaudiofile::SampleFormat& inSamples) {
    static const char* const kCodings[] = {"integers", "floats", "floats of full scale 32768",
                                           "floats of full scale 8388608"};
    const char* order = inSamples.bytesPerSample == 1 ? (inSamples.isUnsigned ? "unsigned " : "signed ")
                        : inSamples.byteOrder == kelaudiofile::ByteOrder::kBigEndian ? "big-endian "
                                                                                     : "little-endian ";
    return std::to_string(inSamples.bytesPerSample * 8) + "-bit " + order +
           kCodings[static_cast<std::size_t>(inSamples.coding)];
}

/// Returns the name of a channel's position, or its number if the file does not specify one.
inline std::string ChannelText(const kelaudiofile::AudioFormat& inFormat, std::size_t inChannel) {
    return inChannel < inFormat.layout.size() ? kelaudiofile::ChannelName(inFormat.layout[inChannel])
                                              : "channel " + std::to_string(inChannel + 1);
}

} // namespace examples
