// A wave file, opened, and all that a host would then call, each answer held against the bytes of the file.
// The chunk list itself is riff_scan's matter.

#include <algorithm>

#include "Fuzz.h"
#include "bytes/FourCC.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelaudiofile/WaveFile.h"
#include "kelcore/logging.h"

using fuzz::Bytes;
using kelaudiofile::HashWaveFile;
using kelaudiofile::RiffChunkReader;
using kelaudiofile::WaveFile;
using kelaudiofile::bytes::FourCC;

namespace {

constexpr std::int64_t kBlockFrames = 8192;

/// The fed bytes; nothing if the hash failed.
std::pair<bool, Bytes> Hash(const kelcore::UTF8String& inPath, bool inTrimSilence) {
    Bytes fed;
    try {
        HashWaveFile([&fed](const unsigned char* inBytes,
                            std::uint64_t inCount) { fed.insert(fed.end(), inBytes, inBytes + inCount); },
                     inPath, inTrimSilence);
        return {true, fed};
    } catch (const kelcore::config::kel_exception&) {
        return {false, {}};
    }
}

class Host {
public:
    Host(WaveFile& ioWave, const Bytes& inFile, const std::vector<RiffChunkReader::RiffChunkInfo>& inChunks)
        : mWave(ioWave), mFile(inFile) {
        for (const auto& chunk : inChunks) {
            const Bytes data =
                fuzz::Part(inFile, chunk.dataOffset, static_cast<std::uint64_t>(chunk.chunkSize));
            if (chunk.chunkID == FourCC("data")) {
                mSamples.insert(mSamples.end(), data.begin(), data.end());
                ++mDataChunks;
                mRecovered = chunk.recoveredTruncated;
            } else if (!IsHousekeeping(chunk.chunkID)) {
                mMetadata.push_back(chunk);
            }
        }
        mFrameBytes = std::int64_t{mWave.GetNumChannels()} * mWave.GetBytesPerSample();
    }

    void Query() {
        const std::int64_t bytesPerSample = mWave.GetBytesPerSample(), channels = mWave.GetNumChannels();
        const std::int64_t count =
            bytesPerSample == 0 || channels == 0 ? 0 : std::ssize(mSamples) / bytesPerSample / channels;
        FUZZ_REQUIRE(mWave.GetSampleCount() == count);
        FUZZ_REQUIRE(static_cast<std::uint32_t>(mWave.GetSampleRate()) ==
                     mWave.GetRiffAudioCharacteristics().sampleRate);
        FUZZ_REQUIRE(mWave.GetSampleType() >= WaveFile::kIntegerSamples &&
                     mWave.GetSampleType() <= WaveFile::kFloatSamples_8388608);
        FUZZ_REQUIRE(mWave.GetSampleBitDepth() == (mWave.GetSampleType() == WaveFile::kFloatSamples_8388608
                                                       ? 32
                                                       : mWave.GetRiffAudioCharacteristics().bitsPerSample));
        FUZZ_REQUIRE(mWave.IsRecoveredTruncatedFile() == mRecovered);
        FUZZ_REQUIRE(mWave.IsRf64Format() == (mDataChunks <= 1));
        if (channels == 1 || channels == 2)
            FUZZ_REQUIRE(std::ssize(mWave.GetChannelLayout()) == channels);
    }

    void ReadMetadata() {
        std::uint32_t id = 0;
        std::int64_t size = 0;
        double position = -1;
        std::int32_t index = 0;
        for (const auto& chunk : mMetadata) {
            FUZZ_REQUIRE(mWave.GetMetadataInfo(index, id, size, position));
            FUZZ_REQUIRE(id == chunk.chunkID && size == chunk.chunkSize + 8);
            FUZZ_REQUIRE(position >= 0 && position <= 1);
            Bytes whole(static_cast<std::size_t>(size) + 1);
            FUZZ_REQUIRE(mWave.ReadMetadataChunk(index, 0, size, whole.data()));
            FUZZ_REQUIRE(!mWave.ReadMetadataChunk(index, 0, size + 1, whole.data()));
            whole.pop_back();
            FUZZ_REQUIRE(whole == fuzz::Part(mFile, chunk.chunkOffset, whole.size()));
            ++index;
        }
        FUZZ_REQUIRE(!mWave.GetMetadataInfo(index, id, size, position));
    }

    void ReadSamplesInPieces() {
        std::size_t done = 0, piece = 1 + mFile.size() % 97;
        for (; done < mSamples.size(); piece = piece * 3 % 4099 + 1) {
            piece = std::min(piece, mSamples.size() - done);
            Bytes bytes(piece);
            FUZZ_REQUIRE(mWave.ReadSampleBytes(static_cast<std::int64_t>(done),
                                               static_cast<std::int64_t>(piece), bytes.data()));
            FUZZ_REQUIRE(bytes == fuzz::Part(mSamples, done, piece));
            done += piece;
            if (piece % 5 == 0)
                mWave.Suspend();
        }
        Bytes all(mSamples.size() + 1, 0xA5);
        FUZZ_REQUIRE(!mWave.ReadSampleBytes(0, std::ssize(all), all.data()));
        all.pop_back();
        FUZZ_REQUIRE(all == mSamples);
    }

    /// The file shrinks behind the host's back: reads fail, and each says so in the log.
    void ReadWhatIsGone() {
        mWave.Suspend();
        std::filesystem::resize_file(fuzz::Folder().Path("input"), 12);
        std::size_t lines = 0;
        kelcore::logging::SetSink([&lines](std::string_view) { ++lines; });
        unsigned char byte;
        if (!mSamples.empty())
            FUZZ_REQUIRE(!mWave.ReadSampleBytes(0, 1, &byte) && lines == 1);
        if (!mMetadata.empty())
            FUZZ_REQUIRE(!mWave.ReadMetadataChunk(0, 0, 1, &byte) && lines == 1u + !mSamples.empty());
        kelcore::logging::SetSink(nullptr);
        FUZZ_REQUIRE(!mWave.ReadSampleBytes(0, 0, nullptr) && !mWave.ReadMetadataChunk(-1, 0, 0, &byte));
    }

    bool CanDecode() const {
        return GetDeinterleaveFunction(mWave) != nullptr && mWave.GetNumChannels() >= 1;
    }

    /// What a hash over these frames is to be fed.
    Bytes Decode(std::int64_t inFirst, std::int64_t inEnd) const {
        const auto routine = GetDeinterleaveFunction(mWave);
        Bytes fed;
        for (std::int64_t start = inFirst; start < inEnd; start += kBlockFrames) {
            std::vector<float> plane(static_cast<std::size_t>(std::min(inEnd - start, kBlockFrames)));
            for (int channel = 0; channel < mWave.GetNumChannels(); ++channel) {
                const std::int64_t place = start * mFrameBytes + channel * mWave.GetBytesPerSample();
                routine(mSamples.data() + place, plane.data(), std::ssize(plane), mWave.GetNumChannels());
                const auto* const bytes = reinterpret_cast<const unsigned char*>(plane.data());
                fed.insert(fed.end(), bytes, bytes + plane.size() * sizeof(float));
            }
        }
        return fed;
    }

    Bytes DecodeTrimmed() const {
        const std::int64_t count = mWave.GetSampleCount();
        std::vector<float> plane(static_cast<std::size_t>(count));
        std::int64_t first = count, end = 0;
        for (int channel = 0; channel < mWave.GetNumChannels() && count != 0; ++channel) {
            GetDeinterleaveFunction(mWave)(mSamples.data() + channel * mWave.GetBytesPerSample(),
                                           plane.data(), count, mWave.GetNumChannels());
            for (std::int64_t frame = 0; frame < count; ++frame)
                if (plane[static_cast<std::size_t>(frame)] != 0.0f) {
                    first = std::min(first, frame);
                    end = std::max(end, frame + 1);
                }
        }
        return Decode(first, end);
    }

private:
    static bool IsHousekeeping(std::uint32_t inId) {
        constexpr std::uint32_t kIds[] = {FourCC("JUNQ"), FourCC("fmt "), FourCC("ds64"), FourCC("JUNK"),
                                          FourCC("FLLR")};
        return std::find(std::begin(kIds), std::end(kIds), inId) != std::end(kIds);
    }
    WaveFile& mWave;
    const Bytes& mFile;
    Bytes mSamples;
    std::vector<RiffChunkReader::RiffChunkInfo> mMetadata;
    std::int64_t mFrameBytes;
    int mDataChunks = 0;
    bool mRecovered = false; // the last chunk of samples
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    const kelcore::filesupport::File file = fuzz::FileOf(bytes);
    WaveFile::ExtendedErrorInfo error{-1, 1};
    const std::unique_ptr<WaveFile> wave(WaveFile::OpenForRead(file.Path(), error, size % 2 == 0));
    FUZZ_REQUIRE((wave != nullptr) == (error.code == WaveFile::ExtendedErrorInfo::kNoError));
    FUZZ_REQUIRE(error.formatTag == 0 || error.code == WaveFile::ExtendedErrorInfo::kUnknownFormat);
    const auto plain = Hash(file.Path(), false), trimmed = Hash(file.Path(), true);
    if (!wave) {
        FUZZ_REQUIRE(!plain.first && !trimmed.first);
        return 0;
    }
    const RiffChunkReader scan(file, false);
    Host host(*wave, bytes, scan.GetFileInfo().chunks);
    host.Query();
    host.ReadMetadata();
    host.ReadSamplesInPieces();
    FUZZ_REQUIRE(plain.first == (host.CanDecode() || wave->GetSampleCount() == 0));
    FUZZ_REQUIRE(trimmed.first == plain.first);
    if (plain.first && host.CanDecode()) {
        FUZZ_REQUIRE(plain.second == host.Decode(0, wave->GetSampleCount()));
        FUZZ_REQUIRE(trimmed.second == host.DecodeTrimmed());
    }
    host.ReadWhatIsGone();
    FUZZ_REQUIRE(!Hash(fuzz::Folder().PathText("none"), false).first);
    FUZZ_REQUIRE(!WaveFile::OpenForRead(fuzz::Folder().PathText("none"), error, false));
    FUZZ_REQUIRE(error.code == WaveFile::ExtendedErrorInfo::kFileNotFound);
    return 0;
}
