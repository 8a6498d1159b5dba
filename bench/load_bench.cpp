/* What a program pays for loading the library, each time in a fresh process. */
#include "benchmain.h"
#include "measuredprocess.h"
#include "utl.h"

namespace bench {
namespace {

double loadNs(const std::string& object) {
    return numbersIn(runProgram({DLOPEN_PROBE, object}).out).at(0);
}

Comparison compareLoading(int pairCount) {
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double limitNs = loadNs(TRIVIAL_OBJECT);
        pairs.add(loadNs(TVSI_LIBRARY), limitNs);
    }
    return pairs.medians();
}

/* The self-test as a load runs it, in cold caches, as a share of the load. */
Comparison compareSelfTest(int pairCount) {
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double limitNs = loadNs(TVSI_LIBRARY);
        const auto selfTestNs = numbersFromFork([] {
            const auto start = Clock::now();
            txBitPrimitivesSelfTest();
            return std::vector<double>{nanoseconds(Clock::now() - start)};
        });
        pairs.add(selfTestNs.at(0), limitNs);
    }
    return pairs.medians();
}

} // namespace

std::vector<int> tableSizes() {
    return {50, 1000, 10000};
}

void registerBenchmarks(const Plan& plan) {
    if (!plan.isFirst) {
        return;
    }
    const int pairCount = plan.quick ? 2 : 200;
    addFigure({"dlopen of the library", 0, "dlopen of a trivial shared object"},
              [pairCount] { return compareLoading(pairCount); });
    addFigure({"of this, the bit self-test", 0, "dlopen of the library"},
              [pairCount] { return compareSelfTest(pairCount); });
}

void cleanUp() {}

} // namespace bench
