/* The live screen's feed from caches of this host: a reader for each, and whatever comes and goes.
 */
#ifndef LIVEFEED_H
#define LIVEFEED_H

#include "request.h"
#include "screenfeed.h"

#include <memory>
#include <variant>

namespace tvsistat {

/* Watches the caches that the request asks for, or says why there is none to watch. The references
 * must outlive it. */
std::variant<std::unique_ptr<ScreenFeed>, samples::Failure> openLiveFeed(const Request& request,
                                                                         ScreenModel& model);

} // namespace tvsistat

#endif
