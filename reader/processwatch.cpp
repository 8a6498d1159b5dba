#include "processwatch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace reader {

using samples::ProcessFacts;
using samples::ProcessState;

namespace {

/* Others than monitor and Brox are looked up at most so many in a round, and so often in all. */
constexpr int64_t maxLookUps = 100;
constexpr int64_t msPerLookUp = 10;
/* A cache has one monitor and few Broxes; a table that claims to hold thousands costs no more. */
constexpr size_t maxStateFiles = 100;
/* As many take four milliseconds to look up. A thread takes some of what it saves: two of them get
 * in each other's way in the kernel. */
constexpr size_t worthAThread = 500;
/* For /proc, the registry and whatever else needs one for a moment. */
constexpr size_t spareDescriptors = 64;

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

bool isMonitorOrBrox(const TvsiResultSType& record) {
    return record.statType == SHRPC_MONITOR || record.statType == SHRPC_BROX;
}

} // namespace

size_t ProcessWatch::descriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 0;
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    const rlim_t now = setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
    return now > spareDescriptors ? static_cast<size_t>(now) - spareDescriptors : 0;
}

ProcessWatch::ProcessWatch(size_t descriptorsWanted, bool looksUpUsers)
    : users(looksUpUsers), poller(descriptorsWanted > 0 ? epoll_create1(EPOLL_CLOEXEC) : -1),
      maxDescriptors(poller >= 0 ? descriptorsWanted : 0) {}

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
    filesRefused = 0;
    noticeEnds();
    owners.resize(records.size(), nullptr);
    fresh.clear();
    for (size_t i = 0; i < records.size(); i++) {
        owners[i] = &processOf(records[i].stats.processId, owners[i]);
    }
    begin(fresh);
    for (size_t i = 0; i < records.size(); i++) {
        meet(*owners[i], records[i]);
    }
    for (size_t i = 0; i < records.size(); i++) {
        settle(*owners[i], records[i]);
    }
    lookUpSome();
    dropUnmet();
}

/* The owner of a record. It mostly is the one of the record that had this place before. */
ProcessWatch::Process& ProcessWatch::processOf(pid_t pid, Process* formerOwner) {
    if (formerOwner != nullptr && formerOwner->pid == pid) {
        return *formerOwner;
    }
    if (pid <= 0) {
        return nobody;
    }
    const auto [found, isNew] = processes.try_emplace(pid);
    Process& process = found->second;
    if (isNew) {
        process.pid = pid;
        fresh.push_back(&process);
    }
    return process;
}

/* The process is asked at the first of its records. */
void ProcessWatch::meet(Process& process, const TvsiResultSType& record) {
    const uint64_t identity = identityOf(record);
    if (process.met == round) {
        process.identityNow += identity;
        return;
    }
    process.met = round;
    process.identityNow = identity;
    if (process.pid > 0) {
        numMet++;
        if (process.lookedUp != round) {
            ask(process);
        }
    }
}

/* All records of the round have been met. */
void ProcessWatch::settle(Process& process, const TvsiResultSType& record) {
    if (process.identity != process.identityNow) {
        if (hasEnded(process.facts) && process.lookedUp != round) {
            renew(process);
        }
        process.identity = process.identityNow;
    }
    if (isMonitorOrBrox(record)) {
        lookUpEachTime(process);
    }
}

/* Learns all about processes that were not known, or not with this id. */
void ProcessWatch::begin(std::span<Process* const> unknown) {
    for (Process* process : unknown) {
        forget(*process);
        process->lookedUp = round;
        watch(*process);
    }
    readAll(unknown);
    for (Process* process : unknown) {
        if (process->facts.state == ProcessState::Unknown) { /* /proc doesn't show it */
            process->facts = {ProcessState::Alive};
            ask(*process);
        }
    }
}

/* The first look at a large server is most of what one sample takes: a second thread takes a half
 * of it where there is another processor. */
void ProcessWatch::readAll(std::span<Process* const> unknown) const {
    const auto read = [this](std::span<Process* const> part) {
        for (Process* process : part) {
            process->facts = readFacts(process->pid, users).value_or(ProcessFacts());
        }
    };
    std::thread helper;
    if (unknown.size() >= worthAThread && std::thread::hardware_concurrency() > 1) {
        const auto half = unknown.first(unknown.size() / 2);
        try {
            helper = std::thread(read, half);
            unknown = unknown.subspan(half.size());
        } catch (const std::system_error&) { /* then it takes a little longer */
        }
    }
    read(unknown);
    if (helper.joinable()) {
        helper.join();
    }
}

/* One that has ended has other records now: so its id is another process's, or some of what it has
 * left behind has been cleared away. */
void ProcessWatch::renew(Process& process) {
    const ProcessFacts before = process.facts;
    Process* const alone = &process;
    begin({&alone, 1});
    if (process.facts.state == ProcessState::Ended) {
        process.facts = before;
        process.facts.state = ProcessState::Ended;
    }
}

void ProcessWatch::watch(Process& process) {
    if (descriptors >= maxDescriptors) {
        return;
    }
    const auto fd = static_cast<int>(syscall(SYS_pidfd_open, process.pid, 0));
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
    if (process.stateFile.isOpen()) {
        process.stateFile.close();
        stateFiles--;
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
void ProcessWatch::ask(Process& process) {
    ProcessState& state = process.facts.state;
    const bool isTold = process.fd >= 0 && state != ProcessState::Zombie;
    if (isTold || state == ProcessState::Ended) {
        return;
    }
    const long answer = process.fd >= 0 ? syscall(SYS_pidfd_send_signal, process.fd, 0, nullptr, 0)
                                        : kill(process.pid, 0);
    if (answer != 0 && errno == ESRCH) {
        state = ProcessState::Ended;
    }
}

/* Whether it is stopped; without a descriptor also whether it is a zombie, or another process.
 * `isAgain`: it will be looked up in each round. */
void ProcessWatch::lookUp(Process& process, bool isAgain) const {
    const bool isTold = process.fd >= 0 || process.facts.state != ProcessState::Zombie;
    if (process.pid <= 0 || process.lookedUp == round || (isTold && hasEnded(process.facts))) {
        return;
    }
    process.lookedUp = round;
    if (isAgain && !process.stateFile.isOpen()) {
        process.stateFile.open(process.pid);
    }
    ProcessFacts& facts = process.facts;
    const auto now = process.stateFile.isOpen()
                         ? process.stateFile.read()
                         : readFacts(process.pid, users && facts.startedNs == 0);
    if (!now) {
        const bool isGone = process.stateFile.isOpen() && errno == ESRCH;
        facts.state = isGone ? ProcessState::Ended : facts.state;
        return;
    }
    if (facts.startedNs == 0) {
        facts = *now;
    } else if (now->startedNs != facts.startedNs) {
        facts.state = ProcessState::Ended; /* its id is another process's by now */
    } else {
        facts.state = now->state;
    }
}

/* As many as may have a file; the others come in their turn. */
void ProcessWatch::lookUpEachTime(Process& process) {
    if (process.stateFile.isOpen()) {
        lookUp(process, true);
    } else if (stateFiles + filesRefused < maxStateFiles) {
        lookUp(process, true);
        (process.stateFile.isOpen() ? stateFiles : filesRefused)++;
    }
}

/* Looks up others, so that each comes to its turn within some seconds, however often samples are
 * taken. */
void ProcessWatch::lookUpSome() {
    const int64_t now = millisecondsNow();
    if (round == 1) {
        lookUpsSinceMs = now;
    }
    const int64_t wanted = std::min((now - lookUpsSinceMs) / msPerLookUp, maxLookUps);
    lookUpsSinceMs = std::max(lookUpsSinceMs + wanted * msPerLookUp, now - msPerLookUp);
    size_t left = owners.size();
    for (int64_t done = 0; done < wanted && left > 0; left--) {
        turn = turn + 1 < owners.size() ? turn + 1 : 0;
        Process& process = *owners[turn];
        const uint64_t before = process.lookedUp;
        lookUp(process, false);
        done += process.lookedUp != before ? 1 : 0;
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
