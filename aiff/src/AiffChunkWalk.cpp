#include "AiffChunkWalk.h"

#include <algorithm>

#include "AiffFormat.h"
#include "chunks/Attempt.h"
#include "kelaudiofile/AiffFile.h"

namespace kelaudiofile::aiff {

namespace {

using kelcore::filesupport::IPlatformByteStream;

struct FormHeader {
    std::uint32_t id, size, type;
};

FormHeader ReadFormHeader(IPlatformByteStream& inStream) {
    Byte header[form::kBytes];
    inStream.CurPos(0);
    inStream.ReadBlock(header, sizeof header);
    return {LoadId(header), bytes::LoadBig32(header + form::kSize), LoadId(header + form::kType)};
}

bool IsAiff(const FormHeader& inHeader) {
    return inHeader.id == kFormId && (inHeader.type == kAiffType || inHeader.type == kAifcType);
}

// An interrupted recorder leaves size 0, and a truncated copy leaves a size past its end: both are read to
// the last byte. The sum is kept to 32 bits, so the eight largest sizes wrap and leave no room for a chunk.
std::uint64_t EndOfForm(std::uint32_t inFormSize, std::uint64_t inFileSize) {
    const std::uint32_t end = inFormSize + form::kUncountedBytes;
    return inFormSize == 0 || end > inFileSize ? inFileSize : end;
}

/// Eight zero bytes form a chunk without id and size. @return how many more of them
/// follow that the walk lists.
std::uint64_t CountZeroChunks(IPlatformByteStream& inStream, std::uint64_t inPosition, std::uint64_t inEnd) {
    if (inPosition + chunk::kHeaderBytes >= inEnd)
        return 0;
    // A header that ends with the FORM is not listed.
    const std::uint64_t listedBytes = inEnd - inPosition - 1;
    inStream.CurPos(inPosition);
    return inStream.CountZeroBytes(listedBytes) / chunk::kHeaderBytes;
}

// All positions are below the file's size except the last one, which ends the walk, so no sum here overflows.
void ListChunks(IPlatformByteStream& inStream, std::uint64_t inEnd, chunks::ChunkTable& outChunks) {
    std::uint64_t position = form::kBytes;
    for (;;) {
        const std::uint64_t dataStart = position + chunk::kHeaderBytes;
        if (dataStart >= inEnd)
            return;
        Byte header[chunk::kHeaderBytes];
        inStream.CurPos(position);
        inStream.ReadBlock(header, sizeof header);
        const std::uint32_t id = LoadId(header);
        const std::uint64_t size =
            std::min<std::uint64_t>(bytes::LoadBig32(header + chunk::kSize), inEnd - dataStart);
        const std::uint64_t next = PaddedEnd(dataStart + size);
        const std::uint64_t zeros = id == 0 && size == 0 ? CountZeroChunks(inStream, next, inEnd) : 0;
        outChunks.Append({id, static_cast<std::int64_t>(size), static_cast<std::int64_t>(position)},
                         static_cast<std::int64_t>(1 + zeros));
        position = next + zeros * chunk::kHeaderBytes;
    }
}

} // namespace

std::int32_t WalkChunks(IPlatformByteStream& inStream, const kelcore::filesupport::File& inFile,
                        std::uint32_t& outFormType, chunks::ChunkTable& outChunks) {
    using Error = AiffFile::ExtendedErrorInfo;
    std::int32_t code = Error::kNotAiffFile;
    chunks::Attempt([&] {
        const FormHeader header = ReadFormHeader(inStream);
        if (!IsAiff(header))
            return;
        outFormType = header.type;
        code = Error::kChunkScanFailed;
        ListChunks(inStream, EndOfForm(header.size, inFile.Size()), outChunks);
        code = Error::kNoError;
    });
    return code;
}

} // namespace kelaudiofile::aiff
