/*
 * The cache handle behind the functions of tvsi.h: one attached cache, its watcher thread,
 * the manager that owns the handles, and the queries on a handle.
 *
 *                      attachCacheWithName            watcher starts
 *    SPC_INACTIVE ---------------------> SPC_ATTACHED --------------> SPC_ACTIVE
 *         ^                                   |                           |
 *         |                                   | start wait is over        | stop request, cache or
 *         |                                   | (detachCache)             | monitor gone
 * (detachCache |                                   v                           v  by the watcher)
 *         +----------------------------- SPC_DETACHED <-------------------+
 *           recycleHandle: a query, or TvsiDetachSharedCache()
 *
 * Threads and locks. cacheMutex serialises the queries, the watcher's start, the detach and
 * the reset of a handle; it is taken before the mutex of shrMemState and after the one that
 * lets one thread at a time recycle. Nobody who joins the watcher holds it, for the watcher's
 * last act takes it. The state, the stop request and the running flag are also looked at
 * without it: they are atomic words.
 */
#ifndef TVSIHANDLE_H
#define TVSIHANDLE_H

#include <cstddef>
#include <cstdint>

#include "basetypes.h"
#include "hostmutex.h"
#include "hostshr.h"
#include "hostunixmt.h"
#include "shrpc.h"
#include "shrpcstats.h"

enum { SPC_INACTIVE = 0, SPC_ATTACHED = 1, SPC_ACTIVE = 2, SPC_DETACHED = 3 };

enum { MAX_ATTCHED_CACHES = 1 };

struct SharedCacheHandleMgrSType;
struct SharedCacheLockHolder;

struct SharedCacheHandleSType {
    HostThreadIdType watcherThreadId;
    HostShrMemStateType shrMemState;
    int32_t status;                /* atomic; written under cacheMutex, or by an attach */
    int32_t index;                 /* position in the manager's array; -1 before TvsiInit() */
    int32_t monitorPid;            /* process id of the cache monitor, as found at the attach */
    BoolType watcherThreadRunning; /* atomic; from the watcher's first act until it is joined */
    /* Initialised once in the life of the process. */
    HostMutexSType cacheMutex HOST_TAKEN_BEFORE(shrMemState._mutex);
    ShrPcStateSType* shrpcPtr;      /* this handle's own SharedPageCache */
    BoolType timeToShutdown;        /* atomic; asks the watcher to stop */
    SharedCacheHandleMgrSType* mgr; /* null before TvsiInit() */
    BoolType isLocked;              /* a lock holder has cacheMutex; a diagnostic */
    BoolType badVersion;            /* an attach met another compatibility level */
    ShrPcStateSType SharedPageCache;
    int32_t processTableLimit; /* entries that fit the segment, however many its header claims */
    /* Atomic. A watcher could not be joined and may still start or run, however often the handle
       has been reset since: only the thread of watcherThreadId is its watcher. The last member,
       which no reset touches. */
    BoolType watcherGivenUp;

    SharedCacheHandleSType();

    /* The free state. Leaves cacheMutex alone once it is initialised, for others may wait on it,
       and watcherGivenUp. */
    void init(int index, SharedCacheHandleMgrSType* mgr);

    /* Maps and validates the segment, to SPC_ATTACHED. FALSE with the text for the caller, if
       there is one, in `errBuf`; nothing stays mapped. */
    BoolType attachCacheWithName(const char* cacheName, char* errBuf, size_t errBufSize);
    /* Unmaps the segment of an attached or active handle, to SPC_DETACHED. */
    void detachCache() HOST_CALLED_WITHOUT(cacheMutex, shrMemState._mutex);
    /* The same for a caller that has cacheMutex. */
    void detachLocked() HOST_CALLED_WITH(cacheMutex);

    /* Creates the watcher and waits until it has started, for about 2 seconds. FALSE when there is
       none; a thread that came too late has been joined. */
    BoolType startWatcherThread() HOST_CALLED_WITHOUT(cacheMutex);
    /* Asks a running watcher to stop and joins it; TRUE when it is known to have ended. */
    BoolType stopWatcherThread() HOST_CALLED_WITHOUT(cacheMutex);
    /* Slots 0 and 1 are in use. */
    BoolType checkCacheIsAlive();
    /* Called by every query with the holder that has cacheMutex. On anything but TVSI_SUCCESS the
       mutex has been released and the handle recycled. */
    int checkCacheStatus(SharedCacheLockHolder* holder) HOST_CALLED_WITH(cacheMutex);

    /* Number of entries of the process table, read afresh, as far as they fit the segment. */
    int processTableSize();

    /* The entry with the lowest slot number that qualifies, or null. Under cacheMutex. */
    ShrPcPteSType* pteWithPid(int pid);
    ShrPcPteSType* vokPteWithSessionId(int sessionId);
    ShrPcPteSType* pgsvrPteWithSessionId(int sessionId);
    ShrPcPteSType* vokPteWithName(const char* name);
    /* Entry 1, whatever its kind. */
    ShrPcPteSType* getBroxPte();
    /* Entry 0, or null when it is not the cache monitor's. */
    ShrPcPteSType* getShrPcMonPte();

    /* The queries for many processes; status, arguments as in tvsi.h. Under cacheMutex. */
    int getStatsForMask(unsigned int mask, TvsiResultSType* result, int* resultSize);
    int getVokStatsForVokKindRange(int vokKindMin, int vokKindMax, TvsiResultSType* result,
                                   int* resultSize);
    int getVokStatsForRegexName(const char* regexName, BoolType ignoreCase, TvsiResultSType* result,
                                int* resultSize, char* errMsg, size_t errMsgSize);

private:
    BoolType acceptSegment(const char* cacheName, char* errBuf, size_t errBufSize);
    BoolType joinWatcher() HOST_CALLED_WITHOUT(cacheMutex);
};

struct SharedCacheHandleMgrSType {
    int32_t numActive;
    SharedCacheHandleSType cacheArray[MAX_ATTCHED_CACHES];

    SharedCacheHandleMgrSType() : numActive(0) {}
    /* Leaves an attached segment and its watcher to the end of the process. */
    ~SharedCacheHandleMgrSType() {}

    void init();
    SharedCacheHandleSType* firstCache() { return &cacheArray[0]; }
    /* The first free handle, or null. */
    SharedCacheHandleSType* findNextCacheHandle();
    /* The active handle of the cache with that name, or null. */
    SharedCacheHandleSType* findCacheWithName(const char* name);
    /* Stops the watcher and frees the handle. TVSI_SUCCESS when this ended an active attachment,
       else TVSI_ERR_CACHE_NOT_ATTACHED. Any number of threads; not with cacheMutex held. */
    int recycleHandle(SharedCacheHandleSType* handle)
        HOST_CALLED_WITHOUT(handle->cacheMutex, handle->shrMemState._mutex);
};

/* Holds the cacheMutex of a handle for its scope, or until unlock(). */
struct HOST_LOCK_HOLDER SharedCacheLockHolder {
    SharedCacheHandleSType* cache;
    HostMutexSType* mutex; /* null once released */

    explicit SharedCacheLockHolder(SharedCacheHandleSType* handle) HOST_TAKES(handle->cacheMutex);
    ~SharedCacheLockHolder() HOST_RELEASES() { unlock(); }
    SharedCacheLockHolder(const SharedCacheLockHolder&) = delete;
    SharedCacheLockHolder& operator=(const SharedCacheLockHolder&) = delete;
    void unlock() HOST_RELEASES();
};

/* Copies the 1800 bytes of a result from the entry, as they stand. */
void copyStatsForPte(TvsiResultSType* result, ShrPcPteSType* ptePtr);

/* The watcher's main function; `ptr` is the handle. Returns null. */
void* WatcherThreadMain(void* ptr);

/* A set of kinds that a caller may ask for: not empty, nothing outside SHRPC_ALL. */
BoolType checkMask(unsigned int mask);

/* The text for an error number, in a buffer that all threads share: use it at once. */
char* myStrerror(int err);
/* Writes the text for a call before TvsiInit(). `errBuf` may be null. */
void noTvsiInit(char* errBuf, size_t errBufSize);

/* Load-time step: constructs the handle manager and has it destroyed at exit. */
void CacheMgrInitializer();

#endif
