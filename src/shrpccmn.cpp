#include "shrpccmn.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "hostunix.h"

namespace {

constexpr int64_t NANOSECONDS_PER_MILLISECOND = 1000000;
constexpr int64_t INIT_POLL_NANOSECONDS = 50 * NANOSECONDS_PER_MILLISECOND;

/* Nanoseconds since the epoch, -1 when the clock fails. */
int64_t realTimeNs() {
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return -1;
    }
    return now.tv_sec * 1000 * NANOSECONDS_PER_MILLISECOND + now.tv_nsec;
}

/* The address `offset` bytes into the segment, in whole numbers: it need not be a valid one. */
template <typename Element> Element* atOffset(const void* segment, uint64_t offset) {
    return reinterpret_cast<Element*>(reinterpret_cast<uintptr_t>(segment) + offset);
}

uint64_t signedOffset(int32_t count, size_t elementSize) {
    return static_cast<uint64_t>(static_cast<int64_t>(count) * static_cast<int64_t>(elementSize));
}

void fillFreeList(ShrPcFreeList* list, ShrPcStateSType* owner, const void* segment, uint64_t offset,
                  int32_t bits) {
    list->shrpcPtr = owner;
    list->words = atOffset<uint64_t>(segment, offset);
    list->numWords = static_cast<uint32_t>(bits / 64);
    list->maxBit = list->numWords * 64 - 1;
    list->myStartIndex = 0;
}

/* A private copy of a lock record, aligned and still, which in the segment it need not be. */
HostShrSpinLockSType lockAt(const void* region, size_t offset) {
    HostShrSpinLockSType lock;
    memcpy(&lock, static_cast<const char*>(region) + offset, sizeof lock);
    return lock;
}

/* Whether `length` bytes at `offset` lie in the segment, at a multiple of `alignment`. */
BoolType isInSegment(const char* name, uint64_t offset, uint64_t length, uint64_t alignment,
                     uint64_t segSize, char* errBuf, size_t errBufSize) {
    const bool isInside = offset <= segSize && length <= segSize - offset;
    const bool isAligned = offset % alignment == 0;
    if (isInside && isAligned) {
        return TRUE;
    }
    printf("ERROR in bounds of %s,  offset %lu, length %lu, segment's size %lu , %s line %d \n",
           name, offset, length, segSize, "file shrpccmn", __LINE__);
    snprintf(errBuf, errBufSize,
             "The shared cache is damaged: its %s, at offset %lu with a length of %lu or more "
             "bytes, %s the segment of %lu bytes.",
             name, offset, length, isInside ? "is not aligned to 8 bytes in" : "does not fit",
             segSize);
    return FALSE;
}

} // namespace

BoolType ShrPcConfigSType::waitForCacheInit(int timeoutMs) const {
    if (initDone) {
        return TRUE;
    }
    const int64_t limit = timeoutMs * NANOSECONDS_PER_MILLISECOND;
    const int64_t start = realTimeNs();
    for (;;) {
        HostNanoSleep(INIT_POLL_NANOSECONDS);
        const int64_t now = realTimeNs();
        if (start < 0 || now < 0 || now - start >= limit) {
            break;
        }
        if (initDone) {
            return TRUE;
        }
    }
    return initDone != 0;
}

BoolType ShrPcHeaderFits(size_t segSize, char* errBuf, size_t errBufSize) {
    return isInSegment("header", 0, sizeof(ShrPcConfigSType), 1, segSize, errBuf, errBufSize);
}

BoolType ShrPcRegionsFit(const ShrPcConfigSType& header, size_t segSize, char* errBuf,
                         size_t errBufSize) {
    const auto entries = static_cast<int32_t>(header.numProcesses);
    const uint64_t slots = entries < 2 ? 2 : static_cast<uint64_t>(entries);
    for (const ShrPcRegionSType& region : SHRPC_REGIONS) {
        const bool isTable = region.offset == &ShrPcConfigSType::processTableOffset;
        if (!isInSegment(region.name, header.*region.offset, region.read * (isTable ? slots : 1),
                         region.alignment, segSize, errBuf, errBufSize)) {
            return FALSE;
        }
    }
    return TRUE;
}

BoolType checkSize(long mySize, long expSize, const char* msg, int lineNum) {
    if (mySize == expSize) {
        return TRUE;
    }
    printf("ERROR in sizeof %s,  my size %ld, cache's size %ld , %s line %d \n", msg, mySize,
           expSize, "file shrpccmn", lineNum);
    return FALSE;
}

void verifyLockNames(ShrPcStateSType* shrpcPtr) {
    const void* miscData = shrpcPtr->miscDataPtr;
    lockAt(miscData, offsetof(ShrPcMiscDataSType, globalSessionStatsLock))
        .verifyLockName("GlobalStats");
    lockAt(miscData, offsetof(ShrPcMiscDataSType, checkpointInfo.lock)).verifyLockName("ChkptInfo");
    lockAt(shrpcPtr->hashTableLocksPtr, 0).verifyLockNameAndNum("HashTable_%d", 0);
    lockAt(shrpcPtr->pageFrameLocksPtr, 0).verifyLockNameAndNum("FrameLock_%d", 0);
}

BoolType ShrPcInit(ShrPcStateSType* shrpcPtr, ShrPcConfigSType* configInfoPtr,
                   BoolType /*isMonitor*/) {
    return ShrPcInitFromCopy(shrpcPtr, configInfoPtr, *configInfoPtr);
}

BoolType ShrPcInitFromCopy(ShrPcStateSType* shrpcPtr, ShrPcConfigSType* segment,
                           const ShrPcConfigSType& header) {
    ShrPageCacheSType& cache = shrpcPtr->cache;
    shrpcPtr->configPtr = segment;
    cache.baseAddress = atOffset<char>(segment, SHRPC_PAGE_SIZE);
    cache.fakePagePtr = cache.baseAddress;
    cache.cacheData = atOffset<char>(segment, 2 * SHRPC_PAGE_SIZE);
    cache.cacheLimit =
        atOffset<char>(cache.cacheData, signedOffset(header.numPages, SHRPC_PAGE_SIZE));

    cache.pces = atOffset<ShrPcPceSType>(segment, header.pceOffset);
    if (!checkSize(sizeof(ShrPcPceSType), header.pceSize, "aPce", 197)) {
        return FALSE;
    }
    cache.freePceList = atOffset<ShrPcPceSType>(
        cache.pces, signedOffset(header.hashTableSize, sizeof(ShrPcPceSType)));

    shrpcPtr->miscDataPtr = atOffset<ShrPcMiscDataSType>(segment, header.miscDataOffset);
    if (!checkSize(sizeof(ShrPcMiscDataSType), header.miscDataSize, "miscData", 206)) {
        return FALSE;
    }

    shrpcPtr->spinLockCount = static_cast<int32_t>(header.spinLockCount);
    shrpcPtr->hashTableLocksPtr = atOffset<HostShrSpinLockSType>(segment, header.spinLocksOffset);
    shrpcPtr->pageFrameLocksPtr = atOffset<ShrPcFrameLockSType>(segment, header.frameLocksOffset);
    if (!checkSize(sizeof(ShrPcFrameLockSType), header.frameLockSize, "frameLock", 216)) {
        return FALSE;
    }

    shrpcPtr->processTable = atOffset<ShrPcPteSType>(segment, header.processTableOffset);
    if (!checkSize(sizeof(ShrPcPteSType), header.pteSize, "aPte", 223)) {
        return FALSE;
    }

    cache.statePtr = atOffset<ShrPcCacheStateSType>(segment, header.cacheStateOffset);
    if (!checkSize(sizeof(ShrPcCacheStateSType), header.cacheStateSize, "cacheState", 230)) {
        return FALSE;
    }

    shrpcPtr->frameHistoryPtr =
        atOffset<ShrPcFrameHistorySType>(segment, header.frameHistoryOffset);
    if (!checkSize(sizeof(ShrPcFrameHistorySType), header.frameHistEntrySize, "aFrameHistory",
                   237)) {
        return FALSE;
    }

    shrpcPtr->sharedCountersPtr =
        atOffset<HostShrSpinLockSType>(segment, header.sharedCountersOffset);
    shrpcPtr->numSharedCounters = header.numSharedCounters;
    if (!checkSize(sizeof(HostShrSpinLockSType), header.sharedCounterSize, "sharedCounter", 245)) {
        return FALSE;
    }

    fillFreeList(&shrpcPtr->freeFrameList, shrpcPtr, segment, header.freeFrameBitListOffset,
                 header.numPages);
    fillFreeList(&shrpcPtr->freePceList, shrpcPtr, segment, header.freePceBitListOffset,
                 header.numFreeListPces);

    cache.hashMask = static_cast<uint64_t>(static_cast<int64_t>(header.hashTableSize) - 1);
    cache.extentIdHashBits = segment->extentIdHashBits;

    verifyLockNames(shrpcPtr);

    shrpcPtr->findFreeFrameClockHand = 0;
    shrpcPtr->pageCreationOrigin = 0;
    shrpcPtr->pageCacheHitOrigin = 0;
    memset(&shrpcPtr->ioSampler, 0, sizeof shrpcPtr->ioSampler);
    return TRUE;
}
