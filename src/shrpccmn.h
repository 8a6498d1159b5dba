/*
 * The checks that decide whether an attached segment is accepted, and the view that is
 * derived from its header. Runs in the attaching thread, with the handle's shared memory
 * state locked.
 */
#ifndef SHRPCCMN_H
#define SHRPCCMN_H

#include <cstddef>
#include <cstdint>

#include "shrpc.h"

/*
 * Fills the view of the segment that begins at `configInfoPtr` from its header and checks the
 * element sizes and lock names. FALSE at the first size that differs, with a line on standard
 * output; the fields after it are left alone. A lock of another name ends the process.
 * Reads where the header's offsets point: the caller vouches for them. `isMonitor` is FALSE.
 */
BoolType ShrPcInit(ShrPcStateSType* shrpcPtr, ShrPcConfigSType* configInfoPtr, BoolType isMonitor);

/* ShrPcInit with the offsets and sizes taken from `header`, a copy of the header of `segment`
   that the caller has checked and that no server can change any more. */
BoolType ShrPcInitFromCopy(ShrPcStateSType* shrpcPtr, ShrPcConfigSType* segment,
                           const ShrPcConfigSType& header);

/* A region that the header locates. */
struct ShrPcRegionSType {
    const char* name;
    uint64_t ShrPcConfigSType::*offset;
    uint64_t read; /* bytes that this library reads, in the process table of each entry; 1 where it
                      locates the beginning only */
    uint64_t alignment;
};

/* All regions, in the order in which they are checked. */
constexpr ShrPcRegionSType SHRPC_REGIONS[] = {
    {"process table", &ShrPcConfigSType::processTableOffset, sizeof(ShrPcPteSType), 8},
    {"miscellaneous data", &ShrPcConfigSType::miscDataOffset,
     offsetof(ShrPcMiscDataSType, checkpointInfo.lock) + sizeof(HostShrSpinLockSType), 1},
    {"hash table locks", &ShrPcConfigSType::spinLocksOffset, sizeof(HostShrSpinLockSType), 1},
    {"page frame locks", &ShrPcConfigSType::frameLocksOffset, sizeof(ShrPcFrameLockSType), 1},
    {"page cache entries", &ShrPcConfigSType::pceOffset, 1, 1},
    {"cache state", &ShrPcConfigSType::cacheStateOffset, 1, 1},
    {"frame history", &ShrPcConfigSType::frameHistoryOffset, 1, 1},
    {"shared counters", &ShrPcConfigSType::sharedCountersOffset, 1, 1},
    {"free-frame bit list", &ShrPcConfigSType::freeFrameBitListOffset, 1, 1},
    {"free-PCE bit list", &ShrPcConfigSType::freePceBitListOffset, 1, 1},
};

/* Whether a segment of `segSize` bytes has room for the header. If not, FALSE with a line on
   standard output and a sentence in `errBuf`. */
BoolType ShrPcHeaderFits(size_t segSize, char* errBuf, size_t errBufSize);

/* Whether the regions lie in the segment of `segSize` bytes: what is read of them, with two entries
   at least, or their beginning. If not, FALSE as above. */
BoolType ShrPcRegionsFit(const ShrPcConfigSType& header, size_t segSize, char* errBuf,
                         size_t errBufSize);

/* TRUE when the size that this library has for a structure is the one in the header; else FALSE
   and a line on standard output. */
BoolType checkSize(long mySize, long expSize, const char* msg, int lineNum);

/* Ends the process when one of the four locks has another name. */
void verifyLockNames(ShrPcStateSType* shrpcPtr);

#endif
