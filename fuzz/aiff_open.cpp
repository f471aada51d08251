// An AIFF file, opened, and all that a host would then call, each answer held against the open written down
// over the bytes of the file.

#include <algorithm>
#include <cmath>
#include <map>

#include "Fuzz.h"
#include "bytes/FourCC.h"
#include "kelaudiofile/AiffFile.h"

using fuzz::Bytes;
using kelaudiofile::AiffFile;
using kelaudiofile::bytes::FourCC;
using kelmediatypes::ChannelLayout;
using Error = AiffFile::ExtendedErrorInfo;

namespace {

std::uint32_t ValueOfLabel(std::uint64_t inLabel) {
    static const std::map<std::uint64_t, std::uint32_t> kIrregular = {
        {7, 107},  {8, 108},   {9, 106},   {14, 114},  {15, 113},  {16, 115},  {17, 117},
        {18, 116}, {33, 129},  {34, 130},  {35, 118},  {36, 119},  {37, 131},  {38, 132},
        {39, 133}, {200, 134}, {201, 135}, {202, 136}, {203, 137}, {301, 100}, {302, 101}};
    const auto irregular = kIrregular.find(inLabel);
    if (irregular != kIrregular.end())
        return irregular->second;
    return inLabel >= 1 && inLabel <= 13 ? static_cast<std::uint32_t>(99 + inLabel) : 0;
}

struct Chunk {
    std::uint32_t id;
    std::uint64_t start, size; ///< the place of its header, and the size of its data
};

/// What the file says, step by step.
struct Model {
    const Bytes& file;
    std::uint32_t form = 0, code = 0;
    std::vector<Chunk> chunks{};
    int channels = 0, bits = 0, type = AiffFile::kBigEndianIntegerSamples;
    std::uint64_t count = 0;
    double rate = 0;
    std::int64_t samples = 0, samplesSize = 0;

    /// @return the bytes of a field as one number, the first byte highest; 0 if it is not inside the range.
    std::uint64_t Big(std::uint64_t inPlace, unsigned inByteCount, std::uint64_t inEnd) const {
        std::uint64_t number = 0;
        for (unsigned i = 0; inPlace + inByteCount <= inEnd && i < inByteCount; ++i)
            number = number << 8 | file[inPlace + i];
        return number;
    }
    std::uint32_t Id(std::uint64_t inPlace) const {
        return static_cast<std::uint32_t>(fuzz::Little(file, inPlace, 4));
    }
    const Chunk* Find(std::uint32_t inId) const {
        for (const Chunk& chunk : chunks)
            if (chunk.id == inId)
                return &chunk;
        return nullptr;
    }

    int Open() {
        form = Id(8);
        if (file.size() < 12 || Id(0) != FourCC("FORM") || (form != FourCC("AIFF") && form != FourCC("AIFC")))
            return Error::kNotAiffFile;
        Walk();
        const Chunk* const comm = Find(FourCC("COMM"));
        const bool hasCode = form == FourCC("AIFC");
        if (comm == nullptr || comm->size < (hasCode ? 23 : 18) || comm->size > 65536)
            return Error::kBadCommChunk;
        ReadComm(comm->start + 8, hasCode);
        if (count != 0 && channels != 0 && bits != 0 && !LocateSamples())
            return Error::kBadSsndChunk;
        if (!TakeCode())
            return Error::kUnknownCompression;
        const bool isWidth = bits == 8 || bits == 16 || bits == 24 || bits == 32;
        return isWidth && (type != AiffFile::kFloatSamples || bits == 32) ? Error::kNoError
                                                                          : Error::kBadBitDepth;
    }

    void Walk() {
        const auto formEnd = static_cast<std::uint32_t>(Big(4, 4, 8) + 8);
        const std::uint64_t end = Big(4, 4, 8) == 0 || formEnd > file.size() ? file.size() : formEnd;
        for (std::uint64_t place = 12; place + 8 < end;) {
            const std::uint64_t size = std::min(Big(place + 4, 4, end), end - place - 8);
            chunks.push_back({Id(place), place, size});
            place += 8 + size;
            place += place % 2;
        }
    }

    void ReadComm(std::uint64_t inPlace, bool inHasCode) {
        const std::uint64_t end = file.size();
        channels = static_cast<std::int16_t>(Big(inPlace, 2, end));
        count = Big(inPlace + 2, 4, end);
        bits = static_cast<std::int16_t>(Big(inPlace + 6, 2, end));
        const auto exponent = static_cast<int>(Big(inPlace + 8, 2, end) & 0x7FFF) - 16383;
        const std::uint64_t mantissa = Big(inPlace + 10, 8, end);
        double sum = 0;
        for (int k = 0; k < 64; ++k)
            if ((mantissa >> (63 - k) & 1) != 0)
                sum += 1.0 / std::pow(2.0, k);
        rate = std::pow(2.0, exponent) * sum * ((file[inPlace + 8] & 0x80) != 0 ? -1.0 : 1.0);
        code = inHasCode ? Id(inPlace + 18) : 0;
        if (code == FourCC("fl32") || code == FourCC("FL32"))
            bits = std::max(bits, 32);
    }

    bool LocateSamples() {
        const Chunk* const ssnd = Find(FourCC("SSND"));
        if (ssnd == nullptr || ssnd->size < 8)
            return false;
        const auto skip = static_cast<std::int64_t>(Big(ssnd->start + 8, 4, file.size()));
        samples = static_cast<std::int64_t>(ssnd->start) + 16 + skip;
        samplesSize = static_cast<std::int64_t>(ssnd->size) - skip - 8;
        const std::int64_t frameBytes = std::int64_t{channels} * bits / 8;
        if (frameBytes != 0)
            count = std::min(count, static_cast<std::uint64_t>(samplesSize) /
                                        static_cast<std::uint64_t>(frameBytes));
        return true;
    }

    bool TakeCode() {
        switch (code) {
        case FourCC("sowt"):
            type = AiffFile::kLittleEndianIntegerSamples;
            return true;
        case FourCC("in24"):
        case FourCC("IN24"):
            bits = 24;
            return true;
        case FourCC("in32"):
        case FourCC("IN32"):
            bits = 32;
            return true;
        case FourCC("fl32"):
        case FourCC("FL32"):
            type = AiffFile::kFloatSamples;
            return true;
        default:
            return code == 0 || code == FourCC("NONE");
        }
    }

    ChannelLayout Layout(bool inAssumeChannelOrder) const {
        ChannelLayout layout;
        const Chunk* const chan = Find(FourCC("CHAN"));
        if (chan != nullptr && chan->size <= 65536) {
            const std::uint64_t place = chan->start + 8, end = place + chan->size;
            const std::uint64_t tag = Big(place, 4, end), bitmap = Big(place + 4, 4, end);
            const auto wanted = static_cast<std::uint64_t>(channels);
            for (std::uint64_t i = 0; tag == 0 && i < std::min(wanted, Big(place + 8, 4, end)); ++i)
                layout.emplace_back(ValueOfLabel(Big(place + 12 + 20 * i, 4, end)));
            for (std::uint64_t bit = 0; tag == 0x10000 && bit < 18; ++bit)
                if ((bitmap >> bit & 1) != 0)
                    layout.emplace_back(ValueOfLabel(bit + 1));
        } else if (channels == 2) {
            layout = {100, 101};
        } else if (inAssumeChannelOrder) {
            layout = channels == 3   ? ChannelLayout{100, 101, 102}
                     : channels == 4 ? ChannelLayout{100, 101, 104, 105}
                     : channels == 6 ? ChannelLayout{100, 107, 102, 101, 108, 106}
                                     : ChannelLayout{};
        }
        layout.resize(static_cast<std::size_t>(channels));
        return layout;
    }
};

void ReadMetadata(AiffFile& ioAiff, const Model& inModel) {
    std::uint32_t id = 0;
    std::int64_t size = 0;
    double position = -1;
    std::int32_t index = 0;
    for (const Chunk& chunk : inModel.chunks) {
        constexpr std::uint32_t kOthers[] = {FourCC("COMM"), FourCC("SSND"), FourCC("CHAN"), FourCC("FVER")};
        if (std::find(std::begin(kOthers), std::end(kOthers), chunk.id) != std::end(kOthers))
            continue;
        FUZZ_REQUIRE(ioAiff.GetMetadataInfo(index, id, size, position));
        FUZZ_REQUIRE(id == chunk.id && size == static_cast<std::int64_t>(chunk.size) + 8);
        FUZZ_REQUIRE(position >= 0 && position <= 1);
        Bytes whole(static_cast<std::size_t>(size));
        FUZZ_REQUIRE(ioAiff.ReadMetadataChunk(index, 0, size, whole.data()));
        FUZZ_REQUIRE(whole == fuzz::Part(inModel.file, chunk.start, whole.size()));
        FUZZ_REQUIRE(!ioAiff.ReadMetadataChunk(index++, 1, size, whole.data()));
    }
    FUZZ_REQUIRE(!ioAiff.GetMetadataInfo(index, id, size, position));
}

/// Reads the samples in odd pieces and makes floats of the frames as a host does.
void ReadSamples(AiffFile& ioAiff, const Model& inModel) {
    unsigned char byte = 0;
    FUZZ_REQUIRE(!ioAiff.ReadSampleBytes(std::max<std::int64_t>(inModel.samplesSize, 0), 1, &byte));
    if (inModel.samplesSize <= 0)
        return;
    const Bytes expected = fuzz::Part(inModel.file, static_cast<std::uint64_t>(inModel.samples),
                                      static_cast<std::uint64_t>(inModel.samplesSize));
    Bytes samples(expected.size());
    for (std::size_t done = 0, piece = 1; done < samples.size(); done += piece) {
        piece = std::min(piece * 3 % 4099 + 1, samples.size() - done);
        FUZZ_REQUIRE(ioAiff.ReadSampleBytes(static_cast<std::int64_t>(done), static_cast<std::int64_t>(piece),
                                            &samples[done]));
    }
    FUZZ_REQUIRE(samples == expected);

    const auto width = static_cast<std::size_t>(ioAiff.GetBytesPerSample());
    Bytes little(samples.size() / width * width), swapped = little;
    std::copy_n(samples.begin(), little.size(), little.begin());
    if (const auto convert = width == 1 ? nullptr : GetConversionFunction(ioAiff)) {
        convert(samples.data(), little.data(), static_cast<std::int32_t>(little.size()), 1);
        for (std::size_t i = 0; i < little.size(); ++i)
            swapped[i / width * width + width - 1 - i % width] = samples[i];
        FUZZ_REQUIRE(little == swapped);
    } else {
        FUZZ_REQUIRE(width == 1 || inModel.type == AiffFile::kLittleEndianIntegerSamples);
    }
    // A code that imposes a depth may leave a count of more frames than there are.
    const std::size_t frameBytes = width * static_cast<std::size_t>(std::max(ioAiff.GetNumChannels(), 1));
    std::vector<float> plane(
        std::min(static_cast<std::size_t>(ioAiff.GetSampleCount()), little.size() / frameBytes));
    for (int channel = 0; !plane.empty() && channel < ioAiff.GetNumChannels(); ++channel)
        GetDeinterleaveFunction(ioAiff)(little.data() + static_cast<std::size_t>(channel) * width,
                                        plane.data(), std::ssize(plane), ioAiff.GetNumChannels());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    const bool assumeOrder = size % 2 == 0;
    Model model{bytes};
    const int code = model.Open();
    Error error{-1, {}, {}, -1};
    const auto aiff = AiffFile::OpenForRead(fuzz::FileOf(bytes).Path(), assumeOrder, error);
    FUZZ_REQUIRE(error.code == code);
    FUZZ_REQUIRE(error.bitsPerSample == (code == Error::kBadBitDepth ? model.bits : -1));
    FUZZ_REQUIRE((aiff != nullptr) == (code == Error::kNoError && model.channels >= 0));
    if (!aiff)
        return 0;
    FUZZ_REQUIRE(aiff->GetSampleCount() == static_cast<std::int64_t>(model.count));
    FUZZ_REQUIRE(aiff->GetNumChannels() == model.channels && aiff->GetBytesPerSample() == model.bits / 8);
    FUZZ_REQUIRE(aiff->GetSampleType() == model.type &&
                 aiff->GetAudioChannelLayout() == model.Layout(assumeOrder));
    FUZZ_REQUIRE(aiff->GetSampleRate() == model.rate ||
                 (std::isnan(model.rate) && std::isnan(aiff->GetSampleRate())));
    FUZZ_REQUIRE(aiff->GetCompressionCode().size() <= 4 && aiff->GetCompressionDescription().size() <= 255);
    ReadMetadata(*aiff, model);
    ReadSamples(*aiff, model);

    // The file shrinks behind the host's back: a read fails, or gives what was at hand. Then there is none at
    // all.
    std::filesystem::resize_file(fuzz::Folder().Path("input"), 12);
    Bytes samples(static_cast<std::size_t>(std::max<std::int64_t>(model.samplesSize, 0)));
    FUZZ_REQUIRE(!aiff->ReadSampleBytes(0, model.samplesSize, samples.data()) ||
                 samples == fuzz::Part(bytes, static_cast<std::uint64_t>(model.samples), samples.size()));
    FUZZ_REQUIRE(!aiff->ReadMetadataChunk(-1, 0, 0, samples.data()));
    FUZZ_REQUIRE(!AiffFile::OpenForRead(fuzz::Folder().PathText("none"), assumeOrder, error));
    FUZZ_REQUIRE(error.code == Error::kFileNotFound);
    return 0;
}
