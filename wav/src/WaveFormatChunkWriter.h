#pragma once

#include "kelaudiofile/RiffChunkWriter.h"
#include "kelaudiofile/WaveFormatChunkReader.h"
#include "kelcore/debug.h"

namespace kelaudiofile {

/// Writes a whole `fmt ` chunk at the writer's position, in the shortest form that expresses the record.
///
/// The tag is derived from the category; status, format tag and container kind are ignored. No record is
/// rejected: a category that cannot be written is written as PCM. Exceptions of the stream pass through.
///
/// Two debug settings force a form: if "kelaudiofile.SpecifyWaveFormatStruct" is "true",
/// "kelaudiofile.WaveFormatStructSize" is the size of the structure: 14, 16, 18 or 40. Other sizes below 18
/// give an empty chunk, other sizes above 18 only the extension bytes.
void WriteWaveFormatChunk(RiffChunkWriter& writer, const AudioCharacteristics& characteristics);

/// Returns whether the setting is "true"; the default if it is not set.
bool ReadDebugBool(const kelcore::debug::DebugDatabase& database, const kelcore::UTF8String& key,
                   bool defaultValue);

/// Returns the leading decimal number of the setting, which may have a minus sign; 0 if there is none or it
/// does not fit; the default if the setting is not set.
int ReadDebugInt32(const kelcore::debug::DebugDatabase& database, const kelcore::UTF8String& key,
                   int defaultValue);

} // namespace kelaudiofile
