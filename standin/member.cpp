#include "member.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace standin {
namespace {

/* The first byte of a report says what the rest of it is. */
constexpr char startedReport = 'S';
constexpr char failureReport = 'F';
constexpr std::size_t longestReport = 4096; /* written and read in one piece by the kernel */

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

bool sendReport(int& pipe, char kind, const std::string& text) {
    if (pipe == -1) {
        return false;
    }
    const std::string report = (kind + text).substr(0, longestReport);
    const bool sent = write(pipe, report.data(), report.size()) != -1;
    close(std::exchange(pipe, -1));
    return sent;
}

/*
 * SIGTERM waits for waitForUpdate(); a terminal's signals are the launcher's, which stops its
 * members in order. A report that nobody reads any more is no reason to die.
 */
void prepareSignals() {
    signal(SIGTERM, SIG_DFL);
    const sigset_t blocked = setOf({SIGTERM, SIGINT, SIGHUP, SIGPIPE});
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

/* The new process's whole life; nothing of the launcher's is destroyed in it. */
[[noreturn]] void live(const std::string& name, const Member::Body& body, int reportPipe,
                       pid_t launcher) {
    prepareSignals();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launcher) {
        _exit(1); /* it ended before it could be watched */
    }
    prctl(PR_SET_NAME, name.c_str());
    MemberProcess self(reportPipe);
    try {
        body(self);
    } catch (const std::exception& failure) {
        if (!self.reportFailure(failure.what())) {
            std::fprintf(stderr, "%s: %s\n", name.c_str(), failure.what());
        }
        _exit(1);
    }
    _exit(0);
}

/* What the other end reported; empty when it ended without a word. */
std::string receiveReport(int pipe) {
    std::array<char, longestReport> buffer;
    ssize_t size;
    do {
        size = read(pipe, buffer.data(), buffer.size());
    } while (size == -1 && errno == EINTR);
    close(pipe);
    return std::string(buffer.data(), static_cast<std::size_t>(size > 0 ? size : 0));
}

/* Waits until the process has ended; false when that takes longer. It must not be reaped yet. */
bool waitForEnd(pid_t pid, std::chrono::milliseconds patience) {
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd == -1) {
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    int ready;
    do {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ended{fd, POLLIN, 0};
        ready = poll(&ended, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    } while (ready == -1 && errno == EINTR);
    close(fd);
    return ready > 0;
}

} // namespace

void MemberProcess::reportStarted(const std::string& payload) {
    sendReport(reportPipe_, startedReport, payload);
}

bool MemberProcess::reportFailure(const std::string& reason) {
    return sendReport(reportPipe_, failureReport, reason);
}

bool MemberProcess::waitForUpdate(std::chrono::nanoseconds period) const {
    const sigset_t stop = setOf({SIGTERM});
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(period);
    const timespec timeout{seconds.count(), (period - seconds).count()};
    return sigtimedwait(&stop, nullptr, &timeout) != SIGTERM;
}

Member::Member(const std::string& name, const Body& body) : name_(name) {
    std::array<int, 2> pipe;
    if (pipe2(pipe.data(), O_CLOEXEC) == -1) {
        fail("cannot make a pipe for " + name);
    }
    const pid_t launcher = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        close(pipe[0]);
        live(name, body, pipe[1], launcher);
    }
    const int error = errno;
    close(pipe[1]);
    if (pid_ == -1) {
        close(pipe[0]);
        errno = error;
        fail("cannot start a process for " + name);
    }
    const std::string report = receiveReport(pipe[0]);
    if (report.empty() || report[0] != startedReport) {
        reap();
        throw std::runtime_error(
            name + " did not start: " +
            (report.empty() ? "its process " + howItEnded() : report.substr(1)));
    }
    payload_ = report.substr(1);
}

Member::Member(Member&& other) noexcept
    : name_(std::move(other.name_)), pid_(std::exchange(other.pid_, -1)),
      payload_(std::move(other.payload_)), ended_(std::exchange(other.ended_, true)),
      waitStatus_(other.waitStatus_) {}

Member::~Member() {
    askToStop();
    reap();
}

bool Member::hasEnded() {
    if (!ended_) {
        ended_ = waitpid(pid_, &waitStatus_, WNOHANG) == pid_;
    }
    return ended_;
}

std::string Member::howItEnded() const {
    if (WIFSIGNALED(waitStatus_)) {
        return "was killed by signal " + std::to_string(WTERMSIG(waitStatus_));
    }
    return waitStatus_ == 0 ? "ended"
                            : "failed with status " + std::to_string(WEXITSTATUS(waitStatus_));
}

void Member::askToStop() {
    if (!hasEnded()) {
        kill(pid_, SIGTERM);
    }
}

void Member::reap(std::chrono::milliseconds patience) {
    if (hasEnded()) {
        return;
    }
    if (!waitForEnd(pid_, patience)) {
        kill(pid_, SIGKILL);
    }
    while (waitpid(pid_, &waitStatus_, 0) == -1 && errno == EINTR) {
    }
    ended_ = true;
}

} // namespace standin
