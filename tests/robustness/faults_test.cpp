/* Every call into the C library fails once: the documented status and text, and nothing is left. */
#include <atomic>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netdb.h>
#include <poll.h>
#include <set>
#include <sys/stat.h>
#include <thread>

#include "attachcall.h"
#include "basetypes.h"
#include "faults.h"
#include "netinfolocal.h"
#include "process.h"
#include "processstate.h"
#include "queries.h"
#include "require.h"
#include "runningprogram.h"
#include "testcache.h"

using namespace testsupport;
using testing::HasSubstr;

namespace {

/* How often other threads than the first have slept: the watcher. */
std::atomic<int> watcherSleeps;

/* In its scope no sleep takes more than a few milliseconds, and no name server is asked. */
struct ShortWaits {
    ScopedOverride<decltype(poll)> shortPoll{"poll", [](auto* fds, auto count, int timeout) {
                                                 watcherSleeps += getpid() != gettid();
                                                 return poll(fds, count, std::min(timeout, 2));
                                             }};
    ScopedOverride<decltype(nanosleep)> noSleep{"nanosleep", [](auto*, auto*) { return 0; }};
    ScopedOverride<decltype(getaddrinfo)> ownAddress{
        "getaddrinfo", [](auto*, auto* service, auto* hints, auto** results) {
            return getaddrinfo("127.0.0.1", service, hints, results);
        }};
};

/* A call that is to fail once. */
struct FailingCall {
    CallsOf calls;
    std::string function;
    int nth, error;

    bool isWatchers() const { return calls == CallsOf::otherThreads; }
    /* A broken invariant: the library ends the process. */
    bool endsProcess() const {
        return function.starts_with("pthread_mutex") || function.ends_with("rlimit") ||
               function == "sigaction";
    }
    /* The watcher finds no monitor. */
    bool endsCache() const { return isWatchers() && function == "kill" && error != EPERM; }
};

/* In a child: the call that fails, as long as one is to fail, and whether it has. */
/* Not destroyed with the process: a thread may still ask it while another one ends the process. */
ScopedFault* armed;
int hits;

void countHits() {
    if (armed) {
        hits = armed->hits();
    }
}

void disarm() {
    countHits();
    delete armed;
    armed = nullptr;
}

/* A whole life of an attachment: all functions of the interface, with statuses that fit. */
void useInterface(const TestCache& cache, const FailingCall& failing) {
    const std::size_t attachmentsBefore = attachments(cache.segment().id());
    const Answer attached = attachForBrox(cache.broxName());
    const bool isAttached = attached.status == TVSI_SUCCESS;
    const std::set<int> documented = {TVSI_SUCCESS, TVSI_ERR_CACHE_ATTACH_FAILED,
                                      TVSI_ERR_WATCHER_THREAD_FAILED, TVSI_ERR_CACHE_NOT_FOUND};
    require(documented.contains(attached.status) && attached.text.empty() == isAttached,
            "attach answers " + testing::PrintToString(attached));
    /* What was only interrupted is made again, and nothing else is worth an attach. */
    const std::set<std::string> decisive = {"kill",   "open",    "opendir", "pthread_create",
                                            "read",   "readdir", "shmat",   "shmctl",
                                            "shmget", "stat64",  "strdup"};
    require(isAttached || (decisive.contains(failing.function) && failing.error != EINTR),
            "the attach gives up");
    bool isAlive = isAttached;
    if (failing.isWatchers()) {
        eventually([] { return armed->hits() != 0 || watcherSleeps >= 4; });
        isAlive = armed->hits() == 0 || !failing.endsCache();
        require(isAlive || eventually([&] {
                    return attachments(cache.segment().id()) == attachmentsBefore;
                }),
                "the watcher does not detach");
    }
    for (int i = 0; i < queryCount; ++i) {
        const int status = anyQuery(i);
        const int dead =
            isAttached && i == 0 ? TVSI_ERR_CACHE_CONNECTION_SEVERED : TVSI_ERR_CACHE_NOT_ATTACHED;
        const bool fits =
            isAlive ? status == TVSI_SUCCESS || status == TVSI_ERR_NOT_FOUND : status == dead;
        require(fits || (status == TVSI_ERR_BAD_REGEX && failing.function.starts_with("reg")),
                "query " + std::to_string(i) + " answers " + std::to_string(status));
    }
    const int detached = TvsiDetachSharedCache();
    require(detached == (isAlive ? TVSI_SUCCESS : TVSI_ERR_CACHE_NOT_ATTACHED) ||
                failing.function == "pthread_join",
            "detach answers " + std::to_string(detached));
}

/* In a child: makes the call fail, then looks for traces. */
void failCall(const TestCache& cache, const FailingCall& failing) {
    const ShortWaits waits;
    const ProcessState before = stateAfterFirstThread();
    armed = new ScopedFault(failing.function, failing.error, failing.nth, 1, failing.calls);
    useInterface(cache, failing);
    disarm();
    TvsiDetachSharedCache();
    const ProcessState after = processStateSince(before);
    require(after.sharedMemory == before.sharedMemory && after.descriptors == before.descriptors &&
                after.threads == before.threads,
            "something is left: " + testing::PrintToString(std::pair(before, after)));
    if (HostGetGlobalTalvexDir() == cache.directory().string() + "/") { /* else: chosen for good */
        require(attach(cache.name()) == success, "no attach without a fault");
        TvsiDetachSharedCache();
    }
}

/* Runs that in a child. Whether the call was made, and so failed. */
bool failsInChild(const TestCache& cache, const FailingCall& failing) {
    SCOPED_TRACE(testing::Message()
                 << failing.function << " call " << failing.nth << " error " << failing.error
                 << (failing.isWatchers() ? " of the watcher" : ""));
    const auto body = [&] {
        atexit([] { /* also on the way out of the fatal path */
                    countHits();
                    fprintf(stderr, "hits %d", hits);
        });
        failCall(cache, failing);
    };
    const Outcome outcome = inChild(body, 60);
    const bool isHit = outcome.err.ends_with("hits 1");
    const bool ends = isHit && failing.endsProcess();
    EXPECT_EQ(outcome.status, ends ? 1 : 0) << "signal " << outcome.signal << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(ends ? "HostCallDebugger: invoked at: " : ""));
    return isHit;
}

/* Each call of these threads fails once with each of its errors. The functions that they call. */
std::set<std::string> sweep(const TestCache& cache, CallsOf calls) {
    /* How often these are called depends on how soon the watcher runs, and on how long. */
    const std::set<std::string> repeated = {"clock_gettime", "kill", "poll", "sched_yield"};
    std::set<std::string> reached;
    int executions = 0;
    for (const auto& call : interposedCalls()) {
        const std::string& function = call.first;
        const bool isBounded =
            repeated.contains(function) && (calls == CallsOf::otherThreads || function != "kill");
        bool isMade = true;
        for (int nth = 1; isMade && nth < (isBounded ? 4 : 200) && !testing::Test::HasFailure();
             ++nth) {
            isMade = std::ranges::all_of(call.second, [&](int error) {
                ++executions;
                return failsInChild(cache, {calls, function, nth, error});
            });
            if (isMade) {
                reached.insert(function);
            }
        }
    }
    printf("%d executions, %zu functions made to fail\n", executions, reached.size());
    return reached;
}

struct Faults : testing::Test {
    Faults() { TvsiInit(); }
    TestCache cache;
};

} // namespace

TEST_F(Faults, EachCallFailsOnceWithEachOfItsErrorsAndNothingIsLeft) {
    cache.registry().removeRecord(cache.broxName()); /* so that the directory is scanned */
    const auto reached = sweep(cache, CallsOf::thisThread);
    EXPECT_GE(reached.size(), 25U) << testing::PrintToString(reached);
}

TEST_F(Faults, EachCallOfTheWatcherFailsOnceWithEachOfItsErrorsAndNothingIsLeft) {
    EXPECT_THAT(sweep(cache, CallsOf::otherThreads),
                testing::UnorderedElementsAre("clock_gettime", "kill", "poll", "pthread_mutex_init",
                                              "pthread_mutex_lock", "pthread_mutex_unlock",
                                              "pthread_mutexattr_init", "pthread_mutexattr_settype",
                                              "shmdt"));
}

TEST_F(Faults, AFailedDetachIsReported) {
    ASSERT_EQ(attach(cache.name()), success);
    const ScopedFault fault("shmdt", EINVAL);
    testing::internal::CaptureStderr();
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        testing::MatchesRegex("Error detaching from SharedPageCache: shmdt\\(0x[0-9a-f]+\\) "
                              "failed with EINVAL Invalid argument\n"
                              "  Could not detach from the shared memory segment starting\n"
                              "  at address 0x[0-9a-f]+\n"));
}

TEST_F(Faults, AFullStandardOutputChangesNoStatus) {
    cache.header().initDone = FALSE;
    const Outcome outcome = inChild([&] {
        dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
        fprintf(stderr, "%s", attach(cache.name()).text.c_str());
        _exit(0);
    });
    EXPECT_THAT(outcome.err, testing::StartsWith("[ERROR]: Time out after 2 seconds"));
}

TEST_F(Faults, WhatTheUserMayNotReadGivesTheDocumentedText) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const std::string file = cache.registry().recordFile(cache.name());
    chmod(cache.directory().c_str(), 0755);
    const auto textForNobody = [&](mode_t directoryMode, mode_t fileMode) {
        chmod(cache.registry().locksDirectory().c_str(), directoryMode);
        chmod(file.c_str(), fileMode);
        const Outcome outcome = inChild([&] {
            require(setgid(65534) == 0 && setuid(65534) == 0, "still root");
            printf("%s", attach(cache.name()).text.c_str());
        });
        return outcome.out;
    };
    const std::string denied = " failed with EACCES Permission denied";
    const std::string key = std::to_string(cache.segment().key());
    EXPECT_EQ(textForNobody(0755, 0600), "open(" + file + ", ORDONLY)" + denied);
    EXPECT_EQ(textForNobody(0755, 0644), "shmget(" + key + ", 0, 1280)" + denied);
    EXPECT_EQ(textForNobody(0700, 0644), "file not found: " + file + " errno = -1");
}

TEST_F(Faults, AProgramWithRaisedPrivilegesIgnoresTheEnvironment) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers refuse to run with raised privileges";
#endif
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    chmod(cache.directory().c_str(), 0755);
    const std::string helper = cache.directory() / "helper";
    std::filesystem::copy_file(TVSI_ATTACH_HELPER, helper);
    const auto attachWithHelper = [&] {
        return run({helper, cache.name()}, {{"TALVEX_GLOBAL_DIR", cache.directory()}});
    };
    EXPECT_EQ(attachWithHelper().status, TVSI_SUCCESS);
    ASSERT_TRUE(chown(helper.c_str(), 65534, 65534) == 0 && chmod(helper.c_str(), 04755) == 0);
    const Outcome outcome = attachWithHelper();
    EXPECT_EQ(outcome.status, TVSI_ERR_CACHE_ATTACH_FAILED);
    EXPECT_EQ(outcome.out, "file not found: /opt/talvex/locks/prod~1f2e..LCK errno = -1\n");
}
