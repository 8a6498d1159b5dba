#include "livefeed.h"

#include "cachewatch.h"
#include "discovery.h"
#include "screenrecorder.h"
#include "targets.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <unistd.h>
#include <utility>

namespace tvsistat {
namespace {

using namespace std::chrono_literals;
using samples::Failure;
using Phase = CacheWatch::Phase;

constexpr auto listingPause = 5s;
constexpr size_t mostListed = size_t{4} << 20; /* bytes */

Deadline now() {
    return std::chrono::steady_clock::now();
}

class LiveFeed final : public ScreenFeed {
public:
    LiveFeed(const Request& asked, ScreenModel& shown);

    std::optional<Failure> begin(std::vector<Target> targets);
    bool advance() override;
    void addDescriptors(std::vector<pollfd>& descriptors) const override;
    Deadline nextDeadline() const override;
    void obey(ScreenModel::Wish wish) override;
    void tick() override { model.tick(samples::currentTimes().monotonicNs); }
    std::optional<Failure> failure() const override;

private:
    void add(Target target);
    void takeSamples(size_t at);
    void dropDoubles();
    void noteFailures();
    void connectRecorder();
    void mark();
    void startListing();
    void readListing();
    void addNewCaches(const samples::CacheListings& found);

    const Request& request;
    ScreenModel& model;
    ScreenRecorder recorder;
    std::vector<std::unique_ptr<CacheWatch>> watches;
    std::vector<ScreenCache*> screens;             /* by watch */
    std::vector<bool> isTold;                      /* by watch: that it is over */
    std::optional<samples::ReaderProcess> listing; /* of the caches of the host */
    std::string listed;
    Deadline nextListing = noDeadline;
    bool isStale = false; /* the picture */
};

LiveFeed::LiveFeed(const Request& asked, ScreenModel& shown)
    : request(asked), model(shown), recorder(asked, shown) {
    recorder.onChange = [this] { connectRecorder(); };
}

std::optional<Failure> LiveFeed::begin(std::vector<Target> targets) {
    if (auto failure = recorder.openAsked()) {
        return failure;
    }
    for (Target& target : targets) {
        add(std::move(target));
    }
    nextListing = request.takesAll ? now() + listingPause : noDeadline;
    return std::nullopt;
}

void LiveFeed::add(Target target) {
    ScreenCache& cache = model.addCache(target.title());
    cache.waitingFor = target.title() + ": attaching it";
    const auto sink = [this, &cache](const Event& event) {
        model.happened(cache, event);
        isStale = true;
    };
    watches.push_back(
        std::make_unique<CacheWatch>(request, cache.showing, sink, std::move(target)));
    if (recorder.sink() != nullptr) {
        watches.back()->recordTo(*recorder.sink());
    }
    screens.push_back(&cache);
    isTold.push_back(false);
}

void LiveFeed::addDescriptors(std::vector<pollfd>& descriptors) const {
    for (const auto& watch : watches) {
        descriptors.push_back({watch->fd(), POLLIN, 0});
        descriptors.push_back({watch->successorFd(), POLLIN, 0});
    }
    descriptors.push_back({listing ? listing->fd() : -1, POLLIN, 0});
}

Deadline LiveFeed::nextDeadline() const {
    Deadline next = std::min(listing ? noDeadline : nextListing, recorder.nextDeadline());
    for (const auto& watch : watches) {
        next = std::min(next, watch->nextDeadline());
    }
    return next;
}

/* Samples that have come, one after the other: each is part of the courses. */
void LiveFeed::takeSamples(size_t at) {
    CacheWatch& watch = *watches[at];
    watch.readOn();
    while (watch.hasSample()) {
        model.sampleTaken(*screens[at]);
        isStale = true;
        watch.release();
        watch.readOn();
    }
}

bool LiveFeed::advance() {
    const Deadline moment = now();
    for (size_t i = 0; i < watches.size(); i++) {
        takeSamples(i);
        watches[i]->advance(moment);
    }
    dropDoubles();
    noteFailures();
    isStale = recorder.advance() || isStale;
    if (listing) {
        readListing();
    } else if (moment >= nextListing) {
        startListing();
    }
    return std::exchange(isStale, false);
}

void LiveFeed::dropDoubles() {
    while (const auto found = findDouble(watches)) {
        const auto at = static_cast<std::ptrdiff_t>(*found);
        watches[*found]->drop();
        model.dropCache(*screens[*found]);
        watches.erase(watches.begin() + at);
        screens.erase(screens.begin() + at);
        isTold.erase(isTold.begin() + at);
        isStale = true;
    }
}

/* A watch that is over says why, once, in place of its figures. */
void LiveFeed::noteFailures() {
    for (size_t i = 0; i < watches.size(); i++) {
        const auto& failure = watches[i]->failure();
        if (!failure || isTold[i]) {
            continue;
        }
        isTold[i] = true;
        isStale = true;
        const bool hadSample = !watches[i]->showing().taken().isEmpty();
        model.happened(*screens[i], {hadSample ? Event::Kind::Gone : Event::Kind::Waiting,
                                     watches[i]->showing().header(), samples::currentTimes(),
                                     failure->status, failure->sentence});
    }
}

/* When nothing could be attached at all, there is nothing to show. */
std::optional<Failure> LiveFeed::failure() const {
    const bool isNone = !watches.empty() && std::ranges::all_of(watches, [](const auto& watch) {
        return watch->phase() == Phase::Over && watch->showing().taken().isEmpty();
    });
    return isNone ? watches[0]->failure() : std::nullopt;
}

void LiveFeed::obey(ScreenModel::Wish wish) {
    switch (wish) {
    case ScreenModel::Wish::Interval:
        for (const auto& watch : watches) {
            watch->changeInterval();
        }
        break;
    case ScreenModel::Wish::Record:
        recorder.toggle();
        break;
    case ScreenModel::Wish::Mark:
        mark();
        break;
    default:
        break;
    }
}

void LiveFeed::connectRecorder() {
    for (const auto& watch : watches) {
        if (recorder.sink() != nullptr) {
            watch->recordTo(*recorder.sink());
        } else {
            watch->stopRecording();
        }
    }
}

void LiveFeed::mark() {
    for (const auto& watch : watches) {
        watch->mark(model.answer);
    }
    model.note(realNow(), "mark: " + model.answer);
}

/* With every cache: those that have come since join. Listing them is another program's work, which
 * nobody waits for. */
void LiveFeed::startListing() {
    nextListing = now() + listingPause;
    auto started = samples::ReaderProcess::start({"--list"}, -1);
    if (auto* reader = std::get_if<samples::ReaderProcess>(&started)) {
        listing = std::move(*reader);
        listed.clear();
    }
}

void LiveFeed::readListing() {
    std::array<char, 4096> piece;
    while (listing) {
        const ssize_t got = read(listing->fd(), piece.data(), piece.size());
        if (got > 0 && listed.size() < mostListed) {
            listed.append(piece.data(), static_cast<size_t>(got));
        } else if (got < 0 && errno == EAGAIN) {
            return;
        } else if (got >= 0 || errno != EINTR) {
            listing.reset();
            const auto found = samples::parseListing(listed);
            if (const auto* caches = std::get_if<samples::CacheListings>(&found)) {
                addNewCaches(*caches);
            }
        }
    }
}

void LiveFeed::addNewCaches(const samples::CacheListings& found) {
    for (const auto& cache : found) {
        const bool isKnown = std::ranges::any_of(watches, [&](const auto& watch) {
            return watch->target() == Target{false, cache.location} ||
                   watch->showing().header().location == cache.location;
        });
        if (!isKnown && cache.isReadable) {
            model.note(realNow(), "cache " + cache.location + " has appeared");
            add({false, cache.location});
        }
    }
}

} // namespace

std::variant<std::unique_ptr<ScreenFeed>, Failure> openLiveFeed(const Request& request,
                                                                ScreenModel& model) {
    auto found = findTargets(request);
    if (auto* failure = std::get_if<Failure>(&found)) {
        return std::move(*failure);
    }
    auto feed = std::make_unique<LiveFeed>(request, model);
    if (auto failure = feed->begin(std::move(std::get<std::vector<Target>>(found)))) {
        return std::move(*failure);
    }
    return feed;
}

} // namespace tvsistat
