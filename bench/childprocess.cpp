#include "childprocess.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "comparison.h"

namespace bench {
namespace {

void require(bool succeeded, const char* what, int error = errno) {
    if (!succeeded) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

/* Reaps the child, which must have ended with exit status 0. */
rusage reap(pid_t child, const std::string& name) {
    int status = 0;
    rusage usage{};
    require(wait4(child, &status, 0, &usage) == child, "wait4");
    if (status != 0) {
        throw std::runtime_error(name + " ended with wait status " + std::to_string(status));
    }
    return usage;
}

double nanosecondsOf(const timeval& time) {
    return 1e9 * static_cast<double>(time.tv_sec) + 1e3 * static_cast<double>(time.tv_usec);
}

/* The exit status of a forked process whose numbers go into the pipe. */
int sendNumbers(const std::function<std::vector<double>()>& body, int pipeEnd) {
    try {
        const std::vector<double> numbers = body();
        const std::size_t size = numbers.size() * sizeof(double);
        return write(pipeEnd, numbers.data(), size) == static_cast<ssize_t>(size) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

} // namespace

std::vector<double> numbersFromFork(const std::function<std::vector<double>()>& body) {
    std::array<int, 2> ends{};
    require(pipe(ends.data()) == 0, "pipe");
    const pid_t child = fork();
    require(child != -1, "fork");
    if (child == 0) {
        _exit(sendNumbers(body, ends[1])); /* and never on into the parent's benchmarks */
    }
    close(ends[1]);
    std::array<double, 32> numbers{};
    const ssize_t size = read(ends[0], numbers.data(), sizeof numbers);
    close(ends[0]);
    reap(child, "a forked process");
    return {numbers.begin(), numbers.begin() + size / static_cast<ssize_t>(sizeof(double))};
}

ProcessCost runProgram(const std::vector<std::string>& command, const std::string& outputFile) {
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputFile.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t child = -1;
    const auto start = Clock::now();
    const int error =
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    require(error == 0, arguments[0], error);
    const rusage usage = reap(child, command[0]);
    return {nanoseconds(Clock::now() - start),
            nanosecondsOf(usage.ru_utime) + nanosecondsOf(usage.ru_stime)};
}

} // namespace bench
