/* Runs the live screen: brings together the caches' streams, the terminal and the clock. */
#ifndef LIVESCREEN_H
#define LIVESCREEN_H

#include "exitstatus.h"
#include "request.h"

namespace tvsistat {

/* Runs until it is quit, or no cache that was asked for can be attached. Changes the request as
 * keys ask for it. Says on standard error what was wrong; returns the status to exit with. */
samples::ExitStatus liveScreen(Request& request);

} // namespace tvsistat

#endif
