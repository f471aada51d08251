#pragma once

#include <algorithm>
#include <functional>
#include <string>

#include "wav/WaveSupport.h"

/// A flat model of a wave file that is being written, and sequences of calls that are applied to both.
namespace models {

using namespace wave_tests;

/// What a reader must find in the file, and which calls are refused.
struct WriteModel {
    int Write(std::int64_t inOffset, const Bytes& inBytes) {
        if (isMetadatum || inOffset < lowest || (!format.anyOrder && inOffset != next) ||
            (samplesEnded && format.rf64))
            return Error::kWriteRefused;
        const bool isFull =
            !format.rf64 && inOffset - lowest + std::ssize(inBytes) >= static_cast<std::int64_t>(kLimit);
        if (isFull || (samplesEnded && !isData)) {
            FinishSamples();
            lowest = inOffset;
        }
        isData = true;
        next = inOffset + std::ssize(inBytes);
        samples.resize(std::max(samples.size(), SampleByteCount()));
        std::copy_backward(inBytes.begin(), inBytes.end(), End());
        return Error::kNoError;
    }
    /// A chunk of odd size gets a pad byte, over what was written there.
    void FinishBlock() {
        if (isData && (next - lowest) % 2 != 0 && samples.size() > SampleByteCount())
            *End() = 0;
    }
    void FinishSamples() {
        if (!isData)
            return;
        earlier = SampleByteCount();
        isDirty = isDirty || samples.size() > earlier;
        samples.resize(earlier);
        lowest = next;
        isData = false;
        samplesEnded = true;
    }
    bool StartMetadatum() {
        if (isData || isMetadatum)
            return false;
        metadata.emplace_back();
        return isMetadatum = true;
    }
    void FinishMetadatum() {
        if (isMetadatum && metadata.back().empty()) // readers don't list it
            metadata.pop_back();
        isMetadatum = false;
    }

    /// Returns what a reader counts: a gap between two `data` chunks is not in the file.
    std::size_t SampleByteCount() const { return earlier + static_cast<std::size_t>(next - lowest); }
    Bytes::iterator End() { return samples.begin() + static_cast<std::ptrdiff_t>(SampleByteCount()); }

    Format format;
    Bytes samples{};               ///< in all `data` chunks, and whatever was written past the last block
    std::vector<Bytes> metadata{}; ///< data of "LIST" chunks
    std::int64_t next = 0;         ///< offset after the last block
    std::int64_t lowest = 0;       ///< where the last `data` chunk begins
    std::size_t earlier = 0;       ///< sample bytes of earlier chunks
    bool isData = false, isMetadatum = false, samplesEnded = false;
    bool isDirty = false; ///< a gap in a later chunk may show what was written past the end of this one
};

/// Applies a sequence of calls to a file and to the model.
/// @tparam Choose  a function object: `choose(n)` returns a number below n.
template <typename Choose>
class WriteScript {
public:
    WriteScript(const testing_support::TemporaryFolder& inFolder, Choose& ioChoose)
        : mPath(inFolder.Path("script.wav")), mPathText(inFolder.PathText("script.wav")), mChoose(ioChoose),
          mFile(Create(mPathText, mModel.format, mError)) {}

    /// Returns the calls up to the first one whose result differs; empty if none does.
    std::string Run() {
        for (std::uint32_t steps = mChoose(40); steps > 0 && !mDiffers; --steps) {
            Step();
            Expect("GetSampleCount", mFile->GetSampleCount() == FrameCount());
        }
        Expect("the end", FinishSamples() && FinishMetadatum() && (mChoose(4) == 0 || mFile->FinishWrite()));
        mFile.reset();
        ExpectFile();
        return mDiffers ? mCalls : "";
    }

private:
    Format AnyFormat() {
        const auto channels = static_cast<std::int32_t>(1 + mChoose(2));
        const auto bytes = static_cast<std::int32_t>(1 + mChoose(3));
        const bool rf64 = mChoose(2) == 0;
        return {48000, channels, bytes, 8 * bytes, 1, ChannelLayout(), rf64, mChoose(2) == 0};
    }
    std::int64_t FrameCount() const {
        return static_cast<std::int64_t>(mModel.SampleByteCount()) /
               (mModel.format.channels * mModel.format.bytesPerSample);
    }

    void Expect(const std::string& inCall, bool inAgrees) {
        mCalls += mDiffers ? "" : inCall + '\n';
        mDiffers = mDiffers || !inAgrees;
    }
    /// Everything that has been finished is in the file; what was written past the last
    /// block follows all chunks.
    void ExpectFile() {
        const Handle file(WaveFile::OpenForRead(mPathText, mError, false));
        Expect("samples",
               file && file->GetSampleCount() == FrameCount() &&
                   Read(*file, 0, mModel.SampleByteCount()) == Bytes(mModel.samples.begin(), mModel.End()));
        const auto metadata = mDiffers ? std::vector<Metadatum>() : ReadMetadata(*file);
        for (std::size_t i = 0; i + mModel.isMetadatum < mModel.metadata.size(); ++i) {
            const Bytes& data = mModel.metadata[i];
            Expect("metadata",
                   i < metadata.size() && metadata[i].whole == Image().Header("LIST", data.size()).Add(data));
        }
        Expect("RIFF size", testing_support::ReadFilePart(mPath, 4, 4) ==
                                Image().U32(std::filesystem::file_size(mPath) - 8));
    }

    Bytes SomeBytes() {
        constexpr std::uint32_t kLimits[] = {4, 40, 4000, 70'000};
        const std::uint32_t limit = kLimits[mChoose(4)], count = 1 + mChoose(limit); // in this order
        return SampleBytes(mChoose(100), count);
    }
    std::int64_t SomeOffset() {
        const std::int64_t beyond32Bits = mModel.format.rf64 ? 0 : kLimit; // begins a new chunk
        const std::int64_t offsets[] = {mModel.lowest + mChoose(3000), mModel.lowest - 1 - mChoose(5),
                                        mModel.next + mChoose(9) - 4,
                                        mModel.lowest + beyond32Bits + mChoose(9)};
        return mModel.isDirty ? mModel.next : offsets[mChoose(4)];
    }
    void WriteAt(std::int64_t inOffset) {
        const Bytes bytes = SomeBytes();
        Expect(std::to_string(bytes.size()) + " at " + std::to_string(inOffset),
               Write(*mFile, static_cast<std::uint64_t>(inOffset), bytes) == mModel.Write(inOffset, bytes));
    }
    void WriteMetadata() {
        const Bytes bytes = SomeBytes();
        if (mModel.isMetadatum)
            mModel.metadata.back().insert(mModel.metadata.back().end(), bytes.begin(), bytes.end());
        if (mModel.isMetadatum || mModel.isData)
            Expect(std::to_string(bytes.size()) + " of metadata",
                   mFile->MetadatumWrite(bytes.data(), static_cast<std::int32_t>(bytes.size())) ==
                       mModel.isMetadatum);
    }
    bool FinishSamples() {
        mModel.FinishSamples();
        return mFile->FinishSamples();
    }
    bool FinishMetadatum() {
        mModel.FinishMetadatum();
        return mFile->FinishMetadatumWrite();
    }

    void Step() {
        const std::function<void()> calls[] = {[&] { WriteAt(SomeOffset()); },
                                               [&] { WriteMetadata(); },
                                               [&] { Expect("Suspend", mFile->Suspend()); },
                                               [&] { Expect("FinishSamples", FinishSamples()); },
                                               [&] { Expect("FinishMetadatumWrite", FinishMetadatum()); },
                                               [&] {
                                                   Expect("StartMetadatumWrite",
                                                          mFile->StartMetadatumWrite(FourCC("LIST")) ==
                                                              mModel.StartMetadatum());
                                               },
                                               [&] {
                                                   Expect("FinishBlock", mFile->FinishBlock());
                                                   mModel.FinishBlock();
                                                   ExpectFile();
                                               }};
        if (mChoose(2) == 0)
            WriteAt(mModel.next);
        else
            calls[mChoose(std::size(calls))]();
    }

    std::filesystem::path mPath;
    kelcore::UTF8String mPathText;
    Choose& mChoose;
    WriteModel mModel{AnyFormat()};
    Error mError;
    Handle mFile;
    std::string mCalls;
    bool mDiffers = false;
};

} // namespace models
