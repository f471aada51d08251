#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "support/Files.h"

/// Shared by the fuzz targets: the input as a file or as a sequence of choices, and the end of a failed run.
namespace fuzz {

using testing_support::Bytes;

/// Ends the run if the condition is false, so that the fuzzer keeps the input.
#define FUZZ_REQUIRE(condition)                                                                              \
    ((condition)                                                                                             \
         ? void()                                                                                            \
         : (std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition), std::abort()))

/// A folder for the files of this process, in memory if scripts/fuzz.sh finds room there.
inline const testing_support::TemporaryFolder& Folder() {
    static const testing_support::TemporaryFolder folder;
    return folder;
}

/// Writes the bytes to a file, always the same one.
inline kelcore::filesupport::File FileOf(const Bytes& inBytes) {
    testing_support::WriteFile(Folder().Path("input"), inBytes);
    return Folder().File("input");
}

inline bool LiesIn(const Bytes& inFile, const Bytes& inPart) {
    return std::search(inFile.begin(), inFile.end(), inPart.begin(), inPart.end()) != inFile.end();
}

/// Everything that a host can read of an open file.
struct Contents {
    std::vector<std::pair<std::uint32_t, Bytes>> metadata{}; ///< ids and data
    Bytes samples;

    template <typename File>
    Contents(File& ioFile, const Bytes& inFile) : samples(inFile.size()) {
        std::uint32_t id = 0;
        std::int64_t size = 0;
        double position = 0;
        for (std::int32_t index = 0; ioFile.GetMetadataInfo(index, id, size, position); ++index) {
            Bytes whole(static_cast<std::size_t>(size));
            FUZZ_REQUIRE(ioFile.ReadMetadataChunk(index, 0, size, whole.data()));
            FUZZ_REQUIRE(LiesIn(inFile, whole) && position >= 0 && position <= 1);
            metadata.emplace_back(id, Bytes(whole.begin() + 8, whole.end()));
        }
        std::int64_t done = 0;
        for (std::int64_t piece = 4099; piece > 0; piece /= 3)
            while (ioFile.ReadSampleBytes(done, piece, samples.data() + done))
                done += piece;
        samples.resize(static_cast<std::size_t>(done));
    }

    /// Returns whether everything was written.
    template <typename File>
    bool WriteTo(File& ioFile) const {
        typename File::ExtendedErrorInfo error;
        const auto count = [](const Bytes& bytes) { return static_cast<std::int32_t>(bytes.size()); };
        bool isWritten = true;
        for (const auto& [id, data] : metadata)
            isWritten = ioFile.StartMetadatumWrite(id) && ioFile.MetadatumWrite(data.data(), count(data)) &&
                        ioFile.FinishMetadatumWrite() && isWritten;
        return ioFile.WriteSampleBytes(0, count(samples), samples.data(), error) && isWritten;
    }
};

/// The input as a sequence of choices, followed by zeros when it is used up.
class Choices {
public:
    Choices(const std::uint8_t* inData, std::size_t inSize) : mPlace(inData), mEnd(inData + inSize) {}

    bool empty() const { return mPlace == mEnd; }

    /// Returns a number below the limit, or 0 if the limit is 0.
    std::uint32_t operator()(std::uint32_t inLimit) {
        const std::uint64_t number = Number(inLimit <= 0x100 ? 1 : inLimit <= 0x10000 ? 2 : 4);
        return inLimit == 0 ? 0 : static_cast<std::uint32_t>(number % inLimit);
    }
    /// Returns any number of this many bytes.
    std::uint64_t Number(int inByteCount) {
        std::uint64_t number = 0;
        for (int i = 0; i < inByteCount && !empty(); ++i)
            number = number << 8 | *mPlace++;
        return number;
    }
    Bytes Rest() { return Bytes(std::exchange(mPlace, mEnd), mEnd); }

private:
    const std::uint8_t* mPlace;
    const std::uint8_t* mEnd;
};

} // namespace fuzz
