#pragma once

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kelaudiofile/RiffChunkReader.h"
#include "support/Files.h"

namespace models {

using kelaudiofile::RiffChunkReader;
using testing_support::Bytes;

/// Left out of descriptions, like the form "WAVE".
inline constexpr std::uint32_t kUsualRiffSize = 0x12345678;

/// The result of a scan in one line, such as "LIST 3@12 data 40@24!": sizes, positions of headers, and a mark
/// for a recovered size.
inline std::string Describe(const RiffChunkReader::RiffFileInfo& inInfo,
                            RiffChunkReader::ExtendedError inError) {
    std::ostringstream text;
    if (inError != RiffChunkReader::kExtendedErrorNone)
        text << (inError == RiffChunkReader::kExtendedErrorNotRiff ? " not RIFF" : " failed");
    if (inInfo.riffSize != kUsualRiffSize)
        text << " riff=" << inInfo.riffSize;
    if (inInfo.formType != 0x45564157)
        text << " form=" << inInfo.formType;
    for (const auto& chunk : inInfo.chunks) {
        text << ' ';
        for (int i = 0; i < 4; ++i)
            text << static_cast<char>(chunk.chunkID >> 8 * i);
        text << ' ' << chunk.chunkSize << '@' << chunk.chunkOffset
             << (chunk.dataOffset == chunk.chunkOffset + 8 ? "" : "?")
             << (chunk.recoveredTruncated ? "!" : "");
    }
    return text.str().substr(text.str().empty() ? 0 : 1);
}

/// The rules of the chunk scan, applied to a whole file in memory, one chunk at a time.
class ScanModel {
public:
    explicit ScanModel(const Bytes& inFile) : mFile(inFile) {}

    std::string Result() {
        auto error = RiffChunkReader::kExtendedErrorNotRiff;
        try {
            if (ReadHeader()) {
                for (mPlace = 12, mLeft = mFile.size() - 12; mLeft > 8;)
                    Step();
                error = RiffChunkReader::kExtendedErrorNone;
            }
        } catch (const std::out_of_range&) {
            error = RiffChunkReader::kExtendedErrorReadFailed;
        }
        return Describe(mInfo, error);
    }

private:
    /// Returns the number in this many bytes. @throw std::out_of_range  past the end of the file.
    std::uint64_t At(std::uint64_t inPlace, unsigned inCount) const {
        std::uint64_t number = 0;
        while (inCount-- > 0)
            number = number << 8 | mFile.at(static_cast<std::size_t>(inPlace + inCount));
        return number;
    }
    std::uint32_t IdAt(std::uint64_t inPlace) const { return static_cast<std::uint32_t>(At(inPlace, 4)); }
    std::uint64_t SizeAt(std::uint64_t inPlace) const {
        for (const auto& [id, size] : mSizes)
            if (id == IdAt(inPlace))
                return size;
        return At(inPlace + 4, 4);
    }

    bool ReadHeader() {
        At(11, 1);
        if (IdAt(0) != 0x46464952 && IdAt(0) != 0x34364652 && IdAt(0) != 0x34365742)
            return false;
        const std::uint64_t id = At(12, 4), size = At(16, 4);
        if (id == 0x34367364 && size >= 28 && size <= 65536) {
            At(20 + size - 1, 1);
            mInfo.riffSize = At(20, 8);
            mSizes.emplace_back(0x61746164, At(28, 8));
            const std::uint64_t rows = At(44, 4);
            for (std::uint64_t row = 0; 28 + 12 * rows <= size && row < rows; ++row)
                mSizes.emplace_back(IdAt(48 + 12 * row), At(52 + 12 * row, 8));
        } else {
            mInfo.riffSize = At(4, 4);
        }
        mInfo.formType = IdAt(8);
        return true;
    }

    void Step() {
        if (mPlace % 2 == 1 && At(mPlace, 1) == 0) {
            ++mPlace;
            --mLeft;
        }
        const std::uint32_t id = IdAt(mPlace);
        std::uint64_t size = SizeAt(mPlace);
        mLeft -= 8;
        size = std::min(size, mLeft);
        const bool recovered = id == 0x61746164 && size == 0 && mLeft >= 8 && !IsHeader(mPlace + 8);
        if (recovered)
            size = mLeft;
        if (id != 0 && size != 0)
            mInfo.chunks.push_back({id, static_cast<std::int64_t>(size), mPlace, mPlace + 8, recovered});
        mLeft -= size;
        mPlace += 8 + size;
    }
    bool IsHeader(std::uint64_t inPlace) const {
        const std::uint64_t size = SizeAt(inPlace);
        return (IdAt(inPlace) & 0x80808080) == 0 && size != 0 && size <= mLeft - 8;
    }

    const Bytes& mFile;
    RiffChunkReader::RiffFileInfo mInfo;
    std::vector<std::pair<std::uint32_t, std::uint64_t>>
        mSizes; ///< from `ds64`; the first one for an id counts
    std::uint64_t mPlace = 0, mLeft = 0;
};

} // namespace models
