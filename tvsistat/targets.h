/* The caches that are to be watched. */
#ifndef TARGETS_H
#define TARGETS_H

#include "request.h"
#include "sample.h"

#include <span>
#include <variant>
#include <vector>

namespace tvsistat {

/* The caches that the request names, and with `all` every one of the host; or why there is none.
 * Waits for one as the request says. */
std::variant<std::vector<Target>, samples::Failure> findTargets(const Request& request);

/* The place of the header's cache among the targets; behind all of them when it is none. */
size_t placeAmong(std::span<const Target> targets, const samples::StreamHeader& header);

} // namespace tvsistat

#endif
