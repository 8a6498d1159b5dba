/* Initialisation, attach and detach: statuses, texts and what they leave behind. */
#include <atomic>
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>
#include <pthread.h>
#include <thread>

#include "attachcall.h"
#include "faults.h"
#include "hostmutex.h"
#include "hostprocess.h"
#include "processstate.h"
#include "queries.h"
#include "testcache.h"
#include "tvsihandle.h"

using namespace testing;
using namespace testsupport;

namespace {

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
    EXPECT_TRUE(std::memcmp(&record, &before, sizeof record) == 0 && count == 7);
    EXPECT_STREQ(message, "kept");
    EXPECT_EQ(TvsiAttachSharedCache(nullptr, nullptr, 0), TVSI_ERR_NO_INIT);
    for (const auto& function : {attach, attachForBrox}) {
        const std::string reason = "Illegal Tvsi call prior to calling TvsiInit()";
        for (const std::size_t size : {roomySize, 20UL, 1UL}) {
            EXPECT_EQ(function("prod", size),
                      (Answer{TVSI_ERR_NO_INIT, reason.substr(0, size - 1)}));
        }
        EXPECT_EQ(function("prod", 0), (Answer{TVSI_ERR_NO_INIT, "(untouched)"}));
    }
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

/* An initialised library and a cache. */
struct Attach : Test {
    Attach() { TvsiInit(); }
    std::size_t attachedBy() const { return attachments(cache.segment().id()); }
    TestCache cache;
};
using Detach = Attach;

TEST_F(Attach, ANullPointerIsRefusedBeforeAnythingElse) {
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

TEST_F(Attach, FailsWithTheTextOfTheFirstObstacleAsFarAsItFits) {
    standin::CacheSegment newer(standin::SegmentGeometry(), 0600);
    newer.header().compatibilityLevel = 0xF9B315DA;
    cache.recordCache("newer~1f2e", newer.key());
    cache.recordCache("stale~1f2e", cache.segment().key(), 0x3FFFFFFF);
    cache.recordCache("keyless~1f2e", 0);
    cache.recordCache("other~1f2e", cache.segment().key());
    cache.registry().writeRecord("tcp!host!prod", standin::broxRecord(getpid()));
    const std::string file = cache.registry().recordFile("gone~1f2e");
    const std::string already = "Shared cache prod~1f2e is already attached";
    const std::string noMore = "No more shared cache handles available";
    const struct {
        decltype(attach)* call;
        const char* name;
        int status;
        std::string text;
    } cases[] = {
        {attachForBrox, "nobody", TVSI_ERR_CACHE_NOT_FOUND,
         "Brox named 'nobody' not found on this host"},
        {attachForBrox, "!tcp@host#x!nobody", TVSI_ERR_CACHE_NOT_FOUND,
         "Brox named '!tcp@host#x!nobody' not found on this host"},
        {attach, "gone~1f2e", TVSI_ERR_CACHE_ATTACH_FAILED,
         "file not found: " + file + " errno = -1"},
        {attach, "stale~1f2e", TVSI_ERR_CACHE_ATTACH_FAILED,
         "Error reading lock file for shared cache 'stale~1f2e'\n"},
        {attach, "keyless~1f2e", TVSI_ERR_CACHE_ATTACH_FAILED, ""},
        {attach, "newer~1f2e", TVSI_ERR_CACHE_WRONG_VERSION,
         "\n   Incompatible shared cache.  The shared cache monitor and this process\n"
         "   are from different versions of Talvex.\n"
         "     shrpcmonitor process compatibility level = f9b315da\n"
         "     This process' shared cache compatibility level = 79b315da.\n"},
        {attach, "prod~1f2e", TVSI_SUCCESS, ""},
        {attach, "prod~1f2e", TVSI_ERR_CACHE_ALREADY_ATTACHED, already},
        {attachForBrox, "prod", TVSI_ERR_CACHE_ALREADY_ATTACHED, already},
        {attachForBrox, "tcp!host!prod", TVSI_ERR_CACHE_ALREADY_ATTACHED, already},
        {attach, "other~1f2e", TVSI_ERR_NO_MORE_HANDLES, noMore},
        {attach, "prod~1f2", TVSI_ERR_NO_MORE_HANDLES, noMore},
        {attach, "PROD~1f2e", TVSI_ERR_NO_MORE_HANDLES, noMore},
    };
    for (const std::size_t size : {roomySize, 20UL, 1UL, 0UL}) {
        for (const auto& row : cases) {
            EXPECT_EQ(row.call(row.name, size),
                      (Answer{row.status, row.text.substr(0, std::max(size, 1UL) - 1)}));
            if (TvsiCacheIsAlive() == 0) {
                TvsiDetachSharedCache(); /* nothing of the failure may stick */
            }
        }
        TvsiInit(); /* changes nothing */
        EXPECT_EQ(attachedBy(), 2U);
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
        EXPECT_EQ(attachments(newer.id()), 1U);
    }
    EXPECT_EQ(attach("other~1f2e"), success);
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
}

TEST_F(Attach, AnotherVersionSticksUntilTheConnectionIsReset) {
    for (const std::uint32_t level : {libraryLevel ^ 1, 0U}) {
        cache.header().compatibilityLevel = level;
        for (const auto& reset :
             {+[] { return TvsiDetachSharedCache(); }, +[] { return TvsiStatsForBrox(&record); }}) {
            ASSERT_EQ(attach(cache.name()).status, TVSI_ERR_CACHE_WRONG_VERSION);
            EXPECT_EQ(attachedBy(), 1U);
            EXPECT_EQ(attach("gone~1f2e").status, TVSI_ERR_CACHE_WRONG_VERSION);
            EXPECT_EQ(reset(), TVSI_ERR_CACHE_NOT_ATTACHED);
            EXPECT_EQ(attach("gone~1f2e").status, TVSI_ERR_CACHE_ATTACH_FAILED);
        }
        ASSERT_EQ(attach(cache.name()).status, TVSI_ERR_CACHE_WRONG_VERSION);
        cache.header().compatibilityLevel = libraryLevel;
        ASSERT_EQ(attach(cache.name()), success) << "needs no reset";
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
    }
}

TEST_F(Attach, WaitsTwoSecondsForACacheToGetReady) {
    cache.segment().setInitDone(false);
    const std::string timeOut =
        "[ERROR]: Time out after 2 seconds waiting for cache initialization to complete.  "
        "Monitor died?";
    for (const std::size_t size : {roomySize, 20UL}) {
        const auto start = std::chrono::steady_clock::now();
        const std::string text = timeOut.substr(0, size - 1);
        internal::CaptureStdout();
        EXPECT_EQ(attach(cache.name(), size), (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, text}));
        EXPECT_EQ(internal::GetCapturedStdout(), text + "\n");
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1950));
        EXPECT_EQ(attachedBy(), 1U);
    }
    const std::jthread monitor([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        cache.segment().setInitDone();
    });
    EXPECT_EQ(attach(cache.name()), success);
    TvsiDetachSharedCache();
}

TEST_F(Detach, EndsTheAttachmentOnceAndLeavesTheProcessAsItWas) {
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

/* Makes a call in a thread with that little stack; too little ends the process. */
int callOnStackOf(std::size_t kibibytes, const std::function<int()>& call) {
    struct Result {
        const std::function<int()>& call;
        int status = -1;
    } result{call};
    const auto run = [](void* argument) -> void* {
        auto* thread = static_cast<Result*>(argument);
        thread->status = thread->call();
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_t id{};
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstacksize(&attributes, kibibytes << 10), 0);
    EXPECT_EQ(pthread_create(&id, &attributes, run, &result), 0);
    pthread_join(id, nullptr);
    return result.status;
}

TEST(Stack, IsEnoughWhenItIsAsLargeAsPromised) {
#if !defined(__OPTIMIZE__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "for builds that people use";
#endif
    TestCache cache;
    cache.registry().removeRecord(cache.broxName()); /* so that the directory is scanned */
    cache.occupy(2, SHRPC_VOK, "Session2");
    TvsiInit();
    char text[64];
    const auto attachByBrox = [&] {
        return TvsiAttachSharedCacheForBrox("prod", text, sizeof text);
    };
    EXPECT_EQ(callOnStackOf(80, attachByBrox), TVSI_SUCCESS) << text;
    for (int query = 0; query < queryCount; ++query) {
        EXPECT_THAT(callOnStackOf(32, [query] { return anyQuery(query); }),
                    testing::AnyOf(TVSI_SUCCESS, TVSI_ERR_NOT_FOUND));
    }
    EXPECT_EQ(callOnStackOf(32, TvsiDetachSharedCache), TVSI_SUCCESS);
    EXPECT_EQ(callOnStackOf(80, attachByBrox), TVSI_SUCCESS) << text;
    cache.segment().release(1);
    EXPECT_EQ(callOnStackOf(32, [] { return anyQuery(0); }), TVSI_ERR_CACHE_CONNECTION_SEVERED);
}

/* The handle by itself, without the watcher. */
struct Handle : Test {
    Handle() { manager.init(); }
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

TEST_F(Handle, WithoutAWatcherIsRecycledWithoutAJoin) {
    handle.status = SPC_ACTIVE;
    EXPECT_EQ(manager.recycleHandle(&handle), TVSI_ERR_CACHE_NOT_ATTACHED);
    EXPECT_EQ(callCount("pthread_join"), 0);
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
    for (const int impossible : {int{SPC_ATTACHED}, 4}) {
        handle.status = impossible;
        const Outcome outcome = inNovember([&] {
            SharedCacheLockHolder holder(&handle);
            handle.checkCacheStatus(&holder);
        });
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, ContainsRegex("UTL_GUARANTEE failed, File tvsi line [0-9]+\n"));
    }
}

} // namespace
