/* Many threads at once, and a segment that changes under them. */
#include <barrier>
#include <gmock/gmock.h>
#include <random>
#include <thread>

#include "attachcall.h"
#include "faults.h"
#include "hostunix.h"
#include "member.h"
#include "netinfolocal.h"
#include "process.h"
#include "processstate.h"
#include "queries.h"
#include "testcache.h"
#include "utl.h"

using namespace testsupport;
using namespace std::chrono_literals;

namespace {

constexpr int threadCount = 16;

/* Runs `body` with numbers from 0 in 16 threads that start at the same moment. */
void inThreads(const std::function<void(int)>& body) {
    std::barrier start(threadCount);
    std::vector<std::jthread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            body(i);
        });
    }
}

void expectNothingLeft(const ProcessState& before) {
    const ProcessState after = processStateSince(before);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.sharedMemory, before.sharedMemory);
    EXPECT_EQ(callCount("pthread_join"), callCount("pthread_create"));
}

/* 16 threads query a cache, which `end` ends when the first one has found it alive. */
void expectEveryThreadToNotice(const TestCache& cache, const std::function<void()>& end) {
    const ProcessState before = stateAfterFirstThread();
    ASSERT_EQ(attach(cache.name()), success);
    std::once_flag isEnded;
    inThreads([&](int thread) {
        const auto limit = std::chrono::steady_clock::now() + 40s;
        int status = TVSI_SUCCESS;
        for (int i = thread; status != TVSI_ERR_CACHE_NOT_ATTACHED; ++i) {
            status = anyQuery(i);
            if (status == TVSI_ERR_NOT_FOUND) {
                std::call_once(isEnded, end);
            }
            ASSERT_THAT(status, testing::AnyOf(TVSI_SUCCESS, TVSI_ERR_NOT_FOUND,
                                               TVSI_ERR_CACHE_CONNECTION_SEVERED,
                                               TVSI_ERR_CACHE_NOT_ATTACHED));
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << "the cache is still alive";
        }
    });
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_ERR_CACHE_NOT_ATTACHED);
    expectNothingLeft(before);
}

struct Races : testing::Test {
    Races() { TvsiInit(); }
    TestCache cache;
};

} // namespace

TEST_F(Races, ASegmentMayBeRewrittenWhileSixteenThreadsQuery) {
    ASSERT_EQ(attach(cache.name()), success);
    const standin::Member writer("writer", [&](standin::MemberProcess& process) {
        process.reportStarted();
        std::minstd_rand random(1);
        const std::uint32_t slots = cache.segment().geometry().counts.numProcesses;
        while (process.waitForUpdate(1ns)) {
            for (std::uint32_t slot = 0; slot < slots; ++slot) {
                ShrPcPteSType& entry = cache.entry(slot);
                const std::span bytes(reinterpret_cast<unsigned char*>(&entry.stats), 1800);
                std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(random()); });
                entry.inUse = slot < 2 ? TRUE : static_cast<int>(random() & 1);
                entry.statType = slot == 0 ? SHRPC_MONITOR : slot == 1 ? SHRPC_BROX : SHRPC_VOK;
            }
            cache.header().numProcesses = static_cast<std::uint32_t>(2 + random() % 100);
        }
    });
    inThreads([&](int thread) {
        const auto end = std::chrono::steady_clock::now() + 1s;
        for (int i = thread; std::chrono::steady_clock::now() < end; ++i) {
            ASSERT_THAT(anyQuery(i),
                        testing::AnyOf(TVSI_SUCCESS, TVSI_ERR_NOT_FOUND, TVSI_ERR_NO_BROX,
                                       TVSI_ERR_CACHE_CONNECTION_SEVERED));
        }
    });
    EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS) << "slots 0 and 1 were in use all the time";
}

TEST_F(Races, EveryThreadNoticesThatTheMonitorWasKilled) {
    ChildProcess monitor([] { pause(); });
    cache.occupy(0, SHRPC_MONITOR, "shrpcmonitor", 0, monitor.pid());
    expectEveryThreadToNotice(cache, [&] {
        monitor.send(SIGKILL);
        monitor.wait(); /* a zombie would count as alive */
    });
}

TEST_F(Races, EveryThreadNoticesThatASlotWasReleased) {
    expectEveryThreadToNotice(cache, [&] { cache.segment().release(0); });
    cache.occupy(0, SHRPC_MONITOR);
    expectEveryThreadToNotice(cache, [&] { cache.segment().release(1); });
}

TEST(FirstCalls, OneOfManyInitialisationsTakesPlace) {
    inThreads([](int thread) {
        if (thread % 2 == 0) {
            TvsiInit();
        }
        for (int i = 0; i < 1000; ++i) {
            ASSERT_THAT(anyQuery(i % 10),
                        testing::AnyOf(TVSI_ERR_NO_INIT, TVSI_ERR_CACHE_NOT_ATTACHED));
        }
    });
    EXPECT_EQ(anyQuery(0), TVSI_ERR_CACHE_NOT_ATTACHED);
}

TEST(FirstCalls, ProcessWideValuesAreTheSameForAllThatAskFirst) {
    TestCache cache;
    setenv("TX_CFTIME", "%d.%m. %H:%M:%S", 1);
    std::string answers[threadCount];
    inThreads([&](int thread) {
        TciCTimeStringType date;
        UtlCtime(86400, &date);
        char listed[256], address[64];
        UtlListTimeStr(86400, listed, sizeof listed);
        SocketGetFirstIpAddressForMyHost(address, sizeof address);
        std::uint64_t hostId = 0;
        EXPECT_TRUE(NetInfoLocalGetUniqueHostId(&hostId, nullptr, FALSE));
        NetInfoSType record;
        EXPECT_EQ(NetInfoFindLocal(cache.name().c_str(), &record, nullptr), NIRES_OK);
        std::ostringstream answer;
        answer << HostGetGlobalTalvexDir() << " " << hostId << " " << date.msg << " " << listed
               << HostGetUserName() << address << record.ftok_key << record.creationTimeStr;
        answers[thread] = answer.str();
    });
    EXPECT_THAT(answers[0], testing::StartsWith(cache.directory().string() + "/ 7982 02.01. "));
    EXPECT_THAT(answers, testing::Each(answers[0]));
}
