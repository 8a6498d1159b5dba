/* Owns the look-ups of derived figures and default columns, and their compile-time checks. */
#include "figuretable.h"

namespace statscatalogue {
namespace {

using tables::defaultsTable;
using tables::figureTable;
using tables::headlineTable;
using tables::kindTable;

consteval bool suits(const Term& term, const Field& field) {
    switch (term.reading) {
    case Reading::Value:
        return field.meaning == Meaning::Gauge;
    case Reading::Rate:
        return field.meaning == Meaning::Counter;
    case Reading::Age:
        return field.meaning == Meaning::EventTime;
    }
    return false;
}

consteval bool canBeRead(const Kind& kind, const Terms& terms) {
    for (const Term& term : terms) {
        if (term.field.empty()) {
            continue;
        }
        const auto place = findField(kind, term.field);
        if (!place || place->field->count != 1 || !suits(term, *place->field)) {
            return false;
        }
    }
    return true;
}

consteval bool formulasAreOfTheirKindsFields(std::span<const DerivedFigure> figures) {
    for (const DerivedFigure& figure : figures) {
        for (const Kind& kind : kindTable) {
            if ((figure.kinds & kind.bit) != 0 &&
                (!canBeRead(kind, figure.numerator) || !canBeRead(kind, figure.denominator))) {
                return false;
            }
        }
        if (figure.kinds == 0 || figure.numerator[0].field.empty()) {
            return false;
        }
    }
    return true;
}
static_assert(formulasAreOfTheirKindsFields(figureTable));
static_assert(formulasAreOfTheirKindsFields(headlineTable));

consteval bool defaultsAreFieldsOfTheirKind() {
    for (const Kind& kind : kindTable) {
        int rows = 0;
        for (const tables::DefaultColumns& row : defaultsTable) {
            if ((row.kinds & kind.bit) == 0) {
                continue;
            }
            rows++;
            for (size_t i = 0; i < row.size(); i++) {
                if (!findField(kind, row.names[i])) {
                    return false;
                }
            }
        }
        if (rows != 1) {
            return false;
        }
    }
    return true;
}
static_assert(defaultsAreFieldsOfTheirKind(), "each kind has its own default columns, once");

} // namespace

std::span<const std::string_view> defaultColumns(const Kind& kind) {
    for (const tables::DefaultColumns& row : defaultsTable) {
        if ((row.kinds & kind.bit) != 0) {
            return std::span<const std::string_view>(row.names).first(row.size());
        }
    }
    return {};
}

std::span<const DerivedFigure> derivedFigures() {
    return figureTable;
}

const DerivedFigure* findFigure(const Kind& kind, std::string_view name) {
    for (const DerivedFigure& figure : figureTable) {
        if ((figure.kinds & kind.bit) != 0 && figure.name == name) {
            return &figure;
        }
    }
    return nullptr;
}

std::span<const DerivedFigure, numHeadlines> headlineFigures() {
    return headlineTable;
}

} // namespace statscatalogue
