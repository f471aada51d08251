#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ios>
#include <string>
#include <string_view>

#include "kelcore/allocator.h"
#include "kelcore/export.h"

/// The support layer: files, streams, memory, strings and exceptions. A host that has its own implementation
/// of these names can use it instead of this one.
namespace kelcore {

/// @addtogroup support
/// @{

/// Character traits of bytes; the standard library has none for unsigned char.
struct UTF8Traits {
    /// @cond  The rest is what the standard library requires of character traits, with the usual meaning.
    using char_type = unsigned char;
    using int_type = int;
    using off_type = std::streamoff;
    using pos_type = std::streampos;
    using state_type = std::mbstate_t;

    static void assign(char_type& out, const char_type& in) noexcept { out = in; }
    static char_type* assign(char_type* out, std::size_t inCount, char_type inByte) noexcept {
        if (inCount != 0)
            std::memset(out, inByte, inCount);
        return out;
    }
    static bool eq(char_type a, char_type b) noexcept { return a == b; }
    static bool lt(char_type a, char_type b) noexcept { return a < b; }
    static int compare(const char_type* a, const char_type* b, std::size_t inCount) noexcept {
        return inCount == 0 ? 0 : std::memcmp(a, b, inCount);
    }
    static std::size_t length(const char_type* in) noexcept {
        return std::strlen(reinterpret_cast<const char*>(in));
    }
    static const char_type* find(const char_type* in, std::size_t inCount, const char_type& inByte) noexcept {
        return inCount == 0 ? nullptr : static_cast<const char_type*>(std::memchr(in, inByte, inCount));
    }
    static char_type* move(char_type* out, const char_type* in, std::size_t inCount) noexcept {
        if (inCount != 0)
            std::memmove(out, in, inCount);
        return out;
    }
    static char_type* copy(char_type* out, const char_type* in, std::size_t inCount) noexcept {
        if (inCount != 0)
            std::memcpy(out, in, inCount);
        return out;
    }
    static char_type to_char_type(int_type in) noexcept { return static_cast<char_type>(in); }
    static int_type to_int_type(char_type in) noexcept { return in; }
    static bool eq_int_type(int_type a, int_type b) noexcept { return a == b; }
    static int_type eof() noexcept { return -1; }
    static int_type not_eof(int_type in) noexcept { return in == eof() ? 0 : in; }
    /// @endcond
};

/// A byte string for paths and texts. Its bytes are UTF-8 by convention; nothing checks or changes them.
using UTF8String = std::basic_string<unsigned char, UTF8Traits, allocator::STLAllocator<unsigned char>>;

/// Copies the bytes of a text, including zero bytes.
inline UTF8String ToUTF8String(std::string_view inText) {
    return UTF8String(reinterpret_cast<const unsigned char*>(inText.data()), inText.size());
}

/// Copies the bytes of a text, including zero bytes.
inline std::string ToStdString(const UTF8String& inText) {
    return std::string(reinterpret_cast<const char*>(inText.data()), inText.size());
}

/// Builds a text. Offers only what the messages of this library need.
class oUTF8StringStream {
public:
    /// Appends the number in decimal.
    oUTF8StringStream& operator<<(int inNumber) {
        mText += ToUTF8String(std::to_string(inNumber));
        return *this;
    }

    /// Returns the text so far.
    UTF8String str() const { return mText; }

private:
    UTF8String mText;
};

/// String functions.
namespace string {

/// Replaces "@0" to "@9" in a format with the strings of these indices, in one pass: inserted strings are not
/// scanned again.
KELCORE_EXPORT UTF8String ReplaceInString(const UTF8String& inFormat,
                                          const std::array<UTF8String, 10>& inStrings);

} // namespace string

namespace utility {

/// Returns the number in decimal, with a minus sign if it is negative.
KELCORE_EXPORT UTF8String ConvertInt32ToBufferT(int inNumber);

} // namespace utility

/// @}

} // namespace kelcore
