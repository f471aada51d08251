#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/PeakDataSegment.h"

namespace kelaudiofile {

/// Takes the peaks of samples, about as fast as memory gives them: the lowest and the highest of each block.
/// NaN is passed over, and a block of nothing else is silent, which is (0.0, 0.0). Whether a zero is 0.0 or
/// -0.0 is open.
/// @param samples  a plane of floats. Needs no alignment beyond a float's.
/// @param count  how many samples there are; without any, the segment has no datums.
/// @param blockSize  samples in a block, of which the last may have fewer; below 1, the segment has no
/// datums.
/// @return a segment at offset 0 with that block size, which counts samples.
/// @throws std::bad_alloc
KELAUDIOFILE_EXPORT PeakDataSegment MakePeaks(const float* samples, std::int64_t count,
                                              std::int64_t blockSize);

} // namespace kelaudiofile
