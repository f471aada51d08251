#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "AiffFormatInfo.h"
#include "bytes/ByteOrder.h"

/// "COMM", the format chunk, and what compression codes mean.
namespace kelaudiofile::aiff {

/// Returns whether a "COMM" chunk of this size holds all fields of its form type and
/// is not unreasonably large.
bool IsCommSize(std::uint32_t inFormType, std::int64_t inByteCount);

/// Parses all fields of "COMM" data whose size IsCommSize accepts. Only a code for single-precision floats
/// changes the bit depth here; ApplyCompression applies the others.
/// @param ioFormat  its formType is already set.
void ParseComm(std::span<const bytes::Byte> inData, AiffFormatInfo& ioFormat);

/// Sets the sample type, and the bit depth if the compression code imposes one.
/// @return whether the code is known.
bool ApplyCompression(AiffFormatInfo& ioFormat);

/// How a new file declares its sample type.
struct WrittenForm {
    AiffFile::SampleType sampleType;
    std::uint32_t formType;
    std::uint32_t compressionCodeId;
    std::string_view compressionCode;
    std::string_view compressionDescription;
};

/// Returns null for a number that is not a sample type.
const WrittenForm* FindWrittenForm(AiffFile::SampleType inSampleType);

/// Builds "COMM" data with a frame count of 0. An "AIFC" description is padded to an even
/// length inside the chunk.
std::vector<bytes::Byte> BuildComm(const AiffFormatInfo& inFormat);

} // namespace kelaudiofile::aiff
