// The input is a format and a row of calls, played to an AIFF file under writing and to its plain model. A
// file that was finished in order gives back what was written.

#include "Fuzz.h"
#include "aiff/WriterModel.h"

using namespace aiff_tests;

namespace {

struct Channel {
    std::uint32_t value, label;
};
constexpr Channel kChannels[] = {{100, 1}, {101, 2}, {113, 15}, {131, 37}, {137, 203}, {120, 42}, {0, 42}};

struct Format {
    int type, channels, bits;
    ChannelLayout layout{};
    std::vector<std::uint32_t> labels{};

    explicit Format(fuzz::Choices& ioChoose)
        : type(static_cast<int>(1 + ioChoose(3))), channels(static_cast<int>(1 + ioChoose(6))),
          bits(static_cast<int>(8 + 8 * ioChoose(4))) {
        for (int i = 0; i < channels; ++i) {
            const Channel& channel = ioChoose.Of(kChannels);
            layout.emplace_back(channel.value);
            labels.push_back(channel.label);
        }
    }

    Bytes Header() const {
        Comm comm{.channels = channels, .frames = 0, .bits = bits};
        if (type == AiffFile::kBigEndianIntegerSamples)
            return AiffImage().Comm(comm).Chunk("CHAN", Chan(labels)).FormSize(0);
        comm.code = type == AiffFile::kFloatSamples ? "fl32" : "sowt";
        if (type == AiffFile::kFloatSamples)
            comm.rest = Bytes{21} + Text("32-bit floating point");
        return AiffImage("AIFC")
            .Chunk("FVER", Big32(0xA2805140))
            .Comm(comm)
            .Chunk("CHAN", Chan(labels))
            .FormSize(0);
    }
};

/// Plays calls until the input ends. Keeps what a reader must then find, as long as the calls are in order.
class Play {
public:
    Play(fuzz::Choices& ioChoose, AiffFile& ioFile, const Format& inFormat)
        : mChoose(ioChoose), mFile(ioFile),
          mModel(inFormat.Header(), static_cast<std::size_t>(inFormat.channels * inFormat.bits / 8)) {}

    void Step() {
        static constexpr std::uint32_t kLongest[] = {2, 9, 9, 40, 40, 40, 3000, 40000};
        const Bytes bytes = Counting(mChoose(mChoose.Of(kLongest)));
        const auto count = static_cast<std::int32_t>(bytes.size());
        switch (mChoose(8)) {
        case 0: {
            const auto id = static_cast<std::uint32_t>(mChoose.Number(4));
            const bool started = mFile.StartMetadatumWrite(id);
            FUZZ_REQUIRE(started == mModel.Start(id));
            if (started)
                mMetadata.emplace_back(id, Bytes());
            mOpen = mOpen || started;
            break;
        }
        case 1:
            FUZZ_REQUIRE(mFile.MetadatumWrite(bytes.data(), count) == mModel.Metadatum(bytes));
            if (mOpen)
                mMetadata.back().second = mMetadata.back().second + bytes;
            break;
        case 2:
            FUZZ_REQUIRE(mFile.FinishMetadatumWrite() == mModel.FinishMetadatum());
            mOpen = false;
            break;
        case 3:
            WriteSamples(mModel.Written() + mChoose(3), bytes);
            break;
        default:
            WriteSamples(mModel.Written(), bytes);
        }
    }

    void Finish(bool inAbandon) {
        Error error;
        FUZZ_REQUIRE(!mFile.MetadatumWrite(nullptr, -1) && !mFile.WriteSampleBytes(0, -1, nullptr, error));
        FUZZ_REQUIRE(mFile.FinishWrite(inAbandon, error) && mFile.FinishWrite(false, error));
        mModel.Finish(inAbandon);
        mInOrder = mInOrder && !mOpen && !inAbandon;
    }

    void Compare(const Format& inFormat) const {
        FUZZ_REQUIRE(ReadFile(fuzz::Folder().Path("written")) == mModel.File());
        Error error;
        const auto read = AiffFile::OpenForRead(fuzz::Folder().PathText("written"), false, error);
        FUZZ_REQUIRE((read != nullptr) == (error.code == 0) && (read || !mInOrder));
        if (!mInOrder)
            return;
        const int bits = inFormat.type == AiffFile::kFloatSamples ? 32 : inFormat.bits;
        FUZZ_REQUIRE(read->GetSampleType() == inFormat.type && read->GetBytesPerSample() == bits / 8);
        FUZZ_REQUIRE(read->GetNumChannels() == inFormat.channels && read->GetSampleRate() == 44100);
        const bool hasFrames =
            mSamples.size() >= static_cast<std::size_t>(inFormat.channels * inFormat.bits / 8);
        Bytes bytes(hasFrames ? mSamples.size() : 0); // without a whole frame, nobody looks for samples
        FUZZ_REQUIRE(read->ReadSampleBytes(0, std::ssize(bytes), bytes.data()));
        FUZZ_REQUIRE(!hasFrames || bytes == mSamples);
        std::int32_t index = 0;
        std::uint32_t readId = 0;
        std::int64_t size = 0;
        double position = 0;
        for (const auto& [id, data] : mMetadata) {
            if (kelaudiofile::aiff::kCommId == id || kelaudiofile::aiff::kSsndId == id ||
                kelaudiofile::aiff::kChanId == id || kelaudiofile::aiff::kFverId == id)
                return; // not metadata to a reader
            if (data.empty() && index + 1 == std::ssize(mMetadata) && !mSampled)
                return; // nothing lies behind its header, so a reader takes the file to end before it
            FUZZ_REQUIRE(read->GetMetadataInfo(index, readId, size, position));
            FUZZ_REQUIRE(readId == id && size == std::ssize(data) + 8);
            Bytes whole(data.size() + 8);
            FUZZ_REQUIRE(read->ReadMetadataChunk(index++, 0, size, whole.data()));
            FUZZ_REQUIRE(fuzz::Part(whole, 8, data.size()) == data);
        }
    }

private:
    void WriteSamples(std::int64_t inOffset, const Bytes& inBytes) {
        Error error{kUntouched, {}, {}, 0};
        const bool written = mFile.WriteSampleBytes(inOffset, static_cast<std::int32_t>(inBytes.size()),
                                                    inBytes.data(), error);
        FUZZ_REQUIRE(error.code == mModel.WriteSamples(inOffset, inBytes) && written == (error.code == 0));
        mInOrder = mInOrder && (!written || !mOpen);
        if (written)
            mSamples = std::move(mSamples) + inBytes;
        mSampled = mSampled || written;
    }

    fuzz::Choices& mChoose;
    AiffFile& mFile;
    WriterModel mModel;
    std::vector<std::pair<std::uint32_t, Bytes>> mMetadata;
    Bytes mSamples;
    bool mOpen = false, mInOrder = true, mSampled = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Choices choose(data, size);
    const Format format(choose);
    Error error;
    const auto create = [&](const char* inName, int inType) {
        return std::unique_ptr<AiffFile>(
            AiffFile::OpenForWrite(fuzz::Folder().PathText(inName), 44100, format.channels, format.bits,
                                   static_cast<AiffFile::SampleType>(inType), format.layout, error));
    };
    FUZZ_REQUIRE(!create("written", 0) && error.code == Error::kBadSampleType);
    FUZZ_REQUIRE(!create("no/folder", format.type) && error.code == Error::kOpenForWriteFailed);
    auto file = create("written", format.type);
    FUZZ_REQUIRE(file && error.code == 0);
    const bool abandon = choose(8) == 0;
    Play play(choose, *file, format);
    for (int steps = 0; !choose.empty() && steps < 200; ++steps)
        play.Step();
    play.Finish(abandon);
    file.reset();
    play.Compare(format);
    return 0;
}
