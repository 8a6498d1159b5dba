#include "replayfeed.h"

#include "gaugeaverages.h"
#include "printable.h"
#include "replayrange.h"
#include "screenrecorder.h"
#include "targets.h"
#include "timetext.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <fmt/format.h>
#include <utility>

namespace tvsistat {
namespace {

using namespace std::chrono_literals;
using samples::ExitStatus;
using samples::Failure;
using samples::Message;
using samples::StreamEvent;
using Sample = ScreenGoal::Sample;
using Wish = ScreenModel::Wish;

/* What is read before a moment that is gone to, so that courses and rates are what they would be
 * had it been played: recorded time, and samples where these are far apart. */
constexpr int64_t leadNs = RecentSamples::spanNs + 2'000'000'000;
constexpr size_t leadSamples = 12;
constexpr double longestLead = 600; /* seconds, for samples at a long interval */
/* Keys are listened to at least that often while it reads. */
constexpr auto readingSlice = 40ms;
/* Recorded time without a message that isn't waited for. */
constexpr int64_t longestPauseNs = 20'000'000'000;
/* Marks that one key has set in several caches. */
constexpr int64_t sameMarkNs = 100'000'000;

Deadline now() {
    return std::chrono::steady_clock::now();
}

/* To two digits: 0.9993 is 1, 0.0204 is 0.02. */
double roundedTo2(double seconds) {
    double unit = 0.0001;
    while (unit * 99.5 <= seconds) {
        unit *= 10;
    }
    return std::round(seconds / unit) * unit;
}

std::chrono::nanoseconds nanoseconds(double ns) {
    return std::chrono::nanoseconds(static_cast<int64_t>(std::clamp(ns, 0.0, 1e18)));
}

class ReplayFeed final : public ScreenFeed {
public:
    ReplayFeed(Request& asked, ScreenModel& shown, std::unique_ptr<MessageSource> from)
        : request(asked), model(shown), source(std::move(from)), recorder(asked, shown) {}

    std::optional<Failure> begin();
    bool advance() override;
    void addDescriptors(std::vector<pollfd>& descriptors) const override;
    Deadline nextDeadline() const override;
    void obey(Wish wish) override;
    void tick() override {}
    std::optional<Failure> failure() const override;
    ExitStatus status() const override {
        return wasDamaged ? ExitStatus::DamagedInput : ExitStatus::Ok;
    }

private:
    /* A cache of the source. */
    struct Track {
        ScreenCache* screen = nullptr; /* null: not shown, or nothing is known of it yet */
        std::optional<samples::StreamHeader> announced; /* of the attach, until its first sample */
        std::deque<int64_t> sampleTimes; /* real, of those that were shown since the last jump */
        samples::Times last;             /* of the last one */
        std::optional<int64_t> cell;     /* of the interval's grid, that it was in */
        std::optional<samples::GaugeAverages> averages; /* of those passed over since */
        std::optional<uint32_t> recordedAs;

        void forget() {
            announced.reset();
            sampleTimes.clear();
            last = {};
            cell.reset();
            averages.reset();
        }
    };
    /* What the events of a cache tell so far. */
    struct Story {
        int32_t monitor = 0; /* process id of the last one */
        bool isThere = false;
    };
    /* A piece of the source that is read on the way to a moment. */
    struct Stretch {
        int64_t fromNs, untilNs;
    };
    /* A moment here and the recorded one that is shown then. */
    struct Pace {
        Deadline moment;
        int64_t realNs;
        double speed;
    };

    ScreenReplay& replay() { return *model.replay; }
    const ScreenReplay& replay() const { return *model.replay; }
    bool isChosen(const samples::StreamHeader& header) const {
        return request.takesAll || request.targets.empty() ||
               placeAmong(request.targets, header) < request.targets.size();
    }
    Track& trackOf(size_t cache);
    void meet(Track& track, const samples::StreamHeader& header);
    const Track* currentTrack() const;

    void wantTo(ScreenGoal goal);
    void goToTyped();
    void goTo(ScreenGoal goal);
    int64_t leadOf(int64_t realNs);
    std::vector<Stretch> lossesBefore(int64_t realNs);
    void step(int64_t samples);
    void stepBack(size_t samples);
    void arrive();
    bool readSome();
    bool readUntil(int64_t realNs, Deadline limit);
    bool fetch();
    void readPipe();
    Deadline dueOfAhead() const;
    void play();
    void noteEnd();
    void noteBeginning();
    void mark();

    void take(SourceMessage message);
    void takeSample(Track& track, samples::Sample sample);
    void record(Track& track, const Message& message);
    void tellDamage();
    void findSpan();
    void findEvents();
    void tellEvent(size_t cache, const StreamEvent& event);

    Request& request;
    ScreenModel& model;
    std::unique_ptr<MessageSource> source;
    ScreenRecorder recorder; /* of a stream */
    ReplayRange range;
    std::vector<Track> tracks;  /* by the source's cache */
    std::vector<Story> stories; /* so, too */
    /* By the model's cache: in the order in which they were asked for, or of their locations. */
    std::vector<std::pair<size_t, std::string>> order;
    std::optional<SourceMessage> ahead;
    std::optional<ScreenGoal> wanted; /* by keys, and so are the steps */
    int64_t wantedSteps = 0;
    std::deque<Stretch> stretches;    /* on the way to goalNs */
    std::optional<int64_t> goalNs;    /* INT64_MAX: as far as the steps go */
    int64_t stepsLeft = 0;            /* samples of the current cache */
    std::optional<int64_t> returnsTo; /* when there is no sample of it at the goal */
    size_t samplesWanted = 0;         /* of it at the goal: else the next ones are taken, too */
    std::optional<Pace> pace;
    int64_t newestEventNs = INT64_MIN;
    bool hasEvents = false;      /* all that were recorded so far are in the log */
    bool isOpening = true;       /* until the first picture */
    std::optional<Failure> lost; /* why a stream has no samples */
    bool wasDamaged = false;
    bool isStale = true;
};

/* ---- caches ---- */

ReplayFeed::Track& ReplayFeed::trackOf(size_t cache) {
    if (cache >= tracks.size()) {
        tracks.resize(cache + 1);
        stories.resize(cache + 1);
    }
    return tracks[cache];
}

/* An attach that failed knows no monitor, and is no cache to be shown. */
void ReplayFeed::meet(Track& track, const samples::StreamHeader& header) {
    if (track.screen != nullptr || !isChosen(header)) {
        return;
    }
    const std::pair asked(placeAmong(request.targets, header), header.location);
    const auto at = std::ranges::upper_bound(order, asked);
    const auto place = static_cast<size_t>(at - order.begin());
    order.insert(at, asked);
    track.screen = &model.addCache(cacheTitle(header), place);
    track.screen->showing.begin(header);
    isStale = true;
}

const ReplayFeed::Track* ReplayFeed::currentTrack() const {
    const auto found = std::ranges::find_if(tracks, [&](const Track& track) {
        return track.screen != nullptr && !model.caches.empty() && track.screen == &model.cache();
    });
    return found == tracks.end() ? nullptr : &*found;
}

/* ---- opening ---- */

std::optional<Failure> ReplayFeed::begin() {
    model.replay.emplace();
    replay().canSeek = source->canSeek();
    replay().speed = source->canSeek() && request.speed == 0 ? 1 : request.speed;
    replay().isPlaying = !source->canSeek() || request.speed != 0;
    if (!source->canSeek()) {
        if (request.start || request.end) {
            return Failure{ExitStatus::Usage,
                           "--start and --end are not for a stream that comes through a pipe into "
                           "the live screen: put it into a file"};
        }
        return recorder.openAsked();
    }
    if (request.recording) {
        return Failure{ExitStatus::Usage,
                       "--write copies what is read without -i: on the screen one moves about in "
                       "it"};
    }
    auto found = rangeOf(request, *source, std::nullopt);
    if (auto* failure = std::get_if<Failure>(&found)) {
        return std::move(*failure);
    }
    range = std::get<ReplayRange>(found);
    findSpan();
    if (!source->sampleAfter(replay().firstNs)) {
        const auto damage = source->takeDamage();
        return damage.empty()
                   ? Failure{ExitStatus::NoMatch,
                             "nothing was recorded" + wordsFor(range, request.layout.isUtc)}
                   : Failure{ExitStatus::DamagedInput, damage[0]};
    }
    if (!request.targets.empty()) {
        findEvents(); /* after which all caches are known */
        const auto caches = source->caches();
        if (std::ranges::none_of(caches, [&](const auto& header) { return isChosen(header); })) {
            std::string names;
            for (const auto& header : caches) {
                names += (names.empty() ? "" : ", ") + cacheTitle(header);
            }
            return Failure{ExitStatus::NoCache,
                           fmt::format("{} is not in the recording, which has {}",
                                       request.targets[0].title(), names.empty() ? "none" : names)};
        }
    }
    wantTo({replay().firstNs, Sample::After});
    return std::nullopt;
}

/* What there is to be shown: more than before while it is still being recorded. */
void ReplayFeed::findSpan() {
    if (const auto span = source->span()) {
        replay().firstNs = std::max(span->firstNs, range.startNs);
        replay().lastNs = std::max(std::min(span->lastNs, range.endNs), replay().firstNs);
    }
}

std::optional<Failure> ReplayFeed::failure() const {
    return replay().isAtEnd && model.caches.empty() ? lost : std::nullopt;
}

/* ---- events ---- */

/* The places to jump to. Asked for when something is shown already: it may take a pass. */
void ReplayFeed::findEvents() {
    hasEvents = true;
    if (source->caches().empty()) {
        fetch(); /* with its first message a stream says what it is of */
    }
    for (const Landmark& landmark : source->landmarks()) {
        const int64_t realNs = landmark.event.times.realNs;
        if (realNs >= range.startNs && realNs <= range.endNs) {
            tellEvent(landmark.cache, landmark.event);
        }
    }
    tellDamage();
}

/* Says of an attach, a loss or a mark what is news: not that a cache that is away was tried, nor
 * that another reader took over. */
void ReplayFeed::tellEvent(size_t cache, const StreamEvent& event) {
    if (event.times.realNs <= newestEventNs || cache >= source->caches().size()) {
        return;
    }
    newestEventNs = event.times.realNs;
    trackOf(cache);
    const samples::StreamHeader& header = source->caches()[cache];
    if (!isChosen(header)) {
        return;
    }
    Story& story = stories[cache];
    const std::string title = cacheTitle(header);
    const auto tell = [&](ScreenEvent::Kind kind, std::string text) {
        const bool isOfOne = kind != ScreenEvent::Kind::Mark;
        model.insert({event.times.realNs, std::move(text), kind, isOfOne ? title : ""});
        isStale = true;
    };
    const bool isOther = event.monitorPid != story.monitor;
    switch (event.kind) {
    case StreamEvent::Kind::Attached:
        if (event.monitorPid != 0 && (!story.isThere || isOther)) {
            tell(ScreenEvent::Kind::There,
                 story.monitor == 0
                     ? fmt::format("{}: monitor {}", title, event.monitorPid)
                     : fmt::format("{} is back: monitor {}{}", title, event.monitorPid,
                                   isOther
                                       ? fmt::format("; it was {}: rates begin anew", story.monitor)
                                       : ""));
            story = {event.monitorPid, true};
        }
        break;
    case StreamEvent::Kind::Lost:
        if (std::exchange(story.isThere, false)) {
            tell(ScreenEvent::Kind::Gone, "GONE: " + samples::printable(event.text));
        }
        break;
    case StreamEvent::Kind::Mark: {
        const auto isSame = [&](const ScreenEvent& other) {
            return other.kind == ScreenEvent::Kind::Mark &&
                   event.times.realNs - other.realNs < sameMarkNs &&
                   other.text == "mark: " + samples::printable(event.text);
        };
        if (std::ranges::none_of(model.events, isSame)) {
            tell(ScreenEvent::Kind::Mark, "mark: " + samples::printable(event.text));
        }
        break;
    }
    case StreamEvent::Kind::Ended:
        break;
    }
}

void ReplayFeed::tellDamage() {
    for (const std::string& sentence : source->takeDamage()) {
        model.note(std::max(replay().atNs, replay().firstNs), sentence);
        model.isMessageProblem = true;
        wasDamaged = true;
        isStale = true;
    }
}

/* ---- messages ---- */

void ReplayFeed::record(Track& track, const Message& message) {
    if (recorder.sink() == nullptr) {
        track.recordedAs.reset();
        return;
    }
    if (!track.recordedAs) {
        track.recordedAs = recorder.sink()->newCache();
        if (!std::holds_alternative<samples::StreamHeader>(message) && track.screen != nullptr) {
            recorder.sink()->take(*track.recordedAs, track.screen->showing.header());
        }
    }
    recorder.sink()->take(*track.recordedAs, message);
}

void ReplayFeed::take(SourceMessage message) {
    Track& track = trackOf(message.cache);
    const samples::Times times = samples::timesOf(message.message);
    record(track, message.message);
    if (!replay().canSeek || hasEvents) {
        if (const auto event = samples::eventOf(message.message)) {
            tellEvent(message.cache, *event);
        }
    }
    if (!goalNs) {
        replay().atNs = std::max(replay().atNs, times.realNs);
        isStale = true;
    }
    if (auto* sample = std::get_if<samples::Sample>(&message.message)) {
        if (track.announced) {
            meet(track, *track.announced);
        }
        takeSample(track, std::move(*sample));
        return;
    }
    const auto* gone = std::get_if<samples::Lost>(&message.message);
    if (auto* header = std::get_if<samples::StreamHeader>(&message.message)) {
        if (header->monitorPid != 0) {
            meet(track, *header);
        }
        track.announced = std::move(*header);
    } else if (track.screen == nullptr && gone != nullptr) {
        lost = Failure{samples::exitStatusOf(gone->status).value_or(ExitStatus::Failure),
                       samples::printable(gone->sentence)};
    } else if (track.screen != nullptr) {
        ScreenCache& cache = *track.screen;
        if (gone != nullptr) {
            const std::string sentence = samples::printable(gone->sentence);
            if (cache.showing.taken().isEmpty()) {
                cache.waitingFor = sentence;
            } else if (cache.goneNs == 0) {
                model.lose(cache, times.realNs, sentence);
            }
        } else if (const auto* notice = std::get_if<samples::Notice>(&message.message)) {
            model.insert({times.realNs, samples::printable(notice->text)});
        }
    }
}

/* An interval is a grid on the clock, so that the same samples are shown whatever was read before:
 * the first one of each cell. */
void ReplayFeed::takeSample(Track& track, samples::Sample sample) {
    if (track.screen == nullptr) {
        source->recycle(std::move(sample));
        return;
    }
    const samples::Times times = sample.times;
    const auto stepNs = static_cast<int64_t>(request.interval.value_or(0) * 1e9);
    if (replay().canSeek && stepNs > 0) {
        if (!track.averages) {
            track.averages.emplace(request.annotations);
        }
        const int64_t cell = times.realNs / stepNs;
        const bool isPassed = std::exchange(track.cell, cell) == cell;
        track.averages->add(sample);
        if (isPassed) {
            source->recycle(std::move(sample));
            return;
        }
        track.averages->applyTo(sample);
        track.averages->clear();
    }
    ScreenCache& cache = *track.screen;
    if (track.announced) {
        cache.showing.begin(*std::exchange(track.announced, std::nullopt));
    }
    if (!track.sampleTimes.empty() && times.monotonicNs > track.last.monotonicNs) {
        const double seconds =
            static_cast<double>(times.monotonicNs - track.last.monotonicNs) / 1e9;
        const double before = replay().distance;
        /* Of what was recorded, the closest distance counts: there are pauses, too. */
        if (!request.interval && (before == 0 || seconds < before * 0.9 || !replay().canSeek)) {
            replay().distance = roundedTo2(seconds);
        }
    }
    track.last = times;
    track.sampleTimes.push_back(times.realNs);
    if (track.sampleTimes.size() > 4096) {
        track.sampleTimes.pop_front();
    }
    cache.showing.take(std::move(sample), *source);
    model.sampleTaken(cache);
    if (stepsLeft > 0 && &cache == &model.cache()) {
        stepsLeft--;
    }
}

/* ---- reading ---- */

/* Whether there is a message ahead. */
bool ReplayFeed::fetch() {
    if (!ahead) {
        ahead = source->next();
        tellDamage();
    }
    return ahead && samples::timesOf(ahead->message).realNs <= range.endNs;
}

/* Takes all up to that moment, and further while steps are left. False when the limit came first.
 */
bool ReplayFeed::readUntil(int64_t realNs, Deadline limit) {
    while (fetch()) {
        if (samples::timesOf(ahead->message).realNs > realNs) {
            return true;
        }
        take(*std::exchange(ahead, std::nullopt));
        if (stepsLeft == 0 && realNs == INT64_MAX) {
            return true;
        }
        if (now() >= limit) {
            return false;
        }
    }
    return true;
}

/* Reads on to the moment that is gone to. True when there is something new to be seen. */
bool ReplayFeed::readSome() {
    const Deadline limit = now() + readingSlice;
    while (!stretches.empty()) {
        Stretch& next = stretches.front();
        if (next.fromNs != INT64_MIN) {
            source->seek(std::exchange(next.fromNs, INT64_MIN));
            ahead.reset();
        }
        if (!readUntil(next.untilNs, limit)) {
            return !std::exchange(replay().isReading, true);
        }
        stretches.pop_front();
    }
    arrive();
    return true;
}

/* The moment is reached. */
void ReplayFeed::arrive() {
    int64_t atNs = *std::exchange(goalNs, std::nullopt);
    const Track* own = currentTrack();
    if (atNs == INT64_MAX) {
        const int64_t lastNs = own != nullptr ? own->last.realNs : 0;
        atNs = std::max(replay().atNs, stepsLeft > 0 ? replay().lastNs : lastNs);
    }
    if (isOpening) {
        model.current = 0; /* whichever was first */
        own = currentTrack();
    }
    replay().isReading = false;
    replay().atNs = atNs;
    replay().isAtEnd = !fetch();
    if (atNs > replay().lastNs) {
        findSpan();
    }
    const bool lacksSamples =
        own != nullptr && own->screen->goneNs == 0 && own->sampleTimes.size() < samplesWanted;
    const auto backNs = std::exchange(returnsTo, std::nullopt);
    if (std::exchange(stepsLeft, 0) > 0) {
        noteEnd();
    } else if (backNs && lacksSamples) {
        noteBeginning();
        wanted = {*backNs, Sample::Any};
    } else if (lacksSamples && !replay().isAtEnd) {
        wantedSteps += static_cast<int64_t>(samplesWanted - own->sampleTimes.size());
    } else {
        isOpening = false;
        samplesWanted = 0;
    }
    pace.reset();
    for (const Track& track : tracks) {
        if (track.screen != nullptr) {
            model.tick(*track.screen, track.last.monotonicNs + atNs - track.last.realNs);
        }
    }
}

/* From where on what comes before a moment is read. */
int64_t ReplayFeed::leadOf(int64_t realNs) {
    const double interval = request.interval.value_or(0);
    const double seconds = std::max(std::min(10 * interval, longestLead), 2.2 * interval);
    int64_t from = realNs - std::max(leadNs, static_cast<int64_t>(seconds * 1e9));
    const size_t caches = std::max<size_t>(source->caches().size(), 1);
    if (const auto before = source->sampleBefore(realNs, leadSamples * caches)) {
        from = std::min(from, *before);
    }
    return from;
}

/* Caches that were away by that time are shown as they were when they went. */
std::vector<ReplayFeed::Stretch> ReplayFeed::lossesBefore(int64_t realNs) {
    std::vector<Stretch> losses;
    for (const auto& header : source->caches()) {
        const ScreenEvent* last = nullptr;
        for (const ScreenEvent& event : model.events) {
            if (event.realNs <= realNs && event.cache == cacheTitle(header)) {
                last = &event;
            }
        }
        if (last != nullptr && last->kind == ScreenEvent::Kind::Gone) {
            losses.push_back({leadOf(last->realNs), last->realNs});
        }
    }
    std::ranges::sort(losses, {}, &Stretch::fromNs);
    return losses;
}

/* Sets out to a moment: forgets what is known, and has what comes before it read. */
void ReplayFeed::goTo(ScreenGoal goal) {
    int64_t atNs = goal.realNs;
    if (goal.sample == Sample::After) {
        const auto after = source->sampleAfter(atNs);
        const bool isWithin = after && *after <= range.endNs;
        atNs = isWithin ? *after : source->sampleBefore(atNs).value_or(atNs);
    } else if (goal.sample == Sample::Before) {
        const auto before = source->sampleBefore(atNs + 1);
        const bool isWithin = before && *before >= range.startNs;
        atNs = isWithin ? *before : source->sampleAfter(atNs).value_or(atNs);
    }
    const int64_t from = leadOf(atNs);
    const auto losses = lossesBefore(from);
    stretches.assign(losses.begin(), losses.end());
    stretches.push_back({from, atNs});
    stepsLeft = 0;
    /* Of several caches that were attached together, one is the first; at the very beginning it
     * takes two samples to show rates. */
    samplesWanted = isOpening ? 2 : 1;
    model.forgetSamples();
    for (Track& track : tracks) {
        track.forget();
    }
    goalNs = replay().atNs = atNs;
    tellDamage();
}

void ReplayFeed::wantTo(ScreenGoal goal) {
    if (goal.realNs >= replay().lastNs) {
        const bool wantsEnd = goal.realNs == replay().lastNs;
        findSpan(); /* it may have grown */
        goal.realNs = wantsEnd ? replay().lastNs : goal.realNs;
    }
    wanted = goal;
    wantedSteps = 0;
    replay().atNs = goal.realNs;
    replay().isAtEnd = false;
}

void ReplayFeed::goToTyped() {
    const auto moment = GivenMoment::parse(model.answer);
    model.isMessageProblem = true;
    if (!moment) {
        model.message = fmt::format("'{}' is no time: 10:00, yesterday 23:50, 2026-11-23 10:00, or "
                                    "2h30m for so long ago",
                                    model.answer);
        return;
    }
    const int64_t realNs = moment->resolve(
        Edge::Start, {realNow(), replay().firstNs, replay().lastNs, {}, request.layout.isUtc});
    if (realNs < replay().firstNs || realNs > replay().lastNs) {
        std::string text;
        TimeText(request.layout.isUtc).append(text, realNs, 0);
        model.message = fmt::format("{} is {} what was recorded", text,
                                    realNs < replay().firstNs ? "before" : "after");
        return;
    }
    model.isMessageProblem = false;
    replay().event.reset();
    wantTo({realNs, Sample::After});
}

/* ---- steps and playing ---- */

void ReplayFeed::step(int64_t samples) {
    if (samples < 0) {
        stepBack(static_cast<size_t>(-samples));
        return;
    }
    stepsLeft = samples;
    stretches = {{INT64_MIN, INT64_MAX}};
    goalNs = INT64_MAX;
}

/* Samples of the current cache; where those that were read don't reach, of whichever. */
void ReplayFeed::stepBack(size_t samples) {
    const Track* own = currentTrack();
    const std::deque<int64_t> none;
    const auto& times = own != nullptr ? own->sampleTimes : none;
    const bool isGone = own == nullptr || own->screen->goneNs != 0 || times.empty();
    const int64_t shownNs = isGone ? replay().atNs : times.back();
    const auto earlier =
        static_cast<size_t>(std::ranges::lower_bound(times, shownNs) - times.begin());
    std::optional<int64_t> target;
    if (earlier >= samples) {
        target = times[earlier - samples];
    } else {
        target = source->sampleBefore(earlier > 0 ? times.front() : shownNs, samples - earlier);
        target = !target && earlier > 0 ? times.front() : target;
    }
    if (!target || *target < range.startNs) {
        noteBeginning();
        return;
    }
    returnsTo = earlier >= samples ? std::nullopt : std::optional(replay().atNs);
    goTo({*target, Sample::Any});
}

/* When the message ahead is to be shown. */
Deadline ReplayFeed::dueOfAhead() const {
    if (!pace || !ahead || replay().speed == 0) {
        return now();
    }
    const int64_t realNs = samples::timesOf(ahead->message).realNs;
    return pace->moment + nanoseconds(static_cast<double>(realNs - pace->realNs) / pace->speed);
}

void ReplayFeed::play() {
    if (!pace || pace->speed != replay().speed) {
        pace = {now(), replay().atNs, replay().speed};
    }
    const auto passed = std::chrono::duration<double, std::nano>(now() - pace->moment).count();
    const auto untilNs = pace->realNs + static_cast<int64_t>(passed * pace->speed);
    if (!readUntil(untilNs, now() + readingSlice)) {
        pace.reset(); /* that fast it can't be read: from here on anew */
        return;
    }
    if (!fetch()) {
        replay().isPlaying = false;
        noteEnd();
        return;
    }
    const int64_t nextNs = samples::timesOf(ahead->message).realNs;
    const auto pauseNs = std::max(longestPauseNs, static_cast<int64_t>(3e9 * model.interval()));
    if (nextNs - replay().atNs > pauseNs) {
        TimeText times(request.layout.isUtc);
        std::string from;
        times.appendShort(from, replay().atNs / 1'000'000'000, nextNs);
        std::string until;
        times.appendShort(until, nextNs / 1'000'000'000, nextNs);
        model.message = fmt::format("nothing was recorded from {} to {}: passed over", from, until);
        isStale = true;
        pace = {now(), nextNs, replay().speed};
    }
}

void ReplayFeed::noteBeginning() {
    model.message = "there is no earlier sample of this cache";
    isStale = true;
}

void ReplayFeed::noteEnd() {
    isStale = isStale || !replay().isAtEnd;
    replay().isAtEnd = true;
    model.message = source->canSeek() ? "this is the end of what was recorded"
                                      : "the stream has come to its end";
}

/* Takes what has come, at the speed that was asked for. */
void ReplayFeed::readPipe() {
    const Deadline limit = now() + readingSlice;
    while (now() < limit) {
        if (fetch()) {
            pace =
                pace ? pace : Pace{now(), samples::timesOf(ahead->message).realNs, replay().speed};
            if (now() < dueOfAhead()) {
                return;
            }
            take(*std::exchange(ahead, std::nullopt));
            continue;
        }
        if (source->isOver()) {
            if (!replay().isAtEnd) {
                noteEnd();
                lost = lost         ? lost
                       : wasDamaged ? Failure{ExitStatus::DamagedInput, model.events.back().text}
                                    : Failure{ExitStatus::NoMatch, "the stream has no sample"};
            }
            return;
        }
        pollfd readable{source->fd(), POLLIN, 0};
        if (poll(&readable, 1, 0) <= 0) {
            return;
        }
        source->readOn();
    }
}

bool ReplayFeed::advance() {
    isStale = recorder.advance() || isStale;
    if (!source->canSeek()) {
        readPipe();
        return std::exchange(isStale, false);
    }
    if (wanted) {
        goTo(*std::exchange(wanted, std::nullopt));
    } else if (!goalNs && wantedSteps != 0) {
        step(std::exchange(wantedSteps, 0));
    }
    if (goalNs) {
        isStale = readSome() || isStale;
    } else if (!hasEvents) {
        findEvents();
    } else if (replay().isPlaying) {
        play();
    }
    return std::exchange(isStale, false);
}

void ReplayFeed::addDescriptors(std::vector<pollfd>& descriptors) const {
    if (!source->canSeek() && !source->isOver() && !ahead) {
        descriptors.push_back({source->fd(), POLLIN, 0});
    }
}

Deadline ReplayFeed::nextDeadline() const {
    Deadline next = recorder.nextDeadline();
    if (!source->canSeek()) {
        return ahead ? std::min(next, dueOfAhead()) : next;
    }
    if (wanted || goalNs || wantedSteps != 0 || !hasEvents) {
        return now();
    }
    return replay().isPlaying ? std::min(next, dueOfAhead()) : next;
}

void ReplayFeed::mark() {
    for (Track& track : tracks) {
        if (recorder.sink() != nullptr && track.screen != nullptr && track.last.realNs != 0) {
            record(track, samples::Mark{model.answer, track.last});
        }
    }
    model.note(replay().atNs, "mark: " + model.answer);
}

void ReplayFeed::obey(Wish wish) {
    switch (wish) {
    case Wish::SampleBack:
    case Wish::SampleForward:
        wantedSteps += wish == Wish::SampleBack ? -1 : 1;
        replay().isAtEnd = false;
        break;
    case Wish::GoTo:
        wantTo(model.goal);
        break;
    case Wish::GoToTyped:
        goToTyped();
        break;
    case Wish::Interval:
        wantTo({replay().atNs, Sample::Any});
        break;
    case Wish::Record:
        recorder.toggle();
        break;
    case Wish::Mark:
        mark();
        break;
    default:
        break;
    }
}

} // namespace

std::variant<std::unique_ptr<ScreenFeed>, Failure>
openReplayFeed(Request& request, ScreenModel& model, std::unique_ptr<MessageSource> source) {
    auto feed = std::make_unique<ReplayFeed>(request, model, std::move(source));
    if (auto failure = feed->begin()) {
        return std::move(*failure);
    }
    return feed;
}

} // namespace tvsistat
