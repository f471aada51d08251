#pragma once

#include <cstdint>

/// Loads and stores numbers in file bytes. All byte order of this library is handled here. The shifts are
/// written out: compilers turn them into single loads and stores, whatever the byte order of the machine, and
/// no address needs alignment.
namespace kelaudiofile::bytes {

using Byte = unsigned char;

constexpr std::uint16_t LoadLittle16(const Byte* in) {
    return static_cast<std::uint16_t>(in[0] | in[1] << 8);
}

constexpr std::uint32_t LoadLittle32(const Byte* in) {
    return std::uint32_t{in[0]} | std::uint32_t{in[1]} << 8 | std::uint32_t{in[2]} << 16 |
           std::uint32_t{in[3]} << 24;
}

constexpr std::uint64_t LoadLittle64(const Byte* in) {
    return LoadLittle32(in) | std::uint64_t{LoadLittle32(in + 4)} << 32;
}

constexpr std::uint16_t LoadBig16(const Byte* in) {
    return static_cast<std::uint16_t>(in[0] << 8 | in[1]);
}

constexpr std::uint32_t LoadBig32(const Byte* in) {
    return std::uint32_t{in[0]} << 24 | std::uint32_t{in[1]} << 16 | std::uint32_t{in[2]} << 8 |
           std::uint32_t{in[3]};
}

constexpr std::uint64_t LoadBig64(const Byte* in) {
    return std::uint64_t{LoadBig32(in)} << 32 | LoadBig32(in + 4);
}

constexpr void StoreLittle16(Byte* out, std::uint16_t inValue) {
    out[0] = static_cast<Byte>(inValue);
    out[1] = static_cast<Byte>(inValue >> 8);
}

constexpr void StoreLittle32(Byte* out, std::uint32_t inValue) {
    out[0] = static_cast<Byte>(inValue);
    out[1] = static_cast<Byte>(inValue >> 8);
    out[2] = static_cast<Byte>(inValue >> 16);
    out[3] = static_cast<Byte>(inValue >> 24);
}

constexpr void StoreLittle64(Byte* out, std::uint64_t inValue) {
    StoreLittle32(out, static_cast<std::uint32_t>(inValue));
    StoreLittle32(out + 4, static_cast<std::uint32_t>(inValue >> 32));
}

constexpr void StoreBig16(Byte* out, std::uint16_t inValue) {
    out[0] = static_cast<Byte>(inValue >> 8);
    out[1] = static_cast<Byte>(inValue);
}

constexpr void StoreBig32(Byte* out, std::uint32_t inValue) {
    out[0] = static_cast<Byte>(inValue >> 24);
    out[1] = static_cast<Byte>(inValue >> 16);
    out[2] = static_cast<Byte>(inValue >> 8);
    out[3] = static_cast<Byte>(inValue);
}

constexpr void StoreBig64(Byte* out, std::uint64_t inValue) {
    StoreBig32(out, static_cast<std::uint32_t>(inValue >> 32));
    StoreBig32(out + 4, static_cast<std::uint32_t>(inValue));
}

} // namespace kelaudiofile::bytes
