/* The command line tool as its users meet it: a whole process. */
#include "benchcache.h"
#include "benchmain.h"
#include "childprocess.h"

namespace bench {
namespace {

Comparison compareReport(int entries, int pairCount) {
    const BenchCache& target = sharedCache(entries);
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
Comparison compareProcessorTime(int entries, int pairCount) {
    const BenchCache& target = sharedCache(entries);
    const std::string report = (target.directory() / "report").string();
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const ProcessCost cost = runProgram({TVSISTAT, "--brox", target.broxName()}, report);
        pairs.add(cost.cpuNs, cost.wallNs);
    }
    return pairs.medians();
}

/* The same for one report more while sampling ten times a second: what many reports take beyond
   the first one, whose start and page faults are paid once. */
Comparison compareSampling(int entries, int pairCount, int reports) {
    const BenchCache& target = sharedCache(entries);
    const std::string output = (target.directory() / "report").string();
    const auto costOf = [&](int count) {
        return runProgram({TVSISTAT, "--brox", target.broxName(), "0.1", std::to_string(count)},
                          output);
    };
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const ProcessCost one = costOf(1);
        const ProcessCost all = costOf(reports);
        pairs.add((all.cpuNs - one.cpuNs) / (reports - 1),
                  (all.wallNs - one.wallNs) / (reports - 1));
    }
    return pairs.medians();
}

} // namespace

void registerBenchmarks(const Plan& plan) {
    const int entries = plan.entries;
    addFigure({"tvsistat, one report, whole process", entries, "`cat` of the same bytes"},
              [=] { return compareReport(entries, plan.quick ? 1 : 30); });
    addFigure({"of this, processor time", entries, "the whole process"},
              [=] { return compareProcessorTime(entries, plan.quick ? 1 : 30); });
    addFigure({"a further report, ten a second, processor time", entries, "one core"},
              [=] { return compareSampling(entries, plan.quick ? 1 : 3, plan.quick ? 2 : 31); });
}

void cleanUp() {
    dropSharedCache();
}

} // namespace bench
