// Opens an AIFF file of arbitrary bytes: reads stay inside the file, and a copy holds the same contents once
// the disk has room for it.

#include "FileSizeLimit.h"
#include "Fuzz.h"
#include "kelaudiofile/AiffFile.h"

using kelaudiofile::AiffFile;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::Bytes bytes(data, data + size);
    AiffFile::ExtendedErrorInfo error{-1, {}, {}, -1};
    const auto file = AiffFile::OpenForRead(fuzz::FileOf(bytes).Path(), size % 2 == 0, error);
    if (!file)
        return 0;
    FUZZ_REQUIRE(error.code == 0 && file->GetSampleCount() >= 0);
    const fuzz::Contents contents(*file, bytes);
    FUZZ_REQUIRE(fuzz::LiesIn(bytes, contents.samples));
    FUZZ_REQUIRE(file->GetCompressionCode().size() <= 4 && file->GetCompressionDescription().size() <= 255);
    FUZZ_REQUIRE(GetDeinterleaveFunction(*file) != nullptr || GetConversionFunction(*file) == nullptr);

    const auto path = fuzz::Folder().PathText("copy");
    bool isWritten = false;
    for (const std::uint64_t room : {std::uint64_t{size} / 2, std::uint64_t{1} << 30})
        try {
            const fuzz::FileSizeLimit limit(room);
            const std::unique_ptr<AiffFile> copy(
                AiffFile::OpenForWrite(path, 48000, file->GetNumChannels(), 8 * file->GetBytesPerSample(),
                                       file->GetSampleType(), file->GetAudioChannelLayout(), error));
            isWritten = copy && contents.WriteTo(*copy) && copy->FinishWrite(false, error);
        } catch (const kelcore::filesupport::file_exception&) { // from FinishWrite
        }
    FUZZ_REQUIRE(isWritten);
    const auto read = AiffFile::OpenForRead(path, false, error);
    const fuzz::Contents copied(*read, testing_support::ReadFile(fuzz::Folder().Path("copy")));
    FUZZ_REQUIRE(copied.metadata == contents.metadata);
    FUZZ_REQUIRE(copied.samples == contents.samples || read->GetSampleCount() == 0);
    return 0;
}
