#include "columns.h"

#include <algorithm>

namespace tvsistat {
namespace {

using samples::Figure;
using statscatalogue::Kind;

constexpr std::array<std::string_view, numIdentities> identityNames{
    "time", "cache", "brox", "kind", "index", "pid", "session", "name", "state", "started"};

Column figureColumn(const Figure& figure, std::optional<samples::Printing> printing,
                    bool isChosen) {
    return {std::nullopt, figure, printing, isChosen};
}

} // namespace

std::string_view nameOf(Identity identity) {
    return identityNames[static_cast<size_t>(identity)];
}

std::optional<Identity> identityNamed(std::string_view name) {
    const auto found = std::ranges::find(identityNames, name);
    if (found == identityNames.end()) {
        return std::nullopt;
    }
    return static_cast<Identity>(found - identityNames.begin());
}

bool FieldChoice::lets(const Figure& figure, bool isDefault) const {
    if (groups != 0 && (groups >> static_cast<unsigned>(figure.group()) & 1) == 0) {
        return false;
    }
    const bool hasInclude = std::ranges::any_of(filters, &Filter::includes);
    bool passes = !hasInclude && (isDefault || groups != 0);
    for (const Filter& filter : filters) {
        if (filter.includes != passes && filter.pattern.matches(figure)) {
            passes = filter.includes;
        }
    }
    return passes;
}

std::span<const Column> ColumnPlan::of(const Kind* kind) {
    PerKind& own = perKind[samples::placeOf(kind)];
    if (!own.isMade) {
        own.isMade = true;
        if (isExact()) {
            addExact(own.columns, kind);
        } else if (kind != nullptr && choice.isEmpty() && byDefault == Default::KeyFigures) {
            addDefaults(own.columns, *kind);
        } else if (kind != nullptr) {
            addLetThrough(own.columns, *kind);
        }
    }
    return own.columns;
}

bool ColumnPlan::shows(const Kind* kind) {
    if (choice.isEmpty()) {
        return true;
    }
    const auto isFigure = [](const Column& column) { return column.figure.has_value(); };
    const auto namesIdentity = [](const FieldChoice::Exact& entry) {
        return identityNamed(entry.name).has_value();
    };
    return std::ranges::any_of(of(kind), isFigure) ||
           (isExact() && std::ranges::all_of(choice.exact, namesIdentity));
}

void ColumnPlan::addExact(std::vector<Column>& columns, const Kind* kind) const {
    for (size_t place = 0; place < choice.exact.size(); place++) {
        const auto& [name, printing] = choice.exact[place];
        if (const auto identity = identityNamed(name)) {
            columns.push_back({identity, std::nullopt, std::nullopt, true, place});
        } else if (kind != nullptr) {
            const auto figures = figuresNamed(*kind, name, annotations);
            for (const Figure& figure : figures) {
                columns.push_back(figureColumn(figure, printing, figures.size() == 1));
                columns.back().place = place;
            }
        }
    }
}

void ColumnPlan::addDefaults(std::vector<Column>& columns, const Kind& kind) const {
    for (const std::string_view name : statscatalogue::defaultColumns(kind)) {
        for (const Figure& figure : figuresNamed(kind, name, annotations)) {
            columns.push_back(figureColumn(figure, std::nullopt, figure.field != nullptr));
        }
    }
}

void ColumnPlan::addLetThrough(std::vector<Column>& columns, const Kind& kind) const {
    const auto keyFigures = statscatalogue::defaultColumns(kind);
    const auto figures = figuresOf(kind, annotations);
    columns.reserve(figures.size());
    for (const Figure& figure : figures) {
        const bool isDefault =
            byDefault == Default::EveryFigure ||
            std::ranges::find(keyFigures, figure.field != nullptr
                                              ? figure.field->name
                                              : figure.derived->name) != keyFigures.end();
        if (choice.lets(figure, isDefault)) {
            columns.push_back(figureColumn(figure, std::nullopt, figure.derived != nullptr));
        }
    }
}

} // namespace tvsistat
