/* The check that the processor has the instructions that the library was built for. */
#ifndef CPUCHECK_H
#define CPUCHECK_H

#include <cstddef>

struct CpuFeature {
    const char* name;
    bool present;
};

/* Returns if all count features are present. Otherwise names the missing ones on standard error and
 * ends the process at once with status 1, without exit handlers and flushes. */
void cpuRequireFeatures(const CpuFeature* features, size_t count);

/* cpuRequireFeatures with what this processor has. Runs first when the library is loaded. */
void CpuCheckCpu();

#endif
