/* What the service tvsi-recorder@ has recorded: --history. */
#ifndef SERVICEHISTORY_H
#define SERVICEHISTORY_H

#include "request.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tvsistat {

/* How systemd writes a name as that of a unit's instance, and the service as that of its
 * directory: one component of a path, whatever the name. */
std::string instanceName(std::string_view name);

/* The directories of the request's caches below that of the service, /var/lib/tvsi, or what
 * TVSI_HISTORY_DIR names; of all that have been recorded when it names none. Failure: there are
 * none, or they can't be read. */
std::variant<std::vector<std::string>, samples::Failure> serviceHistory(const Request& request);

} // namespace tvsistat

#endif
