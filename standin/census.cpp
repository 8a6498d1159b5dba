#include "census.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include "statscatalogue.h"

namespace standin {
namespace {

/* A total of the monitor and the 32-bit counter of every entry that it sums up. */
struct Total {
    std::int64_t ShrPcMonStat64SType::*total;
    std::uint32_t ShrPcCommonStatSType::*part;
};
constexpr std::array totals = std::to_array<Total>({
    {&ShrPcMonStat64SType::totalLocalPageCacheMisses, &ShrPcCommonStatSType::localPageCacheMisses},
    {&ShrPcMonStat64SType::totalWaitsForOtherReader, &ShrPcCommonStatSType::waitsForOtherReader},
    {&ShrPcMonStat64SType::totalPageReads, &ShrPcCommonStatSType::rdbfDiskReads},
    {&ShrPcMonStat64SType::totalPageWrites, &ShrPcCommonStatSType::rdbfDiskWrites},
    {&ShrPcMonStat64SType::totalFramesFromFreeList, &ShrPcCommonStatSType::framesFromFreeList},
    {&ShrPcMonStat64SType::totalFramesFromFindFree, &ShrPcCommonStatSType::framesFromFindFree},
    {&ShrPcMonStat64SType::totalFramesAddedToFreeList,
     &ShrPcCommonStatSType::framesAddedToFreeList},
    {&ShrPcMonStat64SType::totalOtPageReads, &ShrPcCommonStatSType::otPageOps},
    {&ShrPcMonStat64SType::totalDataPageReads, &ShrPcCommonStatSType::dataPageOps},
    {&ShrPcMonStat64SType::totalBmPageReads, &ShrPcCommonStatSType::bmPageOps},
    {&ShrPcMonStat64SType::totalMiscPageReads, &ShrPcCommonStatSType::miscPageOps},
    {&ShrPcMonStat64SType::totalPcesRemovedFromFreeList,
     &ShrPcCommonStatSType::pcesRemovedFromFreeList},
    {&ShrPcMonStat64SType::totalCommitRecordPageReads, &ShrPcCommonStatSType::commitRecordPageOps},
    {&ShrPcMonStat64SType::totalPagesAddedToCacheFromDisk,
     &ShrPcCommonStatSType::pagesAddedToCacheFromDisk},
    {&ShrPcMonStat64SType::totalPagesAddedToCacheFromPrimaryCache,
     &ShrPcCommonStatSType::pagesAddedToCacheFromPrimaryCache},
    {&ShrPcMonStat64SType::totalPagesAddedToCacheFromMidCache,
     &ShrPcCommonStatSType::pagesAddedToCacheFromMidCache},
    {&ShrPcMonStat64SType::totalPagesAddedToCacheNewlyCreated,
     &ShrPcCommonStatSType::pagesAddedToCacheNewlyCreated},
    {&ShrPcMonStat64SType::totalPcesAddedToFreeList, &ShrPcCommonStatSType::pcesAddedToFreeList},
});

/* All that the census counts, in one pass over the table. */
struct Census {
    std::uint32_t processes = 0;
    std::uint32_t voks = 0;
    std::uint32_t vokThreads = 0;
    std::uint32_t pageServers = 0;
    std::uint32_t crashed = 0;
    std::uint32_t slots = 0;
    std::uint32_t freeSlots = 0;
    std::uint32_t frames = 0;
    std::uint32_t spinLocks = 0;
    std::uint32_t sharedCounters = 0;
};

/* Where each number stands in the records of the monitor and of the Brox. */
struct KeptField {
    std::uint32_t kind;
    std::string_view name;
    std::uint32_t Census::*value;
};
constexpr std::array keptFields = std::to_array<KeptField>({
    {SHRPC_MONITOR, "totalProcsInCacheCount", &Census::processes},
    {SHRPC_MONITOR, "voksInCacheCount", &Census::voks},
    {SHRPC_MONITOR, "vokThreadsInCacheCount", &Census::vokThreads},
    {SHRPC_MONITOR, "pageServersInCacheCount", &Census::pageServers},
    {SHRPC_MONITOR, "slotsCrashedCount", &Census::crashed},
    {SHRPC_MONITOR, "slotsTotalCount", &Census::slots},
    {SHRPC_MONITOR, "slotsFreeCount", &Census::freeSlots},
    {SHRPC_MONITOR, "frameCount", &Census::frames},
    {SHRPC_MONITOR, "spinLockCount", &Census::spinLocks},
    {SHRPC_MONITOR, "numSharedCounters", &Census::sharedCounters},
    {SHRPC_BROX, "totalSessionsCount", &Census::voks},
    {SHRPC_BROX, "userSessionsCount", &Census::voks},
});

bool isInUse(const ShrPcPteSType& entry) {
    return ShrPcLoad(entry.inUse) != 0;
}

/* Adds what the entry counted since the last time; 32-bit counters may have wrapped meanwhile. */
void followEntry(ShrPcMonStat64SType& sums, ShrPcPteSType& entry) {
    ShrPcMonStat64SType& noted = entry.previousStatTotals;
    for (const Total& row : totals) {
        const std::uint32_t counted = ShrPcLoad(entry.stats.cmn.*row.part);
        const std::uint32_t growth = counted - static_cast<std::uint32_t>(noted.*row.total);
        noted.*row.total += growth;
        std::atomic_ref<std::int64_t>(sums.*row.total).fetch_add(growth, std::memory_order_relaxed);
    }
    const std::int64_t hits = ShrPcLoad(entry.stats.cmn64.localPageCacheHits);
    const std::int64_t growth = hits - noted.totalLocalPageCacheHits;
    noted.totalLocalPageCacheHits = hits;
    std::atomic_ref<std::int64_t>(sums.totalLocalPageCacheHits)
        .fetch_add(growth, std::memory_order_relaxed);
}

void countEntry(Census& census, const ShrPcPteSType& entry) {
    ++census.processes;
    census.crashed += entry.recoveryState == SPCslot_RECOV_CRASHED;
    switch (ShrPcLoad(entry.statType)) {
    case SHRPC_VOK:
        ++census.voks;
        return;
    case SHRPC_VokThr:
        ++census.vokThreads;
        return;
    case SHRPC_VOK_PGSVR_MAIN:
    case SHRPC_CACHE_PGSVR:
        ++census.pageServers;
        return;
    default:
        return;
    }
}

Census takeCensus(const CacheView& cache) {
    const SegmentCounts& counts = cache.geometry().counts;
    Census census;
    census.slots = counts.numProcesses;
    census.frames = static_cast<std::uint32_t>(counts.numPages);
    census.spinLocks = static_cast<std::uint32_t>(counts.numHashTableLocks);
    census.sharedCounters = static_cast<std::uint32_t>(counts.numSharedCounters);
    for (std::uint32_t slot = 0; slot < census.slots; ++slot) {
        if (isInUse(cache.entry(slot))) {
            countEntry(census, cache.entry(slot));
        }
    }
    census.freeSlots = census.slots - census.processes;
    return census;
}

bool isGone(pid_t pid) {
    return kill(pid, 0) == -1 && errno == ESRCH;
}

} // namespace

void followTotals(const CacheView& cache) {
    ShrPcMonStat64SType& sums = cache.entry(0).stats.u64.monitor64;
    for (std::uint32_t slot = 1; slot < cache.geometry().counts.numProcesses; ++slot) {
        ShrPcPteSType& entry = cache.entry(slot);
        /* A released entry may hold counts that nobody has added yet. */
        if (isInUse(entry) || entry.previousProcessId != 0) {
            followEntry(sums, entry);
        }
    }
}

void countProcesses(const CacheView& cache, std::uint32_t kind) {
    const Census census = takeCensus(cache);
    const std::uint32_t slot = kind == SHRPC_MONITOR ? 0 : 1;
    auto* record = reinterpret_cast<std::byte*>(&cache.entry(slot).stats);
    for (const KeptField& row : keptFields) {
        if (row.kind != kind) {
            continue;
        }
        const auto place =
            statscatalogue::findField(*statscatalogue::kindOfBit(kind), row.name).value();
        std::atomic_ref<std::uint32_t>(
            *reinterpret_cast<std::uint32_t*>(record + place.recordOffset))
            .store(census.*row.value, std::memory_order_relaxed);
    }
}

void markCrashedSlots(const CacheView& cache) {
    for (std::uint32_t slot = 1; slot < cache.geometry().counts.numProcesses; ++slot) {
        ShrPcPteSType& entry = cache.entry(slot);
        if (isInUse(entry) && isGone(entry.stats.processId)) {
            entry.recoveryState = SPCslot_RECOV_CRASHED;
        }
    }
}

bool isKeptByCensus(std::uint32_t kind, std::string_view field) {
    const statscatalogue::Kind* description = statscatalogue::kindOfBit(kind);
    const auto place =
        description != nullptr ? statscatalogue::findField(*description, field) : std::nullopt;
    /* The monitor's own 64-bit block holds nothing but totals. */
    if (kind == SHRPC_MONITOR && place &&
        place->recordOffset >= offsetof(ShrPcStatsSType, u64.monitor64)) {
        return true;
    }
    return std::any_of(keptFields.begin(), keptFields.end(),
                       [&](const KeptField& row) { return row.kind == kind && row.name == field; });
}

} // namespace standin
