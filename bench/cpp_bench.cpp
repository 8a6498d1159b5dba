/* The calls of the C++ header, each against the C call that it makes, into the same memory. */
#include <stdexcept>

#include "benchcache.h"
#include "benchmain.h"
#include "require.h"
#include "tvsi.hpp"

namespace bench {
namespace {

using testsupport::require;

struct Attached {
    explicit Attached(int entries) : cache(tvsi::Cache::attach(sharedCache(entries).name())) {
        if (!cache) {
            throw std::runtime_error(cache.error().sentence);
        }
        const auto all = cache->query(buffer);
        require(all && static_cast<int>(all->size()) == entries, "the mask selects all entries");
        place = const_cast<TvsiResultSType*>(all->data());
    }

    tvsi::Result<tvsi::Cache> cache;
    tvsi::Buffer buffer;
    TvsiResultSType* place; /* where the buffer has its records */
    TvsiResultSType record{};
};

std::unique_ptr<Attached> attached;

Attached& attachedCache(int entries) {
    if (!attached) {
        attached = std::make_unique<Attached>(entries);
    }
    return *attached;
}

template <typename Subject, typename Limit>
void addRow(const Plan& plan, const char* subjectName, int entries, Target target, Subject subject,
            Limit limit) {
    addFigure({subjectName, entries, "the same in C", target}, [=] {
        Attached& cache = attachedCache(plan.entries);
        return compare(
            plan.warm(), [&] { subject(cache); }, [&] { limit(cache); });
    });
}

} // namespace

std::vector<int> tableSizes() {
    return {50, 1000, 10000};
}

void registerBenchmarks(const Plan& plan) {
    addRow(
        plan, "tvsi.hpp: every record, and a sum over them", plan.entries, {Target::ratio, 1.02},
        [](Attached& cache) {
            std::int64_t sum = 0;
            const auto records = cache.cache->query(cache.buffer);
            require(static_cast<bool>(records), "the cache is attached");
            for (const tvsi::Record record : *records) {
                sum += record.common64().pageLocateCount;
            }
            benchmark::DoNotOptimize(sum);
        },
        [entries = plan.entries](Attached& cache) {
            std::int64_t sum = 0;
            int count = entries + 1;
            require(TvsiAllStatsForMask(SHRPC_ALL, cache.place, &count) == TVSI_SUCCESS,
                    "the cache is attached");
            for (int i = 0; i < count; i++) {
                sum += cache.place[i].stats.cmn64.pageLocateCount;
            }
            benchmark::DoNotOptimize(sum);
        });
    if (plan.isFirst) {
        addRow(
            plan, "tvsi.hpp: the Brox", 0, {Target::excessNs, 3},
            [](Attached& cache) {
                const auto brox = cache.cache->brox(cache.record);
                require(static_cast<bool>(brox), "there is a Brox");
                benchmark::DoNotOptimize(brox->counters().checkpointCount);
            },
            [](Attached& cache) {
                require(TvsiStatsForBrox(&cache.record) == TVSI_SUCCESS, "there is a Brox");
                benchmark::DoNotOptimize(cache.record.stats.u.brox.checkpointCount);
            });
    }
}

void cleanUp() {
    attached.reset();
    dropSharedCache();
}

} // namespace bench
