/*
 * Process-local mutexes. A failing mutex call is a broken invariant and ends the process.
 *
 * Mutexes are never destroyed. They are never placed in the shared segment.
 */
#ifndef HOSTMUTEX_H
#define HOSTMUTEX_H

#include <pthread.h>

#include "shrpcstats.h"

/* The success result of the mutex calls. */
constexpr int HOST_MUTEX_SUCCESS = 0;

/* Zero bytes are a valid "not initialised" state. */
struct HostMutexSType {
    pthread_mutex_t mutex;
    BoolType initialized; /* a diagnostic: locking does not test it */
};

/* Initialises a plain (non-recursive) mutex. checked changes nothing. */
void HostMutexInit(HostMutexSType* mutex, BoolType checked);

/* Initialises a mutex that its owner may lock again. Always TRUE: failures don't return. */
BoolType HostRecursiveMutexInit(HostMutexSType* mutex);

/* Lock and unlock. line and file name the code that takes or releases the lock. */
void _hostmutexLock(HostMutexSType* m, int line, const char* file);
void _hostmutexUnlock(HostMutexSType* m, int line, const char* file);

/* Reports a failed mutex call with its caller and ends the process. */
[[noreturn]] void HostMutexError(const char* op, int rc, int lineNum, const char* file);

#endif
