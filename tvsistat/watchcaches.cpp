#include "watch.h"

#include "cachewatch.h"
#include "discovery.h"
#include "output.h"
#include "stopsignal.h"
#include "targets.h"
#include "verdict.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <memory>

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

class Watcher {
public:
    explicit Watcher(const Request& asked) : request(asked) {}
    ExitStatus run();

private:
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
    std::unique_ptr<Recorder> recorder;
    std::unique_ptr<View> view;
    std::deque<Showing> showings; /* by watch; one that was dropped leaves its own */
    std::vector<std::unique_ptr<CacheWatch>> watches;
    std::vector<pollfd> descriptors; /* by watch; the last is standard output */
    std::vector<std::string> told;   /* failures */
    Deadline roundDeadline = noDeadline;
    Deadline nextScan = noDeadline;
    std::string text;
    int outputError = 0; /* errno of the first write that failed */
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

void Watcher::dropDoubles() {
    while (const auto at = findDouble(watches)) {
        watches[*at]->drop();
        watches.erase(watches.begin() + static_cast<std::ptrdiff_t>(*at));
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
    if (outputError == 0 && !text.empty()) {
        outputError =
            writeOut(text, [this] { return recorder ? recorder->advance() : noDeadline; });
    }
    text.clear();
    return outputError;
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
    auto found = findTargets(request);
    if (const auto* failure = std::get_if<Failure>(&found)) {
        complain(failure->sentence);
        return failure->status;
    }
    auto& targets = std::get<std::vector<Target>>(found);
    nextScan = request.takesAll && request.follows ? now() + scanPause : noDeadline;
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
    view->drainTo([this] { flush(); });
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
