// Compares blocks of frames, all channels at once, with one call of the single-channel routines per channel:
// after a swap for big-endian samples, and after a plain rounding loop for integers narrower than floats.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <time.h>

#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Frames.h"
#include "kelaudiofile/Interleave.h"

using namespace kelaudiofile;

namespace {

constexpr int kFrames = 4096, kRounds = 41;

double ThreadSeconds() {
    timespec time;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <typename Work>
double SecondsFor(int inRepeats, const Work& inWork) {
    const double start = ThreadSeconds();
    for (int i = 0; i < inRepeats; ++i)
        inWork();
    return ThreadSeconds() - start;
}

/// Returns the median of how many times as fast ours is, with both sides run in alternation.
template <typename Ours, typename Other>
double Speed(const Ours& inOurs, const Other& inOther) {
    SecondsFor(1, inOurs);
    const int repeats = std::max(1, static_cast<int>(0.002 / std::max(SecondsFor(1, inOther), 1e-7)));
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round) {
        const double ours = SecondsFor(repeats, inOurs);
        ratios.push_back(SecondsFor(repeats, inOther) / ours);
    }
    std::nth_element(ratios.begin(), ratios.begin() + kRounds / 2, ratios.end());
    return ratios[kRounds / 2];
}

struct Kind {
    const char* name;
    SampleFormat format;
    DeinterleaveFunction decode;
    ConversionFunction encode;     ///< null for integers, which are rounded
    ConversionFunction interleave; ///< interleaves or swaps
    bool isSwapped;
};

constexpr SampleFormat Big(SampleCoding inCoding, std::int32_t inBytes) {
    return {inCoding, inBytes, ByteOrder::kBigEndian, false};
}

constexpr SampleCoding kInteger = SampleCoding::kInteger, kFloat = SampleCoding::kFloat_1;
const Kind kKinds[] = {
    {"16 bit", {SampleCoding::kInteger, 2}, DeInterleave16Bit, nullptr, Interleave16Bits, false},
    {"24 bit", {SampleCoding::kInteger, 3}, DeInterleave24Bit, nullptr, Interleave24Bits, false},
    {"32 bit", {SampleCoding::kInteger, 4}, DeInterleave32Bit, Interleave32BitInteger, nullptr, false},
    {"float", {SampleCoding::kFloat_1, 4}, DeInterleave32BitFloat_1, Interleave32BitFloat_1, nullptr, false},
    {"16 bit big-endian", Big(kInteger, 2), DeInterleave16Bit, nullptr, Swizzle16Bit, true},
    {"24 bit big-endian", Big(kInteger, 3), DeInterleave24Bit, nullptr, Swizzle24Bit, true},
    {"32 bit big-endian", Big(kInteger, 4), DeInterleave32Bit, Interleave32BitInteger, Swizzle32Bit, true},
    {"float big-endian", Big(kFloat, 4), DeInterleave32BitFloat_1, Interleave32BitFloat_1, Swizzle32Bit,
     true},
};

/// As a host would write it: one loop per width, without a call or a branch per sample.
template <int kBytes>
void RoundPlainly(const float* in, unsigned char* out) {
    constexpr float kFullScale = 1 << (8 * kBytes - 1);
    for (int i = 0; i < kFrames; ++i, out += kBytes) {
        const auto sample = static_cast<std::int32_t>(
            std::lrint(std::min(std::max(in[i] * kFullScale, -kFullScale), kFullScale - 1)));
        std::memcpy(out, &sample, kBytes);
    }
}

void Compare(const Kind& inKind, int inChannels) {
    const int bytes = inKind.format.bytesPerSample;
    std::vector<unsigned char> file(static_cast<std::size_t>(kFrames * inChannels * bytes)), swapped = file;
    std::vector<unsigned char> samples(static_cast<std::size_t>(kFrames * bytes));
    std::vector<std::vector<float>> floats(static_cast<std::size_t>(inChannels), std::vector<float>(kFrames));
    std::vector<float*> planes;
    for (auto& plane : floats) {
        for (std::size_t i = 0; i < plane.size(); ++i)
            plane[i] = std::sin(static_cast<float>(i) * 0.01f) * 0.9f;
        planes.push_back(plane.data());
    }
    const auto encode = [&] { EncodeFrames(inKind.format, planes.data(), file.data(), kFrames, inChannels); };
    const auto encodeEach = [&] {
        for (int c = 0; c < inChannels; ++c) {
            const float* const plane = planes[static_cast<std::size_t>(c)];
            unsigned char* const out = file.data() + c * bytes;
            if (inKind.encode && !inKind.isSwapped) {
                inKind.encode(plane, out, kFrames, inChannels);
                continue;
            }
            if (inKind.encode)
                inKind.encode(plane, samples.data(), kFrames, 1);
            else
                (bytes == 2 ? RoundPlainly<2> : RoundPlainly<3>)(plane, samples.data());
            inKind.interleave(samples.data(), out, kFrames * (inKind.isSwapped ? bytes : 1), inChannels);
        }
    };
    const auto decode = [&] { DecodeFrames(inKind.format, file.data(), planes.data(), kFrames, inChannels); };
    const auto decodeEach = [&] {
        const unsigned char* from = file.data();
        if (inKind.isSwapped) {
            inKind.interleave(from, swapped.data(), static_cast<std::int32_t>(file.size()), 1);
            from = swapped.data();
        }
        for (int c = 0; c < inChannels; ++c)
            inKind.decode(from + c * bytes, planes[static_cast<std::size_t>(c)], kFrames, inChannels);
    };
    encodeEach();
    const auto expectedFile = file;
    encode();
    decodeEach();
    const auto expectedFloats = floats;
    decode();
    if (file != expectedFile || floats != expectedFloats) {
        std::fprintf(stderr, "%s, %d channels: differs from single channels\n", inKind.name, inChannels);
        std::exit(1);
    }
    std::printf("| %s, %d channel%s | %.2f | %.2f |\n", inKind.name, inChannels, inChannels == 1 ? "" : "s",
                Speed(decode, decodeEach), Speed(encode, encodeEach));
}

} // namespace

int main() {
    std::printf("| %d frames of | Decoding | Encoding |\n|---|---|---|\n", kFrames);
    for (const Kind& kind : kKinds)
        for (const int channels : {1, 2, 4, 6, 8, 16})
            Compare(kind, channels);
}
