/* Owns the look-ups of derived figures and default columns, and their compile-time checks. */
#include "figuretable.h"

#include <algorithm>
#include <utility>

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

consteval bool isOfItsKindsFields(const DerivedFigure& figure) {
    for (const Kind& kind : kindTable) {
        if ((figure.kinds & kind.bit) != 0 &&
            (!canBeRead(kind, figure.numerator) || !canBeRead(kind, figure.denominator))) {
            return false;
        }
    }
    return figure.kinds != 0 && !figure.numerator[0].field.empty();
}

/* Each figure is an evaluation of its own, as each kind below: clang limits the steps of one. */
template <const auto& table, size_t index>
constexpr bool hasItsFields = isOfItsKindsFields(table[index]);

template <const auto& table, size_t... index>
consteval bool figuresAreOfTheirKindsFields(std::index_sequence<index...>) {
    return (hasItsFields<table, index> && ...);
}
static_assert(
    figuresAreOfTheirKindsFields<figureTable>(std::make_index_sequence<figureTable.size()>()),
    "a figure's terms are its kinds' fields");
static_assert(
    figuresAreOfTheirKindsFields<headlineTable>(std::make_index_sequence<headlineTable.size()>()),
    "a headline's terms are its kinds' fields");

consteval bool everyTimeStampHasItsAge() {
    for (const Kind& kind : kindTable) {
        size_t times = 0;
        size_t ages = 0;
        forEachField(kind, [&](const FieldPlace& place) {
            times += place.field->meaning == Meaning::EventTime ? 1 : 0;
        });
        for (const DerivedFigure& figure : figureTable) {
            const bool isAge = figure.numerator[0].reading == Reading::Age;
            ages += isAge && (figure.kinds & kind.bit) != 0 ? 1 : 0;
        }
        if (times != ages) {
            return false;
        }
    }
    return true;
}
static_assert(everyTimeStampHasItsAge());

consteval bool figureNamesAreUnique() {
    for (const DerivedFigure& figure : figureTable) {
        for (const DerivedFigure& other : figureTable) {
            if (&figure != &other && (figure.kinds & other.kinds) != 0 &&
                figure.name == other.name) {
                return false;
            }
        }
        for (const Kind& kind : kindTable) {
            if ((figure.kinds & kind.bit) != 0 && findField(kind, figure.name)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(figureNamesAreUnique(), "a figure's name is unique in the columns of a kind");

/* A title's letters in lower case as one number; 0 when it is none. */
constexpr uint64_t folded(std::string_view title) {
    uint64_t letters = 0;
    if (title.size() > maxTitle) {
        return 0;
    }
    for (const char letter : title) {
        if (letter <= ' ' || letter > '~') {
            return 0;
        }
        const bool isUpper = letter >= 'A' && letter <= 'Z';
        letters = letters << 8U | static_cast<uint64_t>(isUpper ? letter - 'A' + 'a' : letter);
    }
    return letters;
}

template <size_t kindIndex> consteval bool titlesAreUnique() {
    constexpr const Kind& kind = kindTable[kindIndex];
    constexpr size_t most = 512;
    std::array<uint64_t, most> titles{};
    auto* end = titles.begin();
    forEachField(kind, [&](const FieldPlace& place) { *end++ = folded(place.field->title); });
    for (const DerivedFigure& figure : figureTable) {
        if ((figure.kinds & kind.bit) != 0) {
            *end++ = folded(figure.title);
        }
    }
    std::sort(titles.begin(), end);
    return titles.front() != 0 && std::adjacent_find(titles.begin(), end) == end;
}

template <size_t kindIndex> constexpr bool hasUniqueTitles = titlesAreUnique<kindIndex>();

template <size_t... kindIndex>
consteval bool titlesAreUniqueInEveryKind(std::index_sequence<kindIndex...>) {
    return (hasUniqueTitles<kindIndex> && ...);
}
static_assert(titlesAreUniqueInEveryKind(std::make_index_sequence<SHRPC_numStatTypes>()),
              "a title is unique in the columns of a kind");

constexpr bool hasFigure(const Kind& kind, std::string_view name) {
    return std::ranges::any_of(figureTable, [&](const DerivedFigure& figure) {
        return (figure.kinds & kind.bit) != 0 && figure.name == name;
    });
}

consteval bool defaultsAreOfTheirKind() {
    for (const Kind& kind : kindTable) {
        int rows = 0;
        for (const tables::DefaultColumns& row : defaultsTable) {
            if ((row.kinds & kind.bit) == 0) {
                continue;
            }
            rows++;
            for (size_t i = 0; i < row.size(); i++) {
                if (!findField(kind, row.names[i]) && !hasFigure(kind, row.names[i])) {
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
static_assert(defaultsAreOfTheirKind(), "each kind has its own default columns, once");

std::string textOf(const Term& term) {
    std::string field(term.field);
    switch (term.reading) {
    case Reading::Value:
        return field;
    case Reading::Rate:
        return field + "/s";
    case Reading::Age:
        return "now - " + field;
    }
    return field;
}

/* "a", "(a + b)", "(a - b)". */
std::string textOf(const Terms& terms) {
    std::string text = textOf(terms[0]);
    if (terms[1].field.empty()) {
        return text;
    }
    return "(" + text + (terms[1].sign < 0 ? " - " : " + ") + textOf(terms[1]) + ")";
}

/* Without the zeros behind the last digit: "100", "0.1". */
std::string textOf(double scale) {
    std::string text = std::to_string(scale);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text;
}

} // namespace

std::string formulaOf(const DerivedFigure& figure) {
    std::string text = figure.scale == 1 ? "" : textOf(figure.scale) + " * ";
    text += textOf(figure.numerator);
    if (figure.hasDenominator()) {
        text += " / " + textOf(figure.denominator);
    }
    return text;
}

std::span<const Name> defaultColumns(const Kind& kind) {
    for (const tables::DefaultColumns& row : defaultsTable) {
        if ((row.kinds & kind.bit) != 0) {
            return std::span<const Name>(row.names).first(row.size());
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
