#include "streamoutput.h"

#include "printable.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace reader {

using samples::ExitStatus;
using samples::Failure;

namespace {

constexpr int pipeSize = 1 << 20; /* a sample of more than a thousand processes */
constexpr size_t maxEarlyText = 65536;
/* A line without an end goes out after this; the library, having given up, says no more. */
constexpr int restMs = 100;
constexpr int lastWordsMs = 1000;

int64_t nanosecondsOf(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * INT64_C(1'000'000'000) + now.tv_nsec;
}

/* A descriptor that leaves the standard ones to the library. */
int movedAway(int descriptor) {
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved == -1) {
        throw std::system_error(errno, std::generic_category(), "standard streams");
    }
    return moved;
}

} // namespace

samples::Times timesNow() {
    return {nanosecondsOf(CLOCK_REALTIME), nanosecondsOf(CLOCK_MONOTONIC)};
}

StreamOutput::StreamOutput(std::string cacheTitle)
    : title(std::move(cacheTitle)), out(movedAway(STDOUT_FILENO)), err(movedAway(STDERR_FILENO)) {
    if (fcntl(out, F_GETPIPE_SZ) < pipeSize) {
        fcntl(out, F_SETPIPE_SZ, pipeSize); /* where it is a pipe, and where that is allowed */
    }
    try {
        std::thread([this] { attend(); }).detach();
    } catch (const std::system_error& error) { /* whoever catches it has no standard error now */
        complain(std::string("no thread can be started: ") + error.what());
        _exit(static_cast<int>(ExitStatus::Failure));
    }
}

void StreamOutput::describe(const samples::StreamHeader& known) {
    const std::lock_guard lock(mutex);
    header = known;
}

void StreamOutput::begin() {
    const std::lock_guard lock(mutex);
    beginLocked();
}

void StreamOutput::write(const samples::StreamEncoder& encoder) {
    std::unique_lock lock(mutex);
    waitIfEnded(lock);
    writeAll(encoder.bytes());
}

void StreamOutput::lose(const Failure& failure) {
    std::fflush(stdout);
    std::unique_lock lock(mutex);
    waitIfEnded(lock);
    beginLocked();
    sendNotices(true);
    messages.add(samples::Lost{static_cast<int32_t>(failure.status), failure.sentence, timesNow()});
    writeLocked();
    complain(failure.sentence);
    _exit(static_cast<int>(failure.status));
}

void StreamOutput::finish() {
    std::fflush(stdout);
    std::unique_lock lock(mutex);
    waitIfEnded(lock);
    sendNotices(true);
    messages.add(samples::End{timesNow()});
    writeLocked();
    _exit(static_cast<int>(ExitStatus::Ok));
}

/* Before another message of the sampling thread. Once the library has given up in a thread of its
 * own there is none: the process stays as it is, for a debugger or to be ended. */
void StreamOutput::waitIfEnded(std::unique_lock<std::mutex>& lock) const {
    if (hasEnded) {
        lock.unlock();
        for (;;) {
            pause();
        }
    }
}

void StreamOutput::attend() {
    int timeoutMs = -1;
    for (;;) {
        pollfd watched[] = {{library.fd(), POLLIN, 0}, {out, 0, 0}};
        const int ready = poll(watched, 2, timeoutMs);
        if (watched[1].revents != 0) {
            _exit(static_cast<int>(ExitStatus::OutputFailed));
        }
        if (ready != -1) {
            timeoutMs = takeNotices(ready == 0);
        }
    }
}

/* Sends what the library has printed; `isQuiet`: it has been silent for a while. How long to wait
 * for more, as for poll(). */
int StreamOutput::takeNotices(bool isQuiet) {
    const std::lock_guard lock(mutex);
    sendNotices(isQuiet);
    const bool isLosing = library.hasGivenUp() && !hasEnded;
    if (isLosing && (isQuiet || library.hasSaidAll())) {
        loseLibrary();
        return -1;
    }
    return isLosing ? lastWordsMs : library.hasRest() ? restMs : -1;
}

void StreamOutput::beginLocked() {
    if (hasBegun) {
        return;
    }
    hasBegun = true;
    header.times = timesNow();
    messages.add(header);
    writeLocked();
    for (size_t at = 0; at < early.size(); at += samples::maxTextBytes) {
        messages.add(samples::Notice{early.substr(at, samples::maxTextBytes), timesNow()});
    }
    writeLocked();
    early = {};
}

void StreamOutput::sendNotices(bool withRest) {
    for (const std::string& text : library.take(withRest)) {
        if (!hasBegun) {
            early.append(text, 0, maxEarlyText - std::min(early.size(), maxEarlyText));
        } else if (!hasEnded) {
            messages.add(samples::Notice{text, timesNow()});
        }
    }
    writeLocked();
}

/* The last message while the library keeps the sampling thread. */
void StreamOutput::loseLibrary() {
    beginLocked();
    const std::string sentence = title +
                                 " cannot be read any further: the library has met what "
                                 "must not be (" +
                                 samples::printable(library.reason()) +
                                 "); the segment is damaged, or not the server's";
    messages.add(samples::Lost{static_cast<int32_t>(ExitStatus::Failure), sentence, timesNow()});
    writeLocked();
    hasEnded = true;
    complain(sentence);
}

void StreamOutput::writeLocked() {
    writeAll(messages.bytes());
    messages.clear();
}

void StreamOutput::writeAll(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(out, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<size_t>(count));
        } else if (errno == EAGAIN) { /* somebody made it non-blocking */
            pollfd room{out, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            failOutput(errno);
        }
    }
}

/* Whoever has stopped reading wants to hear nothing more. */
void StreamOutput::failOutput(int error) {
    if (error != EPIPE) {
        complain("standard output cannot be written: " + std::generic_category().message(error));
    }
    _exit(static_cast<int>(ExitStatus::OutputFailed));
}

void StreamOutput::complain(const std::string& sentence) const {
    const std::string line = "tvsi-reader: " + sentence + "\n";
    [[maybe_unused]] const ssize_t ignored = ::write(err, line.data(), line.size());
}

} // namespace reader
