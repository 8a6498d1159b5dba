/* Ends the program in an orderly way on SIGINT and SIGTERM, and keeps its rhythm. The signals'
 * state is process-wide: to be used by the main thread alone. */
#ifndef STOPSIGNAL_H
#define STOPSIGNAL_H

#include <chrono>
#include <csignal>

namespace tvsistat {

/* From now on SIGINT and SIGTERM only ask the program to stop. A signal that the program was
 * started with as ignored stays ignored (a background job of a shell). */
void catchStopSignals();

bool stopIsRequested();

/* Sleeps until a moment; false when a stop was requested before or during the sleep. */
bool sleepUntil(std::chrono::steady_clock::time_point moment);

/* Holds the stop signals back while it lives. Threads that are created meanwhile never take
 * them, so that they always wake the main thread. */
class StopSignalsHeld {
public:
    StopSignalsHeld();
    ~StopSignalsHeld();
    StopSignalsHeld(const StopSignalsHeld&) = delete;
    StopSignalsHeld& operator=(const StopSignalsHeld&) = delete;

    /* The mask as it was before. */
    const sigset_t& before() const { return previous; }

private:
    sigset_t previous;
};

/* Gives moments at a fixed distance. They do not drift: what is late does not delay the next. */
class Rhythm {
public:
    explicit Rhythm(std::chrono::duration<double> distance);

    /* The next moment that still lies ahead; those that have been missed are left out. */
    std::chrono::steady_clock::time_point next(std::chrono::steady_clock::time_point now);

private:
    std::chrono::steady_clock::duration interval;
    std::chrono::steady_clock::time_point last;
};

} // namespace tvsistat

#endif
