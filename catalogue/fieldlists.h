/*
 * The fields of every statistics block, one line a field:
 *
 *   FIELD(offset, type, name, meaning)
 *   ARRAY(offset, type, name, elements, meaning)
 *
 * The compiler holds each list against the block's structure: offset, type and number of
 * elements must be the member's own, and the fields must follow one another without a gap from
 * offset 0 to the end of the block. Private to the catalogue (see kindtable.h).
 *
 * The meaning follows from what the server does with a field: a sum that only grows is a
 * Counter, also one of elapsed time; what is in a queue, a pool or a cache now, a limit, an
 * average and the measure of a last event are Gauges; ids, kinds, states, reasons and flags are
 * Codes.
 */
#ifndef FIELDLISTS_H
#define FIELDLISTS_H

#include "statscatalogue.h"

#include <type_traits>

namespace statscatalogue::tables {

/* The field list of a block; the primary template serves the blocks without fields. */
template <class BlockType> struct FieldList {
    static_assert(std::is_empty_v<BlockType>, "a block with fields needs a list");
    static constexpr std::array<Field, 0> fields{};
};

template <class Element> consteval FieldType typeOf() {
    static_assert(std::is_integral_v<Element> && (sizeof(Element) == 4 || sizeof(Element) == 8));
    if (sizeof(Element) == 4) {
        return std::is_signed_v<Element> ? FieldType::I32 : FieldType::U32;
    }
    return std::is_signed_v<Element> ? FieldType::I64 : FieldType::U64;
}

/* One field, refused by the compiler when it is not the member that its block declares. */
template <class Member>
consteval Field checkedField(std::string_view name, size_t memberOffset, size_t offset,
                             FieldType type, size_t count, Meaning meaning, Unit unit,
                             Aggregation aggregation, Group group, std::string_view title,
                             std::string_view sentence) {
    constexpr size_t elements = std::is_array_v<Member> ? std::extent_v<Member> : 1;
    if (offset != memberOffset) {
        throw "the offset is not the member's";
    }
    if (type != typeOf<std::remove_extent_t<Member>>()) {
        throw "the type is not the member's";
    }
    if (count != elements) {
        throw "the number of elements is not the member's";
    }
    if (meaning == Meaning::EventTime && !std::is_same_v<Member, time_t>) {
        throw "a time stamp is a time_t";
    }
    return {name,
            title,
            sentence,
            static_cast<uint16_t>(offset),
            static_cast<uint16_t>(count),
            type,
            meaning,
            unit,
            aggregation,
            group,
            false};
}

#define ARRAY(offset, type, name, count, meaning)                                                  \
    checkedField<decltype(Block::name)>(#name, offsetof(Block, name), offset, FieldType::type,     \
                                        count, Meaning::meaning, Unit::Number, Aggregation::Sum,   \
                                        Group::Cache, "", #name)
#define FIELD(offset, type, name, meaning) ARRAY(offset, type, name, 1, meaning)

/* clang-format would fill lines with several fields. */
// clang-format off

template <> struct FieldList<ShrPcCommonStatSType> {
    using Block = ShrPcCommonStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, otPageOps, Counter),
        FIELD(4, U32, dataPageOps, Counter),
        FIELD(8, U32, bmPageOps, Counter),
        FIELD(12, U32, miscPageOps, Counter),
        FIELD(16, U32, commitRecordPageOps, Counter),
        FIELD(20, U32, localPageCacheMisses, Counter),
        FIELD(24, U32, timeInWaitsForOtherReader, Counter),
        FIELD(28, U32, waitsForOtherReader, Counter),
        FIELD(32, U32, rdbfDiskReads, Counter),
        FIELD(36, U32, rdbfDiskWrites, Counter),
        FIELD(40, U32, framesFromFreeList, Counter),
        FIELD(44, U32, framesFromFindFree, Counter),
        FIELD(48, I32, freeFrameLimit, Gauge),
        FIELD(52, U32, timeInFramesFromFindFree, Counter),
        FIELD(56, U32, framesAddedToFreeList, Counter),
        FIELD(60, U32, extentFlushCount, Counter),
        FIELD(64, I32, freeFrameCacheSize, Gauge),
        FIELD(68, U32, freeFrameCacheNumFrames, Gauge),
        FIELD(72, U32, rdbfTimeWaitingForIoMs, Counter),
        FIELD(76, U32, rdbfMicroSecsPerIoOverallAvg, Gauge),
        FIELD(80, U32, rdbfMicroSecsPerIo10Avg, Gauge),
        FIELD(84, U32, rdbfMicroSecsPerIo100Avg, Gauge),
        FIELD(88, U32, rdbfPageIoCount, Counter),
        FIELD(92, U32, freePceCacheEntries, Gauge),
        FIELD(96, U32, pcesRemovedFromFreeList, Counter),
        FIELD(100, U32, pcesAddedToFreeList, Counter),
        FIELD(104, U32, cacheSlotIndex, Identifier),
        FIELD(108, U32, pagesAddedToCacheFromDisk, Counter),
        FIELD(112, U32, pagesAddedToCacheFromPrimaryCache, Counter),
        FIELD(116, U32, pagesAddedToCacheFromMidCache, Counter),
        FIELD(120, U32, pagesAddedToCacheNewlyCreated, Counter),
        FIELD(124, U32, tempPagesAllocated, Counter),
        FIELD(128, U32, tempOopsAllocated, Counter),
        FIELD(132, I32, bmCHeapPages, Gauge),
        FIELD(136, I32, unusedStat, Gauge),
        FIELD(140, U32, pinnedPagesCount, Gauge),
    });
};

template <> struct FieldList<ShrPcCommon64StatSType> {
    using Block = ShrPcCommon64StatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, localPageCacheHits, Counter),
        FIELD(8, I64, pageLocateCount, Counter),
    });
};

template <> struct FieldList<ShrPcMonStatSType> {
    using Block = ShrPcMonStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, numberOfFreeFrames, Gauge),
        FIELD(4, U32, voksInCacheCount, Gauge),
        FIELD(8, U32, localDirtyPageCount, Gauge),
        FIELD(12, U32, globalDirtyPageCount, Gauge),
        FIELD(16, U32, lastSleepTimeBetweenScans, Gauge),
        FIELD(20, U32, lastSleepTimeWithinScan, Gauge),
        FIELD(24, U32, numRecentActiveProcesses, Gauge),
        FIELD(28, U32, vok_REP_INVALID_PAGE_KIND, Counter),
        FIELD(32, U32, vok_REP_ROOT_PAGE, Counter),
        FIELD(36, U32, vok_REP_FRAGMENT_BM_PAGE, Counter),
        FIELD(40, U32, vok_REP_COMMIT_RECORD_PAGE, Counter),
        FIELD(44, U32, vok_REP_DATA_PAGE, Counter),
        FIELD(48, U32, vok_REP_OT_INTERNAL_PAGE, Counter),
        FIELD(52, U32, vok_REP_OT_LEAF_PAGE, Counter),
        FIELD(56, U32, vok_REP_BM_INTERNAL_PAGE, Counter),
        FIELD(60, U32, vok_REP_BM_LEAF_PAGE, Counter),
        FIELD(64, U32, vok_REP_COUNT_BAG_LEAF_PAGE, Counter),
        FIELD(68, U32, vok_REP_BITLIST_PAGE, Counter),
        FIELD(72, U32, vok_REP_COUNT_BAG_INTERIOR_PAGE, Counter),
        FIELD(76, U32, vok_REP_SECURITY_ROOT_PAGE, Counter),
        FIELD(80, U32, brx_REP_INVALID_PAGE_KIND, Counter),
        FIELD(84, U32, brx_REP_ROOT_PAGE, Counter),
        FIELD(88, U32, brx_REP_FRAGMENT_BM_PAGE, Counter),
        FIELD(92, U32, brx_REP_COMMIT_RECORD_PAGE, Counter),
        FIELD(96, U32, brx_REP_DATA_PAGE, Counter),
        FIELD(100, U32, brx_REP_OT_INTERNAL_PAGE, Counter),
        FIELD(104, U32, brx_REP_OT_LEAF_PAGE, Counter),
        FIELD(108, U32, brx_REP_BM_INTERNAL_PAGE, Counter),
        FIELD(112, U32, brx_REP_BM_LEAF_PAGE, Counter),
        FIELD(116, U32, brx_REP_COUNT_BAG_LEAF_PAGE, Counter),
        FIELD(120, U32, brx_REP_BITLIST_PAGE, Counter),
        FIELD(124, U32, brx_REP_COUNT_BAG_INTERIOR_PAGE, Counter),
        FIELD(128, U32, brx_REP_SECURITY_ROOT_PAGE, Counter),
        FIELD(132, U32, spinLockPageFrameSleepCount, Counter),
        FIELD(136, U32, spinLockHashTableSleepCount, Counter),
        FIELD(140, U32, spinLockOtherSleepCount, Counter),
        FIELD(144, U32, targetFreeFrameCountStat, Gauge),
        FIELD(148, U32, pagesRemovedFromCacheCount, Counter),
        FIELD(152, U32, pagesNotRemovedFromCacheCount, Counter),
        FIELD(156, U32, pagesNotFoundInCacheCount, Counter),
        FIELD(160, U32, pagesRemovedDirtyFromCacheCount, Counter),
        FIELD(164, U32, pinnedTotalCount, Gauge),
        FIELD(168, U32, pinnedSharedCount, Gauge),
        FIELD(172, U32, pinnedDataPagesCount, Gauge),
        FIELD(176, U32, pinnedOtPagesCount, Gauge),
        FIELD(180, U32, pageServersInCacheCount, Gauge),
        FIELD(184, U32, frameCount, Gauge),
        FIELD(188, U32, spinLockCount, Gauge),
        FIELD(192, U32, numSharedCounters, Gauge),
        FIELD(196, U32, slotsCrashedCount, Gauge),
        FIELD(200, U32, totalOtPages, Gauge),
        FIELD(204, U32, totalDataPages, Gauge),
        FIELD(208, U32, totalCrPages, Gauge),
        FIELD(212, U32, totalBitmapPages, Gauge),
        FIELD(216, U32, totalOtherPages, Gauge),
        FIELD(220, U32, freePceCount, Gauge),
        FIELD(224, U32, totalFramesInFreeFrameCaches, Gauge),
        FIELD(228, U32, totalPcesInFreePceCaches, Gauge),
        FIELD(232, U32, totalProcsInCacheCount, Gauge),
        FIELD(236, U32, slotsFreeCount, Gauge),
        FIELD(240, U32, crashedSlotsInRecoveryCount, Gauge),
        FIELD(244, U32, cleanSlotsInRecoveryCount, Gauge),
        FIELD(248, U32, slotsTotalCount, Gauge),
        FIELD(252, U32, rejectedProcsCount, Counter),
        FIELD(256, U32, cleanSlotsRecoveredCount, Counter),
        FIELD(260, U32, crashedSlotsRecoveredCount, Counter),
        FIELD(264, U32, mainThreadTimeRunningMs, Counter),
        FIELD(268, U32, crashedSlotThreadTimeRunningMs, Counter),
        FIELD(272, U32, cleanSlotThreadTimeRunningMs, Counter),
        FIELD(276, U32, frameStatsThreadTimeRunningMs, Counter),
        FIELD(280, U32, procsWaitingForQueueLocks, Gauge),
        FIELD(284, U32, cacheScanCount, Counter),
        FIELD(288, U32, pagesInCacheFromDisk, Gauge),
        FIELD(292, U32, pagesInCacheFromPrimaryCache, Gauge),
        FIELD(296, U32, pagesInCacheFromMidCache, Gauge),
        FIELD(300, U32, pagesInCacheCreatedInLeafCache, Gauge),
        FIELD(304, U32, pagesInCacheCreatedInPrimaryCache, Gauge),
        FIELD(308, U32, numProcsSleepingForLock, Gauge),
        FIELD(312, U32, slotRecovThreadState, State),
        FIELD(316, U32, numHashLockTestThreads, Gauge),
        FIELD(320, U32, numFrameLockTestThreads, Gauge),
        FIELD(324, U32, timeWaitingForLockThreads, Counter),
        FIELD(328, U32, cleanSlotsWaitingForReuse, Gauge),
        FIELD(332, U32, cleanSlotsWaitingForReuseTotal, Counter),
        FIELD(336, U32, cleanSlotsWaitingForReuseTimeMs, Counter),
        FIELD(340, U32, numWorkingSetWrites, Counter),
        FIELD(344, U32, cacheIdle, Flag),
        FIELD(348, U32, vokThreadsInCacheCount, Gauge),
    });
};

template <> struct FieldList<ShrPcMonStat64SType> {
    using Block = ShrPcMonStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, totalLocalPageCacheHits, Counter),
        FIELD(8, I64, totalLocalPageCacheMisses, Counter),
        FIELD(16, I64, totalWaitsForOtherReader, Counter),
        FIELD(24, I64, totalPageReads, Counter),
        FIELD(32, I64, totalPageWrites, Counter),
        FIELD(40, I64, totalFramesFromFreeList, Counter),
        FIELD(48, I64, totalFramesFromFindFree, Counter),
        FIELD(56, I64, totalFramesAddedToFreeList, Counter),
        FIELD(64, I64, totalOtPageReads, Counter),
        FIELD(72, I64, totalDataPageReads, Counter),
        FIELD(80, I64, totalBmPageReads, Counter),
        FIELD(88, I64, totalMiscPageReads, Counter),
        FIELD(96, I64, totalPcesRemovedFromFreeList, Counter),
        FIELD(104, I64, totalCommitRecordPageReads, Counter),
        FIELD(112, I64, totalPagesAddedToCacheFromDisk, Counter),
        FIELD(120, I64, totalPagesAddedToCacheFromPrimaryCache, Counter),
        FIELD(128, I64, totalPagesAddedToCacheFromMidCache, Counter),
        FIELD(136, I64, totalPagesAddedToCacheNewlyCreated, Counter),
        FIELD(144, I64, totalPcesAddedToFreeList, Counter),
    });
};

template <> struct FieldList<ShrPcBrxStatSType> {
    using Block = ShrPcBrxStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, numberOfCommitRecords, Gauge),
        FIELD(4, U32, logRecordId, Position),
        FIELD(8, U32, logBuffersWritten, Counter),
        FIELD(12, U32, logIoCount, Counter),
        FIELD(16, U32, logFileId, Position),
        FIELD(20, U32, readTrackFileSize, Gauge),
        FIELD(24, U32, readTrackServiceCount, Counter),
        FIELD(28, U32, checkpointCount, Counter),
        FIELD(32, U32, completedCheckpointCount, Counter),
        FIELD(36, U32, numInCommitQueue, Gauge),
        FIELD(40, U32, numInNotifyQueue, Gauge),
        FIELD(44, U32, numInCacheStartQueue, Gauge),
        FIELD(48, U32, numInRunQueue, Gauge),
        FIELD(52, U32, numInSymbolCreateQueue, Gauge),
        FIELD(56, U32, numInPageWaitQueue, Gauge),
        FIELD(60, U32, numInLogWaitQueue, Gauge),
        FIELD(64, U32, numInLogAioQueue, Gauge),
        FIELD(68, U32, numInLogBufQueue, Gauge),
        ARRAY(72, U32, numInObjWaitQueue, 10, Gauge),
        FIELD(112, U32, numInLockReqQueue, Gauge),
        FIELD(116, U32, logBufQueueAdds, Counter),
        FIELD(120, U32, logAioQueueAdds, Counter),
        FIELD(124, U32, tempPagesDisposed, Counter),
        FIELD(128, U32, persistentPagesDisposed, Counter),
        FIELD(132, U32, freePages, Gauge),
        FIELD(136, U32, gcWsUnionSweepCount, Counter),
        FIELD(140, U32, timeInPgsvrNetReads, Counter),
        FIELD(144, U32, timeInPgsvrNetWrites, Counter),
        FIELD(148, U32, txMsgCount, Counter),
        FIELD(152, U32, txMsgSessionId, Identifier),
        FIELD(156, U32, txMsgKind, State),
        FIELD(160, U32, brxLoopState, State),
        FIELD(164, U32, deferCkptCompleteCount, Counter),
        FIELD(168, U32, timeInBrxGetLocks, Counter),
        FIELD(172, U32, brxGetLocksCount, Counter),
        FIELD(176, U32, totalSessionsCount, Gauge),
        FIELD(180, U32, userSessionsCount, Gauge),
        FIELD(184, U32, commitTokenSession, Identifier),
        FIELD(188, U32, timeInCommitRecordDisposal, Counter),
        FIELD(192, U32, commitRecordDisposalState, State),
        FIELD(196, U32, commitRecordsDisposedCount, Counter),
        FIELD(200, U32, commitRecordsDisposedNotCached, Counter),
        FIELD(204, U32, commitQueueSessionNotReadyCount, Counter),
        FIELD(208, U32, commitQueueHeadNotReadyCount, Counter),
        FIELD(212, U32, commitQueueHeadNoMsg, Counter),
        FIELD(216, U32, commitQueueNotSerializing, Counter),
        FIELD(220, U32, commitQueueSymbolWait, Counter),
        FIELD(224, U32, commitQueueAddedToRunQueueCount, Counter),
        FIELD(228, U32, commitQueueAddedToRunQueueSessionCount, Counter),
        FIELD(232, U32, broxCommitState, State),
        FIELD(236, U32, commitQueueThreshold, Gauge),
        FIELD(240, U32, commitRecordDisposalsDeferredCount, Counter),
        FIELD(244, U32, brxLoopHibernateCount, Counter),
        FIELD(248, U32, recoverReclaimOopsWaitTime, Counter),
        FIELD(252, U32, recoverFreeFrameWaitTime, Counter),
        FIELD(256, U32, recoverReadThreadWaitTime, Counter),
        FIELD(260, U32, recoverNumBufs, Gauge),
        FIELD(264, U32, recoverNumBufsInWorkQueue, Gauge),
        FIELD(268, U32, recoverNumBufsInFreeList, Gauge),
        FIELD(272, U32, recoverNumBufsForSessions, Gauge),
        FIELD(276, U32, oldestCrSession, Identifier),
        FIELD(280, U32, oldestCrSessNotInTrans, Identifier),
        FIELD(284, U32, gcVoteState, State),
        FIELD(288, U32, waitingForSessionToVote, Identifier),
        FIELD(292, U32, tranlogsFull, Flag),
        FIELD(296, U32, timePerformingCommit, Counter),
        FIELD(300, U32, remoteSharedPageCacheCount, Gauge),
        FIELD(304, U32, oopsReturnedByVoksCount, Counter),
        FIELD(308, U32, pagesReturnedByVoksCount, Counter),
        FIELD(312, U32, pagesWaitingForPagemgr, Gauge),
        FIELD(316, U32, pagesWaitingForRemoval, Gauge),
        FIELD(320, U32, timeInBroxPageDisposal, Counter),
        FIELD(324, U32, remoteCachesNeedServiceCount, Gauge),
        FIELD(328, U32, remoteCacheReconnectCount, Counter),
        FIELD(332, U32, remoteCacheTimeoutCount, Counter),
        FIELD(336, U32, lastSmcQueueSize, Gauge),
        FIELD(340, I32, sessionsWithGcLock, Gauge),
        FIELD(344, U32, numInNetWriteQueue, Gauge),
        FIELD(348, U32, commitsSinceLastEpoch, Gauge),
        FIELD(352, U32, numInMainInpQueue, Gauge),
        FIELD(356, U32, numVotingSessions, Gauge),
        FIELD(360, U32, numInLostOtQueue, Gauge),
        FIELD(364, U32, numInReadTrackQueue, Gauge),
        FIELD(368, U32, numInSecurityDataQueue, Gauge),
        FIELD(372, U32, brxMainWaitsForFreeAio, Counter),
        FIELD(376, U32, aioNumEmptyBuffers, Gauge),
        FIELD(380, U32, aioNumBuffers, Gauge),
        FIELD(384, U32, numInPgsvrWaitQueue, Gauge),
        FIELD(388, U32, reposSizeMB, Gauge),
        FIELD(392, U32, reposAtMaxSize, Flag),
        FIELD(396, U32, numInLdiQueue, Gauge),
        FIELD(400, U32, totalVokFatalErrors, Counter),
        FIELD(404, U32, totalSigAbortsSent, Counter),
        FIELD(408, U32, totalLostOtsSent, Counter),
        FIELD(412, U32, totalSessionsStopped, Counter),
        FIELD(416, U32, totalSessionsTerminated, Counter),
        FIELD(420, U32, ldiThreadOperations, Counter),
        FIELD(424, U32, loginRequestsCount, Counter),
        FIELD(428, U32, numInNetReadWorkList, Gauge),
        FIELD(432, U32, lastSessionIdStopped, Identifier),
        FIELD(436, U32, lastSessionIdTerminated, Identifier),
        FIELD(440, U32, lastSessionFatalError, Identifier),
        FIELD(444, U32, lastSessionSigAbort, Identifier),
        FIELD(448, U32, lastSessionLostOt, Identifier),
        FIELD(452, U32, brxLoopsSinceSleep, Gauge),
        FIELD(456, U32, brxLoopsNoWork, Counter),
        FIELD(460, U32, brxTranQToRunQThreshold, Gauge),
        FIELD(464, U32, brxAioWaitsForWork, Counter),
        FIELD(468, U32, brxAioWriteFailures, Counter),
        FIELD(472, U32, brxAioCompletionFailures, Counter),
        FIELD(476, U32, brxAioFsyncFailures, Counter),
        FIELD(480, U32, netWriteThreadWakeups, Counter),
        FIELD(484, U32, netWriteThreadSocketWrites, Counter),
        FIELD(488, U32, timerThreadWakeups, Counter),
        FIELD(492, U32, pagesWaitingForRemovalTemp, Gauge),
        FIELD(496, U32, pagesWaitingForRemovalPersist, Gauge),
        FIELD(500, U32, pagesWaitingForRemovalDeferred, Gauge),
        FIELD(504, U32, crPageLocateForDisposeCount, Counter),
        FIELD(508, I32, tteFreePoolSize, Gauge),
        FIELD(512, I32, tteFreeCount, Gauge),
        FIELD(516, I32, tteCrPageFreePoolSize, Gauge),
        FIELD(520, I32, tteCrPageInUse, Gauge),
        FIELD(524, U32, brxAioWaitTotalTime, Counter),
        FIELD(528, U32, brxAiosWaitedForWriteThread, Counter),
        FIELD(532, U32, brxCrBacklogThreshold, Gauge),
        FIELD(536, U32, epochLastDuration, Gauge),
        FIELD(540, U32, gcWsUnionSize, Gauge),
        FIELD(544, U32, brxAioFsyncCount, Counter),
        FIELD(548, U32, brxAioTimeInFsyncMs, Counter),
        FIELD(552, U32, brxAioWriteQueueSize, Gauge),
        FIELD(556, U32, brxAioWriteQueueHighWaterSize, Gauge),
        FIELD(560, U32, brxAioWriteThreadsIdle, Gauge),
        FIELD(564, U32, brxAioCompletedSmcBuffers, Counter),
        FIELD(568, U32, brxAioCompletedHeapBuffers, Counter),
        FIELD(572, U32, pageManagerStarvedCount, Counter),
        FIELD(576, U32, pageManagerMaxWaitTimeMs, Gauge),
        FIELD(580, U32, timeInGetPagesForPageMgr, Counter),
        FIELD(584, U32, timeInProcessPagesFromPageMgr, Counter),
        FIELD(588, U32, brxSmcSpinLockCount, Gauge),
        FIELD(592, U32, lastCommitRecordReleaseReasonCode, State),
        FIELD(596, U32, lastCommitRecordReleaseSessionId, Identifier),
        FIELD(600, U32, freePagesPoolSize, Gauge),
        FIELD(604, U32, allSymbolsSize, Gauge),
        FIELD(608, U32, epochGcCount, Counter),
        FIELD(612, U32, timeLastEpochGc, Gauge),
        FIELD(616, U32, maxVotingSessions, Gauge),
        FIELD(620, U32, epochForceGc, Flag),
        FIELD(624, U32, brxLoopNoWorkThreshold, Gauge),
        FIELD(628, U32, pagePushListFullCount, Counter),
        FIELD(632, I32, pagesInPushList, Gauge),
        FIELD(636, U32, remoteSharedPageCacheMax, Gauge),
        FIELD(640, U32, brxAioNumWriteThreads, Gauge),
        FIELD(644, U32, sessionPerformingBackup, Identifier),
        FIELD(648, U32, lostOtDeferLastSession, Identifier),
        FIELD(652, U32, lostOtDeferLastReason, State),
        FIELD(656, U32, lostOtDeferCount, Counter),
        FIELD(660, U32, readLocksSize, Gauge),
        FIELD(664, U32, writeLocksSize, Gauge),
        FIELD(668, U32, maxUserSessions, Gauge),
        FIELD(672, U32, forcedDisconnects, Counter),
        FIELD(676, U32, numInLoginLogQ, Gauge),
        FIELD(680, U32, loginLogThreadOperations, Counter),
        FIELD(684, U32, loginLogFlushes, Counter),
        FIELD(688, U32, lastSigTermVokSessionId, Identifier),
        FIELD(692, U32, lastSigTermPageServerSessionId, Identifier),
        FIELD(696, U32, totalSigTermsSentToVoks, Counter),
        FIELD(700, U32, totalSigTermsSentToPageServers, Counter),
        FIELD(704, U32, lastSigTermVokPid, Identifier),
        FIELD(708, U32, lastSigTermPgsvrPid, Identifier),
        FIELD(712, U32, totalExtentGrows, Counter),
        FIELD(716, U32, totalExtentGrowsFailed, Counter),
        FIELD(720, U32, timeInExtentGrow, Counter),
        FIELD(724, U32, avgTimePerExtentGrow, Gauge),
        FIELD(728, U32, remoteCachesLost, Counter),
        FIELD(732, U32, remoteMidLevelCacheCount, Gauge),
        FIELD(736, U32, activeCheapLogBuffers, Gauge),
        FIELD(740, U32, freeLogBuffers, Gauge),
        FIELD(744, U32, recovNumPendingCheckpoints, Gauge),
        FIELD(748, U32, recovTimeWaitingForCheckpoints, Counter),
        FIELD(752, I32, recoverTimeLag, Gauge),
        FIELD(756, I32, recoverTranlogFileId, Position),
        FIELD(760, I32, recoverTranlogBlockId, Position),
        FIELD(764, I32, logSenderFileId, Position),
        FIELD(768, I32, logSenderBlockId, Position),
        FIELD(772, I32, checkpointState, State),
        FIELD(776, I32, secondsSinceAbort, Gauge),
        FIELD(780, I32, secondsSinceCheckpoint, Gauge),
        FIELD(784, I32, secondsSinceCommit, Gauge),
        FIELD(788, I32, secondsSinceFailedCommit, Gauge),
        FIELD(792, I32, secondsSinceCrDisposal, Gauge),
        FIELD(796, I32, secondsSinceExtentGrow, Gauge),
        FIELD(800, I32, secondsSinceLogin, Gauge),
        FIELD(804, I32, secondsSinceLogout, Gauge),
        FIELD(808, I32, secondsSinceLowFreespace, Gauge),
        FIELD(812, I32, secondsSinceNewTranlog, Gauge),
        FIELD(816, I32, secondsSinceReclaim, Gauge),
        FIELD(820, I32, secondsSinceReclaimDead, Gauge),
        FIELD(824, I32, secondsSinceStartBrox, Gauge),
        FIELD(828, I32, secondsSinceTranlogFull, Gauge),
        FIELD(832, U32, timeInCheckpoint, Counter),
        FIELD(836, U32, timeInLastCheckpointMs, Gauge),
        FIELD(840, U32, lowFreespaceCount, Counter),
        FIELD(844, U32, timeInLowFreespace, Counter),
        FIELD(848, I32, tranState, State),
        FIELD(852, U32, tranlogFullCount, Counter),
        FIELD(856, U32, onetimePasswordsActive, Gauge),
        FIELD(860, U32, onetimePasswordsTotal, Counter),
        FIELD(864, U32, onetimePasswordsValidated, Counter),
        FIELD(868, U32, onetimePasswordsNotValidated, Counter),
        FIELD(872, U32, onetimePasswordsExpired, Counter),
    });
};

template <> struct FieldList<ShrPcBrxStat64SType> {
    using Block = ShrPcBrxStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        ARRAY(0, I64, globalSessionStats, 48, Gauge),
        FIELD(384, I64, backupHighWaterPage, Gauge),
        FIELD(392, I64, gcHighWaterPage, Gauge),
        FIELD(400, I64, reclaimcount, Counter),
        FIELD(408, I64, reclaimedPagesCount, Counter),
        FIELD(416, U64, pagesNeedReclaimingSize, Gauge),
        FIELD(424, I64, priorityPagesNeedReclaiming, Gauge),
        FIELD(432, I64, possibledeadObjs, Gauge),
        FIELD(440, I64, possibledeadSymbols, Gauge),
        FIELD(448, I64, reclaimedSymbols, Counter),
        FIELD(456, I64, voteNotDeadObjs, Gauge),
        FIELD(464, I64, deadObjsReclaimedCount, Counter),
        FIELD(472, I64, deadNotReclaimedObjs, Gauge),
        FIELD(480, I64, epochNewObjs, Gauge),
        FIELD(488, I64, epochScannedObjs, Gauge),
        FIELD(496, I64, epochPossibleDeadObjs, Gauge),
        FIELD(504, I64, freeOopsCount, Gauge),
        FIELD(512, I64, brxLoopCount, Counter),
        FIELD(520, I64, totalNewObjectsCommitted, Counter),
        FIELD(528, I64, totalObjectsCommitted, Counter),
        FIELD(536, I64, totalCommits, Counter),
        FIELD(544, I64, logKBytesWritten, Counter),
        FIELD(552, I64, totalAborts, Counter),
        FIELD(560, I64, totalFailedCommits, Counter),
        FIELD(568, I64, commitRecordReleases, Counter),
        FIELD(576, I64, responsesSentEarly, Counter),
        FIELD(584, I64, responsesSentNormal, Counter),
        FIELD(592, I64, oopNumberHighWaterMark, Gauge),
    });
};

template <> struct FieldList<ShrPcVokStatSType> {
    using Block = ShrPcVokStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, sigAbortsSent, Counter),
        FIELD(4, U32, lostOtsSent, Counter),
        FIELD(8, U32, commitCount, Counter),
        FIELD(12, U32, failedCommitCount, Counter),
        FIELD(16, U32, abortCount, Counter),
        FIELD(20, U32, objsCommitted, Counter),
        FIELD(24, U32, newObjsCommitted, Counter),
        FIELD(28, U32, objsCommittedNotLogged, Counter),
        FIELD(32, U32, newObjsCommittedNotLogged, Counter),
        FIELD(36, U32, objectsRead, Counter),
        FIELD(40, U32, objectsReadTracked, Counter),
        FIELD(44, U32, classesRead, Counter),
        FIELD(48, U32, classesCreated, Counter),
        FIELD(52, U32, methodsRead, Counter),
        FIELD(56, U32, objectsRefreshed, Counter),
        FIELD(60, U32, objectsSelectiveAborted, Counter),
        FIELD(64, U32, primSelectiveAbort, Counter),
        FIELD(68, U32, numberOfScavenges, Counter),
        FIELD(72, U32, almostOutOfMemoryCount, Counter),
        FIELD(76, U32, timeInScavenge, Counter),
        FIELD(80, U32, numberOfMarkSweeps, Counter),
        FIELD(84, U32, timeInMarkSweep, Counter),
        FIELD(88, U32, numRefsStubbedMarkSweep, Counter),
        FIELD(92, U32, numRefsStubbedScavenge, Counter),
        FIELD(96, U32, numSoftRefsCleared, Counter),
        FIELD(100, U32, numLiveSoftRefs, Gauge),
        FIELD(104, U32, numNonNilSoftRefs, Gauge),
        FIELD(108, U32, numEphemerons, Gauge),
        FIELD(112, U32, totEphemeronsFired, Counter),
        FIELD(116, U32, codeGenGcCount, Counter),
        FIELD(120, U32, pomGenScavCount, Counter),
        FIELD(124, U32, scavengeOverflows, Counter),
        FIELD(128, U32, codeCacheSizeKBytes, Gauge),
        FIELD(132, U32, newGenSizeKBytes, Gauge),
        FIELD(136, U32, oldGenSizeKBytes, Gauge),
        FIELD(140, U32, pomGenSizeKBytes, Gauge),
        FIELD(144, U32, permGenSizeKBytes, Gauge),
        FIELD(148, U32, meSpaceUsedKBytes, Gauge),
        FIELD(152, U32, meSpaceAllocatedKBytes, Gauge),
        FIELD(156, U32, workingSetSize, Gauge),
        FIELD(160, U32, exportedSetSize, Gauge),
        FIELD(164, U32, exportedSetSizePinnedInMemory, Gauge),
        FIELD(168, U32, dirtyListSize, Gauge),
        FIELD(172, U32, messagesToBrx, Counter),
        FIELD(176, U32, newSymbolRequests, Counter),
        FIELD(180, U32, timeWaitingForSymbols, Counter),
        FIELD(184, U32, newSymbolsCount, Counter),
        FIELD(188, U32, omKBytesFlushed, Counter),
        FIELD(192, U32, vokFreePages, Gauge),
        FIELD(196, U32, voteNotDead, Gauge),
        FIELD(200, I32, transLevel, Gauge),
        FIELD(204, U32, timeInPgsvrNetReads, Counter),
        FIELD(208, U32, timeInPgsvrNetWrites, Counter),
        FIELD(212, U32, shadowedPagesCount, Gauge),
        FIELD(216, U32, priorityScavPagesCount, Counter),
        FIELD(220, U32, commitsAfterReplay, Counter),
        FIELD(224, U32, rcConflictCount, Counter),
        FIELD(228, U32, commitRetryFailureCount, Counter),
        FIELD(232, U32, pageReadsWaitingForCommit, Counter),
        FIELD(236, U32, pageReadsProcessingCommit, Counter),
        FIELD(240, U32, pageReadsBroxCommit, Counter),
        FIELD(244, U32, messagesToBrxWaitingForCommit, Counter),
        FIELD(248, U32, messagesToBrxProcessingCommit, Counter),
        FIELD(252, U32, messagesToBrxBroxCommit, Counter),
        FIELD(256, U32, messageKindToBrox, State),
        FIELD(260, U32, timeWaitingForBrox, Counter),
        FIELD(264, U32, updateUnionsCommitCount, Counter),
        FIELD(268, U32, timeInUpdateUnionsCommit, Counter),
        FIELD(272, U32, rebuildScavPagesForCommitCount, Counter),
        FIELD(276, U32, crReadAbort, Counter),
        FIELD(280, U32, crReadCommitWithToken, Counter),
        FIELD(284, U32, crReadCommitBeforeCommitQueue, Counter),
        FIELD(288, U32, crReadCommitInCommitQueue, Counter),
        FIELD(292, U32, sigAbortsReceived, Counter),
        FIELD(296, U32, lostOtsReceived, Counter),
        FIELD(300, U32, vokHasCommitToken, Flag),
        FIELD(304, U32, tempObjSpacePercentUsed, Gauge),
        FIELD(308, U32, tciRpcCommandsServiced, Counter),
        FIELD(312, U32, persistentPagesCommittedCount, Counter),
        FIELD(316, U32, dataPagesCommitted, Counter),
        FIELD(320, U32, sleepDuringDisposeTempPageCount, Counter),
        FIELD(324, U32, depMapKeysChanged, Counter),
        FIELD(328, U32, tciPhysBytesSent, Counter),
        FIELD(332, U32, tciPhysBytesRcvd, Counter),
        FIELD(336, U32, tciBytesSent, Counter),
        FIELD(340, U32, tciBytesRcvd, Counter),
        FIELD(344, U32, tranlogBuffersWritten, Counter),
        FIELD(348, U32, tranlogKBytesWritten, Counter),
        FIELD(352, U32, timeInUserActions, Counter),
        FIELD(356, U32, tciRpcLastCommandServiced, Identifier),
        FIELD(360, U32, tciRpcTimeInLastCommand, Gauge),
        FIELD(364, U32, tciRpcTimeInClientRequests, Counter),
        FIELD(368, U32, permGenObjsChanged, Gauge),
        FIELD(372, U32, permGenObjsChangedTotal, Counter),
        FIELD(376, U32, workingSetObjsChanged, Gauge),
        FIELD(380, U32, workingSetObjsChangedTotal, Counter),
        FIELD(384, U32, workingSetClearedCount, Counter),
        FIELD(388, U32, primitiveNumber, Identifier),
        FIELD(392, U32, gcState, State),
        FIELD(396, U32, voteOnDeadCount, Counter),
        FIELD(400, U32, permGenFullCount, Counter),
        FIELD(404, U32, oldGenFullCount, Counter),
        FIELD(408, U32, lastMarkSweepReasonCode, State),
        FIELD(412, U32, lastScavengeReasonCode, State),
        FIELD(416, U32, scavsPromToMkSwCount, Counter),
        FIELD(420, U32, clientPid, Identifier),
        FIELD(424, U32, vokTempObjSizeKb, Gauge),
        FIELD(428, U32, memoryFootPrintKb, Gauge),
        FIELD(432, U32, mtMaxThreads, Gauge),
        FIELD(436, U32, mtThreadsLimit, Gauge),
        FIELD(440, U32, mtPercentCpuActiveLimit, Gauge),
        FIELD(444, U32, mtActiveThreads, Gauge),
        FIELD(448, U32, mlClearAllCount, Counter),
        FIELD(452, U32, lastErrorNumber, Identifier),
        FIELD(456, U32, continueTransactionCount, Counter),
        FIELD(460, U32, readLocksSize, Gauge),
        FIELD(464, U32, writeLocksSize, Gauge),
        FIELD(468, U32, afterLogoutState, State),
        FIELD(472, U32, objectsReadDuringTraversal, Counter),
        FIELD(476, U32, otdataPageReadsDuringTraversal, Counter),
        FIELD(480, U32, failedAttemptedCommitCount, Counter),
        FIELD(484, U32, lastFailedCommitReasonCode, State),
        FIELD(488, U32, voteClosureObjects, Gauge),
        FIELD(492, U32, objectForOopCount, Counter),
        FIELD(496, U32, rcReadSetSize, Gauge),
        FIELD(500, U32, rcReadSetSizeLastCommit, Gauge),
        FIELD(504, U32, tciRpcKeepAlivePacketCount, Counter),
        FIELD(508, U32, timeWaitingForCommit, Counter),
        FIELD(512, U32, timeProcessingCommit, Counter),
        FIELD(516, U32, gcLockKind, State),
        FIELD(520, U32, timeBroxCommit, Counter),
        FIELD(524, I32, secondsSinceAbort, Gauge),
        FIELD(528, I32, secondsSinceCommit, Gauge),
        FIELD(532, I32, secondsSinceLogin, Gauge),
        FIELD(536, I32, secondsSinceSigAbort, Gauge),
        FIELD(540, I32, secondsSinceSigLostOt, Gauge),
        FIELD(544, I32, secondsSinceStartLongPrim, Gauge),
        FIELD(548, I32, secondsSinceFailedCommit, Gauge),
        FIELD(552, I32, vokKind, State),
        FIELD(556, U32, onetimePasswordsCreated, Counter),
        FIELD(560, U32, onetimePasswordUsed, Flag),
    });
};

template <> struct FieldList<ShrPcVokStat64SType> {
    using Block = ShrPcVokStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, objectsReadInBytes, Counter),
        FIELD(8, I64, commitRecordOfView, Position),
        FIELD(16, I64, lookupCacheSerialNum, Identifier),
        ARRAY(24, I64, sessionStats, 48, Gauge),
        FIELD(408, I64, memMappedSize, Gauge),
        FIELD(416, I64, progressCount, Counter),
        FIELD(424, I64, ffiHeapBytes, Gauge),
        FIELD(432, I64, ffiGcHeapBytes, Gauge),
        FIELD(440, I64, indexProgressCount, Counter),
    });
};

template <> struct FieldList<ShrPcVokThrStatType> {
    using Block = ShrPcVokThrStatType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I32, vokKind, State),
    });
};

template <> struct FieldList<ShrPcVokThrStat64Type> {
    using Block = ShrPcVokThrStat64Type;
    static constexpr auto fields = std::to_array<Field>({
        ARRAY(0, I64, sessionStats, 48, Gauge),
        FIELD(384, I64, memMappedSize, Gauge),
        FIELD(392, I64, progressCount, Counter),
    });
};

template <> struct FieldList<ShrPcPageMgrStatType> {
    using Block = ShrPcPageMgrStatType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, pageMgrPagesReceivedFromBroxCount, Counter),
        FIELD(4, U32, pageMgrRemoveFromCachesCount, Counter),
        FIELD(8, U32, pageMgrRemoveFromCachesPageCount, Counter),
        FIELD(12, U32, pageMgrPagesPendingRemovalRetryCount, Gauge),
        FIELD(16, U32, pageMgrPagesRemovedFromCachesCount, Counter),
        FIELD(20, U32, pageMgrPagesNotRemovedFromCachesCount, Counter),
        FIELD(24, U32, pageMgrRemovePagesFromCachesPollCount, Counter),
        FIELD(28, U32, pageMgrTimeWaitingForCachePgsvrs, Counter),
        FIELD(32, U32, pagemgrThreadWakeups, Counter),
        FIELD(36, U32, pagemgrSleepState, State),
        FIELD(40, U32, pagemgrSleepMs, Gauge),
        FIELD(44, U32, pagemgrPolls, Counter),
        FIELD(48, U32, pageMgrPageRemovalRetryCount, Counter),
        FIELD(52, U32, pageMgrRemoteCachePgsvrTimeout, Gauge),
        FIELD(56, U32, pageMgrPrintTimeoutThreshold, Gauge),
        FIELD(60, U32, pageMgrCompressionEnabled, Flag),
        FIELD(64, U32, pageMgrRemoveMinPages, Gauge),
        FIELD(68, U32, pageMgrRemoveMaxPages, Gauge),
        FIELD(72, U32, pageMgrRemoveFrameId, Identifier),
    });
};

template <> struct FieldList<ShrPcPageMgrStat64Type> {
    using Block = ShrPcPageMgrStat64Type;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U64, pageMgrRemovePageId, Identifier),
    });
};

template <> struct FieldList<ShrPcCachePgsvrStatSType> {
    using Block = ShrPcCachePgsvrStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, clientPid, Identifier),
        FIELD(4, U32, compressionTimeReal, Counter),
        FIELD(8, U32, compressionTimeCpu, Counter),
        FIELD(12, U32, decompressionTimeReal, Counter),
        FIELD(16, U32, decompressionTimeCpu, Counter),
        FIELD(20, U32, compressCount, Counter),
        FIELD(24, U32, decompressCount, Counter),
        FIELD(28, U32, compressionKbIn, Counter),
        FIELD(32, U32, compressionKbOut, Counter),
        FIELD(36, U32, decompressionKbIn, Counter),
        FIELD(40, U32, decompressionKbOut, Counter),
        FIELD(44, U32, cachePgsvrRemoveFrameId, Identifier),
    });
};

template <> struct FieldList<ShrPcCachePgsvrStat64SType> {
    using Block = ShrPcCachePgsvrStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U64, cachePgsvrRemovePageId, Identifier),
    });
};

template <> struct FieldList<ShrPcVokPgsvrStatSType> {
    using Block = ShrPcVokPgsvrStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, clientPid, Identifier),
        FIELD(4, U32, compressionTimeReal, Counter),
        FIELD(8, U32, compressionTimeCpu, Counter),
        FIELD(12, U32, decompressionTimeReal, Counter),
        FIELD(16, U32, decompressionTimeCpu, Counter),
        FIELD(20, U32, compressCount, Counter),
        FIELD(24, U32, decompressCount, Counter),
        FIELD(28, U32, compressionKbIn, Counter),
        FIELD(32, U32, compressionKbOut, Counter),
        FIELD(36, U32, decompressionKbIn, Counter),
        FIELD(40, U32, decompressionKbOut, Counter),
        FIELD(44, U32, clientSigAbortsSent, Counter),
        FIELD(48, U32, clientLostOtsSent, Counter),
        FIELD(52, U32, clientPageReads, Counter),
        FIELD(56, U32, clientPageReadsCommit, Counter),
        FIELD(60, U32, clientPageWrites, Counter),
        FIELD(64, U32, timePerformingReadIo, Counter),
        FIELD(68, U32, messagesToBrox, Counter),
        FIELD(72, U32, messagesToBroxCommit, Counter),
        FIELD(76, U32, messageKindToBrox, State),
        FIELD(80, U32, timeWaitingForBrox, Counter),
        FIELD(84, U32, clientAborts, Counter),
        FIELD(88, U32, clientCommits, Counter),
        FIELD(92, U32, depMapKeysChanged, Counter),
        FIELD(96, U32, vokHasCommitToken, Flag),
        FIELD(100, U32, pusherSentPages, Counter),
        FIELD(104, U32, pusherDroppedNewLife, Counter),
        FIELD(108, U32, pusherDroppedPoorFill, Counter),
        FIELD(112, U32, pusherDroppedNotInCache, Counter),
        FIELD(116, I32, pusherDelayMs, Gauge),
        FIELD(120, U32, receivedPages, Counter),
        FIELD(124, U32, receivedPagesCacheFull, Counter),
        FIELD(128, U32, receivedPagesAlreadyInCache, Counter),
        FIELD(132, U32, receivedPagesReadInProgress, Counter),
        FIELD(136, U32, timePerformingReadRequests, Counter),
        FIELD(140, U32, timeWaitingForCommit, Counter),
        FIELD(144, U32, timeProcessingCommit, Counter),
        FIELD(148, U32, gcLockKind, State),
        FIELD(152, U32, timeBroxCommit, Counter),
    });
};

template <> struct FieldList<ShrPcFreeFrameThdStatSType> {
    using Block = ShrPcFreeFrameThdStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, dirtyPageSweepCount, Counter),
        FIELD(4, U32, nextSleepTimeMs, Gauge),
        FIELD(8, U32, clockHandFrameId, Identifier),
        FIELD(12, U32, cacheRegionNumFrames, Gauge),
        FIELD(16, U32, scanLimitNumFrames, Gauge),
        FIELD(20, U32, freeFrameLowerLimt, Gauge),
        FIELD(24, U32, freeFrameUpperLimit, Gauge),
        FIELD(28, U32, freeFrameListOkLimit, Gauge),
    });
};

template <> struct FieldList<ShrPcBrxAioThdStatSType> {
    using Block = ShrPcBrxAioThdStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, dirtyPageSweepCount, Counter),
        FIELD(4, U32, nextSleepTimeMs, Gauge),
        FIELD(8, U32, clockHandFrameId, Identifier),
        FIELD(12, U32, cacheRegionNumFrames, Gauge),
        FIELD(16, U32, scanLimitNumFrames, Gauge),
        FIELD(20, U32, freeFrameLowerLimt, Gauge),
        FIELD(24, U32, freeFrameUpperLimit, Gauge),
        FIELD(28, U32, freeFrameListOkLimit, Gauge),
        FIELD(32, U32, aioDirtyCount, Counter),
        FIELD(36, U32, aioCkptCount, Counter),
        FIELD(40, U32, aioRateLimit, Gauge),
        FIELD(44, U32, aioRateMax, Gauge),
        FIELD(48, U32, targetPercentDirty, Gauge),
        FIELD(52, I32, asyncFlushesInProgress, Gauge),
        FIELD(56, U32, postCheckpointPages, Gauge),
        FIELD(60, U32, pgsvrCheckpointState, State),
        FIELD(64, U32, aioWriteFailures, Counter),
    });
};

template <> struct FieldList<ShrPcRestoreThrStat64Type> {
    using Block = ShrPcRestoreThrStat64Type;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U64, commitCount, Counter),
        FIELD(8, U64, checkpointCount, Counter),
        FIELD(16, U64, recovSkippedCheckpointCount, Counter),
    });
};

template <> struct FieldList<ShrBrxRelativeStatTimes> {
    using Block = ShrBrxRelativeStatTimes;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, timeLastAbort, EventTime),
        FIELD(8, I64, timeLastCheckpoint, EventTime),
        FIELD(16, I64, timeLastCommit, EventTime),
        FIELD(24, I64, timeLastFailedCommit, EventTime),
        FIELD(32, I64, timeLastCrDisposal, EventTime),
        FIELD(40, I64, timeLastExtentGrow, EventTime),
        FIELD(48, I64, timeLastLogin, EventTime),
        FIELD(56, I64, timeLastLogout, EventTime),
        FIELD(64, I64, timeLastLowFreespace, EventTime),
        FIELD(72, I64, timeLastNewTranlog, EventTime),
        FIELD(80, I64, timeLastReclaim, EventTime),
        FIELD(88, I64, timeLastReclaimDead, EventTime),
        FIELD(96, I64, timeLastStartBrox, EventTime),
        FIELD(104, I64, timeLastTranlogFull, EventTime),
    });
};

template <> struct FieldList<ShrVokRelativeStatTimes> {
    using Block = ShrVokRelativeStatTimes;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, timeLastAbort, EventTime),
        FIELD(8, I64, timeLastCommit, EventTime),
        FIELD(16, I64, timeLastLogin, EventTime),
        FIELD(24, I64, timeLastSigAbort, EventTime),
        FIELD(32, I64, timeLastSigLostOt, EventTime),
        FIELD(40, I64, timeLastStartLongPrim, EventTime),
        FIELD(48, I64, timeLastFailedCommit, EventTime),
    });
};

// clang-format on

#undef FIELD
#undef ARRAY

/* Each field begins where the one before it ends, the first at 0, and the last ends with the
 * block. As every line names a member at that member's own offset, none can be doubled or
 * left out. */
template <class BlockType> consteval bool fillsBlock() {
    size_t end = 0;
    for (const Field& field : FieldList<BlockType>::fields) {
        if (field.offset != end) {
            return false;
        }
        end += field.count * widthOf(field.type);
    }
    return end == (std::is_empty_v<BlockType> ? 0 : sizeof(BlockType));
}

template <class BlockType> constexpr std::span<const Field> checkedFieldsOf() {
    static_assert(fillsBlock<BlockType>(), "the fields fill their block without a gap");
    return FieldList<BlockType>::fields;
}

template <class BlockType>
inline constexpr std::span<const Field> fieldsOf = checkedFieldsOf<BlockType>();

} // namespace statscatalogue::tables

#endif
