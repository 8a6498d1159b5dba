/* What the processes that share a metric's series amount to in it. */
#ifndef METRICVALUE_H
#define METRICVALUE_H

#include "computation.h"
#include "metricnames.h"

#include <cstdint>
#include <span>

namespace samples {

/* Adds what a process's counter has gained since the sample before, or ever when it wasn't there. A
 * counter that went back has gained nothing. The total stays at its greatest. */
void addGain(uint64_t& total, const MetricPlace& place, const Process& process);

/* A gauge's number: flags are 0 or 1, and an event that was never seen has none. The figure is the
 * one of a metric's field and element; there is a process. */
Number gaugeOf(const Figure& figure, std::span<const Process> processes, const Moment& moment);

} // namespace samples

#endif
