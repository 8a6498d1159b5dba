/*
 * Where everything lies in the segment of a shared page cache: counts in, offsets and the total
 * size out. Pure arithmetic; nothing here touches a segment.
 *
 *   0                     ShrPcConfigSType
 *   16384                 the fake page
 *   32768                 page frames             numPages * 16384
 *   pceOffset             page cache entries      (hashTableSize + numFreeListPces) * 64
 *   spinLocksOffset       hash table locks        numHashTableLocks * 192
 *   frameLocksOffset      page frame locks        numPages * 192
 *   processTableOffset    process table           numProcesses * 39936
 *   cacheStateOffset      cache state             312
 *   miscDataOffset        miscellaneous data      438936
 *   frameHistoryOffset    frame history           numFrameHistoryEntries * 40
 *   sharedCountersOffset  shared counters         numSharedCounters * 192
 *   freeFrameBitListOffset, freePceBitListOffset  one bit a frame, one bit a free-list PCE
 *
 * Every region begins at a multiple of 64. The log buffers, push lists, frames on the wire and
 * scan-pinned pages are laid out empty, at the segment's end.
 */
#ifndef STANDIN_SEGMENTGEOMETRY_H
#define STANDIN_SEGMENTGEOMETRY_H

#include <cstdint>

namespace standin {

/* How many of everything. The defaults make a segment of about 4 MB with 64 entries. */
struct SegmentCounts {
    std::int32_t numPages = 64;
    std::int32_t hashTableSize = 128; /* a power of two: its value minus 1 is the hash mask */
    std::int32_t numFreeListPces = 64;
    std::int32_t numHashTableLocks = 16;
    std::int32_t numSharedCounters = 8;
    std::int32_t numFrameHistoryEntries = 64;
    std::uint32_t numProcesses = 64;
};

struct SegmentGeometry {
    /* Throws std::invalid_argument when a count is negative. Zero is allowed everywhere. */
    explicit SegmentGeometry(const SegmentCounts& wanted = {});
    /* The default cache with another table size. */
    static SegmentGeometry withSlots(std::uint32_t numProcesses);

    SegmentCounts counts;
    /* Bytes from the segment's start. May be moved before the segment is laid out. */
    std::uint64_t pceOffset;
    std::uint64_t spinLocksOffset;
    std::uint64_t frameLocksOffset;
    std::uint64_t processTableOffset;
    std::uint64_t cacheStateOffset;
    std::uint64_t miscDataOffset;
    std::uint64_t frameHistoryOffset;
    std::uint64_t sharedCountersOffset;
    std::uint64_t freeFrameBitListOffset;
    std::uint64_t freePceBitListOffset;
    std::uint64_t segmentSize;
};

} // namespace standin

#endif
