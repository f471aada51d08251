#pragma once

#include <algorithm>
#include <array>
#include <sstream>
#include <string>

#include "WriteSupport.h"

/// A plain model of a wave file under writing, and scripts of calls that are played to both.
namespace wave_tests {

/// Holds the bytes that the file must hold, and gives the result that each call must give.
class WriteModel {
public:
    WriteModel(const Format& inFormat, const Bytes& inFormatChunk) : mFormat(inFormat) {
        Put(Image().Text("RIFF").U32(0).Text("WAVE"));
        Put(inFormat.rf64 ? Reserved() : Bytes());
        Put(Image().Chunk("fmt ", inFormatChunk));
    }

    int Write(std::int64_t inOffset, const Bytes& inBytes) {
        const bool refused = mClosed || mMetadatum != 0 || inOffset < mLowest ||
                             (!mFormat.anyOrder && inOffset != mNext) || (mSamplesEnded && mFormat.rf64);
        if (refused)
            return Error::kWriteRefused;
        if (mData == 0)
            BeginData(mSamplesEnded ? inOffset : 0);
        if (!mFormat.rf64 && inOffset - mLowest + std::ssize(inBytes) >= std::int64_t{1} << 32) {
            EndData();
            BeginData(inOffset);
        }
        mCursor = mData + 8 + static_cast<std::uint64_t>(inOffset - mLowest);
        Put(inBytes);
        mNext = inOffset + std::ssize(inBytes);
        return Error::kNoError;
    }

    bool FinishSamples() {
        if (mClosed)
            return false;
        if (mData != 0) {
            EndData();
            mData = 0;
            mLowest = mNext;
            mSamplesEnded = true;
        }
        return true;
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
        mMetadatumId = inId;
        return true;
    }
    bool Metadatum(const Bytes& inBytes) {
        if (mClosed || mData != 0)
            return false;
        mTidy = mTidy && (mMetadatum != 0 || inBytes.empty());
        Put(inBytes);
        return true;
    }
    bool FinishMetadatum() {
        if (mClosed)
            return false;
        if (mMetadatum != 0) {
            const std::uint64_t end = mCursor;
            End(mMetadatum, end);
            if (mMetadatumId != FourCC("JUNK") && end != mMetadatum + 8)
                mMetadata.push_back({mMetadatumId, Part(mMetadatum, end - mMetadatum)});
            mMetadatum = 0;
        }
        return true;
    }
    bool FinishWrite() {
        if (mClosed)
            return false;
        mTidy = mTidy && mData == 0 && mMetadatum == 0 && mCursor == mFile.size();
        CountFile();
        mClosed = true;
        return true;
    }

    const Bytes& File() const { return mFile; }
    std::int64_t NextOffset() const { return mNext; }
    std::int64_t LowestOffset() const { return mLowest; }

    /// Whether the file is nothing but whole chunks, so that reading gives back all that was written.
    bool IsTidy() const { return mTidy; }
    const Bytes& Samples() const { return mSamples; }
    /// What a reader would count: a gap between two `data` chunks is not in the file.
    std::int64_t SampleBytes() const {
        return std::ssize(mSamples) + std::max<std::int64_t>(mNext - mLowest, 0);
    }
    struct MetadataChunk {
        std::uint32_t id;
        Bytes whole; ///< with its header
    };
    const std::vector<MetadataChunk>& Metadata() const { return mMetadata; }

private:
    void Put(const Bytes& inBytes) {
        Patch(inBytes, mCursor);
        mCursor += inBytes.size();
    }
    void Patch(const Bytes& inBytes, std::uint64_t inPosition) {
        if (inBytes.empty())
            return;
        mFile.resize(std::max<std::size_t>(mFile.size(), inPosition + inBytes.size()));
        std::copy(inBytes.begin(), inBytes.end(), mFile.begin() + static_cast<std::ptrdiff_t>(inPosition));
    }
    Bytes Part(std::uint64_t inPosition, std::uint64_t inCount) const {
        Bytes part(inCount);
        for (std::uint64_t i = 0; i < inCount && inPosition + i < mFile.size(); ++i)
            part[i] = mFile[inPosition + i];
        return part;
    }
    std::uint64_t Begin(std::uint32_t inId) {
        const std::uint64_t start = mCursor;
        mTidy = mTidy && start == mFile.size();
        Put(Image().U32(inId).U32(0));
        return start;
    }
    void End(std::uint64_t inStart, std::uint64_t inEnd) {
        const std::uint64_t size = inEnd - inStart - 8;
        Patch(Image().U32(size), inStart + 4);
        mCursor = inEnd;
        Put(Bytes(size % 2));
    }
    void BeginData(std::int64_t inOffset) {
        mData = Begin(FourCC("data"));
        mLowest = inOffset;
    }
    std::uint64_t EndOfSamples() const { return mData + 8 + static_cast<std::uint64_t>(mNext - mLowest); }
    void EndData() {
        const Bytes data = Part(mData + 8, EndOfSamples() - mData - 8);
        mSamples.insert(mSamples.end(), data.begin(), data.end());
        mTidy = mTidy && !data.empty(); // what an empty one reads as goes by what stands behind it
        End(mData, EndOfSamples());
    }
    void CountFile() { Patch(Image().U32(mFile.size() - 8), 4); }

    Format mFormat;
    Bytes mFile;
    std::uint64_t mCursor = 0, mData = 0, mMetadatum = 0;
    std::uint32_t mMetadatumId = 0;
    std::int64_t mNext = 0;
    std::int64_t mLowest = 0; ///< where the open `data` chunk begins
    bool mSamplesEnded = false, mClosed = false, mTidy = true;
    Bytes mSamples;
    std::vector<MetadataChunk> mMetadata;
};

/// Plays a script to a file and to the model.
/// @param ioChoose  a function object: `ioChoose(n)` gives a number below n.
/// @return the first difference; empty if there was none.
template <typename Choose>
class WriteScript {
public:
    WriteScript(const testing_support::TemporaryFolder& inFolder, Choose& ioChoose)
        : mPath(inFolder.Path("script.wav")), mPathText(inFolder.PathText("script.wav")), mChoose(ioChoose) {}

    std::string Run() {
        Format format;
        format.sampleRate = 8000;
        format.channels = 1 + static_cast<int>(mChoose(2));
        format.bytesPerSample = 1 + static_cast<int>(mChoose(3));
        format.bits = 8 * format.bytesPerSample;
        if (format.channels == 1)
            format.layout = kelmediatypes::CreateMonoChannelLayout();
        const Bytes formatChunk =
            ShortFormat(1, static_cast<unsigned>(format.channels), 8000,
                        static_cast<unsigned>(format.bytesPerSample), static_cast<unsigned>(format.bits));
        const std::uint32_t kind = mChoose(3);
        format.rf64 = kind == 2;
        format.anyOrder = mChoose(2) == 0;
        mFrameBytes = format.channels * format.bytesPerSample;
        mLog << "kind " << kind << (format.anyOrder ? ", any order" : "");
        WriteModel model(format, formatChunk);
        Error error;
        Handle file =
            kind != 0 ? Create(mPathText, format, error)
                      : Handle(WaveFile::OpenForCompessedWrite(mPathText, formatChunk.data(),
                                                               static_cast<std::int32_t>(formatChunk.size()),
                                                               0, error, format.anyOrder));
        if (!file)
            return "cannot open";
        const std::uint32_t steps = mChoose(40);
        for (std::uint32_t step = 0; step < steps && mDifference.empty(); ++step) {
            Step(*file, model, format);
            const std::int64_t frames = kind == 0 ? 0 : model.SampleBytes() / mFrameBytes;
            Expect("GetSampleCount", file->GetSampleCount(), frames);
        }
        if (mChoose(4) != 0)
            Expect("the last FinishWrite", file->FinishWrite(), model.FinishWrite());
        file.reset();
        model.FinishWrite();
        CompareBytes(model);
        if (mDifference.empty() && model.IsTidy())
            ReadBack(model);
        return mDifference.empty() ? "" : mDifference + " after " + mLog.str();
    }

private:
    template <typename T, typename U>
    void Expect(const char* inWhat, const T& inGot, const U& inWanted) {
        if (mDifference.empty() && !(inGot == inWanted))
            mDifference = inWhat;
    }

    /// The results of one call on both, and a note of it.
    void Call(const char* inName, bool inGot, bool inWanted) {
        mLog << ", " << inName;
        Expect(inName, inGot, inWanted);
    }

    void CompareBytes(const WriteModel& inModel) {
        Expect("the bytes of the file", testing_support::ReadFile(mPath), inModel.File());
    }

    Bytes SomeBytes() {
        static constexpr std::array<std::uint32_t, 4> kLimits = {4, 40, 4000, 70'000};
        return SampleBytes(mChoose(100), mChoose(kLimits[mChoose(4)]));
    }

    std::int64_t SomeOffset(const WriteModel& inModel, const Format& inFormat) {
        switch (mChoose(4)) {
        case 0:
            return inModel.LowestOffset() + mChoose(3000);
        case 1: // so far that plain RIFF goes on in a new chunk
            return inFormat.rf64 ? 0 : inModel.LowestOffset() + (std::int64_t{1} << 32) + mChoose(9);
        case 2:
            return inModel.LowestOffset() - 1 - mChoose(5);
        default:
            return inModel.NextOffset() + mChoose(9) - 4;
        }
    }

    void Step(WaveFile& ioFile, WriteModel& ioModel, const Format& inFormat) {
        switch (mChoose(16)) {
        default:
            return WriteAt(ioFile, ioModel, ioModel.NextOffset());
        case 6:
            return WriteAt(ioFile, ioModel, SomeOffset(ioModel, inFormat));
        case 7:
            return Call("Suspend", ioFile.Suspend(), true);
        case 8:
        case 9:
            Call("FinishBlock", ioFile.FinishBlock(), ioModel.FinishBlock());
            return CompareBytes(ioModel);
        case 10:
            return Call("FinishSamples", ioFile.FinishSamples(), ioModel.FinishSamples());
        case 11:
        case 12: {
            static constexpr std::array kIds = {FourCC("LIST"), FourCC("bext"), FourCC("JUNK")};
            const std::uint32_t id = kIds[mChoose(3)];
            return Call("StartMetadatumWrite", ioFile.StartMetadatumWrite(id), ioModel.StartMetadatum(id));
        }
        case 13: {
            const Bytes bytes = SomeBytes();
            mLog << ", " << bytes.size() << " to";
            const auto count = static_cast<std::int32_t>(bytes.size());
            return Call("MetadatumWrite", ioFile.MetadatumWrite(bytes.data(), count),
                        ioModel.Metadatum(bytes));
        }
        case 14:
            return Call("FinishMetadatumWrite", ioFile.FinishMetadatumWrite(), ioModel.FinishMetadatum());
        case 15:
            if (mChoose(8) != 0)
                return;
            Call("FinishWrite", ioFile.FinishWrite(), ioModel.FinishWrite());
            return CompareBytes(ioModel);
        }
    }

    void WriteAt(WaveFile& ioFile, WriteModel& ioModel, std::int64_t inOffset) {
        const Bytes bytes = SomeBytes();
        mLog << ", " << bytes.size() << " at " << inOffset;
        Expect("WriteSampleBytes", Write(ioFile, static_cast<std::uint64_t>(inOffset), bytes),
               ioModel.Write(inOffset, bytes));
    }

    void ReadBack(const WriteModel& inModel) {
        const Handle file = OpenForRead(mPathText);
        if (!file)
            return Expect("OpenForRead", false, true);
        const Bytes& samples = inModel.Samples();
        Expect("the samples read", Read(*file, 0, samples.size()), samples);
        Expect("the frames read", file->GetSampleCount(), std::ssize(samples) / mFrameBytes);
        const std::vector<Metadatum> metadata = ReadMetadata(*file);
        Expect("the metadata count", metadata.size(), inModel.Metadata().size());
        for (std::size_t i = 0; i < std::min(metadata.size(), inModel.Metadata().size()); ++i) {
            Expect("a metadata id", metadata[i].id, inModel.Metadata()[i].id);
            Expect("the metadata", metadata[i].whole, inModel.Metadata()[i].whole);
        }
    }

    std::filesystem::path mPath;
    kelcore::UTF8String mPathText;
    Choose& mChoose;
    std::int64_t mFrameBytes = 1;
    std::ostringstream mLog;
    std::string mDifference;
};

} // namespace wave_tests
