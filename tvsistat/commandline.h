/* The words of the command line, taken apart by the option table. */
#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include "optiontable.h"

#include <string>
#include <vector>

namespace tvsistat {

/* What is wrong with an argument: thrown by whoever finds it, caught by requestFrom. */
struct UsageError {
    std::string sentence;
};

/* An option that was given, in the order in which it was. */
struct GivenOption {
    OptionId id;
    std::string value; /* empty for a flag */
    std::string where; /* for sentences: "--kind", "~/.config/tvsistat/config, line 3" */
};

struct CommandLine {
    std::vector<GivenOption> options;
    std::vector<std::string> words; /* that are no options */

    bool has(OptionId id) const;
};

/* Throws UsageError. */
CommandLine parseWords(int argc, const char* const* argv);

/* "there is no option '--knd'; did you mean '--kind'?", of those that may stand in this place. */
std::string unknownOption(std::string_view name, Place place = Place::CommandLineOnly);

} // namespace tvsistat

#endif
