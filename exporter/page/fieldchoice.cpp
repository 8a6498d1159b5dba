#include "fieldchoice.h"

#include "printable.h"

#include <algorithm>
#include <charconv>

namespace exporter {
namespace {

using statscatalogue::Kind;

BadRequest problemWith(std::string_view name, std::string_view problem) {
    return {"the field '" + samples::printable(name.substr(0, maxFieldName)) + "' " +
            std::string(problem)};
}

/* The part of the text before the mark, which is taken away with it. */
std::string_view takePart(std::string_view& text, char mark) {
    const std::string_view part = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

template <class Integer> std::optional<Integer> numberIn(std::string_view text) {
    Integer number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                    : std::nullopt;
}

} // namespace

bool ChosenField::isCounter() const {
    return std::ranges::any_of(figures,
                               [](const auto& figure) { return figure && figure->isCounter(); });
}

std::variant<std::vector<ChosenField>, BadRequest> chosenFields(std::string_view list) {
    std::vector<ChosenField> fields;
    while (!list.empty()) {
        const std::string_view name = takePart(list, ',');
        if (fields.size() == maxChosenFields) {
            return BadRequest{"more than " + std::to_string(maxChosenFields) +
                              " fields are chosen"};
        }
        if (name.size() > maxFieldName) {
            return problemWith(name, "... has too long a name");
        }
        ChosenField field;
        field.name = name;
        bool isKnown = false;
        for (const Kind& kind : statscatalogue::kinds()) {
            const auto figures = samples::figuresNamed(kind, name, {});
            if (figures.size() > 1) {
                return problemWith(name, "has several elements: choose one, as " +
                                             samples::printable(name) + "[0]");
            }
            if (!figures.empty()) {
                field.figures[static_cast<size_t>(kind.index)] = figures.front();
                isKnown = true;
            }
        }
        if (!isKnown) {
            return problemWith(name, "is unknown; /api/catalogue has those that there are");
        }
        fields.push_back(std::move(field));
    }
    return fields;
}

std::optional<size_t> ProcessAddress::findIn(std::span<const samples::Process> processes) const {
    uint32_t before = 0;
    for (size_t i = 0; i < processes.size(); i++) {
        const samples::Record& record = *processes[i].now;
        if (record.kind == kind && record.pid == pid && record.session == session &&
            before++ == nth) {
            return i;
        }
    }
    return std::nullopt;
}

std::variant<ProcessAddress, BadRequest> processAddress(std::string_view text) {
    const std::string whole(text.substr(0, maxFieldName));
    const Kind* kind = statscatalogue::kindNamed(takePart(text, '.'));
    const auto pid = numberIn<int32_t>(takePart(text, '.'));
    const auto session = numberIn<int32_t>(takePart(text, '.'));
    const auto nth = numberIn<uint32_t>(text);
    if (kind == nullptr || !pid || !session || !nth) {
        return BadRequest{"'" + samples::printable(whole) +
                          "' is no process, as vok.4711.17.0: kind, pid, session, and how many "
                          "that are alike stand before it"};
    }
    return ProcessAddress{kind, *pid, *session, *nth};
}

} // namespace exporter
