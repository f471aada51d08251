// A host as its author would write it, built against the library in every way that it can be taken.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <kelaudiofile/kelaudiofile.h>

using kelaudiofile::WaveFile;

static void Require(bool inHolds, const char* inWhat) {
    if (!inHolds) {
        std::fprintf(stderr, "host: %s\n", inWhat);
        std::exit(1);
    }
}

int main(int argc, char** argv) {
    Require(argc == 2, "usage: host FILE");
    const kelcore::UTF8String path = kelcore::ToUTF8String(argv[1]);
    const std::vector<std::uint8_t> samples = {0, 0x40, 0, 0xC0};
    WaveFile::ExtendedErrorInfo error;
    {
        const std::unique_ptr<WaveFile> file(
            WaveFile::OpenForWrite(path, 48000, 1, 2, 16, WaveFile::kIntegerSamples,
                                   kelmediatypes::CreateMonoChannelLayout(), 0, error, false));
        Require(file != nullptr, "open for write");
        Require(file->WriteSampleBytes(0, 4, samples.data(), error), "write");
        Require(file->FinishSamples() && file->FinishWrite(), "finish");
    }
    const std::unique_ptr<WaveFile> file(WaveFile::OpenForRead(path, error, false));
    Require(file != nullptr && file->GetSampleCount() == 2, "open for read");
    unsigned char bytes[4] = {};
    Require(file->ReadSampleBytes(0, 4, bytes), "read");
    float plane[2] = {};
    const auto decode = kelaudiofile::GetDeinterleaveFunction(*file);
    decode(bytes, plane, 2, 1);
    Require(plane[0] == 0.5f && plane[1] == -0.5f, "decode");

    const auto peaks = std::make_shared<kelaudiofile::PeakData>();
    kelaudiofile::PeakDatumVector data(3, kelaudiofile::PeakDatum(-1.0f, 1.0f));
    peaks->Append(0, 100, std::move(data));
    Require(peaks->size() == 3 && ++peaks->begin() != peaks->end(), "peaks");

    try { // an exception must be caught on this side of the library's border by its type
        kelaudiofile::HashWaveFile([](const unsigned char*, std::uint64_t) {},
                                   kelcore::ToUTF8String("/nothing"), true);
        Require(false, "hash of nothing");
    } catch (const kelcore::config::kel_exception& exception) {
        Require(exception.GetAdditionalData().size() == 4, "additional data");
    }
    kelaudiofile::AiffFile::ExtendedErrorInfo aiffError;
    Require(kelaudiofile::AiffFile::OpenForRead(path, false, aiffError) == nullptr &&
                aiffError.code == kelaudiofile::AiffFile::ExtendedErrorInfo::kNotAiffFile,
            "AIFF open");
    std::puts("host: ok");
}
