#include "attachfailure.h"

#include "printable.h"
#include "registrylookup.h"
#include "segmentfacts.h"
#include "tvsi.h"

#include <cerrno>
#include <dirent.h>
#include <system_error>
#include <unistd.h>

namespace reader {

using samples::printable;

namespace {

Failure noPermission(const std::string& sentence) {
    return {ExitStatus::NoPermission, sentence};
}

Failure noRightToRead(const std::string& what, const std::string& file) {
    return noPermission("no right to read " + what + " " + printable(file) +
                        ": run as the server's user or as a member of its group");
}

Failure explainHostId(const std::string& title) {
    const std::string file = registryDirectory() + "talvex.hostid";
    const int error = readRefusal(file);
    if (error == EACCES) {
        return noRightToRead("the host id", file);
    }
    return {ExitStatus::Failure,
            title + " cannot be named: the host id file " + printable(file) +
                (error != 0 ? " cannot be read (" + std::generic_category().message(error) + ")"
                            : std::string(" is damaged")) +
                "; the server writes it when it starts"};
}

Failure wrongVersion(const std::string& title, const std::string& recordedVersion) {
    const std::string of =
        recordedVersion.empty() ? "" : " (its monitor records " + printable(recordedVersion) + ")";
    return {ExitStatus::WrongVersion, title + " belongs to another version of Talvex" + of +
                                          ": use the programs of the server's own installation"};
}

/* The library's text as one line that a terminal can show. */
std::string oneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const bool isBlank = c == '\n' || c == ' ';
        if (!isBlank) {
            samples::appendPrintable(line, {&c, 1});
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    while (!line.empty() && (line.back() == ' ' || line.back() == '.')) {
        line.pop_back();
    }
    return line;
}

/* Whether the library's text ends with a system call that failed with this error. */
bool hasFailedWith(std::string_view text, std::string_view errorName) {
    const size_t at = text.rfind(" failed with ");
    return at != std::string_view::npos && text.find(errorName, at) != std::string_view::npos;
}

/* The registry has no file of that location. */
Failure explainNoRecord(const Target& target, const std::string& location) {
    if (auto failure = explainNoRegistry()) {
        return *failure;
    }
    const bool isLocation = location.find('~') != std::string::npos;
    if (!isLocation && !scanMonitorsOf(location).running.empty()) {
        return {ExitStatus::NoCache, "there is no cache " + printable(location) +
                                         ", but one of such a Brox: did you mean --brox " +
                                         printable(location) + "?"};
    }
    return {ExitStatus::NoCache,
            "there is no " + target.title() + " on this host: " + whereSearched() +
                (isLocation ? "" : "; a location looks like prod~1f2e, see tvsi-reader --list")};
}

/* The record is another process's. */
Failure explainOtherKind(const std::string& location, const RegistryFile& found) {
    const std::string name = printable(location);
    if (found.record.kind == NI_BROX || found.record.kind == NI_SERVICE_BROX) {
        return {ExitStatus::NoCache, "there is no cache " + name +
                                         ", but a Brox of that name: did "
                                         "you mean --brox " +
                                         name + "?"};
    }
    return {ExitStatus::NoCache, "there is no cache " + name +
                                     ": that is a process of another kind "
                                     "(" +
                                     found.process() + ")"};
}

std::string logHint(const RegistryFile& found) {
    const char* log = found.record.logName();
    return *log == '\0' ? "" : "; its log is " + printable(log);
}

/* There is no segment with the key that the monitor has recorded. */
Failure explainNoSegment(const std::string& title, const RegistryFile& found) {
    if (!sharesIpcNamespace(found.record.processId)) {
        return {ExitStatus::NoCache,
                title + " is out of sight: its monitor (" + found.process() +
                    ") runs in another IPC namespace (a container); run this program there"};
    }
    return {ExitStatus::NoCache,
            title + " is not running: its memory segment is gone, though its monitor (" +
                found.process() + ") is there" + logHint(found)};
}

/* The monitor runs and has recorded a key, but its segment wasn't accepted. */
Failure explainSegment(const std::string& title, const RegistryFile& found, int status,
                       std::string_view libraryText) {
    const auto segment = segmentWithKey(found.record.ftok_key);
    if (hasFailedWith(libraryText, "EACCES") || hasFailedWith(libraryText, "EPERM")) {
        return noPermission("no permission to attach the memory segment of " + title +
                            (segment ? ": " + rightsNeeded(*segment)
                                     : ": run as the server's user or as a member of its group"));
    }
    if (hasFailedWith(libraryText, "ENOENT") || hasFailedWith(libraryText, "EIDRM")) {
        return explainNoSegment(title, found);
    }
    if (libraryText.starts_with("[ERROR]: Time out")) {
        return {ExitStatus::Failure, title +
                                         " did not finish its start within 2 seconds: try "
                                         "again, or see whether its monitor (" +
                                         found.process() + ") has died" + logHint(found)};
    }
    if (segment && segment->creator != found.record.processId) {
        return {ExitStatus::Failure,
                title +
                    " cannot be attached: the memory segment with the recorded key was made by "
                    "process " +
                    std::to_string(segment->creator) + ", not by its monitor (" + found.process() +
                    "): it is another program's"};
    }
    if (status == TVSI_ERR_CACHE_WRONG_VERSION) {
        return wrongVersion(title, found.record.version);
    }
    return {ExitStatus::Failure,
            title + " cannot be attached: " +
                (libraryText.empty() ? "its memory segment is not laid out as this version expects"
                                     : oneLine(libraryText))};
}

} // namespace

std::optional<Failure> explainNoRegistry() {
    const std::string directory = registryDirectory();
    DIR* opened = opendir(directory.c_str());
    const int error = errno;
    if (opened != nullptr) {
        closedir(opened);
        /* Its files can't be opened without the right to pass through. */
        return access(directory.c_str(), X_OK) == 0
                   ? std::nullopt
                   : std::optional(noRightToRead("files in the registry directory", directory));
    }
    if (error == EACCES) {
        return noRightToRead("the registry directory", directory);
    }
    return Failure{ExitStatus::NoCache, "no server has run on this host: " + whereSearched() +
                                            ", but: " + std::generic_category().message(error)};
}

Failure explainNoCacheOfBrox(const Target& target) {
    if (auto failure = explainNoRegistry()) {
        return *failure;
    }
    const std::string title = target.title();
    const RegistryFile found(target.name);
    if (found.isUsable()) {
        return explainHostId(title); /* all else that the location is made of is there */
    }
    const MonitorScan scan = scanMonitorsOf(target.name);
    if (found.isRefused() || !scan.refusedFile.empty()) {
        return noRightToRead("the registry file",
                             found.isRefused() ? found.file : scan.refusedFile);
    }
    if (!scan.version.empty()) {
        return wrongVersion(title, scan.version);
    }
    if (found.result == NIRES_STALE || scan.endedPid != 0) {
        const bool isBrox = found.result == NIRES_STALE;
        const int32_t pid = isBrox ? found.record.processId : scan.endedPid;
        return {ExitStatus::NoCache, title + " is not running: its " +
                                         (isBrox ? "Brox" : "monitor") + " (process " +
                                         std::to_string(pid) + ") has ended" + pidNamespaceHint()};
    }
    const std::string_view name = target.name;
    const size_t mark = name.rfind('!');
    const bool isLocation =
        name.find('~', mark == std::string_view::npos ? 0 : mark) != std::string_view::npos;
    return {ExitStatus::NoCache, "there is no " + title + " on this host: " + whereSearched() +
                                     (isLocation ? "; did you mean --cache?" : "")};
}

Failure explainAttach(const Target& target, const std::string& location, int status,
                      std::string_view libraryText) {
    const std::string title = target.title();
    if (status == TVSI_ERR_WATCHER_THREAD_FAILED) {
        return {ExitStatus::Failure, title + " cannot be watched: the library's thread could not "
                                             "be started; is a limit reached (ulimit -u)?"};
    }
    if (target.isBrox && RegistryFile(target.name).isOfMonitor()) {
        return {ExitStatus::NoCache, "there is no " + title +
                                         ", but a cache with that location: did you mean --cache " +
                                         printable(target.name) + "?"};
    }
    const RegistryFile found(location);
    switch (found.result) {
    case NIRES_DOESNOTEXIST:
        return explainNoRecord(target, location);
    case NIRES_STALE:
        return {ExitStatus::NoCache, title + " is not running: its monitor (" + found.process() +
                                         ") has ended" + pidNamespaceHint()};
    case NIRES_ZEROSIZE:
        return {ExitStatus::Failure, title + " cannot be attached: its registry file " +
                                         printable(found.file) +
                                         " is empty; its monitor may just be starting"};
    case NIRES_OK:
    case NIRES_EXE_DEL:
        break;
    default:
        return found.isRefused() ? noRightToRead("the registry file", found.file)
                                 : Failure{ExitStatus::Failure,
                                           title + " cannot be attached: " + oneLine(libraryText)};
    }
    if (found.record.kind != NI_SHRPCMON) {
        return explainOtherKind(location, found);
    }
    if (found.record.ftok_key == 0 || found.record.ftok_key == -1) {
        return {ExitStatus::Failure, title + " cannot be attached: its monitor (" +
                                         found.process() +
                                         ") has recorded no memory segment (key " +
                                         std::to_string(found.record.ftok_key) +
                                         "): it is starting, or has failed to" + logHint(found)};
    }
    return explainSegment(title, found, status, libraryText);
}

} // namespace reader
