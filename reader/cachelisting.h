/* The caches of this host, for `tvsi-reader --list`. */
#ifndef CACHELISTING_H
#define CACHELISTING_H

#include "exitstatus.h"

#include <string>
#include <variant>

namespace reader {

/* What was found: a line of JSON a cache, in the order of the locations. */
struct Listing {
    std::string lines;
    std::string warning; /* what was left out; empty when nothing was */
};

/* Every cache whose monitor runs, or why there is none. */
std::variant<Listing, samples::Failure> listCaches();

} // namespace reader

#endif
