#include "process.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "require.h"

namespace testsupport {

static double nanosecondsOf(const timeval& time) {
    return 1e9 * static_cast<double>(time.tv_sec) + 1e3 * static_cast<double>(time.tv_usec);
}

Usage usageOf(const rusage& used) {
    return {nanosecondsOf(used.ru_utime) + nanosecondsOf(used.ru_stime),
            static_cast<double>(used.ru_minflt + used.ru_majflt),
            static_cast<double>(used.ru_nvcsw + used.ru_nivcsw)};
}

/* Files in memory: unlike pipes they never fill up, and their end doesn't depend on who has them.
 */
ChildProcess::ChildProcess(const std::function<void()>& body)
    : out_(memfd_create("output", MFD_CLOEXEC)), err_(memfd_create("errors", MFD_CLOEXEC)) {
    std::fflush(nullptr);
    pid_ = fork();
    requireCall(pid_ != -1, "fork");
    if (pid_ == 0) {
        live(body);
    }
}

void ChildProcess::live(const std::function<void()>& body) const {
    int status = 0;
    try {
        requireCall(dup2(out_, STDOUT_FILENO) != -1 && dup2(err_, STDERR_FILENO) != -1, "dup2");
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        status = 2;
    }
    std::exit(status);
}

ChildProcess::~ChildProcess() {
    send(SIGKILL);
    wait();
    close(out_);
    close(err_);
}

void ChildProcess::send(int signal) const {
    if (end_ == -99) {
        kill(pid_, signal);
    }
}

int ChildProcess::wait(int seconds) {
    pollfd ended{static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)), POLLIN, 0};
    int status = 0;
    rusage used{};
    if (end_ == -99 && poll(&ended, 1, seconds * 1000) == 1 &&
        wait4(pid_, &status, 0, &used) == pid_) {
        end_ = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
        usage_ = usageOf(used);
    }
    close(ended.fd);
    return end_;
}

std::string ChildProcess::contents(int file) {
    struct stat status {};
    fstat(file, &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    text.resize(static_cast<std::size_t>(pread(file, text.data(), text.size(), 0)));
    return text;
}

Outcome inChild(const std::function<void()>& body, int seconds) {
    const auto start = std::chrono::steady_clock::now();
    ChildProcess child(body);
    const bool timedOut = child.wait(seconds) == -99;
    const std::chrono::duration<double, std::nano> wall = std::chrono::steady_clock::now() - start;
    kill(-child.pid(), SIGKILL);
    const int end = child.wait();
    return {std::max(end, -1), std::max(-end, 0), timedOut,     child.out(),
            child.err(),       wall.count(),      child.usage()};
}

Outcome run(const std::vector<std::string>& command, const Environment& environment, int seconds) {
    Environment variables = environment;
    for (const char* name : {"PATH", "LD_LIBRARY_PATH", "ASAN_OPTIONS", "LSAN_OPTIONS",
                             "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        if (const char* value = std::getenv(name)) {
            variables.emplace(name, value);
        }
    }
    const auto program = [&] {
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        clearenv();
        execute(command, variables);
    };
    return inChild(program, seconds);
}

void execute(std::vector<std::string> command, const Environment& environment) {
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

} // namespace testsupport
