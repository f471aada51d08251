#pragma once

#include <algorithm>
#include <array>
#include <sstream>
#include <string>

#include "wav/WaveSupport.h"

/// A plain model of a wave file that is being written, and scripts of calls that are played to both.
namespace models {

using namespace wave_tests;

/// Holds the bytes that the file must hold, and gives the result that each call must give.
class WriteModel {
public:
    explicit WriteModel(const Format& inFormat) : mFormat(inFormat) {
        Put(Image().Header("RIFF", 0).Text("WAVE"));
        Put(inFormat.rf64 ? Reserved() : Bytes());
        Put(Image().Chunk("fmt ", FormatChunk(inFormat)));
    }

    int Write(std::int64_t inOffset, const Bytes& inBytes) {
        if (mClosed || mMetadatum != 0 || inOffset < lowest || (!mFormat.anyOrder && inOffset != next) ||
            (mSamplesEnded && mFormat.rf64))
            return Error::kWriteRefused;
        if (mData == 0)
            BeginData(mSamplesEnded ? inOffset : 0);
        if (!mFormat.rf64 && inOffset - lowest + std::ssize(inBytes) >= std::int64_t{1} << 32) {
            EndData();
            BeginData(inOffset);
        }
        mCursor = mData + 8 + static_cast<std::uint64_t>(inOffset - lowest);
        Put(inBytes);
        next = inOffset + std::ssize(inBytes);
        return Error::kNoError;
    }
    bool FinishSamples() {
        if (!mClosed && mData != 0) {
            EndData();
            mData = 0;
            lowest = next;
            mSamplesEnded = true;
        }
        return !mClosed;
    }
    bool FinishBlock() {
        if (mClosed)
            return false;
        if (mData != 0) {
            End(mData, EndOfSamples());
            mCursor = EndOfSamples();
        }
        CountFile();
        return true;
    }
    bool StartMetadatum(std::uint32_t inId) {
        if (mClosed || mData != 0 || mMetadatum != 0)
            return false;
        mMetadatum = Begin(inId);
        return true;
    }
    bool Metadatum(const Bytes& inBytes) {
        if (mClosed || mData != 0)
            return false;
        Put(inBytes);
        return true;
    }
    bool FinishMetadatum() {
        if (!mClosed && mMetadatum != 0)
            End(std::exchange(mMetadatum, 0), mCursor);
        return !mClosed;
    }
    bool FinishWrite() {
        if (mClosed)
            return false;
        CountFile();
        return mClosed = true;
    }

    /// What a reader would count: a gap between two `data` chunks is not in the file.
    std::int64_t SampleByteCount() const { return mEarlier + std::max<std::int64_t>(next - lowest, 0); }

    Bytes file;
    std::int64_t next = 0;   ///< offset after the last block
    std::int64_t lowest = 0; ///< where the open `data` chunk begins

private:
    void Put(const Bytes& inBytes) {
        Patch(inBytes, mCursor);
        mCursor += inBytes.size();
    }
    void Patch(const Bytes& inBytes, std::uint64_t inPosition) {
        if (!inBytes.empty())
            file.resize(std::max<std::size_t>(file.size(), inPosition + inBytes.size()));
        std::copy(inBytes.begin(), inBytes.end(), file.begin() + static_cast<std::ptrdiff_t>(inPosition));
    }
    std::uint64_t Begin(std::uint32_t inId) {
        Put(Image().U32(inId).U32(0));
        return mCursor - 8;
    }
    void End(std::uint64_t inStart, std::uint64_t inEnd) {
        Patch(Image().U32(inEnd - inStart - 8), inStart + 4);
        mCursor = inEnd;
        Put(Bytes((inEnd - inStart) % 2));
    }
    void BeginData(std::int64_t inOffset) {
        mData = Begin(FourCC("data"));
        lowest = inOffset;
    }
    std::uint64_t EndOfSamples() const { return mData + 8 + static_cast<std::uint64_t>(next - lowest); }
    void EndData() {
        mEarlier += next - lowest;
        End(mData, EndOfSamples());
    }
    void CountFile() { Patch(Image().U32(file.size() - 8), 4); }

    Format mFormat;
    std::uint64_t mCursor = 0, mData = 0, mMetadatum = 0; ///< positions; of open chunks, 0 if there is none
    std::int64_t mEarlier = 0;                            ///< sample bytes of the chunks before
    bool mSamplesEnded = false, mClosed = false;
};

/// Plays a script to a file and to the model.
/// @tparam Choose  a function object: `choose(n)` gives a number below n.
template <typename Choose>
class WriteScript {
public:
    WriteScript(const testing_support::TemporaryFolder& inFolder, Choose& ioChoose)
        : mPath(inFolder.Path("script.wav")), mChoose(ioChoose), mKind(ioChoose(3)), mFormat(AnyFormat()),
          mModel(mFormat) {
        const kelcore::UTF8String path = inFolder.PathText("script.wav");
        const Bytes chunk = FormatChunk(mFormat);
        Error error;
        mFile =
            mKind != 0
                ? Create(path, mFormat, error)
                : Handle(WaveFile::OpenForCompessedWrite(path, chunk.data(), 16, 0, error, mFormat.anyOrder));
    }

    /// @return the first difference; empty if there was none.
    std::string Run() {
        const int frameBytes = mFormat.channels * mFormat.bytesPerSample;
        for (std::uint32_t steps = mChoose(40); steps > 0 && mDifference.empty(); --steps) {
            Step();
            const std::int64_t frames = mKind == 0 ? 0 : mModel.SampleByteCount() / frameBytes;
            Expect("GetSampleCount", mFile->GetSampleCount() == frames);
        }
        if (mChoose(4) != 0)
            Expect("the last FinishWrite", mFile->FinishWrite() == mModel.FinishWrite());
        mFile.reset();
        mModel.FinishWrite();
        ExpectBytes();
        return mDifference;
    }

private:
    Format AnyFormat() {
        Format format{.channels = static_cast<std::int32_t>(1 + mChoose(2)),
                      .bytesPerSample = static_cast<std::int32_t>(1 + mChoose(3)),
                      .layout = ChannelLayout(1), // which no mask says, so the chunk is short
                      .rf64 = mKind == 2,
                      .anyOrder = mChoose(2) == 0};
        format.bits = 8 * format.bytesPerSample;
        return format;
    }

    /// Notes a call and whether its results agree.
    void Expect(const std::string& inCall, bool inAgree) {
        mLog << inCall << '\n';
        if (mDifference.empty() && !inAgree)
            mDifference = mLog.str();
    }
    void ExpectBytes() { Expect("the bytes of the file", testing_support::ReadFile(mPath) == mModel.file); }

    Bytes SomeBytes() {
        static constexpr std::array<std::uint32_t, 4> kLimits = {4, 40, 4000, 70'000};
        return SampleBytes(mChoose(100), mChoose(kLimits[mChoose(4)]));
    }
    std::int64_t SomeOffset() {
        switch (mChoose(4)) {
        case 0:
            return mModel.lowest + mChoose(3000);
        case 1: // so far that plain RIFF goes on in a new chunk
            return mFormat.rf64 ? 0 : mModel.lowest + (std::int64_t{1} << 32) + mChoose(9);
        case 2:
            return mModel.lowest - 1 - mChoose(5);
        default:
            return mModel.next + mChoose(9) - 4;
        }
    }
    void WriteAt(std::int64_t inOffset) {
        const Bytes bytes = SomeBytes();
        Expect(std::to_string(bytes.size()) + " at " + std::to_string(inOffset),
               Write(*mFile, static_cast<std::uint64_t>(inOffset), bytes) == mModel.Write(inOffset, bytes));
    }
    void WriteMetadata() {
        const Bytes bytes = SomeBytes();
        Expect(std::to_string(bytes.size()) + " of metadata",
               mFile->MetadatumWrite(bytes.data(), static_cast<std::int32_t>(bytes.size())) ==
                   mModel.Metadatum(bytes));
    }

    void Step() {
        switch (mChoose(16)) {
        default:
            return WriteAt(mModel.next);
        case 6:
            return WriteAt(SomeOffset());
        case 7:
            return Expect("Suspend", mFile->Suspend());
        case 8:
        case 9:
            Expect("FinishBlock", mFile->FinishBlock() == mModel.FinishBlock());
            return ExpectBytes();
        case 10:
            return Expect("FinishSamples", mFile->FinishSamples() == mModel.FinishSamples());
        case 11:
        case 12: {
            const std::uint32_t id = mChoose(3) == 0 ? FourCC("JUNK") : FourCC("LIST");
            return Expect("StartMetadatumWrite", mFile->StartMetadatumWrite(id) == mModel.StartMetadatum(id));
        }
        case 13:
            return WriteMetadata();
        case 14:
            return Expect("FinishMetadatumWrite", mFile->FinishMetadatumWrite() == mModel.FinishMetadatum());
        case 15:
            if (mChoose(8) == 0)
                Expect("FinishWrite", mFile->FinishWrite() == mModel.FinishWrite());
        }
    }

    std::filesystem::path mPath;
    Choose& mChoose;
    std::uint32_t mKind; ///< 0: the caller's format chunk, 1: RIFF, 2: with room for RF64
    Format mFormat;
    WriteModel mModel;
    Handle mFile;
    std::ostringstream mLog;
    std::string mDifference;
};

} // namespace models
