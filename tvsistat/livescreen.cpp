#include "livescreen.h"

#include "livefeed.h"
#include "messagesource.h"
#include "output.h"
#include "replayfeed.h"
#include "screenlayout.h"
#include "screenmodel.h"
#include "stopsignal.h"
#include "terminal.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace tvsistat {
namespace {

using samples::ExitStatus;
using samples::Failure;

constexpr int wheelLines = 3;

Deadline now() {
    return std::chrono::steady_clock::now();
}

/* Brings the feed, the terminal and the clock together. */
class LiveScreen {
public:
    LiveScreen(ScreenModel& shown, ScreenFeed& from, Terminal& on)
        : model(shown), feed(from), terminal(on) {}

    /* Why it ends; nothing when it was quit. */
    std::optional<Failure> run();

private:
    int wait();
    bool takeInputs();
    void take(const Input& input);
    void click(const Input& input);
    void obey(ScreenModel::Wish wish);
    void show();

    ScreenModel& model;
    ScreenFeed& feed;
    Terminal& terminal;
    std::vector<pollfd> descriptors;
    std::vector<Input> inputs;
    Picture picture;
    Deadline nextSecond; /* the clock shows another one */
    bool isStale = true; /* the picture */
    bool hasQuit = false;
};

/* Waits for the feed, keys, signals, the clock, or a terminal that takes more. */
int LiveScreen::wait() {
    descriptors.clear();
    feed.addDescriptors(descriptors);
    descriptors.push_back({terminal.signalFd(), POLLIN, 0});
    descriptors.push_back({STDIN_FILENO, POLLIN, 0});
    descriptors.push_back({terminal.isBusy() ? terminal.outputFd() : -1, POLLOUT, 0});
    return pollUntil(descriptors, std::min(nextSecond, feed.nextDeadline())) < 0 ? errno : 0;
}

void LiveScreen::obey(ScreenModel::Wish wish) {
    if (wish == ScreenModel::Wish::Quit) {
        hasQuit = true;
    } else if (wish == ScreenModel::Wish::Redraw) {
        terminal.repaint();
    } else {
        feed.obey(wish);
    }
}

void LiveScreen::click(const Input& input) {
    const auto& line = picture.timeline;
    if (line.end > line.begin && input.y == line.y && input.x >= line.begin && input.x < line.end) {
        obey(model.chooseMoment(input.x - line.begin, line.end - line.begin));
        return;
    }
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
    const int64_t realNs = realNow();
    if (now() >= nextSecond) {
        feed.tick();
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

std::optional<Failure> LiveScreen::run() {
    while (!hasQuit) {
        if (terminal.handleSignals()) {
            isStale = true;
        }
        if (!takeInputs() || hasQuit) {
            break;
        }
        isStale = feed.advance() || isStale;
        if (auto failure = feed.failure()) {
            return failure;
        }
        show();
        if (!terminal.flush() || wait() != 0) {
            break;
        }
    }
    return std::nullopt;
}

/* Standard input as a stream to read; its place is taken by the terminal, where the keys come from.
 */
std::variant<samples::Descriptor, Failure> exchangeInput() {
    samples::Descriptor stream(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const samples::Descriptor keys(open("/dev/tty", O_RDWR | O_CLOEXEC));
    if (stream.get() < 0 || keys.get() < 0 || dup2(keys.get(), STDIN_FILENO) < 0) {
        return Failure{ExitStatus::Usage,
                       "-i with --read - takes its keys from the terminal that it runs on, and "
                       "there is none; put the stream into a file, or leave -i out"};
    }
    return stream;
}

using OpenedFeed = std::variant<std::unique_ptr<ScreenFeed>, Failure>;

OpenedFeed openFeed(Request& request, ScreenModel& model, samples::Descriptor input) {
    if (request.reads.empty()) {
        request.follows = true;
        request.interval = request.interval.value_or(1);
        return openLiveFeed(request, model);
    }
    std::variant<std::unique_ptr<MessageSource>, Failure> source;
    if (input.get() >= 0) {
        source = openStream(std::move(input));
    } else {
        source = openSource(request.reads);
    }
    if (auto* failure = std::get_if<Failure>(&source)) {
        return std::move(*failure);
    }
    return openReplayFeed(request, model,
                          std::move(std::get<std::unique_ptr<MessageSource>>(source)));
}

} // namespace

ExitStatus liveScreen(Request& request) {
    const auto fail = [](const Failure& failure) {
        complain(failure.sentence);
        return failure.status;
    };
    samples::Descriptor input;
    if (std::ranges::find(request.reads, "-") != request.reads.end()) {
        auto exchanged = exchangeInput();
        if (const auto* failure = std::get_if<Failure>(&exchanged)) {
            return fail(*failure);
        }
        input = std::move(std::get<samples::Descriptor>(exchanged));
    }
    if (const auto refusal = Terminal::refusal()) {
        return fail(*refusal);
    }
    ScreenModel model(request);
    auto feed = openFeed(request, model, std::move(input));
    if (const auto* failure = std::get_if<Failure>(&feed)) {
        return fail(*failure);
    }
    catchStopSignals();
    ScreenFeed& samples = *std::get<std::unique_ptr<ScreenFeed>>(feed);
    std::optional<Failure> end;
    {
        auto opened = Terminal::open();
        if (const auto* failure = std::get_if<Failure>(&opened)) {
            return fail(*failure);
        }
        end = LiveScreen(model, samples, *std::get<std::unique_ptr<Terminal>>(opened)).run();
    }
    return end ? fail(*end) : samples.status();
}

} // namespace tvsistat
