#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "WaveSupport.h"
#include "kelcore/logging.h"
#include "support/Faults.h"

namespace wave_tests {

/// One file in its own folder; collects what is logged.
class WaveTest : public testing::Test {
protected:
    WaveTest() {
        kelcore::logging::SetSink([this](std::string_view line) { mLog.emplace_back(line); });
    }
    ~WaveTest() override { kelcore::logging::SetSink({}); }

    /// @param inFileSize  if not 0, zeros follow the image up to here.
    void Put(const Bytes& inImage, std::uint64_t inFileSize = 0) {
        std::filesystem::remove(mPath); // faster than truncating it
        testing_support::WriteFile(mPath, inImage);
        if (inFileSize != 0)
            std::filesystem::resize_file(mPath, inFileSize);
    }
    Handle Open(bool inStreamFlag = false) {
        mError = {99, 99};
        return Handle(WaveFile::OpenForRead(mPathText, mError, inStreamFlag));
    }
    Handle Open(const Bytes& inImage, std::uint64_t inFileSize = 0) {
        Put(inImage, inFileSize);
        return Open(inFileSize % 2 == 1);
    }
    Handle Create(const Format& inFormat = {}) {
        mError = {99, 99};
        return wave_tests::Create(mPathText, inFormat, mError);
    }
    Bytes File() const { return testing_support::ReadFile(mPath); }
    Bytes Part(std::uint64_t inPosition, std::size_t inCount) const {
        return testing_support::ReadFilePart(mPath, inPosition, inCount);
    }

    const faults::Scope mScope;
    const testing_support::TemporaryFolder mFolder;
    const std::filesystem::path mPath = mFolder.Path("file");
    const kelcore::UTF8String mPathText = mFolder.PathText("file");
    Error mError;
    std::vector<std::string> mLog;
    Handle mFile;
};

} // namespace wave_tests
