#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "support/Files.h"

/// What the fuzz targets share: the input as a file or as a row of choices, and the end of a run that went
/// wrong.
namespace fuzz {

using testing_support::Bytes;

/// Ends the run, so that the fuzzer keeps the input.
[[noreturn]] inline void Fail(const char* inWhat, const char* inFile, int inLine) {
    std::fprintf(stderr, "%s:%d: not so: %s\n", inFile, inLine, inWhat);
    std::abort();
}

#define FUZZ_REQUIRE(condition) ((condition) ? void() : fuzz::Fail(#condition, __FILE__, __LINE__))

/// A folder for the files of this process. Quick where the temporary folder is memory, as scripts/fuzz.sh
/// sees to.
inline const testing_support::TemporaryFolder& Folder() {
    static const testing_support::TemporaryFolder folder;
    return folder;
}

/// Puts the bytes into a file, the same one each time.
inline kelcore::filesupport::File FileOf(const Bytes& inBytes) {
    testing_support::WriteFile(Folder().Path("input"), inBytes);
    return Folder().File("input");
}

/// The input as a row of choices; when it has run out, zeros.
class Choices {
public:
    Choices(const std::uint8_t* inData, std::size_t inSize) : mPlace(inData), mEnd(inData + inSize) {}

    bool empty() const { return mPlace == mEnd; }

    /// @return a number below the limit, 0 if there is none.
    std::uint32_t operator()(std::uint32_t inLimit) {
        if (inLimit == 0)
            return 0;
        return static_cast<std::uint32_t>(Number(inLimit <= 0x100     ? 1
                                                 : inLimit <= 0x10000 ? 2
                                                                      : 4)) %
               inLimit;
    }
    /// @return an element of a table.
    template <typename Table>
    const auto& Of(const Table& inTable) {
        return inTable[(*this)(static_cast<std::uint32_t>(std::size(inTable)))];
    }
    /// @return any number of this many bytes.
    std::uint64_t Number(int inByteCount) {
        std::uint64_t number = 0;
        for (int i = 0; i < inByteCount && !empty(); ++i)
            number = number << 8 | *mPlace++;
        return number;
    }
    /// @return the next bytes, fewer where the input ends.
    Bytes Take(std::size_t inCount) {
        const std::uint8_t* const from = mPlace;
        mPlace += std::min(inCount, static_cast<std::size_t>(mEnd - mPlace));
        return Bytes(from, mPlace);
    }
    Bytes Rest() { return Take(static_cast<std::size_t>(mEnd - mPlace)); }

private:
    const std::uint8_t* mPlace;
    const std::uint8_t* mEnd;
};

/// @return the number of this many bytes that lie there, the lowest first; 0 if they do not all lie inside.
inline std::uint64_t Little(const Bytes& inBytes, std::uint64_t inPlace, unsigned inByteCount) {
    std::uint64_t number = 0;
    if (inPlace > inBytes.size() || inByteCount > inBytes.size() - inPlace)
        return 0;
    for (unsigned i = 0; i < inByteCount; ++i)
        number |= std::uint64_t{inBytes[inPlace + i]} << 8 * i;
    return number;
}

inline Bytes Part(const Bytes& inBytes, std::uint64_t inPlace, std::uint64_t inCount) {
    const auto from = inBytes.begin() + static_cast<std::ptrdiff_t>(inPlace);
    return Bytes(from, from + static_cast<std::ptrdiff_t>(inCount));
}

} // namespace fuzz
