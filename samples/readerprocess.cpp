#include "readerprocess.h"

#include "statscatalogue.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace samples {
namespace {

constexpr const char* programName = "tvsi-reader";

Failure failureOf(const char* what, int error) {
    return {ExitStatus::Failure, std::string("tvsi-reader can't be started: ") + what + ": " +
                                     std::generic_category().message(error)};
}

/* The directory of the running program, with a slash at its end; empty when it can't be told. */
std::string ownDirectory() {
    std::array<char, 4096> path;
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    if (length <= 0 || static_cast<size_t>(length) == path.size()) {
        return "";
    }
    const std::string file(path.data(), static_cast<size_t>(length));
    return file.substr(0, file.rfind('/') + 1);
}

/* What a child is started with; freed when it goes. */
struct SpawnSettings {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;

    SpawnSettings() {
        posix_spawn_file_actions_init(&files);
        posix_spawnattr_init(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
};

void direct(SpawnSettings& settings, int output, int errors) {
    auto* files = &settings.files;
    posix_spawn_file_actions_addopen(files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(files, output, STDOUT_FILENO);
    if (errors >= 0) {
        posix_spawn_file_actions_adddup2(files, errors, STDERR_FILENO);
    } else {
        posix_spawn_file_actions_addopen(files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    posix_spawn_file_actions_addclosefrom_np(files, STDERR_FILENO + 1);
}

void resetSignals(SpawnSettings& settings) {
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&settings.attributes, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&settings.attributes, &signals);
    posix_spawnattr_setflags(&settings.attributes,
                             static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
}

/* This process's environment, in the C locale: what a reader writes is for programs, and the
 * library in it would load the user's locale for it, which takes a quarter of the time that its
 * start takes.
 */
std::vector<char*> environmentOfReader() {
    static char locale[] = "LC_ALL=C";
    std::vector<char*> variables;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; variable++) {
        if (!std::string_view(*variable).starts_with("LC_ALL=")) {
            variables.push_back(*variable);
        }
    }
    variables.push_back(locale);
    variables.push_back(nullptr);
    return variables;
}

std::string secondsText(std::chrono::nanoseconds duration) {
    std::array<char, 40> text;
    const auto count = duration.count();
    std::snprintf(text.data(), text.size(), "%lld.%09lld",
                  static_cast<long long>(count / 1'000'000'000),
                  static_cast<long long>(count % 1'000'000'000));
    return text.data();
}

/* The kinds of a mask by name, with commas between them. */
std::string kindNames(uint32_t mask) {
    std::string names;
    for (const auto& kind : statscatalogue::kinds()) {
        if ((kind.bit & mask) != 0) {
            names += (names.empty() ? "" : ",") + std::string(kind.shortName);
        }
    }
    return names;
}

} // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
}

Descriptor::~Descriptor() {
    if (number >= 0) {
        close(number);
    }
}

std::string readerProgram() {
    for (const std::string& directory : {ownDirectory(), std::string(TVSI_READER_DIRECTORY "/")}) {
        std::string file = directory + programName;
        if (!directory.empty() && access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return "";
}

std::variant<ReaderProcess, Failure> ReaderProcess::start(const ReaderOptions& options) {
    std::vector<std::string> arguments{(options.isBrox ? "--brox=" : "--cache=") + options.cache,
                                       "--interval=" + secondsText(options.interval)};
    if (options.isAligned) {
        arguments.emplace_back("--align");
    }
    if (options.count != 0) {
        arguments.push_back("--count=" + std::to_string(options.count));
    }
    if (options.kinds != SHRPC_ALL) {
        arguments.push_back("--kinds=" + kindNames(options.kinds));
    }
    if (!options.hasUsers) {
        arguments.emplace_back("--no-users");
    }
    return start(arguments, -1);
}

std::variant<ReaderProcess, Failure> ReaderProcess::start(const std::vector<std::string>& arguments,
                                                          int errors) {
    const std::string program = readerProgram();
    if (program.empty()) {
        return Failure{ExitStatus::Failure,
                       std::string("tvsi-reader is missing: it belongs into ") +
                           TVSI_READER_DIRECTORY};
    }
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return failureOf("pipe", errno);
    }
    Descriptor readEnd(ends[0]);
    const Descriptor writeEnd(ends[1]);
    fcntl(readEnd.get(), F_SETFL, O_NONBLOCK);

    /* Must not be one of the standard streams, which become others in the child. */
    const Descriptor ownErrors(errors >= 0 ? fcntl(errors, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                                           : -1);
    SpawnSettings settings;
    direct(settings, writeEnd.get(), ownErrors.get());
    resetSignals(settings);
    std::vector<std::string> words(arguments);
    words.insert(words.begin(), programName);
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, program.c_str(), &settings.files, &settings.attributes,
                                  argv.data(), environmentOfReader().data());
    if (error != 0) {
        return failureOf(program.c_str(), error);
    }
    return ReaderProcess(pid, std::move(readEnd));
}

ReaderProcess::ReaderProcess(ReaderProcess&& other) noexcept
    : child(std::exchange(other.child, -1)), end(other.end), output(std::move(other.output)) {}

ReaderProcess& ReaderProcess::operator=(ReaderProcess&& other) noexcept {
    std::swap(child, other.child);
    std::swap(end, other.end);
    std::swap(output, other.output);
    return *this;
}

ReaderProcess::~ReaderProcess() {
    endNow();
}

void ReaderProcess::kill() {
    if (child > 0 && !reap()) {
        ::kill(child, SIGKILL);
    }
}

/* A killed process ends within a moment unless the kernel holds it, which nobody can help. */
void ReaderProcess::endNow() {
    kill();
    if (child <= 0 || reap()) {
        return;
    }
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    for (int i = 0; i < 1000 && !reap(); i++) {
        pollfd ended{process.get(), POLLIN, 0}; /* without a descriptor, the time that it takes */
        poll(&ended, 1, 1);
    }
}

std::optional<int> ReaderProcess::reap() {
    if (child <= 0 || end) {
        return end;
    }
    int status = 0;
    const pid_t result = waitpid(child, &status, WNOHANG);
    if (result == child) {
        end = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    } else if (result == -1 && errno == ECHILD) {
        end = static_cast<int>(ExitStatus::Failure); /* somebody else took its end */
    }
    return end;
}

} // namespace samples
