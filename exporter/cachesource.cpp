#include "cachesource.h"

#include "printable.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace exporter {
namespace {

using namespace std::chrono_literals;
using samples::ExitStatus;
using samples::Failure;

constexpr size_t readSize = 262144;
/* After so many pieces the other caches have their turn. */
constexpr int mostPieces = 32;

std::string_view reasonOf(int status) {
    switch (samples::exitStatusOf(status).value_or(ExitStatus::Failure)) {
    case ExitStatus::NoCache:
        return "no_cache";
    case ExitStatus::NoPermission:
        return "no_permission";
    case ExitStatus::WrongVersion:
        return "wrong_version";
    case ExitStatus::CacheGone:
        return "cache_gone";
    default:
        return "failure";
    }
}

std::string quotedLabel(std::string_view name, std::string_view value) {
    std::string label(name);
    label += "=\"";
    samples::appendLabelValue(label, value);
    label += '"';
    return label;
}

} // namespace

void say(std::string_view sentence) {
    std::string line = "tvsi-exporter: ";
    line += sentence;
    line += '\n';
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

std::string Target::title() const {
    const std::string_view front = by == By::Brox     ? "cache of Brox "
                                   : by == By::Socket ? "cache behind "
                                                      : "cache ";
    return std::string(front) + samples::printable(name);
}

CacheSource::CacheSource(Target target, const SeriesChoice& choice, const MetricPlan& plan,
                         std::chrono::nanoseconds sampleInterval, bool keepsSamples)
    : wanted(std::move(target)), interval(sampleInterval),
      /* The state of monitor and Brox tells what the other figures are worth. */
      kinds(choice.processes.kinds | SHRPC_MONITOR | SHRPC_BROX), keeps(keepsSamples),
      sums(choice, plan), due(Clock::now()), lostAt(due) {
    state.interval = interval;
    for (const char* reason : {"cache_gone", "damaged_stream", "hung", "reader_ended"}) {
        state.severed[reason] = 0; /* a series that begins with 1 has no growth */
    }
    setLabels();
}

/* Until the cache has told its names, by what is known of it. */
void CacheSource::setLabels() {
    std::string_view cache = knownLocation;
    std::string_view brox = knownBrox;
    std::string socketName;
    if (knownLocation.empty() && wanted.by == Target::By::Socket) {
        socketName = "unix:" + wanted.name;
        cache = socketName;
    } else if (knownLocation.empty()) {
        (wanted.by == Target::By::Brox ? brox : cache) = wanted.name;
    }
    state.labels = quotedLabel("cache", cache) + "," + quotedLabel("brox", brox);
    state.title = wanted.title();
    state.location = cache;
    state.brox = brox;
}

int CacheSource::fd() const {
    return reader ? reader->fd() : socket ? socket->get() : -1;
}

std::optional<Clock::time_point> CacheSource::missingSince() const {
    return isRunning ? std::nullopt : std::optional(lostAt);
}

/* Why it can't be; nothing when it is connected. */
std::optional<std::string> CacheSource::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (wanted.name.size() >= sizeof address.sun_path) {
        return "the path is too long for a socket";
    }
    std::memcpy(address.sun_path, wanted.name.data(), wanted.name.size());
    samples::Descriptor connected(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (connected.get() < 0 ||
        ::connect(connected.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0) {
        return std::generic_category().message(errno);
    }
    socket = std::move(connected);
    return std::nullopt;
}

void CacheSource::start(Clock::time_point now) {
    decoder = samples::StreamDecoder();
    due = now + samples::attachLimit;
    if (wanted.by == Target::By::Socket) {
        if (const auto problem = connect()) {
            lose("not_connected", state.title + ": " + *problem);
        }
        return;
    }
    samples::ReaderOptions options;
    options.isBrox = wanted.by == Target::By::Brox;
    options.cache = wanted.name;
    options.interval = interval;
    options.kinds = kinds;
    options.hasUsers = false; /* no metric has them */
    auto started = samples::ReaderProcess::start(options);
    if (const auto* failure = std::get_if<Failure>(&started)) {
        lose("not_started", failure->sentence);
        return;
    }
    reader = std::move(std::get<samples::ReaderProcess>(started));
}

void CacheSource::advance(Clock::time_point now) {
    if (now < due) {
        return;
    }
    if (fd() < 0) {
        start(now);
        return;
    }
    lose("hung", isRunning ? state.title + ": its reader gave no sign of life any more"
                           : state.title + " cannot be attached: its reader hung (a lock of its "
                                           "segment may be broken)");
}

void CacheSource::readOn() {
    int pieces = 0;
    while (fd() >= 0) {
        if (auto message = decoder.next()) {
            take(std::move(*message));
            continue;
        }
        if (decoder.failed()) {
            lose("damaged_stream", state.title + ": the stream is damaged: " + decoder.problem());
            return;
        }
        if (pieces++ == mostPieces) {
            return;
        }
        const auto piece = samples::readPiece(fd(), decoder, readSize);
        if (piece == samples::Piece::Nothing) {
            return;
        }
        if (piece == samples::Piece::End) {
            lose("reader_ended", state.title + ": its reader ended before its time");
        }
    }
}

void CacheSource::take(samples::Message message) {
    if (const auto* header = std::get_if<samples::StreamHeader>(&message)) {
        takeHeader(*header);
    } else if (auto* sample = std::get_if<samples::Sample>(&message)) {
        takeSample(std::move(*sample));
    } else if (const auto* notice = std::get_if<samples::Notice>(&message)) {
        say(state.title + ": " + samples::printable(notice->text));
    } else if (const auto* lost = std::get_if<samples::Lost>(&message)) {
        lose(reasonOf(lost->status), samples::printable(lost->sentence));
    } else if (std::holds_alternative<samples::End>(message)) {
        lose("reader_ended", state.title + ": its reader has taken all samples that it was to");
    }
}

/* A header without a monitor is that of a cache which could not be attached. */
void CacheSource::takeHeader(const samples::StreamHeader& header) {
    sums.begin();
    state.sample = nullptr;
    if (header.monitorPid != 0 && !header.location.empty()) {
        knownLocation = header.location;
        knownBrox = header.brox;
        state.host = header.host;
        setLabels();
    }
    due = Clock::now() + samples::attachLimit;
}

void CacheSource::takeSample(samples::Sample sample) {
    const auto begun = Clock::now();
    const auto distance = std::chrono::nanoseconds(
        state.picture != nullptr ? sample.times.monotonicNs - state.picture->times.monotonicNs : 0);
    if (keeps) {
        state.sampleBefore = std::move(state.sample);
        state.sample = std::make_shared<const samples::Sample>(sample.copy());
    }
    if (auto before = sums.add(std::move(sample))) {
        decoder.recycle(std::move(*before));
    }
    if (!isRunning) {
        isRunning = true;
        pause.reset();
        state.attaches++;
        say(state.title + " is attached: " + samples::printable(knownLocation));
    }
    state.problem.clear();
    state.picture = sums.picture();
    state.taken = Clock::now();
    state.collectionTime = state.taken - begun;
    /* How often a reader behind a socket samples is told by its samples alone; until there are two,
     * the next one is not waited for in vain. */
    constexpr std::chrono::nanoseconds longest = 24h;
    const bool isSocket = wanted.by == Target::By::Socket;
    if (isSocket && distance > 0ns) {
        state.interval = std::clamp<Clock::duration>(distance, interval, longest);
    }
    due = state.taken + samples::silenceLimit +
          (isSocket && distance == 0ns ? longest : 2 * state.interval);
    changes++;
}

/* The stream has nothing more to say, and why. Told once until it changes. */
void CacheSource::lose(std::string_view reason, std::string sentence) {
    reader.reset();
    socket.reset();
    auto& counts = isRunning ? state.severed : state.failedAttaches;
    counts[std::string(reason)]++;
    const auto now = Clock::now();
    if (isRunning) {
        lostAt = now;
        state.lostNs = samples::currentTimes().realNs;
        state.loss = sentence;
    }
    isRunning = false;
    state.picture = nullptr;
    state.sample = state.sampleBefore = nullptr;
    if (state.problem != sentence) {
        say(sentence + "; trying again");
        state.problem = std::move(sentence);
    }
    due = now + pause.next();
    changes++;
}

} // namespace exporter
