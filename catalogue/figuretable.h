/*
 * The figures that are computed from fields, and the columns shown by default. Private to the
 * catalogue, which checks both against the kinds' fields at compile time.
 */
#ifndef FIGURETABLE_H
#define FIGURETABLE_H

#include "kindtable.h"

namespace statscatalogue::tables {

constexpr Term value(std::string_view field, int8_t sign = 1) {
    return {field, Reading::Value, sign};
}
constexpr Term rate(std::string_view field) {
    return {field, Reading::Rate, 1};
}

inline constexpr uint32_t everyKind = (1U << SHRPC_numStatTypes) - 1;
inline constexpr uint32_t pageServers =
    SHRPC_VOK_PGSVR_MAIN | SHRPC_VOK_PGSVR_THD | SHRPC_CACHE_PGSVR;

/* The age of a time stamp by the reader's clock. */
#define AGE(event, title, sentence, kinds)                                                         \
    DerivedFigure {                                                                                \
        "age" event, title, sentence, "now - timeLast" event, Group::Sessions, Unit::Seconds,      \
            Aggregation::Max, kinds, 1, Terms{Term{"timeLast" event, Reading::Age, 1}}, Terms {}   \
    }

inline constexpr auto figureTable = std::to_array<DerivedFigure>({
    {"hitPercent", "hit%", "page look-ups in the interval that the cache answered",
     "100 * localPageCacheHits/s / (localPageCacheHits/s + localPageCacheMisses/s)", Group::Cache,
     Unit::Percent, Aggregation::Sum, everyKind, 100, Terms{rate("localPageCacheHits")},
     Terms{rate("localPageCacheHits"), rate("localPageCacheMisses")}},
    AGE("Commit", "ageCmit", "seconds since the last commit", SHRPC_BROX | SHRPC_VOK),
});

inline constexpr auto headlineTable = std::to_array<DerivedFigure>({
    {"commits", "commits", "commits of all sessions", "totalCommits/s", Group::Commit, Unit::Number,
     Aggregation::Sum, SHRPC_BROX, 1, Terms{rate("totalCommits")}, Terms{}},
    {"aborts", "aborts", "aborts of all sessions", "totalAborts/s", Group::Commit, Unit::Number,
     Aggregation::Sum, SHRPC_BROX, 1, Terms{rate("totalAborts")}, Terms{}},
    {"hitPercent", "hit%", "page look-ups of all processes that the cache answered",
     "100 * totalLocalPageCacheHits/s / (totalLocalPageCacheHits/s + totalLocalPageCacheMisses/s)",
     Group::Cache, Unit::Percent, Aggregation::Sum, SHRPC_MONITOR, 100,
     Terms{rate("totalLocalPageCacheHits")},
     Terms{rate("totalLocalPageCacheHits"), rate("totalLocalPageCacheMisses")}},
    {"reads", "reads", "pages read by all processes", "totalPageReads/s", Group::Io, Unit::Number,
     Aggregation::Sum, SHRPC_MONITOR, 1, Terms{rate("totalPageReads")}, Terms{}},
    {"writes", "writes", "pages written by all processes", "totalPageWrites/s", Group::Io,
     Unit::Number, Aggregation::Sum, SHRPC_MONITOR, 1, Terms{rate("totalPageWrites")}, Terms{}},
    {"freeFrames", "freeFrms", "frames of the cache that hold no page", "numberOfFreeFrames",
     Group::Cache, Unit::Number, Aggregation::Sum, SHRPC_MONITOR, 1,
     Terms{value("numberOfFreeFrames")}, Terms{}},
});

#undef AGE

/* The default columns of the kinds of a mask. */
struct DefaultColumns {
    uint32_t kinds;
    std::array<std::string_view, 6> names; /* empty behind the last */

    constexpr size_t size() const {
        size_t number = 0;
        while (number < names.size() && !names[number].empty()) {
            number++;
        }
        return number;
    }
};

inline constexpr auto defaultsTable = std::to_array<DefaultColumns>({
    {SHRPC_MONITOR,
     {"numberOfFreeFrames", "globalDirtyPageCount", "totalPageReads", "totalPageWrites",
      "totalLocalPageCacheMisses"}},
    {SHRPC_BROX,
     {"totalSessionsCount", "numInCommitQueue", "totalCommits", "totalAborts", "logKBytesWritten",
      "freePages"}},
    {SHRPC_VOK, {"vokKind", "commitCount", "abortCount", "objectsRead", "localPageCacheMisses"}},
    {SHRPC_VokThr, {"vokKind", "progressCount", "memMappedSize", "localPageCacheMisses"}},
    {SHRPC_VOK_PGSVR_MAIN | SHRPC_VOK_PGSVR_THD,
     {"clientPid", "clientPageReads", "clientPageWrites", "clientCommits", "messagesToBrox"}},
    {SHRPC_CACHE_PGSVR,
     {"clientPid", "compressCount", "decompressCount", "compressionKbIn", "compressionKbOut"}},
    {SHRPC_PAGEMGR,
     {"pageMgrPagesReceivedFromBroxCount", "pageMgrPagesRemovedFromCachesCount", "pagemgrPolls"}},
    {SHRPC_BrxRestoreThr,
     {"commitCount", "checkpointCount", "recovSkippedCheckpointCount", "rdbfDiskReads",
      "rdbfDiskWrites"}},
    {SHRPC_BrxAioThr,
     {"aioDirtyCount", "aioCkptCount", "aioRateLimit", "asyncFlushesInProgress",
      "aioWriteFailures"}},
    {SHRPC_FF_Thr,
     {"dirtyPageSweepCount", "framesAddedToFreeList", "freeFrameListOkLimit", "nextSleepTimeMs"}},
    {SHRPC_STATMON | SHRPC_APP | SHRPC_PSC | SHRPC_SYSTEM,
     {"localPageCacheHits", "localPageCacheMisses", "rdbfDiskReads", "rdbfDiskWrites"}},
});

} // namespace statscatalogue::tables

#endif
