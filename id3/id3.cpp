#include "kelaudiofile/id3.h"

#include <cstring>

namespace kelaudiofile::id3 {

namespace {

using kelcore::filesupport::IByteStream;

namespace v1 { // ID3v1: a block of fixed length at the end of the stream
constexpr unsigned kTagBytes = 128, kMagicBytes = 3;
constexpr char kMagic[] = "TAG";
} // namespace v1

namespace v2 { // ID3v2: a header at the start of the stream; offsets are relative to it
constexpr unsigned kHeaderBytes = 10, kMagicBytes = 3;
constexpr unsigned kMajorVersion = 3, kRevision = 4, kSize = 6;
constexpr char kMagic[] = "ID3";
constexpr int kLatestMajorVersion = 4;
} // namespace v2

bool ReadV1Magic(IByteStream& ioStream, char (&outMagic)[v1::kMagicBytes]) {
    const std::uint64_t length = ioStream.Length();
    if (length < v1::kTagBytes)
        return false;
    ioStream.CurPos(length - v1::kTagBytes);
    ioStream.ReadBlock(outMagic, v1::kMagicBytes);
    return true;
}

bool ReadV2Header(IByteStream& ioStream, unsigned char (&outHeader)[v2::kHeaderBytes]) {
    if (ioStream.Length() < v2::kHeaderBytes)
        return false;
    ioStream.CurPos(0);
    ioStream.ReadBlock(outHeader, v2::kHeaderBytes);
    return true;
}

// The only place where a stream's exceptions are stopped.
template <typename Read>
bool ReadQuietly(Read inRead) noexcept {
    try {
        return inRead();
    } catch (...) {
        return false;
    }
}

std::int32_t SignedByte(unsigned char inByte) {
    return static_cast<signed char>(inByte);
}

// Seven bits per byte, highest first. An eighth bit is not allowed; it overlaps the neighbouring byte.
std::uint32_t SyncsafeSize(const unsigned char* inBytes) {
    std::uint32_t size = 0;
    for (int i = 0; i < 4; ++i)
        size = size * 128 | inBytes[i];
    return size;
}

} // namespace

bool GetID3v1Length(IByteStream& inStream, std::uint64_t& outLength) {
    outLength = 0;
    char magic[v1::kMagicBytes] = {};
    if (!ReadQuietly([&] { return ReadV1Magic(inStream, magic); }))
        return false;
    if (std::memcmp(magic, v1::kMagic, v1::kMagicBytes) != 0)
        return false;
    outLength = v1::kTagBytes;
    return true;
}

bool GetID3v2Length(IByteStream& inStream, std::uint64_t& outLength, std::int32_t& outMajorVersion,
                    std::int32_t& outRevision) {
    outLength = 0;
    outMajorVersion = 0;
    outRevision = 0;
    unsigned char header[v2::kHeaderBytes] = {};
    if (!ReadQuietly([&] { return ReadV2Header(inStream, header); }))
        return false;
    if (std::memcmp(header, v2::kMagic, v2::kMagicBytes) != 0)
        return false;
    outMajorVersion = SignedByte(header[v2::kMajorVersion]);
    outRevision = SignedByte(header[v2::kRevision]);
    if (outMajorVersion > v2::kLatestMajorVersion)
        return false;
    const std::uint32_t size = SyncsafeSize(header + v2::kSize);
    if (size == 0) // only if all four bytes are 0
        return false;
    outLength = std::uint64_t{size} + v2::kHeaderBytes;
    return true;
}

} // namespace kelaudiofile::id3
