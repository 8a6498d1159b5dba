#include "configfile.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tvsistat {
namespace {

constexpr size_t maxBytes = 65536;

std::string pathOf() {
    const char* home = std::getenv("XDG_CONFIG_HOME");
    if (home != nullptr && *home == '/') {
        return std::string(home) + "/tvsistat/config";
    }
    home = std::getenv("HOME");
    return home != nullptr && *home == '/' ? std::string(home) + "/.config/tvsistat/config" : "";
}

/* Why a file is not to be trusted; empty when it is. */
std::string distrust(const struct stat& file) {
    if (!S_ISREG(file.st_mode)) {
        return "it is no regular file";
    }
    if (file.st_uid != geteuid()) {
        return "it belongs to another user";
    }
    if ((file.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return "others may write it (chmod go-w)";
    }
    return file.st_size > static_cast<off_t>(maxBytes) ? "it is larger than 64 KiB" : "";
}

/* The whole of an open file, up to one byte more than is allowed. */
std::string contentsOf(int file) {
    std::string text(maxBytes + 1, '\0');
    size_t length = 0;
    while (length < text.size()) {
        const ssize_t got = read(file, text.data() + length, text.size() - length);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        length += static_cast<size_t>(got);
    }
    text.resize(length);
    return text;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos
               ? ""
               : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/* One option of the file: "name", "name value", "name=value", also with the command line's "--". */
GivenOption parseLine(std::string_view line, const std::string& where, bool isInSet) {
    line.remove_prefix(line.starts_with("--") ? 2 : 0);
    const size_t end = std::min(line.find_first_of(" \t="), line.size());
    const std::string_view name = line.substr(0, end);
    std::string_view value = trimmed(line.substr(end));
    if (value.starts_with('=')) {
        value = trimmed(value.substr(1));
    }
    const OptionEntry* entry = optionNamed(name);
    if (entry == nullptr || entry->section == Section::Hidden) {
        throw UsageError{
            where + ": " +
            unknownOption("--" + std::string(name), isInSet ? Place::Set : Place::File)};
    }
    if (entry->place == Place::CommandLineOnly) {
        throw UsageError{where + ": " + std::string(name) + " has its place on the command line"};
    }
    if (entry->place == Place::Set && !isInSet) {
        throw UsageError{where + ": " + std::string(name) +
                         " has its place in a set: write [NAME] above it, and use it with --use "
                         "NAME"};
    }
    if (entry->argument.empty() != value.empty()) {
        throw UsageError{where + ": " + std::string(name) +
                         (value.empty() ? " needs an argument" : " takes no argument")};
    }
    return {entry->id, std::string(value), where + ": " + std::string(name)};
}

} // namespace

void parseConfiguration(std::string_view text, Configuration& configuration) {
    std::vector<GivenOption>* options = &configuration.options;
    for (int number = 1; !text.empty(); number++) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::string where = configuration.path + ", line " + std::to_string(number);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() != '[') {
            const bool isInSet = options != &configuration.options;
            options->push_back(parseLine(line, where, isInSet));
            continue;
        }
        const std::string_view name = trimmed(line.substr(1, line.size() - 2));
        if (line.back() != ']' || name.empty()) {
            throw UsageError{where + ": a set begins with [NAME]"};
        }
        options = &configuration.sets[std::string(name)];
    }
}

Configuration readConfiguration() {
    Configuration configuration;
    if (getauxval(AT_SECURE) != 0) {
        return configuration;
    }
    configuration.path = pathOf();
    if (configuration.path.empty()) {
        return configuration;
    }
    /* Without blocking: what stands in the file's place may be a pipe. */
    const int file = open(configuration.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            configuration.refusal = std::generic_category().message(errno);
        }
        return configuration;
    }
    struct stat status;
    configuration.refusal = fstat(file, &status) == 0 ? distrust(status) : "it can't be examined";
    const std::string text = configuration.refusal.empty() ? contentsOf(file) : "";
    close(file);
    parseConfiguration(text, configuration);
    return configuration;
}

} // namespace tvsistat
