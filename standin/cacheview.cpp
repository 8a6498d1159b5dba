#include "cacheview.h"

#include <atomic>
#include <cstring>
#include <stdexcept>

namespace standin {
namespace {

/* What other processes look at is stored last and at once. */
template <typename Word> void publish(Word& word, Word value) {
    std::atomic_ref<Word>(word).store(value, std::memory_order_release);
}

void fillHeader(ShrPcConfigSType& header, const SegmentGeometry& geometry) {
    const SegmentCounts& counts = geometry.counts;
    header.compatibilityLevel = SHRPC_COMPATIBILITY_LEVEL;
    header.numPages = counts.numPages;
    header.segmentSize = geometry.segmentSize;
    header.totalPces = counts.hashTableSize + counts.numFreeListPces;
    header.numFreeListPces = counts.numFreeListPces;
    header.hashTableSize = counts.hashTableSize;
    header.numSharedCounters = counts.numSharedCounters;
    header.numProcesses = counts.numProcesses;
    header.numSemaphores = counts.numProcesses;
    header.spinLockCount = static_cast<std::uint32_t>(counts.numHashTableLocks);

    header.logBuffersOffset = geometry.segmentSize;
    header.pagePushListsOffset = geometry.segmentSize;
    header.pagePushListsLimit = geometry.segmentSize;
    header.framesOnWireOffset = geometry.segmentSize;
    header.framesOnWireLimit = geometry.segmentSize;
    header.scanPinnedPagesOffset = geometry.segmentSize;
    header.pceOffset = geometry.pceOffset;
    header.spinLocksOffset = geometry.spinLocksOffset;
    header.frameLocksOffset = geometry.frameLocksOffset;
    header.processTableOffset = geometry.processTableOffset;
    header.cacheStateOffset = geometry.cacheStateOffset;
    header.miscDataOffset = geometry.miscDataOffset;
    header.frameHistoryOffset = geometry.frameHistoryOffset;
    header.sharedCountersOffset = geometry.sharedCountersOffset;
    header.freeFrameBitListOffset = geometry.freeFrameBitListOffset;
    header.freePceBitListOffset = geometry.freePceBitListOffset;
    header.cacheLimitOffset = (2 + static_cast<std::uint64_t>(counts.numPages)) * SHRPC_PAGE_SIZE;

    header.pceSize = sizeof(ShrPcPceSType);
    header.spinLockSize = sizeof(HostShrSpinLockSType);
    header.frameLockSize = sizeof(ShrPcFrameLockSType);
    header.sharedCounterSize = sizeof(HostShrSpinLockSType);
    header.miscDataSize = sizeof(ShrPcMiscDataSType);
    header.pteSize = sizeof(ShrPcPteSType);
    header.cacheStateSize = sizeof(ShrPcCacheStateSType);
    header.frameHistEntrySize = sizeof(ShrPcFrameHistorySType);
    header.targetFreeFrameCount = static_cast<std::uint32_t>(counts.numPages) / 8;
    header.isBroxCache = 1;
}

void nameLocks(const CacheView& cache) {
    const SegmentCounts& counts = cache.geometry().counts;
    for (std::int32_t i = 0; i < counts.numHashTableLocks; ++i) {
        setLockName(cache.hashTableLock(i), "HashTable_" + std::to_string(i));
        cache.hashTableLock(i).isHashTableLock = 1;
    }
    for (std::int32_t i = 0; i < counts.numPages; ++i) {
        setLockName(cache.frameLock(i), "FrameLock_" + std::to_string(i));
    }
    for (std::int32_t i = 0; i < counts.numSharedCounters; ++i) {
        setLockName(cache.sharedCounter(i), "SharedCounter_" + std::to_string(i));
    }
    setLockName(cache.globalStatsLock(), "GlobalStats");
    setLockName(cache.checkpointLock(), "ChkptInfo");
}

/* A fresh cache has nothing but free frames and free PCEs. */
void setAllBits(std::byte* words, std::int32_t bits) {
    std::memset(words, 0xFF, static_cast<std::size_t>(bits / 64) * sizeof(std::uint64_t));
}

} // namespace

CacheView::CacheView(void* memory, const SegmentGeometry& geometry)
    : memory_(static_cast<std::byte*>(memory)), geometry_(geometry) {}

template <typename Record> Record& CacheView::at(std::uint64_t offset) const {
    return *reinterpret_cast<Record*>(memory_ + offset);
}

ShrPcConfigSType& CacheView::header() const {
    return at<ShrPcConfigSType>(0);
}

ShrPcPteSType& CacheView::entry(std::uint32_t slot) const {
    return (&at<ShrPcPteSType>(geometry_.processTableOffset))[slot];
}

HostShrSpinLockSType& CacheView::hashTableLock(std::int32_t index) const {
    return (&at<HostShrSpinLockSType>(geometry_.spinLocksOffset))[index];
}

HostShrSpinLockSType& CacheView::frameLock(std::int32_t index) const {
    return (&at<ShrPcFrameLockSType>(geometry_.frameLocksOffset))[index].frameLock;
}

HostShrSpinLockSType& CacheView::sharedCounter(std::int32_t index) const {
    return (&at<HostShrSpinLockSType>(geometry_.sharedCountersOffset))[index];
}

HostShrSpinLockSType& CacheView::globalStatsLock() const {
    return at<ShrPcMiscDataSType>(geometry_.miscDataOffset).globalSessionStatsLock;
}

HostShrSpinLockSType& CacheView::checkpointLock() const {
    return at<ShrPcMiscDataSType>(geometry_.miscDataOffset).checkpointInfo.lock;
}

void CacheView::setInitDone(bool done) const {
    auto& flag = const_cast<BoolType&>(header().initDone);
    publish<BoolType>(flag, done ? 1 : 0);
}

void CacheView::occupy(std::uint32_t slot, const EntryIdentity& identity) const {
    ShrPcPteSType& owned = entry(slot);
    const bool hadAnOwner = owned.previousProcessId != 0 || owned.inUse != 0;
    if (hadAnOwner) {
        owned.stats = {};
        owned.previousStatTotals = {};
        std::memset(owned.processName, 0, sizeof owned.processName);
    }
    owned.stats.processId = identity.pid;
    owned.stats.sessionId = identity.sessionId;
    owned.stats.cmn.cacheSlotIndex = slot;
    identity.name.copy(owned.processName, SHRPC_PROC_NAME_SIZE);
    owned.statType = identity.kind;
    owned.recoveryState = SPCslot_RECOV_IDLE;
    if (owned.inUse == 0) {
        std::atomic_ref<std::uint32_t>(header().numActiveProcesses).fetch_add(1);
    }
    publish<BoolType>(owned.inUse, 1);
}

void CacheView::release(std::uint32_t slot) const {
    ShrPcPteSType& owned = entry(slot);
    if (owned.inUse == 0) {
        return;
    }
    owned.previousProcessId = owned.stats.processId;
    owned.recoveryState = SPCslot_RECOV_CLEAN_LOGOUT;
    publish<BoolType>(owned.inUse, 0);
    std::atomic_ref<std::uint32_t>(header().numActiveProcesses).fetch_sub(1);
}

CacheView layOut(void* memory, std::size_t size, const SegmentGeometry& geometry) {
    if (size < geometry.segmentSize) {
        throw std::invalid_argument("a cache of " + std::to_string(geometry.segmentSize) +
                                    " bytes does not fit " + std::to_string(size) + " bytes");
    }
    const CacheView cache(memory, geometry);
    fillHeader(cache.header(), geometry);
    nameLocks(cache);
    auto* bytes = static_cast<std::byte*>(memory);
    setAllBits(bytes + geometry.freeFrameBitListOffset, geometry.counts.numPages);
    setAllBits(bytes + geometry.freePceBitListOffset, geometry.counts.numFreeListPces);
    return cache;
}

void setLockName(HostShrSpinLockSType& lock, const std::string& name) {
    std::memset(lock.lockName, 0, sizeof lock.lockName);
    name.copy(lock.lockName, sizeof lock.lockName);
}

} // namespace standin
