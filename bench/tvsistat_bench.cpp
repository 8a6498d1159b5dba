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
Comparison compareProcessorTime(int entries, int pairCount,
                                const std::vector<std::string>& sampling) {
    const BenchCache& target = sharedCache(entries);
    const std::string report = (target.directory() / "report").string();
    std::vector<std::string> command = {TVSISTAT, "--brox", target.broxName()};
    command.insert(command.end(), sampling.begin(), sampling.end());
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const ProcessCost cost = runProgram(command, report);
        pairs.add(cost.cpuNs, cost.wallNs);
    }
    return pairs.medians();
}

} // namespace

void registerBenchmarks(const Plan& plan) {
    const int entries = plan.entries;
    addFigure({"tvsistat, one report, whole process", entries, "`cat` of the same bytes"},
              [=] { return compareReport(entries, plan.quick ? 1 : 30); });
    addFigure({"of this, processor time", entries, "the whole process"},
              [=] { return compareProcessorTime(entries, plan.quick ? 1 : 30, {}); });
    addFigure({"tvsistat, ten reports a second, processor time", entries, "one core"}, [=] {
        return compareProcessorTime(entries, plan.quick ? 1 : 3, {"0.1", plan.quick ? "2" : "30"});
    });
}

void cleanUp() {
    dropSharedCache();
}

} // namespace bench
