/* The command line tool as its users meet it: a whole process. */
#include <memory>

#include "benchcache.h"
#include "benchmain.h"
#include "childprocess.h"

namespace bench {
namespace {

std::unique_ptr<BenchCache> cache;

const BenchCache& cacheOf(int entries) {
    if (!cache) {
        cache = std::make_unique<BenchCache>(entries);
    }
    return *cache;
}

Comparison compareReport(int entries, int pairCount) {
    const BenchCache& target = cacheOf(entries);
    const std::string report = (target.directory() / "report").string();
    const std::string copy = (target.directory() / "copy").string();
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double subjectNs = runProgram({TVSISTAT, "--brox", target.broxName()}, report).wallNs;
        pairs.add(subjectNs, runProgram({"cat", report}, copy).wallNs);
    }
    return pairs.medians();
}

/* Processor time as a share of the time that passes. */
Comparison compareSampling(int entries, int reportCount, int pairCount) {
    const BenchCache& target = cacheOf(entries);
    const std::string report = (target.directory() / "report").string();
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const ProcessCost cost = runProgram(
            {TVSISTAT, "--brox", target.broxName(), "0.1", std::to_string(reportCount)}, report);
        pairs.add(cost.cpuNs, cost.wallNs);
    }
    return pairs.medians();
}

} // namespace

void registerBenchmarks(const Plan& plan) {
    const int entries = plan.entries;
    addFigure({"tvsistat, one report, whole process", entries, "`cat` of the same bytes"},
              [=] { return compareReport(entries, plan.quick ? 1 : 30); });
    addFigure({"tvsistat, ten reports a second, processor time", entries, "one core"},
              [=] { return compareSampling(entries, plan.quick ? 2 : 30, plan.quick ? 1 : 3); });
}

void cleanUp() {
    cache.reset();
}

} // namespace bench
