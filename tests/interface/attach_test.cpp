/* Initialisation, attach and detach: statuses, texts and what they leave behind. */
#include <atomic>
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>
#include <thread>

#include "attachcall.h"
#include "faults.h"
#include "hostmutex.h"
#include "process.h"
#include "processstate.h"
#include "queries.h"
#include "testcache.h"
#include "tvsihandle.h"

namespace {

using namespace testsupport;

constexpr std::uint32_t libraryLevel = 0x79B315DA;
TvsiResultSType record;
int count;

TEST(BeforeInit, EveryFunctionRefusesAndTouchesNothing) {
    std::memset(&record, 0x5A, sizeof record);
    const TvsiResultSType before = record;
    char message[] = "kept";
    count = 7;
    for (int query = 0; query < queryCount - 1; ++query) {
        EXPECT_EQ(anyQuery(query), TVSI_ERR_NO_INIT) << query;
    }
    EXPECT_EQ(TvsiStatsForProcessId(0, nullptr), TVSI_ERR_NO_INIT);
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_NO_INIT);
    EXPECT_EQ(TvsiFetchMaxProcessesInCache(&count), TVSI_ERR_NO_INIT);
    EXPECT_EQ(TvsiAllVokStatsForRegexName("(", FALSE, &record, &count, message, sizeof message),
              TVSI_ERR_NO_INIT);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_NO_INIT);
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
    EXPECT_STREQ(message, "kept");
}

TEST(BeforeInit, AttachGivesAsMuchOfTheReasonAsFits) {
    for (const auto& function : {attach, attachForBrox}) {
        EXPECT_EQ(function("prod", roomySize),
                  (Answer{TVSI_ERR_NO_INIT, "Illegal Tvsi call prior to calling TvsiInit()"}));
        EXPECT_EQ(function("prod", 20), (Answer{TVSI_ERR_NO_INIT, "Illegal Tvsi call p"}));
        EXPECT_EQ(function("prod", 1), (Answer{TVSI_ERR_NO_INIT, ""}));
        EXPECT_EQ(function("prod", 0), (Answer{TVSI_ERR_NO_INIT, "(untouched)"}));
    }
    EXPECT_EQ(TvsiAttachSharedCache(nullptr, nullptr, 0), TVSI_ERR_NO_INIT);
}

TEST(Arguments, ANullPointerIsRefusedBeforeAnythingElse) {
    const std::function<int()> calls[] = {
        [] { return TvsiAttachSharedCache("prod~1", nullptr, 9); },
        [] { return TvsiAttachSharedCacheForBrox("prod", nullptr, 9); },
        [] { return TvsiStatsForProcessId(1, nullptr); },
        [] { return TvsiStatsForVokSessionId(1, nullptr); },
        [] { return TvsiStatsForPgsvrSessionId(1, nullptr); },
        [] { return TvsiStatsForVokSessionWithName(nullptr, &record); },
        [] { return TvsiStatsForVokSessionWithName("Vok", nullptr); },
        [] { return TvsiStatsForBrox(nullptr); },
        [] { return TvsiStatsForShrPcMon(nullptr); },
        [] { return TvsiFetchMaxProcessesInCache(nullptr); },
        [] { return TvsiAllStatsForMask(1, nullptr, &count); },
        [] { return TvsiAllStatsForMask(1, &record, nullptr); },
        [] { return TvsiAllVokStatsForVokKindRange(0, 1, &record, nullptr); },
        [] { return TvsiAllVokStatsForVokKindRange(0, 1, nullptr, nullptr); },
        [] { return TvsiAllVokStatsForRegexName("x", 0, &record, nullptr, nullptr, 9); },
        [] { return TvsiAllVokStatsForRegexName(nullptr, 0, &record, &count, nullptr, 9); },
    };
    const TestCache cache;
    TvsiInit();
    for (const bool isAttached : {false, true}) {
        ASSERT_TRUE(!isAttached || attach(cache.name()) == success);
        for (const auto& call : calls) {
            count = 1;
            EXPECT_EQ(call(), TVSI_ERR_BAD_ARG) << "call " << &call - calls;
        }
        for (const auto& function : {TvsiAttachSharedCache, TvsiAttachSharedCacheForBrox}) {
            EXPECT_EQ(callWithBuffer(9, std::bind_front(function, nullptr)),
                      (Answer{TVSI_ERR_BAD_ARG, ""}));
        }
    }
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
    TvsiDetachSharedCache();
}

using MutexInit = int(pthread_mutex_t*, const pthread_mutexattr_t*);

TEST(Init, ACallDuringTheInitialisationIsRefused) {
    std::atomic<bool> isInside = false;
    std::atomic<bool> mayGoOn = false;
    const ScopedOverride<MutexInit> slow("pthread_mutex_init", [&](auto* mutex, auto* attributes) {
        isInside = true;
        mayGoOn.wait(false);
        return pthread_mutex_init(mutex, attributes);
    });
    std::jthread first(TvsiInit);
    while (!isInside) {
        std::this_thread::yield();
    }
    TvsiInit();
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_NO_INIT);
    mayGoOn = true;
    mayGoOn.notify_all();
    first.join();
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_ERR_CACHE_NOT_ATTACHED);
}

TEST(Attach, TheSameCacheTwiceAndAnotherCacheAreRefused) {
    TestCache cache;
    cache.recordCache("other~1f2e", cache.segment().key());
    cache.registry().writeRecord("tcp!host!prod", standin::broxRecord(getpid()));
    TvsiInit();
    ASSERT_EQ(attachForBrox("prod"), success);
    const Answer already{TVSI_ERR_CACHE_ALREADY_ATTACHED,
                         "Shared cache prod~1f2e is already attached"};
    EXPECT_EQ(attach("prod~1f2e"), already);
    EXPECT_EQ(attachForBrox("prod"), already);
    EXPECT_EQ(attachForBrox("tcp!host!prod"), already) << "a record of that name leads there, too";
    for (const char* name : {"other~1f2e", "prod~1f2", "PROD~1f2e"}) {
        EXPECT_EQ(attach(name),
                  (Answer{TVSI_ERR_NO_MORE_HANDLES, "No more shared cache handles available"}));
    }
    TvsiInit(); /* changes nothing */
    EXPECT_EQ(TvsiStatsForBrox(&record), TVSI_SUCCESS);
    EXPECT_EQ(attachments(cache.segment().id()), 2u);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
    EXPECT_EQ(attach("other~1f2e"), success);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST(Attach, FailsWithTheTextOfTheFirstObstacle) {
    TestCache cache;
    cache.recordCache("stale~1f2e", cache.segment().key(), 0x3FFFFFFF);
    cache.recordCache("keyless~1f2e", 0);
    TvsiInit();
    EXPECT_EQ(attachForBrox("nobody"),
              (Answer{TVSI_ERR_CACHE_NOT_FOUND, "Brox named 'nobody' not found on this host"}));
    EXPECT_EQ(attachForBrox("!tcp@host#x!nobody"),
              (Answer{TVSI_ERR_CACHE_NOT_FOUND,
                      "Brox named '!tcp@host#x!nobody' not found on this host"}));
    const std::string file = (cache.directory() / "locks" / "gone~1f2e..LCK").string();
    EXPECT_EQ(attach("gone~1f2e"),
              (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, "file not found: " + file + " errno = -1"}));
    EXPECT_EQ(attach("stale~1f2e"),
              (Answer{TVSI_ERR_CACHE_ATTACH_FAILED,
                      "Error reading lock file for shared cache 'stale~1f2e'\n"}));
    EXPECT_EQ(attach("keyless~1f2e"), (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, ""}));
    EXPECT_EQ(TvsiCacheIsAlive(), 0);
}

TEST(Attach, AnotherVersionIsToldAndSticksUntilTheConnectionIsReset) {
    const TestCache cache;
    TvsiInit();
    const std::pair<std::uint32_t, std::string> cases[] = {
        {libraryLevel ^ 1, "79b315db"}, {0xF9B315DA, "f9b315da"}, {0, "0"}, {10, "a"}};
    for (const auto& [level, printed] : cases) {
        cache.header().compatibilityLevel = level;
        const Answer expected{
            TVSI_ERR_CACHE_WRONG_VERSION,
            "\n   Incompatible shared cache.  The shared cache monitor and this process\n"
            "   are from different versions of Talvex.\n"
            "     shrpcmonitor process compatibility level = " +
                printed + "\n     This process' shared cache compatibility level = 79b315da.\n"};
        EXPECT_EQ(attach(cache.name()), expected);
        EXPECT_EQ(attach(cache.name()), expected) << "the second time";
        EXPECT_EQ(attachments(cache.segment().id()), 1u);
    }
    for (const auto& reset :
         {+[] { return TvsiDetachSharedCache(); }, +[] { return TvsiStatsForBrox(&record); }}) {
        ASSERT_EQ(attach(cache.name()).status, TVSI_ERR_CACHE_WRONG_VERSION);
        EXPECT_EQ(attach("gone~1f2e").status, TVSI_ERR_CACHE_WRONG_VERSION);
        EXPECT_EQ(reset(), TVSI_ERR_CACHE_NOT_ATTACHED);
        EXPECT_EQ(attach("gone~1f2e").status, TVSI_ERR_CACHE_ATTACH_FAILED);
    }
    ASSERT_EQ(attach(cache.name()).status, TVSI_ERR_CACHE_WRONG_VERSION);
    cache.header().compatibilityLevel = libraryLevel;
    ASSERT_EQ(attach(cache.name()), success) << "needs no reset";
    EXPECT_EQ(attachments(cache.segment().id()), 2u);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST(Attach, WaitsTwoSecondsForACacheToGetReady) {
    const TestCache cache({.initDone = false});
    TvsiInit();
    const std::string timeOut =
        "[ERROR]: Time out after 2 seconds waiting for cache initialization to complete.  "
        "Monitor died?";
    for (const std::size_t size : {roomySize, std::size_t{20}, std::size_t{1}}) {
        const auto start = std::chrono::steady_clock::now();
        const std::string text = timeOut.substr(0, size - 1);
        testing::internal::CaptureStdout();
        EXPECT_EQ(attach(cache.name(), size), (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, text}));
        EXPECT_EQ(testing::internal::GetCapturedStdout(), text + "\n");
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1950));
        EXPECT_EQ(attachments(cache.segment().id()), 1u);
    }
    const std::jthread monitor([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        cache.segment().setInitDone();
    });
    EXPECT_EQ(attach(cache.name()), success);
    TvsiDetachSharedCache();
}

TEST(Attach, NoOutcomeWritesBeyondTheBufferItWasGiven) {
    TestCache cache;
    cache.recordCache("keyless~1f2e", 0);
    TvsiInit();
    for (const std::size_t size : {0UL, 1UL}) {
        EXPECT_EQ(attach("gone~1f2e", size), (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, ""}));
        EXPECT_EQ(attach("keyless~1f2e", size), (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, ""}));
        EXPECT_EQ(attachForBrox("gone", size), (Answer{TVSI_ERR_CACHE_NOT_FOUND, ""}));
        cache.header().compatibilityLevel = 1;
        EXPECT_EQ(attach(cache.name(), size), (Answer{TVSI_ERR_CACHE_WRONG_VERSION, ""}));
        cache.header().compatibilityLevel = libraryLevel;
        EXPECT_EQ(attach(cache.name(), size), success);
        EXPECT_EQ(attach(cache.name(), size), (Answer{TVSI_ERR_CACHE_ALREADY_ATTACHED, ""}));
        EXPECT_EQ(attach("x", size), (Answer{TVSI_ERR_NO_MORE_HANDLES, ""}));
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
    }
    EXPECT_EQ(attach("gone~1f2e", 10).text, "file not ");
    EXPECT_EQ(attachForBrox("nobody", 12).text, "Brox named ");
}

TEST(Detach, EndsTheAttachmentOnceAndLeavesTheProcessAsItWas) {
    const TestCache cache;
    TvsiInit();
    ProcessState afterFirst;
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
        ASSERT_EQ(round % 2 == 0 ? attach(cache.name()) : attachForBrox("prod"), success);
        EXPECT_EQ(TvsiStatsForShrPcMon(&record), TVSI_SUCCESS);
        ASSERT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
        if (round == 0) {
            afterFirst = restingState(); /* the C library keeps the first thread's stack */
        }
    }
    const ProcessState after = processStateSince(afterFirst);
#ifndef __SANITIZE_THREAD__ /* it maps something for every new thread */
    EXPECT_LT(after.mappings, afterFirst.mappings + 9) << "less than one a round";
#endif
    EXPECT_EQ(after.sharedMemory, afterFirst.sharedMemory);
    EXPECT_EQ(after.descriptors, afterFirst.descriptors);
    EXPECT_EQ(after.threads, afterFirst.threads);
    for (int query = 0; query < queryCount; ++query) {
        EXPECT_EQ(anyQuery(query), TVSI_ERR_CACHE_NOT_ATTACHED) << query;
    }
    EXPECT_EQ(TvsiFetchMaxProcessesInCache(&count), TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT_EQ(count, -1);
}

/* The handle by itself, without the watcher. */
class Handle : public testing::Test {
protected:
    void SetUp() override { manager.init(); }

    TestCache cache;
    SharedCacheHandleMgrSType manager;
    SharedCacheHandleSType& handle = *manager.firstCache();
};

TEST_F(Handle, KnowsTheMonitorAndTheNameWhileItIsAttached) {
    char text[256];
    EXPECT_EQ(manager.findNextCacheHandle(), &handle);
    EXPECT_EQ(manager.findCacheWithName(""), nullptr);
    cache.occupy(0, SHRPC_MONITOR, "shrpcmonitor", 0, 4711);
    ASSERT_TRUE(handle.attachCacheWithName("prod~1f2e", text, sizeof text));
    EXPECT_EQ(handle.status, SPC_ATTACHED);
    EXPECT_EQ(handle.monitorPid, 4711);
    EXPECT_STREQ(handle.SharedPageCache.locationStr, "prod~1f2e");
    EXPECT_EQ(handle.SharedPageCache._disconnectLine, -1);
    EXPECT_EQ(handle.SharedPageCache.segAddr, handle.shrMemState.shrMemId.loc);
    EXPECT_EQ(manager.findNextCacheHandle(), nullptr);
    EXPECT_EQ(manager.findCacheWithName("prod~1f2e"), nullptr) << "not active yet";

    handle.detachCache();
    EXPECT_EQ(handle.status, SPC_DETACHED);
    EXPECT_EQ(handle.SharedPageCache._disconnectLine, 359);
    EXPECT_FALSE(handle.SharedPageCache._cacheEnabled);
    handle.SharedPageCache.clearCacheEnabled(5);
    EXPECT_EQ(handle.SharedPageCache._disconnectLine, 359) << "already disabled";

    /* Others may wait on the mutex, which must not be initialised again. */
    const auto* mutex = reinterpret_cast<const std::byte*>(&handle.cacheMutex);
    constexpr std::size_t size = sizeof(SharedCacheHandleSType::cacheMutex);
    const ScopedOverride<MutexInit> watched("pthread_mutex_init", [&](auto* other, auto* attr) {
        const auto* address = reinterpret_cast<const std::byte*>(other);
        EXPECT_TRUE(address < mutex || address >= mutex + size);
        return pthread_mutex_init(other, attr);
    });
    EXPECT_EQ(manager.recycleHandle(&handle), TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT_EQ(handle.status, SPC_INACTIVE);
    EXPECT_EQ(handle.SharedPageCache._disconnectLine, 0);
}

TEST_F(Handle, ALockHolderUnlocksOnce) {
    SharedCacheLockHolder holder(&handle);
    EXPECT_TRUE(handle.isLocked);
    holder.unlock();
    EXPECT_FALSE(handle.isLocked);
    const SharedCacheLockHolder again(&handle); /* would hang if it were still locked */
    holder.unlock();
    EXPECT_TRUE(handle.isLocked) << "the first holder has nothing to release any more";
}

TEST_F(Handle, AStateThatNoQueryMayMeetEndsTheProcess) {
    setenv("TX_CORE_TIME_OUT", "1", 1);
    for (const int impossible : {int{SPC_ATTACHED}, 4}) {
        handle.status = impossible;
        const Outcome outcome = inChild([&] {
            SharedCacheLockHolder holder(&handle);
            handle.checkCacheStatus(&holder);
        });
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err,
                    testing::ContainsRegex("UTL_GUARANTEE failed, File tvsi line [0-9]+\n"));
    }
}

} // namespace
