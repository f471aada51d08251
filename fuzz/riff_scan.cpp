// The chunk scan against the walk written down over the bytes of the file.

#include <algorithm>

#include "Fuzz.h"
#include "bytes/FourCC.h"
#include "kelaudiofile/RiffChunkReader.h"

using kelaudiofile::RiffChunkReader;
using kelaudiofile::bytes::FourCC;

namespace {

struct Walk {
    const fuzz::Bytes& file;
    RiffChunkReader::RiffFileInfo info{};
    std::vector<std::pair<std::uint32_t, std::uint64_t>> ds64Sizes{};

    std::uint32_t Id(std::uint64_t inPlace) const {
        return static_cast<std::uint32_t>(fuzz::Little(file, inPlace, 4));
    }
    std::uint64_t SizeAt(std::uint64_t inPlace) const {
        for (const auto& [id, size] : ds64Sizes)
            if (id == Id(inPlace))
                return size;
        return fuzz::Little(file, inPlace + 4, 4);
    }

    RiffChunkReader::ExtendedError Run() {
        if (file.size() < 12)
            return RiffChunkReader::kExtendedErrorReadFailed;
        if (Id(0) != FourCC("RIFF") && Id(0) != FourCC("RF64") && Id(0) != FourCC("BW64"))
            return RiffChunkReader::kExtendedErrorNotRiff;
        const std::uint64_t firstSize = fuzz::Little(file, 16, 4);
        const bool hasDs64 = Id(12) == FourCC("ds64") && firstSize >= 28 && firstSize <= 65536;
        if (file.size() < 20 + (hasDs64 ? firstSize : 0))
            return RiffChunkReader::kExtendedErrorReadFailed;
        info.riffSize = hasDs64 ? fuzz::Little(file, 20, 8) : fuzz::Little(file, 4, 4);
        if (hasDs64) {
            ds64Sizes.emplace_back(FourCC("data"), fuzz::Little(file, 28, 8));
            const std::uint64_t rows = fuzz::Little(file, 44, 4);
            for (std::uint64_t row = 0; 28 + 12 * rows <= firstSize && row < rows; ++row)
                ds64Sizes.emplace_back(Id(48 + 12 * row), fuzz::Little(file, 52 + 12 * row, 8));
        }
        info.formType = Id(8);
        for (std::uint64_t place = 12; file.size() - place > 8;)
            place = Step(place);
        return RiffChunkReader::kExtendedErrorNone;
    }

    std::uint64_t Step(std::uint64_t inPlace) {
        if (inPlace % 2 == 1 && file[inPlace] == 0)
            ++inPlace;
        const std::uint64_t start = inPlace + 8, left = file.size() - start;
        std::uint64_t size = std::min(SizeAt(inPlace), left);
        bool recovered = false;
        if (Id(inPlace) == FourCC("data") && size == 0 && left >= 8) {
            const bool looksLikeChunk =
                SizeAt(start) != 0 && SizeAt(start) <= left - 8 && (Id(start) & 0x80808080) == 0;
            recovered = !looksLikeChunk;
            size = recovered ? left : 0;
        }
        if (Id(inPlace) != 0 && size != 0)
            info.chunks.push_back({Id(inPlace), static_cast<std::int64_t>(size), inPlace, start, recovered});
        return start + size;
    }
};

bool Same(const RiffChunkReader::RiffChunkInfo& a, const RiffChunkReader::RiffChunkInfo& b) {
    return a.chunkID == b.chunkID && a.chunkSize == b.chunkSize && a.chunkOffset == b.chunkOffset &&
           a.dataOffset == b.dataOffset && a.recoveredTruncated == b.recoveredTruncated;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Bytes file(data, data + size);
    Walk walk{file};
    const RiffChunkReader::ExtendedError error = walk.Run();
    const RiffChunkReader reader(fuzz::FileOf(file), size % 2 == 0);
    const RiffChunkReader::RiffFileInfo& info = reader.GetFileInfo();
    FUZZ_REQUIRE(reader.GetExtendedError() == error);
    FUZZ_REQUIRE(info.riffSize == walk.info.riffSize && info.formType == walk.info.formType);
    FUZZ_REQUIRE(std::equal(info.chunks.begin(), info.chunks.end(), walk.info.chunks.begin(),
                            walk.info.chunks.end(), Same));
    return 0;
}
