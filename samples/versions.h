/* Which release of the programs this is, and for which server. */
#ifndef VERSIONS_H
#define VERSIONS_H

#include <string_view>

namespace samples {

/* Of the server whose caches are read, and of the interface to them: "3.7.5.1". */
std::string_view serverVersion();

/* Of this project's programs: "1.0.0". Programs whose first numbers differ don't work together. */
std::string_view releaseVersion();

} // namespace samples

#endif
