#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <variant>

#include "kelcore/export.h"
#include "kelcore/string.h"

/// Small values that the rest of the layer passes around.
namespace kelcore::utility {

/// One sample of 24 bits: an element of three bytes without alignment. Its byte order is its owner's.
struct int24_t {
    std::uint8_t bytes[3]; ///< in the order in which they lie in memory
};
static_assert(sizeof(int24_t) == 3 && alignof(int24_t) == 1);

/// Puts the four characters of an id in their order on disk; the lowest byte of the id comes first.
inline void FourCCToBuffer(std::uint32_t inId, char (&outCharacters)[4]) {
    for (int i = 0; i < 4; ++i)
        outCharacters[i] = static_cast<char>(static_cast<unsigned char>(inId >> (8 * i)));
}

/// 16 bytes, kept in text order and compared whole.
class KELCORE_EXPORT Guid {
public:
    /// The eight last bytes, in text order.
    using LastBytes = std::array<std::uint8_t, 8>;

    /// Reads the form "00000001-0000-0010-8000-00aa00389b71". A text of any other form gives all zeros.
    /// @param inText  hexadecimal digits of either case; needs no terminator.
    /// @param inLength  36.
    Guid(const char* inText, std::size_t inLength);

    /// Takes the three leading groups as numbers and the eight last bytes in text order.
    Guid(std::uint32_t inFirst, std::uint16_t inSecond, std::uint16_t inThird, const LastBytes& inLast);

    /// Compares all 16 bytes.
    friend bool operator==(const Guid& a, const Guid& b) { return a.mBytes == b.mBytes; }
    /// Compares all 16 bytes.
    friend bool operator!=(const Guid& a, const Guid& b) { return !(a == b); }

    /// Gives the pieces of the second constructor back.
    friend KELCORE_EXPORT void GuidToComponents(const Guid& inGuid, std::uint32_t& outFirst,
                                                std::uint16_t& outSecond, std::uint16_t& outThird,
                                                LastBytes& outLast);

private:
    std::array<std::uint8_t, 16> mBytes{};
};

/// Gives the pieces of Guid's second constructor back.
KELCORE_EXPORT void GuidToComponents(const Guid& inGuid, std::uint32_t& outFirst, std::uint16_t& outSecond,
                                     std::uint16_t& outThird, Guid::LastBytes& outLast);

/// An owned text: a message, or the qualified name of a function.
class StringValue {
public:
    /// Takes the text over.
    explicit StringValue(UTF8String&& inText) : mText(std::move(inText)) {}
    /// The two texts joined, such as a scope and a name.
    StringValue(std::string_view inText, std::string_view inRest) : mText(ToUTF8String(inText)) {
        mText += ToUTF8String(inRest);
    }

    /// @return the text, valid as long as this object.
    const UTF8String& Text() const { return mText; }

private:
    UTF8String mText;
};

/// A key that lives as long as the program: made from a string literal, never copied.
class ImmutableString {
public:
    /// From a literal, which must live as long as the program.
    template <std::size_t N>
    constexpr ImmutableString(const char (&inLiteral)[N]) : mText(inLiteral, N - 1) {}

    /// @return the literal's text.
    constexpr std::string_view Text() const { return mText; }
    /// Compares the texts byte by byte.
    friend bool operator<(const ImmutableString& a, const ImmutableString& b) { return a.mText < b.mText; }

private:
    std::string_view mText;
};

/// A number or a text.
using DictionaryValue = std::variant<std::int64_t, UTF8String>;

/// Pairs that travel with an exception.
using Dictionary = std::map<ImmutableString, DictionaryValue>;

/// A set of bits in a number.
template <typename T>
class Flags {
public:
    /// Keeps the number as it is.
    constexpr explicit Flags(T inBits = 0) : mBits(inBits) {}
    /// @return the number.
    constexpr T Bits() const { return mBits; }

private:
    T mBits;
};

} // namespace kelcore::utility
