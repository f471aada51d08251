#pragma once

/// Vectors of 32 bytes, and instructions that move bytes to any place of one at once.
namespace kelaccelerate {

#if defined(__x86_64__)
/// Marks functions that may be called where HasWideVectors says so. Processors with AVX2 that cannot fetch a
/// line for writing take that instruction for none.
#define KELACCELERATE_WIDE __attribute__((target("avx2,prfchw")))
#endif

/// @return whether the processor and the system have them, AVX2 here. The processor is asked at the first
/// call, which takes some 20 microseconds under virtualisation; the answer is kept. Any thread may ask.
bool HasWideVectors();

/// Lets tests take the way of other processors. Not while another thread asks.
void AllowWideVectors(bool inAllow);

} // namespace kelaccelerate
