#include "request.h"

#include "commandline.h"
#include "configfile.h"
#include "printable.h"
#include "suggestion.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdio>

#include <fmt/format.h>

namespace tvsistat {
namespace {

using samples::Annotations;
using samples::ExitStatus;
using samples::Failure;
using samples::Figure;
using samples::FigurePattern;
using samples::Printing;
using statscatalogue::Kind;
using statscatalogue::kinds;

constexpr double minInterval = 0.01;
constexpr double maxInterval = 86400;
constexpr double maxWait = 1e8;

template <class... Values>
[[noreturn]] void refuse(fmt::format_string<Values...> format, Values&&... values) {
    throw UsageError{fmt::format(format, std::forward<Values>(values)...)};
}

/* ---- words and lists ---- */

bool hasCountForm(std::string_view word) {
    return !word.empty() && std::ranges::all_of(word, [](char c) { return c >= '0' && c <= '9'; });
}

/* A number written as digits with a point at most, taken off the front of the text. */
std::optional<double> takeDecimal(std::string_view& text) {
    double number = 0;
    double place = 0; /* of the next digit behind the point; 0 before it */
    bool hasDigit = false;
    for (; !text.empty(); text.remove_prefix(1)) {
        const char c = text.front();
        if (c >= '0' && c <= '9') {
            hasDigit = true;
            number = place == 0 ? number * 10 + (c - '0') : number + place * (c - '0');
            place /= 10;
        } else if (c == '.' && place == 0) {
            place = 0.1;
        } else {
            break;
        }
    }
    return hasDigit ? std::optional(number) : std::nullopt;
}

/* Seconds from "2", "0.5", "500ms", "1m", "2h"; nothing when the text has another form. */
std::optional<double> durationFrom(std::string_view text) {
    const auto number = takeDecimal(text);
    if (!number) {
        return std::nullopt;
    }
    constexpr std::pair<std::string_view, double> units[] = {
        {"", 1}, {"s", 1}, {"ms", 0.001}, {"m", 60}, {"h", 3600}};
    for (const auto& [suffix, seconds] : units) {
        if (text == suffix) {
            return *number * seconds;
        }
    }
    return std::nullopt;
}

/* Nanoseconds, from 7d, 36h, 2w. */
int64_t longTimeFrom(std::string_view what, std::string_view text) {
    std::string_view rest = text;
    const auto number = takeDecimal(rest);
    constexpr std::pair<std::string_view, double> units[] = {
        {"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}, {"w", 604800}};
    constexpr double most = 100.0 * 366 * 86400;
    for (const auto& [suffix, seconds] : units) {
        if (number && rest == suffix && *number > 0 && *number * seconds <= most) {
            return static_cast<int64_t>(*number * seconds * 1e9);
        }
    }
    refuse("{}: '{}' is no time, as 7d, 36h, 90m or 2w", what, samples::printable(text));
}

/* Bytes, from 500M, 4G; a kilobyte is 1,024. */
uint64_t sizeFrom(std::string_view what, std::string_view text) {
    std::string_view rest = text;
    const auto number = takeDecimal(rest);
    constexpr std::pair<std::string_view, int> units[] = {
        {"K", 10}, {"M", 20}, {"G", 30}, {"T", 40}};
    constexpr double least = 1 << 20;
    for (const auto& [suffix, shift] : units) {
        const double bytes = number.value_or(0) * static_cast<double>(int64_t{1} << shift);
        if (number && rest == suffix && bytes >= least && bytes <= 1e15) {
            return static_cast<uint64_t>(bytes);
        }
    }
    refuse("{}: '{}' is no size of at least 1M, as 500M or 4G", what, samples::printable(text));
}

double durationWithin(std::string_view what, std::string_view text, double least, double most) {
    const auto seconds = durationFrom(text);
    if (!seconds || *seconds < least || *seconds > most) {
        refuse("{}: '{}' is not a time from {} to {} seconds, as 2, 0.5, 500ms or 1m", what,
               samples::printable(text), least, most);
    }
    return *seconds;
}

template <class Number>
Number numberFrom(std::string_view what, std::string_view text, Number least, Number most) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < least || number > most) {
        refuse("{}: '{}' is not a number from {} to {}", what, samples::printable(text), least,
               most);
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
            refuse("{}: '{}' has an empty entry", what, samples::printable(text));
        }
    }
    return entries;
}

/* The rules of "1m:1d,10m:30d". */
std::vector<samples::ThinningRule> thinningFrom(std::string_view what, std::string_view text) {
    constexpr int64_t second = 1'000'000'000;
    std::vector<samples::ThinningRule> rules;
    for (const std::string& entry : commaList(what, text)) {
        const size_t colon = entry.find(':');
        if (colon == std::string::npos) {
            refuse("{}: '{}' is not STEP:AGE, as 1m:1d", what, samples::printable(entry));
        }
        const samples::ThinningRule rule{longTimeFrom(what, entry.substr(0, colon)),
                                         longTimeFrom(what, entry.substr(colon + 1))};
        if (rule.stepNs % second != 0 || 3600 * second % rule.stepNs != 0) {
            refuse("{}: '{}': a step is a whole part of an hour, as 10s, 1m or 10m", what,
                   samples::printable(entry));
        }
        if (!rules.empty() &&
            (rule.stepNs <= rules.back().stepNs || rule.stepNs % rules.back().stepNs != 0 ||
             rule.ageNs <= rules.back().ageNs)) {
            refuse("{}: '{}' must have a multiple of the step before it, and a greater age", what,
                   samples::printable(entry));
        }
        rules.push_back(rule);
    }
    return rules;
}

/* "a, b, c" of the names that `add` is called with. */
template <class Names> std::string listed(Names&& names) {
    std::string list;
    names([&](std::string_view name) {
        list += list.empty() ? "" : ", ";
        list += name;
    });
    return list;
}

/* "there is no kind 'voks'; did you mean 'vok'?", or the names there are. */
[[noreturn]] void refuseName(std::string_view what, std::string_view noun, std::string_view name,
                             std::span<const std::string_view> suggestions,
                             const std::string& all) {
    const auto written = samples::writtenName(name);
    const std::string_view closest = closestName(written.name, suggestions);
    if (!closest.empty()) {
        refuse("{}: there is no {} '{}'; did you mean '{}{}'?", what, noun,
               samples::printable(name), closest, name.substr(written.name.size()));
    }
    refuse("{}: there is no {} '{}'; {}", what, noun, samples::printable(name), all);
}

/* ---- single options ---- */

uint32_t kindBitFrom(std::string_view what, const std::string& name) {
    const Kind* kind = statscatalogue::kindNamed(name);
    if (kind != nullptr && (kind->bit & SHRPC_ALL) == 0) {
        refuse("{}: processes of kind {} cannot be selected", what, kind->shortName);
    }
    if (kind != nullptr) {
        return kind->bit;
    }
    std::vector<std::string_view> names;
    const std::string all = listed([&](auto&& add) {
        for (const Kind& each : kinds()) {
            if ((each.bit & SHRPC_ALL) != 0) {
                names.push_back(each.shortName);
                names.push_back(each.name);
                add(each.shortName);
            }
        }
    });
    refuseName(what, "kind", name, names, "the kinds are " + all);
}

uint32_t groupBitFrom(std::string_view what, const std::string& name) {
    if (const auto group = statscatalogue::groupNamed(name)) {
        return 1U << static_cast<unsigned>(*group);
    }
    std::vector<std::string_view> names;
    const std::string all = listed([&](auto&& add) {
        for (size_t i = 0; i < statscatalogue::numFieldGroups; i++) {
            names.push_back(nameOf(static_cast<statscatalogue::Group>(i)));
            add(names.back());
        }
    });
    refuseName(what, "group", name, names, "the groups are " + all);
}

/* "commitCount:rate" taken apart. */
FieldChoice::Exact exactFrom(std::string_view what, const std::string& text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return {text, std::nullopt};
    }
    constexpr std::pair<std::string_view, Printing> suffixes[] = {{"rate", Printing::Rate},
                                                                  {"total", Printing::Total},
                                                                  {"delta", Printing::Delta},
                                                                  {"min", Printing::Minimum},
                                                                  {"max", Printing::Maximum}};
    for (const auto& [suffix, printing] : suffixes) {
        if (std::string_view(text).substr(colon + 1) == suffix) {
            return {text.substr(0, colon), printing};
        }
    }
    refuse("{}: '{}' ends with none of :rate, :total, :delta, :min and :max", what,
           samples::printable(text));
}

Annotations::UnitOf unitFrom(std::string_view what, const std::string& text) {
    using statscatalogue::Unit;
    constexpr std::pair<std::string_view, Unit> units[] = {{"ms", Unit::Milliseconds},
                                                           {"us", Unit::Microseconds},
                                                           {"ns", Unit::Nanoseconds},
                                                           {"s", Unit::Seconds}};
    const size_t equals = text.rfind('=');
    for (const auto& [name, unit] : units) {
        if (equals != std::string::npos && equals > 0 && text.substr(equals + 1) == name) {
            return {text.substr(0, equals), unit};
        }
    }
    refuse("{}: '{}' is not GLOB=ms, GLOB=us, GLOB=ns or GLOB=s", what, samples::printable(text));
}

Annotations::LabelOf labelFrom(std::string_view what, const std::string& text) {
    const size_t equals = text.rfind('=');
    const std::string label = equals == std::string::npos ? "" : text.substr(equals + 1);
    const auto isWordCharacter = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
    if (label.empty() || label.size() > 31 || !std::ranges::all_of(label, isWordCharacter)) {
        refuse("{}: '{}' is not FIELD[i]=NAME with a name of letters, digits and _", what,
               samples::printable(text));
    }
    const std::string name = text.substr(0, equals);
    bool isApplications = false;
    for (const Kind& kind : kinds()) {
        if (!samples::figuresNamed(kind, label, {}).empty() || identityNamed(label)) {
            refuse("{}: '{}' is a field's name already", what, label);
        }
        const auto figures = samples::figuresNamed(kind, name, {});
        isApplications = isApplications || (figures.size() == 1 && figures[0].field != nullptr &&
                                            figures[0].field->isApplications);
    }
    if (!isApplications) {
        refuse("{}: '{}' is no element of what applications define, as sessionStats[3]", what,
               samples::printable(name));
    }
    return {name, label};
}

Annotations::MeaningOf meaningFrom(std::string_view what, const std::string& text) {
    using statscatalogue::Meaning;
    for (const Meaning meaning : {Meaning::Counter, Meaning::Gauge, Meaning::Position}) {
        const std::string_view name = nameOf(meaning);
        if (text.starts_with(name) && text.size() > name.size() + 1 && text[name.size()] == ':') {
            return {text.substr(name.size() + 1), meaning};
        }
    }
    refuse("{}: '{}' is not counter:GLOB, gauge:GLOB or position:GLOB", what,
           samples::printable(text));
}

GivenMoment momentFrom(std::string_view what, const std::string& text) {
    if (const auto moment = GivenMoment::parse(text)) {
        return *moment;
    }
    refuse("{}: '{}' is no time, as 10:00, 'yesterday 23:50', '2026-11-23 10:00' or 2h30m (ago)",
           what, samples::printable(text));
}

/* 0 for as fast as it can be. */
double speedFrom(std::string_view what, std::string_view text) {
    constexpr double most = 1e6;
    std::string_view rest = text;
    const auto number = takeDecimal(rest);
    if (text == "max" ||
        (number && rest.empty() && (*number == 0 || *number >= 0.01) && *number <= most)) {
        return number.value_or(0);
    }
    refuse("{}: '{}' is no speed: a number from 0.01 to {}, or max", what, samples::printable(text),
           most);
}

When whenFrom(std::string_view what, const std::string& text) {
    constexpr std::pair<std::string_view, When> words[] = {
        {"auto", When::Auto}, {"always", When::Always}, {"never", When::Never}};
    for (const auto& [word, when] : words) {
        if (text == word) {
            return when;
        }
    }
    refuse("{}: '{}' is not auto, always or never", what, samples::printable(text));
}

/* ---- checks against the catalogue ---- */

/* Calls visit(kind) for each kind that can be selected and is. */
template <class Visitor> void forEachKind(uint32_t mask, Visitor visit) {
    for (const Kind& kind : kinds()) {
        if ((kind.bit & mask & SHRPC_ALL) != 0) {
            visit(kind);
        }
    }
}

/* What names in an option stand for: columns, or the one key that rows are sorted by. */
enum class NameUse : uint8_t { Column, SortKey };

constexpr std::pair<std::string_view, samples::SortIdentity> sortIdentities[] = {
    {"index", samples::SortIdentity::Index},
    {"pid", samples::SortIdentity::Pid},
    {"session", samples::SortIdentity::Session},
    {"name", samples::SortIdentity::Name},
    {"state", samples::SortIdentity::State}};

/* The names that an option would take: those of arrays with this element, or those without. */
std::vector<std::string_view> namesToTake(NameUse use, std::optional<size_t> element,
                                          const Request& request) {
    std::vector<std::string_view> names;
    forEachKind(request.rows.selection.kinds, [&](const Kind& kind) {
        forEachField(kind, [&](const statscatalogue::FieldPlace& place) {
            const unsigned count = place.field->count;
            if (element ? count > 1 && *element < count : count == 1 || use == NameUse::Column) {
                names.push_back(place.field->name);
            }
        });
    });
    if (element) {
        return names;
    }
    for (const auto& derived : statscatalogue::derivedFigures()) {
        if ((derived.kinds & request.rows.selection.kinds) != 0) {
            names.push_back(derived.name);
        }
    }
    for (const auto& label : request.annotations.labels) {
        names.push_back(label.label);
    }
    for (const auto& [name, identity] : sortIdentities) {
        names.push_back(name);
    }
    for (size_t i = 0; use == NameUse::Column && i < numIdentities; i++) {
        names.push_back(nameOf(static_cast<Identity>(i)));
    }
    return names;
}

/* Why no chosen kind has a figure of this name. */
[[noreturn]] void refuseField(std::string_view what, const std::string& name, NameUse use,
                              const Request& request) {
    const uint32_t kindMask = request.rows.selection.kinds;
    const size_t bracket = name.find('[');
    if (bracket != std::string::npos) {
        const std::string array = name.substr(0, bracket);
        forEachKind(kindMask, [&](const Kind& kind) {
            if (const auto place = findField(kind, array)) {
                const unsigned count = place->field->count;
                if (count == 1) {
                    refuse("{}: '{}' is no array", what, array);
                }
                refuse("{}: '{}' has {} elements: {}[0] to {}[{}]", what, array, count, array,
                       array, count - 1);
            }
        });
    }
    const std::string owners = listed([&](auto&& add) {
        forEachKind(SHRPC_ALL, [&](const Kind& kind) {
            if (!figuresNamed(kind, name, request.annotations).empty()) {
                add(kind.shortName);
            }
        });
    });
    if (!owners.empty()) {
        refuse("{}: none of the chosen kinds has a field '{}', which is one of: {}", what,
               samples::printable(name), owners);
    }
    const auto written = samples::writtenName(name);
    refuseName(what, "field", name, namesToTake(use, written.element, request),
               "tvsistat --list-fields shows all names");
}

/* Refuses a way of printing that makes no sense for the figure. */
void checkPrinting(std::string_view what, const std::string& name, const Figure& figure,
                   std::optional<Printing> printing) {
    if (printing == Printing::Rate && !figure.isCounter() && figure.field != nullptr) {
        refuse("{}: '{}' is a {}: only counters have a rate", what, name, nameOf(figure.meaning));
    }
    const bool isOfGauges = printing == Printing::Minimum || printing == Printing::Maximum;
    if (isOfGauges &&
        (figure.field == nullptr || figure.meaning != statscatalogue::Meaning::Gauge)) {
        refuse("{}: '{}' is {}{}: only gauges have a minimum and a maximum", what, name,
               figure.field == nullptr ? "derived" : "a ",
               figure.field == nullptr ? "" : nameOf(figure.meaning));
    }
    if (printing == Printing::Delta && !figure.hasGrowth()) {
        refuse("{}: '{}' has no difference from one sample to the next", what, name);
    }
    if (printing == Printing::Rate && figure.derived != nullptr) {
        refuse("{}: '{}' is derived: it has no rate of its own", what, name);
    }
}

void checkExact(std::string_view what, const FieldChoice::Exact& entry, NameUse use,
                const Request& request) {
    if (identityNamed(entry.name)) {
        if (entry.printing) {
            refuse("{}: '{}' is no counter", what, entry.name);
        }
        return;
    }
    bool isKnown = false;
    forEachKind(request.rows.selection.kinds, [&](const Kind& kind) {
        for (const Figure& figure : figuresNamed(kind, entry.name, request.annotations)) {
            checkPrinting(what, entry.name, figure, entry.printing);
            isKnown = true;
        }
    });
    if (!isKnown) {
        refuseField(what, entry.name, use, request);
    }
}

/* Whether any figure of the kinds in the mask meets a condition. */
template <class Condition>
bool anyFigure(uint32_t kindMask, const Annotations& annotations, Condition isMet) {
    for (const Kind& kind : kinds()) {
        if ((kind.bit & kindMask & SHRPC_ALL) != 0 &&
            std::ranges::any_of(figuresOf(kind, annotations), isMet)) {
            return true;
        }
    }
    return false;
}

void checkPattern(std::string_view what, const FigurePattern& pattern, uint32_t kindMask) {
    if (!anyFigure(kindMask, {}, [&](const Figure& figure) { return pattern.matches(figure); })) {
        refuse("{}: no field of the chosen kinds matches '{}'; tvsistat --list-fields shows all "
               "names",
               what, samples::printable(pattern.text()));
    }
}

/* What a person says of a field must be something that the catalogue leaves open. */
void checkAnnotation(std::string_view what, const std::string& glob, bool isOfUnits) {
    const FigurePattern pattern(glob);
    const bool isOpen = anyFigure(SHRPC_ALL, {}, [&](const Figure& figure) {
        return figure.field != nullptr && pattern.matches(figure) &&
               (isOfUnits ? figure.field->unit == statscatalogue::Unit::Unknown
                          : figure.field->isApplications);
    });
    if (!isOpen) {
        refuse("{}: '{}' matches no field {}", what, samples::printable(glob),
               isOfUnits ? "whose unit is unknown" : "that applications define");
    }
}

/* ---- the request ---- */

/* Whether an option of the command line makes one of the configuration file void. */
bool replaces(const OptionEntry& given, const OptionEntry& configured) {
    if (configured.family == Family::Knowledge) {
        return false;
    }
    switch (given.family) {
    case Family::FieldGlobs:
        return configured.family == Family::FieldList;
    case Family::FieldList:
        return configured.family == Family::FieldGlobs || configured.family == Family::FieldList;
    case Family::None:
        break;
    default:
        return given.family == configured.family;
    }
    const bool isOfName = configured.id == OptionId::Glob || configured.id == OptionId::IgnoreCase;
    return given.id == configured.id || (given.id == OptionId::Name && isOfName) ||
           (given.id == OptionId::Sort && configured.id == OptionId::Reverse);
}

/* The options in force: the file's, the used sets', the command line's. */
std::vector<GivenOption> merged(const CommandLine& line) {
    Configuration configuration = readConfiguration();
    if (!configuration.refusal.empty()) {
        std::fprintf(stderr, "tvsistat: %s is not read: %s\n", configuration.path.c_str(),
                     configuration.refusal.c_str());
    }
    std::vector<GivenOption> options = std::move(configuration.options);
    for (const GivenOption& given : line.options) {
        if (given.id != OptionId::Use) {
            continue;
        }
        const auto set = configuration.sets.find(given.value);
        if (set == configuration.sets.end()) {
            refuse("--use: {} has no set [{}]",
                   configuration.path.empty() ? "the configuration file" : configuration.path,
                   samples::printable(given.value));
        }
        options.insert(options.end(), set->second.begin(), set->second.end());
    }
    std::erase_if(options, [&](const GivenOption& configured) {
        return std::ranges::any_of(line.options, [&](const GivenOption& given) {
            return replaces(entryOf(given.id), entryOf(configured.id));
        });
    });
    options.insert(options.end(), line.options.begin(), line.options.end());
    return options;
}

class RequestMaker {
public:
    std::variant<Request, Failure> make(int argc, const char* const* argv);

private:
    bool has(OptionId id) const {
        return std::ranges::find(options, id, &GivenOption::id) != options.end();
    }
    RecordingRequest& recording() {
        return request.recording ? *request.recording : request.recording.emplace();
    }
    void exclude(OptionId one, OptionId other) const;
    void checkExclusions() const;
    void take(const GivenOption& given);
    void takeList(const GivenOption& given);
    void takeWords();
    void takeTargets(std::span<const std::string> words);
    void takeRecording();
    void takeTimes();
    void compileNames();
    void takeOrder();
    void checkFields() const;
    void checkStreamIsWhole() const;
    void checkTogether() const;

    CommandLine line;
    std::vector<GivenOption> options;
    const GivenOption* sort = nullptr;
    std::vector<const GivenOption*> names;
    std::optional<Failure> badExpression;
    Request request;
};

void RequestMaker::exclude(OptionId one, OptionId other) const {
    if (has(one) && has(other)) {
        refuse("--{} and --{} exclude each other", entryOf(one).name, entryOf(other).name);
    }
}

void RequestMaker::checkExclusions() const {
    using enum OptionId;
    constexpr std::pair<OptionId, OptionId> pairs[] = {
        {Thin, History},      {Thin, Merge},    {Thin, Info},      {Long, Json},
        {Long, Csv},          {Json, Csv},      {Rate, Total},     {Rate, Delta},
        {Total, Delta},       {Width, Wide},    {Fields, Include}, {Fields, Exclude},
        {Fields, Group},      {Read, History},  {Merge, History},  {History, Wait},
        {History, Follow},    {History, Align}, {Merge, Wait},     {Merge, Follow},
        {Merge, Align},       {Live, Merge},    {Read, Wait},      {Read, Follow},
        {Once, Follow},       {Export, Long},   {Export, Json},    {Export, Csv},
        {Export, Rate},       {Export, Total},  {Export, Delta},   {Read, Align},
        {Live, Once},         {Live, Long},     {Live, Json},      {Live, Csv},
        {Live, Sum},          {Live, Top},      {Live, Export},    {Live, Quiet},
        {ListFields, Fields},
    };
    for (const auto& [one, other] : pairs) {
        exclude(one, other);
    }
}

void RequestMaker::takeList(const GivenOption& given) {
    for (const std::string& entry : commaList(given.where, given.value)) {
        switch (given.id) {
        case OptionId::Kind:
            request.rows.selection.kinds |= kindBitFrom(given.where, entry);
            break;
        case OptionId::Session:
            request.rows.selection.sessions.push_back(numberFrom(given.where, entry, 0, INT_MAX));
            break;
        case OptionId::Pid:
            request.rows.selection.pids.push_back(numberFrom(given.where, entry, 1, INT_MAX));
            break;
        case OptionId::Group:
            request.fields.groups |= groupBitFrom(given.where, entry);
            break;
        default:
            request.fields.exact.push_back(exactFrom(given.where, entry));
            break;
        }
    }
}

void RequestMaker::take(const GivenOption& given) {
    const auto& [id, value, where] = given;
    Layout& layout = request.layout;
    switch (id) {
    case OptionId::Brox:
    case OptionId::Cache:
        if (value.empty()) {
            refuse("{}: the name is empty", where);
        }
        request.targets.push_back({id == OptionId::Brox, value});
        break;
    case OptionId::Write:
        if (value.empty()) {
            refuse("{}: the name of the file is empty", where);
        }
        recording().path = value;
        break;
    case OptionId::Keep:
        recording().options.keepNs = longTimeFrom(where, value);
        recording().options.isDirectory = true;
        break;
    case OptionId::MaxSize:
        recording().options.mostBytes = sizeFrom(where, value);
        recording().options.isDirectory = true;
        break;
    case OptionId::Thin:
        request.thinning = {value, thinningFrom(where, value), {}};
        break;
    case OptionId::GroupReadable:
        recording().options.isReadableByGroup = true;
        break;
    case OptionId::Read:
        if (value.empty()) {
            refuse("{}: the name of the file is empty", where);
        }
        request.reads.push_back(value);
        break;
    case OptionId::History:
        request.readsHistory = true;
        break;
    case OptionId::Start:
        request.start = momentFrom(where, value);
        break;
    case OptionId::End:
        request.end = momentFrom(where, value);
        break;
    case OptionId::Interval:
        request.interval = durationWithin(where, value, minInterval, maxInterval);
        break;
    case OptionId::Speed:
        request.speed = speedFrom(where, value);
        break;
    case OptionId::Wait:
        request.wait = durationWithin(where, value, 0, maxWait);
        break;
    case OptionId::Follow:
        request.follows = true;
        break;
    case OptionId::Live:
        request.isLive = true;
        break;
    case OptionId::Once:
        request.isOnce = true;
        break;
    case OptionId::Long:
        request.form = Form::Long;
        break;
    case OptionId::Json:
        request.form = Form::Json;
        break;
    case OptionId::Csv:
        request.form = Form::Csv;
        break;
    case OptionId::Export:
        if (value != "openmetrics" && value != "stream") {
            refuse("{}: '{}' is neither openmetrics nor stream", where, samples::printable(value));
        }
        request.form = value == "stream" ? Form::Stream : Form::OpenMetrics;
        break;
    case OptionId::List:
        request.action = Action::ListCaches;
        break;
    case OptionId::ListFields:
        request.action = Action::ListFields;
        break;
    case OptionId::Info:
        if (value.empty()) {
            refuse("{}: the name of the file is empty", where);
        }
        request.action = Action::Info;
        request.info = value;
        break;
    case OptionId::Kind:
    case OptionId::Session:
    case OptionId::Pid:
    case OptionId::Fields:
    case OptionId::Group:
        takeList(given);
        break;
    case OptionId::Name:
        if (value.empty()) {
            refuse("{}: the expression is empty", where);
        }
        names.push_back(&given);
        break;
    case OptionId::Include:
    case OptionId::Exclude:
        request.fields.filters.push_back({id == OptionId::Include, FigurePattern(value)});
        break;
    case OptionId::Sum:
        request.rows.isSum = true;
        break;
    case OptionId::Sort:
        sort = &given;
        break;
    case OptionId::Reverse:
        request.rows.order.isReversed = true;
        break;
    case OptionId::Top:
        request.rows.most = static_cast<size_t>(numberFrom(where, value, 1, INT_MAX));
        break;
    case OptionId::Nonzero:
        request.isNonzero = true;
        break;
    case OptionId::Rate:
        request.printing = Printing::Rate;
        break;
    case OptionId::Total:
        request.printing = Printing::Total;
        break;
    case OptionId::Delta:
        request.printing = Printing::Delta;
        break;
    case OptionId::Width:
        layout.width = static_cast<size_t>(numberFrom(where, value, 20, 100000));
        break;
    case OptionId::Wide:
        layout.isWide = true;
        break;
    case OptionId::NoHeader:
        layout.hasHeader = false;
        break;
    case OptionId::RepeatHeader:
        layout.headerEvery = static_cast<unsigned>(numberFrom(where, value, 1, INT_MAX));
        break;
    case OptionId::Color:
        layout.color = whenFrom(where, value);
        break;
    case OptionId::Timestamp:
        layout.hasTimestamp = true;
        break;
    case OptionId::Utc:
        layout.isUtc = true;
        break;
    case OptionId::Align:
        request.isAligned = true;
        break;
    case OptionId::Unit:
        request.annotations.units.push_back(unitFrom(where, value));
        checkAnnotation(where, request.annotations.units.back().glob, true);
        break;
    case OptionId::Label: {
        /* A name that is given again moves: it stands for one statistic. */
        auto label = labelFrom(where, value);
        std::erase_if(request.annotations.labels,
                      [&](const auto& earlier) { return earlier.label == label.label; });
        request.annotations.labels.push_back(std::move(label));
        break;
    }
    case OptionId::As:
        request.annotations.meanings.push_back(meaningFrom(where, value));
        checkAnnotation(where, request.annotations.meanings.back().glob, false);
        break;
    case OptionId::Quiet:
    case OptionId::Merge:
    case OptionId::Glob:
    case OptionId::IgnoreCase:
    case OptionId::Use:
    case OptionId::Check:
    case OptionId::Help:
    case OptionId::Version:
    case OptionId::OptionTable:
        break;
    }
}

/* [CACHE...] [INTERVAL [COUNT]]: a word is INTERVAL or COUNT only as the last one or the last two,
 * and when it has that form. */
void RequestMaker::takeWords() {
    std::span<const std::string> words = line.words;
    if (request.action == Action::ListFields) {
        request.fieldGlobs.assign(words.begin(), words.end());
        return;
    }
    if (has(OptionId::Thin) && !has(OptionId::Write)) {
        exclude(OptionId::Thin, OptionId::Read);
        request.action = Action::Thin;
        request.thinning->directories.assign(words.begin(), words.end());
        if (words.empty() || std::ranges::find(words, "") != words.end()) {
            refuse("--thin: name the directories to be thinned, or with --write the one that is "
                   "recorded to");
        }
        return;
    }
    if (has(OptionId::Merge)) {
        request.reads.insert(request.reads.end(), words.begin(), words.end());
        if (std::ranges::find(words, "") != words.end() || request.reads.empty()) {
            refuse("--merge: name the recordings that become one time line");
        }
        return;
    }
    const size_t count = words.size();
    std::string_view intervalWord;
    if (has(OptionId::Interval)) {
        if (count >= 1 && hasCountForm(words[count - 1])) {
            request.count = numberFrom("COUNT", words[count - 1], 1, INT_MAX);
            words = words.first(count - 1);
        }
    } else if (count >= 2 && hasCountForm(words[count - 1]) && durationFrom(words[count - 2])) {
        request.count = numberFrom("COUNT", words[count - 1], 1, INT_MAX);
        intervalWord = words[count - 2];
        words = words.first(count - 2);
    } else if (count >= 1 && durationFrom(words[count - 1])) {
        intervalWord = words[count - 1];
        words = words.first(count - 1);
    }
    if (!intervalWord.empty()) {
        request.interval = durationWithin("INTERVAL", intervalWord, minInterval, maxInterval);
    }
    takeTargets(words);
}

void RequestMaker::takeTargets(std::span<const std::string> words) {
    for (const std::string& word : words) {
        if (word.empty()) {
            refuse("the name of a cache is empty");
        }
        const size_t host = word.rfind('!');
        const bool isLocation =
            word.find('~', host == std::string::npos ? 0 : host) != std::string::npos;
        if (word == "all") {
            request.takesAll = true;
        } else {
            request.targets.push_back({!isLocation, word});
        }
    }
}

/* With --write and nothing said of what to show, nothing is. */
void RequestMaker::takeRecording() {
    using enum OptionId;
    for (const OptionId id : {Quiet, Keep, MaxSize, GroupReadable}) {
        if (has(id) && !has(Write)) {
            refuse("--{} needs --write", entryOf(id).name);
        }
    }
    if (has(Thin) && has(Write)) {
        recording().options.isDirectory = true;
        recording().thinning = request.thinning->text;
    }
    const bool asksForView = has(Once) || has(Long) || has(Json) || has(Csv) || has(Live) ||
                             request.interval.has_value();
    request.isQuiet = has(Quiet) || (has(Write) && !asksForView);
    if (request.isQuiet && !request.interval && !has(Once) && !request.isReplay()) {
        request.interval = 1;
    }
}

/* What follows from what was given, and from what wasn't. */
void RequestMaker::takeTimes() {
    if (request.isOnce) {
        if (request.count > 1) {
            refuse("--once and a COUNT of {} exclude each other", request.count);
        }
        request.count = 1;
    } else if (request.isLive) {
        if (request.count != 0) {
            refuse("--interactive and a COUNT exclude each other");
        }
    } else if (!request.interval && !request.isReplay()) {
        request.count = 1;
    }
    std::vector<Target> once;
    for (Target& target : request.targets) {
        if (std::ranges::find(once, target) == once.end()) {
            once.push_back(std::move(target));
        }
    }
    request.targets = std::move(once);
    request.takesAll = request.takesAll || (request.targets.empty() && !request.isReplay());
}

void RequestMaker::compileNames() {
    const bool ignoresCase = has(OptionId::IgnoreCase);
    const bool isGlob = has(OptionId::Glob);
    if (names.empty() && (ignoresCase || isGlob)) {
        refuse("--{} needs --name", ignoresCase ? "ignore-case" : "glob");
    }
    for (const GivenOption* given : names) {
        if (isGlob) {
            request.rows.selection.names.push_back(
                samples::NamePattern::glob(given->value, ignoresCase));
            continue;
        }
        std::string problem;
        auto pattern = samples::NamePattern::expression(given->value, ignoresCase, problem);
        if (!problem.empty()) {
            badExpression =
                Failure{ExitStatus::BadExpression,
                        fmt::format("{}: the regular expression '{}' does not compile: "
                                    "{}",
                                    given->where, samples::printable(given->value), problem)};
            return;
        }
        request.rows.selection.names.push_back(std::move(pattern));
    }
}

void RequestMaker::takeOrder() {
    if (sort == nullptr) {
        return;
    }
    for (const auto& [name, identity] : sortIdentities) {
        if (sort->value == name) {
            request.rows.order.key = identity;
            return;
        }
    }
    const FieldChoice::Exact entry = exactFrom(sort->where, sort->value);
    if (identityNamed(entry.name)) {
        refuse("{}: processes cannot be sorted by {}", sort->where, entry.name);
    }
    checkExact(sort->where, entry, NameUse::SortKey, request);
    samples::SortFigure key;
    key.printing = entry.printing;
    forEachKind(SHRPC_ALL, [&](const Kind& kind) {
        const auto figures = figuresNamed(kind, entry.name, request.annotations);
        if (figures.size() > 1) {
            refuse("{}: '{}' has {} elements: choose one, as {}[0]", sort->where, entry.name,
                   figures.size(), entry.name);
        }
        if (figures.size() == 1) {
            key.byKind[static_cast<size_t>(kind.index)] = figures[0];
        }
    });
    request.rows.order.key = key;
}

void RequestMaker::checkFields() const {
    for (const GivenOption& given : options) {
        if (given.id == OptionId::Fields) {
            for (const std::string& entry : commaList(given.where, given.value)) {
                checkExact(given.where, exactFrom(given.where, entry), NameUse::Column, request);
            }
        } else if (given.id == OptionId::Include || given.id == OptionId::Exclude) {
            checkPattern(given.where, FigurePattern(given.value), request.rows.selection.kinds);
        }
    }
    const FieldChoice& fields = request.fields;
    if (fields.exact.empty() &&
        !anyFigure(request.rows.selection.kinds, request.annotations,
                   [&](const Figure& figure) { return fields.lets(figure, true); })) {
        refuse("--group, --include and --exclude leave no field of the chosen kinds");
    }
    for (const std::string& glob : request.fieldGlobs) {
        checkPattern("--list-fields", FigurePattern(glob), request.rows.selection.kinds);
    }
}

/* A stream has each sample of its span, with all of its processes and fields. */
void RequestMaker::checkStreamIsWhole() const {
    for (const GivenOption& given : options) {
        const OptionEntry& entry = entryOf(given.id);
        if (given.id == OptionId::Once || given.id == OptionId::Quiet ||
            entry.section == Section::Processes || entry.section == Section::Fields ||
            entry.section == Section::Numbers) {
            refuse("--export=stream writes all that was recorded: leave out --{}", entry.name);
        }
    }
    if (request.interval) {
        refuse("--export=stream writes each sample: leave out INTERVAL");
    }
}

void RequestMaker::checkTogether() const {
    const bool readsInput = std::ranges::find(request.reads, "-") != request.reads.end();
    if (readsInput && (!request.targets.empty() || request.takesAll)) {
        refuse("--read stands in place of caches: leave out '{}'",
               request.takesAll ? "all" : samples::printable(request.targets[0].name));
    }
    if (readsInput && request.reads.size() > 1) {
        refuse("--read: standard input is read alone: put its stream into a file to read it with "
               "others");
    }
    for (const OptionId id : {OptionId::Start, OptionId::End, OptionId::Speed, OptionId::Export}) {
        if (has(id) && !request.isReplay()) {
            refuse("--{} needs --read or --history", entryOf(id).name);
        }
    }
    if (request.form == Form::Stream) {
        checkStreamIsWhole();
    }
    if (request.follows && !request.interval) {
        refuse("--follow needs an INTERVAL");
    }
    if (request.isAligned && !request.interval) {
        refuse("--align needs an INTERVAL");
    }
    if (request.action == Action::ListCaches && !line.words.empty()) {
        refuse("--list lists every cache: leave out '{}'", samples::printable(line.words[0]));
    }
    if (request.action == Action::Info && !line.words.empty()) {
        refuse("--info is about FILE alone: leave out '{}'", samples::printable(line.words[0]));
    }
    const bool isListing = request.action == Action::ListCaches ||
                           request.action == Action::ListFields || request.action == Action::Info;
    if (isListing && request.form != Form::Report && request.form != Form::Json) {
        refuse("lists and --info are printed as text or with --json");
    }
}

std::variant<Request, Failure> RequestMaker::make(int argc, const char* const* argv) {
    line = parseWords(argc, argv);
    constexpr std::pair<OptionId, Action> texts[] = {{OptionId::Help, Action::Help},
                                                     {OptionId::Version, Action::Version},
                                                     {OptionId::OptionTable, Action::OptionTable}};
    for (const auto& [id, action] : texts) {
        if (line.has(id)) {
            request.action = action;
            return std::move(request);
        }
    }
    options = merged(line);
    checkExclusions();
    request.rows.selection.kinds = has(OptionId::Kind) ? 0 : SHRPC_ALL;
    for (const GivenOption& given : options) {
        take(given);
    }
    takeWords();
    takeRecording();
    checkTogether();
    takeTimes();
    checkFields();
    takeOrder();
    compileNames();
    if (badExpression) {
        return *badExpression;
    }
    if (line.has(OptionId::Check)) {
        request.action = Action::Check;
    }
    return std::move(request);
}

} // namespace

std::string Target::title() const {
    return (isBrox ? "Brox " : "cache ") + samples::printable(name);
}

std::variant<Request, Failure> requestFrom(int argc, const char* const* argv) {
    try {
        return RequestMaker().make(argc, argv);
    } catch (const UsageError& error) {
        return Failure{ExitStatus::Usage, error.sentence + " (see tvsistat --help)"};
    }
}

} // namespace tvsistat
