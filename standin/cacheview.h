/*
 * A laid out cache in any memory: a System V segment, or a plain buffer of a test or fuzzer.
 *
 * The view does not own the memory. It finds its way by the geometry and never by the header, so
 * that a header may be overwritten with anything afterwards and the entries are still reached.
 */
#ifndef STANDIN_CACHEVIEW_H
#define STANDIN_CACHEVIEW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>

#include "segmentgeometry.h"
#include "shrpclayout.h"

namespace standin {

/* Who owns a process table entry. */
struct EntryIdentity {
    pid_t pid = 0;
    std::int32_t sessionId = 0;
    std::string name;       /* cut at SHRPC_PROC_NAME_SIZE characters */
    std::uint32_t kind = 0; /* kind bit */
};

class CacheView {
public:
    CacheView(void* memory, const SegmentGeometry& geometry);

    const SegmentGeometry& geometry() const { return geometry_; }
    ShrPcConfigSType& header() const;
    ShrPcPteSType& entry(std::uint32_t slot) const;
    HostShrSpinLockSType& hashTableLock(std::int32_t index) const;
    HostShrSpinLockSType& frameLock(std::int32_t index) const;
    HostShrSpinLockSType& sharedCounter(std::int32_t index) const;
    HostShrSpinLockSType& globalStatsLock() const;
    HostShrSpinLockSType& checkpointLock() const;

    /* Tells waiting readers that the layout is complete (or, with false, that it is not). */
    void setInitDone(bool done = true) const;

    /* Clears what a former owner left, fills in the identity, then marks the entry in use. */
    void occupy(std::uint32_t slot, const EntryIdentity& identity) const;
    /* Marks the entry free; the counters of its last owner stay until somebody occupies it. */
    void release(std::uint32_t slot) const;

private:
    template <typename Record> Record& at(std::uint64_t offset) const;

    std::byte* memory_;
    SegmentGeometry geometry_;
};

/*
 * Writes a complete cache into `memory`, all but initDone: header, lock names, bit lists. The
 * memory must be zero-filled and aligned to 64 bytes, as a fresh segment is; pages that stay zero
 * are not touched, so a large table costs nothing. Throws std::invalid_argument when `size` is
 * less than the geometry's.
 */
CacheView layOut(void* memory, std::size_t size, const SegmentGeometry& geometry);

/* Puts a lock's name, cut at the field's size and padded with NUL bytes. */
void setLockName(HostShrSpinLockSType& lock, const std::string& name);

} // namespace standin

#endif
