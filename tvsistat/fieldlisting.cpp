#include "fieldlisting.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tvsistat {
namespace {

using statscatalogue::BlockPlace;
using statscatalogue::Field;
using statscatalogue::Kind;
using statscatalogue::nameOf;

constexpr std::string_view rowFormat = "  {:<37} {:<7} {:<10} {:>6}\n";

void appendFields(std::string& text, const BlockPlace& place) {
    fmt::format_to(std::back_inserter(text), rowFormat, "field", "type", "meaning", "offset");
    for (const Field& field : place.block.fields) {
        std::string type(nameOf(field.type));
        if (field.count > 1) {
            type += fmt::format("[{}]", field.count);
        }
        fmt::format_to(std::back_inserter(text), rowFormat, field.name, type, nameOf(field.meaning),
                       place.recordOffset + field.offset);
    }
}

bool hasBlock(const Kind& kind, const BlockPlace& place) {
    return std::ranges::any_of(kind.blocks(),
                               [&](const BlockPlace& own) { return own.member == place.member; });
}

std::string kindsWithBlock(const BlockPlace& place) {
    const auto kinds = statscatalogue::kinds();
    if (std::ranges::all_of(kinds, [&](const Kind& kind) { return hasBlock(kind, place); })) {
        return "every kind";
    }
    std::string list;
    for (const Kind& kind : kinds) {
        if (hasBlock(kind, place)) {
            list += list.empty() ? "" : ", ";
            list += kind.shortName;
        }
    }
    return list;
}

} // namespace

std::string listFields(const Kind* kind) {
    std::string text;
    if (kind != nullptr) {
        text = fmt::format("{} ({}): {}\n", kind->shortName, kind->name, kind->title);
    }
    for (const BlockPlace& place : statscatalogue::allBlocks()) {
        if (place.block.fields.empty() || (kind != nullptr && !hasBlock(*kind, place))) {
            continue;
        }
        text += text.empty() ? "" : "\n";
        text += fmt::format("{}, {}", place.member, place.block.typeName);
        text += kind == nullptr ? fmt::format(", of {}\n", kindsWithBlock(place)) : "\n";
        appendFields(text, place);
    }
    return text;
}

} // namespace tvsistat
