#include "commandline.h"

#include "printable.h"
#include "suggestion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <climits>
#include <span>
#include <string_view>

namespace tvsistat {
namespace {

constexpr size_t numOptions = static_cast<size_t>(OptionId::OptionTable) + 1;

std::string namesFor(const OptionEntry& entry) {
    std::string names;
    if (entry.letter != 0) {
        names += '-';
        names += entry.letter;
        names += ',';
    }
    names += "--";
    names += entry.name;
    return names;
}

std::string longName(const OptionEntry& entry) {
    return "--" + std::string(entry.name);
}

/* Whether a word may have an option in it. What nobody can mean isn't declared: CLI11 compares each
 * option with all others, which would be a tenth of a report's time. */
bool mayMean(std::string_view word, const OptionEntry& entry) {
    return word.starts_with("--") ? word.substr(2, word.find('=') - 2) == entry.name
                                  : word.starts_with('-') && entry.letter != 0 &&
                                        word.find(entry.letter) != std::string_view::npos;
}

/* CLI11's text for a wrong option, as one line. */
std::string sentenceOf(const CLI::ParseError& error) {
    std::string sentence = error.what();
    std::ranges::replace(sentence, '\n', ' ');
    return sentence;
}

} // namespace

bool CommandLine::has(OptionId id) const {
    return std::ranges::find(options, id, &GivenOption::id) != options.end();
}

std::string unknownOption(std::string_view name, Place place) {
    std::vector<std::string_view> names;
    for (const OptionEntry& entry : optionTable()) {
        if (entry.section != Section::Hidden && entry.place >= place) {
            names.push_back(entry.name);
        }
    }
    const bool isLong = name.starts_with("--");
    const std::string_view bare = name.substr(isLong ? 2 : 0);
    const std::string_view closest =
        isLong ? closestName(bare.substr(0, bare.find('=')), names) : "";
    std::string sentence = "there is no option '" + samples::printable(name) + "'";
    if (!closest.empty()) {
        sentence += "; did you mean '--" + std::string(closest) + "'?";
    }
    return sentence;
}

CommandLine parseWords(int argc, const char* const* argv) {
    CommandLine line;
    CLI::App app("", "tvsistat");
    app.set_help_flag();
    app.allow_extras();
    std::array<CLI::Option*, numOptions> declared{};
    const auto accept = [](const CLI::results_t&) { return true; };
    CLI::Option* words = app.add_option("words", accept);
    words->expected(0, INT_MAX)
        ->allow_extra_args()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    const std::span given(argv, static_cast<size_t>(argc));
    for (const OptionEntry& entry : optionTable()) {
        if (std::ranges::none_of(given, [&](const char* word) { return mayMean(word, entry); })) {
            continue;
        }
        CLI::Option* option = app.add_option(namesFor(entry), accept, "", false);
        option->type_size(entry.argument.empty() ? 0 : 1)
            ->expected(entry.argument.empty() ? 0 : 1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        declared[static_cast<size_t>(entry.id)] = option;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ArgumentMismatch& error) {
        /* "--color: ..." */
        const std::string_view text = error.what();
        const OptionEntry* entry = optionNamed(text.substr(0, text.find(':')).substr(2));
        throw UsageError{entry == nullptr ? sentenceOf(error)
                                          : longName(*entry) + " needs an argument: " +
                                                std::string(entry->argument)};
    } catch (const CLI::ParseError& error) {
        throw UsageError{sentenceOf(error)};
    }
    for (const std::string& unknown : app.remaining()) {
        if (unknown != "--") {
            throw UsageError{unknownOption(unknown)};
        }
    }
    std::array<size_t, numOptions> taken{}; /* of each option's values */
    for (const CLI::Option* option : app.parse_order()) {
        if (option == words) {
            continue;
        }
        const auto position =
            static_cast<size_t>(std::ranges::find(declared, option) - declared.begin());
        const OptionEntry& entry = optionTable()[position];
        std::string value = option->results().at(taken[position]++);
        if (entry.argument.empty()) {
            if (value != "true") {
                throw UsageError{longName(entry) + " takes no argument"};
            }
            value.clear();
        }
        line.options.push_back({entry.id, std::move(value), longName(entry)});
    }
    line.words = words->results();
    return line;
}

} // namespace tvsistat
