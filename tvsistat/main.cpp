/* tvsistat: reports live statistics of the processes that use a shared page cache. */
#include "attach.h"
#include "exitstatus.h"
#include "options.h"
#include "output.h"
#include "report.h"
#include "sampling.h"
#include "stopsignal.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <string>
#include <system_error>

namespace {

using namespace tvsistat;

int statusOf(ExitStatus status) {
    return static_cast<int>(status);
}

int fail(const Failure& failure) {
    if (!failure.sentence.empty()) {
        std::fprintf(stderr, "tvsistat: %s\n", failure.sentence.c_str());
    }
    return statusOf(failure.status);
}

/* A reader that has left wants to hear nothing more; a full disk is worth a sentence. */
Failure outputFailure(int error) {
    if (error == EINTR) {
        return {ExitStatus::Ok, ""};
    }
    if (error == EPIPE) {
        return {ExitStatus::OutputFailed, ""};
    }
    return {ExitStatus::OutputFailed, fmt::format("standard output cannot be written: {}",
                                                  std::generic_category().message(error))};
}

int print(std::string_view text) {
    const int error = writeOut(text);
    return error == 0 ? statusOf(ExitStatus::Ok) : fail(outputFailure(error));
}

int report(const ReportRequest& request) {
    catchStopSignals();
    {
        const StopSignalsHeld held; /* for the library's thread */
        if (const auto failure = attachTo(request.target)) {
            return fail(*failure);
        }
    }
    /* The cache is not detached at the end: that would wait up to a second for the library's
     * thread, and the system does it at once. */
    const std::string title = request.target.title();
    Sampler sampler(request.selection, title);
    Report text(title, request.columns,
                {outputTakesEscapes(), request.showsTotals,
                 !selectsAll(request.selection) || request.columns.hidesKindsWithoutColumns});
    Sample samples[2];
    Rhythm rhythm(std::chrono::duration<double>(request.interval));
    bool hasShownAny = false;
    for (unsigned made = 0;; made++) {
        Sample& now = samples[made % 2];
        if (const auto failure = sampler.take(now)) {
            return fail(*failure);
        }
        const Sample* before = made == 0 ? nullptr : &samples[(made + 1) % 2];
        if (const int error = writeOut(text.format(now, before)); error != 0) {
            return fail(outputFailure(error));
        }
        hasShownAny = hasShownAny || text.numShown() > 0;
        if (made + 1 == static_cast<unsigned>(request.numReports)) {
            break;
        }
        if (!sleepUntil(rhythm.next(std::chrono::steady_clock::now()))) {
            return statusOf(ExitStatus::Ok);
        }
    }
    return hasShownAny ? statusOf(ExitStatus::Ok)
                       : fail({ExitStatus::NoMatch, "no process was selected in " + title});
}

int run(int argc, const char* const* argv) {
    std::signal(SIGPIPE, SIG_IGN);
    const auto request = parseCommandLine(argc, argv);
    if (const auto* failure = std::get_if<Failure>(&request)) {
        return fail({failure->status, failure->sentence + " (see tvsistat --help)"});
    }
    if (const auto* wanted = std::get_if<TextRequest>(&request)) {
        return print(wanted->text);
    }
    return report(std::get<ReportRequest>(request));
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        return fail({ExitStatus::Failure, error.what()});
    }
}
