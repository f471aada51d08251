#pragma once

#include <cstdint>

namespace kelaudiofile::bytes {

/// Makes an id from its four characters. The lowest byte of an id is its first character on disk, in wave and
/// AIFF files alike; ids are compared and passed on in this form and never byte-swapped.
consteval std::uint32_t FourCC(const char (&inText)[5]) {
    std::uint32_t id = 0;
    for (int i = 3; i >= 0; --i)
        id = id << 8 | static_cast<unsigned char>(inText[i]);
    return id;
}

static_assert(FourCC("data") == 0x61746164);

} // namespace kelaudiofile::bytes
