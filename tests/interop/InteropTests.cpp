// Each program reads what the other side wrote, and every sample is compared. A cell that is not exact says
// why, here and in docs/interop.md, which scripts/interop.sh makes of these tables.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "InteropTable.h"
#include "Peers.h"
#include "bytes/ByteOrder.h"
#include "common/AudioReader.h"
#include "common/AudioWriter.h"
#include "support/Files.h"
#include "support/Process.h"
#include "support/Random.h"

namespace interop {
namespace {

using namespace examples;
using testing_support::RunCommand;
using testing_support::TemporaryFolder;

constexpr std::int32_t kRate = 48000;
constexpr std::int64_t kFrames = 3001;

constexpr const char* kTheirTable = "What others write, read by us";
constexpr const char* kOurTable = "What we write, read by others";

// --- Signals and comparisons ---

enum Signal {
    kGrid,   ///< multiples of 2^-23 within full scale: what integers of 24 bits can hold
    kFine,   ///< floats of many magnitudes within full scale
    kBeyond, ///< some of them up to four times full scale
};

Planes MakeSignal(Signal inSignal, std::int32_t inChannels, std::int64_t inFrames = kFrames) {
    testing_support::Random random(static_cast<std::uint64_t>(inSignal + inChannels));
    Planes planes(static_cast<std::size_t>(inChannels),
                  std::vector<float>(static_cast<std::size_t>(inFrames)));
    for (std::vector<float>& plane : planes)
        for (float& sample : plane) {
            sample = static_cast<float>(static_cast<std::int32_t>(random()) >> 8) * 0x1p-23f;
            if (inSignal != kGrid)
                sample *= std::ldexp(0.99f, -static_cast<int>(random.Below(20)));
            if (inSignal == kBeyond && random.Below(10) == 0)
                sample *= 4;
        }
    if (inSignal != kFine) { // both ends of the scale
        planes[0][0] = -1.0f;
        planes[0][1] = 1.0f - 0x1p-23f;
    }
    return planes;
}

std::vector<float> Interleaved(const Planes& inPlanes) {
    std::vector<float> samples;
    for (std::size_t frame = 0; frame < inPlanes[0].size(); ++frame)
        for (const std::vector<float>& plane : inPlanes)
            samples.push_back(plane[frame]);
    return samples;
}

enum Result {
    kExact,        ///< every sample, bit by bit
    kExactTo32Bit, ///< as exact as 32-bit integers can be
    kDiffers,
    kRefused,
};

Result Compare(const std::vector<float>& inTheirs, const std::vector<float>& inOurs) {
    if (inTheirs.size() != inOurs.size())
        return kDiffers;
    if (std::memcmp(inTheirs.data(), inOurs.data(), inOurs.size() * sizeof(float)) == 0)
        return kExact;
    const auto close = [](double theirs, double ours) {
        return std::abs(theirs - std::clamp(ours, -1.0, 1.0)) <= std::max(0x1p-31, std::abs(ours) * 0x1p-24);
    };
    return std::equal(inTheirs.begin(), inTheirs.end(), inOurs.begin(), close) ? kExactTo32Bit : kDiffers;
}

std::vector<float> DecodeOurselves(const std::filesystem::path& inPath) {
    AudioReader reader(inPath.string());
    Planes planes;
    reader.ReadPlanes(0, reader.Frames(), planes);
    return Interleaved(planes);
}

/// What a cell says and a test expects.
struct Cell {
    Result result = kExact;
    std::string why;
};

std::string CellText(const Cell& inCell) {
    static const char* const kTexts[] = {"exact", "exact to 32 bits", "differs", "refused"};
    return kTexts[inCell.result] + (inCell.why.empty() ? "" : ": " + inCell.why);
}

std::string TestName(const std::string& inKind, Peer inPeer) {
    std::string name;
    for (const char character : inKind + " " + kPeerNames[inPeer])
        name += std::isalnum(static_cast<unsigned char>(character)) ? character : '_';
    return name;
}

/// Tests are passed over where the peer is missing, unless they make the document.
#define SKIP_WITHOUT(peer)                                                                                   \
    do {                                                                                                     \
        if (!Installed(peer)) {                                                                              \
            ASSERT_EQ(std::getenv("KELAUDIOFILE_INTEROP_TABLE"), nullptr)                                    \
                << kPeerNames[peer] << " is not installed";                                                  \
            GTEST_SKIP() << kPeerNames[peer] << " is not installed";                                         \
        }                                                                                                    \
    } while (false)

// --- What others write, read by us ---

struct TheirKind {
    std::string name;
    std::string extension;
    Signal signal = kGrid;
    std::int32_t channels = 2;
    const char* commands[kPeerCount]; ///< with the names that Filled fills in; null: the peer does not write
                                      ///< this kind
    Cell cells[kPeerCount] = {};
    std::vector<std::uint32_t> layout = {}; ///< not compared if empty
    bool cut = false;                       ///< the second half of the file is lost
    bool soxIsWrong = false;                ///< SoX takes 64-bit integers for doubles
};

bool HoldsFloats(const TheirKind& inKind) {
    return inKind.signal != kGrid;
}

#define SND "sndfile-convert "
#define FF "ffmpeg -v error -nostdin -y -f {ffraw} -ar 48000 -ac {ch} -i {raw} "
#define SOX "sox -D -V1 -t raw {soxraw} -L -r 48000 -c {ch} {raw} "

const Cell kFl64{kRefused, "`fl64` is not read"}, kMuLaw{kRefused, "mu-law is not read"},
    kReversed{kRefused, "its mark for this is `in24` spelled backwards"};

// clang-format off
const TheirKind kTheirKinds[] = {
    {"wave, 8 bits", ".wav", kGrid, 1,
     {SND "-pcmu8 {wave} {out}", FF "-c:a pcm_u8 {out}", SOX "-e unsigned -b 8 {out}"}},
    {"wave, 16 bits", ".wav", kGrid, 2,
     {SND "-pcm16 {wave} {out}", FF "-c:a pcm_s16le {out}", SOX "-b 16 {out}"}, {}, {100, 101}},
    {"wave, 24 bits", ".wav", kGrid, 2,
     {SND "-pcm24 {wave} {out}", FF "-c:a pcm_s24le {out}", SOX "-b 24 {out}"}},
    {"wave, 32 bits", ".wav", kGrid, 2,
     {SND "-pcm32 {wave} {out}", FF "-c:a pcm_s32le {out}", SOX "-b 32 {out}"}},
    {.name = "wave, 64 bits", .extension = ".wav",
     .commands = {nullptr, FF "-c:a pcm_s64le {out}", nullptr}, .soxIsWrong = true},
    {"wave, float", ".wav", kFine, 2,
     {SND "-float32 {wave} {out}", FF "-c:a pcm_f32le {out}", SOX "-e float -b 32 {out}"}},
    {"wave, double", ".wav", kFine, 2,
     {SND "-float64 {wave} {out}", FF "-c:a pcm_f64le {out}", SOX "-e float -b 64 {out}"}},
    {"wave, mu-law", ".wav", kGrid, 1,
     {SND "-ulaw {wave} {out}", FF "-c:a pcm_mulaw {out}", SOX "-e mu-law {out}"}, {kMuLaw, kMuLaw, kMuLaw}},
    {"wave, 5.1, 16 bits", ".wav", kGrid, 6,
     {SND "-pcm16 {wave} {out}", FF "-c:a pcm_s16le {out}", SOX "-b 16 {out}"}, {}, {100, 101, 102, 103, 104, 105}},
    {"wave, 7.1, 24 bits", ".wav", kGrid, 8,
     {SND "-pcm24 {wave} {out}", FF "-c:a pcm_s24le {out}", SOX "-b 24 {out}"}, {},
     {100, 101, 102, 103, 104, 105, 109, 110}},
    {"wave, with LIST", ".wav", kGrid, 2,
     {SND "-pcm16 {wave} {out} && sndfile-metadata-set --str-title Title {out}",
      FF "-metadata title=Title {out}", nullptr}},
    {"wave, with bext", ".wav", kGrid, 2,
     {SND "-pcm24 {wave} {out} && sndfile-metadata-set --bext-description Text {out} {out}.wav && mv {out}.wav {out}",
      FF "-write_bext 1 -metadata description=Text {out}", nullptr}},
    {"wave, sent to a pipe", ".wav", kGrid, 2,
     {nullptr, FF "-c:a pcm_s16le -f wav - | cat >{out}", SOX "-b 16 -t wav - | cat >{out}"}},
    {.name = "wave, 24 bits, cut in the middle", .extension = ".wav",
     .commands = {SND "-pcm24 {wave} {out}", FF "-c:a pcm_s24le {out}", SOX "-b 24 {out}"}, .cut = true},
    {"RF64, 24 bits", ".rf64", kGrid, 2,
     {SND "-pcm24 {wave} {out}", FF "-c:a pcm_s24le -rf64 always -f wav {out}", nullptr}},
    {"AIFF, 8 bits", ".aif", kGrid, 1,
     {SND "-pcms8 {wave} {out}", FF "-c:a pcm_s8 -f aiff {out}", SOX "-b 8 {out}"}},
    {"AIFF, 16 bits", ".aif", kGrid, 2,
     {SND "-pcm16 {wave} {out}", FF "-f aiff {out}", SOX "-b 16 {out}"}, {}, {100, 101}},
    {"AIFF, 24 bits", ".aif", kGrid, 2,
     {SND "-pcm24 {wave} {out}", FF "-c:a pcm_s24be -f aiff {out}", SOX "-b 24 {out}"}},
    {"AIFF, 32 bits", ".aif", kGrid, 2,
     {SND "-pcm32 {wave} {out}", FF "-c:a pcm_s32be -f aiff {out}", SOX "-b 32 {out}"}},
    {.name = "AIFF, 24 bits, cut in the middle", .extension = ".aif",
     .commands = {SND "-pcm24 {wave} {out}", FF "-c:a pcm_s24be -f aiff {out}", SOX "-b 24 {out}"}, .cut = true},
    {"AIFC, sowt, 16 bits", ".aif", kGrid, 2,
     {SND "-endian=little -pcm16 {wave} {out}", FF "-c:a pcm_s16le -f aiff {out}", nullptr}},
    {"AIFC, little-endian, 24 bits", ".aif", kGrid, 2,
     {SND "-endian=little -pcm24 {wave} {out}", nullptr, nullptr}, {kReversed, {}, {}}},
    {"AIFC, in24", ".aif", kGrid, 2, {nullptr, FF "-c:a pcm_s24be -tag:a in24 -f aiff {out}", nullptr}},
    {"AIFC, in32", ".aif", kGrid, 2, {nullptr, FF "-c:a pcm_s32be -tag:a in32 -f aiff {out}", nullptr}},
    {"AIFC, fl32", ".aif", kFine, 2,
     {SND "-float32 {wave} {out}", FF "-c:a pcm_f32be -f aiff {out}", SOX "-e float -b 32 -t aifc {out}"}},
    {"AIFC, fl64", ".aif", kFine, 2,
     {SND "-float64 {wave} {out}", FF "-c:a pcm_f64be -f aiff {out}", SOX "-e float -b 64 -t aifc {out}"},
     {kFl64, kFl64, kFl64}},
};
// clang-format on

using Made = std::pair<std::size_t, Peer>;

std::vector<Made> AllMade() {
    std::vector<Made> all;
    for (std::size_t kind = 0; kind < std::size(kTheirKinds); ++kind)
        for (const Peer maker : {kLibsndfile, kFfmpeg, kSox})
            if (kTheirKinds[kind].commands[maker])
                all.push_back({kind, maker});
    return all;
}

std::string Filled(std::string inCommand, const TheirKind& inKind, const TemporaryFolder& inFolder) {
    const std::pair<const char*, std::string> kValues[] = {
        {"{wave}", inFolder.Path("in.wav").string()},
        {"{raw}", inFolder.Path("in.raw").string()},
        {"{out}", inFolder.Path("out" + inKind.extension).string()},
        {"{ch}", std::to_string(inKind.channels)},
        {"{ffraw}", HoldsFloats(inKind) ? "f32le" : "s32le"},
        {"{soxraw}", HoldsFloats(inKind) ? "-e float -b 32" : "-e signed -b 32"},
    };
    for (const auto& [name, value] : kValues)
        for (std::size_t place; (place = inCommand.find(name)) != std::string::npos;)
            inCommand.replace(place, std::strlen(name), value);
    return inCommand;
}

/// The same samples as a raw file and as a wave file, for peers to make their files of.
void WriteInputs(const TheirKind& inKind, const TemporaryFolder& inFolder) {
    const Planes planes = MakeSignal(inKind.signal, inKind.channels);
    const SampleForm form{HoldsFloats(inKind) ? SampleForm::kFloat : SampleForm::kInteger, 4, false, false};
    const Bytes samples = Encode(planes, kFrames, form);
    testing_support::WriteFile(inFolder.Path("in.raw"), samples);
    AudioWriter wave(inFolder.Path("in.wav").string(),
                     {true, false, kRate, inKind.channels, form,
                      inKind.layout.empty()
                          ? UsualLayout(inKind.channels)
                          : kelmediatypes::ChannelLayout(inKind.layout.begin(), inKind.layout.end())});
    wave.WriteBytes(samples);
    wave.FinishSamples();
    wave.Finish();
}

class TheirFiles : public testing::TestWithParam<Made> {};

TEST_P(TheirFiles, DecodeAsOthersDecodeThem) {
    const auto [index, maker] = GetParam();
    const TheirKind& kind = kTheirKinds[index];
    const Cell& expected = kind.cells[maker];
    SKIP_WITHOUT(maker);
    NoteCell(kTheirTable, kind.name, kPeerNames[maker], CellText(expected));

    const TemporaryFolder folder;
    WriteInputs(kind, folder);
    const auto path = folder.Path("out" + kind.extension);
    const auto outcome = RunCommand(Filled(kind.commands[maker], kind, folder));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
    if (kind.cut)
        std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);

    if (expected.result == kRefused) {
        EXPECT_THROW(AudioReader(path.string()), Failure);
        return;
    }
    AudioReader reader(path.string());
    EXPECT_EQ(reader.SampleRate(), kRate);
    if (!kind.layout.empty() && (maker != kLibsndfile || kind.channels <= 2)) { // its program drops positions
        EXPECT_TRUE(std::equal(kind.layout.begin(), kind.layout.end(), reader.Layout().begin(),
                               reader.Layout().end()))
            << LayoutText(reader.Layout());
    }

    const std::vector<float> ours = DecodeOurselves(path);
    ASSERT_GE(ours.size(), static_cast<std::size_t>(kFrames / 3 * kind.channels));
    int references = 0;
    for (const Peer peer : {kLibsndfile, kFfmpeg, kSox}) {
        if (!Installed(peer) || (peer == kSox && kind.soxIsWrong))
            continue;
        SCOPED_TRACE(kPeerNames[peer]);
        const Decoded theirs = DecodeWith(peer, path, HoldsFloats(kind));
        if (!theirs.samples)
            continue;
        const Result result = Compare(*theirs.samples, ours);
        if (result != expected.result && !(peer == kSox && result == kExactTo32Bit))
            ADD_FAILURE() << "ours has " << ours.size() << " samples, theirs " << theirs.samples->size()
                          << ": " << CellText({result, theirs.message});
        references += peer != maker ? 1 : 0;
    }
    if (references == 0) { // then the signal that it was made of must do
        EXPECT_EQ(Compare(Interleaved(MakeSignal(kind.signal, kind.channels)), ours), kExact);
    }
}

INSTANTIATE_TEST_SUITE_P(, TheirFiles, testing::ValuesIn(AllMade()), [](const auto& inCase) {
    return TestName(kTheirKinds[inCase.param.first].name, inCase.param.second);
});

// --- What we write, read by others ---

struct OurKind {
    std::string name;
    std::string extension;
    Signal signal;
    AudioShape shape;
    Cell cells[kPeerCount] = {};
};

AudioShape Wave(SampleForm inForm, std::int32_t inChannels = 2, kelmediatypes::ChannelLayout inLayout = {}) {
    inForm.isUnsigned = inForm.bytes == 1;
    return {true, false, kRate, inChannels, inForm, inLayout.empty() ? UsualLayout(inChannels) : inLayout};
}

AudioShape Rf64(SampleForm inForm) {
    AudioShape shape = Wave(inForm);
    shape.rf64 = true;
    return shape;
}

AudioShape Aiff(SampleForm inForm, bool inBigEndian, std::int32_t inChannels = 2,
                kelmediatypes::ChannelLayout inLayout = {}) {
    inForm.bigEndian = inBigEndian;
    return {false, false, kRate, inChannels, inForm, inLayout.empty() ? UsualLayout(inChannels) : inLayout};
}

constexpr SampleForm Integers(std::int32_t inBytes) {
    return {SampleForm::kInteger, inBytes, false, false};
}

const SampleForm kFloats{SampleForm::kFloat, 4, false, false}, kDoubles{SampleForm::kFloat, 8, false, false};
const Cell kTo32Bit{kExactTo32Bit, "SoX works with 32-bit integers"};
const Cell kTakenForIntegers{kDiffers,
                             "it takes them for integers, as it does not know the mark of such floats"};
const Cell kTakenFor16Bit{kDiffers, "FFmpeg takes all `sowt` for 16 bits"};

// clang-format off
const OurKind kOurKinds[] = {
    {"wave, 8 bits", ".wav", kGrid, Wave(Integers(1), 1)},
    {"wave, 16 bits", ".wav", kGrid, Wave(Integers(2))},
    {"wave, 24 bits", ".wav", kGrid, Wave(Integers(3))},
    {"wave, 32 bits", ".wav", kGrid, Wave(Integers(4))},
    {"wave, 64 bits", ".wav", kGrid, Wave(Integers(8)),
     {{kRefused, "libsndfile has no such integers"}, {}, {kDiffers, "SoX takes them for doubles"}}},
    {"wave, float", ".wav", kFine, Wave(kFloats), {{}, {}, kTo32Bit}},
    {"wave, double", ".wav", kFine, Wave(kDoubles), {{}, {}, kTo32Bit}},
    {"wave, float, beyond full scale", ".wav", kBeyond, Wave(kFloats),
     {{kDiffers, "`sndfile-convert` scales such files down to full scale"}, {}, {kExactTo32Bit, "SoX clips"}}},
    {"wave, float on the scale of 16 bits", ".wav", kFine, Wave({SampleForm::kFloat32768, 4}),
     {kTakenForIntegers, {}, kTakenForIntegers}},
    {"wave, float on the scale of 24 bits", ".wav", kFine, Wave({SampleForm::kFloat8388608, 4}),
     {kTakenForIntegers, {}, kTakenForIntegers}},
    {"wave, 5.1, 24 bits", ".wav", kGrid, Wave(Integers(3), 6, {100, 101, 102, 103, 104, 105})},
    {"wave, 7.1, 16 bits", ".wav", kGrid, Wave(Integers(2), 8, {100, 101, 102, 103, 104, 105, 109, 110})},
    {"wave, 3 channels without positions", ".wav", kGrid, Wave(Integers(2), 3)},
    {"wave, Ambisonic, 24 bits", ".wav", kGrid, Wave(Integers(3), 4, {134, 135, 136, 137})},
    {"wave, Ambisonic, float", ".wav", kFine, Wave(kFloats, 4, {134, 135, 136, 137}), {{}, {}, kTo32Bit}},
    {"wave that may become RF64, 24 bits", ".wav", kGrid, Rf64(Integers(3))},
    {"AIFF, 8 bits", ".aiff", kGrid, Aiff(Integers(1), true, 1)},
    {"AIFF, 16 bits", ".aiff", kGrid, Aiff(Integers(2), true)},
    {"AIFF, 24 bits", ".aiff", kGrid, Aiff(Integers(3), true)},
    {"AIFF, 32 bits", ".aiff", kGrid, Aiff(Integers(4), true)},
    {"AIFF, 5.1, 24 bits", ".aiff", kGrid, Aiff(Integers(3), true, 6, {100, 101, 102, 103, 104, 105})},
    {"AIFC, sowt, 8 bits", ".aifc", kGrid, Aiff(Integers(1), false, 1), {{}, kTakenFor16Bit, {}}},
    {"AIFC, sowt, 16 bits", ".aifc", kGrid, Aiff(Integers(2), false)},
    {"AIFC, sowt, 24 bits", ".aifc", kGrid, Aiff(Integers(3), false), {{}, kTakenFor16Bit, {}}},
    {"AIFC, sowt, 32 bits", ".aifc", kGrid, Aiff(Integers(4), false), {{}, kTakenFor16Bit, {}}},
    {"AIFC, fl32", ".aifc", kFine, Aiff(kFloats, true), {{}, {}, kTo32Bit}},
};
// clang-format on

constexpr std::uint32_t kListId = 0x5453494C; // "LIST"

/// A file with a metadata chunk of odd size before the audio and, where there is such a place, behind it.
void WriteOurs(const OurKind& inKind, const std::filesystem::path& inPath) {
    const Bytes info = testing_support::ToBytes(std::string("INFOINAM\x05\0\0\0Title", 17));
    AudioWriter writer(inPath.string(), inKind.shape);
    if (inKind.shape.wave)
        writer.WriteMetadata(kListId, info);
    writer.WriteBytes(Encode(MakeSignal(inKind.signal, inKind.shape.channels), kFrames, inKind.shape.form));
    writer.FinishSamples();
    if (inKind.shape.wave)
        writer.WriteMetadata(kListId, info);
    writer.Finish();
}

class OurFiles : public testing::TestWithParam<std::tuple<std::size_t, Peer>> {};

void ExpectCell(const Cell& inExpected, Result inResult, const std::string& inKind, Peer inPeer,
                const std::string& inMessage) {
    EXPECT_EQ(CellText({inResult, ""}), CellText({inExpected.result, ""})) << inMessage;
    NoteCell(kOurTable, inKind, kPeerNames[inPeer], CellText({inResult, inExpected.why}));
}

TEST_P(OurFiles, AreDecodedByOthers) {
    const auto [index, peer] = GetParam();
    const OurKind& kind = kOurKinds[index];
    SKIP_WITHOUT(peer);

    const TemporaryFolder folder;
    const auto path = folder.Path("ours" + kind.extension);
    WriteOurs(kind, path);
    const Decoded theirs = DecodeWith(peer, path, kind.signal != kGrid);
    const Result result = theirs.samples ? Compare(*theirs.samples, DecodeOurselves(path)) : kRefused;
    ExpectCell(kind.cells[peer], result, kind.name, peer, theirs.message);
}

constexpr Peer kPeers[] = {kLibsndfile, kFfmpeg, kSox};

INSTANTIATE_TEST_SUITE_P(, OurFiles,
                         testing::Combine(testing::Range(std::size_t{0}, std::size(kOurKinds)),
                                          testing::ValuesIn(kPeers)),
                         [](const auto& inCase) {
                             return TestName(kOurKinds[std::get<0>(inCase.param)].name,
                                             std::get<1>(inCase.param));
                         });

// --- Files past 4 GiB: sparse, with sound in the last second ---

constexpr std::int64_t kSecondBytes = kRate * 4; // 16-bit stereo
constexpr int kSilentSeconds = 22370;            // 4,295,040,000 bytes, a little more than 2^32

struct LargeKind {
    std::string name;
    std::uint32_t flags;
    Cell cells[kPeerCount];
};

const Cell kFirstChunk{kDiffers, "the first `data` chunk alone is read"};
const Cell kByLength{kExact, "by its length alone, as it would read 4 GiB to come to the end"};
const Cell kSlow{kExact,
                 "by its length alone; SoX takes minutes to open it, so this is not part of every run"};
const LargeKind kLargeKinds[] = {
    {"wave past 4 GiB, RF64", 1, {kByLength, {}, kSlow}},
    {"wave past 4 GiB, RIFF with several `data` chunks",
     0,
     {{kRefused, "libsndfile gives up at the second one"}, kFirstChunk, kFirstChunk}},
};

class LargeFiles : public testing::TestWithParam<std::tuple<std::size_t, Peer>> {};

void WriteLarge(const LargeKind& inKind, const std::string& inPath, const Bytes& inLastSecond) {
    using kelaudiofile::WaveFile;
    WaveFile::ExtendedErrorInfo error;
    const std::unique_ptr<WaveFile> file(WaveFile::OpenForWrite(kelcore::ToUTF8String(inPath), kRate, 2, 2,
                                                                16, WaveFile::kIntegerSamples, UsualLayout(2),
                                                                inKind.flags, error, true));
    ASSERT_TRUE(file);
    const std::int64_t end = kSilentSeconds * kSecondBytes,
                       last = 0xFFFFFF00; // where a plain chunk is nearly full
    const Bytes silence(static_cast<std::size_t>(end - last));
    EXPECT_TRUE(file->WriteSampleBytes(last - 4, 4, silence.data(), error));
    EXPECT_TRUE(
        file->WriteSampleBytes(last, static_cast<std::int32_t>(silence.size()), silence.data(), error));
    EXPECT_TRUE(file->WriteSampleBytes(end, static_cast<std::int32_t>(inLastSecond.size()),
                                       inLastSecond.data(), error));
    EXPECT_TRUE(file->FinishSamples());
    EXPECT_TRUE(file->FinishWrite());
}

TEST_P(LargeFiles, AreDecodedByOthers) {
    const auto [index, peer] = GetParam();
    const LargeKind& kind = kLargeKinds[index];
    SKIP_WITHOUT(peer);

    if (kind.cells[peer].why == kSlow.why && !std::getenv("KELAUDIOFILE_INTEROP_SLOW")) {
        NoteCell(kOurTable, kind.name, kPeerNames[peer], CellText(kSlow));
        GTEST_SKIP() << "takes minutes; KELAUDIOFILE_INTEROP_SLOW=1 asks for it";
    }

    const TemporaryFolder folder;
    const auto path = folder.Path("large.wav");
    const Planes sound = MakeSignal(kGrid, 2, kRate);
    ASSERT_NO_FATAL_FAILURE(WriteLarge(kind, path.string(), Encode(sound, kRate, Integers(2))));
    AudioReader reader(path.string());
    ASSERT_EQ(reader.Frames(), std::int64_t{kRate} * (kSilentSeconds + 1));
    if (peer != kFfmpeg) {
        const std::int64_t frames = FramesBy(peer, path);
        ExpectCell(kind.cells[peer],
                   frames < 0                  ? kRefused
                   : frames == reader.Frames() ? kExact
                                               : kDiffers,
                   kind.name, peer, std::to_string(frames));
        return;
    }
    Planes ours;
    reader.ReadPlanes(std::int64_t{kRate} * kSilentSeconds, kRate, ours);
    const Decoded theirs = DecodeWith(peer, path, false, kSilentSeconds);
    ExpectCell(kind.cells[peer], theirs.samples ? Compare(*theirs.samples, Interleaved(ours)) : kRefused,
               kind.name, peer, theirs.message);
}

INSTANTIATE_TEST_SUITE_P(, LargeFiles,
                         testing::Combine(testing::Range(std::size_t{0}, std::size(kLargeKinds)),
                                          testing::ValuesIn(kPeers)),
                         [](const auto& inCase) {
                             return TestName(kLargeKinds[std::get<0>(inCase.param)].name,
                                             std::get<1>(inCase.param));
                         });

} // namespace
} // namespace interop
