#include "report.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <iterator>

namespace tvsistat {
namespace {

using statscatalogue::Meaning;
using statscatalogue::Value;

constexpr std::array<std::string_view, 4> identityTitles{"kind", "pid", "session", "name"};
constexpr size_t kindColumn = 0;
constexpr size_t nameColumn = 3;
constexpr size_t numIdentities = identityTitles.size();

constexpr std::string_view boldOn = "\033[1m";
constexpr std::string_view boldOff = "\033[0m";
constexpr std::string_view noValue = "-";

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

/* The local time of seconds since the Unix epoch, or the number itself when no calendar has it. */
void appendLocalTime(std::string& text, time_t seconds) {
    struct tm local;
    char date[64];
    if (localtime_r(&seconds, &local) == nullptr ||
        std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local) == 0) {
        fmt::format_to(std::back_inserter(text), "{}", seconds);
        return;
    }
    text += date;
}

void appendNumber(std::string& text, Meaning meaning, Value value) {
    if (meaning == Meaning::EventTime) {
        if (value.bits == 0) {
            text += noValue;
            return;
        }
        appendLocalTime(text, static_cast<time_t>(value.asSigned()));
    } else if (value.isSigned) {
        fmt::format_to(std::back_inserter(text), "{}", value.asSigned());
    } else {
        fmt::format_to(std::back_inserter(text), "{}", value.asUnsigned());
    }
}

/* The process name as a server may have left it: 32 bytes, not necessarily terminated. */
std::string_view nameOf(const TvsiResultSType& record) {
    return {record.olvName, strnlen(record.olvName, sizeof record.olvName)};
}

} // namespace

void appendPrintable(std::string& text, std::string_view bytes) {
    for (const char c : bytes) {
        if (c == '\\') {
            text += "\\\\";
        } else if (isPrintable(c)) {
            text += c;
        } else {
            fmt::format_to(std::back_inserter(text), "\\x{:02x}", static_cast<unsigned char>(c));
        }
    }
}

Report::Report(std::string cacheTitle, ColumnPlan columnPlan, ReportStyle reportStyle)
    : title(std::move(cacheTitle)), plan(std::move(columnPlan)), style(reportStyle) {
    for (size_t group = 0; group < numGroups; group++) {
        widths[group].assign(plan.columns[group].size(), 0);
    }
    std::ranges::transform(identityTitles, identityWidths.begin(), &std::string_view::size);
    for (const auto& kind : statscatalogue::kinds()) {
        identityWidths[kindColumn] = std::max(identityWidths[kindColumn], kind.shortName.size());
    }
}

std::string_view Report::format(const Sample& now, const Sample* before) {
    rateSeconds.reset();
    if (before != nullptr && !style.showsTotals) {
        rateSeconds = std::chrono::duration<double>(now.taken - before->taken).count();
    }
    chooseRows(now, before);
    addSections();
    widenColumns();
    text.clear();
    appendHeader(now);
    for (const Section& section : sections) {
        appendSection(section);
    }
    text += '\n';
    return text;
}

/* The processes to show, grouped by kind and in slot order within it. */
void Report::chooseRows(const Sample& now, const Sample* before) {
    const auto records = now.records();
    std::span<const TvsiResultSType* const> matches;
    if (rateSeconds) {
        matches = matcher.match(records, before->records());
    }
    rows.clear();
    for (size_t i = 0; i < records.size(); i++) {
        const size_t group = groupOf(records[i].statType);
        if (!plan.hidesKindsWithoutColumns || !plan.columns[group].empty()) {
            rows.push_back({&records[i], matches.empty() ? nullptr : matches[i], group});
        }
    }
    std::ranges::stable_sort(rows, {}, &Row::group);
}

void Report::appendHeader(const Sample& now) {
    text += style.isBold ? boldOn : "";
    text += title;
    text += "  ";
    const auto sinceEpoch = now.wallTime.time_since_epoch();
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(sinceEpoch).count();
    appendLocalTime(text, static_cast<time_t>(milliseconds / 1000));
    fmt::format_to(std::back_inserter(text), ".{:03}  {} of {} processes in use",
                   milliseconds % 1000, now.slotsInUse, now.slots);
    if (style.isSelection) {
        fmt::format_to(std::back_inserter(text), ", {} shown", rows.size());
    }
    if (rateSeconds) {
        fmt::format_to(std::back_inserter(text), ", rates over {:.3f} s", *rateSeconds);
    }
    text += style.isBold ? boldOff : "";
    text += '\n';
}

/* Writes the cells of all lines. */
void Report::addSections() {
    cellTexts.clear();
    cells.clear();
    sections.clear();
    for (const Row& row : rows) {
        const auto& columns = plan.columns[row.group];
        if (sections.empty() || sections.back().group != row.group) {
            sections.push_back({row.group, cells.size(), 1});
            addTitles(columns);
        }
        addRow(row, columns);
        sections.back().numLines++;
    }
}

void Report::addTitles(const std::vector<Column>& columns) {
    for (const std::string_view identity : identityTitles) {
        cellTexts += identity;
        closeCell();
    }
    for (const Column& column : columns) {
        cellTexts += column.title;
        cellTexts += rateSeconds && column.isCounter() ? "/s" : "";
        closeCell();
    }
}

void Report::addRow(const Row& row, const std::vector<Column>& columns) {
    const TvsiResultSType& record = *row.record;
    if (row.group == unknownKindGroup) {
        fmt::format_to(std::back_inserter(cellTexts), "{:#x}", record.statType);
    } else {
        cellTexts += statscatalogue::kinds()[row.group].shortName;
    }
    closeCell();
    fmt::format_to(std::back_inserter(cellTexts), "{}", record.stats.processId);
    closeCell();
    fmt::format_to(std::back_inserter(cellTexts), "{}", record.stats.sessionId);
    closeCell();
    appendPrintable(cellTexts, nameOf(record));
    closeCell();
    for (const Column& column : columns) {
        addValue(row, column);
        closeCell();
    }
}

void Report::addValue(const Row& row, const Column& column) {
    const auto& field = *column.place.field;
    const Value now = read(*row.record, column.place, column.element);
    if (!rateSeconds || !column.isCounter()) {
        appendNumber(cellTexts, field.meaning, now);
        return;
    }
    std::optional<double> rate;
    if (row.before != nullptr) {
        rate = ratePerSecond(field.type, now, read(*row.before, column.place, column.element),
                             *rateSeconds);
    }
    if (rate) {
        fmt::format_to(std::back_inserter(cellTexts), "{:.1f}", *rate);
    } else {
        cellTexts += noValue;
    }
}

/* Ends the cell whose text was appended to `cellTexts` since the last one ended. */
void Report::closeCell() {
    cells.push_back({cells.empty() ? 0 : cells.back().end, cellTexts.size()});
}

size_t Report::numColumnsOf(size_t group) const {
    return numIdentities + plan.columns[group].size();
}

size_t& Report::widthOf(size_t group, size_t column) {
    return column < numIdentities ? identityWidths[column] : widths[group][column - numIdentities];
}

void Report::widenColumns() {
    for (const Section& section : sections) {
        const size_t numColumns = numColumnsOf(section.group);
        for (size_t i = 0; i < section.numLines * numColumns; i++) {
            const Cell& cell = cells[section.firstCell + i];
            size_t& width = widthOf(section.group, i % numColumns);
            width = std::max(width, cell.end - cell.begin);
        }
    }
}

void Report::appendSection(const Section& section) {
    text += '\n';
    const size_t numColumns = numColumnsOf(section.group);
    for (size_t line = 0; line < section.numLines; line++) {
        const bool isBold = style.isBold && line == 0;
        text += isBold ? boldOn : "";
        appendLine(section.group, std::span<const Cell>(cells).subspan(
                                      section.firstCell + line * numColumns, numColumns));
        text += isBold ? boldOff : "";
        text += '\n';
    }
}

/* Kind and name are set left, everything else right; no blanks at the end. */
void Report::appendLine(size_t group, std::span<const Cell> line) {
    for (size_t column = 0; column < line.size(); column++) {
        const auto [begin, end] = line[column];
        const size_t padding = widthOf(group, column) - (end - begin);
        const bool isLeft = column == kindColumn || column == nameColumn;
        const bool isLast = column + 1 == line.size();
        text.append(column == 0 ? 0 : 2, ' ');
        text.append(isLeft ? 0 : padding, ' ');
        text.append(cellTexts, begin, end - begin);
        text.append(isLeft && !isLast ? padding : 0, ' ');
    }
}

} // namespace tvsistat
