/* What a query reads of the segment, word by word, and words that change between two reads. */
#include <climits>
#include <gtest/gtest.h>
#include <optional>
#include <poll.h>
#include <regex.h>
#include <sys/shm.h>

#include "attachcall.h"
#include "faults.h"
#include "runningprogram.h"
#include "testcache.h"
#include "watchedmemory.h"

using namespace testing;
using namespace testsupport;

namespace {

constexpr std::uint32_t slots = 6;
TvsiResultSType record;
int count;

/* "N": the header's number of entries; else a slot and which of its words. */
std::string wordAt(std::size_t distance, const standin::SegmentGeometry& geometry) {
    if (distance < geometry.processTableOffset) {
        return distance == offsetof(ShrPcConfigSType, numProcesses) ? "N " : "? ";
    }
    const std::size_t inTable = distance - geometry.processTableOffset;
    const std::size_t offset = inTable % sizeof(ShrPcPteSType);
    const char* word = offset == 0                ? " inUse "
                       : offset == 2544           ? " pid "
                       : offset == 2548           ? " id "
                       : offset == 3248           ? " vokKind "
                       : offset == 4336           ? " kind "
                       : offset / 64 == 4304 / 64 ? " name " /* however it is loaded */
                                                  : " ? ";
    return std::to_string(inTable / sizeof(ShrPcPteSType)) + word;
}

class Reads : public Test {
protected:
    void SetUp() override {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP() << "keeps the signals back";
#endif
        const ScopedOverride<decltype(shmat)> noted(
            "shmat", [this](auto... arguments) { return segment_ = shmat(arguments...); });
        TvsiInit();
        ASSERT_EQ(attach(cache.name()), success);
        ASSERT_TRUE(eventually([this] { return isAsleep_.load(); }));
    }
    void TearDown() override {
        mayWake_ = true;
        mayWake_.notify_all();
        TvsiDetachSharedCache();
    }

    /* Makes a query while the segment's words are watched: its status, and before it what it read.
       `change` is told each word before it is read. */
    std::pair<std::string, int> readsOf(
        const std::function<int()>& query,
        const std::function<void(const std::string&)>& change = [](const auto&) {}) {
        std::string words, last;
        const auto note = [&](std::size_t distance) {
            const std::string word = wordAt(distance, cache.segment().geometry());
            words += word == last ? "" : word;
            change(last = word);
        };
        std::optional<WatchedMemory> watch(std::in_place, segment_, cache.segment().size(), note);
        const int status = query();
        watch.reset();
        return {words, status};
    }

    TestCache cache{{.geometry = standin::SegmentGeometry::withSlots(slots)}};

private:
    void* segment_ = nullptr;
    std::atomic<bool> isAsleep_{false}, mayWake_{false};
    /* The watcher looks once and then sleeps until the end. */
    const ScopedOverride<decltype(poll)> sleep_{"poll", [this](auto* fds, auto number, int span) {
                                                    if (span < 1000) {
                                                        return poll(fds, number, span);
                                                    }
                                                    isAsleep_ = true;
                                                    mayWake_.wait(false);
                                                    return 0;
                                                }};
};

TEST_F(Reads, AnEntrysWordsAreReadInOrderAndOfAFreeOneThatItIsFree) {
    const struct {
        std::uint32_t kind;
        int session;
    } entries[] = {{SHRPC_MONITOR, 0}, {SHRPC_BROX, 0},           {SHRPC_VOK, 5},
                   {SHRPC_VOK, 6},     {SHRPC_VOK_PGSVR_MAIN, 6}, {SHRPC_VOK, 6}};
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
        cache.occupy(slot, entries[slot].kind, "name", entries[slot].session);
    }
    cache.segment().release(3);
    const std::string alive = "N 0 inUse 1 inUse N ";
    struct {
        const char* changing; /* the word before whose read slots 4 and 5 lose their session */
        std::function<int()> query;
        int status;
        std::string reads;
    } const cases[] = {
        {"", [] { return TvsiStatsForVokSessionId(7, &record); }, TVSI_ERR_NOT_FOUND,
         "2 inUse 2 id 3 inUse 4 inUse 4 id 5 inUse 5 id "},
        {"5 kind ", [] { return TvsiStatsForVokSessionId(6, &record); }, TVSI_ERR_NOT_FOUND,
         "2 inUse 2 id 3 inUse 4 inUse 4 id 4 kind 5 inUse 5 id 5 kind 5 id "},
        {"4 kind ", [] { return TvsiStatsForPgsvrSessionId(6, &record); }, TVSI_ERR_NOT_FOUND,
         "0 inUse 0 id 1 inUse 1 id 2 inUse 2 id 3 inUse 4 inUse 4 id 4 kind 4 id 5 inUse 5 id "},
        {"", [] { return TvsiStatsForProcessId(INT_MAX, &record); }, TVSI_ERR_NOT_FOUND,
         "0 inUse 0 pid 1 inUse 1 pid 2 inUse 2 pid 3 inUse 4 inUse 4 pid 5 inUse 5 pid "},
        {"", [] { return TvsiStatsForVokSessionWithName("other", &record); }, TVSI_ERR_NOT_FOUND,
         "2 inUse 2 kind 2 name 3 inUse 4 inUse 4 kind 5 inUse 5 kind 5 name "},
        {"", [] { return TvsiAllVokStatsForVokKindRange(8, 9, nullptr, &count); }, TVSI_SUCCESS,
         "2 inUse 2 kind 2 vokKind 3 inUse 4 inUse 4 kind 5 inUse 5 kind 5 vokKind "},
        {"", [] { return TvsiAllVokStatsForRegexName("x", 0, nullptr, &count, nullptr, 0); },
         TVSI_SUCCESS, "2 inUse 2 kind 2 name 3 inUse 4 inUse 4 kind 5 inUse 5 kind 5 name "},
        {"", [] { return TvsiAllStatsForMask(SHRPC_PAGEMGR, &record, &(count = 1)); }, TVSI_SUCCESS,
         "0 inUse 0 kind 1 inUse 1 kind 2 inUse 2 kind 3 inUse 4 inUse 4 kind 5 inUse 5 kind "},
    };
    for (const auto& example : cases) {
        const auto change = [&](const std::string& word) {
            if (word == example.changing) {
                cache.entry(4).stats.sessionId = cache.entry(5).stats.sessionId = 7;
            }
        };
        cache.entry(4).stats.sessionId = cache.entry(5).stats.sessionId = 6;
        EXPECT_EQ(readsOf(example.query, change), std::pair(alive + example.reads, example.status));
    }
}

TEST_F(Reads, AShrinkingTableEndsNoAttachment) {
    const std::pair<int, int> cases[] = {{slots, slots}, {2, 2}, {1, 1}, {0, 0}, {INT_MIN, 0}};
    for (const auto& [entries, expected] : cases) {
        cache.header().numProcesses = slots;
        const auto shrunk = static_cast<std::uint32_t>(entries);
        const auto shrink = [&](const std::string& word) {
            if (word == "1 inUse ") { /* the cache has been found alive */
                cache.header().numProcesses = shrunk;
            }
        };
        EXPECT_EQ(readsOf([] { return TvsiFetchMaxProcessesInCache(&count); }, shrink),
                  std::pair(std::string("N 0 inUse 1 inUse N "), int{TVSI_SUCCESS}));
        EXPECT_EQ(count, expected);
    }
    cache.header().numProcesses = slots;
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
}

TEST_F(Reads, AnExpressionIsCompiledBeforeTheTablesSizeAndTheCapacityAreRead) {
    TvsiResultSType records[3];
    cache.occupy(2, SHRPC_VOK, "name");
    cache.occupy(3, SHRPC_VOK, "name");
    const auto matches = [&](std::uint32_t entries, int capacity) {
        const ScopedOverride<decltype(regcomp)> late("regcomp", [&](auto... arguments) {
            cache.header().numProcesses = entries;
            count = capacity;
            return regcomp(arguments...);
        });
        count = 3;
        EXPECT_EQ(TvsiAllVokStatsForRegexName("name", 0, records, &count, nullptr, 0),
                  TVSI_SUCCESS);
        return count;
    };
    EXPECT_EQ(matches(slots, 3), 2);
    EXPECT_EQ(matches(3, 3), 1);
    EXPECT_EQ(matches(slots, 1), 1);
}

} // namespace
