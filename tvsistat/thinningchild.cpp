#include "thinningchild.h"

#include "printable.h"
#include "thinning.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tvsistat {
namespace {

constexpr int64_t hourNs = 3'600'000'000'000;
constexpr int lowestPriority = 19;

/* In the child: nothing of this program's but its executable. */
[[noreturn]] void become(char* const* words) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const sched_param ordinary{}; /* a recorder may have the priority of real time */
    sched_setscheduler(0, SCHED_BATCH, &ordinary);
    setpriority(PRIO_PROCESS, 0, lowestPriority);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nowhere, standard);
    }
    execv("/proc/self/exe", words);
    _exit(127);
}

} // namespace

ThinningChild::ThinningChild(std::string rules, std::string directory)
    : thinning(std::move(rules)), path(std::move(directory)) {}

ThinningChild::~ThinningChild() {
    if (child < 0) {
        return;
    }
    kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    samples::removeUnfinishedThinning(path);
}

void ThinningChild::start() {
    std::string name = "tvsistat";
    std::string option = "--thin=" + thinning;
    std::string end = "--";
    std::string directory = path;
    const std::array<char*, 5> words{name.data(), option.data(), end.data(), directory.data(),
                                     nullptr};
    child = fork();
    if (child == 0) {
        become(words.data());
    }
}

std::string ThinningChild::advance(int64_t realNs) {
    if (thinning.empty()) {
        return "";
    }
    std::string problem;
    int status = 0;
    if (child > 0 && waitpid(child, &status, WNOHANG) != 0) {
        child = -1;
        if (status != 0 && status != lastStatus) {
            problem = samples::printable(path) + " could not be thinned: tvsistat --thin " +
                      thinning + " on it says why";
        }
        lastStatus = status;
    }
    if (child < 0 && realNs / hourNs != hour) {
        hour = realNs / hourNs;
        start();
    }
    return problem;
}

} // namespace tvsistat
