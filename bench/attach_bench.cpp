/*
 * The attach, step by step, and the first query after it. Each attach is made in a forked process,
 * which ends without the wait of a detach.
 *
 * The program is linked with --wrap for the functions below: the library's own calls of them are
 * timed, and nothing of the library is repeated here.
 */
#include <fstream>
#include <optional>
#include <poll.h>
#include <pthread.h>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/shm.h>
#include <thread>

#include "benchcache.h"
#include "benchmain.h"
#include "measuredprocess.h"
#include "tvsi.h"

namespace {

using bench::Clock;
using bench::nanoseconds;

/* When the attach reached what, in the thread that attaches. */
struct Trace {
    Clock::time_point firstShmget, firstShmat, lastShmatStart, lastShmatEnd, threadCreated;
    bool hasMapped = false;
    double asleepNs = 0;
};
thread_local Trace trace;

} // namespace

extern "C" {
int __real_shmget(key_t key, size_t size, int flags);
void* __real_shmat(int id, const void* address, int flags);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout);

int __wrap_shmget(key_t key, size_t size, int flags);
int __wrap_shmget(key_t key, size_t size, int flags) {
    trace.firstShmget = Clock::now();
    return __real_shmget(key, size, flags);
}

void* __wrap_shmat(int id, const void* address, int flags);
void* __wrap_shmat(int id, const void* address, int flags) {
    trace.lastShmatStart = Clock::now();
    if (!trace.hasMapped) {
        trace.hasMapped = true;
        trace.firstShmat = trace.lastShmatStart;
    }
    void* result = __real_shmat(id, address, flags);
    trace.lastShmatEnd = Clock::now();
    return result;
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    trace.threadCreated = Clock::now();
    return __real_pthread_create(thread, attributes, function, argument);
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
    const auto start = Clock::now();
    const int result = __real_poll(descriptors, count, timeout);
    trace.asleepNs += nanoseconds(Clock::now() - start);
    return result;
}
}

namespace bench {
namespace {

enum Step { lookup, finding, alignment, mapping, checks, watcher, asleep, whole, stepCount };

std::vector<double> timedAttach(const BenchCache& target) {
    char text[1024];
    TvsiInit();
    trace = {};
    const auto start = Clock::now();
    if (TvsiAttachSharedCache(target.name().c_str(), text, sizeof text) != TVSI_SUCCESS) {
        throw std::runtime_error(text);
    }
    const auto end = Clock::now();
    std::vector<double> steps(stepCount);
    steps[lookup] = nanoseconds(trace.firstShmget - start);
    steps[finding] = nanoseconds(trace.firstShmat - trace.firstShmget);
    steps[alignment] = nanoseconds(trace.lastShmatStart - trace.firstShmat);
    steps[mapping] = nanoseconds(trace.lastShmatEnd - trace.lastShmatStart);
    steps[checks] = nanoseconds(trace.threadCreated - trace.lastShmatEnd);
    steps[watcher] = nanoseconds(end - trace.threadCreated) - trace.asleepNs;
    steps[asleep] = trace.asleepNs;
    steps[whole] = nanoseconds(end - start);
    return steps;
}

/* Each step in the same attaches, and compared with what an attach takes without its sleep, which
   is there or not as the watcher happens to start. */
const std::vector<std::vector<double>>& attaches(int entries, int count) {
    static std::vector<std::vector<double>> all;
    const BenchCache& target = sharedCache(entries);
    while (static_cast<int>(all.size()) < count) {
        all.push_back(numbersFromFork([&] { return timedAttach(target); }));
    }
    return all;
}

Comparison compareStep(Step step, int entries, int attachCount) {
    Pairs pairs;
    for (const auto& steps : attaches(entries, attachCount)) {
        pairs.add(steps.at(step), steps.at(whole) - steps.at(asleep));
    }
    return pairs.medians();
}

/* A query that passes every entry. */
double timedQuery() {
    TvsiResultSType result;
    const auto start = Clock::now();
    const int status = TvsiStatsForProcessId(4999999, &result);
    const auto end = Clock::now();
    if (status != TVSI_ERR_NOT_FOUND) {
        throw std::runtime_error("the query returned " + std::to_string(status));
    }
    return nanoseconds(end - start);
}

/* How long it takes to have all pages of the process table mapped in one call. */
double timedPopulation(const BenchCache& target) {
    constexpr std::uintptr_t pageSize = 4096;
    const auto first = reinterpret_cast<std::uintptr_t>(secondProcessTable(target));
    const auto start = first & ~(pageSize - 1);
    const auto size =
        first + static_cast<std::size_t>(target.entries()) * sizeof(ShrPcPteSType) - start;
    const auto begin = Clock::now();
    if (madvise(reinterpret_cast<void*>(start), size, MADV_POPULATE_READ) != 0) {
        throw std::runtime_error("madvise(MADV_POPULATE_READ) failed");
    }
    return nanoseconds(Clock::now() - begin);
}

enum FirstQuery { firstNs, secondNs, populationNs };

std::vector<double> firstQuery(const BenchCache& target, bool populated) {
    timedAttach(target);
    const double population = populated ? timedPopulation(target) : 0;
    const double first = timedQuery();
    return {first, timedQuery(), population};
}

Comparison compareFirstWithSecond(int entries, int pairCount) {
    const BenchCache& target = sharedCache(entries);
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const auto numbers = numbersFromFork([&] { return firstQuery(target, false); });
        pairs.add(numbers.at(firstNs), numbers.at(secondNs));
    }
    return pairs.medians();
}

/* Bytes of the segment that are in memory. */
double residentBytes(int segmentId) {
    std::ifstream segments("/proc/sysvipc/shm");
    std::string line;
    std::getline(segments, line);
    while (std::getline(segments, line)) {
        std::istringstream fields(line);
        const std::vector<double> numbers{std::istream_iterator<double>(fields), {}};
        if (static_cast<int>(numbers.at(1)) == segmentId) {
            return numbers.at(14);
        }
    }
    throw std::runtime_error("the segment is not listed");
}

/* What mapping all of a process table in one call does that has pages which nobody ever wrote: the
   kernel has to supply them. Measured once: afterwards the pages exist. */
struct UnusedPages {
    Comparison time;
    Comparison memory;
};

const UnusedPages& populateUnusedPages(int entries) {
    static std::optional<UnusedPages> measured;
    if (measured) {
        return *measured;
    }
    dropSharedCache();
    const BenchCache& target = sharedCache(entries);
    const int id = target.segment().id();
    const auto plain = numbersFromFork([&] { return firstQuery(target, false); });
    const double before = residentBytes(id);
    const auto populated = numbersFromFork([&] { return firstQuery(target, true); });
    Pairs time, memory;
    time.add(populated.at(populationNs) + populated.at(firstNs), plain.at(firstNs));
    memory.add(residentBytes(id), before);
    return measured.emplace(UnusedPages{time.medians(), memory.medians()});
}

/* With all of the segment in memory already. */
Comparison comparePopulation(int entries, int pairCount) {
    const BenchCache& target = sharedCache(entries);
    numbersFromFork([&] { return firstQuery(target, true); });
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const auto plain = numbersFromFork([&] { return firstQuery(target, false); });
        const auto populated = numbersFromFork([&] { return firstQuery(target, true); });
        pairs.add(populated.at(populationNs) + populated.at(firstNs), plain.at(firstNs));
    }
    return pairs.medians();
}

/* What memory_probe prints. */
enum Memory { atFirst, loaded, attached, queried, ofSegment };

Comparison compareMemory(Memory subject, Memory limit, int entries) {
    const BenchCache& target = sharedCache(entries);
    const std::vector<double> bytes =
        numbersIn(runProgram({MEMORY_PROBE, TVSI_LIBRARY, target.name()}).out);
    Pairs pairs;
    pairs.add(bytes.at(subject), bytes.at(limit));
    return pairs.medians();
}

void addSteps(int entries, int attachCount) {
    struct Row {
        const char* name;
        Step step;
    };
    for (const Row& row :
         {Row{"attach", whole}, Row{"of this, the key's lookup in the registry", lookup},
          Row{"of this, finding the segment and its size", finding},
          Row{"of this, tries at addresses that are not aligned", alignment},
          Row{"of this, mapping it", mapping}, Row{"of this, the checks", checks},
          Row{"of this, starting the watcher", watcher},
          Row{"of this, asleep until the watcher has started", asleep}}) {
        addFigure({row.name, entries, "the attach without its sleep"},
                  [=] { return compareStep(row.step, entries, attachCount); });
    }
}

} // namespace

std::vector<int> tableSizes() {
    return {50, 1000, 10000};
}

void registerBenchmarks(const Plan& plan) {
    const int count = plan.quick ? 1 : 15;
    const int entries = plan.entries;
    if (plan.isFirst) {
        addFigure({"a process's own memory with the library loaded", 0, "without", {}, Unit::bytes},
                  [=] { return compareMemory(loaded, atFirst, entries); });
    }
    addFigure(
        {"a process's own memory after an attach", entries, "before the attach", {}, Unit::bytes},
        [=] { return compareMemory(attached, loaded, entries); });
    addFigure({"a process's own memory after a first miss",
               entries,
               "before the attach",
               {},
               Unit::bytes},
              [=] { return compareMemory(queried, loaded, entries); });
    addFigure(
        {"the segment's pages in the process then", entries, "its own memory", {}, Unit::bytes},
        [=] { return compareMemory(ofSegment, queried, entries); });
    addSteps(entries, count);
    addFigure({"first miss by process id after an attach", entries, "the second one"},
              [=] { return compareFirstWithSecond(entries, count); });
    addFigure(
        {"mapping unused pages in one call, and a first miss", entries, "the first miss alone"},
        [=] { return populateUnusedPages(entries).time; });
    addFigure({"memory of the segment after this", entries, "before", {}, Unit::bytes},
              [=] { return populateUnusedPages(entries).memory; });
    addFigure(
        {"mapping pages in use in one call, and a first miss", entries, "the first miss alone"},
        [=] { return comparePopulation(entries, count); });
}

void cleanUp() {
    dropSharedCache();
}

} // namespace bench
