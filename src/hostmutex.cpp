#include "hostmutex.h"

#include <cerrno>
#include <cstdio>

#include "fatal.h"

namespace {

/* Names this module in the guarantee message; the line numbers are part of the interface and don't
 * follow the source. */
constexpr char MODULE[] = "hostmutex";

/* format: print format of the step's failure, for errno. */
void requireSuccess(int rc, const char* format, int line) {
    if (rc == HOST_MUTEX_SUCCESS) {
        return;
    }
    printf(format, errno);
    HostCallDebuggerMsg_fl(MODULE, line);
}

} // namespace

void HostMutexInit(HostMutexSType* mutex, [[maybe_unused]] BoolType checked) {
    if (pthread_mutex_init(&mutex->mutex, nullptr) != HOST_MUTEX_SUCCESS) {
        HostCallDebuggerMsg_fl(MODULE, 49);
    }
    mutex->initialized = TRUE;
}

BoolType HostRecursiveMutexInit(HostMutexSType* mutex) {
    pthread_mutexattr_t attributes;
    requireSuccess(pthread_mutexattr_init(&attributes), "pthread_mutexattr_init failed, errno %d\n",
                   64);
    requireSuccess(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE),
                   "pthread_mutexattr_settype(RECURSIVE) failed , errno %d\n", 69);
    requireSuccess(pthread_mutex_init(&mutex->mutex, &attributes),
                   "pthread_mutex_init failed, errno %d\n", 74);
    pthread_mutexattr_destroy(&attributes);
    mutex->initialized = TRUE;
    return TRUE;
}

void HostMutexError(const char* op, int rc, int lineNum, const char* file) {
    /* The process is to end, not the thread. */
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    printf("HostMutexError: op=%s rc=%d errno=%d at line %d in %s\n", op, rc, errno, lineNum, file);
    HostCallDebuggerMsg_fl(MODULE, 95);
}
