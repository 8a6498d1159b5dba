/* The queries of the interface, by number, for tests that make any of them. */
#ifndef TESTING_QUERIES_H
#define TESTING_QUERIES_H

#include <functional>
#include <vector>

#include "tvsi.h"

namespace testsupport {

inline constexpr int queryCount = 11;

/* The status of query `which` modulo 11, none of which finds a session. TvsiCacheIsAlive counts as
   TVSI_SUCCESS or TVSI_ERR_CACHE_NOT_ATTACHED, more records than there is room for as -1. The array
   has exactly that room, for the address sanitizer. */
inline int anyQuery(int which, int capacity = 3) {
    std::vector<TvsiResultSType> records(static_cast<std::size_t>(capacity));
    TvsiResultSType* const first = records.data();
    int count = capacity;
    int entries = 0;
    char text[64];
    const std::function<int()> queries[queryCount] = {
        [&] { return TvsiStatsForProcessId(0x7fffffff, first); },
        [&] { return TvsiStatsForVokSessionId(0x7fffffff, first); },
        [&] { return TvsiStatsForPgsvrSessionId(0x7fffffff, first); },
        [&] { return TvsiStatsForVokSessionWithName("no such name", first); },
        [&] { return TvsiStatsForBrox(first); },
        [&] { return TvsiStatsForShrPcMon(first); },
        [&] { return TvsiFetchMaxProcessesInCache(&entries); },
        [&] { return TvsiAllStatsForMask(SHRPC_ALL, first, &count); },
        [&] { return TvsiAllVokStatsForVokKindRange(-0x7fffffff, 0x7fffffff, first, &count); },
        [&] { return TvsiAllVokStatsForRegexName("s+", 1, first, &count, text, sizeof text); },
        [&] { return TvsiCacheIsAlive() ? TVSI_SUCCESS : TVSI_ERR_CACHE_NOT_ATTACHED; }};
    const int status = queries[which % queryCount]();
    return count <= capacity ? status : -1;
}

} // namespace testsupport

#endif
