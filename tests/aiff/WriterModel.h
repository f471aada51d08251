#pragma once

#include <algorithm>

#include "AiffImage.h"

namespace aiff_tests {

/// The data of a "CHAN" chunk with these labels.
inline Bytes Chan(const std::vector<std::uint32_t>& inLabels) {
    Bytes data = Big32(0) + Big32(0) + Big32(static_cast<std::uint32_t>(inLabels.size()));
    for (const std::uint32_t label : inLabels)
        data = data + Big32(label) + Bytes(16);
    return data + Bytes(4);
}

/// The writer in its plainest form: all bytes in memory, one position.
class WriterModel {
public:
    explicit WriterModel(const Bytes& inHeader, std::size_t inFrameBytes)
        : mFile(inHeader), mPosition(inHeader.size()), mFrameBytes(inFrameBytes) {}

    std::int32_t WriteSamples(std::int64_t inOffset, const Bytes& inBytes) {
        if (!mIsOpen || inOffset != mWritten)
            return 9;
        if (mSsnd == 0) {
            mSsnd = mPosition;
            Put(Text("SSND") + Bytes(12));
        }
        mPosition = mSsnd + 16 + static_cast<std::size_t>(inOffset);
        Put(inBytes);
        mWritten += static_cast<std::int64_t>(inBytes.size());
        return 0;
    }
    bool Start(std::uint32_t inId) {
        if (mMetadatum != 0 || mSsnd != 0 || !mIsOpen)
            return false;
        mMetadatum = mPosition;
        Bytes header(8);
        kelaudiofile::aiff::StoreId(header.data(), inId);
        Put(header);
        return true;
    }
    bool Metadatum(const Bytes& inBytes) {
        if (!mIsOpen || mMetadatum == 0)
            return false;
        Put(inBytes);
        return true;
    }
    bool FinishMetadatum() {
        if (!mIsOpen || mMetadatum == 0)
            return false;
        std::size_t total = mPosition - mMetadatum;
        const std::size_t size = total - 8;
        if (total % 2 != 0) {
            ++total;
            Put({0});
        }
        PutAt(mMetadatum + 4, size);
        mPosition = mMetadatum + total;
        mMetadatum = 0;
        return true;
    }
    void Finish(bool inAbandon) {
        if (mIsOpen && !inAbandon) {
            if (mSsnd != 0) {
                if (mPosition % 2 != 0)
                    Put({0});
                const std::size_t end = mPosition;
                PutAt(mSsnd + 4, static_cast<std::size_t>(mWritten) + 8);
                mPosition = end;
            }
            const std::size_t end = mPosition;
            PutAt(mComm + 10, static_cast<std::size_t>(mWritten) / mFrameBytes);
            PutAt(4, end - 8);
        }
        mIsOpen = false;
    }
    const Bytes& File() const { return mFile; }
    std::int64_t Written() const { return mWritten; }

private:
    void Put(const Bytes& inBytes) {
        mFile.resize(std::max(mFile.size(), mPosition + inBytes.size()));
        std::copy(inBytes.begin(), inBytes.end(), mFile.begin() + static_cast<std::ptrdiff_t>(mPosition));
        mPosition += inBytes.size();
    }
    void PutAt(std::size_t inPosition, std::size_t inValue) {
        mPosition = inPosition;
        Put(Big32(static_cast<std::uint32_t>(inValue)));
    }

    Bytes mFile;
    std::size_t mPosition, mFrameBytes, mSsnd = 0, mMetadatum = 0;
    std::size_t mComm = mFile[11] == 'C' ? 24 : 12; ///< behind "FVER" in an "AIFC" file
    std::int64_t mWritten = 0;
    bool mIsOpen = true;
};

} // namespace aiff_tests
