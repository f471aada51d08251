#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

#include "support/Files.h"

namespace testing_support {

/// What the streams below open, and then never touch.
struct EmptyFile {
    EmptyFile() { WriteFile(folder.Path("empty"), {}); }
    TemporaryFolder folder;
};
inline const EmptyFile gNowhere;

/// A file stream that reads from memory. It counts its calls and throws a number from one kind of them.
class MemoryFileInput : public kelcore::filesupport::IPlatformByteStream {
public:
    enum class Call { kNone, kLength, kSeek, kRead };

    explicit MemoryFileInput(Bytes inBytes)
        : IPlatformByteStream(gNowhere.folder.File("empty"), kelcore::utility::Flags<unsigned>(0)),
          mBytes(std::move(inBytes)) {}

    void ReadBlock(void* outBytes, unsigned inCount) override {
        Enter(Call::kRead);
        if (mPosition > mBytes.size() || inCount > mBytes.size() - mPosition)
            throw kelcore::filesupport::file_exception("read", kelcore::ToUTF8String("memory"), 0);
        std::copy_n(mBytes.begin() + static_cast<std::ptrdiff_t>(mPosition), inCount,
                    static_cast<unsigned char*>(outBytes));
        mPosition += inCount;
    }
    void CurPos(std::uint64_t inPosition) override {
        Enter(Call::kSeek);
        mPosition = inPosition;
    }
    std::uint64_t CurPos() const override { return mPosition; }
    std::uint64_t Length() const override {
        Enter(Call::kLength);
        return claimedLength != 0 ? claimedLength : mBytes.size();
    }

    Call failing = Call::kNone;
    std::uint64_t claimedLength = 0; ///< what Length returns, unless 0
    mutable int calls = 0;

private:
    void Enter(Call inCall) const {
        ++calls;
        if (inCall == failing)
            throw 7;
    }

    Bytes mBytes;
    std::uint64_t mPosition = 0;
};

/// A file stream that writes to memory.
class MemoryFileOutput : public kelcore::filesupport::OPlatformByteStream {
public:
    MemoryFileOutput()
        : OPlatformByteStream(gNowhere.folder.File("empty"), kelcore::utility::Flags<unsigned>(0)) {}

    void WriteBlock(const void* inBytes, unsigned inCount) override {
        const auto* first = static_cast<const unsigned char*>(inBytes);
        bytes.insert(bytes.end(), first, first + inCount);
    }

    Bytes bytes; ///< everything that was written
};

} // namespace testing_support
