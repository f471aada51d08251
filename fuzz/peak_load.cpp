// Peak data from a stream of any bytes. What loads is saved as it was; then every operation must come to an
// end on it, whatever its block sizes are.

#include <algorithm>
#include <bit>

#include "Fuzz.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "support/MemoryStream.h"

using fuzz::Bytes;
using kelaudiofile::PeakData;
using kelaudiofile::PeakDataSegment;

namespace {

std::uint64_t Machine(const Bytes& inBytes, std::size_t inPlace, unsigned inByteCount) {
    Bytes field = fuzz::Part(inBytes, inPlace, inByteCount);
    if (std::endian::native == std::endian::big)
        std::reverse(field.begin(), field.end());
    return fuzz::Little(field, 0, inByteCount);
}

/// @return the bytes that the container's image takes at the front of these; 0 if it is cut off.
/// @param outClaimed  the bytes that the largest of its counts asks for.
std::size_t ImageBytes(const Bytes& inBytes, std::uint64_t& outClaimed) {
    outClaimed = 0;
    if (inBytes.size() < 4)
        return 0;
    outClaimed = sizeof(PeakDataSegment) * Machine(inBytes, 0, 4);
    std::size_t place = 4;
    for (std::uint64_t segments = Machine(inBytes, 0, 4); segments > 0; --segments) {
        if (inBytes.size() - place < 12)
            return 0;
        const std::uint64_t datumBytes = 8 * Machine(inBytes, place, 4);
        outClaimed = std::max(outClaimed, datumBytes);
        place += 12;
        if (inBytes.size() - place < datumBytes)
            return 0;
        place += static_cast<std::size_t>(datumBytes);
    }
    return place;
}

void Edit(const std::shared_ptr<PeakData>& ioPeaks, fuzz::Choices& ioChoose) {
    const auto offset = static_cast<std::int64_t>(ioChoose.Number(8));
    const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(ioPeaks->size(), 100));
    const std::uint32_t a = ioChoose(count + 1), b = ioChoose(count + 1);
    const auto first = ioPeaks->begin() + a, last = ioPeaks->begin() + b;
    const auto other = std::make_shared<PeakData>(offset);
    other->Append(offset, static_cast<std::int64_t>(ioChoose.Number(8)), {{1.0f, 2.0f}, {3.0f, 4.0f}});
    switch (ioChoose(9)) {
    case 0:
        return ioPeaks->Split(offset);
    case 1:
        return ioPeaks->Insert(other);
    case 2:
        return ioPeaks->Overwrite(other);
    case 3:
        return ioPeaks->RippleDelete(first, last,
                                     ioChoose(2) == 0 ? PeakData::RippleLeft : PeakData::RippleRight);
    case 4:
        return ioPeaks->Zero(first, last);
    case 5:
        return ioPeaks->Insert(ioPeaks->GetRange(first, last));
    case 6:
        return ioPeaks->SetStartOffset(offset);
    case 7: {
        PeakDataSegment segment(offset, static_cast<std::int64_t>(ioChoose.Number(8)), {{1.0f, 2.0f}}),
            copy(segment);
        segment = copy;
        FUZZ_REQUIRE(segment.Append(copy) == (copy.GetStartOffset() == copy.GetEndOffset()));
        FUZZ_REQUIRE(!segment.Append(segment) || segment.GetStartOffset() == copy.GetStartOffset());
        return;
    }
    default:
        ioPeaks->Insert(nullptr);
        ioPeaks->Find(offset);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    const auto peaks = std::make_shared<PeakData>(static_cast<std::int64_t>(size % 3) * 1000);
    testing_support::MemoryFileInput stream(bytes);
    std::uint64_t claimed = 0;
    const std::size_t imageBytes = ImageBytes(bytes, claimed);
    // Up to 16 MiB are made ready for what a stream claims. That is right, but few inputs shall spend their
    // time there.
    if (imageBytes == 0 && claimed > 65536 && size % 64 != 0)
        return 0;
    try {
        peaks->LoadFromStream(stream);
        FUZZ_REQUIRE(imageBytes != 0 && stream.CurPos() == imageBytes);
        testing_support::MemoryFileOutput saved;
        peaks->WriteToStream(saved);
        FUZZ_REQUIRE(saved.bytes == fuzz::Part(bytes, 0, imageBytes));
    } catch (const std::exception&) {
        FUZZ_REQUIRE(imageBytes == 0);
    }
    fuzz::Choices choose(data + imageBytes, size - imageBytes);
    for (int steps = 0; !choose.empty() && steps < 20; ++steps) {
        Edit(peaks, choose);
        std::vector<float> points(2 * choose(40) + 1, 7.0f);
        const auto start = std::bit_cast<double>(choose.Number(8)),
                   step = std::bit_cast<double>(choose.Number(8));
        ResamplePeakData(peaks, start, step, points.size() / 2, points.data(), choose(2) == 0);
        FUZZ_REQUIRE(points.back() == 7.0f);
    }
    return 0;
}
