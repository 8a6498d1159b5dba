/* The caches that are to be watched. */
#ifndef TARGETS_H
#define TARGETS_H

#include "request.h"

#include <variant>
#include <vector>

namespace tvsistat {

/* The caches that the request names, and with `all` every one of the host; or why there is none.
 * Waits for one as the request says. */
std::variant<std::vector<Target>, samples::Failure> findTargets(const Request& request);

} // namespace tvsistat

#endif
