#include "options.h"

#include "fieldlisting.h"
#include "suggestion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <climits>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <vector>

namespace tvsistat {
namespace {

using statscatalogue::Kind;
using statscatalogue::kinds;

constexpr double minInterval = 0.01;
constexpr double maxInterval = 86400;

/* The arguments as they were given: numbers and lists are converted here, since CLI11 reads
 * numbers by the locale and in octal. */
struct Arguments {
    std::string brox, cache;
    std::string kind, pid, session, name;
    std::string fields, listFields;
    std::string interval, count;
    bool ignoreCase = false;
    bool totals = false;
};

/* Thrown by the conversions and caught by parseCommandLine. */
struct UsageError {
    std::string sentence;
};

template <class... Values>
[[noreturn]] void refuse(fmt::format_string<Values...> format, Values&&... values) {
    throw UsageError{fmt::format(format, std::forward<Values>(values)...)};
}

template <class Number>
Number numberFrom(std::string_view what, std::string_view text, Number least, Number most) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    /* The negated form also refuses what does not compare, "nan". */
    if (error != std::errc() || rest != end || !(number >= least && number <= most)) {
        refuse("{}: '{}' is not a number from {} to {}", what, text, least, most);
    }
    return number;
}

std::vector<std::string> commaList(std::string_view what, std::string_view text) {
    std::vector<std::string> entries;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t comma = std::min(text.find(',', begin), text.size());
        entries.emplace_back(text.substr(begin, comma - begin));
        begin = comma + 1;
        if (entries.back().empty()) {
            refuse("{}: '{}' has an empty entry", what, text);
        }
    }
    return entries;
}

std::string shortNames(uint32_t mask) {
    std::string list;
    for (const Kind& kind : kinds()) {
        if ((kind.bit & mask) != 0) {
            list += list.empty() ? "" : ", ";
            list += kind.shortName;
        }
    }
    return list;
}

const Kind& kindFrom(std::string_view what, std::string_view name) {
    if (const Kind* kind = statscatalogue::kindNamed(name)) {
        return *kind;
    }
    std::vector<std::string_view> names;
    for (const Kind& kind : kinds()) {
        names.push_back(kind.shortName);
        names.push_back(kind.name);
    }
    const std::string_view closest = closestName(name, names);
    if (!closest.empty()) {
        refuse("{}: there is no kind '{}'; did you mean '{}'?", what, name, closest);
    }
    refuse("{}: there is no kind '{}'; the kinds are {}", what, name, shortNames(UINT32_MAX));
}

uint32_t kindMaskFrom(const std::string& list) {
    uint32_t mask = 0;
    for (const std::string& name : commaList("--kind", list)) {
        const Kind& kind = kindFrom("--kind", name);
        if ((kind.bit & SHRPC_ALL) == 0) {
            refuse("--kind: processes of kind {} cannot be selected", kind.shortName);
        }
        mask |= kind.bit;
    }
    return mask;
}

Selection selectionFrom(const CLI::App& app, const Arguments& arguments) {
    if (app.count("--ignore-case") > 0 && app.count("--name") == 0) {
        refuse("--ignore-case needs --name");
    }
    if (app.count("--pid") > 0) {
        return PidSelection{numberFrom("--pid", arguments.pid, 1, INT_MAX)};
    }
    if (app.count("--session") > 0) {
        return SessionSelection{numberFrom("--session", arguments.session, 1, INT_MAX)};
    }
    if (app.count("--name") > 0) {
        if (arguments.name.empty()) {
            refuse("--name: the regular expression is empty");
        }
        return NameSelection{arguments.name, arguments.ignoreCase};
    }
    if (app.count("--kind") > 0) {
        return KindSelection{kindMaskFrom(arguments.kind)};
    }
    return KindSelection{};
}

Target targetFrom(const CLI::App& app, const Arguments& arguments) {
    if (app.count("--brox") == 0 && app.count("--cache") == 0) {
        refuse("a cache is needed: --brox NAME or --cache LOCATION");
    }
    const bool isBrox = app.count("--brox") > 0;
    const std::string& name = isBrox ? arguments.brox : arguments.cache;
    if (name.empty()) {
        refuse("{}: the name is empty", isBrox ? "--brox" : "--cache");
    }
    return {isBrox, name};
}

ColumnPlan columnsFrom(const CLI::App& app, const Arguments& arguments, uint32_t kindMask) {
    if (app.count("--fields") == 0) {
        return defaultColumns();
    }
    auto chosen = chosenColumns(commaList("--fields", arguments.fields), kindMask);
    if (const auto* failure = std::get_if<Failure>(&chosen)) {
        throw UsageError{failure->sentence};
    }
    return std::get<ColumnPlan>(std::move(chosen));
}

ReportRequest reportRequestFrom(const CLI::App& app, const Arguments& arguments) {
    ReportRequest request;
    request.target = targetFrom(app, arguments);
    request.selection = selectionFrom(app, arguments);
    request.columns = columnsFrom(app, arguments, kindsOf(request.selection));
    request.showsTotals = arguments.totals;
    if (app.count("interval") > 0) {
        request.interval = numberFrom("interval", arguments.interval, minInterval, maxInterval);
        request.numReports = 0;
    }
    if (app.count("count") > 0) {
        request.numReports = numberFrom("count", arguments.count, 1, INT_MAX);
    }
    return request;
}

std::string footer() {
    std::string text = "Kinds (the names of the constants, SHRPC_..., are understood too):\n";
    for (const Kind& kind : kinds()) {
        if ((kind.bit & SHRPC_ALL) != 0) {
            fmt::format_to(std::back_inserter(text), "  {:<12}{}\n", kind.shortName, kind.title);
        }
    }
    text += "\nExit status:\n";
    for (const auto& [status, meaning] : samples::exitStatusTexts()) {
        fmt::format_to(std::back_inserter(text), "  {}  {}\n", static_cast<int>(status), meaning);
    }
    text +=
        "\nFrom the second report on, counters are shown as rates per second, in columns marked\n"
        "\"/s\"; \"-\" stands where there is no rate yet, and for an event that was never seen.\n"
        "NO_COLOR keeps headers from being printed bold on a terminal.";
    return text;
}

void declareOptions(CLI::App& app, Arguments& arguments) {
    app.set_version_flag("--version", "tvsistat " TVSISTAT_VERSION);
    app.get_help_ptr()->description("Print this help and exit");
    app.get_version_ptr()->description("Print the version and exit");

    auto* brox = app.add_option("--brox", arguments.brox, "The cache that serves this Brox");
    app.add_option("--cache", arguments.cache, "The cache with this location, as in prod~1f2e")
        ->type_name("LOCATION")
        ->excludes(brox);
    brox->type_name("NAME");

    auto* kind = app.add_option("--kind", arguments.kind,
                                "Processes of these kinds only, separated by commas");
    auto* pid = app.add_option("--pid", arguments.pid,
                               "The process with this process id (the first slot that has it)");
    auto* session = app.add_option("--session", arguments.session,
                                   "The Vok and the page server of this session");
    auto* name = app.add_option("--name", arguments.name,
                                "The Voks whose name matches this POSIX extended regular "
                                "expression");
    kind->type_name("KIND[,...]")->excludes(pid)->excludes(session)->excludes(name);
    pid->type_name("N")->excludes(session)->excludes(name);
    session->type_name("N")->excludes(name);
    name->type_name("REGEX");
    app.add_flag("--ignore-case", arguments.ignoreCase, "--name takes no notice of case");

    app.add_option("--fields", arguments.fields,
                   "Columns by field name, name[i] for one element of an array; kinds that have "
                   "none of them are left out")
        ->type_name("FIELD[,...]");
    app.add_flag("--totals", arguments.totals, "Counters as they stand in every report, no rates");
    app.add_option("--list-fields", arguments.listFields,
                   "List all fields, or those of one kind, and exit")
        ->type_name("[KIND]")
        ->expected(0, 1);

    auto* interval = app.add_option("interval", arguments.interval,
                                    "Seconds from one report to the next, as 5 or 0.1; without it "
                                    "one report is made");
    app.add_option("count", arguments.count,
                   "Number of reports; without it they go on until interrupted")
        ->type_name("")
        ->needs(interval);
    interval->type_name("");
}

/* CLI11's text for a wrong option, as one line. */
std::string sentenceOf(const CLI::ParseError& error) {
    std::string sentence = error.what();
    std::ranges::replace(sentence, '\n', ' ');
    return sentence;
}

} // namespace

std::variant<ReportRequest, TextRequest, Failure> parseCommandLine(int argc,
                                                                   const char* const* argv) {
    CLI::App app("Reports live statistics of the processes that use a Talvex shared page cache.",
                 "tvsistat");
    Arguments arguments;
    declareOptions(app, arguments);
    try {
        app.parse(argc, argv);
        if (app.count("--list-fields") > 0) {
            const bool isOfKind = !arguments.listFields.empty();
            return TextRequest{
                listFields(isOfKind ? &kindFrom("--list-fields", arguments.listFields) : nullptr)};
        }
        return reportRequestFrom(app, arguments);
    } catch (const CLI::CallForHelp&) {
        app.footer(footer());
        return TextRequest{app.help()};
    } catch (const CLI::CallForVersion&) {
        return TextRequest{app.version() + "\n"};
    } catch (const CLI::ParseError& error) {
        return Failure{ExitStatus::Usage, sentenceOf(error)};
    } catch (const UsageError& error) {
        return Failure{ExitStatus::Usage, error.sentence};
    }
}

} // namespace tvsistat
