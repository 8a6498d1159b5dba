/*
 * This process's view of an attached cache. shrpclayout.h has the layout of the segment.
 */
#ifndef SHRPC_H
#define SHRPC_H

#include <cstdint>

#include "basetypes.h"
#include "hostmutex.h" /* this one, the error record and the utilities for whoever includes us */
#include "shrpclayout.h"
#include "syserror.h"
#include "utl.h"

struct ShrPcStateSType;

/* A bit list of the segment: one bit a frame or PCE. */
struct ShrPcFreeList {
    ShrPcStateSType* shrpcPtr; /* the owning view */
    uint64_t* words;
    uint32_t numWords;
    uint32_t maxBit;
    uint32_t myStartIndex;
    uint32_t spaceWaster;
};

/* Addresses of the page cache proper; nothing here reads through them. */
struct ShrPageCacheSType {
    ShrPcCacheStateSType* statePtr;
    char* baseAddress;
    char* fakePagePtr;
    char* cacheData;
    char* cacheLimit;
    ShrPcPceSType* pces;
    ShrPcPceSType* freePceList;
    uint64_t hashMask;
    uint32_t* extentIdHashBits;
};

enum ShrPcPreemptActionEType {
    SHR_FFRAME_NoScan = 0,
    SHR_FFRAME_undefined = 1,
    SHR_FFRAME_ScanNoWrite = 2,
    SHR_FFRAME_ScanAndWrite = 3
};

struct ShrPcIoSamplerSType {
    char bytes[840];
};

/*
 * This process's view of one attached cache. Lives in the cache handle: filled by the
 * attach, which no other call may overlap, and then changed under the handle's cacheMutex
 * only; all zero while the handle is free. Fields without a remark are not used.
 */
struct ShrPcStateSType {
    void* segAddr;         /* where the segment is mapped */
    uint8_t _cacheEnabled; /* from the end of a successful attach to the disabling */
    uint8_t framesReleased;
    uint8_t doUncleanDetach;
    uint8_t pageCreationOrigin;
    uint8_t pageCacheHitOrigin;
    uint8_t inBroxProcess;
    uint8_t inLoadBootObjects;
    uint8_t pageMgrOrPcMon;
    ShrPcFreeList freeFrameList;
    ShrPcFreeList freePceList;
    ShrPcConfigSType* configPtr; /* the segment's header; numProcesses is read through it */
    ShrPcMiscDataSType* miscDataPtr;
    uint64_t timeInFramesFromFindFreeNs;
    uint64_t viewTimeMs;
    void* mySmcWordPtr;
    uint64_t mySmcWordMask;
    void* broxWakeupWordPtr;
    HostShrSpinLockSType* sharedCountersPtr;
    HostShrSpinLockSType* hashTableLocksPtr;
    ShrPcFrameLockSType* pageFrameLocksPtr;
    ShrPcPteSType* processTable;
    ShrPcPteSType* myProcTablePtr; /* null: this process owns no entry */
    void* shrmemState;
    ShrPcFrameHistorySType* frameHistoryPtr;
    void* thePc;
    int32_t mySlot;
    int32_t mySessionId;
    int32_t brxSemIdx;
    int32_t findFreeFrameClockHand;
    ShrPcPreemptActionEType preemptAction;
    int32_t myProcessId;
    int32_t monClientId;
    int32_t spinLockCount;
    int32_t numSharedCounters;
    ShrPageCacheSType cache;
    char locationStr[1024]; /* the name given to the attach; always terminated */
    uint8_t pgsvrUpdateBroxCache;
    int32_t _disconnectLine; /* -1 while enabled, then the code of whoever disabled the view */
    ShrPcIoSamplerSType ioSampler;

    void setCacheEnabled();
    /* Disables the view, keeping `code` when it was enabled; ends with a full fence. */
    void clearCacheEnabled(int code);
};

#endif
