/*
 * The figures of a process: each element of each field of its kind, and what the catalogue derives
 * from them; and what a person knows of them that the catalogue can't: units that nobody recorded,
 * and what applications keep in their own statistics.
 *
 * Figures are plain values that refer to the catalogue's constant data and to an Annotations
 * object, which must outlive them.
 */
#ifndef FIGURE_H
#define FIGURE_H

#include "statscatalogue.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace samples {

/* Tables by kind have a place for each kind by its index, and a last one for records whose kind is
 * no known bit (they were copied while their slot changed hands). */
inline constexpr size_t numKindPlaces = SHRPC_numStatTypes + 1;
constexpr size_t placeOf(const statscatalogue::Kind* kind) {
    return kind == nullptr ? numKindPlaces - 1 : static_cast<size_t>(kind->index);
}

/* What a person adds to the catalogue. In each list the last entry that matches holds. */
struct Annotations {
    struct UnitOf {
        std::string glob;
        statscatalogue::Unit unit;
    };
    struct MeaningOf {
        std::string glob;
        statscatalogue::Meaning meaning;
    };
    struct LabelOf {
        std::string name; /* "sessionStats[3]" */
        std::string label;
    };
    std::vector<UnitOf> units;       /* for fields whose unit is unknown, and no others */
    std::vector<MeaningOf> meanings; /* for fields that applications define, and no others */
    std::vector<LabelOf> labels;     /* the same */
};

/* Where a term of a derived figure's formula stands in the packed record. */
struct TermPlace {
    uint16_t packedOffset = 0;
    statscatalogue::FieldType type{};
};

/* One number of the processes of a kind. */
struct Figure {
    const statscatalogue::Kind* kind;
    const statscatalogue::Field* field;           /* null for a derived figure */
    const statscatalogue::DerivedFigure* derived; /* null for a field */
    uint16_t element;                             /* of an array */
    uint16_t packedOffset;                        /* of the element in the packed record */
    statscatalogue::Meaning meaning;
    statscatalogue::Unit unit;
    statscatalogue::Aggregation aggregation;
    const std::string* label = nullptr; /* null unless a person gave one */
    /* Of a derived figure: its numerator's terms and its denominator's. */
    std::array<TermPlace, 2 * statscatalogue::maxTerms> terms{};

    bool isElement() const { return field != nullptr && field->count > 1; }
    /* Applications' own statistics say nothing while they are zero, unless they have a label. */
    bool isHiddenWhileZero() const {
        return field != nullptr && field->isApplications && label == nullptr;
    }
    bool isCounter() const {
        return field != nullptr && meaning == statscatalogue::Meaning::Counter;
    }
    /* Counters, gauges and positions; a code and a time stamp have no difference. */
    bool hasGrowth() const;
    bool isPerSecond() const { return derived != nullptr && derived->isPerSecond(); }
    statscatalogue::Group group() const { return field != nullptr ? field->group : derived->group; }
    std::string_view sentence() const {
        return field != nullptr ? field->sentence : derived->sentence;
    }

    /* The catalogue's name: "commitCount", "sessionStats[3]". */
    void appendName(std::string& text) const;
    /* The label, or the catalogue's name. */
    void appendLabel(std::string& text) const;
    /* The label, or at most eight letters: "commits", "ses[3]". */
    void appendTitle(std::string& text) const;
};

/* A name as a person writes it: "commitCount", "sessionStats[3]". */
struct WrittenName {
    std::string_view name;
    std::optional<size_t> element;
};
WrittenName writtenName(std::string_view text);

/* All figures of a kind: its fields in the order of the record, then the derived ones. */
std::vector<Figure> figuresOf(const statscatalogue::Kind& kind, const Annotations& annotations);

/* A derived figure, also one of a whole cache, of a kind that has it. */
Figure derivedFigure(const statscatalogue::Kind& kind,
                     const statscatalogue::DerivedFigure& derived);

/* The figures that a name stands for in a kind's records: a field, one element ("name[i]"), all
 * elements of an array ("name"), a label, or a derived figure. Empty when the kind has none. */
std::vector<Figure> figuresNamed(const statscatalogue::Kind& kind, std::string_view name,
                                 const Annotations& annotations);

/* A name or glob for figures: "commitCount", "time*", "vok.time*", "sessionStats" (each element),
 * "*Stats[3]" (this element of an array, not the glob's set of characters). */
class FigurePattern {
public:
    explicit FigurePattern(std::string text);
    bool matches(const Figure& figure) const;
    const std::string& text() const { return pattern; }

private:
    std::string pattern;
    std::string kindGlob, nameGlob;
    std::optional<size_t> element;
    mutable std::string name; /* scratch */
};

} // namespace samples

#endif
