/* Standard output of the reports. */
#ifndef OUTPUT_H
#define OUTPUT_H

#include <string_view>

namespace tvsistat {

/* Writes the whole text to standard output, in one call where the system takes it. Returns 0,
 * or the errno of the failure: EPIPE when the reader has left (SIGPIPE must be ignored), EINTR
 * when a stop was requested before the reader had taken the whole text. */
int writeOut(std::string_view text);

/* True when escape sequences are welcome: standard output is a terminal that understands them and
 * NO_COLOR is unset or empty. */
bool outputTakesEscapes();

} // namespace tvsistat

#endif
