/*
 * The user's configuration file: an option a line, and named sets of options.
 *
 *    # comment
 *    unit timeWaitingForCommit=ms
 *    label sessionStats[3]=orders
 *    [commits]
 *    kind vok
 *    fields commitCount,abortCount
 */
#ifndef CONFIGFILE_H
#define CONFIGFILE_H

#include "commandline.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tvsistat {

struct Configuration {
    std::string path;                 /* empty: no environment variable names one */
    std::vector<GivenOption> options; /* before the first set */
    std::map<std::string, std::vector<GivenOption>> sets; /* by name */
    std::string refusal; /* why the file was not read, though there is one; empty when it was */
};

/* Reads tvsistat/config in $XDG_CONFIG_HOME, or in ~/.config. It is left alone when the process
 * runs with raised privileges, when another user owns it, or when others may write it. Throws
 * UsageError for a line that is wrong. */
Configuration readConfiguration();

/* The lines of a file; `path` is for sentences. Throws UsageError. */
void parseConfiguration(std::string_view text, Configuration& configuration);

} // namespace tvsistat

#endif
