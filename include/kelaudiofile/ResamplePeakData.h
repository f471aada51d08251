#pragma once

#include <cstdint>
#include <memory>

#include "kelaudiofile/Export.h"
#include "kelaudiofile/PeakData.h"

namespace kelaudiofile {

/// Draws evenly spaced points from a timeline: for each the lowest minimum and the highest maximum of all
/// blocks that it touches. Values pass through unchanged; nothing is interpolated. A block on the border of
/// two points counts for both, unless it ends exactly there. A gap between segments belongs to the block
/// behind it.
///
/// Point i stands for the span from i * inStep + inStartOffset up to the same of i + 1, in double precision.
/// Points that lie before offset 0 or behind the end are silent, which is (0.0, 0.0); where a point starts
/// before the timeline's start but at or above offset 0, it and all further points are silent. The measures
/// of a point that spans offset 0 begin at the first block.
///
/// Always ends and never fails; the container is only read and must not change during the call. Needs no
/// memory. The time taken is that of one pass over the blocks that the points span, and no block is visited
/// more than a few times for one point, however many laps of a loop that point spans. Segments without datums
/// are passed over.
///
/// @param inPeakData     the timeline; null gives silence.
/// @param inStartOffset  position of the first point in offset units; may be negative and may have a
/// fraction.
/// @param inStep         distance between points in offset units. 0, less, or not a number gives silence; so
/// does
///                       an inStartOffset that is not a number.
/// @param inPointCount   number of points.
/// @param outPeaks       room for 2 * inPointCount floats, all of which are written: point i has its maximum
/// at
///                       2i and its minimum at 2i + 1.
/// @param inLoop         whether the timeline repeats for ever behind its end. A start outside of it is then
/// folded
///                       into its length, counted from offset 0. A timeline whose end is not behind its start
///                       has no length and gives silence. Where laps have added up past the offsets of 64
///                       bits, each point shows a whole lap.
KELAUDIOFILE_EXPORT void ResamplePeakData(const std::shared_ptr<PeakData>& inPeakData, double inStartOffset,
                                          double inStep, std::uint64_t inPointCount, float* outPeaks,
                                          bool inLoop);

} // namespace kelaudiofile
