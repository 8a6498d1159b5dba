#include "collector.h"

#include "discovery.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace exporter {
namespace {

using namespace std::chrono_literals;
using By = Target::By;

/* How often caches are looked for that have come since. */
constexpr auto lookPause = 5s;
/* Of a resolver that doesn't answer listing waits for a while. */
constexpr auto listLimit = 15s;
constexpr size_t maxListBytes = size_t{4} << 20;
/* A cache that was found by looking is shown as down for that long. */
constexpr auto memory = 1h;

} // namespace

Collector::Collector(const CollectorSettings& wanted, const SeriesChoice& chosen,
                     const MetricPlan& planned, Board& shown)
    : settings(wanted), choice(chosen), plan(planned), board(shown),
      listDue(wanted.takesAll ? Clock::now() : Clock::time_point::max()) {
    for (const Target& target : settings.targets) {
        add(target);
    }
}

void Collector::add(Target target) {
    const auto isSame = [&](const auto& source) { return source->target() == target; };
    if (std::ranges::none_of(sources, isSame)) {
        sources.push_back(std::make_unique<CacheSource>(std::move(target), choice, plan,
                                                        settings.interval, settings.keepsSamples));
        ownChanges++;
    }
}

/* Lists the caches of this host, by a reader which nobody waits for. */
void Collector::look(Clock::time_point now) {
    if (now < listDue) {
        return;
    }
    const bool isLate = list.has_value();
    list.reset();
    listed.clear();
    listDue = now + lookPause;
    if (isLate) {
        listProblem = "the caches of this host could not be listed in time";
        ownChanges++;
        return;
    }
    auto started = samples::ReaderProcess::start({"--list"}, -1);
    if (const auto* failure = std::get_if<samples::Failure>(&started)) {
        listProblem = failure->sentence;
        ownChanges++;
        return;
    }
    list = std::move(std::get<samples::ReaderProcess>(started));
    listDue = now + listLimit;
}

void Collector::readList() {
    std::array<char, 16384> piece;
    while (list) {
        const ssize_t got = read(list->fd(), piece.data(), piece.size());
        if (got > 0 && listed.size() < maxListBytes) {
            listed.append(piece.data(), static_cast<size_t>(got));
        } else if (got >= 0 || (errno != EINTR && errno != EAGAIN)) {
            list.reset();
            listDue = Clock::now() + lookPause;
            takeList(listed);
        } else if (errno == EAGAIN) {
            return;
        }
    }
}

void Collector::takeList(const std::string& lines) {
    auto parsed = samples::parseListing(lines);
    if (const auto* failure = std::get_if<samples::Failure>(&parsed)) {
        listProblem = failure->sentence;
        ownChanges++;
        return;
    }
    auto& caches = std::get<samples::CacheListings>(parsed);
    listProblem = caches.empty() ? "no cache runs on this host, or none that can be found" : "";
    for (auto& cache : caches) {
        const bool isKnown = std::ranges::any_of(sources, [&](const auto& source) {
            return source->location() == cache.location ||
                   (source->target().by == By::Brox && source->target().name == cache.brox);
        });
        if (!isKnown) {
            add({By::Location, std::move(cache.location)});
        }
    }
    ownChanges++;
}

void Collector::forgetMissing(Clock::time_point now) {
    const auto count = std::erase_if(sources, [&](const auto& source) {
        const auto since = source->missingSince();
        return since && now - *since > memory &&
               std::ranges::find(settings.targets, source->target()) == settings.targets.end();
    });
    if (count > 0) {
        published = UINT64_MAX;
    }
}

/* Of two sources of one cache the first is shown. */
void Collector::publishChanges() {
    uint64_t changes = ownChanges;
    for (const auto& source : sources) {
        changes += source->version();
    }
    if (changes == published) {
        return;
    }
    published = changes;
    BoardState state;
    state.problem = listProblem;
    for (const auto& source : sources) {
        if (std::ranges::find(state.caches, source->status().labels, &CacheStatus::labels) ==
            state.caches.end()) {
            state.caches.push_back(source->status());
        }
    }
    board.publish(std::move(state));
}

Clock::time_point Collector::nextDeadline() const {
    auto next = listDue;
    for (const auto& source : sources) {
        next = std::min(next, source->deadline());
    }
    return next;
}

/* Whether it is to go on. */
bool Collector::takeSignals(int signals) const {
    signalfd_siginfo signal;
    while (read(signals, &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo != SIGHUP) {
            return false;
        }
        say("a hang-up signal has come: there is nothing to read anew; to change something, start "
            "the exporter again");
    }
    return true;
}

void Collector::run(int signals) {
    std::vector<pollfd> descriptors;
    publishChanges();
    do {
        const auto now = Clock::now();
        look(now);
        for (const auto& source : sources) {
            source->advance(now);
        }
        forgetMissing(now);
        publishChanges();
        descriptors.assign({{signals, POLLIN, 0}, {list ? list->fd() : -1, POLLIN, 0}});
        for (const auto& source : sources) {
            descriptors.push_back({source->fd(), POLLIN, 0});
        }
        const auto next = nextDeadline();
        const auto left =
            next == Clock::time_point::max()
                ? -1
                : std::max<int64_t>(
                      std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count(), 0);
        poll(descriptors.data(), descriptors.size(),
             static_cast<int>(std::min<int64_t>(left, 60'000)));
        for (size_t i = 0; i < sources.size(); i++) {
            if (descriptors[i + 2].revents != 0) {
                sources[i]->readOn();
            }
        }
        if (descriptors[1].revents != 0) {
            readList();
        }
        publishChanges();
    } while (takeSignals(signals));
}

} // namespace exporter
