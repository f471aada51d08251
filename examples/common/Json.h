#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Words.h"

/// Values as JSON (RFC 8259).
namespace examples::json {

/// Returns how many bytes at the start of the text form one UTF-8 character; 0 if none do.
inline std::size_t CharacterBytes(std::string_view inText) {
    const auto first = static_cast<unsigned char>(inText[0]);
    const std::size_t count = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (count == 1 || first < 0xC2 || first > 0xF4 || count > inText.size())
        return count == 1 ? 1 : 0;
    std::uint32_t code = first & (0x7Fu >> count);
    for (std::size_t i = 1; i < count; ++i) {
        const auto next = static_cast<unsigned char>(inText[i]);
        if ((next & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (next & 0x3F);
    }
    const bool shortest = code >= (count == 2 ? 0x80u : count == 3 ? 0x800u : 0x10000u);
    const bool isCharacter = code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF);
    return shortest && isCharacter ? count : 0;
}

/// Bytes that are not UTF-8, which file names may contain, become U+FFFD.
inline std::string Text(std::string_view inText) {
    std::string text = "\"";
    while (!inText.empty()) {
        const std::size_t count = CharacterBytes(inText);
        const char character = inText[0];
        if (count == 0)
            text += "\\ufffd";
        else if (count == 1 && static_cast<unsigned char>(character) < ' ')
            text += Print("\\u%04x", static_cast<unsigned>(character));
        else
            text.append(character == '"' || character == '\\' ? "\\" : "").append(inText.substr(0, count));
        inText.remove_prefix(count == 0 ? 1 : count);
    }
    return text + '"';
}

inline std::string Number(double inValue) {
    return std::isfinite(inValue) ? Print("%.17g", inValue) : "null";
}

inline std::string Bool(bool inValue) {
    return inValue ? "true" : "false";
}

inline std::string Join(const std::vector<std::string>& inParts) {
    std::string text;
    for (const std::string& part : inParts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

inline std::string Array(const std::vector<std::string>& inValues) {
    return "[" + Join(inValues) + "]";
}

inline std::string Member(std::string_view inName, const std::string& inValue) {
    return Text(inName) + ": " + inValue;
}

inline std::string Object(const std::vector<std::string>& inMembers) {
    return "{" + Join(inMembers) + "}";
}

} // namespace examples::json
