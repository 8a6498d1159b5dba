#include "stopsignal.h"

#include <cerrno>
#include <poll.h>

namespace tvsistat {
namespace {

constexpr int stopSignals[] = {SIGINT, SIGTERM};

/* The only process-wide state: set by the handler. */
volatile std::sig_atomic_t stopRequests = 0;

void requestStop(int) {
    stopRequests = 1;
}

timespec timespecOf(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {seconds.count(), (duration - seconds).count()};
}

} // namespace

void catchStopSignals() {
    struct sigaction action = {};
    action.sa_handler = requestStop; /* without SA_RESTART: a blocked write ends too */
    for (const int signal : stopSignals) {
        struct sigaction present;
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
}

bool stopIsRequested() {
    return stopRequests != 0;
}

bool sleepUntil(std::chrono::steady_clock::time_point moment) {
    /* The signals are let in by ppoll alone, so that none can slip in between the test and the
     * sleep and be noticed a whole interval late. */
    const StopSignalsHeld held;
    while (!stopIsRequested()) {
        const auto left = moment - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero()) {
            return true;
        }
        const timespec timeout = timespecOf(left);
        if (ppoll(nullptr, 0, &timeout, &held.before()) < 0 && errno != EINTR) {
            return false;
        }
    }
    return false;
}

StopSignalsHeld::StopSignalsHeld() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : stopSignals) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &previous);
}

StopSignalsHeld::~StopSignalsHeld() {
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

Rhythm::Rhythm(std::chrono::duration<double> distance)
    : interval(std::chrono::duration_cast<std::chrono::steady_clock::duration>(distance)),
      last(std::chrono::steady_clock::now()) {}

std::chrono::steady_clock::time_point Rhythm::next(std::chrono::steady_clock::time_point now) {
    const auto missed = (now - last) / interval;
    last += interval * (missed + 1);
    return last;
}

} // namespace tvsistat
