#include "figure.h"

#include <charconv>
#include <fnmatch.h>
#include <optional>

namespace samples {
namespace {

using statscatalogue::DerivedFigure;
using statscatalogue::Field;
using statscatalogue::FieldPlace;
using statscatalogue::Kind;
using statscatalogue::Meaning;
using statscatalogue::Unit;

void appendIndexed(std::string& text, std::string_view name, size_t element) {
    char digits[8];
    const auto end = std::to_chars(digits, digits + sizeof digits, element).ptr;
    text += name;
    text += '[';
    text.append(digits, end);
    text += ']';
}

/* Whether a glob of a person's means the field, or its element in particular. */
bool isMeant(const std::string& glob, const Figure& figure) {
    return FigurePattern(glob).matches(figure);
}

void annotate(Figure& figure, const Annotations& annotations) {
    const Field& field = *figure.field;
    if (field.unit == Unit::Unknown) {
        for (const auto& [glob, unit] : annotations.units) {
            figure.unit = isMeant(glob, figure) ? unit : figure.unit;
        }
    }
    if (!field.isApplications) {
        return;
    }
    for (const auto& [glob, meaning] : annotations.meanings) {
        figure.meaning = isMeant(glob, figure) ? meaning : figure.meaning;
    }
    for (const auto& [name, label] : annotations.labels) {
        figure.label = isMeant(name, figure) ? &label : figure.label;
    }
}

Figure elementFigure(const Kind& kind, const FieldPlace& place, size_t element,
                     const Annotations& annotations) {
    const Field& field = *place.field;
    Figure figure{&kind,
                  &field,
                  nullptr,
                  static_cast<uint16_t>(element),
                  static_cast<uint16_t>(place.packedOffset + element * widthOf(field.type)),
                  field.meaning,
                  field.unit,
                  field.aggregation};
    annotate(figure, annotations);
    return figure;
}

void appendElements(std::vector<Figure>& figures, const Kind& kind, const FieldPlace& place,
                    const Annotations& annotations) {
    for (size_t element = 0; element < place.field->count; element++) {
        figures.push_back(elementFigure(kind, place, element, annotations));
    }
}

const Annotations::LabelOf* findLabel(const Annotations& annotations, std::string_view label) {
    for (const auto& entry : annotations.labels) {
        if (entry.label == label) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

WrittenName writtenName(std::string_view text) {
    const size_t bracket = text.find('[');
    size_t element = 0;
    if (bracket != std::string_view::npos) {
        const char* end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data() + bracket + 1, end, element);
        if (error == std::errc() && std::string_view(rest, end) == "]") {
            return {text.substr(0, bracket), element};
        }
    }
    return {text, std::nullopt};
}

Figure derivedFigure(const Kind& kind, const DerivedFigure& derived) {
    Figure figure{&kind, nullptr,        &derived,     0,
                  0,     Meaning::Gauge, derived.unit, derived.aggregation};
    size_t next = 0;
    for (const auto& terms : {derived.numerator, derived.denominator}) {
        for (const auto& term : terms) {
            if (const auto place = findField(kind, term.field)) {
                figure.terms[next] = {place->packedOffset, place->field->type};
            }
            next++;
        }
    }
    return figure;
}

bool Figure::hasGrowth() const {
    return field != nullptr && !isCode(meaning) && meaning != Meaning::EventTime;
}

void Figure::appendName(std::string& text) const {
    if (isElement()) {
        appendIndexed(text, field->name, element);
    } else {
        text += field != nullptr ? field->name : derived->name;
    }
}

void Figure::appendLabel(std::string& text) const {
    if (label != nullptr) {
        text += *label;
    } else {
        appendName(text);
    }
}

void Figure::appendTitle(std::string& text) const {
    if (label != nullptr) {
        text += *label;
    } else if (isElement()) {
        appendIndexed(text, field->title, element);
    } else {
        text += field != nullptr ? field->title : derived->title;
    }
}

std::vector<Figure> figuresOf(const Kind& kind, const Annotations& annotations) {
    std::vector<Figure> figures;
    size_t count = statscatalogue::derivedFigures().size();
    forEachField(kind, [&](const FieldPlace& place) { count += place.field->count; });
    figures.reserve(count);
    forEachField(
        kind, [&](const FieldPlace& place) { appendElements(figures, kind, place, annotations); });
    for (const DerivedFigure& derived : statscatalogue::derivedFigures()) {
        if ((derived.kinds & kind.bit) != 0) {
            figures.push_back(derivedFigure(kind, derived));
        }
    }
    return figures;
}

std::vector<Figure> figuresNamed(const Kind& kind, std::string_view name,
                                 const Annotations& annotations) {
    std::vector<Figure> figures;
    if (const auto* labelled = findLabel(annotations, name)) {
        name = labelled->name;
    }
    const WrittenName written = writtenName(name);
    if (const auto place = findField(kind, written.name)) {
        if (!written.element) {
            appendElements(figures, kind, *place, annotations);
        } else if (place->field->count > 1 && *written.element < place->field->count) {
            figures.push_back(elementFigure(kind, *place, *written.element, annotations));
        }
    } else if (const DerivedFigure* derived = statscatalogue::findFigure(kind, name)) {
        figures.push_back(derivedFigure(kind, *derived));
    }
    return figures;
}

FigurePattern::FigurePattern(std::string text) : pattern(std::move(text)), kindGlob("*") {
    const size_t dot = pattern.find('.');
    if (dot != std::string::npos) {
        kindGlob = pattern.substr(0, dot);
    }
    const WrittenName written =
        writtenName(std::string_view(pattern).substr(dot == std::string::npos ? 0 : dot + 1));
    nameGlob = written.name;
    element = written.element;
}

bool FigurePattern::matches(const Figure& figure) const {
    const auto isMatch = [&](const std::string& glob, std::string_view text) {
        name = text;
        return glob == name || fnmatch(glob.c_str(), name.c_str(), 0) == 0;
    };
    if (element && (!figure.isElement() || figure.element != *element)) {
        return false;
    }
    return isMatch(nameGlob, figure.field != nullptr ? figure.field->name : figure.derived->name) &&
           isMatch(kindGlob, figure.kind->shortName);
}

} // namespace samples
