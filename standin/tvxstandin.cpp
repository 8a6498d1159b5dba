/*
 * tvxstandin: a stand-in for a Talvex server. Runs the processes of one cache until it is told to
 * stop, and leaves nothing behind.
 *
 * Exit status: 0 stopped as asked, 1 could not run, 2 wrong options.
 */
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <string>

#include <CLI/CLI.hpp>

#include "server.h"
#include "tvsi.h"

namespace {

constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

struct Options {
    standin::ServerOptions server;
    double runTime = 0; /* seconds; 0: until a signal comes */
};

void complain(const char* sentence) {
    std::fprintf(stderr, "tvxstandin: %s.\n", sentence);
}

void declare(CLI::App& app, Options& options) {
    standin::ServerOptions& server = options.server;
    app.add_option("--brox", server.brox, "Name of the Brox that the cache serves")->required();
    app.add_option("--dir", server.directory,
                   "Existing directory that stands for the host-wide one (TALVEX_GLOBAL_DIR)")
        ->required();
    app.add_option("--sessions", server.sessions, "Vok sessions")->capture_default_str();
    app.add_option("--vok-threads", server.vokThreads,
                   "Further Vok threads (default: one for every two sessions)");
    app.add_option("--page-servers", server.pageServers,
                   "Page servers, two slots each (default: one for every two sessions)");
    app.add_option("--slots", server.slots,
                   "Process table entries (default: as needed, at least 64)");
    app.add_option("--pages", server.pages, "Page frames of 16 KB")->capture_default_str();
    app.add_option("--rate", server.updatesPerSecond, "Updates of every record per second")
        ->capture_default_str();
    app.add_option("--host-id", server.hostId,
                   "Host id to record, as 1f2e or 0x1f2e (default: the recorded one, else random)")
        ->transform(
            [](const std::string& hex) { return hex.starts_with("0x") ? hex : "0x" + hex; });
    app.add_option_function<std::string>(
           "--mode",
           [&server](const std::string& octal) {
               server.segmentMode = static_cast<mode_t>(std::stoul(octal, nullptr, 8));
           },
           "Permissions of the cache, as 660 for those of its group (default: 600)")
        ->check([](const std::string& octal) {
            const bool isMode = octal.size() >= 3 && octal.size() <= 4 &&
                                octal.find_first_not_of("01234567") == std::string::npos &&
                                (octal.size() == 3 || octal[0] == '0');
            return isMode ? "" : "'" + octal + "' is no mode from 000 to 777";
        });
    app.add_option("--run-time", options.runTime,
                   "Seconds to run (default: until SIGTERM or SIGINT)")
        ->check(CLI::Range(0.0, 1e9));
    app.set_version_flag("-V,--version",
                         "tvxstandin " TVSI_RELEASE " for Talvex " TVSI_INTERFACE_VERSION,
                         "Print the version and exit");
}

sigset_t blockSignals(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return set;
}

/* SIGCHLD doesn't count: a member that fails to start is reported by the start itself. */
bool isToldToStop() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGTERM) || sigismember(&pending, SIGINT) ||
           sigismember(&pending, SIGHUP);
}

/* True when the line has left this process. */
bool announce(const standin::Server& server) {
    std::printf("ready cache=%s monitor=%d brox=%d entries=%u\n", server.cacheName().c_str(),
                server.monitorPid(), server.broxPid(), server.slots());
    return std::fflush(stdout) == 0;
}

/* Waits for a signal to stop or the end of the run time, and tells of members that end. */
void run(standin::Server& server, const sigset_t& signals, double runTime) {
    using Clock = std::chrono::steady_clock;
    using std::chrono::nanoseconds;
    constexpr auto longestWait = std::chrono::hours(1);
    const Clock::time_point end =
        runTime > 0 ? Clock::now() + nanoseconds(static_cast<std::int64_t>(runTime * 1e9))
                    : Clock::time_point::max();
    for (;;) {
        const Clock::time_point now = Clock::now();
        if (now >= end) {
            return;
        }
        const nanoseconds wait = std::min<nanoseconds>(end - now, longestWait);
        const timespec timeout{wait.count() / 1'000'000'000, wait.count() % 1'000'000'000};
        const int signal = sigtimedwait(&signals, nullptr, &timeout);
        if (signal != -1 && signal != SIGCHLD) {
            return;
        }
        for (const std::string& sentence : server.noticeEndedMembers()) {
            complain(sentence.c_str());
        }
    }
}

int serve(int argc, char** argv) {
    Options options;
    CLI::App app("Stands in for a Talvex server: a shared page cache with live counters.",
                 "tvxstandin");
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(error);
        }
        complain(error.what());
        return exitUsage;
    }
    const std::string fault = standin::findFault(options.server);
    if (!fault.empty()) {
        complain(fault.c_str());
        return exitUsage;
    }

    /* Before the first fork: the members must not be without the launcher's mask for a moment. */
    const sigset_t signals = blockSignals({SIGTERM, SIGINT, SIGHUP, SIGCHLD});
    std::signal(SIGPIPE, SIG_IGN);
    options.server.mustStop = isToldToStop;
    standin::Server server(options.server);
    if (!announce(server)) {
        complain("cannot write to standard output");
        return exitFailure;
    }
    run(server, signals, options.runTime);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return serve(argc, argv);
    } catch (const standin::StartInterrupted&) {
        return 0;
    } catch (const std::exception& failure) {
        complain(failure.what());
        return exitFailure;
    }
}
