/* Makes the reports that a request asks for: from caches of this host, or from standard input. */
#ifndef WATCH_H
#define WATCH_H

#include "exitstatus.h"
#include "request.h"

namespace tvsistat {

/* Runs until all reports have been made, the caches are gone or a stop is requested. Says on
 * standard error what was wrong; returns the status to exit with. */
samples::ExitStatus watchCaches(const Request& request);

/* The same with the stream on standard input. */
samples::ExitStatus watchInput(const Request& request);

} // namespace tvsistat

#endif
