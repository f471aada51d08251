#include "kelcore/utility.h"

namespace kelcore::utility {

namespace {

constexpr std::size_t kGuidTextLength = 36;

bool IsHyphenPlace(std::size_t inIndex) {
    return inIndex == 8 || inIndex == 13 || inIndex == 18 || inIndex == 23;
}

int HexDigit(char inCharacter) {
    if (inCharacter >= '0' && inCharacter <= '9')
        return inCharacter - '0';
    if (inCharacter >= 'a' && inCharacter <= 'f')
        return inCharacter - 'a' + 10;
    if (inCharacter >= 'A' && inCharacter <= 'F')
        return inCharacter - 'A' + 10;
    return -1;
}

bool ParseGuid(const char* inText, std::size_t inLength, std::array<std::uint8_t, 16>& outBytes) {
    if (inLength != kGuidTextLength)
        return false;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < inLength; ++i) {
        if (IsHyphenPlace(i)) {
            if (inText[i] != '-')
                return false;
            continue;
        }
        const int digit = HexDigit(inText[i]);
        if (digit < 0)
            return false;
        auto& byte = outBytes[digits++ / 2];
        byte = static_cast<std::uint8_t>(byte << 4 | digit);
    }
    return true;
}

} // namespace

Guid::Guid(const char* inText, std::size_t inLength) {
    if (!ParseGuid(inText, inLength, mBytes))
        mBytes = {};
}

Guid::Guid(std::uint32_t inFirst, std::uint16_t inSecond, std::uint16_t inThird, const LastBytes& inLast) {
    for (int i = 0; i < 4; ++i)
        mBytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(inFirst >> (24 - 8 * i));
    mBytes[4] = static_cast<std::uint8_t>(inSecond >> 8);
    mBytes[5] = static_cast<std::uint8_t>(inSecond);
    mBytes[6] = static_cast<std::uint8_t>(inThird >> 8);
    mBytes[7] = static_cast<std::uint8_t>(inThird);
    for (std::size_t i = 0; i < inLast.size(); ++i)
        mBytes[8 + i] = inLast[i];
}

void GuidToComponents(const Guid& inGuid, std::uint32_t& outFirst, std::uint16_t& outSecond,
                      std::uint16_t& outThird, Guid::LastBytes& outLast) {
    const auto& bytes = inGuid.mBytes;
    outFirst = std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
               bytes[3];
    outSecond = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    outThird = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    for (std::size_t i = 0; i < outLast.size(); ++i)
        outLast[i] = bytes[8 + i];
}

} // namespace kelcore::utility
