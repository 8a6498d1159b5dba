/*
 * What the cache monitor and the Brox know of the others: the totals of all entries' counters and
 * the numbers of processes and slots. Each function is called by the process that owns the record
 * it writes, the last one by the monitor.
 */
#ifndef STANDIN_CENSUS_H
#define STANDIN_CENSUS_H

#include <cstdint>
#include <string_view>

#include "cacheview.h"

namespace standin {

/*
 * Brings the totals of slot 0 up to date: adds what each other entry counted since the last time,
 * as noted in the entry's previousStatTotals. A total therefore never shrinks, also when an entry
 * is released.
 */
void followTotals(const CacheView& cache);

/* Brings the fields of slot 0 (SHRPC_MONITOR) or 1 (SHRPC_BROX) up to date that count processes,
   sessions, slots and the parts of the segment. */
void countProcesses(const CacheView& cache, std::uint32_t kind);

/* Marks the slots in use of processes that are gone as crashed; their owners can't. */
void markCrashedSlots(const CacheView& cache);

/* Whether one of the above writes the field in records of the kind. */
bool isKeptByCensus(std::uint32_t kind, std::string_view field);

} // namespace standin

#endif
