#pragma once

#include <cstdint>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/PeakDataSegment.h"

namespace kelaudiofile {

/// @addtogroup peaks
/// @{

/// Computes the minimum and maximum of each block of samples, at about the speed at which memory delivers
/// them. NaN is skipped; a block with nothing else is silent, which is (0.0, 0.0). Whether a zero comes out
/// as 0.0 or -0.0 is unspecified.
/// @param samples  a plane of floats, aligned as floats.
/// @param count  the number of samples; if it is below 1, the segment has no datums.
/// @param blockSize  samples per block; the last block may have fewer. If it is below 1,
///        the segment has no datums.
/// @return a segment at offset 0 with that block size, so that offsets count samples.
/// @throws std::bad_alloc
KELAUDIOFILE_EXPORT PeakDataSegment MakePeaks(const float* samples, std::int64_t count,
                                              std::int64_t blockSize);

/// @}

} // namespace kelaudiofile
