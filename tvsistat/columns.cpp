#include "columns.h"

#include "suggestion.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <optional>

namespace tvsistat {
namespace {

using statscatalogue::Field;
using statscatalogue::FieldPlace;
using statscatalogue::Kind;
using statscatalogue::kinds;

/* A field as a user writes it. */
struct FieldRequest {
    std::string_view name;
    std::optional<size_t> element;
};

/* Splits "name" or "name[i]"; nothing when it is neither. */
std::optional<FieldRequest> parseRequest(std::string_view text) {
    const size_t bracket = text.find('[');
    if (bracket == std::string_view::npos) {
        return FieldRequest{text, std::nullopt};
    }
    size_t element = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + bracket + 1, end, element);
    if (error != std::errc() || std::string_view(rest, end) != "]") {
        return std::nullopt;
    }
    return FieldRequest{text.substr(0, bracket), element};
}

void append(std::vector<Column>& columns, const FieldRequest& request, const FieldPlace& place) {
    const Field& field = *place.field;
    if (field.count == 1 && !request.element) {
        columns.push_back({std::string(field.name), place, 0});
        return;
    }
    const size_t first = request.element.value_or(0);
    const size_t end = request.element ? first + 1 : field.count;
    for (size_t element = first; element < end; element++) {
        columns.push_back({fmt::format("{}[{}]", field.name, element), place, element});
    }
}

/* Every field name of the kinds in the mask, possibly several times. */
std::vector<std::string_view> fieldNames(uint32_t kindMask) {
    std::vector<std::string_view> names;
    for (const Kind& kind : kinds()) {
        if ((kind.bit & kindMask) == 0) {
            continue;
        }
        for (const auto& place : kind.blocks()) {
            for (const Field& field : place.block.fields) {
                names.push_back(field.name);
            }
        }
    }
    return names;
}

/* The short names of the kinds that have a field, separated by commas. */
std::string kindsWith(std::string_view fieldName) {
    std::string list;
    for (const Kind& kind : kinds()) {
        if ((kind.bit & SHRPC_ALL) != 0 && findField(kind, fieldName)) {
            list += list.empty() ? "" : ", ";
            list += kind.shortName;
        }
    }
    return list;
}

Failure usage(std::string sentence) {
    return {ExitStatus::Usage, std::move(sentence)};
}

Failure unknownField(std::string_view name, uint32_t kindMask) {
    const std::string owners = kindsWith(name);
    if (!owners.empty()) {
        return usage(fmt::format("--fields: none of the chosen kinds has a field '{}', which is "
                                 "one of: {}",
                                 name, owners));
    }
    const std::string_view closest = closestName(name, fieldNames(kindMask));
    if (closest.empty()) {
        return usage(fmt::format(
            "--fields: there is no field '{}'; tvsistat --list-fields shows all names", name));
    }
    return usage(
        fmt::format("--fields: there is no field '{}'; did you mean '{}'?", name, closest));
}

/* Adds the columns of one requested field to every kind that has it. */
std::optional<Failure> addField(ColumnPlan& plan, std::string_view text, uint32_t kindMask) {
    const auto request = parseRequest(text);
    if (!request) {
        return usage(fmt::format("--fields: '{}' is neither a name nor name[number]", text));
    }
    bool found = false;
    for (const Kind& kind : kinds()) {
        const auto place = findField(kind, request->name);
        if ((kind.bit & kindMask) == 0 || !place) {
            continue;
        }
        found = true;
        if (request->element.value_or(0) >= place->field->count) {
            return usage(fmt::format("--fields: '{}' has {} element{}, numbered from 0",
                                     request->name, place->field->count,
                                     place->field->count == 1 ? "" : "s"));
        }
        append(plan.columns[static_cast<size_t>(kind.index)], *request, *place);
    }
    if (!found) {
        return unknownField(request->name, kindMask);
    }
    return std::nullopt;
}

} // namespace

size_t groupOf(uint32_t statType) {
    const Kind* kind = statscatalogue::kindOfBit(statType);
    return kind == nullptr ? unknownKindGroup : static_cast<size_t>(kind->index);
}

ColumnPlan defaultColumns() {
    ColumnPlan plan;
    for (const Kind& kind : kinds()) {
        const auto index = static_cast<size_t>(kind.index);
        for (const std::string_view name : statscatalogue::defaultColumns(kind)) {
            append(plan.columns[index], {name, std::nullopt}, *findField(kind, name));
        }
    }
    /* Whatever its kind, a record holds the common counters at the same place. */
    plan.columns[unknownKindGroup] = plan.columns[SHRPC_STATMON_IDX];
    return plan;
}

std::variant<ColumnPlan, Failure> chosenColumns(std::span<const std::string> fields,
                                                uint32_t kindMask) {
    ColumnPlan plan;
    plan.hidesKindsWithoutColumns = true;
    for (const std::string& text : fields) {
        if (auto failure = addField(plan, text, kindMask)) {
            return *failure;
        }
    }
    return plan;
}

} // namespace tvsistat
