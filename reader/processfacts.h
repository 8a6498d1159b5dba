/* What /proc says of one process. Every function may be called from any thread. */
#ifndef PROCESSFACTS_H
#define PROCESSFACTS_H

#include "sample.h"

#include <optional>
#include <sys/types.h>

namespace reader {

/* State, start and user of the process, read afresh (10 to 25 microseconds); nothing when /proc
 * doesn't show it. */
std::optional<samples::ProcessFacts> readFacts(pid_t pid);

} // namespace reader

#endif
