/* What a program pays for loading the library, each time in a fresh process. */
#include <fstream>
#include <iterator>

#include "benchmain.h"
#include "childprocess.h"
#include "temporarydirectory.h"
#include "utl.h"

namespace bench {
namespace {

double loadNs(const std::string& object, const std::string& outputFile) {
    runProgram({DLOPEN_PROBE, object}, outputFile);
    double ns = 0;
    std::ifstream(outputFile) >> ns;
    return ns;
}

Comparison compareLoading(int pairCount) {
    const testsupport::TemporaryDirectory directory;
    const std::string outputFile = directory.file("ns").string();
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double limitNs = loadNs(TRIVIAL_OBJECT, outputFile);
        pairs.add(loadNs(TVSI_LIBRARY, outputFile), limitNs);
    }
    return pairs.medians();
}

/* The self-test as a load runs it, in cold caches, as a share of the load. */
Comparison compareSelfTest(int pairCount) {
    const testsupport::TemporaryDirectory directory;
    const std::string outputFile = directory.file("ns").string();
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double limitNs = loadNs(TVSI_LIBRARY, outputFile);
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
