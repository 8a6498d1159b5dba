#include "screenmodel.h"

#include "printable.h"

#include <algorithm>
#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::Row;
using statscatalogue::Kind;

constexpr size_t longestCourse = 600;
constexpr size_t maxEvents = 500;
constexpr size_t longestTyped = 200;

constexpr std::array<double, 6> speeds{1, 2, 5, 10, 60, 300};
constexpr std::array<double, 13> intervals{0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 300, 900, 3600};

/* The kind that has a figure of a whole cache. */
const Kind& kindOf(const statscatalogue::DerivedFigure& derived) {
    return *std::ranges::find_if(statscatalogue::kinds(),
                                 [&](const Kind& kind) { return (kind.bit & derived.kinds) != 0; });
}

/* Of "cache prod~1f2e has gone away: its monitor (process 7) has ended" what is new in a banner. */
std::string shortReason(std::string_view sentence) {
    constexpr std::string_view lead = " has gone away: ";
    const size_t at = sentence.find(lead);
    const std::string_view reason =
        at == std::string_view::npos ? sentence : sentence.substr(at + lead.size());
    const bool isMonitors = reason.starts_with("its monitor (") && reason.ends_with(" has ended");
    return isMonitors ? "its monitor ended" : std::string(reason);
}

} // namespace

std::string intervalText(double seconds) {
    if (seconds < 1) {
        return fmt::format("{:.0f} ms", seconds * 1000);
    }
    return seconds < 60 ? fmt::format("{:g} s", seconds) : fmt::format("{:g} m", seconds / 60);
}

ScreenCache::ScreenCache(const Request& request, View& view) : showing(request, view) {
    for (size_t i = 0; i < headlines.size(); i++) {
        const auto& derived = statscatalogue::headlineFigures()[i];
        headlines[i].figure = samples::derivedFigure(kindOf(derived), derived);
    }
}

void ScreenCache::forget() {
    showing.forget();
    for (Headline& headline : headlines) {
        headline.course.clear();
    }
    recent = {};
    heldNs = goneNs = lastNs = 0;
    goneWhy.clear();
    waitingFor.clear();
    lastMonitor = 0;
}

samples::Number valueIn(const Headline& headline, const samples::History& history) {
    std::vector<samples::Process> own;
    for (const auto& process : history.processes()) {
        if (process.now->kind == headline.figure.kind) {
            own.push_back(process);
        }
    }
    return own.empty() ? samples::Number() : valueOf(headline.figure, own, history.moment());
}

ScreenModel::ScreenModel(Request& asked) : request(asked), table(asked) {}

ScreenCache& ScreenModel::addCache(std::string title, size_t place) {
    place = std::min(place, caches.size());
    current += !caches.empty() && place <= current ? 1U : 0U;
    const auto at = caches.begin() + static_cast<std::ptrdiff_t>(place);
    ScreenCache& cache = **caches.insert(at, std::make_unique<ScreenCache>(request, table));
    cache.title = std::move(title);
    return cache;
}

void ScreenModel::forgetSamples() {
    table.forgetRows();
    for (const auto& cache : caches) {
        cache->forget();
    }
}

void ScreenModel::dropCache(const ScreenCache& cache) {
    const auto found = std::ranges::find(caches, &cache, [](const auto& own) { return own.get(); });
    if (found == caches.end()) {
        return;
    }
    const auto at = static_cast<size_t>(found - caches.begin());
    current -= current > at || current + 1 == caches.size() ? std::min<size_t>(current, 1) : 0;
    table.forgetRows();
    caches.erase(found);
}

void ScreenModel::sampleTaken(ScreenCache& cache) {
    const samples::History& taken = cache.showing.taken();
    const samples::Sample& sample = taken.now();
    /* Nobody knows what was between samples that are much further apart than they should be. */
    const auto mostNs = static_cast<int64_t>(3 * interval() * 1e9) + 2'000'000'000;
    const bool isLate = cache.lastNs != 0 && sample.times.monotonicNs - cache.lastNs > mostNs;
    if (cache.goneNs != 0 || !taken.hasBaseline() || isLate) {
        noteGap(cache, sample.times.monotonicNs);
        cache.recent.breakOff();
    }
    cache.goneNs = 0;
    cache.waitingFor.clear();
    cache.lastMonitor = cache.showing.header().monitorPid;
    for (Headline& headline : cache.headlines) {
        const samples::Number number = valueIn(headline, taken);
        headline.course.push_back(number ? std::optional(number.asDouble()) : std::nullopt);
        if (headline.course.size() > longestCourse && !isPaused) {
            headline.course.pop_front();
        }
    }
    cache.lastNs = sample.times.monotonicNs;
    cache.recent.add(sample, cache.heldNs);
    if (&cache == caches[current].get()) {
        refresh(); /* the rows refer to samples that may be gone */
    }
}

/* An entry without a value for each sample that didn't come. */
void ScreenModel::noteGap(ScreenCache& cache, int64_t monotonicNs) {
    const auto stepNs = static_cast<int64_t>(interval() * 1e9);
    if (cache.lastNs == 0) {
        return;
    }
    for (int i = 0; i < 200 && monotonicNs - cache.lastNs > stepNs * 3 / 2; i++) {
        cache.lastNs += stepNs;
        for (Headline& headline : cache.headlines) {
            headline.course.emplace_back(std::nullopt);
            if (headline.course.size() > longestCourse) {
                headline.course.pop_front();
            }
        }
    }
    cache.lastNs = std::max(cache.lastNs, monotonicNs - stepNs * 3 / 2);
}

void ScreenModel::tick(ScreenCache& cache, int64_t monotonicNs) {
    if (cache.goneNs != 0) {
        noteGap(cache, monotonicNs);
    }
}

void ScreenModel::tick(int64_t monotonicNs) {
    for (const auto& cache : caches) {
        tick(*cache, monotonicNs);
    }
}

void ScreenModel::tell(int64_t realNs, std::string text) {
    insert({realNs, std::move(text)});
}

void ScreenModel::insert(ScreenEvent event) {
    const auto isSame = [&](const ScreenEvent& other) {
        return other.realNs == event.realNs && other.text == event.text;
    };
    const auto first = std::ranges::lower_bound(events, event.realNs, {}, &ScreenEvent::realNs);
    const auto at = std::ranges::upper_bound(events, event.realNs, {}, &ScreenEvent::realNs);
    if (std::any_of(first, at, isSame)) {
        return;
    }
    const auto place = static_cast<size_t>(at - events.begin());
    if (replay && replay->event && place <= *replay->event) {
        ++*replay->event;
    }
    events.insert(at, std::move(event));
    if (events.size() > maxEvents && !canSeek()) {
        events.pop_front();
    }
}

size_t ScreenModel::numPassedEvents() const {
    const int64_t untilNs = canSeek() ? replay->atNs : INT64_MAX;
    const auto end = std::ranges::upper_bound(events, untilNs, {}, &ScreenEvent::realNs);
    return static_cast<size_t>(end - events.begin());
}

void ScreenModel::note(int64_t realNs, std::string_view sentence) {
    message = samples::printable(sentence);
    tell(realNs, message);
}

void ScreenModel::lose(ScreenCache& cache, int64_t realNs, std::string_view sentence) {
    cache.goneNs = realNs;
    cache.goneWhy = shortReason(sentence);
    cache.recent.breakOff();
}

void ScreenModel::happened(ScreenCache& cache, const Event& event) {
    const std::string sentence = samples::printable(event.sentence);
    switch (event.kind) {
    case Event::Kind::Gone:
        lose(cache, event.times.realNs, sentence);
        tell(event.times.realNs, "GONE: " + sentence);
        break;
    case Event::Kind::Back:
        tell(event.times.realNs,
             cache.lastMonitor != 0 && cache.lastMonitor != event.header.monitorPid
                 ? fmt::format("{}; it was {}: rates begin anew", sentence, cache.lastMonitor)
                 : sentence);
        break;
    case Event::Kind::Waiting:
        cache.waitingFor = sentence;
        tell(event.times.realNs, sentence);
        break;
    default:
        tell(event.times.realNs, sentence);
        break;
    }
}

ScreenModel::Identified ScreenModel::identified(const samples::Record& record) {
    return {record.statType, record.pid, record.session, record.startedNs,
            std::string(record.name)};
}

void ScreenModel::refresh() {
    if (caches.empty()) {
        table.forgetRows();
        return;
    }
    table.refresh(cache().showing);
    const auto& rows = table.allRows();
    const auto find = [&](const std::optional<Identified>& wanted) {
        return !wanted ? rows.end() : std::ranges::find_if(rows, [&](const Row& row) {
            return identified(row.record()) == *wanted;
        });
    };
    auto found = find(followed);
    found = found == rows.end() ? find(standIn) : found;
    if (found != rows.end()) {
        selected = static_cast<size_t>(found - rows.begin());
    }
    selected = std::min(selected, rows.empty() ? 0 : rows.size() - 1);
    standIn.reset();
    if (followed && selectedRow() != nullptr) {
        standIn = identified(selectedRow()->record());
    }
}

void ScreenModel::moveTo(size_t row) {
    const size_t number = table.allRows().size();
    selected = number == 0 ? 0 : std::min(row, number - 1);
    followed.reset();
    if (selectedRow() != nullptr) {
        followed = identified(selectedRow()->record());
    }
    standIn = followed;
    topField = isDetail ? topField : 0;
}

void ScreenModel::move(int64_t rows) {
    const auto moved = [&](size_t from) {
        return static_cast<size_t>(std::max<int64_t>(static_cast<int64_t>(from) + rows, 0));
    };
    if (overlay == Overlay::Help) {
        topHelp = moved(topHelp);
    } else if (overlay == Overlay::Events) {
        chosenEvent = std::min(moved(chosenEvent), std::max<size_t>(events.size(), 1) - 1);
    } else if (overlay == Overlay::Columns) {
        chosenFigure = std::min(moved(chosenFigure), std::max<size_t>(choosable().size(), 1) - 1);
    } else if (isDetail) {
        topField = moved(topField);
    } else {
        moveTo(moved(selected));
    }
}

void ScreenModel::chooseRow(size_t row) {
    isDetail = false;
    moveTo(row);
}

void ScreenModel::chooseTitle(size_t row, size_t column) {
    const auto& columns = table.sectionOf(table.allRows()[row]).columns;
    if (column < columns.size()) {
        table.sortBy(columns[column]);
    }
    refresh();
}

void ScreenModel::scroll(int lines) {
    move(lines);
}

std::vector<samples::Figure> ScreenModel::choosable() const {
    const Row* row = selectedRow();
    if (row == nullptr || row->kind() == nullptr) {
        return {};
    }
    return figuresOf(*row->kind(), request.annotations);
}

void ScreenModel::pause(bool isOn) {
    isPaused = isOn;
    for (const auto& owned : caches) {
        ScreenCache& cache = *owned;
        if (!isOn) {
            cache.showing.release();
            cache.heldNs = 0;
        } else if (!cache.showing.taken().isEmpty()) {
            cache.heldNs = cache.showing.taken().now().times.monotonicNs;
            cache.showing.hold();
        }
    }
}

/* In a replay, samples that come earlier are passed over. */
ScreenModel::Wish ScreenModel::changeInterval(int step) {
    if (replay && !replay->canSeek) {
        message = "the interval is that of the reader at the other end of the stream";
        return Wish::Nothing;
    }
    const double now = interval();
    double next = now;
    if (step > 0) {
        const auto found =
            std::ranges::find_if(intervals, [&](double s) { return s > now * 1.01; });
        next = found == intervals.end() ? now : *found;
    } else {
        for (const double s : intervals) {
            next = s < now * 0.99 ? s : next;
        }
    }
    if (next == now) {
        message = step > 0 ? "the interval is the longest already"
                           : "the interval is the shortest already";
        return Wish::Nothing;
    }
    request.interval = next;
    if (replay && next <= replay->distance * 1.01) {
        request.interval.reset();
        message = "every sample that was recorded";
        return now > replay->distance * 1.01 ? Wish::Interval : Wish::Nothing;
    }
    message = "every " + intervalText(next);
    return Wish::Interval;
}

/* Esc: one step out, of what is open or what is left out. */
void ScreenModel::back() {
    if (overlay != Overlay::None) {
        overlay = Overlay::None;
    } else if (isDetail) {
        isDetail = false;
    } else {
        table.filterRows("");
        table.filterFields("");
    }
}

void ScreenModel::applyFilter() {
    if (prompt == Prompt::Rows) {
        const std::string problem = table.filterRows(typed);
        isMessageProblem = !problem.empty();
        message = problem.empty() ? "" : "the expression does not compile: " + problem;
    } else {
        table.filterFields(typed);
        topField = 0;
        firstColumn = 0;
    }
}

ScreenModel::Wish ScreenModel::acceptAnswer() {
    const Wish wish = prompt == Prompt::Mark   ? Wish::Mark
                      : prompt == Prompt::Time ? Wish::GoToTyped
                                               : Wish::Record;
    prompt = Prompt::None;
    answer = std::move(typed);
    typed.clear();
    return wish != Wish::Mark && answer.empty() ? Wish::Nothing : wish;
}

/* A filter is at work with each key; a file or a mark with the last one. */
ScreenModel::Wish ScreenModel::typeKey(Key key) {
    const bool isFilter = prompt == Prompt::Rows || prompt == Prompt::Fields;
    if (key == keys::enter && !isFilter) {
        return acceptAnswer();
    }
    const bool isOver = key == keys::enter || key == keys::escape;
    if (key == keys::escape || key == keys::clear) {
        typed.clear();
    } else if (key == keys::backspace) {
        typed.resize(typed.size() - (typed.empty() ? 0 : 1));
    } else if (key >= ' ' && key < keys::backspace && typed.size() < longestTyped) {
        typed += static_cast<char>(key);
    }
    if (isFilter) {
        applyFilter();
    }
    prompt = isOver ? Prompt::None : prompt;
    return Wish::Nothing;
}

void ScreenModel::openPrompt(Command command) {
    constexpr std::pair<Command, Prompt> prompts[] = {{Command::FilterRows, Prompt::Rows},
                                                      {Command::FilterFields, Prompt::Fields},
                                                      {Command::Record, Prompt::Recording},
                                                      {Command::Mark, Prompt::Mark},
                                                      {Command::GoTo, Prompt::Time}};
    prompt = std::ranges::find(prompts, command, &std::pair<Command, Prompt>::first)->second;
    typed = prompt == Prompt::Rows        ? table.rowFilter()
            : prompt == Prompt::Fields    ? table.fieldFilter()
            : prompt == Prompt::Recording ? fileToRecord
                                          : "";
}

void ScreenModel::chooseColumn(Key key) {
    const auto figures = choosable();
    if (key == 'd' && selectedRow() != nullptr) {
        table.restoreColumns(*selectedRow());
    } else if (chosenFigure < figures.size()) {
        std::string name;
        figures[chosenFigure].appendLabel(name);
        table.toggleColumn(*selectedRow(), name);
    }
}

ScreenModel::Wish ScreenModel::press(Key key) {
    message.clear();
    isMessageProblem = false;
    Wish wish = Wish::Nothing;
    if (prompt != Prompt::None) {
        wish = typeKey(key);
    } else if (overlay == Overlay::Columns && (key == ' ' || key == 'd')) {
        chooseColumn(key);
    } else if (overlay == Overlay::Columns && (key == keys::enter || key == 'c')) {
        overlay = Overlay::None;
    } else if (overlay == Overlay::Events && (key == keys::enter || key == 'e')) {
        overlay = Overlay::None;
        if (key == keys::enter && canSeek() && chosenEvent < events.size()) {
            wish = goToEvent(chosenEvent);
        }
    } else if (const auto command = commandOf(key)) {
        wish = obey(*command, key);
    }
    refresh();
    return wish;
}

void ScreenModel::refuseKey(Command command) {
    message =
        command == Command::Record
            ? "it is recorded already; --read FILE --start A --end B --write NEW copies a part"
        : command == Command::Mark
            ? "marks are set while caches are watched; what is recorded stays as it is"
        : replay ? "a stream from a pipe goes forwards only; record it (w) to look back"
                 : "that key moves in what was recorded: tvsistat -i --read FILE";
    isMessageProblem = true;
}

ScreenModel::Wish ScreenModel::goTo(int64_t realNs, ScreenGoal::Sample sample) {
    goal = {std::clamp(realNs, replay->firstNs, std::max(replay->firstNs, replay->lastNs)), sample};
    replay->event.reset();
    return Wish::GoTo;
}

void ScreenModel::showCache(size_t place) {
    current = place;
    followed.reset();
    standIn.reset();
    selected = topItem = 0;
}

/* Of a cache that has come, its first sample is shown. */
ScreenModel::Wish ScreenModel::goToEvent(size_t event) {
    const ScreenEvent& chosen = events[event];
    const bool isArrival = chosen.kind == ScreenEvent::Kind::There;
    goTo(chosen.realNs, isArrival ? ScreenGoal::Sample::After : ScreenGoal::Sample::Any);
    replay->event = event;
    const auto own = std::ranges::find_if(
        caches, [&](const auto& cache) { return cache->title == chosen.cache; });
    const auto place = static_cast<size_t>(own - caches.begin());
    if (place < caches.size() && place != current) {
        showCache(place);
    }
    message = chosen.text;
    return Wish::GoTo;
}

ScreenModel::Wish ScreenModel::chooseMoment(size_t cell, size_t cells) {
    if (!canSeek() || overlay != Overlay::None || cells < 2) {
        return Wish::Nothing;
    }
    const double share = static_cast<double>(cell) / static_cast<double>(cells - 1);
    const auto distance = static_cast<double>(replay->lastNs - replay->firstNs);
    return goTo(replay->firstNs + static_cast<int64_t>(distance * share),
                cell + 1 == cells ? ScreenGoal::Sample::Before : ScreenGoal::Sample::After);
}

void ScreenModel::play(bool isOn) {
    replay->isPlaying = isOn;
    replay->event.reset();
}

void ScreenModel::changeSpeed(int step) {
    double& speed = replay->speed;
    double next = speed;
    if (step > 0) {
        const auto found = std::ranges::find_if(speeds, [&](double s) { return s > speed; });
        next = found == speeds.end() ? speed : *found;
    } else {
        for (const double s : speeds) {
            next = s < speed ? s : next;
        }
    }
    message = next == speed ? fmt::format("that is the {} speed", step > 0 ? "greatest" : "lowest")
                            : fmt::format("{:g} times as fast as it was{}", next,
                                          replay->isPlaying ? "" : ": p plays");
    speed = next;
}

ScreenModel::Wish ScreenModel::obeyReplay(Command command) {
    using Sample = ScreenGoal::Sample;
    constexpr int64_t minuteNs = 60'000'000'000;
    if (!canSeek()) {
        refuseKey(command);
        return Wish::Nothing;
    }
    const size_t passed = numPassedEvents();
    switch (command) {
    case Command::SampleBack:
    case Command::SampleForward:
        play(false);
        return command == Command::SampleBack ? Wish::SampleBack : Wish::SampleForward;
    case Command::MinuteBack:
        return goTo(replay->atNs - minuteNs, Sample::Before);
    case Command::MinuteForward:
        return goTo(replay->atNs + minuteNs, Sample::After);
    case Command::Play:
        if (replay->isAtEnd && !replay->isPlaying) {
            message = "this is the end: Home goes to the beginning";
        } else {
            play(!replay->isPlaying);
        }
        return Wish::Nothing;
    case Command::Faster:
    case Command::Slower:
        changeSpeed(command == Command::Faster ? 1 : -1);
        return Wish::Nothing;
    case Command::GoTo:
        openPrompt(command);
        return Wish::Nothing;
    case Command::NextEvent: {
        const size_t next = replay->event ? *replay->event + 1 : passed;
        if (next < events.size()) {
            return goToEvent(next);
        }
        message = "no event or mark comes later";
        return Wish::Nothing;
    }
    default: {
        const bool isOnOne = passed > 0 && events[passed - 1].realNs == replay->atNs;
        const size_t end = replay->event ? *replay->event : passed - (isOnOne ? 1U : 0U);
        if (end > 0) {
            return goToEvent(end - 1);
        }
        message = "no event or mark is earlier";
        return Wish::Nothing;
    }
    }
}

/* Begins or ends a recording, asks for its name first, or for the text of a mark. */
ScreenModel::Wish ScreenModel::obeyRecorder(Command command) {
    if (canSeek()) {
        refuseKey(command);
        return Wish::Nothing;
    }
    if (command == Command::Record && !recordedTo.empty()) {
        answer.clear();
        return Wish::Record;
    }
    openPrompt(command);
    return Wish::Nothing;
}

ScreenModel::Wish ScreenModel::obey(Command command, Key key) {
    const auto page = static_cast<int64_t>(std::max<size_t>(pageSize, 2) - 1);
    constexpr int64_t far = INT32_MAX;
    switch (command) {
    case Command::Up:
        move(-1);
        return Wish::Nothing;
    case Command::Down:
        move(1);
        return Wish::Nothing;
    case Command::PageUp:
        move(-page);
        return Wish::Nothing;
    case Command::PageDown:
        move(page);
        return Wish::Nothing;
    case Command::Home:
    case Command::End:
        if (canSeek() && overlay == Overlay::None) {
            return command == Command::Home ? goTo(replay->firstNs, ScreenGoal::Sample::After)
                                            : goTo(replay->lastNs, ScreenGoal::Sample::Before);
        }
        move(command == Command::Home ? -far : far);
        return Wish::Nothing;
    case Command::First:
        move(-far);
        return Wish::Nothing;
    case Command::Last:
        move(far);
        return Wish::Nothing;
    case Command::Back:
        back();
        return Wish::Nothing;
    case Command::Quit:
        if (overlay == Overlay::None) {
            return Wish::Quit;
        }
        overlay = Overlay::None;
        return Wish::Nothing;
    case Command::Help:
        overlay = overlay == Overlay::Help ? Overlay::None : Overlay::Help;
        topHelp = 0;
        return Wish::Nothing;
    case Command::Redraw:
        return Wish::Redraw;
    default:
        break;
    }
    if (overlay != Overlay::None) {
        return Wish::Nothing;
    }
    switch (command) {
    case Command::Left:
        firstColumn -= std::min<size_t>(firstColumn, 1);
        break;
    case Command::Right:
        firstColumn++;
        break;
    case Command::NextView:
        table.show(
            static_cast<ScreenView>((static_cast<size_t>(table.view()) + 1) % numScreenViews));
        firstColumn = topItem = 0;
        break;
    case Command::View:
        table.show(static_cast<ScreenView>(key - '1'));
        firstColumn = topItem = 0;
        break;
    case Command::Detail:
        isDetail = selectedRow() != nullptr;
        topField = 0;
        break;
    case Command::NextCache:
        showCache((current + 1) % std::max<size_t>(caches.size(), 1));
        break;
    case Command::SampleBack:
    case Command::SampleForward:
    case Command::MinuteBack:
    case Command::MinuteForward:
    case Command::Play:
    case Command::Faster:
    case Command::Slower:
    case Command::GoTo:
    case Command::PreviousEvent:
    case Command::NextEvent:
        return obeyReplay(command);
    case Command::Events:
        overlay = Overlay::Events;
        chosenEvent = numPassedEvents() - std::min<size_t>(numPassedEvents(), 1);
        break;
    case Command::Record:
    case Command::Mark:
        return obeyRecorder(command);
    case Command::FilterRows:
    case Command::FilterFields:
        openPrompt(command);
        break;
    case Command::HideIdle:
        table.hideIdle(!table.hidesIdle());
        break;
    case Command::Columns:
        overlay = selectedRow() != nullptr ? Overlay::Columns : Overlay::None;
        chosenFigure = topFigure = 0;
        break;
    case Command::SortLeft:
    case Command::SortRight:
        if (selectedRow() != nullptr) {
            table.moveSort(*selectedRow(), command == Command::SortLeft ? -1 : 1);
        }
        break;
    case Command::Reverse:
        table.reverse();
        break;
    case Command::Pause:
        if (canSeek()) {
            return obeyReplay(Command::Play);
        }
        pause(!isPaused);
        break;
    case Command::LongerInterval:
        return changeInterval(1);
    case Command::ShorterInterval:
        return changeInterval(-1);
    case Command::Printing:
        table.nextPrinting();
        break;
    case Command::Scaled:
        table.toggleScale();
        break;
    default:
        break;
    }
    return Wish::Nothing;
}

} // namespace tvsistat
