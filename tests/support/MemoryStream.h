#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "support/Files.h"

namespace testing_support {

/// Input from memory that counts its calls and lets a test throw out of any of them.
class MemoryStream : public kelcore::filesupport::IByteStream {
public:
    enum class Call { kLength, kSeek, kRead };

    explicit MemoryStream(Bytes inBytes) : mBytes(std::move(inBytes)) {}

    void ReadBlock(void* outBytes, unsigned inCount) override {
        ++reads;
        Announce(Call::kRead);
        if (mPosition > mBytes.size() || inCount > mBytes.size() - mPosition)
            throw kelcore::filesupport::file_exception("read", kelcore::ToUTF8String("memory"), 0);
        if (inCount != 0)
            std::memcpy(outBytes, mBytes.data() + mPosition, inCount);
        mPosition += inCount;
    }
    void CurPos(std::uint64_t inPosition) override {
        ++seeks;
        Announce(Call::kSeek);
        mPosition = inPosition;
    }
    std::uint64_t CurPos() const override { return mPosition; }
    std::uint64_t Length() const override {
        Announce(Call::kLength);
        return mBytes.size();
    }

    std::function<void(Call)> onCall; ///< runs first in each call; may throw
    int seeks = 0, reads = 0;

private:
    void Announce(Call inCall) const {
        if (onCall)
            onCall(inCall);
    }

    Bytes mBytes;
    std::uint64_t mPosition = 0;
};

inline kelcore::filesupport::File NullDevice() {
    return {kelcore::ToUTF8String("/dev/null"), kelcore::filesupport::kPathStorage};
}

/// A file stream that reads from memory, for code that takes no other.
class MemoryFileInput : public kelcore::filesupport::IPlatformByteStream {
public:
    explicit MemoryFileInput(Bytes inBytes)
        : IPlatformByteStream(NullDevice(), kelcore::utility::Flags<unsigned>(0)),
          mStream(std::move(inBytes)) {}

    void ReadBlock(void* outBytes, unsigned inCount) override { mStream.ReadBlock(outBytes, inCount); }
    void CurPos(std::uint64_t inPosition) override { mStream.CurPos(inPosition); }
    std::uint64_t CurPos() const override { return mStream.CurPos(); }
    std::uint64_t Length() const override { return claimedLength != 0 ? claimedLength : mStream.Length(); }

    std::uint64_t claimedLength = 0; ///< what Length tells, unless 0

private:
    MemoryStream mStream;
};

/// A file stream that writes to memory, for code that takes no other.
class MemoryFileOutput : public kelcore::filesupport::OPlatformByteStream {
public:
    MemoryFileOutput() : OPlatformByteStream(NullDevice(), kelcore::utility::Flags<unsigned>(0)) {}

    void WriteBlock(const void* inBytes, unsigned inCount) override {
        const auto* first = static_cast<const unsigned char*>(inBytes);
        bytes.insert(bytes.end(), first, first + inCount);
        blocks.push_back(inCount);
    }

    Bytes bytes;                  ///< all that was written
    std::vector<unsigned> blocks; ///< the count of each write
};

} // namespace testing_support
