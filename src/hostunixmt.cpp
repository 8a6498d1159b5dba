#include "hostunixmt.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "fatal.h"
#include "utlbase.h"

namespace {

constexpr size_t MIN_THREAD_STACK_SIZE = 524288;
constexpr int SAVED_SIGNAL_COUNT = 50;

/* State of the process: the count of termination requests (any thread, signal handlers), and the
 * signal actions that were replaced (cleared at load; nothing in this library saves one). */
std::atomic<int> sigTermCount{0};
static_assert(std::atomic<int>::is_always_lock_free);
struct sigaction oldHandlers[SAVED_SIGNAL_COUNT];
BoolType oldHandlersValid[SAVED_SIGNAL_COUNT];
struct sigaction oldSigVtalrm;

size_t roundedToPages(size_t size) {
    const size_t pageSize = static_cast<size_t>(UtlGetPageSize());
    return (size + pageSize - 1) / pageSize * pageSize;
}

} // namespace

int HostCreateThread(HostThreadIdType* id, HostThreadMainFuncType* func, void* arg) {
    return HostCreateThread_(id, func, arg, MIN_THREAD_STACK_SIZE);
}

int HostCreateThread_(HostThreadIdType* id, HostThreadMainFuncType* funcArg, void* arg,
                      size_t minStackSize) {
    pthread_attr_t attributes;
    pthread_attr_t* used = hostSetThreadAttributes(&attributes, minStackSize);
    const int rc = pthread_create(id, used, funcArg, arg);
    if (used != nullptr) {
        pthread_attr_destroy(used);
    }
    return rc;
}

pthread_attr_t* hostSetThreadAttributes(pthread_attr_t* attrPtr, size_t minStackSize) {
    int rc = pthread_attr_init(attrPtr);
    if (rc != 0) {
        printf("hostSetThreadAttributes: pthread_attr_init() failed, rc=%d\n", rc);
        return nullptr;
    }

    size_t stackSize = 0;
    rc = pthread_attr_getstacksize(attrPtr, &stackSize);
    if (rc != 0) {
        printf("hostSetThreadAttributes: pthread_attr_getstacksize() failed, rc=%d\n", rc);
        return nullptr;
    }
    if (stackSize >= minStackSize) {
        return attrPtr;
    }

    stackSize = roundedToPages(minStackSize);
    rc = pthread_attr_setstacksize(attrPtr, stackSize);
    if (rc != 0) {
        printf("hostSetThreadAttributes: pthread_attr_setstacksize(%ld) failed, rc=%d\n",
               static_cast<long>(stackSize), rc);
        return nullptr;
    }
    return attrPtr;
}

void HostIncrementSigTerm() {
    sigTermCount.fetch_add(1);
}

int HostGetSigTermAtomic() {
    return sigTermCount.fetch_add(0);
}

BoolType HostGetSigTerm() {
    return HostSigTermCount() > 0 ? TRUE : FALSE;
}

int HostSigTermCount() {
    return sigTermCount.load(std::memory_order_relaxed);
}

void UnixIoSigaction(int sig, const struct sigaction* act, struct sigaction* oact) {
    if (sigaction(sig, act, oact) == 0) {
        return;
    }
    printf("sigaction failed for sig %d with errno %d\n", sig, errno);
    HostCallDebuggerMsg_fl("unixiomt", 342);
}

void hostClearSavedSignalActions() {
    memset(oldHandlers, 0, sizeof oldHandlers);
    memset(oldHandlersValid, 0, sizeof oldHandlersValid);
    memset(&oldSigVtalrm, 0, sizeof oldSigVtalrm);
}
