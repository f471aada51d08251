#pragma once

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <utility>

#include "wav/WaveSupport.h"

/// A plain model of a wave file that is being written, and scripts of calls that are played to both.
namespace models {

using namespace wave_tests;

/// Holds the bytes that the file must hold, and says which calls are refused.
class WriteModel {
public:
    explicit WriteModel(const Format& inFormat) : mFormat(inFormat) {
        Put(Image().Header("RIFF", 0).Text("WAVE").Add(inFormat.rf64 ? Reserved() : Bytes()));
        Put(Image().Chunk("fmt ", FormatChunk(inFormat)));
    }

    int Write(std::int64_t inOffset, const Bytes& inBytes) {
        if (mMetadatum != 0 || inOffset < lowest || (!mFormat.anyOrder && inOffset != next) ||
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
    void FinishSamples() {
        if (mData == 0)
            return;
        EndData();
        mData = 0;
        lowest = next;
        mSamplesEnded = true;
    }
    void FinishBlock() {
        if (mData != 0) {
            End(mData, EndOfSamples());
            mCursor = EndOfSamples();
        }
        FinishWrite();
    }
    bool StartMetadatum(std::uint32_t inId) {
        const bool starts = mData == 0 && mMetadatum == 0;
        if (starts)
            mMetadatum = Begin(inId);
        return starts;
    }
    bool Metadatum(const Bytes& inBytes) {
        if (mData == 0)
            Put(inBytes);
        return mData == 0;
    }
    void FinishMetadatum() {
        if (mMetadatum != 0)
            End(std::exchange(mMetadatum, 0), mCursor);
    }
    void FinishWrite() { Patch(Image().U32(file.size() - 8), 4); }

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

    Format mFormat;
    std::uint64_t mCursor = 0, mData = 0, mMetadatum = 0; ///< positions; of open chunks, 0 if there is none
    std::int64_t mEarlier = 0;                            ///< sample bytes of the chunks before
    bool mSamplesEnded = false;
};

/// Plays a script to a file and to the model.
/// @tparam Choose  a function object: `choose(n)` gives a number below n.
template <typename Choose>
class WriteScript {
public:
    WriteScript(const testing_support::TemporaryFolder& inFolder, Choose& ioChoose)
        : mPath(inFolder.Path("script.wav")), mChoose(ioChoose) {
        Error error;
        mFile = Create(inFolder.PathText("script.wav"), mFormat, error);
    }

    /// @return the calls up to the first that differs; empty if none does.
    std::string Run() {
        for (std::uint32_t steps = mChoose(40); steps > 0 && !mDiffers; --steps) {
            Step();
            Expect("GetSampleCount",
                   mFile->GetSampleCount() ==
                       mModel.SampleByteCount() / (mFormat.channels * mFormat.bytesPerSample));
        }
        Expect("FinishWrite", mChoose(4) == 0 || mFile->FinishWrite());
        mFile.reset();
        mModel.FinishWrite();
        ExpectBytes();
        return mDiffers ? mCalls : "";
    }

private:
    Format AnyFormat() {
        const auto channels = static_cast<std::int32_t>(1 + mChoose(2));
        const auto bytes = static_cast<std::int32_t>(1 + mChoose(3));
        return {.channels = channels,
                .bytesPerSample = bytes,
                .bits = 8 * bytes,
                .layout = ChannelLayout(1), // which no mask says, so the chunk is short
                .rf64 = mChoose(2) == 0,
                .anyOrder = mChoose(2) == 0};
    }

    void Expect(const std::string& inCall, bool inAgrees) {
        mCalls += mDiffers ? "" : inCall + '\n';
        mDiffers = mDiffers || !inAgrees;
    }
    void ExpectBytes() { Expect("the bytes of the file", testing_support::ReadFile(mPath) == mModel.file); }

    Bytes SomeBytes() {
        static constexpr std::array<std::uint32_t, 4> kLimits = {4, 40, 4000, 70'000};
        return SampleBytes(mChoose(100), mChoose(kLimits[mChoose(4)]));
    }
    std::int64_t SomeOffset() {
        const std::int64_t beyond32Bits = mFormat.rf64 ? 0 : std::int64_t{1} << 32; // begins a new chunk
        const std::int64_t offsets[] = {mModel.lowest + mChoose(3000), mModel.lowest - 1 - mChoose(5),
                                        mModel.next + mChoose(9) - 4,
                                        mModel.lowest + beyond32Bits + mChoose(9)};
        return offsets[mChoose(4)];
    }
    void WriteAt(std::int64_t inOffset) {
        const Bytes bytes = SomeBytes();
        Expect(std::to_string(bytes.size()) + " at " + std::to_string(inOffset),
               Write(*mFile, static_cast<std::uint64_t>(inOffset), bytes) == mModel.Write(inOffset, bytes));
    }

    void Step() {
        const std::function<void()> calls[] = {
            [&] { WriteAt(SomeOffset()); },
            [&] { Expect("Suspend", mFile->Suspend()); },
            [&] {
                mModel.FinishBlock();
                Expect("FinishBlock", mFile->FinishBlock());
                ExpectBytes();
            },
            [&] {
                mModel.FinishSamples();
                Expect("FinishSamples", mFile->FinishSamples());
            },
            [&] {
                const std::uint32_t id = mChoose(3) == 0 ? FourCC("JUNK") : FourCC("LIST");
                Expect("StartMetadatumWrite", mFile->StartMetadatumWrite(id) == mModel.StartMetadatum(id));
            },
            [&] {
                const Bytes bytes = SomeBytes();
                Expect(std::to_string(bytes.size()) + " of metadata",
                       mFile->MetadatumWrite(bytes.data(), static_cast<std::int32_t>(bytes.size())) ==
                           mModel.Metadatum(bytes));
            },
            [&] {
                mModel.FinishMetadatum();
                Expect("FinishMetadatumWrite", mFile->FinishMetadatumWrite());
            }};
        if (mChoose(2) == 0)
            WriteAt(mModel.next);
        else
            calls[mChoose(std::size(calls))]();
    }

    std::filesystem::path mPath;
    Choose& mChoose;
    const Format mFormat = AnyFormat();
    WriteModel mModel{mFormat};
    Handle mFile;
    std::string mCalls;
    bool mDiffers = false;
};

} // namespace models
