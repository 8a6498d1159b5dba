/* Segments with any contents: refused with a text or served, never followed. */
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <vector>

#include "attachcall.h"
#include "basetypes.h"
#include "faults.h"
#include "member.h"
#include "processstate.h"
#include "queries.h"
#include "shrpccmn.h"
#include "testcache.h"

using namespace testsupport;
using testing::HasSubstr;

namespace {

constexpr std::uint32_t slots = 5;
constexpr std::uint64_t tableSize = slots * sizeof(ShrPcPteSType);

/* Maps a segment with inaccessible pages before and behind it, which stay when it goes. */
void* attachGuarded(int id, int flags) {
    constexpr int kind = MAP_PRIVATE | MAP_ANONYMOUS;
    auto* start = static_cast<char*>(mmap(nullptr, 64 << 20, PROT_NONE, kind, -1, 0));
    constexpr std::uintptr_t alignment = 0x200000;
    const std::uintptr_t rest = reinterpret_cast<std::uintptr_t>(start) % alignment;
    return shmat(id, start + alignment - rest, flags | SHM_REMAP);
}

/* The default layout, in a segment with room for another process table behind everything. */
TestCacheOptions roomyOptions() {
    TestCacheOptions options;
    options.geometry = standin::SegmentGeometry::withSlots(slots);
    options.geometry.segmentSize = (options.geometry.segmentSize + tableSize + 4095) / 4096 * 4096;
    return options;
}

struct HostileSegmentTest : testing::Test {
    HostileSegmentTest() { TvsiInit(); }
    ~HostileSegmentTest() override { TvsiDetachSharedCache(); }

    /* The text for the caller goes to `text`, standard output to `printed`. */
    int attach(const std::string& name) {
        const ScopedOverride<decltype(shmat)> guarded(
            "shmat", [](int id, auto*, int flags) { return attachGuarded(id, flags); });
        testing::internal::CaptureStdout();
        const Answer answer = testsupport::attach(name);
        printed = testing::internal::GetCapturedStdout();
        text = answer.text;
        return answer.status;
    }

    template <typename Object> Object* at(std::uint64_t offset) {
        return reinterpret_cast<Object*>(static_cast<char*>(cache.segment().address()) + offset);
    }

    TestCache cache{roomyOptions()};
    std::string text, printed;
    /* The watcher looks every few milliseconds, so that a detach takes no second. */
    ScopedOverride<decltype(poll)> quickWatcher{
        "poll", [](auto* fds, auto count, int) { return poll(fds, count, 2); }};
};

} // namespace

TEST_F(HostileSegmentTest, SegmentOfAnySizeIsRefusedWithTheSizeThatIsMissing) {
    for (const std::size_t size : {1U, 100U, 1287U, 1288U, 4096U}) {
        const auto segment =
            standin::SharedSegment::ofBytes(std::vector<std::byte>(size), 0600,
                                            [&](key_t key) { cache.recordCache("small~1", key); });
        const bool hasHeader = size >= sizeof(ShrPcConfigSType);
        if (hasHeader) {
            auto* header = static_cast<ShrPcConfigSType*>(segment.address());
            header->compatibilityLevel = SHRPC_COMPATIBILITY_LEVEL;
            header->initDone = TRUE;
        }
        EXPECT_EQ(attach("small~1"), TVSI_ERR_CACHE_ATTACH_FAILED);
        EXPECT_THAT(text, testing::AllOf(HasSubstr(hasHeader ? "process table" : "header"),
                                         HasSubstr(hasHeader ? "79872" : "1288"),
                                         HasSubstr(std::to_string(size) + " bytes")));
        EXPECT_EQ(attachments(segment.id()), 1) << "only the test's own one";
    }
}

TEST_F(HostileSegmentTest, EveryRegionMustLieInsideAsFarAsItIsRead) {
    const std::uint64_t size = cache.segment().size();
    std::vector<std::uint64_t> reads;
    for (const ShrPcRegionSType& region : SHRPC_REGIONS) {
        const std::uint64_t read = region.read * (reads.empty() ? slots : 1);
        reads.push_back(read);
        std::uint64_t& offset = cache.header().*region.offset;
        const std::uint64_t good = offset;
        for (const std::uint64_t bad :
             {size - read + 1, size - read + 8, size, size + 1, size + 8, std::uint64_t{1} << 63,
              0 - size, 0 - read, ~std::uint64_t{0}, ~std::uint64_t{7}}) {
            SCOPED_TRACE(testing::Message() << region.name << " at " << bad);
            offset = bad;
            EXPECT_EQ(attach(cache.name()), TVSI_ERR_CACHE_ATTACH_FAILED);
            EXPECT_THAT(text, testing::AllOf(
                                  HasSubstr(region.name), HasSubstr(std::to_string(read)),
                                  HasSubstr(std::to_string(bad)), HasSubstr(std::to_string(size))));
            EXPECT_EQ(std::ranges::count(printed, '\n'), 1) << printed;
        }
        offset = read == 1 ? size - 1 : good;
        EXPECT_EQ(attach(cache.name()), TVSI_SUCCESS) << region.name << ": " << text;
        EXPECT_EQ(TvsiDetachSharedCache(), TVSI_SUCCESS);
        offset = good;
    }
    EXPECT_THAT(reads,
                testing::ElementsAre(slots * 39936, 33344 + 192, 192, 192, 1, 1, 1, 1, 1, 1));
    cache.header().processTableOffset += 4;
    EXPECT_EQ(attach(cache.name()), TVSI_ERR_CACHE_ATTACH_FAILED) << "not a multiple of 8";
    EXPECT_THAT(text, HasSubstr("aligned"));
}

TEST_F(HostileSegmentTest, LocksThatEndWithTheSegmentAreReadWithoutReadingOn) {
    const std::uint64_t size = cache.segment().size();
    cache.header().miscDataOffset = size - 33536;
    standin::setLockName(*at<HostShrSpinLockSType>(size - 33536 + 32832), "GlobalStats");
    standin::setLockName(*at<HostShrSpinLockSType>(size - 192), "ChkptInfo");
    ASSERT_EQ(attach(cache.name()), TVSI_SUCCESS) << text;
}

TEST_F(HostileSegmentTest, NumProcessesIsReadAfreshAndNeverBelieved) {
    cache.header().processTableOffset = cache.segment().size() - tableSize;
    auto* table = at<ShrPcPteSType>(cache.header().processTableOffset);
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
        table[slot].inUse = TRUE;
        table[slot].stats.processId = getpid();
        table[slot].statType = slot == 0 ? SHRPC_MONITOR : slot == 1 ? SHRPC_BROX : SHRPC_VOK;
    }
    int entries = 0;
    for (const std::uint32_t atAttach : {2U, slots}) {
        for (const std::uint32_t later :
             {0U, 1U, 2U, 3U, slots, slots + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            cache.header().numProcesses = atAttach;
            ASSERT_EQ(attach(cache.name()), TVSI_SUCCESS) << text;
            cache.header().numProcesses = later;
            const bool isAlive = later >= 2 && later <= 0x7FFFFFFF;
            TvsiFetchMaxProcessesInCache(&entries); /* -1 when it severs the connection */
            EXPECT_EQ(entries, isAlive ? static_cast<int>(std::min(later, slots)) : -1) << later;
            for (int i = 0; i < queryCount; ++i) {
                anyQuery(i, 1);
            }
            TvsiDetachSharedCache();
        }
    }
    for (const std::uint32_t atAttach :
         {0U, 1U, slots + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        const bool tooMany = atAttach > slots && atAttach <= 0x7FFFFFFF;
        cache.header().numProcesses = atAttach;
        EXPECT_EQ(attach(cache.name()), tooMany ? TVSI_ERR_CACHE_ATTACH_FAILED : TVSI_SUCCESS);
        TvsiFetchMaxProcessesInCache(&entries);
        EXPECT_EQ(entries, -1);
        TvsiDetachSharedCache();
    }
}

TEST_F(HostileSegmentTest, NumProcessesMayChangeWhileQueriesRun) {
    ASSERT_EQ(attach(cache.name()), TVSI_SUCCESS) << text;
    const standin::Member writer("writer", [&](standin::MemberProcess& process) {
        process.reportStarted();
        constexpr std::uint32_t sizes[] = {2, 0x7FFFFFFF, 3, slots, slots + 1, 100000};
        for (std::size_t i = 0; process.waitForUpdate(std::chrono::nanoseconds(1)); ++i) {
            cache.header().numProcesses = sizes[i % std::size(sizes)];
        }
    });
    for (int i = 0; i < 3000 * queryCount; ++i) {
        ASSERT_THAT(anyQuery(i, 2), testing::AnyOf(TVSI_SUCCESS, TVSI_ERR_NOT_FOUND)) << i;
    }
}
