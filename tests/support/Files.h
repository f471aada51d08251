#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "kelcore/filesupport.h"
#include "kelcore/string.h"

namespace testing_support {

using Bytes = std::vector<unsigned char>;

inline Bytes ToBytes(std::string_view inText) {
    return Bytes(inText.begin(), inText.end());
}

/// A folder for one test, removed with its contents.
class TemporaryFolder {
public:
    TemporaryFolder() {
        const auto start = std::filesystem::temp_directory_path() / "kelaudiofile-";
        do
            mPath = start.string() + std::to_string(std::random_device()());
        while (!std::filesystem::create_directory(mPath));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path Path(std::string_view inName) const { return mPath / inName; }
    kelcore::UTF8String PathText(std::string_view inName) const {
        return kelcore::ToUTF8String(Path(inName).string());
    }
    kelcore::filesupport::File File(std::string_view inName) const {
        return {PathText(inName), kelcore::filesupport::kPathStorage};
    }

private:
    std::filesystem::path mPath;
};

inline void WriteFile(const std::filesystem::path& inPath, const Bytes& inBytes) {
    std::ofstream stream(inPath, std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(inBytes.data()), static_cast<std::streamsize>(inBytes.size()));
}

/// Writes bytes at an offset of an existing file; a gap between the old end and the offset becomes a hole.
inline void PatchFile(const std::filesystem::path& inPath, std::uint64_t inPosition, const Bytes& inBytes) {
    std::fstream stream(inPath, std::ios::binary | std::ios::in | std::ios::out);
    stream.seekp(static_cast<std::streamoff>(inPosition));
    stream.write(reinterpret_cast<const char*>(inBytes.data()), static_cast<std::streamsize>(inBytes.size()));
}

inline Bytes ReadFilePart(const std::filesystem::path& inPath, std::uint64_t inPosition,
                          std::size_t inCount) {
    std::ifstream stream(inPath, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(inPosition));
    Bytes bytes(inCount);
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(inCount));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}
inline Bytes ReadFile(const std::filesystem::path& inPath) {
    std::error_code ignored;
    const auto size = std::filesystem::file_size(inPath, ignored);
    return ReadFilePart(inPath, 0, ignored ? 0 : static_cast<std::size_t>(size));
}

} // namespace testing_support
