/*
 * The table of processes on the live screen: which rows and columns its views have, and the texts
 * of their cells. It is the view that a cache's Showing hands its rows to.
 */
#ifndef SCREENTABLE_H
#define SCREENTABLE_H

#include "columns.h"
#include "planview.h"
#include "selection.h"
#include "showing.h"
#include "view.h"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tvsistat {

enum class ScreenView : uint8_t { Voks, Brox, Cache, Io, Everything };
inline constexpr size_t numScreenViews = 5;
/* "Voks", "Brox", "Cache", "I/O", "Everything". */
std::string_view nameOf(ScreenView view);

class ScreenTable : public View {
public:
    /* A column; kinds that lack it leave it empty. */
    struct TableColumn {
        std::optional<Identity> identity;
        std::string name; /* the catalogue's or a person's */
        std::string title;
        std::array<std::optional<Column>, samples::numKindPlaces> byKind;
        size_t width = 0; /* of the widest text so far */

        bool isText() const {
            return identity && identity != Identity::Pid && identity != Identity::Session;
        }
        /* The figure, of whichever kind has it. */
        const Column* any() const;
    };
    /* Rows that have the same columns: all, or those of a kind. */
    struct Section {
        bool isMade = false;
        std::vector<TableColumn> columns;
        size_t numFixed = 0; /* at the left, which stay when the others move */
    };
    /* A line of the table. */
    struct Item {
        size_t row;
        bool isHeading; /* above that row */
    };
    /* What a cell shows. */
    struct CellText {
        std::string text;
        uint8_t look = 0;
        bool isBeyond = false; /* of what is usual: a sign follows */
    };

    /* The request must outlive it; its order and filters are changed here. */
    explicit ScreenTable(Request& request_);

    /* Makes the rows of a cache anew; nothing when it had no sample yet. Valid until its Showing
     * takes another one. */
    void refresh(Showing& showing);
    void forgetRows();

    bool hasRows() const { return !rows.empty(); }
    const std::vector<samples::Row>& allRows() const { return rows; }
    const std::vector<Item>& items() const { return lines; }
    Section& sectionOf(const samples::Row& row);
    const samples::Moment& moment() const { return shownMoment; }
    samples::Printing printing() const { return shownPrinting; }
    const std::vector<std::string>& warnings() const { return shownWarnings; }
    int numUsed() const { return used; }
    int numSlots() const { return slots; }

    CellText cell(const TableColumn& column, const samples::Row& row);
    /* The columns of the detail: name, value, rate; the look is the value's. */
    CellText value(const samples::Figure& figure, const samples::Row& row);
    CellText rate(const samples::Figure& figure, const samples::Row& row);
    /* Figures of a process that the filters let pass. */
    std::vector<samples::Figure> detailOf(const samples::Row& row);
    /* "/s", "ms", "?". */
    std::string unitOf(const TableColumn& column);

    ScreenView view() const { return current; }
    void show(ScreenView other);

    /* Filters. The first returns what is wrong with the expression, and keeps the one before. */
    std::string filterRows(const std::string& expression);
    void filterFields(std::string part);
    const std::string& rowFilter() const { return rowFilterText; }
    const std::string& fieldFilter() const { return fieldFilterText; }
    bool hidesIdle() const { return isHidingIdle; }
    void hideIdle(bool hides);

    /* Sorts by the column `step` further right among those of the row's section. */
    void moveSort(const samples::Row& row, int step);
    /* By the column; the other way round when it is the one already. */
    void sortBy(const TableColumn& column);
    void reverse();
    /* The column's name; empty: as in the sample. */
    const std::string& sortName() const { return sorts[place(current)].name; }
    bool isReversed() const { return sorts[place(current)].isReversed; }

    /* Adds or takes away a column by its name, in the section of that row. */
    void toggleColumn(const samples::Row& row, const std::string& name);
    void restoreColumns(const samples::Row& row);

    void nextPrinting();
    void toggleScale();
    bool isScaled() const { return scales; }

    /* As a view. */
    void appendSample(std::string& text, const Shown& shown) override;
    void appendEvent(std::string&, const Event&) override {}
    bool shows(const statscatalogue::Kind* kind) override;
    bool showsAny(const samples::Row& row, const samples::Moment& moment,
                  samples::Printing printing) override;

private:
    struct Sort {
        std::string name;
        bool isReversed = false;
    };

    static size_t place(ScreenView view) { return static_cast<size_t>(view); }
    size_t sectionPlace(const samples::Row& row) const;
    Section& sectionAt(size_t at);
    void makeSection(Section& section, size_t at);
    void addIdentities(Section& section, size_t place);
    void addFigures(Section& section, const statscatalogue::Kind& kind, size_t at);
    void addFigure(Section& section, const statscatalogue::Kind& kind, const Column& column);
    std::vector<Column> columnsOf(const statscatalogue::Kind& kind, size_t at);
    bool passesFieldFilter(const samples::Figure& figure) const;
    void setOrder();
    void forgetSections();
    std::string identityText(Identity identity, const samples::Row& row);
    CellText numberText(const samples::Figure& figure, samples::Printing printing,
                        samples::Number number, const samples::Row& row);

    Request& request;
    ColumnPlan asked; /* by the options */
    TimeText times;
    ScreenView current;
    std::array<Sort, numScreenViews> sorts;
    std::map<std::pair<ScreenView, size_t>, std::vector<std::string>> chosen; /* by section */
    std::array<Section, samples::numKindPlaces + 1> sections; /* the last: of all kinds */
    std::string rowFilterText, fieldFilterText;
    std::optional<samples::NamePattern> rowPattern;
    bool isHidingIdle = false;
    bool scales = true;

    std::vector<samples::Row> rows;
    std::vector<Item> lines;
    std::vector<std::string> shownWarnings;
    samples::Moment shownMoment;
    samples::Printing shownPrinting = samples::Printing::Rate;
    int used = -1, slots = 0;
    bool showsState = false;
    std::string cacheName, broxName;
};

} // namespace tvsistat

#endif
