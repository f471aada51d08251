#pragma once

#include <gtest/gtest.h>

#include "RiffImage.h"
#include "kelcore/logging.h"
#include "support/Faults.h"

namespace testing_support {

using Error = kelaudiofile::WaveFile::ExtendedErrorInfo;

/// Writes images and opens them; collects what is logged.
class WaveReadTest : public testing::Test {
protected:
    WaveReadTest() {
        kelcore::logging::SetSink([this](std::string_view line) { mLog.emplace_back(line); });
    }
    ~WaveReadTest() override { kelcore::logging::SetSink({}); }

    void Write(const Bytes& inBytes, std::uint64_t inFileSize = 0) {
        std::filesystem::remove(mFolder.Path("file")); // quicker than to empty it
        WriteFile(mFolder.Path("file"), inBytes);
        if (inFileSize != 0)
            std::filesystem::resize_file(mFolder.Path("file"), inFileSize);
    }
    wave_tests::Handle Open(bool inStreamFlag = false) {
        mError = {99, 99};
        return wave_tests::Handle(kelaudiofile::WaveFile::OpenForRead(mPath, mError, inStreamFlag));
    }
    wave_tests::Handle Open(const RiffImage& inImage, std::uint64_t inFileSize = 0) {
        Write(inImage.Bytes(), inFileSize);
        return Open(inFileSize % 2 == 1);
    }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
    const kelcore::UTF8String mPath = mFolder.PathText("file");
    Error mError;
    std::vector<std::string> mLog;
};

} // namespace testing_support
