/* The states of processes, as the kernel changes them. */
#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <linux/sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "processfacts.h"
#include "processstate.h"
#include "processwatch.h"
#include "runningprogram.h"

namespace {

using reader::ProcessWatch;
using samples::ProcessFacts;
using samples::ProcessState;
using testsupport::eventually;

TvsiResultSType record(pid_t pid, std::uint32_t kind = SHRPC_VOK, int session = 1) {
    TvsiResultSType result{};
    result.stats.processId = pid;
    result.stats.sessionId = session;
    result.statType = kind;
    std::strcpy(result.olvName, "Vok");
    return result;
}

char stateLetter(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    return line.at(line.rfind(')') + 2);
}

/* A process that waits; `pid` chooses its id, where the system lets a process do so. */
class Sleeper {
public:
    explicit Sleeper(pid_t pid = 0) {
        clone_args arguments{};
        arguments.exit_signal = SIGCHLD;
        if (pid != 0) {
            arguments.set_tid = reinterpret_cast<std::uintptr_t>(&pid);
            arguments.set_tid_size = 1;
        }
        pid_ = static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments));
        if (pid_ == 0) {
            for (;;) {
                pause();
            }
        }
    }
    Sleeper& operator=(Sleeper&&) = delete;
    ~Sleeper() {
        send(SIGKILL);
        reap();
    }
    pid_t pid() const { return pid_; }
    void send(int signal) const {
        if (pid_ > 0 && !reaped_) {
            kill(pid_, signal);
        }
    }
    void reap() {
        if (pid_ > 0 && !reaped_) {
            waitpid(pid_, nullptr, 0);
        }
        reaped_ = true;
    }

private:
    pid_t pid_;
    bool reaped_ = false;
};

/* With descriptors, and without any. */
class Watch : public testing::TestWithParam<std::size_t> {
protected:
    /* Looks until the state has come about: what is looked up in turn takes some rounds. */
    void expectState(ProcessState state) {
        EXPECT_TRUE(eventually([&] {
            watch.update(records);
            return watch.facts(0).state == state;
        })) << nameOf(state)
            << " expected, " << nameOf(watch.facts(0).state);
    }

    std::vector<TvsiResultSType> records;
    ProcessWatch watch{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(All, Watch, testing::Values(100, 1, 0));

TEST_P(Watch, FollowsAProcessToItsEnd) {
    Sleeper sleeper;
    records = {record(sleeper.pid()), record(getpid()), record(0), record(INT_MAX),
               record(sleeper.pid(), SHRPC_VokThr)};
    watch.update(records);
    const ProcessFacts first = watch.facts(0);
    EXPECT_EQ(first, reader::readFacts(sleeper.pid()));
    EXPECT_EQ(first.uid, geteuid());
    EXPECT_NEAR(static_cast<double>(first.startedNs) / 1e9, static_cast<double>(time(nullptr)), 60);
    EXPECT_EQ(watch.facts(1).state, ProcessState::Alive);
    EXPECT_EQ(watch.facts(2), ProcessFacts()) << "a record without a process";
    EXPECT_EQ(watch.facts(3), (ProcessFacts{ProcessState::Ended, 0, samples::unknownUser}));
    EXPECT_EQ(watch.numProcesses(), 3U);
    EXPECT_EQ(watch.numDescriptors(), std::min<std::size_t>(GetParam(), 2));

    sleeper.send(SIGSTOP);
    expectState(ProcessState::Stopped);
    sleeper.send(SIGCONT);
    expectState(ProcessState::Alive);
    sleeper.send(SIGKILL);
    expectState(ProcessState::Zombie);
    sleeper.reap();
    expectState(ProcessState::Ended);
    EXPECT_EQ(watch.facts(0).startedNs, first.startedNs) << "what was known stays";
    EXPECT_EQ(watch.facts(4), watch.facts(0)) << "two records of one process";
    records[0].stats.sessionId++;
    expectState(ProcessState::Ended);
    EXPECT_EQ(watch.facts(0).startedNs, first.startedNs);

    records = {record(getpid())};
    watch.update(records);
    EXPECT_EQ(watch.numProcesses(), 1U);
    EXPECT_LE(watch.numDescriptors(), 1U) << "who has no record is forgotten";
}

TEST_P(Watch, TheMonitorAndTheBroxAreLookedUpEachTime) {
    for (const std::uint32_t kind : {SHRPC_MONITOR, SHRPC_BROX}) {
        Sleeper sleeper;
        records = {record(sleeper.pid(), kind)};
        watch.update(records);
        sleeper.send(SIGSTOP);
        ASSERT_TRUE(eventually(
            [&] { return reader::readFacts(sleeper.pid())->state == ProcessState::Stopped; }));
        watch.update(records);
        EXPECT_EQ(watch.facts(0).state, ProcessState::Stopped);
    }
}

TEST_P(Watch, AProcessWhoseFirstThreadHasEndedLivesOn) {
    testsupport::ChildProcess process([] {
        std::thread([] { pause(); }).detach();
        syscall(SYS_exit, 0);
    });
    ASSERT_TRUE(eventually([&] { return stateLetter(process.pid()) == 'Z'; }));
    EXPECT_EQ(reader::readFacts(process.pid())->state, ProcessState::Alive);
    records = {record(process.pid())};
    for (int i = 0; i < 50; i++) {
        records[0].statType = i < 25 ? SHRPC_VOK : SHRPC_BROX;
        watch.update(records);
        ASSERT_EQ(watch.facts(0).state, ProcessState::Alive) << i;
        usleep(1000);
    }
    process.send(SIGKILL);
    expectState(ProcessState::Zombie);
}

TEST_P(Watch, ATableFullOfBroxesCostsNoMoreThanAHundred) {
    std::vector<std::unique_ptr<Sleeper>> sleepers;
    for (int i = 0; i < 120; i++) {
        records.push_back(
            record(sleepers.emplace_back(std::make_unique<Sleeper>())->pid(), SHRPC_BROX));
    }
    const auto before = testsupport::processState().descriptors;
    for (int i = 0; i < 3; i++) {
        watch.update(records);
        std::rotate(records.begin(), records.begin() + 40, records.end());
    }
    EXPECT_EQ(testsupport::processState().descriptors - before, GetParam() + 100);
    sleepers[119]->send(SIGSTOP);
    EXPECT_TRUE(eventually([&] {
        watch.update(records);
        bool hasStopped = false;
        for (std::size_t i = 0; i < 120; i++) {
            hasStopped = hasStopped || watch.facts(i).state == ProcessState::Stopped;
        }
        return hasStopped;
    })) << "the others are looked up in turn";
}

TEST_P(Watch, AnIdThatIsUsedAgainIsNoticed) {
    for (const auto lastSeen : {ProcessState::Alive, ProcessState::Zombie, ProcessState::Ended}) {
        auto first = std::make_unique<Sleeper>();
        const pid_t pid = first->pid();
        records = {record(pid)};
        if (lastSeen == ProcessState::Ended) {
            first.reset(); /* before it is seen at all */
        }
        watch.update(records);
        const std::int64_t started = watch.facts(0).startedNs;
        if (lastSeen == ProcessState::Zombie) {
            first->send(SIGKILL);
            expectState(ProcessState::Zombie);
        }
        first.reset();
        usleep(30000); /* starts are told apart by hundredths of a second */
        const Sleeper second(pid);
        if (second.pid() != pid) {
            GTEST_SKIP() << "this user may not choose the id of a process";
        }
        for (int i = 0; i < 30; i++) { /* it comes to its turn */
            watch.update(records);
            usleep(1000);
        }
        EXPECT_EQ(watch.facts(0).state, ProcessState::Ended) << nameOf(lastSeen);
        EXPECT_EQ(watch.facts(0).startedNs, started) << "the record is still the first one's";
        records = {record(pid, SHRPC_VOK, 2)};
        watch.update(records);
        EXPECT_EQ(watch.facts(0).state, ProcessState::Alive) << "a new session with an old id";
        EXPECT_GT(watch.facts(0).startedNs, started);
        records.clear();
        watch.update(records);
    }
}

} // namespace
