#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "RiffFormat.h"
#include "WriteSupport.h"
#include "kelcore/logging.h"
#include "models/ScanModel.h"
#include "support/Faults.h"

namespace wave_tests {

/// The start of a file. Nobody reads its RIFF size.
inline Image Riff(std::string_view inMagic = "RIFF", std::string_view inForm = "WAVE") {
    return Image().Header(inMagic, models::kUsualRiffSize).Text(inForm);
}

/// Bytes that are never 0 and never look like a chunk's header; they differ from their neighbours.
inline Bytes Filling(std::size_t inCount) {
    Bytes bytes(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
        bytes[i] = static_cast<unsigned char>(0x80 + i % 127);
    return bytes;
}

/// The data of a `fmt ` chunk, by default 16-bit stereo PCM.
struct FormatImage {
    std::uint16_t tag = 1, channels = 2;
    std::uint32_t rate = 48000;
    std::uint16_t blockAlign = 4, bits = 16;
    Bytes tail{}; ///< what follows the bits, from offset 16 on

    operator Bytes() const { // bytes per second: nobody reads them
        return Image().U16(tag).U16(channels).U32(rate).U32(0xDEADBEEF).U16(blockAlign).U16(bits).Add(tail);
    }
};

/// The last 14 bytes of the subformats that carry plain and Ambisonic samples; the first two are the tag.
inline const Bytes kPlainGuidEnd = {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
inline const Bytes kAmbisonicGuidEnd = {0, 0, 0x21, 7, 0xD3, 0x11, 0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0, 0};

/// What follows the bits of an extensible chunk: 24 bytes.
inline Bytes ExtensibleTail(std::uint16_t inValidBits, std::uint32_t inMask, std::uint16_t inSubformat,
                            const Bytes& inGuidEnd = kPlainGuidEnd) {
    return Image().U16(22).U16(inValidBits).U32(inMask).U16(inSubformat).Add(inGuidEnd);
}

/// A file up to its samples.
inline Image Wave(const FormatImage& inFormat = {}) {
    return Riff().Chunk("fmt ", inFormat);
}

/// The data of a `ds64` chunk, with a sample count that nobody reads.
struct Ds64Image {
    std::uint64_t riffSize = 0, dataSize = 0;
    std::vector<std::pair<std::uint32_t, std::uint64_t>> rows{};
    std::optional<std::uint64_t> tableLength{}; ///< what the chunk claims, if not the truth

    operator Bytes() const {
        Image image = Image().U64(riffSize).U64(dataSize).U64(0x1122334455667788);
        image.U32(tableLength.value_or(rows.size()));
        for (const auto& [id, size] : rows)
            image.U32(id).U64(size);
        return image;
    }
};

/// Puts images into a file and opens it; collects what is logged.
class WaveTest : public testing::Test {
protected:
    WaveTest() {
        kelcore::logging::SetSink([this](std::string_view line) { mLog.emplace_back(line); });
    }
    ~WaveTest() override { kelcore::logging::SetSink({}); }

    /// @param inFileSize  if not 0, zeros follow the image up to here.
    void Put(const Bytes& inImage, std::uint64_t inFileSize = 0) {
        std::filesystem::remove(mFolder.Path("file")); // quicker than to empty it
        testing_support::WriteFile(mFolder.Path("file"), inImage);
        if (inFileSize != 0)
            std::filesystem::resize_file(mFolder.Path("file"), inFileSize);
    }
    Handle Open(bool inStreamFlag = false) {
        mError = {99, 99};
        return Handle(WaveFile::OpenForRead(mPath, mError, inStreamFlag));
    }
    Handle Open(const Bytes& inImage, std::uint64_t inFileSize = 0) {
        Put(inImage, inFileSize);
        return Open(inFileSize % 2 == 1);
    }

    Bytes File() const { return testing_support::ReadFile(mFolder.Path("file")); }

    const faults::Scope mScope;
    const testing_support::TemporaryFolder mFolder;
    const kelcore::UTF8String mPath = mFolder.PathText("file");
    Error mError;
    std::vector<std::string> mLog;
};

} // namespace wave_tests
