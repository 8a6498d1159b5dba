#include "segmentgeometry.h"

#include <stdexcept>

#include "shrpclayout.h"

namespace standin {
namespace {

constexpr std::uint64_t regionAlignment = 64;
constexpr std::uint64_t framesOffset = 2 * SHRPC_PAGE_SIZE;

/* Hands out regions one behind the other. */
class Placer {
public:
    explicit Placer(std::uint64_t start) : end_(start) {}

    std::uint64_t place(std::uint64_t count, std::uint64_t elementSize) {
        const std::uint64_t offset = end_;
        const std::uint64_t unaligned = end_ + count * elementSize;
        end_ = (unaligned + regionAlignment - 1) / regionAlignment * regionAlignment;
        return offset;
    }
    std::uint64_t end() const { return end_; }

private:
    std::uint64_t end_;
};

std::uint64_t checkedCount(std::int32_t count) {
    if (count < 0) {
        throw std::invalid_argument("a segment cannot hold a negative number of elements");
    }
    return static_cast<std::uint64_t>(count);
}

} // namespace

SegmentGeometry::SegmentGeometry(const SegmentCounts& wanted) : counts(wanted) {
    const std::uint64_t pages = checkedCount(counts.numPages);
    const std::uint64_t freePces = checkedCount(counts.numFreeListPces);

    Placer placer(framesOffset);
    placer.place(pages, SHRPC_PAGE_SIZE);
    pceOffset = placer.place(checkedCount(counts.hashTableSize) + freePces, sizeof(ShrPcPceSType));
    spinLocksOffset =
        placer.place(checkedCount(counts.numHashTableLocks), sizeof(HostShrSpinLockSType));
    frameLocksOffset = placer.place(pages, sizeof(ShrPcFrameLockSType));
    processTableOffset = placer.place(counts.numProcesses, sizeof(ShrPcPteSType));
    cacheStateOffset = placer.place(1, sizeof(ShrPcCacheStateSType));
    miscDataOffset = placer.place(1, sizeof(ShrPcMiscDataSType));
    frameHistoryOffset =
        placer.place(checkedCount(counts.numFrameHistoryEntries), sizeof(ShrPcFrameHistorySType));
    sharedCountersOffset =
        placer.place(checkedCount(counts.numSharedCounters), sizeof(HostShrSpinLockSType));
    freeFrameBitListOffset = placer.place(pages / 64, sizeof(std::uint64_t));
    freePceBitListOffset = placer.place(freePces / 64, sizeof(std::uint64_t));
    segmentSize = placer.end();
}

SegmentGeometry SegmentGeometry::withSlots(std::uint32_t numProcesses) {
    SegmentCounts counts;
    counts.numProcesses = numProcesses;
    return SegmentGeometry(counts);
}

} // namespace standin
