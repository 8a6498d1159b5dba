/*
 * The states of the processes that the records of a sample belong to, at little cost: what doesn't
 * change is read once, when a process first shows up. Its end is told by a descriptor that refers
 * to this very process, whoever has its id later; all of these are asked in one system call. Where
 * descriptors run out, signal 0 tells. Whether it is stopped only /proc tells: the cache monitor
 * and the Brox are looked up each time (a hundred of them at most), of the others some in turn.
 *
 *   (first record) --> Alive <--> Stopped         Zombie --> Ended
 *                        |           |               ^         ^
 *                        +-----------+---------------+---------+
 *
 * A process that has ended stays so for as long as the records with its id stay who they are: a
 * record is left behind by a process that was killed. Other records mean a new process with the
 * old id. For one thread.
 */
#ifndef PROCESSWATCH_H
#define PROCESSWATCH_H

#include "processfacts.h"

#include <span>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

namespace reader {

class ProcessWatch {
public:
    /* As many processes as this are watched by a descriptor; the others are asked one by one.
     * `looksUpUsers`: else all users stay unknown, which saves a sixth of the first look. */
    explicit ProcessWatch(size_t descriptorsWanted, bool looksUpUsers = true);
    /* How many descriptors there may be. Raises this process's limit as far as it may. */
    static size_t descriptorLimit();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;
    ~ProcessWatch();

    /* Learns what is new about the owners of these records, which a sample has just found. */
    void update(std::span<const TvsiResultSType> records);
    /* Of the owner of the record with this place among those of the last update. */
    const samples::ProcessFacts& facts(size_t place) const { return owners[place]->facts; }

    /* Processes whose end is told by a descriptor, by signal 0. */
    size_t numDescriptors() const { return descriptors; }
    size_t numProcesses() const { return processes.size(); }

private:
    struct Process {
        pid_t pid = 0;
        int fd = -1; /* refers to the process; -1: none */
        samples::ProcessFacts facts;
        uint64_t met = 0;      /* round in which a record was last its */
        uint64_t lookedUp = 0; /* round in which /proc was last asked */
        uint64_t identity = 0; /* of its records, in the round before */
        uint64_t identityNow = 0;
        StateFile stateFile; /* of the monitor and the Brox */
    };

    Process& processOf(pid_t pid, Process* formerOwner);
    void meet(Process& process, const TvsiResultSType& record);
    void settle(Process& process, const TvsiResultSType& record);
    void begin(std::span<Process* const> unknown);
    void readAll(std::span<Process* const> unknown) const;
    void renew(Process& process);
    void watch(Process& process);
    void forget(Process& process);
    void noticeEnds();
    static void ask(Process& process);
    void lookUp(Process& process, bool isAgain) const;
    void lookUpEachTime(Process& process);
    void lookUpSome();
    void dropUnmet();

    const bool users;
    int poller; /* epoll descriptor of all of them; -1: there is none */
    size_t maxDescriptors;
    size_t descriptors = 0;
    size_t stateFiles = 0;   /* open ones */
    size_t filesRefused = 0; /* in this round */
    std::unordered_map<pid_t, Process> processes;
    std::vector<Process*> owners; /* by place of the record */
    std::vector<Process*> fresh;  /* met for the first time in this round */
    Process nobody;               /* owns records without a process id */
    uint64_t round = 0;
    size_t numMet = 0;
    size_t turn = 0;            /* the place after which others are looked up next */
    int64_t lookUpsSinceMs = 0; /* they have been paid for up to this moment, monotonic */
};

} // namespace reader

#endif
