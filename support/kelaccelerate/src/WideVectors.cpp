#include "kelaccelerate/WideVectors.h"

#include <atomic>

#if defined(KELACCELERATE_WIDE)
#include <cpuid.h>
#endif

namespace kelaccelerate {

namespace {

enum : int { kUnknown, kNo, kYes };
constinit std::atomic<int> answer = kUnknown;

bool AskProcessor() {
#if defined(KELACCELERATE_WIDE)
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx) || !(ecx & bit_OSXSAVE))
        return false;
    unsigned savedBySystem, ignored;
    __asm__ volatile("xgetbv" : "=a"(savedBySystem), "=d"(ignored) : "c"(0));
    const bool savesVectors = (savedBySystem & 6) == 6;
    return savesVectors && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) && (ebx & bit_AVX2);
#else
    return false;
#endif
}

} // namespace

// Threads that query the processor at the same time get the same answer.
bool HasWideVectors() {
    int known = answer.load(std::memory_order_relaxed);
    if (known == kUnknown) {
        known = AskProcessor() ? kYes : kNo;
        answer.store(known, std::memory_order_relaxed);
    }
    return known == kYes;
}

void AllowWideVectors(bool inAllow) {
    answer.store(inAllow ? kUnknown : kNo, std::memory_order_relaxed);
}

} // namespace kelaccelerate
