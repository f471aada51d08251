#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "AiffFormatInfo.h"
#include "bytes/ByteOrder.h"

/// "COMM", the format chunk, and what compression codes mean.
namespace kelaudiofile::aiff {

/// @return whether a "COMM" chunk of this size holds all fields of its form type and is not unreasonably
/// large.
bool IsCommSize(std::uint32_t inFormType, std::int64_t inByteCount);

/// Takes all fields from "COMM" data of a size that IsCommSize accepts. Only a code that makes the samples
/// singles has an effect on the bit depth here; ApplyCompression has the others.
/// @param ioFormat  its formType is set already.
void ParseComm(std::span<const bytes::Byte> inData, AiffFormatInfo& ioFormat);

/// Sets the sample type, and the bit depth where the compression code imposes one.
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

/// @return null for a number that is no sample type.
const WrittenForm* FindWrittenForm(AiffFile::SampleType inSampleType);

/// Makes "COMM" data with a frame count of 0. An "AIFC" description is padded to an even end inside the
/// chunk.
std::vector<bytes::Byte> BuildComm(const AiffFormatInfo& inFormat);

} // namespace kelaudiofile::aiff
