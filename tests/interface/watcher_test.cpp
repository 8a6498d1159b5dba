/* The thread that watches a cache, and what callers see when the cache goes. */
#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore>
#include <thread>

#include "attachcall.h"
#include "faults.h"
#include "hostunixmt.h"
#include "processstate.h"
#include "runningprogram.h"
#include "testcache.h"

namespace {

using namespace testsupport;
using namespace std::chrono_literals;
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
    return eventually([] { return processState().threads == threadsAtRest; });
}

bool isUnmappedSoon(const TestCache& cache) {
    return eventually([&] { return attachments(cache.segment().id()) == 1; });
}

void expectSeveredOnce() {
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_CONNECTION_SEVERED);
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT_EQ(TvsiCacheIsAlive(), 0);
    EXPECT_TRUE(hasNoWatcher());
}

void expectUsable(const TestCache& cache) {
    EXPECT_EQ(attach(cache.name()), success);
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST(Watcher, UnmapsTheCacheOfAMonitorThatWasKilled) {
    ChildProcess monitor([] { pause(); });
    TestCache cache({.monitor = monitor.pid()});
    TvsiInit();
    ASSERT_EQ(attach(cache.name()), success);
    monitor.send(SIGKILL);
    EXPECT_EQ(monitor.wait(), -SIGKILL);
    ASSERT_TRUE(isUnmappedSoon(cache));
    EXPECT_EQ(attach(cache.name()),
              (Answer{TVSI_ERR_NO_MORE_HANDLES, "No more shared cache handles available"}));
    expectSeveredOnce();
    cache.occupy(0, SHRPC_MONITOR, "shrpcmonitor");
    cache.recordCache(cache.name(), cache.segment().key());
    expectUsable(cache);
}

TEST(Watcher, AnEndedWatcherIsJoinedByTheDetach) {
    const TestCache cache;
    TvsiInit();
    ASSERT_EQ(attach(cache.name()), success);
    cache.segment().release(1);
    ASSERT_TRUE(isUnmappedSoon(cache));
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT_TRUE(hasNoWatcher());
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
}

TEST(Watcher, AReleasedSlotIsNoticedByTheNextQuery) {
    const TestCache cache;
    TvsiInit();
    const std::function<int()> queries[] = {
        [] { return TvsiStatsForShrPcMon(&record); },
        [count = 1]() mutable { return TvsiAllStatsForMask(1, &record, &count); },
        [] { return TvsiCacheIsAlive() == 0 ? TVSI_ERR_CACHE_CONNECTION_SEVERED : 0; }};
    std::uint32_t slot = 0;
    for (const auto& query : queries) {
        ASSERT_EQ(attach(cache.name()), success);
        cache.segment().release(slot);
        EXPECT_EQ(query(), TVSI_ERR_CACHE_CONNECTION_SEVERED);
        EXPECT_EQ(attachments(cache.segment().id()), 1u);
        EXPECT_TRUE(hasNoWatcher());
        EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
        cache.occupy(slot, slot == 0 ? SHRPC_MONITOR : SHRPC_BROX);
        slot = 1 - slot;
    }
    expectUsable(cache);
}

TEST(Watcher, AMonitorOfAnotherUserCountsAsAlive) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const TestCache cache({.monitor = 1, .mode = 0666});
    std::filesystem::permissions(cache.directory(), std::filesystem::perms(0755));
    const Outcome outcome = inChild([&] {
        if (setgid(65534) != 0 || setuid(65534) != 0 || kill(1, 0) == 0) {
            std::exit(77);
        }
        TvsiInit();
        const Answer answer = attach(cache.name());
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

TEST(Watcher, ATerminationRequestEndsTheAttachment) {
    const TestCache cache;
    TvsiInit();
    ASSERT_EQ(attach(cache.name()), success);
    HostIncrementSigTerm();
    ASSERT_TRUE(isUnmappedSoon(cache));
    expectSeveredOnce();
}

TEST(WatcherStart, ARefusedThreadLeavesTheHandleFree) {
    const TestCache cache;
    TvsiInit();
    for (const std::string text : {"Unable to start cache watcher thread", ""}) {
        const ScopedFault refused("pthread_create", EAGAIN);
        testing::internal::CaptureStderr();
        EXPECT_EQ(attach(cache.name(), text.empty() ? 1 : roomySize),
                  (Answer{TVSI_ERR_WATCHER_THREAD_FAILED, text}));
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "startWatcherThread: HostCreateThread() failed: EAGAIN Resource temporarily "
                  "unavailable\n");
        EXPECT_EQ(attachments(cache.segment().id()), 1u);
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
    }
    expectUsable(cache);
}

/* In its scope, a watcher's main function is called 0.7 seconds late. */
class LateWatcher {
    void* (*main_)(void*) = nullptr;
    void* argument_ = nullptr;
    ScopedOverride<PthreadCreate> create_{
        "pthread_create", [this](auto* thread, auto* attributes, auto main, void* argument) {
            main_ = main;
            argument_ = argument;
            return pthread_create(thread, attributes, run, this);
        }};

    static void* run(void* self) {
        const auto* late = static_cast<LateWatcher*>(self);
        std::this_thread::sleep_for(700ms);
        return late->main_(late->argument_);
    }
};

TEST(WatcherStart, ASlowThreadIsWaitedFor) {
    const TestCache cache;
    TvsiInit();
    LateWatcher late;
    EXPECT_EQ(attach(cache.name()), success);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST(WatcherStart, APromptThreadIsNotSleptFor) {
    const TestCache cache;
    TvsiInit();
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
    const ScopedOverride<decltype(poll)> counted("poll", [&](auto* fds, auto count, int span) {
        startSleeps += span < 1000 ? 1 : 0;
        return poll(fds, count, span);
    });
    const ScopedOverride<PthreadCreate> prompt("pthread_create", [&](auto... arguments) {
        looks = callCount("kill");
        return pthread_create(arguments...);
    });
    EXPECT_EQ(attach(cache.name()), success);
    EXPECT_EQ(startSleeps, 0);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST(WatcherStart, SignalsCutNoWaitShort) {
    const TestCache cache;
    TvsiInit();
    const ScopedOverride<decltype(poll)> interrupted("poll", [](auto* fds, auto count, int span) {
        const int ended = poll(fds, count, std::min(span, 5));
        errno = EINTR;
        return span > 5 ? -1 : ended;
    });
    LateWatcher late;
    ASSERT_EQ(attach(cache.name()), success);
    const long looks = callCount("kill");
    std::this_thread::sleep_for(1200ms);
    EXPECT_LE(callCount("kill") - looks, 20) << "about one a second";
    pthread_t watcher{};
    {
        const ScopedOverride<PthreadJoin> failing("pthread_join", [&](pthread_t thread, void**) {
            watcher = thread;
            return EDEADLK;
        });
        testing::internal::CaptureStderr();
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
        EXPECT_EQ(attachments(cache.segment().id()), 1u) << "waits for the watcher's last act";
        testing::internal::GetCapturedStderr();
    }
    EXPECT_EQ(pthread_join(watcher, nullptr), 0);
}

TEST(WatcherStart, ACacheThatDiesMeanwhileIsReportedByTheNextQuery) {
    const TestCache cache;
    TvsiInit();
    /* The watcher finds the cache dead, unmaps it and ends before the attach looks. */
    const ScopedOverride<PthreadCreate> endsAtOnce(
        "pthread_create", [&](auto* thread, auto* attributes, auto main, void* argument) {
            cache.segment().release(1);
            const int rc = pthread_create(thread, attributes, main, argument);
            EXPECT_TRUE(isUnmappedSoon(cache));
            return rc;
        });
    EXPECT_EQ(attach(cache.name()), success);
    expectSeveredOnce();
}

TEST(WatcherStop, AJoinThatFailsIsReportedAndTheHandleFreed) {
    const TestCache cache;
    TvsiInit();
    const struct {
        int error;
        int status;
        const char* printed;
    } cases[] = {{EDEADLK, TVSI_ERR_CACHE_NOT_ATTACHED,
                  "pthread_join() failed. EDEADLK Resource deadlock avoided\n"},
                 {ESRCH, TVSI_SUCCESS, ""}};
    for (const auto& [error, status, printed] : cases) {
        int joins = 0;
        const ScopedOverride<PthreadJoin> failing("pthread_join", [&](pthread_t thread, void**) {
            ++joins;
            pthread_join(thread, nullptr); /* so that it doesn't run on */
            return error;
        });
        ASSERT_EQ(attach(cache.name()), success);
        testing::internal::CaptureStderr();
        EXPECT_EQ(TvsiDetachSharedCache(), status);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), printed);
        EXPECT_EQ(joins, 1);
        EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
    }
    expectUsable(cache);
}

/* A watcher that can't be joined goes on, before its start or out of its first sleep, when the
   handle is free or has just been attached anew. */
TEST(WatcherStop, OneThatCannotBeJoinedTouchesNoHandleThatIsUsedAgain) {
    const TestCache cache;
    TvsiInit();
    for (const bool hasStarted : {false, true}) {
        for (const bool isAttachedAnew : {false, true}) {
            SCOPED_TRACE(testing::Message() << hasStarted << isAttachedAnew);
            static std::binary_semaphore mayGoOn{0};
            static std::function<void*()> start;
            pthread_t lost{};
            const auto goOnToTheEnd = [&lost] {
                timespec limit{};
                clock_gettime(CLOCK_REALTIME, &limit);
                limit.tv_sec += 10;
                mayGoOn.release();
                EXPECT_EQ(pthread_timedjoin_np(lost, nullptr, &limit), 0) << "it watches on";
            };
            std::atomic<bool> holds = hasStarted;
            const ScopedOverride<decltype(poll)> sleep(
                "poll", [&](auto* fds, auto number, int span) {
                    if (span >= 1000 && holds.exchange(false)) {
                        mayGoOn.acquire();
                    }
                    return poll(fds, number, 1);
                });
            {
                const ScopedOverride<PthreadCreate> late(
                    "pthread_create", [&](auto* id, auto* attributes, auto main, void* argument) {
                        start = [=] { return main(argument); };
                        const auto heldUp = [](void*) {
                            mayGoOn.acquire();
                            return start();
                        };
                        return hasStarted ? pthread_create(id, attributes, main, argument)
                                          : pthread_create(id, attributes, heldUp, nullptr);
                    });
                const ScopedOverride<PthreadJoin> failing("pthread_join", [&](auto thread, void**) {
                    lost = thread;
                    return EDEADLK;
                });
                testing::internal::CaptureStderr();
                EXPECT_EQ(attach(cache.name()).status,
                          hasStarted ? TVSI_SUCCESS : TVSI_ERR_WATCHER_THREAD_FAILED);
                EXPECT_TRUE(eventually([&] { return !holds; }));
                EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
                testing::internal::GetCapturedStderr();
            }
            if (!isAttachedAnew) {
                goOnToTheEnd();
            }
            const ScopedOverride<PthreadCreate> next("pthread_create", [&](auto... arguments) {
                if (isAttachedAnew) {
                    goOnToTheEnd();
                }
                return pthread_create(arguments...);
            });
            EXPECT_EQ(attach(cache.name()), success);
            EXPECT_EQ(TvsiCacheIsAlive(), 1);
            EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
            EXPECT_TRUE(hasNoWatcher());
        }
    }
}

} // namespace
