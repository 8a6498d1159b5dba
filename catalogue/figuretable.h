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

/* The share, in percent, that `part` has in itself and `rest` together, over the interval. */
consteval DerivedFigure share(std::string_view name, std::string_view title, uint32_t kinds,
                              Group group, std::string_view part, std::string_view rest,
                              std::string_view sentence) {
    return {name,          title,
            sentence,      group,
            Unit::Percent, Aggregation::Sum,
            kinds,         100,
            {rate(part)},  {rate(part), rate(rest)}};
}

/* What each event costs over the interval. */
consteval DerivedFigure each(std::string_view name, std::string_view title, uint32_t kinds,
                             Group group, Unit unit, std::string_view cost, std::string_view events,
                             std::string_view sentence) {
    return {name,  title, sentence,     group,         unit, Aggregation::Sum,
            kinds, 1,     {rate(cost)}, {rate(events)}};
}

/* What share of a whole there is now, in percent. */
consteval DerivedFigure level(std::string_view name, std::string_view title, uint32_t kinds,
                              Group group, Terms part, std::string_view whole,
                              std::string_view sentence) {
    return {name,  title, sentence, group,         Unit::Percent, Aggregation::Sum,
            kinds, 100,   part,     {value(whole)}};
}

/* How long ago an event was, by the reader's clock: a secondsSince field stands still when its
 * owner dies. */
consteval DerivedFigure age(std::string_view name, std::string_view title, uint32_t kinds,
                            Group group, std::string_view time, std::string_view sentence) {
    return {name,
            title,
            sentence,
            group,
            Unit::Seconds,
            Aggregation::Max,
            kinds,
            1,
            {Term{time, Reading::Age, 1}},
            {}};
}

/* A single number as it is. */
consteval DerivedFigure plain(std::string_view name, std::string_view title, uint32_t kind,
                              Group group, Term term, std::string_view sentence) {
    return {name, title, sentence, group, Unit::Number, Aggregation::Sum, kind, 1, {term}, {}};
}

inline constexpr uint32_t everyKind = (1U << SHRPC_numStatTypes) - 1;
inline constexpr uint32_t vokPageServers = SHRPC_VOK_PGSVR_MAIN | SHRPC_VOK_PGSVR_THD;
inline constexpr uint32_t pageServers = vokPageServers | SHRPC_CACHE_PGSVR;
inline constexpr uint32_t broxAndVok = SHRPC_BROX | SHRPC_VOK;

inline constexpr auto figureTable = std::to_array<DerivedFigure>({
    share("hitPercent", "hit%", everyKind, Group::Cache, "localPageCacheHits",
          "localPageCacheMisses", "hits in the local page cache"),
    share("totalHitPercent", "totHit%", SHRPC_MONITOR, Group::Cache, "totalLocalPageCacheHits",
          "totalLocalPageCacheMisses", "hits in the local page cache, in total"),
    level("freeFramePercent", "free%", SHRPC_MONITOR, Group::Cache, {value("numberOfFreeFrames")},
          "frameCount", "frames that are free"),
    level("usedSlotPercent", "slots%", SHRPC_MONITOR, Group::Sessions,
          {value("slotsTotalCount"), value("slotsFreeCount", -1)}, "slotsTotalCount",
          "slots that are not free"),
    DerivedFigure{"mainThreadPercent",
                  "thrMain%",
                  "share of the interval that the main thread was running",
                  Group::Threads,
                  Unit::Percent,
                  Aggregation::Max,
                  SHRPC_MONITOR,
                  0.1,
                  {rate("mainThreadTimeRunningMs")},
                  {}},

    each("msPerDiskRead", "ms/read", everyKind, Group::Io, Unit::Milliseconds,
         "rdbfTimeWaitingForIoMs", "rdbfDiskReads", "wait for I/O, for each read from disk"),
    each("msPerPageIo", "ms/io", everyKind, Group::Io, Unit::Milliseconds, "rdbfTimeWaitingForIoMs",
         "rdbfPageIoCount", "wait for I/O, for each I/O of a page"),
    each("msPerFsync", "ms/fsync", SHRPC_BROX, Group::Io, Unit::Milliseconds, "brxAioTimeInFsyncMs",
         "brxAioFsyncCount", "duration of an fsync"),

    share("failedCommitPercent", "fail%", SHRPC_BROX, Group::Commit, "totalFailedCommits",
          "totalCommits", "commits that failed, of all tried"),
    share("failedCommitPercent", "fail%", SHRPC_VOK, Group::Commit, "failedCommitCount",
          "commitCount", "commits that failed, of all tried"),
    share("abortPercent", "abort%", SHRPC_BROX, Group::Commit, "totalAborts", "totalCommits",
          "aborts, of all commits and aborts"),
    share("abortPercent", "abort%", SHRPC_VOK, Group::Commit, "abortCount", "commitCount",
          "aborts, of all commits and aborts"),
    share("abortPercent", "abort%", vokPageServers, Group::Commit, "clientAborts", "clientCommits",
          "aborts, of all commits and aborts"),
    each("objectsPerCommit", "objs/cmt", SHRPC_BROX, Group::Objects, Unit::Number,
         "totalObjectsCommitted", "totalCommits", "objects for each commit"),
    each("objectsPerCommit", "objs/cmt", SHRPC_VOK, Group::Objects, Unit::Number, "objsCommitted",
         "commitCount", "objects for each commit"),
    each("logKBytesPerCommit", "KB/cmt", SHRPC_BROX, Group::Log, Unit::Kilobytes,
         "logKBytesWritten", "totalCommits", "written to the log for each commit"),
    each("logKBytesPerCommit", "KB/cmt", SHRPC_VOK, Group::Log, Unit::Kilobytes,
         "tranlogKBytesWritten", "commitCount", "written to the transaction log for each commit"),

    level("meSpacePercent", "me%", SHRPC_VOK, Group::Memory, {value("meSpaceUsedKBytes")},
          "meSpaceAllocatedKBytes", "allocated ME space that is used"),
    each("compressionRatio", "cmprRat", pageServers, Group::Network, Unit::Ratio, "compressionKbIn",
         "compressionKbOut", "how many times smaller compression makes data"),
    each("decompressionRatio", "dcmprRat", pageServers, Group::Network, Unit::Ratio,
         "decompressionKbOut", "decompressionKbIn",
         "how many times larger decompression makes data"),

    age("ageLastAbort", "aAbort", broxAndVok, Group::Commit, "timeLastAbort",
        "how long ago the last abort was"),
    age("ageLastCheckpoint", "aCkpt", SHRPC_BROX, Group::Io, "timeLastCheckpoint",
        "how long ago the last checkpoint was"),
    age("ageLastCommit", "aCommit", broxAndVok, Group::Commit, "timeLastCommit",
        "how long ago the last commit was"),
    age("ageLastFailedCommit", "aFail", broxAndVok, Group::Commit, "timeLastFailedCommit",
        "how long ago the last failed commit was"),
    age("ageLastCrDisposal", "aCrDisp", SHRPC_BROX, Group::Commit, "timeLastCrDisposal",
        "how long ago the last disposal of commit records was"),
    age("ageLastExtentGrow", "aExtGrow", SHRPC_BROX, Group::Io, "timeLastExtentGrow",
        "how long ago the last growth of an extent was"),
    age("ageLastLogin", "aLogin", broxAndVok, Group::Sessions, "timeLastLogin",
        "how long ago the last login was"),
    age("ageLastLogout", "aLogout", SHRPC_BROX, Group::Sessions, "timeLastLogout",
        "how long ago the last logout was"),
    age("ageLastLowFreespace", "aLowFree", SHRPC_BROX, Group::Io, "timeLastLowFreespace",
        "how long ago free space was last low"),
    age("ageLastNewTranlog", "aNewTlog", SHRPC_BROX, Group::Log, "timeLastNewTranlog",
        "how long ago the last new transaction log was"),
    age("ageLastReclaim", "aReclaim", SHRPC_BROX, Group::Gc, "timeLastReclaim",
        "how long ago the last reclaim was"),
    age("ageLastReclaimDead", "aReclDed", SHRPC_BROX, Group::Gc, "timeLastReclaimDead",
        "how long ago the last reclaim of dead objects was"),
    age("ageLastStartBrox", "aStart", SHRPC_BROX, Group::Sessions, "timeLastStartBrox",
        "how long ago the Brox was last started"),
    age("ageLastTranlogFull", "aTlogFul", SHRPC_BROX, Group::Log, "timeLastTranlogFull",
        "how long ago the transaction logs were last full"),
    age("ageLastSigAbort", "aSigAb", SHRPC_VOK, Group::Sessions, "timeLastSigAbort",
        "how long ago the last SigAbort was"),
    age("ageLastSigLostOt", "aLostOt", SHRPC_VOK, Group::Sessions, "timeLastSigLostOt",
        "how long ago the last SigLostOt was"),
    age("ageLastStartLongPrim", "aLongPrm", SHRPC_VOK, Group::Threads, "timeLastStartLongPrim",
        "how long ago a long primitive was last started"),
});

inline constexpr auto headlineTable = std::to_array<DerivedFigure>({
    plain("commits", "commits", SHRPC_BROX, Group::Commit, rate("totalCommits"), "commits"),
    plain("aborts", "aborts", SHRPC_BROX, Group::Commit, rate("totalAborts"), "aborts"),
    share("hitPercent", "hit%", SHRPC_MONITOR, Group::Cache, "totalLocalPageCacheHits",
          "totalLocalPageCacheMisses", "hits in the local page cache"),
    plain("reads", "reads", SHRPC_MONITOR, Group::Io, rate("totalPageReads"), "page reads"),
    plain("writes", "writes", SHRPC_MONITOR, Group::Io, rate("totalPageWrites"), "page writes"),
    plain("freeFrames", "freeFrms", SHRPC_MONITOR, Group::Cache, value("numberOfFreeFrames"),
          "free frames"),
});

/* The default columns of the kinds of a mask: fields, and figures that tell more than these. */
struct DefaultColumns {
    uint32_t kinds;
    std::array<Name, 7> names; /* empty behind the last */

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
     {"numberOfFreeFrames", "globalDirtyPageCount", "totalHitPercent", "totalPageReads",
      "totalPageWrites", "totalLocalPageCacheMisses"}},
    {SHRPC_BROX,
     {"totalSessionsCount", "numInCommitQueue", "totalCommits", "totalAborts", "logKBytesWritten",
      "freePages", "failedCommitPercent"}},
    {SHRPC_VOK,
     {"vokKind", "commitCount", "abortCount", "objectsRead", "hitPercent", "localPageCacheMisses"}},
    {SHRPC_VokThr,
     {"vokKind", "progressCount", "memMappedSize", "hitPercent", "localPageCacheMisses"}},
    {SHRPC_VOK_PGSVR_MAIN | SHRPC_VOK_PGSVR_THD,
     {"clientPid", "clientPageReads", "clientPageWrites", "clientCommits", "messagesToBrox"}},
    {SHRPC_CACHE_PGSVR,
     {"clientPid", "compressCount", "decompressCount", "compressionKbIn", "compressionKbOut",
      "compressionRatio"}},
    {SHRPC_PAGEMGR,
     {"pageMgrPagesReceivedFromBroxCount", "pageMgrPagesRemovedFromCachesCount", "pagemgrPolls"}},
    {SHRPC_BrxRestoreThr,
     {"commitCount", "checkpointCount", "recovSkippedCheckpointCount", "rdbfDiskReads",
      "msPerDiskRead", "rdbfDiskWrites"}},
    {SHRPC_BrxAioThr,
     {"aioDirtyCount", "aioCkptCount", "aioRateLimit", "asyncFlushesInProgress",
      "aioWriteFailures"}},
    {SHRPC_FF_Thr,
     {"dirtyPageSweepCount", "framesAddedToFreeList", "freeFrameListOkLimit", "nextSleepTimeMs"}},
    {SHRPC_STATMON | SHRPC_APP | SHRPC_PSC | SHRPC_SYSTEM,
     {"hitPercent", "localPageCacheHits", "localPageCacheMisses", "rdbfDiskReads",
      "rdbfDiskWrites"}},
});

} // namespace statscatalogue::tables

#endif
