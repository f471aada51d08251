#include "kelaudiofile/RiffChunkReader.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>

#include "RiffFormat.h"
#include "bytes/ByteOrder.h"
#include "chunks/Attempt.h"
#include "kelcore/utility.h"

namespace kelaudiofile {

using kelcore::filesupport::File;
using kelcore::filesupport::IPlatformByteStream;

namespace {

bool IsMagic(std::uint32_t inId) {
    return inId == riff::kRiffId || inId == riff::kRf64Id || inId == riff::kBw64Id;
}

bool IsPlainText(std::uint32_t inId) {
    char characters[4];
    kelcore::utility::FourCCToBuffer(inId, characters);
    return std::all_of(std::begin(characters), std::end(characters),
                       [](char character) { return static_cast<unsigned char>(character) <= 0x7F; });
}

} // namespace

/// The scan of one file, with its state.
class RiffChunkReader::Scan {
public:
    Scan(RiffChunkReader& ioReader, const File& inFile)
        : mReader(ioReader), mFile(inFile),
          mStream(inFile, kelcore::utility::Flags<unsigned>(ioReader.mStreamFlag ? 1 : 0)) {}

    void Run() {
        std::array<bytes::Byte, riff::header::kBytes> header;
        mStream.ReadBlock(header.data(), riff::header::kBytes);
        if (!IsMagic(bytes::LoadLittle32(&header[riff::header::kMagic]))) {
            mReader.mExtendedError = kExtendedErrorNotRiff;
            return;
        }
        mPosition = riff::header::kBytes;
        if (!ReadDs64())
            mReader.mFileInfo.riffSize = bytes::LoadLittle32(&header[riff::header::kRiffSize]);
        mReader.mFileInfo.formType = bytes::LoadLittle32(&header[riff::header::kFormType]);
        const std::uint64_t fileSize = mFile.Size();
        mRemaining = fileSize < mPosition ? 0 : fileSize - mPosition;
        Walk();
    }

private:
    struct ChunkHeader {
        bytes::Byte firstByte;
        std::uint32_t id;
        std::uint64_t size;
    };

    void Walk() {
        while (mRemaining > riff::chunk::kHeaderBytes) {
            RiffChunkInfo chunk;
            const ChunkHeader header = ReadHeaderAfterPadByte();
            chunk.chunkOffset = mPosition;
            mRemaining -= riff::chunk::kHeaderBytes;
            chunk.chunkID = header.id;
            chunk.dataOffset = mStream.CurPos();
            // The end of the file may truncate the chunk.
            std::uint64_t size = std::min(header.size, mRemaining);
            if (IsUnfinishedData(header.id, size)) {
                size = mRemaining;
                chunk.recoveredTruncated = true;
            }
            chunk.chunkSize = static_cast<std::int64_t>(size);
            if (header.id != 0 && size != 0)
                mReader.mFileInfo.chunks.push_back(chunk);
            mRemaining -= size;
            mPosition += riff::chunk::kHeaderBytes + size;
            if (header.id == 0 && size == 0)
                SkipEmptyHeaders();
        }
    }

    /// Skips a pad byte. Supports both files with and without pad bytes: a zero byte at an odd offset is one,
    /// since no id starts with it.
    ChunkHeader ReadHeaderAfterPadByte() {
        mStream.CurPos(mPosition);
        ChunkHeader header = ReadHeader();
        if (mPosition % 2 == 1 && header.firstByte == 0) {
            ++mPosition;
            --mRemaining;
            mStream.CurPos(mPosition);
            header = ReadHeader();
        }
        return header;
    }

    ChunkHeader ReadHeader() {
        std::array<bytes::Byte, riff::chunk::kHeaderBytes> header;
        mStream.ReadBlock(header.data(), riff::chunk::kHeaderBytes);
        const std::uint32_t id = bytes::LoadLittle32(&header[riff::chunk::kId]);
        return {header[0], id, SizeOf(id, bytes::LoadLittle32(&header[riff::chunk::kSize]))};
    }

    std::uint64_t SizeOf(std::uint32_t inId, std::uint32_t inHeaderSize) const {
        const auto& sizes = mReader.mDs64Sizes;
        const auto row =
            std::lower_bound(sizes.begin(), sizes.end(), inId,
                             [](const auto& inRow, auto inSought) { return inRow.first < inSought; });
        return row != sizes.end() && row->first == inId ? static_cast<std::uint64_t>(row->second)
                                                        : inHeaderSize;
    }

    /// A recorder that lost power leaves size 0 before its samples. An empty chunk looks the same, so the
    /// bytes that follow decide: if they look like a chunk header, the chunk is really empty.
    bool IsUnfinishedData(std::uint32_t inId, std::uint64_t inSize) {
        if (inId != riff::kDataId || inSize != 0 || mRemaining < riff::chunk::kHeaderBytes)
            return false;
        const ChunkHeader next = ReadHeader();
        const bool looksLikeChunk =
            next.size != 0 && next.size <= mRemaining - riff::chunk::kHeaderBytes && IsPlainText(next.id);
        return !looksLikeChunk;
    }

    /// Eight zero bytes look like a chunk without id and size. A preallocated file has gigabytes of them
    /// after its last chunk: all of these steps are taken at once.
    void SkipEmptyHeaders() {
        if (mRemaining <= riff::chunk::kHeaderBytes)
            return;
        mStream.CurPos(mPosition);
        const std::uint64_t zeroHeaders = mStream.CountZeroBytes(mRemaining) / riff::chunk::kHeaderBytes;
        const std::uint64_t skipped = zeroHeaders * riff::chunk::kHeaderBytes;
        mPosition += skipped;
        mRemaining -= skipped;
    }

    /// Reads the 64-bit sizes if the first chunk is a `ds64` of a legal size. @return whether it is.
    bool ReadDs64() {
        const ChunkHeader header = ReadHeader();
        if (header.id != riff::kDs64Id || header.size < riff::ds64::kSmallest ||
            header.size > riff::ds64::kLargest)
            return false;
        std::vector<bytes::Byte> data(static_cast<std::size_t>(header.size));
        mStream.ReadBlock(data.data(), static_cast<unsigned>(data.size()));
        mReader.mFileInfo.riffSize = bytes::LoadLittle64(&data[riff::ds64::kRiffSize]);
        // A table can hold thousands of rows, and every chunk is looked up with SizeOf, so the rows are
        // sorted. Of two rows for one id, the first in the file counts.
        std::map<std::uint32_t, std::int64_t> sizes;
        sizes.emplace(riff::kDataId,
                      static_cast<std::int64_t>(bytes::LoadLittle64(&data[riff::ds64::kDataSize])));
        const std::uint64_t rows = bytes::LoadLittle32(&data[riff::ds64::kTableLength]);
        if (riff::ds64::kTable + rows * riff::ds64::kRowBytes <= data.size())
            for (std::size_t row = 0; row < rows; ++row) {
                const auto* place = data.data() + riff::ds64::kTable + row * riff::ds64::kRowBytes;
                sizes.emplace(bytes::LoadLittle32(place + riff::ds64::kRowId),
                              static_cast<std::int64_t>(bytes::LoadLittle64(place + riff::ds64::kRowSize)));
            }
        mReader.mDs64Sizes.assign(sizes.begin(), sizes.end());
        return true;
    }

    RiffChunkReader& mReader;
    const File& mFile;
    IPlatformByteStream mStream;
    std::uint64_t mPosition = 0;
    std::uint64_t mRemaining = 0;
};

RiffChunkReader::RiffChunkReader(File inFile, bool inStreamFlag) : mStreamFlag(inStreamFlag) {
    OpenFile(inFile);
}

void RiffChunkReader::OpenFile(const File& inFile) {
    if (!chunks::Attempt([&] { Scan(*this, inFile).Run(); }))
        mExtendedError = kExtendedErrorReadFailed;
}

std::vector<RiffChunkReader::RiffChunkInfo>
FilterChunkInfo(const std::vector<RiffChunkReader::RiffChunkInfo>& chunks, unsigned int id) {
    const auto hasId = [id](const auto& chunk) { return chunk.chunkID == id; };
    std::vector<RiffChunkReader::RiffChunkInfo> result;
    result.reserve(static_cast<std::size_t>(std::count_if(chunks.begin(), chunks.end(), hasId)));
    std::copy_if(chunks.begin(), chunks.end(), std::back_inserter(result), hasId);
    return result;
}

std::uint32_t GetWaveDataIdentifier() {
    return riff::kDataId;
}

std::uint32_t GetWaveFileFormatIdentifier() {
    return riff::kWaveId;
}

} // namespace kelaudiofile
