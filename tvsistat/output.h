/* Standard output of the views. */
#ifndef OUTPUT_H
#define OUTPUT_H

#include "exitstatus.h"
#include "stopsignal.h"

#include <functional>
#include <string_view>

namespace tvsistat {

/* Writes the whole text to standard output. Returns 0, or the errno of the failure: EPIPE when
 * whoever reads it has left (SIGPIPE must be ignored), EINTR when a stop was requested before the
 * whole text had been taken. `meanwhile` is called before each wait for whoever reads it, and says
 * when it is to be called again. */
int writeOut(std::string_view text, const std::function<Deadline()>& meanwhile = {});

/* Why the program ends when standard output can't be written. */
samples::Failure outputFailure(int error);

/* Says a sentence on standard error, after the program's name. */
void complain(std::string_view sentence);

bool outputIsTerminal();

/* True when escape sequences are welcome: standard output is a terminal that understands them and
 * NO_COLOR is unset or empty. */
bool outputTakesEscapes();

} // namespace tvsistat

#endif
