#include "listings.h"

#include "numbertext.h"
#include "printable.h"
#include "timetext.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::Figure;
using statscatalogue::BlockPlace;
using statscatalogue::DerivedFigure;
using statscatalogue::Field;
using statscatalogue::Kind;

/* Lines of cells, the columns as wide as their widest cell. */
class Table {
public:
    void addRow(std::vector<std::string> row) { rows.push_back(std::move(row)); }
    std::string text() const {
        std::vector<size_t> widths;
        for (const auto& row : rows) {
            widths.resize(std::max(widths.size(), row.size()));
            for (size_t i = 0; i < row.size(); i++) {
                widths[i] = std::max(widths[i], row[i].size());
            }
        }
        std::string lines;
        for (const auto& row : rows) {
            for (size_t i = 0; i < row.size(); i++) {
                lines += row[i];
                const bool isLast = i + 1 == row.size();
                lines.append(isLast ? 0 : widths[i] - row[i].size() + 2, ' ');
            }
            lines += '\n';
        }
        return lines;
    }

private:
    std::vector<std::vector<std::string>> rows;
};

/* One entry of the list of fields. */
struct FieldEntry {
    Figure figure; /* of the first kind and element */
    std::string type, offset;
    std::vector<std::string_view> kinds;
};

std::string_view classOf(const Figure& figure) {
    return figure.derived != nullptr ? "derived" : nameOf(figure.meaning);
}

std::string nameOfEntry(const Figure& figure) {
    return std::string(figure.field != nullptr ? figure.field->name : figure.derived->name);
}

/* Whether the request's globs and groups let any of a field's elements through. */
bool passes(const Request& request, std::span<const Figure> figures) {
    const uint32_t groups = request.fields.groups;
    return std::ranges::any_of(figures, [&](const Figure& figure) {
        const bool isInGroup =
            groups == 0 || (groups >> static_cast<unsigned>(figure.group()) & 1) != 0;
        const bool isMeant = request.fieldGlobs.empty() ||
                             std::ranges::any_of(request.fieldGlobs, [&](const std::string& glob) {
                                 return samples::FigurePattern(glob).matches(figure);
                             });
        return isInGroup && isMeant;
    });
}

bool hasBlock(const Kind& kind, const BlockPlace& place) {
    return std::ranges::any_of(kind.blocks(),
                               [&](const BlockPlace& own) { return own.member == place.member; });
}

/* Adds the kind to the entry for one name, which its first kind makes. */
void addKind(std::optional<FieldEntry>& entry, const Request& request, const Kind& kind,
             std::string_view name) {
    if ((kind.bit & request.rows.selection.kinds) == 0) {
        return;
    }
    const auto figures = figuresNamed(kind, name, request.annotations);
    if (!passes(request, figures)) {
        return;
    }
    if (!entry) {
        entry = FieldEntry{figures[0], {}, {}, {}};
    }
    entry->kinds.push_back(kind.shortName);
}

std::vector<FieldEntry> chosenFields(const Request& request) {
    std::vector<FieldEntry> entries;
    for (const BlockPlace& place : statscatalogue::allBlocks()) {
        for (const Field& field : place.block.fields) {
            std::optional<FieldEntry> entry;
            for (const Kind& kind : statscatalogue::kinds()) {
                if (hasBlock(kind, place)) {
                    addKind(entry, request, kind, field.name);
                }
            }
            if (entry) {
                entry->type = nameOf(field.type);
                entry->type += field.count > 1 ? fmt::format("[{}]", field.count) : "";
                entry->offset = std::to_string(place.recordOffset + field.offset);
                entries.push_back(std::move(*entry));
            }
        }
    }
    for (const DerivedFigure& derived : statscatalogue::derivedFigures()) {
        std::optional<FieldEntry> entry;
        for (const Kind& kind : statscatalogue::kinds()) {
            if ((derived.kinds & kind.bit) != 0) {
                addKind(entry, request, kind, derived.name);
            }
        }
        if (entry) {
            entry->type = "decimal";
            entry->offset = "-";
            entries.push_back(std::move(*entry));
        }
    }
    return entries;
}

void appendMember(std::string& text, std::string_view name, std::string_view value) {
    text += ",\"";
    text += name;
    text += "\":";
    samples::appendJsonString(text, value);
}

std::string fieldObject(const FieldEntry& entry) {
    const Figure& figure = entry.figure;
    std::string text = "{\"name\":";
    samples::appendJsonString(text, nameOfEntry(figure));
    appendMember(text, "class", classOf(figure));
    appendMember(text, "type", entry.type);
    text += ",\"offset\":" + (figure.field != nullptr ? entry.offset : "null");
    appendMember(text, "unit", nameOf(figure.unit));
    appendMember(text, "aggregation", nameOf(figure.aggregation));
    appendMember(text, "group", nameOf(figure.group()));
    text += ",\"kinds\":[";
    for (const std::string_view kind : entry.kinds) {
        text += kind == entry.kinds.front() ? "" : ",";
        samples::appendJsonString(text, kind);
    }
    text += ']';
    appendMember(text, "sentence", figure.sentence());
    if (figure.derived != nullptr) {
        appendMember(text, "formula", formulaOf(*figure.derived));
    }
    return text + "}\n";
}

std::string kindList(const FieldEntry& entry) {
    if (entry.kinds.size() == SHRPC_numStatTypes - 1) {
        return "every kind";
    }
    std::string list;
    for (const std::string_view kind : entry.kinds) {
        list += list.empty() ? "" : ",";
        list += kind;
    }
    return list;
}

} // namespace

std::string listFields(const Request& request) {
    const auto entries = chosenFields(request);
    std::string lines;
    if (request.form == Form::Json) {
        for (const FieldEntry& entry : entries) {
            lines += fieldObject(entry);
        }
        return lines;
    }
    Table table;
    table.addRow(
        {"field", "class", "type", "offset", "unit", "aggregation", "group", "kinds", "sentence"});
    for (const FieldEntry& entry : entries) {
        const Figure& figure = entry.figure;
        std::string sentence(figure.sentence());
        if (figure.derived != nullptr) {
            sentence += " = ";
            sentence += formulaOf(*figure.derived);
        }
        table.addRow({nameOfEntry(figure), std::string(classOf(figure)), entry.type, entry.offset,
                      std::string(nameOf(figure.unit)), std::string(nameOf(figure.aggregation)),
                      std::string(nameOf(figure.group())), kindList(entry), std::move(sentence)});
    }
    return table.text();
}

std::string listCaches(const Request& request, const samples::CacheListings& caches) {
    TimeText times(request.layout.isUtc || request.form == Form::Json);
    const auto started = [&](const samples::CacheListing& cache) {
        std::string text;
        if (cache.startedSec != 0) {
            times.appendSeconds(text, cache.startedSec);
        }
        return text;
    };
    if (request.form == Form::Json) {
        std::string lines;
        for (const auto& cache : caches) {
            lines += "{\"brox\":";
            samples::appendJsonString(lines, cache.brox);
            appendMember(lines, "cache", cache.location);
            lines += ",\"monitor\":" + std::to_string(cache.monitorPid);
            appendMember(lines, "user", cache.user);
            lines += ",\"started\":";
            lines += cache.startedSec == 0 ? "null" : "\"" + started(cache) + "\"";
            appendMember(lines, "version", cache.version);
            lines += cache.isReadable ? ",\"readable\":true" : ",\"readable\":false";
            appendMember(lines, "refusal", cache.refusal);
            lines += "}\n";
        }
        return lines;
    }
    Table table;
    table.addRow({"brox", "cache", "monitor", "user", "started", "version", "readable"});
    for (const auto& cache : caches) {
        const std::string when = started(cache);
        table.addRow({samples::printable(cache.brox), samples::printable(cache.location),
                      std::to_string(cache.monitorPid), samples::printable(cache.user),
                      when.empty() ? "-" : when, samples::printable(cache.version),
                      cache.isReadable ? "yes" : "no: " + samples::printable(cache.refusal)});
    }
    return table.text();
}

} // namespace tvsistat
