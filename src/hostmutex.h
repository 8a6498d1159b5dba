/*
 * Process-local mutexes. A failing mutex call is a broken invariant and ends the process.
 *
 * Mutexes are never destroyed. They are never placed in the shared segment.
 */
#ifndef HOSTMUTEX_H
#define HOSTMUTEX_H

#include <pthread.h>

#include "basetypes.h"

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

/* Reports a failed mutex call with its caller and ends the process. */
[[noreturn]] void HostMutexError(const char* op, int rc, int lineNum, const char* file);

/* Lock and unlock. line and file name the code that takes or releases the lock. Inline, as every
   query makes both calls: a frame of their own costs it a tenth of its time. */
inline void _hostmutexLock(HostMutexSType* m, int line, const char* file) {
    const int rc = pthread_mutex_lock(&m->mutex);
    if (rc != HOST_MUTEX_SUCCESS) {
        HostMutexError("hostmutexLock", rc, line, file);
    }
}

inline void _hostmutexUnlock(HostMutexSType* m, int line, const char* file) {
    const int rc = pthread_mutex_unlock(&m->mutex);
    if (rc != HOST_MUTEX_SUCCESS) {
        HostMutexError("hostmutexUnlock", rc, line, file);
    }
}

#endif
