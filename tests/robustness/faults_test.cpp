/* Every call into the C library fails once: the documented status and text, and nothing is left. */
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netdb.h>
#include <optional>
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
#include "testcache.h"

using namespace testsupport;
using testing::HasSubstr;

namespace {

/* In its scope no sleep takes more than a few milliseconds, and no name server is asked. */
struct ShortWaits {
    ScopedOverride<decltype(poll)> shortPoll{"poll", [](auto* fds, auto count, int timeout) {
                                                 return poll(fds, count, std::min(timeout, 2));
                                             }};
    ScopedOverride<decltype(nanosleep)> noSleep{"nanosleep", [](auto*, auto*) { return 0; }};
    ScopedOverride<decltype(getaddrinfo)> ownAddress{
        "getaddrinfo", [](auto*, auto* service, auto* hints, auto** results) {
            return getaddrinfo("127.0.0.1", service, hints, results);
        }};
};

/* In a child: the call that fails, as long as one is to fail, and whether it has. */
std::optional<ScopedFault> armed;
int hits;

void disarm() {
    if (armed) {
        hits = armed->hits();
        armed.reset();
    }
}

/* A whole life of an attachment: all functions of the interface, with statuses that fit. */
void useInterface(const TestCache& cache, const std::string& failing, int error) {
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
    require(isAttached || (decisive.contains(failing) && error != EINTR), "the attach gives up");
    for (int i = 0; i < queryCount; ++i) {
        const int status = anyQuery(i);
        const bool fits = isAttached ? status == TVSI_SUCCESS || status == TVSI_ERR_NOT_FOUND
                                     : status == TVSI_ERR_CACHE_NOT_ATTACHED;
        require(fits || (status == TVSI_ERR_BAD_REGEX && failing.starts_with("reg")),
                "query " + std::to_string(i) + " answers " + std::to_string(status));
    }
    const int detached = TvsiDetachSharedCache();
    require(detached == (isAttached ? TVSI_SUCCESS : TVSI_ERR_CACHE_NOT_ATTACHED) ||
                failing == "pthread_join",
            "detach answers " + std::to_string(detached));
}

/* In a child: fails one call of this thread, then looks for traces. */
void failNthCall(const TestCache& cache, const std::string& function, int nth, int error) {
    const ShortWaits waits;
    const ProcessState before = stateAfterFirstThread();
    armed.emplace(function, error, nth, 1, CallsOf::thisThread);
    useInterface(cache, function, error);
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

/* A failure is a broken invariant: the library ends the process. */
bool endsProcess(const std::string& function) {
    return function.starts_with("pthread_mutex") || function.ends_with("rlimit") ||
           function == "sigaction";
}

/* Runs that in a child. Whether the call was made, and so failed. */
bool failsInChild(const TestCache& cache, const std::string& function, int nth, int error) {
    SCOPED_TRACE(testing::Message() << function << " call " << nth << " error " << error);
    const auto body = [&] {
        atexit([] { /* also on the way out of the fatal path */
                    disarm();
                    fprintf(stderr, "hits %d", hits);
        });
        failNthCall(cache, function, nth, error);
    };
    const Outcome outcome = inChild(body, 60);
    const bool isHit = outcome.err.ends_with("hits 1");
    const bool ends = isHit && endsProcess(function);
    EXPECT_EQ(outcome.status, ends ? 1 : 0) << "signal " << outcome.signal << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(ends ? "HostCallDebugger: invoked at: " : ""));
    return isHit;
}

struct Faults : testing::Test {
    Faults() { TvsiInit(); }
    TestCache cache;
};

} // namespace

TEST_F(Faults, EachCallFailsOnceWithEachOfItsErrorsAndNothingIsLeft) {
    cache.registry().removeRecord(cache.broxName()); /* so that the directory is scanned */
    std::set<std::string> reached;
    int executions = 0;
    for (const auto& [function, errors] : interposedCalls()) {
        bool isMade = true;
        /* How often an attach calls these depends on how soon its watcher runs. */
        const bool isRepeated = function == "clock_gettime" || function == "sched_yield";
        const int end = isRepeated ? 4 : 200;
        for (int nth = 1; isMade && nth < end && !HasFailure(); ++nth) {
            isMade = std::ranges::all_of(errors, [&](int error) {
                ++executions;
                return failsInChild(cache, function, nth, error);
            });
            if (isMade) {
                reached.insert(function);
            }
        }
    }
    EXPECT_GE(reached.size(), 25U) << testing::PrintToString(reached);
    printf("%d executions, %zu functions made to fail\n", executions, reached.size());
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
