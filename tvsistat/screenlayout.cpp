#include "screenlayout.h"

#include "numbertext.h"
#include "printable.h"
#include "sparkline.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <span>

namespace tvsistat {
namespace {

using samples::Figure;
using samples::ProcessState;
using samples::Row;
using Overlay = ScreenModel::Overlay;
using Prompt = ScreenModel::Prompt;
using TableColumn = ScreenTable::TableColumn;

constexpr size_t gap = 2;
constexpr size_t linesOfEvents = 7;
constexpr size_t lowHeight = 16; /* below this only what is needed most */

constexpr std::string_view legend[] = {
    "bold: has changed since the sample before; dim: zero",
    "!  behind a number: beyond what is usual (hit% < 80, free% < 5, slots% > 90, me% > 95,",
    "   abort% > 20, fail% > 5)",
    "=  behind a number: its owner has ended or is stopped, it stands still",
    "-  there is nothing; ? is a unit that nobody recorded",
    "an arrow (v) behind a title: sorted, the greatest first; up (^): the smallest first",
    "> there are more columns at the right, < at the left",
    "x + m  on the line of a recording: a cache was gone, was there (again), a mark",
    "the mouse chooses a row, sorts by a title, goes to a moment on that line; it scrolls",
};

class Layouter {
public:
    Layouter(ScreenModel& shown, const Surface& on)
        : model(shown), surface(on), width(on.size.width), height(on.size.height),
          nowNs(shown.replay ? shown.replay->atNs : on.nowNs), times(shown.request.layout.isUtc),
          grid(on.size.width, on.size.height) {}

    Picture make();

private:
    void tooSmall();
    void titleLine();
    void banners();
    void banner(std::string_view text, uint8_t look);
    void headlines();
    void headline(const Headline& shown, size_t x, size_t room);
    void viewLine();
    void table(size_t end, size_t bottom);
    void findTop(size_t room);
    void measure(size_t firstItem, size_t room);
    size_t heading(const Row& row, size_t rowIndex, size_t at, size_t end, bool hasUnits);
    void row(size_t index, size_t at, size_t end);
    template <class Visit> void eachColumn(const Row& row, size_t end, Visit visit);
    void settleColumns(const Row& row, size_t end);
    void detail(size_t begin, size_t bottom);
    void detailLine(const Figure& figure, const Row& shown, size_t begin, size_t at,
                    const std::vector<RecentSamples::Sighting>& sightings);
    void eventLog(size_t at);
    void eventLine(size_t index, size_t at);
    std::vector<std::string> restOfEvent(size_t index);
    std::string timeOfEvent(size_t index);
    void eventList();
    void lastLine();
    void help();
    void columnChoice();
    std::string clock(int64_t realNs);
    std::string longClock(int64_t realNs);
    std::string replayText();
    std::string replayState();
    bool hasTimeLine() const {
        return model.canSeek() && height >= lowHeight &&
               model.replay->lastNs > model.replay->firstNs;
    }
    void timeLine();
    bool isStill(const statscatalogue::Kind* kind) const;
    uint8_t dimmed() const { return cache != nullptr && cache->goneNs != 0 ? dimLook : plainLook; }

    ScreenModel& model;
    const Surface& surface;
    const size_t width, height;
    const int64_t nowNs; /* what is shown is of this moment */
    TimeText times;
    Grid grid;
    Picture picture;
    ScreenCache* cache = nullptr;
    size_t y = 0;
};

std::string Layouter::clock(int64_t realNs) {
    std::string text;
    times.appendShort(text, realNs / 1'000'000'000, nowNs);
    return text;
}

/* "10:59:59"; on another day than today with the date, and with tenths where samples come fast. */
std::string Layouter::longClock(int64_t realNs) {
    std::string text;
    times.append(text, realNs, 0);
    std::string today;
    times.append(today, surface.nowNs, 0);
    constexpr size_t dateLength = 10;
    const bool isToday = text.substr(0, dateLength) == today.substr(0, dateLength);
    text[dateLength] = ' ';
    text = text.substr(isToday ? dateLength + 1 : 0, isToday ? 8 : dateLength + 9);
    if (model.replay && model.replay->distance > 0 && model.replay->distance < 1) {
        text += fmt::format(".{}", realNs / 100'000'000 % 10);
    }
    return text;
}

std::string Layouter::replayState() {
    const ScreenReplay& replay = *model.replay;
    return replay.isReading ? "reads"
           : replay.isAtEnd
               ? "at its end"
               : fmt::format("{} x{:g}", replay.isPlaying ? "plays" : "stands", replay.speed);
}

/* What kind of replay it is, its moment, and where that is when no line shows it. */
std::string Layouter::replayText() {
    const ScreenReplay& replay = *model.replay;
    if (!replay.canSeek) {
        return fmt::format("STREAM {}{}", replay.isAtEnd ? "ended " : "", longClock(replay.atNs));
    }
    if (hasTimeLine()) {
        return "REPLAY " + longClock(replay.atNs);
    }
    const auto length = static_cast<double>(replay.lastNs - replay.firstNs);
    const double share =
        length > 0 ? static_cast<double>(replay.atNs - replay.firstNs) / length : 1;
    return fmt::format("REPLAY {} {} {:.0f}%", replayState(), longClock(replay.atNs),
                       std::clamp(share * 100, 0.0, 100.0));
}

void Layouter::tooSmall() {
    const std::string text =
        fmt::format("The screen has {} x {} characters; it needs {} x {}. (q quits)", width, height,
                    smallestScreen.width, smallestScreen.height);
    std::string_view left = text;
    for (size_t line = 0; width > 0 && !left.empty(); line++) {
        const size_t blank = left.size() > width ? left.rfind(' ', width) : left.size();
        const size_t end = blank == std::string_view::npos ? width : blank;
        grid.put(0, line, left.substr(0, end), boldLook);
        left.remove_prefix(std::min(left.size(), end + (blank == end ? 1U : 0U)));
    }
}

/* Cache, Brox, age, slots, interval; at the right what is going on, and the clock. */
void Layouter::titleLine() {
    std::string right = model.replay ? replayText() : clock(surface.nowNs);
    if (!model.recordedTo.empty()) {
        right = "REC  " + right;
    }
    if (model.isPaused && cache != nullptr) {
        right = fmt::format("PAUSED +{} behind  {}", cache->showing.numBehind(), right);
    }
    if (model.caches.size() > 1) {
        right = fmt::format("{} of {} caches  {}", model.current + 1, model.caches.size(), right);
    }
    std::vector<std::string> parts{"tvsistat"};
    if (cache != nullptr) {
        const auto& header = cache->showing.header();
        parts = {header.location.empty() ? cache->title : samples::printable(header.location)};
        if (!header.brox.empty()) {
            parts.push_back("Brox " + samples::printable(header.brox));
        }
        if (header.monitorStartedNs != 0 && cache->goneNs == 0) {
            parts.emplace_back("up ");
            appendShortSeconds(parts.back(),
                               static_cast<double>(nowNs - header.monitorStartedNs) / 1e9);
        }
        if (model.table.numUsed() >= 0) {
            parts.push_back(
                fmt::format("{} of {} slots", model.table.numUsed(), model.table.numSlots()));
        }
        parts.push_back("every " + intervalText(model.interval()));
    }
    const size_t room = width - std::min(width, right.size() + gap);
    size_t x = 0;
    for (const std::string& part : parts) {
        if (x > 0 && x + gap + part.size() > room) {
            break;
        }
        x = grid.put(x + (x > 0 ? gap : 0), y, part, plainLook, room);
    }
    grid.putBefore(width, y, right);
    grid.add(0, y, width, reverseLook | boldLook);
    y++;
}

/* The time of a recording, what happened in it, and where the replay stands. */
void Layouter::timeLine() {
    const ScreenReplay& replay = *model.replay;
    const std::string first = longClock(replay.firstNs);
    const std::string last = longClock(replay.lastNs);
    constexpr size_t stateWidth = 12; /* "stands x300", and a blank */
    const size_t begin = first.size() + 1;
    const size_t end = width - std::min(width - begin - 2, last.size() + 1 + stateWidth);
    const auto place = [&](int64_t realNs) {
        const double share = static_cast<double>(realNs - replay.firstNs) /
                             static_cast<double>(replay.lastNs - replay.firstNs);
        return begin + static_cast<size_t>(std::clamp(share, 0.0, 1.0) *
                                           static_cast<double>(end - begin - 1));
    };
    const size_t at = place(replay.atNs);
    grid.put(0, y, first);
    grid.put(end + 1, y, last);
    grid.putBefore(width, y, replayState(), boldLook);
    for (size_t x = begin; x < end; x++) {
        const bool isPassed = x < at;
        grid.set(x, y,
                 surface.takesUnicode ? (isPassed ? U'\u2501' : U'\u2500')
                 : isPassed           ? U'='
                                      : U'-',
                 isPassed ? accentLook : dimLook);
    }
    for (const ScreenEvent& event : model.events) {
        constexpr std::u32string_view signs = U" x+m";
        const char32_t sign = signs[static_cast<size_t>(event.kind)];
        if (sign != U' ') {
            grid.set(place(event.realNs), y, sign, boldLook);
        }
    }
    grid.add(at, y, 1, reverseLook | boldLook);
    if (grid.at(at, y).glyph == U'-' || grid.at(at, y).glyph == U'\u2500') {
        grid.set(at, y, surface.takesUnicode ? U'\u25cf' : U'o', boldLook);
    }
    picture.timeline = {y, begin, end};
    y++;
}

void Layouter::banner(std::string_view text, uint8_t look) {
    grid.put(0, y, text, look, width);
    grid.add(0, y, width, look);
    y++;
}

void Layouter::banners() {
    if (cache == nullptr) {
        banner(model.replay ? "no sample has come yet"
                            : "no cache runs on this host; looking for one",
               boldLook | alarmLook);
        return;
    }
    if (cache->goneNs != 0) {
        banner(fmt::format("GONE since {}: {}{}", clock(cache->goneNs), cache->goneWhy,
                           model.replay ? "" : "; it is looked for"),
               boldLook | alarmLook);
    } else if (!cache->waitingFor.empty()) {
        banner(cache->waitingFor, boldLook | alarmLook);
    } else if (model.replay && cache->showing.taken().isEmpty()) {
        banner("nothing was recorded of it until now", boldLook | alarmLook);
    }
    for (const std::string& warning : model.table.warnings()) {
        banner("! " + warning, boldLook | alarmLook);
    }
}

/* Whether the kind's figures stand still because their owner does. */
bool Layouter::isStill(const statscatalogue::Kind* kind) const {
    if (cache == nullptr || cache->showing.taken().isEmpty()) {
        return false;
    }
    return std::ranges::any_of(cache->showing.picture().processes(), [&](const auto& process) {
        return process.now->kind == kind && (process.now->state == ProcessState::Ended ||
                                             process.now->state == ProcessState::Zombie ||
                                             process.now->state == ProcessState::Stopped);
    });
}

void Layouter::headline(const Headline& shown, size_t x, size_t room) {
    std::string title;
    shown.figure.appendTitle(title);
    grid.put(x, y, title, dimmed());
    std::string value;
    samples::Number number;
    if (!cache->showing.taken().isEmpty()) {
        number = valueIn(shown, cache->showing.picture());
    }
    if (number) {
        appendShortFigure(value, shown.figure, number, shown.figure.isPerSecond());
        appendUnit(value, shown.figure, shown.figure.isPerSecond(), true);
    } else {
        value = "-";
    }
    const bool still = isStill(shown.figure.kind);
    constexpr size_t valueEnd = 18;
    grid.putBefore(x + valueEnd, y, value,
                   still || dimmed() != 0 || number.isZero() ? dimLook : boldLook);
    grid.put(x + valueEnd, y, still ? "=" : "");
    if (room < valueEnd + 6) {
        return;
    }
    const size_t cells = room - valueEnd - 1 - gap;
    std::vector<std::optional<double>> course(cells);
    const size_t skipped = model.isPaused ? cache->showing.numBehind() : 0;
    const size_t known = shown.course.size() - std::min(shown.course.size(), skipped);
    for (size_t i = 0; i < std::min(cells, known); i++) {
        course[cells - 1 - i] = shown.course[known - 1 - i];
    }
    const Floor floor = shown.figure.isPerSecond() ? Floor::Zero : Floor::Smallest;
    grid.put(x + valueEnd + 1, y, sparkline(course, floor, surface.takesUnicode),
             static_cast<uint8_t>(accentLook | dimmed()));
}

void Layouter::headlines() {
    if (cache == nullptr) {
        return;
    }
    const size_t perLine = width >= 150 ? 6 : width >= 66 ? 3 : 2;
    const size_t room = width / perLine;
    for (size_t i = 0; i < cache->headlines.size(); i++) {
        headline(cache->headlines[i], i % perLine * room, room);
        y += (i + 1) % perLine == 0 ? 1U : 0U;
    }
}

/* The views, and what leaves out or orders rows. */
void Layouter::viewLine() {
    size_t x = 0;
    for (size_t i = 0; i < numScreenViews; i++) {
        const auto view = static_cast<ScreenView>(i);
        const bool isCurrent = view == model.table.view();
        x = grid.put(x, y,
                     fmt::format("{}{} {}{}", isCurrent ? "[" : " ", i + 1, nameOf(view),
                                 isCurrent ? "]" : " "),
                     isCurrent ? boldLook : plainLook);
    }
    std::string right;
    const auto add = [&right](const std::string& text) { right += "  " + text; };
    if (!model.table.rowFilter().empty()) {
        add("/" + model.table.rowFilter());
    }
    if (!model.table.fieldFilter().empty()) {
        add("\\" + model.table.fieldFilter());
    }
    if (model.table.hidesIdle()) {
        add("idle hidden");
    }
    if (model.table.printing() != samples::Printing::Rate) {
        add(model.table.printing() == samples::Printing::Total ? "totals" : "growth");
    }
    add(fmt::format("{} shown", model.table.allRows().size()));
    const size_t room = width - std::min(width, x);
    if (right.size() <= room) {
        grid.putBefore(width, y, right);
    } else {
        grid.put(x + 1, y, right, plainLook, room);
    }
    y++;
}

/* Calls visit(column, its index, x, width) for the columns that fit before `end`; returns nothing.
 */
template <class Visit> void Layouter::eachColumn(const Row& row, size_t end, Visit visit) {
    const ScreenTable::Section& section = model.table.sectionOf(row);
    size_t x = 0;
    for (size_t i = 0; i < section.columns.size(); i++) {
        if (i >= section.numFixed && i < section.numFixed + model.firstColumn) {
            continue;
        }
        const TableColumn& column = section.columns[i];
        if (x + column.width > end) {
            return;
        }
        visit(column, i, x);
        x += column.width + gap;
    }
}

/* At least the last column stays. */
void Layouter::settleColumns(const Row& row, size_t end) {
    const ScreenTable::Section& section = model.table.sectionOf(row);
    const size_t moving = section.columns.size() - section.numFixed;
    size_t x = 0;
    for (size_t i = 0; i < section.numFixed; i++) {
        x += section.columns[i].width + gap;
    }
    size_t fitting = 0; /* from the last one back */
    for (size_t i = section.columns.size(); i > section.numFixed; i--) {
        x += section.columns[i - 1].width + (fitting > 0 ? gap : 0);
        if (x > end) {
            break;
        }
        fitting++;
    }
    model.firstColumn = std::min(model.firstColumn, moving - std::min(moving, fitting));
}

/* Titles, and the units below them. Returns the line behind. */
size_t Layouter::heading(const Row& row, size_t rowIndex, size_t at, size_t end, bool hasUnits) {
    const ScreenTable::Section& section = model.table.sectionOf(row);
    size_t last = 0;
    eachColumn(row, end, [&](const TableColumn& column, size_t i, size_t x) {
        const bool isSorted = column.name == model.table.sortName();
        const size_t from = column.isText() ? x : x + column.width - column.title.size();
        grid.put(from, at, column.title, boldLook);
        if (isSorted) {
            const bool isUp = column.identity.has_value() != model.table.isReversed();
            constexpr std::array<std::array<char32_t, 2>, 2> marks{
                {{U'v', U'^'}, {U'\u2193', U'\u2191'}}};
            grid.set(from + column.title.size(), at,
                     marks[surface.takesUnicode ? 1 : 0][isUp ? 1 : 0], boldLook);
        }
        const std::string unit = model.table.unitOf(column);
        if (hasUnits) {
            grid.putBefore(x + column.width, at + 1, unit);
        }
        picture.titles.push_back({at, x, x + column.width + 1, rowIndex, i});
        last = i;
    });
    if (last + 1 < section.columns.size()) {
        grid.putBefore(end, at, ">", boldLook);
    }
    if (model.firstColumn > 0) {
        grid.put(0, hasUnits ? at + 1 : at, "<", boldLook);
    }
    const size_t lines = hasUnits ? 2 : 1;
    for (size_t i = 0; i < lines; i++) {
        grid.add(0, at + i, end, accentLook);
    }
    return at + lines;
}

void Layouter::row(size_t index, size_t at, size_t end) {
    const Row& shown = model.table.allRows()[index];
    eachColumn(shown, end, [&](const TableColumn& column, size_t, size_t x) {
        const auto cell = model.table.cell(column, shown);
        const auto look = static_cast<uint8_t>(dimmed() != 0 ? dimLook : cell.look);
        if (column.isText()) {
            grid.put(x, at, cell.text, look, column.width);
        } else {
            grid.putBefore(x + column.width, at, cell.text, look);
            grid.put(x + column.width, at, cell.isBeyond ? "!" : "", look);
        }
    });
    if (index == model.selected) {
        grid.add(0, at, end, reverseLook);
    }
    picture.rows.push_back({at, end, index});
}

/* The selected row is among those that are seen. */
void Layouter::findTop(size_t room) {
    const auto& items = model.table.items();
    const auto found = std::ranges::find_if(
        items, [&](const auto& item) { return !item.isHeading && item.row == model.selected; });
    const auto at = static_cast<size_t>(found - items.begin());
    model.topItem = std::min(model.topItem, items.size() - std::min(items.size(), room));
    if (at < model.topItem + (model.topItem > 0 ? 0U : 1U)) {
        model.topItem = at - std::min<size_t>(at, 1);
    } else if (at >= model.topItem + room) {
        model.topItem = at - room + 1;
    }
}

/* Makes columns as wide as what will be seen. */
void Layouter::measure(size_t firstItem, size_t room) {
    const auto& items = model.table.items();
    for (size_t i = firstItem; i < std::min(items.size(), firstItem + room); i++) {
        const Row& shown = model.table.allRows()[items[i].row];
        for (TableColumn& column : model.table.sectionOf(shown).columns) {
            column.width = std::max(column.width, model.table.cell(column, shown).text.size());
        }
    }
}

void Layouter::table(size_t end, size_t bottom) {
    const auto& items = model.table.items();
    if (items.empty()) {
        if (cache != nullptr && !cache->showing.taken().isEmpty()) {
            grid.put(0, y, "no process is shown: Esc takes the filters away", plainLook, end);
        }
        return;
    }
    const bool hasUnits = height >= lowHeight;
    const size_t top = y + (hasUnits ? 2 : 1);
    const size_t room = bottom - std::min(bottom, top);
    model.pageSize = std::max<size_t>(room, 1);
    findTop(room);
    size_t first = model.topItem;
    first += items[first].isHeading ? 1U : 0U;
    measure(first, room);
    settleColumns(model.table.allRows()[items[first].row], end);
    size_t at =
        heading(model.table.allRows()[items[first].row], items[first].row, y, end, hasUnits);
    for (size_t i = first; i < items.size() && at < bottom; i++) {
        const Row& shown = model.table.allRows()[items[i].row];
        if (items[i].isHeading) {
            heading(shown, items[i].row, at, end, false);
        } else {
            row(items[i].row, at, end);
        }
        at++;
    }
}

void Layouter::detailLine(const Figure& figure, const Row& shown, size_t begin, size_t at,
                          const std::vector<RecentSamples::Sighting>& sightings) {
    const size_t room = width - begin;
    const size_t nameRoom = room >= 80 ? 36 : room - std::min(room, size_t{32});
    std::string name;
    figure.appendLabel(name);
    const auto value = model.table.value(figure, shown);
    const auto rate = model.table.rate(figure, shown);
    const auto look = static_cast<uint8_t>(dimmed() != 0 ? dimLook : value.look);
    grid.put(begin, at, name, look, nameRoom);
    size_t x = begin + nameRoom + 11;
    grid.putBefore(x, at, value.text, look);
    grid.put(x, at, value.isBeyond ? "!" : "", look);
    x += 10;
    grid.putBefore(x, at, rate.text, static_cast<uint8_t>(dimmed() != 0 ? dimLook : rate.look));
    x += 1;
    if (isCode(figure.meaning) || figure.meaning == statscatalogue::Meaning::EventTime) {
        x += 11;
    } else {
        const auto& picked = cache->showing.picture().now().times;
        const auto course = RecentSamples::course(figure, sightings, picked.monotonicNs, 10);
        const bool isRate = figure.isCounter();
        x = grid.put(
                x, at,
                sparkline(course, isRate ? Floor::Zero : Floor::Smallest, surface.takesUnicode),
                static_cast<uint8_t>(accentLook | dimmed())) +
            1;
    }
    if (room >= 80 && x < width) {
        grid.put(x + 1, at, figure.sentence(), dimLook);
    }
}

/* Every field of the selected process. */
void Layouter::detail(size_t begin, size_t bottom) {
    const Row* shown = model.selectedRow();
    if (shown == nullptr) {
        return;
    }
    grid.clear(begin, y, width - begin, bottom - y);
    std::string title;
    appendKind(title, *shown);
    title += fmt::format(" {} session {} {}", shown->record().pid, shown->record().session,
                         samples::printable(shown->record().name));
    title += shown->record().state == ProcessState::Alive
                 ? ""
                 : "  " + std::string(loudName(shown->record().state));
    if (shown->record().startedNs != 0) {
        title += "  since " + clock(shown->record().startedNs);
    }
    const auto figures = model.table.detailOf(*shown);
    const size_t room = bottom - std::min(bottom, y + 1);
    model.topField = std::min(model.topField, figures.size() - std::min(figures.size(), room));
    if (model.isDetail) {
        model.pageSize = std::max<size_t>(room, 1);
        title += fmt::format("  {}-{} of {}", figures.empty() ? 0 : model.topField + 1,
                             std::min(figures.size(), model.topField + room), figures.size());
    }
    grid.put(begin, y, title, boldLook | accentLook, width - begin);
    if (model.isDetail) {
        grid.add(begin, y, width - begin, reverseLook);
    }
    const auto sightings = cache->recent.sightingsOf(shown->record());
    for (size_t i = 0; i < room && model.topField + i < figures.size(); i++) {
        detailLine(figures[model.topField + i], *shown, begin, y + 1 + i, sightings);
    }
}

void Layouter::eventLog(size_t at) {
    grid.put(0, at, "events", boldLook | accentLook);
    const size_t room = linesOfEvents - 1;
    const size_t passed = model.numPassedEvents();
    const size_t end = std::min(model.events.size(), std::max(passed + 1, room));
    const size_t first = end - std::min(end, room);
    for (size_t i = first; i < end; i++) {
        eventLine(i, at + 1 + i - first);
    }
}

/* In a replay, a sign stands before those that have happened by the moment that is shown. */
std::string Layouter::timeOfEvent(size_t index) {
    const bool isPassed = index < model.numPassedEvents();
    const std::string_view sign = !model.canSeek() ? "" : isPassed ? "* " : "  ";
    return fmt::format("{}{}  ", sign, clock(model.events[index].realNs));
}

void Layouter::eventLine(size_t index, size_t at) {
    const bool isPassed = index < model.numPassedEvents();
    grid.put(0, at, timeOfEvent(index) + model.events[index].text, isPassed ? plainLook : dimLook,
             width);
}

/* What is wider than the screen, as lines that go below the text of the first one. */
std::vector<std::string> Layouter::restOfEvent(size_t index) {
    const size_t indent = timeOfEvent(index).size();
    const size_t room = std::max(width, indent + 1) - indent;
    const std::string_view text = model.events[index].text;
    std::vector<std::string> rest;
    for (size_t at = room; at < text.size(); at += room) {
        rest.push_back(std::string(indent, ' ') + std::string(text.substr(at, room)));
    }
    return rest;
}

void Layouter::eventList() {
    const size_t room = height - 2;
    const auto& events = model.events;
    model.pageSize = room;
    model.chosenEvent =
        std::min(model.chosenEvent, events.size() - std::min<size_t>(events.size(), 1));
    /* The chosen one is shown as a whole. */
    std::vector<std::string> rest;
    if (!events.empty()) {
        rest = restOfEvent(model.chosenEvent);
    }
    rest.resize(std::min(rest.size(), room - 1));
    model.topEvent = std::clamp(
        model.topEvent, model.chosenEvent - std::min(model.chosenEvent, room - 1 - rest.size()),
        model.chosenEvent);
    grid.clear(0, 0, width, height);
    grid.put(0, 0, "Events", boldLook);
    grid.putBefore(width, 0, model.replay ? replayText() : clock(surface.nowNs), boldLook);
    grid.add(0, 0, width, reverseLook);
    if (events.empty()) {
        grid.put(0, 1, "nothing has happened yet");
    }
    size_t line = 1;
    for (size_t i = model.topEvent; line <= room && i < events.size(); i++) {
        eventLine(i, line++);
        if (i != model.chosenEvent) {
            continue;
        }
        for (const std::string& more : rest) {
            grid.put(0, line++, more);
        }
        for (size_t own = line - 1 - rest.size(); own < line; own++) {
            grid.add(0, own, width, reverseLook);
        }
    }
    grid.put(0, height - 1,
             model.canSeek() ? "Enter goes to that moment, Esc goes back" : "Esc goes back",
             dimLook);
    picture.rows.clear();
    picture.titles.clear();
    picture.timeline = {};
}

void Layouter::lastLine() {
    const size_t at = height - 1;
    if (model.prompt != Prompt::None) {
        constexpr std::string_view leads[] = {"",
                                              "processes that match: ",
                                              "fields whose name holds: ",
                                              "record to the file: ",
                                              "mark: ",
                                              "time (10:00, yesterday 23:50, 5m): "};
        const std::string_view lead = leads[static_cast<size_t>(model.prompt)];
        const size_t x = grid.put(0, at, lead, boldLook);
        const size_t room = width - std::min(width, x + 1);
        const std::string_view typed = model.typed;
        const std::string_view seen = typed.substr(typed.size() - std::min(typed.size(), room));
        const size_t cursor = grid.put(x, at, seen);
        grid.add(cursor, at, 1, reverseLook);
        return;
    }
    if (!model.message.empty()) {
        grid.put(0, at, model.message, model.isMessageProblem ? boldLook | alarmLook : boldLook,
                 width);
        return;
    }
    constexpr std::string_view hints[] = {"? help",      "q quit",       "Enter detail",
                                          "/ filter",    "Tab view",     "< > sort",
                                          "Space pause", "+ - interval", "t total/rate"};
    constexpr std::string_view inReplay[] = {
        "? help", "q quit",   "[ ] sample", "{ } minute", "p play",   "x speed",  "n N event",
        "b time", "e events", "Home End",   "/ filter",   "Tab view", "< > sort", "Enter detail"};
    size_t x = 0;
    const std::span<const std::string_view> shown =
        model.canSeek() ? std::span<const std::string_view>(inReplay) : hints;
    for (const auto hint : shown) {
        if (x + hint.size() <= width) {
            x = grid.put(x, at, hint, dimLook) + gap;
        }
    }
}

void Layouter::help() {
    std::vector<std::pair<std::string, uint8_t>> lines;
    std::optional<KeyGroup> group;
    for (const KeyEntry& entry : keyTable()) {
        if (group != entry.group) {
            group = entry.group;
            lines.emplace_back(nameOf(*group), boldLook | accentLook);
        }
        lines.emplace_back(fmt::format("  {:<10}{}", entry.text, entry.sentence), plainLook);
    }
    lines.emplace_back("Signs", boldLook | accentLook);
    for (const auto line : legend) {
        lines.emplace_back("  " + std::string(line), plainLook);
    }
    const size_t room = height - 2;
    model.topHelp = std::min(model.topHelp, lines.size() - std::min(lines.size(), room));
    model.pageSize = room;
    grid.clear(0, 0, width, height);
    grid.put(0, 0, "Keys of tvsistat -i", boldLook);
    grid.add(0, 0, width, reverseLook);
    for (size_t i = 0; i < room && model.topHelp + i < lines.size(); i++) {
        grid.put(0, 1 + i, lines[model.topHelp + i].first, lines[model.topHelp + i].second);
    }
    grid.put(0, height - 1,
             fmt::format("lines {} to {} of {}; arrows scroll, Esc goes back", model.topHelp + 1,
                         std::min(lines.size(), model.topHelp + room), lines.size()),
             dimLook);
    picture.rows.clear();
    picture.titles.clear();
    picture.timeline = {};
}

void Layouter::columnChoice() {
    const Row* shown = model.selectedRow();
    const auto figures = model.choosable();
    if (figures.empty()) {
        return;
    }
    const size_t room = height - 2;
    model.pageSize = room;
    model.chosenFigure = std::min(model.chosenFigure, figures.size() - 1);
    model.topFigure =
        std::clamp(model.topFigure, model.chosenFigure - std::min(model.chosenFigure, room - 1),
                   model.chosenFigure);
    grid.clear(0, 0, width, height);
    grid.put(0, 0, fmt::format("Columns of {}", shown->kind()->shortName.view()), boldLook);
    grid.add(0, 0, width, reverseLook);
    const auto& columns = model.table.sectionOf(*shown).columns;
    for (size_t i = 0; i < room && model.topFigure + i < figures.size(); i++) {
        const Figure& figure = figures[model.topFigure + i];
        std::string name;
        figure.appendLabel(name);
        const bool isChosen = std::ranges::find(columns, name, &TableColumn::name) != columns.end();
        grid.put(0, 1 + i,
                 fmt::format("[{}] {:<36} {}", isChosen ? 'x' : ' ', name, figure.sentence()),
                 isChosen ? boldLook : plainLook);
        if (model.topFigure + i == model.chosenFigure) {
            grid.add(0, 1 + i, width, reverseLook);
        }
    }
    grid.put(0, height - 1, "Space chooses, d takes the usual ones, Enter goes back", dimLook);
    picture.rows.clear();
    picture.titles.clear();
    picture.timeline = {};
}

Picture Layouter::make() {
    if (width < smallestScreen.width || height < smallestScreen.height) {
        tooSmall();
        picture.grid = std::move(grid);
        return std::move(picture);
    }
    cache = model.caches.empty() ? nullptr : &model.cache();
    titleLine();
    if (hasTimeLine()) {
        timeLine();
    }
    banners();
    headlines();
    if (height >= lowHeight) {
        viewLine();
    }
    const bool hasEvents = height >= heightOfEvents;
    const size_t bottom = height - 1 - (hasEvents ? linesOfEvents : 0);
    const bool isBeside = width >= widthOfDetail;
    const size_t tableEnd =
        isBeside ? width - std::clamp<size_t>(width * 2 / 5, 48, 90) - 1 : width;
    if (isBeside || !model.isDetail) {
        table(tableEnd, bottom);
    }
    if (isBeside) {
        for (size_t line = y; line < bottom; line++) {
            grid.set(tableEnd, line, surface.takesUnicode ? U'\u2502' : U'|', dimLook);
        }
    }
    if (isBeside || model.isDetail) {
        detail(isBeside ? tableEnd + 1 : 0, bottom);
    }
    if (hasEvents) {
        eventLog(bottom);
    }
    lastLine();
    if (model.overlay == Overlay::Help) {
        help();
    } else if (model.overlay == Overlay::Columns) {
        columnChoice();
    } else if (model.overlay == Overlay::Events) {
        eventList();
    }
    picture.grid = std::move(grid);
    return std::move(picture);
}

} // namespace

Picture layOut(ScreenModel& model, const Surface& surface) {
    return Layouter(model, surface).make();
}

} // namespace tvsistat
