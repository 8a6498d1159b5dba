#include "gaugeaverages.h"
#include "messagesource.h"
#include "output.h"
#include "printable.h"
#include "recorder.h"
#include "replayrange.h"
#include "showing.h"
#include "stopsignal.h"
#include "streamexport.h"
#include "streamfile.h"
#include "targets.h"
#include "verdict.h"
#include "watch.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <fmt/format.h>
#include <map>
#include <tuple>
#include <unistd.h>

namespace tvsistat {
namespace {

using samples::ExitStatus;
using samples::Failure;

/* Recorded time after the last report in which a further cache may still begin: an attach takes up
 * to four seconds. */
constexpr int64_t attachPatienceNs = 10'000'000'000;
constexpr size_t mostAhead = 256; /* messages */
constexpr double longestWaitNs = 1e18;

/* One cache of the source, and the reports on it. */
class InputWatch {
public:
    InputWatch(const Request& asked, View& shownBy, bool fromRecording)
        : request(asked), view(shownBy), shown(asked, shownBy), averages(asked.annotations),
          isRecording(fromRecording) {}

    /* Takes a message that is no sample; appends what a view shows of it. */
    void take(std::string& text, const samples::Message& message);
    /* Takes a sample, or passes over it. */
    void take(std::string& text, samples::Sample sample, MessageSource& source);

    /* A sample has come that is not shown yet. */
    bool hasSample() const { return pending; }
    /* Further samples are expected. */
    bool isRunning() const { return !lost && !hasEnded && !isEnough(); }
    bool isEnough() const {
        return request.count != 0 && shown.numReports() >= static_cast<unsigned>(request.count);
    }
    void appendReport(std::string& text) {
        pending = false;
        shown.append(text);
    }
    unsigned numReports() const { return shown.numReports(); }
    const samples::StreamHeader& header() const { return shown.header(); }
    WatchEnd end() const { return {isEnough() ? std::nullopt : lost, shown.hasMatched()}; }

private:
    void tell(std::string& text, Event::Kind kind, const samples::Times& times,
              std::string_view sentence, ExitStatus status = ExitStatus::Ok) {
        announce(request, view, text, {kind, shown.header(), times, status, sentence});
    }
    void lose(std::string& text, const samples::Lost& message);
    void tellReturn(std::string& text, const samples::Times& times);

    const Request& request;
    View& view;
    Showing shown;
    samples::GaugeAverages averages; /* of what was passed over since the last report */
    const bool isRecording;
    std::optional<int64_t> lastTakenNs;  /* monotonic, of this stream */
    std::optional<int64_t> lastSampleNs; /* the same, also of one that was passed over */
    std::optional<Failure> lost;         /* by the last stream; nothing while one runs */
    std::optional<samples::Lost> away;   /* how it went that was there; it hasn't come back yet */
    bool hasRun = false;                 /* a sample has come */
    bool hasEnded = false;
    bool hasBaseline = false;
    bool pending = false;
};

void InputWatch::take(std::string& text, const samples::Message& message) {
    if (const auto* header = std::get_if<samples::StreamHeader>(&message)) {
        shown.begin(*header);
        lastTakenNs.reset();
        lastSampleNs.reset();
        averages.clear();
        lost.reset();
        hasEnded = false;
    } else if (const auto* notice = std::get_if<samples::Notice>(&message)) {
        tell(text, Event::Kind::Notice, notice->times, notice->text);
    } else if (const auto* mark = std::get_if<samples::Mark>(&message)) {
        tell(text, Event::Kind::Mark, mark->times, "mark: " + samples::printable(mark->text));
    } else if (const auto* gone = std::get_if<samples::Lost>(&message)) {
        lose(text, *gone);
    } else if (const auto* end = std::get_if<samples::End>(&message)) {
        hasEnded = true;
        tell(text, Event::Kind::Ended, end->times, "the stream has come to its end");
    }
}

/* Attempts to attach it again, which a recording has too, say nothing new. */
void InputWatch::lose(std::string& text, const samples::Lost& message) {
    lost = Failure{samples::exitStatusOf(message.status).value_or(ExitStatus::Failure),
                   samples::printable(message.sentence)};
    const bool isNews = isRecording ? hasRun && !away : true;
    if (isNews && request.form == Form::Json) {
        tell(text, Event::Kind::Gone, message.times, lost->sentence, lost->status);
    }
    if (!away) {
        away = message;
    }
}

/* The loss of a cache that stays away is told when all is over, but in JSON. Whoever recorded it
 * has gone on, and seen both. */
void InputWatch::tellReturn(std::string& text, const samples::Times& times) {
    if (isRecording && hasRun && request.form != Form::Json) {
        tell(text, Event::Kind::Gone, away->times, samples::printable(away->sentence));
    }
    if (hasRun || !isRecording) {
        tell(text, Event::Kind::Back, times,
             fmt::format("{} is back: monitor {}", cacheTitle(shown.header()),
                         shown.header().monitorPid));
    }
    away.reset();
}

/* An INTERVAL thins the samples out: those that come earlier are passed over, and only their gauges
 * count. By a tenth of it, and half the time between two samples, they may. */
void InputWatch::take(std::string& text, samples::Sample sample, MessageSource& source) {
    if (away) {
        tellReturn(text, sample.times);
    }
    hasRun = true;
    const int64_t momentNs = sample.times.monotonicNs;
    const double intervalNs = request.interval.value_or(0) * 1e9;
    const double paceNs = lastSampleNs ? static_cast<double>(momentNs - *lastSampleNs) : 0;
    const double toleranceNs = std::min(intervalNs / 10, paceNs / 2);
    const bool isEarly = request.interval && lastTakenNs &&
                         static_cast<double>(momentNs - *lastTakenNs) < intervalNs - toleranceNs;
    lastSampleNs = momentNs;
    if (isEarly || isEnough()) {
        if (!isEnough()) {
            averages.add(sample);
        }
        source.recycle(std::move(sample));
        return;
    }
    if (!averages.isEmpty()) {
        averages.add(sample);
        averages.applyTo(sample);
        averages.clear();
    }
    lastTakenNs = momentNs;
    shown.take(std::move(sample), source);
    const bool isBaseline = request.isOnce && request.interval && !hasBaseline;
    hasBaseline = true;
    pending = !isBaseline;
}

/* A moment here and the recorded one that is shown then. */
struct Pace {
    Deadline moment;
    int64_t realNs;
};

class InputWatcher {
public:
    explicit InputWatcher(const Request& asked) : request(asked) {}
    ExitStatus run();

private:
    std::optional<Failure> open();
    void readAhead();
    int takeNext();
    int fill();
    int waitUntilDue(const samples::Message& message);
    void take(SourceMessage message);
    InputWatch* watchOf(const SourceMessage& message);
    void record(const SourceMessage& message);
    void writeStream(const SourceMessage& message);
    void meetCaches();
    bool isChosen(const samples::StreamHeader& header) const;
    void showRound();
    int flush();
    void tellDamage();
    bool isOver() const;
    unsigned numReports() const;
    ExitStatus verdictOnNothing() const;
    bool isAnAttemptAt(const InputWatch& watch) const;
    ExitStatus verdict(int error) const;

    const Request& request;
    std::unique_ptr<MessageSource> source;
    ReplayRange range;
    std::unique_ptr<Recorder> recorder;
    StreamExport stream;
    std::optional<size_t> streamed; /* the cache that it is about */
    std::optional<Failure> refusal; /* what can't be done with what is read */
    std::unique_ptr<View> view;
    std::vector<std::unique_ptr<InputWatch>> watches; /* by cache; null: not chosen */
    std::map<std::tuple<size_t, std::string, size_t>, InputWatch*> inOrder;
    std::deque<SourceMessage> ahead;                 /* what was read to see which caches come */
    std::vector<std::optional<uint32_t>> recordedAs; /* by cache */
    std::string text;
    int outputError = 0;              /* errno of the first write that failed */
    int64_t lastReportNs = INT64_MAX; /* real; of the last sample that was shown */
    int64_t momentNs = INT64_MIN;     /* real; of the last message */
    std::optional<Pace> pace;
    bool isPastEnd = false;
    bool wasDamaged = false;
};

/* Waits for the first message of a source that doesn't know its span. */
void InputWatcher::readAhead() {
    while (!source->canSeek() && ahead.empty() && !source->isOver()) {
        if (auto message = source->next()) {
            ahead.push_back(std::move(*message));
        } else if (fill() != 0) {
            return;
        }
    }
}

/* Opens the source, and reads the headers that come first. */
std::optional<Failure> InputWatcher::open() {
    if (request.form == Form::Stream && outputIsTerminal()) {
        return Failure{ExitStatus::Usage,
                       "a sample stream is for programs: lead it into a pipe or a file"};
    }
    auto opened = openSource(request.reads);
    if (auto* failure = std::get_if<Failure>(&opened)) {
        return std::move(*failure);
    }
    source = std::move(std::get<std::unique_ptr<MessageSource>>(opened));
    if (request.start || request.end) {
        readAhead();
    }
    const auto first =
        ahead.empty() ? std::optional<int64_t>() : samples::timesOf(ahead[0].message).realNs;
    auto found = rangeOf(request, *source, first);
    if (auto* failure = std::get_if<Failure>(&found)) {
        return std::move(*failure);
    }
    range = std::get<ReplayRange>(found);
    if (source->canSeek() && request.start) {
        source->seek(range.startNs);
    }
    meetCaches();
    if (request.recording) {
        auto recording = Recorder::open(*request.recording);
        if (auto* failure = std::get_if<Failure>(&recording)) {
            return std::move(*failure);
        }
        recorder = std::move(std::get<std::unique_ptr<Recorder>>(recording));
    }
    std::vector<size_t> met; /* caches */
    for (const SourceMessage& message : ahead) {
        const auto* header = std::get_if<samples::StreamHeader>(&message.message);
        if (header != nullptr && isChosen(*header) &&
            std::ranges::find(met, message.cache) == met.end()) {
            met.push_back(message.cache);
        }
    }
    /* As live: a cache that was slow to attach counts, too. */
    const bool hasSeveral = met.size() > 1 || request.targets.size() > 1;
    view = makeView(request, findSurroundings(request, hasSeveral));
    view->drainTo([this] { flush(); });
    for (const SourceMessage& message : ahead) {
        watchOf(message);
    }
    return std::nullopt;
}

/* Reads as far ahead as the second sample of a cache: by then all have begun that were attached
 * together, and are waited for in the first round. */
void InputWatcher::meetCaches() {
    std::vector<unsigned> numSamples;
    while (source->isRecording() && ahead.size() < mostAhead) {
        auto message = source->next();
        if (!message) {
            return;
        }
        numSamples.resize(std::max(numSamples.size(), message->cache + 1));
        const bool isSample = std::holds_alternative<samples::Sample>(message->message);
        numSamples[message->cache] += isSample ? 1U : 0U;
        const bool isSecond = numSamples[message->cache] > 1;
        ahead.push_back(std::move(*message));
        if (isSecond) {
            return;
        }
    }
}

bool InputWatcher::isChosen(const samples::StreamHeader& header) const {
    return request.takesAll || request.targets.empty() ||
           placeAmong(request.targets, header) < request.targets.size();
}

/* The watch over the message's cache; null when that isn't shown. */
InputWatch* InputWatcher::watchOf(const SourceMessage& message) {
    watches.resize(std::max(watches.size(), message.cache + 1));
    auto& watch = watches[message.cache];
    const auto* header = std::get_if<samples::StreamHeader>(&message.message);
    if (!watch && header != nullptr && isChosen(*header)) {
        watch = std::make_unique<InputWatch>(request, *view, source->isRecording());
        inOrder[{placeAmong(request.targets, *header), header->location, message.cache}] =
            watch.get();
    }
    return watch.get();
}

void InputWatcher::take(SourceMessage message) {
    const samples::Times times = samples::timesOf(message.message);
    momentNs = times.realNs;
    isPastEnd = momentNs > range.endNs;
    InputWatch* watch = isPastEnd ? nullptr : watchOf(message);
    auto* sample = std::get_if<samples::Sample>(&message.message);
    const bool isHeader = std::holds_alternative<samples::StreamHeader>(message.message);
    if (watch == nullptr || (momentNs < range.startNs && !isHeader)) {
        if (sample != nullptr) {
            source->recycle(std::move(*sample));
        }
        return;
    }
    if (recorder) {
        record(message);
    }
    if (request.form == Form::Stream) {
        writeStream(message);
    }
    if (watch->hasSample()) {
        showRound();
    }
    if (sample == nullptr) {
        watch->take(text, message.message);
        return;
    }
    watch->take(text, std::move(*sample), *source);
    const bool isComplete = std::ranges::none_of(
        watches, [](const auto& each) { return each && each->isRunning() && !each->hasSample(); });
    if (isComplete) {
        showRound();
    }
}

void InputWatcher::record(const SourceMessage& message) {
    recordedAs.resize(std::max(recordedAs.size(), message.cache + 1));
    auto& number = recordedAs[message.cache];
    number = number ? number : recorder->newCache();
    const auto* header = std::get_if<samples::StreamHeader>(&message.message);
    if (header != nullptr && (message.isCarried || header->times.realNs < range.startNs)) {
        recorder->carry(*number, *header);
    } else {
        recorder->take(*number, message.message);
    }
}

/* A stream is about one cache. */
void InputWatcher::writeStream(const SourceMessage& message) {
    streamed = streamed.value_or(message.cache);
    if (*streamed == message.cache) {
        stream.append(text, message.message);
    } else if (!refusal) {
        const auto caches = source->caches();
        refusal =
            Failure{ExitStatus::Usage,
                    fmt::format("a sample stream is about one cache, and there are {} and {}: "
                                "name the one that is wanted",
                                cacheTitle(caches[*streamed]), cacheTitle(caches[message.cache]))};
    }
}

/* Shows what has come, in the order in which the caches were asked for, or else of their locations.
 */
void InputWatcher::showRound() {
    for (const auto& [place, watch] : inOrder) {
        if (watch->hasSample()) {
            watch->appendReport(text);
            lastReportNs = momentNs;
        }
    }
}

int InputWatcher::flush() {
    if (outputError == 0 && !text.empty()) {
        outputError =
            writeOut(text, [this] { return recorder ? recorder->advance() : noDeadline; });
    }
    text.clear();
    return outputError;
}

/* Waits for bytes. Returns an errno of the output or of a stop. */
int InputWatcher::fill() {
    pollfd descriptors[] = {{source->fd(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    if (pollUntil(descriptors, noDeadline) < 0) {
        return errno;
    }
    if ((descriptors[1].revents & POLLERR) != 0) {
        return EPIPE;
    }
    if (descriptors[0].revents != 0) {
        source->readOn();
    }
    return 0;
}

/* Waits until a sample is due at the request's speed, but not for what lies between two attaches.
 */
int InputWatcher::waitUntilDue(const samples::Message& message) {
    if (std::holds_alternative<samples::StreamHeader>(message)) {
        pace.reset();
    }
    const auto* sample = std::get_if<samples::Sample>(&message);
    if (request.speed == 0 || sample == nullptr || sample->times.realNs < range.startNs) {
        return 0;
    }
    if (!pace) {
        pace = {std::chrono::steady_clock::now(), sample->times.realNs};
    }
    const double ns = static_cast<double>(sample->times.realNs - pace->realNs) / request.speed;
    const Deadline due =
        pace->moment +
        std::chrono::nanoseconds(static_cast<int64_t>(std::clamp(ns, 0.0, longestWaitNs)));
    pollfd output{STDOUT_FILENO, 0, 0};
    if (pollUntil({&output, 1}, due) < 0) {
        return errno;
    }
    return (output.revents & POLLERR) != 0 ? EPIPE : 0;
}

void InputWatcher::tellDamage() {
    for (const std::string& sentence : source->takeDamage()) {
        complain(sentence);
        wasDamaged = true;
    }
}

/* Every cache has all the reports that were asked for, and no further one begins. */
bool InputWatcher::isOver() const {
    const auto isEnough = [](const auto& watch) { return !watch || watch->isEnough(); };
    return isPastEnd || (numReports() > 0 && std::ranges::all_of(watches, isEnough) &&
                         (!source->isRecording() || momentNs - lastReportNs > attachPatienceNs));
}

/* Takes one message, if there is one. */
int InputWatcher::takeNext() {
    std::optional<SourceMessage> message;
    if (!ahead.empty()) {
        message = std::move(ahead.front());
        ahead.pop_front();
    } else {
        message = source->next();
        tellDamage();
    }
    if (message) {
        const int error = waitUntilDue(message->message);
        if (error == 0) {
            take(std::move(*message));
        }
        return error == 0 ? flush() : error;
    }
    return source->isOver() ? 0 : fill();
}

unsigned InputWatcher::numReports() const {
    unsigned sum = 0;
    for (const auto& watch : watches) {
        sum += watch ? watch->numReports() : 0;
    }
    return sum;
}

/* Says why there are no reports at all. */
ExitStatus InputWatcher::verdictOnNothing() const {
    const bool isKnown = request.targets.empty() ||
                         std::ranges::any_of(watches, [](auto& watch) { return watch != nullptr; });
    if (isKnown) {
        complain("nothing was recorded" + wordsFor(range, request.layout.isUtc));
        return ExitStatus::NoMatch;
    }
    std::string names;
    for (const auto& header : source->caches()) {
        names += (names.empty() ? "" : ", ") + cacheTitle(header);
    }
    complain(fmt::format("{} is not in the recording, which has {}", request.targets[0].title(),
                         names.empty() ? "none" : names));
    return ExitStatus::NoCache;
}

/* Attempts to attach a cache again that has been shown: where it would be was not known then, so
 * that they stand for themselves in what was recorded. */
bool InputWatcher::isAnAttemptAt(const InputWatch& watch) const {
    const samples::StreamHeader& header = watch.header();
    return source->isRecording() && header.location.empty() &&
           std::ranges::any_of(watches, [&](const auto& other) {
               return other && other->numReports() > 0 && other->header().brox == header.brox;
           });
}

ExitStatus InputWatcher::verdict(int error) const {
    if (error == 0 && request.form == Form::Stream && numReports() > 0) {
        return wasDamaged ? ExitStatus::DamagedInput : ExitStatus::Ok; /* it has the rest */
    }
    std::vector<WatchEnd> ends;
    bool hasFailure = false;
    for (const auto& watch : watches) {
        if (!watch || isAnAttemptAt(*watch)) {
            continue;
        }
        ends.push_back(watch->end());
        if (request.isQuiet && source->canSeek() && watch->numReports() > 0) {
            ends.back().failure.reset(); /* it is copied, and what happened is part of it */
        }
        if (error == 0 && ends.back().failure) {
            complain(ends.back().failure->sentence);
            hasFailure = true;
        }
    }
    if (error == 0 && wasDamaged) {
        return ExitStatus::DamagedInput;
    }
    return error == 0 && !hasFailure && numReports() == 0 ? verdictOnNothing()
                                                          : verdictOf(ends, error);
}

ExitStatus InputWatcher::run() {
    catchStopSignals();
    if (const auto failure = open()) {
        complain(failure->sentence);
        return failure->status;
    }
    int error = 0;
    while (error == 0 && !refusal && !isOver() && (!source->isOver() || !ahead.empty())) {
        error = stopSignal() != 0 ? EINTR : takeNext();
    }
    if (error == 0) {
        tellDamage();
        showRound();
        stream.finish(text);
        error = flush();
    }
    while (error == 0 && view->appendRest(text)) {
        error = flush();
    }
    recorder.reset(); /* what it has is written, whatever comes */
    if (error == EINTR && numReports() == 0) {
        dieOfStopSignal();
    }
    if (error == 0 && refusal) {
        complain(refusal->sentence);
        return refusal->status;
    }
    return verdict(error);
}

} // namespace

ExitStatus watchInput(const Request& request) {
    return InputWatcher(request).run();
}

} // namespace tvsistat
