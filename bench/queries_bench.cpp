/*
 * The queries, through the shared library, each against its limit: what the memory itself costs.
 *
 * A limit reads the library's own mapping of the segment, so that both walk the same page tables,
 * and writes where the query writes.
 */
#include <array>
#include <atomic>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>
#include <regex.h>
#include <stdexcept>
#include <thread>

#include "benchcache.h"
#include "benchmain.h"
#include "countermover.h"
#include "require.h"
#include "tvsi.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using testsupport::require;

constexpr int nobodysPid = 4999999;
constexpr int nobodysSession = 999999;
constexpr const char* nobodysName = "SessionOfNobody";
/* Most names are passed by its first few characters, as with a user's own search. */
constexpr const char* nobodysExpression = "^Session[0-9]*x$";

/* Records at the start of a page: how a copy's time depends on the place of what is copied is the
   same in each build. */
class Records {
public:
    explicit Records(int count)
        : size_(static_cast<std::size_t>(count) * sizeof(TvsiResultSType)),
          memory_(::operator new(size_, pageSize)) {
        std::memset(memory_, 1, size_);
    }
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;
    ~Records() { ::operator delete(memory_, pageSize); }
    TvsiResultSType* data() const { return static_cast<TvsiResultSType*>(memory_); }

private:
    static constexpr std::align_val_t pageSize{4096};
    std::size_t size_;
    void* memory_;
};

/* Which of two threads this one is: each has results of its own. */
thread_local std::size_t threadIndex = 0;

/* An attached cache with what its queries and limits need. Its segment goes with the process,
   however that ends. */
class AttachedCache {
public:
    explicit AttachedCache(int entries);
    AttachedCache(const AttachedCache&) = delete;
    AttachedCache& operator=(const AttachedCache&) = delete;
    ~AttachedCache() { TvsiDetachSharedCache(); }

    const BenchCache& cache() const { return cache_; }
    int entries() const { return cache_.entries(); }
    ShrPcPteSType* table() const { return table_; }
    TvsiResultSType* results() const { return results_[threadIndex].data(); }
    const TvsiResultSType* contiguous() const { return contiguous_.data(); }

private:
    BenchCache cache_;
    ShrPcPteSType* table_ = nullptr;
    std::array<Records, 2> results_;
    Records contiguous_;
};

AttachedCache::AttachedCache(int entries)
    : cache_(entries), results_{Records(entries), Records(entries)}, contiguous_(entries) {
    TvsiInit();
    char text[1024];
    if (TvsiAttachSharedCache(cache_.name().c_str(), text, sizeof text) != TVSI_SUCCESS) {
        throw std::runtime_error(text);
    }
    cache_.segment().remove();
    table_ = secondProcessTable(cache_);
}

std::unique_ptr<AttachedCache> attached;

AttachedCache& attachedCache(int entries) {
    if (!attached) {
        attached = std::make_unique<AttachedCache>(entries);
    }
    return *attached;
}

/* The limits. */

template <typename Qualifies>
const ShrPcPteSType* bareLoop(const ShrPcPteSType* table, int first, int end, Qualifies qualifies) {
    for (int slot = first; slot < end; ++slot) {
        if (ShrPcLoad(table[slot].inUse) != 0 && qualifies(table[slot])) {
            return table + slot;
        }
    }
    return nullptr;
}

/* Less than a query may do: whether an entry is in use isn't looked at. */
const ShrPcPteSType* bareKeyLoop(const ShrPcPteSType* table, int end) {
    for (int slot = 0; slot < end; ++slot) {
        if (ShrPcLoad(table[slot].stats.processId) == nobodysPid) {
            return table + slot;
        }
    }
    return nullptr;
}

/* A qualified entry would end the loop early and flatter the query. */
void requireMiss(const ShrPcPteSType* entry) {
    if (entry) {
        throw std::runtime_error("the bare loop found an entry");
    }
}

constexpr auto missByKeyLoop = [](AttachedCache& cache) {
    requireMiss(bareKeyLoop(cache.table(), cache.entries()));
};

bool isPageServer(const ShrPcPteSType& entry) {
    const std::uint32_t kind = ShrPcLoad(entry.statType);
    return kind == SHRPC_VOK_PGSVR_MAIN || kind == SHRPC_VOK_PGSVR_THD;
}

bool isVok(const ShrPcPteSType& entry) {
    return ShrPcLoad(entry.statType) == SHRPC_VOK;
}

class Expression {
public:
    Expression() {
        if (regcomp(&compiled_, nobodysExpression, REG_EXTENDED | REG_NOSUB) != 0) {
            throw std::runtime_error("regcomp failed");
        }
    }
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;
    ~Expression() { regfree(&compiled_); }
    bool matches(const char* text) const { return regexec(&compiled_, text, 0, nullptr, 0) == 0; }

private:
    regex_t compiled_{};
};

/* Of a size that the compiler doesn't know: the C library's copy is faster than what the compiler
   makes of 1800. */
void copyRecord(TvsiResultSType* result, const AttachedCache& cache, int slot) {
    std::size_t size = sizeof *result;
    benchmark::DoNotOptimize(size);
    std::memcpy(static_cast<void*>(result), &cache.table()[slot].stats, size);
    benchmark::ClobberMemory();
}

class LockPair {
public:
    void operator()(AttachedCache& /*cache*/) {
        pthread_mutex_lock(&mutex_);
        pthread_mutex_unlock(&mutex_);
    }

private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

/* A query and its limit, for a cache of any size. */
struct Query {
    const char* name;
    const char* limitName;
    std::function<void(AttachedCache&)> subject;
    std::function<void(AttachedCache&)> limit;
    std::function<Target(int entries)> target;
};

Target lookupTarget(int entries) {
    return entries >= 1000 ? Target{Target::ratio, 1.10} : Target{};
}

Target copyTarget(int entries) {
    if (entries < 1000) {
        return {};
    }
    return {Target::ratio, entries < 10000 ? 1.35 : 1.8};
}

/* Places in queries(). */
constexpr std::size_t byProcessId = 0, bySessionId = 1, copyOfAll = 5;

const std::vector<Query>& queries() {
    static const std::vector<Query> all = {
        {"miss by process id", "bare loop",
         [](AttachedCache& cache) {
             require(TvsiStatsForProcessId(nobodysPid, cache.results()) == TVSI_ERR_NOT_FOUND,
                     "nobody has that process id");
         },
         [](AttachedCache& cache) {
             requireMiss(bareLoop(cache.table(), 0, cache.entries(), [](const auto& entry) {
                 return ShrPcLoad(entry.stats.processId) == nobodysPid;
             }));
         },
         lookupTarget},
        {"miss by session id", "bare loop",
         [](AttachedCache& cache) {
             require(TvsiStatsForVokSessionId(nobodysSession, cache.results()) ==
                         TVSI_ERR_NOT_FOUND,
                     "nobody has that session");
         },
         [](AttachedCache& cache) {
             requireMiss(bareLoop(cache.table(), 2, cache.entries(), [](const auto& entry) {
                 return ShrPcLoad(entry.stats.sessionId) == nobodysSession && isVok(entry);
             }));
         },
         lookupTarget},
        {"miss by page server session id", "bare loop",
         [](AttachedCache& cache) {
             require(TvsiStatsForPgsvrSessionId(nobodysSession, cache.results()) ==
                         TVSI_ERR_NOT_FOUND,
                     "no page server has that session");
         },
         [](AttachedCache& cache) {
             requireMiss(bareLoop(cache.table(), 0, cache.entries(), [](const auto& entry) {
                 return ShrPcLoad(entry.stats.sessionId) == nobodysSession && isPageServer(entry);
             }));
         },
         lookupTarget},
        {"miss by name", "bare loop with `strncmp`",
         [](AttachedCache& cache) {
             require(TvsiStatsForVokSessionWithName(nobodysName, cache.results()) ==
                         TVSI_ERR_NOT_FOUND,
                     "no session has that name");
         },
         [](AttachedCache& cache) {
             /* Unknown to the compiler, which would compare the first characters in line. */
             const char* name = nobodysName;
             benchmark::DoNotOptimize(name);
             requireMiss(bareLoop(cache.table(), 2, cache.entries(), [name](const auto& entry) {
                 const std::uint32_t kind = ShrPcLoad(entry.statType);
                 return (kind == SHRPC_VOK || kind == SHRPC_VokThr) &&
                        std::strncmp(entry.processName, name, sizeof entry.processName) == 0;
             }));
         },
         lookupTarget},
        {"count by kind range, no match", "bare loop",
         [](AttachedCache& cache) {
             int count = 0;
             require(TvsiAllVokStatsForVokKindRange(-2, -1, nullptr, &count) == TVSI_SUCCESS,
                     "no kind is in that range");
             require(count == 0, "no kind is in that range");
             (void)cache;
         },
         [](AttachedCache& cache) {
             requireMiss(bareLoop(cache.table(), 2, cache.entries(), [](const auto& entry) {
                 if (!isVok(entry)) {
                     return false;
                 }
                 const std::int32_t kind = ShrPcLoad(entry.stats.u.vok.vokKind);
                 return kind >= -2 && kind <= -1;
             }));
         },
         lookupTarget},
        {"mask query, copy of every entry", "one `memcpy` of as many bytes",
         [](AttachedCache& cache) {
             int count = cache.entries();
             require(TvsiAllStatsForMask(SHRPC_ALL, cache.results(), &count) == TVSI_SUCCESS,
                     "the mask selects all entries");
             require(count == cache.entries(), "the mask selects all entries");
         },
         [](AttachedCache& cache) {
             std::memcpy(cache.results(), cache.contiguous(),
                         static_cast<std::size_t>(cache.entries()) * sizeof(TvsiResultSType));
             benchmark::ClobberMemory();
         },
         copyTarget},
        {"count by expression, no match", "bare loop of `regexec`",
         [](AttachedCache& cache) {
             int count = 0;
             require(TvsiAllVokStatsForRegexName(nobodysExpression, 0, nullptr, &count, nullptr,
                                                 0) == TVSI_SUCCESS,
                     "no name matches");
             require(count == 0, "no name matches");
             (void)cache;
         },
         [](AttachedCache& cache) {
             static const Expression expression;
             requireMiss(bareLoop(cache.table(), 2, cache.entries(), [](const auto& entry) {
                 return isVok(entry) && expression.matches(entry.processName);
             }));
         },
         lookupTarget},
    };
    return all;
}

/* A row whose two sides are called with the attached cache. */
template <typename Subject, typename Limit>
void addRow(const Plan& plan, const Figure& figure, Subject subject, Limit limit) {
    addFigure(figure, [=] {
        AttachedCache& cache = attachedCache(plan.entries);
        Limit ownLimit = limit;
        return compare(
            plan.warm(), [&] { subject(cache); }, [&] { ownLimit(cache); });
    });
}

void addWarm(const Plan& plan) {
    for (const Query& query : queries()) {
        addRow(plan, {query.name, plan.entries, query.limitName, query.target(plan.entries)},
               query.subject, query.limit);
    }
}

/* What a query costs beside something else than its limit. */
void addOtherLimits(const Plan& plan) {
    addRow(plan,
           {"miss by process id, against the least", plan.entries, "bare loop over the ids alone"},
           queries()[byProcessId].subject, missByKeyLoop);
    /* What looking at an entry's session before its kind saves. */
    addRow(
        plan,
        {"miss by session id, against the kind first", plan.entries, "bare loop, kind before id"},
        queries()[bySessionId].subject, [](AttachedCache& cache) {
            requireMiss(bareLoop(cache.table(), 2, cache.entries(), [](const auto& entry) {
                return isVok(entry) && ShrPcLoad(entry.stats.sessionId) == nobodysSession;
            }));
        });
    /* What the distance between the records takes, apart from all else. */
    addRow(plan,
           {"mask query, against the same copies", plan.entries, "bare loop of one copy an entry"},
           queries()[copyOfAll].subject, [](AttachedCache& cache) {
               for (int slot = 0; slot < cache.entries(); ++slot) {
                   copyRecord(cache.results() + slot, cache, slot);
               }
           });
}

void addCold(const Plan& plan) {
    for (const Query& query : queries()) {
        addFigure({std::string(query.name) + ", cold caches", plan.entries, query.limitName}, [=] {
            AttachedCache& cache = attachedCache(plan.entries);
            return compare(
                plan.single(15), [&] { query.subject(cache); }, [&] { query.limit(cache); },
                [](bool) { evictCaches(); });
        });
    }
}

/* A server at work: each entry's owner brings its record up to date ten times a second. */
class Writer {
public:
    explicit Writer(const BenchCache& cache) {
        for (int slot = 0; slot < cache.entries(); ++slot) {
            ShrPcPteSType& entry = cache.entry(static_cast<std::uint32_t>(slot));
            movers_.emplace_back(entry.stats, entry.statType, static_cast<std::uint32_t>(slot));
            movers_.back().start(std::time(nullptr));
        }
        thread_ = std::thread([this] { write(); });
        while (writtenPortions_ == 0) {
            std::this_thread::yield();
        }
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() {
        stop_ = true;
        thread_.join();
    }

    /* Throws when it has written less than half as often as it should. */
    void requirePace(const Plan& plan) const {
        if (!plan.quick && 2 * writtenPortions_ < (Clock::now() - start_) / interval) {
            throw std::runtime_error("the writer was held up");
        }
    }

private:
    /* In small portions, as the owners don't act all at once. */
    static constexpr long portions = 50;
    static constexpr Clock::duration interval = 100ms / portions;

    void write() {
        while (!stop_) {
            for (long i = writtenPortions_ % portions; i < std::ssize(movers_); i += portions) {
                movers_[static_cast<std::size_t>(i)].update(std::time(nullptr));
            }
            ++writtenPortions_;
            std::this_thread::sleep_until(start_ + writtenPortions_.load() * interval);
        }
    }

    std::vector<standin::CounterMover> movers_;
    const Clock::time_point start_ = Clock::now();
    std::atomic<long> writtenPortions_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

/* A second thread, for work that is to be done on two at once. */
class Companion {
public:
    Companion() : thread_([this] { run(); }) {}
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;
    ~Companion() {
        start(nullptr);
        thread_.join();
    }
    /* Runs `work` on both threads; returns when both have done it. */
    void alongside(const std::function<void()>& work) {
        start(&work);
        work();
        while (finished_ != started_) {
            std::this_thread::yield();
        }
    }

private:
    void start(const std::function<void()>* work) {
        work_ = work;
        ++started_;
    }

    void run() {
        threadIndex = 1;
        for (int next = 1;; ++next) {
            while (started_ < next) {
                std::this_thread::yield();
            }
            if (!work_) {
                return;
            }
            (*work_)();
            finished_ = next;
        }
    }

    const std::function<void()>* work_ = nullptr; /* published by started_ */
    std::atomic<int> started_{0};
    std::atomic<int> finished_{0};
    std::thread thread_;
};

Comparison compareWithWriter(const Plan& plan, const Query& query) {
    AttachedCache& cache = attachedCache(plan.entries);
    const Writer writer(cache.cache());
    const Comparison result = compare(
        plan.warm(), [&] { query.subject(cache); }, [&] { query.limit(cache); });
    writer.requirePace(plan);
    return result;
}

/* The time that passes for each query when two threads make them as fast as they can. Queries
   exclude one another, so their limit does, too. */
Comparison compareOnTwoThreads(const Plan& plan, const Query& query) {
    AttachedCache& cache = attachedCache(plan.entries);
    const Writer writer(cache.cache());
    Companion companion;
    std::mutex mutex;
    const int calls = 20000 / plan.entries + 1; /* outlast the start of the other thread by far */
    const std::function<void()> subject = [&] {
        for (int i = 0; i < calls; ++i) {
            query.subject(cache);
        }
    };
    const std::function<void()> limit = [&] {
        for (int i = 0; i < calls; ++i) {
            const std::lock_guard lock(mutex);
            query.limit(cache);
        }
    };
    Comparison result = compare(
        plan.warm(Time::passing), [&] { companion.alongside(subject); },
        [&] { companion.alongside(limit); });
    writer.requirePace(plan);
    for (double* value : {&result.subject, &result.limit, &result.excess}) {
        *value /= 2 * calls;
    }
    return result;
}

void addWithWriter(const Plan& plan) {
    for (const std::size_t place : {byProcessId, copyOfAll}) {
        const Query& query = queries()[place];
        const std::string name = query.name;
        addFigure({name + ", beside a writer", plan.entries, query.limitName},
                  [=] { return compareWithWriter(plan, query); });
        addFigure({name + ", two threads beside a writer", plan.entries,
                   std::string(query.limitName) + ", each under a mutex"},
                  [=] { return compareOnTwoThreads(plan, query); });
    }
}

void addRecordQuery(const Plan& plan, const std::string& name, int (*query)(TvsiResultSType*),
                    int slot) {
    addRow(
        plan, {name, 0, "lock pair and one copy", {Target::ratio, 1.3}},
        [=](AttachedCache& cache) {
            require(query(cache.results()) == TVSI_SUCCESS, "there is a record");
        },
        [=, lockPair = LockPair()](AttachedCache& cache) mutable {
            lockPair(cache);
            copyRecord(cache.results(), cache, slot);
        });
}

/* What a call costs whatever the table's size. */
void addFixedCosts(const Plan& plan) {
    addRow(
        plan, {"TvsiCacheIsAlive", 0, "lock pair"},
        [](auto&) { require(TvsiCacheIsAlive() == 1, "the cache is alive"); }, LockPair());
    addRow(
        plan, {"TvsiFetchMaxProcessesInCache", 0, "lock pair"},
        [](auto&) {
            int count = 0;
            require(TvsiFetchMaxProcessesInCache(&count) == TVSI_SUCCESS, "the table has a size");
        },
        LockPair());
    addRow(plan,
           {"miss by process id, above the lock pair",
            plan.entries,
            "lock pair",
            {Target::excessNs, 40}},
           queries()[byProcessId].subject, LockPair());
    addRow(plan, {"bare loop over the process ids alone", plan.entries, "lock pair"}, missByKeyLoop,
           LockPair());
    addRecordQuery(plan, "TvsiStatsForBrox", TvsiStatsForBrox, 1);
    addRecordQuery(plan, "TvsiStatsForShrPcMon", TvsiStatsForShrPcMon, 0);
}

} // namespace

std::vector<int> tableSizes() {
    return {50, 1000, 10000};
}

void registerBenchmarks(const Plan& plan) {
    if (plan.isFirst) {
        addFixedCosts(plan);
    }
    addWarm(plan);
    addOtherLimits(plan);
    addCold(plan);
    addWithWriter(plan);
}

void cleanUp() {
    attached.reset();
}

} // namespace bench
