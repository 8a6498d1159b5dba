#include "output.h"
#include "printable.h"
#include "showing.h"
#include "stopsignal.h"
#include "streamdecoder.h"
#include "watch.h"

#include <cerrno>
#include <fmt/format.h>
#include <unistd.h>

namespace tvsistat {
namespace {

using samples::ExitStatus;
using samples::Failure;

constexpr size_t readSize = 262144;

class InputWatcher {
public:
    explicit InputWatcher(const Request& asked)
        : request(asked), view(makeView(asked, findSurroundings(asked, false))),
          shown(asked, *view) {}
    ExitStatus run();

private:
    int fill();
    int takeMessages();
    void take(samples::Message message);
    void takeSample(samples::Sample sample);
    void tell(Event::Kind kind, const samples::Times& times, ExitStatus status,
              std::string_view sentence);
    bool isEnough() const {
        return request.count != 0 && shown.numReports() >= static_cast<unsigned>(request.count);
    }
    ExitStatus verdict(int error) const;

    const Request& request;
    std::unique_ptr<View> view;
    samples::StreamDecoder decoder;
    Showing shown;
    std::optional<int64_t> lastTakenNs; /* monotonic, of this stream */
    std::optional<Failure> lost;
    std::string text;
    bool isAtEnd = false;
    bool hasBaseline = false;
};

/* Waits for bytes; at their end `isAtEnd` is set. Returns an errno of the output or of a stop. */
int InputWatcher::fill() {
    pollfd descriptors[] = {{STDIN_FILENO, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    if (pollUntil(descriptors, noDeadline) < 0) {
        return errno;
    }
    if ((descriptors[1].revents & POLLERR) != 0) {
        return EPIPE;
    }
    if (descriptors[0].revents == 0) {
        return 0;
    }
    const auto room = decoder.room(readSize);
    const ssize_t got = read(STDIN_FILENO, room.data(), room.size());
    if (got > 0) {
        decoder.filled(static_cast<size_t>(got));
    } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
        isAtEnd = true;
        decoder.finish();
    }
    return 0;
}

int InputWatcher::takeMessages() {
    while (!isEnough()) {
        auto message = decoder.next();
        if (!message) {
            break;
        }
        take(std::move(*message));
        if (const int error = text.empty() ? 0 : writeOut(text); error != 0) {
            return error;
        }
        text.clear();
    }
    return 0;
}

void InputWatcher::take(samples::Message message) {
    if (const auto* header = std::get_if<samples::StreamHeader>(&message)) {
        shown.begin(*header);
        lastTakenNs.reset();
        if (lost) {
            tell(Event::Kind::Back, header->times, ExitStatus::Ok,
                 fmt::format("{} is back: monitor {}", cacheTitle(*header), header->monitorPid));
        }
        lost.reset();
    } else if (auto* sample = std::get_if<samples::Sample>(&message)) {
        takeSample(std::move(*sample));
    } else if (const auto* notice = std::get_if<samples::Notice>(&message)) {
        tell(Event::Kind::Notice, notice->times, ExitStatus::Ok, notice->text);
    } else if (const auto* gone = std::get_if<samples::Lost>(&message)) {
        lost = Failure{samples::exitStatusOf(gone->status).value_or(ExitStatus::Failure),
                       samples::printable(gone->sentence)};
        if (request.form == Form::Json) {
            tell(Event::Kind::Gone, gone->times, lost->status, lost->sentence);
        }
    } else {
        tell(Event::Kind::Ended, std::get<samples::End>(message).times, ExitStatus::Ok,
             "the stream has come to its end");
    }
}

/* An INTERVAL thins the stream out: samples that come earlier (by more than a tenth of it) are
 * passed over. */
void InputWatcher::takeSample(samples::Sample sample) {
    const int64_t momentNs = sample.times.monotonicNs;
    if (request.interval && lastTakenNs &&
        static_cast<double>(momentNs - *lastTakenNs) < *request.interval * 0.9e9) {
        decoder.recycle(std::move(sample));
        return;
    }
    lastTakenNs = momentNs;
    shown.take(std::move(sample), decoder);
    const bool isBaseline = request.isOnce && request.interval && !hasBaseline;
    hasBaseline = true;
    if (!isBaseline) {
        shown.append(text);
    }
}

void InputWatcher::tell(Event::Kind kind, const samples::Times& times, ExitStatus status,
                        std::string_view sentence) {
    announce(request, *view, text, {kind, shown.header(), times, status, sentence});
}

ExitStatus InputWatcher::verdict(int error) const {
    const auto fail = [](const Failure& failure) {
        if (!failure.sentence.empty()) {
            complain(failure.sentence);
        }
        return failure.status;
    };
    if (error == EINTR) {
        return ExitStatus::Ok;
    }
    if (error != 0) {
        return fail(outputFailure(error));
    }
    if (isEnough()) {
        return shown.hasMatched() ? ExitStatus::Ok
                                  : fail({ExitStatus::NoMatch, "no process was selected"});
    }
    if (decoder.failed()) {
        return fail({ExitStatus::DamagedInput,
                     fmt::format("the stream on standard input is damaged after {} bytes: {}",
                                 decoder.position(), decoder.problem())});
    }
    if (lost) {
        return fail(*lost);
    }
    if (!decoder.hasEnded()) {
        return fail({ExitStatus::DamagedInput,
                     "the stream on standard input was cut off: its end is missing"});
    }
    return shown.hasMatched() ? ExitStatus::Ok
                              : fail({ExitStatus::NoMatch, "no process was selected"});
}

ExitStatus InputWatcher::run() {
    catchStopSignals();
    int error = 0;
    while (error == 0) {
        error = takeMessages();
        if (error != 0 || isEnough() || isAtEnd || decoder.failed()) {
            break;
        }
        error = fill();
    }
    if (error == EINTR && shown.numReports() == 0) {
        dieOfStopSignal();
    }
    return verdict(error);
}

} // namespace

ExitStatus watchInput(const Request& request) {
    return InputWatcher(request).run();
}

} // namespace tvsistat
