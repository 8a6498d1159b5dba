#include "report.h"

#include "numbertext.h"
#include "printable.h"

#include <algorithm>
#include <fmt/format.h>
#include <unistd.h>

namespace tvsistat {
namespace {

using samples::Number;
using samples::Printing;
using samples::ProcessState;
using samples::Row;
using statscatalogue::Kind;
using statscatalogue::Meaning;

constexpr std::string_view boldOn = "\033[1m";
constexpr std::string_view redOn = "\033[1;31m";
constexpr std::string_view colorOff = "\033[0m";
constexpr std::string_view noValue = "-";
constexpr size_t gap = 2;
constexpr size_t maxShortName = 24; /* of a process, in a short report */

bool isText(const Column& column) {
    return column.identity == Identity::Kind || column.identity == Identity::Name ||
           column.identity == Identity::State || column.identity == Identity::Cache ||
           column.identity == Identity::Brox;
}

std::string hostName() {
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

Column identityColumn(Identity identity) {
    return {identity, std::nullopt, std::nullopt, false};
}

} // namespace

Report::Report(const Request& asked, const Surroundings& found)
    : PlanView(asked, found, Default::KeyFigures),
      isShort(found.isTerminal || asked.layout.width.has_value()),
      showsTime(asked.layout.hasTimestamp), ownHost(hostName()) {}

void Report::appendSample(std::string& text, const Shown& shown) {
    if (isShort && !request.layout.isWide) {
        width = request.layout.width ? *request.layout.width : terminalWidth();
    }
    /* What makes figures doubtful can't wait for the next heading. */
    const bool isDue = shown.numAlike % request.layout.headerEvery == 0 || !shown.warnings.empty();
    const bool hasHeader = request.layout.hasHeader && isDue;
    leftOut.clear();
    groupRows(shown);
    if (hasHeader) {
        appendHeader(text, shown);
    }
    for (const Section& section : sections) {
        cellTexts.clear();
        cells.clear();
        SectionPlan& own = planOf(section.place, rows[section.firstRow].kind());
        if (hasHeader) {
            text += '\n';
            addHeadings(own, shown);
        }
        appendSection(text, section, shown);
    }
    if (hasHeader) {
        appendClosing(text);
    }
    if (request.layout.hasHeader && request.layout.headerEvery == 1) {
        text += '\n';
    }
}

void Report::appendEvent(std::string& text, const Event& event) {
    scratch.clear();
    times.append(scratch, event.times.realNs, 3);
    scratch += "  ";
    scratch += event.sentence;
    appendFitting(text, scratch);
}

/* Sorts the rows by kind, and finds out whether the states need a column. */
void Report::groupRows(const Shown& shown) {
    rows.clear();
    for (const Row& row : shown.rows) {
        rows.push_back(row);
        showsState = showsState || !isShort || row.record().state != ProcessState::Alive;
    }
    std::ranges::stable_sort(rows, {}, [](const Row& row) { return samples::placeOf(row.kind()); });
    sections.clear();
    for (size_t i = 0; i < rows.size(); i++) {
        const size_t place = samples::placeOf(rows[i].kind());
        if (sections.empty() || sections.back().place != place) {
            sections.push_back({place, i, 0});
        }
        sections.back().numRows++;
    }
}

Report::SectionPlan& Report::planOf(size_t place, const Kind* kind) {
    SectionPlan& own = plans[place];
    if (own.isMade) {
        return own;
    }
    own.isMade = true;
    if (showsTime) {
        own.columns.push_back(identityColumn(Identity::Time));
    }
    if (!plan.isExact()) {
        const bool isNamedAbove = request.layout.hasHeader && request.layout.headerEvery == 1;
        if (surroundings.hasSeveralCaches && !isNamedAbove) {
            own.columns.push_back(identityColumn(Identity::Cache));
        }
        own.columns.push_back(identityColumn(Identity::Kind));
        if (request.rows.isSum) {
            own.columns.push_back(identityColumn(Identity::Index));
        } else {
            for (const auto identity :
                 {Identity::Pid, Identity::Session, Identity::Name, Identity::State}) {
                own.columns.push_back(identityColumn(identity));
            }
        }
    }
    for (const Column& column : plan.of(kind)) {
        own.columns.push_back(column);
    }
    own.widths.assign(own.columns.size(), 0);
    for (const Column& column : own.columns) {
        const auto& figure = column.figure;
        const bool mayBeDull = figure ? figure->isHiddenWhileZero() || figure->derived != nullptr
                                      : column.identity == Identity::State;
        own.isHidden.push_back(!column.isChosen && mayBeDull);
    }
    return own;
}

void Report::closeCell() {
    cells.push_back({cells.empty() ? 0 : cells.back().end, cellTexts.size()});
}

/* A line of titles and one of units. */
void Report::addHeadings(const SectionPlan& own, const Shown& shown) {
    for (const Column& column : own.columns) {
        if (column.identity) {
            /* What the index is to a sum: how many processes it is of. */
            const bool isSize = request.rows.isSum && column.identity == Identity::Index;
            cellTexts += isSize ? "processes" : nameOf(*column.identity);
        } else if (isShort) {
            column.figure->appendTitle(cellTexts);
        } else {
            column.figure->appendLabel(cellTexts);
        }
        closeCell();
    }
    for (const Column& column : own.columns) {
        if (column.figure) {
            const Printing printing = column.printingFor(shown.printing);
            const size_t begin = cellTexts.size();
            appendUnit(cellTexts, *column.figure, printing == Printing::Rate, isShort);
            if (printing == Printing::Minimum || printing == Printing::Maximum) {
                cellTexts += cellTexts.size() > begin ? " " : "";
                cellTexts += suffixOf(printing).substr(1);
            }
        }
        closeCell();
    }
}

void Report::addIdentity(Identity identity, const Row& row, const Shown& shown) {
    const samples::Record& record = row.record();
    const bool isOne = row.processes.size() == 1;
    switch (identity) {
    case Identity::Time:
        times.append(cellTexts, shown.sample.times.realNs, 3);
        return;
    case Identity::Cache:
        samples::appendPrintable(cellTexts, shown.header.location);
        return;
    case Identity::Brox:
        samples::appendPrintable(cellTexts, shown.header.brox);
        return;
    case Identity::Kind:
        appendKind(cellTexts, row);
        return;
    case Identity::Index:
        appendInteger(cellTexts, request.rows.isSum ? uint64_t{row.processes.size()} : row.index);
        return;
    default:
        break;
    }
    if (!isOne) {
        cellTexts += noValue;
        return;
    }
    switch (identity) {
    case Identity::Pid:
        appendInteger(cellTexts, int64_t{record.pid});
        break;
    case Identity::Session:
        appendInteger(cellTexts, int64_t{record.session});
        break;
    case Identity::State:
        cellTexts += loudName(record.state);
        break;
    case Identity::Started:
        if (record.startedNs == 0) {
            cellTexts += noValue;
        } else {
            times.append(cellTexts, record.startedNs, 0);
        }
        break;
    default: {
        const size_t begin = cellTexts.size();
        samples::appendPrintable(cellTexts, record.name);
        if (isShort && cellTexts.size() - begin > maxShortName) {
            cellTexts.resize(begin + maxShortName - 1);
            cellTexts += '+';
        }
    }
    }
}

void Report::addCell(const Column& column, const Row& row, const Shown& shown) {
    const Printing printing = column.printingFor(shown.printing);
    const Number number = shownNumber(column, printing, row, shown.moment);
    const samples::Figure& figure = *column.figure;
    if (!number) {
        cellTexts += noValue;
    } else if (figure.meaning == Meaning::EventTime && isShort) {
        times.appendShort(cellTexts, number.asSigned(), shown.moment.realNs);
    } else if (figure.meaning == Meaning::EventTime) {
        times.appendSeconds(cellTexts, number.asSigned());
    } else if (isShort) {
        appendShortFigure(cellTexts, figure, number, printing == Printing::Rate);
    } else {
        appendFull(cellTexts, number);
    }
}

void Report::addRow(SectionPlan& own, const Row& row, const Shown& shown) {
    for (size_t i = 0; i < own.columns.size(); i++) {
        const Column& column = own.columns[i];
        if (column.identity) {
            addIdentity(*column.identity, row, shown);
        } else {
            addCell(column, row, shown);
        }
        closeCell();
        const bool isDull =
            column.identity == Identity::State
                ? !showsState
                : cellTexts.size() == cells.back().begin + 1 && cellTexts.back() == noValue[0];
        own.isHidden[i] = own.isHidden[i] && isDull;
    }
}

/* How many columns fit; those after them are left out. */
size_t Report::numFitting(const SectionPlan& own) const {
    size_t used = 0;
    for (size_t i = 0; i < own.columns.size(); i++) {
        if (own.isHidden[i]) {
            continue;
        }
        used += own.widths[i] + (used == 0 ? 0 : gap);
        if (used > width) {
            return i;
        }
    }
    return own.columns.size();
}

void Report::appendSection(std::string& text, const Section& section, const Shown& shown) {
    SectionPlan& own = plans[section.place];
    const size_t numColumns = own.columns.size();
    const size_t numHeadings = cells.size() / std::max<size_t>(numColumns, 1);
    for (size_t i = 0; i < section.numRows; i++) {
        addRow(own, rows[section.firstRow + i], shown);
    }
    for (size_t i = 0; i < cells.size(); i++) {
        size_t& widest = own.widths[i % numColumns];
        widest = std::max(widest, cells[i].length());
    }
    const size_t fitting = numFitting(own);
    for (size_t line = 0; line * numColumns < cells.size(); line++) {
        const bool isHeading = line < numHeadings;
        if (!isHeading || hasText(own, line * numColumns, fitting)) {
            appendLine(text, own, line * numColumns, fitting, isHeading);
        }
    }
    if (fitting < numColumns) {
        noteLeftOut(own, fitting, rows[section.firstRow].kind());
    }
}

/* Whether a line would show anything: no column that fits may have a unit. */
bool Report::hasText(const SectionPlan& own, size_t firstCell, size_t numColumns) const {
    for (size_t i = 0; i < numColumns; i++) {
        if (!own.isHidden[i] && cells[firstCell + i].length() > 0) {
            return true;
        }
    }
    return false;
}

/* Texts are set left, numbers right; no blanks at the end. */
void Report::appendLine(std::string& text, const SectionPlan& own, size_t firstCell,
                        size_t numColumns, bool isHeading) {
    const bool isBold = isHeading && surroundings.takesColor;
    text += isBold ? boldOn : "";
    size_t padding = 0; /* before the next cell */
    bool isFirst = true;
    for (size_t i = 0; i < numColumns; i++) {
        const Column& column = own.columns[i];
        if (own.isHidden[i]) {
            continue;
        }
        const Cell cell = cells[firstCell + i];
        const size_t room = own.widths[i] - cell.length();
        padding += isFirst ? 0 : gap;
        isFirst = false;
        if (cell.length() > 0) {
            text.append(padding + (isText(column) ? 0 : room), ' ');
            padding = isText(column) ? room : 0;
            const std::string_view content =
                std::string_view(cellTexts).substr(cell.begin, cell.length());
            const bool isLoud = surroundings.takesColor && !isHeading &&
                                column.identity == Identity::State && content != "alive";
            text += isLoud ? redOn : "";
            text += content;
            text += isLoud ? colorOff : "";
        } else {
            padding += own.widths[i];
        }
    }
    text += isBold ? colorOff : "";
    text += '\n';
}

void Report::noteLeftOut(const SectionPlan& own, size_t from, const Kind* kind) {
    for (size_t i = from; i < own.columns.size(); i++) {
        const Column& column = own.columns[i];
        if (own.isHidden[i]) {
            continue;
        }
        std::string name;
        if (kind != nullptr && sections.size() > 1) {
            name += kind->shortName;
            name += '.';
        }
        if (column.identity) {
            name += nameOf(*column.identity);
        } else {
            column.figure->appendLabel(name);
        }
        leftOut.push_back(std::move(name));
    }
}

/* "cache prod~1f2e of Brox prod  TIME  17 of 64 processes in use, 5 shown  rates over 1.000 s", on
 * as many lines as it takes; then what makes the figures doubtful. */
void Report::appendHeader(std::string& text, const Shown& shown) {
    std::vector<std::string> parts{cacheTitle(shown.header)};
    if (!shown.header.location.empty() && !shown.header.brox.empty()) {
        parts.back() += " of Brox " + samples::printable(shown.header.brox);
    }
    if (!request.reads.empty() && shown.header.host != ownHost) {
        parts.back() += " on " + samples::printable(shown.header.host);
    }
    parts.emplace_back();
    times.append(parts.back(), shown.sample.times.realNs, 3);
    const bool isKnown = shown.sample.used >= 0;
    parts.push_back(
        isKnown ? fmt::format("{} of {} processes in use", shown.sample.used, shown.sample.slots)
                : fmt::format("{} processes at most", shown.sample.slots));
    size_t numShown = 0;
    for (const Row& row : rows) {
        numShown += row.processes.size();
    }
    if (static_cast<int64_t>(numShown) != shown.sample.used) {
        parts.back() += fmt::format(", {} shown", numShown);
    }
    if (shown.moment.seconds > 0 && shown.printing != Printing::Total) {
        parts.push_back(fmt::format("{} over {:.3f} s",
                                    shown.printing == Printing::Rate ? "rates" : "growth",
                                    shown.moment.seconds));
    }
    scratch.clear();
    const auto endLine = [&] {
        text += surroundings.takesColor ? boldOn : "";
        appendFitting(text, scratch);
        text.insert(text.size() - 1, surroundings.takesColor ? colorOff : "");
        scratch.clear();
    };
    for (const std::string& part : parts) {
        if (!scratch.empty() && scratch.size() + gap + part.size() > width) {
            endLine();
        }
        scratch += scratch.empty() ? "" : "  ";
        scratch += part;
    }
    endLine();
    for (const std::string& warning : shown.warnings) {
        appendFitting(text, warning);
    }
}

/* Names what didn't fit, or as many of it as fit and how many more there are. */
void Report::appendClosing(std::string& text) {
    if (leftOut.empty()) {
        return;
    }
    scratch = "left out: ";
    for (size_t i = 0; i < leftOut.size(); i++) {
        const size_t rest = leftOut.size() - i;
        const std::string more = i > 0 ? fmt::format(", and {} more", rest)
                                       : fmt::format("{} column{}", rest, rest == 1 ? "" : "s");
        const size_t name = (i == 0 ? 0 : 2) + leftOut[i].size();
        if (scratch.size() + name + (rest == 1 ? 0 : more.size()) > width) {
            scratch += more;
            break;
        }
        scratch += i == 0 ? "" : ", ";
        scratch += leftOut[i];
    }
    text += '\n';
    appendFitting(text, scratch);
}

/* A sentence, on as many lines as it takes. */
void Report::appendFitting(std::string& text, std::string_view sentence) const {
    while (sentence.size() > width) {
        const size_t blank = sentence.rfind(' ', width);
        const size_t end = blank == std::string_view::npos || blank == 0 ? width : blank;
        text += sentence.substr(0, end);
        text += '\n';
        sentence.remove_prefix(end + (end == blank ? 1 : 0));
    }
    text += sentence;
    text += '\n';
}

} // namespace tvsistat
