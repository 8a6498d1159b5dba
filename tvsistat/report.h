/* Turns samples into the text of a report. */
#ifndef REPORT_H
#define REPORT_H

#include "columns.h"
#include "rates.h"
#include "sampling.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tvsistat {

/* Appends bytes that may come from anywhere so that they are harmless on a terminal: everything
 * but printable ASCII becomes \xNN, and a backslash is doubled. */
void appendPrintable(std::string& text, std::string_view bytes);

struct ReportStyle {
    bool isBold = false;      /* headers stand out by escape sequences */
    bool showsTotals = false; /* counters as they stand, in every report */
    bool isSelection = false; /* says how many of the processes are shown */
};

/* Makes report after report. Column widths only grow, so that the columns of successive reports
 * stand below one another. */
class Report {
public:
    Report(std::string cacheTitle, ColumnPlan columnPlan, ReportStyle reportStyle);

    /* The report on `now`; with the sample before it, counters are shown as rates. The text is
     * valid until the next call. */
    std::string_view format(const Sample& now, const Sample* before);

    /* Processes in the last report. */
    size_t numShown() const { return rows.size(); }

private:
    /* A part of `cellTexts`. */
    struct Cell {
        size_t begin;
        size_t end;
    };
    struct Row {
        const TvsiResultSType* record;
        const TvsiResultSType* before;
        size_t group;
    };

    /* The processes of one kind: a line of titles and a line for each. */
    struct Section {
        size_t group;
        size_t firstCell;
        size_t numLines;
    };

    void chooseRows(const Sample& now, const Sample* before);
    void addSections();
    void addTitles(const std::vector<Column>& columns);
    void addRow(const Row& row, const std::vector<Column>& columns);
    void addValue(const Row& row, const Column& column);
    void closeCell();
    void widenColumns();
    size_t numColumnsOf(size_t group) const;
    size_t& widthOf(size_t group, size_t column);
    void appendHeader(const Sample& now);
    void appendSection(const Section& section);
    void appendLine(size_t group, std::span<const Cell> line);

    const std::string title;
    const ColumnPlan plan;
    const ReportStyle style;

    std::optional<double> rateSeconds; /* between the samples, when this report shows rates */
    ProcessMatcher matcher;
    std::vector<Row> rows;
    std::string cellTexts;   /* one after the other */
    std::vector<Cell> cells; /* line by line */
    std::vector<Section> sections;
    std::array<std::vector<size_t>, numGroups> widths; /* of the statistics' columns */
    std::array<size_t, 4> identityWidths;              /* kind, pid, session, name: of all lines */
    std::string text;
};

} // namespace tvsistat

#endif
