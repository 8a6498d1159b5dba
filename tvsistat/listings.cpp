#include "listings.h"

#include "numbertext.h"
#include "output.h"
#include "printable.h"
#include "timetext.h"
#include "view.h"

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
    /* Of the longest line. */
    size_t width() const {
        size_t sum = 0;
        for (const size_t column : columnWidths()) {
            sum += column + (sum == 0 ? 0 : gap);
        }
        return sum;
    }
    /* Takes out the column with this heading. */
    void drop(std::string_view heading) {
        const auto at = std::ranges::find(rows[0], heading) - rows[0].begin();
        for (auto& row : rows) {
            row.erase(row.begin() + at);
        }
    }
    std::string text(size_t maxWidth = SIZE_MAX) const {
        const std::vector<size_t> widths = columnWidths();
        std::string lines;
        for (const auto& row : rows) {
            const size_t start = lines.size();
            for (size_t i = 0; i < row.size(); i++) {
                lines += row[i];
                const bool isLast = i + 1 == row.size();
                lines.append(isLast ? 0 : widths[i] - row[i].size() + gap, ' ');
            }
            lines.resize(std::min(lines.size() - start, maxWidth) + start);
            lines += '\n';
        }
        return lines;
    }

private:
    static constexpr size_t gap = 2;

    std::vector<size_t> columnWidths() const {
        std::vector<size_t> widths;
        for (const auto& row : rows) {
            widths.resize(std::max(widths.size(), row.size()));
            for (size_t i = 0; i < row.size(); i++) {
                widths[i] = std::max(widths[i], row[i].size());
            }
        }
        return widths;
    }

    std::vector<std::vector<std::string>> rows;
};

/* The columns that there are for a list; nothing when lines may have any length. */
std::optional<size_t> roomFor(const Layout& layout) {
    if (layout.isWide || (!layout.width && !outputIsTerminal())) {
        return std::nullopt;
    }
    return layout.width ? *layout.width : terminalWidth();
}

/* Appends a sentence in lines of at most `width`, broken at blanks; further ones are indented. */
void appendWrapped(std::string& text, std::string_view sentence, size_t width) {
    for (std::string indent; !sentence.empty(); indent = "  ") {
        const size_t room = width - indent.size();
        size_t end = sentence.size();
        if (end > room) {
            end = sentence.rfind(' ', room);
            end = end == std::string_view::npos || end == 0 ? room : end;
        }
        text += indent;
        text += sentence.substr(0, end);
        text += '\n';
        sentence.remove_prefix(std::min(sentence.find_first_not_of(' ', end), sentence.size()));
    }
}

/* The table of caches where lines have a width: what doesn't fit is left out and named, the least
 * needed first, and the reasons of refusals stand below. */
std::string fittingList(Table& table, const std::vector<std::string>& refusals, size_t width) {
    std::string leftOut;
    for (const char* heading : {"version", "user", "brox", "started", "monitor"}) {
        if (table.width() > width) {
            table.drop(heading);
            leftOut += (leftOut.empty() ? "left out: " : ", ") + std::string(heading);
        }
    }
    std::string text = table.text(width);
    for (const std::string& refusal : refusals) {
        appendWrapped(text, refusal, width);
    }
    appendWrapped(text, leftOut, width);
    return text;
}

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

/* Whether the request lets any of a field's elements through. */
bool passes(const Request& request, std::span<const Figure> figures) {
    return std::ranges::any_of(figures, [&](const Figure& figure) {
        const bool isMeant = request.fieldGlobs.empty() ||
                             std::ranges::any_of(request.fieldGlobs, [&](const std::string& glob) {
                                 return samples::FigurePattern(glob).matches(figure);
                             });
        return isMeant && request.fields.lets(figure, true);
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

std::string startOf(TimeText& times, const samples::CacheListing& cache) {
    std::string text;
    if (cache.startedSec != 0) {
        times.appendSeconds(text, cache.startedSec);
    }
    return text;
}

std::string cacheObjects(const samples::CacheListings& caches) {
    TimeText times(true);
    std::string lines;
    for (const auto& cache : caches) {
        lines += "{\"brox\":";
        samples::appendJsonString(lines, cache.brox);
        appendMember(lines, "cache", cache.location);
        lines += ",\"monitor\":" + std::to_string(cache.monitorPid);
        appendMember(lines, "user", cache.user);
        lines += ",\"started\":";
        lines += cache.startedSec == 0 ? "null" : "\"" + startOf(times, cache) + "\"";
        appendMember(lines, "version", cache.version);
        lines += cache.isReadable ? ",\"readable\":true" : ",\"readable\":false";
        appendMember(lines, "refusal", cache.refusal);
        lines += "}\n";
    }
    return lines;
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
    if (request.form == Form::Json) {
        return cacheObjects(caches);
    }
    TimeText times(request.layout.isUtc);
    const std::optional<size_t> room = roomFor(request.layout);
    constexpr size_t withoutZone = 19;
    const size_t timeWidth = room && !request.layout.isUtc ? withoutZone : std::string::npos;
    Table table;
    table.addRow({"brox", "cache", "monitor", "user", "started", "version", "readable"});
    std::vector<std::string> refusals;
    for (const auto& cache : caches) {
        const std::string location = samples::printable(cache.location);
        std::string readable = "yes";
        if (!cache.isReadable) {
            std::string refusal = "no: " + samples::printable(cache.refusal);
            readable = room ? "no" : refusal;
            refusals.push_back(location);
            refusals.back().append(": ").append(refusal);
        }
        const std::string when = startOf(times, cache).substr(0, timeWidth);
        table.addRow({samples::printable(cache.brox), location, std::to_string(cache.monitorPid),
                      samples::printable(cache.user), when.empty() ? "-" : when,
                      samples::printable(cache.version), std::move(readable)});
    }
    return room ? fittingList(table, refusals, *room) : table.text();
}

} // namespace tvsistat
