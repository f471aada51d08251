// Compares whole jobs, file to planes and back, with other libraries and with the bare system calls. Files
// are in memory-backed storage, so that the work is measured and not a disk.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "Compare.h"
#include "Peers.h"
#include "kelaudiofile/kelaudiofile.h"

namespace {

using kelaudiofile::WaveFile;
using peers::Planes;
using Bytes = std::vector<std::uint8_t>;

/// Samples in each file, whatever their kind: rows must not differ because of cache sizes.
constexpr std::int64_t kFileBytes = 4 << 20;

/// Follows the advice in DeInterleave.h: a block that stays in the L1 cache.
std::int64_t BlockFrames(std::int64_t inFrameBytes) {
    return std::max<std::int64_t>(16384 / inFrameBytes, 64);
}

struct Kind {
    const char* name;
    std::int32_t bytesPerSample;
    WaveFile::SampleType sampleType;
};

const Kind kKinds[] = {
    {"16 bit", 2, WaveFile::kIntegerSamples},
    {"24 bit", 3, WaveFile::kIntegerSamples},
    {"32 bit", 4, WaveFile::kIntegerSamples},
    {"float", 4, WaveFile::kFloatSamples_1},
};
constexpr std::int32_t kChannels[] = {1, 2, 6};

void Require(bool inHolds, const char* inWhat) {
    if (!inHolds) {
        std::fprintf(stderr, "benchmark failed: %s\n", inWhat);
        std::exit(1);
    }
}

struct CloseDescriptor {
    explicit CloseDescriptor(int inDescriptor) : descriptor(inDescriptor) {
        Require(descriptor >= 0, "open");
    }
    ~CloseDescriptor() { ::close(descriptor); }
    int descriptor;
};

std::unique_ptr<WaveFile> Open(const std::string& inPath) {
    WaveFile::ExtendedErrorInfo error;
    std::unique_ptr<WaveFile> file(WaveFile::OpenForRead(kelcore::ToUTF8String(inPath), error, false));
    Require(file != nullptr, "OpenForRead");
    return file;
}

std::unique_ptr<WaveFile> Create(const std::string& inPath, const Kind& inKind, std::int32_t inChannels) {
    WaveFile::ExtendedErrorInfo error;
    std::unique_ptr<WaveFile> file(WaveFile::OpenForWrite(
        kelcore::ToUTF8String(inPath), 48000, inChannels, inKind.bytesPerSample, 8 * inKind.bytesPerSample,
        inKind.sampleType, kelmediatypes::CreateStereoChannelLayout(), 0, error, false));
    Require(file != nullptr, "OpenForWrite");
    return file;
}

/// Whole samples that are a signal in every kind: floats must not pass for integers, and none may be odd.
Bytes MakeSamples(const Kind& inKind, std::int64_t inByteCount) {
    const std::int64_t count = inByteCount / inKind.bytesPerSample;
    Bytes bytes(static_cast<std::size_t>(count * inKind.bytesPerSample));
    for (std::int64_t i = 0; i < count; ++i) {
        const double value = std::sin(static_cast<double>(i) * 0.01) * 0.9;
        std::uint8_t* const out = &bytes[static_cast<std::size_t>(i * inKind.bytesPerSample)];
        if (inKind.sampleType == WaveFile::kFloatSamples_1) {
            const float sample = static_cast<float>(value);
            std::memcpy(out, &sample, sizeof sample);
        } else {
            const auto sample = static_cast<std::uint32_t>(static_cast<std::int32_t>(value * 2147483647.0)) >>
                                (32 - 8 * inKind.bytesPerSample);
            for (int b = 0; b < inKind.bytesPerSample; ++b)
                out[b] = static_cast<std::uint8_t>(sample >> 8 * b);
        }
    }
    return bytes;
}

void WriteBlocks(WaveFile& ioFile, const Bytes& inBytes, std::int32_t inBlockBytes) {
    WaveFile::ExtendedErrorInfo error;
    for (std::size_t done = 0; done < inBytes.size(); done += static_cast<std::size_t>(inBlockBytes)) {
        const auto count = static_cast<std::int32_t>(
            std::min<std::size_t>(inBytes.size() - done, static_cast<std::size_t>(inBlockBytes)));
        Require(ioFile.WriteSampleBytes(static_cast<std::int64_t>(done), count, &inBytes[done], error),
                "write");
    }
    Require(ioFile.FinishSamples() && ioFile.FinishWrite(), "FinishWrite");
}

void Decode(const std::string& inPath, Bytes& ioBlock, Planes& outPlanes, const peers::BlockDone& inDone) {
    const auto file = Open(inPath);
    const std::int32_t channels = file->GetNumChannels(), bytesPerSample = file->GetBytesPerSample();
    const std::int64_t frameBytes = std::int64_t{channels} * bytesPerSample;
    const std::int64_t blockFrames = BlockFrames(frameBytes);
    const auto deinterleave = kelaudiofile::GetDeinterleaveFunction(*file);
    const std::int64_t count = file->GetSampleCount();
    for (std::int64_t start = 0; start < count; start += blockFrames) {
        const std::int64_t frames = std::min(blockFrames, count - start);
        Require(file->ReadSampleBytes(start * frameBytes, frames * frameBytes, ioBlock.data()), "read");
        for (std::int32_t channel = 0; channel < channels; ++channel)
            deinterleave(ioBlock.data() + channel * bytesPerSample,
                         outPlanes[static_cast<std::size_t>(channel)].data(), frames, channels);
        if (inDone)
            inDone(frames);
    }
}

/// Makes the same reads from the same descriptor, and nothing else.
void ReadAlone(const std::string& inPath, std::size_t inDataBytes, std::size_t inBlockBytes, Bytes& ioBlock) {
    const CloseDescriptor file(::open(inPath.c_str(), O_RDONLY));
    for (std::size_t done = 0; done < inDataBytes; done += inBlockBytes) {
        const std::size_t count = std::min(inDataBytes - done, inBlockBytes);
        Require(::pread(file.descriptor, ioBlock.data(), count, static_cast<off_t>(44 + done)) ==
                    static_cast<ssize_t>(count),
                "pread");
    }
}

Planes MakePlanes(std::int32_t inChannels, std::int64_t inFrames) {
    return Planes(static_cast<std::size_t>(inChannels),
                  std::vector<float>(static_cast<std::size_t>(inFrames)));
}

/// Returns all samples that a decoder delivers, for comparing two decoders.
template <typename Decoder>
Planes AllSamples(Planes& ioPlanes, Decoder inDecode) {
    Planes all(ioPlanes.size());
    inDecode([&](std::int64_t inFrames) {
        for (std::size_t channel = 0; channel < all.size(); ++channel)
            all[channel].insert(all[channel].end(), ioPlanes[channel].begin(),
                                ioPlanes[channel].begin() + inFrames);
    });
    return all;
}

void CompareDecoding(const std::string& inFolder) {
    for (const Kind& kind : kKinds) {
        for (const std::int32_t channels : kChannels) {
            const std::string path = inFolder + "/decode.wav";
            const std::int64_t frameBytes = std::int64_t{channels} * kind.bytesPerSample;
            const std::int64_t blockFrames = BlockFrames(frameBytes);
            const Bytes samples = MakeSamples(kind, kFileBytes / frameBytes * frameBytes);
            WriteBlocks(*Create(path, kind, channels), samples, 1 << 20);
            Bytes block(static_cast<std::size_t>(blockFrames * frameBytes));
            Planes planes = MakePlanes(channels, blockFrames);
            const auto job = "decode " + std::string(kind.name) + ", " + std::to_string(channels) +
                             (channels == 1 ? " channel" : " channels");
            const auto decode = [&](const peers::BlockDone& inDone) { Decode(path, block, planes, inDone); };
            const auto timedDecode = [&] { decode({}); };
            const Planes ours = AllSamples(planes, decode);
            Require(ours[0].size() * static_cast<std::size_t>(frameBytes) == samples.size(),
                    "frames decoded");
            for (const auto& peer : peers::FindPeers()) {
                const auto peerDecode = [&](const peers::BlockDone& inDone) {
                    peer.decode(path, blockFrames, planes, inDone);
                };
                Require(AllSamples(planes, peerDecode) == ours, "a peer decodes other samples");
                compare::PrintRow(job, peer.name, compare::Speed(timedDecode, [&] { peerDecode({}); }));
            }
            compare::PrintRow(job, "reading alone", compare::Speed(timedDecode, [&] {
                                  ReadAlone(path, samples.size(), block.size(), block);
                              }));
        }
    }
}

void CompareEncoding(const std::string& inFolder) {
    struct Encoding {
        const char* name;
        Kind kind;
        kelaudiofile::ConversionFunction interleave;
    };
    const Encoding kEncodings[] = {
        {"float", kKinds[3], kelaudiofile::Interleave32BitFloat_1},
        {"32 bit", kKinds[2], kelaudiofile::Interleave32BitInteger},
    };
    for (const Encoding& encoding : kEncodings) {
        for (const std::int32_t channels : kChannels) {
            const std::string path = inFolder + "/encode.wav", plainPath = inFolder + "/plain.raw";
            const std::int64_t frameBytes = std::int64_t{channels} * encoding.kind.bytesPerSample;
            const std::int64_t blockFrames = BlockFrames(frameBytes), frames = kFileBytes / frameBytes;
            Planes planes = MakePlanes(channels, blockFrames);
            for (std::size_t channel = 0; channel < planes.size(); ++channel)
                for (std::size_t i = 0; i < planes[channel].size(); ++i)
                    planes[channel][i] = std::sin(static_cast<float>(i * (channel + 1)) * 0.01f) * 0.9f;
            Bytes block(static_cast<std::size_t>(blockFrames * frameBytes));
            const auto forEachBlock = [=](auto inDo) {
                for (std::int64_t start = 0; start < frames; start += blockFrames)
                    inDo(start * frameBytes, std::min(blockFrames, frames - start));
            };
            const auto encode = [&] {
                const auto file = Create(path, encoding.kind, channels);
                WaveFile::ExtendedErrorInfo error;
                forEachBlock([&](std::int64_t inOffset, std::int64_t inFrames) {
                    for (std::int32_t channel = 0; channel < channels; ++channel)
                        encoding.interleave(planes[static_cast<std::size_t>(channel)].data(),
                                            block.data() + channel * encoding.kind.bytesPerSample,
                                            static_cast<std::int32_t>(inFrames), channels);
                    Require(file->WriteSampleBytes(inOffset, static_cast<std::int32_t>(inFrames * frameBytes),
                                                   block.data(), error),
                            "write");
                });
                Require(file->FinishSamples() && file->FinishWrite(), "FinishWrite");
            };
            const auto writeAlone = [&] {
                ::unlink(plainPath.c_str());
                const CloseDescriptor file(::open(plainPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
                forEachBlock([&](std::int64_t inOffset, std::int64_t inFrames) {
                    const auto count = static_cast<std::size_t>(inFrames * frameBytes);
                    Require(::pwrite(file.descriptor, block.data(), count, static_cast<off_t>(inOffset)) ==
                                static_cast<ssize_t>(count),
                            "pwrite");
                });
            };
            encode();
            writeAlone();
            const std::uint64_t plainSize = std::filesystem::file_size(plainPath);
            Require(std::filesystem::file_size(path) >= plainSize + 44, "sizes of the written files");
            compare::PrintRow("encode " + std::string(encoding.name) + ", " + std::to_string(channels) +
                                  (channels == 1 ? " channel" : " channels"),
                              "writing alone", compare::Speed(encode, writeAlone));
        }
    }
}

/// Block sizes typical of recorders, below and above the write buffer.
void CompareWriting(const std::string& inFolder) {
    const std::string path = inFolder + "/write.wav", plainPath = inFolder + "/write.raw";
    const Bytes samples = MakeSamples(kKinds[0], kFileBytes);
    for (const std::size_t blockBytes : {std::size_t{4096}, std::size_t{65536}}) {
        const auto write = [&] {
            WriteBlocks(*Create(path, kKinds[0], 2), samples, static_cast<std::int32_t>(blockBytes));
        };
        const auto writeAlone = [&] {
            ::unlink(plainPath.c_str());
            const CloseDescriptor file(::open(plainPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
            for (std::size_t done = 0; done < samples.size(); done += blockBytes) {
                const std::size_t count = std::min(samples.size() - done, blockBytes);
                Require(::pwrite(file.descriptor, &samples[done], count, static_cast<off_t>(done)) ==
                            static_cast<ssize_t>(count),
                        "pwrite");
            }
        };
        compare::PrintRow("write blocks of " + std::to_string(blockBytes / 1024) + " KiB", "writing alone",
                          compare::Speed(write, writeAlone));
    }
}

/// Measured by wall clock, and in the current folder: memory-backed storage has no disk to wait for.
void CompareCheckpoints() {
    using Clock = std::chrono::steady_clock;
    struct Row {
        const char* name;
        bool (WaveFile::*checkpoint)();
    };
    constexpr Row kRows[] = {{"FinishBlock", &WaveFile::FinishBlock},
                             {"FinishBlockOnDisk", &WaveFile::FinishBlockOnDisk}};
    const Bytes second = MakeSamples(kKinds[1], 48000 * 2 * 3);
    for (const Row& row : kRows) {
        const std::string path = "checkpoints.wav";
        const auto file = Create(path, kKinds[1], 2);
        std::vector<double> times;
        for (std::int64_t i = 0; i < 101; ++i) {
            WaveFile::ExtendedErrorInfo error;
            const auto count = static_cast<std::int32_t>(second.size());
            const auto start = Clock::now();
            Require(file->WriteSampleBytes(i * count, count, second.data(), error), "write");
            Require((file.get()->*row.checkpoint)(), row.name);
            times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
        }
        std::nth_element(times.begin(), times.begin() + 50, times.end());
        compare::PrintRow(std::string("record 24 bit, 2 channels, a second and a ") + row.name, "real time",
                          1 / times[50]);
        ::unlink(path.c_str());
    }
}

void CompareOpening(const std::string& inFolder) {
    const std::string path = inFolder + "/small.wav";
    WriteBlocks(*Create(path, kKinds[0], 2), MakeSamples(kKinds[0], 4000), 1 << 20);
    for (const auto& peer : peers::FindPeers())
        compare::PrintRow("open a small file", peer.name,
                          compare::Speed([&] { Open(path); }, [&] { peer.open(path); }));
}

void CompareHashing(const std::string& inFolder) {
    const std::string path = inFolder + "/hash.wav";
    WriteBlocks(*Create(path, kKinds[0], 2), MakeSamples(kKinds[0], kFileBytes), 1 << 20);
    Bytes block(16384);
    Planes planes = MakePlanes(2, BlockFrames(4));
    std::uint64_t fed = 0;
    const auto hash = [&] {
        fed = 0;
        kelaudiofile::HashWaveFile(
            [&fed](const unsigned char*, std::uint64_t inByteCount) { fed += inByteCount; },
            kelcore::ToUTF8String(path), false);
    };
    hash();
    Require(fed == kFileBytes / 2 * sizeof(float), "hash");
    compare::PrintRow("hash 16 bit, 2 channels", "decode of the same file",
                      compare::Speed(hash, [&] { Decode(path, block, planes, {}); }));
}

} // namespace

int main() {
    const char* const root = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
    std::string folder = std::string(root) + "/kelaudiofile-bench-XXXXXX";
    Require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    std::printf("| Job | Against | Times as fast |\n|---|---|---|\n");
    CompareDecoding(folder);
    CompareEncoding(folder);
    CompareWriting(folder);
    CompareCheckpoints();
    CompareHashing(folder);
    CompareOpening(folder);
    std::filesystem::remove_all(folder);
}
