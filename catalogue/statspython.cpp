/*
 * Writes the module of the Python package that has the records and kinds, from the catalogue. The
 * result is checked in, so that the package needs no build; a test holds it against the catalogue.
 * Usage: statspython FILE
 */
#include "statscatalogue.h"
#include "tvsi.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace statscatalogue;

constexpr std::string_view head =
    R"("""The records of each kind of process, the kinds, and what the statuses mean.

Made from the catalogue of statistics by statspython, which the build has; not to be edited.
"""

from ._fields import Fields, IntArray, Kind, Kinds, RecordFields, i32, i64, layout, u32, u64

)";

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

/* "vok": "VokRecord" */
std::string classNameOf(std::string_view shortName) {
    std::string name(shortName);
    name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
    return name + "Record";
}

/* "SHRPC_VokThr": "VOKTHR" */
std::string constantOf(const Kind& kind) {
    std::string name(kind.name.view().substr(std::string_view("SHRPC_").size()));
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::toupper(c); });
    return name;
}

/* "    commitCount: int = u32(160, ...)\n" */
std::string lineOf(const Field& field, const BlockPlace& place) {
    std::string line = "    ";
    line += field.name;
    line += field.count > 1 ? ": IntArray = " : ": int = ";
    line += nameOf(field.type);
    line += "(" + std::to_string(place.recordOffset + field.offset);
    for (const std::string_view text :
         {nameOf(field.meaning), nameOf(field.unit), nameOf(field.aggregation), nameOf(field.group),
          field.title.view(), field.sentence.view()}) {
        line += ", " + quoted(text);
    }
    return line + (field.count > 1 ? ", " + std::to_string(field.count) : "") + ")\n";
}

/* The fields of all blocks with this short name. */
std::string linesOf(std::string_view shortName) {
    std::string lines;
    for (const BlockPlace& place : allBlocks()) {
        if (place.shortName == shortName) {
            for (const Field& field : place.block.fields) {
                lines += lineOf(field, place);
            }
        }
    }
    return lines;
}

/* The short name of the kind's own blocks; "common" when it has none. */
std::string_view ownBlocksOf(const Kind& kind) {
    std::string_view own = "common";
    for (const BlockPlace& place : kind.blocks()) {
        own = place.shortName == "common" ? own : place.shortName.view();
    }
    return own;
}

std::string classOf(std::string_view name, std::string_view base, std::string_view text,
                    std::string_view lines, bool isLaidOut = true) {
    std::string all = isLaidOut ? "\n@layout\nclass " : "\nclass ";
    all += std::string(name) + "(" + std::string(base) + "):\n";
    all += "    \"\"\"" + std::string(text) + ".\"\"\"\n\n";
    all += lines.empty() ? "" : std::string(lines) + "\n";
    return all;
}

std::string statusTable() {
    std::string text = "SENTENCES = {\n";
    for (int status = TVSI_ERR_NO_INIT; status <= TVSI_ERR_BAD_REGEX; status++) {
        text += "    " + std::to_string(status) + ": " + quoted(tvsi::sentenceOf(status)) + ",\n";
    }
    return text + "}\n";
}

std::string unitTable() {
    constexpr std::array<std::string_view, 6> bases{"", "?", "number", "seconds", "bytes", "ratio"};
    std::string text = "# A unit's symbol, its base unit, and what one of it is in that.\n"
                       "UNITS = {\n";
    for (int i = 0; i <= static_cast<int>(Unit::Ratio); i++) {
        const auto unit = static_cast<Unit>(i);
        const Scale scale = scaleOf(unit);
        std::array<char, 32> factor{}; /* the shortest text that is the number */
        std::to_chars(factor.begin(), factor.end() - 1, scale.factor);
        text += "    " + quoted(nameOf(unit)) + ": (" + quoted(symbolOf(unit)) + ", " +
                quoted(bases.at(static_cast<size_t>(scale.base))) + ", " + factor.data() + "),\n";
    }
    return text + "}\n";
}

/* What the class of a kind's records is made of: "Record", or a class that has the blocks that it
 * shares with other kinds. */
std::string baseOf(const Kind& kind) {
    const std::string_view own = ownBlocksOf(kind);
    const auto hasThem = [&](const Kind& other) { return ownBlocksOf(other) == own; };
    const bool isShared = own != "common" && std::ranges::count_if(kinds(), hasThem) > 1;
    return isShared ? "Any" + classNameOf(own) : "Record";
}

/* The classes of all records; adds their names to `exported`. */
std::string classes(std::vector<std::string>& exported) {
    std::string text = classOf("Record", "RecordFields", "What the records of all kinds have",
                               linesOf("common"), false);
    text += classOf("UnknownRecord", "Record", "A record of no known kind", "");
    exported.insert(exported.end(), {"Record", "UnknownRecord"});
    for (const Kind& kind : kinds()) {
        const std::string_view own = ownBlocksOf(kind);
        const std::string base = baseOf(kind);
        if (std::ranges::find(exported, base) == exported.end()) {
            exported.push_back(base);
            text +=
                classOf(base, "Record", "What several kinds of process have", linesOf(own), false);
        }
        exported.push_back(classNameOf(kind.shortName));
        text += classOf(exported.back(), base,
                        std::string(kind.title) + " (" + std::string(kind.name) + ")",
                        base != "Record" || own == "common" ? "" : linesOf(own));
    }
    return text;
}

std::string kindLine(const Kind& kind) {
    const std::string type = classNameOf(kind.shortName);
    std::string line = constantOf(kind);
    line += ": Kind[" + type + "] = Kind(";
    for (const std::string_view text :
         {kind.name.view(), kind.shortName.view(), kind.title.view()}) {
        line += quoted(text);
        line += ", ";
    }
    std::string places;
    for (const BlockPlace& place : kind.blocks()) {
        places += places.empty() ? "(" : ", (";
        places += std::to_string(place.recordOffset) + ", ";
        places += std::to_string(place.block.size) + ")";
    }
    return line + std::to_string(kind.bit) + ", " + type + ", (" + places + "))\n";
}

std::string module() {
    std::vector<std::string> exported{"ALL", "COMMON_FIELDS", "KINDS"};
    std::string text(head);
    text += "INTERFACE_VERSION = " + quoted(TVSI_INTERFACE_VERSION) +
            "\nRELEASE = " + quoted(TVSI_RELEASE) + "\n\n" + statusTable() + "\n" + unitTable() +
            "\n" + classes(exported) + "\n";
    std::string names;
    for (const Kind& kind : kinds()) {
        text += kindLine(kind);
        exported.push_back(constantOf(kind));
        names += "    " + exported.back() + ",\n";
    }
    text += "\nKINDS: tuple[Kind[Record], ...] = (\n" + names + ")\nALL = Kinds(" +
            std::to_string(SHRPC_ALL) +
            ")\nCOMMON_FIELDS: Fields = UnknownRecord.fields\n\n__all__ = [\n";
    for (const std::string& name : exported) {
        text += "    " + quoted(name) + ",\n";
    }
    return text + "]\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: statspython FILE\n", stderr);
        return 2;
    }
    std::FILE* file = std::fopen(argv[1], "w");
    const std::string text = module();
    if (file == nullptr || std::fputs(text.c_str(), file) == EOF || std::fclose(file) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
