#include "tvsi.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <immintrin.h>
#include <new>
#include <pthread.h>
#include <regex.h>
#include <sched.h>

#include "fatal.h"
#include "hostunix.h"
#include "netinfolocal.h"
#include "shrpccmn.h"
#include "tvsihandle.h"
#include "unixerr.h"
#include "utlbase.h"

namespace {

constexpr int CACHE_INIT_WAIT_MS = 2000;
constexpr int WATCH_INTERVAL_MS = 1000;
constexpr int START_WAIT_TESTS = 102;
constexpr int START_WAIT_MS = 20;
/* How long a starter gives way to its watcher before it sleeps for the first time, and how often at
   most, should the clock fail. */
constexpr int64_t START_YIELD_NS = 2000000;
constexpr int START_YIELDS = 10000;
/* Who disabled a view: the reset of a handle, or the detach. */
constexpr int DISABLED_BY_INIT = 104;
constexpr int DISABLED_BY_DETACH = 359;

/*
 * Process-wide state:
 * - InitDone: 2 or more once TvsiInit() has finished.
 * - CacheMgr: the one handle manager, constructed when the library is loaded.
 * - recycleMutex: held while a handle is recycled, so that its watcher is joined once.
 */
std::atomic<int32_t> InitDone{0};
alignas(SharedCacheHandleMgrSType) unsigned char cacheMgrStorage[sizeof(SharedCacheHandleMgrSType)];
SharedCacheHandleMgrSType& CacheMgr = reinterpret_cast<SharedCacheHandleMgrSType&>(cacheMgrStorage);
HostMutexSType recycleMutex HOST_TAKEN_BEFORE(&SharedCacheHandleSType::cacheMutex) = {
    PTHREAD_MUTEX_INITIALIZER, TRUE};

/* The words of a handle that are looked at without its mutex. */
int32_t load(const int32_t& word) {
    return __atomic_load_n(&word, __ATOMIC_SEQ_CST);
}
void store(int32_t& word, int32_t value) {
    __atomic_store_n(&word, value, __ATOMIC_SEQ_CST);
}

void destroyCacheMgr() {
    CacheMgr.~SharedCacheHandleMgrSType();
}

bool isInitialised() {
    return InitDone.load(std::memory_order_acquire) >= 2;
}

} // namespace

void CacheMgrInitializer() {
    new (cacheMgrStorage) SharedCacheHandleMgrSType;
    atexit(destroyCacheMgr);
}

char* myStrerror(int err) {
    static char text[200];
    HostStrerror(err, text, sizeof text);
    return text;
}

void noTvsiInit(char* errBuf, size_t errBufSize) {
    if (errBuf) {
        snprintf(errBuf, errBufSize, "Illegal Tvsi call prior to calling TvsiInit()");
    }
}

SharedCacheLockHolder::SharedCacheLockHolder(SharedCacheHandleSType* handle)
    : cache(handle), mutex(&handle->cacheMutex) {
    _hostmutexLock(mutex, __LINE__, "tvsi");
    cache->isLocked = TRUE;
}

void SharedCacheLockHolder::unlock() HOST_LOCKS_UNCHECKED {
    if (!mutex) {
        return;
    }
    cache->isLocked = FALSE;
    _hostmutexUnlock(mutex, __LINE__, "tvsi");
    mutex = nullptr;
}

/* The handle and its manager. */

SharedCacheHandleSType::SharedCacheHandleSType() {
    cacheMutex.initialized = FALSE;
    watcherGivenUp = FALSE;
    init(-1, nullptr);
}

void SharedCacheHandleSType::init(int newIndex, SharedCacheHandleMgrSType* newMgr) {
    char* const start = reinterpret_cast<char*>(this);
    char* const end = reinterpret_cast<char*>(&watcherGivenUp);
    char* const mutexStart = reinterpret_cast<char*>(&cacheMutex);
    char* const mutexEnd = mutexStart + sizeof cacheMutex;
    memset(start, 0, static_cast<size_t>(mutexStart - start));
    __sync_synchronize(); /* watcherThreadId before timeToShutdown: see isToBeWatched() */
    memset(mutexEnd, 0, static_cast<size_t>(end - mutexEnd));
    index = newIndex;
    mgr = newMgr;
    store(status, SPC_INACTIVE);
    shrpcPtr = &SharedPageCache;
    SharedPageCache.clearCacheEnabled(DISABLED_BY_INIT);
    if (!cacheMutex.initialized) {
        HostMutexInit(&cacheMutex, FALSE);
    }
    shrMemState.initialize();
    processTableLimit = INT_MAX;
}

void SharedCacheHandleMgrSType::init() {
    for (int i = 0; i < MAX_ATTCHED_CACHES; ++i) {
        cacheArray[i].init(i, this);
    }
}

SharedCacheHandleSType* SharedCacheHandleMgrSType::findNextCacheHandle() {
    for (SharedCacheHandleSType& handle : cacheArray) {
        if (load(handle.status) == SPC_INACTIVE) {
            return &handle;
        }
    }
    return nullptr;
}

SharedCacheHandleSType* SharedCacheHandleMgrSType::findCacheWithName(const char* name) {
    for (SharedCacheHandleSType& handle : cacheArray) {
        if (load(handle.status) == SPC_ACTIVE &&
            strcmp(handle.SharedPageCache.locationStr, name) == 0) {
            return &handle;
        }
    }
    return nullptr;
}

int SharedCacheHandleMgrSType::recycleHandle(SharedCacheHandleSType* handle) {
    const HostMutexHolder recycling(&recycleMutex, "tvsi");
    const bool wasActive = load(handle->status) == SPC_ACTIVE;
    const bool stopped = handle->stopWatcherThread();
    SharedCacheLockHolder holder(handle);
    handle->init(handle->index, this);
    return stopped && wasActive ? TVSI_SUCCESS : TVSI_ERR_CACHE_NOT_ATTACHED;
}

/* The analysis knows of no holder that a function releases for its caller. */
int SharedCacheHandleSType::checkCacheStatus(SharedCacheLockHolder* holder) HOST_LOCKS_UNCHECKED {
    const int32_t now = load(status);
    if (now == SPC_ACTIVE && checkCacheIsAlive()) {
        return TVSI_SUCCESS;
    }
    const CancellationOff noCancellation; /* not before: a live cache costs nothing more */
    if (now != SPC_ACTIVE && now != SPC_INACTIVE && now != SPC_DETACHED) {
        HostCallDebuggerMsg_fl("tvsi", __LINE__);
    }
    SharedCacheHandleMgrSType* const owner = mgr; /* others recycle once the mutex is free */
    /* The recycling joins the watcher, whose last act takes the mutex. */
    holder->unlock();
    owner->recycleHandle(this);
    return now == SPC_INACTIVE ? TVSI_ERR_CACHE_NOT_ATTACHED : TVSI_ERR_CACHE_CONNECTION_SEVERED;
}

/* Attach and detach. */

namespace {

/* Takes the attachment back; a failure is reported on standard error. */
void unmapSegment(HostShrMemAccessor* accessor) {
    SysErrorSType error;
    if (HostShrMemDetach(accessor, &error, 0) == -1) {
        fprintf(stderr, "Error detaching from SharedPageCache: %s\n", error.msg());
    }
}

} // namespace

BoolType SharedCacheHandleSType::attachCacheWithName(const char* cacheName, char* errBuf,
                                                     size_t errBufSize) {
    {
        HostShrMemAccessor accessor(&shrMemState);
        SysErrorSType error;
        SharedPageCache.segAddr = HostShrMemAttach(&accessor, cacheName, &error);
        if (!SharedPageCache.segAddr) {
            UtlStrlcpy(errBuf, error.msg(), errBufSize);
            return FALSE;
        }
        if (acceptSegment(cacheName, errBuf, errBufSize)) {
            return TRUE;
        }
        unmapSegment(&accessor);
    }
    shrMemState.initialize();
    memset(&SharedPageCache, 0, sizeof SharedPageCache);
    return FALSE;
}

BoolType SharedCacheHandleSType::acceptSegment(const char* cacheName, char* errBuf,
                                               size_t errBufSize) {
    const size_t segSize = shrMemState.actualSegSize;
    if (!ShrPcHeaderFits(segSize, errBuf, errBufSize)) {
        return FALSE;
    }
    auto* header = static_cast<ShrPcConfigSType*>(SharedPageCache.segAddr);
    const uint32_t level = ShrPcLoad(header->compatibilityLevel);
    if (level != SHRPC_COMPATIBILITY_LEVEL) {
        badVersion = TRUE;
        snprintf(errBuf, errBufSize,
                 "\n   Incompatible shared cache.  The shared cache monitor and this process\n"
                 "   are from different versions of Talvex.\n"
                 "     shrpcmonitor process compatibility level = %x\n"
                 "     This process' shared cache compatibility level = %x.\n",
                 level, SHRPC_COMPATIBILITY_LEVEL);
        return FALSE;
    }
    if (!header->waitForCacheInit(CACHE_INIT_WAIT_MS)) {
        snprintf(errBuf, errBufSize,
                 "[ERROR]: Time out after 2 seconds waiting for cache initialization to complete."
                 "  Monitor died?");
        printf("%s\n", errBuf);
        return FALSE;
    }
    /* Checked and used from one copy: the segment may change in between. */
    const ShrPcConfigSType copy = *header;
    if (!ShrPcRegionsFit(copy, segSize, errBuf, errBufSize) ||
        !ShrPcInitFromCopy(&SharedPageCache, header, copy)) {
        return FALSE;
    }
    const size_t entriesThatFit = (segSize - copy.processTableOffset) / sizeof(ShrPcPteSType);
    processTableLimit = entriesThatFit < INT_MAX ? static_cast<int32_t>(entriesThatFit) : INT_MAX;
    UtlStrlcpy(SharedPageCache.locationStr, cacheName, sizeof SharedPageCache.locationStr);
    SharedPageCache.setCacheEnabled();
    store(status, SPC_ATTACHED);
    monitorPid = ShrPcLoad(SharedPageCache.processTable[0].stats.processId);
    return TRUE;
}

void SharedCacheHandleSType::detachCache() {
    SharedCacheLockHolder holder(this);
    detachLocked();
}

void SharedCacheHandleSType::detachLocked() {
    const int32_t now = load(status);
    if (!SharedPageCache._cacheEnabled || (now != SPC_ATTACHED && now != SPC_ACTIVE)) {
        return;
    }
    {
        HostShrMemAccessor accessor(&shrMemState);
        unmapSegment(&accessor);
        store(status, SPC_DETACHED);
        SharedPageCache.clearCacheEnabled(DISABLED_BY_DETACH);
    }
    shrMemState.initialize();
}

/* The watcher thread. */

namespace {

/* Every table that an attach accepts has room for two entries. */
bool isAlive(const ShrPcConfigSType& header, const ShrPcPteSType* processTable) {
    return static_cast<int32_t>(ShrPcLoad(header.numProcesses)) >= 2 &&
           ShrPcLoad(processTable[0].inUse) != 0 && ShrPcLoad(processTable[1].inUse) != 0;
}

} // namespace

BoolType SharedCacheHandleSType::checkCacheIsAlive() {
    return isAlive(*shrpcPtr->configPtr, shrpcPtr->processTable);
}

namespace {

bool monitorIsGone(int32_t monitorPid) {
    return kill(monitorPid, 0) != 0 && errno != EPERM;
}

/* For a watcher that cannot be joined: its last act is the detach, after the rest of its sleep. */
void awaitDetach(const SharedCacheHandleSType& handle) {
    constexpr int STEP_MS = 20;
    for (int waited = 0; waited < 2 * WATCH_INTERVAL_MS; waited += STEP_MS) {
        if (load(handle.status) != SPC_ACTIVE) {
            return;
        }
        HostMilliSleep(STEP_MS);
    }
}

/* A thread usually runs within a fraction of a millisecond: far sooner than a sleep would end. */
void giveWayToWatcher(const SharedCacheHandleSType& handle) {
    const HostHrtime_t end = HostMonotonicNanos() + START_YIELD_NS;
    for (int i = 0; i < START_YIELDS && HostMonotonicNanos() < end; ++i) {
        if (load(handle.status) != SPC_ATTACHED) {
            return;
        }
        sched_yield();
    }
}

/* What a watcher looks at. Its own copy: when it can't be joined, the handle is reset and used
   again while it may still look. Its segment stays mapped. */
struct WatchedCacheSType {
    const ShrPcConfigSType* header;
    const ShrPcPteSType* processTable;
    int32_t monitorPid;
};

/* Whether the calling thread is the one that watches for the handle. The C library stores the id of
   a thread before the thread runs. */
bool isWatcherOf(const SharedCacheHandleSType& handle) {
    return !load(handle.watcherGivenUp) ||
           pthread_equal(__atomic_load_n(&handle.watcherThreadId, __ATOMIC_SEQ_CST),
                         pthread_self());
}

/* The stop request first: the reset of a handle takes the watcher's id from it before the request,
   so that no watcher finds neither and looks at a segment that is no longer mapped. */
bool isToBeWatched(const SharedCacheHandleSType& handle, const WatchedCacheSType& cache) {
    return !load(handle.timeToShutdown) && isWatcherOf(handle) &&
           isAlive(*cache.header, cache.processTable) && !monitorIsGone(cache.monitorPid) &&
           !HostGetSigTerm();
}

} // namespace

void* WatcherThreadMain(void* ptr) {
    auto* handle = static_cast<SharedCacheHandleSType*>(ptr);
    WatchedCacheSType cache;
    {
        const HostMutexHolder lock(&handle->cacheMutex, "tvsi");
        if (load(handle->timeToShutdown) || !isWatcherOf(*handle)) {
            return nullptr; /* came too late: the attach has been given up */
        }
        cache = {handle->shrpcPtr->configPtr, handle->shrpcPtr->processTable, handle->monitorPid};
        /* The state last: whoever sees it active may stop the watcher at once. */
        store(handle->watcherThreadRunning, TRUE);
        store(handle->status, SPC_ACTIVE);
    }
    while (isToBeWatched(*handle, cache)) {
        HostMilliSleep(WATCH_INTERVAL_MS);
        __sync_synchronize();
    }
    SharedCacheLockHolder holder(handle);
    if (isWatcherOf(*handle)) {
        handle->detachLocked();
    }
    return nullptr;
}

BoolType SharedCacheHandleSType::startWatcherThread() {
    const int rc = HostCreateThread(&watcherThreadId, WatcherThreadMain, this);
    if (rc != 0) {
        fprintf(stderr, "startWatcherThread: HostCreateThread() failed: %s\n", myStrerror(rc));
        return FALSE;
    }
    giveWayToWatcher(*this);
    for (int i = 0; i < START_WAIT_TESTS; ++i) {
        /* A watcher that has already found the cache dead has started, too. */
        if (load(status) != SPC_ATTACHED) {
            return TRUE;
        }
        HostMilliSleep(START_WAIT_MS);
    }
    joinWatcher();
    return FALSE;
}

BoolType SharedCacheHandleSType::stopWatcherThread() {
    return load(watcherThreadRunning) ? joinWatcher() : FALSE;
}

BoolType SharedCacheHandleSType::joinWatcher() {
    store(timeToShutdown, TRUE);
    __sync_synchronize();
    const int rc = pthread_join(watcherThreadId, nullptr);
    if (rc != 0 && rc != ESRCH) {
        fprintf(stderr, "pthread_join() failed. %s\n", myStrerror(rc));
        fflush(stderr);
        store(watcherGivenUp, TRUE);
        awaitDetach(*this);
        return FALSE;
    }
    store(watcherThreadRunning, FALSE);
    return TRUE;
}

/* Scans of the process table. */

namespace {

constexpr int FIRST_SLOT = 0;
/* Vok sessions never own the slots of the cache monitor and the Brox. */
constexpr int FIRST_VOK_SLOT = 2;

constexpr size_t LINE = 64; /* bytes of a cache line */

/* Every processor that the library starts on has the instructions. */
[[gnu::target("avx"), gnu::always_inline]] inline void copyLine(char* to, const char* from) {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(from));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(from + LINE / 2));
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(to), low);
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(to + LINE / 2), high);
}

const char* recordOf(const ShrPcPteSType* pte) {
    return reinterpret_cast<const char*>(pte) + offsetof(ShrPcPteSType, stats);
}

/* Copies as copyStatsForPte() does and meanwhile, line by line, has the processor's cache fetch the
   record of `next`: entries lie too far apart to be foreseen. */
[[gnu::target("avx")]] void copyStatsAndFetch(TvsiResultSType* result, const ShrPcPteSType* pte,
                                              const ShrPcPteSType* next) {
    const char* from = recordOf(pte);
    const char* ahead = recordOf(next);
    char* to = reinterpret_cast<char*>(result);
    constexpr size_t LAST = sizeof *result - LINE;
    __builtin_prefetch(ahead);
    copyLine(to, from);
    for (size_t i = LINE - reinterpret_cast<uintptr_t>(from) % LINE; i < LAST; i += LINE) {
        __builtin_prefetch(ahead + i);
        copyLine(to + i, from + i);
    }
    __builtin_prefetch(ahead + sizeof *result - 1);
    copyLine(to + LAST, from + LAST);
}

/* A sink takes a match and says whether it wants another. This one keeps the first. */
struct FirstMatchSType {
    ShrPcPteSType* pte = nullptr;

    bool take(ShrPcPteSType* match) {
        pte = match;
        return false;
    }
};

/* Copies the matches into an array or, without one, counts them, up to a limit. While one is
   copied, the processor fetches the record of the next entry (before `end`) if that is in use and
   likely to be wanted. */
template <typename IsLikely> struct CollectorSType {
    TvsiResultSType* result;
    int limit;
    const ShrPcPteSType* end;
    IsLikely isLikely;
    int count = 0;

    CollectorSType(TvsiResultSType* array, const int* capacity, const ShrPcPteSType* tableEnd,
                   IsLikely likely)
        : result(array), limit(array ? *capacity : INT_MAX), end(tableEnd), isLikely(likely) {}
    bool take(ShrPcPteSType* match) {
        if (result) {
            const ShrPcPteSType* next = match + 1;
            if (count + 1 < limit && next < end && ShrPcLoad(next->inUse) != 0 && isLikely(*next)) {
                copyStatsAndFetch(result + count, match, next);
            } else {
                copyStatsForPte(result + count, match);
            }
        }
        return ++count < limit;
    }
};

/* The one walk over the process table: entries `first` to `end` - 1 in slot order, as long as the
   sink wants more. Whether an entry is in use is looked at before anything else of it. */
template <typename Qualifies, typename Sink>
void scanTable(ShrPcPteSType* table, int first, int end, Qualifies qualifies, Sink* sink) {
    for (int slot = first; slot < end; ++slot) {
        ShrPcPteSType* pte = table + slot;
        if (ShrPcLoadAcquire(pte->inUse) != 0 && qualifies(*pte) && !sink->take(pte)) {
            return;
        }
    }
}

template <typename Qualifies>
ShrPcPteSType* firstMatch(SharedCacheHandleSType* handle, int first, Qualifies qualifies) {
    FirstMatchSType match;
    scanTable(handle->shrpcPtr->processTable, first, handle->processTableSize(), qualifies, &match);
    return match.pte;
}

/* The entry of a session. Few entries have its id, which is nearer to inUse than the kind: the id
   is looked at first, as a hint, and counts when it is still there once the kind has been read. */
template <typename IsOfKind>
ShrPcPteSType* entryOfSession(SharedCacheHandleSType* handle, int first, int sessionId,
                              IsOfKind isOfKind) {
    return firstMatch(handle, first, [=](const ShrPcPteSType& pte) {
        const auto hasId = [&] { return ShrPcLoadAcquire(pte.stats.sessionId) == sessionId; };
        return hasId() && isOfKind(pte) && hasId();
    });
}

/* The entries `first` to `end` - 1 that qualify, into the caller's array. */
template <typename Qualifies, typename IsLikely>
int collect(ShrPcPteSType* table, int first, int end, TvsiResultSType* result, int* resultSize,
            Qualifies qualifies, IsLikely isLikely) {
    CollectorSType collector(result, resultSize, table + end, isLikely);
    if (collector.limit > 0) {
        scanTable(table, first, end, qualifies, &collector);
    }
    *resultSize = collector.count;
    return TVSI_SUCCESS;
}

template <typename Qualifies>
int collectVoks(SharedCacheHandleSType* handle, TvsiResultSType* result, int* resultSize,
                Qualifies qualifies) {
    return collect(
        handle->shrpcPtr->processTable, FIRST_VOK_SLOT, handle->processTableSize(), result,
        resultSize,
        [&qualifies](const ShrPcPteSType& pte) { return pte.isVokMainThd() && qualifies(pte); },
        [](const ShrPcPteSType& pte) { return pte.isVokMainThd(); });
}

} // namespace

void copyStatsForPte(TvsiResultSType* result, ShrPcPteSType* ptePtr) {
    /* A memcpy of a constant size becomes string instructions, which take longer than a call. */
    memmove(result, recordOf(ptePtr), sizeof *result);
}

int SharedCacheHandleSType::processTableSize() {
    const auto entries = static_cast<int32_t>(ShrPcLoad(shrpcPtr->configPtr->numProcesses));
    return entries < processTableLimit ? entries : processTableLimit;
}

ShrPcPteSType* SharedCacheHandleSType::pteWithPid(int pid) {
    return firstMatch(this, FIRST_SLOT, [pid](const ShrPcPteSType& pte) {
        return ShrPcLoad(pte.stats.processId) == pid;
    });
}

ShrPcPteSType* SharedCacheHandleSType::vokPteWithSessionId(int sessionId) {
    return entryOfSession(this, FIRST_VOK_SLOT, sessionId,
                          [](const ShrPcPteSType& pte) { return pte.isVokMainThd(); });
}

ShrPcPteSType* SharedCacheHandleSType::pgsvrPteWithSessionId(int sessionId) {
    return entryOfSession(this, FIRST_SLOT, sessionId,
                          [](const ShrPcPteSType& pte) { return pte.isVokPgsvr(); });
}

ShrPcPteSType* SharedCacheHandleSType::vokPteWithName(const char* name) {
    return firstMatch(this, FIRST_VOK_SLOT, [name](const ShrPcPteSType& pte) {
        return pte.isAnyVok() && strncmp(pte.processName, name, sizeof pte.processName) == 0;
    });
}

ShrPcPteSType* SharedCacheHandleSType::getBroxPte() {
    return &shrpcPtr->processTable[1];
}

ShrPcPteSType* SharedCacheHandleSType::getShrPcMonPte() {
    ShrPcPteSType* pte = &shrpcPtr->processTable[0];
    return ShrPcLoad(pte->statType) == SHRPC_MONITOR ? pte : nullptr;
}

BoolType checkMask(unsigned int mask) {
    return mask != 0 && (mask & ~static_cast<unsigned int>(SHRPC_ALL)) == 0;
}

int SharedCacheHandleSType::getStatsForMask(unsigned int mask, TvsiResultSType* result,
                                            int* resultSize) {
    if (mask == SHRPC_BROX && ShrPcLoad(getBroxPte()->statType) != SHRPC_BROX) {
        *resultSize = 0;
        return TVSI_SUCCESS;
    }
    constexpr unsigned int FIXED_SLOT_KINDS = SHRPC_MONITOR | SHRPC_BROX;
    const int end = (mask & ~FIXED_SLOT_KINDS) == 0 ? FIRST_VOK_SLOT : processTableSize();
    const auto isOfKind = [mask](const ShrPcPteSType& pte) {
        return (ShrPcLoad(pte.statType) & mask) != 0;
    };
    return collect(shrpcPtr->processTable, FIRST_SLOT, end, result, resultSize, isOfKind, isOfKind);
}

int SharedCacheHandleSType::getVokStatsForVokKindRange(int vokKindMin, int vokKindMax,
                                                       TvsiResultSType* result, int* resultSize) {
    return collectVoks(this, result, resultSize, [=](const ShrPcPteSType& pte) {
        const int32_t kind = ShrPcLoad(pte.stats.u.vok.vokKind);
        return vokKindMin <= kind && kind <= vokKindMax;
    });
}

int SharedCacheHandleSType::getVokStatsForRegexName(const char* regexName, BoolType ignoreCase,
                                                    TvsiResultSType* result, int* resultSize,
                                                    char* errMsg, size_t errMsgSize) {
    regex_t expression;
    const int flags = REG_EXTENDED | REG_NOSUB | (ignoreCase ? REG_ICASE : 0);
    const int rc = regcomp(&expression, regexName, flags);
    if (rc != 0) {
        if (errMsg && errMsgSize != 0) {
            regerror(rc, &expression, errMsg, errMsgSize);
        }
        return TVSI_ERR_BAD_REGEX;
    }
    const int outcome =
        collectVoks(this, result, resultSize, [&expression](const ShrPcPteSType& pte) {
            /* Terminated here, whatever the server has written. Aligned, or the C library reads
               across cache lines that have just been written, which stalls each match. */
            alignas(32) char name[sizeof pte.processName + 1];
            memcpy(name, pte.processName, sizeof pte.processName);
            name[sizeof pte.processName] = '\0';
            return regexec(&expression, name, 0, nullptr, 0) == 0;
        });
    regfree(&expression);
    return outcome;
}

/* The exported functions. */

namespace {

/* Runs a query on the attached cache, under its mutex. */
template <typename Query> int queryCache(Query query) {
    SharedCacheHandleSType* handle = CacheMgr.firstCache();
    SharedCacheLockHolder holder(handle);
    const int status = handle->checkCacheStatus(&holder);
    return status == TVSI_SUCCESS ? query(handle) : status;
}

/* The whole of a function that answers with the record of the one entry that `lookup` finds.
   `goodKey`: the argument that the entry is looked up by is one that can be. */
template <typename Lookup>
int queryEntry(bool goodKey, TvsiResultSType* result, int statusWithoutEntry, Lookup lookup) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    if (!goodKey || !result) {
        return TVSI_ERR_BAD_ARG;
    }
    return queryCache([=](SharedCacheHandleSType* handle) {
        ShrPcPteSType* pte = lookup(handle);
        if (!pte) {
            return statusWithoutEntry;
        }
        copyStatsForPte(result, pte);
        return static_cast<int>(TVSI_SUCCESS);
    });
}

/* An array with its capacity, or no array and a place for the count. */
bool isGoodArray(const TvsiResultSType* result, const int* resultSize) {
    return resultSize && (!result || *resultSize >= 1);
}

/* What every attach looks at first; makes a good errBuf empty. */
int refuseAttach(const char* name, char* errBuf, size_t errBufSize) {
    if (!isInitialised()) {
        noTvsiInit(errBuf, errBufSize);
        return TVSI_ERR_NO_INIT;
    }
    if (!errBuf) {
        return TVSI_ERR_BAD_ARG;
    }
    errBuf[0] = '\0';
    return name ? TVSI_SUCCESS : TVSI_ERR_BAD_ARG;
}

} // namespace

void TvsiInit(void) {
    int32_t untouched = 0;
    if (!InitDone.compare_exchange_strong(untouched, 1)) {
        return; /* done, or under way in another thread */
    }
    const CancellationOff noCancellation;
    CacheMgr.init();
    InitDone.fetch_add(1);
}

int TvsiAttachSharedCache(const char* cacheName, char* errBuf, size_t errBufSize) {
    const CancellationOff noCancellation;
    const int refusal = refuseAttach(cacheName, errBuf, errBufSize);
    if (refusal != TVSI_SUCCESS) {
        return refusal;
    }
    if (CacheMgr.findCacheWithName(cacheName)) {
        snprintf(errBuf, errBufSize, "Shared cache %s is already attached", cacheName);
        return TVSI_ERR_CACHE_ALREADY_ATTACHED;
    }
    SharedCacheHandleSType* handle = CacheMgr.findNextCacheHandle();
    if (!handle) {
        snprintf(errBuf, errBufSize, "No more shared cache handles available");
        return TVSI_ERR_NO_MORE_HANDLES;
    }
    if (!handle->attachCacheWithName(cacheName, errBuf, errBufSize)) {
        return handle->badVersion ? TVSI_ERR_CACHE_WRONG_VERSION : TVSI_ERR_CACHE_ATTACH_FAILED;
    }
    if (!handle->startWatcherThread()) {
        handle->detachCache();
        CacheMgr.recycleHandle(handle);
        snprintf(errBuf, errBufSize, "Unable to start cache watcher thread");
        return TVSI_ERR_WATCHER_THREAD_FAILED;
    }
    return TVSI_SUCCESS;
}

int TvsiAttachSharedCacheForBrox(const char* broxName, char* errBuf, size_t errBufSize) {
    const CancellationOff noCancellation;
    const int refusal = refuseAttach(broxName, errBuf, errBufSize);
    if (refusal != TVSI_SUCCESS) {
        return refusal;
    }
    SysErrorSType error;
    ShrPcLocationArgType location;
    if (!NetInfoLocalCacheNameForBrox(broxName, &location, &error)) {
        snprintf(errBuf, errBufSize, "Brox named '%s' not found on this host", broxName);
        return TVSI_ERR_CACHE_NOT_FOUND;
    }
    return TvsiAttachSharedCache(location.locationStr, errBuf, errBufSize);
}

int TvsiDetachSharedCache(void) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    const CancellationOff noCancellation;
    return CacheMgr.recycleHandle(CacheMgr.firstCache());
}

int TvsiStatsForProcessId(int pid, TvsiResultSType* result) {
    return queryEntry(pid >= 1, result, TVSI_ERR_NOT_FOUND,
                      [pid](SharedCacheHandleSType* handle) { return handle->pteWithPid(pid); });
}

int TvsiStatsForVokSessionId(int sessionId, TvsiResultSType* result) {
    return queryEntry(sessionId >= 1, result, TVSI_ERR_NOT_FOUND,
                      [sessionId](SharedCacheHandleSType* handle) {
                          return handle->vokPteWithSessionId(sessionId);
                      });
}

int TvsiStatsForPgsvrSessionId(int sessionId, TvsiResultSType* result) {
    return queryEntry(sessionId >= 1, result, TVSI_ERR_NOT_FOUND,
                      [sessionId](SharedCacheHandleSType* handle) {
                          return handle->pgsvrPteWithSessionId(sessionId);
                      });
}

int TvsiStatsForVokSessionWithName(const char* vokName, TvsiResultSType* result) {
    return queryEntry(
        vokName != nullptr, result, TVSI_ERR_NOT_FOUND,
        [vokName](SharedCacheHandleSType* handle) { return handle->vokPteWithName(vokName); });
}

int TvsiStatsForBrox(TvsiResultSType* stats) {
    return queryEntry(true, stats, TVSI_ERR_NO_BROX, [](SharedCacheHandleSType* handle) {
        ShrPcPteSType* pte = handle->getBroxPte();
        return ShrPcLoad(pte->statType) == SHRPC_BROX ? pte : nullptr;
    });
}

int TvsiStatsForShrPcMon(TvsiResultSType* stats) {
    return queryEntry(true, stats, TVSI_ERR_CACHE_CONNECTION_SEVERED,
                      [](SharedCacheHandleSType* handle) { return handle->getShrPcMonPte(); });
}

int TvsiFetchMaxProcessesInCache(int* result) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    if (!result) {
        return TVSI_ERR_BAD_ARG;
    }
    *result = -1;
    return queryCache([result](SharedCacheHandleSType* handle) {
        /* The cache may have died since it was looked at; the next query will tell. */
        *result = std::max(handle->processTableSize(), 0);
        return static_cast<int>(TVSI_SUCCESS);
    });
}

int TvsiCacheIsAlive(void) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    const int status =
        queryCache([](SharedCacheHandleSType*) { return static_cast<int>(TVSI_SUCCESS); });
    return status == TVSI_SUCCESS ? 1 : 0;
}

int TvsiAllStatsForMask(unsigned int mask, TvsiResultSType* result, int* resultSize) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    if (!result || !isGoodArray(result, resultSize) || !checkMask(mask)) {
        return TVSI_ERR_BAD_ARG;
    }
    return queryCache([=](SharedCacheHandleSType* handle) {
        return handle->getStatsForMask(mask, result, resultSize);
    });
}

int TvsiAllVokStatsForVokKindRange(int vokKindMin, int vokKindMax, TvsiResultSType* result,
                                   int* resultSize) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    if (!isGoodArray(result, resultSize) || vokKindMin > vokKindMax) {
        return TVSI_ERR_BAD_ARG;
    }
    return queryCache([=](SharedCacheHandleSType* handle) {
        return handle->getVokStatsForVokKindRange(vokKindMin, vokKindMax, result, resultSize);
    });
}

int TvsiAllVokStatsForRegexName(const char* regexName, BoolType ignoreCase, TvsiResultSType* result,
                                int* resultSize, char* errMsg, size_t errMsgSize) {
    if (!isInitialised()) {
        return TVSI_ERR_NO_INIT;
    }
    if (errMsg && errMsgSize != 0) {
        errMsg[0] = '\0';
    }
    if (!isGoodArray(result, resultSize) || !regexName || regexName[0] == '\0') {
        return TVSI_ERR_BAD_ARG;
    }
    return queryCache([=](SharedCacheHandleSType* handle) {
        return handle->getVokStatsForRegexName(regexName, ignoreCase, result, resultSize, errMsg,
                                               errMsgSize);
    });
}
