/* Ends the program in an orderly way on SIGINT, SIGTERM and SIGHUP. The signals' state is
 * process-wide: to be used by the main thread alone. */
#ifndef STOPSIGNAL_H
#define STOPSIGNAL_H

#include <chrono>
#include <poll.h>
#include <span>

namespace tvsistat {

/* From now on the signals only ask the program to stop. A signal that the program was started with
 * as ignored stays ignored (a background job of a shell). */
void catchStopSignals();

/* The signal that asked for a stop; 0: none has. */
int stopSignal();

/* Ends the process by the signal that asked for a stop, as if it hadn't been caught. */
void dieOfStopSignal();

using Deadline = std::chrono::steady_clock::time_point;
inline constexpr Deadline noDeadline = Deadline::max();

/* Polls until a descriptor is ready, the deadline has come or a stop is requested, also when that
 * happened before. Returns poll's result; -1 with EINTR after a stop. */
int pollUntil(std::span<pollfd> descriptors, Deadline deadline);

} // namespace tvsistat

#endif
