/*
 * The options of tvsistat, once: the command line, --help, the configuration file, the manual's
 * check and the completions are all made from this table.
 */
#ifndef OPTIONTABLE_H
#define OPTIONTABLE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tvsistat {

enum class OptionId : uint8_t {
    Brox,
    Cache,
    Wait,
    Follow,
    Write,
    Quiet,
    Keep,
    MaxSize,
    Thin,
    GroupReadable,
    Read,
    Merge,
    History,
    Start,
    End,
    Interval,
    Speed,
    Info,
    Live,
    Once,
    Long,
    Json,
    Csv,
    Export,
    List,
    ListFields,
    Kind,
    Name,
    Glob,
    IgnoreCase,
    Session,
    Pid,
    Fields,
    Include,
    Exclude,
    Group,
    Sum,
    Sort,
    Reverse,
    Top,
    Nonzero,
    Rate,
    Total,
    Delta,
    Width,
    Wide,
    NoHeader,
    RepeatHeader,
    Color,
    Timestamp,
    Utc,
    Align,
    Unit,
    Label,
    As,
    Use,
    Check,
    Help,
    Version,
    OptionTable
};

/* What an argument is, for completions. */
enum class ArgumentKind : uint8_t {
    None,
    Brox,
    Location,
    Kind,
    Field,
    Group,
    Number,
    Seconds,
    Pattern,
    Unit,
    Set,
    File,
    Time,
    Word
};

/* The parts of --help; Hidden options are not in it. */
enum class Section : uint8_t {
    Caches,
    Recordings,
    Forms,
    Processes,
    Fields,
    Numbers,
    Layout,
    Knowledge,
    General,
    Hidden
};

/* Where an option may stand besides the command line; each allows what those before it do. */
enum class Place : uint8_t {
    CommandLineOnly,
    Set, /* also in a named set of the configuration file */
    File /* also anywhere in the configuration file */
};

/* Options of one family answer the same question: what the command line says of it replaces what a
 * set or the configuration file says. None: the option stands for itself. */
enum class Family : uint8_t { None, Form, Printing, FieldList, FieldGlobs, Width, Knowledge };

struct OptionEntry {
    OptionId id;
    char letter; /* 0: none */
    std::string_view name;
    std::string_view argument; /* as --help shows it; empty: a flag */
    ArgumentKind kind;
    std::string_view sentence;
    Section section;
    Place place;
    Family family;
};

/* Every option, in the order of --help. */
std::span<const OptionEntry> optionTable();
const OptionEntry& entryOf(OptionId id);
/* The option with this long name, or null. */
const OptionEntry* optionNamed(std::string_view name);

/* What --help prints, in lines of at most `width` columns. */
std::string helpText(size_t width);

/* The table for programs that make completions or check the manual: a line an option, its columns
 * separated by tabs: section, letter, name, argument, kind of argument, sentence. Hidden options
 * are left out. Then what arguments may be, in the same columns, with =kind, =group or =column (of
 * --fields) in place of the section. */
std::string optionTableText();

} // namespace tvsistat

#endif
