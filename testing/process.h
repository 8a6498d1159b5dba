/* Processes of a test or benchmark: a part of it that needs a process of its own, or a program.
   Their output is captured, what they take is measured and every wait is bounded. */
#ifndef TESTING_PROCESS_H
#define TESTING_PROCESS_H

#include <csignal>
#include <functional>
#include <map>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace testsupport {

using Environment = std::map<std::string, std::string>;

/* What a process has taken. */
struct Usage {
    double cpuNs = 0; /* of processor time */
    double pageFaults = 0;
    double contextSwitches = 0;
};

Usage usageOf(const rusage& used);

/* Runs `body` in a process that leads a process group; it is killed when the object goes. One in
   which `body` throws ends with status 2 and the text of the std::exception on standard error. */
class ChildProcess {
public:
    explicit ChildProcess(const std::function<void()>& body);
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    pid_t pid() const { return pid_; }
    std::string out() const { return contents(out_); }
    std::string err() const { return contents(err_); }
    void send(int signal) const; /* nothing when it has been waited for */
    /* The exit status, or minus the signal that ended it; -99 when it didn't end in time. */
    int wait(int seconds = 30);
    /* What it has taken, once it has ended, with those whose ends it has taken. */
    const Usage& usage() const { return usage_; }

private:
    static std::string contents(int file);
    [[noreturn]] void live(const std::function<void()>& body) const;

    int out_, err_;
    pid_t pid_;
    int end_ = -99;
    Usage usage_;
};

struct Outcome {
    int status = -1; /* exit status; -1 when a signal ended the process */
    int signal = 0;  /* the signal that ended it, or 0 */
    bool timedOut = false;
    std::string out, err;
    double wallNs = 0; /* from the fork to the end */
    Usage used;        /* likewise */
};

/* Runs `body`, whose return is exit(0); at the end, or after `seconds`, its group is killed. */
Outcome inChild(const std::function<void()>& body, int seconds = 20);

/* Runs a program with an empty standard input; its environment is `environment` with this process's
   PATH, LD_LIBRARY_PATH and sanitizer options. Exit status 127: it could not be started. */
Outcome run(const std::vector<std::string>& command, const Environment& environment = {},
            int seconds = 20);

/* Turns into a program, with `environment` added to its own. */
[[noreturn]] void execute(std::vector<std::string> command, const Environment& environment);

} // namespace testsupport

#endif
