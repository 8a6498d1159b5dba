/* Which columns, or values, are shown for the processes of each kind. */
#ifndef COLUMNS_H
#define COLUMNS_H

#include "figure.h"
#include "rowmaker.h"

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tvsistat {

/* What a row says of itself, besides its figures. */
enum class Identity : uint8_t {
    Time,
    Cache,
    Brox,
    Kind,
    Index,
    Pid,
    Session,
    Name,
    State,
    Started
};
inline constexpr size_t numIdentities = 10;

/* "time" ... "started". */
std::string_view nameOf(Identity identity);
std::optional<Identity> identityNamed(std::string_view name);

struct Column {
    std::optional<Identity> identity; /* else a figure: */
    std::optional<samples::Figure> figure;
    std::optional<samples::Printing> printing; /* nothing: as counters print at the moment */
    bool isChosen = false;                     /* shown also where there is nothing to see */
    size_t place = 0;                          /* of what asked for it in an exact choice */

    /* Of a figure, when counters print in a given way. */
    samples::Printing printingFor(samples::Printing ofCounters) const {
        return printingOf(*figure, printing, ofCounters);
    }
};

/* The fields that a user asked for. */
struct FieldChoice {
    struct Exact {
        std::string name; /* of a field, an element, a label, a derived figure or an identity */
        std::optional<samples::Printing> printing;
    };
    struct Filter {
        bool includes; /* else it excludes */
        samples::FigurePattern pattern;
    };
    std::vector<Exact> exact;
    std::vector<Filter> filters; /* the last one that matches holds */
    uint32_t groups = 0;         /* bits by statscatalogue::Group; 0: all */

    bool isEmpty() const { return exact.empty() && filters.empty() && groups == 0; }
    /* Whether filters and groups let a figure pass that is, or isn't, shown by default. */
    bool lets(const samples::Figure& figure, bool isDefault) const;
};

/* Where figures come from when the user names none. */
enum class Default : uint8_t { KeyFigures, EveryFigure };

/* The columns by kind, made when they are first asked for. */
class ColumnPlan {
public:
    /* The references must outlive the plan. */
    ColumnPlan(const FieldChoice& fieldChoice, const samples::Annotations& known, Default defaults)
        : choice(fieldChoice), annotations(known), byDefault(defaults) {}

    /* The columns of a kind's processes; of records without a known kind for null. With an exact
     * choice these are all columns there are, else figures only. */
    std::span<const Column> of(const statscatalogue::Kind* kind);

    /* A kind that has none of the fields that the user asked for is left out. */
    bool shows(const statscatalogue::Kind* kind);

    bool isExact() const { return !choice.exact.empty(); }

private:
    struct PerKind {
        bool isMade = false;
        std::vector<Column> columns;
    };

    void addExact(std::vector<Column>& columns, const statscatalogue::Kind* kind) const;
    void addDefaults(std::vector<Column>& columns, const statscatalogue::Kind& kind) const;
    void addLetThrough(std::vector<Column>& columns, const statscatalogue::Kind& kind) const;

    const FieldChoice& choice;
    const samples::Annotations& annotations;
    const Default byDefault;
    std::array<PerKind, samples::numKindPlaces> perKind;
};

} // namespace tvsistat

#endif
