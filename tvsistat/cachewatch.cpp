#include "cachewatch.h"

#include "printable.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <thread>

namespace tvsistat {
namespace {

using namespace std::chrono_literals;
using samples::ExitStatus;
using samples::Failure;
using samples::Piece;

/* What a deadline is noticed late by when this program itself was held up, and so may have been its
 * reader (by Ctrl-Z, for instance). */
constexpr auto ownDelay = 500ms;
/* A difference between the clocks that tells that the wall clock was set. */
constexpr int64_t clockSetNs = 100'000'000;
/* As much as a reader's pipe holds: a sample of a thousand processes fits without growing. */
constexpr size_t readSize = 1 << 20;

Deadline now() {
    return std::chrono::steady_clock::now();
}

std::chrono::nanoseconds nanoseconds(double seconds) {
    return std::chrono::nanoseconds(static_cast<int64_t>(seconds * 1e9));
}

/* How a reader ended whose stream is at its end: it may still be on the way out. */
std::string endOf(samples::ReaderProcess& reader) {
    std::optional<int> status = reader.reap();
    for (int i = 0; i < 20 && !status; i++) {
        std::this_thread::sleep_for(1ms);
        status = reader.reap();
    }
    return status && *status > 128 ? fmt::format(", by signal {}", *status - 128) : "";
}

/* Whether it may be there later. */
bool mayComeYet(ExitStatus status) {
    return status == ExitStatus::NoCache || status == ExitStatus::CacheGone ||
           status == ExitStatus::Failure;
}

} // namespace

CacheWatch::CacheWatch(const Request& asked, Showing& receiving, EventSink sink, Target target)
    : request(asked), shown(receiving), events(std::move(sink)), watched(std::move(target)),
      due(now()), firstStart(due) {}

/* Samples that the reader is to take; 0: until it is ended. */
uint64_t CacheWatch::samplesWanted() const {
    if (request.count == 0 || request.follows) {
        return 0;
    }
    const bool hasBaseline = request.isOnce && request.interval;
    return static_cast<uint64_t>(request.count) + (hasBaseline ? 1 : 0);
}

std::variant<CacheWatch::Reading, Failure> CacheWatch::startReader() const {
    samples::ReaderOptions options;
    options.isBrox = watched.isBrox;
    options.cache = watched.name;
    options.interval = nanoseconds(request.interval.value_or(1));
    options.isAligned = request.isAligned;
    options.count = samplesWanted();
    /* The live screen may begin to record at any moment. No view shows users. */
    const bool isRecorded = recorder != nullptr || request.isLive;
    options.hasUsers = isRecorded;
    /* Monitor and Brox are always looked at: their state tells what the other figures are worth. */
    options.kinds = isRecorded ? uint32_t{SHRPC_ALL}
                               : request.rows.selection.kinds | SHRPC_MONITOR | SHRPC_BROX;
    auto started = samples::ReaderProcess::start(options);
    if (auto* failure = std::get_if<Failure>(&started)) {
        return std::move(*failure);
    }
    return Reading{std::move(std::get<samples::ReaderProcess>(started)), {}};
}

void CacheWatch::start() {
    auto started = startReader();
    if (auto* failure = std::get_if<Failure>(&started)) {
        end = std::move(*failure);
        finish();
        return;
    }
    reading = std::move(std::get<Reading>(started));
    state = Phase::Starting;
    taken = 0;
    due = now() + samples::attachLimit;
}

void CacheWatch::changeInterval() {
    if (!reading) {
        return; /* the next one will have it */
    }
    auto started = startReader();
    if (const auto* failure = std::get_if<Failure>(&started)) {
        giveUpSuccessor(failure->sentence);
        return;
    }
    successor = std::move(std::get<Reading>(started));
    successorHeader.reset();
    successorDue = now() + samples::attachLimit;
}

void CacheWatch::giveUpSuccessor(std::string_view why) {
    successor.reset();
    successorDue = noDeadline;
    tell(Event::Kind::Notice, samples::currentTimes(), ExitStatus::Ok,
         fmt::format("the interval stays as it was: {}", why));
}

void CacheWatch::readSuccessor() {
    while (successor) {
        if (auto message = successor->decoder.next()) {
            if (auto* header = std::get_if<samples::StreamHeader>(&*message)) {
                successorHeader = std::move(*header);
            } else if (std::holds_alternative<samples::Sample>(*message) && successorHeader) {
                reading = std::move(*successor);
                successor.reset();
                successorDue = noDeadline;
                take(std::move(*successorHeader));
                take(std::move(*message));
            } else if (!std::holds_alternative<samples::Notice>(*message)) {
                giveUpSuccessor("the reader that was to take over could not attach the cache");
            }
            continue;
        }
        const Piece piece =
            samples::readPiece(successor->process.fd(), successor->decoder, readSize);
        if (piece == Piece::Nothing) {
            return;
        }
        if (piece == Piece::End) {
            giveUpSuccessor("the reader that was to take over has ended");
        }
    }
}

void CacheWatch::advance(Deadline moment) {
    if (successor && moment >= successorDue) {
        giveUpSuccessor("the reader that was to take over gave no sign of life");
    }
    if (state == Phase::Over && reading && reading->process.reap()) {
        reading.reset();
    }
    if (moment < due || state == Phase::Over) {
        return;
    }
    if (state == Phase::Waiting) {
        start();
        return;
    }
    if (moment > due + ownDelay) {
        due = moment + samples::silenceLimit;
        return;
    }
    if (request.isAligned && wallClockWasSet()) {
        due += nanoseconds(request.interval.value_or(0));
        return;
    }
    giveUp(
        {ExitStatus::Failure,
         state == Phase::Starting
             ? fmt::format("{} cannot be attached: its reader hung (a lock of its segment may be "
                           "broken) and was ended",
                           watched.title())
             : fmt::format("{}: its reader gave no sign of life any more and was ended",
                           watched.title())});
}

/* Since the last call: the next multiple of the interval is another moment then. */
bool CacheWatch::wallClockWasSet() {
    const samples::Times times = samples::currentTimes();
    const int64_t before = std::exchange(clockDistance, times.realNs - times.monotonicNs);
    return std::abs(clockDistance - before) > clockSetNs;
}

void CacheWatch::readOn() {
    if (!pending) {
        readSuccessor();
    }
    while (reading && !pending && state != Phase::Over) {
        if (auto message = reading->decoder.next()) {
            take(std::move(*message));
            continue;
        }
        const Piece piece = samples::readPiece(reading->process.fd(), reading->decoder, readSize);
        if (piece == Piece::Nothing) {
            return;
        }
        if (piece == Piece::End && reading->decoder.failed()) {
            giveUp({ExitStatus::DamagedInput,
                    fmt::format("{}: its reader's stream is damaged: {}", watched.title(),
                                reading->decoder.problem())});
        } else if (piece == Piece::End) {
            giveUp({ExitStatus::Failure, fmt::format("{}: its reader ended before its time{}",
                                                     watched.title(), endOf(reading->process))});
        }
    }
}

void CacheWatch::take(samples::Message message) {
    record(message);
    if (auto* header = std::get_if<samples::StreamHeader>(&message)) {
        /* An attach that fails knows little of the cache: what was known stays. */
        if (hasRun) {
            announced = std::move(*header);
        } else {
            shown.begin(*header);
        }
        wallClockWasSet();
        const double untilFirst = request.isAligned ? request.interval.value_or(0) : 0;
        due = now() + nanoseconds(untilFirst) + samples::silenceLimit;
    } else if (auto* sample = std::get_if<samples::Sample>(&message)) {
        if (announced) {
            shown.begin(*std::exchange(announced, std::nullopt));
        }
        if (saidWaiting) {
            tell(Event::Kind::Back, sample->times, ExitStatus::Ok,
                 fmt::format("{} is {}: monitor {}", cacheTitle(shown.header()),
                             hasRun ? "back" : "there", shown.header().monitorPid));
        }
        hasRun = true;
        isGone = false;
        saidWaiting = false;
        pause.reset();
        state = Phase::Running;
        wallClockWasSet();
        due = now() + nanoseconds(request.interval.value_or(0)) + samples::silenceLimit;
        shown.take(std::move(*sample), reading->decoder);
        taken++;
        const bool isBaseline = request.isOnce && request.interval && taken == 1;
        pending = !isBaseline;
    } else if (const auto* notice = std::get_if<samples::Notice>(&message)) {
        tell(Event::Kind::Notice, notice->times, ExitStatus::Ok, notice->text);
    } else if (const auto* mark = std::get_if<samples::Mark>(&message)) {
        tell(Event::Kind::Mark, mark->times, ExitStatus::Ok,
             "mark: " + samples::printable(mark->text));
    } else if (const auto* lost = std::get_if<samples::Lost>(&message)) {
        lose({samples::exitStatusOf(lost->status).value_or(ExitStatus::Failure),
              samples::printable(lost->sentence)},
             lost->times);
    } else {
        finish();
    }
}

bool CacheWatch::waitsFor(const Failure& why, Deadline moment) const {
    if (why.status == ExitStatus::DamagedInput) {
        return false;
    }
    if (hasRun) {
        return request.follows;
    }
    return request.wait && mayComeYet(why.status) &&
           (*request.wait == 0 || moment < firstStart + nanoseconds(*request.wait));
}

/* The reader is lost without having said so. */
void CacheWatch::giveUp(Failure why) {
    const samples::Times times = samples::currentTimes();
    record(samples::Lost{static_cast<int32_t>(why.status), why.sentence, times});
    lose(std::move(why), times);
}

/* The reader has nothing more to say, and why. */
void CacheWatch::lose(Failure why, const samples::Times& times) {
    reading.reset();
    successor.reset();
    successorDue = noDeadline;
    const Deadline moment = now();
    const bool waits = waitsFor(why, moment);
    if (hasRun && !isGone && (waits || request.form == Form::Json)) {
        tell(Event::Kind::Gone, times, why.status, why.sentence);
    }
    isGone = hasRun;
    if (waits) {
        retryAfter(moment, why);
        return;
    }
    end = std::move(why);
    finish();
}

void CacheWatch::retryAfter(Deadline moment, const Failure& why) {
    if (!hasRun && !saidWaiting) {
        tell(Event::Kind::Waiting, samples::currentTimes(), why.status,
             why.sentence + "; waiting for it");
    }
    saidWaiting = true;
    state = Phase::Waiting;
    due = moment + pause.next();
    if (!hasRun && *request.wait > 0) {
        due = std::min(due, firstStart + nanoseconds(*request.wait));
    }
}

/* The reader's end is taken later, so that the last report doesn't wait for it. */
void CacheWatch::finish() {
    if (reading) {
        reading->process.kill();
    }
    successor.reset();
    state = Phase::Over;
    due = noDeadline;
}

void CacheWatch::drop() {
    pending = false;
    finish();
}

void CacheWatch::release() {
    pending = false;
    if (request.count != 0 && shown.numReports() >= static_cast<unsigned>(request.count)) {
        finish();
    }
}

void CacheWatch::tell(Event::Kind kind, const samples::Times& times, ExitStatus status,
                      std::string_view sentence) {
    events({kind, shown.header(), times, status, sentence});
}

/* A recording that begins in the middle of a stream has its header all the same. */
void CacheWatch::recordTo(MessageSink& sink) {
    recorder = &sink;
    recordedAs = sink.newCache();
    if (state == Phase::Running) {
        record(shown.header());
    }
}

void CacheWatch::mark(std::string_view text) {
    record(samples::Mark{std::string(text), samples::currentTimes()});
}

std::optional<size_t> findDouble(std::span<const std::unique_ptr<CacheWatch>> watches) {
    const auto hasCache = [](const CacheWatch& watch) {
        return watch.phase() == CacheWatch::Phase::Running ||
               (watch.phase() == CacheWatch::Phase::Over && !watch.failure());
    };
    for (size_t i = 1; i < watches.size(); i++) {
        const auto& header = watches[i]->showing().header();
        for (size_t j = 0; j < i && hasCache(*watches[i]); j++) {
            const auto& other = watches[j]->showing().header();
            if (hasCache(*watches[j]) && !header.location.empty() &&
                header.location == other.location && header.monitorPid == other.monitorPid) {
                return i;
            }
        }
    }
    return std::nullopt;
}

} // namespace tvsistat
