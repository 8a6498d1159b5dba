/*
 * Why a cache can't be attached. The library's status and text tell some of it; the rest is found
 * by looking at the registry, the recorded process and the memory segment once more, after the
 * failure. What the library wouldn't have met isn't looked for.
 */
#ifndef ATTACHFAILURE_H
#define ATTACHFAILURE_H

#include "readerarguments.h"

#include <string>
#include <string_view>

namespace reader {

/* No cache of that Brox was found, or no location could be made of it. */
Failure explainNoCacheOfBrox(const Target& target);

/* The attach of the location has failed with this status and text of the library's. */
Failure explainAttach(const Target& target, const std::string& location, int status,
                      std::string_view libraryText);

/* The registry directory can't be searched: why, and what to do. Nothing when it can. */
std::optional<Failure> explainNoRegistry();

} // namespace reader

#endif
