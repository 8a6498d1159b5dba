/* A server's number as a metric's, in the text of Prometheus and of OpenMetrics. */
#ifndef METRICNUMBER_H
#define METRICNUMBER_H

#include "computation.h"

#include <string>

namespace samples {

/* The number times the factor (MetricFamily::scale): exactly where that is a power of ten or of
 * two. Without a locale. */
void appendMetricNumber(std::string& text, Number number, double factor);

} // namespace samples

#endif
