#include "livescreen.h"

#include "cachewatch.h"
#include "discovery.h"
#include "output.h"
#include "recorder.h"
#include "screenlayout.h"
#include "screenmodel.h"
#include "stopsignal.h"
#include "targets.h"
#include "terminal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <unistd.h>
#include <utility>

namespace tvsistat {
namespace {

using namespace std::chrono_literals;
using samples::ExitStatus;
using samples::Failure;
using Phase = CacheWatch::Phase;

constexpr int wheelLines = 3;
constexpr auto listingPause = 5s;
constexpr size_t mostListed = size_t{4} << 20; /* bytes */

Deadline now() {
    return std::chrono::steady_clock::now();
}

int64_t nanosecondsOn(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

class LiveScreen {
public:
    LiveScreen(Request& asked, Terminal& on) : request(asked), terminal(on), model(asked) {
        model.fileToRecord = asked.recording ? asked.recording->path : "tvsistat.recording";
    }

    /* Why it ends; nothing when it was quit. */
    std::optional<Failure> run(std::vector<Target> targets, std::unique_ptr<Recorder> opened);

private:
    void add(Target target);
    int wait();
    void readStreams();
    void takeSamples(size_t at);
    void dropDoubles();
    void noteFailures();
    std::optional<Failure> failureOfAll() const;
    bool takeInputs();
    void take(const Input& input);
    void click(const Input& input);
    void obey(ScreenModel::Wish wish);
    void record();
    void recordTo(std::unique_ptr<Recorder> opened, std::string path);
    void mark();
    void startListing();
    void readListing();
    void addNewCaches(const samples::CacheListings& found);
    void show();

    Request& request;
    Terminal& terminal;
    ScreenModel model;
    std::vector<std::unique_ptr<CacheWatch>> watches;
    std::vector<ScreenCache*> screens; /* by watch */
    std::vector<bool> isTold;          /* by watch: that it is over */
    std::vector<pollfd> descriptors;   /* two a watch, then others */
    std::vector<Input> inputs;
    std::unique_ptr<Recorder> recorder;
    std::optional<samples::ReaderProcess> listing; /* of the caches of the host */
    std::string listed;
    Deadline nextListing = noDeadline;
    Picture picture;
    Deadline nextSecond; /* the clock shows another one */
    bool isStale = true; /* the picture */
    bool hasQuit = false;
};

void LiveScreen::add(Target target) {
    ScreenCache& cache = model.addCache(target.title());
    cache.waitingFor = target.title() + ": attaching it";
    const auto sink = [this, &cache](const Event& event) {
        model.happened(cache, event);
        isStale = true;
    };
    watches.push_back(
        std::make_unique<CacheWatch>(request, cache.showing, sink, std::move(target)));
    if (recorder) {
        watches.back()->recordTo(*recorder);
    }
    screens.push_back(&cache);
    isTold.push_back(false);
}

/* Waits for streams, keys, signals, the clock, or a terminal that takes more. */
int LiveScreen::wait() {
    descriptors.clear();
    Deadline next = std::min(nextSecond, listing ? noDeadline : nextListing);
    next = recorder ? std::min(next, recorder->nextDeadline()) : next;
    for (const auto& watch : watches) {
        descriptors.push_back({watch->fd(), POLLIN, 0});
        descriptors.push_back({watch->successorFd(), POLLIN, 0});
        next = std::min(next, watch->nextDeadline());
    }
    descriptors.push_back({listing ? listing->fd() : -1, POLLIN, 0});
    descriptors.push_back({terminal.signalFd(), POLLIN, 0});
    descriptors.push_back({STDIN_FILENO, POLLIN, 0});
    descriptors.push_back({terminal.isBusy() ? terminal.outputFd() : -1, POLLOUT, 0});
    return pollUntil(descriptors, next) < 0 ? errno : 0;
}

/* Samples that have come, one after the other: each is part of the courses. */
void LiveScreen::takeSamples(size_t at) {
    CacheWatch& watch = *watches[at];
    watch.readOn();
    while (watch.hasSample()) {
        model.sampleTaken(*screens[at]);
        isStale = true;
        watch.release();
        watch.readOn();
    }
}

void LiveScreen::readStreams() {
    const Deadline moment = now();
    for (size_t i = 0; i < watches.size(); i++) {
        const bool isReady = 2 * i + 1 < descriptors.size() &&
                             (descriptors[2 * i].revents | descriptors[2 * i + 1].revents) != 0;
        if (isReady) {
            takeSamples(i);
        }
        watches[i]->advance(moment);
    }
    dropDoubles();
    noteFailures();
}

void LiveScreen::dropDoubles() {
    while (const auto found = findDouble(watches)) {
        const auto at = static_cast<std::ptrdiff_t>(*found);
        watches[*found]->drop();
        model.dropCache(*screens[*found]);
        watches.erase(watches.begin() + at);
        screens.erase(screens.begin() + at);
        isTold.erase(isTold.begin() + at);
        descriptors.clear();
        isStale = true;
    }
}

/* A watch that is over says why, once, in place of its figures. */
void LiveScreen::noteFailures() {
    for (size_t i = 0; i < watches.size(); i++) {
        const auto& failure = watches[i]->failure();
        if (!failure || isTold[i]) {
            continue;
        }
        isTold[i] = true;
        isStale = true;
        const samples::StreamHeader& header = watches[i]->showing().header();
        const bool hadSample = !watches[i]->showing().taken().isEmpty();
        const samples::Times times{nanosecondsOn(CLOCK_REALTIME), nanosecondsOn(CLOCK_MONOTONIC)};
        model.happened(*screens[i], {hadSample ? Event::Kind::Gone : Event::Kind::Waiting, header,
                                     times, failure->status, failure->sentence});
    }
}

/* When nothing could be attached at all, there is nothing to show. */
std::optional<Failure> LiveScreen::failureOfAll() const {
    const bool isNone = !watches.empty() && std::ranges::all_of(watches, [](const auto& watch) {
        return watch->phase() == Phase::Over && watch->showing().taken().isEmpty();
    });
    return isNone ? watches[0]->failure() : std::nullopt;
}

void LiveScreen::obey(ScreenModel::Wish wish) {
    switch (wish) {
    case ScreenModel::Wish::Quit:
        hasQuit = true;
        break;
    case ScreenModel::Wish::Interval:
        for (const auto& watch : watches) {
            watch->changeInterval();
        }
        break;
    case ScreenModel::Wish::Record:
        record();
        break;
    case ScreenModel::Wish::Mark:
        mark();
        break;
    case ScreenModel::Wish::Redraw:
        terminal.repaint();
        break;
    case ScreenModel::Wish::Nothing:
        break;
    }
}

void LiveScreen::recordTo(std::unique_ptr<Recorder> opened, std::string path) {
    recorder = std::move(opened);
    recorder->tellTo([this](std::string_view sentence) {
        model.note(nanosecondsOn(CLOCK_REALTIME), sentence);
        isStale = true;
    });
    for (const auto& watch : watches) {
        watch->recordTo(*recorder);
    }
    model.recordedTo = model.fileToRecord = std::move(path);
    model.note(nanosecondsOn(CLOCK_REALTIME), "recording to " + model.recordedTo);
}

/* Begins a recording of every cache into the file that was typed, or ends the one that runs. */
void LiveScreen::record() {
    const int64_t nowNs = nanosecondsOn(CLOCK_REALTIME);
    if (recorder) {
        for (const auto& watch : watches) {
            watch->stopRecording();
        }
        recorder.reset();
        model.note(nowNs, "the recording " + std::exchange(model.recordedTo, {}) + " has ended");
        return;
    }
    RecordingRequest wanted{model.answer, {}};
    if (request.recording && request.recording->path == model.answer) {
        wanted.options = request.recording->options;
    }
    auto opened = Recorder::open(wanted);
    if (const auto* failure = std::get_if<Failure>(&opened)) {
        model.note(nowNs, failure->sentence);
        return;
    }
    recordTo(std::move(std::get<std::unique_ptr<Recorder>>(opened)), model.answer);
}

void LiveScreen::mark() {
    for (const auto& watch : watches) {
        watch->mark(model.answer);
    }
    model.note(nanosecondsOn(CLOCK_REALTIME), "mark: " + model.answer);
}

/* With every cache: those that have come since join. Listing them is another program's work, which
 * nobody waits for. */
void LiveScreen::startListing() {
    nextListing = now() + listingPause;
    auto started = samples::ReaderProcess::start({"--list"}, -1);
    if (auto* reader = std::get_if<samples::ReaderProcess>(&started)) {
        listing = std::move(*reader);
        listed.clear();
    }
}

void LiveScreen::readListing() {
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

void LiveScreen::addNewCaches(const samples::CacheListings& found) {
    for (const auto& cache : found) {
        const bool isKnown = std::ranges::any_of(watches, [&](const auto& watch) {
            return watch->target() == Target{false, cache.location} ||
                   watch->showing().header().location == cache.location;
        });
        if (!isKnown && cache.isReadable) {
            model.note(nanosecondsOn(CLOCK_REALTIME), "cache " + cache.location + " has appeared");
            add({false, cache.location});
        }
    }
}

void LiveScreen::click(const Input& input) {
    for (const auto& title : picture.titles) {
        if (input.y == title.y && input.x >= title.begin && input.x < title.end &&
            title.row < model.table.allRows().size()) {
            model.chooseTitle(title.row, title.column);
            return;
        }
    }
    for (const auto& row : picture.rows) {
        if (input.y == row.y && input.x < row.end) {
            model.chooseRow(row.row);
            return;
        }
    }
}

void LiveScreen::take(const Input& input) {
    switch (input.kind) {
    case Input::Kind::Typed:
        if (input.key != keys::none) {
            obey(model.press(input.key));
        }
        break;
    case Input::Kind::Click:
        click(input);
        break;
    case Input::Kind::WheelUp:
        model.scroll(-wheelLines);
        break;
    case Input::Kind::WheelDown:
        model.scroll(wheelLines);
        break;
    }
    isStale = true;
}

bool LiveScreen::takeInputs() {
    inputs.clear();
    const bool isThere = terminal.readInputs(inputs);
    for (const Input& input : inputs) {
        take(input);
    }
    return isThere;
}

void LiveScreen::show() {
    const int64_t realNs = nanosecondsOn(CLOCK_REALTIME);
    if (now() >= nextSecond) {
        model.tick(nanosecondsOn(CLOCK_MONOTONIC));
        nextSecond = now() + std::chrono::nanoseconds(1'000'000'000 - realNs % 1'000'000'000);
        isStale = true;
    }
    if (!isStale || terminal.isBusy()) {
        return;
    }
    isStale = false;
    model.refresh();
    picture =
        layOut(model, {{terminal.width(), terminal.height()}, realNs, terminal.takesUnicode()});
    terminal.paint(picture.grid);
}

std::optional<Failure> LiveScreen::run(std::vector<Target> targets,
                                       std::unique_ptr<Recorder> opened) {
    if (opened) {
        recordTo(std::move(opened), model.fileToRecord);
    }
    for (Target& target : targets) {
        add(std::move(target));
    }
    nextListing = request.takesAll ? now() + listingPause : noDeadline;
    while (!hasQuit) {
        readStreams();
        if (recorder) {
            recorder->advance();
        }
        if (listing) {
            readListing();
        } else if (now() >= nextListing) {
            startListing();
        }
        if (auto failure = failureOfAll()) {
            return failure;
        }
        if (terminal.handleSignals()) {
            isStale = true;
        }
        if (!takeInputs() || hasQuit) {
            break;
        }
        show();
        if (!terminal.flush() || wait() != 0) {
            break;
        }
    }
    return std::nullopt;
}

} // namespace

ExitStatus liveScreen(Request& request) {
    const auto fail = [](const Failure& failure) {
        complain(failure.sentence);
        return failure.status;
    };
    if (const auto refusal = Terminal::refusal()) {
        return fail(*refusal);
    }
    auto found = findTargets(request);
    if (const auto* failure = std::get_if<Failure>(&found)) {
        return fail(*failure);
    }
    request.follows = true;
    request.interval = request.interval.value_or(1);
    catchStopSignals();
    std::unique_ptr<Recorder> recorder;
    if (request.recording) {
        auto recording = Recorder::open(*request.recording);
        if (const auto* failure = std::get_if<Failure>(&recording)) {
            return fail(*failure);
        }
        recorder = std::move(std::get<std::unique_ptr<Recorder>>(recording));
    }
    std::optional<Failure> end;
    {
        auto opened = Terminal::open();
        if (const auto* failure = std::get_if<Failure>(&opened)) {
            return fail(*failure);
        }
        Terminal& terminal = *std::get<std::unique_ptr<Terminal>>(opened);
        end = LiveScreen(request, terminal)
                  .run(std::move(std::get<std::vector<Target>>(found)), std::move(recorder));
    }
    return end ? fail(*end) : ExitStatus::Ok;
}

} // namespace tvsistat
