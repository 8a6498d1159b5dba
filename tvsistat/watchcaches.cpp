#include "watch.h"

#include "cachewatch.h"
#include "discovery.h"
#include "output.h"
#include "stopsignal.h"
#include "verdict.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <memory>
#include <thread>

namespace tvsistat {
namespace {

using namespace std::chrono_literals;
using samples::ExitStatus;
using samples::Failure;
using Phase = CacheWatch::Phase;

/* How long the report of one cache waits for those of the others, so that they come in their order.
 */
constexpr auto roundPatience = 1s;
constexpr auto shortestPatience = 20ms;
/* With --follow and every cache: how often new ones are looked for. */
constexpr auto scanPause = 5s;

Deadline now() {
    return std::chrono::steady_clock::now();
}

/* Every cache of the host as a target, or why there is none. Waits as the request says. */
std::variant<std::vector<Target>, Failure> allTargets(const Request& request) {
    const Deadline start = now();
    for (bool saidSo = false;; saidSo = true) {
        auto found = samples::listCaches();
        if (auto* caches = std::get_if<samples::CacheListings>(&found)) {
            std::vector<Target> targets;
            for (auto& cache : *caches) {
                targets.push_back({false, std::move(cache.location)});
            }
            return targets;
        }
        auto& failure = std::get<Failure>(found);
        const bool waits =
            request.wait && failure.status == ExitStatus::NoCache &&
            (*request.wait == 0 || now() - start < std::chrono::duration<double>(*request.wait));
        if (!waits) {
            return std::move(failure);
        }
        if (!saidSo) {
            complain(failure.sentence + "; waiting for one");
        }
        std::this_thread::sleep_for(250ms);
    }
}

class Watcher {
public:
    explicit Watcher(const Request& asked) : request(asked) {}
    ExitStatus run();

private:
    std::optional<Failure> findTargets();
    void addNewCaches(Deadline moment);
    void add(Target target);
    bool isOver() const;
    Deadline nextDeadline() const;
    int wait();
    void readStreams();
    void dropDoubles();
    bool roundIsComplete() const;
    void showRound();
    int flush();
    void tellFailures();
    ExitStatus verdict(int error) const;

    const Request& request;
    std::vector<Target> targets;
    std::unique_ptr<Recorder> recorder;
    std::unique_ptr<View> view;
    std::deque<Showing> showings; /* by watch; one that was dropped leaves its own */
    std::vector<std::unique_ptr<CacheWatch>> watches;
    std::vector<pollfd> descriptors; /* by watch; the last is standard output */
    std::vector<std::string> told;   /* failures */
    Deadline roundDeadline = noDeadline;
    Deadline nextScan = noDeadline;
    std::string text;
    unsigned reports = 0;
};

void Watcher::add(Target target) {
    const auto sink = [this](const Event& event) { announce(request, *view, text, event); };
    watches.push_back(std::make_unique<CacheWatch>(request, showings.emplace_back(request, *view),
                                                   sink, std::move(target)));
    if (recorder) {
        watches.back()->recordTo(*recorder);
    }
}

std::optional<Failure> Watcher::findTargets() {
    targets = request.targets;
    if (!request.takesAll) {
        return std::nullopt;
    }
    auto all = allTargets(request);
    if (auto* failure = std::get_if<Failure>(&all)) {
        return std::move(*failure);
    }
    for (Target& target : std::get<std::vector<Target>>(all)) {
        if (std::ranges::find(targets, target) == targets.end()) {
            targets.push_back(std::move(target));
        }
    }
    nextScan = request.follows ? now() + scanPause : noDeadline;
    return std::nullopt;
}

/* A server that has come since is watched, too. */
void Watcher::addNewCaches(Deadline moment) {
    if (moment < nextScan) {
        return;
    }
    nextScan = moment + scanPause;
    const auto found = samples::listCaches(2s, [] { return stopSignal() != 0; });
    const auto* caches = std::get_if<samples::CacheListings>(&found);
    if (caches == nullptr) {
        return;
    }
    for (const auto& cache : *caches) {
        const bool isKnown = std::ranges::any_of(watches, [&](const auto& watch) {
            return watch->target() == Target{false, cache.location} ||
                   watch->showing().header().location == cache.location;
        });
        if (!isKnown) {
            add({false, cache.location});
            watches.back()->expectArrival();
        }
    }
}

bool Watcher::isOver() const {
    return nextScan == noDeadline && std::ranges::all_of(watches, [](const auto& watch) {
               return watch->phase() == Phase::Over && !watch->hasSample();
           });
}

Deadline Watcher::nextDeadline() const {
    Deadline next = std::min(roundDeadline, nextScan);
    next = recorder ? std::min(next, recorder->nextDeadline()) : next;
    for (const auto& watch : watches) {
        next = std::min(next, watch->nextDeadline());
    }
    return next;
}

/* Waits for streams, deadlines, a stop, or for whoever reads the output to leave. */
int Watcher::wait() {
    descriptors.clear();
    for (const auto& watch : watches) {
        const int descriptor = watch->hasSample() ? -1 : watch->fd();
        descriptors.push_back({descriptor, POLLIN, 0});
    }
    descriptors.push_back({STDOUT_FILENO, 0, 0});
    if (pollUntil(descriptors, nextDeadline()) < 0) {
        return errno;
    }
    return (descriptors.back().revents & POLLERR) != 0 ? EPIPE : 0;
}

void Watcher::readStreams() {
    const Deadline moment = now();
    for (size_t i = 0; i < watches.size(); i++) {
        CacheWatch& watch = *watches[i];
        if (i + 1 < descriptors.size() && descriptors[i].revents != 0) {
            watch.readOn();
        }
        watch.advance(moment);
    }
    dropDoubles();
}

/* Of two watches that turn out to have the same cache the second one goes, also when the first has
 * already shown all that was asked for. */
void Watcher::dropDoubles() {
    const auto hasCache = [](const CacheWatch& watch) {
        return watch.phase() == Phase::Running ||
               (watch.phase() == Phase::Over && !watch.failure());
    };
    for (size_t i = 1; i < watches.size(); i++) {
        const auto& header = watches[i]->showing().header();
        for (size_t j = 0; j < i && hasCache(*watches[i]); j++) {
            const auto& other = watches[j]->showing().header();
            if (hasCache(*watches[j]) && !header.location.empty() &&
                header.location == other.location && header.monitorPid == other.monitorPid) {
                watches[i]->drop();
                watches.erase(watches.begin() + static_cast<std::ptrdiff_t>(i));
                i--;
                break;
            }
        }
    }
}

bool Watcher::roundIsComplete() const {
    return std::ranges::none_of(watches, [](const auto& watch) {
        return !watch->hasSample() &&
               (watch->phase() == Phase::Starting || watch->phase() == Phase::Running);
    });
}

/* Shows the samples of a round, in the order of the caches, when all are there or time is up. */
void Watcher::showRound() {
    const bool hasAny =
        std::ranges::any_of(watches, [](const auto& watch) { return watch->hasSample(); });
    const Deadline moment = now();
    if (hasAny && roundDeadline == noDeadline) {
        const auto patience = std::chrono::duration_cast<Deadline::duration>(
            std::chrono::duration<double>(request.interval.value_or(4)) / 4);
        roundDeadline =
            moment + std::clamp<Deadline::duration>(patience, shortestPatience, roundPatience);
    }
    if (!hasAny || (!roundIsComplete() && moment < roundDeadline)) {
        return;
    }
    roundDeadline = noDeadline;
    for (const auto& watch : watches) {
        if (watch->hasSample()) {
            watch->showing().append(text);
            watch->release();
            reports++;
        }
    }
}

int Watcher::flush() {
    const int error = text.empty() ? 0 : writeOut(text);
    text.clear();
    return error;
}

/* Says at once, and once, why a cache is not watched any more. */
void Watcher::tellFailures() {
    for (const auto& watch : watches) {
        const auto& failure = watch->failure();
        if (failure && std::ranges::find(told, failure->sentence) == told.end()) {
            told.push_back(failure->sentence);
            complain(failure->sentence);
        }
    }
}

ExitStatus Watcher::verdict(int error) const {
    std::vector<WatchEnd> ends;
    for (const auto& watch : watches) {
        ends.push_back({watch->failure(), watch->showing().hasMatched()});
    }
    return verdictOf(ends, error);
}

ExitStatus Watcher::run() {
    if (const auto failure = findTargets()) {
        complain(failure->sentence);
        return failure->status;
    }
    catchStopSignals();
    if (request.recording) {
        auto opened = Recorder::open(*request.recording);
        if (const auto* failure = std::get_if<Failure>(&opened)) {
            complain(failure->sentence);
            return failure->status;
        }
        recorder = std::move(std::get<std::unique_ptr<Recorder>>(opened));
    }
    const bool mayComeMore = request.takesAll && request.follows;
    view = makeView(request, findSurroundings(request, targets.size() > 1 || mayComeMore));
    for (Target& target : targets) {
        add(std::move(target));
    }
    int error = 0;
    while (error == 0) {
        readStreams();
        showRound();
        error = flush();
        tellFailures();
        if (error == 0 && isOver()) {
            break;
        }
        if (error == 0) {
            error = wait();
        }
        if (error == 0 && recorder) {
            recorder->advance();
        }
        if (error == 0) {
            addNewCaches(now());
        }
    }
    recorder.reset(); /* what it has is written, whatever comes */
    if (error == EINTR && reports == 0) {
        watches.clear(); /* ends the readers */
        dieOfStopSignal();
    }
    return verdict(error);
}

} // namespace

ExitStatus watchCaches(const Request& request) {
    return Watcher(request).run();
}

} // namespace tvsistat
