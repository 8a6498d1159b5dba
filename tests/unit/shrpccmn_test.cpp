/* The checks of an attached segment and the view that is derived from its header. */
#include <chrono>
#include <cstring>
#include <gmock/gmock.h>

#include "attachcall.h"
#include "hostprocess.h"
#include "rows.h"
#include "shrpccmn.h"
#include "testcache.h"

using namespace testing;
using namespace testsupport;

namespace {

ShrPcStateSType poisonedView() {
    ShrPcStateSType view;
    std::memset(static_cast<void*>(&view), 0x5A, sizeof view);
    return view;
}

TEST(View, LocatesEveryRegionOfTheSegment) {
    TestCacheOptions options;
    standin::SegmentCounts counts;
    counts.numPages = 100;
    counts.hashTableSize = 256;
    counts.numFreeListPces = 191;
    counts.numHashTableLocks = 7;
    counts.numSharedCounters = 11;
    options.geometry = standin::SegmentGeometry(counts);
    const TestCache cache(options);
    ShrPcConfigSType& header = cache.header();
    ShrPcStateSType view = poisonedView();
    ASSERT_TRUE(ShrPcInit(&view, &header, FALSE));
    const struct {
        const char* name;
        const volatile void* address;
        std::uint64_t offset;
    } addresses[] = {
        {"configPtr", view.configPtr, 0},
        {"baseAddress", view.cache.baseAddress, 16384},
        {"fakePagePtr", view.cache.fakePagePtr, 16384},
        {"cacheData", view.cache.cacheData, 32768},
        {"cacheLimit", view.cache.cacheLimit, 32768 + 100 * 16384},
        {"pces", view.cache.pces, header.pceOffset},
        {"freePceList", view.cache.freePceList, header.pceOffset + std::uint64_t{256} * 64},
        {"miscDataPtr", view.miscDataPtr, header.miscDataOffset},
        {"hashTableLocksPtr", view.hashTableLocksPtr, header.spinLocksOffset},
        {"pageFrameLocksPtr", view.pageFrameLocksPtr, header.frameLocksOffset},
        {"processTable", view.processTable, header.processTableOffset},
        {"statePtr", view.cache.statePtr, header.cacheStateOffset},
        {"frameHistoryPtr", view.frameHistoryPtr, header.frameHistoryOffset},
        {"sharedCountersPtr", view.sharedCountersPtr, header.sharedCountersOffset},
        {"free frames", view.freeFrameList.words, header.freeFrameBitListOffset},
        {"free PCEs", view.freePceList.words, header.freePceBitListOffset},
        {"extentIdHashBits", view.cache.extentIdHashBits, 260},
    };
    for (const auto& [name, address, offset] : addresses) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(address),
                  reinterpret_cast<std::uintptr_t>(&header) + offset)
            << name;
    }
    EXPECT_EQ(view.spinLockCount, 7);
    EXPECT_EQ(view.numSharedCounters, 11);
    EXPECT_EQ(view.cache.hashMask, 255u);
    const std::pair<ShrPcFreeList*, unsigned> lists[] = {{&view.freeFrameList, 1},
                                                         {&view.freePceList, 2}};
    for (const auto& [list, words] : lists) {
        EXPECT_EQ(list->shrpcPtr, &view);
        EXPECT_EQ(list->numWords, words);
        EXPECT_EQ(list->maxBit, 64 * words - 1);
        EXPECT_EQ(list->myStartIndex, 0u);
    }
    EXPECT_EQ(view.findFreeFrameClockHand + view.pageCreationOrigin + view.pageCacheHitOrigin, 0);
    EXPECT_THAT(view.ioSampler.bytes, Each(0));
    EXPECT_EQ(view.locationStr[0], 0x5A) << "not this step's";
}

/* In the order of the checks; what is located after a failed one stays as it was. */
TEST(View, AnotherElementSizeIsToldAndEndsTheDerivation) {
    const TestCache cache;
    ShrPcStateSType view;
    const ShrPcStateSType untouched = poisonedView();
    const struct {
        std::int32_t ShrPcConfigSType::*field;
        const char* name;
        std::int32_t expected;
        int line;
        const void* nextField;
    } sizes[] = {
        {&ShrPcConfigSType::pceSize, "aPce", 64, 197, &view.cache.freePceList},
        {&ShrPcConfigSType::miscDataSize, "miscData", 438936, 206, &view.spinLockCount},
        {&ShrPcConfigSType::frameLockSize, "frameLock", 192, 216, &view.processTable},
        {&ShrPcConfigSType::pteSize, "aPte", 39936, 223, &view.cache.statePtr},
        {&ShrPcConfigSType::cacheStateSize, "cacheState", 312, 230, &view.frameHistoryPtr},
        {&ShrPcConfigSType::frameHistEntrySize, "aFrameHistory", 40, 237, &view.sharedCountersPtr},
        {&ShrPcConfigSType::sharedCounterSize, "sharedCounter", 192, 245, &view.freeFrameList},
    };
    for (const auto& size : sizes) {
        for (const std::int32_t wrong : {size.expected - 1, size.expected + 1, 0, -1}) {
            cache.header().*size.field = wrong;
            view = poisonedView();
            internal::CaptureStdout();
            EXPECT_FALSE(ShrPcInit(&view, &cache.header(), FALSE));
            EXPECT_EQ(internal::GetCapturedStdout(),
                      std::string("ERROR in sizeof ") + size.name + ",  my size " +
                          std::to_string(size.expected) + ", cache's size " +
                          std::to_string(wrong) + " , file shrpccmn line " +
                          std::to_string(size.line) + " \n");
            for (const auto* later = &size; later != std::end(sizes); ++later) {
                EXPECT_EQ(std::memcmp(later->nextField, &untouched, sizeof(int)), 0) << later->name;
            }
        }
        cache.header().*size.field = size.expected;
    }
}

TEST(Validation, VersionComesBeforeReadinessBeforeSizes) {
    const TestCache cache;
    TvsiInit();
    cache.header().pteSize = 1;
    internal::CaptureStdout();
    EXPECT_EQ(attach(cache.name()), (Answer{TVSI_ERR_CACHE_ATTACH_FAILED, ""}));
    EXPECT_THAT(internal::GetCapturedStdout(), StartsWith("ERROR in sizeof"));
    cache.segment().setInitDone(false);
    EXPECT_THAT(attach(cache.name()).text, StartsWith("[ERROR]: Time out"));
    cache.header().compatibilityLevel = 1;
    EXPECT_EQ(attach(cache.name()).status, TVSI_ERR_CACHE_WRONG_VERSION);
}

TEST(Validation, ALockOfAnotherNameEndsTheProcess) {
    const TestCache cache;
    const auto attached = [&] {
        return inNovember([&] {
            TvsiInit();
            std::_Exit(attach(cache.name()).status);
        });
    };
    const struct {
        HostShrSpinLockSType& lock;
        std::string good, bad, line;
    } cases[] = {
        {cache.segment().globalStatsLock(), "GlobalStats", "GlobalStat", "1687"},
        {cache.segment().checkpointLock(), "ChkptInfo", "ChkptInf", "1687"},
        {cache.segment().hashTableLock(0), "HashTable_0", "HashTable_1", "1693"},
        {cache.segment().frameLock(0), "FrameLock_0", "", "1693"},
    };
    for (const auto& [lock, good, bad, line] : cases) {
        standin::setLockName(lock, bad);
        const Outcome outcome = attached();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err,
                    HasSubstr("\nUTL_GUARANTEE failed, File hostshr line " + line + "\n"));
        standin::setLockName(lock, good + "7");
    }
    EXPECT_EQ(attached().status, TVSI_SUCCESS) << "longer names are fine";
}

/* The flag may still be set in the very last sleep; the clock says when the time is up. */
TEST(CacheInitWait, SleepsInStepsAndLooksOnceMoreWhenTheTimeIsUp) {
    /* when the flag is set and how long it is waited for, in milliseconds; result and sleeps */
    const std::tuple<int, int, BoolType, int> cases[] = {{0, 2000, TRUE, 0},
                                                         {1000, 2000, TRUE, 20},
                                                         {2000, 2000, TRUE, 40},
                                                         {2000, 1950, FALSE, 39}};
    forEachRow(cases, [&](int readyAt, int limit, BoolType expected, int sleeps) {
        ShrPcConfigSType header{};
        int now = 0;
        header.initDone = readyAt == now;
        const ScopedOverride<int(clockid_t, timespec*)> clock(
            "clock_gettime", [&](auto, auto* time) {
                *time = {now / 1000, now % 1000 * 1'000'000};
                return 0;
            });
        const ScopedOverride<int(clockid_t, int, const timespec*, timespec*)> sleep(
            "clock_nanosleep", [&](clockid_t id, int, const timespec* time, timespec*) {
                EXPECT_EQ(id, CLOCK_MONOTONIC);
                EXPECT_EQ(time->tv_nsec, 50'000'000);
                header.initDone = (now += 50) == readyAt || header.initDone;
                return 0;
            });
        EXPECT_EQ(header.waitForCacheInit(limit), expected) << readyAt;
        EXPECT_EQ(now, 50 * sleeps);
    });
}

} // namespace
