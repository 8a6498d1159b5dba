/* The queries: which entries they find, in which order, and the bytes that they hand out. */
#include <climits>
#include <cstring>
#include <gmock/gmock.h>
#include <numeric>
#include <regex.h>

#include "attachcall.h"
#include "basetypes.h"
#include "hostprocess.h"
#include "testcache.h"

using namespace std::string_literals;
using namespace testing;
using namespace testsupport;

namespace {

constexpr int slots = 64;
/* What a query finds: slots, or the status of its failure. */
const std::string notFound = "failure 3", badArgument = "failure 4";

TvsiResultSType poisoned() {
    TvsiResultSType result;
    std::memset(&result, 0x5A, sizeof result);
    return result;
}

bool isPoisoned(const TvsiResultSType& result) {
    const TvsiResultSType expected = poisoned();
    return std::memcmp(&result, &expected, sizeof result) == 0;
}

/* Each entry has its slot's number in a field that nobody else looks at. */
int slotOf(const TvsiResultSType& result) {
    int slot;
    std::memcpy(&slot, &result.stats.cmn64, sizeof slot);
    return slot;
}

/* What a query makes of an array with room for `capacity`; what lies behind its records, or all if
   it fails, must be untouched. */
std::string found(int capacity, const std::function<int(TvsiResultSType*, int*)>& query) {
    std::vector<TvsiResultSType> results(slots + 8, poisoned());
    int count = capacity;
    const int status = query(results.data(), &count);
    const auto end = results.begin() + (status == TVSI_SUCCESS ? count : 0);
    EXPECT_LE(count, capacity);
    EXPECT_TRUE(std::all_of(end, results.end(), isPoisoned));
    std::string all = status == TVSI_SUCCESS ? "" : "failure " + std::to_string(status);
    for (auto result = results.begin(); result != end; ++result) {
        all += (all.empty() ? "" : " ") + std::to_string(slotOf(*result));
    }
    return all;
}

template <typename... Args, typename... Keys> std::string one(int (*query)(Args...), Keys... keys) {
    return found(1, [&](TvsiResultSType* result, int*) { return query(keys..., result); });
}
std::string withPid(int pid) {
    return one(TvsiStatsForProcessId, pid);
}
std::string vokOfSession(int id) {
    return one(TvsiStatsForVokSessionId, id);
}
std::string pgsvrOfSession(int id) {
    return one(TvsiStatsForPgsvrSessionId, id);
}
std::string vokNamed(const std::string& name) {
    return one(TvsiStatsForVokSessionWithName, name.c_str());
}
std::string masked(unsigned int mask, int capacity = slots) {
    return found(capacity, std::bind_front(TvsiAllStatsForMask, mask));
}
/* Where they fit, counting without an array must come to the same. */
std::string counted(int capacity, const std::function<int(TvsiResultSType*, int*)>& query) {
    const std::string all = found(capacity, query);
    int count = -7;
    if (capacity == slots && query(nullptr, &count) == TVSI_SUCCESS) {
        EXPECT_EQ(count, std::ranges::count(all, ' ') + (all.empty() ? 0 : 1));
    }
    return all;
}
std::string inRange(int low, int high, int capacity = slots) {
    return counted(capacity, std::bind_front(TvsiAllVokStatsForVokKindRange, low, high));
}
std::string matching(const std::string& regex, BoolType ignoreCase = FALSE, int capacity = slots) {
    return counted(capacity, [&](TvsiResultSType* results, int* size) {
        return TvsiAllVokStatsForRegexName(regex.c_str(), ignoreCase, results, size, nullptr, 0);
    });
}

struct Queries : Test {
    Queries() {
        TvsiInit();
        EXPECT_EQ(attach(cache.name()), success);
        occupy(0, SHRPC_MONITOR, "", 0, getpid());
        occupy(1, SHRPC_BROX, "", 0, getpid());
    }
    ~Queries() override { TvsiDetachSharedCache(); }

    void occupy(std::uint32_t slot, std::uint32_t kind, const std::string& name = {},
                std::int32_t sessionId = 0, pid_t pid = 0, std::int32_t vokKind = 0) {
        cache.occupy(slot, kind, name.substr(0, 31), sessionId, pid);
        std::memcpy(&cache.entry(slot).stats.cmn64, &slot, sizeof slot);
        cache.entry(slot).stats.u.vok.vokKind = vokKind;
        name.copy(cache.entry(slot).processName, 32); /* 32 characters have no terminator */
    }
    TestCache cache;
};

TEST_F(Queries, ARecordIsTheEntrysBytesAndTheCacheIsNeverWritten) {
    constexpr std::size_t resultOffset = 2544;
    ShrPcPteSType& entry = cache.entry(5);
    auto* bytes = reinterpret_cast<unsigned char*>(&entry);
    std::iota(bytes, bytes + sizeof entry, static_cast<unsigned char>(1));
    entry.statType = SHRPC_VOK;
    entry.stats.processId = 4711;
    entry.stats.sessionId = 12;
    entry.stats.u.vok.vokKind = -3;
    std::memset(entry.processName, 'n', 32); /* no terminator */
    const auto* segment = static_cast<const char*>(cache.segment().address());
    const std::vector<char> before(segment, segment + cache.segment().size());
    const std::function<int(TvsiResultSType*, int*)> queries[] = {
        [](auto* r, int*) { return TvsiStatsForProcessId(4711, r); },
        [](auto* r, int*) { return TvsiStatsForVokSessionId(12, r); },
        [](auto* r, int* n) { return TvsiAllStatsForMask(SHRPC_VOK, r, n); },
        [](auto* r, int* n) { return TvsiAllVokStatsForVokKindRange(-3, -3, r, n); },
        [](auto* r, int* n) { return TvsiAllVokStatsForRegexName("^n{32}$", 0, r, n, nullptr, 0); },
    };
    for (const auto& query : queries) {
        TvsiResultSType results[2] = {poisoned(), poisoned()};
        int count = 1;
        ASSERT_EQ(query(results, &count), TVSI_SUCCESS);
        EXPECT_EQ(count, 1);
        EXPECT_EQ(std::memcmp(results, bytes + resultOffset, 1800), 0);
        EXPECT_TRUE(isPoisoned(results[1]));
    }
    TvsiDetachSharedCache();
    EXPECT_EQ(std::memcmp(segment, before.data(), before.size()), 0);
}

/* Whether they begin at the start of a cache line, in its middle or elsewhere. */
TEST(Copies, HoldTheBytesOfEachEntryAndNoneBeside) {
    TestCache registered;
    TvsiInit();
    attach("nobody~1f2e"); /* chooses the directory for good */
    for (const std::uint32_t shift : {0U, 16U, 40U}) {
        standin::SegmentGeometry geometry;
        geometry.processTableOffset = geometry.segmentSize + shift;
        geometry.segmentSize += slots * sizeof(ShrPcPteSType) + 64;
        const TestCache cache({.geometry = geometry});
        registered.recordCache("moved~1f2e", cache.segment().key());
        ASSERT_EQ(attach("moved~1f2e"), success);
        for (std::uint32_t slot = 2; slot < slots; ++slot) {
            auto& stats = cache.entry(slot).stats;
            auto* bytes = reinterpret_cast<unsigned char*>(&stats);
            std::iota(bytes, bytes + 1800, static_cast<unsigned char>(7 * slot));
            cache.occupy(slot, slot % 3 == 0 ? SHRPC_VOK : SHRPC_VOK_PGSVR_MAIN);
        }
        cache.segment().release(9); /* next to one that is in use */
        std::vector<TvsiResultSType> results(slots + 1, poisoned());
        int count = slots;
        ASSERT_EQ(TvsiAllStatsForMask(SHRPC_ALL, results.data(), &count), TVSI_SUCCESS);
        ASSERT_EQ(count, static_cast<int>(slots) - 1);
        for (std::uint32_t slot = 0, i = 0; slot < slots; ++slot) {
            if (slot != 9) {
                const void* expected = &cache.entry(slot).stats;
                EXPECT_EQ(std::memcmp(&results[i++], expected, 1800), 0) << slot << " " << shift;
            }
        }
        EXPECT_TRUE(isPoisoned(results.back()) && isPoisoned(results[slots - 1]));
        std::fill(results.begin(), results.end(), poisoned());
        ASSERT_EQ(TvsiAllStatsForMask(SHRPC_ALL, results.data(), &(count = 5)), TVSI_SUCCESS);
        EXPECT_TRUE(isPoisoned(results[5]));
        TvsiDetachSharedCache();
    }
}

TEST_F(Queries, FindTheirEntriesInSlotOrder) {
    const std::string x31 = std::string(30, 'x') + "Z";
    const std::string y32(32, 'y');
    const std::tuple<std::uint32_t, std::string, int, int, int> entries[] = {
        {SHRPC_PAGEMGR, "Vok1", 6, 500, 5},
        {SHRPC_VokThr, "Vok1", 6, 0, 5},
        {SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN, "Vok1", 6, 500, 5}, /* no single kind */
        {SHRPC_VOK_PGSVR_THD, "Vok1", 6, 0, 5},
        {SHRPC_VOK_PGSVR_MAIN, "", 6, 0, 5},
        {SHRPC_VOK, "Vok1", 6, 500, INT_MIN},
        {SHRPC_VOK, "gem1", 6, 0, -1},
        {SHRPC_VOK, "Gem22", 8, 0, 0},
        {SHRPC_VOK, x31, 0, 0, 1},
        {SHRPC_VokThr, "", 0, 0, 5},
        {SHRPC_VOK, "", 0, 0, 5},
        {SHRPC_VOK, y32, 0, 0, INT_MAX},
    };
    std::uint32_t next = 2;
    for (const auto& [kind, name, session, pid, vokKind] : entries) {
        occupy(next++, kind, name, session, pid, vokKind);
    }
    occupy(slots - 1, SHRPC_SYSTEM, "", 0, INT_MAX);
    EXPECT_EQ(withPid(500), "2");
    EXPECT_EQ(withPid(INT_MAX), "63");
    EXPECT_EQ(withPid(getpid()), "0") << "the monitor's, also in slot 1";
    EXPECT_EQ(withPid(501), notFound);
    const std::tuple<int, std::string, std::string> sessions[] = {
        {6, "7", "5"}, {8, "9", notFound}, {7, notFound, notFound}};
    for (const auto& [id, vok, pageServer] : sessions) {
        EXPECT_EQ(vokOfSession(id), vok);
        EXPECT_EQ(pgsvrOfSession(id), pageServer);
    }
    EXPECT_EQ(vokNamed(""), "11");
    for (const auto& [name, slot] :
         pairs("Vok1=3  " + x31 + "=10  " + y32 + "=13  " + y32 + "more=13")) {
        EXPECT_EQ(vokNamed(name), slot) << name;
    }
    for (const std::string& name : {"vok1"s, "Vok"s, "Vok11"s, x31 + "Z", y32.substr(1)}) {
        EXPECT_EQ(vokNamed(name), notFound) << name;
    }
    EXPECT_EQ(inRange(INT_MIN, INT_MAX), "7 8 9 10 12 13");
    EXPECT_EQ(inRange(-1, 1), "8 9 10");
    EXPECT_EQ(inRange(5, 5), "12");
    EXPECT_EQ(inRange(2, 4), "");
    EXPECT_EQ(inRange(INT_MIN, INT_MAX, 2), "7 8");
    EXPECT_EQ(inRange(1, 0), badArgument);
    for (const auto& [regex, expected] : pairs("em=8 9  ^gem=8  ^GEM=  [0-9]{2}$=9  (1|Z)$=7 8 10  "
                                               "^$=12  ^y{32}$=13  .*=7 8 9 10 12 13")) {
        EXPECT_EQ(matching(regex), expected) << regex;
    }
    EXPECT_EQ(matching("^GEM", TRUE), "8 9");
    EXPECT_EQ(matching("^GEM", 0x100), "8 9");
    EXPECT_EQ(matching(".*", FALSE, 2), "7 8");
    for (const std::uint32_t slot : {2U, 3U, 5U}) {
        cache.segment().release(slot);
    }
    cache.entry(4).inUse = 0x100; /* any value but 0 */
    EXPECT_EQ(withPid(500), "4");
    EXPECT_EQ(pgsvrOfSession(6), "6");
    EXPECT_EQ(vokNamed("Vok1"), "7");
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
}

TEST_F(Queries, TheFirstTwoSlotsAreNoVoksButMayBePageServers) {
    for (const std::uint32_t slot : {0U, 1U}) {
        occupy(slot, SHRPC_VOK, "Vok", 5);
    }
    for (const std::uint32_t entries : {std::uint32_t{slots}, 2U}) {
        cache.header().numProcesses = entries;
        EXPECT_EQ(vokOfSession(5), notFound);
        EXPECT_EQ(vokNamed("Vok"), notFound);
        EXPECT_EQ(inRange(INT_MIN, INT_MAX), "");
        EXPECT_EQ(matching("."), "");
    }
    occupy(2, SHRPC_VOK_PGSVR_MAIN, "", 5, 77);
    EXPECT_EQ(pgsvrOfSession(5), notFound) << "outside of the table";
    EXPECT_EQ(withPid(77), notFound);
    for (const std::uint32_t slot : {1U, 0U}) {
        occupy(slot, SHRPC_VOK_PGSVR_THD, "", 5);
        EXPECT_EQ(pgsvrOfSession(5), std::to_string(slot));
    }
}

TEST_F(Queries, TheBroxAndTheMonitorOwnTheirSlots) {
    occupy(5, SHRPC_MONITOR);
    occupy(6, SHRPC_BROX);
    EXPECT_EQ(one(TvsiStatsForBrox), "1");
    EXPECT_EQ(one(TvsiStatsForShrPcMon), "0");
    EXPECT_EQ(masked(SHRPC_MONITOR), "0");
    EXPECT_EQ(masked(SHRPC_BROX), "1");
    EXPECT_EQ(masked(3), "0 1");
    EXPECT_EQ(masked(3, 1), "0");
    occupy(0, SHRPC_BROX);
    EXPECT_EQ(one(TvsiStatsForShrPcMon), "failure 5");
    EXPECT_EQ(masked(SHRPC_BROX), "0 1");
    occupy(1, SHRPC_BROX | SHRPC_VOK);
    EXPECT_EQ(one(TvsiStatsForBrox), "failure 6");
    EXPECT_EQ(masked(SHRPC_BROX), "") << "slot 1 is not the Brox's";
    EXPECT_EQ(masked(3), "0 1");
    EXPECT_EQ(TvsiCacheIsAlive(), 1);
}

TEST_F(Queries, AMaskSelectsTheKindsWhoseBitsItHas) {
    std::string all = "0 1";
    for (std::uint32_t kind = SHRPC_numStatTypes; kind-- > 0;) {
        const int slot = slots - 1 - 2 * static_cast<int>(kind);
        occupy(static_cast<std::uint32_t>(slot), 1U << kind);
        if (kind != SHRPC_SYSTEM_IDX) {
            all += " " + std::to_string(slot);
        }
        if (kind >= 2 && kind < SHRPC_SYSTEM_IDX) {
            EXPECT_EQ(masked(1U << kind), std::to_string(slot)) << kind;
        }
    }
    EXPECT_EQ(masked(SHRPC_ALL), all) << "all but the system's";
    occupy(2, SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN);
    EXPECT_EQ(masked(SHRPC_VOK, 1), "2") << "shares a bit";
    EXPECT_EQ(masked(SHRPC_ALL, 4), "0 1 2 37");
}

TEST_F(Queries, ABadExpressionGivesTheReasonOfTheCLibrary) {
    const auto call = [](const char* regex, std::size_t size = 16) {
        int count = 1;
        TvsiResultSType result;
        return callWithBuffer(
            size, std::bind_front(TvsiAllVokStatsForRegexName, regex, FALSE, &result, &count));
    };
    for (const char* regex : {"(", "[", "a{2", "[[:nothing:]]", "a**b)("}) {
        regex_t compiled;
        char reason[256];
        const int rc = regcomp(&compiled, regex, REG_EXTENDED | REG_NOSUB);
        regerror(rc, &compiled, reason, sizeof reason);
        for (const std::size_t size : {1UL, 5UL, 256UL}) {
            const std::string text = std::string(reason).substr(0, size - 1);
            EXPECT_EQ(call(regex, size), (Answer{TVSI_ERR_BAD_REGEX, text})) << regex;
        }
        EXPECT_EQ(call(regex, 0), (Answer{TVSI_ERR_BAD_REGEX, "(untouched)"}));
    }
    EXPECT_EQ(call("x"), success);
    EXPECT_EQ(call(""), (Answer{TVSI_ERR_BAD_ARG, ""}));
    TvsiDetachSharedCache();
    EXPECT_EQ(call("x"), (Answer{TVSI_ERR_CACHE_NOT_ATTACHED, ""}));
    EXPECT_EQ(call("("), (Answer{TVSI_ERR_CACHE_NOT_ATTACHED, ""})) << "the cache comes first";
}

TEST_F(Queries, BadArgumentsAreRefusedWhateverTheCacheIs) {
    for (const bool isAttached : {true, false}) {
        for (const unsigned int mask : {0U, 16384U, 0x8000U, 0x4001U, 0x80000001U}) {
            EXPECT_EQ(masked(mask), badArgument) << mask;
        }
        int count = 7;
        EXPECT_EQ(TvsiAllVokStatsForVokKindRange(1, 0, nullptr, &count), TVSI_ERR_BAD_ARG);
        EXPECT_EQ(count, 7);
        for (const int bad : {0, -1, INT_MIN}) {
            for (const auto& query : {withPid, vokOfSession, pgsvrOfSession}) {
                EXPECT_EQ(query(bad), badArgument);
            }
            EXPECT_EQ(masked(1, bad), badArgument);
            EXPECT_EQ(inRange(0, 1, bad), badArgument);
            EXPECT_EQ(matching("x", FALSE, bad), badArgument);
        }
        EXPECT_EQ(TvsiCacheIsAlive(), isAttached ? 1 : 0);
        TvsiDetachSharedCache();
    }
}

} // namespace
