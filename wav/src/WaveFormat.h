#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kelaudiofile/WaveFormatChunkReader.h"

/// The layout of the `fmt ` chunk's data, little-endian; the extensible form is WAVE_FORMAT_EXTENSIBLE.
namespace kelaudiofile::waveformat {

inline constexpr std::size_t kTag = 0, kChannels = 2, kSampleRate = 4, kBytesPerSecond = 8, kBlockAlign = 12;
inline constexpr std::size_t kBits = 14, kExtensionSize = 16, kExtension = 18;
inline constexpr std::size_t kValidBits = 18, kChannelMask = 20, kSubformat = 24;
inline constexpr std::size_t kGuidSecond = 4, kGuidThird = 6, kGuidLast = 8; // from the subformat's start

/// The chunk's lengths: each form ends where the first field of the next one begins.
inline constexpr std::int32_t kBasicBytes = 14, kShortBytes = 16, kExtendedBytes = 18, kExtensibleBytes = 40;
inline constexpr std::int64_t kLargestChunk = 65536;

inline constexpr std::uint16_t kIntegerTag = 0x01, kFloatTag = 0x03, kExtensibleTag = 0xFFFE;

struct TagRow {
    std::uint16_t tag;
    AudioCharacteristics::WaveFormatCategory category;
};
inline constexpr std::array kTags = {
    TagRow{kIntegerTag, AudioCharacteristics::kWaveFormatPCM},
    TagRow{kFloatTag, AudioCharacteristics::kWaveFormatFloat},
    TagRow{0x02, AudioCharacteristics::kWaveFormatADPCM},
    TagRow{0x11, AudioCharacteristics::kWaveFormatIMAADPCM},
    TagRow{0x06, AudioCharacteristics::kWaveFormatALaw},
    TagRow{0x07, AudioCharacteristics::kWaveFormatMuLaw},
    TagRow{0x31, AudioCharacteristics::kWaveFormatGSM610},
};

/// The components of a GUID, parsed from its text at compile time.
struct GuidPieces {
    std::uint32_t first;
    std::uint16_t second, third;
    std::array<std::uint8_t, 8> last;
};

constexpr std::uint64_t HexDigit(char inCharacter) {
    return static_cast<std::uint64_t>(inCharacter <= '9' ? inCharacter - '0'
                                                         : (inCharacter | 0x20) - 'a' + 10);
}

constexpr GuidPieces PiecesOf(std::string_view inText) {
    std::uint64_t halves[2] = {};
    std::size_t digits = 0;
    for (const char character : inText)
        if (character != '-') {
            std::uint64_t& half = halves[digits++ / 16];
            half = half << 4 | HexDigit(character);
        }
    GuidPieces pieces{static_cast<std::uint32_t>(halves[0] >> 32),
                      static_cast<std::uint16_t>(halves[0] >> 16),
                      static_cast<std::uint16_t>(halves[0]),
                      {}};
    for (std::size_t i = 0; i < pieces.last.size(); ++i)
        pieces.last[i] = static_cast<std::uint8_t>(halves[1] >> (56 - 8 * i));
    return pieces;
}

inline constexpr std::size_t kGuidTextLength = 36;
struct SubformatRow {
    const char* guid;
    AudioCharacteristics::WaveFormatCategory category;
    GuidPieces pieces = PiecesOf(guid);
};
inline constexpr std::array kSubformats = {
    SubformatRow{"00000001-0000-0010-8000-00aa00389b71", AudioCharacteristics::kWaveFormatPCM},
    SubformatRow{"00000003-0000-0010-8000-00aa00389b71", AudioCharacteristics::kWaveFormatFloat},
    SubformatRow{"00000006-0000-0010-8000-00aa00389b71", AudioCharacteristics::kWaveFormatALaw},
    SubformatRow{"00000007-0000-0010-8000-00aa00389b71", AudioCharacteristics::kWaveFormatMuLaw},
    SubformatRow{"00000002-0000-0010-8000-00aa00389b71", AudioCharacteristics::kWaveFormatADPCM},
    SubformatRow{"00000001-0721-11D3-8644-C8C1CA000000", AudioCharacteristics::kWaveFormatAmbisonicPCM},
    SubformatRow{"00000003-0721-11d3-8644-C8C1CA000000", AudioCharacteristics::kWaveFormatAmbisonicFloat},
};

} // namespace kelaudiofile::waveformat
