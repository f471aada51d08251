// Loads peak data from a stream of arbitrary bytes. Whatever loads is saved unchanged; edits and points
// terminate, whatever its block sizes are.

#include <bit>

#include "Fuzz.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "support/MemoryStream.h"

using kelaudiofile::PeakData;

namespace {

void Edit(PeakData& ioPeaks, fuzz::Choices& ioChoose) {
    const auto offset = static_cast<std::int64_t>(ioChoose.Number(8));
    const auto other = std::make_shared<PeakData>(offset);
    other->Append(offset, static_cast<std::int64_t>(ioChoose.Number(8)), {{1.0f, 2.0f}, {3.0f, 4.0f}});
    ioPeaks.Split(offset);
    ioPeaks.Overwrite(other);
    ioPeaks.Insert(other);
    const std::uint32_t count = static_cast<std::uint32_t>(std::min<std::uint64_t>(ioPeaks.size(), 100)) + 1;
    const auto first = ioPeaks.begin() + ioChoose(count), last = ioPeaks.begin() + ioChoose(count);
    ioPeaks.Zero(first, last);
    ioPeaks.Insert(ioPeaks.GetRange(first, last));
    ioPeaks.RippleDelete(ioPeaks.Find(offset), ioPeaks.end(),
                         ioChoose(2) == 0 ? PeakData::RippleLeft : PeakData::RippleRight);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto peaks = std::make_shared<PeakData>(static_cast<std::int64_t>(size % 3) * 1000);
    testing_support::MemoryFileInput stream({data, data + size});
    try {
        peaks->LoadFromStream(stream);
        testing_support::MemoryFileOutput saved;
        peaks->WriteToStream(saved);
        FUZZ_REQUIRE(saved.bytes == fuzz::Bytes(data, data + stream.CurPos()));
    } catch (const std::exception&) { // truncated
    }
    fuzz::Choices choose(data, size);
    for (int steps = 0; !choose.empty() && steps < 20; ++steps) {
        Edit(*peaks, choose);
        std::vector<float> points(2 * choose(40));
        const auto number = [&choose] { return std::bit_cast<double>(choose.Number(8)); };
        ResamplePeakData(peaks, number(), number(), points.size() / 2, points.data(), size % 2 == 0);
    }
    return 0;
}
