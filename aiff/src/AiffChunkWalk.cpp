#include "AiffChunkWalk.h"

#include <algorithm>

#include "AiffFormat.h"

namespace kelaudiofile::aiff {

namespace {

using kelcore::filesupport::IByteStream;

struct FormHeader {
    std::uint32_t id, size, type;
};

FormHeader ReadFormHeader(IByteStream& inStream) {
    Byte header[form::kBytes];
    inStream.CurPos(0);
    inStream.ReadBlock(header, sizeof header);
    return {LoadId(header), bytes::LoadBig32(header + form::kSize), LoadId(header + form::kType)};
}

bool IsAiff(const FormHeader& inHeader) {
    return inHeader.id == kFormId && (inHeader.type == kAiffType || inHeader.type == kAifcType);
}

// A recorder that was cut off leaves size 0, a copy that was cut off a size past its end: both are read to
// the last byte. The sum keeps to 32 bits, so the eight largest sizes wrap and leave no place for a chunk.
std::uint64_t EndOfForm(std::uint32_t inFormSize, std::uint64_t inFileSize) {
    const std::uint32_t end = inFormSize + form::kUncountedBytes;
    return inFormSize == 0 || end > inFileSize ? inFileSize : end;
}

// Positions stay below the file's size but for the last one, which ends the walk, so no sum here overflows.
void ListChunks(IByteStream& inStream, std::uint64_t inEnd, std::list<AiffChunkInfo>& outChunks) {
    std::uint64_t position = form::kBytes;
    for (;;) {
        const std::uint64_t dataStart = position + chunk::kHeaderBytes;
        if (dataStart >= inEnd)
            return;
        Byte header[chunk::kHeaderBytes];
        inStream.CurPos(position);
        inStream.ReadBlock(header, sizeof header);
        const std::uint64_t size =
            std::min<std::uint64_t>(bytes::LoadBig32(header + chunk::kSize), inEnd - dataStart);
        outChunks.push_back({LoadId(header + chunk::kId), static_cast<std::int64_t>(size),
                             static_cast<std::int64_t>(position)});
        position = PaddedEnd(dataStart + size);
    }
}

} // namespace

std::int32_t WalkChunks(IByteStream& inStream, const kelcore::filesupport::File& inFile,
                        std::uint32_t& outFormType, std::list<AiffChunkInfo>& outChunks) {
    using Error = AiffFile::ExtendedErrorInfo;
    std::int32_t codeOfException = Error::kNotAiffFile;
    try {
        const FormHeader header = ReadFormHeader(inStream);
        if (!IsAiff(header))
            return Error::kNotAiffFile;
        outFormType = header.type;
        codeOfException = Error::kChunkScanFailed;
        ListChunks(inStream, EndOfForm(header.size, inFile.Size()), outChunks);
        return Error::kNoError;
    } catch (...) {
        return codeOfException;
    }
}

} // namespace kelaudiofile::aiff
