/* The report: a table for each kind, made for the width that there is. */
#ifndef REPORT_H
#define REPORT_H

#include "planview.h"

#include <array>
#include <vector>

namespace tvsistat {

/*
 * On a terminal, or with a width, titles and numbers are short and the lines fit: what doesn't is
 * left out from the right and named in the closing line. In a file or pipe names and numbers stand
 * in full. Column widths only grow, so that the columns of successive reports stand below one
 * another.
 */
class Report : public PlanView {
public:
    Report(const Request& asked, const Surroundings& found);

    void appendSample(std::string& text, const Shown& shown) override;
    void appendEvent(std::string& text, const Event& event) override;

private:
    /* A part of `cellTexts`. */
    struct Cell {
        size_t begin, end;
        size_t length() const { return end - begin; }
    };

    /* The columns of a kind's section, and how wide they have become. */
    struct SectionPlan {
        bool isMade = false;
        std::vector<Column> columns;
        std::vector<size_t> widths;
        std::vector<bool> isHidden; /* there was nothing to see in it yet */
    };

    /* The processes of one kind. */
    struct Section {
        size_t place; /* samples::placeOf the kind */
        size_t firstRow, numRows;
    };

    SectionPlan& planOf(size_t place, const statscatalogue::Kind* kind);
    void groupRows(const Shown& shown);
    void appendSection(std::string& text, const Section& section, const Shown& shown);
    void addHeadings(const SectionPlan& own, const Shown& shown);
    void addRow(SectionPlan& own, const samples::Row& row, const Shown& shown);
    void addCell(const Column& column, const samples::Row& row, const Shown& shown);
    void addIdentity(Identity identity, const samples::Row& row, const Shown& shown);
    void closeCell();
    bool hasText(const SectionPlan& own, size_t firstCell, size_t numColumns) const;
    size_t numFitting(const SectionPlan& own) const;
    void appendLine(std::string& text, const SectionPlan& own, size_t firstCell, size_t numColumns,
                    bool isHeading);
    void noteLeftOut(const SectionPlan& own, size_t from, const statscatalogue::Kind* kind);
    void appendHeader(std::string& text, const Shown& shown);
    void appendClosing(std::string& text);
    void appendFitting(std::string& text, std::string_view sentence) const;

    bool isShort;   /* titles and numbers */
    bool showsTime; /* at the front of each line */
    std::string ownHost;
    bool showsState = false;
    size_t width = SIZE_MAX;
    std::array<SectionPlan, samples::numKindPlaces> plans;
    std::vector<samples::Row> rows; /* by kind */
    std::vector<Section> sections;
    std::string cellTexts;
    std::vector<Cell> cells;
    std::vector<std::string> leftOut;
    std::string scratch;
};

} // namespace tvsistat

#endif
