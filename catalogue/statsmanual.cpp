/*
 * Writes the manual page tvsi-stats(7), in mdoc, from the catalogue. Part of the build alone.
 * Usage: statsmanual FILE
 */
#include "statscatalogue.h"

#include <cctype>
#include <cstdio>
#include <string>

namespace {

using namespace statscatalogue;

constexpr std::string_view head = R"(.Dd November 24, 2026
.Dt TVSI-STATS 7
.Os tvsi
.Sh NAME
.Nm tvsi-stats
.Nd statistics that the processes of a Talvex server keep
.Sh DESCRIPTION
Every process and thread that uses the shared page cache of a Talvex server
keeps a record of statistics in it.
.Xr tvsistat 1
shows them by the names that stand here; the library copies them into a
.Vt TvsiResultSType ,
where programs read them by the same names.
.Pp
What a record holds depends on the kind of its process: the blocks
.Va cmn
and
.Va cmn64 ,
which every kind keeps, and those of the kind's own.
A name is unique in the records of a kind.
Below each field stand, in brackets, its class, its unit, how the values of
several processes become one, and its group; then its type with its place in a
.Vt TvsiResultSType ,
in bytes; then the title of its column where space is narrow.
Abbreviations that the server does not spell out
.Pq OT, BM, PCE, SMC, TTE, LDI, TCI, RC, ME, ML, MT, OM, POM
stand here as they are.
.Ss Classes
.Bl -tag -width identifier
.It Cm counter
Only grows while its process runs.
Its rate is what tells.
A 32-bit counter starts again at 0 when it is full.
.It Cm gauge
A level, a limit, an average or the measure of a last event.
It moves both ways.
.It Cm position
How far a log or a view of the repository has come.
Its value and its difference tell, a rate does not.
.It Cm flag
0 for no, anything else for yes.
.It Cm state
One of the numbers that the server gave to states, kinds or reasons.
.It Cm identifier
The number of a session, process, page, frame, slot, command or error.
.It Cm time
When an event was last seen, in seconds since January 1, 1970, UTC.
0 if it never was.
.El
.Ss Units
A field has the unit that its name tells.
A duration whose name tells none has the unit
.Cm unknown :
nobody recorded it.
.Cm number
is a number of things, also where a name speaks of a size without a unit of
bytes.
.Cm none
stands where a number is shown as it is.
A kilobyte is 1,024 bytes, a megabyte 1,048,576.
.Ss Aggregation
Where the values of several processes are to become one, they are added
.Pq Cm sum
or the largest stands for all
.Pq Cm max .
With
.Cm none
there is a value only while all of them are equal.
A quotient is made of the sums of its parts.
)";

/* "Commits that succeeded.\n" */
std::string sentenceOf(std::string_view text) {
    std::string sentence(text);
    sentence[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(sentence[0])));
    return sentence + ".\n";
}

/* "(counter, number, sum, commit" */
template <class Described> std::string propertiesOf(const Described& described) {
    std::string text(nameOf(described.unit));
    text += ", ";
    text += nameOf(described.aggregation);
    text += ", ";
    text += nameOf(described.group);
    return text;
}

void append(std::string& page, const Field& field, const BlockPlace& place) {
    page += ".It Va ";
    page += field.name;
    page += field.count > 1 ? " Ns [" + std::to_string(field.count) + "]\n" : "\n";
    page += sentenceOf(field.sentence);
    page += "(";
    page += nameOf(field.meaning);
    page += ", " + propertiesOf(field) + "; ";
    page += nameOf(field.type);
    page += " at " + std::to_string(place.recordOffset + field.offset) + "; ";
    page += field.title;
    page += ")\n";
}

bool hasBlock(const Kind& kind, const BlockPlace& place) {
    for (const BlockPlace& own : kind.blocks()) {
        if (own.member == place.member) {
            return true;
        }
    }
    return false;
}

/* The short names of the kinds that `isChosen` chooses: ".Cm vok ,\n.Cm brox\n". */
template <class Choice> std::string kindList(std::string_view macro, Choice isChosen) {
    std::string list;
    size_t number = 0;
    for (const Kind& kind : kinds()) {
        if (isChosen(kind)) {
            list += list.empty() ? "" : " ,\n";
            list += macro;
            list += kind.shortName;
            number++;
        }
    }
    return number == kinds().size() ? "every kind\n" : list + "\n";
}

void append(std::string& page, const BlockPlace& place) {
    page += ".Ss ";
    page += place.member;
    page += "\nA\n.Vt ";
    page += place.block.typeName;
    page += "\nin the records of\n";
    page += kindList(".Cm ", [&](const Kind& kind) { return hasBlock(kind, place); });
    page.insert(page.size() - 1, page.ends_with("kind\n") ? "." : " .");
    page += ".Bl -tag -width 4n\n";
    for (const Field& field : place.block.fields) {
        append(page, field, place);
    }
    page += ".El\n";
}

void append(std::string& page, const Kind& kind) {
    page += ".It Cm ";
    page += kind.shortName;
    page += "\n";
    page += sentenceOf(kind.title);
    page += ".Dv ";
    page += kind.name;
    page += " .\nBy default:";
    std::string_view before = "\n";
    for (const std::string_view column : defaultColumns(kind)) {
        page += before;
        page += ".Va ";
        page += column;
        before = " ,\n";
    }
    page += " .\n";
}

void append(std::string& page, const DerivedFigure& figure) {
    std::string formula = formulaOf(figure);
    const size_t minus = formula.find(" - ");
    if (minus != std::string::npos) {
        formula.insert(minus + 1, "\\");
    }
    page += ".It Va ";
    page += figure.name;
    page += "\n";
    page += sentenceOf(figure.sentence);
    page += ".D1 " + formula + "\n(" + propertiesOf(figure) + "; ";
    page += figure.title;
    page += "), in\n";
    page += kindList(".Cm ", [&](const Kind& kind) { return (figure.kinds & kind.bit) != 0; });
}

std::string manualPage() {
    std::string page(head);
    page += ".Ss Groups\n.Bl -tag -width identifier\n";
    for (size_t i = 0; i < numFieldGroups; i++) {
        const auto group = static_cast<Group>(i);
        page += ".It Cm ";
        page += nameOf(group);
        page += "\n" + sentenceOf(statscatalogue::sentenceOf(group));
    }
    page += ".El\n.Sh KINDS\n.Bl -tag -width identifier\n";
    for (const Kind& kind : kinds()) {
        append(page, kind);
    }
    page += ".El\n.Sh STATISTICS\n";
    for (const BlockPlace& place : allBlocks()) {
        if (!place.block.fields.empty()) {
            append(page, place);
        }
    }
    page += ".Sh DERIVED FIGURES\n"
            "Figures that are computed from the fields of one record and shown like fields.\n"
            ".Dq /s\n"
            "is a growth per second over the interval,\n"
            ".Dq now\n"
            "the clock of the reader; a\n"
            ".Va secondsSince\n"
            "field stands still when its owner dies, an age goes on.\n"
            "There is no figure while a divisor is 0, before an interval has passed,\n"
            "and for an event that was never seen.\n"
            ".Bl -tag -width 4n\n";
    for (const DerivedFigure& figure : derivedFigures()) {
        append(page, figure);
    }
    page += ".El\n.Sh SEE ALSO\n.Xr tvsi-reader 1 ,\n.Xr tvsistat 1 ,\n.Xr tvxstandin 1 ,\n.Xr "
            "tvsi 3\n";
    return page;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: statsmanual FILE\n", stderr);
        return 2;
    }
    std::FILE* file = std::fopen(argv[1], "w");
    const std::string page = manualPage();
    if (file == nullptr || std::fputs(page.c_str(), file) == EOF || std::fclose(file) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
