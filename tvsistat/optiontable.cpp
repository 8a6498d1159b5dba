#include "optiontable.h"

#include "columns.h"
#include "exitstatus.h"
#include "statscatalogue.h"

#include <algorithm>
#include <array>

namespace tvsistat {
namespace {

using Kind = ArgumentKind;

constexpr auto table = std::to_array<OptionEntry>({
    {OptionId::Brox, 0, "brox", "NAME", Kind::Brox,
     "the cache that serves this Brox, whatever the name looks like; may be repeated",
     Section::Caches, Place::CommandLineOnly, Family::None},
    {OptionId::Cache, 0, "cache", "LOCATION", Kind::Location,
     "the cache with this location, as prod~1f2e; may be repeated", Section::Caches,
     Place::CommandLineOnly, Family::None},
    {OptionId::Wait, 'W', "wait", "S", Kind::Seconds,
     "wait up to S seconds for a cache that isn't there; 0: for ever", Section::Caches,
     Place::CommandLineOnly, Family::None},
    {OptionId::Follow, 'F', "follow", "", Kind::None,
     "outlive a cache: say when it goes and when it is back, and go on", Section::Caches,
     Place::CommandLineOnly, Family::None},

    {OptionId::Write, 'o', "write", "FILE", Kind::File,
     "record every value of the caches in FILE, which is made or carried on; without a form or an "
     "INTERVAL nothing is printed, and a sample is taken every second",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Quiet, 'q', "quiet", "", Kind::None, "record, and print nothing but events",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Keep, 0, "keep", "TIME", Kind::Word,
     "FILE is a directory, a file an hour; those older than 7d, 36h or 2w are removed",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::MaxSize, 0, "max-size", "SIZE", Kind::Word,
     "FILE is a directory, of 500M or 4G at most: the oldest hours are removed",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Thin, 0, "thin", "STEP:AGE[,...]", Kind::Word,
     "FILE is a directory, where what is older than AGE becomes a sample each STEP, as "
     "1m:1d,10m:30d; without --write the words are directories, which are thinned once",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::GroupReadable, 0, "group-readable", "", Kind::None,
     "the group may read what is recorded, not its owner alone", Section::Recordings,
     Place::CommandLineOnly, Family::None},
    {OptionId::Read, 'R', "read", "FILE", Kind::File,
     "what a FILE holds in place of caches of this host: a recording, a directory of them, the "
     "output of tvsi-reader, or - for that on standard input; several become one time line",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Merge, 0, "merge", "", Kind::None,
     "the words are such FILEs, not caches: one time line, which --write makes one recording",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::History, 0, "history", "", Kind::None,
     "what the service tvsi-recorder@ has recorded of the caches, in place of what runs",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Start, 0, "start", "TIME", Kind::Time,
     "begin there: 10:00, 'yesterday 23:50', '2026-11-23 10:00', or 2h30m ago", Section::Recordings,
     Place::CommandLineOnly, Family::None},
    {OptionId::End, 0, "end", "TIME", Kind::Time, "end there", Section::Recordings,
     Place::CommandLineOnly, Family::None},
    {OptionId::Interval, 0, "interval", "S", Kind::Seconds,
     "INTERVAL as an option; of a recording, counters over as long and gauges averaged",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Speed, 0, "speed", "N", Kind::Word,
     "N times as fast as it was recorded; max, as without it: as fast as it can be",
     Section::Recordings, Place::CommandLineOnly, Family::None},
    {OptionId::Info, 0, "info", "FILE", Kind::File,
     "say what the recording FILE holds, its gaps and damage, and exit (also with -j)",
     Section::Recordings, Place::CommandLineOnly, Family::None},

    {OptionId::Live, 'i', "interactive", "", Kind::None,
     "the live screen, until q is pressed; ? shows its keys", Section::Forms,
     Place::CommandLineOnly, Family::Form},
    {OptionId::Once, '1', "once", "", Kind::None,
     "one report; with INTERVAL it is made at its end and has the rates over it", Section::Forms,
     Place::CommandLineOnly, Family::None},
    {OptionId::Long, 'L', "long", "", Kind::None, "a line a value: name, value, rate, what it is",
     Section::Forms, Place::Set, Family::Form},
    {OptionId::Json, 'j', "json", "", Kind::None, "JSON Lines, an object a sample", Section::Forms,
     Place::Set, Family::Form},
    {OptionId::Csv, 'c', "csv", "", Kind::None, "CSV as RFC 4180 has it, a row a process",
     Section::Forms, Place::Set, Family::Form},
    {OptionId::Export, 0, "export", "FORM", Kind::Word,
     "with --read: openmetrics, with time stamps, for promtool, the series of each process, or of "
     "each kind with -A; or stream, the whole samples as tvsi-reader writes them, for programs",
     Section::Forms, Place::CommandLineOnly, Family::Form},
    {OptionId::List, 'l', "list", "", Kind::None,
     "list the caches of this host and exit (also with -j)", Section::Forms, Place::CommandLineOnly,
     Family::None},
    {OptionId::ListFields, 0, "list-fields", "", Kind::None,
     "list the fields, or those that match the GLOBs in place of CACHE, and exit (also with -j, "
     "-k, "
     "-g)",
     Section::Forms, Place::CommandLineOnly, Family::None},

    {OptionId::Kind, 'k', "kind", "KIND[,...]", Kind::Kind, "processes of these kinds",
     Section::Processes, Place::Set, Family::None},
    {OptionId::Name, 'n', "name", "RE", Kind::Pattern,
     "processes whose name matches this POSIX extended regular expression somewhere",
     Section::Processes, Place::Set, Family::None},
    {OptionId::Glob, 0, "glob", "", Kind::None, "--name is a glob, for the whole name",
     Section::Processes, Place::Set, Family::None},
    {OptionId::IgnoreCase, 'y', "ignore-case", "", Kind::None, "--name takes no notice of case",
     Section::Processes, Place::Set, Family::None},
    {OptionId::Session, 's', "session", "N[,...]", Kind::Number, "processes of these sessions",
     Section::Processes, Place::Set, Family::None},
    {OptionId::Pid, 'p', "pid", "N[,...]", Kind::Number, "every record of these process ids",
     Section::Processes, Place::Set, Family::None},

    {OptionId::Fields, 'f', "fields", "FIELD[,...]", Kind::Field,
     "exactly these columns: fields, name[i] for an element, field:rate, :total, :delta, :min, "
     ":max; "
     "also "
     "time, "
     "cache, brox, kind, index, pid, session, name, state, started",
     Section::Fields, Place::Set, Family::FieldList},
    {OptionId::Include, 'I', "include", "GLOB", Kind::Field,
     "fields that match, as 'commit*' or 'vok.time*'; of several -I and -X the last match holds",
     Section::Fields, Place::Set, Family::FieldGlobs},
    {OptionId::Exclude, 'X', "exclude", "GLOB", Kind::Field, "no fields that match",
     Section::Fields, Place::Set, Family::FieldGlobs},
    {OptionId::Group, 'g', "group", "GROUP[,...]", Kind::Group, "the fields of these groups",
     Section::Fields, Place::Set, Family::FieldGlobs},

    {OptionId::Sum, 'A', "sum", "", Kind::None, "the processes of a kind taken together",
     Section::Numbers, Place::Set, Family::None},
    {OptionId::Sort, 'S', "sort", "FIELD", Kind::Field,
     "greatest first, by a field (:rate, :total, :delta, :min, :max); or by index, pid, session, "
     "name or state",
     Section::Numbers, Place::Set, Family::None},
    {OptionId::Reverse, 'r', "reverse", "", Kind::None, "the other way round", Section::Numbers,
     Place::Set, Family::None},
    {OptionId::Top, 'N', "top", "N", Kind::Number, "the first N of each sample", Section::Numbers,
     Place::Set, Family::None},
    {OptionId::Nonzero, 'z', "nonzero", "", Kind::None,
     "leave out processes that show nothing but zeros, and with -L and -j each zero",
     Section::Numbers, Place::Set, Family::None},
    {OptionId::Rate, 0, "rate", "", Kind::None,
     "counters as growth per second, also where there is none yet", Section::Numbers, Place::Set,
     Family::Printing},
    {OptionId::Total, 0, "total", "", Kind::None, "counters as they stand", Section::Numbers,
     Place::Set, Family::Printing},
    {OptionId::Delta, 0, "delta", "", Kind::None, "counters as growth since the sample before",
     Section::Numbers, Place::Set, Family::Printing},

    {OptionId::Width, 'w', "width", "N", Kind::Number,
     "lines of at most N columns, as on a terminal; else the terminal's, or any in a file or pipe",
     Section::Layout, Place::File, Family::Width},
    {OptionId::Wide, 0, "wide", "", Kind::None, "lines of any length", Section::Layout, Place::File,
     Family::Width},
    {OptionId::NoHeader, 0, "no-header", "", Kind::None, "no lines but those of values",
     Section::Layout, Place::Set, Family::None},
    {OptionId::RepeatHeader, 0, "repeat-header", "N", Kind::Number,
     "header lines with every Nth report only", Section::Layout, Place::Set, Family::None},
    {OptionId::Color, 0, "color", "WHEN", Kind::Word,
     "always, never or auto: on a terminal, unless NO_COLOR is set", Section::Layout, Place::File,
     Family::None},
    {OptionId::Timestamp, 't', "timestamp", "", Kind::None, "the time at the front of each line",
     Section::Layout, Place::Set, Family::None},
    {OptionId::Utc, 0, "utc", "", Kind::None, "times in UTC", Section::Layout, Place::File,
     Family::None},
    {OptionId::Align, 0, "align", "", Kind::None,
     "samples at whole multiples of INTERVAL on the clock", Section::Layout, Place::Set,
     Family::None},

    {OptionId::Unit, 0, "unit", "GLOB=UNIT", Kind::Unit,
     "the unit of fields that have none recorded: ns, us, ms or s", Section::Knowledge, Place::File,
     Family::Knowledge},
    {OptionId::Label, 0, "label", "sessionStats[i]=NAME", Kind::Word,
     "a name for a statistic that applications define", Section::Knowledge, Place::File,
     Family::Knowledge},
    {OptionId::As, 0, "as", "counter:GLOB", Kind::Word,
     "what such a statistic is: counter, gauge or position", Section::Knowledge, Place::File,
     Family::Knowledge},
    {OptionId::Use, 0, "use", "SET", Kind::Set, "the options of this set of the configuration file",
     Section::Knowledge, Place::CommandLineOnly, Family::None},

    {OptionId::Check, 0, "check", "", Kind::None, "check the arguments and exit", Section::General,
     Place::CommandLineOnly, Family::None},
    {OptionId::Help, 'h', "help", "", Kind::None, "print this help and exit", Section::General,
     Place::CommandLineOnly, Family::None},
    {OptionId::Version, 'V', "version", "", Kind::None, "print the version and exit",
     Section::General, Place::CommandLineOnly, Family::None},
    {OptionId::OptionTable, 0, "option-table", "", Kind::None, "print this table and exit",
     Section::Hidden, Place::CommandLineOnly, Family::None},
});

consteval bool entriesStandAtTheirId() {
    for (size_t i = 0; i < table.size(); i++) {
        if (static_cast<size_t>(table[i].id) != i) {
            return false;
        }
    }
    return true;
}
static_assert(entriesStandAtTheirId());

constexpr std::array<std::string_view, 9> sectionTitles{
    "Caches:", "Recordings:",        "Forms:",  "Processes:",
    "Fields:", "Numbers and order:", "Layout:", "What the catalogue doesn't know:",
    "General:"};

constexpr std::array<std::string_view, 14> argumentKindNames{
    "none",    "brox",    "location", "kind", "field", "group", "number",
    "seconds", "pattern", "unit",     "set",  "file",  "time",  "word"};

/* Appends words up to column `width`, further lines indented. */
void appendWrapped(std::string& text, std::string_view words, size_t column, size_t indent,
                   size_t width) {
    bool isFirst = true;
    while (!words.empty()) {
        const size_t length = std::min(words.find(' '), words.size());
        if (!isFirst && column + 1 + length > width) {
            text += '\n';
            text.append(indent, ' ');
            column = indent;
            isFirst = true;
        }
        text += isFirst ? "" : " ";
        text += words.substr(0, length);
        column += length + (isFirst ? 0 : 1);
        isFirst = false;
        words.remove_prefix(std::min(length + 1, words.size()));
    }
    text += '\n';
}

constexpr size_t sentenceColumn = 26;

/* "  -k, --kind KIND   sentence", the sentence in a column of its own. */
void appendEntry(std::string& text, std::string_view head, std::string_view sentence,
                 size_t width) {
    const size_t indent = width >= 60 ? sentenceColumn : 8;
    text += head;
    if (head.size() + 2 > indent) {
        text += '\n';
        text.append(indent, ' ');
    } else {
        text.append(indent - head.size(), ' ');
    }
    appendWrapped(text, sentence, indent, indent, width);
}

std::string headOf(const OptionEntry& entry) {
    std::string head = "  ";
    if (entry.letter != 0) {
        head += '-';
        head += entry.letter;
        head += ", ";
    } else {
        head += "    ";
    }
    head += "--";
    head += entry.name;
    if (!entry.argument.empty()) {
        head += ' ';
        head += entry.argument;
    }
    return head;
}

void appendNames(std::string& text, std::string_view title, size_t width, auto&& names) {
    text += '\n';
    appendWrapped(text, title, 0, 0, width);
    names([&](std::string_view name, std::string_view sentence) {
        std::string head = "  ";
        head += name;
        appendEntry(text, head, sentence, width);
    });
}

} // namespace

std::span<const OptionEntry> optionTable() {
    return table;
}

const OptionEntry& entryOf(OptionId id) {
    return table[static_cast<size_t>(id)];
}

const OptionEntry* optionNamed(std::string_view name) {
    const auto found = std::ranges::find(table, name, &OptionEntry::name);
    return found == table.end() ? nullptr : &*found;
}

std::string helpText(size_t width) {
    std::string text;
    appendWrapped(text, "Usage: tvsistat [OPTION...] [CACHE...] [INTERVAL [COUNT]]", 0, 7, width);
    text += '\n';
    appendWrapped(
        text,
        "Reports live statistics of the processes that use a Talvex shared page cache. CACHE "
        "is the name of a Brox, the location of a cache (prod~1f2e) or 'all'; without one, "
        "every cache of this host that runs. INTERVAL is the time between reports (2, 0.5, "
        "500ms, 1m); without it there is one. After COUNT reports it ends.",
        0, 0, width);
    for (size_t section = 0; section < sectionTitles.size(); section++) {
        text += '\n';
        text += sectionTitles[section];
        text += '\n';
        for (const OptionEntry& entry : table) {
            if (static_cast<size_t>(entry.section) == section) {
                appendEntry(text, headOf(entry), entry.sentence, width);
            }
        }
    }
    appendNames(text, "Kinds (the names of the constants, SHRPC_..., are understood too):", width,
                [](auto&& add) {
                    for (const auto& kind : statscatalogue::kinds()) {
                        if ((kind.bit & SHRPC_ALL) != 0) {
                            add(kind.shortName, kind.title);
                        }
                    }
                });
    appendNames(text, "Groups:", width, [](auto&& add) {
        for (size_t i = 0; i < statscatalogue::numFieldGroups; i++) {
            const auto group = static_cast<statscatalogue::Group>(i);
            add(nameOf(group), sentenceOf(group));
        }
    });
    appendNames(text, "Exit status:", width, [](auto&& add) {
        for (const auto& [status, meaning] : samples::exitStatusTexts()) {
            add(std::to_string(static_cast<int>(status)), meaning);
        }
    });
    text += '\n';
    appendWrapped(
        text,
        "From the second report on, counters are shown as rates per second, in columns "
        "marked \"/s\"; \"-\" stands where there is no rate yet, and for an event that was "
        "never seen; \"?\" where nobody recorded the unit. The configuration file is "
        "tvsistat/config in $XDG_CONFIG_HOME or ~/.config.",
        0, 0, width);
    return text;
}

std::string optionTableText() {
    std::string text;
    for (const OptionEntry& entry : table) {
        if (entry.section == Section::Hidden) {
            continue;
        }
        std::string_view section = sectionTitles[static_cast<size_t>(entry.section)];
        section.remove_suffix(1);
        const std::string_view letter(&entry.letter, entry.letter == 0 ? 0 : 1);
        for (const auto part : {section, letter, entry.name, entry.argument,
                                argumentKindNames[static_cast<size_t>(entry.kind)]}) {
            text += part;
            text += '\t';
        }
        text += entry.sentence;
        text += '\n';
    }
    const auto add = [&](std::string_view what, std::string_view name, std::string_view sentence) {
        text += what;
        text += "\t\t";
        text += name;
        text += "\t\t\t";
        text += sentence;
        text += '\n';
    };
    for (const auto& kind : statscatalogue::kinds()) {
        if ((kind.bit & SHRPC_ALL) != 0) {
            add("=kind", kind.shortName, kind.title);
        }
    }
    for (size_t i = 0; i < statscatalogue::numFieldGroups; i++) {
        const auto group = static_cast<statscatalogue::Group>(i);
        add("=group", nameOf(group), sentenceOf(group));
    }
    for (size_t i = 0; i < numIdentities; i++) {
        add("=column", nameOf(static_cast<Identity>(i)), "");
    }
    return text;
}

} // namespace tvsistat
