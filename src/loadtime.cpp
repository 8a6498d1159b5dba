#include "loadtime.h"

#include "cpucheck.h"
#include "hostshr.h"
#include "hostunix.h"
#include "tvsihandle.h"
#include "utl.h"
#include "utlexit.h"

namespace {

void detectProcessor() {
    __builtin_cpu_init();
}

constexpr LoadTimeStepSType STEPS[] = {
    {LOADTIME_PROCESSOR, "processor detection", detectProcessor},
    {LOADTIME_PROCESSOR, "processor check", CpuCheckCpu},
    {LOADTIME_HOST, "host module", HostModuleInitializer},
    {LOADTIME_DEFAULT, "exit function list", UtlExitFuncListInit},
    {LOADTIME_DEFAULT, "socket module", NetSocketModuleInitializer},
    {LOADTIME_DEFAULT, "socket trace switch", netSocketDebugModeInitializer},
    {LOADTIME_DEFAULT, "bit primitive self-test", txBitPrimitivesSelfTest},
    {LOADTIME_DEFAULT, "shared memory trace switch", hostShrDebugModeInitializer},
    {LOADTIME_DEFAULT, "cache handle manager", CacheMgrInitializer},
};

void runSteps(LoadTimePriorityEType priority) {
    for (const LoadTimeStepSType& step : STEPS) {
        if (step.priority == priority) {
            step.run();
        }
    }
}

__attribute__((constructor(LOADTIME_PROCESSOR))) void runProcessorSteps() {
    runSteps(LOADTIME_PROCESSOR);
}

__attribute__((constructor(LOADTIME_HOST))) void runHostSteps() {
    runSteps(LOADTIME_HOST);
}

__attribute__((constructor)) void runDefaultSteps() {
    runSteps(LOADTIME_DEFAULT);
}

} // namespace

const LoadTimeStepSType* loadTimeSteps(size_t* count) {
    *count = sizeof(STEPS) / sizeof(STEPS[0]);
    return STEPS;
}
