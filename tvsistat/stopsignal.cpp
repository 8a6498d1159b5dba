#include "stopsignal.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace tvsistat {
namespace {

constexpr int stopSignals[] = {SIGINT, SIGTERM, SIGHUP};

/* The only process-wide state: set by the handler. */
volatile std::sig_atomic_t requestedBy = 0;

void requestStop(int signal) {
    requestedBy = signal;
}

timespec timespecOf(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {seconds.count(), (duration - seconds).count()};
}

/* Holds the stop signals back while it lives. */
class StopSignalsHeld {
public:
    StopSignalsHeld() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : stopSignals) {
            sigaddset(&signals, signal);
        }
        pthread_sigmask(SIG_BLOCK, &signals, &previous);
    }
    ~StopSignalsHeld() { pthread_sigmask(SIG_SETMASK, &previous, nullptr); }
    StopSignalsHeld(const StopSignalsHeld&) = delete;
    StopSignalsHeld& operator=(const StopSignalsHeld&) = delete;

    const sigset_t& before() const { return previous; }

private:
    sigset_t previous;
};

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

int stopSignal() {
    return requestedBy;
}

void dieOfStopSignal() {
    std::signal(requestedBy, SIG_DFL);
    std::raise(requestedBy);
}

int pollUntil(std::span<pollfd> descriptors, Deadline deadline) {
    /* The signals are let in by ppoll alone, so that none can slip in between the test and the wait
     * and be noticed too late. */
    const StopSignalsHeld held;
    while (requestedBy == 0) {
        timespec timeout{};
        if (deadline != noDeadline) {
            const auto left = deadline - std::chrono::steady_clock::now();
            timeout = timespecOf(std::max(left, Deadline::duration::zero()));
        }
        const int ready = ppoll(descriptors.data(), descriptors.size(),
                                deadline == noDeadline ? nullptr : &timeout, &held.before());
        if (ready >= 0 || errno != EINTR) {
            return ready;
        }
    }
    errno = EINTR;
    return -1;
}

} // namespace tvsistat
