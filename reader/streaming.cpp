#include "streaming.h"

#include "attachment.h"
#include "netinfolocal.h"
#include "processfacts.h"
#include "sampler.h"
#include "schedule.h"
#include "streamoutput.h"
#include "tvsi.h"
#include "versions.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>
#include <new>
#include <unistd.h>

namespace reader {
namespace {

/* A dead cache is noticed by the library within a second, and here this much later at most. */
constexpr int64_t longestBlindNs = 500'000'000;

std::string hostName() {
    char name[256] = "";
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

void sleepUntil(int64_t moment) {
    constexpr int64_t nsInSecond = 1'000'000'000;
    const timespec when{moment / nsInSecond, moment % nsInSecond};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &when, nullptr) == EINTR) {
    }
}

class Streaming {
public:
    explicit Streaming(const StreamRequest& wanted)
        : request(wanted), output(wanted.target.title()),
          sampler(wanted.kinds, wanted.hasUsers, wanted.count == 1) {}

    [[noreturn]] void run() {
        try {
            attach();
            output.begin();
            sample();
        } catch (const std::bad_alloc&) {
            loseWith("there is not enough memory (ulimit -v and -d limit it)");
        } catch (const std::exception& error) {
            loseWith(error.what());
        }
    }

private:
    [[noreturn]] void sample() {
        Schedule schedule(timesNow(), request.intervalNs, request.isAligned);
        for (uint64_t sequence = 1;; sequence++) {
            waitFor(schedule);
            const int64_t late = schedule.reach(timesNow());
            const int status = sampler.take(encoder, sequence, late);
            if (status != TVSI_SUCCESS) {
                output.lose(failureOf(status));
            }
            output.write(encoder);
            if (sequence == request.count) {
                output.finish();
            }
        }
    }

    [[noreturn]] void loseWith(const std::string& why) {
        output.lose({ExitStatus::Failure, request.target.title() + " cannot be read: " + why});
    }

    void attach() {
        header.interfaceVersion = samples::serverVersion();
        header.readerVersion = samples::releaseVersion();
        header.host = hostName();
        (request.target.isBrox ? header.brox : header.location) = request.target.name;
        output.describe(header);
        const auto failure = attachTo(request.target, header.location);
        header.brox = header.location.empty()
                          ? request.target.name
                          : header.location.substr(0, header.location.rfind('~'));
        if (!failure) {
            describeMonitor();
        }
        output.describe(header);
        if (failure) {
            output.lose(*failure);
        }
    }

    void describeMonitor() {
        TvsiFetchMaxProcessesInCache(&header.slots);
        header.slots = std::max(header.slots, 0);
        TvsiResultSType monitor;
        if (TvsiStatsForShrPcMon(&monitor) == TVSI_SUCCESS) {
            header.monitorPid = monitor.stats.processId;
        }
        if (const auto facts = readFacts(header.monitorPid, false)) {
            header.monitorStartedNs = facts->startedNs;
        }
    }

    /* Until the next moment, or until the cache is gone. */
    void waitFor(Schedule& schedule) {
        for (;;) {
            const samples::Times now = timesNow();
            const int64_t left = schedule.left(now);
            if (left <= 0) {
                return;
            }
            sleepUntil(now.monotonicNs + std::min(left, longestBlindNs));
            if (left > longestBlindNs && TvsiCacheIsAlive() != 1) {
                output.lose(failureOf(TVSI_ERR_CACHE_CONNECTION_SEVERED));
            }
        }
    }

    Failure failureOf(int status) const {
        const std::string title = request.target.title();
        if (status != TVSI_ERR_CACHE_CONNECTION_SEVERED && status != TVSI_ERR_CACHE_NOT_ATTACHED) {
            return {ExitStatus::Failure,
                    title + " cannot be read: the library answers " + std::to_string(status)};
        }
        const bool isMonitorGone =
            header.monitorPid > 0 && kill(header.monitorPid, 0) != 0 && errno == ESRCH;
        return {ExitStatus::CacheGone,
                title + " has gone away: " +
                    (isMonitorGone ? "its monitor (process " + std::to_string(header.monitorPid) +
                                         ") has ended"
                                   : "its monitor or its Brox has left it")};
    }

    StreamRequest request;
    StreamOutput output;
    Sampler sampler;
    samples::StreamHeader header;
    samples::StreamEncoder encoder;
};

} // namespace

void stream(const StreamRequest& request) {
    Streaming(request).run();
}

} // namespace reader
