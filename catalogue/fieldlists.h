/*
 * The fields of every statistics block, one line a field:
 *
 *   FIELD(offset, type, name, meaning, unit, aggregation, group, title, sentence)
 *   ARRAY(offset, type, name, elements, meaning, unit, aggregation, group, title, sentence)
 *
 * The compiler holds each list against the block's structure: offset, type and number of
 * elements must be the member's own, and the fields must follow one another without a gap from
 * offset 0 to the end of the block. It holds what is said of a field against its name, too.
 * Private to the catalogue (see kindtable.h).
 *
 * The meaning follows from what the server does with a field: a sum that only grows is a
 * Counter, also one of elapsed time; what is in a queue, a pool or a cache now, a limit, an
 * average and the measure of a last event are Gauges; where the log or a view of the repository
 * has come to is a Position; flags, states (kinds and reasons among them) and identifiers say
 * nothing by their size.
 *
 * Only a name that tells its unit has one. A duration without one is Unknown, also a time-out. A
 * "size" without one is a plain number: of what, nobody recorded. Nor is it known what
 * timeLastEpochGc measures (it is no time_t), so it is shown as it is. Abbreviations that nobody
 * spelt out (OT, BM, PCE, SMC, TTE, LDI, TCI, RC, ME, ML, MT, OM, POM) stay as they are in the
 * sentences.
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

constexpr bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

constexpr bool isUpper(char letter) {
    return letter >= 'A' && letter <= 'Z';
}

/* The unit that a field's name tells, or what a name without one leaves: Unknown for a duration,
 * Number for anything else. */
consteval Unit unitTold(std::string_view name) {
    if (name.ends_with("Ms")) {
        return Unit::Milliseconds;
    }
    if (contains(name, "MicroSecs")) {
        return Unit::Microseconds;
    }
    if (name.starts_with("secondsSince")) {
        return Unit::Seconds;
    }
    if (contains(name, "KBytes") || contains(name, "Kb")) {
        return Unit::Kilobytes;
    }
    if (name.ends_with("MB")) {
        return Unit::Megabytes;
    }
    if (contains(name, "Bytes")) {
        return Unit::Bytes;
    }
    if (contains(name, "Percent")) {
        return Unit::Percent;
    }
    const bool isDuration = contains(name, "Time") || contains(name, "Duration") ||
                            (name.starts_with("time") && isUpper(name[4]));
    const bool isOther = name.ends_with("Count") || name.starts_with("timeLast");
    return isDuration && !isOther ? Unit::Unknown : Unit::Number;
}

/* Whether the unit is the one that the field's name tells. What is shown as it is has none. */
consteval bool hasItsUnit(std::string_view name, Meaning meaning, Unit unit) {
    if (meaning == Meaning::Counter) {
        return unit == unitTold(name);
    }
    if (meaning == Meaning::Gauge) {
        return unit == unitTold(name) || (unit == Unit::None && unitTold(name) == Unit::Number);
    }
    return unit == Unit::None;
}

/* Values of a unit can be added or compared; what has none is shown where all are equal. */
consteval bool hasItsAggregation(Meaning meaning, Unit unit, Aggregation aggregation) {
    if (meaning == Meaning::Counter) {
        return aggregation == Aggregation::Sum;
    }
    return (unit == Unit::None) == (aggregation == Aggregation::None);
}

consteval bool isSentence(std::string_view sentence) {
    return !sentence.empty() && sentence.size() <= maxSentence && !sentence.ends_with('.');
}

consteval bool isTitle(std::string_view title, size_t count) {
    const size_t index = count > 10 ? 4 : count > 1 ? 3 : 0; /* "[47]", "[9]" */
    return !title.empty() && title.size() + index <= maxTitle;
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
    if (!hasItsUnit(name, meaning, unit)) {
        throw "the unit is not what the name and the meaning say";
    }
    if (!hasItsAggregation(meaning, unit, aggregation)) {
        throw "values of this meaning and unit do not become one this way";
    }
    if (!isTitle(title, elements)) {
        throw "the title does not fit its column";
    }
    if (!isSentence(sentence)) {
        throw "the sentence is empty, too long for a line, or ends with a full stop";
    }
    return Field{.name = name,
                 .title = title,
                 .sentence = sentence,
                 .offset = static_cast<uint16_t>(offset),
                 .count = static_cast<uint16_t>(count),
                 .type = type,
                 .meaning = meaning,
                 .unit = unit,
                 .aggregation = aggregation,
                 .group = group,
                 /* The session statistics alone have as many elements. */
                 .isApplications = elements == SHRPC_SESSION_STATS_SIZE};
}

#define ARRAY(offset, type, name, count, meaning, unit, aggregation, group, title, sentence)       \
    checkedField<decltype(Block::name)>(#name, offsetof(Block, name), offset, FieldType::type,     \
                                        count, Meaning::meaning, Unit::unit,                       \
                                        Aggregation::aggregation, Group::group, title, sentence)
#define FIELD(offset, type, name, ...) ARRAY(offset, type, name, 1, __VA_ARGS__)

/* clang-format would fill lines with several fields. */
// clang-format off

template <> struct FieldList<ShrPcCommonStatSType> {
    using Block = ShrPcCommonStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, otPageOps, Counter, Number, Sum, Cache, "otOps", "operations on OT pages"),
        FIELD(4, U32, dataPageOps, Counter, Number, Sum, Cache, "dataOps", "operations on data pages"),
        FIELD(8, U32, bmPageOps, Counter, Number, Sum, Cache, "bmOps", "operations on BM pages"),
        FIELD(12, U32, miscPageOps, Counter, Number, Sum, Cache, "miscOps", "operations on miscellaneous pages"),
        FIELD(16, U32, commitRecordPageOps, Counter, Number, Sum, Cache, "crOps", "operations on commit record pages"),
        FIELD(20, U32, localPageCacheMisses, Counter, Number, Sum, Cache, "misses", "pages looked for in the local page cache and not found"),
        FIELD(24, U32, timeInWaitsForOtherReader, Counter, Unknown, Sum, Waiting, "rdrWaitT", "time spent in waits for another reader"),
        FIELD(28, U32, waitsForOtherReader, Counter, Number, Sum, Waiting, "rdrWaits", "waits for another reader"),
        FIELD(32, U32, rdbfDiskReads, Counter, Number, Sum, Io, "dskRead", "reads from disk"),
        FIELD(36, U32, rdbfDiskWrites, Counter, Number, Sum, Io, "dskWrite", "writes to disk"),
        FIELD(40, U32, framesFromFreeList, Counter, Number, Sum, Cache, "frFree", "frames taken from the free list"),
        FIELD(44, U32, framesFromFindFree, Counter, Number, Sum, Cache, "frFind", "frames that a search for a free one found"),
        FIELD(48, I32, freeFrameLimit, Gauge, Number, Max, Cache, "frLimit", "limit of free frames"),
        FIELD(52, U32, timeInFramesFromFindFree, Counter, Unknown, Sum, Cache, "frFindT", "time spent in searches for a free frame"),
        FIELD(56, U32, framesAddedToFreeList, Counter, Number, Sum, Cache, "frAdd", "frames added to the free list"),
        FIELD(60, U32, extentFlushCount, Counter, Number, Sum, Io, "extFlush", "flushes of extents"),
        FIELD(64, I32, freeFrameCacheSize, Gauge, Number, Sum, Cache, "ffcSize", "size of the free frame cache"),
        FIELD(68, U32, freeFrameCacheNumFrames, Gauge, Number, Sum, Cache, "ffcFrms", "frames in the free frame cache"),
        FIELD(72, U32, rdbfTimeWaitingForIoMs, Counter, Milliseconds, Sum, Io, "ioWait", "time spent waiting for I/O"),
        FIELD(76, U32, rdbfMicroSecsPerIoOverallAvg, Gauge, Microseconds, Max, Io, "ioAvg", "average time of an I/O, over all of them"),
        FIELD(80, U32, rdbfMicroSecsPerIo10Avg, Gauge, Microseconds, Max, Io, "ioAvg10", "average time of an I/O, over 10 of them"),
        FIELD(84, U32, rdbfMicroSecsPerIo100Avg, Gauge, Microseconds, Max, Io, "ioAvg100", "average time of an I/O, over 100 of them"),
        FIELD(88, U32, rdbfPageIoCount, Counter, Number, Sum, Io, "pageIo", "I/Os of pages"),
        FIELD(92, U32, freePceCacheEntries, Gauge, Number, Sum, Cache, "pceCache", "entries of the free PCE cache"),
        FIELD(96, U32, pcesRemovedFromFreeList, Counter, Number, Sum, Cache, "pceRem", "PCEs removed from the free list"),
        FIELD(100, U32, pcesAddedToFreeList, Counter, Number, Sum, Cache, "pceAdd", "PCEs added to the free list"),
        FIELD(104, U32, cacheSlotIndex, Identifier, None, None, Sessions, "slot", "index of the cache slot"),
        FIELD(108, U32, pagesAddedToCacheFromDisk, Counter, Number, Sum, Cache, "addDisk", "pages added to the cache from disk"),
        FIELD(112, U32, pagesAddedToCacheFromPrimaryCache, Counter, Number, Sum, Cache, "addPrim", "pages added to the cache from the primary cache"),
        FIELD(116, U32, pagesAddedToCacheFromMidCache, Counter, Number, Sum, Cache, "addMid", "pages added to the cache from a mid cache"),
        FIELD(120, U32, pagesAddedToCacheNewlyCreated, Counter, Number, Sum, Cache, "addNew", "pages newly created and added to the cache"),
        FIELD(124, U32, tempPagesAllocated, Counter, Number, Sum, Io, "tmpPages", "temporary pages allocated"),
        FIELD(128, U32, tempOopsAllocated, Counter, Number, Sum, Objects, "tmpOops", "temporary OOPs allocated"),
        FIELD(132, I32, bmCHeapPages, Gauge, Number, Sum, Memory, "bmHeap", "BM pages in the C heap"),
        FIELD(136, I32, unusedStat, Gauge, None, None, Threads, "unused", "not used"),
        FIELD(140, U32, pinnedPagesCount, Gauge, Number, Sum, Cache, "pinned", "pinned pages"),
    });
};

template <> struct FieldList<ShrPcCommon64StatSType> {
    using Block = ShrPcCommon64StatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, localPageCacheHits, Counter, Number, Sum, Cache, "hits", "pages looked for in the local page cache and found"),
        FIELD(8, I64, pageLocateCount, Counter, Number, Sum, Cache, "locates", "times that a page was located"),
    });
};

template <> struct FieldList<ShrPcMonStatSType> {
    using Block = ShrPcMonStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, numberOfFreeFrames, Gauge, Number, Sum, Cache, "freeFrms", "free frames"),
        FIELD(4, U32, voksInCacheCount, Gauge, Number, Sum, Sessions, "voks", "Voks in the cache"),
        FIELD(8, U32, localDirtyPageCount, Gauge, Number, Sum, Cache, "dirtyLoc", "local dirty pages"),
        FIELD(12, U32, globalDirtyPageCount, Gauge, Number, Sum, Cache, "dirtyGlb", "global dirty pages"),
        FIELD(16, U32, lastSleepTimeBetweenScans, Gauge, Unknown, Max, Threads, "slpBtwn", "duration of the last sleep between scans"),
        FIELD(20, U32, lastSleepTimeWithinScan, Gauge, Unknown, Max, Threads, "slpIn", "duration of the last sleep within a scan"),
        FIELD(24, U32, numRecentActiveProcesses, Gauge, Number, Sum, Sessions, "active", "processes that were active recently"),
        FIELD(28, U32, vok_REP_INVALID_PAGE_KIND, Counter, Number, Sum, Cache, "vInvalid", "Voks' count for pages of an invalid kind"),
        FIELD(32, U32, vok_REP_ROOT_PAGE, Counter, Number, Sum, Cache, "vRoot", "Voks' count for root pages"),
        FIELD(36, U32, vok_REP_FRAGMENT_BM_PAGE, Counter, Number, Sum, Cache, "vFragBm", "Voks' count for fragment BM pages"),
        FIELD(40, U32, vok_REP_COMMIT_RECORD_PAGE, Counter, Number, Sum, Cache, "vCr", "Voks' count for commit record pages"),
        FIELD(44, U32, vok_REP_DATA_PAGE, Counter, Number, Sum, Cache, "vData", "Voks' count for data pages"),
        FIELD(48, U32, vok_REP_OT_INTERNAL_PAGE, Counter, Number, Sum, Cache, "vOtInt", "Voks' count for internal OT pages"),
        FIELD(52, U32, vok_REP_OT_LEAF_PAGE, Counter, Number, Sum, Cache, "vOtLeaf", "Voks' count for OT leaf pages"),
        FIELD(56, U32, vok_REP_BM_INTERNAL_PAGE, Counter, Number, Sum, Cache, "vBmInt", "Voks' count for internal BM pages"),
        FIELD(60, U32, vok_REP_BM_LEAF_PAGE, Counter, Number, Sum, Cache, "vBmLeaf", "Voks' count for BM leaf pages"),
        FIELD(64, U32, vok_REP_COUNT_BAG_LEAF_PAGE, Counter, Number, Sum, Cache, "vBagLeaf", "Voks' count for count bag leaf pages"),
        FIELD(68, U32, vok_REP_BITLIST_PAGE, Counter, Number, Sum, Cache, "vBitlist", "Voks' count for bit list pages"),
        FIELD(72, U32, vok_REP_COUNT_BAG_INTERIOR_PAGE, Counter, Number, Sum, Cache, "vBagInt", "Voks' count for interior count bag pages"),
        FIELD(76, U32, vok_REP_SECURITY_ROOT_PAGE, Counter, Number, Sum, Cache, "vSecRoot", "Voks' count for security root pages"),
        FIELD(80, U32, brx_REP_INVALID_PAGE_KIND, Counter, Number, Sum, Cache, "bInvalid", "the Brox's count for pages of an invalid kind"),
        FIELD(84, U32, brx_REP_ROOT_PAGE, Counter, Number, Sum, Cache, "bRoot", "the Brox's count for root pages"),
        FIELD(88, U32, brx_REP_FRAGMENT_BM_PAGE, Counter, Number, Sum, Cache, "bFragBm", "the Brox's count for fragment BM pages"),
        FIELD(92, U32, brx_REP_COMMIT_RECORD_PAGE, Counter, Number, Sum, Cache, "bCr", "the Brox's count for commit record pages"),
        FIELD(96, U32, brx_REP_DATA_PAGE, Counter, Number, Sum, Cache, "bData", "the Brox's count for data pages"),
        FIELD(100, U32, brx_REP_OT_INTERNAL_PAGE, Counter, Number, Sum, Cache, "bOtInt", "the Brox's count for internal OT pages"),
        FIELD(104, U32, brx_REP_OT_LEAF_PAGE, Counter, Number, Sum, Cache, "bOtLeaf", "the Brox's count for OT leaf pages"),
        FIELD(108, U32, brx_REP_BM_INTERNAL_PAGE, Counter, Number, Sum, Cache, "bBmInt", "the Brox's count for internal BM pages"),
        FIELD(112, U32, brx_REP_BM_LEAF_PAGE, Counter, Number, Sum, Cache, "bBmLeaf", "the Brox's count for BM leaf pages"),
        FIELD(116, U32, brx_REP_COUNT_BAG_LEAF_PAGE, Counter, Number, Sum, Cache, "bBagLeaf", "the Brox's count for count bag leaf pages"),
        FIELD(120, U32, brx_REP_BITLIST_PAGE, Counter, Number, Sum, Cache, "bBitlist", "the Brox's count for bit list pages"),
        FIELD(124, U32, brx_REP_COUNT_BAG_INTERIOR_PAGE, Counter, Number, Sum, Cache, "bBagInt", "the Brox's count for interior count bag pages"),
        FIELD(128, U32, brx_REP_SECURITY_ROOT_PAGE, Counter, Number, Sum, Cache, "bSecRoot", "the Brox's count for security root pages"),
        FIELD(132, U32, spinLockPageFrameSleepCount, Counter, Number, Sum, Locks, "slpFrame", "sleeps for a spin lock of a page frame"),
        FIELD(136, U32, spinLockHashTableSleepCount, Counter, Number, Sum, Locks, "slpHash", "sleeps for a spin lock of the hash table"),
        FIELD(140, U32, spinLockOtherSleepCount, Counter, Number, Sum, Locks, "slpOther", "sleeps for another spin lock"),
        FIELD(144, U32, targetFreeFrameCountStat, Gauge, Number, Max, Cache, "tgtFree", "number of free frames aimed at"),
        FIELD(148, U32, pagesRemovedFromCacheCount, Counter, Number, Sum, Cache, "pgRem", "pages removed from the cache"),
        FIELD(152, U32, pagesNotRemovedFromCacheCount, Counter, Number, Sum, Cache, "pgNotRem", "pages not removed from the cache"),
        FIELD(156, U32, pagesNotFoundInCacheCount, Counter, Number, Sum, Cache, "pgNotFnd", "pages not found in the cache"),
        FIELD(160, U32, pagesRemovedDirtyFromCacheCount, Counter, Number, Sum, Cache, "pgRemDty", "pages removed from the cache while dirty"),
        FIELD(164, U32, pinnedTotalCount, Gauge, Number, Sum, Cache, "pinTotal", "pins in total"),
        FIELD(168, U32, pinnedSharedCount, Gauge, Number, Sum, Cache, "pinShare", "pins that are shared"),
        FIELD(172, U32, pinnedDataPagesCount, Gauge, Number, Sum, Cache, "pinData", "pinned data pages"),
        FIELD(176, U32, pinnedOtPagesCount, Gauge, Number, Sum, Cache, "pinOt", "pinned OT pages"),
        FIELD(180, U32, pageServersInCacheCount, Gauge, Number, Sum, Sessions, "pgsvrs", "page servers in the cache"),
        FIELD(184, U32, frameCount, Gauge, Number, Sum, Cache, "frames", "frames"),
        FIELD(188, U32, spinLockCount, Gauge, Number, Max, Locks, "spinLck", "spin lock count"),
        FIELD(192, U32, numSharedCounters, Gauge, Number, Sum, Cache, "shCntrs", "shared counters"),
        FIELD(196, U32, slotsCrashedCount, Gauge, Number, Sum, Sessions, "slCrash", "slots of crashed processes"),
        FIELD(200, U32, totalOtPages, Gauge, Number, Sum, Cache, "totOt", "OT pages in total"),
        FIELD(204, U32, totalDataPages, Gauge, Number, Sum, Cache, "totData", "data pages in total"),
        FIELD(208, U32, totalCrPages, Gauge, Number, Sum, Cache, "totCr", "commit record pages in total"),
        FIELD(212, U32, totalBitmapPages, Gauge, Number, Sum, Cache, "totBm", "bitmap pages in total"),
        FIELD(216, U32, totalOtherPages, Gauge, Number, Sum, Cache, "totOther", "other pages in total"),
        FIELD(220, U32, freePceCount, Gauge, Number, Sum, Cache, "pceFree", "free PCEs"),
        FIELD(224, U32, totalFramesInFreeFrameCaches, Gauge, Number, Sum, Cache, "totFfc", "frames in all free frame caches"),
        FIELD(228, U32, totalPcesInFreePceCaches, Gauge, Number, Sum, Cache, "totPceC", "PCEs in all free PCE caches"),
        FIELD(232, U32, totalProcsInCacheCount, Gauge, Number, Sum, Sessions, "procs", "processes in the cache in total"),
        FIELD(236, U32, slotsFreeCount, Gauge, Number, Sum, Sessions, "slFree", "free slots"),
        FIELD(240, U32, crashedSlotsInRecoveryCount, Gauge, Number, Sum, Sessions, "slCrRec", "crashed slots in recovery"),
        FIELD(244, U32, cleanSlotsInRecoveryCount, Gauge, Number, Sum, Sessions, "slClRec", "clean slots in recovery"),
        FIELD(248, U32, slotsTotalCount, Gauge, Number, Sum, Sessions, "slots", "slots in total"),
        FIELD(252, U32, rejectedProcsCount, Counter, Number, Sum, Sessions, "rejected", "processes that were rejected"),
        FIELD(256, U32, cleanSlotsRecoveredCount, Counter, Number, Sum, Sessions, "clRecov", "clean slots recovered"),
        FIELD(260, U32, crashedSlotsRecoveredCount, Counter, Number, Sum, Sessions, "crRecov", "crashed slots recovered"),
        FIELD(264, U32, mainThreadTimeRunningMs, Counter, Milliseconds, Sum, Threads, "thrMain", "time that the main thread was running"),
        FIELD(268, U32, crashedSlotThreadTimeRunningMs, Counter, Milliseconds, Sum, Threads, "thrCrash", "time that the thread for crashed slots was running"),
        FIELD(272, U32, cleanSlotThreadTimeRunningMs, Counter, Milliseconds, Sum, Threads, "thrClean", "time that the thread for clean slots was running"),
        FIELD(276, U32, frameStatsThreadTimeRunningMs, Counter, Milliseconds, Sum, Threads, "thrFrSt", "time that the frame statistics thread was running"),
        FIELD(280, U32, procsWaitingForQueueLocks, Gauge, Number, Sum, Locks, "wtQLock", "processes waiting for queue locks"),
        FIELD(284, U32, cacheScanCount, Counter, Number, Sum, Cache, "scans", "scans of the cache"),
        FIELD(288, U32, pagesInCacheFromDisk, Gauge, Number, Sum, Cache, "inDisk", "pages in the cache that came from disk"),
        FIELD(292, U32, pagesInCacheFromPrimaryCache, Gauge, Number, Sum, Cache, "inPrim", "pages in the cache that came from the primary cache"),
        FIELD(296, U32, pagesInCacheFromMidCache, Gauge, Number, Sum, Cache, "inMid", "pages in the cache that came from a mid cache"),
        FIELD(300, U32, pagesInCacheCreatedInLeafCache, Gauge, Number, Sum, Cache, "crInLeaf", "pages in the cache that were created in a leaf cache"),
        FIELD(304, U32, pagesInCacheCreatedInPrimaryCache, Gauge, Number, Sum, Cache, "crInPrim", "pages in the cache that were created in the primary cache"),
        FIELD(308, U32, numProcsSleepingForLock, Gauge, Number, Sum, Locks, "slpLock", "processes sleeping for a lock"),
        FIELD(312, U32, slotRecovThreadState, State, None, None, Sessions, "recThrSt", "state of the slot recovery thread"),
        FIELD(316, U32, numHashLockTestThreads, Gauge, Number, Sum, Locks, "hashTest", "threads that test hash locks"),
        FIELD(320, U32, numFrameLockTestThreads, Gauge, Number, Sum, Locks, "frTest", "threads that test frame locks"),
        FIELD(324, U32, timeWaitingForLockThreads, Counter, Unknown, Sum, Locks, "lckThrT", "time spent waiting for lock threads"),
        FIELD(328, U32, cleanSlotsWaitingForReuse, Gauge, Number, Sum, Sessions, "reuse", "clean slots waiting for reuse"),
        FIELD(332, U32, cleanSlotsWaitingForReuseTotal, Counter, Number, Sum, Sessions, "reuseTot", "clean slots that have waited for reuse, in total"),
        FIELD(336, U32, cleanSlotsWaitingForReuseTimeMs, Counter, Milliseconds, Sum, Sessions, "reuseT", "time that clean slots have waited for reuse"),
        FIELD(340, U32, numWorkingSetWrites, Counter, Number, Sum, Io, "wsWrites", "writes of the working set"),
        FIELD(344, U32, cacheIdle, Flag, None, None, Cache, "idle", "whether the cache is idle"),
        FIELD(348, U32, vokThreadsInCacheCount, Gauge, Number, Sum, Sessions, "vokThrs", "Vok threads in the cache"),
    });
};

template <> struct FieldList<ShrPcMonStat64SType> {
    using Block = ShrPcMonStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, totalLocalPageCacheHits, Counter, Number, Sum, Cache, "totHits", "hits in the local page cache in total"),
        FIELD(8, I64, totalLocalPageCacheMisses, Counter, Number, Sum, Cache, "totMiss", "misses in the local page cache in total"),
        FIELD(16, I64, totalWaitsForOtherReader, Counter, Number, Sum, Waiting, "totRdrWt", "waits for another reader in total"),
        FIELD(24, I64, totalPageReads, Counter, Number, Sum, Io, "totRead", "page reads in total"),
        FIELD(32, I64, totalPageWrites, Counter, Number, Sum, Io, "totWrite", "page writes in total"),
        FIELD(40, I64, totalFramesFromFreeList, Counter, Number, Sum, Cache, "tFrFree", "frames taken from the free list in total"),
        FIELD(48, I64, totalFramesFromFindFree, Counter, Number, Sum, Cache, "tFrFind", "frames found by searches for a free one in total"),
        FIELD(56, I64, totalFramesAddedToFreeList, Counter, Number, Sum, Cache, "tFrAdd", "frames added to the free list in total"),
        FIELD(64, I64, totalOtPageReads, Counter, Number, Sum, Io, "totOtRd", "reads of OT pages in total"),
        FIELD(72, I64, totalDataPageReads, Counter, Number, Sum, Io, "totDatRd", "reads of data pages in total"),
        FIELD(80, I64, totalBmPageReads, Counter, Number, Sum, Io, "totBmRd", "reads of BM pages in total"),
        FIELD(88, I64, totalMiscPageReads, Counter, Number, Sum, Io, "totMscRd", "reads of miscellaneous pages in total"),
        FIELD(96, I64, totalPcesRemovedFromFreeList, Counter, Number, Sum, Cache, "tPceRem", "PCEs removed from the free list in total"),
        FIELD(104, I64, totalCommitRecordPageReads, Counter, Number, Sum, Io, "totCrRd", "reads of commit record pages in total"),
        FIELD(112, I64, totalPagesAddedToCacheFromDisk, Counter, Number, Sum, Cache, "tAddDisk", "pages added to the cache from disk in total"),
        FIELD(120, I64, totalPagesAddedToCacheFromPrimaryCache, Counter, Number, Sum, Cache, "tAddPrim", "pages added to the cache from the primary cache in total"),
        FIELD(128, I64, totalPagesAddedToCacheFromMidCache, Counter, Number, Sum, Cache, "tAddMid", "pages added to the cache from a mid cache in total"),
        FIELD(136, I64, totalPagesAddedToCacheNewlyCreated, Counter, Number, Sum, Cache, "tAddNew", "pages newly created and added to the cache in total"),
        FIELD(144, I64, totalPcesAddedToFreeList, Counter, Number, Sum, Cache, "tPceAdd", "PCEs added to the free list in total"),
    });
};

template <> struct FieldList<ShrPcBrxStatSType> {
    using Block = ShrPcBrxStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, numberOfCommitRecords, Gauge, Number, Sum, Commit, "crs", "commit records"),
        FIELD(4, U32, logRecordId, Position, None, None, Log, "logRec", "id of the log record"),
        FIELD(8, U32, logBuffersWritten, Counter, Number, Sum, Log, "logBufs", "log buffers written"),
        FIELD(12, U32, logIoCount, Counter, Number, Sum, Log, "logIo", "I/Os of the log"),
        FIELD(16, U32, logFileId, Position, None, None, Log, "logFile", "id of the log file"),
        FIELD(20, U32, readTrackFileSize, Gauge, Number, Max, Objects, "rdTrkSz", "size of the read tracking file"),
        FIELD(24, U32, readTrackServiceCount, Counter, Number, Sum, Objects, "rdTrkSv", "times that read tracking was serviced"),
        FIELD(28, U32, checkpointCount, Counter, Number, Sum, Io, "ckpts", "checkpoints"),
        FIELD(32, U32, completedCheckpointCount, Counter, Number, Sum, Io, "ckptDone", "completed checkpoints"),
        FIELD(36, U32, numInCommitQueue, Gauge, Number, Sum, Commit, "qCommit", "entries of the commit queue"),
        FIELD(40, U32, numInNotifyQueue, Gauge, Number, Sum, Waiting, "qNotify", "entries of the notify queue"),
        FIELD(44, U32, numInCacheStartQueue, Gauge, Number, Sum, Waiting, "qCacheSt", "entries of the cache start queue"),
        FIELD(48, U32, numInRunQueue, Gauge, Number, Sum, Waiting, "qRun", "entries of the run queue"),
        FIELD(52, U32, numInSymbolCreateQueue, Gauge, Number, Sum, Waiting, "qSymbol", "entries of the symbol creation queue"),
        FIELD(56, U32, numInPageWaitQueue, Gauge, Number, Sum, Waiting, "qPage", "entries of the page wait queue"),
        FIELD(60, U32, numInLogWaitQueue, Gauge, Number, Sum, Waiting, "qLogWait", "entries of the log wait queue"),
        FIELD(64, U32, numInLogAioQueue, Gauge, Number, Sum, Waiting, "qLogAio", "entries of the queue for asynchronous I/O of the log"),
        FIELD(68, U32, numInLogBufQueue, Gauge, Number, Sum, Waiting, "qLogBuf", "entries of the log buffer queue"),
        ARRAY(72, U32, numInObjWaitQueue, 10, Gauge, Number, Sum, Locks, "qObj", "entries of each of the 10 object wait queues"),
        FIELD(112, U32, numInLockReqQueue, Gauge, Number, Sum, Locks, "qLockReq", "entries of the lock request queue"),
        FIELD(116, U32, logBufQueueAdds, Counter, Number, Sum, Log, "logBufAd", "additions to the log buffer queue"),
        FIELD(120, U32, logAioQueueAdds, Counter, Number, Sum, Log, "logAioAd", "additions to the queue for asynchronous I/O of the log"),
        FIELD(124, U32, tempPagesDisposed, Counter, Number, Sum, Io, "tmpDisp", "temporary pages disposed of"),
        FIELD(128, U32, persistentPagesDisposed, Counter, Number, Sum, Io, "perDisp", "persistent pages disposed of"),
        FIELD(132, U32, freePages, Gauge, Number, Sum, Io, "freePg", "free pages"),
        FIELD(136, U32, gcWsUnionSweepCount, Counter, Number, Sum, Gc, "gcWsSwp", "sweeps of the garbage collection's working set union"),
        FIELD(140, U32, timeInPgsvrNetReads, Counter, Unknown, Sum, Network, "pgNetRdT", "time spent in network reads from page servers"),
        FIELD(144, U32, timeInPgsvrNetWrites, Counter, Unknown, Sum, Network, "pgNetWrT", "time spent in network writes to page servers"),
        FIELD(148, U32, txMsgCount, Counter, Number, Sum, Network, "txMsg", "tx messages"),
        FIELD(152, U32, txMsgSessionId, Identifier, None, None, Network, "txMsgSes", "session of the tx message"),
        FIELD(156, U32, txMsgKind, State, None, None, Network, "txMsgKnd", "kind of the tx message"),
        FIELD(160, U32, brxLoopState, State, None, None, Threads, "loopSt", "state of the Brox's loop"),
        FIELD(164, U32, deferCkptCompleteCount, Counter, Number, Sum, Io, "ckptDefr", "times that the completion of a checkpoint was deferred"),
        FIELD(168, U32, timeInBrxGetLocks, Counter, Unknown, Sum, Locks, "getLckT", "time that the Brox spent in getting locks"),
        FIELD(172, U32, brxGetLocksCount, Counter, Number, Sum, Locks, "getLck", "times that the Brox got locks"),
        FIELD(176, U32, totalSessionsCount, Gauge, Number, Sum, Sessions, "sess", "sessions in total"),
        FIELD(180, U32, userSessionsCount, Gauge, Number, Sum, Sessions, "userSess", "sessions of users"),
        FIELD(184, U32, commitTokenSession, Identifier, None, None, Commit, "tokenSes", "session that has the commit token"),
        FIELD(188, U32, timeInCommitRecordDisposal, Counter, Unknown, Sum, Commit, "crDispT", "time spent in the disposal of commit records"),
        FIELD(192, U32, commitRecordDisposalState, State, None, None, Commit, "crDispSt", "state of the disposal of commit records"),
        FIELD(196, U32, commitRecordsDisposedCount, Counter, Number, Sum, Commit, "crDisp", "commit records disposed of"),
        FIELD(200, U32, commitRecordsDisposedNotCached, Counter, Number, Sum, Commit, "crDispNc", "commit records disposed of that were not cached"),
        FIELD(204, U32, commitQueueSessionNotReadyCount, Counter, Number, Sum, Commit, "cqSesNr", "times that a session in the commit queue was not ready"),
        FIELD(208, U32, commitQueueHeadNotReadyCount, Counter, Number, Sum, Commit, "cqHeadNr", "times that the head of the commit queue was not ready"),
        FIELD(212, U32, commitQueueHeadNoMsg, Counter, Number, Sum, Commit, "cqHeadNm", "times that the head of the commit queue had no message"),
        FIELD(216, U32, commitQueueNotSerializing, Counter, Number, Sum, Commit, "cqNotSer", "times that the commit queue was not serializing"),
        FIELD(220, U32, commitQueueSymbolWait, Counter, Number, Sum, Commit, "cqSymWt", "times that the commit queue waited for symbols"),
        FIELD(224, U32, commitQueueAddedToRunQueueCount, Counter, Number, Sum, Commit, "cqToRun", "times that the commit queue was added to the run queue"),
        FIELD(228, U32, commitQueueAddedToRunQueueSessionCount, Counter, Number, Sum, Commit, "cqToRunS", "sessions of the commit queue added to the run queue"),
        FIELD(232, U32, broxCommitState, State, None, None, Commit, "commitSt", "state of the commit in the Brox"),
        FIELD(236, U32, commitQueueThreshold, Gauge, Number, Max, Commit, "cqThresh", "threshold of the commit queue"),
        FIELD(240, U32, commitRecordDisposalsDeferredCount, Counter, Number, Sum, Commit, "crDispDf", "disposals of commit records that were deferred"),
        FIELD(244, U32, brxLoopHibernateCount, Counter, Number, Sum, Threads, "hibernat", "hibernations of the Brox's loop"),
        FIELD(248, U32, recoverReclaimOopsWaitTime, Counter, Unknown, Sum, Log, "rcvOopT", "time that recovery waited to reclaim OOPs"),
        FIELD(252, U32, recoverFreeFrameWaitTime, Counter, Unknown, Sum, Log, "rcvFrmT", "time that recovery waited for free frames"),
        FIELD(256, U32, recoverReadThreadWaitTime, Counter, Unknown, Sum, Log, "rcvReadT", "time that recovery's read thread waited"),
        FIELD(260, U32, recoverNumBufs, Gauge, Number, Sum, Log, "rcvBufs", "buffers of recovery"),
        FIELD(264, U32, recoverNumBufsInWorkQueue, Gauge, Number, Sum, Log, "rcvBufWk", "buffers in recovery's work queue"),
        FIELD(268, U32, recoverNumBufsInFreeList, Gauge, Number, Sum, Log, "rcvBufFr", "buffers in recovery's free list"),
        FIELD(272, U32, recoverNumBufsForSessions, Gauge, Number, Sum, Log, "rcvBufSe", "buffers of recovery for sessions"),
        FIELD(276, U32, oldestCrSession, Identifier, None, None, Commit, "oldCrSes", "session of the oldest commit record"),
        FIELD(280, U32, oldestCrSessNotInTrans, Identifier, None, None, Commit, "oldCrNit", "session of the oldest commit record that is not in a transaction"),
        FIELD(284, U32, gcVoteState, State, None, None, Gc, "voteSt", "state of the garbage collection's vote"),
        FIELD(288, U32, waitingForSessionToVote, Identifier, None, None, Gc, "voteWait", "session whose vote is waited for"),
        FIELD(292, U32, tranlogsFull, Flag, None, None, Log, "tlogFull", "whether the transaction logs are full"),
        FIELD(296, U32, timePerformingCommit, Counter, Unknown, Sum, Commit, "commitT", "time spent performing commits"),
        FIELD(300, U32, remoteSharedPageCacheCount, Gauge, Number, Sum, Network, "rmCaches", "remote shared page caches"),
        FIELD(304, U32, oopsReturnedByVoksCount, Counter, Number, Sum, Objects, "oopsRetd", "OOPs that Voks returned"),
        FIELD(308, U32, pagesReturnedByVoksCount, Counter, Number, Sum, Io, "pgRetd", "pages that Voks returned"),
        FIELD(312, U32, pagesWaitingForPagemgr, Gauge, Number, Sum, Cache, "wtPgMgr", "pages waiting for the page manager"),
        FIELD(316, U32, pagesWaitingForRemoval, Gauge, Number, Sum, Cache, "wtRem", "pages waiting for removal"),
        FIELD(320, U32, timeInBroxPageDisposal, Counter, Unknown, Sum, Io, "pgDispT", "time that the Brox spent in the disposal of pages"),
        FIELD(324, U32, remoteCachesNeedServiceCount, Gauge, Number, Sum, Network, "rmNeedSv", "remote caches that need service"),
        FIELD(328, U32, remoteCacheReconnectCount, Counter, Number, Sum, Network, "rmReconn", "reconnections of remote caches"),
        FIELD(332, U32, remoteCacheTimeoutCount, Counter, Number, Sum, Network, "rmTimeot", "time-outs of remote caches"),
        FIELD(336, U32, lastSmcQueueSize, Gauge, Number, Max, Waiting, "smcQueue", "last size of the SMC queue"),
        FIELD(340, I32, sessionsWithGcLock, Gauge, Number, Sum, Gc, "gcLckSes", "sessions that have the garbage collection lock"),
        FIELD(344, U32, numInNetWriteQueue, Gauge, Number, Sum, Network, "qNetWr", "entries of the network write queue"),
        FIELD(348, U32, commitsSinceLastEpoch, Gauge, Number, Sum, Gc, "cmtEpoch", "commits since the last epoch"),
        FIELD(352, U32, numInMainInpQueue, Gauge, Number, Sum, Waiting, "qMainInp", "entries of the main input queue"),
        FIELD(356, U32, numVotingSessions, Gauge, Number, Sum, Gc, "voteSess", "sessions that vote"),
        FIELD(360, U32, numInLostOtQueue, Gauge, Number, Sum, Waiting, "qLostOt", "entries of the lost OT queue"),
        FIELD(364, U32, numInReadTrackQueue, Gauge, Number, Sum, Waiting, "qRdTrk", "entries of the read tracking queue"),
        FIELD(368, U32, numInSecurityDataQueue, Gauge, Number, Sum, Waiting, "qSecData", "entries of the security data queue"),
        FIELD(372, U32, brxMainWaitsForFreeAio, Counter, Number, Sum, Io, "aioWaits", "times that the Brox's main thread waited for free asynchronous I/O"),
        FIELD(376, U32, aioNumEmptyBuffers, Gauge, Number, Sum, Io, "aioEmpty", "empty buffers of asynchronous I/O"),
        FIELD(380, U32, aioNumBuffers, Gauge, Number, Sum, Io, "aioBufs", "buffers of asynchronous I/O"),
        FIELD(384, U32, numInPgsvrWaitQueue, Gauge, Number, Sum, Waiting, "qPgsvr", "entries of the page server wait queue"),
        FIELD(388, U32, reposSizeMB, Gauge, Megabytes, Max, Io, "reposSz", "size of the repository"),
        FIELD(392, U32, reposAtMaxSize, Flag, None, None, Io, "reposMax", "whether the repository is at its maximum size"),
        FIELD(396, U32, numInLdiQueue, Gauge, Number, Sum, Waiting, "qLdi", "entries of the LDI queue"),
        FIELD(400, U32, totalVokFatalErrors, Counter, Number, Sum, Sessions, "vokFatal", "fatal errors of Voks in total"),
        FIELD(404, U32, totalSigAbortsSent, Counter, Number, Sum, Sessions, "sigAbrts", "SigAborts sent in total"),
        FIELD(408, U32, totalLostOtsSent, Counter, Number, Sum, Sessions, "lostOts", "LostOts sent in total"),
        FIELD(412, U32, totalSessionsStopped, Counter, Number, Sum, Sessions, "sessStop", "sessions stopped in total"),
        FIELD(416, U32, totalSessionsTerminated, Counter, Number, Sum, Sessions, "sessTerm", "sessions terminated in total"),
        FIELD(420, U32, ldiThreadOperations, Counter, Number, Sum, Threads, "ldiOps", "operations of the LDI thread"),
        FIELD(424, U32, loginRequestsCount, Counter, Number, Sum, Sessions, "logins", "login requests"),
        FIELD(428, U32, numInNetReadWorkList, Gauge, Number, Sum, Network, "qNetRd", "entries of the network read work list"),
        FIELD(432, U32, lastSessionIdStopped, Identifier, None, None, Sessions, "lstStop", "session that was stopped last"),
        FIELD(436, U32, lastSessionIdTerminated, Identifier, None, None, Sessions, "lstTerm", "session that was terminated last"),
        FIELD(440, U32, lastSessionFatalError, Identifier, None, None, Sessions, "lstFatal", "session that had the last fatal error"),
        FIELD(444, U32, lastSessionSigAbort, Identifier, None, None, Sessions, "lstSigAb", "session of the last SigAbort"),
        FIELD(448, U32, lastSessionLostOt, Identifier, None, None, Sessions, "lstLost", "session of the last LostOt"),
        FIELD(452, U32, brxLoopsSinceSleep, Gauge, Number, Max, Threads, "loopsSlp", "turns of the Brox's loop since it slept"),
        FIELD(456, U32, brxLoopsNoWork, Counter, Number, Sum, Threads, "loopsNoW", "turns of the Brox's loop without work"),
        FIELD(460, U32, brxTranQToRunQThreshold, Gauge, Number, Max, Waiting, "trnQThr", "threshold for moves from the transaction queue to the run queue"),
        FIELD(464, U32, brxAioWaitsForWork, Counter, Number, Sum, Io, "aioNoWrk", "times that the Brox's asynchronous I/O waited for work"),
        FIELD(468, U32, brxAioWriteFailures, Counter, Number, Sum, Io, "aioWrFl", "failed writes of the Brox's asynchronous I/O"),
        FIELD(472, U32, brxAioCompletionFailures, Counter, Number, Sum, Io, "aioCmFl", "failed completions of the Brox's asynchronous I/O"),
        FIELD(476, U32, brxAioFsyncFailures, Counter, Number, Sum, Io, "fsyncFl", "failed fsyncs of the Brox's asynchronous I/O"),
        FIELD(480, U32, netWriteThreadWakeups, Counter, Number, Sum, Network, "netWrWk", "wake-ups of the network write thread"),
        FIELD(484, U32, netWriteThreadSocketWrites, Counter, Number, Sum, Network, "netWrSck", "socket writes of the network write thread"),
        FIELD(488, U32, timerThreadWakeups, Counter, Number, Sum, Threads, "timerWk", "wake-ups of the timer thread"),
        FIELD(492, U32, pagesWaitingForRemovalTemp, Gauge, Number, Sum, Cache, "wtRemTmp", "temporary pages waiting for removal"),
        FIELD(496, U32, pagesWaitingForRemovalPersist, Gauge, Number, Sum, Cache, "wtRemPer", "persistent pages waiting for removal"),
        FIELD(500, U32, pagesWaitingForRemovalDeferred, Gauge, Number, Sum, Cache, "wtRemDef", "pages waiting for a deferred removal"),
        FIELD(504, U32, crPageLocateForDisposeCount, Counter, Number, Sum, Commit, "crLocate", "times that a commit record page was located for disposal"),
        FIELD(508, I32, tteFreePoolSize, Gauge, Number, Sum, Commit, "ttePool", "size of the pool of free TTEs"),
        FIELD(512, I32, tteFreeCount, Gauge, Number, Sum, Commit, "tteFree", "free TTEs"),
        FIELD(516, I32, tteCrPageFreePoolSize, Gauge, Number, Sum, Commit, "tteCrPl", "size of the pool of free commit record pages of TTEs"),
        FIELD(520, I32, tteCrPageInUse, Gauge, Number, Sum, Commit, "tteCrUse", "commit record pages of TTEs in use"),
        FIELD(524, U32, brxAioWaitTotalTime, Counter, Unknown, Sum, Io, "aioWaitT", "time that the Brox's asynchronous I/O waited in total"),
        FIELD(528, U32, brxAiosWaitedForWriteThread, Counter, Number, Sum, Io, "aioWtThr", "asynchronous I/Os of the Brox that waited for a write thread"),
        FIELD(532, U32, brxCrBacklogThreshold, Gauge, Number, Max, Commit, "crBklThr", "threshold of the Brox's backlog of commit records"),
        FIELD(536, U32, epochLastDuration, Gauge, Unknown, Max, Gc, "epochDur", "duration of the last epoch"),
        FIELD(540, U32, gcWsUnionSize, Gauge, Number, Max, Gc, "gcWsSize", "size of the garbage collection's working set union"),
        FIELD(544, U32, brxAioFsyncCount, Counter, Number, Sum, Io, "fsyncs", "fsyncs of the Brox's asynchronous I/O"),
        FIELD(548, U32, brxAioTimeInFsyncMs, Counter, Milliseconds, Sum, Io, "fsyncT", "time that the Brox's asynchronous I/O spent in fsyncs"),
        FIELD(552, U32, brxAioWriteQueueSize, Gauge, Number, Sum, Io, "aioQueue", "size of the write queue of the Brox's asynchronous I/O"),
        FIELD(556, U32, brxAioWriteQueueHighWaterSize, Gauge, Number, Max, Io, "aioQHigh", "greatest size of the write queue of the Brox's asynchronous I/O"),
        FIELD(560, U32, brxAioWriteThreadsIdle, Gauge, Number, Sum, Io, "aioThrId", "idle write threads of the Brox's asynchronous I/O"),
        FIELD(564, U32, brxAioCompletedSmcBuffers, Counter, Number, Sum, Io, "aioSmc", "SMC buffers that the Brox's asynchronous I/O completed"),
        FIELD(568, U32, brxAioCompletedHeapBuffers, Counter, Number, Sum, Io, "aioHeap", "heap buffers that the Brox's asynchronous I/O completed"),
        FIELD(572, U32, pageManagerStarvedCount, Counter, Number, Sum, Cache, "pgMgrStv", "times that the page manager starved"),
        FIELD(576, U32, pageManagerMaxWaitTimeMs, Gauge, Milliseconds, Max, Cache, "pgMgrMax", "longest wait of the page manager"),
        FIELD(580, U32, timeInGetPagesForPageMgr, Counter, Unknown, Sum, Cache, "pgMgrGtT", "time spent in getting pages for the page manager"),
        FIELD(584, U32, timeInProcessPagesFromPageMgr, Counter, Unknown, Sum, Cache, "pgMgrPrT", "time spent in processing pages from the page manager"),
        FIELD(588, U32, brxSmcSpinLockCount, Gauge, Number, Max, Locks, "smcSpin", "spin lock count of the Brox's SMC"),
        FIELD(592, U32, lastCommitRecordReleaseReasonCode, State, None, None, Commit, "crRelWhy", "reason of the last release of a commit record"),
        FIELD(596, U32, lastCommitRecordReleaseSessionId, Identifier, None, None, Commit, "crRelSes", "session of the last release of a commit record"),
        FIELD(600, U32, freePagesPoolSize, Gauge, Number, Sum, Io, "freePgPl", "size of the pool of free pages"),
        FIELD(604, U32, allSymbolsSize, Gauge, Number, Max, Objects, "symbols", "size of the set of all symbols"),
        FIELD(608, U32, epochGcCount, Counter, Number, Sum, Gc, "epochGcs", "epoch garbage collections"),
        FIELD(612, U32, timeLastEpochGc, Gauge, None, None, Gc, "epochGcT", "the last epoch garbage collection: a time, as the server writes it"),
        FIELD(616, U32, maxVotingSessions, Gauge, Number, Max, Gc, "voteMax", "greatest number of voting sessions"),
        FIELD(620, U32, epochForceGc, Flag, None, None, Gc, "epochFrc", "whether an epoch garbage collection is forced"),
        FIELD(624, U32, brxLoopNoWorkThreshold, Gauge, Number, Max, Threads, "loopThr", "threshold of turns of the Brox's loop without work"),
        FIELD(628, U32, pagePushListFullCount, Counter, Number, Sum, Network, "pushFull", "times that the page push list was full"),
        FIELD(632, I32, pagesInPushList, Gauge, Number, Sum, Network, "pushList", "pages in the push list"),
        FIELD(636, U32, remoteSharedPageCacheMax, Gauge, Number, Max, Network, "rmMax", "greatest number of remote shared page caches"),
        FIELD(640, U32, brxAioNumWriteThreads, Gauge, Number, Sum, Io, "aioThrs", "write threads of the Brox's asynchronous I/O"),
        FIELD(644, U32, sessionPerformingBackup, Identifier, None, None, Sessions, "bkupSes", "session that performs a backup"),
        FIELD(648, U32, lostOtDeferLastSession, Identifier, None, None, Sessions, "ltDfrSes", "session whose LostOt was deferred last"),
        FIELD(652, U32, lostOtDeferLastReason, State, None, None, Sessions, "ltDfrWhy", "reason of the last deferral of a LostOt"),
        FIELD(656, U32, lostOtDeferCount, Counter, Number, Sum, Sessions, "ltDfr", "deferrals of a LostOt"),
        FIELD(660, U32, readLocksSize, Gauge, Number, Sum, Locks, "rdLocks", "size of the set of read locks"),
        FIELD(664, U32, writeLocksSize, Gauge, Number, Sum, Locks, "wrLocks", "size of the set of write locks"),
        FIELD(668, U32, maxUserSessions, Gauge, Number, Max, Sessions, "maxUser", "greatest number of user sessions"),
        FIELD(672, U32, forcedDisconnects, Counter, Number, Sum, Sessions, "forcedDc", "forced disconnects"),
        FIELD(676, U32, numInLoginLogQ, Gauge, Number, Sum, Waiting, "qLogin", "entries of the login log queue"),
        FIELD(680, U32, loginLogThreadOperations, Counter, Number, Sum, Threads, "lgnLgOps", "operations of the login log thread"),
        FIELD(684, U32, loginLogFlushes, Counter, Number, Sum, Sessions, "lgnLgFls", "flushes of the login log"),
        FIELD(688, U32, lastSigTermVokSessionId, Identifier, None, None, Sessions, "stVokSes", "session of the Vok that was sent the last SIGTERM"),
        FIELD(692, U32, lastSigTermPageServerSessionId, Identifier, None, None, Sessions, "stPgSes", "session of the page server that was sent the last SIGTERM"),
        FIELD(696, U32, totalSigTermsSentToVoks, Counter, Number, Sum, Sessions, "stVoks", "SIGTERMs sent to Voks in total"),
        FIELD(700, U32, totalSigTermsSentToPageServers, Counter, Number, Sum, Sessions, "stPgsvrs", "SIGTERMs sent to page servers in total"),
        FIELD(704, U32, lastSigTermVokPid, Identifier, None, None, Sessions, "stVokPid", "process id of the Vok that was sent the last SIGTERM"),
        FIELD(708, U32, lastSigTermPgsvrPid, Identifier, None, None, Sessions, "stPgPid", "process id of the page server that was sent the last SIGTERM"),
        FIELD(712, U32, totalExtentGrows, Counter, Number, Sum, Io, "extGrow", "growths of an extent in total"),
        FIELD(716, U32, totalExtentGrowsFailed, Counter, Number, Sum, Io, "extGrwFl", "failed growths of an extent in total"),
        FIELD(720, U32, timeInExtentGrow, Counter, Unknown, Sum, Io, "extGrowT", "time spent in growths of extents"),
        FIELD(724, U32, avgTimePerExtentGrow, Gauge, Unknown, Max, Io, "extGrAvg", "average time of a growth of an extent"),
        FIELD(728, U32, remoteCachesLost, Counter, Number, Sum, Network, "rmLost", "remote caches lost"),
        FIELD(732, U32, remoteMidLevelCacheCount, Gauge, Number, Sum, Network, "rmMid", "remote mid-level caches"),
        FIELD(736, U32, activeCheapLogBuffers, Gauge, Number, Sum, Log, "logBufCh", "active cheap log buffers"),
        FIELD(740, U32, freeLogBuffers, Gauge, Number, Sum, Log, "logBufFr", "free log buffers"),
        FIELD(744, U32, recovNumPendingCheckpoints, Gauge, Number, Sum, Log, "rcvCkpts", "checkpoints pending in recovery"),
        FIELD(748, U32, recovTimeWaitingForCheckpoints, Counter, Unknown, Sum, Log, "rcvCkptT", "time that recovery waited for checkpoints"),
        FIELD(752, I32, recoverTimeLag, Gauge, Unknown, Max, Log, "rcvLag", "time by which recovery lags behind"),
        FIELD(756, I32, recoverTranlogFileId, Position, None, None, Log, "rcvFile", "id of the transaction log file that recovery is at"),
        FIELD(760, I32, recoverTranlogBlockId, Position, None, None, Log, "rcvBlock", "id of the transaction log block that recovery is at"),
        FIELD(764, I32, logSenderFileId, Position, None, None, Log, "sndFile", "id of the file that the log sender is at"),
        FIELD(768, I32, logSenderBlockId, Position, None, None, Log, "sndBlock", "id of the block that the log sender is at"),
        FIELD(772, I32, checkpointState, State, None, None, Io, "ckptSt", "state of the checkpoint"),
        FIELD(776, I32, secondsSinceAbort, Gauge, Seconds, Max, Commit, "sAbort", "seconds since an abort"),
        FIELD(780, I32, secondsSinceCheckpoint, Gauge, Seconds, Max, Io, "sCkpt", "seconds since a checkpoint"),
        FIELD(784, I32, secondsSinceCommit, Gauge, Seconds, Max, Commit, "sCommit", "seconds since a commit"),
        FIELD(788, I32, secondsSinceFailedCommit, Gauge, Seconds, Max, Commit, "sFail", "seconds since a failed commit"),
        FIELD(792, I32, secondsSinceCrDisposal, Gauge, Seconds, Max, Commit, "sCrDisp", "seconds since a disposal of commit records"),
        FIELD(796, I32, secondsSinceExtentGrow, Gauge, Seconds, Max, Io, "sExtGrow", "seconds since a growth of an extent"),
        FIELD(800, I32, secondsSinceLogin, Gauge, Seconds, Max, Sessions, "sLogin", "seconds since a login"),
        FIELD(804, I32, secondsSinceLogout, Gauge, Seconds, Max, Sessions, "sLogout", "seconds since a logout"),
        FIELD(808, I32, secondsSinceLowFreespace, Gauge, Seconds, Max, Io, "sLowFree", "seconds since free space was low"),
        FIELD(812, I32, secondsSinceNewTranlog, Gauge, Seconds, Max, Log, "sNewTlog", "seconds since a new transaction log"),
        FIELD(816, I32, secondsSinceReclaim, Gauge, Seconds, Max, Gc, "sReclaim", "seconds since a reclaim"),
        FIELD(820, I32, secondsSinceReclaimDead, Gauge, Seconds, Max, Gc, "sReclDed", "seconds since a reclaim of dead objects"),
        FIELD(824, I32, secondsSinceStartBrox, Gauge, Seconds, Max, Sessions, "sStart", "seconds since the start of the Brox"),
        FIELD(828, I32, secondsSinceTranlogFull, Gauge, Seconds, Max, Log, "sTlogFul", "seconds since the transaction logs were full"),
        FIELD(832, U32, timeInCheckpoint, Counter, Unknown, Sum, Io, "ckptT", "time spent in checkpoints"),
        FIELD(836, U32, timeInLastCheckpointMs, Gauge, Milliseconds, Max, Io, "ckptLast", "time spent in the last checkpoint"),
        FIELD(840, U32, lowFreespaceCount, Counter, Number, Sum, Io, "lowFree", "times that free space was low"),
        FIELD(844, U32, timeInLowFreespace, Counter, Unknown, Sum, Io, "lowFreeT", "time that free space was low"),
        FIELD(848, I32, tranState, State, None, None, Commit, "tranSt", "state of the transaction"),
        FIELD(852, U32, tranlogFullCount, Counter, Number, Sum, Log, "tlogFulN", "times that the transaction logs were full"),
        FIELD(856, U32, onetimePasswordsActive, Gauge, Number, Sum, Sessions, "otpAct", "active one-time passwords"),
        FIELD(860, U32, onetimePasswordsTotal, Counter, Number, Sum, Sessions, "otpTotal", "one-time passwords in total"),
        FIELD(864, U32, onetimePasswordsValidated, Counter, Number, Sum, Sessions, "otpValid", "one-time passwords validated"),
        FIELD(868, U32, onetimePasswordsNotValidated, Counter, Number, Sum, Sessions, "otpInval", "one-time passwords not validated"),
        FIELD(872, U32, onetimePasswordsExpired, Counter, Number, Sum, Sessions, "otpExpir", "one-time passwords expired"),
    });
};

template <> struct FieldList<ShrPcBrxStat64SType> {
    using Block = ShrPcBrxStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        ARRAY(0, I64, globalSessionStats, 48, Gauge, None, None, Sessions, "gses", "48 statistics that applications keep for all sessions"),
        FIELD(384, I64, backupHighWaterPage, Gauge, Number, Max, Io, "bkupHigh", "highest page that backup has come to"),
        FIELD(392, I64, gcHighWaterPage, Gauge, Number, Max, Gc, "gcHigh", "highest page that garbage collection has come to"),
        FIELD(400, I64, reclaimcount, Counter, Number, Sum, Gc, "reclaims", "reclaims"),
        FIELD(408, I64, reclaimedPagesCount, Counter, Number, Sum, Gc, "reclPg", "pages reclaimed"),
        FIELD(416, U64, pagesNeedReclaimingSize, Gauge, Number, Sum, Gc, "pgNeedRc", "size of the set of pages that need reclaiming"),
        FIELD(424, I64, priorityPagesNeedReclaiming, Gauge, Number, Sum, Gc, "prNeedRc", "pages that need reclaiming with priority"),
        FIELD(432, I64, possibledeadObjs, Gauge, Number, Sum, Gc, "posDead", "objects that are possibly dead"),
        FIELD(440, I64, possibledeadSymbols, Gauge, Number, Sum, Gc, "posDeadS", "symbols that are possibly dead"),
        FIELD(448, I64, reclaimedSymbols, Counter, Number, Sum, Gc, "reclSym", "symbols reclaimed"),
        FIELD(456, I64, voteNotDeadObjs, Gauge, Number, Sum, Gc, "notDead", "objects voted not dead"),
        FIELD(464, I64, deadObjsReclaimedCount, Counter, Number, Sum, Gc, "deadRecl", "dead objects reclaimed"),
        FIELD(472, I64, deadNotReclaimedObjs, Gauge, Number, Sum, Gc, "deadLeft", "dead objects not reclaimed"),
        FIELD(480, I64, epochNewObjs, Gauge, Number, Max, Gc, "epochNew", "new objects of the epoch"),
        FIELD(488, I64, epochScannedObjs, Gauge, Number, Max, Gc, "epochScn", "objects that the epoch scanned"),
        FIELD(496, I64, epochPossibleDeadObjs, Gauge, Number, Max, Gc, "epochDed", "objects that are possibly dead, of the epoch"),
        FIELD(504, I64, freeOopsCount, Gauge, Number, Sum, Objects, "freeOops", "free OOPs"),
        FIELD(512, I64, brxLoopCount, Counter, Number, Sum, Threads, "loops", "turns of the Brox's loop"),
        FIELD(520, I64, totalNewObjectsCommitted, Counter, Number, Sum, Objects, "newObjs", "new objects committed in total"),
        FIELD(528, I64, totalObjectsCommitted, Counter, Number, Sum, Objects, "objs", "objects committed in total"),
        FIELD(536, I64, totalCommits, Counter, Number, Sum, Commit, "commits", "commits in total"),
        FIELD(544, I64, logKBytesWritten, Counter, Kilobytes, Sum, Log, "logKB", "written to the log"),
        FIELD(552, I64, totalAborts, Counter, Number, Sum, Commit, "aborts", "aborts in total"),
        FIELD(560, I64, totalFailedCommits, Counter, Number, Sum, Commit, "failed", "failed commits in total"),
        FIELD(568, I64, commitRecordReleases, Counter, Number, Sum, Commit, "crRel", "releases of commit records"),
        FIELD(576, I64, responsesSentEarly, Counter, Number, Sum, Network, "respErly", "responses sent early"),
        FIELD(584, I64, responsesSentNormal, Counter, Number, Sum, Network, "respNorm", "responses sent normally"),
        FIELD(592, I64, oopNumberHighWaterMark, Gauge, Number, Max, Objects, "oopHigh", "highest number of an OOP"),
    });
};

template <> struct FieldList<ShrPcVokStatSType> {
    using Block = ShrPcVokStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, sigAbortsSent, Counter, Number, Sum, Sessions, "sigAbSnt", "SigAborts sent"),
        FIELD(4, U32, lostOtsSent, Counter, Number, Sum, Sessions, "lostSent", "LostOts sent"),
        FIELD(8, U32, commitCount, Counter, Number, Sum, Commit, "commits", "commits that succeeded"),
        FIELD(12, U32, failedCommitCount, Counter, Number, Sum, Commit, "failed", "commits that failed"),
        FIELD(16, U32, abortCount, Counter, Number, Sum, Commit, "aborts", "aborts"),
        FIELD(20, U32, objsCommitted, Counter, Number, Sum, Objects, "objs", "objects committed"),
        FIELD(24, U32, newObjsCommitted, Counter, Number, Sum, Objects, "newObjs", "new objects committed"),
        FIELD(28, U32, objsCommittedNotLogged, Counter, Number, Sum, Objects, "objsNoLg", "objects committed without being logged"),
        FIELD(32, U32, newObjsCommittedNotLogged, Counter, Number, Sum, Objects, "newNoLg", "new objects committed without being logged"),
        FIELD(36, U32, objectsRead, Counter, Number, Sum, Objects, "objRead", "objects read"),
        FIELD(40, U32, objectsReadTracked, Counter, Number, Sum, Objects, "objRdTrk", "objects read under read tracking"),
        FIELD(44, U32, classesRead, Counter, Number, Sum, Objects, "clsRead", "classes read"),
        FIELD(48, U32, classesCreated, Counter, Number, Sum, Objects, "clsNew", "classes created"),
        FIELD(52, U32, methodsRead, Counter, Number, Sum, Objects, "mthRead", "methods read"),
        FIELD(56, U32, objectsRefreshed, Counter, Number, Sum, Objects, "objRefr", "objects refreshed"),
        FIELD(60, U32, objectsSelectiveAborted, Counter, Number, Sum, Objects, "objSelAb", "objects aborted selectively"),
        FIELD(64, U32, primSelectiveAbort, Counter, Number, Sum, Commit, "primSlAb", "selective aborts by primitive"),
        FIELD(68, U32, numberOfScavenges, Counter, Number, Sum, Gc, "scavs", "scavenges"),
        FIELD(72, U32, almostOutOfMemoryCount, Counter, Number, Sum, Memory, "almOutMm", "times that memory was almost used up"),
        FIELD(76, U32, timeInScavenge, Counter, Unknown, Sum, Gc, "scavT", "time spent in scavenges"),
        FIELD(80, U32, numberOfMarkSweeps, Counter, Number, Sum, Gc, "mkSws", "mark-sweeps"),
        FIELD(84, U32, timeInMarkSweep, Counter, Unknown, Sum, Gc, "mkSwT", "time spent in mark-sweeps"),
        FIELD(88, U32, numRefsStubbedMarkSweep, Counter, Number, Sum, Gc, "stubMkSw", "references stubbed by mark-sweeps"),
        FIELD(92, U32, numRefsStubbedScavenge, Counter, Number, Sum, Gc, "stubScav", "references stubbed by scavenges"),
        FIELD(96, U32, numSoftRefsCleared, Counter, Number, Sum, Gc, "softClr", "soft references cleared"),
        FIELD(100, U32, numLiveSoftRefs, Gauge, Number, Sum, Gc, "softLive", "live soft references"),
        FIELD(104, U32, numNonNilSoftRefs, Gauge, Number, Sum, Gc, "softSet", "soft references that are not nil"),
        FIELD(108, U32, numEphemerons, Gauge, Number, Sum, Gc, "ephem", "ephemerons"),
        FIELD(112, U32, totEphemeronsFired, Counter, Number, Sum, Gc, "ephFired", "ephemerons fired in total"),
        FIELD(116, U32, codeGenGcCount, Counter, Number, Sum, Gc, "codeGcs", "garbage collections of the code generation"),
        FIELD(120, U32, pomGenScavCount, Counter, Number, Sum, Gc, "pomScavs", "scavenges of the POM generation"),
        FIELD(124, U32, scavengeOverflows, Counter, Number, Sum, Gc, "scavOvfl", "overflows of scavenges"),
        FIELD(128, U32, codeCacheSizeKBytes, Gauge, Kilobytes, Sum, Memory, "codeSz", "size of the code cache"),
        FIELD(132, U32, newGenSizeKBytes, Gauge, Kilobytes, Sum, Memory, "newGenSz", "size of the new generation"),
        FIELD(136, U32, oldGenSizeKBytes, Gauge, Kilobytes, Sum, Memory, "oldGenSz", "size of the old generation"),
        FIELD(140, U32, pomGenSizeKBytes, Gauge, Kilobytes, Sum, Memory, "pomGenSz", "size of the POM generation"),
        FIELD(144, U32, permGenSizeKBytes, Gauge, Kilobytes, Sum, Memory, "permSz", "size of the perm generation"),
        FIELD(148, U32, meSpaceUsedKBytes, Gauge, Kilobytes, Sum, Memory, "meUsed", "ME space used"),
        FIELD(152, U32, meSpaceAllocatedKBytes, Gauge, Kilobytes, Sum, Memory, "meAlloc", "ME space allocated"),
        FIELD(156, U32, workingSetSize, Gauge, Number, Sum, Memory, "wset", "size of the working set"),
        FIELD(160, U32, exportedSetSize, Gauge, Number, Sum, Memory, "exported", "size of the exported set"),
        FIELD(164, U32, exportedSetSizePinnedInMemory, Gauge, Number, Sum, Memory, "exportPn", "size of the exported set that is pinned in memory"),
        FIELD(168, U32, dirtyListSize, Gauge, Number, Sum, Memory, "dirtyLst", "size of the dirty list"),
        FIELD(172, U32, messagesToBrx, Counter, Number, Sum, Network, "msgBrx", "messages to the Brox"),
        FIELD(176, U32, newSymbolRequests, Counter, Number, Sum, Objects, "symReq", "requests for new symbols"),
        FIELD(180, U32, timeWaitingForSymbols, Counter, Unknown, Sum, Waiting, "symWaitT", "time spent waiting for symbols"),
        FIELD(184, U32, newSymbolsCount, Counter, Number, Sum, Objects, "newSyms", "new symbols"),
        FIELD(188, U32, omKBytesFlushed, Counter, Kilobytes, Sum, Memory, "omFlush", "flushed by OM"),
        FIELD(192, U32, vokFreePages, Gauge, Number, Sum, Io, "freePg", "free pages of the Vok"),
        FIELD(196, U32, voteNotDead, Gauge, Number, Max, Gc, "notDead", "objects voted not dead"),
        FIELD(200, I32, transLevel, Gauge, Number, Max, Commit, "tranLvl", "level of the transaction"),
        FIELD(204, U32, timeInPgsvrNetReads, Counter, Unknown, Sum, Network, "pgNetRdT", "time spent in network reads from page servers"),
        FIELD(208, U32, timeInPgsvrNetWrites, Counter, Unknown, Sum, Network, "pgNetWrT", "time spent in network writes to page servers"),
        FIELD(212, U32, shadowedPagesCount, Gauge, Number, Sum, Io, "shadowed", "shadowed pages"),
        FIELD(216, U32, priorityScavPagesCount, Counter, Number, Sum, Gc, "prScavPg", "pages scavenged with priority"),
        FIELD(220, U32, commitsAfterReplay, Counter, Number, Sum, Commit, "cmtReply", "commits after a replay"),
        FIELD(224, U32, rcConflictCount, Counter, Number, Sum, Commit, "rcConfl", "RC conflicts"),
        FIELD(228, U32, commitRetryFailureCount, Counter, Number, Sum, Commit, "cmtRtyFl", "failures of commit retries"),
        FIELD(232, U32, pageReadsWaitingForCommit, Counter, Number, Sum, Commit, "pgRdWt", "page reads while waiting for a commit"),
        FIELD(236, U32, pageReadsProcessingCommit, Counter, Number, Sum, Commit, "pgRdPr", "page reads while processing a commit"),
        FIELD(240, U32, pageReadsBroxCommit, Counter, Number, Sum, Commit, "pgRdBrx", "page reads during the Brox's commit"),
        FIELD(244, U32, messagesToBrxWaitingForCommit, Counter, Number, Sum, Commit, "msgWt", "messages to the Brox while waiting for a commit"),
        FIELD(248, U32, messagesToBrxProcessingCommit, Counter, Number, Sum, Commit, "msgPr", "messages to the Brox while processing a commit"),
        FIELD(252, U32, messagesToBrxBroxCommit, Counter, Number, Sum, Commit, "msgBxCm", "messages to the Brox during the Brox's commit"),
        FIELD(256, U32, messageKindToBrox, State, None, None, Network, "msgKind", "kind of the message to the Brox"),
        FIELD(260, U32, timeWaitingForBrox, Counter, Unknown, Sum, Waiting, "brxWaitT", "time spent waiting for the Brox"),
        FIELD(264, U32, updateUnionsCommitCount, Counter, Number, Sum, Commit, "unions", "updates of unions for commits"),
        FIELD(268, U32, timeInUpdateUnionsCommit, Counter, Unknown, Sum, Commit, "unionsT", "time spent in updates of unions for commits"),
        FIELD(272, U32, rebuildScavPagesForCommitCount, Counter, Number, Sum, Commit, "rbldScav", "rebuilds of scavengable pages for commits"),
        FIELD(276, U32, crReadAbort, Counter, Number, Sum, Commit, "crRdAb", "commit records read for aborts"),
        FIELD(280, U32, crReadCommitWithToken, Counter, Number, Sum, Commit, "crRdTok", "commit records read for commits with the commit token"),
        FIELD(284, U32, crReadCommitBeforeCommitQueue, Counter, Number, Sum, Commit, "crRdBef", "commit records read for commits before the commit queue"),
        FIELD(288, U32, crReadCommitInCommitQueue, Counter, Number, Sum, Commit, "crRdQue", "commit records read for commits in the commit queue"),
        FIELD(292, U32, sigAbortsReceived, Counter, Number, Sum, Sessions, "sigAbRcv", "SigAborts received"),
        FIELD(296, U32, lostOtsReceived, Counter, Number, Sum, Sessions, "lostRcvd", "LostOts received"),
        FIELD(300, U32, vokHasCommitToken, Flag, None, None, Commit, "hasToken", "whether the Vok has the commit token"),
        FIELD(304, U32, tempObjSpacePercentUsed, Gauge, Percent, Max, Memory, "tmpUsed", "temporary object space in use"),
        FIELD(308, U32, tciRpcCommandsServiced, Counter, Number, Sum, Network, "tciCmds", "TCI RPC commands serviced"),
        FIELD(312, U32, persistentPagesCommittedCount, Counter, Number, Sum, Io, "perPgCmt", "persistent pages committed"),
        FIELD(316, U32, dataPagesCommitted, Counter, Number, Sum, Io, "dataPgCm", "data pages committed"),
        FIELD(320, U32, sleepDuringDisposeTempPageCount, Counter, Number, Sum, Io, "dispSlp", "sleeps during the disposal of temporary pages"),
        FIELD(324, U32, depMapKeysChanged, Counter, Number, Sum, Objects, "depKeys", "changed keys of the dep map"),
        FIELD(328, U32, tciPhysBytesSent, Counter, Bytes, Sum, Network, "tciPhSnt", "physical bytes that TCI sent"),
        FIELD(332, U32, tciPhysBytesRcvd, Counter, Bytes, Sum, Network, "tciPhRcv", "physical bytes that TCI received"),
        FIELD(336, U32, tciBytesSent, Counter, Bytes, Sum, Network, "tciSent", "bytes that TCI sent"),
        FIELD(340, U32, tciBytesRcvd, Counter, Bytes, Sum, Network, "tciRcvd", "bytes that TCI received"),
        FIELD(344, U32, tranlogBuffersWritten, Counter, Number, Sum, Log, "tlogBufs", "transaction log buffers written"),
        FIELD(348, U32, tranlogKBytesWritten, Counter, Kilobytes, Sum, Log, "tlogKB", "written to the transaction log"),
        FIELD(352, U32, timeInUserActions, Counter, Unknown, Sum, Threads, "userActT", "time spent in user actions"),
        FIELD(356, U32, tciRpcLastCommandServiced, Identifier, None, None, Network, "tciLast", "TCI RPC command that was serviced last"),
        FIELD(360, U32, tciRpcTimeInLastCommand, Gauge, Unknown, Max, Network, "tciLastT", "time spent in the last TCI RPC command"),
        FIELD(364, U32, tciRpcTimeInClientRequests, Counter, Unknown, Sum, Network, "tciReqT", "time spent in TCI RPC client requests"),
        FIELD(368, U32, permGenObjsChanged, Gauge, Number, Sum, Memory, "permChg", "changed objects of the perm generation"),
        FIELD(372, U32, permGenObjsChangedTotal, Counter, Number, Sum, Memory, "permChgN", "changed objects of the perm generation in total"),
        FIELD(376, U32, workingSetObjsChanged, Gauge, Number, Sum, Memory, "wsetChg", "changed objects of the working set"),
        FIELD(380, U32, workingSetObjsChangedTotal, Counter, Number, Sum, Memory, "wsetChgN", "changed objects of the working set in total"),
        FIELD(384, U32, workingSetClearedCount, Counter, Number, Sum, Memory, "wsetClr", "times that the working set was cleared"),
        FIELD(388, U32, primitiveNumber, Identifier, None, None, Threads, "primNum", "number of the primitive"),
        FIELD(392, U32, gcState, State, None, None, Gc, "gcSt", "state of the garbage collection"),
        FIELD(396, U32, voteOnDeadCount, Counter, Number, Sum, Gc, "votes", "votes on dead objects"),
        FIELD(400, U32, permGenFullCount, Counter, Number, Sum, Memory, "permFull", "times that the perm generation was full"),
        FIELD(404, U32, oldGenFullCount, Counter, Number, Sum, Memory, "oldFull", "times that the old generation was full"),
        FIELD(408, U32, lastMarkSweepReasonCode, State, None, None, Gc, "mkSwWhy", "reason of the last mark-sweep"),
        FIELD(412, U32, lastScavengeReasonCode, State, None, None, Gc, "scavWhy", "reason of the last scavenge"),
        FIELD(416, U32, scavsPromToMkSwCount, Counter, Number, Sum, Gc, "scavProm", "scavenges promoted to mark-sweeps"),
        FIELD(420, U32, clientPid, Identifier, None, None, Sessions, "client", "process id of the client"),
        FIELD(424, U32, vokTempObjSizeKb, Gauge, Kilobytes, Sum, Memory, "tmpObjSz", "size of the Vok's temporary objects"),
        FIELD(428, U32, memoryFootPrintKb, Gauge, Kilobytes, Sum, Memory, "footprnt", "memory footprint"),
        FIELD(432, U32, mtMaxThreads, Gauge, Number, Max, Threads, "mtMax", "greatest number of MT threads"),
        FIELD(436, U32, mtThreadsLimit, Gauge, Number, Max, Threads, "mtLimit", "limit of MT threads"),
        FIELD(440, U32, mtPercentCpuActiveLimit, Gauge, Percent, Max, Threads, "mtCpuLim", "limit of active CPU for MT"),
        FIELD(444, U32, mtActiveThreads, Gauge, Number, Sum, Threads, "mtActive", "active MT threads"),
        FIELD(448, U32, mlClearAllCount, Counter, Number, Sum, Memory, "mlClear", "times that ML cleared all"),
        FIELD(452, U32, lastErrorNumber, Identifier, None, None, Sessions, "lastErr", "number of the last error"),
        FIELD(456, U32, continueTransactionCount, Counter, Number, Sum, Commit, "contTran", "continued transactions"),
        FIELD(460, U32, readLocksSize, Gauge, Number, Sum, Locks, "rdLocks", "size of the set of read locks"),
        FIELD(464, U32, writeLocksSize, Gauge, Number, Sum, Locks, "wrLocks", "size of the set of write locks"),
        FIELD(468, U32, afterLogoutState, State, None, None, Sessions, "logoutSt", "state after logout"),
        FIELD(472, U32, objectsReadDuringTraversal, Counter, Number, Sum, Objects, "objRdTrv", "objects read during traversal"),
        FIELD(476, U32, otdataPageReadsDuringTraversal, Counter, Number, Sum, Io, "pgRdTrv", "OT and data page reads during traversal"),
        FIELD(480, U32, failedAttemptedCommitCount, Counter, Number, Sum, Commit, "failAtt", "attempted commits that failed"),
        FIELD(484, U32, lastFailedCommitReasonCode, State, None, None, Commit, "failWhy", "reason of the last failed commit"),
        FIELD(488, U32, voteClosureObjects, Gauge, Number, Max, Gc, "voteClos", "objects of the vote closure"),
        FIELD(492, U32, objectForOopCount, Counter, Number, Sum, Objects, "objForOp", "look-ups of the object for an OOP"),
        FIELD(496, U32, rcReadSetSize, Gauge, Number, Sum, Commit, "rcRdSet", "size of the RC read set"),
        FIELD(500, U32, rcReadSetSizeLastCommit, Gauge, Number, Max, Commit, "rcRdSetL", "size of the RC read set at the last commit"),
        FIELD(504, U32, tciRpcKeepAlivePacketCount, Counter, Number, Sum, Network, "tciKeep", "TCI RPC keep-alive packets"),
        FIELD(508, U32, timeWaitingForCommit, Counter, Unknown, Sum, Commit, "cmtWaitT", "time spent waiting for commits"),
        FIELD(512, U32, timeProcessingCommit, Counter, Unknown, Sum, Commit, "cmtProcT", "time spent processing commits"),
        FIELD(516, U32, gcLockKind, State, None, None, Gc, "gcLock", "kind of the garbage collection lock"),
        FIELD(520, U32, timeBroxCommit, Counter, Unknown, Sum, Commit, "cmtBrxT", "time of commits in the Brox"),
        FIELD(524, I32, secondsSinceAbort, Gauge, Seconds, Max, Commit, "sAbort", "seconds since an abort"),
        FIELD(528, I32, secondsSinceCommit, Gauge, Seconds, Max, Commit, "sCommit", "seconds since a commit"),
        FIELD(532, I32, secondsSinceLogin, Gauge, Seconds, Max, Sessions, "sLogin", "seconds since the login"),
        FIELD(536, I32, secondsSinceSigAbort, Gauge, Seconds, Max, Sessions, "sSigAb", "seconds since a SigAbort"),
        FIELD(540, I32, secondsSinceSigLostOt, Gauge, Seconds, Max, Sessions, "sLostOt", "seconds since a SigLostOt"),
        FIELD(544, I32, secondsSinceStartLongPrim, Gauge, Seconds, Max, Threads, "sLongPrm", "seconds since the start of a long primitive"),
        FIELD(548, I32, secondsSinceFailedCommit, Gauge, Seconds, Max, Commit, "sFail", "seconds since a failed commit"),
        FIELD(552, I32, vokKind, State, None, None, Sessions, "kind", "kind of the Vok"),
        FIELD(556, U32, onetimePasswordsCreated, Counter, Number, Sum, Sessions, "otpNew", "one-time passwords created"),
        FIELD(560, U32, onetimePasswordUsed, Flag, None, None, Sessions, "otpUsed", "whether a one-time password was used"),
    });
};

template <> struct FieldList<ShrPcVokStat64SType> {
    using Block = ShrPcVokStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, objectsReadInBytes, Counter, Bytes, Sum, Objects, "objRdB", "bytes of the objects read"),
        FIELD(8, I64, commitRecordOfView, Position, None, None, Commit, "viewCr", "commit record of the session's view"),
        FIELD(16, I64, lookupCacheSerialNum, Identifier, None, None, Objects, "lkCacheN", "serial number of the look-up cache"),
        ARRAY(24, I64, sessionStats, 48, Gauge, None, None, Sessions, "ses", "48 statistics that applications keep for the session"),
        FIELD(408, I64, memMappedSize, Gauge, Number, Sum, Memory, "mapped", "size of mapped memory"),
        FIELD(416, I64, progressCount, Counter, Number, Sum, Threads, "progress", "progress of an operation"),
        FIELD(424, I64, ffiHeapBytes, Gauge, Bytes, Sum, Memory, "ffiHeap", "FFI heap"),
        FIELD(432, I64, ffiGcHeapBytes, Gauge, Bytes, Sum, Memory, "ffiGcHp", "garbage-collected FFI heap"),
        FIELD(440, I64, indexProgressCount, Counter, Number, Sum, Threads, "idxProgr", "progress of an index operation"),
    });
};

template <> struct FieldList<ShrPcVokThrStatType> {
    using Block = ShrPcVokThrStatType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I32, vokKind, State, None, None, Sessions, "kind", "kind of the Vok"),
    });
};

template <> struct FieldList<ShrPcVokThrStat64Type> {
    using Block = ShrPcVokThrStat64Type;
    static constexpr auto fields = std::to_array<Field>({
        ARRAY(0, I64, sessionStats, 48, Gauge, None, None, Sessions, "ses", "48 statistics that applications keep for the session"),
        FIELD(384, I64, memMappedSize, Gauge, Number, Sum, Memory, "mapped", "size of mapped memory"),
        FIELD(392, I64, progressCount, Counter, Number, Sum, Threads, "progress", "progress of an operation"),
    });
};

template <> struct FieldList<ShrPcPageMgrStatType> {
    using Block = ShrPcPageMgrStatType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, pageMgrPagesReceivedFromBroxCount, Counter, Number, Sum, Cache, "pgRecvd", "pages received from the Brox"),
        FIELD(4, U32, pageMgrRemoveFromCachesCount, Counter, Number, Sum, Cache, "removes", "removals from caches"),
        FIELD(8, U32, pageMgrRemoveFromCachesPageCount, Counter, Number, Sum, Cache, "remPages", "pages to be removed from caches"),
        FIELD(12, U32, pageMgrPagesPendingRemovalRetryCount, Gauge, Number, Sum, Cache, "retryPnd", "pages whose removal is still to be tried again"),
        FIELD(16, U32, pageMgrPagesRemovedFromCachesCount, Counter, Number, Sum, Cache, "removed", "pages removed from caches"),
        FIELD(20, U32, pageMgrPagesNotRemovedFromCachesCount, Counter, Number, Sum, Cache, "notRem", "pages not removed from caches"),
        FIELD(24, U32, pageMgrRemovePagesFromCachesPollCount, Counter, Number, Sum, Cache, "remPolls", "polls for the removal of pages from caches"),
        FIELD(28, U32, pageMgrTimeWaitingForCachePgsvrs, Counter, Unknown, Sum, Network, "pgsvrWtT", "time spent waiting for cache page servers"),
        FIELD(32, U32, pagemgrThreadWakeups, Counter, Number, Sum, Threads, "wakeups", "wake-ups of the page manager thread"),
        FIELD(36, U32, pagemgrSleepState, State, None, None, Threads, "sleepSt", "state of the page manager's sleep"),
        FIELD(40, U32, pagemgrSleepMs, Gauge, Milliseconds, Max, Threads, "sleep", "sleep of the page manager"),
        FIELD(44, U32, pagemgrPolls, Counter, Number, Sum, Threads, "polls", "polls of the page manager"),
        FIELD(48, U32, pageMgrPageRemovalRetryCount, Counter, Number, Sum, Cache, "retries", "removals of pages that were tried again"),
        FIELD(52, U32, pageMgrRemoteCachePgsvrTimeout, Gauge, Unknown, Max, Network, "rmTmout", "time-out for page servers of remote caches"),
        FIELD(56, U32, pageMgrPrintTimeoutThreshold, Gauge, Unknown, Max, Network, "prTmout", "threshold above which time-outs are printed"),
        FIELD(60, U32, pageMgrCompressionEnabled, Flag, None, None, Network, "compr", "whether compression is enabled"),
        FIELD(64, U32, pageMgrRemoveMinPages, Gauge, Number, Max, Cache, "remMin", "least number of pages to remove"),
        FIELD(68, U32, pageMgrRemoveMaxPages, Gauge, Number, Max, Cache, "remMax", "greatest number of pages to remove"),
        FIELD(72, U32, pageMgrRemoveFrameId, Identifier, None, None, Cache, "remFrame", "frame of the removal"),
    });
};

template <> struct FieldList<ShrPcPageMgrStat64Type> {
    using Block = ShrPcPageMgrStat64Type;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U64, pageMgrRemovePageId, Identifier, None, None, Cache, "remPage", "page of the removal"),
    });
};

template <> struct FieldList<ShrPcCachePgsvrStatSType> {
    using Block = ShrPcCachePgsvrStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, clientPid, Identifier, None, None, Sessions, "client", "process id of the client"),
        FIELD(4, U32, compressionTimeReal, Counter, Unknown, Sum, Network, "cmprT", "real time spent in compression"),
        FIELD(8, U32, compressionTimeCpu, Counter, Unknown, Sum, Network, "cmprCpu", "CPU time spent in compression"),
        FIELD(12, U32, decompressionTimeReal, Counter, Unknown, Sum, Network, "dcmprT", "real time spent in decompression"),
        FIELD(16, U32, decompressionTimeCpu, Counter, Unknown, Sum, Network, "dcmprCpu", "CPU time spent in decompression"),
        FIELD(20, U32, compressCount, Counter, Number, Sum, Network, "cmprs", "compressions"),
        FIELD(24, U32, decompressCount, Counter, Number, Sum, Network, "dcmprs", "decompressions"),
        FIELD(28, U32, compressionKbIn, Counter, Kilobytes, Sum, Network, "cmprIn", "data that went into compression"),
        FIELD(32, U32, compressionKbOut, Counter, Kilobytes, Sum, Network, "cmprOut", "data that came out of compression"),
        FIELD(36, U32, decompressionKbIn, Counter, Kilobytes, Sum, Network, "dcmprIn", "data that went into decompression"),
        FIELD(40, U32, decompressionKbOut, Counter, Kilobytes, Sum, Network, "dcmprOut", "data that came out of decompression"),
        FIELD(44, U32, cachePgsvrRemoveFrameId, Identifier, None, None, Cache, "remFrame", "frame of the removal"),
    });
};

template <> struct FieldList<ShrPcCachePgsvrStat64SType> {
    using Block = ShrPcCachePgsvrStat64SType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U64, cachePgsvrRemovePageId, Identifier, None, None, Cache, "remPage", "page of the removal"),
    });
};

template <> struct FieldList<ShrPcVokPgsvrStatSType> {
    using Block = ShrPcVokPgsvrStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, clientPid, Identifier, None, None, Sessions, "client", "process id of the client"),
        FIELD(4, U32, compressionTimeReal, Counter, Unknown, Sum, Network, "cmprT", "real time spent in compression"),
        FIELD(8, U32, compressionTimeCpu, Counter, Unknown, Sum, Network, "cmprCpu", "CPU time spent in compression"),
        FIELD(12, U32, decompressionTimeReal, Counter, Unknown, Sum, Network, "dcmprT", "real time spent in decompression"),
        FIELD(16, U32, decompressionTimeCpu, Counter, Unknown, Sum, Network, "dcmprCpu", "CPU time spent in decompression"),
        FIELD(20, U32, compressCount, Counter, Number, Sum, Network, "cmprs", "compressions"),
        FIELD(24, U32, decompressCount, Counter, Number, Sum, Network, "dcmprs", "decompressions"),
        FIELD(28, U32, compressionKbIn, Counter, Kilobytes, Sum, Network, "cmprIn", "data that went into compression"),
        FIELD(32, U32, compressionKbOut, Counter, Kilobytes, Sum, Network, "cmprOut", "data that came out of compression"),
        FIELD(36, U32, decompressionKbIn, Counter, Kilobytes, Sum, Network, "dcmprIn", "data that went into decompression"),
        FIELD(40, U32, decompressionKbOut, Counter, Kilobytes, Sum, Network, "dcmprOut", "data that came out of decompression"),
        FIELD(44, U32, clientSigAbortsSent, Counter, Number, Sum, Sessions, "sigAbSnt", "SigAborts sent to the client"),
        FIELD(48, U32, clientLostOtsSent, Counter, Number, Sum, Sessions, "lostSent", "LostOts sent to the client"),
        FIELD(52, U32, clientPageReads, Counter, Number, Sum, Network, "pgReads", "pages read for the client"),
        FIELD(56, U32, clientPageReadsCommit, Counter, Number, Sum, Commit, "pgRdCmt", "pages read for the client's commits"),
        FIELD(60, U32, clientPageWrites, Counter, Number, Sum, Network, "pgWrites", "pages written for the client"),
        FIELD(64, U32, timePerformingReadIo, Counter, Unknown, Sum, Io, "readIoT", "time spent performing reads"),
        FIELD(68, U32, messagesToBrox, Counter, Number, Sum, Network, "msgBrx", "messages to the Brox"),
        FIELD(72, U32, messagesToBroxCommit, Counter, Number, Sum, Commit, "msgCmt", "messages to the Brox for commits"),
        FIELD(76, U32, messageKindToBrox, State, None, None, Network, "msgKind", "kind of the message to the Brox"),
        FIELD(80, U32, timeWaitingForBrox, Counter, Unknown, Sum, Waiting, "brxWaitT", "time spent waiting for the Brox"),
        FIELD(84, U32, clientAborts, Counter, Number, Sum, Commit, "aborts", "aborts of the client"),
        FIELD(88, U32, clientCommits, Counter, Number, Sum, Commit, "commits", "commits of the client"),
        FIELD(92, U32, depMapKeysChanged, Counter, Number, Sum, Objects, "depKeys", "changed keys of the dep map"),
        FIELD(96, U32, vokHasCommitToken, Flag, None, None, Commit, "hasToken", "whether the Vok has the commit token"),
        FIELD(100, U32, pusherSentPages, Counter, Number, Sum, Network, "pushSent", "pages that the pusher sent"),
        FIELD(104, U32, pusherDroppedNewLife, Counter, Number, Sum, Network, "pushLife", "pages that the pusher dropped for a new life"),
        FIELD(108, U32, pusherDroppedPoorFill, Counter, Number, Sum, Network, "pushFill", "pages that the pusher dropped for a poor fill"),
        FIELD(112, U32, pusherDroppedNotInCache, Counter, Number, Sum, Network, "pushNotC", "pages that the pusher dropped because they were not in the cache"),
        FIELD(116, I32, pusherDelayMs, Gauge, Milliseconds, Max, Network, "pushDly", "delay of the pusher"),
        FIELD(120, U32, receivedPages, Counter, Number, Sum, Network, "rcvd", "pages received"),
        FIELD(124, U32, receivedPagesCacheFull, Counter, Number, Sum, Network, "rcvFull", "pages received while the cache was full"),
        FIELD(128, U32, receivedPagesAlreadyInCache, Counter, Number, Sum, Network, "rcvInC", "pages received that were already in the cache"),
        FIELD(132, U32, receivedPagesReadInProgress, Counter, Number, Sum, Network, "rcvInRd", "pages received while a read of them was in progress"),
        FIELD(136, U32, timePerformingReadRequests, Counter, Unknown, Sum, Network, "readReqT", "time spent performing read requests"),
        FIELD(140, U32, timeWaitingForCommit, Counter, Unknown, Sum, Commit, "cmtWaitT", "time spent waiting for commits"),
        FIELD(144, U32, timeProcessingCommit, Counter, Unknown, Sum, Commit, "cmtProcT", "time spent processing commits"),
        FIELD(148, U32, gcLockKind, State, None, None, Gc, "gcLock", "kind of the garbage collection lock"),
        FIELD(152, U32, timeBroxCommit, Counter, Unknown, Sum, Commit, "cmtBrxT", "time of commits in the Brox"),
    });
};

template <> struct FieldList<ShrPcFreeFrameThdStatSType> {
    using Block = ShrPcFreeFrameThdStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, dirtyPageSweepCount, Counter, Number, Sum, Cache, "sweeps", "sweeps for dirty pages"),
        FIELD(4, U32, nextSleepTimeMs, Gauge, Milliseconds, Max, Threads, "nextSlp", "duration of the next sleep"),
        FIELD(8, U32, clockHandFrameId, Identifier, None, None, Cache, "clkHand", "frame that the clock hand is at"),
        FIELD(12, U32, cacheRegionNumFrames, Gauge, Number, Sum, Cache, "region", "frames of the cache region"),
        FIELD(16, U32, scanLimitNumFrames, Gauge, Number, Max, Cache, "scanLim", "frames that limit a scan"),
        FIELD(20, U32, freeFrameLowerLimt, Gauge, Number, Max, Cache, "frLower", "lower limit of free frames"),
        FIELD(24, U32, freeFrameUpperLimit, Gauge, Number, Max, Cache, "frUpper", "upper limit of free frames"),
        FIELD(28, U32, freeFrameListOkLimit, Gauge, Number, Max, Cache, "frOkLim", "limit from which the free frame list is in order"),
    });
};

template <> struct FieldList<ShrPcBrxAioThdStatSType> {
    using Block = ShrPcBrxAioThdStatSType;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U32, dirtyPageSweepCount, Counter, Number, Sum, Cache, "sweeps", "sweeps for dirty pages"),
        FIELD(4, U32, nextSleepTimeMs, Gauge, Milliseconds, Max, Threads, "nextSlp", "duration of the next sleep"),
        FIELD(8, U32, clockHandFrameId, Identifier, None, None, Cache, "clkHand", "frame that the clock hand is at"),
        FIELD(12, U32, cacheRegionNumFrames, Gauge, Number, Sum, Cache, "region", "frames of the cache region"),
        FIELD(16, U32, scanLimitNumFrames, Gauge, Number, Max, Cache, "scanLim", "frames that limit a scan"),
        FIELD(20, U32, freeFrameLowerLimt, Gauge, Number, Max, Cache, "frLower", "lower limit of free frames"),
        FIELD(24, U32, freeFrameUpperLimit, Gauge, Number, Max, Cache, "frUpper", "upper limit of free frames"),
        FIELD(28, U32, freeFrameListOkLimit, Gauge, Number, Max, Cache, "frOkLim", "limit from which the free frame list is in order"),
        FIELD(32, U32, aioDirtyCount, Counter, Number, Sum, Io, "aioDirty", "asynchronous I/Os of dirty pages"),
        FIELD(36, U32, aioCkptCount, Counter, Number, Sum, Io, "aioCkpt", "asynchronous I/Os for checkpoints"),
        FIELD(40, U32, aioRateLimit, Gauge, Number, Max, Io, "rateLim", "limit of the I/O rate, per an unrecorded time"),
        FIELD(44, U32, aioRateMax, Gauge, Number, Max, Io, "rateMax", "greatest I/O rate, per an unrecorded time"),
        FIELD(48, U32, targetPercentDirty, Gauge, Percent, Max, Cache, "tgtDirty", "share of dirty pages aimed at"),
        FIELD(52, I32, asyncFlushesInProgress, Gauge, Number, Sum, Io, "flushes", "asynchronous flushes in progress"),
        FIELD(56, U32, postCheckpointPages, Gauge, Number, Sum, Io, "postCkpt", "pages after the checkpoint"),
        FIELD(60, U32, pgsvrCheckpointState, State, None, None, Io, "ckptSt", "state of the checkpoint in the page server"),
        FIELD(64, U32, aioWriteFailures, Counter, Number, Sum, Io, "aioWrFl", "failed writes of asynchronous I/O"),
    });
};

template <> struct FieldList<ShrPcRestoreThrStat64Type> {
    using Block = ShrPcRestoreThrStat64Type;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, U64, commitCount, Counter, Number, Sum, Commit, "commits", "commits restored"),
        FIELD(8, U64, checkpointCount, Counter, Number, Sum, Io, "ckpts", "checkpoints"),
        FIELD(16, U64, recovSkippedCheckpointCount, Counter, Number, Sum, Log, "ckptSkip", "checkpoints that recovery skipped"),
    });
};

template <> struct FieldList<ShrBrxRelativeStatTimes> {
    using Block = ShrBrxRelativeStatTimes;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, timeLastAbort, EventTime, None, None, Commit, "tAbort", "time of the last abort"),
        FIELD(8, I64, timeLastCheckpoint, EventTime, None, None, Io, "tCkpt", "time of the last checkpoint"),
        FIELD(16, I64, timeLastCommit, EventTime, None, None, Commit, "tCommit", "time of the last commit"),
        FIELD(24, I64, timeLastFailedCommit, EventTime, None, None, Commit, "tFail", "time of the last failed commit"),
        FIELD(32, I64, timeLastCrDisposal, EventTime, None, None, Commit, "tCrDisp", "time of the last disposal of commit records"),
        FIELD(40, I64, timeLastExtentGrow, EventTime, None, None, Io, "tExtGrow", "time of the last growth of an extent"),
        FIELD(48, I64, timeLastLogin, EventTime, None, None, Sessions, "tLogin", "time of the last login"),
        FIELD(56, I64, timeLastLogout, EventTime, None, None, Sessions, "tLogout", "time of the last logout"),
        FIELD(64, I64, timeLastLowFreespace, EventTime, None, None, Io, "tLowFree", "time that free space was last low"),
        FIELD(72, I64, timeLastNewTranlog, EventTime, None, None, Log, "tNewTlog", "time of the last new transaction log"),
        FIELD(80, I64, timeLastReclaim, EventTime, None, None, Gc, "tReclaim", "time of the last reclaim"),
        FIELD(88, I64, timeLastReclaimDead, EventTime, None, None, Gc, "tReclDed", "time of the last reclaim of dead objects"),
        FIELD(96, I64, timeLastStartBrox, EventTime, None, None, Sessions, "tStart", "time of the last start of the Brox"),
        FIELD(104, I64, timeLastTranlogFull, EventTime, None, None, Log, "tTlogFul", "time that the transaction logs were last full"),
    });
};

template <> struct FieldList<ShrVokRelativeStatTimes> {
    using Block = ShrVokRelativeStatTimes;
    static constexpr auto fields = std::to_array<Field>({
        FIELD(0, I64, timeLastAbort, EventTime, None, None, Commit, "tAbort", "time of the last abort"),
        FIELD(8, I64, timeLastCommit, EventTime, None, None, Commit, "tCommit", "time of the last commit"),
        FIELD(16, I64, timeLastLogin, EventTime, None, None, Sessions, "tLogin", "time of the last login"),
        FIELD(24, I64, timeLastSigAbort, EventTime, None, None, Sessions, "tSigAb", "time of the last SigAbort"),
        FIELD(32, I64, timeLastSigLostOt, EventTime, None, None, Sessions, "tLostOt", "time of the last SigLostOt"),
        FIELD(40, I64, timeLastStartLongPrim, EventTime, None, None, Threads, "tLongPrm", "time that a long primitive was last started"),
        FIELD(48, I64, timeLastFailedCommit, EventTime, None, None, Commit, "tFail", "time of the last failed commit"),
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
