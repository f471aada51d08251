#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "AiffImage.h"
#include "kelaudiofile/AiffFile.h"
#include "support/Sweep.h"

namespace aiff_tests {

using kelaudiofile::AiffFile;
using kelmediatypes::ChannelLayout;
using Error = AiffFile::ExtendedErrorInfo;

inline constexpr std::int32_t kUntouched = -77;

struct Format {
    int rate = 44100, channels = 1, bits = 16, type = 1;
    ChannelLayout layout{};
};

/// One file in its own folder, read or written.
class AiffTest : public testing::Test {
protected:
    std::int32_t Open(bool inAssumeChannelOrder = false) {
        mError = {kUntouched, kelcore::ToUTF8String("d"), kelcore::ToUTF8String("c"), kUntouched};
        mFile = AiffFile::OpenForRead(mPathText, inAssumeChannelOrder, mError);
        return mError.code;
    }
    std::int32_t Open(const Bytes& inImage, bool inAssumeChannelOrder = false) {
        std::filesystem::remove(mPath); // faster than truncating it
        WriteFile(mPath, inImage);
        return Open(inAssumeChannelOrder);
    }
    std::int32_t Create(const Format& inFormat = {}, std::string_view inName = "a.aif") {
        mFile.reset();
        mTaken = 0;
        Error error{kUntouched, {}, {}, kUntouched};
        mFile.reset(AiffFile::OpenForWrite(mFolder.PathText(inName), inFormat.rate, inFormat.channels,
                                           inFormat.bits, static_cast<AiffFile::SampleType>(inFormat.type),
                                           inFormat.layout, error));
        EXPECT_EQ(mFile != nullptr, error.code == 0);
        return error.code;
    }
    /// Appends samples. @return the code.
    std::int32_t Write(const void* inBytes, std::int32_t inCount) {
        Error error;
        const bool taken = mFile->WriteSampleBytes(mTaken, inCount, inBytes, error);
        EXPECT_EQ(taken, error.code == 0);
        mTaken += taken ? inCount : 0;
        return error.code;
    }
    std::int32_t Write(const Bytes& inBytes) {
        return Write(inBytes.data(), static_cast<std::int32_t>(inBytes.size()));
    }
    bool Finish(bool inAbandon = false) {
        Error error{kUntouched, {}, {}, kUntouched};
        bool finished = false;
        try {
            finished = mFile->FinishWrite(inAbandon, error);
        } catch (const kelcore::filesupport::file_exception&) {
        }
        EXPECT_EQ(error.code, kUntouched);
        return finished;
    }

    /// Makes one call per character. [ and ] begin and end "NAME"; a digit adds that many bytes to it, and M
    /// adds 33,333; s and S write 3 and 50,000 bytes of samples; . finishes the file and ! abandons it.
    /// Between - and + every system call fails, between ~ and + all but the next two.
    /// @return one letter per call: y and n for true and false, r for kWriteRefused, f for kWriteFailed.
    std::string Play(std::string_view inCalls, int inTries = 1) {
        std::string results;
        for (const char call : inCalls)
            if (call == '+') {
                faults::Disarm();
            } else if (call == '-' || call == '~') {
                faults::SystemCalls().failAt = faults::SystemCalls().calls + (call == '~' ? 2 : 0);
            } else {
                results += Make(call);
                for (int i = 1; i < inTries && results.back() != 'y'; ++i)
                    results.back() = Make(call);
            }
        return results;
    }
    Bytes Left() const { return ReadFile(mPath); }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
    const std::filesystem::path mPath = mFolder.Path("a.aif");
    const kelcore::UTF8String mPathText = mFolder.PathText("a.aif");
    std::unique_ptr<AiffFile> mFile;
    Error mError;            ///< of the open for reading
    std::int64_t mTaken = 0; ///< bytes of samples

private:
    char Make(char inCall) {
        if (inCall == 's' || inCall == 'S') {
            const std::int32_t code = Write(Counting(inCall == 's' ? 3 : 50'000));
            return code == 9 ? 'r' : code == 11 ? 'f' : code == 0 ? 'y' : '?';
        }
        const std::int32_t count = inCall == 'M' ? 33'333 : inCall - '0';
        const bool done = inCall == '['   ? mFile->StartMetadatumWrite(0x454D414E)
                          : inCall == ']' ? mFile->FinishMetadatumWrite()
                          : inCall == '.' || inCall == '!'
                              ? Finish(inCall == '!')
                              : mFile->MetadatumWrite(Counting(40'000).data(), count);
        return done ? 'y' : 'n';
    }
};

} // namespace aiff_tests
