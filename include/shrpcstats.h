/*
 * The statistics record of a process that uses a shared page cache, and the record that
 * the queries of tvsi.h hand out.
 *
 * Both are binary formats shared by three parties: the server processes that write a
 * record into the segment, the library that copies it, and the program that reads the
 * copy. Native byte order (little-endian x86-64), natural alignment, no packing. Every
 * block is free of gaps. The library copies the bytes as they stand; it computes,
 * refreshes and checks nothing.
 *
 *   TvsiResultSType, 1800 bytes
 *   0      processId, sessionId                 4 + 4
 *   8      cmn         common 32-bit counters   144
 *   152    u           the kind's 32-bit block  876   (4 bytes of padding follow)
 *   1032   cmn64       common 64-bit counters   16
 *   1048   u64         the kind's 64-bit block  600
 *   1648   uTimeStats  times of last events     112   (end of ShrPcStatsSType, 1760)
 *   1760   olvName     process name             32
 *   1792   statType    kind bit                 4
 *   1796   space_waster                         4
 *
 * Which members a kind fills ("-": no block of that width, only the common counters):
 *
 *   kind                  bit     u           u64           uTimeStats
 *   SHRPC_MONITOR         1       monitor     monitor64     -
 *   SHRPC_BROX            2       brox        brox64        brox
 *   SHRPC_VOK_PGSVR_MAIN  4       vokPgsvr    vokPgsvr64    -
 *   SHRPC_VOK             8       vok         vok64         vok
 *   SHRPC_STATMON         16      -           -             -
 *   SHRPC_APP             32      -           -             -
 *   SHRPC_PSC             64      -           -             -
 *   SHRPC_PAGEMGR         128     pageMgr     pageMgr64     -
 *   SHRPC_BrxRestoreThr   256     -           restoreThr64  -
 *   SHRPC_VokThr          512     vokthr      vokthr64      -
 *   SHRPC_BrxAioThr       1024    aioThd      aioThd64      -
 *   SHRPC_FF_Thr          2048    ffThd       ffThd64       -
 *   SHRPC_CACHE_PGSVR     4096    cachePgsvr  cachePgsvr64  -
 *   SHRPC_VOK_PGSVR_THD   8192    vokPgsvr    vokPgsvr64    -
 *   SHRPC_SYSTEM          16384   -           -             -
 */
#ifndef SHRPCSTATS_H
#define SHRPCSTATS_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

/* 32-bit truth value: 0 is false, any other value true. */
typedef int32_t BoolType;

/* Process kinds by index; the kind's bit is 1 shifted left by it. */
enum {
    SHRPC_MONITOR_IDX = 0,        /* cache monitor, owner of slot 0 */
    SHRPC_BROX_IDX = 1,           /* repository monitor, owner of slot 1 of its own cache */
    SHRPC_VOK_PGSVR_MAIN_IDX = 2, /* main thread of a page server that serves a Vok */
    SHRPC_VOK_IDX = 3,            /* main thread of a Vok session process */
    SHRPC_STATMON_IDX = 4,        /* statistics monitor */
    SHRPC_APP_IDX = 5,            /* application */
    SHRPC_PSC_IDX = 6,
    SHRPC_PAGEMGR_IDX = 7,        /* page manager */
    SHRPC_BrxRestoreThr_IDX = 8,  /* Brox restore thread */
    SHRPC_VokThr_IDX = 9,         /* further thread of a Vok session process */
    SHRPC_BrxAioThr_IDX = 10,     /* Brox asynchronous I/O thread */
    SHRPC_FF_Thr_IDX = 11,        /* free-frame thread */
    SHRPC_CACHE_PGSVR_IDX = 12,   /* cache page server */
    SHRPC_VOK_PGSVR_THD_IDX = 13, /* further thread of a page server that serves a Vok */
    SHRPC_SYSTEM_IDX = 14,        /* system */
    SHRPC_numStatTypes = 15
};

/* Process kinds as bits: what statType holds and what the masks of queries are made of. */
enum {
    SHRPC_MONITOR = 1 << SHRPC_MONITOR_IDX,
    SHRPC_BROX = 1 << SHRPC_BROX_IDX,
    SHRPC_VOK_PGSVR_MAIN = 1 << SHRPC_VOK_PGSVR_MAIN_IDX,
    SHRPC_VOK = 1 << SHRPC_VOK_IDX,
    SHRPC_STATMON = 1 << SHRPC_STATMON_IDX,
    SHRPC_APP = 1 << SHRPC_APP_IDX,
    SHRPC_PSC = 1 << SHRPC_PSC_IDX,
    SHRPC_PAGEMGR = 1 << SHRPC_PAGEMGR_IDX,
    SHRPC_BrxRestoreThr = 1 << SHRPC_BrxRestoreThr_IDX,
    SHRPC_VokThr = 1 << SHRPC_VokThr_IDX,
    SHRPC_BrxAioThr = 1 << SHRPC_BrxAioThr_IDX,
    SHRPC_FF_Thr = 1 << SHRPC_FF_Thr_IDX,
    SHRPC_CACHE_PGSVR = 1 << SHRPC_CACHE_PGSVR_IDX,
    SHRPC_VOK_PGSVR_THD = 1 << SHRPC_VOK_PGSVR_THD_IDX,
    SHRPC_SYSTEM = 1 << SHRPC_SYSTEM_IDX,
    SHRPC_LAST = SHRPC_SYSTEM,
    SHRPC_ALL = SHRPC_SYSTEM - 1 /* every kind that a mask may select: all but SHRPC_SYSTEM */
};

enum {
    SHRPC_PROC_NAME_SIZE = 31,     /* longest process name, in characters */
    SHRPC_SESSION_STATS_SIZE = 48, /* elements of a session statistics array */
    NUM_OBJ_WAIT_QUEUES = 10,      /* object wait queues of the Brox */
    OBJ_1_WAIT_IDX = 0,            /* first object wait queue among the lock wait queues */
    OBJ_N_WAIT_IDX = 9,            /* last object wait queue */
    LOCK_REQ_IDX = 10,             /* the lock request queue */
    NUM_LOCK_WAIT_QUEUES = 11
};

/* A block without fields, which C knows as an extension only. */
#define SHRPC_EMPTY_BLOCK(name)                                                                    \
    __extension__ typedef struct name {                                                            \
    } name

/* 32-bit counters that every kind keeps; member `cmn` of every record. */
typedef struct ShrPcCommonStatSType {
    uint32_t otPageOps;
    uint32_t dataPageOps;
    uint32_t bmPageOps;
    uint32_t miscPageOps;
    uint32_t commitRecordPageOps;
    uint32_t localPageCacheMisses;
    uint32_t timeInWaitsForOtherReader;
    uint32_t waitsForOtherReader;
    uint32_t rdbfDiskReads;
    uint32_t rdbfDiskWrites;
    uint32_t framesFromFreeList;
    uint32_t framesFromFindFree;
    int32_t freeFrameLimit;
    uint32_t timeInFramesFromFindFree;
    uint32_t framesAddedToFreeList;
    uint32_t extentFlushCount;
    int32_t freeFrameCacheSize;
    uint32_t freeFrameCacheNumFrames;
    uint32_t rdbfTimeWaitingForIoMs;
    uint32_t rdbfMicroSecsPerIoOverallAvg;
    uint32_t rdbfMicroSecsPerIo10Avg;
    uint32_t rdbfMicroSecsPerIo100Avg;
    uint32_t rdbfPageIoCount;
    uint32_t freePceCacheEntries;
    uint32_t pcesRemovedFromFreeList;
    uint32_t pcesAddedToFreeList;
    uint32_t cacheSlotIndex;
    uint32_t pagesAddedToCacheFromDisk;
    uint32_t pagesAddedToCacheFromPrimaryCache;
    uint32_t pagesAddedToCacheFromMidCache;
    uint32_t pagesAddedToCacheNewlyCreated;
    uint32_t tempPagesAllocated;
    uint32_t tempOopsAllocated;
    int32_t bmCHeapPages;
    int32_t unusedStat;
    uint32_t pinnedPagesCount;
} ShrPcCommonStatSType;
static_assert(sizeof(ShrPcCommonStatSType) == 144, "ShrPcCommonStatSType has 144 bytes");

/* Cache monitor, 32-bit block. The thirteen vok_REP_ and the thirteen brx_REP_
 * counters are one per repository page kind, in the same order in both groups. */
typedef struct ShrPcMonStatSType {
    uint32_t numberOfFreeFrames;
    uint32_t voksInCacheCount;
    uint32_t localDirtyPageCount;
    uint32_t globalDirtyPageCount;
    uint32_t lastSleepTimeBetweenScans;
    uint32_t lastSleepTimeWithinScan;
    uint32_t numRecentActiveProcesses;
    uint32_t vok_REP_INVALID_PAGE_KIND;
    uint32_t vok_REP_ROOT_PAGE;
    uint32_t vok_REP_FRAGMENT_BM_PAGE;
    uint32_t vok_REP_COMMIT_RECORD_PAGE;
    uint32_t vok_REP_DATA_PAGE;
    uint32_t vok_REP_OT_INTERNAL_PAGE;
    uint32_t vok_REP_OT_LEAF_PAGE;
    uint32_t vok_REP_BM_INTERNAL_PAGE;
    uint32_t vok_REP_BM_LEAF_PAGE;
    uint32_t vok_REP_COUNT_BAG_LEAF_PAGE;
    uint32_t vok_REP_BITLIST_PAGE;
    uint32_t vok_REP_COUNT_BAG_INTERIOR_PAGE;
    uint32_t vok_REP_SECURITY_ROOT_PAGE;
    uint32_t brx_REP_INVALID_PAGE_KIND;
    uint32_t brx_REP_ROOT_PAGE;
    uint32_t brx_REP_FRAGMENT_BM_PAGE;
    uint32_t brx_REP_COMMIT_RECORD_PAGE;
    uint32_t brx_REP_DATA_PAGE;
    uint32_t brx_REP_OT_INTERNAL_PAGE;
    uint32_t brx_REP_OT_LEAF_PAGE;
    uint32_t brx_REP_BM_INTERNAL_PAGE;
    uint32_t brx_REP_BM_LEAF_PAGE;
    uint32_t brx_REP_COUNT_BAG_LEAF_PAGE;
    uint32_t brx_REP_BITLIST_PAGE;
    uint32_t brx_REP_COUNT_BAG_INTERIOR_PAGE;
    uint32_t brx_REP_SECURITY_ROOT_PAGE;
    uint32_t spinLockPageFrameSleepCount;
    uint32_t spinLockHashTableSleepCount;
    uint32_t spinLockOtherSleepCount;
    uint32_t targetFreeFrameCountStat;
    uint32_t pagesRemovedFromCacheCount;
    uint32_t pagesNotRemovedFromCacheCount;
    uint32_t pagesNotFoundInCacheCount;
    uint32_t pagesRemovedDirtyFromCacheCount;
    uint32_t pinnedTotalCount;
    uint32_t pinnedSharedCount;
    uint32_t pinnedDataPagesCount;
    uint32_t pinnedOtPagesCount;
    uint32_t pageServersInCacheCount;
    uint32_t frameCount;
    uint32_t spinLockCount;
    uint32_t numSharedCounters;
    uint32_t slotsCrashedCount;
    uint32_t totalOtPages;
    uint32_t totalDataPages;
    uint32_t totalCrPages;
    uint32_t totalBitmapPages;
    uint32_t totalOtherPages;
    uint32_t freePceCount;
    uint32_t totalFramesInFreeFrameCaches;
    uint32_t totalPcesInFreePceCaches;
    uint32_t totalProcsInCacheCount;
    uint32_t slotsFreeCount;
    uint32_t crashedSlotsInRecoveryCount;
    uint32_t cleanSlotsInRecoveryCount;
    uint32_t slotsTotalCount;
    uint32_t rejectedProcsCount;
    uint32_t cleanSlotsRecoveredCount;
    uint32_t crashedSlotsRecoveredCount;
    uint32_t mainThreadTimeRunningMs;
    uint32_t crashedSlotThreadTimeRunningMs;
    uint32_t cleanSlotThreadTimeRunningMs;
    uint32_t frameStatsThreadTimeRunningMs;
    uint32_t procsWaitingForQueueLocks;
    uint32_t cacheScanCount;
    uint32_t pagesInCacheFromDisk;
    uint32_t pagesInCacheFromPrimaryCache;
    uint32_t pagesInCacheFromMidCache;
    uint32_t pagesInCacheCreatedInLeafCache;
    uint32_t pagesInCacheCreatedInPrimaryCache;
    uint32_t numProcsSleepingForLock;
    uint32_t slotRecovThreadState;
    uint32_t numHashLockTestThreads;
    uint32_t numFrameLockTestThreads;
    uint32_t timeWaitingForLockThreads;
    uint32_t cleanSlotsWaitingForReuse;
    uint32_t cleanSlotsWaitingForReuseTotal;
    uint32_t cleanSlotsWaitingForReuseTimeMs;
    uint32_t numWorkingSetWrites;
    uint32_t cacheIdle;
    uint32_t vokThreadsInCacheCount;
} ShrPcMonStatSType;
static_assert(sizeof(ShrPcMonStatSType) == 352, "ShrPcMonStatSType has 352 bytes");

/* Cache page server, 32-bit block. */
typedef struct ShrPcCachePgsvrStatSType {
    uint32_t clientPid;
    uint32_t compressionTimeReal;
    uint32_t compressionTimeCpu;
    uint32_t decompressionTimeReal;
    uint32_t decompressionTimeCpu;
    uint32_t compressCount;
    uint32_t decompressCount;
    uint32_t compressionKbIn;
    uint32_t compressionKbOut;
    uint32_t decompressionKbIn;
    uint32_t decompressionKbOut;
    uint32_t cachePgsvrRemoveFrameId;
} ShrPcCachePgsvrStatSType;
static_assert(sizeof(ShrPcCachePgsvrStatSType) == 48, "ShrPcCachePgsvrStatSType has 48 bytes");

/* Page server of a Vok, main thread and further threads, 32-bit block. Its first
 * eleven fields stand as in ShrPcCachePgsvrStatSType. */
typedef struct ShrPcVokPgsvrStatSType {
    uint32_t clientPid;
    uint32_t compressionTimeReal;
    uint32_t compressionTimeCpu;
    uint32_t decompressionTimeReal;
    uint32_t decompressionTimeCpu;
    uint32_t compressCount;
    uint32_t decompressCount;
    uint32_t compressionKbIn;
    uint32_t compressionKbOut;
    uint32_t decompressionKbIn;
    uint32_t decompressionKbOut;
    uint32_t clientSigAbortsSent;
    uint32_t clientLostOtsSent;
    uint32_t clientPageReads;
    uint32_t clientPageReadsCommit;
    uint32_t clientPageWrites;
    uint32_t timePerformingReadIo;
    uint32_t messagesToBrox;
    uint32_t messagesToBroxCommit;
    uint32_t messageKindToBrox;
    uint32_t timeWaitingForBrox;
    uint32_t clientAborts;
    uint32_t clientCommits;
    uint32_t depMapKeysChanged;
    uint32_t vokHasCommitToken;
    uint32_t pusherSentPages;
    uint32_t pusherDroppedNewLife;
    uint32_t pusherDroppedPoorFill;
    uint32_t pusherDroppedNotInCache;
    int32_t pusherDelayMs;
    uint32_t receivedPages;
    uint32_t receivedPagesCacheFull;
    uint32_t receivedPagesAlreadyInCache;
    uint32_t receivedPagesReadInProgress;
    uint32_t timePerformingReadRequests;
    uint32_t timeWaitingForCommit;
    uint32_t timeProcessingCommit;
    uint32_t gcLockKind;
    uint32_t timeBroxCommit;
} ShrPcVokPgsvrStatSType;
static_assert(sizeof(ShrPcVokPgsvrStatSType) == 156, "ShrPcVokPgsvrStatSType has 156 bytes");

/* Brox, 32-bit block; the largest member, it sets the size of the union. The
 * elements of numInObjWaitQueue and numInLockReqQueue are eleven consecutive
 * counts, indexed OBJ_1_WAIT_IDX to LOCK_REQ_IDX. The fourteen secondsSince
 * fields (seconds) pair, in order, with the fields of ShrBrxRelativeStatTimes. */
typedef struct ShrPcBrxStatSType {
    uint32_t numberOfCommitRecords;
    uint32_t logRecordId;
    uint32_t logBuffersWritten;
    uint32_t logIoCount;
    uint32_t logFileId;
    uint32_t readTrackFileSize;
    uint32_t readTrackServiceCount;
    uint32_t checkpointCount;
    uint32_t completedCheckpointCount;
    uint32_t numInCommitQueue;
    uint32_t numInNotifyQueue;
    uint32_t numInCacheStartQueue;
    uint32_t numInRunQueue;
    uint32_t numInSymbolCreateQueue;
    uint32_t numInPageWaitQueue;
    uint32_t numInLogWaitQueue;
    uint32_t numInLogAioQueue;
    uint32_t numInLogBufQueue;
    uint32_t numInObjWaitQueue[NUM_OBJ_WAIT_QUEUES];
    uint32_t numInLockReqQueue;
    uint32_t logBufQueueAdds;
    uint32_t logAioQueueAdds;
    uint32_t tempPagesDisposed;
    uint32_t persistentPagesDisposed;
    uint32_t freePages;
    uint32_t gcWsUnionSweepCount;
    uint32_t timeInPgsvrNetReads;
    uint32_t timeInPgsvrNetWrites;
    uint32_t txMsgCount;
    uint32_t txMsgSessionId;
    uint32_t txMsgKind;
    uint32_t brxLoopState;
    uint32_t deferCkptCompleteCount;
    uint32_t timeInBrxGetLocks;
    uint32_t brxGetLocksCount;
    uint32_t totalSessionsCount;
    uint32_t userSessionsCount;
    uint32_t commitTokenSession;
    uint32_t timeInCommitRecordDisposal;
    uint32_t commitRecordDisposalState;
    uint32_t commitRecordsDisposedCount;
    uint32_t commitRecordsDisposedNotCached;
    uint32_t commitQueueSessionNotReadyCount;
    uint32_t commitQueueHeadNotReadyCount;
    uint32_t commitQueueHeadNoMsg;
    uint32_t commitQueueNotSerializing;
    uint32_t commitQueueSymbolWait;
    uint32_t commitQueueAddedToRunQueueCount;
    uint32_t commitQueueAddedToRunQueueSessionCount;
    uint32_t broxCommitState;
    uint32_t commitQueueThreshold;
    uint32_t commitRecordDisposalsDeferredCount;
    uint32_t brxLoopHibernateCount;
    uint32_t recoverReclaimOopsWaitTime;
    uint32_t recoverFreeFrameWaitTime;
    uint32_t recoverReadThreadWaitTime;
    uint32_t recoverNumBufs;
    uint32_t recoverNumBufsInWorkQueue;
    uint32_t recoverNumBufsInFreeList;
    uint32_t recoverNumBufsForSessions;
    uint32_t oldestCrSession;
    uint32_t oldestCrSessNotInTrans;
    uint32_t gcVoteState;
    uint32_t waitingForSessionToVote;
    uint32_t tranlogsFull;
    uint32_t timePerformingCommit;
    uint32_t remoteSharedPageCacheCount;
    uint32_t oopsReturnedByVoksCount;
    uint32_t pagesReturnedByVoksCount;
    uint32_t pagesWaitingForPagemgr;
    uint32_t pagesWaitingForRemoval;
    uint32_t timeInBroxPageDisposal;
    uint32_t remoteCachesNeedServiceCount;
    uint32_t remoteCacheReconnectCount;
    uint32_t remoteCacheTimeoutCount;
    uint32_t lastSmcQueueSize;
    int32_t sessionsWithGcLock;
    uint32_t numInNetWriteQueue;
    uint32_t commitsSinceLastEpoch;
    uint32_t numInMainInpQueue;
    uint32_t numVotingSessions;
    uint32_t numInLostOtQueue;
    uint32_t numInReadTrackQueue;
    uint32_t numInSecurityDataQueue;
    uint32_t brxMainWaitsForFreeAio;
    uint32_t aioNumEmptyBuffers;
    uint32_t aioNumBuffers;
    uint32_t numInPgsvrWaitQueue;
    uint32_t reposSizeMB;
    uint32_t reposAtMaxSize;
    uint32_t numInLdiQueue;
    uint32_t totalVokFatalErrors;
    uint32_t totalSigAbortsSent;
    uint32_t totalLostOtsSent;
    uint32_t totalSessionsStopped;
    uint32_t totalSessionsTerminated;
    uint32_t ldiThreadOperations;
    uint32_t loginRequestsCount;
    uint32_t numInNetReadWorkList;
    uint32_t lastSessionIdStopped;
    uint32_t lastSessionIdTerminated;
    uint32_t lastSessionFatalError;
    uint32_t lastSessionSigAbort;
    uint32_t lastSessionLostOt;
    uint32_t brxLoopsSinceSleep;
    uint32_t brxLoopsNoWork;
    uint32_t brxTranQToRunQThreshold;
    uint32_t brxAioWaitsForWork;
    uint32_t brxAioWriteFailures;
    uint32_t brxAioCompletionFailures;
    uint32_t brxAioFsyncFailures;
    uint32_t netWriteThreadWakeups;
    uint32_t netWriteThreadSocketWrites;
    uint32_t timerThreadWakeups;
    uint32_t pagesWaitingForRemovalTemp;
    uint32_t pagesWaitingForRemovalPersist;
    uint32_t pagesWaitingForRemovalDeferred;
    uint32_t crPageLocateForDisposeCount;
    int32_t tteFreePoolSize;
    int32_t tteFreeCount;
    int32_t tteCrPageFreePoolSize;
    int32_t tteCrPageInUse;
    uint32_t brxAioWaitTotalTime;
    uint32_t brxAiosWaitedForWriteThread;
    uint32_t brxCrBacklogThreshold;
    uint32_t epochLastDuration;
    uint32_t gcWsUnionSize;
    uint32_t brxAioFsyncCount;
    uint32_t brxAioTimeInFsyncMs;
    uint32_t brxAioWriteQueueSize;
    uint32_t brxAioWriteQueueHighWaterSize;
    uint32_t brxAioWriteThreadsIdle;
    uint32_t brxAioCompletedSmcBuffers;
    uint32_t brxAioCompletedHeapBuffers;
    uint32_t pageManagerStarvedCount;
    uint32_t pageManagerMaxWaitTimeMs;
    uint32_t timeInGetPagesForPageMgr;
    uint32_t timeInProcessPagesFromPageMgr;
    uint32_t brxSmcSpinLockCount;
    uint32_t lastCommitRecordReleaseReasonCode;
    uint32_t lastCommitRecordReleaseSessionId;
    uint32_t freePagesPoolSize;
    uint32_t allSymbolsSize;
    uint32_t epochGcCount;
    uint32_t timeLastEpochGc;
    uint32_t maxVotingSessions;
    uint32_t epochForceGc;
    uint32_t brxLoopNoWorkThreshold;
    uint32_t pagePushListFullCount;
    int32_t pagesInPushList;
    uint32_t remoteSharedPageCacheMax;
    uint32_t brxAioNumWriteThreads;
    uint32_t sessionPerformingBackup;
    uint32_t lostOtDeferLastSession;
    uint32_t lostOtDeferLastReason;
    uint32_t lostOtDeferCount;
    uint32_t readLocksSize;
    uint32_t writeLocksSize;
    uint32_t maxUserSessions;
    uint32_t forcedDisconnects;
    uint32_t numInLoginLogQ;
    uint32_t loginLogThreadOperations;
    uint32_t loginLogFlushes;
    uint32_t lastSigTermVokSessionId;
    uint32_t lastSigTermPageServerSessionId;
    uint32_t totalSigTermsSentToVoks;
    uint32_t totalSigTermsSentToPageServers;
    uint32_t lastSigTermVokPid;
    uint32_t lastSigTermPgsvrPid;
    uint32_t totalExtentGrows;
    uint32_t totalExtentGrowsFailed;
    uint32_t timeInExtentGrow;
    uint32_t avgTimePerExtentGrow;
    uint32_t remoteCachesLost;
    uint32_t remoteMidLevelCacheCount;
    uint32_t activeCheapLogBuffers;
    uint32_t freeLogBuffers;
    uint32_t recovNumPendingCheckpoints;
    uint32_t recovTimeWaitingForCheckpoints;
    int32_t recoverTimeLag;
    int32_t recoverTranlogFileId;
    int32_t recoverTranlogBlockId;
    int32_t logSenderFileId;
    int32_t logSenderBlockId;
    int32_t checkpointState;
    int32_t secondsSinceAbort;
    int32_t secondsSinceCheckpoint;
    int32_t secondsSinceCommit;
    int32_t secondsSinceFailedCommit;
    int32_t secondsSinceCrDisposal;
    int32_t secondsSinceExtentGrow;
    int32_t secondsSinceLogin;
    int32_t secondsSinceLogout;
    int32_t secondsSinceLowFreespace;
    int32_t secondsSinceNewTranlog;
    int32_t secondsSinceReclaim;
    int32_t secondsSinceReclaimDead;
    int32_t secondsSinceStartBrox;
    int32_t secondsSinceTranlogFull;
    uint32_t timeInCheckpoint;
    uint32_t timeInLastCheckpointMs;
    uint32_t lowFreespaceCount;
    uint32_t timeInLowFreespace;
    int32_t tranState;
    uint32_t tranlogFullCount;
    uint32_t onetimePasswordsActive;
    uint32_t onetimePasswordsTotal;
    uint32_t onetimePasswordsValidated;
    uint32_t onetimePasswordsNotValidated;
    uint32_t onetimePasswordsExpired;
} ShrPcBrxStatSType;
static_assert(sizeof(ShrPcBrxStatSType) == 876, "ShrPcBrxStatSType has 876 bytes");

/* Vok main thread, 32-bit block. vokKind is the signed kind that
 * TvsiAllVokStatsForVokKindRange() compares; the server defines its values. The
 * seven secondsSince fields (seconds) pair, in order, with the fields of
 * ShrVokRelativeStatTimes. */
typedef struct ShrPcVokStatSType {
    uint32_t sigAbortsSent;
    uint32_t lostOtsSent;
    uint32_t commitCount;
    uint32_t failedCommitCount;
    uint32_t abortCount;
    uint32_t objsCommitted;
    uint32_t newObjsCommitted;
    uint32_t objsCommittedNotLogged;
    uint32_t newObjsCommittedNotLogged;
    uint32_t objectsRead;
    uint32_t objectsReadTracked;
    uint32_t classesRead;
    uint32_t classesCreated;
    uint32_t methodsRead;
    uint32_t objectsRefreshed;
    uint32_t objectsSelectiveAborted;
    uint32_t primSelectiveAbort;
    uint32_t numberOfScavenges;
    uint32_t almostOutOfMemoryCount;
    uint32_t timeInScavenge;
    uint32_t numberOfMarkSweeps;
    uint32_t timeInMarkSweep;
    uint32_t numRefsStubbedMarkSweep;
    uint32_t numRefsStubbedScavenge;
    uint32_t numSoftRefsCleared;
    uint32_t numLiveSoftRefs;
    uint32_t numNonNilSoftRefs;
    uint32_t numEphemerons;
    uint32_t totEphemeronsFired;
    uint32_t codeGenGcCount;
    uint32_t pomGenScavCount;
    uint32_t scavengeOverflows;
    uint32_t codeCacheSizeKBytes;
    uint32_t newGenSizeKBytes;
    uint32_t oldGenSizeKBytes;
    uint32_t pomGenSizeKBytes;
    uint32_t permGenSizeKBytes;
    uint32_t meSpaceUsedKBytes;
    uint32_t meSpaceAllocatedKBytes;
    uint32_t workingSetSize;
    uint32_t exportedSetSize;
    uint32_t exportedSetSizePinnedInMemory;
    uint32_t dirtyListSize;
    uint32_t messagesToBrx;
    uint32_t newSymbolRequests;
    uint32_t timeWaitingForSymbols;
    uint32_t newSymbolsCount;
    uint32_t omKBytesFlushed;
    uint32_t vokFreePages;
    uint32_t voteNotDead;
    int32_t transLevel;
    uint32_t timeInPgsvrNetReads;
    uint32_t timeInPgsvrNetWrites;
    uint32_t shadowedPagesCount;
    uint32_t priorityScavPagesCount;
    uint32_t commitsAfterReplay;
    uint32_t rcConflictCount;
    uint32_t commitRetryFailureCount;
    uint32_t pageReadsWaitingForCommit;
    uint32_t pageReadsProcessingCommit;
    uint32_t pageReadsBroxCommit;
    uint32_t messagesToBrxWaitingForCommit;
    uint32_t messagesToBrxProcessingCommit;
    uint32_t messagesToBrxBroxCommit;
    uint32_t messageKindToBrox;
    uint32_t timeWaitingForBrox;
    uint32_t updateUnionsCommitCount;
    uint32_t timeInUpdateUnionsCommit;
    uint32_t rebuildScavPagesForCommitCount;
    uint32_t crReadAbort;
    uint32_t crReadCommitWithToken;
    uint32_t crReadCommitBeforeCommitQueue;
    uint32_t crReadCommitInCommitQueue;
    uint32_t sigAbortsReceived;
    uint32_t lostOtsReceived;
    uint32_t vokHasCommitToken;
    uint32_t tempObjSpacePercentUsed;
    uint32_t tciRpcCommandsServiced;
    uint32_t persistentPagesCommittedCount;
    uint32_t dataPagesCommitted;
    uint32_t sleepDuringDisposeTempPageCount;
    uint32_t depMapKeysChanged;
    uint32_t tciPhysBytesSent;
    uint32_t tciPhysBytesRcvd;
    uint32_t tciBytesSent;
    uint32_t tciBytesRcvd;
    uint32_t tranlogBuffersWritten;
    uint32_t tranlogKBytesWritten;
    uint32_t timeInUserActions;
    uint32_t tciRpcLastCommandServiced;
    uint32_t tciRpcTimeInLastCommand;
    uint32_t tciRpcTimeInClientRequests;
    uint32_t permGenObjsChanged;
    uint32_t permGenObjsChangedTotal;
    uint32_t workingSetObjsChanged;
    uint32_t workingSetObjsChangedTotal;
    uint32_t workingSetClearedCount;
    uint32_t primitiveNumber;
    uint32_t gcState;
    uint32_t voteOnDeadCount;
    uint32_t permGenFullCount;
    uint32_t oldGenFullCount;
    uint32_t lastMarkSweepReasonCode;
    uint32_t lastScavengeReasonCode;
    uint32_t scavsPromToMkSwCount;
    uint32_t clientPid;
    uint32_t vokTempObjSizeKb;
    uint32_t memoryFootPrintKb;
    uint32_t mtMaxThreads;
    uint32_t mtThreadsLimit;
    uint32_t mtPercentCpuActiveLimit;
    uint32_t mtActiveThreads;
    uint32_t mlClearAllCount;
    uint32_t lastErrorNumber;
    uint32_t continueTransactionCount;
    uint32_t readLocksSize;
    uint32_t writeLocksSize;
    uint32_t afterLogoutState;
    uint32_t objectsReadDuringTraversal;
    uint32_t otdataPageReadsDuringTraversal;
    uint32_t failedAttemptedCommitCount;
    uint32_t lastFailedCommitReasonCode;
    uint32_t voteClosureObjects;
    uint32_t objectForOopCount;
    uint32_t rcReadSetSize;
    uint32_t rcReadSetSizeLastCommit;
    uint32_t tciRpcKeepAlivePacketCount;
    uint32_t timeWaitingForCommit;
    uint32_t timeProcessingCommit;
    uint32_t gcLockKind;
    uint32_t timeBroxCommit;
    int32_t secondsSinceAbort;
    int32_t secondsSinceCommit;
    int32_t secondsSinceLogin;
    int32_t secondsSinceSigAbort;
    int32_t secondsSinceSigLostOt;
    int32_t secondsSinceStartLongPrim;
    int32_t secondsSinceFailedCommit;
    int32_t vokKind;
    uint32_t onetimePasswordsCreated;
    uint32_t onetimePasswordUsed;
} ShrPcVokStatSType;
static_assert(sizeof(ShrPcVokStatSType) == 564, "ShrPcVokStatSType has 564 bytes");

/* Vok thread, 32-bit block. */
typedef struct ShrPcVokThrStatType {
    int32_t vokKind;
} ShrPcVokThrStatType;
static_assert(sizeof(ShrPcVokThrStatType) == 4, "ShrPcVokThrStatType has 4 bytes");

/* Page manager, 32-bit block. */
typedef struct ShrPcPageMgrStatType {
    uint32_t pageMgrPagesReceivedFromBroxCount;
    uint32_t pageMgrRemoveFromCachesCount;
    uint32_t pageMgrRemoveFromCachesPageCount;
    uint32_t pageMgrPagesPendingRemovalRetryCount;
    uint32_t pageMgrPagesRemovedFromCachesCount;
    uint32_t pageMgrPagesNotRemovedFromCachesCount;
    uint32_t pageMgrRemovePagesFromCachesPollCount;
    uint32_t pageMgrTimeWaitingForCachePgsvrs;
    uint32_t pagemgrThreadWakeups;
    uint32_t pagemgrSleepState;
    uint32_t pagemgrSleepMs;
    uint32_t pagemgrPolls;
    uint32_t pageMgrPageRemovalRetryCount;
    uint32_t pageMgrRemoteCachePgsvrTimeout;
    uint32_t pageMgrPrintTimeoutThreshold;
    uint32_t pageMgrCompressionEnabled;
    uint32_t pageMgrRemoveMinPages;
    uint32_t pageMgrRemoveMaxPages;
    uint32_t pageMgrRemoveFrameId;
} ShrPcPageMgrStatType;
static_assert(sizeof(ShrPcPageMgrStatType) == 76, "ShrPcPageMgrStatType has 76 bytes");

/* Free-frame thread, 32-bit block. */
typedef struct ShrPcFreeFrameThdStatSType {
    uint32_t dirtyPageSweepCount;
    uint32_t nextSleepTimeMs;
    uint32_t clockHandFrameId;
    uint32_t cacheRegionNumFrames;
    uint32_t scanLimitNumFrames;
    uint32_t freeFrameLowerLimt;
    uint32_t freeFrameUpperLimit;
    uint32_t freeFrameListOkLimit;
} ShrPcFreeFrameThdStatSType;
static_assert(sizeof(ShrPcFreeFrameThdStatSType) == 32, "ShrPcFreeFrameThdStatSType has 32 bytes");

/* Brox asynchronous I/O thread, 32-bit block. Its first eight fields stand as in
 * ShrPcFreeFrameThdStatSType. */
typedef struct ShrPcBrxAioThdStatSType {
    uint32_t dirtyPageSweepCount;
    uint32_t nextSleepTimeMs;
    uint32_t clockHandFrameId;
    uint32_t cacheRegionNumFrames;
    uint32_t scanLimitNumFrames;
    uint32_t freeFrameLowerLimt;
    uint32_t freeFrameUpperLimit;
    uint32_t freeFrameListOkLimit;
    uint32_t aioDirtyCount;
    uint32_t aioCkptCount;
    uint32_t aioRateLimit;
    uint32_t aioRateMax;
    uint32_t targetPercentDirty;
    int32_t asyncFlushesInProgress;
    uint32_t postCheckpointPages;
    uint32_t pgsvrCheckpointState;
    uint32_t aioWriteFailures;
} ShrPcBrxAioThdStatSType;
static_assert(sizeof(ShrPcBrxAioThdStatSType) == 68, "ShrPcBrxAioThdStatSType has 68 bytes");

/* The owner's own 32-bit counters; its kind says which member (table above). */
typedef union ShrPcStatUnion {
    ShrPcMonStatSType monitor;
    ShrPcCachePgsvrStatSType cachePgsvr;
    ShrPcVokPgsvrStatSType vokPgsvr;
    ShrPcBrxStatSType brox;
    ShrPcVokStatSType vok;
    ShrPcVokThrStatType vokthr;
    ShrPcPageMgrStatType pageMgr;
    ShrPcFreeFrameThdStatSType ffThd;
    ShrPcBrxAioThdStatSType aioThd;
} ShrPcStatUnion;
static_assert(sizeof(ShrPcStatUnion) == 876, "ShrPcStatUnion has 876 bytes");

/* 64-bit counters that every kind keeps; member `cmn64` of every record. */
typedef struct ShrPcCommon64StatSType {
    int64_t localPageCacheHits;
    int64_t pageLocateCount;
} ShrPcCommon64StatSType;
static_assert(sizeof(ShrPcCommon64StatSType) == 16, "ShrPcCommon64StatSType has 16 bytes");

/* Cache monitor, 64-bit block. */
typedef struct ShrPcMonStat64SType {
    int64_t totalLocalPageCacheHits;
    int64_t totalLocalPageCacheMisses;
    int64_t totalWaitsForOtherReader;
    int64_t totalPageReads;
    int64_t totalPageWrites;
    int64_t totalFramesFromFreeList;
    int64_t totalFramesFromFindFree;
    int64_t totalFramesAddedToFreeList;
    int64_t totalOtPageReads;
    int64_t totalDataPageReads;
    int64_t totalBmPageReads;
    int64_t totalMiscPageReads;
    int64_t totalPcesRemovedFromFreeList;
    int64_t totalCommitRecordPageReads;
    int64_t totalPagesAddedToCacheFromDisk;
    int64_t totalPagesAddedToCacheFromPrimaryCache;
    int64_t totalPagesAddedToCacheFromMidCache;
    int64_t totalPagesAddedToCacheNewlyCreated;
    int64_t totalPcesAddedToFreeList;
} ShrPcMonStat64SType;
static_assert(sizeof(ShrPcMonStat64SType) == 152, "ShrPcMonStat64SType has 152 bytes");

/* Cache page server, 64-bit block. */
typedef struct ShrPcCachePgsvrStat64SType {
    uint64_t cachePgsvrRemovePageId;
} ShrPcCachePgsvrStat64SType;
static_assert(sizeof(ShrPcCachePgsvrStat64SType) == 8, "ShrPcCachePgsvrStat64SType has 8 bytes");

/* Page server of a Vok, 64-bit block: this kind keeps none. */
SHRPC_EMPTY_BLOCK(ShrPcVokPgsvrStat64SType);

/* Brox, 64-bit block; the largest member, it sets the size of the union. */
typedef struct ShrPcBrxStat64SType {
    int64_t globalSessionStats[SHRPC_SESSION_STATS_SIZE];
    int64_t backupHighWaterPage;
    int64_t gcHighWaterPage;
    int64_t reclaimcount;
    int64_t reclaimedPagesCount;
    uint64_t pagesNeedReclaimingSize;
    int64_t priorityPagesNeedReclaiming;
    int64_t possibledeadObjs;
    int64_t possibledeadSymbols;
    int64_t reclaimedSymbols;
    int64_t voteNotDeadObjs;
    int64_t deadObjsReclaimedCount;
    int64_t deadNotReclaimedObjs;
    int64_t epochNewObjs;
    int64_t epochScannedObjs;
    int64_t epochPossibleDeadObjs;
    int64_t freeOopsCount;
    int64_t brxLoopCount;
    int64_t totalNewObjectsCommitted;
    int64_t totalObjectsCommitted;
    int64_t totalCommits;
    int64_t logKBytesWritten;
    int64_t totalAborts;
    int64_t totalFailedCommits;
    int64_t commitRecordReleases;
    int64_t responsesSentEarly;
    int64_t responsesSentNormal;
    int64_t oopNumberHighWaterMark;
} ShrPcBrxStat64SType;
static_assert(sizeof(ShrPcBrxStat64SType) == 600, "ShrPcBrxStat64SType has 600 bytes");

/* Vok main thread, 64-bit block. */
typedef struct ShrPcVokStat64SType {
    int64_t objectsReadInBytes;
    int64_t commitRecordOfView;
    int64_t lookupCacheSerialNum;
    int64_t sessionStats[SHRPC_SESSION_STATS_SIZE];
    int64_t memMappedSize;
    int64_t progressCount;
    int64_t ffiHeapBytes;
    int64_t ffiGcHeapBytes;
    int64_t indexProgressCount;
} ShrPcVokStat64SType;
static_assert(sizeof(ShrPcVokStat64SType) == 448, "ShrPcVokStat64SType has 448 bytes");

/* Vok thread, 64-bit block. */
typedef struct ShrPcVokThrStat64Type {
    int64_t sessionStats[SHRPC_SESSION_STATS_SIZE];
    int64_t memMappedSize;
    int64_t progressCount;
} ShrPcVokThrStat64Type;
static_assert(sizeof(ShrPcVokThrStat64Type) == 400, "ShrPcVokThrStat64Type has 400 bytes");

/* Page manager, 64-bit block. */
typedef struct ShrPcPageMgrStat64Type {
    uint64_t pageMgrRemovePageId;
} ShrPcPageMgrStat64Type;
static_assert(sizeof(ShrPcPageMgrStat64Type) == 8, "ShrPcPageMgrStat64Type has 8 bytes");

/* Free-frame thread, 64-bit block: this kind keeps none. */
SHRPC_EMPTY_BLOCK(ShrPcFreeFrameThdStat64SType);

/* Brox asynchronous I/O thread, 64-bit block: this kind keeps none. */
SHRPC_EMPTY_BLOCK(ShrPcBrxAioThdStat64SType);

/* Brox restore thread, 64-bit block; this kind has no 32-bit block of its own. */
typedef struct ShrPcRestoreThrStat64Type {
    uint64_t commitCount;
    uint64_t checkpointCount;
    uint64_t recovSkippedCheckpointCount;
} ShrPcRestoreThrStat64Type;
static_assert(sizeof(ShrPcRestoreThrStat64Type) == 24, "ShrPcRestoreThrStat64Type has 24 bytes");

/* The owner's own 64-bit counters; its kind says which member (table above). */
typedef union ShrPcStat64Union {
    ShrPcMonStat64SType monitor64;
    ShrPcCachePgsvrStat64SType cachePgsvr64;
    ShrPcVokPgsvrStat64SType vokPgsvr64;
    ShrPcBrxStat64SType brox64;
    ShrPcVokStat64SType vok64;
    ShrPcVokThrStat64Type vokthr64;
    ShrPcPageMgrStat64Type pageMgr64;
    ShrPcFreeFrameThdStat64SType ffThd64;
    ShrPcBrxAioThdStat64SType aioThd64;
    ShrPcRestoreThrStat64Type restoreThr64;
} ShrPcStat64Union;
static_assert(sizeof(ShrPcStat64Union) == 600, "ShrPcStat64Union has 600 bytes");

/* When the Brox last saw each event. The field at the same position among the
 * secondsSince fields of ShrPcBrxStatSType gives the same event as elapsed seconds. */
typedef struct ShrBrxRelativeStatTimes {
    time_t timeLastAbort;
    time_t timeLastCheckpoint;
    time_t timeLastCommit;
    time_t timeLastFailedCommit;
    time_t timeLastCrDisposal;
    time_t timeLastExtentGrow;
    time_t timeLastLogin;
    time_t timeLastLogout;
    time_t timeLastLowFreespace;
    time_t timeLastNewTranlog;
    time_t timeLastReclaim;
    time_t timeLastReclaimDead;
    time_t timeLastStartBrox;
    time_t timeLastTranlogFull;
} ShrBrxRelativeStatTimes;
static_assert(sizeof(ShrBrxRelativeStatTimes) == 112, "ShrBrxRelativeStatTimes has 112 bytes");

/* When the Vok last saw each event. The field at the same position among the
 * secondsSince fields of ShrPcVokStatSType gives the same event as elapsed seconds. */
typedef struct ShrVokRelativeStatTimes {
    time_t timeLastAbort;
    time_t timeLastCommit;
    time_t timeLastLogin;
    time_t timeLastSigAbort;
    time_t timeLastSigLostOt;
    time_t timeLastStartLongPrim;
    time_t timeLastFailedCommit;
} ShrVokRelativeStatTimes;
static_assert(sizeof(ShrVokRelativeStatTimes) == 56, "ShrVokRelativeStatTimes has 56 bytes");

/* The owner's time stamps of last events; its kind says which member (table above). */
typedef union ShrRelativeStatUnion {
    ShrBrxRelativeStatTimes brox;
    ShrVokRelativeStatTimes vok;
} ShrRelativeStatUnion;
static_assert(sizeof(ShrRelativeStatUnion) == 112, "ShrRelativeStatUnion has 112 bytes");

/*
 * The statistics record of one process, 1760 bytes. Written by its owner while it runs;
 * a copy may mix values from before and after an update.
 */
typedef struct ShrPcStatsSType {
    int32_t processId; /* operating-system process id of the owner */
    int32_t sessionId; /* session id of the owner */
    ShrPcCommonStatSType cmn;
    ShrPcStatUnion u;
    ShrPcCommon64StatSType cmn64;
    ShrPcStat64Union u64;
    ShrRelativeStatUnion uTimeStats;
} ShrPcStatsSType;
static_assert(offsetof(ShrPcStatsSType, processId) == 0, "processId");
static_assert(offsetof(ShrPcStatsSType, sessionId) == 4, "sessionId");
static_assert(offsetof(ShrPcStatsSType, cmn) == 8, "cmn");
static_assert(offsetof(ShrPcStatsSType, u) == 152, "u");
static_assert(offsetof(ShrPcStatsSType, u.vok.vokKind) == 704, "u.vok.vokKind");
static_assert(offsetof(ShrPcStatsSType, cmn64) == 1032, "cmn64");
static_assert(offsetof(ShrPcStatsSType, u64) == 1048, "u64");
static_assert(offsetof(ShrPcStatsSType, uTimeStats) == 1648, "uTimeStats");
static_assert(sizeof(ShrPcStatsSType) == 1760, "ShrPcStatsSType has 1760 bytes");

/*
 * What a query returns for one process, 1800 bytes: the bytes of its process table entry
 * from the statistics record to the kind, as they stood at the moment of the copy.
 */
typedef struct TvsiResultSType {
    ShrPcStatsSType stats;
    char olvName[SHRPC_PROC_NAME_SIZE + 1]; /* process name; NUL-terminated by a well-behaved
                                               server, handed out as it stands in any case */
    uint32_t statType;     /* the owner's kind bit, SHRPC_MONITOR to SHRPC_SYSTEM */
    uint32_t space_waster; /* filler without meaning */
} TvsiResultSType;
static_assert(offsetof(TvsiResultSType, olvName) == 1760, "olvName");
static_assert(offsetof(TvsiResultSType, statType) == 1792, "statType");
static_assert(offsetof(TvsiResultSType, space_waster) == 1796, "space_waster");
static_assert(sizeof(TvsiResultSType) == 1800, "TvsiResultSType has 1800 bytes");

#undef SHRPC_EMPTY_BLOCK

#endif
