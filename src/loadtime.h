/*
 * The load-time steps of the library and their order.
 *
 * Everything that must have happened before the first exported call runs from here while the
 * dynamic loader maps the library, in the loading thread. No other module initialises
 * anything at load time on its own: their state is constant-initialised.
 */
#ifndef LOADTIME_H
#define LOADTIME_H

#include <cstddef>

/* Initialiser priorities; the loader runs those with the smaller number first. */
enum LoadTimePriorityEType {
    LOADTIME_PROCESSOR = 1000,
    LOADTIME_HOST = 2000,
    LOADTIME_DEFAULT = 65535
};

struct LoadTimeStepSType {
    LoadTimePriorityEType priority;
    const char* name;
    void (*run)();
};

/* All steps in the order in which they run, and their number. */
const LoadTimeStepSType* loadTimeSteps(size_t* count);

#endif
