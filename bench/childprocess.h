/* Processes that benchmarks measure. Failures throw std::exception. */
#ifndef BENCH_CHILDPROCESS_H
#define BENCH_CHILDPROCESS_H

#include <functional>
#include <string>
#include <vector>

namespace bench {

/* Runs `body` in a forked process, which then ends at once, and returns its numbers. */
std::vector<double> numbersFromFork(const std::function<std::vector<double>()>& body);

struct ProcessCost {
    double wallNs;
    double cpuNs;
};

/* Runs a program to its end, with standard output into the (emptied) file. Any exit status but 0
   is a failure. */
ProcessCost runProgram(const std::vector<std::string>& command, const std::string& outputFile);

} // namespace bench

#endif
