/*
 * The frame of the benchmark programs: their options, and the figures that they write.
 *
 *     --quick     little work, to see that everything runs
 *     --csv=FILE  appends the figures to FILE, comma-separated; scripts/figures.py names the
 * columns
 *
 * and the options of Google Benchmark, of which --benchmark_filter is the useful one.
 */
#ifndef BENCH_BENCHMAIN_H
#define BENCH_BENCHMAIN_H

#include <benchmark/benchmark.h>
#include <functional>
#include <string>
#include <vector>

#include "comparison.h"

namespace bench {

/* What the figure must not exceed. */
struct Target {
    enum Measure { none, ratio, excessNs };
    Measure measure = none;
    double value = 0;
};

enum class Unit { nanoseconds, bytes, count };

/* One row of the figures. */
struct Figure {
    std::string subject;
    int entries = 0; /* of the process table; 0: does not matter */
    std::string limit;
    Target target = {};
    Unit unit = Unit::nanoseconds;
};

struct Plan {
    bool quick;
    bool isFirst; /* the first table size: also for what does not depend on it */
    int entries;  /* of the process table */

    Effort warm(Time time = Time::ofThread) const;
    /* One call a batch. */
    Effort single(int pairs) const;
};

/* Registers a benchmark that gives one row. */
void addFigure(const Figure& figure, const std::function<Comparison()>& measure);

/* Each program defines these. */
/* The sizes of the process table that it is run for. */
std::vector<int> tableSizes();
/* These two are called once in a process, one process a table size:
   before the benchmarks run, and after them to give up what they have shared. */
void registerBenchmarks(const Plan& plan);
void cleanUp();

} // namespace bench

#endif
