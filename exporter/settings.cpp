#include "settings.h"

#include "printable.h"
#include "statscatalogue.h"
#include "versions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <optional>

namespace exporter {
namespace {

using samples::ExitStatus;
using samples::Failure;
using By = Target::By;

/* What is wrong with an argument: thrown by whoever finds it. */
struct UsageError {
    std::string sentence;
};

std::string inQuotes(std::string_view text) {
    return "'" + samples::printable(text) + "'";
}

/* "5", "0.5", "500ms", "1m", "5s", "1h". */
std::chrono::nanoseconds intervalOf(const std::string& text) {
    constexpr std::array<std::pair<std::string_view, double>, 5> units{
        {{"", 1}, {"s", 1}, {"ms", 1e-3}, {"m", 60}, {"h", 3600}}};
    constexpr double shortest = 0.1;
    constexpr double longest = 3600;
    double number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    const std::string_view rest(end, static_cast<size_t>(text.data() + text.size() - end));
    const auto* unit = std::ranges::find(units, rest, &std::pair<std::string_view, double>::first);
    const double seconds = unit == units.end() ? 0 : number * unit->second;
    if (error != std::errc() || !(seconds >= shortest && seconds <= longest)) {
        throw UsageError{"--interval: " + inQuotes(text) +
                         " is no time from 100ms to 1h, as 5, 0.5, 500ms or 1m"};
    }
    return std::chrono::nanoseconds(std::llround(seconds * 1e9));
}

uint32_t kindsOf(std::string_view list) {
    uint32_t mask = 0;
    for (;;) {
        const std::string_view name = list.substr(0, list.find(','));
        const auto* kind = statscatalogue::kindNamed(name);
        if (kind == nullptr || (kind->bit & SHRPC_ALL) == 0) {
            std::string known;
            for (const auto& other : statscatalogue::kinds()) {
                known += known.empty() ? "" : ", ";
                known += other.shortName.view();
            }
            throw UsageError{"--kinds: there is no kind " + inQuotes(name) + "; there are " +
                             known};
        }
        mask |= kind->bit;
        if (name.size() == list.size()) {
            return mask;
        }
        list.remove_prefix(name.size() + 1);
    }
}

Target targetOf(By by, const std::string& name) {
    if (name.empty()) {
        throw UsageError{by == By::Brox ? "--brox: the name is empty"
                                        : "--cache: the location is empty"};
    }
    return {by, name};
}

Target socketOf(const std::string& text) {
    constexpr std::string_view front = "unix:";
    if (!text.starts_with(front) || text.size() == front.size()) {
        throw UsageError{"--reader: " + inQuotes(text) + " is no socket, as unix:/run/tvsi/prod"};
    }
    return {By::Socket, text.substr(front.size())};
}

samples::NamePattern nameOf(const std::string& text) {
    std::string problem;
    auto pattern = samples::NamePattern::expression(text, false, problem);
    if (!problem.empty()) {
        throw UsageError{"--name: " + inQuotes(text) + " is no regular expression: " + problem};
    }
    return pattern;
}

size_t countOf(const std::string& text) {
    size_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error == std::errc::result_out_of_range) {
        throw UsageError{"--max-series: " + inQuotes(text) + " is too large a number"};
    }
    if (error != std::errc() || end != text.data() + text.size()) {
        throw UsageError{"--max-series: " + inQuotes(text) + " is no whole number, as 20000"};
    }
    return count;
}

/* An IPv6 address loses its brackets. */
std::string hostOf(const std::string& text) {
    constexpr std::string_view letters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
    constexpr std::string_view digits = "0123456789abcdefABCDEF:.";
    const bool isBracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
    std::string name = isBracketed ? text.substr(1, text.size() - 2) : text;
    if (name.empty() ||
        name.find_first_not_of(isBracketed ? digits : letters) != std::string::npos) {
        throw UsageError{"--host: " + inQuotes(text) +
                         " is no name of a host without a port, as db1.example.org or [fd00::1]"};
    }
    return name;
}

/* One that matches nothing is a mistake. */
SeriesChoice::Pattern patternOf(const std::string& text, bool isIncluded) {
    const samples::FigurePattern pattern(text);
    const auto matchesIn = [&](const statscatalogue::Kind& kind) {
        const auto figures = samples::figuresOf(kind, {});
        return std::ranges::any_of(
            figures, [&](const samples::Figure& figure) { return pattern.matches(figure); });
    };
    if (std::ranges::none_of(statscatalogue::kinds(), matchesIn)) {
        throw UsageError{std::string(isIncluded ? "--include: " : "--exclude: ") +
                         "no field matches " + inQuotes(text) + "; tvsi-stats(7) has their names"};
    }
    return {pattern, isIncluded};
}

/* The options, each with what it does to the settings, in the order in which they are given. */
class CommandLine {
public:
    explicit CommandLine(Settings& wanted) : settings(wanted) {
        app.set_help_flag("--help", "Print this help and exit");
        app.set_version_flag("-V,--version", versionText(), "Print the version and exit");
        add("--brox", "NAME", "The cache that serves this Brox; may be repeated",
            [this](const auto& text) { take(targetOf(By::Brox, text)); });
        add("--cache", "LOCATION", "The cache with this location, as prod~1f2e; may be repeated",
            [this](const auto& text) { take(targetOf(By::Location, text)); });
        add("--reader", "unix:PATH",
            "The cache whose sample stream comes from this socket; may be repeated",
            [this](const auto& text) { take(socketOf(text)); });
        addFlag("--all",
                "Every cache of this host that comes and goes; the default without the "
                "three above",
                [this] { settings.collector.takesAll = true; });
        add("--interval", "TIME", "From one sample to the next: 5, 0.5, 500ms, 1m (default 5s)",
            [this](const auto& text) { settings.collector.interval = intervalOf(text); });
        add("--listen", "ADDR:PORT",
            "Where scrapes come to (default " + settings.listen.text() + ")",
            [this](const auto& text) { takeAddress(text); });
        addFlag("--allow-remote", "Also listen where other hosts reach it",
                [this] { settings.allowsRemote = true; });
        addFlag("--per-process", "Also series of each process",
                [this] { settings.series.isPerProcess = true; });
        add("--kinds", "KIND,...", "Statistics of these kinds of processes only",
            [this](const auto& text) { settings.series.processes.kinds = kindsOf(text); });
        add("--name", "RE",
            "With --per-process: those whose name matches this POSIX extended regular expression "
            "somewhere; may be repeated",
            [this](const auto& text) { settings.series.processes.names.push_back(nameOf(text)); });
        add("--include", "GLOB",
            "Only fields that match, as 'commit*' or 'vok.time*'; of several --include and "
            "--exclude the last match holds",
            [this](const auto& text) {
                settings.series.patterns.push_back(patternOf(text, true));
            });
        add("--exclude", "GLOB", "No fields that match", [this](const auto& text) {
            settings.series.patterns.push_back(patternOf(text, false));
        });
        addFlag("--session-stats", "Also the statistics that applications define",
                [this] { settings.series.hasApplications = true; });
        addFlag("--web-page", "Also a page for browsers, at /; samples every second unless told",
                [this] { settings.page.isOn = true; });
        add("--host", "NAME",
            "With --web-page: also serve the page by this name of the host; may be repeated",
            [this](const auto& text) { settings.page.hosts.push_back(hostOf(text)); });
        add("--recording", "PATH",
            "With --web-page: a recording of tvsistat, which gives the charts their past",
            [this](const auto& text) {
                if (text.empty()) {
                    throw UsageError{"--recording: the path is empty"};
                }
                settings.page.recording = text;
            });
        add("--max-series", "N",
            "Leave out series of processes when there are more than N (default " +
                std::to_string(settings.series.maxSeries) + ")",
            [this](const auto& text) { settings.series.maxSeries = countOf(text); });
    }

    /* Throws CLI::ParseError and UsageError. */
    void parse(int argc, char** argv) {
        app.allow_extras();
        app.parse(argc, argv);
        for (const std::string& word : app.remaining()) {
            if (word != "--") {
                throw UsageError{word.starts_with('-')
                                     ? "there is no option " + inQuotes(word)
                                     : "nothing is known of " + inQuotes(word) +
                                           ": --brox and --cache name a cache, --reader its "
                                           "socket"};
            }
        }
        std::vector<size_t> taken(actions.size());
        for (const CLI::Option* option : app.parse_order()) {
            const auto at = std::ranges::find(actions, option, &Action::option);
            if (at != actions.end()) {
                at->apply(option->results().at(taken[static_cast<size_t>(at - actions.begin())]++));
            }
        }
        if (settings.collector.targets.empty()) {
            settings.collector.takesAll = true;
        }
        finishPage();
    }
    std::string help() const { return app.help(); }
    /* What to say of an option that has no argument although it needs one. */
    std::string sentenceOfMissing(std::string_view name) const {
        const std::string option(name);
        return option + " needs an argument: " + app.get_option(option)->get_type_name();
    }

private:
    struct Action {
        CLI::Option* option;
        std::function<void(const std::string&)> apply;
    };

    static std::string versionText() {
        return "tvsi-exporter " + std::string(samples::releaseVersion()) + " for Talvex " +
               std::string(samples::serverVersion());
    }
    void add(const std::string& name, const std::string& argument, const std::string& sentence,
             std::function<void(const std::string&)> apply) {
        const auto accept = [](const CLI::results_t&) { return true; };
        CLI::Option* option = app.add_option(name, accept, sentence, false);
        option->type_name(argument)->type_size(1)->expected(1)->multi_option_policy(
            CLI::MultiOptionPolicy::TakeAll);
        actions.push_back({option, std::move(apply)});
    }
    void addFlag(const std::string& name, const std::string& sentence,
                 std::function<void()> apply) {
        const auto act = [name, apply = std::move(apply)](const std::string& value) {
            if (value != "true") { /* "--all=x" */
                throw UsageError{name + " takes no argument"};
            }
            apply();
        };
        actions.push_back({app.add_flag(name, sentence), act});
    }
    void finishPage() {
        PageSettings& page = settings.page;
        if (!settings.series.isPerProcess && app.count("--name") > 0) {
            throw UsageError{"--name is for --per-process"};
        }
        if (!page.isOn && !page.hosts.empty()) {
            throw UsageError{"--host is for --web-page"};
        }
        if (!page.isOn && app.count("--recording") > 0) {
            throw UsageError{"--recording is for --web-page"};
        }
        page.hosts.push_back(settings.listen.host);
        settings.collector.keepsSamples = page.isOn;
        if (page.isOn && app.count("--interval") == 0) {
            settings.collector.interval = std::chrono::seconds(1);
        }
    }
    void take(Target target) {
        auto& targets = settings.collector.targets;
        if (std::ranges::find(targets, target) == targets.end()) {
            targets.push_back(std::move(target));
        }
    }
    void takeAddress(const std::string& text) {
        auto address = parseListenAddress(text);
        if (!address) {
            throw UsageError{"--listen: " + inQuotes(text) +
                             " is no address with a port from 1 to 65535, as 127.0.0.1:9964 or "
                             "[::1]:9964"};
        }
        settings.listen = std::move(*address);
    }

    Settings& settings;
    CLI::App app{"Serves live statistics of Talvex shared page caches to Prometheus.",
                 "tvsi-exporter"};
    std::vector<Action> actions;
};

} // namespace

std::variant<Settings, TextRequest, Failure> settingsFrom(int argc, char** argv) {
    Settings settings;
    CommandLine line(settings);
    const auto usage = [](std::string sentence) {
        std::ranges::replace(sentence, '\n', ' ');
        return Failure{ExitStatus::Usage, std::move(sentence) + " (see tvsi-exporter --help)"};
    };
    try {
        line.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return TextRequest{line.help()};
    } catch (const CLI::CallForVersion& version) {
        return TextRequest{std::string(version.what()) + "\n"};
    } catch (const CLI::ArgumentMismatch& error) {
        /* "--listen: ..." */
        const std::string_view text = error.what();
        return usage(line.sentenceOfMissing(text.substr(0, text.find(':'))));
    } catch (const CLI::ParseError& error) {
        return usage(error.what());
    } catch (const UsageError& error) {
        return usage(error.sentence);
    }
    return settings;
}

} // namespace exporter
