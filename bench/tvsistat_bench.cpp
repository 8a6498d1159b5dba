/* The command line tool as its users meet it: a whole process. */
#include <fstream>

#include "benchcache.h"
#include "benchmain.h"
#include "measuredprocess.h"

namespace bench {
namespace {

/* tvsistat on the cache, with further arguments. */
testsupport::Outcome runTool(const BenchCache& target, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {TVSISTAT, "--brox", target.broxName()});
    return runProgram(arguments);
}

Comparison compareReport(int entries, int pairCount) {
    const BenchCache& target = sharedCache(entries);
    const std::string report = target.directory() / "report";
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const testsupport::Outcome subject = runTool(target);
        std::ofstream(report) << subject.out;
        pairs.add(subject.wallNs, runProgram({"cat", report}).wallNs);
    }
    return pairs.medians();
}

/* Processor time as a share of the time that passes. */
Comparison compareProcessorTime(int entries, int pairCount) {
    const BenchCache& target = sharedCache(entries);
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const testsupport::Outcome outcome = runTool(target);
        pairs.add(outcome.cpuNs, outcome.wallNs);
    }
    return pairs.medians();
}

/* The same for one report more while sampling ten times a second: what many reports take beyond
   the first one, whose start and page faults are paid once. */
Comparison compareSampling(int entries, int pairCount, int reports) {
    const BenchCache& target = sharedCache(entries);
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const testsupport::Outcome one = runTool(target, {"0.1", "1"});
        const testsupport::Outcome all = runTool(target, {"0.1", std::to_string(reports)});
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
