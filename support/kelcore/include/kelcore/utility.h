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

/// Small value types used throughout this layer.
namespace kelcore::utility {

/// @addtogroup support
/// @{

/// One 24-bit sample: an element of three bytes without alignment. Its byte order is up to its owner.
struct int24_t {
    std::uint8_t bytes[3]; ///< in memory order
};
static_assert(sizeof(int24_t) == 3 && alignof(int24_t) == 1);

/// Splits an id into its four characters in disk order, which is lowest byte first.
inline void FourCCToBuffer(std::uint32_t inId, char (&outCharacters)[4]) {
    for (int i = 0; i < 4; ++i)
        outCharacters[i] = static_cast<char>(static_cast<unsigned char>(inId >> (8 * i)));
}

/// 16 bytes, kept in text order and compared whole.
class KELCORE_EXPORT Guid {
public:
    /// The last eight bytes, in text order.
    using LastBytes = std::array<std::uint8_t, 8>;

    /// Parses the form "00000001-0000-0010-8000-00aa00389b71". Text of any other form gives all zeros.
    /// @param inText  hexadecimal digits of either case; needs no terminator.
    /// @param inLength  36.
    Guid(const char* inText, std::size_t inLength);

    /// Takes the three leading groups as numbers and the last eight bytes in text order.
    Guid(std::uint32_t inFirst, std::uint16_t inSecond, std::uint16_t inThird, const LastBytes& inLast);

    /// Compares all 16 bytes.
    friend bool operator==(const Guid& a, const Guid& b) { return a.mBytes == b.mBytes; }
    /// Compares all 16 bytes.
    friend bool operator!=(const Guid& a, const Guid& b) { return !(a == b); }

    /// Returns the arguments of the second constructor.
    friend KELCORE_EXPORT void GuidToComponents(const Guid& inGuid, std::uint32_t& outFirst,
                                                std::uint16_t& outSecond, std::uint16_t& outThird,
                                                LastBytes& outLast);

private:
    std::array<std::uint8_t, 16> mBytes{};
};

/// Returns the arguments of Guid's second constructor.
KELCORE_EXPORT void GuidToComponents(const Guid& inGuid, std::uint32_t& outFirst, std::uint16_t& outSecond,
                                     std::uint16_t& outThird, Guid::LastBytes& outLast);

/// An owned text: a message or the qualified name of a function.
class StringValue {
public:
    /// Takes ownership of the text.
    explicit StringValue(UTF8String&& inText) : mText(std::move(inText)) {}
    /// Joins two texts, such as a scope and a name.
    StringValue(std::string_view inText, std::string_view inRest) : mText(ToUTF8String(inText)) {
        mText += ToUTF8String(inRest);
    }

    /// Returns the text, which is valid as long as this object.
    const UTF8String& Text() const { return mText; }

private:
    UTF8String mText;
};

/// A key that lives as long as the program: it refers to a string literal, which is never copied.
class ImmutableString {
public:
    /// Refers to a literal, which must live as long as the program.
    template <std::size_t N>
    constexpr ImmutableString(const char (&inLiteral)[N]) : mText(inLiteral, N - 1) {}

    /// Returns the text of the literal.
    constexpr std::string_view Text() const { return mText; }
    /// Compares the texts byte by byte.
    friend bool operator<(const ImmutableString& a, const ImmutableString& b) { return a.mText < b.mText; }

private:
    std::string_view mText;
};

/// A number or a text.
using DictionaryValue = std::variant<std::int64_t, UTF8String>;

/// The additional data of an exception.
using Dictionary = std::map<ImmutableString, DictionaryValue>;

/// A set of bits in a number.
template <typename T>
class Flags {
public:
    /// Keeps the number as it is.
    constexpr explicit Flags(T inBits = 0) : mBits(inBits) {}
    /// Returns the number.
    constexpr T Bits() const { return mBits; }

private:
    T mBits;
};

/// @}

} // namespace kelcore::utility
