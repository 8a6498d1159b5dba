/*
 * The cache that the benchmarks query: every slot in use, three Voks to each page server in an
 * order that no branch predictor knows.
 */
#ifndef BENCH_BENCHCACHE_H
#define BENCH_BENCHCACHE_H

#include <cstdint>

#include "testcache.h"

namespace bench {

class BenchCache : public testsupport::TestCache {
public:
    explicit BenchCache(int entries);

    int entries() const { return entries_; }
    const standin::CacheView& view() const { return segment(); }

private:
    int entries_;
};

/* The one cache of a benchmark process, made when it is first asked for. */
const BenchCache& sharedCache(int entries);
void dropSharedCache();

/* Where this process has mapped the segment besides the cache's own mapping; throws when it
   hasn't. */
ShrPcPteSType* secondProcessTable(const BenchCache& cache);

/* Empties the data caches and the translation buffers of the processor that runs it. */
void evictCaches();

} // namespace bench

#endif
