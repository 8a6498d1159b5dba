"""The records of each kind of process, the kinds, and what the statuses mean.

Made from the catalogue of statistics by statspython, which the build has; not to be edited.
"""

from ._fields import Fields, IntArray, Kind, Kinds, RecordFields, i32, i64, layout, u32, u64

INTERFACE_VERSION = "3.7.5.1"
RELEASE = "1.0.0"

SENTENCES = {
    1: "the library has not been initialised",
    2: "this cache is attached already",
    3: "no process of the cache matches",
    4: "an argument is not one that the library takes",
    5: "the cache has gone away: attach again when its server runs",
    6: "the cache has no Brox: it is on another host than its Brox",
    7: "no cache is attached",
    8: "another cache is attached: detach it first",
    9: "the cache's segment could not be mapped, or failed a check",
    10: "the thread that watches the cache could not be started",
    11: "the cache belongs to a server of another version",
    12: "no cache on this host serves this Brox",
    13: "the regular expression does not compile",
}

# A unit's symbol, its base unit, and what one of it is in that.
UNITS = {
    "none": ("", "", 1),
    "unknown": ("?", "?", 1),
    "number": ("", "number", 1),
    "nanoseconds": ("ns", "seconds", 1e-09),
    "microseconds": ("us", "seconds", 1e-06),
    "milliseconds": ("ms", "seconds", 0.001),
    "seconds": ("s", "seconds", 1),
    "bytes": ("B", "bytes", 1),
    "kilobytes": ("KiB", "bytes", 1024),
    "megabytes": ("MiB", "bytes", 1048576),
    "percent": ("%", "ratio", 0.01),
    "ratio": ("", "ratio", 1),
}


class Record(RecordFields):
    """What the records of all kinds have."""

    otPageOps: int = u32(8, "counter", "number", "sum", "cache", "otOps", "operations on OT pages")
    dataPageOps: int = u32(12, "counter", "number", "sum", "cache", "dataOps", "operations on data pages")
    bmPageOps: int = u32(16, "counter", "number", "sum", "cache", "bmOps", "operations on BM pages")
    miscPageOps: int = u32(20, "counter", "number", "sum", "cache", "miscOps", "operations on miscellaneous pages")
    commitRecordPageOps: int = u32(24, "counter", "number", "sum", "cache", "crOps", "operations on commit record pages")
    localPageCacheMisses: int = u32(28, "counter", "number", "sum", "cache", "misses", "pages looked for in the local page cache and not found")
    timeInWaitsForOtherReader: int = u32(32, "counter", "unknown", "sum", "waiting", "rdrWaitT", "time spent in waits for another reader")
    waitsForOtherReader: int = u32(36, "counter", "number", "sum", "waiting", "rdrWaits", "waits for another reader")
    rdbfDiskReads: int = u32(40, "counter", "number", "sum", "io", "dskRead", "reads from disk")
    rdbfDiskWrites: int = u32(44, "counter", "number", "sum", "io", "dskWrite", "writes to disk")
    framesFromFreeList: int = u32(48, "counter", "number", "sum", "cache", "frFree", "frames taken from the free list")
    framesFromFindFree: int = u32(52, "counter", "number", "sum", "cache", "frFind", "frames that a search for a free one found")
    freeFrameLimit: int = i32(56, "gauge", "number", "max", "cache", "frLimit", "limit of free frames")
    timeInFramesFromFindFree: int = u32(60, "counter", "unknown", "sum", "cache", "frFindT", "time spent in searches for a free frame")
    framesAddedToFreeList: int = u32(64, "counter", "number", "sum", "cache", "frAdd", "frames added to the free list")
    extentFlushCount: int = u32(68, "counter", "number", "sum", "io", "extFlush", "flushes of extents")
    freeFrameCacheSize: int = i32(72, "gauge", "number", "sum", "cache", "ffcSize", "size of the free frame cache")
    freeFrameCacheNumFrames: int = u32(76, "gauge", "number", "sum", "cache", "ffcFrms", "frames in the free frame cache")
    rdbfTimeWaitingForIoMs: int = u32(80, "counter", "milliseconds", "sum", "io", "ioWait", "time spent waiting for I/O")
    rdbfMicroSecsPerIoOverallAvg: int = u32(84, "gauge", "microseconds", "max", "io", "ioAvg", "average time of an I/O, over all of them")
    rdbfMicroSecsPerIo10Avg: int = u32(88, "gauge", "microseconds", "max", "io", "ioAvg10", "average time of an I/O, over 10 of them")
    rdbfMicroSecsPerIo100Avg: int = u32(92, "gauge", "microseconds", "max", "io", "ioAvg100", "average time of an I/O, over 100 of them")
    rdbfPageIoCount: int = u32(96, "counter", "number", "sum", "io", "pageIo", "I/Os of pages")
    freePceCacheEntries: int = u32(100, "gauge", "number", "sum", "cache", "pceCache", "entries of the free PCE cache")
    pcesRemovedFromFreeList: int = u32(104, "counter", "number", "sum", "cache", "pceRem", "PCEs removed from the free list")
    pcesAddedToFreeList: int = u32(108, "counter", "number", "sum", "cache", "pceAdd", "PCEs added to the free list")
    cacheSlotIndex: int = u32(112, "identifier", "none", "none", "sessions", "slot", "index of the cache slot")
    pagesAddedToCacheFromDisk: int = u32(116, "counter", "number", "sum", "cache", "addDisk", "pages added to the cache from disk")
    pagesAddedToCacheFromPrimaryCache: int = u32(120, "counter", "number", "sum", "cache", "addPrim", "pages added to the cache from the primary cache")
    pagesAddedToCacheFromMidCache: int = u32(124, "counter", "number", "sum", "cache", "addMid", "pages added to the cache from a mid cache")
    pagesAddedToCacheNewlyCreated: int = u32(128, "counter", "number", "sum", "cache", "addNew", "pages newly created and added to the cache")
    tempPagesAllocated: int = u32(132, "counter", "number", "sum", "io", "tmpPages", "temporary pages allocated")
    tempOopsAllocated: int = u32(136, "counter", "number", "sum", "objects", "tmpOops", "temporary OOPs allocated")
    bmCHeapPages: int = i32(140, "gauge", "number", "sum", "memory", "bmHeap", "BM pages in the C heap")
    unusedStat: int = i32(144, "gauge", "none", "none", "threads", "unused", "not used")
    pinnedPagesCount: int = u32(148, "gauge", "number", "sum", "cache", "pinned", "pinned pages")
    localPageCacheHits: int = i64(1032, "counter", "number", "sum", "cache", "hits", "pages looked for in the local page cache and found")
    pageLocateCount: int = i64(1040, "counter", "number", "sum", "cache", "locates", "times that a page was located")


@layout
class UnknownRecord(Record):
    """A record of no known kind."""


@layout
class MonitorRecord(Record):
    """cache monitor (SHRPC_MONITOR)."""

    numberOfFreeFrames: int = u32(152, "gauge", "number", "sum", "cache", "freeFrms", "free frames")
    voksInCacheCount: int = u32(156, "gauge", "number", "sum", "sessions", "voks", "Voks in the cache")
    localDirtyPageCount: int = u32(160, "gauge", "number", "sum", "cache", "dirtyLoc", "local dirty pages")
    globalDirtyPageCount: int = u32(164, "gauge", "number", "sum", "cache", "dirtyGlb", "global dirty pages")
    lastSleepTimeBetweenScans: int = u32(168, "gauge", "unknown", "max", "threads", "slpBtwn", "duration of the last sleep between scans")
    lastSleepTimeWithinScan: int = u32(172, "gauge", "unknown", "max", "threads", "slpIn", "duration of the last sleep within a scan")
    numRecentActiveProcesses: int = u32(176, "gauge", "number", "sum", "sessions", "active", "processes that were active recently")
    vok_REP_INVALID_PAGE_KIND: int = u32(180, "counter", "number", "sum", "cache", "vInvalid", "Voks' count for pages of an invalid kind")
    vok_REP_ROOT_PAGE: int = u32(184, "counter", "number", "sum", "cache", "vRoot", "Voks' count for root pages")
    vok_REP_FRAGMENT_BM_PAGE: int = u32(188, "counter", "number", "sum", "cache", "vFragBm", "Voks' count for fragment BM pages")
    vok_REP_COMMIT_RECORD_PAGE: int = u32(192, "counter", "number", "sum", "cache", "vCr", "Voks' count for commit record pages")
    vok_REP_DATA_PAGE: int = u32(196, "counter", "number", "sum", "cache", "vData", "Voks' count for data pages")
    vok_REP_OT_INTERNAL_PAGE: int = u32(200, "counter", "number", "sum", "cache", "vOtInt", "Voks' count for internal OT pages")
    vok_REP_OT_LEAF_PAGE: int = u32(204, "counter", "number", "sum", "cache", "vOtLeaf", "Voks' count for OT leaf pages")
    vok_REP_BM_INTERNAL_PAGE: int = u32(208, "counter", "number", "sum", "cache", "vBmInt", "Voks' count for internal BM pages")
    vok_REP_BM_LEAF_PAGE: int = u32(212, "counter", "number", "sum", "cache", "vBmLeaf", "Voks' count for BM leaf pages")
    vok_REP_COUNT_BAG_LEAF_PAGE: int = u32(216, "counter", "number", "sum", "cache", "vBagLeaf", "Voks' count for count bag leaf pages")
    vok_REP_BITLIST_PAGE: int = u32(220, "counter", "number", "sum", "cache", "vBitlist", "Voks' count for bit list pages")
    vok_REP_COUNT_BAG_INTERIOR_PAGE: int = u32(224, "counter", "number", "sum", "cache", "vBagInt", "Voks' count for interior count bag pages")
    vok_REP_SECURITY_ROOT_PAGE: int = u32(228, "counter", "number", "sum", "cache", "vSecRoot", "Voks' count for security root pages")
    brx_REP_INVALID_PAGE_KIND: int = u32(232, "counter", "number", "sum", "cache", "bInvalid", "the Brox's count for pages of an invalid kind")
    brx_REP_ROOT_PAGE: int = u32(236, "counter", "number", "sum", "cache", "bRoot", "the Brox's count for root pages")
    brx_REP_FRAGMENT_BM_PAGE: int = u32(240, "counter", "number", "sum", "cache", "bFragBm", "the Brox's count for fragment BM pages")
    brx_REP_COMMIT_RECORD_PAGE: int = u32(244, "counter", "number", "sum", "cache", "bCr", "the Brox's count for commit record pages")
    brx_REP_DATA_PAGE: int = u32(248, "counter", "number", "sum", "cache", "bData", "the Brox's count for data pages")
    brx_REP_OT_INTERNAL_PAGE: int = u32(252, "counter", "number", "sum", "cache", "bOtInt", "the Brox's count for internal OT pages")
    brx_REP_OT_LEAF_PAGE: int = u32(256, "counter", "number", "sum", "cache", "bOtLeaf", "the Brox's count for OT leaf pages")
    brx_REP_BM_INTERNAL_PAGE: int = u32(260, "counter", "number", "sum", "cache", "bBmInt", "the Brox's count for internal BM pages")
    brx_REP_BM_LEAF_PAGE: int = u32(264, "counter", "number", "sum", "cache", "bBmLeaf", "the Brox's count for BM leaf pages")
    brx_REP_COUNT_BAG_LEAF_PAGE: int = u32(268, "counter", "number", "sum", "cache", "bBagLeaf", "the Brox's count for count bag leaf pages")
    brx_REP_BITLIST_PAGE: int = u32(272, "counter", "number", "sum", "cache", "bBitlist", "the Brox's count for bit list pages")
    brx_REP_COUNT_BAG_INTERIOR_PAGE: int = u32(276, "counter", "number", "sum", "cache", "bBagInt", "the Brox's count for interior count bag pages")
    brx_REP_SECURITY_ROOT_PAGE: int = u32(280, "counter", "number", "sum", "cache", "bSecRoot", "the Brox's count for security root pages")
    spinLockPageFrameSleepCount: int = u32(284, "counter", "number", "sum", "locks", "slpFrame", "sleeps for a spin lock of a page frame")
    spinLockHashTableSleepCount: int = u32(288, "counter", "number", "sum", "locks", "slpHash", "sleeps for a spin lock of the hash table")
    spinLockOtherSleepCount: int = u32(292, "counter", "number", "sum", "locks", "slpOther", "sleeps for another spin lock")
    targetFreeFrameCountStat: int = u32(296, "gauge", "number", "max", "cache", "tgtFree", "number of free frames aimed at")
    pagesRemovedFromCacheCount: int = u32(300, "counter", "number", "sum", "cache", "pgRem", "pages removed from the cache")
    pagesNotRemovedFromCacheCount: int = u32(304, "counter", "number", "sum", "cache", "pgNotRem", "pages not removed from the cache")
    pagesNotFoundInCacheCount: int = u32(308, "counter", "number", "sum", "cache", "pgNotFnd", "pages not found in the cache")
    pagesRemovedDirtyFromCacheCount: int = u32(312, "counter", "number", "sum", "cache", "pgRemDty", "pages removed from the cache while dirty")
    pinnedTotalCount: int = u32(316, "gauge", "number", "sum", "cache", "pinTotal", "pins in total")
    pinnedSharedCount: int = u32(320, "gauge", "number", "sum", "cache", "pinShare", "pins that are shared")
    pinnedDataPagesCount: int = u32(324, "gauge", "number", "sum", "cache", "pinData", "pinned data pages")
    pinnedOtPagesCount: int = u32(328, "gauge", "number", "sum", "cache", "pinOt", "pinned OT pages")
    pageServersInCacheCount: int = u32(332, "gauge", "number", "sum", "sessions", "pgsvrs", "page servers in the cache")
    frameCount: int = u32(336, "gauge", "number", "sum", "cache", "frames", "frames")
    spinLockCount: int = u32(340, "gauge", "number", "max", "locks", "spinLck", "spin lock count")
    numSharedCounters: int = u32(344, "gauge", "number", "sum", "cache", "shCntrs", "shared counters")
    slotsCrashedCount: int = u32(348, "gauge", "number", "sum", "sessions", "slCrash", "slots of crashed processes")
    totalOtPages: int = u32(352, "gauge", "number", "sum", "cache", "totOt", "OT pages in total")
    totalDataPages: int = u32(356, "gauge", "number", "sum", "cache", "totData", "data pages in total")
    totalCrPages: int = u32(360, "gauge", "number", "sum", "cache", "totCr", "commit record pages in total")
    totalBitmapPages: int = u32(364, "gauge", "number", "sum", "cache", "totBm", "bitmap pages in total")
    totalOtherPages: int = u32(368, "gauge", "number", "sum", "cache", "totOther", "other pages in total")
    freePceCount: int = u32(372, "gauge", "number", "sum", "cache", "pceFree", "free PCEs")
    totalFramesInFreeFrameCaches: int = u32(376, "gauge", "number", "sum", "cache", "totFfc", "frames in all free frame caches")
    totalPcesInFreePceCaches: int = u32(380, "gauge", "number", "sum", "cache", "totPceC", "PCEs in all free PCE caches")
    totalProcsInCacheCount: int = u32(384, "gauge", "number", "sum", "sessions", "procs", "processes in the cache in total")
    slotsFreeCount: int = u32(388, "gauge", "number", "sum", "sessions", "slFree", "free slots")
    crashedSlotsInRecoveryCount: int = u32(392, "gauge", "number", "sum", "sessions", "slCrRec", "crashed slots in recovery")
    cleanSlotsInRecoveryCount: int = u32(396, "gauge", "number", "sum", "sessions", "slClRec", "clean slots in recovery")
    slotsTotalCount: int = u32(400, "gauge", "number", "sum", "sessions", "slots", "slots in total")
    rejectedProcsCount: int = u32(404, "counter", "number", "sum", "sessions", "rejected", "processes that were rejected")
    cleanSlotsRecoveredCount: int = u32(408, "counter", "number", "sum", "sessions", "clRecov", "clean slots recovered")
    crashedSlotsRecoveredCount: int = u32(412, "counter", "number", "sum", "sessions", "crRecov", "crashed slots recovered")
    mainThreadTimeRunningMs: int = u32(416, "counter", "milliseconds", "sum", "threads", "thrMain", "time that the main thread was running")
    crashedSlotThreadTimeRunningMs: int = u32(420, "counter", "milliseconds", "sum", "threads", "thrCrash", "time that the thread for crashed slots was running")
    cleanSlotThreadTimeRunningMs: int = u32(424, "counter", "milliseconds", "sum", "threads", "thrClean", "time that the thread for clean slots was running")
    frameStatsThreadTimeRunningMs: int = u32(428, "counter", "milliseconds", "sum", "threads", "thrFrSt", "time that the frame statistics thread was running")
    procsWaitingForQueueLocks: int = u32(432, "gauge", "number", "sum", "locks", "wtQLock", "processes waiting for queue locks")
    cacheScanCount: int = u32(436, "counter", "number", "sum", "cache", "scans", "scans of the cache")
    pagesInCacheFromDisk: int = u32(440, "gauge", "number", "sum", "cache", "inDisk", "pages in the cache that came from disk")
    pagesInCacheFromPrimaryCache: int = u32(444, "gauge", "number", "sum", "cache", "inPrim", "pages in the cache that came from the primary cache")
    pagesInCacheFromMidCache: int = u32(448, "gauge", "number", "sum", "cache", "inMid", "pages in the cache that came from a mid cache")
    pagesInCacheCreatedInLeafCache: int = u32(452, "gauge", "number", "sum", "cache", "crInLeaf", "pages in the cache that were created in a leaf cache")
    pagesInCacheCreatedInPrimaryCache: int = u32(456, "gauge", "number", "sum", "cache", "crInPrim", "pages in the cache that were created in the primary cache")
    numProcsSleepingForLock: int = u32(460, "gauge", "number", "sum", "locks", "slpLock", "processes sleeping for a lock")
    slotRecovThreadState: int = u32(464, "state", "none", "none", "sessions", "recThrSt", "state of the slot recovery thread")
    numHashLockTestThreads: int = u32(468, "gauge", "number", "sum", "locks", "hashTest", "threads that test hash locks")
    numFrameLockTestThreads: int = u32(472, "gauge", "number", "sum", "locks", "frTest", "threads that test frame locks")
    timeWaitingForLockThreads: int = u32(476, "counter", "unknown", "sum", "locks", "lckThrT", "time spent waiting for lock threads")
    cleanSlotsWaitingForReuse: int = u32(480, "gauge", "number", "sum", "sessions", "reuse", "clean slots waiting for reuse")
    cleanSlotsWaitingForReuseTotal: int = u32(484, "counter", "number", "sum", "sessions", "reuseTot", "clean slots that have waited for reuse, in total")
    cleanSlotsWaitingForReuseTimeMs: int = u32(488, "counter", "milliseconds", "sum", "sessions", "reuseT", "time that clean slots have waited for reuse")
    numWorkingSetWrites: int = u32(492, "counter", "number", "sum", "io", "wsWrites", "writes of the working set")
    cacheIdle: int = u32(496, "flag", "none", "none", "cache", "idle", "whether the cache is idle")
    vokThreadsInCacheCount: int = u32(500, "gauge", "number", "sum", "sessions", "vokThrs", "Vok threads in the cache")
    totalLocalPageCacheHits: int = i64(1048, "counter", "number", "sum", "cache", "totHits", "hits in the local page cache in total")
    totalLocalPageCacheMisses: int = i64(1056, "counter", "number", "sum", "cache", "totMiss", "misses in the local page cache in total")
    totalWaitsForOtherReader: int = i64(1064, "counter", "number", "sum", "waiting", "totRdrWt", "waits for another reader in total")
    totalPageReads: int = i64(1072, "counter", "number", "sum", "io", "totRead", "page reads in total")
    totalPageWrites: int = i64(1080, "counter", "number", "sum", "io", "totWrite", "page writes in total")
    totalFramesFromFreeList: int = i64(1088, "counter", "number", "sum", "cache", "tFrFree", "frames taken from the free list in total")
    totalFramesFromFindFree: int = i64(1096, "counter", "number", "sum", "cache", "tFrFind", "frames found by searches for a free one in total")
    totalFramesAddedToFreeList: int = i64(1104, "counter", "number", "sum", "cache", "tFrAdd", "frames added to the free list in total")
    totalOtPageReads: int = i64(1112, "counter", "number", "sum", "io", "totOtRd", "reads of OT pages in total")
    totalDataPageReads: int = i64(1120, "counter", "number", "sum", "io", "totDatRd", "reads of data pages in total")
    totalBmPageReads: int = i64(1128, "counter", "number", "sum", "io", "totBmRd", "reads of BM pages in total")
    totalMiscPageReads: int = i64(1136, "counter", "number", "sum", "io", "totMscRd", "reads of miscellaneous pages in total")
    totalPcesRemovedFromFreeList: int = i64(1144, "counter", "number", "sum", "cache", "tPceRem", "PCEs removed from the free list in total")
    totalCommitRecordPageReads: int = i64(1152, "counter", "number", "sum", "io", "totCrRd", "reads of commit record pages in total")
    totalPagesAddedToCacheFromDisk: int = i64(1160, "counter", "number", "sum", "cache", "tAddDisk", "pages added to the cache from disk in total")
    totalPagesAddedToCacheFromPrimaryCache: int = i64(1168, "counter", "number", "sum", "cache", "tAddPrim", "pages added to the cache from the primary cache in total")
    totalPagesAddedToCacheFromMidCache: int = i64(1176, "counter", "number", "sum", "cache", "tAddMid", "pages added to the cache from a mid cache in total")
    totalPagesAddedToCacheNewlyCreated: int = i64(1184, "counter", "number", "sum", "cache", "tAddNew", "pages newly created and added to the cache in total")
    totalPcesAddedToFreeList: int = i64(1192, "counter", "number", "sum", "cache", "tPceAdd", "PCEs added to the free list in total")


@layout
class BroxRecord(Record):
    """repository monitor (Brox) (SHRPC_BROX)."""

    numberOfCommitRecords: int = u32(152, "gauge", "number", "sum", "commit", "crs", "commit records")
    logRecordId: int = u32(156, "position", "none", "none", "log", "logRec", "id of the log record")
    logBuffersWritten: int = u32(160, "counter", "number", "sum", "log", "logBufs", "log buffers written")
    logIoCount: int = u32(164, "counter", "number", "sum", "log", "logIo", "I/Os of the log")
    logFileId: int = u32(168, "position", "none", "none", "log", "logFile", "id of the log file")
    readTrackFileSize: int = u32(172, "gauge", "number", "max", "objects", "rdTrkSz", "size of the read tracking file")
    readTrackServiceCount: int = u32(176, "counter", "number", "sum", "objects", "rdTrkSv", "times that read tracking was serviced")
    checkpointCount: int = u32(180, "counter", "number", "sum", "io", "ckpts", "checkpoints")
    completedCheckpointCount: int = u32(184, "counter", "number", "sum", "io", "ckptDone", "completed checkpoints")
    numInCommitQueue: int = u32(188, "gauge", "number", "sum", "commit", "qCommit", "entries of the commit queue")
    numInNotifyQueue: int = u32(192, "gauge", "number", "sum", "waiting", "qNotify", "entries of the notify queue")
    numInCacheStartQueue: int = u32(196, "gauge", "number", "sum", "waiting", "qCacheSt", "entries of the cache start queue")
    numInRunQueue: int = u32(200, "gauge", "number", "sum", "waiting", "qRun", "entries of the run queue")
    numInSymbolCreateQueue: int = u32(204, "gauge", "number", "sum", "waiting", "qSymbol", "entries of the symbol creation queue")
    numInPageWaitQueue: int = u32(208, "gauge", "number", "sum", "waiting", "qPage", "entries of the page wait queue")
    numInLogWaitQueue: int = u32(212, "gauge", "number", "sum", "waiting", "qLogWait", "entries of the log wait queue")
    numInLogAioQueue: int = u32(216, "gauge", "number", "sum", "waiting", "qLogAio", "entries of the queue for asynchronous I/O of the log")
    numInLogBufQueue: int = u32(220, "gauge", "number", "sum", "waiting", "qLogBuf", "entries of the log buffer queue")
    numInObjWaitQueue: IntArray = u32(224, "gauge", "number", "sum", "locks", "qObj", "entries of each of the 10 object wait queues", 10)
    numInLockReqQueue: int = u32(264, "gauge", "number", "sum", "locks", "qLockReq", "entries of the lock request queue")
    logBufQueueAdds: int = u32(268, "counter", "number", "sum", "log", "logBufAd", "additions to the log buffer queue")
    logAioQueueAdds: int = u32(272, "counter", "number", "sum", "log", "logAioAd", "additions to the queue for asynchronous I/O of the log")
    tempPagesDisposed: int = u32(276, "counter", "number", "sum", "io", "tmpDisp", "temporary pages disposed of")
    persistentPagesDisposed: int = u32(280, "counter", "number", "sum", "io", "perDisp", "persistent pages disposed of")
    freePages: int = u32(284, "gauge", "number", "sum", "io", "freePg", "free pages")
    gcWsUnionSweepCount: int = u32(288, "counter", "number", "sum", "gc", "gcWsSwp", "sweeps of the garbage collection's working set union")
    timeInPgsvrNetReads: int = u32(292, "counter", "unknown", "sum", "network", "pgNetRdT", "time spent in network reads from page servers")
    timeInPgsvrNetWrites: int = u32(296, "counter", "unknown", "sum", "network", "pgNetWrT", "time spent in network writes to page servers")
    txMsgCount: int = u32(300, "counter", "number", "sum", "network", "txMsg", "tx messages")
    txMsgSessionId: int = u32(304, "identifier", "none", "none", "network", "txMsgSes", "session of the tx message")
    txMsgKind: int = u32(308, "state", "none", "none", "network", "txMsgKnd", "kind of the tx message")
    brxLoopState: int = u32(312, "state", "none", "none", "threads", "loopSt", "state of the Brox's loop")
    deferCkptCompleteCount: int = u32(316, "counter", "number", "sum", "io", "ckptDefr", "times that the completion of a checkpoint was deferred")
    timeInBrxGetLocks: int = u32(320, "counter", "unknown", "sum", "locks", "getLckT", "time that the Brox spent in getting locks")
    brxGetLocksCount: int = u32(324, "counter", "number", "sum", "locks", "getLck", "times that the Brox got locks")
    totalSessionsCount: int = u32(328, "gauge", "number", "sum", "sessions", "sess", "sessions in total")
    userSessionsCount: int = u32(332, "gauge", "number", "sum", "sessions", "userSess", "sessions of users")
    commitTokenSession: int = u32(336, "identifier", "none", "none", "commit", "tokenSes", "session that has the commit token")
    timeInCommitRecordDisposal: int = u32(340, "counter", "unknown", "sum", "commit", "crDispT", "time spent in the disposal of commit records")
    commitRecordDisposalState: int = u32(344, "state", "none", "none", "commit", "crDispSt", "state of the disposal of commit records")
    commitRecordsDisposedCount: int = u32(348, "counter", "number", "sum", "commit", "crDisp", "commit records disposed of")
    commitRecordsDisposedNotCached: int = u32(352, "counter", "number", "sum", "commit", "crDispNc", "commit records disposed of that were not cached")
    commitQueueSessionNotReadyCount: int = u32(356, "counter", "number", "sum", "commit", "cqSesNr", "times that a session in the commit queue was not ready")
    commitQueueHeadNotReadyCount: int = u32(360, "counter", "number", "sum", "commit", "cqHeadNr", "times that the head of the commit queue was not ready")
    commitQueueHeadNoMsg: int = u32(364, "counter", "number", "sum", "commit", "cqHeadNm", "times that the head of the commit queue had no message")
    commitQueueNotSerializing: int = u32(368, "counter", "number", "sum", "commit", "cqNotSer", "times that the commit queue was not serializing")
    commitQueueSymbolWait: int = u32(372, "counter", "number", "sum", "commit", "cqSymWt", "times that the commit queue waited for symbols")
    commitQueueAddedToRunQueueCount: int = u32(376, "counter", "number", "sum", "commit", "cqToRun", "times that the commit queue was added to the run queue")
    commitQueueAddedToRunQueueSessionCount: int = u32(380, "counter", "number", "sum", "commit", "cqToRunS", "sessions of the commit queue added to the run queue")
    broxCommitState: int = u32(384, "state", "none", "none", "commit", "commitSt", "state of the commit in the Brox")
    commitQueueThreshold: int = u32(388, "gauge", "number", "max", "commit", "cqThresh", "threshold of the commit queue")
    commitRecordDisposalsDeferredCount: int = u32(392, "counter", "number", "sum", "commit", "crDispDf", "disposals of commit records that were deferred")
    brxLoopHibernateCount: int = u32(396, "counter", "number", "sum", "threads", "hibernat", "hibernations of the Brox's loop")
    recoverReclaimOopsWaitTime: int = u32(400, "counter", "unknown", "sum", "log", "rcvOopT", "time that recovery waited to reclaim OOPs")
    recoverFreeFrameWaitTime: int = u32(404, "counter", "unknown", "sum", "log", "rcvFrmT", "time that recovery waited for free frames")
    recoverReadThreadWaitTime: int = u32(408, "counter", "unknown", "sum", "log", "rcvReadT", "time that recovery's read thread waited")
    recoverNumBufs: int = u32(412, "gauge", "number", "sum", "log", "rcvBufs", "buffers of recovery")
    recoverNumBufsInWorkQueue: int = u32(416, "gauge", "number", "sum", "log", "rcvBufWk", "buffers in recovery's work queue")
    recoverNumBufsInFreeList: int = u32(420, "gauge", "number", "sum", "log", "rcvBufFr", "buffers in recovery's free list")
    recoverNumBufsForSessions: int = u32(424, "gauge", "number", "sum", "log", "rcvBufSe", "buffers of recovery for sessions")
    oldestCrSession: int = u32(428, "identifier", "none", "none", "commit", "oldCrSes", "session of the oldest commit record")
    oldestCrSessNotInTrans: int = u32(432, "identifier", "none", "none", "commit", "oldCrNit", "session of the oldest commit record that is not in a transaction")
    gcVoteState: int = u32(436, "state", "none", "none", "gc", "voteSt", "state of the garbage collection's vote")
    waitingForSessionToVote: int = u32(440, "identifier", "none", "none", "gc", "voteWait", "session whose vote is waited for")
    tranlogsFull: int = u32(444, "flag", "none", "none", "log", "tlogFull", "whether the transaction logs are full")
    timePerformingCommit: int = u32(448, "counter", "unknown", "sum", "commit", "commitT", "time spent performing commits")
    remoteSharedPageCacheCount: int = u32(452, "gauge", "number", "sum", "network", "rmCaches", "remote shared page caches")
    oopsReturnedByVoksCount: int = u32(456, "counter", "number", "sum", "objects", "oopsRetd", "OOPs that Voks returned")
    pagesReturnedByVoksCount: int = u32(460, "counter", "number", "sum", "io", "pgRetd", "pages that Voks returned")
    pagesWaitingForPagemgr: int = u32(464, "gauge", "number", "sum", "cache", "wtPgMgr", "pages waiting for the page manager")
    pagesWaitingForRemoval: int = u32(468, "gauge", "number", "sum", "cache", "wtRem", "pages waiting for removal")
    timeInBroxPageDisposal: int = u32(472, "counter", "unknown", "sum", "io", "pgDispT", "time that the Brox spent in the disposal of pages")
    remoteCachesNeedServiceCount: int = u32(476, "gauge", "number", "sum", "network", "rmNeedSv", "remote caches that need service")
    remoteCacheReconnectCount: int = u32(480, "counter", "number", "sum", "network", "rmReconn", "reconnections of remote caches")
    remoteCacheTimeoutCount: int = u32(484, "counter", "number", "sum", "network", "rmTimeot", "time-outs of remote caches")
    lastSmcQueueSize: int = u32(488, "gauge", "number", "max", "waiting", "smcQueue", "last size of the SMC queue")
    sessionsWithGcLock: int = i32(492, "gauge", "number", "sum", "gc", "gcLckSes", "sessions that have the garbage collection lock")
    numInNetWriteQueue: int = u32(496, "gauge", "number", "sum", "network", "qNetWr", "entries of the network write queue")
    commitsSinceLastEpoch: int = u32(500, "gauge", "number", "sum", "gc", "cmtEpoch", "commits since the last epoch")
    numInMainInpQueue: int = u32(504, "gauge", "number", "sum", "waiting", "qMainInp", "entries of the main input queue")
    numVotingSessions: int = u32(508, "gauge", "number", "sum", "gc", "voteSess", "sessions that vote")
    numInLostOtQueue: int = u32(512, "gauge", "number", "sum", "waiting", "qLostOt", "entries of the lost OT queue")
    numInReadTrackQueue: int = u32(516, "gauge", "number", "sum", "waiting", "qRdTrk", "entries of the read tracking queue")
    numInSecurityDataQueue: int = u32(520, "gauge", "number", "sum", "waiting", "qSecData", "entries of the security data queue")
    brxMainWaitsForFreeAio: int = u32(524, "counter", "number", "sum", "io", "aioWaits", "times that the Brox's main thread waited for free asynchronous I/O")
    aioNumEmptyBuffers: int = u32(528, "gauge", "number", "sum", "io", "aioEmpty", "empty buffers of asynchronous I/O")
    aioNumBuffers: int = u32(532, "gauge", "number", "sum", "io", "aioBufs", "buffers of asynchronous I/O")
    numInPgsvrWaitQueue: int = u32(536, "gauge", "number", "sum", "waiting", "qPgsvr", "entries of the page server wait queue")
    reposSizeMB: int = u32(540, "gauge", "megabytes", "max", "io", "reposSz", "size of the repository")
    reposAtMaxSize: int = u32(544, "flag", "none", "none", "io", "reposMax", "whether the repository is at its maximum size")
    numInLdiQueue: int = u32(548, "gauge", "number", "sum", "waiting", "qLdi", "entries of the LDI queue")
    totalVokFatalErrors: int = u32(552, "counter", "number", "sum", "sessions", "vokFatal", "fatal errors of Voks in total")
    totalSigAbortsSent: int = u32(556, "counter", "number", "sum", "sessions", "sigAbrts", "SigAborts sent in total")
    totalLostOtsSent: int = u32(560, "counter", "number", "sum", "sessions", "lostOts", "LostOts sent in total")
    totalSessionsStopped: int = u32(564, "counter", "number", "sum", "sessions", "sessStop", "sessions stopped in total")
    totalSessionsTerminated: int = u32(568, "counter", "number", "sum", "sessions", "sessTerm", "sessions terminated in total")
    ldiThreadOperations: int = u32(572, "counter", "number", "sum", "threads", "ldiOps", "operations of the LDI thread")
    loginRequestsCount: int = u32(576, "counter", "number", "sum", "sessions", "logins", "login requests")
    numInNetReadWorkList: int = u32(580, "gauge", "number", "sum", "network", "qNetRd", "entries of the network read work list")
    lastSessionIdStopped: int = u32(584, "identifier", "none", "none", "sessions", "lstStop", "session that was stopped last")
    lastSessionIdTerminated: int = u32(588, "identifier", "none", "none", "sessions", "lstTerm", "session that was terminated last")
    lastSessionFatalError: int = u32(592, "identifier", "none", "none", "sessions", "lstFatal", "session that had the last fatal error")
    lastSessionSigAbort: int = u32(596, "identifier", "none", "none", "sessions", "lstSigAb", "session of the last SigAbort")
    lastSessionLostOt: int = u32(600, "identifier", "none", "none", "sessions", "lstLost", "session of the last LostOt")
    brxLoopsSinceSleep: int = u32(604, "gauge", "number", "max", "threads", "loopsSlp", "turns of the Brox's loop since it slept")
    brxLoopsNoWork: int = u32(608, "counter", "number", "sum", "threads", "loopsNoW", "turns of the Brox's loop without work")
    brxTranQToRunQThreshold: int = u32(612, "gauge", "number", "max", "waiting", "trnQThr", "threshold for moves from the transaction queue to the run queue")
    brxAioWaitsForWork: int = u32(616, "counter", "number", "sum", "io", "aioNoWrk", "times that the Brox's asynchronous I/O waited for work")
    brxAioWriteFailures: int = u32(620, "counter", "number", "sum", "io", "aioWrFl", "failed writes of the Brox's asynchronous I/O")
    brxAioCompletionFailures: int = u32(624, "counter", "number", "sum", "io", "aioCmFl", "failed completions of the Brox's asynchronous I/O")
    brxAioFsyncFailures: int = u32(628, "counter", "number", "sum", "io", "fsyncFl", "failed fsyncs of the Brox's asynchronous I/O")
    netWriteThreadWakeups: int = u32(632, "counter", "number", "sum", "network", "netWrWk", "wake-ups of the network write thread")
    netWriteThreadSocketWrites: int = u32(636, "counter", "number", "sum", "network", "netWrSck", "socket writes of the network write thread")
    timerThreadWakeups: int = u32(640, "counter", "number", "sum", "threads", "timerWk", "wake-ups of the timer thread")
    pagesWaitingForRemovalTemp: int = u32(644, "gauge", "number", "sum", "cache", "wtRemTmp", "temporary pages waiting for removal")
    pagesWaitingForRemovalPersist: int = u32(648, "gauge", "number", "sum", "cache", "wtRemPer", "persistent pages waiting for removal")
    pagesWaitingForRemovalDeferred: int = u32(652, "gauge", "number", "sum", "cache", "wtRemDef", "pages waiting for a deferred removal")
    crPageLocateForDisposeCount: int = u32(656, "counter", "number", "sum", "commit", "crLocate", "times that a commit record page was located for disposal")
    tteFreePoolSize: int = i32(660, "gauge", "number", "sum", "commit", "ttePool", "size of the pool of free TTEs")
    tteFreeCount: int = i32(664, "gauge", "number", "sum", "commit", "tteFree", "free TTEs")
    tteCrPageFreePoolSize: int = i32(668, "gauge", "number", "sum", "commit", "tteCrPl", "size of the pool of free commit record pages of TTEs")
    tteCrPageInUse: int = i32(672, "gauge", "number", "sum", "commit", "tteCrUse", "commit record pages of TTEs in use")
    brxAioWaitTotalTime: int = u32(676, "counter", "unknown", "sum", "io", "aioWaitT", "time that the Brox's asynchronous I/O waited in total")
    brxAiosWaitedForWriteThread: int = u32(680, "counter", "number", "sum", "io", "aioWtThr", "asynchronous I/Os of the Brox that waited for a write thread")
    brxCrBacklogThreshold: int = u32(684, "gauge", "number", "max", "commit", "crBklThr", "threshold of the Brox's backlog of commit records")
    epochLastDuration: int = u32(688, "gauge", "unknown", "max", "gc", "epochDur", "duration of the last epoch")
    gcWsUnionSize: int = u32(692, "gauge", "number", "max", "gc", "gcWsSize", "size of the garbage collection's working set union")
    brxAioFsyncCount: int = u32(696, "counter", "number", "sum", "io", "fsyncs", "fsyncs of the Brox's asynchronous I/O")
    brxAioTimeInFsyncMs: int = u32(700, "counter", "milliseconds", "sum", "io", "fsyncT", "time that the Brox's asynchronous I/O spent in fsyncs")
    brxAioWriteQueueSize: int = u32(704, "gauge", "number", "sum", "io", "aioQueue", "size of the write queue of the Brox's asynchronous I/O")
    brxAioWriteQueueHighWaterSize: int = u32(708, "gauge", "number", "max", "io", "aioQHigh", "greatest size of the write queue of the Brox's asynchronous I/O")
    brxAioWriteThreadsIdle: int = u32(712, "gauge", "number", "sum", "io", "aioThrId", "idle write threads of the Brox's asynchronous I/O")
    brxAioCompletedSmcBuffers: int = u32(716, "counter", "number", "sum", "io", "aioSmc", "SMC buffers that the Brox's asynchronous I/O completed")
    brxAioCompletedHeapBuffers: int = u32(720, "counter", "number", "sum", "io", "aioHeap", "heap buffers that the Brox's asynchronous I/O completed")
    pageManagerStarvedCount: int = u32(724, "counter", "number", "sum", "cache", "pgMgrStv", "times that the page manager starved")
    pageManagerMaxWaitTimeMs: int = u32(728, "gauge", "milliseconds", "max", "cache", "pgMgrMax", "longest wait of the page manager")
    timeInGetPagesForPageMgr: int = u32(732, "counter", "unknown", "sum", "cache", "pgMgrGtT", "time spent in getting pages for the page manager")
    timeInProcessPagesFromPageMgr: int = u32(736, "counter", "unknown", "sum", "cache", "pgMgrPrT", "time spent in processing pages from the page manager")
    brxSmcSpinLockCount: int = u32(740, "gauge", "number", "max", "locks", "smcSpin", "spin lock count of the Brox's SMC")
    lastCommitRecordReleaseReasonCode: int = u32(744, "state", "none", "none", "commit", "crRelWhy", "reason of the last release of a commit record")
    lastCommitRecordReleaseSessionId: int = u32(748, "identifier", "none", "none", "commit", "crRelSes", "session of the last release of a commit record")
    freePagesPoolSize: int = u32(752, "gauge", "number", "sum", "io", "freePgPl", "size of the pool of free pages")
    allSymbolsSize: int = u32(756, "gauge", "number", "max", "objects", "symbols", "size of the set of all symbols")
    epochGcCount: int = u32(760, "counter", "number", "sum", "gc", "epochGcs", "epoch garbage collections")
    timeLastEpochGc: int = u32(764, "gauge", "none", "none", "gc", "epochGcT", "the last epoch garbage collection: a time, as the server writes it")
    maxVotingSessions: int = u32(768, "gauge", "number", "max", "gc", "voteMax", "greatest number of voting sessions")
    epochForceGc: int = u32(772, "flag", "none", "none", "gc", "epochFrc", "whether an epoch garbage collection is forced")
    brxLoopNoWorkThreshold: int = u32(776, "gauge", "number", "max", "threads", "loopThr", "threshold of turns of the Brox's loop without work")
    pagePushListFullCount: int = u32(780, "counter", "number", "sum", "network", "pushFull", "times that the page push list was full")
    pagesInPushList: int = i32(784, "gauge", "number", "sum", "network", "pushList", "pages in the push list")
    remoteSharedPageCacheMax: int = u32(788, "gauge", "number", "max", "network", "rmMax", "greatest number of remote shared page caches")
    brxAioNumWriteThreads: int = u32(792, "gauge", "number", "sum", "io", "aioThrs", "write threads of the Brox's asynchronous I/O")
    sessionPerformingBackup: int = u32(796, "identifier", "none", "none", "sessions", "bkupSes", "session that performs a backup")
    lostOtDeferLastSession: int = u32(800, "identifier", "none", "none", "sessions", "ltDfrSes", "session whose LostOt was deferred last")
    lostOtDeferLastReason: int = u32(804, "state", "none", "none", "sessions", "ltDfrWhy", "reason of the last deferral of a LostOt")
    lostOtDeferCount: int = u32(808, "counter", "number", "sum", "sessions", "ltDfr", "deferrals of a LostOt")
    readLocksSize: int = u32(812, "gauge", "number", "sum", "locks", "rdLocks", "size of the set of read locks")
    writeLocksSize: int = u32(816, "gauge", "number", "sum", "locks", "wrLocks", "size of the set of write locks")
    maxUserSessions: int = u32(820, "gauge", "number", "max", "sessions", "maxUser", "greatest number of user sessions")
    forcedDisconnects: int = u32(824, "counter", "number", "sum", "sessions", "forcedDc", "forced disconnects")
    numInLoginLogQ: int = u32(828, "gauge", "number", "sum", "waiting", "qLogin", "entries of the login log queue")
    loginLogThreadOperations: int = u32(832, "counter", "number", "sum", "threads", "lgnLgOps", "operations of the login log thread")
    loginLogFlushes: int = u32(836, "counter", "number", "sum", "sessions", "lgnLgFls", "flushes of the login log")
    lastSigTermVokSessionId: int = u32(840, "identifier", "none", "none", "sessions", "stVokSes", "session of the Vok that was sent the last SIGTERM")
    lastSigTermPageServerSessionId: int = u32(844, "identifier", "none", "none", "sessions", "stPgSes", "session of the page server that was sent the last SIGTERM")
    totalSigTermsSentToVoks: int = u32(848, "counter", "number", "sum", "sessions", "stVoks", "SIGTERMs sent to Voks in total")
    totalSigTermsSentToPageServers: int = u32(852, "counter", "number", "sum", "sessions", "stPgsvrs", "SIGTERMs sent to page servers in total")
    lastSigTermVokPid: int = u32(856, "identifier", "none", "none", "sessions", "stVokPid", "process id of the Vok that was sent the last SIGTERM")
    lastSigTermPgsvrPid: int = u32(860, "identifier", "none", "none", "sessions", "stPgPid", "process id of the page server that was sent the last SIGTERM")
    totalExtentGrows: int = u32(864, "counter", "number", "sum", "io", "extGrow", "growths of an extent in total")
    totalExtentGrowsFailed: int = u32(868, "counter", "number", "sum", "io", "extGrwFl", "failed growths of an extent in total")
    timeInExtentGrow: int = u32(872, "counter", "unknown", "sum", "io", "extGrowT", "time spent in growths of extents")
    avgTimePerExtentGrow: int = u32(876, "gauge", "unknown", "max", "io", "extGrAvg", "average time of a growth of an extent")
    remoteCachesLost: int = u32(880, "counter", "number", "sum", "network", "rmLost", "remote caches lost")
    remoteMidLevelCacheCount: int = u32(884, "gauge", "number", "sum", "network", "rmMid", "remote mid-level caches")
    activeCheapLogBuffers: int = u32(888, "gauge", "number", "sum", "log", "logBufCh", "active cheap log buffers")
    freeLogBuffers: int = u32(892, "gauge", "number", "sum", "log", "logBufFr", "free log buffers")
    recovNumPendingCheckpoints: int = u32(896, "gauge", "number", "sum", "log", "rcvCkpts", "checkpoints pending in recovery")
    recovTimeWaitingForCheckpoints: int = u32(900, "counter", "unknown", "sum", "log", "rcvCkptT", "time that recovery waited for checkpoints")
    recoverTimeLag: int = i32(904, "gauge", "unknown", "max", "log", "rcvLag", "time by which recovery lags behind")
    recoverTranlogFileId: int = i32(908, "position", "none", "none", "log", "rcvFile", "id of the transaction log file that recovery is at")
    recoverTranlogBlockId: int = i32(912, "position", "none", "none", "log", "rcvBlock", "id of the transaction log block that recovery is at")
    logSenderFileId: int = i32(916, "position", "none", "none", "log", "sndFile", "id of the file that the log sender is at")
    logSenderBlockId: int = i32(920, "position", "none", "none", "log", "sndBlock", "id of the block that the log sender is at")
    checkpointState: int = i32(924, "state", "none", "none", "io", "ckptSt", "state of the checkpoint")
    secondsSinceAbort: int = i32(928, "gauge", "seconds", "max", "commit", "sAbort", "seconds since an abort")
    secondsSinceCheckpoint: int = i32(932, "gauge", "seconds", "max", "io", "sCkpt", "seconds since a checkpoint")
    secondsSinceCommit: int = i32(936, "gauge", "seconds", "max", "commit", "sCommit", "seconds since a commit")
    secondsSinceFailedCommit: int = i32(940, "gauge", "seconds", "max", "commit", "sFail", "seconds since a failed commit")
    secondsSinceCrDisposal: int = i32(944, "gauge", "seconds", "max", "commit", "sCrDisp", "seconds since a disposal of commit records")
    secondsSinceExtentGrow: int = i32(948, "gauge", "seconds", "max", "io", "sExtGrow", "seconds since a growth of an extent")
    secondsSinceLogin: int = i32(952, "gauge", "seconds", "max", "sessions", "sLogin", "seconds since a login")
    secondsSinceLogout: int = i32(956, "gauge", "seconds", "max", "sessions", "sLogout", "seconds since a logout")
    secondsSinceLowFreespace: int = i32(960, "gauge", "seconds", "max", "io", "sLowFree", "seconds since free space was low")
    secondsSinceNewTranlog: int = i32(964, "gauge", "seconds", "max", "log", "sNewTlog", "seconds since a new transaction log")
    secondsSinceReclaim: int = i32(968, "gauge", "seconds", "max", "gc", "sReclaim", "seconds since a reclaim")
    secondsSinceReclaimDead: int = i32(972, "gauge", "seconds", "max", "gc", "sReclDed", "seconds since a reclaim of dead objects")
    secondsSinceStartBrox: int = i32(976, "gauge", "seconds", "max", "sessions", "sStart", "seconds since the start of the Brox")
    secondsSinceTranlogFull: int = i32(980, "gauge", "seconds", "max", "log", "sTlogFul", "seconds since the transaction logs were full")
    timeInCheckpoint: int = u32(984, "counter", "unknown", "sum", "io", "ckptT", "time spent in checkpoints")
    timeInLastCheckpointMs: int = u32(988, "gauge", "milliseconds", "max", "io", "ckptLast", "time spent in the last checkpoint")
    lowFreespaceCount: int = u32(992, "counter", "number", "sum", "io", "lowFree", "times that free space was low")
    timeInLowFreespace: int = u32(996, "counter", "unknown", "sum", "io", "lowFreeT", "time that free space was low")
    tranState: int = i32(1000, "state", "none", "none", "commit", "tranSt", "state of the transaction")
    tranlogFullCount: int = u32(1004, "counter", "number", "sum", "log", "tlogFulN", "times that the transaction logs were full")
    onetimePasswordsActive: int = u32(1008, "gauge", "number", "sum", "sessions", "otpAct", "active one-time passwords")
    onetimePasswordsTotal: int = u32(1012, "counter", "number", "sum", "sessions", "otpTotal", "one-time passwords in total")
    onetimePasswordsValidated: int = u32(1016, "counter", "number", "sum", "sessions", "otpValid", "one-time passwords validated")
    onetimePasswordsNotValidated: int = u32(1020, "counter", "number", "sum", "sessions", "otpInval", "one-time passwords not validated")
    onetimePasswordsExpired: int = u32(1024, "counter", "number", "sum", "sessions", "otpExpir", "one-time passwords expired")
    globalSessionStats: IntArray = i64(1048, "gauge", "none", "none", "sessions", "gses", "48 statistics that applications keep for all sessions", 48)
    backupHighWaterPage: int = i64(1432, "gauge", "number", "max", "io", "bkupHigh", "highest page that backup has come to")
    gcHighWaterPage: int = i64(1440, "gauge", "number", "max", "gc", "gcHigh", "highest page that garbage collection has come to")
    reclaimcount: int = i64(1448, "counter", "number", "sum", "gc", "reclaims", "reclaims")
    reclaimedPagesCount: int = i64(1456, "counter", "number", "sum", "gc", "reclPg", "pages reclaimed")
    pagesNeedReclaimingSize: int = u64(1464, "gauge", "number", "sum", "gc", "pgNeedRc", "size of the set of pages that need reclaiming")
    priorityPagesNeedReclaiming: int = i64(1472, "gauge", "number", "sum", "gc", "prNeedRc", "pages that need reclaiming with priority")
    possibledeadObjs: int = i64(1480, "gauge", "number", "sum", "gc", "posDead", "objects that are possibly dead")
    possibledeadSymbols: int = i64(1488, "gauge", "number", "sum", "gc", "posDeadS", "symbols that are possibly dead")
    reclaimedSymbols: int = i64(1496, "counter", "number", "sum", "gc", "reclSym", "symbols reclaimed")
    voteNotDeadObjs: int = i64(1504, "gauge", "number", "sum", "gc", "notDead", "objects voted not dead")
    deadObjsReclaimedCount: int = i64(1512, "counter", "number", "sum", "gc", "deadRecl", "dead objects reclaimed")
    deadNotReclaimedObjs: int = i64(1520, "gauge", "number", "sum", "gc", "deadLeft", "dead objects not reclaimed")
    epochNewObjs: int = i64(1528, "gauge", "number", "max", "gc", "epochNew", "new objects of the epoch")
    epochScannedObjs: int = i64(1536, "gauge", "number", "max", "gc", "epochScn", "objects that the epoch scanned")
    epochPossibleDeadObjs: int = i64(1544, "gauge", "number", "max", "gc", "epochDed", "objects that are possibly dead, of the epoch")
    freeOopsCount: int = i64(1552, "gauge", "number", "sum", "objects", "freeOops", "free OOPs")
    brxLoopCount: int = i64(1560, "counter", "number", "sum", "threads", "loops", "turns of the Brox's loop")
    totalNewObjectsCommitted: int = i64(1568, "counter", "number", "sum", "objects", "newObjs", "new objects committed in total")
    totalObjectsCommitted: int = i64(1576, "counter", "number", "sum", "objects", "objs", "objects committed in total")
    totalCommits: int = i64(1584, "counter", "number", "sum", "commit", "commits", "commits in total")
    logKBytesWritten: int = i64(1592, "counter", "kilobytes", "sum", "log", "logKB", "written to the log")
    totalAborts: int = i64(1600, "counter", "number", "sum", "commit", "aborts", "aborts in total")
    totalFailedCommits: int = i64(1608, "counter", "number", "sum", "commit", "failed", "failed commits in total")
    commitRecordReleases: int = i64(1616, "counter", "number", "sum", "commit", "crRel", "releases of commit records")
    responsesSentEarly: int = i64(1624, "counter", "number", "sum", "network", "respErly", "responses sent early")
    responsesSentNormal: int = i64(1632, "counter", "number", "sum", "network", "respNorm", "responses sent normally")
    oopNumberHighWaterMark: int = i64(1640, "gauge", "number", "max", "objects", "oopHigh", "highest number of an OOP")
    timeLastAbort: int = i64(1648, "time", "none", "none", "commit", "tAbort", "time of the last abort")
    timeLastCheckpoint: int = i64(1656, "time", "none", "none", "io", "tCkpt", "time of the last checkpoint")
    timeLastCommit: int = i64(1664, "time", "none", "none", "commit", "tCommit", "time of the last commit")
    timeLastFailedCommit: int = i64(1672, "time", "none", "none", "commit", "tFail", "time of the last failed commit")
    timeLastCrDisposal: int = i64(1680, "time", "none", "none", "commit", "tCrDisp", "time of the last disposal of commit records")
    timeLastExtentGrow: int = i64(1688, "time", "none", "none", "io", "tExtGrow", "time of the last growth of an extent")
    timeLastLogin: int = i64(1696, "time", "none", "none", "sessions", "tLogin", "time of the last login")
    timeLastLogout: int = i64(1704, "time", "none", "none", "sessions", "tLogout", "time of the last logout")
    timeLastLowFreespace: int = i64(1712, "time", "none", "none", "io", "tLowFree", "time that free space was last low")
    timeLastNewTranlog: int = i64(1720, "time", "none", "none", "log", "tNewTlog", "time of the last new transaction log")
    timeLastReclaim: int = i64(1728, "time", "none", "none", "gc", "tReclaim", "time of the last reclaim")
    timeLastReclaimDead: int = i64(1736, "time", "none", "none", "gc", "tReclDed", "time of the last reclaim of dead objects")
    timeLastStartBrox: int = i64(1744, "time", "none", "none", "sessions", "tStart", "time of the last start of the Brox")
    timeLastTranlogFull: int = i64(1752, "time", "none", "none", "log", "tTlogFul", "time that the transaction logs were last full")


class AnyPgsvrRecord(Record):
    """What several kinds of process have."""

    clientPid: int = u32(152, "identifier", "none", "none", "sessions", "client", "process id of the client")
    compressionTimeReal: int = u32(156, "counter", "unknown", "sum", "network", "cmprT", "real time spent in compression")
    compressionTimeCpu: int = u32(160, "counter", "unknown", "sum", "network", "cmprCpu", "CPU time spent in compression")
    decompressionTimeReal: int = u32(164, "counter", "unknown", "sum", "network", "dcmprT", "real time spent in decompression")
    decompressionTimeCpu: int = u32(168, "counter", "unknown", "sum", "network", "dcmprCpu", "CPU time spent in decompression")
    compressCount: int = u32(172, "counter", "number", "sum", "network", "cmprs", "compressions")
    decompressCount: int = u32(176, "counter", "number", "sum", "network", "dcmprs", "decompressions")
    compressionKbIn: int = u32(180, "counter", "kilobytes", "sum", "network", "cmprIn", "data that went into compression")
    compressionKbOut: int = u32(184, "counter", "kilobytes", "sum", "network", "cmprOut", "data that came out of compression")
    decompressionKbIn: int = u32(188, "counter", "kilobytes", "sum", "network", "dcmprIn", "data that went into decompression")
    decompressionKbOut: int = u32(192, "counter", "kilobytes", "sum", "network", "dcmprOut", "data that came out of decompression")
    clientSigAbortsSent: int = u32(196, "counter", "number", "sum", "sessions", "sigAbSnt", "SigAborts sent to the client")
    clientLostOtsSent: int = u32(200, "counter", "number", "sum", "sessions", "lostSent", "LostOts sent to the client")
    clientPageReads: int = u32(204, "counter", "number", "sum", "network", "pgReads", "pages read for the client")
    clientPageReadsCommit: int = u32(208, "counter", "number", "sum", "commit", "pgRdCmt", "pages read for the client's commits")
    clientPageWrites: int = u32(212, "counter", "number", "sum", "network", "pgWrites", "pages written for the client")
    timePerformingReadIo: int = u32(216, "counter", "unknown", "sum", "io", "readIoT", "time spent performing reads")
    messagesToBrox: int = u32(220, "counter", "number", "sum", "network", "msgBrx", "messages to the Brox")
    messagesToBroxCommit: int = u32(224, "counter", "number", "sum", "commit", "msgCmt", "messages to the Brox for commits")
    messageKindToBrox: int = u32(228, "state", "none", "none", "network", "msgKind", "kind of the message to the Brox")
    timeWaitingForBrox: int = u32(232, "counter", "unknown", "sum", "waiting", "brxWaitT", "time spent waiting for the Brox")
    clientAborts: int = u32(236, "counter", "number", "sum", "commit", "aborts", "aborts of the client")
    clientCommits: int = u32(240, "counter", "number", "sum", "commit", "commits", "commits of the client")
    depMapKeysChanged: int = u32(244, "counter", "number", "sum", "objects", "depKeys", "changed keys of the dep map")
    vokHasCommitToken: int = u32(248, "flag", "none", "none", "commit", "hasToken", "whether the Vok has the commit token")
    pusherSentPages: int = u32(252, "counter", "number", "sum", "network", "pushSent", "pages that the pusher sent")
    pusherDroppedNewLife: int = u32(256, "counter", "number", "sum", "network", "pushLife", "pages that the pusher dropped for a new life")
    pusherDroppedPoorFill: int = u32(260, "counter", "number", "sum", "network", "pushFill", "pages that the pusher dropped for a poor fill")
    pusherDroppedNotInCache: int = u32(264, "counter", "number", "sum", "network", "pushNotC", "pages that the pusher dropped because they were not in the cache")
    pusherDelayMs: int = i32(268, "gauge", "milliseconds", "max", "network", "pushDly", "delay of the pusher")
    receivedPages: int = u32(272, "counter", "number", "sum", "network", "rcvd", "pages received")
    receivedPagesCacheFull: int = u32(276, "counter", "number", "sum", "network", "rcvFull", "pages received while the cache was full")
    receivedPagesAlreadyInCache: int = u32(280, "counter", "number", "sum", "network", "rcvInC", "pages received that were already in the cache")
    receivedPagesReadInProgress: int = u32(284, "counter", "number", "sum", "network", "rcvInRd", "pages received while a read of them was in progress")
    timePerformingReadRequests: int = u32(288, "counter", "unknown", "sum", "network", "readReqT", "time spent performing read requests")
    timeWaitingForCommit: int = u32(292, "counter", "unknown", "sum", "commit", "cmtWaitT", "time spent waiting for commits")
    timeProcessingCommit: int = u32(296, "counter", "unknown", "sum", "commit", "cmtProcT", "time spent processing commits")
    gcLockKind: int = u32(300, "state", "none", "none", "gc", "gcLock", "kind of the garbage collection lock")
    timeBroxCommit: int = u32(304, "counter", "unknown", "sum", "commit", "cmtBrxT", "time of commits in the Brox")


@layout
class PgsvrRecord(AnyPgsvrRecord):
    """page server of a Vok, main thread (SHRPC_VOK_PGSVR_MAIN)."""


@layout
class VokRecord(Record):
    """Vok session, main thread (SHRPC_VOK)."""

    sigAbortsSent: int = u32(152, "counter", "number", "sum", "sessions", "sigAbSnt", "SigAborts sent")
    lostOtsSent: int = u32(156, "counter", "number", "sum", "sessions", "lostSent", "LostOts sent")
    commitCount: int = u32(160, "counter", "number", "sum", "commit", "commits", "commits that succeeded")
    failedCommitCount: int = u32(164, "counter", "number", "sum", "commit", "failed", "commits that failed")
    abortCount: int = u32(168, "counter", "number", "sum", "commit", "aborts", "aborts")
    objsCommitted: int = u32(172, "counter", "number", "sum", "objects", "objs", "objects committed")
    newObjsCommitted: int = u32(176, "counter", "number", "sum", "objects", "newObjs", "new objects committed")
    objsCommittedNotLogged: int = u32(180, "counter", "number", "sum", "objects", "objsNoLg", "objects committed without being logged")
    newObjsCommittedNotLogged: int = u32(184, "counter", "number", "sum", "objects", "newNoLg", "new objects committed without being logged")
    objectsRead: int = u32(188, "counter", "number", "sum", "objects", "objRead", "objects read")
    objectsReadTracked: int = u32(192, "counter", "number", "sum", "objects", "objRdTrk", "objects read under read tracking")
    classesRead: int = u32(196, "counter", "number", "sum", "objects", "clsRead", "classes read")
    classesCreated: int = u32(200, "counter", "number", "sum", "objects", "clsNew", "classes created")
    methodsRead: int = u32(204, "counter", "number", "sum", "objects", "mthRead", "methods read")
    objectsRefreshed: int = u32(208, "counter", "number", "sum", "objects", "objRefr", "objects refreshed")
    objectsSelectiveAborted: int = u32(212, "counter", "number", "sum", "objects", "objSelAb", "objects aborted selectively")
    primSelectiveAbort: int = u32(216, "counter", "number", "sum", "commit", "primSlAb", "selective aborts by primitive")
    numberOfScavenges: int = u32(220, "counter", "number", "sum", "gc", "scavs", "scavenges")
    almostOutOfMemoryCount: int = u32(224, "counter", "number", "sum", "memory", "almOutMm", "times that memory was almost used up")
    timeInScavenge: int = u32(228, "counter", "unknown", "sum", "gc", "scavT", "time spent in scavenges")
    numberOfMarkSweeps: int = u32(232, "counter", "number", "sum", "gc", "mkSws", "mark-sweeps")
    timeInMarkSweep: int = u32(236, "counter", "unknown", "sum", "gc", "mkSwT", "time spent in mark-sweeps")
    numRefsStubbedMarkSweep: int = u32(240, "counter", "number", "sum", "gc", "stubMkSw", "references stubbed by mark-sweeps")
    numRefsStubbedScavenge: int = u32(244, "counter", "number", "sum", "gc", "stubScav", "references stubbed by scavenges")
    numSoftRefsCleared: int = u32(248, "counter", "number", "sum", "gc", "softClr", "soft references cleared")
    numLiveSoftRefs: int = u32(252, "gauge", "number", "sum", "gc", "softLive", "live soft references")
    numNonNilSoftRefs: int = u32(256, "gauge", "number", "sum", "gc", "softSet", "soft references that are not nil")
    numEphemerons: int = u32(260, "gauge", "number", "sum", "gc", "ephem", "ephemerons")
    totEphemeronsFired: int = u32(264, "counter", "number", "sum", "gc", "ephFired", "ephemerons fired in total")
    codeGenGcCount: int = u32(268, "counter", "number", "sum", "gc", "codeGcs", "garbage collections of the code generation")
    pomGenScavCount: int = u32(272, "counter", "number", "sum", "gc", "pomScavs", "scavenges of the POM generation")
    scavengeOverflows: int = u32(276, "counter", "number", "sum", "gc", "scavOvfl", "overflows of scavenges")
    codeCacheSizeKBytes: int = u32(280, "gauge", "kilobytes", "sum", "memory", "codeSz", "size of the code cache")
    newGenSizeKBytes: int = u32(284, "gauge", "kilobytes", "sum", "memory", "newGenSz", "size of the new generation")
    oldGenSizeKBytes: int = u32(288, "gauge", "kilobytes", "sum", "memory", "oldGenSz", "size of the old generation")
    pomGenSizeKBytes: int = u32(292, "gauge", "kilobytes", "sum", "memory", "pomGenSz", "size of the POM generation")
    permGenSizeKBytes: int = u32(296, "gauge", "kilobytes", "sum", "memory", "permSz", "size of the perm generation")
    meSpaceUsedKBytes: int = u32(300, "gauge", "kilobytes", "sum", "memory", "meUsed", "ME space used")
    meSpaceAllocatedKBytes: int = u32(304, "gauge", "kilobytes", "sum", "memory", "meAlloc", "ME space allocated")
    workingSetSize: int = u32(308, "gauge", "number", "sum", "memory", "wset", "size of the working set")
    exportedSetSize: int = u32(312, "gauge", "number", "sum", "memory", "exported", "size of the exported set")
    exportedSetSizePinnedInMemory: int = u32(316, "gauge", "number", "sum", "memory", "exportPn", "size of the exported set that is pinned in memory")
    dirtyListSize: int = u32(320, "gauge", "number", "sum", "memory", "dirtyLst", "size of the dirty list")
    messagesToBrx: int = u32(324, "counter", "number", "sum", "network", "msgBrx", "messages to the Brox")
    newSymbolRequests: int = u32(328, "counter", "number", "sum", "objects", "symReq", "requests for new symbols")
    timeWaitingForSymbols: int = u32(332, "counter", "unknown", "sum", "waiting", "symWaitT", "time spent waiting for symbols")
    newSymbolsCount: int = u32(336, "counter", "number", "sum", "objects", "newSyms", "new symbols")
    omKBytesFlushed: int = u32(340, "counter", "kilobytes", "sum", "memory", "omFlush", "flushed by OM")
    vokFreePages: int = u32(344, "gauge", "number", "sum", "io", "freePg", "free pages of the Vok")
    voteNotDead: int = u32(348, "gauge", "number", "max", "gc", "notDead", "objects voted not dead")
    transLevel: int = i32(352, "gauge", "number", "max", "commit", "tranLvl", "level of the transaction")
    timeInPgsvrNetReads: int = u32(356, "counter", "unknown", "sum", "network", "pgNetRdT", "time spent in network reads from page servers")
    timeInPgsvrNetWrites: int = u32(360, "counter", "unknown", "sum", "network", "pgNetWrT", "time spent in network writes to page servers")
    shadowedPagesCount: int = u32(364, "gauge", "number", "sum", "io", "shadowed", "shadowed pages")
    priorityScavPagesCount: int = u32(368, "counter", "number", "sum", "gc", "prScavPg", "pages scavenged with priority")
    commitsAfterReplay: int = u32(372, "counter", "number", "sum", "commit", "cmtReply", "commits after a replay")
    rcConflictCount: int = u32(376, "counter", "number", "sum", "commit", "rcConfl", "RC conflicts")
    commitRetryFailureCount: int = u32(380, "counter", "number", "sum", "commit", "cmtRtyFl", "failures of commit retries")
    pageReadsWaitingForCommit: int = u32(384, "counter", "number", "sum", "commit", "pgRdWt", "page reads while waiting for a commit")
    pageReadsProcessingCommit: int = u32(388, "counter", "number", "sum", "commit", "pgRdPr", "page reads while processing a commit")
    pageReadsBroxCommit: int = u32(392, "counter", "number", "sum", "commit", "pgRdBrx", "page reads during the Brox's commit")
    messagesToBrxWaitingForCommit: int = u32(396, "counter", "number", "sum", "commit", "msgWt", "messages to the Brox while waiting for a commit")
    messagesToBrxProcessingCommit: int = u32(400, "counter", "number", "sum", "commit", "msgPr", "messages to the Brox while processing a commit")
    messagesToBrxBroxCommit: int = u32(404, "counter", "number", "sum", "commit", "msgBxCm", "messages to the Brox during the Brox's commit")
    messageKindToBrox: int = u32(408, "state", "none", "none", "network", "msgKind", "kind of the message to the Brox")
    timeWaitingForBrox: int = u32(412, "counter", "unknown", "sum", "waiting", "brxWaitT", "time spent waiting for the Brox")
    updateUnionsCommitCount: int = u32(416, "counter", "number", "sum", "commit", "unions", "updates of unions for commits")
    timeInUpdateUnionsCommit: int = u32(420, "counter", "unknown", "sum", "commit", "unionsT", "time spent in updates of unions for commits")
    rebuildScavPagesForCommitCount: int = u32(424, "counter", "number", "sum", "commit", "rbldScav", "rebuilds of scavengable pages for commits")
    crReadAbort: int = u32(428, "counter", "number", "sum", "commit", "crRdAb", "commit records read for aborts")
    crReadCommitWithToken: int = u32(432, "counter", "number", "sum", "commit", "crRdTok", "commit records read for commits with the commit token")
    crReadCommitBeforeCommitQueue: int = u32(436, "counter", "number", "sum", "commit", "crRdBef", "commit records read for commits before the commit queue")
    crReadCommitInCommitQueue: int = u32(440, "counter", "number", "sum", "commit", "crRdQue", "commit records read for commits in the commit queue")
    sigAbortsReceived: int = u32(444, "counter", "number", "sum", "sessions", "sigAbRcv", "SigAborts received")
    lostOtsReceived: int = u32(448, "counter", "number", "sum", "sessions", "lostRcvd", "LostOts received")
    vokHasCommitToken: int = u32(452, "flag", "none", "none", "commit", "hasToken", "whether the Vok has the commit token")
    tempObjSpacePercentUsed: int = u32(456, "gauge", "percent", "max", "memory", "tmpUsed", "temporary object space in use")
    tciRpcCommandsServiced: int = u32(460, "counter", "number", "sum", "network", "tciCmds", "TCI RPC commands serviced")
    persistentPagesCommittedCount: int = u32(464, "counter", "number", "sum", "io", "perPgCmt", "persistent pages committed")
    dataPagesCommitted: int = u32(468, "counter", "number", "sum", "io", "dataPgCm", "data pages committed")
    sleepDuringDisposeTempPageCount: int = u32(472, "counter", "number", "sum", "io", "dispSlp", "sleeps during the disposal of temporary pages")
    depMapKeysChanged: int = u32(476, "counter", "number", "sum", "objects", "depKeys", "changed keys of the dep map")
    tciPhysBytesSent: int = u32(480, "counter", "bytes", "sum", "network", "tciPhSnt", "physical bytes that TCI sent")
    tciPhysBytesRcvd: int = u32(484, "counter", "bytes", "sum", "network", "tciPhRcv", "physical bytes that TCI received")
    tciBytesSent: int = u32(488, "counter", "bytes", "sum", "network", "tciSent", "bytes that TCI sent")
    tciBytesRcvd: int = u32(492, "counter", "bytes", "sum", "network", "tciRcvd", "bytes that TCI received")
    tranlogBuffersWritten: int = u32(496, "counter", "number", "sum", "log", "tlogBufs", "transaction log buffers written")
    tranlogKBytesWritten: int = u32(500, "counter", "kilobytes", "sum", "log", "tlogKB", "written to the transaction log")
    timeInUserActions: int = u32(504, "counter", "unknown", "sum", "threads", "userActT", "time spent in user actions")
    tciRpcLastCommandServiced: int = u32(508, "identifier", "none", "none", "network", "tciLast", "TCI RPC command that was serviced last")
    tciRpcTimeInLastCommand: int = u32(512, "gauge", "unknown", "max", "network", "tciLastT", "time spent in the last TCI RPC command")
    tciRpcTimeInClientRequests: int = u32(516, "counter", "unknown", "sum", "network", "tciReqT", "time spent in TCI RPC client requests")
    permGenObjsChanged: int = u32(520, "gauge", "number", "sum", "memory", "permChg", "changed objects of the perm generation")
    permGenObjsChangedTotal: int = u32(524, "counter", "number", "sum", "memory", "permChgN", "changed objects of the perm generation in total")
    workingSetObjsChanged: int = u32(528, "gauge", "number", "sum", "memory", "wsetChg", "changed objects of the working set")
    workingSetObjsChangedTotal: int = u32(532, "counter", "number", "sum", "memory", "wsetChgN", "changed objects of the working set in total")
    workingSetClearedCount: int = u32(536, "counter", "number", "sum", "memory", "wsetClr", "times that the working set was cleared")
    primitiveNumber: int = u32(540, "identifier", "none", "none", "threads", "primNum", "number of the primitive")
    gcState: int = u32(544, "state", "none", "none", "gc", "gcSt", "state of the garbage collection")
    voteOnDeadCount: int = u32(548, "counter", "number", "sum", "gc", "votes", "votes on dead objects")
    permGenFullCount: int = u32(552, "counter", "number", "sum", "memory", "permFull", "times that the perm generation was full")
    oldGenFullCount: int = u32(556, "counter", "number", "sum", "memory", "oldFull", "times that the old generation was full")
    lastMarkSweepReasonCode: int = u32(560, "state", "none", "none", "gc", "mkSwWhy", "reason of the last mark-sweep")
    lastScavengeReasonCode: int = u32(564, "state", "none", "none", "gc", "scavWhy", "reason of the last scavenge")
    scavsPromToMkSwCount: int = u32(568, "counter", "number", "sum", "gc", "scavProm", "scavenges promoted to mark-sweeps")
    clientPid: int = u32(572, "identifier", "none", "none", "sessions", "client", "process id of the client")
    vokTempObjSizeKb: int = u32(576, "gauge", "kilobytes", "sum", "memory", "tmpObjSz", "size of the Vok's temporary objects")
    memoryFootPrintKb: int = u32(580, "gauge", "kilobytes", "sum", "memory", "footprnt", "memory footprint")
    mtMaxThreads: int = u32(584, "gauge", "number", "max", "threads", "mtMax", "greatest number of MT threads")
    mtThreadsLimit: int = u32(588, "gauge", "number", "max", "threads", "mtLimit", "limit of MT threads")
    mtPercentCpuActiveLimit: int = u32(592, "gauge", "percent", "max", "threads", "mtCpuLim", "limit of active CPU for MT")
    mtActiveThreads: int = u32(596, "gauge", "number", "sum", "threads", "mtActive", "active MT threads")
    mlClearAllCount: int = u32(600, "counter", "number", "sum", "memory", "mlClear", "times that ML cleared all")
    lastErrorNumber: int = u32(604, "identifier", "none", "none", "sessions", "lastErr", "number of the last error")
    continueTransactionCount: int = u32(608, "counter", "number", "sum", "commit", "contTran", "continued transactions")
    readLocksSize: int = u32(612, "gauge", "number", "sum", "locks", "rdLocks", "size of the set of read locks")
    writeLocksSize: int = u32(616, "gauge", "number", "sum", "locks", "wrLocks", "size of the set of write locks")
    afterLogoutState: int = u32(620, "state", "none", "none", "sessions", "logoutSt", "state after logout")
    objectsReadDuringTraversal: int = u32(624, "counter", "number", "sum", "objects", "objRdTrv", "objects read during traversal")
    otdataPageReadsDuringTraversal: int = u32(628, "counter", "number", "sum", "io", "pgRdTrv", "OT and data page reads during traversal")
    failedAttemptedCommitCount: int = u32(632, "counter", "number", "sum", "commit", "failAtt", "attempted commits that failed")
    lastFailedCommitReasonCode: int = u32(636, "state", "none", "none", "commit", "failWhy", "reason of the last failed commit")
    voteClosureObjects: int = u32(640, "gauge", "number", "max", "gc", "voteClos", "objects of the vote closure")
    objectForOopCount: int = u32(644, "counter", "number", "sum", "objects", "objForOp", "look-ups of the object for an OOP")
    rcReadSetSize: int = u32(648, "gauge", "number", "sum", "commit", "rcRdSet", "size of the RC read set")
    rcReadSetSizeLastCommit: int = u32(652, "gauge", "number", "max", "commit", "rcRdSetL", "size of the RC read set at the last commit")
    tciRpcKeepAlivePacketCount: int = u32(656, "counter", "number", "sum", "network", "tciKeep", "TCI RPC keep-alive packets")
    timeWaitingForCommit: int = u32(660, "counter", "unknown", "sum", "commit", "cmtWaitT", "time spent waiting for commits")
    timeProcessingCommit: int = u32(664, "counter", "unknown", "sum", "commit", "cmtProcT", "time spent processing commits")
    gcLockKind: int = u32(668, "state", "none", "none", "gc", "gcLock", "kind of the garbage collection lock")
    timeBroxCommit: int = u32(672, "counter", "unknown", "sum", "commit", "cmtBrxT", "time of commits in the Brox")
    secondsSinceAbort: int = i32(676, "gauge", "seconds", "max", "commit", "sAbort", "seconds since an abort")
    secondsSinceCommit: int = i32(680, "gauge", "seconds", "max", "commit", "sCommit", "seconds since a commit")
    secondsSinceLogin: int = i32(684, "gauge", "seconds", "max", "sessions", "sLogin", "seconds since the login")
    secondsSinceSigAbort: int = i32(688, "gauge", "seconds", "max", "sessions", "sSigAb", "seconds since a SigAbort")
    secondsSinceSigLostOt: int = i32(692, "gauge", "seconds", "max", "sessions", "sLostOt", "seconds since a SigLostOt")
    secondsSinceStartLongPrim: int = i32(696, "gauge", "seconds", "max", "threads", "sLongPrm", "seconds since the start of a long primitive")
    secondsSinceFailedCommit: int = i32(700, "gauge", "seconds", "max", "commit", "sFail", "seconds since a failed commit")
    vokKind: int = i32(704, "state", "none", "none", "sessions", "kind", "kind of the Vok")
    onetimePasswordsCreated: int = u32(708, "counter", "number", "sum", "sessions", "otpNew", "one-time passwords created")
    onetimePasswordUsed: int = u32(712, "flag", "none", "none", "sessions", "otpUsed", "whether a one-time password was used")
    objectsReadInBytes: int = i64(1048, "counter", "bytes", "sum", "objects", "objRdB", "bytes of the objects read")
    commitRecordOfView: int = i64(1056, "position", "none", "none", "commit", "viewCr", "commit record of the session's view")
    lookupCacheSerialNum: int = i64(1064, "identifier", "none", "none", "objects", "lkCacheN", "serial number of the look-up cache")
    sessionStats: IntArray = i64(1072, "gauge", "none", "none", "sessions", "ses", "48 statistics that applications keep for the session", 48)
    memMappedSize: int = i64(1456, "gauge", "number", "sum", "memory", "mapped", "size of mapped memory")
    progressCount: int = i64(1464, "counter", "number", "sum", "threads", "progress", "progress of an operation")
    ffiHeapBytes: int = i64(1472, "gauge", "bytes", "sum", "memory", "ffiHeap", "FFI heap")
    ffiGcHeapBytes: int = i64(1480, "gauge", "bytes", "sum", "memory", "ffiGcHp", "garbage-collected FFI heap")
    indexProgressCount: int = i64(1488, "counter", "number", "sum", "threads", "idxProgr", "progress of an index operation")
    timeLastAbort: int = i64(1648, "time", "none", "none", "commit", "tAbort", "time of the last abort")
    timeLastCommit: int = i64(1656, "time", "none", "none", "commit", "tCommit", "time of the last commit")
    timeLastLogin: int = i64(1664, "time", "none", "none", "sessions", "tLogin", "time of the last login")
    timeLastSigAbort: int = i64(1672, "time", "none", "none", "sessions", "tSigAb", "time of the last SigAbort")
    timeLastSigLostOt: int = i64(1680, "time", "none", "none", "sessions", "tLostOt", "time of the last SigLostOt")
    timeLastStartLongPrim: int = i64(1688, "time", "none", "none", "threads", "tLongPrm", "time that a long primitive was last started")
    timeLastFailedCommit: int = i64(1696, "time", "none", "none", "commit", "tFail", "time of the last failed commit")


@layout
class StatmonRecord(Record):
    """statistics monitor (SHRPC_STATMON)."""


@layout
class AppRecord(Record):
    """application (SHRPC_APP)."""


@layout
class PscRecord(Record):
    """PSC process (SHRPC_PSC)."""


@layout
class PagemgrRecord(Record):
    """page manager (SHRPC_PAGEMGR)."""

    pageMgrPagesReceivedFromBroxCount: int = u32(152, "counter", "number", "sum", "cache", "pgRecvd", "pages received from the Brox")
    pageMgrRemoveFromCachesCount: int = u32(156, "counter", "number", "sum", "cache", "removes", "removals from caches")
    pageMgrRemoveFromCachesPageCount: int = u32(160, "counter", "number", "sum", "cache", "remPages", "pages to be removed from caches")
    pageMgrPagesPendingRemovalRetryCount: int = u32(164, "gauge", "number", "sum", "cache", "retryPnd", "pages whose removal is still to be tried again")
    pageMgrPagesRemovedFromCachesCount: int = u32(168, "counter", "number", "sum", "cache", "removed", "pages removed from caches")
    pageMgrPagesNotRemovedFromCachesCount: int = u32(172, "counter", "number", "sum", "cache", "notRem", "pages not removed from caches")
    pageMgrRemovePagesFromCachesPollCount: int = u32(176, "counter", "number", "sum", "cache", "remPolls", "polls for the removal of pages from caches")
    pageMgrTimeWaitingForCachePgsvrs: int = u32(180, "counter", "unknown", "sum", "network", "pgsvrWtT", "time spent waiting for cache page servers")
    pagemgrThreadWakeups: int = u32(184, "counter", "number", "sum", "threads", "wakeups", "wake-ups of the page manager thread")
    pagemgrSleepState: int = u32(188, "state", "none", "none", "threads", "sleepSt", "state of the page manager's sleep")
    pagemgrSleepMs: int = u32(192, "gauge", "milliseconds", "max", "threads", "sleep", "sleep of the page manager")
    pagemgrPolls: int = u32(196, "counter", "number", "sum", "threads", "polls", "polls of the page manager")
    pageMgrPageRemovalRetryCount: int = u32(200, "counter", "number", "sum", "cache", "retries", "removals of pages that were tried again")
    pageMgrRemoteCachePgsvrTimeout: int = u32(204, "gauge", "unknown", "max", "network", "rmTmout", "time-out for page servers of remote caches")
    pageMgrPrintTimeoutThreshold: int = u32(208, "gauge", "unknown", "max", "network", "prTmout", "threshold above which time-outs are printed")
    pageMgrCompressionEnabled: int = u32(212, "flag", "none", "none", "network", "compr", "whether compression is enabled")
    pageMgrRemoveMinPages: int = u32(216, "gauge", "number", "max", "cache", "remMin", "least number of pages to remove")
    pageMgrRemoveMaxPages: int = u32(220, "gauge", "number", "max", "cache", "remMax", "greatest number of pages to remove")
    pageMgrRemoveFrameId: int = u32(224, "identifier", "none", "none", "cache", "remFrame", "frame of the removal")
    pageMgrRemovePageId: int = u64(1048, "identifier", "none", "none", "cache", "remPage", "page of the removal")


@layout
class RestorethrRecord(Record):
    """Brox restore thread (SHRPC_BrxRestoreThr)."""

    commitCount: int = u64(1048, "counter", "number", "sum", "commit", "commits", "commits restored")
    checkpointCount: int = u64(1056, "counter", "number", "sum", "io", "ckpts", "checkpoints")
    recovSkippedCheckpointCount: int = u64(1064, "counter", "number", "sum", "log", "ckptSkip", "checkpoints that recovery skipped")


@layout
class VokthrRecord(Record):
    """Vok session, further thread (SHRPC_VokThr)."""

    vokKind: int = i32(152, "state", "none", "none", "sessions", "kind", "kind of the Vok")
    sessionStats: IntArray = i64(1048, "gauge", "none", "none", "sessions", "ses", "48 statistics that applications keep for the session", 48)
    memMappedSize: int = i64(1432, "gauge", "number", "sum", "memory", "mapped", "size of mapped memory")
    progressCount: int = i64(1440, "counter", "number", "sum", "threads", "progress", "progress of an operation")


@layout
class AiothrRecord(Record):
    """Brox asynchronous I/O thread (SHRPC_BrxAioThr)."""

    dirtyPageSweepCount: int = u32(152, "counter", "number", "sum", "cache", "sweeps", "sweeps for dirty pages")
    nextSleepTimeMs: int = u32(156, "gauge", "milliseconds", "max", "threads", "nextSlp", "duration of the next sleep")
    clockHandFrameId: int = u32(160, "identifier", "none", "none", "cache", "clkHand", "frame that the clock hand is at")
    cacheRegionNumFrames: int = u32(164, "gauge", "number", "sum", "cache", "region", "frames of the cache region")
    scanLimitNumFrames: int = u32(168, "gauge", "number", "max", "cache", "scanLim", "frames that limit a scan")
    freeFrameLowerLimt: int = u32(172, "gauge", "number", "max", "cache", "frLower", "lower limit of free frames")
    freeFrameUpperLimit: int = u32(176, "gauge", "number", "max", "cache", "frUpper", "upper limit of free frames")
    freeFrameListOkLimit: int = u32(180, "gauge", "number", "max", "cache", "frOkLim", "limit from which the free frame list is in order")
    aioDirtyCount: int = u32(184, "counter", "number", "sum", "io", "aioDirty", "asynchronous I/Os of dirty pages")
    aioCkptCount: int = u32(188, "counter", "number", "sum", "io", "aioCkpt", "asynchronous I/Os for checkpoints")
    aioRateLimit: int = u32(192, "gauge", "number", "max", "io", "rateLim", "limit of the I/O rate, per an unrecorded time")
    aioRateMax: int = u32(196, "gauge", "number", "max", "io", "rateMax", "greatest I/O rate, per an unrecorded time")
    targetPercentDirty: int = u32(200, "gauge", "percent", "max", "cache", "tgtDirty", "share of dirty pages aimed at")
    asyncFlushesInProgress: int = i32(204, "gauge", "number", "sum", "io", "flushes", "asynchronous flushes in progress")
    postCheckpointPages: int = u32(208, "gauge", "number", "sum", "io", "postCkpt", "pages after the checkpoint")
    pgsvrCheckpointState: int = u32(212, "state", "none", "none", "io", "ckptSt", "state of the checkpoint in the page server")
    aioWriteFailures: int = u32(216, "counter", "number", "sum", "io", "aioWrFl", "failed writes of asynchronous I/O")


@layout
class FfthrRecord(Record):
    """free-frame thread (SHRPC_FF_Thr)."""

    dirtyPageSweepCount: int = u32(152, "counter", "number", "sum", "cache", "sweeps", "sweeps for dirty pages")
    nextSleepTimeMs: int = u32(156, "gauge", "milliseconds", "max", "threads", "nextSlp", "duration of the next sleep")
    clockHandFrameId: int = u32(160, "identifier", "none", "none", "cache", "clkHand", "frame that the clock hand is at")
    cacheRegionNumFrames: int = u32(164, "gauge", "number", "sum", "cache", "region", "frames of the cache region")
    scanLimitNumFrames: int = u32(168, "gauge", "number", "max", "cache", "scanLim", "frames that limit a scan")
    freeFrameLowerLimt: int = u32(172, "gauge", "number", "max", "cache", "frLower", "lower limit of free frames")
    freeFrameUpperLimit: int = u32(176, "gauge", "number", "max", "cache", "frUpper", "upper limit of free frames")
    freeFrameListOkLimit: int = u32(180, "gauge", "number", "max", "cache", "frOkLim", "limit from which the free frame list is in order")


@layout
class CachepgsvrRecord(Record):
    """cache page server (SHRPC_CACHE_PGSVR)."""

    clientPid: int = u32(152, "identifier", "none", "none", "sessions", "client", "process id of the client")
    compressionTimeReal: int = u32(156, "counter", "unknown", "sum", "network", "cmprT", "real time spent in compression")
    compressionTimeCpu: int = u32(160, "counter", "unknown", "sum", "network", "cmprCpu", "CPU time spent in compression")
    decompressionTimeReal: int = u32(164, "counter", "unknown", "sum", "network", "dcmprT", "real time spent in decompression")
    decompressionTimeCpu: int = u32(168, "counter", "unknown", "sum", "network", "dcmprCpu", "CPU time spent in decompression")
    compressCount: int = u32(172, "counter", "number", "sum", "network", "cmprs", "compressions")
    decompressCount: int = u32(176, "counter", "number", "sum", "network", "dcmprs", "decompressions")
    compressionKbIn: int = u32(180, "counter", "kilobytes", "sum", "network", "cmprIn", "data that went into compression")
    compressionKbOut: int = u32(184, "counter", "kilobytes", "sum", "network", "cmprOut", "data that came out of compression")
    decompressionKbIn: int = u32(188, "counter", "kilobytes", "sum", "network", "dcmprIn", "data that went into decompression")
    decompressionKbOut: int = u32(192, "counter", "kilobytes", "sum", "network", "dcmprOut", "data that came out of decompression")
    cachePgsvrRemoveFrameId: int = u32(196, "identifier", "none", "none", "cache", "remFrame", "frame of the removal")
    cachePgsvrRemovePageId: int = u64(1048, "identifier", "none", "none", "cache", "remPage", "page of the removal")


@layout
class PgsvrthrRecord(AnyPgsvrRecord):
    """page server of a Vok, further thread (SHRPC_VOK_PGSVR_THD)."""


@layout
class SystemRecord(Record):
    """system (SHRPC_SYSTEM)."""


MONITOR: Kind[MonitorRecord] = Kind("SHRPC_MONITOR", "monitor", "cache monitor", 1, MonitorRecord, ((8, 144), (152, 352), (1032, 16), (1048, 152)))
BROX: Kind[BroxRecord] = Kind("SHRPC_BROX", "brox", "repository monitor (Brox)", 2, BroxRecord, ((8, 144), (152, 876), (1032, 16), (1048, 600), (1648, 112)))
VOK_PGSVR_MAIN: Kind[PgsvrRecord] = Kind("SHRPC_VOK_PGSVR_MAIN", "pgsvr", "page server of a Vok, main thread", 4, PgsvrRecord, ((8, 144), (152, 156), (1032, 16), (1048, 0)))
VOK: Kind[VokRecord] = Kind("SHRPC_VOK", "vok", "Vok session, main thread", 8, VokRecord, ((8, 144), (152, 564), (1032, 16), (1048, 448), (1648, 56)))
STATMON: Kind[StatmonRecord] = Kind("SHRPC_STATMON", "statmon", "statistics monitor", 16, StatmonRecord, ((8, 144), (1032, 16)))
APP: Kind[AppRecord] = Kind("SHRPC_APP", "app", "application", 32, AppRecord, ((8, 144), (1032, 16)))
PSC: Kind[PscRecord] = Kind("SHRPC_PSC", "psc", "PSC process", 64, PscRecord, ((8, 144), (1032, 16)))
PAGEMGR: Kind[PagemgrRecord] = Kind("SHRPC_PAGEMGR", "pagemgr", "page manager", 128, PagemgrRecord, ((8, 144), (152, 76), (1032, 16), (1048, 8)))
BRXRESTORETHR: Kind[RestorethrRecord] = Kind("SHRPC_BrxRestoreThr", "restorethr", "Brox restore thread", 256, RestorethrRecord, ((8, 144), (1032, 16), (1048, 24)))
VOKTHR: Kind[VokthrRecord] = Kind("SHRPC_VokThr", "vokthr", "Vok session, further thread", 512, VokthrRecord, ((8, 144), (152, 4), (1032, 16), (1048, 400)))
BRXAIOTHR: Kind[AiothrRecord] = Kind("SHRPC_BrxAioThr", "aiothr", "Brox asynchronous I/O thread", 1024, AiothrRecord, ((8, 144), (152, 68), (1032, 16), (1048, 0)))
FF_THR: Kind[FfthrRecord] = Kind("SHRPC_FF_Thr", "ffthr", "free-frame thread", 2048, FfthrRecord, ((8, 144), (152, 32), (1032, 16), (1048, 0)))
CACHE_PGSVR: Kind[CachepgsvrRecord] = Kind("SHRPC_CACHE_PGSVR", "cachepgsvr", "cache page server", 4096, CachepgsvrRecord, ((8, 144), (152, 48), (1032, 16), (1048, 8)))
VOK_PGSVR_THD: Kind[PgsvrthrRecord] = Kind("SHRPC_VOK_PGSVR_THD", "pgsvrthr", "page server of a Vok, further thread", 8192, PgsvrthrRecord, ((8, 144), (152, 156), (1032, 16), (1048, 0)))
SYSTEM: Kind[SystemRecord] = Kind("SHRPC_SYSTEM", "system", "system", 16384, SystemRecord, ((8, 144), (1032, 16)))

KINDS: tuple[Kind[Record], ...] = (
    MONITOR,
    BROX,
    VOK_PGSVR_MAIN,
    VOK,
    STATMON,
    APP,
    PSC,
    PAGEMGR,
    BRXRESTORETHR,
    VOKTHR,
    BRXAIOTHR,
    FF_THR,
    CACHE_PGSVR,
    VOK_PGSVR_THD,
    SYSTEM,
)
ALL = Kinds(16383)
COMMON_FIELDS: Fields = UnknownRecord.fields

__all__ = [
    "ALL",
    "COMMON_FIELDS",
    "KINDS",
    "Record",
    "UnknownRecord",
    "MonitorRecord",
    "BroxRecord",
    "AnyPgsvrRecord",
    "PgsvrRecord",
    "VokRecord",
    "StatmonRecord",
    "AppRecord",
    "PscRecord",
    "PagemgrRecord",
    "RestorethrRecord",
    "VokthrRecord",
    "AiothrRecord",
    "FfthrRecord",
    "CachepgsvrRecord",
    "PgsvrthrRecord",
    "SystemRecord",
    "MONITOR",
    "BROX",
    "VOK_PGSVR_MAIN",
    "VOK",
    "STATMON",
    "APP",
    "PSC",
    "PAGEMGR",
    "BRXRESTORETHR",
    "VOKTHR",
    "BRXAIOTHR",
    "FF_THR",
    "CACHE_PGSVR",
    "VOK_PGSVR_THD",
    "SYSTEM",
]
