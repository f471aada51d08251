#pragma once

/// Detection of 32-byte vectors with byte shuffles.
namespace kelaccelerate {

// Not with g++ for Windows, unless its assembler takes moves of vectors that lie unaligned on the stack.
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__)) &&                                      \
    !defined(KELAUDIOFILE_PLAIN_VECTORS) &&                                                                  \
    (!defined(_WIN32) || defined(__clang__) || defined(KELACCELERATE_UNALIGNED_MOVES))
/// Marks functions that may be called only if HasWideVectors is true. A processor with AVX2 but without
/// PREFETCHW executes that instruction as a no-op.
#define KELACCELERATE_WIDE __attribute__((target("avx2,prfchw")))
#endif

/// Returns whether the processor and the system support them, which means AVX2 here. The first call queries
/// the processor, which takes about 20 microseconds under virtualisation, and keeps the answer. Any thread
/// may call it.
bool HasWideVectors();

/// For tests: simulates a processor without wide vectors. Not thread-safe.
void AllowWideVectors(bool inAllow);

} // namespace kelaccelerate
