/* The thread that watches a cache, and what callers see when the cache goes. */
#include <atomic>
#include <gmock/gmock.h>
#include <poll.h>
#include <semaphore>
#include <thread>

#include "attachcall.h"
#include "faults.h"
#include "hostunixmt.h"
#include "processstate.h"
#include "rows.h"
#include "runningprogram.h"
#include "testcache.h"

using namespace testing;
using namespace testsupport;
using namespace std::chrono_literals;

namespace {

using Poll = decltype(poll);
using PthreadCreate = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
using PthreadJoin = int(pthread_t, void**);

TvsiResultSType record;

/* The threads of a process that has none of the library's: a sanitizer may have one of its own. */
const std::size_t threadsAtRest = [] {
    std::thread([] {}).join();
    std::this_thread::sleep_for(100ms);
    return processState().threads;
}();

/* A thread that has been joined may be listed for a moment longer. */
bool hasNoWatcher() {
    return eventually([&] { return processState().threads == threadsAtRest; });
}

const Answer notStarted{TVSI_ERR_WATCHER_THREAD_FAILED, "Unable to start cache watcher thread"};

/* An initialised library and a cache. */
struct Watcher : Test {
    Watcher() { TvsiInit(); }

    bool isMapped() const { return attachments(cache.segment().id()) > 1; }
    bool isUnmappedSoon() const {
        return eventually([&] { return !isMapped(); });
    }
    void attachIt() const { ASSERT_EQ(attach(cache.name()), success); }
    void expectUsable() const {
        attachIt();
        EXPECT_EQ(TvsiCacheIsAlive(), 1);
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
        EXPECT_TRUE(hasNoWatcher());
    }
    static void expectSeveredOnce() {
        EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_CONNECTION_SEVERED);
        EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
        EXPECT_EQ(TvsiCacheIsAlive(), 0);
        EXPECT_TRUE(hasNoWatcher());
    }

    TestCache cache;
};
using WatcherStart = Watcher;
using WatcherStop = Watcher;

TEST_F(Watcher, UnmapsTheCacheOfAMonitorThatWasKilled) {
    ChildProcess monitor([] { pause(); });
    cache.occupy(0, SHRPC_MONITOR, "shrpcmonitor", 0, monitor.pid());
    attachIt();
    monitor.send(SIGKILL);
    EXPECT_EQ(monitor.wait(), -SIGKILL);
    ASSERT_TRUE(isUnmappedSoon());
    EXPECT_EQ(attach(cache.name()),
              (Answer{TVSI_ERR_NO_MORE_HANDLES, "No more shared cache handles available"}));
    expectSeveredOnce();
    cache.occupy(0, SHRPC_MONITOR, "shrpcmonitor");
    expectUsable();
}

TEST_F(Watcher, AnEndedWatcherIsJoinedByTheDetach) {
    attachIt();
    cache.segment().release(1);
    ASSERT_TRUE(isUnmappedSoon());
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT_TRUE(hasNoWatcher());
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
}

TEST_F(Watcher, AReleasedSlotIsNoticedByTheNextQuery) {
    const std::function<int()> queries[] = {
        [] { return TvsiStatsForShrPcMon(&record); },
        [count = 1]() mutable { return TvsiAllStatsForMask(1, &record, &count); },
        [] { return TvsiCacheIsAlive() == 0 ? TVSI_ERR_CACHE_CONNECTION_SEVERED : 0; }};
    std::uint32_t slot = 0;
    for (const auto& query : queries) {
        attachIt();
        cache.segment().release(slot);
        EXPECT_EQ(query(), TVSI_ERR_CACHE_CONNECTION_SEVERED);
        EXPECT_FALSE(isMapped());
        EXPECT_TRUE(hasNoWatcher());
        EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
        cache.occupy(slot, slot == 0 ? SHRPC_MONITOR : SHRPC_BROX);
        slot = 1 - slot;
    }
    expectUsable();
}

TEST_F(Watcher, AMonitorOfAnotherUserCountsAsAlive) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const TestCache foreign({.monitor = 1, .mode = 0666});
    std::filesystem::permissions(foreign.directory(), std::filesystem::perms(0755));
    const Outcome outcome = inChild([&] {
        if (setgid(65534) != 0 || setuid(65534) != 0 || kill(1, 0) == 0) {
            std::exit(77);
        }
        const Answer answer = attach(foreign.name());
        std::this_thread::sleep_for(1200ms); /* the watcher has looked twice */
        const int isAlive = TvsiCacheIsAlive();
        std::printf("%d %s %d %d", answer.status, answer.text.c_str(), isAlive,
                    TvsiDetachSharedCache());
    });
    if (outcome.status == 77) {
        GTEST_SKIP() << "the first process belongs to everybody";
    }
    EXPECT_EQ(outcome.out, "0  1 0") << outcome.err;
}

TEST_F(Watcher, ATerminationRequestEndsTheAttachment) {
    attachIt();
    HostIncrementSigTerm();
    ASSERT_TRUE(isUnmappedSoon());
    expectSeveredOnce();
}

TEST_F(WatcherStart, ARefusedThreadLeavesTheHandleFree) {
    for (const std::size_t size : {roomySize, std::size_t{1}}) {
        const ScopedFault refused("pthread_create", EAGAIN);
        internal::CaptureStderr();
        EXPECT_EQ(attach(cache.name(), size),
                  (Answer{notStarted.status, notStarted.text.substr(0, size - 1)}));
        EXPECT_EQ(internal::GetCapturedStderr(),
                  "startWatcherThread: HostCreateThread() failed: EAGAIN Resource temporarily "
                  "unavailable\n");
        EXPECT_FALSE(isMapped());
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
    }
    expectUsable();
}

/* In its scope, `before` runs in a watcher's thread before its main function. */
struct LateWatcher : ScopedOverride<PthreadCreate> {
    explicit LateWatcher(const std::function<void()>& before)
        : ScopedOverride("pthread_create",
                         [=](auto* id, auto* attributes, auto main, void* argument) {
                             using Start = std::function<void*()>;
                             const auto run = [](void* start) {
                                 return (*std::unique_ptr<Start>(static_cast<Start*>(start)))();
                             };
                             return pthread_create(id, attributes, run, new Start([=] {
                                                       before();
                                                       return main(argument);
                                                   }));
                         }) {}
};

TEST_F(WatcherStart, ASlowThreadIsWaitedFor) {
    const LateWatcher late([] { std::this_thread::sleep_for(700ms); });
    expectUsable();
}

TEST_F(WatcherStart, OneThatComesTooLateIsJoined) {
    std::binary_semaphore mayStart(0);
    {
        const LateWatcher late([&] { mayStart.acquire(); });
        const ScopedOverride<PthreadJoin> join("pthread_join", [&](auto id, auto result) {
            mayStart.release();
            return pthread_join(id, result);
        });
        const ScopedOverride<Poll> shortWait(
            "poll", [](auto* fds, auto count, int) { return poll(fds, count, 1); });
        EXPECT_EQ(attach(cache.name()), notStarted);
    }
    EXPECT_FALSE(isMapped());
    EXPECT_TRUE(hasNoWatcher());
    expectUsable();
}

TEST_F(WatcherStart, APromptThreadIsNotSleptFor) {
    long looks = 0;
    const ScopedOverride<decltype(clock_gettime)> noTimePasses("clock_gettime",
                                                               [](auto, auto* now) {
                                                                   *now = {};
                                                                   return 0;
                                                               });
    /* The starter gives way until the watcher has had its first look at the cache. */
    const ScopedOverride<decltype(sched_yield)> giveWay("sched_yield", [&] {
        return eventually([&] { return callCount("kill") > looks; }) ? 0 : -1;
    });
    std::atomic<int> startSleeps{0};
    const ScopedOverride<Poll> counted("poll", [&](auto* fds, auto count, int span) {
        startSleeps += span < 1000 ? 1 : 0;
        return poll(fds, count, span);
    });
    const ScopedOverride<PthreadCreate> prompt("pthread_create", [&](auto... arguments) {
        looks = callCount("kill");
        return pthread_create(arguments...);
    });
    attachIt();
    EXPECT_EQ(startSleeps, 0);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST_F(WatcherStart, SignalsCutNoWaitShort) {
    const ScopedOverride<Poll> interrupted("poll", [](auto* fds, auto count, int span) {
        const int ended = poll(fds, count, std::min(span, 5));
        errno = EINTR;
        return span > 5 ? -1 : ended;
    });
    const LateWatcher late([] { std::this_thread::sleep_for(700ms); });
    attachIt();
    const long looks = callCount("kill");
    std::this_thread::sleep_for(1200ms);
    EXPECT_LE(callCount("kill") - looks, 20) << "about one a second";
    pthread_t watcher{};
    {
        const ScopedOverride<PthreadJoin> failing("pthread_join", [&](pthread_t thread, void**) {
            watcher = thread;
            return EDEADLK;
        });
        internal::CaptureStderr();
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
        EXPECT_FALSE(isMapped()) << "waits for the watcher's last act";
        internal::GetCapturedStderr();
    }
    EXPECT_EQ(pthread_join(watcher, nullptr), 0);
}

/* The watcher finds the cache dead, unmaps it and ends before the attach looks. */
TEST_F(WatcherStart, ACacheThatDiesMeanwhileIsReportedByTheNextQuery) {
    for (const bool isSlotReleased : {true, false}) { /* or the monitor's process is gone */
        cache.occupy(0, SHRPC_MONITOR, "", 0, isSlotReleased ? getpid() : 0x3FFFFFFF);
        const ScopedOverride<PthreadCreate> endsAtOnce("pthread_create", [&](auto... arguments) {
            cache.entry(1).inUse = !isSlotReleased;
            const int rc = pthread_create(arguments...);
            EXPECT_TRUE(isUnmappedSoon());
            return rc;
        });
        attachIt();
        expectSeveredOnce();
    }
}

TEST_F(WatcherStop, AJoinThatFailsIsReportedAndTheHandleFreed) {
    const std::tuple<int, int, const char*> cases[] = {
        {EDEADLK, TVSI_ERR_CACHE_NOT_ATTACHED,
         "pthread_join() failed. EDEADLK Resource deadlock avoided\n"},
        {ESRCH, TVSI_SUCCESS, ""}};
    forEachRow(cases, [&](int error, int status, auto& printed) {
        int joins = 0;
        const ScopedOverride<PthreadJoin> failing("pthread_join", [&](pthread_t thread, void**) {
            ++joins;
            pthread_join(thread, nullptr); /* so that it doesn't run on */
            return error;
        });
        attachIt();
        internal::CaptureStderr();
        EXPECT_EQ(TvsiDetachSharedCache(), status);
        EXPECT_EQ(internal::GetCapturedStderr(), printed);
        EXPECT_EQ(joins, 1);
        EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
    });
    expectUsable();
}

/* A watcher that can't be joined goes on, before its start or out of its first sleep, when the
   handle is free or has just been attached anew. */
TEST_F(WatcherStop, OneThatCannotBeJoinedTouchesNoHandleThatIsUsedAgain) {
    const std::pair<bool, bool> cases[] = {
        {false, false}, {false, true}, {true, false}, {true, true}};
    forEachRow(cases, [&](bool hasStarted, bool isAttachedAnew) {
        SCOPED_TRACE(Message() << hasStarted << isAttachedAnew);
        std::binary_semaphore mayGoOn{0};
        std::atomic<bool> holds = hasStarted;
        /* The waits for a watcher that will come are as long as ever, for one that won't they are
           short. */
        std::atomic<int> longestSleep = hasStarted ? 20 : 1;
        pthread_t lost{};
        const auto goOnToTheEnd = [&] {
            timespec limit{};
            clock_gettime(CLOCK_REALTIME, &limit);
            limit.tv_sec += 10;
            mayGoOn.release();
            EXPECT_EQ(pthread_timedjoin_np(lost, nullptr, &limit), 0) << "it watches on";
        };
        const ScopedOverride<Poll> sleep("poll", [&](auto* fds, auto number, int span) {
            if (span >= 1000 && holds.exchange(false)) {
                mayGoOn.acquire();
            }
            return poll(fds, number, std::min(span, longestSleep.load()));
        });
        {
            const LateWatcher late([&] { hasStarted ? void() : mayGoOn.acquire(); });
            const ScopedOverride<PthreadJoin> failing("pthread_join", [&](auto thread, void**) {
                lost = thread;
                return EDEADLK;
            });
            internal::CaptureStderr();
            EXPECT_EQ(attach(cache.name()), hasStarted ? success : notStarted);
            EXPECT_TRUE(eventually([&] { return !holds; }));
            longestSleep = 1;
            EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
            internal::GetCapturedStderr();
        }
        longestSleep = 20;
        if (!isAttachedAnew) {
            goOnToTheEnd();
        }
        const ScopedOverride<PthreadCreate> next("pthread_create", [&](auto... arguments) {
            if (isAttachedAnew) {
                goOnToTheEnd();
            }
            return pthread_create(arguments...);
        });
        expectUsable();
    });
}

} // namespace
