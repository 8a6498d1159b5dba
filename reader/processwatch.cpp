#include "processwatch.h"

#include "processfacts.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace reader {

using samples::ProcessFacts;
using samples::ProcessState;

namespace {

constexpr size_t maxLookUps = 100; /* of others than monitor and Brox, in a round */
/* For /proc, the registry and whatever else needs one for a moment. */
constexpr size_t spareDescriptors = 64;

size_t raisedDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 0;
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    const rlim_t now = setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
    return now > spareDescriptors ? static_cast<size_t>(now) - spareDescriptors : 0;
}

int64_t millisecondsNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
}

/* A number that two records share when they are the same process's, and hardly otherwise. */
uint64_t identityOf(const TvsiResultSType& record) {
    constexpr uint64_t factor = 0x9E3779B97F4A7C15;
    uint64_t words[3] = {record.statType, static_cast<uint32_t>(record.stats.sessionId), 0};
    std::memcpy(&words[2], record.olvName, sizeof words[2]);
    uint64_t mixed = 0;
    for (const uint64_t word : words) {
        mixed = (mixed ^ word) * factor;
        mixed ^= mixed >> 29;
    }
    return mixed;
}

bool hasEnded(const ProcessFacts& facts) {
    return facts.state == ProcessState::Zombie || facts.state == ProcessState::Ended;
}

/* The process of the descriptor has ended, with all its threads. */
bool isOver(int fd) {
    pollfd end{fd, POLLIN, 0};
    return poll(&end, 1, 0) == 1;
}

bool isMonitorOrBrox(const TvsiResultSType& record) {
    return record.statType == SHRPC_MONITOR || record.statType == SHRPC_BROX;
}

} // namespace

ProcessWatch::ProcessWatch() : ProcessWatch(raisedDescriptorLimit()) {}

ProcessWatch::ProcessWatch(size_t descriptorLimit)
    : poller(epoll_create1(EPOLL_CLOEXEC)), maxDescriptors(poller >= 0 ? descriptorLimit : 0) {}

ProcessWatch::~ProcessWatch() {
    for (auto& [pid, process] : processes) {
        forget(process);
    }
    if (poller >= 0) {
        close(poller);
    }
}

void ProcessWatch::update(std::span<const TvsiResultSType> records) {
    round++;
    numMet = 0;
    noticeEnds();
    owners.resize(records.size());
    for (size_t i = 0; i < records.size(); i++) {
        owners[i] = &meet(records[i]);
    }
    for (size_t i = 0; i < records.size(); i++) {
        Process& process = *owners[i];
        const pid_t pid = records[i].stats.processId;
        if (process.identity != process.identityNow) {
            if (hasEnded(process.facts) && process.lookedUp != round) {
                renew(pid, process);
            }
            process.identity = process.identityNow;
        }
        if (isMonitorOrBrox(records[i])) {
            lookUp(pid, process);
        }
    }
    lookUpSome(records);
    dropUnmet();
}

/* The owner of a record, who is asked at the first of its records. */
ProcessWatch::Process& ProcessWatch::meet(const TvsiResultSType& record) {
    const pid_t pid = record.stats.processId;
    if (pid <= 0) {
        return nobody;
    }
    const auto [found, isNew] = processes.try_emplace(pid);
    Process& process = found->second;
    const uint64_t identity = identityOf(record);
    if (isNew) {
        begin(pid, process);
    }
    if (process.met == round) {
        process.identityNow += identity;
        return process;
    }
    process.met = round;
    process.identityNow = identity;
    numMet++;
    ask(pid, process);
    return process;
}

/* Learns all about a process that was not known, or not with this id. */
void ProcessWatch::begin(pid_t pid, Process& process) {
    forget(process);
    process.lookedUp = round;
    watch(pid, process);
    process.facts = readFacts(pid).value_or(ProcessFacts{ProcessState::Alive});
    if (process.facts.state == ProcessState::Zombie && process.fd >= 0 && !isOver(process.fd)) {
        process.facts.state = ProcessState::Alive; /* only its first thread has ended */
    }
    ask(pid, process);
}

/* One that has ended has other records now: so its id is another process's, or some of what it has
 * left behind has been cleared away. */
void ProcessWatch::renew(pid_t pid, Process& process) {
    const ProcessFacts before = process.facts;
    begin(pid, process);
    if (process.facts.state == ProcessState::Ended) {
        process.facts = before;
        process.facts.state = ProcessState::Ended;
    }
}

void ProcessWatch::watch(pid_t pid, Process& process) {
    if (descriptors >= maxDescriptors) {
        return;
    }
    const auto fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0) {
        return;
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = &process;
    if (epoll_ctl(poller, EPOLL_CTL_ADD, fd, &event) != 0) {
        close(fd);
        return;
    }
    process.fd = fd;
    descriptors++;
}

void ProcessWatch::forget(Process& process) {
    if (process.fd >= 0) {
        close(process.fd); /* which takes it out of the poller, too */
        process.fd = -1;
        descriptors--;
    }
}

/* Asks all descriptors at once. Each end is told once; ask() follows a zombie further. */
void ProcessWatch::noticeEnds() {
    std::array<epoll_event, 64> events;
    int count = 0;
    do {
        count = maxDescriptors > 0 ? epoll_wait(poller, events.data(), events.size(), 0) : 0;
        for (int i = 0; i < count; i++) {
            auto& process = *static_cast<Process*>(events[static_cast<size_t>(i)].data.ptr);
            epoll_ctl(poller, EPOLL_CTL_DEL, process.fd, nullptr);
            process.facts.state = ProcessState::Zombie;
        }
    } while (count == static_cast<int>(events.size()));
}

/* Whether the process is still there, where nobody tells. */
void ProcessWatch::ask(pid_t pid, Process& process) const {
    ProcessState& state = process.facts.state;
    if (process.fd >= 0 && state != ProcessState::Zombie) {
        return;
    }
    if (state == ProcessState::Ended) {
        return;
    }
    const long answer =
        process.fd >= 0 ? syscall(SYS_pidfd_send_signal, process.fd, 0, nullptr, 0) : kill(pid, 0);
    if (answer != 0 && errno == ESRCH) {
        state = ProcessState::Ended;
    }
}

/* Whether it is stopped; without a descriptor also whether it is a zombie, or another process. */
void ProcessWatch::lookUp(pid_t pid, Process& process) const {
    if (pid <= 0 || process.lookedUp == round || hasEnded(process.facts)) {
        return;
    }
    process.lookedUp = round;
    const auto now = readFacts(pid);
    if (!now) {
        return;
    }
    if (process.facts.startedNs == 0) {
        process.facts = *now;
    } else if (now->startedNs != process.facts.startedNs) {
        process.facts.state = ProcessState::Ended; /* its id is another process's by now */
    } else if (process.fd < 0 || now->state != ProcessState::Zombie) {
        process.facts.state = now->state; /* else only its first thread has ended */
    }
}

/* Looks up others, so that each comes to its turn; at most one for each millisecond since the last
 * time, so that who samples fast doesn't pay for it. */
void ProcessWatch::lookUpSome(std::span<const TvsiResultSType> records) {
    const int64_t now = millisecondsNow();
    const int64_t passed = lastUpdateMs < 0 ? 0 : now - lastUpdateMs;
    lastUpdateMs = now;
    size_t left = std::min(static_cast<size_t>(std::max<int64_t>(passed, 0)), maxLookUps);
    for (size_t seen = 0; seen < records.size() && left > 0; seen++) {
        turn = turn + 1 < records.size() ? turn + 1 : 0;
        Process& process = *owners[turn];
        const uint64_t before = process.lookedUp;
        lookUp(records[turn].stats.processId, process);
        left -= process.lookedUp != before ? 1 : 0;
    }
}

void ProcessWatch::dropUnmet() {
    if (numMet == processes.size()) {
        return;
    }
    for (auto at = processes.begin(); at != processes.end();) {
        if (at->second.met == round) {
            ++at;
        } else {
            forget(at->second);
            at = processes.erase(at);
        }
    }
}

} // namespace reader
