#pragma once

#include <cstdint>
#include <memory>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/PeakData.h"

namespace kelaudiofile {

/// @addtogroup peaks
/// @{

/// Computes evenly spaced points from a timeline: for each point, the lowest minimum and the highest maximum
/// of all blocks that it touches.
///
/// Values pass through unchanged; nothing is interpolated. A block on the boundary of two points counts for
/// both, unless it ends exactly there. A gap between segments belongs to the block after it.
///
/// Point i covers the span from i * inStep + inStartOffset up to (i + 1) * inStep + inStartOffset, in double
/// precision. Points before offset 0 or after the end are silent, which is (0.0, 0.0). If a point starts at
/// or after offset 0 but before the start of the timeline, it and all later points are silent. A point that
/// spans offset 0 takes its extremes from the first block on.
///
/// The function always terminates and cannot fail. It only reads the container, which must not change during
/// the call, and allocates nothing. It takes the time of one pass over the blocks that the points span;
/// points longer than a looped timeline share one pass over it. Segments without datums are skipped.
///
/// @param inPeakData  the timeline; null gives silence.
/// @param inStartOffset  the position of the first point in offset units; may be negative
///        and may have a fraction.
/// @param inStep  the distance between points in offset units. An inStep of 0 or less, or NaN, gives silence;
///        so does an inStartOffset of NaN.
/// @param inPointCount  the number of points.
/// @param outPeaks  room for 2 * inPointCount floats, all of which are written: the maximum of point i at
///        index 2i, its minimum at 2i + 1.
/// @param inLoop  whether the timeline repeats indefinitely after its end. A start outside the timeline is
///        then reduced modulo its length, counted from offset 0. A timeline that does not end after its start
///        has no length and gives silence. Once the laps exceed 64-bit offsets, each point shows a whole lap.
KELAUDIOFILE_EXPORT void ResamplePeakData(const std::shared_ptr<PeakData>& inPeakData, double inStartOffset,
                                          double inStep, std::uint64_t inPointCount, float* outPeaks,
                                          bool inLoop);

/// @}

} // namespace kelaudiofile
