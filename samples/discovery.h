/* The caches of this host, as tvsi-reader lists them. */
#ifndef DISCOVERY_H
#define DISCOVERY_H

#include "exitstatus.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace samples {

/* A cache whose monitor runs. Texts come from the server's registry: any bytes. */
struct CacheListing {
    std::string brox;     /* "prod" */
    std::string location; /* "prod~1f2e": what names the cache to every program */
    int32_t monitorPid = 0;
    std::string user;        /* who started the monitor */
    int64_t startedSec = 0;  /* when, seconds since the epoch; 0: not recorded */
    std::string version;     /* of the server: "3.7.5.1" */
    bool isReadable = false; /* this user may attach it */
    std::string refusal;     /* why not, without a full stop; empty when it is readable */

    bool operator==(const CacheListing&) const = default;
};

using CacheListings = std::vector<CacheListing>;

/* All caches of this host in the order of their locations, or why there are none: a list is never
 * empty. Runs tvsi-reader, and waits for it as long as `limit` at most, or until `isUnwanted`,
 * which is asked now and then, says so. */
std::variant<CacheListings, Failure> listCaches(
    std::chrono::milliseconds limit = std::chrono::seconds(15),
    const std::function<bool()>& isUnwanted = [] { return false; });

/* What `tvsi-reader --list` printed, taken apart. */
std::variant<CacheListings, Failure> parseListing(std::string_view lines);

} // namespace samples

#endif
