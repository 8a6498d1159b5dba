#include "readerarguments.h"

#include "printable.h"
#include "statscatalogue.h"
#include "versions.h"

#include <algorithm>
#include <charconv>
#include <getopt.h>
#include <optional>
#include <string_view>

namespace reader {
namespace {

constexpr const char* helpText =
    "Usage: tvsi-reader (--brox NAME | --cache LOCATION) [--interval TIME] [--align]\n"
    "                   [--count N] [--kinds LIST] [--no-users]\n"
    "       tvsi-reader --list\n"
    "\n"
    "Attaches a shared page cache of this host and writes samples of its processes to\n"
    "standard output, as a stream that tvsistat --read - and other programs take.\n"
    "\n"
    "  -b, --brox NAME      the cache that serves this Brox\n"
    "  -c, --cache LOCATION the cache with this location, as prod~1f2e\n"
    "  -i, --interval TIME  from one sample to the next: 2, 0.5, 500ms, 1m (default 1; 0: no "
    "pause)\n"
    "  -a, --align          at whole multiples of the interval on the wall clock\n"
    "  -n, --count N        end after N samples (default: when the cache is gone)\n"
    "  -k, --kinds LIST     send processes of these kinds only: vok,brox\n"
    "  -U, --no-users       don't look up which user each process runs as\n"
    "  -l, --list           print the caches of this host, a line of JSON each, and end\n"
    "  -V, --version        print the version and end\n"
    "  -h, --help           print this and end\n"
    "\n"
    "Exit status: 0 as asked, 1 a failure of its own, 2 wrong arguments, 3 no such cache, 4 no\n"
    "permission, 5 a server of another version, 7 the cache went away, 9 output failed.\n";

constexpr option longOptions[] = {
    {"brox", required_argument, nullptr, 'b'},
    {"cache", required_argument, nullptr, 'c'},
    {"interval", required_argument, nullptr, 'i'},
    {"align", no_argument, nullptr, 'a'},
    {"count", required_argument, nullptr, 'n'},
    {"kinds", required_argument, nullptr, 'k'},
    {"no-users", no_argument, nullptr, 'U'},
    {"list", no_argument, nullptr, 'l'},
    {"version", no_argument, nullptr, 'V'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

constexpr int64_t nsInSecond = 1'000'000'000;

struct TimeUnit {
    std::string_view suffix;
    int64_t nanoseconds;
};
constexpr TimeUnit timeUnits[] = {
    {"", nsInSecond}, {"s", nsInSecond},      {"ms", 1'000'000},       {"us", 1'000},
    {"ns", 1},        {"m", 60 * nsInSecond}, {"h", 3600 * nsInSecond}};

constexpr int64_t longestInterval = 86400 * nsInSecond;
constexpr int64_t shortestInterval = 1'000'000;

Failure usage(const std::string& sentence) {
    return {ExitStatus::Usage, sentence + " (see tvsi-reader --help)"};
}

std::string quoted(std::string_view text) {
    return "'" + samples::printable(text) + "'";
}

/* Takes the digits off the front of a text; a number that is too large for any use stays so. */
int64_t takeNumber(std::string_view& text) {
    constexpr int64_t enough = INT64_C(1) << 50;
    int64_t number = 0;
    while (!text.empty() && text[0] >= '0' && text[0] <= '9') {
        number = std::min(number * 10 + (text[0] - '0'), enough);
        text.remove_prefix(1);
    }
    return number;
}

/* Nanoseconds of "2", ".5", "500ms", "1.5m"; what is finer than one is left out. */
std::optional<int64_t> parseInterval(std::string_view text) {
    const bool hasDigit = text.find_first_of("0123456789") <= 1;
    const int64_t whole = takeNumber(text);
    std::string_view digits;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        digits = text;
        takeNumber(text);
        digits.remove_suffix(text.size());
    }
    for (const TimeUnit& unit : timeUnits) {
        if (!hasDigit || text != unit.suffix || whole > longestInterval / unit.nanoseconds) {
            continue;
        }
        int64_t interval = whole * unit.nanoseconds;
        int64_t place = unit.nanoseconds;
        for (const char digit : digits.substr(0, 13)) {
            place /= 10;
            interval += (digit - '0') * place;
        }
        const bool isZero = whole == 0 && digits.find_first_not_of('0') == std::string_view::npos;
        const bool isInRange =
            isZero || (interval >= shortestInterval && interval <= longestInterval);
        return isInRange ? std::optional(interval) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<uint64_t> parseCount(std::string_view text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number > 0
               ? std::optional(number)
               : std::nullopt;
}

/* The kinds of a list of names with commas between them, as a mask. */
std::variant<uint32_t, Failure> parseKinds(std::string_view list) {
    uint32_t mask = 0;
    for (;;) {
        const std::string_view name = list.substr(0, list.find(','));
        const auto* kind = statscatalogue::kindNamed(name);
        if (kind == nullptr) {
            return usage("--kinds: there is no kind " + quoted(name));
        }
        if ((kind->bit & SHRPC_ALL) == 0) {
            return usage("--kinds: processes of kind " + std::string(kind->shortName) +
                         " cannot be selected");
        }
        mask |= kind->bit;
        if (name.size() == list.size()) {
            return mask;
        }
        list.remove_prefix(name.size() + 1);
    }
}

std::optional<Failure> setTarget(StreamRequest& request, bool isBrox, const char* name) {
    if (!request.target.name.empty()) {
        return usage("one cache is read: --brox or --cache, once");
    }
    if (*name == '\0') {
        return usage(isBrox ? "--brox: the name is empty" : "--cache: the location is empty");
    }
    request.target = {isBrox, name};
    return std::nullopt;
}

/* Takes an option with its value. */
std::optional<Failure> setOption(StreamRequest& request, int letter, const char* value) {
    switch (letter) {
    case 'b':
    case 'c':
        return setTarget(request, letter == 'b', value);
    case 'i':
        if (const auto interval = parseInterval(value)) {
            request.intervalNs = *interval;
            return std::nullopt;
        }
        return usage("--interval: " + quoted(value) +
                     " is no time from 1ms to 24h, as 2, 0.5, 500ms or 1m, nor 0");
    case 'a':
        request.isAligned = true;
        return std::nullopt;
    case 'U':
        request.hasUsers = false;
        return std::nullopt;
    case 'n':
        if (const auto count = parseCount(value)) {
            request.count = *count;
            return std::nullopt;
        }
        return usage("--count: " + quoted(value) + " is not a number from 1 on");
    default: {
        const auto kinds = parseKinds(value);
        if (const auto* failure = std::get_if<Failure>(&kinds)) {
            return *failure;
        }
        request.kinds = std::get<uint32_t>(kinds);
        return std::nullopt;
    }
    }
}

std::string versionText() {
    return "tvsi-reader " + std::string(samples::releaseVersion()) + " for Talvex " +
           std::string(samples::serverVersion()) + "\n";
}

} // namespace

std::string Target::title() const {
    return (isBrox ? "cache of Brox " : "cache ") + samples::printable(name);
}

std::variant<StreamRequest, ListRequest, TextRequest, Failure> parseArguments(int argc,
                                                                              char** argv) {
    StreamRequest request;
    bool isList = false;
    bool hasOther = false;
    opterr = 0;
    /* Ends at the first word that is no option: there is none that would be taken. */
    constexpr const char* letters = "+:b:c:i:an:k:UlVh";
    for (;;) {
        const int at = optind;
        const int letter = getopt_long(argc, argv, letters, longOptions, nullptr);
        switch (letter) {
        case -1:
            if (optind < argc) {
                return usage("nothing is known of " + quoted(argv[optind]));
            }
            if (isList && hasOther) {
                return usage("--list lists every cache and takes no other option");
            }
            if (isList) {
                return ListRequest();
            }
            if (request.isAligned && request.intervalNs == 0) {
                return usage("--align needs an --interval");
            }
            if (request.target.name.empty()) {
                return usage("a cache is needed: --brox NAME or --cache LOCATION");
            }
            return request;
        case '?':
            return usage("there is no option " + quoted(argv[at]));
        case ':':
            return usage(samples::printable(argv[at]) + " needs a value");
        case 'h':
            return TextRequest{helpText};
        case 'V':
            return TextRequest{versionText()};
        case 'l':
            isList = true;
            break;
        default:
            hasOther = true;
            if (auto failure = setOption(request, letter, optarg)) {
                return std::move(*failure);
            }
        }
    }
}

} // namespace reader
