#pragma once

#include <cstdint>
#include <vector>

/// Converts a number of samples of one channel, between a buffer of so many channels and a plane.
using KernelRun = void (*)(const void* source, void* destination, std::int32_t sampleCount,
                           std::int32_t channels);

/// A routine in its simplest form: one loop that takes a sample, converts it and puts it down.
struct PlainKernel {
    const char* name;
    KernelRun run;
    std::size_t sourceBytes, writtenBytes; ///< per sample
    bool gathers; ///< from an interleaved source; else into an interleaved destination
};

std::vector<PlainKernel> PlainKernels();
