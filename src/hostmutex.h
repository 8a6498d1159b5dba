/*
 * Process-local mutexes. A failing mutex call is a broken invariant and ends the process.
 *
 * Mutexes are never destroyed. They are never placed in the shared segment. Which one is taken
 * before which, what is held where and what a mutex guards is declared with the annotations below;
 * clang checks it at compile time (scripts/lint.sh).
 */
#ifndef HOSTMUTEX_H
#define HOSTMUTEX_H

#include <pthread.h>

#include "basetypes.h"

/* The success result of the mutex calls. */
constexpr int HOST_MUTEX_SUCCESS = 0;

#ifdef __clang__
#define HOST_LOCK_ANNOTATION(annotation) __attribute__((annotation))
#else
#define HOST_LOCK_ANNOTATION(annotation)
#endif
#define HOST_LOCKABLE HOST_LOCK_ANNOTATION(capability("mutex"))
#define HOST_LOCK_HOLDER HOST_LOCK_ANNOTATION(scoped_lockable)
/* Of data. */
#define HOST_GUARDED_BY(mutex) HOST_LOCK_ANNOTATION(guarded_by(mutex))
/* Of a mutex. */
#define HOST_TAKEN_BEFORE(mutex) HOST_LOCK_ANNOTATION(acquired_before(mutex))
/* Of a function: it takes or releases the mutex, or it is called with or without it. */
#define HOST_TAKES(mutex) HOST_LOCK_ANNOTATION(acquire_capability(mutex))
#define HOST_RELEASES(...) HOST_LOCK_ANNOTATION(release_capability(__VA_ARGS__))
#define HOST_CALLED_WITH(mutex) HOST_LOCK_ANNOTATION(requires_capability(mutex))
#define HOST_CALLED_WITHOUT(...) HOST_LOCK_ANNOTATION(locks_excluded(__VA_ARGS__))
/* Of a function that the analysis can't follow. */
#define HOST_LOCKS_UNCHECKED HOST_LOCK_ANNOTATION(no_thread_safety_analysis)

/* Zero bytes are a valid "not initialised" state. */
struct HOST_LOCKABLE HostMutexSType {
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
inline void _hostmutexLock(HostMutexSType* m, int line, const char* file)
    HOST_TAKES(m) HOST_LOCKS_UNCHECKED {
    const int rc = pthread_mutex_lock(&m->mutex);
    if (rc != HOST_MUTEX_SUCCESS) {
        HostMutexError("hostmutexLock", rc, line, file);
    }
}

inline void _hostmutexUnlock(HostMutexSType* m, int line, const char* file)
    HOST_RELEASES(m) HOST_LOCKS_UNCHECKED {
    const int rc = pthread_mutex_unlock(&m->mutex);
    if (rc != HOST_MUTEX_SUCCESS) {
        HostMutexError("hostmutexUnlock", rc, line, file);
    }
}

/* Holds a mutex for its scope. `file`: the source that has the scope. */
class HOST_LOCK_HOLDER HostMutexHolder {
public:
    HostMutexHolder(HostMutexSType* mutex, const char* file, int line = __builtin_LINE())
        HOST_TAKES(mutex)
        : _mutex(mutex), _file(file), _line(line) {
        _hostmutexLock(_mutex, _line, _file);
    }
    ~HostMutexHolder() HOST_RELEASES() { _hostmutexUnlock(_mutex, _line, _file); }
    HostMutexHolder(const HostMutexHolder&) = delete;
    HostMutexHolder& operator=(const HostMutexHolder&) = delete;

private:
    HostMutexSType* _mutex;
    const char* _file;
    int _line;
};

#endif
