// A host as its author would write it, built against the library in every supported way.
#include <cstdio>
#include <memory>

#include <kelaudiofile/kelaudiofile.h>

using namespace kelaudiofile;

#define REQUIRE(condition)                                                                                   \
    if (!(condition))                                                                                        \
    return std::printf("host: %s\n", #condition), 1

int main(int, char** argv) {
    const auto path = kelcore::ToUTF8String(argv[1]);
    const std::uint8_t samples[] = {0, 0x40, 0, 0xC0};
    WaveFile::ExtendedErrorInfo error;
    std::unique_ptr<WaveFile> file(WaveFile::OpenForWrite(path, 48000, 1, 2, 16, WaveFile::kIntegerSamples,
                                                          kelmediatypes::CreateMonoChannelLayout(), 0, error,
                                                          false));
    REQUIRE(file && file->WriteSampleBytes(0, 4, samples, error));
    REQUIRE(file->FinishSamples() && file->FinishWrite());
    file.reset(WaveFile::OpenForRead(path, error, false));
    unsigned char bytes[4];
    REQUIRE(file && file->GetSampleCount() == 2 && file->ReadSampleBytes(0, 4, bytes));
    float plane[2];
    const auto decode = GetDeinterleaveFunction(*file);
    decode(bytes, plane, 2, 1);
    REQUIRE(plane[0] == 0.5f && plane[1] == -0.5f);

    PeakData peaks;
    peaks.Append(0, 100, PeakDatumVector(3, PeakDatum(-1.0f, 1.0f)));
    REQUIRE(peaks.size() == 3 && ++peaks.begin() != peaks.end());
    AiffFile::ExtendedErrorInfo aiffError;
    REQUIRE(!AiffFile::OpenForRead(path, false, aiffError) && aiffError.code == aiffError.kNotAiffFile);
    try { // a host must be able to catch the library's exceptions by their type
        HashWaveFile([](const unsigned char*, std::uint64_t) {}, kelcore::ToUTF8String("/nothing"), true);
    } catch (const kelcore::config::kel_exception& exception) {
        REQUIRE(exception.GetAdditionalData().size() == 4);
        std::puts("host: ok");
    }
}
