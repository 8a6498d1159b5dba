/* The lists that are printed in place of reports. */
#ifndef LISTINGS_H
#define LISTINGS_H

#include "discovery.h"
#include "request.h"

#include <string>

namespace tvsistat {

/* The catalogue's fields and derived figures that the request's globs, kinds and groups let
 * through: a table, or with --json an object a line. Offsets are those in TvsiResultSType. */
std::string listFields(const Request& request);

/* The caches of this host: a table, or with --json an object a line. */
std::string listCaches(const Request& request, const samples::CacheListings& caches);

} // namespace tvsistat

#endif
