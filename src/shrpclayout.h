/*
 * The segment of a shared page cache, as the server writes it.
 *
 *   offset                  bytes
 *   0                      +-----------------------------------------------------------+
 *                          | 1288         header, ShrPcConfigSType                     |
 *   16384                  +-----------------------------------------------------------+
 *                          | 16384        fake page                                    |
 *   32768                  +-----------------------------------------------------------+
 *                          | 16384 each   page frames, numPages of them                |
 *                          +-----------------------------------------------------------+
 *                            at offsets that the header has, in any order:
 *   processTableOffset     +-----------------------------------------------------------+
 *    + 39936 x slot        | 39936 each   process table entries, numProcesses of them  |
 *                          |                slot 0: the cache monitor's                |
 *                          |                slot 1: the Brox's, if the cache is its    |
 *                          |                        own                                |
 *                          |                others: of whichever process took them     |
 *   miscDataOffset         +-----------------------------------------------------------+
 *    + 32832               | 438936       miscellaneous data, with two named locks     |
 *    + 33344               |                                                           |
 *   spinLocksOffset        +-----------------------------------------------------------+
 *                          | 192 each     hash table locks, the first one named        |
 *   frameLocksOffset       +-----------------------------------------------------------+
 *                          | 192 each     page frame locks, the first one named        |
 *                          +-----------------------------------------------------------+
 *                            and what this library only locates:
 *   pceOffset              | 64 each      page cache entries (PCEs), hashTableSize of  |
 *                          |              them, then the free ones                     |
 *   cacheStateOffset       | 312          cache state                                  |
 *   frameHistoryOffset     | 40 each      frame history                                |
 *   sharedCountersOffset   | 192 each     shared counters, numSharedCounters of them   |
 *   freeFrameBitListOffset | 8 each       free-frame bits, numPages / 64 words         |
 *   freePceBitListOffset   | 8 each       free-PCE bits, numFreeListPces / 64 words    |
 *                          +-----------------------------------------------------------+
 *
 * Native byte order, natural alignment; offsets count from the start of the segment.
 *
 * Everything in the segment belongs to the server, which changes it at any moment. This
 * process reads it without the server's locks and never writes it. A word that a decision
 * depends on is read once, with ShrPcLoad().
 */
#ifndef SHRPCLAYOUT_H
#define SHRPCLAYOUT_H

#include <cstddef>
#include <cstdint>

#include "shrpcstats.h"

/* The compatibility level of the segments that this library reads. */
constexpr uint32_t SHRPC_COMPATIBILITY_LEVEL = 0x79B315DA;
/* Bytes of a page and of its frame. */
constexpr size_t SHRPC_PAGE_SIZE = 16384;

/* One read of a word that other processes change; the compiler can't repeat it. */
template <typename Word> inline Word ShrPcLoad(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_RELAXED);
}

/* The same for a word whose value decides about others: what is read after it is read later. */
template <typename Word> inline Word ShrPcLoadAcquire(const Word& word) {
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

/*
 * A lock record of the segment. Belongs to the server; this process only reads `lockName`,
 * and never takes a lock. hostshr has the two checks.
 */
struct HostShrSpinLockSType {
    volatile uint32_t lock;
    int32_t lastUnlockPid;
    uint64_t ownerCacheSignature;
    BoolType isHashTableLock;
    int32_t ownerPid;
    uint8_t debugLock;
    uint8_t frameLife;
    char lockName[38]; /* NUL-padded */
    volatile uint32_t queueLock;
    int32_t pageRefCountDirty;
    int64_t sharedCounterValue;
    uint64_t queueOwnerCacheSignature;
    int64_t sleepCountStatOffset;
    uint64_t cleanupSignature;
    uint64_t readInProgress;
    int32_t queueHead;
    int32_t queueTail;
    int32_t frameAge;
    int32_t pad2;
    volatile int32_t _hashTableRwLock;
    char pad3[60];

    /* Ends the process when the lock's name does not begin with `expectedName`. */
    void verifyLockName(const char* expectedName) const;
    /* The same with the name that `fmt`, a print format with one %d, makes of `lockNum`. */
    void verifyLockNameAndNum(const char* fmt, int lockNum) const;
};
static_assert(offsetof(HostShrSpinLockSType, ownerCacheSignature) == 8);
static_assert(offsetof(HostShrSpinLockSType, isHashTableLock) == 16);
static_assert(offsetof(HostShrSpinLockSType, debugLock) == 24);
static_assert(offsetof(HostShrSpinLockSType, lockName) == 26);
static_assert(offsetof(HostShrSpinLockSType, queueLock) == 64);
static_assert(offsetof(HostShrSpinLockSType, sharedCounterValue) == 72);
static_assert(offsetof(HostShrSpinLockSType, readInProgress) == 104);
static_assert(offsetof(HostShrSpinLockSType, queueHead) == 112);
static_assert(offsetof(HostShrSpinLockSType, _hashTableRwLock) == 128);
static_assert(offsetof(HostShrSpinLockSType, pad3) == 132);
static_assert(sizeof(HostShrSpinLockSType) == 192);

/* The header at the start of the segment. */
struct ShrPcConfigSType {
    uint32_t compatibilityLevel;
    int32_t numPages;
    uint64_t segmentSize;
    int32_t totalPces;
    int32_t numFreeListPces; /* PCEs that the free-PCE bit list covers */
    int32_t hashTableSize;   /* PCEs before the free PCE list */
    int32_t numSharedCounters;
    uint32_t numProcesses; /* entries of the process table; taken as signed */
    uint32_t numSemaphores;
    uint32_t spinLockCount;
    uint16_t largePagePolicy;
    uint16_t largePageSizeMb;
    uint64_t logBuffersOffset;
    uint64_t pagePushListsOffset;
    uint64_t pagePushListsLimit;
    uint64_t framesOnWireOffset;
    uint64_t framesOnWireLimit;
    uint64_t pceOffset;
    uint64_t spinLocksOffset;
    uint64_t frameLocksOffset;
    uint64_t processTableOffset;
    uint64_t cacheStateOffset;
    uint64_t miscDataOffset;
    uint64_t frameHistoryOffset;
    uint64_t sharedCountersOffset;
    uint64_t scanPinnedPagesOffset;
    uint64_t freeFrameBitListOffset;
    uint64_t freePceBitListOffset;
    uint64_t cacheLimitOffset;
    uint64_t pagePushListsNumEntries;
    uint64_t framesOnWireNumEntries;
    int32_t pceSize; /* this and the next seven: bytes of one element, as the server has it */
    int32_t spinLockSize;
    int32_t frameLockSize;
    int32_t sharedCounterSize;
    int32_t miscDataSize;
    int32_t pteSize;
    int32_t cacheStateSize;
    int32_t frameHistEntrySize;
    int32_t numLogBuffers;
    int32_t maxPusherThreads;
    uint32_t numActiveProcesses;
    uint32_t targetFreeFrameCount;
    BoolType cacheLocked;
    volatile BoolType initDone; /* not 0 once the cache monitor has initialised the segment */
    uint8_t isBroxCache;
    uint8_t isMidCache;
    uint32_t extentIdHashBits[256];

    /* TRUE when initDone is, or becomes within `timeoutMs` milliseconds, not 0. In shrpccmn. */
    BoolType waitForCacheInit(int timeoutMs) const;
};
static_assert(offsetof(ShrPcConfigSType, segmentSize) == 8);
static_assert(offsetof(ShrPcConfigSType, numProcesses) == 32);
static_assert(offsetof(ShrPcConfigSType, largePagePolicy) == 44);
static_assert(offsetof(ShrPcConfigSType, logBuffersOffset) == 48);
static_assert(offsetof(ShrPcConfigSType, pceOffset) == 88);
static_assert(offsetof(ShrPcConfigSType, spinLocksOffset) == 96);
static_assert(offsetof(ShrPcConfigSType, frameLocksOffset) == 104);
static_assert(offsetof(ShrPcConfigSType, processTableOffset) == 112);
static_assert(offsetof(ShrPcConfigSType, cacheStateOffset) == 120);
static_assert(offsetof(ShrPcConfigSType, miscDataOffset) == 128);
static_assert(offsetof(ShrPcConfigSType, frameHistoryOffset) == 136);
static_assert(offsetof(ShrPcConfigSType, sharedCountersOffset) == 144);
static_assert(offsetof(ShrPcConfigSType, freeFrameBitListOffset) == 160);
static_assert(offsetof(ShrPcConfigSType, freePceBitListOffset) == 168);
static_assert(offsetof(ShrPcConfigSType, pceSize) == 200);
static_assert(offsetof(ShrPcConfigSType, frameLockSize) == 208);
static_assert(offsetof(ShrPcConfigSType, sharedCounterSize) == 212);
static_assert(offsetof(ShrPcConfigSType, miscDataSize) == 216);
static_assert(offsetof(ShrPcConfigSType, pteSize) == 220);
static_assert(offsetof(ShrPcConfigSType, cacheStateSize) == 224);
static_assert(offsetof(ShrPcConfigSType, frameHistEntrySize) == 228);
static_assert(offsetof(ShrPcConfigSType, cacheLocked) == 248);
static_assert(offsetof(ShrPcConfigSType, initDone) == 252);
static_assert(offsetof(ShrPcConfigSType, isBroxCache) == 256);
static_assert(offsetof(ShrPcConfigSType, extentIdHashBits) == 260);
static_assert(sizeof(ShrPcConfigSType) == 1288);

/* Elements of the regions that this library locates and never looks into. */
struct ShrPcPceSType {
    char bytes[64];
};
struct ShrPcCacheStateSType {
    char bytes[312];
};
struct ShrPcFrameHistorySType {
    char bytes[40];
};

struct ShrPcFrameLockSType {
    HostShrSpinLockSType frameLock;
};
static_assert(sizeof(ShrPcFrameLockSType) == 192);

struct ShrPcCheckpointInfoSType {
    HostShrSpinLockSType lock;
};

/* The miscellaneous data record; only the two locks whose names are checked are laid out. */
struct ShrPcMiscDataSType {
    char notRead1[32832];
    HostShrSpinLockSType globalSessionStatsLock;
    char notRead2[320];
    ShrPcCheckpointInfoSType checkpointInfo;
    char notRead3[405400];
};
static_assert(offsetof(ShrPcMiscDataSType, globalSessionStatsLock) == 32832);
static_assert(offsetof(ShrPcMiscDataSType, checkpointInfo.lock) == 33344);
static_assert(sizeof(ShrPcMiscDataSType) == 438936);

struct ShrPcQueueSType {
    volatile int32_t ptIdx;
    volatile int32_t spinLockSemIdx;
    volatile int32_t nextQueueEntry;
    volatile uint64_t sleepingForLockOffset;
};
static_assert(sizeof(ShrPcQueueSType) == 24);

struct ShrPcSimpleSmcLockSType {
    volatile uint32_t lock;
    char pad[60];
};

enum {
    SHR_FREE_FRAME_CACHE_SIZE_INTS = 63,
    SHR_MAX_OTCB_PINNED_FRAMES = 180,
    SHR_MAX_PINNED_FRAMES = 249
};

struct ShrPcFreeFrameCacheSType {
    int32_t numFrames;
    int32_t cache[SHR_FREE_FRAME_CACHE_SIZE_INTS];
};

struct ShrPcFreePceCacheSType {
    uint32_t cache[SHR_FREE_FRAME_CACHE_SIZE_INTS];
    int32_t numPces;
};

struct ShrPcPinnedFrameList {
    int32_t otcbPinnedFrames[SHR_MAX_OTCB_PINNED_FRAMES];
    int32_t pinnedFrames[SHR_MAX_PINNED_FRAMES];
    int32_t pinnedFramesCount;
    uint32_t opCount;
};
static_assert(sizeof(ShrPcPinnedFrameList) == 1724);

/* Values of ShrPcPteSType::recoveryState. */
enum {
    SPCslot_RECOV_IDLE = 0,
    SPCslot_RECOV_CLEAN_LOGOUT = 1,
    SPCslot_RECOV_CRASHED = 2,
    SPCslot_RECOV_kindMask = 15,
    SPCslot_RECOV_DONE_bit = 16
};

struct TxcMsgHdrSType {
    uint8_t msgKind;
    uint8_t _msgSeq;
    uint8_t numArgs;
    uint8_t resultForCmd;
    int32_t msgSizeBytes;
};

struct TxcMsgBufSType {
    TxcMsgHdrSType hdr;
    int64_t body[2207];
};
static_assert(sizeof(TxcMsgBufSType) == 17664);

/*
 * One process table entry. This library reads inUse, statType, processName, three fields of
 * stats, and the 1800 bytes from stats to the padding behind statType that make a result.
 */
struct ShrPcPteSType {
    BoolType inUse; /* not 0 while a process owns the entry */
    BoolType inUseByBrox;
    BoolType _sessionIsValid;
    uint32_t clientId;
    int32_t pusherId;
    int32_t lostOtTimeoutExpired;
    int32_t possibleDeadRefCount;
    int32_t sessionIdOfSlaveThread;
    char pad2[36];
    ShrPcQueueSType lockQueue;
    char pad4[40];
    ShrPcSimpleSmcLockSType smcLock;
    ShrPcFreeFrameCacheSType freeFrameCache;
    ShrPcFreePceCacheSType freePceCache;
    uint64_t readingPageId;
    uint64_t waitingForReadPageId;
    int64_t waitingForReadIntoHashTableSlot;
    int64_t readingIntoHashTableSlot;
    uint64_t readingHashTableInfo;
    int32_t lockedPageFrameId;
    int32_t readingIntoFrame;
    int32_t waitingForReadIntoFrame;
    int32_t waitingForQueueLock;
    uint64_t _cacheSignature;
    int64_t timeWaitingForOthersReaders;
    int64_t startReadCount;
    int64_t finishReadCount;
    int32_t recoveryState;
    int32_t recoveryStatus;
    int32_t previousProcessId;
    int32_t failedReadCount;
    ShrPcPinnedFrameList pinnedFrameList;
    ShrPcStatsSType stats;
    char processName[SHRPC_PROC_NAME_SIZE + 1]; /* the server terminates it; don't rely on it */
    uint32_t statType;                          /* the owner's kind bit */
    ShrRelativeStatUnion relativeStatUnion;
    TxcMsgBufSType requestBuffer;
    TxcMsgBufSType responseBuffer;
    ShrPcMonStat64SType previousStatTotals;

    /* The kind of the entry, compared for equality, never by mask. */
    BoolType isVokMainThd() const { return ShrPcLoadAcquire(statType) == SHRPC_VOK; }
    BoolType isAnyVok() const {
        const uint32_t kind = ShrPcLoadAcquire(statType);
        return kind == SHRPC_VOK || kind == SHRPC_VokThr;
    }
    BoolType isVokPgsvr() const {
        const uint32_t kind = ShrPcLoadAcquire(statType);
        return kind == SHRPC_VOK_PGSVR_MAIN || kind == SHRPC_VOK_PGSVR_THD;
    }
};
static_assert(offsetof(ShrPcPteSType, pad2) == 32);
static_assert(offsetof(ShrPcPteSType, lockQueue) == 72);
static_assert(offsetof(ShrPcPteSType, pad4) == 96);
static_assert(offsetof(ShrPcPteSType, smcLock) == 136);
static_assert(offsetof(ShrPcPteSType, freeFrameCache) == 200);
static_assert(offsetof(ShrPcPteSType, freePceCache) == 456);
static_assert(offsetof(ShrPcPteSType, readingPageId) == 712);
static_assert(offsetof(ShrPcPteSType, lockedPageFrameId) == 752);
static_assert(offsetof(ShrPcPteSType, _cacheSignature) == 768);
static_assert(offsetof(ShrPcPteSType, recoveryState) == 800);
static_assert(offsetof(ShrPcPteSType, pinnedFrameList) == 816);
static_assert(offsetof(ShrPcPteSType, stats) == 2544);
static_assert(offsetof(ShrPcPteSType, stats.sessionId) == 2548);
static_assert(offsetof(ShrPcPteSType, stats.u.vok.vokKind) == 3248);
static_assert(offsetof(ShrPcPteSType, processName) == 4304);
static_assert(offsetof(ShrPcPteSType, statType) == 4336);
static_assert(offsetof(ShrPcPteSType, relativeStatUnion) == 4344);
static_assert(offsetof(ShrPcPteSType, requestBuffer) == 4456);
static_assert(offsetof(ShrPcPteSType, responseBuffer) == 22120);
static_assert(offsetof(ShrPcPteSType, previousStatTotals) == 39784);
static_assert(sizeof(ShrPcPteSType) == 39936);
/* The parts of a result lie in the entry at the same distances from one another. */
static_assert(offsetof(ShrPcPteSType, processName) - offsetof(ShrPcPteSType, stats) ==
              offsetof(TvsiResultSType, olvName));
static_assert(offsetof(ShrPcPteSType, statType) - offsetof(ShrPcPteSType, stats) ==
              offsetof(TvsiResultSType, statType));

#endif
