#include "servicehistory.h"

#include "printable.h"
#include "recordingtimeline.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <system_error>

namespace tvsistat {
namespace {

using samples::ExitStatus;
using samples::Failure;

constexpr const char* directoryOfService = "/var/lib/tvsi";

std::string serviceDirectory() {
    const char* named = secure_getenv("TVSI_HISTORY_DIR");
    return named != nullptr && *named != 0 ? named : directoryOfService;
}

Failure cannotRead(const std::string& directory, int error) {
    return {error == EACCES ? ExitStatus::NoPermission : ExitStatus::Failure,
            fmt::format("{} cannot be read: {}{}", samples::printable(directory),
                        std::generic_category().message(error),
                        error == EACCES ? ": whoever is in its group may" : "")};
}

/* Everything below the service's directory that has recordings. */
std::variant<std::vector<std::string>, Failure> everyHistory(const std::string& parent) {
    std::vector<std::string> directories;
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(parent.c_str()), closedir);
    if (listing == nullptr && errno != ENOENT) {
        return cannotRead(parent, errno);
    }
    std::optional<Failure> unreadable; /* the first one */
    while (const dirent* entry = listing ? readdir(listing.get()) : nullptr) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const std::string path = parent + "/" + entry->d_name;
        const auto files = samples::recordingFiles(path);
        if (files && !files->empty()) {
            directories.push_back(path);
        } else if (!files && errno != ENOENT && errno != ENOTDIR && !unreadable) {
            unreadable = cannotRead(path, errno);
        }
    }
    std::ranges::sort(directories);
    if (directories.empty() && unreadable) {
        return *unreadable;
    }
    if (directories.empty()) {
        return Failure{ExitStatus::NoCache,
                       fmt::format("nothing is recorded in {}: the service "
                                   "tvsi-recorder@NAME.service records the Brox NAME",
                                   samples::printable(parent))};
    }
    return directories;
}

} // namespace

std::string instanceName(std::string_view name) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string instance;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isWord = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                            (c >= 'a' && c <= 'z') || c == ':' || c == '_' ||
                            (c == '.' && !instance.empty());
        if (c == '/') {
            instance += '-';
        } else if (isWord) {
            instance += c;
        } else {
            instance += "\\x";
            instance += digits[byte >> 4];
            instance += digits[byte & 15];
        }
    }
    return instance;
}

std::variant<std::vector<std::string>, Failure> serviceHistory(const Request& request) {
    const std::string parent = serviceDirectory();
    if (request.targets.empty() || request.takesAll) {
        return everyHistory(parent);
    }
    std::vector<std::string> directories;
    for (const Target& target : request.targets) {
        const std::string brox =
            target.isBrox ? target.name : target.name.substr(0, target.name.rfind('~'));
        const std::string instance = instanceName(brox);
        std::string path = parent;
        path += '/';
        path += instance;
        const auto files = samples::recordingFiles(path);
        if (!files && errno != ENOENT) {
            return cannotRead(path, errno);
        }
        if (!files || files->empty()) {
            return Failure{ExitStatus::NoCache,
                           fmt::format("nothing is recorded of {}: {} {}; the service "
                                       "tvsi-recorder@{}.service records it",
                                       target.title(), samples::printable(path),
                                       files ? "has no recording" : "is not there",
                                       samples::printable(instance))};
        }
        if (std::ranges::find(directories, path) == directories.end()) {
            directories.push_back(std::move(path));
        }
    }
    return directories;
}

} // namespace tvsistat
