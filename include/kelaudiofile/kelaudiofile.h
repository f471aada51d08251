#pragma once

// Everything that the library exports.
#include "kelaudiofile/AiffFile.h"
#include "kelaudiofile/ChannelMask.h"
#include "kelaudiofile/DeInterleave.h"
#include "kelaudiofile/Frames.h"
#include "kelaudiofile/HashWaveFile.h"
#include "kelaudiofile/Interleave.h"
#include "kelaudiofile/MakePeaks.h"
#include "kelaudiofile/PeakData.h"
#include "kelaudiofile/PeakDataSegment.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "kelaudiofile/RiffChunkReader.h"
#include "kelaudiofile/RiffChunkWriter.h"
#include "kelaudiofile/WaveFile.h"
#include "kelaudiofile/WaveFormatChunkReader.h"
#include "kelaudiofile/id3.h"
